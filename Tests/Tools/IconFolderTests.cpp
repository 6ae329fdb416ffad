#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "IconFolder.hpp"

namespace mox::tool {
namespace {

std::uint32_t widthOf(const std::optional<Image>& image) {
    return image ? image->representations.at(0).pixelsWide : 0;
}

class IconFolderTest : public testing::Test {
protected:
    void copySample(const std::string& sample, const std::string& name) const {
        _scratch.write(name, test::bytesOfFile(MOXSUBSCRIBE_SAMPLES "/Icons/" + sample));
    }

    std::optional<Image> largest(const std::vector<std::string>& urls) const {
        return IconFolder(_scratch.path("icons")).largestIcon(urls);
    }

    void SetUp() override { ASSERT_EQ(mkdir(_scratch.path("icons").c_str(), 0700), 0); }

    test::ScratchFolder _scratch;
};

TEST_F(IconFolderTest, The_icon_with_the_most_pixels_is_taken_wherever_it_stands) {
    copySample("mail_32x32.png", "icons/small.png");
    copySample("mail_128x128.png", "icons/large.png");
    EXPECT_EQ(widthOf(largest({"/a/small.png", "https://x/large.png?hash=1", "/a/missing.png"})), 128U);
    EXPECT_EQ(widthOf(largest({"/a/large.png", "/a/small.png"})), 128U);
}

TEST_F(IconFolderTest, Encoded_names_are_decoded) {
    copySample("mail_32x32.png", "icons/my mail.png");
    EXPECT_EQ(widthOf(largest({"/a/my%20mail.png"})), 32U);
}

TEST_F(IconFolderTest, Files_that_are_no_pictures_are_passed_over) {
    _scratch.write("icons/bad.png", "no picture");
    _scratch.write("icons/empty.png", "");
    ASSERT_EQ(mkfifo(_scratch.path("icons/pipe.png").c_str(), 0600), 0);
    ASSERT_EQ(mkdir(_scratch.path("icons/folder.png").c_str(), 0700), 0);
    copySample("mail_32x32.png", "icons/good.png");
    EXPECT_EQ(widthOf(largest({"bad.png", "empty.png", "pipe.png", "folder.png", "good.png"})), 32U);
    EXPECT_EQ(largest({"bad.png"}), std::nullopt);
}

TEST_F(IconFolderTest, Nothing_outside_the_folder_is_read) {
    copySample("mail_32x32.png", "outside.png");
    EXPECT_EQ(largest({"..%2Foutside.png", "%2e%2e", "%2E", "..%2f..%2foutside.png", "", "/", "a%00.png",
                       _scratch.path("outside.png")}),
              std::nullopt);
}

} // namespace
} // namespace mox::tool
