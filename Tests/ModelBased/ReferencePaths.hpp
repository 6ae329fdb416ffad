#pragma once

#include <string>
#include <vector>

namespace mox::test::model {

// The rules for path strings, in the simplest way: by lists of components.

/// "/a//b/" has the components "/", "a", "b" and "/".
std::vector<std::string> componentsOf(const std::string& path);

/// "b" for "/a/b/", "/" for "/", "" for "".
std::string lastComponentOf(const std::string& path);

/// "/a" for "/a/b/", "/" for "/a" and "/", "" for "a".
std::string parentOf(const std::string& path);

/// `path` and `component` with one "/" between.
std::string joined(const std::string& path, const std::string& component);

/// "a" for "a.app", ".app" for ".app"; of a path that is one component.
std::string withoutExtension(const std::string& name);

/// `text` in UTF-16, whose units decide about order and length.
std::u16string utf16Of(const std::string& text);

/// The order of keys: by UTF-16 code units.
struct ByUTF16 {
    bool operator()(const std::string& left, const std::string& right) const {
        return utf16Of(left) < utf16Of(right);
    }
};

} // namespace mox::test::model
