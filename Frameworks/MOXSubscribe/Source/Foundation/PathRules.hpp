#pragma once

#include "Foundation/Export.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

// Rules for path strings. They look at the text alone, never at the disk; "." and ".." are ordinary
// components, and comparison is always of whole components, byte by byte. None fails; any thread may call.

/// The components of `path`. A leading "/" is the component "/"; runs of "/" count once; a "/" at the end of
/// anything longer than "/" adds a last component "/". The empty path has none.
MOX_EXPORT std::vector<std::string> pathComponents(std::string_view path);

/// Reads the components of a path one after another, the same that `pathComponents` lists, without a copy.
/// The path's text must outlive the reader, which belongs to one thread at a time.
class MOX_EXPORT PathComponentReader {
public:
    explicit PathComponentReader(std::string_view path) : _rest(path) {}

    /// The next component; nil behind the last one.
    std::optional<std::string_view> next();

private:
    std::string_view _rest;
};

/// The last component of `path`, a "/" at its end left aside: "b" for "/a/b/", "/" for "/", "" for "".
MOX_EXPORT std::string lastPathComponent(std::string_view path);

/// `path` without its last component: "/a" for "/a/b/", "/" for "/a", "" for "a", "/" for "/".
MOX_EXPORT std::string stringByDeletingLastPathComponent(std::string_view path);

/// The same as a view of the beginning of `path`.
MOX_EXPORT std::string_view viewByDeletingLastPathComponent(std::string_view path);

/// `path` with `component` added behind exactly one "/". Runs of "/" shrink to one and a "/" at the end goes;
/// "" and "/" give "/", "" and "a" give "a".
MOX_EXPORT std::string stringByAppendingPathComponent(std::string_view path, std::string_view component);

/// `path` with "." and `extension` added to its last component.
MOX_EXPORT std::string stringByAppendingPathExtension(std::string_view path, std::string_view extension);

/// `path` without its last component's extension: "a" for "a.app", ".app" for ".app", "a" for "a.".
MOX_EXPORT std::string stringByDeletingPathExtension(std::string_view path);

/// The extension of the last component of `path`, without its "."; "" when it has none.
MOX_EXPORT std::string pathExtension(std::string_view path);

/// The same as a view of a part of `path`.
MOX_EXPORT std::string_view viewOfPathExtension(std::string_view path);

} // namespace mox
