#include "BareSubscription.hpp"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace mox {
namespace {

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error("not made: " + what);
}

int openFolder(int parent, const char* path) {
    const int folder = ::openat(parent, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(folder >= 0, path);
    return folder;
}

int writeNew(int folder, const char* path, std::string_view content, mode_t mode) {
    const int file = ::openat(folder, path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
    require(file >= 0 &&
                ::write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
            path);
    return file;
}

void synchronizeAndClose(int descriptor) {
    require(::fsync(descriptor) == 0 && ::close(descriptor) == 0, "synchronisation");
}

constexpr const char* temporaryName = ".mox-0123456789abcdef0123456789abcdef";

/// As a file is replaced that must survive a power cut.
void replaceSafely(const std::filesystem::path& path, std::string_view content) {
    const int folder = openFolder(AT_FDCWD, path.parent_path().c_str());
    synchronizeAndClose(writeNew(folder, temporaryName, content, 0666));
    require(::renameat(folder, temporaryName, folder, path.filename().c_str()) == 0, path);
    synchronizeAndClose(folder);
}

/// As a file is made that is whole or not there.
void makeWhole(const std::filesystem::path& path, std::string_view content) {
    const std::string temporary = path.parent_path() / (".mox-" + path.filename().string());
    require(::close(writeNew(AT_FDCWD, temporary.c_str(), content, 0666)) == 0, path);
    require(::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0, path);
}

constexpr std::size_t digits = 32;

} // namespace

BareSubscription::File BareSubscription::readFile(const std::string& path, const std::string& name) {
    std::ifstream stream(path, std::ios::binary);
    require(stream.good(), path);
    struct stat status = {};
    require(::stat(path.c_str(), &status) == 0, path);
    return {name, {std::istreambuf_iterator<char>(stream), {}}, status.st_mode & 0777};
}

BareSubscription::Folder BareSubscription::readFolder(const std::string& path, const std::string& name) {
    struct stat status = {};
    require(::stat(path.c_str(), &status) == 0, path);
    Folder folder = {name, status.st_mode & 0777, {}, {}};
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        const std::string entryName = entry.path().filename();
        if (entry.is_directory())
            folder.folders.push_back(readFolder(entry.path(), entryName));
        else
            folder.files.push_back(readFile(entry.path(), entryName));
    }
    return folder;
}

BareSubscription::BareSubscription(const std::string& templatePath, const std::string& stub,
                                   const std::string& dataFolder)
    : _dataFolder(dataFolder), _template(readFolder(templatePath, {})) {
    using Walk = std::filesystem::recursive_directory_iterator;
    const auto filesBelow = [](const std::string& folder) {
        std::vector<std::string> names;
        for (const auto& entry : Walk(folder))
            if (entry.is_regular_file()) names.push_back(entry.path().lexically_relative(folder));
        return names;
    };
    for (const std::string& name : filesBelow(stub)) {
        File file = readFile(stub + "/" + name, name);
        const std::string original = templatePath + "/" + name;
        if (!std::filesystem::exists(original) || readFile(original, name).content != file.content)
            _changedFiles.push_back(std::move(file));
    }
    for (const std::string& name : filesBelow(dataFolder)) {
        constexpr std::string_view prefix = "moxsubscribe-";
        const std::size_t start = name.find(prefix);
        if (start == name.npos) continue;
        File file = readFile(dataFolder + "/" + name, name);
        file.name.replace(start + prefix.size(), digits, "#");
        (name.ends_with(".desktop") ? _entries : _companions).push_back(std::move(file));
    }
    require(!_changedFiles.empty() && _entries.size() == 1, "a model for what is to be measured");
}

void BareSubscription::makeFolder(int parent, const char* name, const Folder& folder) {
    require(::mkdirat(parent, name, 0700) == 0, name);
    const int descriptor = openFolder(parent, name);
    for (const File& file : folder.files) {
        const int copy = writeNew(descriptor, file.name.c_str(), file.content, 0600);
        require(::fchmod(copy, file.mode) == 0, file.name);
        synchronizeAndClose(copy);
    }
    for (const Folder& inner : folder.folders)
        makeFolder(descriptor, inner.name.c_str(), inner);
    require(::fchmod(descriptor, folder.mode) == 0, name);
    synchronizeAndClose(descriptor);
}

void BareSubscription::make(const std::string& folder, const std::string& name, int number) const {
    const int parent = openFolder(AT_FDCWD, folder.c_str());
    makeFolder(parent, temporaryName, _template);
    require(::renameat2(parent, temporaryName, parent, name.c_str(), RENAME_NOREPLACE) == 0, name);
    synchronizeAndClose(parent);
    for (const File& file : _changedFiles)
        replaceSafely(folder + "/" + name + "/" + file.name, file.content);
    std::string digitsOfName = std::to_string(number);
    digitsOfName.insert(0, digits - digitsOfName.size(), '0');
    const auto pathOf = [&](const File& file) {
        std::string path = _dataFolder + "/" + file.name;
        return path.replace(path.find('#'), 1, digitsOfName);
    };
    for (const File& file : _entries)
        replaceSafely(pathOf(file), file.content);
    for (const File& file : _companions)
        makeWhole(pathOf(file), file.content);
}

} // namespace mox
