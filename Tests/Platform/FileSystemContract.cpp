#include "Platform/FileSystemContract.hpp"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::test {

ScopedUmask::ScopedUmask(FileMode mask) : _previous(::umask(static_cast<mode_t>(mask))) {}

ScopedUmask::~ScopedUmask() {
    ::umask(static_cast<mode_t>(_previous));
}

namespace {

using Names = std::vector<std::string>;

std::string withNul(const std::string& path) {
    return path + std::string("\0x", 2);
}

/// Acts as a user without privileges, whom modes bind, for as long as it lives; `folder` is given to that
/// user.
class WithoutPrivileges {
public:
    explicit WithoutPrivileges(const ScratchFolder& folder) : _isRoot(::geteuid() == 0) {
        constexpr uid_t nobody = 65534;
        if (!_isRoot) return;
        if (::chown(folder.path().c_str(), nobody, nobody) != 0 || ::seteuid(nobody) != 0) {
            throw std::runtime_error("privileges cannot be given up");
        }
    }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;
    ~WithoutPrivileges() {
        if (_isRoot && ::seteuid(0) != 0) std::abort();
    }

private:
    bool _isRoot;
};

TEST_P(FileSystemContract, The_kind_of_an_item_is_that_of_what_a_link_leads_to) {
    folder.write("file", "x");
    ASSERT_EQ(::symlink("file", folder.path("link").c_str()), 0);
    ASSERT_EQ(::symlink(".", folder.path("folderlink").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", folder.path("dangling").c_str()), 0);
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path()), ItemKind::Directory);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("file")), ItemKind::File);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("link")), ItemKind::File);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("folderlink")), ItemKind::Directory);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("pipe")), ItemKind::File);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("dangling")), ItemKind::Missing);
}

TEST_P(FileSystemContract, Where_nothing_can_be_nothing_is) {
    folder.write("file", "x");
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("none")), ItemKind::Missing);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("none/below")), ItemKind::Missing);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("file/below")), ItemKind::Missing);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path(std::string(256, 'n'))), ItemKind::Missing);
    EXPECT_EQ(fileSystem->itemKindAtPath(withNul(folder.path("file"))), ItemKind::Missing);
    EXPECT_EQ(fileSystem->itemKindAtPath(""), ItemKind::Missing);
}

TEST_P(FileSystemContract, An_item_that_the_system_keeps_to_itself_is_inaccessible_not_missing) {
    const WithoutPrivileges user(folder);
    ASSERT_EQ(::mkdir(folder.path("closed").c_str(), 0), 0);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("closed/file")), ItemKind::Inaccessible);
    ASSERT_EQ(::symlink("loop", folder.path("loop").c_str()), 0);
    EXPECT_EQ(fileSystem->itemKindAtPath(folder.path("loop")), ItemKind::Inaccessible);
}

TEST_P(FileSystemContract, A_file_is_read_whole) {
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 1'000'000U}) {
        std::string content(size, '\0');
        for (std::size_t index = 0; index < size; ++index)
            content[index] = static_cast<char>(index * 7);
        const Result<Bytes> read = fileSystem->contentsOfFile(folder.write("file", content));
        ASSERT_TRUE(read);
        EXPECT_TRUE(*read == content) << size;
    }
}

TEST_P(FileSystemContract, A_file_is_read_through_a_link) {
    folder.write("file", "text");
    ASSERT_EQ(::symlink("file", folder.path("link").c_str()), 0);
    const Result<Bytes> read = fileSystem->contentsOfFile(folder.path("link"));
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, "text");
}

TEST_P(FileSystemContract, What_is_no_readable_file_is_refused_without_waiting) {
    folder.write("file", "x");
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->contentsOfFile(path), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none"), 260, ENOENT));
    EXPECT_TRUE(refusal(folder.path(), 256, EISDIR));
    EXPECT_TRUE(refusal(folder.path("pipe"), 256, EINVAL));
    EXPECT_TRUE(refusal("/dev/zero", 256, EINVAL));
    EXPECT_TRUE(refusal(folder.path("file/below"), 256, ENOTDIR));
    EXPECT_TRUE(refusal(folder.path(std::string(256, 'n')), 256, ENAMETOOLONG));
    EXPECT_TRUE(refusal(withNul(folder.path("file")), 256, EINVAL));
}

TEST_P(FileSystemContract, A_file_without_permission_to_read_is_error_257) {
    const WithoutPrivileges user(folder);
    const std::string path = folder.write("file", "x");
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    EXPECT_TRUE(isFileSystemError(fileSystem->contentsOfFile(path), 257, path, EACCES));
}

