#pragma once

#include "Foundation/PropertyList.hpp"
#include "SDK/MOXTypes.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

// The document types of a bundle, between the two forms in which they are kept: as the information list and
// its strings declare them, and as a record's file types. Values only; nothing here fails.

/// The key of the document types in an information list.
inline constexpr std::string_view documentTypesKey = "CFBundleDocumentTypes";

/// The file types that `documentTypes` declares, in order, each with the text that `strings` has for its name
/// as its description. An entry without a name, or with an empty one, is left out; so is an extension or a
/// description that is no text.
std::vector<MOXFileType> fileTypesFromDocumentTypes(const PropertyList::Array& documentTypes,
                                                    const PropertyList::Dictionary& strings);

/// The document types that declare `fileTypes`, in order, each with the role of an editor and the icon file
/// `iconFile` (no key when it is nil). The first character of each extension is cut off, whatever it is: it
/// is taken for the dot.
PropertyList::Array documentTypesFromFileTypes(const std::vector<MOXFileType>& fileTypes,
                                               const std::optional<std::string>& iconFile);

/// The lines that give the names of `fileTypes` their descriptions in a strings file, under a comment of
/// their own; "(null)" for a type without one. On purpose nothing is escaped.
std::string typeNamesText(const std::vector<MOXFileType>& fileTypes);

} // namespace mox
