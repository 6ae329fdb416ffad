#include "Platform/FileSystemContract.hpp"
#include "Platform/FileSystemErrors.hpp"
#include "Platform/LinuxFileSystemStack.hpp"
#include "Platform/PrivateMounts.hpp"
#include "Platform/TreeSamples.hpp"

#include <cerrno>
#include <functional>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>
#include <utility>

namespace mox::test {
namespace {

using Names = std::vector<std::string>;
using enum SystemCall;

bool exists(const std::string& path) {
    struct ::stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

/// Whether a removal need not fail when `call` does: nothing depends on whether a descriptor that was only
/// read from could be closed, and a directory that may not be entered may be empty.
bool isHarmless(SystemCall call, int errorNumber) {
    return call == Close || ((call == Openat || call == Statx) && errorNumber == EACCES);
}

/// A tree to be removed, and another one that links in the first lead to.
class TreeRemovalTest : public testing::Test {
protected:
    /// Surroundings of one attempt.
    struct Place {
        Place() {
            makeSampleTree(folder, "tree");
            makeSampleTree(folder, "outside");
            makeLink(folder, "tree/out", "../outside");
            outside = treeAt(folder.path("outside"));
        }
        bool isOutsideUntouched() const { return treeAt(folder.path("outside")) == outside; }

        const ScratchFolder folder;
        std::map<std::string, std::string> outside;
        const std::string tree = folder.path("tree");
        LinuxFileSystemStack stack;
    };
};

TEST_F(TreeRemovalTest, A_failure_of_any_call_is_told_and_a_second_try_succeeds) {
    for (const FaultDuration duration : {FaultDuration::Once, FaultDuration::FromThenOn}) {
        for (const int errorNumber : errorNumbers) {
            SCOPED_TRACE(testing::Message() << "errno " << errorNumber);
            const std::size_t calls = forEachFault([&](std::size_t number) {
                Place place;
                place.stack.calls.failCall(std::nullopt, number, errorNumber, duration);
                const Result<void> result = place.stack.fileSystem.removeItem(place.tree);
                const bool hasFired = place.stack.calls.faultsFired() > 0;
                if (result) {
                    EXPECT_TRUE(!hasFired ||
                                isHarmless(place.stack.calls.calls().at(number - 1), errorNumber));
                    EXPECT_FALSE(exists(place.tree));
                } else {
                    EXPECT_TRUE(hasFired);
                    EXPECT_TRUE(isFileSystemError(result, writeError(place.tree, errorNumber).code(),
                                                  place.tree, errorNumber));
                    place.stack.calls.stopFailing();
                    EXPECT_TRUE(exists(place.tree));
                    EXPECT_TRUE(place.stack.fileSystem.removeItem(place.tree));
                }
                EXPECT_TRUE(place.isOutsideUntouched());
                EXPECT_EQ(namesIn(place.folder.path()), Names{"outside"});
                return hasFired;
            });
            EXPECT_GT(calls, 20U);
        }
    }
}

TEST_F(TreeRemovalTest, After_death_at_any_change_another_removal_finishes) {
    forEachFault([](std::size_t number) {
        Place place;
        place.stack.calls.dieAtChange(number);
        const Result<void> result = place.stack.fileSystem.removeItem(place.tree);
        const bool hasDied = place.stack.calls.faultsFired() > 0;
        EXPECT_EQ(bool(result), !hasDied);
        EXPECT_EQ(exists(place.tree), hasDied);
        place.stack.calls.stopFailing();
        EXPECT_EQ(bool(place.stack.fileSystem.removeItem(place.tree)), hasDied);
        EXPECT_TRUE(place.isOutsideUntouched());
        return hasDied;
    });
}

/// Lets `meddle` do something to the place just before each of the calls of a removal in turn, and `check`
/// judge afterwards.
template<typename Place, typename Meddle, typename Check>
void meddleBeforeEachCall(Meddle meddle, Check check) {
    const std::size_t calls = forEachFault([&](std::size_t number) {
        Place place;
        bool hasActed = false;
        place.stack.calls.actBefore(number, [&] {
            hasActed = true;
            meddle(place.folder);
        });
        const Result<void> result = place.stack.fileSystem.removeItem(place.tree);
        check(place, result, hasActed);
        EXPECT_TRUE(place.isOutsideUntouched());
        return hasActed;
    });
    EXPECT_GT(calls, 20U);
}

TEST_F(TreeRemovalTest, A_link_put_in_place_of_a_directory_meanwhile_is_not_followed) {
    std::size_t replacements = 0;
    meddleBeforeEachCall<Place>(
        [&](const ScratchFolder& folder) {
            if (::rename(folder.path("tree/a").c_str(), folder.path("away").c_str()) != 0) return;
            makeLink(folder, "tree/a", "../outside");
            ++replacements;
        },
        [](const Place& place, const Result<void>& result, bool) {
            // A directory that was moved away while the removal was in it is emptied all the same.
            EXPECT_TRUE(!result || !exists(place.tree));
        });
    EXPECT_GT(replacements, 3U);
}

TEST_F(TreeRemovalTest, A_link_put_in_place_of_a_file_or_of_the_tree_meanwhile_is_not_followed) {
    for (const std::string victim : {"tree/a/file", "tree"}) {
        std::size_t replacements = 0;
        meddleBeforeEachCall<Place>(
            [&](const ScratchFolder& folder) {
                if (::rename(folder.path(victim).c_str(), folder.path("away").c_str()) != 0) return;
                makeLink(folder, victim, victim == "tree" ? "outside" : "../../outside/file");
                ++replacements;
            },
            [](const Place&, const Result<void>&, bool) {});
        EXPECT_GT(replacements, 3U);
    }
}

TEST_F(TreeRemovalTest, What_somebody_else_removes_meanwhile_is_no_failure) {
    for (const Names& victims : {Names{"tree/a/file"}, Names{"tree/empty"}, Names{"tree/a/link", "tree/out"},
                                 Names{"tree/a/file", "tree/a/link", "tree/a"}}) {
        meddleBeforeEachCall<Place>(
            [&](const ScratchFolder& folder) {
                for (const std::string& victim : victims)
                    ::remove(folder.path(victim).c_str());
            },
            [](const Place& place, const Result<void>& result, bool) {
                EXPECT_TRUE(result) << result.error().description() << " because of "
                                    << result.error().underlyingError()->description();
                EXPECT_FALSE(exists(place.tree));
            });
    }
}

TEST_F(TreeRemovalTest, What_arrives_too_late_to_be_seen_stays_and_is_told) {
    std::size_t failures = 0;
    meddleBeforeEachCall<Place>(
        [](const ScratchFolder& folder) {
            const int file = ::open(folder.path("tree/a/new").c_str(), O_WRONLY | O_CREAT, 0600);
            if (file >= 0) ::close(file);
        },
        [&](const Place& place, const Result<void>& result, bool) {
            EXPECT_EQ(exists(place.tree), !result);
            if (result) return;
            ++failures;
            EXPECT_TRUE(isFileSystemError(result, 512, place.tree, ENOTEMPTY));
            EXPECT_TRUE(exists(place.folder.path("tree/a/new")));
        });
    EXPECT_GT(failures, 0U);
}

TEST_F(TreeRemovalTest, A_tree_of_5000_levels_is_removed_with_few_descriptors) {
    const ScratchFolder folder;
    makeDeepTree(folder, "tree", 5000);
    struct ::rlimit before;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const ::rlimit few = {openDescriptors() + 20, before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    LinuxFileSystemStack stack;
    const Result<void> result = stack.fileSystem.removeItem(folder.path("tree"));
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(result);
    EXPECT_EQ(namesIn(folder.path()), Names{});
}

/// Does something when a directory above is opened again for the first time.
class ActsBeforeGoingUp : public ForwardingSystemCalls {
public:
    ActsBeforeGoingUp(SystemCalls& target, std::function<void()> action)
        : ForwardingSystemCalls(target), _action(std::move(action)) {}
    int openat(int folder, const char* path, int flags, mode_t mode) override {
        if (std::string_view(path) == ".." && _action) std::exchange(_action, nullptr)();
        return ForwardingSystemCalls::openat(folder, path, flags, mode);
    }

private:
    std::function<void()> _action;
};

TEST_F(TreeRemovalTest, A_directory_moved_elsewhere_while_the_removal_is_deep_in_it_ends_the_removal) {
    const ScratchFolder folder;
    constexpr int levels = 40;
    makeDeepTree(folder, "tree", levels);
    makeFolder(folder, "elsewhere");
    folder.write("elsewhere/file", "x");
    // It is the innermost ones that stay open: this one must be opened again.
    std::string moved = folder.path("tree");
    for (int level = 0; level < 10; ++level)
        moved += "/d";
    bool hasMoved = false;
    SystemCalls system;
    ActsBeforeGoingUp calls(
        system, [&] { hasMoved = ::rename(moved.c_str(), folder.path("elsewhere/moved").c_str()) == 0; });
    const std::size_t descriptors = openDescriptors();
    const Result<void> result = LinuxFileSystem(calls).removeItem(folder.path("tree"));
    EXPECT_EQ(openDescriptors(), descriptors);
    EXPECT_TRUE(hasMoved);
    EXPECT_TRUE(isFileSystemError(result, 512, folder.path("tree"), ESTALE));
    EXPECT_TRUE(exists(folder.path("elsewhere/file")));
    EXPECT_EQ(depthOfTree(folder.path("tree")).first, 9);
}

TEST_F(TreeRemovalTest, A_mount_point_in_the_tree_is_refused_before_anything_in_it_is_gone) {
    for (const bool isBind : {false, true}) {
        const ScratchFolder folder;
        makeFolder(folder, "tree");
        makeFolder(folder, "tree/mounted");
        makeFolder(folder, "other");
        folder.write("other/file", "x");
        std::string reason;
        const bool hasRun = withPrivateMounts(reason, [&] {
            ASSERT_TRUE(isBind ? mountBind(folder.path("other"), folder.path("tree/mounted"))
                               : mountMemory(folder.path("tree/mounted")));
            folder.write("tree/mounted/file", "x");
            LinuxFileSystemStack stack;
            for (const std::string path : {"tree", "tree/mounted"}) {
                EXPECT_TRUE(isFileSystemError(stack.fileSystem.removeItem(folder.path(path)), 512,
                                              folder.path(path), EXDEV));
                EXPECT_EQ(bytesOfFile(folder.path("tree/mounted/file")), "x");
            }
            ASSERT_EQ(::unlink(folder.path("tree/mounted/file").c_str()), 0);
            EXPECT_TRUE(isFileSystemError(stack.fileSystem.removeAlmostEmptyDirectory(folder.path("tree")),
                                          512, folder.path("tree"), EXDEV));
        });
        if (!hasRun) GTEST_SKIP() << reason;
    }
}

/// An almost empty tree.
struct AlmostEmptyPlace {
    AlmostEmptyPlace() {
        for (const std::string name : {"tree", "tree/a", "tree/a/b", "tree/.DS_Store", "outside"})
            makeFolder(folder, name);
        folder.write("tree/.DS_Store/file", "x");
        folder.write("tree/a/.DS_Store", "x");
        folder.write("outside/file", "x");
        makeLink(folder, "tree/a/link", "../../outside");
    }
    bool isOutsideUntouched() const { return namesIn(folder.path("outside")) == Names{"file"}; }

    const ScratchFolder folder;
    const std::string tree = folder.path("tree");
    LinuxFileSystemStack stack;
};

TEST_F(TreeRemovalTest, A_failure_of_any_call_of_an_almost_empty_removal_is_told_and_a_second_try_succeeds) {
    for (const FaultDuration duration : {FaultDuration::Once, FaultDuration::FromThenOn}) {
        for (const int errorNumber : errorNumbers) {
            SCOPED_TRACE(testing::Message() << "errno " << errorNumber);
            forEachFault([&](std::size_t number) {
                AlmostEmptyPlace place;
                place.stack.calls.failCall(std::nullopt, number, errorNumber, duration);
                const Result<void> result = place.stack.fileSystem.removeAlmostEmptyDirectory(place.tree);
                const bool hasFired = place.stack.calls.faultsFired() > 0;
                if (result) {
                    EXPECT_TRUE(!hasFired ||
                                isHarmless(place.stack.calls.calls().at(number - 1), errorNumber));
                } else {
                    EXPECT_TRUE(isFileSystemError(result, writeError(place.tree, errorNumber).code(),
                                                  place.tree, errorNumber));
                    place.stack.calls.stopFailing();
                    EXPECT_TRUE(place.stack.fileSystem.removeAlmostEmptyDirectory(place.tree));
                }
                EXPECT_EQ(namesIn(place.folder.path()), Names{"outside"});
                EXPECT_TRUE(place.isOutsideUntouched());
                return hasFired;
            });
        }
    }
}

TEST_F(TreeRemovalTest, A_file_that_arrives_in_an_almost_empty_directory_at_any_time_stays) {
    std::size_t failures = 0;
    for (const std::string arrival : {"tree/new", "tree/a/new", "tree/a/b/new"}) {
        forEachFault([&](std::size_t number) {
            AlmostEmptyPlace place;
            bool hasActed = false;
            bool hasArrived = false;
            place.stack.calls.actBefore(number, [&] {
                hasActed = true;
                const int file = ::open(place.folder.path(arrival).c_str(), O_WRONLY | O_CREAT, 0600);
                hasArrived = file >= 0;
                if (hasArrived) ::close(file);
            });
            const Result<void> result = place.stack.fileSystem.removeAlmostEmptyDirectory(place.tree);
            EXPECT_EQ(bool(result), !hasArrived);
            EXPECT_EQ(exists(place.folder.path(arrival)), hasArrived);
            if (hasArrived) {
                ++failures;
                EXPECT_TRUE(isFileSystemError(result, 512, place.tree, ENOTEMPTY));
            }
            EXPECT_TRUE(place.isOutsideUntouched());
            return hasActed;
        });
    }
    EXPECT_GT(failures, 20U);
}

} // namespace
} // namespace mox::test
