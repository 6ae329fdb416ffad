// Other programs write what we read and read what we write: Pillow, ImageMagick, icns2png and png2icns.

#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageCoding.hpp"
#include "Formats/ImageFiles.hpp"
#include "Support/ProgramRun.hpp"
#include "Support/ScratchFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace mox {
namespace {

using test::bytesOfFile;
using test::ProgramRun;
using test::ScratchFolder;
using testing::gradient;

const std::string programFolder = "/usr/bin/";

ProgramRun run(const std::vector<std::string>& arguments) {
    return test::runProgram(arguments, {"PATH=/usr/bin:/bin"});
}

/// A Python that has Pillow; nil when there is none.
std::optional<std::string> pythonWithPillow() {
    for (const std::string& python : {std::string(MOX_PYTHON), programFolder + "python3"}) {
        if (::access(python.c_str(), X_OK) != 0) continue;
        if (run({python, "-c", "import PIL"}).status == 0) return python;
    }
    return std::nullopt;
}

bool isInstalled(const std::string& program) {
    return ::access((programFolder + program).c_str(), X_OK) == 0;
}

/// A picture as the script describes it.
struct Described {
    std::string name;
    std::uint32_t wide = 0;
    std::uint32_t high = 0;
    int tolerance = 0;
};

std::vector<Described> runScript(const std::string& python, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {python, MOX_IMAGE_EXCHANGE});
    const ProgramRun ended = run(arguments);
    EXPECT_EQ(ended.status, 0) << ended.errors;
    std::istringstream lines(ended.output);
    std::vector<Described> found;
    for (Described next; lines >> next.name >> next.wide >> next.high >> next.tolerance;)
        found.push_back(next);
    return found;
}

Pixels pixelsInFile(const std::string& path) {
    const std::string bytes = bytesOfFile(path);
    return std::vector<std::uint8_t>(bytes.begin(), bytes.end());
}

/// Whether `pixels` are those that are expected, exactly or within what is lost by a multiplication with the
/// opacity.
bool areAlike(const Pixels& pixels, const Pixels& expected, int tolerance) {
    if (pixels.size() != expected.size()) return false;
    if (tolerance == 0) return pixels == expected;
    for (std::size_t index = 0; index < pixels.size(); ++index) {
        const std::uint8_t opacity = expected[index / 4 * 4 + 3];
        const int difference = std::abs(pixels[index] - expected[index]);
        if (index % 4 == 3 ? difference != 0 : difference * opacity > tolerance * 255) return false;
    }
    return true;
}

Image::Representation square(std::uint32_t side) {
    return gradient(side, side);
}

TEST(PictureExchange, Pictures_of_other_writers_have_the_pixels_that_were_given_to_them) {
    const auto python = pythonWithPillow();
    if (!python) GTEST_SKIP() << "There is no Python with Pillow here";
    const ScratchFolder folder;
    const std::vector<Described> pictures = runScript(*python, {"pictures", folder.path()});
    EXPECT_GE(pictures.size(), isInstalled("convert") ? 50U : 40U);
    for (const Described& picture : pictures) {
        const auto image = imageFromBytes(bytesOfFile(folder.path(picture.name)));
        ASSERT_TRUE(image) << picture.name;
        ASSERT_EQ(image->representations.size(), 1U) << picture.name;
        EXPECT_EQ(image->representations[0].pixelsWide, picture.wide) << picture.name;
        EXPECT_EQ(image->representations[0].pixelsHigh, picture.high) << picture.name;
        EXPECT_TRUE(areAlike(image->representations[0].pixels,
                             pixelsInFile(folder.path(picture.name + ".rgba")), picture.tolerance))
            << picture.name;
    }
}

const std::vector<Image::Representation>& representationsOfAllSizes() {
    static const std::vector<Image::Representation> all = [] {
        std::vector<Image::Representation> representations;
        for (const std::uint32_t side : {16U, 32U, 48U, 128U, 256U, 512U, 1024U})
            representations.push_back(square(side));
        for (const std::uint32_t side : {32U, 64U, 256U, 512U}) {
            representations.push_back(square(side));
            representations.back().size = {side / 2.0, side / 2.0};
        }
        return representations;
    }();
    return all;
}

