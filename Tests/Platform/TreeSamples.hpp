#pragma once

#include "Support/FolderInspection.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace mox::test {

/// Makes a folder in a scratch folder.
inline void makeFolder(const ScratchFolder& folder, const std::string& name, mode_t mode = 0755) {
    ASSERT_EQ(::mkdir(folder.path(name).c_str(), 0700), 0) << name;
    ASSERT_EQ(::chmod(folder.path(name).c_str(), mode), 0) << name;
}

/// Makes a link in a scratch folder.
inline void makeLink(const ScratchFolder& folder, const std::string& name, const std::string& target) {
    ASSERT_EQ(::symlink(target.c_str(), folder.path(name).c_str()), 0) << name;
}

/// Makes a small tree, `name`, with something of each kind in a scratch folder.
inline void makeSampleTree(const ScratchFolder& folder, const std::string& name) {
    makeFolder(folder, name);
    makeFolder(folder, name + "/a");
    folder.write(name + "/a/file", "a content that takes two writes");
    makeLink(folder, name + "/a/link", "../file");
    folder.write(name + "/file", "x");
    ASSERT_EQ(::chmod(folder.path(name + "/file").c_str(), 0640), 0);
    makeFolder(folder, name + "/empty", 0500);
}

/// Makes `name` in a scratch folder with `levels` folders below one another in it, the innermost with a file:
/// a path too long for the system.
inline void makeDeepTree(const ScratchFolder& folder, const std::string& name, int levels) {
    makeFolder(folder, name);
    int current = ::open(folder.path(name).c_str(), O_RDONLY | O_DIRECTORY);
    for (int level = 0; level < levels; ++level) {
        ASSERT_EQ(::mkdirat(current, "d", 0755), 0);
        const int next = ::openat(current, "d", O_RDONLY | O_DIRECTORY);
        ASSERT_GE(next, 0);
        ::close(current);
        current = next;
    }
    const int file = ::openat(current, "file", O_WRONLY | O_CREAT, 0644);
    ASSERT_GE(file, 0);
    ASSERT_EQ(::write(file, "deep", 4), 4);
    ::close(file);
    ::close(current);
}

/// The folder at `path` ("") and everything below it, by the path relative to it: the permission bits, and
/// what `contentsOfTree` tells of it.
inline std::map<std::string, std::string> treeAt(const std::string& path) {
    std::map<std::string, std::string> tree = contentsOfTree(path);
    for (auto& [name, content] : tree)
        content = std::to_string(modeOf(path + "/" + name)) + " " + content;
    tree[""] = std::to_string(modeOf(path));
    return tree;
}

/// How many folders "d" are below one another in the folder at `path`, and whether "file" is in the
/// innermost.
inline std::pair<int, bool> depthOfTree(const std::string& path) {
    int current = ::open(path.c_str(), O_RDONLY | O_DIRECTORY);
    int levels = 0;
    for (;; ++levels) {
        const int next = ::openat(current, "d", O_RDONLY | O_DIRECTORY);
        if (next < 0) break;
        ::close(current);
        current = next;
    }
    const bool hasFile = ::faccessat(current, "file", F_OK, 0) == 0;
    ::close(current);
    return {levels, hasFile};
}

} // namespace mox::test
