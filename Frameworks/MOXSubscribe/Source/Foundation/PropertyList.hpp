#pragma once

#include "Foundation/Bytes.hpp"
#include "Foundation/Export.hpp"
#include "Foundation/SharedBytes.hpp"
#include "Foundation/SharedText.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace mox {

/// A value of a property list: text, data, a number, a boolean, a date, an array or a dictionary.
///
/// A value type: a copy shares nothing that can change with its original. Copying, comparing and destroying
/// take no more stack for a deep value than for a flat one. Text is always well-formed UTF-8: whatever is not
/// becomes U+FFFD on entry, one for each ill-formed sequence, so that a value in memory and its written form
/// never differ. One value belongs to one thread at a time; different values are independent.
class MOX_EXPORT PropertyList {
public:
    struct Entry;

    /// Values in order.
    using Array = std::vector<PropertyList>;

    /// What a value is. A UID has a form in binary property lists only.
    enum class Kind { Boolean, Integer, Real, Date, UID, String, Data, Array, Dictionary };

    /// A point in time, in seconds since 2001-01-01 00:00:00 UTC.
    struct Date {
        /// Fractions and times before are allowed.
        double secondsSince2001;
        friend bool operator==(const Date&, const Date&) = default;
    };

    /// A reference to another object of a keyed archive.
    struct UID {
        /// The index of the object that is referred to.
        std::uint64_t value;
        friend bool operator==(const UID&, const UID&) = default;
    };

    /// Bytes that never change; copies share them, from any thread.
    class MOX_EXPORT Data {
    public:
        /// Takes over `bytes`.
        explicit Data(Bytes bytes);

        /// The bytes; the view holds as long as this value or a copy of it lives. Data of a document may be
        /// decoded when they are asked for the first time, which takes memory.
        ByteView bytes() const;

        friend MOX_EXPORT bool operator==(const Data& left, const Data& right);

    private:
        friend class KeptText;

        /// Makes the bytes for which a text stands.
        using Decoder = Bytes (*)(std::string_view text);

        Data(SharedBytes text, Decoder decode);

        /// The bytes, apart from the text, so that copies share them whatever text stands for them by now.
        struct Decoded {
            explicit Decoded(const Bytes* newBytes) noexcept : bytes(newBytes) {}
            ~Decoded() { delete bytes.load(std::memory_order_relaxed); }

            /// Null until the text has been decoded, then always the same.
            std::atomic<const Bytes*> bytes;
        };

        struct Content {
            SharedBytes text;
            Decoder decode;
            std::shared_ptr<Decoded> decoded;
        };

        mutable std::shared_ptr<const Content> _content;
    };

    /// The key of an entry, shared, so that dictionaries with the same keys need not each have them in
    /// memory.
    using Key = SharedText;

    /// Values by key, always in the order of their keys' UTF-16 code units. Pointers and iterators into a
    /// dictionary hold until its next `set` or `remove`.
    ///
    /// A dictionary may keep its text in the document that it was read from or written to, so that it need
    /// not be made again. A change drops that text, and a dictionary out of which a pointer was handed by
    /// which what is in it can be changed keeps none any more, wherever it is moved; a copy starts anew.
    class MOX_EXPORT Dictionary {
    public:
        /// An empty dictionary; then copying, moving and destroying, none of which takes stack for depth.
        Dictionary() noexcept;
        Dictionary(const Dictionary& other);
        Dictionary& operator=(const Dictionary& other);
        Dictionary(Dictionary&& other) noexcept;
        Dictionary& operator=(Dictionary&& other) noexcept;
        ~Dictionary();

        /// The dictionary of `entries`, given in any order; of a key that is there more than once the last
        /// one stays. Ill-formed UTF-8 in a key is repaired. Takes linear time when they are in order
        /// already, and n log n time otherwise. No pointer into `entries` may be used afterwards.
        static Dictionary fromEntries(std::vector<Entry> entries);

        /// The same of entries whose keys a reader has already found to be well-formed UTF-8. Tells through
        /// `wereInOrder` whether the keys were in ascending order, each there once.
        static Dictionary fromValidatedEntries(std::vector<Entry> entries, bool* wereInOrder = nullptr);

        /// How many entries there are.
        bool empty() const noexcept { return _entries.empty(); }
        std::size_t size() const noexcept;

        /// The entries in the order of their keys.
        const Entry* begin() const noexcept;
        const Entry* end() const noexcept;

        /// The value under `key`; null when there is none.
        const PropertyList* find(std::string_view key) const noexcept;
        PropertyList* find(std::string_view key) noexcept;

        /// Stores `value` under `key` in place of what was there. Ill-formed UTF-8 in `key` is repaired.
        /// Storing keys in ascending order takes constant time each. Returns the stored value.
        const PropertyList& set(std::string key, PropertyList value);

        /// Removes the value under `key`; whether there was one.
        bool remove(std::string_view key);

        /// Removes the values under `keys`, in linear time. Throws nothing.
        void remove(const std::set<std::string, std::less<>>& keys) noexcept;

        /// Removes the value under `key` and returns it; nil when there was none.
        std::optional<PropertyList> take(std::string_view key);

        /// Puts the value that is under `key` under `newKey`, in place of what was there; whether there was
        /// one. Only the entries between the two places move. Ill-formed UTF-8 in `newKey` is repaired.
        bool rename(std::string_view key, std::string newKey);