TEST_P(FileSystemContract, An_atomic_write_makes_a_file_and_leaves_nothing_beside_it) {
    const std::string path = folder.path("file");
    const std::string content("a\0b\xff", 4);
    ASSERT_TRUE(fileSystem->writeFileAtomically(path, content));
    EXPECT_EQ(bytesOfFile(path), content);
    EXPECT_EQ(namesIn(folder.path()), Names{"file"});
}

TEST_P(FileSystemContract, An_atomic_write_replaces_a_file_whatever_the_lengths) {
    const std::string path = folder.write("file", "a longer text than that to come");
    ASSERT_TRUE(fileSystem->writeFileAtomically(path, "short"));
    EXPECT_EQ(bytesOfFile(path), "short");
    ASSERT_TRUE(fileSystem->writeFileAtomically(path, ""));
    EXPECT_EQ(bytesOfFile(path), "");
    const std::string large(3'000'000, 'x');
    ASSERT_TRUE(fileSystem->writeFileAtomically(path, large));
    EXPECT_TRUE(bytesOfFile(path) == large);
    EXPECT_EQ(namesIn(folder.path()), Names{"file"});
}

TEST_P(FileSystemContract, An_atomic_write_leaves_a_reader_of_the_old_file_with_the_old_content) {
    const std::string path = folder.write("file", "old");
    ASSERT_EQ(::link(path.c_str(), folder.path("other name").c_str()), 0);
    ASSERT_TRUE(fileSystem->writeFileAtomically(path, "new"));
    EXPECT_EQ(bytesOfFile(folder.path("other name")), "old");
}

TEST_P(FileSystemContract, A_new_file_gets_the_mode_asked_for_else_what_the_umask_leaves) {
    const ScopedUmask mask(027);
    ASSERT_TRUE(fileSystem->writeFileAtomically(folder.path("plain"), ""));
    EXPECT_EQ(modeOf(folder.path("plain")), 0640U);
    ASSERT_TRUE(fileSystem->writeFileAtomically(folder.path("private"), "", 0600));
    EXPECT_EQ(modeOf(folder.path("private")), 0600U);
    ASSERT_TRUE(fileSystem->writeFileAtomically(folder.path("open"), "", 0666));
    EXPECT_EQ(modeOf(folder.path("open")), 0666U);
}

TEST_P(FileSystemContract, An_old_file_s_mode_is_kept_but_not_its_set_id_bits) {
    const ScopedUmask mask(077);
    const std::string path = folder.write("file", "old");
    for (const mode_t mode : {mode_t{0644}, mode_t{0400}, mode_t{0777}, mode_t{04755}}) {
        ASSERT_EQ(::chmod(path.c_str(), mode), 0);
        ASSERT_TRUE(fileSystem->writeFileAtomically(path, "new", 0600));
        EXPECT_EQ(modeOf(path), mode & 0777U);
    }
}

TEST_P(FileSystemContract, A_link_at_the_target_is_replaced_and_what_it_leads_to_stays) {
    const std::string other = folder.write("other", "other");
    ASSERT_EQ(::chmod(other.c_str(), 0604), 0);
    ASSERT_EQ(::symlink("other", folder.path("link").c_str()), 0);
    ASSERT_TRUE(fileSystem->writeFileAtomically(folder.path("link"), "new", 0600));
    EXPECT_EQ(bytesOfFile(folder.path("link")), "new");
    EXPECT_EQ(modeOf(folder.path("link")), 0600U);
    EXPECT_EQ(bytesOfFile(other), "other");
}

TEST_P(FileSystemContract, A_pipe_at_the_target_is_replaced_without_waiting) {
    const std::string path = folder.path("pipe");
    ASSERT_EQ(::mkfifo(path.c_str(), 0666), 0);
    ASSERT_TRUE(fileSystem->writeFileAtomically(path, "new"));
    EXPECT_EQ(bytesOfFile(path), "new");
}

TEST_P(FileSystemContract, A_name_may_be_as_long_as_names_can_be) {
    const std::string name(255, 'n');
    ASSERT_TRUE(fileSystem->writeFileAtomically(folder.path(name), "one"));
    ASSERT_TRUE(fileSystem->writeFileAtomically(folder.path(name), "two"));
    EXPECT_EQ(bytesOfFile(folder.path(name)), "two");
    EXPECT_EQ(namesIn(folder.path()), Names{name});
    const std::string tooLong = folder.path(name + "n");
    EXPECT_TRUE(isFileSystemError(fileSystem->writeFileAtomically(tooLong, "x"), 512, tooLong, ENAMETOOLONG));
    EXPECT_EQ(namesIn(folder.path()), Names{name});
}

