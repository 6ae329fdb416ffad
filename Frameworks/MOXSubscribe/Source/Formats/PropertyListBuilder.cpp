#include "Formats/PropertyListBuilder.hpp"

#include "Formats/PropertyListReading.hpp"

#include <iterator>
#include <utility>

namespace mox {

bool PropertyListBuilder::acceptsValue() const noexcept {
    if (_open.empty()) return _values.empty();
    return _open.back().kind == Container::Array || _hasKey;
}

bool PropertyListBuilder::acceptsKey() const noexcept {
    return !_open.empty() && _open.back().kind == Container::Dictionary && !_hasKey;
}

bool PropertyListBuilder::beginContainer(Container kind) {
    if (_open.size() == maximumPropertyListDepth || !addValue(PropertyList::boolean(false))) return false;
    _open.push_back({kind, _values.size()});
    return true;
}

bool PropertyListBuilder::endContainer() {
    if (_open.empty() || _hasKey) return false;
    const auto [kind, firstChild] = _open.back();
    _open.pop_back();
    const auto children = _values.begin() + static_cast<std::ptrdiff_t>(firstChild);
    PropertyList& container = _values[firstChild - 1].value;
    if (kind == Container::Array) {
        PropertyList::Array values;
        values.reserve(_values.size() - firstChild);
        for (auto child = children; child != _values.end(); ++child)
            values.push_back(std::move(child->value));
        container = PropertyList(std::move(values));
    } else {
        std::vector<PropertyList::Entry> entries(std::make_move_iterator(children),
                                                 std::make_move_iterator(_values.end()));
        container = PropertyList(PropertyList::Dictionary::fromEntries(std::move(entries)));
    }
    _values.erase(children, _values.end());
    return true;
}

bool PropertyListBuilder::addKey(std::string_view key) {
    if (!acceptsKey()) return false;
    _key = PropertyList::Key(key);
    _hasKey = true;
    return true;
}

bool PropertyListBuilder::addValue(PropertyList value) {
    if (!acceptsValue()) return false;
    _values.push_back(PropertyList::Entry{std::move(_key), std::move(value)});
    _hasKey = false;
    return true;
}

std::optional<PropertyList> PropertyListBuilder::finish() {
    if (_values.empty() || !_open.empty()) return std::nullopt;
    return std::move(_values.front().value);
}

} // namespace mox
