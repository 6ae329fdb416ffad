#include "Platform/FileSystemContract.hpp"

#include <climits>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace mox::test {

ScopedUmask::ScopedUmask(FileMode mask) : _previous(::umask(static_cast<mode_t>(mask))) {}

ScopedUmask::~ScopedUmask() {
    ::umask(static_cast<mode_t>(_previous));
}

WithoutPrivileges::WithoutPrivileges(const ScratchFolder& folder) : _isRoot(::geteuid() == 0) {
    constexpr uid_t nobody = 65534;
    if (!_isRoot) return;
    if (::chown(folder.path().c_str(), nobody, nobody) != 0 || ::seteuid(nobody) != 0) {
        throw std::runtime_error("privileges cannot be given up");
    }
}

WithoutPrivileges::~WithoutPrivileges() {
    if (_isRoot && ::seteuid(0) != 0) std::abort();
}

namespace {

using Names = std::vector<std::string>;

std::string withNul(const std::string& path) {
    return path + std::string("\0x", 2);
}

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

TEST_P(FileSystemContract, Paths_that_lead_to_one_item_have_one_identity) {
    folder.write("file", "x");
    folder.write("other", "x");
    ASSERT_EQ(::symlink("file", folder.path("link").c_str()), 0);
    ASSERT_EQ(::symlink(".", folder.path("folderlink").c_str()), 0);
    const auto identity = [&](const std::string& path) { return *fileSystem->identityOfItem(path); };
    EXPECT_EQ(identity(folder.path("link")), identity(folder.path("file")));
    EXPECT_EQ(identity(folder.path("folderlink")), identity(folder.path()));
    EXPECT_EQ(identity(folder.path("folderlink/file")), identity(folder.path("file")));
    EXPECT_NE(identity(folder.path("other")), identity(folder.path("file")));
    EXPECT_NE(identity("/proc"), identity("/"));
    EXPECT_TRUE(
        isFileSystemError(fileSystem->identityOfItem(folder.path("none")), 260, folder.path("none"), ENOENT));
    EXPECT_TRUE(isFileSystemError(fileSystem->identityOfItem(withNul(folder.path("file"))), 256,
                                  withNul(folder.path("file")), EINVAL));
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

TEST_P(FileSystemContract, An_atomic_write_of_pieces_writes_them_one_behind_the_other) {
    const std::string path = folder.write("file", "old");
    const auto write = [&](const std::vector<ByteView>& pieces) {
        EXPECT_TRUE(fileSystem->writePiecesAtomically(path, pieces, 0600));
        Bytes whole;
        for (const ByteView piece : pieces)
            whole += piece;
        EXPECT_TRUE(bytesOfFile(path) == whole) << pieces.size();
    };
    write({});
    write({""});
    write({"", "", ""});
    write({"one"});
    write({"one", "", "two", "", "three", ""});
    const std::string large(700'000, 'x');
    write({large, "y", large, "", large});
    // More than the system takes at a time.
    write(std::vector<ByteView>(3000, "a piece\n"));
    EXPECT_EQ(namesIn(folder.path()), Names{"file"});
    const std::string missing = folder.path("none/file");
    EXPECT_TRUE(
        isFileSystemError(fileSystem->writePiecesAtomically(missing, {"a", "b"}), 4, missing, ENOENT));
}

TEST_P(FileSystemContract, Shared_contents_are_the_contents) {
    for (const std::string& content :
         {std::string(), std::string("a\0b\xff", 4), std::string(3'000'000, 'x')}) {
        const Result<SharedBytes> read = fileSystem->sharedContentsOfFile(folder.write("file", content));
        ASSERT_TRUE(read);
        EXPECT_TRUE(read->view() == content);
    }
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->sharedContentsOfFile(path), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none"), 260, ENOENT));
    EXPECT_TRUE(refusal(folder.path(), 256, EISDIR));
    EXPECT_TRUE(refusal("/dev/zero", 256, EINVAL));
    EXPECT_TRUE(refusal(withNul(folder.path("file")), 256, EINVAL));
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

/// The entries' names with what they are, sorted: "/" for a directory, "@" for a link.
Names namesWithKinds(const std::vector<DirectoryEntry>& entries) {
    Names names;
    for (const DirectoryEntry& entry : entries) {
        std::string name = entry.name;
        if (entry.kind == EntryKind::Directory) name += '/';
        if (entry.kind == EntryKind::SymbolicLink) name += '@';
        if (entry.kind == EntryKind::Unknown) name += '?';
        names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The entries in the order in which the system lists them.
Names namesAsListed(const std::string& path) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path.c_str()), ::closedir);
    Names names;
    while (const dirent* entry = ::readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    return names;
}

std::string targetOfLink(const std::string& path) {
    std::array<char, 256> target;
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    return length < 0 ? "no link" : std::string(target.data(), static_cast<std::size_t>(length));
}

/// Makes folders, below one another, in a scratch folder.
void makeFolders(const ScratchFolder& folder, const Names& names) {
    for (const std::string& name : names)
        ASSERT_EQ(::mkdir(folder.path(name).c_str(), 0777), 0) << name;
}

void makeLink(const std::string& target, const std::string& path) {
    ASSERT_EQ(::symlink(target.c_str(), path.c_str()), 0) << path;
}

TEST_P(FileSystemContract, A_directory_is_listed_with_what_its_entries_are) {
    makeFolders(folder, {"folder", "empty"});
    folder.write("file", "x");
    folder.write(".hidden", "x");
    folder.write("folder/below", "x");
    makeLink("folder", folder.path("link"));
    makeLink("nowhere", folder.path("dangling"));
    ASSERT_EQ(::mkfifo(folder.path("pipe").c_str(), 0600), 0);
    const auto entries = fileSystem->contentsOfDirectory(folder.path());
    ASSERT_TRUE(entries);
    EXPECT_EQ(namesWithKinds(*entries),
              (Names{".hidden", "dangling@", "empty/", "file", "folder/", "link@", "pipe"}));
    const auto throughLink = fileSystem->contentsOfDirectory(folder.path("link"));
    ASSERT_TRUE(throughLink);
    EXPECT_EQ(namesWithKinds(*throughLink), Names{"below"});
    const auto nothing = fileSystem->contentsOfDirectory(folder.path("empty"));
    ASSERT_TRUE(nothing);
    EXPECT_TRUE(nothing->empty());
}

TEST_P(FileSystemContract, A_directory_is_listed_in_the_system_s_order_however_large_it_is) {
    constexpr int count = 3000;
    for (int number = 0; number < count; ++number)
        folder.write("entry " + std::to_string(number * 7919 % count) + std::string(40, 'n'), "");
    const auto entries = fileSystem->contentsOfDirectory(folder.path());
    ASSERT_TRUE(entries);
    Names names;
    for (const DirectoryEntry& entry : *entries)
        names.push_back(entry.name);
    EXPECT_EQ(names.size(), std::size_t{count});
    EXPECT_EQ(names, namesAsListed(folder.path()));
}

TEST_P(FileSystemContract, A_directory_is_visited_as_it_is_listed) {
    makeFolders(folder, {"folder", "other"});
    folder.write("file", "x");
    makeLink("folder", folder.path("link"));
    const auto listed = fileSystem->contentsOfDirectory(folder.path());
    ASSERT_TRUE(listed);
    std::vector<DirectoryEntry> visited;
    EXPECT_TRUE(fileSystem->visitDirectory(folder.path(), [&](std::string_view name, EntryKind kind, auto&) {
        visited.push_back({std::string(name), kind});
    }));
    EXPECT_EQ(visited.size(), 4U);
    EXPECT_EQ(namesWithKinds(visited), namesWithKinds(*listed));
}

/// Which of `paths` are found from the directory at `path` while it is visited; `meanwhile` happens first.
Names itemsHeldBy(FileSystem& fileSystem, const std::string& path, const Names& paths,
                  const std::function<void()>& meanwhile = {}) {
    Names held;
    bool isFirst = true;
    EXPECT_TRUE(
        fileSystem.visitDirectory(path, [&](std::string_view, EntryKind, VisitedDirectory& directory) {
            if (!std::exchange(isFirst, false)) return;
            if (meanwhile) meanwhile();
            std::ranges::copy_if(paths, std::back_inserter(held),
                                 [&](const std::string& item) { return directory.holdsItem(item); });
        }));
    EXPECT_FALSE(isFirst) << "nothing was visited";
    return held;
}

TEST_P(FileSystemContract, A_visited_directory_tells_what_is_in_it_with_links_followed) {
    makeFolders(folder, {"folder", "folder/below"});
    folder.write("folder/below/file", "x");
    makeLink("folder/below", folder.path("link"));
    makeLink("nowhere", folder.path("dangling"));
    makeLink("folder/below/file", folder.path("file"));
    const Names held = {"folder", "folder/", "folder/below/file", "link/", "link/file", "file"};
    const Names missing = {"none",       "dangling",  "dangling/",     "file/",
                           "file/below", "link/none", withNul("file"), ""};
    EXPECT_EQ(itemsHeldBy(*fileSystem, folder.path(), missing), Names());
    EXPECT_EQ(itemsHeldBy(*fileSystem, folder.path(), held), held);
    EXPECT_EQ(itemsHeldBy(*fileSystem, folder.path("link"), {"file", "below/file"}), Names{"file"});
}

TEST_P(FileSystemContract, A_visited_directory_is_the_same_when_it_is_moved_meanwhile) {
    makeFolders(folder, {"old"});
    folder.write("old/file", "x");
    const auto move = [&] { ASSERT_EQ(::rename(folder.path("old").c_str(), folder.path("new").c_str()), 0); };
    EXPECT_EQ(itemsHeldBy(*fileSystem, folder.path("old"), {"file"}, move), Names{"file"});
}

TEST_P(FileSystemContract, What_cannot_be_looked_at_is_not_held) {
    const WithoutPrivileges user(folder);
    ASSERT_EQ(::mkdir(folder.path("own").c_str(), 0700), 0);
    ASSERT_EQ(::mkdir(folder.path("own/below").c_str(), 0700), 0);
    ASSERT_EQ(::chmod(folder.path("own").c_str(), 0600), 0);
    EXPECT_EQ(itemsHeldBy(*fileSystem, folder.path(), {"own", "own/", "own/below"}), (Names{"own", "own/"}));
    ASSERT_EQ(::chmod(folder.path("own").c_str(), 0700), 0);
}

TEST_P(FileSystemContract, What_no_path_reaches_is_not_held_by_the_directory_that_it_is_in) {
    const std::string name(200, 'n');
    std::string path = folder.path();
    while (path.size() + name.size() + 10 < PATH_MAX) {
        path += "/" + name;
        ASSERT_EQ(::mkdir(path.c_str(), 0777), 0);
    }
    const std::string longest(PATH_MAX - path.size() - 2, 'f');
    const int directory = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (const std::string& file : {longest, longest + "f"})
        ASSERT_EQ(::mkdirat(directory, file.c_str(), 0777), 0);
    ::close(directory);
    EXPECT_EQ(itemsHeldBy(*fileSystem, path, {longest, longest + "f"}), Names{longest});
    EXPECT_EQ(itemsHeldBy(*fileSystem, path + "/", {longest, longest + "f"}), Names{longest});
    EXPECT_TRUE(fileSystem->removeItem(folder.path(name)));
}

TEST_P(FileSystemContract, What_is_no_readable_directory_is_not_listed) {
    folder.write("file", "x");
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->contentsOfDirectory(path), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none"), 260, ENOENT));
    EXPECT_TRUE(refusal(folder.path("file"), 256, ENOTDIR));
    EXPECT_TRUE(refusal("", 260, ENOENT));
    EXPECT_TRUE(refusal(withNul(folder.path()), 256, EINVAL));
    const WithoutPrivileges user(folder);
    ASSERT_EQ(::mkdir(folder.path("closed").c_str(), 0300), 0);
    EXPECT_TRUE(refusal(folder.path("closed"), 257, EACCES));
}

TEST_P(FileSystemContract, A_removal_takes_a_directory_with_all_in_it) {
    makeFolders(folder, {"tree", "tree/a", "tree/a/b", "tree/empty", "beside"});
    folder.write("tree/file", "x");
    folder.write("tree/a/b/file", "x");
    ASSERT_EQ(::mkfifo(folder.path("tree/pipe").c_str(), 0600), 0);
    ASSERT_TRUE(fileSystem->removeItem(folder.path("tree")));
    EXPECT_EQ(namesIn(folder.path()), Names{"beside"});
    ASSERT_TRUE(fileSystem->removeItem(folder.path("beside//")));
    EXPECT_EQ(namesIn(folder.path()), Names{});
    ASSERT_TRUE(fileSystem->removeItem(folder.write("file", "x")));
    EXPECT_EQ(namesIn(folder.path()), Names{});
}

TEST_P(FileSystemContract, A_removal_takes_links_and_never_what_they_lead_to) {
    makeFolders(folder, {"outside", "tree"});
    folder.write("outside/file", "x");
    makeLink("../outside", folder.path("tree/link"));
    makeLink(folder.path("outside/file"), folder.path("tree/filelink"));
    makeLink(".", folder.path("tree/loop"));
    makeLink("/", folder.path("tree/root"));
    makeLink("nowhere", folder.path("tree/dangling"));
    makeLink("outside", folder.path("link"));
    makeLink("outside", folder.path("link 2"));
    EXPECT_TRUE(fileSystem->removeItem(folder.path("tree")));
    EXPECT_TRUE(fileSystem->removeItem(folder.path("link")));
    EXPECT_TRUE(fileSystem->removeItem(folder.path("link 2/")));
    EXPECT_EQ(namesIn(folder.path()), Names{"outside"});
    EXPECT_EQ(namesIn(folder.path("outside")), Names{"file"});
}

TEST_P(FileSystemContract, A_removal_that_cannot_be_is_told_before_anything_is_gone) {
    const WithoutPrivileges user(folder);
    makeFolders(folder, {"tree", "tree/a"});
    folder.write("tree/a/file", "x");
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->removeItem(path), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none"), 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path("none/below"), 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path("tree/a/file/below"), 512, ENOTDIR));
    EXPECT_TRUE(refusal(folder.path("tree/a/."), 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("tree/a/.."), 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("tree/a/../"), 512, EINVAL));
    EXPECT_TRUE(refusal(withNul(folder.path("tree")), 512, EINVAL));
    EXPECT_TRUE(refusal("", 4, ENOENT));
    ASSERT_EQ(::chmod(folder.path("tree/a").c_str(), 0500), 0);
    EXPECT_TRUE(refusal(folder.path("tree"), 513, EACCES));
    EXPECT_EQ(bytesOfFile(folder.path("tree/a/file")), "x");
}

TEST_P(FileSystemContract, A_directory_that_may_not_be_listed_is_removed_only_when_there_is_nothing_in_it) {
    const WithoutPrivileges user(folder);
    makeFolders(folder, {"one", "one/closed", "two", "two/closed"});
    folder.write("two/closed/file", "x");
    for (const std::string path : {"one/closed", "two/closed"})
        ASSERT_EQ(::chmod(folder.path(path).c_str(), 0), 0);
    EXPECT_TRUE(
        isFileSystemError(fileSystem->removeItem(folder.path("two")), 513, folder.path("two"), EACCES));
    EXPECT_TRUE(isFileSystemError(fileSystem->removeAlmostEmptyDirectory(folder.path("two")), 513,
                                  folder.path("two"), EACCES));
    EXPECT_TRUE(fileSystem->removeAlmostEmptyDirectory(folder.path("one")));
    EXPECT_EQ(namesIn(folder.path()), Names{"two"});
    makeFolders(folder, {"one", "one/closed"});
    ASSERT_EQ(::chmod(folder.path("one/closed").c_str(), 0), 0);
    EXPECT_TRUE(fileSystem->removeItem(folder.path("one")));
    EXPECT_EQ(namesIn(folder.path()), Names{"two"});
}

TEST_P(FileSystemContract, An_almost_empty_directory_is_removed_with_what_does_not_count) {
    makeFolders(folder, {"outside", "tree", "tree/a", "tree/a/b", "tree/c", "tree/c/.DS_Store"});
    folder.write("outside/file", "x");
    folder.write("tree/.DS_Store", "x");
    folder.write("tree/a/b/.DS_Store", "x");
    folder.write("tree/c/.DS_Store/file", "x");
    makeLink("../../outside", folder.path("tree/a/link"));
    ASSERT_TRUE(fileSystem->removeAlmostEmptyDirectory(folder.path("tree/")));
    EXPECT_EQ(namesIn(folder.path()), Names{"outside"});
    EXPECT_EQ(namesIn(folder.path("outside")), Names{"file"});
    makeLink("outside", folder.path("link"));
    ASSERT_TRUE(fileSystem->removeAlmostEmptyDirectory(folder.path("link")));
    EXPECT_EQ(namesIn(folder.path("outside")), Names{"file"});
}

TEST_P(FileSystemContract, Anything_that_counts_in_a_directory_stays_and_keeps_it) {
    const auto staysAs = [&](const std::string& name) {
        const std::string path = folder.path("tree");
        return isFileSystemError(fileSystem->removeAlmostEmptyDirectory(path), 512, path, ENOTEMPTY) &&
               namesIn(folder.path("tree")) == Names{name};
    };
    makeFolders(folder, {"tree"});
    folder.write("tree/file", "x");
    EXPECT_TRUE(staysAs("file"));
    ASSERT_TRUE(fileSystem->moveItem(folder.path("tree/file"), folder.path("tree/.ds_store")));
    EXPECT_TRUE(staysAs(".ds_store"));
    ASSERT_EQ(::unlink(folder.path("tree/.ds_store").c_str()), 0);
    for (const std::string target : {"nowhere", "../file", "link"}) {
        folder.write("file", "x");
        makeLink(target, folder.path("tree/link"));
        EXPECT_TRUE(staysAs("link"));
        ASSERT_EQ(::unlink(folder.path("tree/link").c_str()), 0);
    }
    makeFolders(folder, {"tree/empty.App"});
    EXPECT_TRUE(staysAs("empty.App"));
    ASSERT_EQ(::rmdir(folder.path("tree/empty.App").c_str()), 0);
    makeLink("..", folder.path("tree/link.bundle"));
    EXPECT_TRUE(staysAs("link.bundle"));
}

TEST_P(FileSystemContract, What_is_no_plain_directory_is_not_removed_as_an_almost_empty_one) {
    folder.write("file", "x");
    makeLink("file", folder.path("link"));
    makeFolders(folder, {"empty.app"});
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->removeAlmostEmptyDirectory(path), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none"), 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path("file"), 512, ENOTDIR));
    EXPECT_TRUE(refusal(folder.path("link"), 512, ENOTDIR));
    EXPECT_TRUE(refusal(folder.path("empty.app"), 512, ENOTEMPTY));
    EXPECT_TRUE(refusal(folder.path("."), 512, EINVAL));
    EXPECT_TRUE(refusal(withNul(folder.path("none")), 512, EINVAL));
    EXPECT_EQ(namesIn(folder.path()), (Names{"empty.app", "file", "link"}));
}

TEST_P(FileSystemContract, A_copy_is_equal_in_names_contents_modes_and_links) {
    makeFolders(folder, {"tree", "tree/a", "tree/a/b", "tree/empty", "destination"});
    const std::string large(300'000, 'l');
    folder.write("tree/large", large);
    folder.write("tree/a/b/file", "x");
    folder.write("tree/program", "#!");
    folder.write("tree/nothing", "");
    makeLink("a/b/file", folder.path("tree/link"));
    makeLink("/nowhere", folder.path("tree/dangling"));
    makeLink("..", folder.path("tree/a/up"));
    ASSERT_EQ(::chmod(folder.path("tree/program").c_str(), 04755), 0);
    ASSERT_EQ(::chmod(folder.path("tree/nothing").c_str(), 0400), 0);
    ASSERT_EQ(::chmod(folder.path("tree/empty").c_str(), 03777), 0);
    ASSERT_EQ(::chmod(folder.path("tree/a").c_str(), 0555), 0);
    const ScopedUmask mask(077);
    const Result<std::string> copy =
        fileSystem->copyItem(folder.path("tree"), folder.path("destination"), "copy.app");
    ASSERT_TRUE(copy);
    EXPECT_EQ(*copy, folder.path("destination/copy.app"));
    EXPECT_EQ(namesIn(folder.path("destination")), Names{"copy.app"});
    EXPECT_EQ(namesIn(*copy), (Names{"a", "dangling", "empty", "large", "link", "nothing", "program"}));
    EXPECT_EQ(namesIn(*copy + "/a"), (Names{"b", "up"}));
    EXPECT_TRUE(bytesOfFile(*copy + "/large") == large);
    EXPECT_EQ(bytesOfFile(*copy + "/a/b/file"), "x");
    EXPECT_EQ(targetOfLink(*copy + "/link"), "a/b/file");
    EXPECT_EQ(targetOfLink(*copy + "/dangling"), "/nowhere");
    EXPECT_EQ(targetOfLink(*copy + "/a/up"), "..");
    EXPECT_EQ(modeOf(*copy), modeOf(folder.path("tree")));
    EXPECT_EQ(modeOf(*copy + "/program"), 0755U);
    EXPECT_EQ(modeOf(*copy + "/nothing"), 0400U);
    EXPECT_EQ(modeOf(*copy + "/empty"), 0777U);
    EXPECT_EQ(modeOf(*copy + "/a"), 0555U);
    EXPECT_EQ(bytesOfFile(folder.path("tree/a/b/file")), "x");
}

TEST_P(FileSystemContract, A_file_and_a_link_are_copied_themselves) {
    makeFolders(folder, {"destination", "tree"});
    folder.write("file", "x");
    makeLink("tree", folder.path("link"));
    ASSERT_TRUE(fileSystem->copyItem(folder.path("file"), folder.path("destination/"), "file 2"));
    ASSERT_TRUE(fileSystem->copyItem(folder.path("link"), folder.path("destination"), "link 2"));
    EXPECT_EQ(bytesOfFile(folder.path("destination/file 2")), "x");
    EXPECT_EQ(targetOfLink(folder.path("destination/link 2")), "tree");
    EXPECT_EQ(namesIn(folder.path("destination")), (Names{"file 2", "link 2"}));
}

TEST_P(FileSystemContract, A_copy_s_name_must_be_one_component) {
    makeFolders(folder, {"destination", "tree"});
    const std::string source = folder.path("tree");
    const std::string destination = folder.path("destination");
    for (const std::string name : {"", ".", "..", "a/b", "../x", "/abs", "/", "a/"}) {
        EXPECT_TRUE(isFileSystemError(fileSystem->copyItem(source, destination, name), 512, source, EINVAL))
            << name;
    }
    EXPECT_TRUE(
        isFileSystemError(fileSystem->copyItem(source, destination, withNul("a")), 512, source, EINVAL));
    EXPECT_TRUE(isFileSystemError(fileSystem->copyItem(source, destination, std::string(256, 'n')), 512,
                                  source, ENAMETOOLONG));
    EXPECT_EQ(namesIn(destination), Names{});
    EXPECT_EQ(namesIn(folder.path()), (Names{"destination", "tree"}));
    const Names accepted = {std::string(255, 'n'), "\n", "\xff", "...", "-f", "%@;$(x)", " ",
                            "\xe2\x80\xae.app"};
    for (const std::string& name : accepted) {
        const Result<std::string> copy = fileSystem->copyItem(source, destination, name);
        ASSERT_TRUE(copy) << name;
        EXPECT_EQ(*copy, destination + "/" + name);
    }
    EXPECT_EQ(namesIn(destination).size(), accepted.size());
}

TEST_P(FileSystemContract, A_copy_never_replaces_anything) {
    makeFolders(folder, {"tree", "empty"});
    folder.write("tree/file", "x");
    folder.write("file", "file");
    makeLink("nowhere", folder.path("dangling"));
    for (const std::string name : {"tree", "empty", "file", "dangling"}) {
        EXPECT_TRUE(isFileSystemError(fileSystem->copyItem(folder.path("tree"), folder.path(), name), 516,
                                      folder.path(name), EEXIST));
    }
    EXPECT_EQ(namesIn(folder.path()), (Names{"dangling", "empty", "file", "tree"}));
    EXPECT_EQ(bytesOfFile(folder.path("file")), "file");
}

TEST_P(FileSystemContract, A_copy_that_cannot_be_leaves_nothing_behind) {
    makeFolders(folder, {"tree", "tree/a", "destination", "pipes", "pipes/a"});
    folder.write("tree/a/file", "x");
    folder.write("pipes/a/file", "x");
    ASSERT_EQ(::mkfifo(folder.path("pipes/pipe").c_str(), 0600), 0);
    const auto refusal = [&](const std::string& source, const std::string& destination, Error::Code code,
                             int errorNumber) {
        return isFileSystemError(fileSystem->copyItem(source, destination, "copy"), code, source,
                                 errorNumber);
    };
    const std::string destination = folder.path("destination");
    EXPECT_TRUE(refusal(folder.path("none"), destination, 4, ENOENT));
    EXPECT_TRUE(refusal("", destination, 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path("tree"), folder.path("none"), 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path("tree"), folder.path("tree/a/file"), 512, ENOTDIR));
    EXPECT_TRUE(refusal(withNul(folder.path("tree")), destination, 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("tree"), withNul(destination), 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("pipes/pipe"), destination, 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("pipes"), destination, 512, EINVAL));
    EXPECT_EQ(namesIn(destination), Names{});
}

TEST_P(FileSystemContract, A_copy_into_itself_is_refused_not_made_without_end) {
    makeFolders(folder, {"tree", "tree/a", "tree/a/b"});
    folder.write("tree/file", "x");
    const std::string source = folder.path("tree");
    for (const std::string inside : {"tree", "tree/a", "tree/a/b"}) {
        EXPECT_TRUE(isFileSystemError(fileSystem->copyItem(source, folder.path(inside), "copy"), 512, source,
                                      EINVAL));
    }
    EXPECT_EQ(namesIn(source), (Names{"a", "file"}));
    EXPECT_EQ(namesIn(folder.path("tree/a")), Names{"b"});
    EXPECT_EQ(namesIn(folder.path("tree/a/b")), Names{});
}

TEST_P(FileSystemContract, Nothing_is_staged_for_a_move_within_a_file_system) {
    makeFolders(folder, {"tree", "destination"});
    const Result<std::string> staged =
        fileSystem->stageForMove(folder.path("tree"), folder.path("destination/new"));
    ASSERT_TRUE(staged);
    EXPECT_EQ(*staged, folder.path("tree"));
    EXPECT_EQ(namesIn(folder.path("destination")), Names{});
}

TEST_P(FileSystemContract, A_staging_that_cannot_be_is_told) {
    makeFolders(folder, {"tree"});
    const auto refusal = [&](const std::string& source, const std::string& destination, Error::Code code,
                             int errorNumber) {
        return isFileSystemError(fileSystem->stageForMove(source, destination), code, source, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("none"), folder.path("new"), 4, ENOENT));
    EXPECT_TRUE(refusal(folder.path("tree"), folder.path("none/new"), 4, ENOENT));
    EXPECT_TRUE(refusal(withNul(folder.path("tree")), folder.path("new"), 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("tree"), withNul(folder.path("new")), 512, EINVAL));
}

TEST_P(FileSystemContract, A_temporary_directory_is_new_and_only_its_owner_s) {
    const ScopedUmask mask(0);
    const std::string pathTemplate = folder.path("work.XXXXXX");
    const Result<std::string> one = fileSystem->createTemporaryDirectory(pathTemplate);
    const Result<std::string> other = fileSystem->createTemporaryDirectory(pathTemplate);
    ASSERT_TRUE(one && other);
    EXPECT_NE(*one, *other);
    for (const std::string& path : {*one, *other}) {
        EXPECT_EQ(path.size(), pathTemplate.size());
        EXPECT_TRUE(path.starts_with(folder.path("work.")));
        EXPECT_EQ(path.find('X', folder.path().size()), path.npos);
        EXPECT_EQ(modeOf(path), 0700U);
        EXPECT_EQ(namesIn(path), Names{});
    }
}

TEST_P(FileSystemContract, A_temporary_directory_that_cannot_be_made_is_told) {
    const auto refusal = [&](const std::string& path, Error::Code code, int errorNumber) {
        return isFileSystemError(fileSystem->createTemporaryDirectory(path), code, path, errorNumber);
    };
    EXPECT_TRUE(refusal(folder.path("work.XXXXX"), 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("XXXXXX.work"), 512, EINVAL));
    EXPECT_TRUE(refusal("", 512, EINVAL));
    EXPECT_TRUE(refusal(withNul(folder.path()) + "XXXXXX", 512, EINVAL));
    EXPECT_TRUE(refusal(folder.path("none/XXXXXX"), 4, ENOENT));
    EXPECT_EQ(namesIn(folder.path()), Names{});
}

} // namespace
} // namespace mox::test
