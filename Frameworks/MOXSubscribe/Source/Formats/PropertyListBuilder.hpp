#pragma once

#include "Foundation/PropertyList.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace mox {

/// Puts a property list together from the events of a reader, in the order of the text, with the rules that
/// all forms share: one root, every value of a dictionary behind its key, no key without value, no nesting
/// deeper than `maximumPropertyListDepth`. Of a key that is there twice the last one stays, in every form.
///
/// Takes no stack for depth. Each operation tells whether the event was acceptable; after one that was not,
/// the builder is of no further use.
class PropertyListBuilder {
public:
    enum class Container { Array, Dictionary };

    /// Opens a container as the next value.
    [[nodiscard]] bool beginContainer(Container kind);

    /// Closes the innermost container.
    [[nodiscard]] bool endContainer();

    /// Names the next value of the dictionary that is open. The key is well-formed UTF-8 or will be repaired.
    [[nodiscard]] bool addKey(std::string_view key);

    /// Adds a value without nested ones.
    [[nodiscard]] bool addValue(PropertyList value);

    /// The number of open containers.
    std::size_t depth() const noexcept { return _open.size(); }

    /// The innermost open container; only when there is one.
    Container innermost() const noexcept { return _open.back().kind; }

    /// Whether the next event may be a value.
    bool acceptsValue() const noexcept;

    /// Whether the next event may be a key.
    bool acceptsKey() const noexcept;

    /// The finished property list; nil when there is none or a container is still open.
    std::optional<PropertyList> finish();

private:
    struct Open {
        Container kind;
        std::size_t firstChild;
    };

    /// The values of all open containers in one row, each container's own place before its children.
    std::vector<PropertyList::Entry> _values;
    std::vector<Open> _open;
    PropertyList::Key _key;
    bool _hasKey = false;
};

} // namespace mox