TEST_P(FileSystemContract, A_name_is_not_looked_into) {
    for (const std::string name :
         {"a\nb", "\x1b[31m", "\xff\xfe", "..x", "-f", "%n%s%@", ";$(x)`y`", "\"'\\"}) {
        ASSERT_TRUE(fileSystem->writeFileAtomically(folder.path(name), name)) << name;
        EXPECT_EQ(bytesOfFile(folder.path(name)), name);
    }
}

TEST_P(FileSystemContract, An_atomic_write_that_cannot_be_leaves_everything_as_it_was) {
    folder.write("file", "old");
    ASSERT_EQ(::mkdir(folder.path("folder").c_str(), 0777), 0);
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->writeFileAtomically(path, "new"), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none/file"), 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path("file/below"), 512, ENOTDIR));
    EXPECT_TRUE(refusal(folder.path("folder"), 512, EISDIR));
    EXPECT_TRUE(refusal(folder.path("new/"), 4, ENOENT));
    EXPECT_TRUE(refusal(withNul(folder.path("file")), 512, EINVAL));
    EXPECT_TRUE(refusal("", 4, ENOENT));
    EXPECT_EQ(namesIn(folder.path()), (Names{"file", "folder"}));
    EXPECT_EQ(bytesOfFile(folder.path("file")), "old");
    EXPECT_EQ(namesIn(folder.path("folder")), Names{});
}

TEST_P(FileSystemContract, An_atomic_write_into_a_read_only_folder_is_error_513) {
    const WithoutPrivileges user(folder);
    const std::string path = folder.write("file", "old");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0500), 0);
    EXPECT_TRUE(isFileSystemError(fileSystem->writeFileAtomically(path, "new"), 513, path, EACCES));
    EXPECT_EQ(bytesOfFile(path), "old");
}

TEST_P(FileSystemContract, A_write_in_place_makes_or_changes_the_file_that_a_link_leads_to) {
    const ScopedUmask mask(027);
    ASSERT_EQ(::symlink("file", folder.path("link").c_str()), 0);
    ASSERT_TRUE(fileSystem->writeFileInPlace(folder.path("link"), "a longer text"));
    EXPECT_EQ(bytesOfFile(folder.path("file")), "a longer text");
    EXPECT_EQ(modeOf(folder.path("file")), 0640U);
    ASSERT_EQ(::link(folder.path("file").c_str(), folder.path("other name").c_str()), 0);
    ASSERT_TRUE(fileSystem->writeFileInPlace(folder.path("file"), "short"));
    EXPECT_EQ(bytesOfFile(folder.path("other name")), "short");
}

TEST_P(FileSystemContract, A_write_in_place_that_cannot_be_is_refused_without_waiting) {
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->writeFileInPlace(path, "new"), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none/file"), 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path(), 512, EISDIR));
    EXPECT_TRUE(refusal(folder.path("pipe"), 512, ENXIO));
    EXPECT_TRUE(refusal("/dev/null", 512, EINVAL));
    EXPECT_TRUE(refusal(withNul(folder.path("file")), 512, EINVAL));
}

TEST_P(FileSystemContract, A_directory_is_made_with_those_above_it) {
    const ScopedUmask mask(022);
    ASSERT_TRUE(fileSystem->createDirectoryWithIntermediates(folder.path("a/b/c"), 0700));
    EXPECT_EQ(modeOf(folder.path("a")), 0755U);
    EXPECT_EQ(modeOf(folder.path("a/b")), 0755U);
    EXPECT_EQ(modeOf(folder.path("a/b/c")), 0700U);
    ASSERT_TRUE(fileSystem->createDirectoryWithIntermediates(folder.path("a/d//")));
    EXPECT_EQ(modeOf(folder.path("a/d")), 0755U);
}

TEST_P(FileSystemContract, A_directory_that_is_there_stays_as_it_is) {
    ASSERT_EQ(::mkdir(folder.path("a").c_str(), 0777), 0);
    ASSERT_EQ(::chmod(folder.path("a").c_str(), 0711), 0);
    ASSERT_EQ(::symlink("a", folder.path("link").c_str()), 0);
    EXPECT_TRUE(fileSystem->createDirectoryWithIntermediates(folder.path("a"), 0700));
    EXPECT_TRUE(fileSystem->createDirectoryWithIntermediates(folder.path("link"), 0700));
    EXPECT_EQ(modeOf(folder.path("a")), 0711U);
    EXPECT_TRUE(fileSystem->createDirectoryWithIntermediates(folder.path("link/below"), 0700));
    EXPECT_EQ(namesIn(folder.path("a")), Names{"below"});
    EXPECT_TRUE(fileSystem->createDirectoryWithIntermediates("/"));
}

