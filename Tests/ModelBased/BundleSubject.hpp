#pragma once

#include "Platform/Testing/ScopedPlatform.hpp"
#include "Platform/Testing/TestPlatform.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"

#include <memory>
#include <string>
#include <vector>

#include "ModelBased/FileTree.hpp"
#include "ModelBased/Observations.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// The application-bundle model itself, on a disk in a scratch folder, with the desktop and the watch
/// doubled. It is reached by the shared manager alone. Paths begin with "~" and "~tmp" as the reference's do.
class BundleSubject {
public:
    BundleSubject();
    ~BundleSubject();
    BundleSubject(const BundleSubject&) = delete;
    BundleSubject& operator=(const BundleSubject&) = delete;

    /// Does `step`, and tells all that can be seen of it.
    Observations perform(const Step& step);

    /// What is on the disk.
    Observations disk() const;

    /// The names in the folder at `path` in the system's order.
    std::vector<std::string> namesIn(const std::string& path) const;

private:
    /// What the operation of `step` gives to the client. Each call of one of the client's blocks becomes a
    /// line in `callbacks`.
    Observations resultOf(const Step& step, Observations& callbacks, std::optional<Error>* error);
    void letFail(int fault);
    void interfere(const Step& step) const;
    void putTemplate(int type, const std::string& version) const;
    void reopen();
    std::string expanded(const std::string& path) const;
    std::string shortened(std::string text) const;

    TestPlatform _environment;
    const std::string _home = _environment.homePath();
    const std::string _root = _home.substr(0, _home.rfind('/'));
    ScopedPlatform _scope{_environment.platform};
    int _notifications = 0;
    std::shared_ptr<MOXFileSubscriptionManager> _manager;
};

} // namespace mox::test::model
