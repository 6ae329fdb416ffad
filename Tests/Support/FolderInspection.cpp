#include "Support/FolderInspection.hpp"

#include "Support/ScratchFolder.hpp"

#include <climits>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace mox::test {
namespace {

[[noreturn]] void fail(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

std::string targetOfLink(const std::string& path) {
    std::string target(PATH_MAX, '\0');
    const ssize_t length = ::readlink(path.c_str(), target.data(), target.size());
    if (length < 0) fail(path);
    target.resize(static_cast<std::size_t>(length));
    return target;
}

void addTree(std::map<std::string, std::string>& contents, const std::string& root,
             const std::string& relativePath) {
    const std::string folder = relativePath.empty() ? root : root + "/" + relativePath;
    for (const std::string& name : namesIn(folder)) {
        const std::string path = folder + "/" + name;
        const std::string key = relativePath.empty() ? name : relativePath + "/" + name;
        struct ::stat status;
        if (::lstat(path.c_str(), &status) != 0) fail(path);
        if (S_ISDIR(status.st_mode)) {
            contents[key] = "/";
            addTree(contents, root, key);
        } else {
            contents[key] = S_ISLNK(status.st_mode) ? "-> " + targetOfLink(path) : bytesOfFile(path);
        }
    }
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

std::map<std::string, std::string> contentsOfTree(const std::string& path) {
    std::map<std::string, std::string> contents;
    addTree(contents, path, "");
    return contents;
}

} // namespace mox::test
