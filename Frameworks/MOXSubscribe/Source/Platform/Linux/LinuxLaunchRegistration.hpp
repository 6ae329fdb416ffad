#pragma once

#include "Platform/Bundles.hpp"
#include "Platform/FileSystem.hpp"
#include "Platform/LaunchRegistration.hpp"
#include "Platform/Linux/BundleDescription.hpp"
#include "Platform/Linux/DesktopCaches.hpp"
#include "Platform/Linux/MIMEDatabase.hpp"
#include "Platform/Linux/MIMEHandlers.hpp"
#include "Platform/Linux/SystemCalls.hpp"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// Registers bundles as XDG desktop entries with hicolor icons and a MIME package each.
///
/// In the folder of the user's data a bundle has "applications/NAME.desktop", "mime/packages/NAME.xml" when
/// it opens documents of types that the desktop does not know, and "icons/hicolor/SIZE/apps/NAME.png" for
/// each size of its icon. NAME is "moxsubscribe-" and 32 hexadecimal digits that follow from the bundle's
/// path. The entry carries that path; whose it is, his are the other files of that name. An entry of that
/// name that stands for something else, or for the bundle under another name, is left alone. `mimeapps.list`
/// is never written.
class LinuxLaunchRegistration : public LaunchRegistration {
public:
    /// Where the desktop looks.
    struct Surroundings {
        /// The folder of the user's data, which holds "applications", "icons" and "mime".
        std::string dataFolder;
        /// The folders of everybody's data, the preferred one first.
        std::vector<std::string> sharedDataFolders = {};
        /// The folders of settings, the user's own first.
        std::vector<std::string> configurationFolders = {};
        /// The names of the running desktop in small letters, the preferred one first.
        std::vector<std::string> desktops = {};
    };

    /// The services must outlive the object. Nothing is read or written yet.
    LinuxLaunchRegistration(FileSystem& fileSystem, SystemCalls& system, const Bundles& bundles,
                            DesktopCaches& caches, Surroundings surroundings);

    /// Errno values of its own: EEXIST when an entry of the name that is not ours is in the way, EINVAL when
    /// a desktop entry cannot carry the path (it has "=", a control character other than line feed,
    /// tabulator and carriage return, is not UTF-8 or not absolute), ENOEXEC when the bundle names no
    /// program; else that of the file that could not be read or written.
    int registerBundle(const std::string& path) override;
    void bundleMoved(const std::string& source, const std::string& destination) override;
    void bundleRemoved(const std::string& path) override;
    void reconcile(const std::vector<std::string>& stubPaths) override;
    void beginBatch() override;
    void endBatch() override;

private:
    /// What is written for a bundle.
    struct Registration;

    /// A file of ours, and which change it is that it is written or removed.
    struct File {
        std::string path;
        bool DesktopChanges::*change;

        bool isEntry() const { return change == &DesktopChanges::entries; }
    };

    /// What is known of documents, read once in a batch.
    struct DocumentKnowledge {
        MIMEDatabase database;
        MIMEHandlers handlers;
    };

    /// PNG files by the theme's folder for them.
    using IconFiles = std::map<std::string_view, Bytes>;

    /// An icon's file, and what is made of it.
    struct KnownIcon {
        Bytes icon;
        IconFiles files;
    };

    Result<void> write(const std::string& bundle);
    Result<void> writeFiles(const Registration& registration, const std::optional<Bytes>& knownEntry);
    Result<void> writeCompanions(const Registration& registration);
    Result<void> putFile(const File& file, std::optional<ByteView> content);
    Result<void> changeFile(const File& file, const std::optional<Bytes>& present, ByteView content);
    Result<void> writeNewFile(const std::string& path, ByteView content);
    Result<void> removeFile(const File& file);
    void removeRegistration(const std::string& name);
    std::set<std::string_view> foldersWithIcons();
    Result<void> addDocumentTypes(const BundleDescription& description, Registration& registration);
    const IconFiles& iconFiles(const std::optional<Bytes>& icon);
    Result<const DocumentKnowledge*> documentKnowledge();
    bool isKnown(const std::string& bundle);
    std::vector<std::string> knownBundles();
    std::vector<std::string> knownBundlesAtOrBelow(const std::string& path);
    bool isGone(const std::string& path);
    std::string entryFolder() const;
    std::string themeFolder() const;
    File entryFile(const std::string& name) const;
    File packageFile(const std::string& name) const;
    File iconFile(std::string_view sizeFolder, const std::string& name) const;

    FileSystem& _fileSystem;
    SystemCalls& _system;
    const Bundles& _bundles;
    DesktopCaches& _caches;
    Surroundings _surroundings;
    unsigned _batchDepth = 0;
    DesktopChanges _changes;
    std::unique_ptr<const DocumentKnowledge> _documentKnowledge;
    /// The icon that came last in a batch: stubs without one of their own have that of their template.
    KnownIcon _knownIcon;
};

/// The surroundings of this process: `dataFolder`, and what XDG_DATA_DIRS, XDG_CONFIG_HOME (else ".config" in
/// `homeDirectory`), XDG_CONFIG_DIRS and XDG_CURRENT_DESKTOP say; paths that are not absolute are left out.
LinuxLaunchRegistration::Surroundings desktopOfThisProcess(const std::string& dataFolder,
                                                           const std::string& homeDirectory);

} // namespace mox
