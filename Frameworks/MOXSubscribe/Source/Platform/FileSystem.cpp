#include "Platform/FileSystem.hpp"

namespace mox {

Result<std::vector<DirectoryEntry>> FileSystem::contentsOfDirectory(const std::string& path) {
    std::vector<DirectoryEntry> entries;
    const Result<void> visit = visitDirectory(path, [&](std::string_view name, EntryKind kind, auto&) {
        entries.push_back({std::string(name), kind});
    });
    if (!visit) return visit.error();
    return entries;
}

} // namespace mox
