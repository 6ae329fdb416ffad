#include "Support/FolderInspection.hpp"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>

namespace mox::test {
namespace {

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

} // namespace

std::vector<std::string> namesIn(const std::string& path) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path.c_str()), ::closedir);
    if (!directory) fail(path);
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (name != "." && name != "..") names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

unsigned modeOf(const std::string& path) {
    struct ::stat status;
    if (::lstat(path.c_str(), &status) != 0) fail(path);
    return status.st_mode & 07777;
}

} // namespace mox::test
