#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/LinuxUserDirectories.hpp"

#include "Foundation/PathRules.hpp"

#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace mox {
namespace {

std::optional<std::string> absolutePathFromEnvironment(const char* variable) {
    const char* value = std::getenv(variable);
    if (value == nullptr || *value != '/') return std::nullopt;
    return value;
}

std::optional<std::string> homeFromPasswordEntry() {
    std::vector<char> texts(1024);
    passwd entry{};
    passwd* found = nullptr;
    int error = 0;
    while ((error = ::getpwuid_r(::getuid(), &entry, texts.data(), texts.size(), &found)) == ERANGE) {
        texts.resize(2 * texts.size());
    }
    if (error != 0 || found == nullptr || found->pw_dir == nullptr || *found->pw_dir != '/')
        return std::nullopt;
    return found->pw_dir;
}

} // namespace

LinuxUserDirectories::LinuxUserDirectories()
    : _home(absolutePathFromEnvironment("HOME")), _temporary(absolutePathFromEnvironment("TMPDIR")) {
    if (!_home) _home = homeFromPasswordEntry();
}

std::string LinuxUserDirectories::homeDirectory() const {
    return _home.value_or("/");
}

std::vector<std::string> LinuxUserDirectories::libraryDirectories() const {
    if (!_home) return {};
    return {stringByAppendingPathComponent(*_home, "Library")};
}

std::optional<std::string> LinuxUserDirectories::temporaryDirectory() const {
    return _temporary;
}

} // namespace mox
