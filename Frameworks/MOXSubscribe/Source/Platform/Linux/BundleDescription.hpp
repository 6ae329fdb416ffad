#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Result.hpp"
#include "Platform/Bundles.hpp"
#include "Platform/FileSystem.hpp"

#include <optional>
#include <string>
#include <vector>

namespace mox {

/// What a stub bundle tells the desktop about itself.
struct BundleDescription {
    /// Documents that it opens.
    struct DocumentType {
        /// What a person is told of them; may be empty.
        std::string description;
        /// Their files' extensions as the bundle lists them.
        std::vector<std::string> extensions;
    };

    /// The path of the program that starts it.
    std::string program;
    /// Its name for menus; never empty.
    std::string name;
    /// What a person is told of it; may be empty.
    std::string comment;
    std::vector<DocumentType> documentTypes;
    /// The icon's file; nil when there is none.
    std::optional<Bytes> icon;
};

/// Reads what the bundle at `path` tells. Its information list must be there and name a program (ENOEXEC in
/// `NSPOSIXErrorDomain` when it does not); all else may be missing or damaged, but one that is there and
/// cannot be read is an error. Nothing is changed.
Result<BundleDescription> descriptionOfBundle(const std::string& path, FileSystem& fileSystem,
                                              const Bundles& bundles);

} // namespace mox
