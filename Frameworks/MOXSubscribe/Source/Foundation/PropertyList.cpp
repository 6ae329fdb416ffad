#include "Foundation/PropertyList.hpp"

#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mox {

// Data

PropertyList::Data::Data(Bytes bytes) {
    auto decoded = std::make_unique<const Bytes>(std::move(bytes));
    auto shared = std::make_shared<Decoded>(decoded.get());
    static_cast<void>(decoded.release());
    _content = std::make_shared<const Content>(Content{{}, nullptr, std::move(shared)});
}

PropertyList::Data::Data(SharedBytes text, Decoder decode)
    : _content(std::make_shared<const Content>(
          Content{std::move(text), decode, std::make_shared<Decoded>(nullptr)})) {}

ByteView PropertyList::Data::bytes() const {
    std::atomic<const Bytes*>& shared = _content->decoded->bytes;
    const Bytes* bytes = shared.load(std::memory_order_acquire);
    if (bytes) return *bytes;
    auto decoded = std::make_unique<const Bytes>(_content->decode(_content->text.view()));
    // Of several threads the first one's bytes stay, and the others take those.
    if (shared.compare_exchange_strong(bytes, decoded.get(), std::memory_order_acq_rel))
        bytes = decoded.release();
    return *bytes;
}

bool operator==(const PropertyList::Data& left, const PropertyList::Data& right) {
    if (left._content == right._content) return true;
    if (left._content->decode && left._content->decode == right._content->decode)
        return left._content->text.view() == right._content->text.view();
    return left.bytes() == right.bytes();
}

// Dictionary

PropertyList::Dictionary::Dictionary() noexcept = default;
PropertyList::Dictionary::Dictionary(const Dictionary& other) : _entries(other._entries) {}

PropertyList::Dictionary& PropertyList::Dictionary::operator=(const Dictionary& other) {
    // New entries, which no pointer that was handed out before leads to.
    return *this = Dictionary(other);
}

PropertyList::Dictionary::Dictionary(Dictionary&& other) noexcept = default;

PropertyList::Dictionary& PropertyList::Dictionary::operator=(Dictionary&& other) noexcept {
    // By way of locals: `other` may live inside what is replaced.
    std::vector<Entry> entries = std::move(other._entries);
    auto writtenForm = std::move(other._writtenForm);
    _entries.swap(entries);
    _writtenForm.swap(writtenForm);
    return *this;
}

PropertyList::Dictionary::~Dictionary() = default;

const PropertyList::Dictionary::WrittenForm PropertyList::Dictionary::handedOut = {};

PropertyList::Dictionary PropertyList::Dictionary::fromEntries(std::vector<Entry> entries) {
    for (Entry& entry : entries) {
        if (!isValidUTF8(entry.key)) entry.key = Key(repairedUTF8(std::string(entry.key)));
    }
    return fromValidatedEntries(std::move(entries));
}

PropertyList::Dictionary PropertyList::Dictionary::fromValidatedEntries(std::vector<Entry> entries,
                                                                        bool* wereInOrder) {
    const auto precedes = [](const Entry& one, const Entry& other) {
        return precedesByUTF16(one.key, other.key);
    };
    const auto isOutOfOrder = [&precedes](const Entry& one, const Entry& other) {
        return !precedes(one, other);
    };
    const bool areInOrder = std::adjacent_find(entries.begin(), entries.end(), isOutOfOrder) == entries.end();
    if (wereInOrder) *wereInOrder = areInOrder;
    if (!areInOrder) {
        std::stable_sort(entries.begin(), entries.end(), precedes);
        // From the back, where the last of equal keys comes first, which is the one that unique() keeps.
        const auto firstKept =
            std::unique(entries.rbegin(), entries.rend(),
                        [](const Entry& one, const Entry& other) { return one.key == other.key; });
        entries.erase(entries.begin(), firstKept.base());
    }
    Dictionary dictionary;
    dictionary._entries = std::move(entries);
    return dictionary;
}

std::size_t PropertyList::Dictionary::size() const noexcept {
    return _entries.size();
}

const PropertyList::Entry* PropertyList::Dictionary::begin() const noexcept {
    return _entries.data();
}

const PropertyList::Entry* PropertyList::Dictionary::end() const noexcept {
    return _entries.data() + _entries.size();
}

std::size_t PropertyList::Dictionary::indexFor(std::string_view key) const noexcept {
    const auto position = std::lower_bound(
        _entries.begin(), _entries.end(), key,
        [](const Entry& entry, std::string_view wanted) { return precedesByUTF16(entry.key, wanted); });
    return static_cast<std::size_t>(position - _entries.begin());
}

