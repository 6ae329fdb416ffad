#include "SDK/StubBundles.hpp"

#include "Formats/ICNSCoding.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Foundation/PathRules.hpp"

#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace mox::test {

Dictionary dictionaryOf(const Entries& entries) {
    Dictionary dictionary;
    for (const auto& [key, value] : entries)
        dictionary.set(key, value);
    return dictionary;
}

Dictionary documentType(std::string_view name, const std::vector<std::string>& extensions) {
    return dictionaryOf({{"CFBundleTypeName", name},
                         {"CFBundleTypeExtensions", Array(extensions.begin(), extensions.end())}});
}

Image::Representation representation(std::uint32_t width, std::uint32_t height) {
    Image::Representation result{.pixelsWide = width,
                                 .pixelsHigh = height,
                                 .size = {static_cast<double>(width), static_cast<double>(height)},
                                 .pixels = {},
                                 .png = nullptr};
    std::vector<std::uint8_t> pixels;
    for (std::uint32_t index = 0; index < width * height; ++index) {
        for (const std::uint32_t part : {index, index / 3, width, 255U})
            pixels.push_back(static_cast<std::uint8_t>(part));
    }
    result.pixels = std::move(pixels);
    return result;
}

Image imageOfSides(const std::vector<std::uint32_t>& sides) {
    Image image{.size = {static_cast<double>(sides.front()), static_cast<double>(sides.front())},
                .representations = {}};
    for (const std::uint32_t side : sides)
        image.representations.push_back(representation(side, side));
    return image;
}

std::string iconFileOfSides(const std::vector<std::uint32_t>& sides) {
    return icnsWithRepresentations(imageOfSides(sides).representations).value();
}

std::vector<std::uint32_t> sidesInIconFile(std::string_view bytes) {
    std::vector<std::uint32_t> sides;
    const std::optional<Image> image = imageFromICNS(bytes);
    if (!image) return sides;
    for (const Image::Representation& picture : image->representations)
        sides.push_back(picture.pixelsWide);
    return sides;
}

StubBundleTest::StubBundleTest() {
    makeFolder("Apps");
    makeFolder("Client.app/Contents/MacOS");
}

std::string StubBundleTest::makeFolder(std::string_view path) const {
    std::string made = scratch.path();
    for (const std::string& component : pathComponents(path)) {
        made = stringByAppendingPathComponent(made, component);
        if (::mkdir(made.c_str(), 0755) != 0 && errno != EEXIST)
            throw std::system_error(errno, std::generic_category(), made);
    }
    return made;
}

std::string StubBundleTest::makeFile(std::string_view path, std::string_view bytes) const {
    makeFolder(stringByDeletingLastPathComponent(path));
    return scratch.write(path, bytes);
}

std::string StubBundleTest::makeBundle(std::string_view path, const BundleContent& content) const {
    const std::string bundle(path);
    makeFolder(bundle + "/Contents");
    if (content.infoPlist)
        makeFile(bundle + "/Contents/Info.plist", *storedFormOfPropertyList(*content.infoPlist));
    if (content.alias)
        makeFile(bundle + "/" + std::string(aliasFile), *storedFormOfPropertyList(*content.alias));
    for (const auto& [file, bytes] : content.files)
        makeFile(bundle + "/" + file, bytes);
    return scratch.path(bundle);
}

BundleContent StubBundleTest::templateContent(std::string_view version, std::string_view icon) {
    return {.infoPlist = dictionaryOf({{"CFBundleName", "Template"},
                                       {"CFBundleIdentifier", "com.korvan.Template"},
                                       {"KorvanVersionString", version},
                                       {"CFBundleShortVersionString", "1"},
                                       {"CFBundleDocumentTypes", Array{documentType("Own type", {"own"})}},
                                       {"Some Other Key", Array{"kept", PropertyList::boolean(true)}}}),
            .files = {{std::string(stringsFile), "\"Own type\" = \"Type of the template\";\n"},
                      {std::string(icon), iconFileOfSides({48})},
                      {"Contents/MacOS/Launcher", "program"}}};
}

void StubBundleTest::makeTemplates() const {
    makeBundle("DockApplication.app", templateContent());
    makeBundle("Korvan Viewer.app", templateContent("2.0", desktopIcon));
}

bool StubBundleTest::isThere(const std::string& path) const {
    return ::access(path.c_str(), F_OK) == 0;
}

Dictionary StubBundleTest::dictionaryAt(const std::string& path) {
    const std::optional<PropertyList> list = propertyListFromBytes(bytesOfFile(path));
    if (!list || !list->dictionary()) {
        ADD_FAILURE() << path << " holds no dictionary";
        return {};
    }
    return *list->dictionary();
}

testing::AssertionResult isStubError(const std::optional<Error>& error, Error::Code code,
                                     const std::optional<std::string>& path) {
    if (!error) return testing::AssertionFailure() << "there is no error";
    if (error->domain() == MOXSubscribeErrorDomain && error->code() == code && error->filePath() == path &&
        error->userInfo().size() == (path ? 2U : 1U)) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << error->description() << " at " << error->filePath().value_or("nil");
}

} // namespace mox::test
