#include "SDK/BundleStore.hpp"
#include "SDK/MOXFileSubscriptionManagerAdditions.hpp"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {
namespace {

class AlmostEmptyDirectory : public StubBundleTest {
protected:
    bool isAlmostEmpty(std::string_view path = "folder") const {
        return isAlmostEmptyDirectoryAtPath(scratch.path(path));
    }
    void link(std::string_view path, const std::string& target) const {
        ASSERT_EQ(::symlink(target.c_str(), scratch.path(path).c_str()), 0);
    }
};

TEST_F(AlmostEmptyDirectory, What_is_missing_or_a_file_is_not) {
    makeFile("file", "");
    EXPECT_FALSE(isAlmostEmpty("missing"));
    EXPECT_FALSE(isAlmostEmpty("file"));
    EXPECT_FALSE(isAlmostEmptyDirectoryAtPath(""));
}

TEST_F(AlmostEmptyDirectory, An_empty_folder_is_and_an_empty_package_is_not) {
    makeFolder("folder");
    makeFolder("Package.app");
    EXPECT_TRUE(isAlmostEmpty());
    EXPECT_TRUE(isAlmostEmptyDirectoryAtPath(scratch.path("folder/")));
    EXPECT_FALSE(isAlmostEmpty("Package.app"));
}

TEST_F(AlmostEmptyDirectory, The_desktop_s_own_file_and_almost_empty_folders_do_not_count) {
    makeFile("folder/.DS_Store", "x");
    makeFile("folder/a/.DS_Store", "x");
    makeFolder("folder/a/b/c");
    makeFolder("folder/.hidden");
    EXPECT_TRUE(isAlmostEmpty());
    makeFile("folder/a/b/c/file", "");
    EXPECT_FALSE(isAlmostEmpty());
}

TEST_F(AlmostEmptyDirectory, Whatever_is_named_as_the_desktop_s_own_file_does_not_count) {
    makeFile("folder/.DS_Store/file", "x");
    makeFolder("other/.DS_Store");
    makeFolder("linked");
    link("linked/.DS_Store", "nowhere");
    EXPECT_TRUE(isAlmostEmpty());
    EXPECT_TRUE(isAlmostEmpty("linked"));
}

TEST_F(AlmostEmptyDirectory, Any_other_hidden_file_counts) {
    for (const std::string_view name : {".ds_store", ".DS_Store2", ".localized", "._.DS_Store", "DS_Store"}) {
        const std::string folder = "folder" + std::string(name);
        makeFile(folder + "/" + std::string(name), "");
        EXPECT_FALSE(isAlmostEmpty(folder)) << name;
    }
}

TEST_F(AlmostEmptyDirectory, A_package_in_it_counts_at_any_depth) {
    makeFolder("folder/a/b/Empty.app");
    EXPECT_FALSE(isAlmostEmpty());
}

TEST_F(AlmostEmptyDirectory, A_link_counts_unless_it_leads_to_an_almost_empty_folder) {
    makeFolder("empty/below");
    makeFile("full/file", "x");
    makeFolder("folder");
    link("folder/link", scratch.path("empty"));
    EXPECT_TRUE(isAlmostEmpty());
    EXPECT_TRUE(isAlmostEmpty("folder/link"));
    for (const std::string target : {"full", "full/file", "none"}) {
        const std::string folder = "to-" + std::string(target == "full/file" ? "file" : target);
        makeFolder(folder);
        link(folder + "/link", scratch.path(target));
        EXPECT_FALSE(isAlmostEmpty(folder)) << target;
    }
    makeFolder("named");
    link("named/Link.app", scratch.path("empty"));
    EXPECT_FALSE(isAlmostEmpty("named")) << "a package by its own name";
}

TEST_F(AlmostEmptyDirectory, A_link_that_leads_back_counts) {
    makeFolder("folder/a");
    link("folder/a/back", scratch.path("folder"));
    EXPECT_FALSE(isAlmostEmpty());
    makeFolder("self");
    link("self/self", ".");
    EXPECT_FALSE(isAlmostEmpty("self"));
    EXPECT_TRUE(isThere(scratch.path("self")));
}

TEST_F(AlmostEmptyDirectory, A_folder_that_cannot_be_listed_is) {
    makeFile("folder/file", "x");
    test.fileSystem.failCall(FileSystemOperation::ContentsOfDirectory, 1, EACCES, FaultDuration::Once);
    EXPECT_TRUE(isAlmostEmpty());
    EXPECT_FALSE(isAlmostEmpty());
}

TEST_F(AlmostEmptyDirectory, The_first_thing_that_counts_ends_the_test) {
    makeFile("folder/file", "x");
    makeFolder("folder/b");
    test.fileSystem.resetCounts();
    EXPECT_FALSE(isAlmostEmpty());
    EXPECT_LE(test.fileSystem.count(FileSystemOperation::ContentsOfDirectory), 2U);
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::ItemKind), 1U);
}

} // namespace
} // namespace mox::test
