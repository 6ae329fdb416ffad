#include "Foundation/PathRules.hpp"

#include <cstdint>

#include "Fuzz/FuzzInput.hpp"

namespace {

using mox::fuzz::require;

/// `path` with its runs of "/" as one, and none at its end but the root's.
std::string normalized(std::string_view path) {
    std::string result;
    for (const char character : path) {
        if (character != '/' || !result.ends_with('/')) result += character;
    }
    if (result.size() > 1 && result.ends_with('/')) result.pop_back();
    return result;
}

void requireComponents(std::string_view path) {
    const std::vector<std::string> components = mox::pathComponents(path);
    require(components.empty() == path.empty());
    std::string joined;
    mox::PathComponentReader reader(path);
    for (std::size_t index = 0; index < components.size(); ++index) {
        const std::string& component = components[index];
        require(reader.next() == component);
        const bool isAtAnEnd = index == 0 || index + 1 == components.size();
        require(!component.empty() &&
                (component.find('/') == component.npos || (component == "/" && isAtAnEnd)));
        joined = mox::stringByAppendingPathComponent(joined, component);
    }
    require(!reader.next() && !reader.next());
    require(joined == normalized(path));
    require(mox::pathComponents(joined).size() +
                (path.size() > 1 && path.ends_with('/') && joined != "/" ? 1 : 0) ==
            components.size());
}

void requireEnds(std::string_view path) {
    const std::string last = mox::lastPathComponent(path);
    const std::string before = mox::stringByDeletingLastPathComponent(path);
    require(last == "/" || last.find('/') == last.npos);
    require(last.empty() == path.empty());
    require(path.starts_with(before) && mox::viewByDeletingLastPathComponent(path) == before);
    require(mox::stringByAppendingPathComponent(before, last) == normalized(path));
    require(before.size() < path.size() || path == "/" || path.empty());

    const std::string extension = mox::pathExtension(path);
    require(extension.find_first_of("/.") == extension.npos);
    const std::string stem = mox::stringByDeletingPathExtension(path);
    require(path.starts_with(stem) && stem.empty() == path.empty());
    if (extension.empty()) return;
    require(normalized(mox::stringByAppendingPathExtension(stem, extension)) == normalized(path));
    require(mox::stringByDeletingLastPathComponent(stem) == before);
}

/// One name joined to whatever path is in that path and nowhere else.
void requireJoined(const std::string& path, const std::string& name) {
    const std::string joined = mox::stringByAppendingPathComponent(path, name);
    require(joined.find("//") == joined.npos && joined == normalized(joined));
    require(mox::lastPathComponent(joined) == name);
    require(mox::stringByDeletingLastPathComponent(joined) == normalized(path));
}

} // namespace

/// The input, taken apart at bytes FF, is a path and what is joined to it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto [path, more] = mox::fuzz::fieldsOf<2>({reinterpret_cast<const char*>(data), size});
    requireComponents(path);
    requireEnds(path);
    const std::string joined = mox::stringByAppendingPathComponent(path, more);
    require(joined == normalized(path.empty() ? more : path + "/" + more));
    if (!more.empty() && more.find('/') == more.npos) requireJoined(path, more);
    return 0;
}
