#pragma once

#include "Foundation/Bytes.hpp"

#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// A type of documents that the shared MIME database does not know yet.
struct MIMEType {
    /// Its name, "application/x-..." for instance.
    std::string name;
    /// What a person is told of it; empty for none. What XML cannot carry becomes U+FFFD.
    std::string comment;
    /// The extension of its files, without the leading "."; `isExtensionOfFiles` holds for it.
    std::string extension;

    friend bool operator==(const MIMEType&, const MIMEType&) = default;
};

/// Whether names of files can be told by `extension`, and the shared MIME database can hold that: it is
/// UTF-8, not empty, no longer than a file's name, and has no "/", no control character (nor another that XML
/// cannot hold), none of the characters that make a pattern of it (`*`, `?`, `[`, `\`), and no ":", at which
/// the database ends it.
bool isExtensionOfFiles(std::string_view extension);

/// A package of the shared MIME database (Shared MIME-info Database specification) with these types.
Bytes mimePackageText(const std::vector<MIMEType>& types);

} // namespace mox
