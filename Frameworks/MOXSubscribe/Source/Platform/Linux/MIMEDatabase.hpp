#pragma once

#include "Platform/FileSystem.hpp"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// The desktop's shared MIME database: which types of documents there are, as it was read once.
class MIMEDatabase {
public:
    /// Reads "mime" in each of `dataFolders`, the preferred one first; what is not there tells nothing. Types
    /// whose names begin with `ignoredPrefix` are left out.
    static Result<MIMEDatabase> read(FileSystem& fileSystem, const std::vector<std::string>& dataFolders,
                                     std::string_view ignoredPrefix);

    /// The types of files whose names end in "." and `extension`: those of the longest ending that is known,
    /// and of these the most important ones alone. Several only when their importance is the same.
    std::vector<std::string> typesOfExtension(std::string_view extension) const;

    /// `type` and all the types that it is a kind of, each once. A kind of text is plain text too.
    std::vector<std::string> lineageOfType(const std::string& type) const;

    /// The name that the database itself uses for `type`, which may be another name for it.
    std::string properNameOfType(const std::string& type) const;

private:
    struct Pattern {
        std::string extension;
        std::string type;
        int weight;
        bool isCaseSensitive;
    };

    MIMEDatabase() = default;
    std::vector<std::string> typesOfExactExtension(std::string_view extension) const;
    void readPatterns(std::string_view text, std::string_view ignoredPrefix);
    void readSubclasses(std::string_view text);
    void readAliases(std::string_view text);

    std::multimap<std::string, Pattern, std::less<>> _patterns;
    std::multimap<std::string, std::string, std::less<>> _parents;
    std::map<std::string, std::string, std::less<>> _properNames;
};

/// `text` with the capital letters of ASCII made small.
std::string withSmallLetters(std::string_view text);

} // namespace mox