const PropertyList* PropertyList::Dictionary::find(std::string_view key) const noexcept {
    const std::size_t index = indexFor(key);
    return index < _entries.size() && _entries[index].key == key ? &_entries[index].value : nullptr;
}

PropertyList* PropertyList::Dictionary::find(std::string_view key) noexcept {
    const PropertyList* found = std::as_const(*this).find(key);
    if (found) _writtenForm.reset(&handedOut);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): takes away only what it has added.
    return const_cast<PropertyList*>(found);
}

const PropertyList& PropertyList::Dictionary::set(std::string key, PropertyList value) {
    key = repairedUTF8(std::move(key));
    dropWrittenForm();
    if (_entries.empty() || precedesByUTF16(_entries.back().key, key)) {
        return _entries.emplace_back(Entry{Key(key), std::move(value)}).value;
    }
    const std::size_t index = indexFor(key);
    if (index < _entries.size() && _entries[index].key == key) {
        return _entries[index].value = std::move(value);
    }
    const auto position = _entries.begin() + static_cast<std::ptrdiff_t>(index);
    return _entries.insert(position, Entry{Key(key), std::move(value)})->value;
}

bool PropertyList::Dictionary::remove(std::string_view key) {
    return take(key).has_value();
}

void PropertyList::Dictionary::remove(const std::set<std::string, std::less<>>& keys) noexcept {
    dropWrittenForm();
    std::erase_if(_entries, [&keys](const Entry& entry) { return keys.contains(entry.key.view()); });
}

std::optional<PropertyList> PropertyList::Dictionary::take(std::string_view key) {
    const std::size_t index = indexFor(key);
    if (index == _entries.size() || _entries[index].key != key) return std::nullopt;
    dropWrittenForm();
    std::optional<PropertyList> taken(std::move(_entries[index].value));
    _entries.erase(_entries.begin() + static_cast<std::ptrdiff_t>(index));
    return taken;
}

bool PropertyList::Dictionary::rename(std::string_view key, std::string newKey) {
    newKey = repairedUTF8(std::move(newKey));
    const std::size_t index = indexFor(key);
    if (index == _entries.size() || _entries[index].key != key) return false;
    if (newKey == key) return true;
    dropWrittenForm();
    std::size_t place = indexFor(newKey);
    if (place < _entries.size() && _entries[place].key == newKey) {
        _entries[place].value = std::move(_entries[index].value);
        _entries.erase(_entries.begin() + static_cast<std::ptrdiff_t>(index));
        return true;
    }
    _entries[index].key = Key(newKey);
    const auto entry = _entries.begin() + static_cast<std::ptrdiff_t>(index);
    const auto destination = _entries.begin() + static_cast<std::ptrdiff_t>(place);
    if (entry < destination) {
        std::rotate(entry, entry + 1, destination);
    } else {
        std::rotate(destination, entry, entry + 1);
    }
    return true;
}

const std::string* PropertyList::Dictionary::string(std::string_view key) const noexcept {
    const PropertyList* value = find(key);
    return value ? value->string() : nullptr;
}

const PropertyList::Data* PropertyList::Dictionary::data(std::string_view key) const noexcept {
    const PropertyList* value = find(key);
    return value ? value->data() : nullptr;
}

const PropertyList::Array* PropertyList::Dictionary::array(std::string_view key) const noexcept {
    const PropertyList* value = find(key);
    return value ? value->array() : nullptr;
}

const PropertyList::Dictionary* PropertyList::Dictionary::dictionary(std::string_view key) const noexcept {
    const PropertyList* value = find(key);
    return value ? value->dictionary() : nullptr;
}

PropertyList::Dictionary* PropertyList::Dictionary::dictionary(std::string_view key) noexcept {
    PropertyList* value = find(key);
    return value ? value->dictionary() : nullptr;
}

void PropertyList::Dictionary::dropWrittenForm() noexcept {
    if (canKeepWrittenForm()) _writtenForm.reset();
}

bool operator==(const PropertyList::Dictionary& left, const PropertyList::Dictionary& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](const PropertyList::Entry& one, const PropertyList::Entry& other) {
                          return one.key == other.key && one.value == other.value;
                      });
}

// Making values