TEST(IconExchange, Pillow_finds_every_representation_that_we_write) {
    const auto python = pythonWithPillow();
    if (!python) GTEST_SKIP() << "There is no Python with Pillow here";
    const ScratchFolder folder;
    const std::string path = folder.write("ours.icns", *icnsWithRepresentations(representationsOfAllSizes()));
    const std::vector<Described> found = runScript(*python, {"read", path, folder.path()});
    EXPECT_EQ(found.size(), representationsOfAllSizes().size());
    for (const Described& picture : found) {
        EXPECT_EQ(pixelsInFile(folder.path(picture.name + ".rgba")), square(picture.wide).pixels)
            << picture.name;
    }
}

TEST(IconExchange, Pillow_finds_colours_that_are_as_long_packed_as_they_are_unpacked) {
    const auto python = pythonWithPillow();
    if (!python) GTEST_SKIP() << "There is no Python with Pillow here";
    Image::Representation representation = square(16);
    std::vector<std::uint8_t> pixels(representation.pixels.size());
    for (std::size_t index = 0; index < pixels.size(); ++index)
        pixels[index] = static_cast<std::uint8_t>(index < 16 ? 0 : index / 4);
    representation.pixels = std::move(pixels);
    const ScratchFolder folder;
    const std::string path = folder.write("ours.icns", *icnsWithRepresentations({representation}));
    ASSERT_EQ(runScript(*python, {"read", path, folder.path()}).size(), 1U);
    EXPECT_EQ(pixelsInFile(folder.path("16x16x1.rgba")), representation.pixels);
}

TEST(IconExchange, We_read_what_Pillow_writes) {
    const auto python = pythonWithPillow();
    if (!python) GTEST_SKIP() << "There is no Python with Pillow here";
    const ScratchFolder folder;
    const std::string path = folder.path("theirs.icns");
    ASSERT_EQ(runScript(*python, {"icon", path, "32", "64", "128", "256", "512", "1024"}).size(), 6U);
    const auto image = imageFromICNS(bytesOfFile(path));
    ASSERT_TRUE(image);
    std::vector<std::uint32_t> sides;
    for (const Image::Representation& representation : image->representations) {
        sides.push_back(representation.pixelsWide);
        const std::string name = std::to_string(representation.pixelsWide) + ".rgba";
        EXPECT_EQ(representation.pixels, pixelsInFile(folder.path(name))) << name;
    }
    EXPECT_THAT(sides, ::testing::UnorderedElementsAre(32, 64, 128, 256, 256, 512, 512, 1024));
}

TEST(IconExchange, The_extractor_of_icnsutils_finds_what_we_write) {
    if (!isInstalled("icns2png")) GTEST_SKIP() << "There is no icns2png here";
    for (const std::uint32_t side : {16U, 32U, 48U, 128U, 256U, 512U, 1024U}) {
        const ScratchFolder folder;
        const std::string path = folder.write("ours.icns", *icnsWithRepresentations({square(side)}));
        const ProgramRun ended = run({"/usr/bin/icns2png", "-x", "-o", folder.path(), path});
        EXPECT_EQ(ended.status, 0) << ended.output << ended.errors;
        const std::string length = std::to_string(side);
        const std::string extracted = folder.path("ours_" + length + "x" + length + "x32.png");
        ASSERT_EQ(::access(extracted.c_str(), R_OK), 0) << ended.output << ended.errors;
        const auto image = imageFromBytes(bytesOfFile(extracted));
        ASSERT_TRUE(image) << side;
        EXPECT_EQ(image->representations[0].pixels, square(side).pixels) << side;
    }
}

TEST(IconExchange, We_read_what_the_composer_of_icnsutils_writes) {
    if (!isInstalled("png2icns")) GTEST_SKIP() << "There is no png2icns here";
    const ScratchFolder folder;
    const std::string path = folder.path("theirs.icns");
    std::vector<std::string> arguments{"/usr/bin/png2icns", path};
    for (const std::uint32_t side : {16U, 32U, 48U, 128U}) {
        arguments.push_back(
            folder.write(std::to_string(side) + ".png", *pngFromRepresentation(square(side))));
    }
    const ProgramRun ended = run(arguments);
    ASSERT_EQ(ended.status, 0) << ended.output << ended.errors;
    const auto image = imageFromICNS(bytesOfFile(path));
    ASSERT_TRUE(image);
    EXPECT_THAT(image->representations,
                ::testing::UnorderedElementsAre(square(16), square(32), square(48), square(128)));
}

} // namespace
} // namespace mox
