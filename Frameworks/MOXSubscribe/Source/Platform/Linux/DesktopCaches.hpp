#pragma once

#include <string>

namespace mox {

/// What was changed of what the desktop keeps caches of.
struct DesktopChanges {
    bool entries = false;
    bool icons = false;
    bool types = false;
};

/// The caches from which a desktop makes its menus and finds programs for documents.
class DesktopCaches {
public:
    virtual ~DesktopCaches() = default;

    /// Makes the caches of what was changed current again; a failure is not told.
    virtual void refresh(const DesktopChanges& changes) = 0;
};

/// The caches in the folder of the user's data, made current by the desktop's own programs
/// (`update-desktop-database`, `update-mime-database`, `gtk-update-icon-cache`) where they are installed.
class LinuxDesktopCaches : public DesktopCaches {
public:
    /// `dataFolder` holds "applications", "icons" and "mime".
    explicit LinuxDesktopCaches(std::string dataFolder);

    /// Waits for each program's end. An icon cache is not made where there is none: it would hide the icons
    /// that others add without refreshing it. The theme's folder is touched instead, by which programs learn
    /// that it has changed.
    void refresh(const DesktopChanges& changes) override;

private:
    std::string _dataFolder;
};

} // namespace mox