PropertyList::PropertyList(std::string text) : _value(repairedUTF8(std::move(text))) {}
PropertyList::PropertyList(std::string_view text) : PropertyList(std::string(text)) {}
PropertyList::PropertyList(const char* text) : PropertyList(std::string(text)) {}
PropertyList::PropertyList(Data data) noexcept : _value(std::move(data)) {}
PropertyList::PropertyList(Date date) noexcept : _value(date) {}
PropertyList::PropertyList(UID uid) noexcept : _value(uid) {}
PropertyList::PropertyList(Array array) noexcept : _value(std::move(array)) {}
PropertyList::PropertyList(Dictionary dictionary) noexcept : _value(std::move(dictionary)) {}

PropertyList PropertyList::boolean(bool value) {
    return PropertyList(std::in_place_type<bool>, value);
}

PropertyList PropertyList::integer(std::int64_t value) {
    return PropertyList(std::in_place_type<std::int64_t>, value);
}

PropertyList PropertyList::unsignedInteger(std::uint64_t value) {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
        return integer(static_cast<std::int64_t>(value));
    }
    return PropertyList(std::in_place_type<LargeInteger>, LargeInteger{value});
}

PropertyList PropertyList::real(double value) {
    return PropertyList(std::in_place_type<double>, value);
}

PropertyList PropertyList::validatedString(std::string text) {
    return PropertyList(std::in_place_type<std::string>, std::move(text));
}

// Copying, moving, destroying. A value may be nested deeper than any stack, so that nothing here recurses.

PropertyList::PropertyList(const PropertyList& other) : PropertyList(copyWithoutNested(other)) {
    copyNested(other);
}

PropertyList& PropertyList::operator=(const PropertyList& other) {
    return *this = PropertyList(other);
}

PropertyList& PropertyList::operator=(PropertyList&& other) noexcept {
    // By way of a local: `other` may live inside what is replaced, which goes at the end.
    const PropertyList previous(std::move(*this));
    _value = std::move(other._value);
    return *this;
}

PropertyList PropertyList::copyWithoutNested(const PropertyList& other) {
    return std::visit(
        [](const auto& value) -> PropertyList {
            using Alternative = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Alternative, Array> || std::is_same_v<Alternative, Dictionary>) {
                return Alternative();
            } else {
                return PropertyList(std::in_place_type<Alternative>, value);
            }
        },
        other._value);
}

std::size_t PropertyList::childCount() const noexcept {
    if (const Array* values = array()) return values->size();
    if (const Dictionary* values = dictionary()) return values->size();
    return 0;
}

const PropertyList& PropertyList::child(std::size_t index) const noexcept {
    if (const Array* values = array()) return (*values)[index];
    return dictionary()->_entries[index].value;
}

PropertyList& PropertyList::child(std::size_t index) noexcept {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): takes away only what it has added.
    return const_cast<PropertyList&>(std::as_const(*this).child(index));
}

void PropertyList::copyNested(const PropertyList& other) {
    struct Pending {
        const PropertyList* source;
        PropertyList* copy;
    };
    if (other.childCount() == 0) return;
    std::vector<Pending> pending{{&other, this}};
    while (!pending.empty()) {
        const auto [source, copy] = pending.back();
        pending.pop_back();
        const std::size_t count = source->childCount();
        if (const Array* values = source->array()) {
            // Reserved before filled: the copies must not move while they wait for their own children.
            copy->array()->reserve(count);
            for (const PropertyList& value : *values)
                copy->array()->push_back(copyWithoutNested(value));
        } else {
            auto& entries = copy->dictionary()->_entries;
            entries.reserve(count);
            for (const Entry& entry : source->dictionary()->_entries) {
                entries.emplace_back(Key(entry.key), copyWithoutNested(entry.value));
            }
        }
        for (std::size_t index = 0; index < count; ++index) {
            if (source->child(index).childCount() != 0) {
                pending.push_back({&source->child(index), &copy->child(index)});
            }
        }
    }
}

PropertyList PropertyList::takeLastChild() noexcept {
    if (Array* values = array()) {
        PropertyList taken(std::move(values->back()));
        values->pop_back();
        return taken;
    }
    auto& entries = dictionary()->_entries;
    PropertyList taken(std::move(entries.back().value));
    entries.pop_back();
    return taken;
}

/// Destroys the container's children at the end, up to the last one that has children of its own.
void PropertyList::dropLastLeaves() noexcept {
    if (Array* values = array()) {
        while (!values->empty() && values->back().childCount() == 0)
            values->pop_back();
    } else {
        std::vector<Entry>& entries = dictionary()->_entries;
        while (!entries.empty() && entries.back().value.childCount() == 0)
            entries.pop_back();
    }
}

