#include "Support/ScratchFolder.hpp"

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <ftw.h>
#include <iterator>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace mox::test {
namespace {

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

std::string parentOfScratchFolders() {
    if (access("/dev/shm", W_OK | X_OK) == 0) return "/dev/shm";
    const char* temporary = std::getenv("TMPDIR");
    return temporary != nullptr && *temporary == '/' ? temporary : "/tmp";
}

int removeItem(const char* path, const struct stat*, int kind, struct FTW*) {
    return kind == FTW_DP || kind == FTW_DNR ? rmdir(path) : unlink(path);
}

/// A test may have taken the permissions away that emptying a directory needs.
int openUp(const char* path, const struct stat* attributes, int, struct FTW*) {
    if (S_ISDIR(attributes->st_mode) && (attributes->st_mode & S_IRWXU) != S_IRWXU) chmod(path, S_IRWXU);
    return 0;
}

} // namespace

ScratchFolder::ScratchFolder() : _path(parentOfScratchFolders() + "/moxsubscribe-test-XXXXXX") {
    if (mkdtemp(_path.data()) == nullptr) fail(_path);
}

ScratchFolder::~ScratchFolder() {
    constexpr int openDirectories = 16;
    nftw(_path.c_str(), openUp, openDirectories, FTW_PHYS | FTW_MOUNT);
    nftw(_path.c_str(), removeItem, openDirectories, FTW_PHYS | FTW_MOUNT | FTW_DEPTH);
}

std::string ScratchFolder::write(std::string_view name, std::string_view bytes) const {
    const std::string file = path(name);
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream) fail(file);
    return file;
}

std::string bytesOfFile(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    if (!stream) fail(path);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

} // namespace mox::test
