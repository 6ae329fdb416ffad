#include "Platform/StubDesktop.hpp"

#include "Formats/DesktopEntry.hpp"
#include "Formats/ICNSCoding.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Foundation/PathRules.hpp"
#include "Support/FolderInspection.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/stat.h>

namespace mox::test {
namespace {

Image::Representation picture(std::uint32_t side) {
    Image::Representation representation;
    representation.pixelsWide = side;
    representation.pixelsHigh = side;
    representation.size = {double(side), double(side)};
    std::vector<std::uint8_t> pixels;
    for (std::uint32_t pixel = 0; pixel < side * side; ++pixel) {
        for (const std::uint32_t value : {pixel, side, 200U, 255U})
            pixels.push_back(static_cast<std::uint8_t>(value));
    }
    representation.pixels = std::move(pixels);
    return representation;
}

PropertyList::Dictionary informationOf(const StubContents& contents) {
    PropertyList::Dictionary information;
    if (contents.name) information.set("CFBundleName", *contents.name);
    if (contents.executable) information.set("CFBundleExecutable", *contents.executable);
    if (!contents.iconSides.empty()) information.set("CFBundleIconFile", "DockApplication.icns");
    PropertyList::Array types;
    for (const StubContents::DocumentType& type : contents.documentTypes) {
        PropertyList::Array extensions(type.extensions.begin(), type.extensions.end());
        PropertyList::Dictionary entry;
        entry.set("CFBundleTypeName", type.name);
        entry.set("CFBundleTypeExtensions", std::move(extensions));
        types.emplace_back(std::move(entry));
    }
    if (!types.empty()) information.set("CFBundleDocumentTypes", std::move(types));
    return information;
}

std::string stringsOf(const StubContents& contents) {
    std::string strings = "\"CFBundleName\" = \"The template\";\n";
    for (const StubContents::DocumentType& type : contents.documentTypes) {
        if (!type.description.empty()) strings += "\"" + type.name + "\" = \"" + type.description + "\";\n";
    }
    return strings;
}

} // namespace

StubDesktop::StubDesktop()
    : registration(fileSystem, system, bundles, caches,
                   {.dataFolder = dataFolder,
                    .sharedDataFolders = {sharedFolder},
                    .configurationFolders = {configurationFolder},
                    .desktops = {"xfce"}}) {}

std::string StubDesktop::writeStub(const std::string& relativePath, const StubContents& contents) {
    const std::string stub = applications + "/" + relativePath;
    PropertyList::Dictionary alias;
    if (contents.description) alias.set("Korvan Description", *contents.description);
    writeFile(stub + "/Contents/Info.plist", storedFormOfPropertyList(informationOf(contents)).value());
    writeFile(stub + "/Contents/Resources/Korvalias.plist", storedFormOfPropertyList(alias).value());
    writeFile(stub + "/Contents/Resources/en.lproj/InfoPlist.strings", stringsOf(contents));
    std::vector<Image::Representation> pictures;
    for (const std::uint32_t side : contents.iconSides)
        pictures.push_back(picture(side));
    const std::string icon = stub + "/Contents/Resources/DockApplication.icns";
    if (!pictures.empty()) writeFile(icon, icnsWithRepresentations(pictures).value());
    if (contents.executable) {
        const std::string launcher = stub + "/Contents/MacOS/" + *contents.executable;
        writeFile(launcher, contents.script);
        ::chmod(launcher.c_str(), 0755);
    }
    return stub;
}

void StubDesktop::writeFile(const std::string& path, std::string_view content) {
    ASSERT_TRUE(disk.createDirectoryWithIntermediates(stringByDeletingLastPathComponent(path), 0777)) << path;
    ASSERT_TRUE(disk.writeFileInPlace(path, content)) << path;
}

std::map<std::string, std::string> StubDesktop::files() {
    std::map<std::string, std::string> found;
    std::vector<std::string> folders = {""};
    while (!folders.empty()) {
        const std::string folder = folders.back();
        folders.pop_back();
        if (disk.itemKindAtPath(dataFolder + folder) != ItemKind::Directory) continue;
        for (const std::string& name : namesIn(dataFolder + folder)) {
            const std::string path = folder + "/" + name;
            if (disk.itemKindAtPath(dataFolder + path) == ItemKind::Directory) {
                folders.push_back(path);
            } else {
                found.emplace(path.substr(1), bytesOfFile(dataFolder + path));
            }
        }
    }
    return found;
}

std::vector<std::string> StubDesktop::pathsOfFiles(std::string_view suffix) {
    std::vector<std::string> paths;
    for (const auto& [path, content] : files()) {
        if (path.ends_with(suffix)) paths.push_back(path);
    }
    return paths;
}

std::string StubDesktop::onlyEntry() {
    const std::vector<std::string> paths = pathsOfFiles(".desktop");
    EXPECT_EQ(paths.size(), 1U);
    return paths.size() == 1 ? bytesOfFile(dataFolder + "/" + paths[0]) : std::string();
}

std::optional<std::string> StubDesktop::lineOfOnlyEntry(std::string_view key) {
    const std::string text = "\n" + onlyEntry();
    const std::string beginning = "\n" + std::string(key) + "=";
    const std::size_t start = text.find(beginning);
    if (start == text.npos) return std::nullopt;
    const std::size_t value = start + beginning.size();
    return text.substr(value, text.find('\n', value) - value);
}

std::vector<std::string> StubDesktop::registeredBundles() {
    std::vector<std::string> paths;
    for (const std::string& path : pathsOfFiles(".desktop")) {
        if (const auto bundle = bundleOfDesktopEntry(bytesOfFile(dataFolder + "/" + path)))
            paths.push_back(*bundle);
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

} // namespace mox::test
