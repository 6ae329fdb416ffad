#include "Foundation/UnicodeText.hpp"
#include "Platform/Linux/TrashInformation.hpp"

#include <cstdint>
#include <cstring>

#include "Fuzz/FuzzInput.hpp"

namespace {

using mox::fuzz::require;

int digitOf(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    require(character >= 'A' && character <= 'F');
    return character - 'A' + 10;
}

/// The bytes that `encoded` stands for. Nothing that a key file, a URL or a terminal takes for its own may
/// stand in it.
std::string decoded(std::string_view encoded) {
    std::string bytes;
    for (std::size_t index = 0; index < encoded.size(); ++index) {
        const char character = encoded[index];
        if (character != '%') {
            require(character > ' ' && character < '\x7F' &&
                    std::strchr("\"<>\\^`{|}[]#=;&?", character) == nullptr);
            bytes += character;
            continue;
        }
        require(encoded.size() - index > 2);
        bytes += static_cast<char>(digitOf(encoded[index + 1]) * 16 + digitOf(encoded[index + 2]));
        index += 2;
    }
    return bytes;
}

/// The text between `start`, with which `rest` must begin, and the end of the line; `rest` goes on behind it.
std::string_view lineAfter(std::string_view start, std::string_view& rest) {
    require(rest.starts_with(start));
    rest.remove_prefix(start.size());
    const std::size_t end = rest.find('\n');
    require(end != rest.npos);
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return line;
}

void requireInformation(std::string_view path) {
    std::tm date = {};
    date.tm_year = 126;
    date.tm_mon = 10;
    date.tm_mday = 3;
    date.tm_hour = 4;
    const std::string text = mox::trashInformation(path, date);
    std::string_view rest = text;
    require(lineAfter("[Trash Info]", rest).empty());
    require(decoded(lineAfter("Path=", rest)) == path);
    require(lineAfter("DeletionDate=", rest) == "2026-11-03T04:00:00");
    require(rest.empty());
}

/// Each name that is tried is one that a folder takes, with its information beside it, and a new one.
void requireNames(const std::string& name) {
    std::string previous;
    for (const std::size_t number : {1U, 2U, 3U, 9U, 10U, 99U, 100U, 100000U}) {
        const std::string tried = mox::nameInTrash(name, number);
        require(!tried.empty());
        require(tried.size() + mox::trashInformationExtension.size() <= 255);
        require(tried.find('/') == tried.npos && tried.find('\0') == tried.npos);
        require(!mox::isValidUTF8(name) || mox::isValidUTF8(tried));
        const bool isWhole = name.size() + mox::trashInformationExtension.size() <= 255;
        require(number != 1 || !isWhole || tried == name);
        if (number > 1) {
            require(tried != "." && tried != "..");
            require(number == 2 || tried != previous);
        }
        previous = tried;
    }
}

} // namespace

/// The input is the path of an item, and its last component the item's name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view path(reinterpret_cast<const char*>(data), size);
    requireInformation(path);
    // What a folder can hold, which is at most 255 bytes long.
    std::string name(path.substr(path.rfind('/') + 1).substr(0, 255));
    std::erase(name, '\0');
    if (!name.empty()) requireNames(name);
    return 0;
}
