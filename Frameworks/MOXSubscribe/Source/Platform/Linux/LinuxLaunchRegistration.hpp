#pragma once

#include "Platform/LaunchRegistration.hpp"

#include <string>

namespace mox {

/// Registers bundles as XDG desktop entries with hicolor icons and a MIME package each.
class LinuxLaunchRegistration : public LaunchRegistration {
public:
    /// Where the desktop looks.
    struct Surroundings {
        /// The folder of the user's data, which holds "applications", "icons" and "mime".
        std::string dataFolder;
    };

    explicit LinuxLaunchRegistration(Surroundings surroundings);

    int registerBundle(const std::string& path) override;
    void bundleMoved(const std::string& source, const std::string& destination) override;
    void bundleRemoved(const std::string& path) override;
    void reconcile(const std::vector<std::string>& stubPaths) override;
    void beginBatch() override;
    void endBatch() override;

private:
    Surroundings _surroundings;
};

} // namespace mox
