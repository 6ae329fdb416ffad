#pragma once

#include "Foundation/PropertyList.hpp"

#include <random>
#include <string>
#include <string_view>

namespace mox::test {

/// What stands before the root of an XML property list.
inline constexpr std::string_view xmlStart = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                             "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                             "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                             "<plist version=\"1.0\">\n";

/// The XML document whose root is `root`.
inline std::string xmlDocument(std::string_view root) {
    return std::string(xmlStart).append(root).append("</plist>\n");
}

/// `depth` arrays in each other.
PropertyList nestedArrays(std::size_t depth);

/// `depth` dictionaries in each other, each under the key "Folders".
PropertyList nestedDictionaries(std::size_t depth);

/// A value of every kind that all forms can hold, with the limits of each.
PropertyList everyKind();

/// A random tree. Texts hold any scalar value, dates whole seconds of the years that XML can carry.
PropertyList randomTree(std::mt19937& random);

} // namespace mox::test
