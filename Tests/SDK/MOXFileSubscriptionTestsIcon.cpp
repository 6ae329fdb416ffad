#include "SDK/StubBundles.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <ostream>
#include <unistd.h>

namespace mox::test {
namespace {

using Sides = std::vector<std::uint32_t>;

class FileSubscriptionIcon : public StubBundleTest {
protected:
    FileSubscriptionIcon() {
        makeTemplates();
        record.setFileName("Word.app");
        record.setType(MOXSubscriptionType::Application);
    }
    bool write() { return record.writeToFolder(apps, ""); }
    std::string iconBytes() const { return bytesAt(iconPath); }
    static std::string templateIcon() { return templateContent().files.at(std::string(applicationIcon)); }
    static Lines failureAt(const std::string& path) {
        return {"-[MOXFileSubscription writeToFolder:withName:error:] Error saving icon to path (" + path +
                ")"};
    }
    void setVersion(std::int32_t major, std::int32_t minor, std::int32_t bugFix) {
        test.systemVersion.parts = {{SystemVersionPart::Major, major},
                                    {SystemVersionPart::Minor, minor},
                                    {SystemVersionPart::BugFix, bugFix}};
    }
    Sides sidesWritten() {
        EXPECT_TRUE(write());
        return sidesInIconFile(iconBytes());
    }

