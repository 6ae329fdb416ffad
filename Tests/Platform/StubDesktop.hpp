#pragma once

#include "Foundation/PropertyList.hpp"
#include "Platform/Linux/LinuxBundles.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Linux/LinuxLaunchRegistration.hpp"
#include "Platform/Testing/ForwardingFileSystem.hpp"
#include "Support/ScratchFolder.hpp"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace mox::test {

/// Caches that keep what they were told to refresh.
class RecordingDesktopCaches : public DesktopCaches {
public:
    std::vector<DesktopChanges> refreshes;

    void refresh(const DesktopChanges& changes) override { refreshes.push_back(changes); }
};

/// What a stub of a test has in it.
struct StubContents {
    struct DocumentType {
        std::string name;
        std::vector<std::string> extensions;
        /// Empty when InfoPlist.strings has none.
        std::string description = {};
    };

    /// Nil leaves the key out, as in the other texts.
    std::optional<std::string> name = "Word";
    std::optional<std::string> description = "Writes letters";
    std::optional<std::string> executable = "launcher";
    std::vector<DocumentType> documentTypes = {};
    /// The sides, in pixels, of the icon's pictures; none for no icon.
    std::vector<std::uint32_t> iconSides = {16, 48};
    /// The launcher.
    std::string script = "#!/bin/sh\n";
};

/// A user's data folder in a scratch folder, with nothing in it, and a registration that writes there. Its
/// services are members, so that a test can let them fail.
class StubDesktop {
public:
    StubDesktop();

    ScratchFolder scratch;
    SystemCalls system;
    LinuxFileSystem disk{system};
    ForwardingFileSystem fileSystem{disk};
    LinuxBundles bundles{disk, {.programPath = {}, .frameworkBundleCandidates = {}, .languages = {"en"}}};
    RecordingDesktopCaches caches;
    const std::string dataFolder = scratch.path("data");
    const std::string sharedFolder = scratch.path("shared");
    const std::string configurationFolder = scratch.path("configuration");
    const std::string applications = scratch.path("Applications");
    LinuxLaunchRegistration registration;

    /// Makes the stub `relativePath` in the applications folder, or makes it anew; its path.
    std::string writeStub(const std::string& relativePath, const StubContents& contents = {});

    /// Makes a file at the absolute `path`, and the folders above it.
    void writeFile(const std::string& path, std::string_view content);

    /// The files below the data folder, by their paths from there.
    std::map<std::string, std::string> files();

    /// The paths, from the data folder, of the files below it whose names end in `suffix`.
    std::vector<std::string> pathsOfFiles(std::string_view suffix = {});

    /// The text of the one desktop entry there is; fails the test when there is another number of them.
    std::string onlyEntry();

    /// The line behind `key` and "=" in the one desktop entry; nil when there is none.
    std::optional<std::string> lineOfOnlyEntry(std::string_view key);

    /// The bundles of the desktop entries that name one, sorted.
    std::vector<std::string> registeredBundles();
};

} // namespace mox::test
