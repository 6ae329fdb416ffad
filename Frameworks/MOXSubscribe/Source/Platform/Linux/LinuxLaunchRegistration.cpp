#include "Platform/Linux/LinuxLaunchRegistration.hpp"

#include "Formats/DesktopEntry.hpp"
#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageCoding.hpp"
#include "Formats/MIMEPackage.hpp"
#include "Formats/SHA256.hpp"
#include "Foundation/PathRules.hpp"
#include "Platform/Linux/DirectoryReader.hpp"
#include "Platform/Linux/FileOperations.hpp"
#include "Platform/Linux/OptionalFile.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <set>
#include <string_view>

namespace mox {
namespace {

constexpr std::string_view namePrefix = "moxsubscribe-";
constexpr std::string_view entrySuffix = ".desktop";
constexpr std::string_view generatedTypePrefix = "application/x-moxsubscribe-";

/// The folders of the icon theme, by the icon's side in pixels.
struct IconSize {
    std::uint32_t side;
    std::string_view folder;
};
constexpr std::array<IconSize, 14> iconSizes = {{
    {16, "16x16"},
    {22, "22x22"},
    {24, "24x24"},
    {32, "32x32"},
    {36, "36x36"},
    {48, "48x48"},
    {64, "64x64"},
    {72, "72x72"},
    {96, "96x96"},
    {128, "128x128"},
    {192, "192x192"},
    {256, "256x256"},
    {512, "512x512"},
    {1024, "512x512@2"},
}};

std::string digitsOf(std::string_view text) {
    // Half of the digest: enough that nobody finds two texts with the same.
    return sha256Digits(text).substr(0, 32);
}

/// The name of what is written for the bundle.
std::string nameFor(const std::string& bundle) {
    return std::string(namePrefix) + digitsOf(bundle);
}

/// The type of files with an extension that the desktop does not know. Bundles that open files with the same
/// extension share it.
std::string generatedType(const std::string& extension) {
    return std::string(generatedTypePrefix) + digitsOf(withSmallLetters(extension));
}

/// The value of the environment's variable, or `fallback` when it has none or is empty.
std::string valueOf(const char* variable, const std::string& fallback) {
    const char* value = std::getenv(variable);
    return value && value[0] != '\0' ? value : fallback;
}

/// The pieces of a list with ":" between them, without those that are empty.
std::vector<std::string> piecesOf(std::string_view list) {
    std::vector<std::string> pieces;
    while (!list.empty()) {
        const std::string_view piece = list.substr(0, list.find(':'));
        list.remove_prefix(std::min(piece.size() + 1, list.size()));
        if (!piece.empty()) pieces.emplace_back(piece);
    }
    return pieces;
}

std::vector<std::string> absolutePathsIn(std::string_view list) {
    std::vector<std::string> paths = piecesOf(list);
    std::erase_if(paths, [](const std::string& path) { return path.front() != '/'; });
    return paths;
}

/// One spelling for each path.
std::string withoutRepeatedSeparators(const std::string& path) {
    return stringByAppendingPathComponent(path, {});
}

bool isAtOrBelow(const std::string& path, const std::string& folder) {
    return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

int statusOf(const Result<void>& result) {
    if (result) return 0;
    const std::shared_ptr<const Error> underlying = result.error().underlyingError();
    return static_cast<int>(underlying ? underlying->code() : result.error().code());
}

/// Whether a removal failed because nothing can be at its path.
bool meansNothingThere(int error) {
    return error == ENOENT || error == ENOTDIR || error == ELOOP;
}

} // namespace

struct LinuxLaunchRegistration::Registration {
    std::string name;
    DesktopEntry entry;
    Bytes entryText;
    std::vector<MIMEType> types;
    const IconFiles& icons;
};

namespace {

/// The icon's pictures as files for the theme's folders; the first one of each size counts.
std::map<std::string_view, Bytes> pngFiles(ByteView icon) {
    std::map<std::string_view, Bytes> files;
    const std::optional<Image> image = undecodedImageFromICNS(icon);
    if (!image) return files;
    for (const Image::Representation& representation : image->representations) {
        if (representation.pixelsWide != representation.pixelsHigh) continue;
        const auto size = std::find_if(iconSizes.begin(), iconSizes.end(), [&](const IconSize& candidate) {
            return candidate.side == representation.pixelsWide;
        });
        if (size == iconSizes.end() || files.contains(size->folder)) continue;
        if (auto png = pngFromRepresentation(representation)) files.emplace(size->folder, *std::move(png));
    }
    return files;
}

} // namespace

LinuxLaunchRegistration::LinuxLaunchRegistration(FileSystem& fileSystem, SystemCalls& system,
                                                 const Bundles& bundles, DesktopCaches& caches,
                                                 Surroundings surroundings)
    : _fileSystem(fileSystem)
    , _system(system)
    , _bundles(bundles)
    , _caches(caches)
    , _surroundings(std::move(surroundings)) {}

int LinuxLaunchRegistration::registerBundle(const std::string& path) {
    const LaunchRegistrationBatch batch(*this);
    return statusOf(write(withoutRepeatedSeparators(path)));
}

void LinuxLaunchRegistration::bundleMoved(const std::string& source, const std::string& destination) {
    const LaunchRegistrationBatch batch(*this);
    const std::string oldPath = withoutRepeatedSeparators(source);
    const std::string newPath = withoutRepeatedSeparators(destination);
    if (oldPath == newPath) return;
    for (const std::string& bundle : knownBundlesAtOrBelow(oldPath)) {
        // What cannot be registered at its new place is not at the old one either.
        (void)write(newPath + bundle.substr(oldPath.size()));
        removeRegistration(nameFor(bundle));
    }
}

void LinuxLaunchRegistration::bundleRemoved(const std::string& path) {
    const LaunchRegistrationBatch batch(*this);
    for (const std::string& bundle : knownBundlesAtOrBelow(withoutRepeatedSeparators(path)))
        removeRegistration(nameFor(bundle));
}

void LinuxLaunchRegistration::reconcile(const std::vector<std::string>& stubPaths) {
    const LaunchRegistrationBatch batch(*this);
    const std::vector<std::string> knownBefore = knownBundles();
    const std::set<std::string> known(knownBefore.begin(), knownBefore.end());
    for (const std::string& path : stubPaths) {
        const std::string bundle = withoutRepeatedSeparators(path);
        // What fails now is tried again at the next change.
        if (!known.contains(bundle)) (void)write(bundle);
    }
    for (const std::string& bundle : known) {
        if (isGone(bundle)) removeRegistration(nameFor(bundle));
    }
}

void LinuxLaunchRegistration::beginBatch() {
    ++_batchDepth;
}

void LinuxLaunchRegistration::endBatch() {
    if (--_batchDepth > 0) return;
    _documentKnowledge.reset();
    _knownIcon = {};
    const DesktopChanges changes = std::exchange(_changes, {});
    if (changes.entries || changes.icons || changes.types) _caches.refresh(changes);
}

Result<void> LinuxLaunchRegistration::write(const std::string& bundle) {
    if (!bundle.starts_with("/")) return Error::posix(EINVAL);
    const std::string name = nameFor(bundle);
    const Result<std::optional<Bytes>> knownEntry =
        contentsOfFileIfPresent(_fileSystem, entryFile(name).path);
    if (!knownEntry) return knownEntry.error();
    // A link that leads nowhere has no content, but is somebody's all the same.
    const bool isOurs =
        *knownEntry ? bundleOfDesktopEntry(**knownEntry) == bundle : isGone(entryFile(name).path);
    if (!isOurs) return Error::posix(EEXIST);

    const Result<BundleDescription> description = descriptionOfBundle(bundle, _fileSystem, _bundles);
    if (!description) return description.error();
    const IconFiles& icons = iconFiles(description->icon);
    Registration registration = {.name = name,
                                 .entry = {.bundle = bundle,
                                           .program = description->program,
                                           .name = description->name,
                                           .comment = description->comment,
                                           .icon = icons.empty() ? std::string() : name,
                                           .documentTypes = {}},
                                 .entryText = {},
                                 .types = {},
                                 .icons = icons};
    if (Result<void> added = addDocumentTypes(*description, registration); !added) return added;
    std::optional<Bytes> text = desktopEntryText(registration.entry);
    if (!text) return Error::posix(EINVAL);
    registration.entryText = *std::move(text);
    return writeFiles(registration, *knownEntry);
}

/// A new entry comes first: it tells whose the other files of its name are, also when the rest is cut short.
/// A known one comes last, so that it stays when something fails.
Result<void> LinuxLaunchRegistration::writeFiles(const Registration& registration,
                                                 const std::optional<Bytes>& knownEntry) {
    const File entry = entryFile(registration.name);
    if (knownEntry) {
        if (Result<void> result = writeCompanions(registration); !result) return result;
        return changeFile(entry, knownEntry, registration.entryText);
    }
    if (Result<void> result = changeFile(entry, knownEntry, registration.entryText); !result) return result;
    Result<void> result = writeCompanions(registration);
    if (!result) removeRegistration(registration.name);
    return result;
}

/// Writes the files beside the entry, and removes those that it has no more.
Result<void> LinuxLaunchRegistration::writeCompanions(const Registration& registration) {
    std::optional<Bytes> package;
    if (!registration.types.empty()) package = mimePackageText(registration.types);
    if (Result<void> result = putFile(packageFile(registration.name), package); !result) return result;
    const std::set<std::string_view> folders = foldersWithIcons();
    for (const IconSize& size : iconSizes) {
        const auto icon = registration.icons.find(size.folder);
        std::optional<ByteView> file;
        if (icon != registration.icons.end()) file = icon->second;
        if (!file && !folders.contains(size.folder)) continue;
        if (Result<void> result = putFile(iconFile(size.folder, registration.name), file); !result)
            return result;
    }
    return {};
}

/// The folders of the theme in which there may be icons. To list them costs less than to look into each for
/// an icon: nearly always only some are there.
std::set<std::string_view> LinuxLaunchRegistration::foldersWithIcons() {
    std::set<std::string_view> folders;
    const Descriptor theme(_system, themeFolder(), O_RDONLY | O_DIRECTORY);
    std::vector<ListedItem> items;
    ErrorNumber error = theme.openError();
    if (error == 0) error = listDirectory(_system, theme.number(), items);
    // Without a list, the looks tell.
    for (const IconSize& size : iconSizes) {
        if (error != 0 || std::ranges::find(items, size.folder, &ListedItem::name) != items.end())
            folders.insert(size.folder);
    }
    return folders;
}

/// Makes `content` what is in the file; nil that there is none. A file that is right already stays.
Result<void> LinuxLaunchRegistration::putFile(const File& file, std::optional<ByteView> content) {
    if (!content) return removeFile(file);
    const Result<std::optional<Bytes>> present = contentsOfFileIfPresent(_fileSystem, file.path);
    if (!present) return present.error();
    return changeFile(file, *present, *content);
}

/// Makes `content` what is in the file, in which `present` is until then.
Result<void> LinuxLaunchRegistration::changeFile(const File& file, const std::optional<Bytes>& present,
                                                 ByteView content) {
    if (present == content) return {};
    const std::string folder = stringByDeletingLastPathComponent(file.path);
    // The mode is that which the XDG Base Directory specification asks for.
    if (Result<void> made = _fileSystem.createDirectoryWithIntermediates(folder, 0700); !made) return made;
    _changes.*file.change = true;
    // An entry that a power cut had left empty would be taken for somebody else's.
    if (present || file.isEntry()) return _fileSystem.writeFileAtomically(file.path, content);
    return writeNewFile(file.path, content);
}

/// Makes a file that is whole as soon as it is in place, without waiting for the disk: that would take most
/// of the time of a registration, for files that the next one makes good.
Result<void> LinuxLaunchRegistration::writeNewFile(const std::string& path, ByteView content) {
    const std::string temporaryPath = stringByAppendingPathComponent(stringByDeletingLastPathComponent(path),
                                                                     ".mox-" + lastPathComponent(path));
    // What a crash has left, or a link that would lead the writing elsewhere.
    Result<void> result;
    if (!isGone(temporaryPath)) result = _fileSystem.removeItem(temporaryPath);
    if (result || meansNothingThere(statusOf(result)))
        result = _fileSystem.writeFileInPlace(temporaryPath, content);
    if (result) result = _fileSystem.moveItem(temporaryPath, path);
    if (!result) (void)_fileSystem.removeItem(temporaryPath);
    return result;
}

Result<void> LinuxLaunchRegistration::removeFile(const File& file) {
    // Most of what is to be gone never was there. To look is cheaper than to try.
    if (isGone(file.path)) return {};
    Result<void> removed = _fileSystem.removeItem(file.path);
    if (meansNothingThere(statusOf(removed))) return {};
    _changes.*file.change = true;
    return removed;
}

/// Removes all files of that name. The entry goes last: as long as it is there, the rest can be found again.
void LinuxLaunchRegistration::removeRegistration(const std::string& name) {
    bool isAllGone = static_cast<bool>(removeFile(packageFile(name)));
    for (const std::string_view folder : foldersWithIcons())
        isAllGone = removeFile(iconFile(folder, name)) && isAllGone;
    if (isAllGone) (void)removeFile(entryFile(name));
}

/// Lists the types of the bundle's documents. A type that the desktop knows is left out when a program opens
/// it that was not chosen for it by anybody: being listed would make the bundle the default program.
Result<void> LinuxLaunchRegistration::addDocumentTypes(const BundleDescription& description,
                                                       Registration& registration) {
    std::set<std::string> listed;
    const auto list = [&](const std::string& type) {
        const bool isNew = listed.insert(type).second;
        if (isNew) registration.entry.documentTypes.push_back(type);
        return isNew;
    };
    for (const BundleDescription::DocumentType& documents : description.documentTypes) {
        for (const std::string& extension : documents.extensions) {
            if (!isExtensionOfFiles(extension)) continue;
            const Result<const DocumentKnowledge*> knowledge = documentKnowledge();
            if (!knowledge) return knowledge.error();
            const auto& [database, handlers] = **knowledge;
            const std::vector<std::string> types = database.typesOfExtension(extension);
            for (const std::string& type : types) {
                const std::vector<std::string> lineage = database.lineageOfType(type);
                const bool hasHandler = std::any_of(
                    lineage.begin(), lineage.end(),
                    [&known = handlers](const std::string& ancestor) { return known.hasHandler(ancestor); });
                if (!hasHandler || handlers.hasChosenDefault(type)) list(type);
            }
            if (!types.empty()) continue;
            const std::string type = generatedType(extension);
            if (list(type))
                registration.types.push_back({type, documents.description, withSmallLetters(extension)});
        }
    }
    return {};
}

/// What the icon's file makes in the theme; nothing without one. Holds until the next call.
const LinuxLaunchRegistration::IconFiles&
LinuxLaunchRegistration::iconFiles(const std::optional<Bytes>& icon) {
    const ByteView file = icon ? ByteView(*icon) : ByteView();
    if (file != _knownIcon.icon) _knownIcon = {Bytes(file), pngFiles(file)};
    return _knownIcon.files;
}

Result<const LinuxLaunchRegistration::DocumentKnowledge*> LinuxLaunchRegistration::documentKnowledge() {
    if (_documentKnowledge) return _documentKnowledge.get();
    std::vector<std::string> folders = _surroundings.sharedDataFolders;
    folders.insert(folders.begin(), _surroundings.dataFolder);
    Result<MIMEDatabase> database = MIMEDatabase::read(_fileSystem, folders, generatedTypePrefix);
    if (!database) return database.error();
    Result<MIMEHandlers> handlers =
        MIMEHandlers::read(_fileSystem, {folders, _surroundings.configurationFolders, _surroundings.desktops},
                           *database, namePrefix);
    if (!handlers) return handlers.error();
    _documentKnowledge = std::make_unique<const DocumentKnowledge>(
        DocumentKnowledge{*std::move(database), *std::move(handlers)});
    return _documentKnowledge.get();
}

bool LinuxLaunchRegistration::isKnown(const std::string& bundle) {
    const Result<Bytes> entry = _fileSystem.contentsOfFile(entryFile(nameFor(bundle)).path);
    return entry && bundleOfDesktopEntry(*entry) == bundle;
}

/// The bundles that have an entry under their own name, in the order of their paths.
std::vector<std::string> LinuxLaunchRegistration::knownBundles() {
    std::vector<std::string> bundles;
    const Result<std::vector<DirectoryEntry>> entries = _fileSystem.contentsOfDirectory(entryFolder());
    if (!entries) return bundles;
    for (const DirectoryEntry& entry : *entries) {
        if (!entry.name.starts_with(namePrefix) || !entry.name.ends_with(entrySuffix)) continue;
        const Result<Bytes> text = _fileSystem.contentsOfFile(entryFolder() + "/" + entry.name);
        std::optional<std::string> bundle = text ? bundleOfDesktopEntry(*text) : std::nullopt;
        if (bundle && entry.name == nameFor(*bundle) + std::string(entrySuffix))
            bundles.push_back(*std::move(bundle));
    }
    std::sort(bundles.begin(), bundles.end());
    return bundles;
}

std::vector<std::string> LinuxLaunchRegistration::knownBundlesAtOrBelow(const std::string& path) {
    // There is no bundle within a bundle.
    if (isKnown(path)) return {path};
    std::vector<std::string> bundles = knownBundles();
    std::erase_if(bundles, [&](const std::string& bundle) { return !isAtOrBelow(bundle, path); });
    return bundles;
}

bool LinuxLaunchRegistration::isGone(const std::string& path) {
    struct ::stat status = {};
    return _system.lstat(path.c_str(), &status) < 0 && (errno == ENOENT || errno == ENOTDIR);
}

std::string LinuxLaunchRegistration::entryFolder() const {
    return _surroundings.dataFolder + "/applications";
}

std::string LinuxLaunchRegistration::themeFolder() const {
    return _surroundings.dataFolder + "/icons/hicolor";
}

LinuxLaunchRegistration::File LinuxLaunchRegistration::entryFile(const std::string& name) const {
    return {entryFolder() + "/" + name + std::string(entrySuffix), &DesktopChanges::entries};
}

LinuxLaunchRegistration::File LinuxLaunchRegistration::packageFile(const std::string& name) const {
    return {_surroundings.dataFolder + "/mime/packages/" + name + ".xml", &DesktopChanges::types};
}

LinuxLaunchRegistration::File LinuxLaunchRegistration::iconFile(std::string_view sizeFolder,
                                                                const std::string& name) const {
    return {themeFolder() + "/" + std::string(sizeFolder) + "/apps/" + name + ".png", &DesktopChanges::icons};
}

LinuxLaunchRegistration::Surroundings desktopOfThisProcess(const std::string& dataFolder,
                                                           const std::string& homeDirectory) {
    LinuxLaunchRegistration::Surroundings surroundings = {.dataFolder = dataFolder};
    surroundings.sharedDataFolders = absolutePathsIn(valueOf("XDG_DATA_DIRS", "/usr/local/share:/usr/share"));
    surroundings.configurationFolders =
        absolutePathsIn(valueOf("XDG_CONFIG_HOME", homeDirectory + "/.config") + ":" +
                        valueOf("XDG_CONFIG_DIRS", "/etc/xdg"));
    surroundings.desktops = piecesOf(withSmallLetters(valueOf("XDG_CURRENT_DESKTOP", {})));
    return surroundings;
}

} // namespace mox