TEST_P(FileSystemContract, Anything_else_in_a_directory_s_way_is_error_516) {
    folder.write("file", "x");
    ASSERT_EQ(::symlink("nowhere", folder.path("dangling").c_str()), 0);
    const auto isInTheWay = [&](const std::string& path) {
        return isFileSystemError(fileSystem->createDirectoryWithIntermediates(path), 516, path, EEXIST);
    };
    EXPECT_TRUE(isInTheWay(folder.path("file")));
    EXPECT_TRUE(isInTheWay(folder.path("file/below")));
    EXPECT_TRUE(isInTheWay(folder.path("file/below/that")));
    EXPECT_TRUE(isInTheWay(folder.path("dangling")));
    EXPECT_TRUE(isInTheWay(folder.path("dangling/below")));
    EXPECT_EQ(namesIn(folder.path()), (Names{"dangling", "file"}));
}

TEST_P(FileSystemContract, A_directory_that_cannot_be_made_is_told_with_its_reason) {
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->createDirectoryWithIntermediates(path), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal("", 4, ENOENT));
    EXPECT_TRUE(refusal(withNul(folder.path("a")), 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path(std::string(256, 'n')), 512, ENAMETOOLONG));
    const WithoutPrivileges user(folder);
    ASSERT_EQ(::chmod(folder.path().c_str(), 0500), 0);
    EXPECT_TRUE(refusal(folder.path("a/b"), 513, EACCES));
}

TEST_P(FileSystemContract, A_move_takes_the_item_itself_along) {
    folder.write("file", "x");
    ASSERT_EQ(::symlink("file", folder.path("link").c_str()), 0);
    ASSERT_EQ(::mkdir(folder.path("folder").c_str(), 0777), 0);
    folder.write("folder/below", "y");
    EXPECT_TRUE(fileSystem->moveItem(folder.path("file"), folder.path("file 2")));
    EXPECT_TRUE(fileSystem->moveItem(folder.path("link"), folder.path("link 2")));
    EXPECT_TRUE(fileSystem->moveItem(folder.path("folder"), folder.path("folder 2")));
    EXPECT_EQ(namesIn(folder.path()), (Names{"file 2", "folder 2", "link 2"}));
    EXPECT_EQ(bytesOfFile(folder.path("folder 2/below")), "y");
    EXPECT_TRUE(S_ISLNK([&] {
        struct ::stat status = {};
        EXPECT_EQ(::lstat(folder.path("link 2").c_str(), &status), 0);
        return status.st_mode;
    }()));
}

TEST_P(FileSystemContract, A_move_never_replaces_anything) {
    const std::string source = folder.write("source", "source");
    folder.write("file", "file");
    ASSERT_EQ(::mkdir(folder.path("empty").c_str(), 0777), 0);
    ASSERT_EQ(::symlink("nowhere", folder.path("dangling").c_str()), 0);
    for (const std::string name : {"file", "empty", "dangling", "source"}) {
        const std::string destination = folder.path(name);
        EXPECT_TRUE(isFileSystemError(fileSystem->moveItem(source, destination), 516, destination, EEXIST));
    }
    ASSERT_EQ(::mkdir(folder.path("another").c_str(), 0777), 0);
    EXPECT_TRUE(isFileSystemError(fileSystem->moveItem(folder.path("another"), folder.path("empty")), 516,
                                  folder.path("empty"), EEXIST));
    EXPECT_EQ(namesIn(folder.path()), (Names{"another", "dangling", "empty", "file", "source"}));
    EXPECT_EQ(bytesOfFile(source), "source");
    EXPECT_EQ(bytesOfFile(folder.path("file")), "file");
}

TEST_P(FileSystemContract, A_move_that_cannot_be_leaves_both_as_they_were) {
    const std::string source = folder.write("source", "source");
    ASSERT_EQ(::mkdir(folder.path("folder").c_str(), 0777), 0);
    const auto refusal = [&](const std::string& from, const std::string& to, Error::Code code,
                             int errorNumber) {
        return isFileSystemError(fileSystem->moveItem(from, to), code, from, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none"), folder.path("new"), 4, ENOENT));
    EXPECT_TRUE(refusal(source, folder.path("none/new"), 4, ENOENT));
    EXPECT_TRUE(refusal(source, withNul(folder.path("new")), 512, EINVAL));
    EXPECT_TRUE(refusal(withNul(source), folder.path("new"), 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("folder"), folder.path("folder/below"), 512, EINVAL));
    EXPECT_EQ(namesIn(folder.path()), (Names{"folder", "source"}));
    EXPECT_EQ(namesIn(folder.path("folder")), Names{});
}

} // namespace
} // namespace mox::test
