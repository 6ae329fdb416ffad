#include "Platform/Linux/TrashInformation.hpp"

#include "Foundation/PathRules.hpp"

#include <array>

namespace mox {
namespace {

constexpr std::size_t longestName = 255;

bool standsForItself(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("/-_.~").find(c) != std::string_view::npos;
}

std::string percentEncoded(std::string_view path) {
    std::string encoded;
    for (const char c : path) {
        if (standsForItself(c)) {
            encoded += c;
            continue;
        }
        constexpr const char* digits = "0123456789ABCDEF";
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += digits[byte >> 4];
        encoded += digits[byte & 15];
    }
    return encoded;
}

/// Cuts `text` to at most `size` bytes, not within a character of UTF-8.
void cut(std::string& text, std::size_t size) {
    if (text.size() <= size) return;
    const auto isContinuation = [&](std::size_t index) { return (text[index] & 0xC0) == 0x80; };
    std::size_t end = size;
    while (end > 0 && size - end < 3 && isContinuation(end))
        --end;
    // What is no UTF-8 has no characters to respect.
    text.resize(isContinuation(end) ? size : end);
}

} // namespace

std::string trashInformation(std::string_view path, const std::tm& deletionDate) {
    std::array<char, 64> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &deletionDate);
    return "[Trash Info]\nPath=" + percentEncoded(path) +
           "\nDeletionDate=" + std::string(date.data(), length) + "\n";
}

std::string nameInTrash(const std::string& name, std::size_t number) {
    const std::string distinction = number == 1 ? "" : "." + std::to_string(number);
    const std::size_t limit = longestName - trashInformationExtension.size();
    if (name.size() + distinction.size() <= limit && number == 1) return name;
    std::string stem = stringByDeletingPathExtension(name);
    std::string ending = name.substr(stem.size());
    if (ending.size() + distinction.size() >= limit) {
        stem = name;
        ending.clear();
    }
    cut(stem, limit - distinction.size() - ending.size());
    return stem + distinction + ending;
}

} // namespace mox
