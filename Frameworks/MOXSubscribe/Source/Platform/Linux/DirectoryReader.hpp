#pragma once

#include "Platform/Linux/FileOperations.hpp"

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// Reads the entries of an open directory, "." and ".." left out, in the order in which the system lists
/// them.
class DirectoryReader {
public:
    /// An entry, until the next one is read.
    struct Entry {
        std::string_view name;
        /// As `d_type` of readdir(3): `DT_DIR`, `DT_LNK`, `DT_UNKNOWN` and so on.
        unsigned char type;
    };

    /// Reads from where the directory's descriptor stands: the beginning, when it has just been opened.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): clearing the buffer would take longer.
    DirectoryReader(SystemCalls& system, int descriptor) : _system(system), _descriptor(descriptor) {}
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;

    /// The next entry; null behind the last one and after a failure.
    const Entry* next();

    /// Why `next` gave null; 0 at the end of the directory.
    ErrorNumber error() const { return _error; }

private:
    bool fill();

    SystemCalls& _system;
    int _descriptor;
    ErrorNumber _error = 0;
    Entry _entry = {};
    std::size_t _position = 0;
    std::size_t _length = 0;
    alignas(std::max_align_t) std::array<char, std::size_t{32} * 1024> _buffer;
};

/// An entry that outlives the reading of its directory.
struct ListedItem {
    std::string name;
    unsigned char type;
};

/// Reads all entries of an open directory.
ErrorNumber listDirectory(SystemCalls& system, int descriptor, std::vector<ListedItem>& items);

} // namespace mox
