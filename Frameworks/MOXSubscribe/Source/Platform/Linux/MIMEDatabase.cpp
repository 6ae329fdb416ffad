#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/MIMEDatabase.hpp"

#include "Platform/Linux/OptionalFile.hpp"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

namespace mox {
namespace {

/// Takes what comes before `separator` off the beginning of `text`, the separator too.
std::string_view takeUntil(std::string_view& text, char separator) {
    const std::string_view piece = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(piece.size() + 1, text.size()));
    return piece;
}

/// Whether `name` can stand in a list of types, whatever the file that named it holds.
bool isTypeName(std::string_view name) {
    const auto isAllowed = [](char character) {
        return character > ' ' && character < 0x7f && character != ';' && character != '=' &&
               character != '\\' && character != '[';
    };
    return name.find('/') != name.npos && std::all_of(name.begin(), name.end(), isAllowed);
}

} // namespace

Result<MIMEDatabase> MIMEDatabase::read(FileSystem& fileSystem, const std::vector<std::string>& dataFolders,
                                        std::string_view ignoredPrefix) {
    MIMEDatabase database;
    // Backwards, since a preferred folder may take back what the others say of a type.
    for (auto folder = dataFolders.rbegin(); folder != dataFolders.rend(); ++folder) {
        const auto patterns = contentsOfFileIfPresent(fileSystem, *folder + "/mime/globs2");
        if (!patterns) return patterns.error();
        const auto subclasses = contentsOfFileIfPresent(fileSystem, *folder + "/mime/subclasses");
        if (!subclasses) return subclasses.error();
        const auto aliases = contentsOfFileIfPresent(fileSystem, *folder + "/mime/aliases");
        if (!aliases) return aliases.error();
        database.readPatterns(patterns->value_or(Bytes()), ignoredPrefix);
        database.readSubclasses(subclasses->value_or(Bytes()));
        database.readAliases(aliases->value_or(Bytes()));
    }
    return database;
}

/// Lines are "WEIGHT:TYPE:PATTERN" or "WEIGHT:TYPE:PATTERN:FLAGS".
void MIMEDatabase::readPatterns(std::string_view text, std::string_view ignoredPrefix) {
    while (!text.empty()) {
        std::string_view line = takeUntil(text, '\n');
        const std::string_view weightText = takeUntil(line, ':');
        int weight = 0;
        const char* const end = weightText.data() + weightText.size();
        if (std::from_chars(weightText.data(), end, weight).ptr != end) continue;
        const std::string_view type = takeUntil(line, ':');
        const std::string_view pattern = takeUntil(line, ':');
        if (!isTypeName(type) || type.starts_with(ignoredPrefix)) continue;
        if (pattern == "__NOGLOBS__") {
            std::erase_if(_patterns, [&](const auto& entry) { return entry.second.type == type; });
            continue;
        }
        if (!pattern.starts_with("*.") || pattern.find_first_of("*?[\\", 2) != pattern.npos) continue;
        const std::string_view extension = pattern.substr(2);
        const bool isCaseSensitive = line == "cs";
        _patterns.emplace(withSmallLetters(extension),
                          Pattern{std::string(extension), std::string(type), weight, isCaseSensitive});
    }
}

/// Lines are "TYPE PARENT".
void MIMEDatabase::readSubclasses(std::string_view text) {
    while (!text.empty()) {
        std::string_view line = takeUntil(text, '\n');
        const std::string_view type = takeUntil(line, ' ');
        _parents.emplace(type, line);
    }
}

/// Lines are "ALIAS TYPE".
void MIMEDatabase::readAliases(std::string_view text) {
    while (!text.empty()) {
        std::string_view line = takeUntil(text, '\n');
        const std::string_view alias = takeUntil(line, ' ');
        _properNames.insert_or_assign(std::string(alias), std::string(line));
    }
}

std::vector<std::string> MIMEDatabase::typesOfExtension(std::string_view extension) const {
    while (!extension.empty()) {
        std::vector<std::string> types = typesOfExactExtension(extension);
        if (!types.empty()) return types;
        (void)takeUntil(extension, '.');
    }
    return {};
}

std::vector<std::string> MIMEDatabase::typesOfExactExtension(std::string_view extension) const {
    std::vector<std::string> types;
    const auto [begin, end] = _patterns.equal_range(withSmallLetters(extension));
    std::optional<int> highest;
    for (auto entry = begin; entry != end; ++entry) {
        const Pattern& pattern = entry->second;
        if (pattern.isCaseSensitive && pattern.extension != extension) continue;
        if (highest && pattern.weight < *highest) continue;
        if (highest && pattern.weight > *highest) types.clear();
        highest = pattern.weight;
        if (std::find(types.begin(), types.end(), pattern.type) == types.end()) types.push_back(pattern.type);
    }
    return types;
}

std::vector<std::string> MIMEDatabase::lineageOfType(const std::string& type) const {
    std::vector<std::string> lineage = {properNameOfType(type)};
    const auto add = [&](const std::string& parent) {
        std::string name = properNameOfType(parent);
        if (std::find(lineage.begin(), lineage.end(), name) == lineage.end())
            lineage.push_back(std::move(name));
    };
    // NOLINTNEXTLINE(modernize-loop-convert): what is met is added while the loop runs.
    for (std::size_t index = 0; index < lineage.size(); ++index) {
        const auto [begin, end] = _parents.equal_range(lineage[index]);
        for (auto parent = begin; parent != end; ++parent)
            add(parent->second);
        if (lineage[index].starts_with("text/")) add("text/plain");
    }
    return lineage;
}

std::string MIMEDatabase::properNameOfType(const std::string& type) const {
    const auto entry = _properNames.find(type);
    return entry == _properNames.end() ? type : entry->second;
}

std::string withSmallLetters(std::string_view text) {
    std::string result(text);
    for (char& character : result) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    }
    return result;
}

} // namespace mox
