#include "Platform/Linux/DirectoryReader.hpp"

#include <cstring>
#include <dirent.h>

namespace mox {

bool DirectoryReader::fill() {
    const ssize_t length =
        uninterrupted([&] { return _system.getdents64(_descriptor, _buffer.data(), _buffer.size()); });
    _error = errorNumberOf(length);
    _position = 0;
    _length = length > 0 ? static_cast<std::size_t>(length) : 0;
    return _length > 0;
}

const DirectoryReader::Entry* DirectoryReader::next() {
    for (;;) {
        if (_position == _length && !fill()) return nullptr;
        // The kernel packs entries of varying length, each aligned for the structure.
        // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast)
        const auto* entry = reinterpret_cast<const struct ::dirent64*>(_buffer.data() + _position);
        _position += entry->d_reclen;
        _entry = {entry->d_name, entry->d_type};
        if (_entry.name != "." && _entry.name != "..") return &_entry;
    }
}

ErrorNumber listDirectory(SystemCalls& system, int descriptor, std::vector<ListedItem>& items) {
    DirectoryReader reader(system, descriptor);
    while (const DirectoryReader::Entry* entry = reader.next())
        items.push_back({std::string(entry->name), entry->type});
    return reader.error();
}

} // namespace mox