        /// The value under `key` when it has the named kind; null otherwise.
        const std::string* string(std::string_view key) const noexcept;
        const Data* data(std::string_view key) const noexcept;
        const Array* array(std::string_view key) const noexcept;
        const Dictionary* dictionary(std::string_view key) const noexcept;
        Dictionary* dictionary(std::string_view key) noexcept;

        friend MOX_EXPORT bool operator==(const Dictionary& left, const Dictionary& right);

    private:
        friend class KeptText;
        friend class PropertyList;

        /// The text of a dictionary in a document: whole lines, from the indentation of the tag that opens it
        /// to the line feed behind the one that closes it.
        struct WrittenForm {
            /// The lines; it keeps the whole document in memory.
            SharedBytes text;
            /// In how many containers the dictionary is, which its indentation tells.
            std::size_t depth = 0;
            /// The key on the line in front of the text, and that line's size; none when it is not known, or
            /// is not as it is written.
            Key key = {};
            std::size_t keyLineSize = 0;
        };

        struct WrittenFormDeleter {
            void operator()(const WrittenForm* form) const noexcept {
                if (form != &handedOut) delete form;
            }
        };

        /// Stands in the place of the text for that there can be none, since what is in the dictionary may be
        /// changed by somebody who holds a pointer to it.
        static const WrittenForm handedOut;

        bool canKeepWrittenForm() const noexcept { return _writtenForm.get() != &handedOut; }
        void dropWrittenForm() noexcept;
        std::size_t indexFor(std::string_view key) const noexcept;

        std::vector<Entry> _entries;
        mutable std::unique_ptr<const WrittenForm, WrittenFormDeleter> _writtenForm;
    };

    /// The value of each kind; text is repaired where it is ill-formed.
    PropertyList(std::string text);
    PropertyList(std::string_view text);
    PropertyList(const char* text);
    PropertyList(Data data) noexcept;
    PropertyList(Date date) noexcept;
    PropertyList(UID uid) noexcept;
    PropertyList(Array array) noexcept;
    PropertyList(Dictionary dictionary) noexcept;

    /// Named, since the language converts too freely between numbers, booleans and pointers.
    static PropertyList boolean(bool value);
    static PropertyList integer(std::int64_t value);
    static PropertyList unsignedInteger(std::uint64_t value);
    static PropertyList real(double value);

    /// The text that a reader has already found to be well-formed UTF-8, taken without another look.
    static PropertyList validatedString(std::string text);

    /// A copy that shares nothing that can change.
    PropertyList(const PropertyList& other);
    PropertyList& operator=(const PropertyList& other);
    /// A value that was moved from may only be assigned to or destroyed.
    PropertyList(PropertyList&& other) noexcept = default;
    PropertyList& operator=(PropertyList&& other) noexcept;
    ~PropertyList() {
        if (isContainer()) releaseNested();
    }

    /// What the value is.
    Kind kind() const noexcept;

    /// Each gives null when the value is of another kind.
    const std::string* string() const noexcept;
    const Data* data() const noexcept;
    const Array* array() const noexcept;
    Array* array() noexcept;
    const Dictionary* dictionary() const noexcept;
    Dictionary* dictionary() noexcept;

    /// Each gives nil when the value is of another kind. An integer above the signed 64-bit range has no
    /// `integer()`, a negative one no `unsignedInteger()`.
    std::optional<bool> boolean() const noexcept;
    std::optional<std::int64_t> integer() const noexcept;
    std::optional<std::uint64_t> unsignedInteger() const noexcept;
    std::optional<double> real() const noexcept;
    std::optional<Date> date() const noexcept;
    std::optional<UID> uid() const noexcept;

    /// Equal kinds and equal contents. Integers compare by value; a NaN equals a NaN, so that a copy always
    /// equals its original.
    friend MOX_EXPORT bool operator==(const PropertyList& left, const PropertyList& right);

private:
    /// An integer above the signed range, kept apart so that every integer has exactly one form.
    struct LargeInteger {
        std::uint64_t value;
        friend bool operator==(const LargeInteger&, const LargeInteger&) = default;
    };

    using Value = std::variant<bool, std::int64_t, LargeInteger, double, Date, UID, std::string, Data, Array,
                               Dictionary>;

    template<typename Alternative>
    PropertyList(std::in_place_type_t<Alternative> type, Alternative value) noexcept
        : _value(type, std::move(value)) {}

    bool isContainer() const noexcept {
        return std::holds_alternative<Array>(_value) || std::holds_alternative<Dictionary>(_value);
    }

    static PropertyList copyWithoutNested(const PropertyList& other);
    std::size_t childCount() const noexcept;
    PropertyList& child(std::size_t index) noexcept;
    const PropertyList& child(std::size_t index) const noexcept;
    bool equalsIgnoringChildren(const PropertyList& other) const;
    void copyNested(const PropertyList& other);
    PropertyList takeLastChild() noexcept;
    void dropLastLeaves() noexcept;
    void releaseNested() noexcept;

    Value _value;
};

/// A dictionary's key with its value.
struct PropertyList::Entry {
    /// Takes over both.
    Entry(Key&& newKey, PropertyList&& newValue) noexcept
        : key(std::move(newKey)), value(std::move(newValue)) {}

    /// The key, in well-formed UTF-8.
    Key key;
    /// What is stored under it.
    PropertyList value;
};

} // namespace mox