    OpenFileSubscription record;
    const std::string stub = apps + "/Word.app";
    const std::string iconPath = stub + "/" + std::string(applicationIcon);
};

TEST_F(FileSubscriptionIcon, Is_written_with_all_representations_in_their_order) {
    record.setIcon(imageOfSides({128, 16, 256, 32}));
    EXPECT_EQ(sidesWritten(), (Sides{128, 16, 256, 32}));
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionIcon, Is_kept_without_a_copy_of_its_pixels) {
    const Image given = imageOfSides({16});
    record.setIcon(given);
    const std::optional<Image> kept = record.icon();
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->representations.front().pixels.data(), given.representations.front().pixels.data());
}

TEST_F(FileSubscriptionIcon, Stays_the_templates_when_the_record_has_none) {
    EXPECT_TRUE(write());
    EXPECT_EQ(iconBytes(), templateIcon());
    record.setIcon(Image());
    EXPECT_TRUE(write());
    EXPECT_EQ(iconBytes(), templateIcon());
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionIcon, Of_which_nothing_can_be_stored_is_logged_and_no_failure) {
    record.setIcon(imageOfSides({17}));
    EXPECT_TRUE(write());
    EXPECT_EQ(record.path(), stub);
    EXPECT_EQ(iconBytes(), templateIcon());
    EXPECT_EQ(logLines(), failureAt(iconPath));
}

TEST_F(FileSubscriptionIcon, Of_a_size_without_an_element_is_left_out_and_never_stretched) {
    record.setIcon(imageOfSides({16, 17, 32}));
    EXPECT_EQ(sidesWritten(), (Sides{16, 32}));
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionIcon, Without_an_icon_file_in_the_stub_is_logged_and_no_failure) {
    ASSERT_EQ(::unlink(scratch.path("DockApplication.app/" + std::string(applicationIcon)).c_str()), 0);
    record.setIcon(imageOfSides({16}));
    EXPECT_TRUE(write());
    EXPECT_EQ(record.path(), stub);
    EXPECT_FALSE(isThere(iconPath));
    EXPECT_EQ(logLines(), failureAt("(null)"));
    EXPECT_NE(MOXFileSubscription::subscriptionWithPath(stub), nullptr);
}

TEST_F(FileSubscriptionIcon, That_cannot_be_written_leaves_the_old_one) {
    record.setIcon(imageOfSides({16}));
    ASSERT_TRUE(write());
    const std::string before = iconBytes();
    record.setIcon(imageOfSides({32}));
    // Type names, information list, icon, launch alias.
    test.fileSystem.failCall(FileSystemOperation::WriteFileAtomically, 3, ENOSPC, FaultDuration::Once);
    EXPECT_TRUE(write());
    EXPECT_EQ(test.fileSystem.faultsFired(), 1U);
    EXPECT_EQ(iconBytes(), before);
    EXPECT_EQ(logLines(), failureAt(iconPath));
}

TEST_F(FileSubscriptionIcon, That_is_a_link_is_replaced_and_what_it_leads_to_stays) {
    ASSERT_TRUE(write());
    const std::string outside = makeFile("Outside.icns", "outside");
    ASSERT_EQ(::unlink(iconPath.c_str()), 0);
    ASSERT_EQ(::symlink(outside.c_str(), iconPath.c_str()), 0);
    record.setIcon(imageOfSides({16}));
    EXPECT_EQ(sidesWritten(), Sides{16});
    EXPECT_EQ(bytesAt(outside), "outside");
}

TEST_F(FileSubscriptionIcon, In_a_localisation_is_replaced_there) {
    const std::string localised = "Contents/Resources/de.lproj/DockApplication.icns";
    makeFile("DockApplication.app/" + localised, "old");
    ASSERT_EQ(::unlink(scratch.path("DockApplication.app/" + std::string(applicationIcon)).c_str()), 0);
    record.setIcon(imageOfSides({16}));
    EXPECT_TRUE(write());
    EXPECT_EQ(sidesInIconFile(bytesAt(stub + "/" + localised)), Sides{16});
    EXPECT_EQ(logLines(), Lines());
}

struct SystemCase {
    const char* name;
    std::int32_t major;
    std::int32_t minor;
    std::int32_t bugFix;
    bool takesAll;
};

std::ostream& operator<<(std::ostream& stream, const SystemCase& one) {
    return stream << one.name;
}

class FileSubscriptionIconOnSystem : public FileSubscriptionIcon,
                                     public testing::WithParamInterface<SystemCase> {};

TEST_P(FileSubscriptionIconOnSystem, Is_small_on_one_line_of_systems_only) {
    setVersion(GetParam().major, GetParam().minor, GetParam().bugFix);
    record.setIcon(imageOfSides({16, 32, 128, 256, 512}));
    const Sides expected = GetParam().takesAll ? Sides{16, 32, 128, 256, 512} : Sides{16, 32, 128};
    EXPECT_EQ(sidesWritten(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    EachSystem, FileSubscriptionIconOnSystem,
    testing::Values(SystemCase{"v10_6_8", 10, 6, 8, false}, SystemCase{"v10_6_9", 10, 6, 9, false},
                    SystemCase{"v10_6_7", 10, 6, 7, true}, SystemCase{"v10_7_0", 10, 7, 0, true},
                    SystemCase{"v10_7_8", 10, 7, 8, true}, SystemCase{"v10_5_8", 10, 5, 8, true},
                    SystemCase{"v11_6_8", 11, 6, 8, true}, SystemCase{"v9_6_8", 9, 6, 8, true}),
    [](const auto& one) { return one.param.name; });

TEST_F(FileSubscriptionIcon, Is_written_whole_when_a_part_of_the_version_cannot_be_told) {
    record.setIcon(imageOfSides({16, 256}));
    EXPECT_EQ(sidesWritten(), (Sides{16, 256}));
    for (const SystemVersionPart part :
         {SystemVersionPart::Major, SystemVersionPart::Minor, SystemVersionPart::BugFix}) {
        setVersion(10, 6, 8);
        test.systemVersion.parts.erase(part);
        EXPECT_EQ(sidesWritten(), (Sides{16, 256}));
    }
}

TEST_F(FileSubscriptionIcon, Both_sides_of_a_small_picture_have_at_most_128_pixels) {
    setVersion(10, 6, 8);
    Image image = imageOfSides({128, 129});
    image.representations.push_back(representation(128, 129));
    image.representations.push_back(representation(129, 128));
    image.representations.push_back(representation(1, 128));
    record.setIcon(image);
    EXPECT_EQ(record.bitmapRepsForImage(image),
              (std::vector{representation(128, 128), representation(1, 128)}));
}

TEST_F(FileSubscriptionIcon, Small_is_told_by_pixels_and_not_by_points) {
    setVersion(10, 6, 8);
    Image image = imageOfSides({32, 256});
    image.representations.front().size = {512, 512};
    image.representations.back().size = {128, 128};
    record.setIcon(image);
    EXPECT_EQ(record.bitmapRepsForImage(image), std::vector{image.representations.front()});
}

TEST_F(FileSubscriptionIcon, Of_which_only_large_pictures_are_left_out_leaves_the_old_one_without_a_line) {
    setVersion(10, 6, 8);
    record.setIcon(imageOfSides({256, 512}));
    EXPECT_TRUE(write());
    EXPECT_EQ(iconBytes(), templateIcon());
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionIcon, The_representations_are_the_records_own_and_the_argument_is_ignored) {
    const Image argument = imageOfSides({48});
    EXPECT_EQ(record.bitmapRepsForImage(argument), std::vector<Image::Representation>());
    record.setIcon(imageOfSides({16, 32}));
    EXPECT_EQ(record.bitmapRepsForImage(argument), imageOfSides({16, 32}).representations);
}

TEST_F(FileSubscriptionIcon, The_representations_are_read_from_the_stub_when_there_is_one) {
    record.setPath(scratch.path("DockApplication.app"));
    EXPECT_EQ(record.bitmapRepsForImage(Image()), imageOfSides({48}).representations);
}

} // namespace
} // namespace mox::test
