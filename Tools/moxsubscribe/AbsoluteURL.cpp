#include "AbsoluteURL.hpp"

#include <algorithm>

// Written here because strict libraries refuse what servers send: blanks, braces, letters outside ASCII.

namespace mox::tool {
namespace {

struct URLParts {
    std::optional<std::string_view> scheme;
    std::optional<std::string_view> authority;
    std::string_view path;
    std::optional<std::string_view> query;
    std::optional<std::string_view> fragment;
};

bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Cuts `text` before the first of `stops` and returns what was cut off, the stop included.
std::string_view cutBefore(std::string_view& text, std::string_view stops) {
    const std::size_t end = std::min(text.find_first_of(stops), text.size());
    const std::string_view rest = text.substr(end);
    text = text.substr(0, end);
    return rest;
}

std::size_t lengthOfScheme(std::string_view url) {
    if (url.empty() || !isLetter(url.front())) return 0;
    const auto end = std::find_if_not(url.begin(), url.end(), [](char character) {
        return isLetter(character) || isDigit(character) || character == '+' || character == '-' ||
               character == '.';
    });
    return end != url.end() && *end == ':' ? static_cast<std::size_t>(end - url.begin()) : 0;
}

URLParts partsOf(std::string_view url) {
    URLParts parts;
    if (const std::string_view fragment = cutBefore(url, "#"); !fragment.empty())
        parts.fragment = fragment.substr(1);
    if (const std::string_view query = cutBefore(url, "?"); !query.empty()) parts.query = query.substr(1);
    if (const std::size_t length = lengthOfScheme(url); length != 0) {
        parts.scheme = url.substr(0, length);
        url.remove_prefix(length + 1);
    }
    if (url.starts_with("//")) {
        std::string_view authority = url.substr(2);
        url = cutBefore(authority, "/");
        parts.authority = authority;
    }
    parts.path = url;
    return parts;
}

std::string withoutDotSegments(std::string_view path) {
    std::string result;
    const auto dropLastSegment = [&] { result.erase(std::min(result.rfind('/'), result.size())); };
    while (!path.empty()) {
        if (path.starts_with("../")) {
            path.remove_prefix(3);
        } else if (path.starts_with("./") || path.starts_with("/./")) {
            path.remove_prefix(2);
        } else if (path == "/.") {
            path = "/";
        } else if (path.starts_with("/../")) {
            path.remove_prefix(3);
            if (result.find('/') == std::string::npos) result.clear();
            dropLastSegment();
        } else if (path == "/..") {
            path = "/";
            if (result.find('/') == std::string::npos) result.clear();
            dropLastSegment();
        } else if (path == "." || path == "..") {
            path = {};
        } else {
            const std::size_t end = std::min(path.find('/', 1), path.size());
            result += path.substr(0, end);
            path.remove_prefix(end);
        }
    }
    return result;
}

std::string mergedPath(const URLParts& base, std::string_view reference) {
    if (base.authority && base.path.empty()) return "/" + std::string(reference);
    const std::size_t slash = base.path.rfind('/');
    const std::string_view folder = slash == std::string_view::npos ? "" : base.path.substr(0, slash + 1);
    return std::string(folder) + std::string(reference);
}

std::string textOf(const URLParts& parts) {
    std::string url;
    if (parts.scheme) url.append(*parts.scheme).append(":");
    if (parts.authority) url.append("//").append(*parts.authority);
    url.append(parts.path);
    if (parts.query) url.append("?").append(*parts.query);
    if (parts.fragment) url.append("#").append(*parts.fragment);
    return url;
}

int valueOfHexDigit(char digit) {
    if (isDigit(digit)) return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

std::string percentDecoded(std::string_view text) {
    std::string decoded;
    decoded.reserve(text.size());
    for (std::size_t index = 0; index < text.size(); ++index) {
        if (text[index] == '%' && index + 2 < text.size()) {
            const int high = valueOfHexDigit(text[index + 1]);
            const int low = valueOfHexDigit(text[index + 2]);
            if (high >= 0 && low >= 0) {
                decoded += static_cast<char>(high * 16 + low);
                index += 2;
                continue;
            }
        }
        decoded += text[index];
    }
    return decoded;
}

} // namespace

bool isAbsoluteURL(std::string_view url) {
    return lengthOfScheme(url) != 0;
}

std::optional<std::string> absoluteURL(std::string_view reference, std::string_view base) {
    URLParts parts = partsOf(reference);
    std::string path;
    if (parts.scheme || parts.authority) {
        path = withoutDotSegments(parts.path);
    }
    if (!parts.scheme) {
        if (!isAbsoluteURL(base)) return std::nullopt;
        const URLParts baseParts = partsOf(base);
        parts.scheme = baseParts.scheme;
        if (!parts.authority) {
            parts.authority = baseParts.authority;
            if (parts.path.empty()) {
                path = baseParts.path;
                if (!parts.query) parts.query = baseParts.query;
            } else {
                path = withoutDotSegments(parts.path.starts_with('/') ? std::string(parts.path)
                                                                      : mergedPath(baseParts, parts.path));
            }
        }
    }
    parts.path = path;
    return textOf(parts);
}

std::string lastComponentOfURL(std::string_view url) {
    const std::string_view path = partsOf(url).path;
    const std::size_t slash = path.rfind('/');
    return percentDecoded(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

} // namespace mox::tool