/// Takes no memory, which may be what has run out: while a container's children are being destroyed, what is
/// left of the container around it waits in the place of its first child, and so comes up again last.
void PropertyList::releaseNested() noexcept {
    if (childCount() == 0) return;
    PropertyList container(std::move(*this));
    for (container.dropLastLeaves(); container.childCount() != 0; container.dropLastLeaves()) {
        PropertyList next = container.takeLastChild();
        while (next.childCount() != 0) {
            next.dropLastLeaves();
            if (next.childCount() == 0) break;
            if (container.childCount() == 0) {
                container = std::move(next);
                break;
            }
            const std::size_t last = next.childCount() - 1;
            PropertyList afterNext(std::move(next.child(last)));
            if (last != 0) next.child(last) = std::move(next.child(0));
            next.child(0) = std::move(container);
            container = std::move(next);
            next = std::move(afterNext);
        }
    }
}

// Reading

PropertyList::Kind PropertyList::kind() const noexcept {
    static constexpr Kind kinds[] = {Kind::Boolean, Kind::Integer,   Kind::Integer, Kind::Real,
                                     Kind::Date,    Kind::UID,       Kind::String,  Kind::Data,
                                     Kind::Array,   Kind::Dictionary};
    static_assert(std::size(kinds) == std::variant_size_v<Value>);
    return kinds[_value.index()];
}

const std::string* PropertyList::string() const noexcept {
    return std::get_if<std::string>(&_value);
}

const PropertyList::Data* PropertyList::data() const noexcept {
    return std::get_if<Data>(&_value);
}

const PropertyList::Array* PropertyList::array() const noexcept {
    return std::get_if<Array>(&_value);
}

PropertyList::Array* PropertyList::array() noexcept {
    return std::get_if<Array>(&_value);
}

const PropertyList::Dictionary* PropertyList::dictionary() const noexcept {
    return std::get_if<Dictionary>(&_value);
}

PropertyList::Dictionary* PropertyList::dictionary() noexcept {
    return std::get_if<Dictionary>(&_value);
}

std::optional<bool> PropertyList::boolean() const noexcept {
    const bool* value = std::get_if<bool>(&_value);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<std::int64_t> PropertyList::integer() const noexcept {
    const std::int64_t* value = std::get_if<std::int64_t>(&_value);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<std::uint64_t> PropertyList::unsignedInteger() const noexcept {
    if (const auto* large = std::get_if<LargeInteger>(&_value)) return large->value;
    const std::int64_t* value = std::get_if<std::int64_t>(&_value);
    return value && *value >= 0 ? std::optional(static_cast<std::uint64_t>(*value)) : std::nullopt;
}

std::optional<double> PropertyList::real() const noexcept {
    const double* value = std::get_if<double>(&_value);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<PropertyList::Date> PropertyList::date() const noexcept {
    const Date* value = std::get_if<Date>(&_value);
    return value ? std::optional(*value) : std::nullopt;
}

std::optional<PropertyList::UID> PropertyList::uid() const noexcept {
    const UID* value = std::get_if<UID>(&_value);
    return value ? std::optional(*value) : std::nullopt;
}

// Comparing

bool PropertyList::equalsIgnoringChildren(const PropertyList& other) const {
    if (_value.index() != other._value.index() || childCount() != other.childCount()) return false;
    return std::visit(
        [&other](const auto& value) {
            using Alternative = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Alternative, Array>) {
                return true;
            } else if constexpr (std::is_same_v<Alternative, Dictionary>) {
                const auto& entries = std::get<Dictionary>(other._value)._entries;
                return std::equal(value._entries.begin(), value._entries.end(), entries.begin(),
                                  [](const Entry& one, const Entry& two) { return one.key == two.key; });
            } else if constexpr (std::is_same_v<Alternative, double>) {
                const double real = std::get<double>(other._value);
                return value == real || (std::isnan(value) && std::isnan(real));
            } else if constexpr (std::is_same_v<Alternative, Date>) {
                const double seconds = std::get<Date>(other._value).secondsSince2001;
                return value.secondsSince2001 == seconds ||
                       (std::isnan(value.secondsSince2001) && std::isnan(seconds));
            } else {
                return value == std::get<Alternative>(other._value);
            }
        },
        _value);
}

bool operator==(const PropertyList& left, const PropertyList& right) {
    std::vector<std::pair<const PropertyList*, const PropertyList*>> pending{{&left, &right}};
    while (!pending.empty()) {
        const auto [one, other] = pending.back();
        pending.pop_back();
        if (!one->equalsIgnoringChildren(*other)) return false;
        for (std::size_t index = 0; index < one->childCount(); ++index) {
            pending.emplace_back(&one->child(index), &other->child(index));
        }
    }
    return true;
}

} // namespace mox
