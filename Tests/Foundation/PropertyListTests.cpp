#include "Foundation/PropertyList.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <limits>
#include <optional>
#include <thread>

namespace mox {
namespace {

using Kind = PropertyList::Kind;

PropertyList nestedArrays(std::size_t depth) {
    PropertyList value = PropertyList::Array();
    while (--depth > 0) {
        PropertyList::Array outer;
        outer.push_back(std::move(value));
        value = PropertyList(std::move(outer));
    }
    return value;
}

TEST(PropertyList, Each_kind_gives_its_own_content_and_no_other) {
    const PropertyList values[] = {
        PropertyList::boolean(true), PropertyList::integer(-1), PropertyList::real(1.5),
        PropertyList::Date{2},       PropertyList::UID{3},      "text",
        PropertyList::Data("data"),  PropertyList::Array{"a"},  PropertyList::Dictionary()};
    for (const PropertyList& value : values) {
        EXPECT_EQ(value.boolean().has_value(), value.kind() == Kind::Boolean);
        EXPECT_EQ(value.integer().has_value(), value.kind() == Kind::Integer);
        EXPECT_EQ(value.real().has_value(), value.kind() == Kind::Real);
        EXPECT_EQ(value.date().has_value(), value.kind() == Kind::Date);
        EXPECT_EQ(value.uid().has_value(), value.kind() == Kind::UID);
        EXPECT_EQ(value.string() != nullptr, value.kind() == Kind::String);
        EXPECT_EQ(value.data() != nullptr, value.kind() == Kind::Data);
        EXPECT_EQ(value.array() != nullptr, value.kind() == Kind::Array);
        EXPECT_EQ(value.dictionary() != nullptr, value.kind() == Kind::Dictionary);
        for (const PropertyList& other : values)
            EXPECT_EQ(value == other, &value == &other);
    }
    EXPECT_EQ(*values[5].string(), "text");
    EXPECT_EQ(values[6].data()->bytes(), "data");
    EXPECT_EQ(values[4].uid()->value, 3u);
}

TEST(PropertyList, Integers_have_one_form_whatever_made_them) {
    EXPECT_EQ(PropertyList::integer(5), PropertyList::unsignedInteger(5));
    const PropertyList large = PropertyList::unsignedInteger(std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(large.kind(), Kind::Integer);
    EXPECT_EQ(large.integer(), std::nullopt);
    EXPECT_EQ(large.unsignedInteger(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(PropertyList::integer(-1).unsignedInteger(), std::nullopt);
    EXPECT_EQ(PropertyList::integer(7).unsignedInteger(), 7u);
    EXPECT_FALSE(large == PropertyList::integer(-1));
}

TEST(PropertyList, A_NaN_equals_a_NaN) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(PropertyList::real(nan), PropertyList::real(nan));
    EXPECT_EQ(PropertyList(PropertyList::Date{nan}), PropertyList(PropertyList::Date{nan}));
    EXPECT_FALSE(PropertyList::real(nan) == PropertyList::real(1));
}

TEST(PropertyList, Ill_formed_text_is_repaired_on_entry) {
    EXPECT_EQ(*PropertyList("a\xFF").string(), "a\uFFFD");
    PropertyList::Dictionary dictionary;
    dictionary.set("\xFF", "x");
    EXPECT_EQ(dictionary.begin()->key, "\uFFFD");
}

TEST(PropertyList, Entries_stay_in_the_order_of_UTF16_code_units) {
    PropertyList::Dictionary dictionary;
    for (const char* key : {"b", "\uFB01", "a", "\U0001F600", "", "b"})
        dictionary.set(key, key);
    std::vector<std::string> keys;
    for (const PropertyList::Entry& entry : dictionary)
        keys.push_back(entry.key);
    EXPECT_EQ(keys, (std::vector<std::string>{"", "a", "b", "\U0001F600", "\uFB01"}));
}

TEST(PropertyList, A_dictionary_stores_replaces_finds_and_gives_away) {
    PropertyList::Dictionary dictionary;
    EXPECT_TRUE(dictionary.empty());
    EXPECT_EQ(*dictionary.set("k", "1").string(), "1");
    EXPECT_EQ(*dictionary.set("k", "2").string(), "2");
    EXPECT_EQ(dictionary.size(), 1u);
    EXPECT_EQ(*dictionary.string("k"), "2");
    EXPECT_EQ(dictionary.string("missing"), nullptr);
    EXPECT_EQ(dictionary.array("k"), nullptr);
    EXPECT_EQ(dictionary.data("k"), nullptr);
    EXPECT_EQ(dictionary.dictionary("k"), nullptr);
    dictionary.set("nested", PropertyList::Dictionary());
    dictionary.dictionary("nested")->set("x", PropertyList::Array());
    EXPECT_NE(dictionary.find("nested")->dictionary()->array("x"), nullptr);
    EXPECT_EQ(dictionary.take("k"), PropertyList("2"));
    EXPECT_EQ(dictionary.take("k"), std::nullopt);
    EXPECT_TRUE(dictionary.remove("nested"));
    EXPECT_FALSE(dictionary.remove("nested"));
    EXPECT_TRUE(dictionary.empty());
}

TEST(PropertyList, A_renamed_entry_takes_its_place_in_the_order_and_that_of_an_equal_key) {
    const auto keysAndValues = [](const PropertyList::Dictionary& dictionary) {
        std::string all;
        for (const PropertyList::Entry& entry : dictionary)
            all += entry.key.text() + *entry.value.string();
        return all;
    };
    for (const std::string newKey : {"", "a", "b", "c", "d", "e", "f", "g", "bb", "dd"}) {
        for (const std::string key : {"b", "d", "f"}) {
            PropertyList::Dictionary expected;
            PropertyList::Dictionary renamed;
            for (const char* one : {"b", "d", "f"}) {
                if (key != one) expected.set(one, std::string("=") + one + " ");
                renamed.set(one, std::string("=") + one + " ");
            }
            expected.set(newKey, "=" + key + " ");
            EXPECT_TRUE(renamed.rename(key, newKey));
            EXPECT_EQ(keysAndValues(renamed), keysAndValues(expected));
            EXPECT_EQ(*renamed.string(newKey), "=" + key + " ");
        }
    }
    PropertyList::Dictionary dictionary;
    dictionary.set("a", "x");
    EXPECT_FALSE(dictionary.rename("missing", "b"));
    EXPECT_TRUE(dictionary.rename("a", "\xFF"));
    EXPECT_EQ(keysAndValues(dictionary), "\uFFFDx");
}

TEST(PropertyList, A_dictionary_of_entries_in_any_order_keeps_the_last_of_equal_keys) {
    PropertyList::Dictionary expected;
    for (const char* key : {"a", "b", "c", "\uFFFD"})
        expected.set(key, "last");
    std::vector<PropertyList::Entry> entries;
    for (const char* key : {"c", "a", "\xFF", "b", "a", "c"})
        entries.push_back({key, "first"});
    for (const char* key : {"b", "\xFE", "c", "a"})
        entries.push_back({key, "last"});
    EXPECT_EQ(PropertyList::Dictionary::fromEntries(std::move(entries)), expected);
    EXPECT_EQ(PropertyList::Dictionary::fromEntries({{"a", "first"}, {"a", "last"}}).size(), 1u);
    EXPECT_TRUE(PropertyList::Dictionary::fromEntries({}).empty());
}

/// How often the text of data was decoded.
std::atomic<int> decodedTexts = 0;

Bytes reversed(std::string_view text) {
    ++decodedTexts;
    return {text.rbegin(), text.rend()};
}

TEST(PropertyList, Data_made_of_text_is_decoded_when_it_is_first_asked_for) {
    decodedTexts = 0;
    const PropertyList::Data data(SharedBytes(Bytes("cba")), reversed);
    const PropertyList::Data copy = data;
    ASSERT_NE(data.text(), nullptr);
    EXPECT_EQ(data.text()->view(), "cba");
    EXPECT_EQ(data, PropertyList::Data(SharedBytes(Bytes("cba")), reversed));
    EXPECT_FALSE(data == PropertyList::Data(SharedBytes(Bytes("cbx")), reversed));
    EXPECT_EQ(decodedTexts, 0);
    EXPECT_EQ(data.bytes(), "abc");
    EXPECT_EQ(copy.bytes().data(), data.bytes().data());
    EXPECT_EQ(decodedTexts, 1);
    EXPECT_EQ(data, PropertyList::Data("abc"));
    EXPECT_FALSE(PropertyList::Data("cba") == data);
    EXPECT_EQ(PropertyList::Data("abc").text(), nullptr);
}

TEST(PropertyList, Any_thread_may_ask_for_data_that_is_not_decoded_yet) {
    for (int round = 0; round < 100; ++round) {
        const PropertyList::Data data(SharedBytes(Bytes(1000, 'x') + "a"), reversed);
        std::vector<std::thread> threads;
        std::array<const char*, 4> views = {};
        for (const char*& view : views)
            threads.emplace_back([copy = data, &view] { view = copy.bytes().data(); });
        for (std::thread& thread : threads)
            thread.join();
        for (const char* view : views)
            EXPECT_EQ(view, data.bytes().data());
        EXPECT_EQ(data.bytes(), "a" + Bytes(1000, 'x'));
    }
}

TEST(PropertyList, Data_takes_another_text_and_its_bytes_stay_where_they_are) {
    const SharedBytes whole(Bytes("cba and more"));
    const SharedBytes text = whole.part(whole.view().substr(0, 3));
    const PropertyList::Data moved(text, reversed);
    moved.moveText(SharedBytes(Bytes("cba")));
    EXPECT_EQ(moved.text()->whole(), "cba");
    EXPECT_EQ(moved.bytes(), "abc");
    const PropertyList::Data viewed(text, reversed);
    const ByteView view = viewed.bytes();
    viewed.moveText(SharedBytes(Bytes("cba")));
    EXPECT_EQ(viewed.text()->whole(), "cba");
    EXPECT_EQ(viewed.bytes().data(), view.data());
    EXPECT_EQ(view, "abc");
}

TEST(PropertyList, A_view_of_data_holds_as_long_as_any_copy_whatever_text_each_has) {
    const PropertyList::Data first(SharedBytes(Bytes("cba")), reversed);
    auto second = std::make_optional(first);
    first.moveText(SharedBytes(Bytes("cba")));
    const ByteView view = second->bytes();
    second.reset();
    EXPECT_EQ(view, "abc");
    EXPECT_EQ(view.data(), first.bytes().data());
}

class WrittenFormOfADictionary : public testing::Test {
protected:
    static bool keeps(const PropertyList::Dictionary& kept) { return kept.writtenForm() != nullptr; }

    void keepAgain() {
        if (dictionary.canKeepWrittenForm()) dictionary.keepWrittenForm({SharedBytes(Bytes("text")), 0});
    }

    PropertyList::Dictionary dictionary = [] {
        PropertyList::Dictionary made;
        made.set("a", "1");
        made.set("b", PropertyList::Dictionary());
        return made;
    }();
};

TEST_F(WrittenFormOfADictionary, is_dropped_by_every_change) {
    const std::function<void()> changes[] = {
        [this] { dictionary.set("c", "3"); },
        [this] { dictionary.set("c", "4"); },
        [this] { dictionary.rename("c", "d"); },
        [this] { dictionary.take("d"); },
        [this] { dictionary.remove("a"); },
        [this] { dictionary.remove(std::set<std::string, std::less<>>{"b"}); },
        [this] { dictionary = PropertyList::Dictionary(); },
        [this] { dictionary = PropertyList::Dictionary(dictionary); },
    };
    EXPECT_FALSE(keeps(dictionary));
    for (const auto& change : changes) {
        keepAgain();
        ASSERT_TRUE(keeps(dictionary));
        change();
        EXPECT_FALSE(keeps(dictionary)) << &change - changes;
    }
}

TEST_F(WrittenFormOfADictionary, stays_when_it_is_only_looked_at) {
    keepAgain();
    EXPECT_NE(std::as_const(dictionary).find("a"), nullptr);
    EXPECT_NE(std::as_const(dictionary).dictionary("b"), nullptr);
    EXPECT_EQ(dictionary.find("missing"), nullptr);
    EXPECT_FALSE(dictionary.remove("missing"));
    EXPECT_FALSE(dictionary.rename("missing", "x"));
    EXPECT_EQ(dictionary.writtenForm()->text.view(), "text");
}

TEST_F(WrittenFormOfADictionary, is_never_kept_once_a_pointer_was_handed_out) {
    keepAgain();
    EXPECT_NE(dictionary.find("a"), nullptr);
    EXPECT_FALSE(keeps(dictionary));
    EXPECT_FALSE(dictionary.canKeepWrittenForm());
    dictionary.set("c", "3");
    EXPECT_FALSE(dictionary.canKeepWrittenForm());
    PropertyList::Dictionary moved = std::move(dictionary);
    EXPECT_FALSE(moved.canKeepWrittenForm());
    EXPECT_TRUE(PropertyList::Dictionary(moved).canKeepWrittenForm());
    moved = PropertyList::Dictionary();
    EXPECT_TRUE(moved.canKeepWrittenForm());
    EXPECT_NE(moved.set("b", PropertyList::Dictionary()).dictionary(), nullptr);
    EXPECT_TRUE(moved.canKeepWrittenForm());
    EXPECT_NE(moved.dictionary("b"), nullptr);
    EXPECT_FALSE(moved.canKeepWrittenForm());
}

TEST_F(WrittenFormOfADictionary, moves_along_and_is_not_copied) {
    keepAgain();
    const PropertyList::Dictionary copy = dictionary;
    EXPECT_FALSE(keeps(copy));
    PropertyList::Dictionary moved = std::move(dictionary);
    EXPECT_TRUE(keeps(moved));
    EXPECT_EQ(moved, copy);
    PropertyList::Dictionary assigned;
    assigned.set("x", "y");
    assigned = std::move(moved);
    EXPECT_TRUE(keeps(assigned));
    EXPECT_EQ(assigned, copy);
}

TEST(PropertyList, A_dictionary_may_be_replaced_by_one_in_itself) {
    PropertyList::Dictionary dictionary;
    PropertyList::Dictionary inner;
    inner.set("k", "v");
    dictionary.set("inner", inner);
    dictionary = std::move(*dictionary.dictionary("inner"));
    EXPECT_EQ(dictionary, inner);
}

TEST(PropertyList, A_copy_shares_nothing_that_can_change) {
    PropertyList original = PropertyList::Array{"a", PropertyList::Array{"b"}};
    const PropertyList copy = original;
    EXPECT_EQ(copy, original);
    original.array()->at(1).array()->clear();
    EXPECT_FALSE(copy == original);
    EXPECT_EQ(copy.array()->at(1).array()->size(), 1u);
}

TEST(PropertyList, A_value_may_be_replaced_by_a_part_of_itself) {
    PropertyList value = PropertyList::Array{PropertyList::Array{"inner"}};
    value = std::move(value.array()->front());
    EXPECT_EQ(value, PropertyList(PropertyList::Array{"inner"}));
    value = value.array()->front();
    EXPECT_EQ(value, PropertyList("inner"));
    const PropertyList& same = value;
    value = same;
    EXPECT_EQ(value, PropertyList("inner"));
}

TEST(PropertyList, Values_differ_by_depth_order_and_key) {
    EXPECT_FALSE(PropertyList(PropertyList::Array{"a", "b"}) == PropertyList(PropertyList::Array{"b", "a"}));
    EXPECT_FALSE(PropertyList(PropertyList::Array{"a"}) == PropertyList(PropertyList::Array{"a", "b"}));
    PropertyList::Dictionary one;
    one.set("a", "x");
    PropertyList::Dictionary other;
    other.set("b", "x");
    EXPECT_FALSE(PropertyList(one) == PropertyList(other));
    EXPECT_FALSE(nestedArrays(3) == nestedArrays(4));
}

TEST(PropertyList, A_value_a_million_levels_deep_is_copied_compared_and_destroyed) {
    const PropertyList deep = nestedArrays(1'000'000);
    {
        const PropertyList copy = deep;
        EXPECT_TRUE(copy == deep);
    }
    PropertyList assigned = "text";
    assigned = deep;
    EXPECT_TRUE(assigned == deep);
    assigned = "text";
    EXPECT_EQ(assigned, PropertyList("text"));
}

TEST(PropertyList, A_deep_dictionary_is_copied_compared_and_destroyed) {
    PropertyList::Dictionary deep;
    for (int level = 0; level < 300'000; ++level) {
        PropertyList::Dictionary outer;
        outer.set("k", std::move(deep));
        deep = std::move(outer);
    }
    const PropertyList value = std::move(deep);
    const PropertyList copy = value;
    EXPECT_TRUE(copy == value);
}

TEST(PropertyList, A_dictionary_by_itself_is_as_safe_as_one_in_a_value) {
    PropertyList::Dictionary deep;
    deep.set("k", nestedArrays(300'000));
    const PropertyList::Dictionary copy = deep;
    EXPECT_TRUE(copy == deep);
}

} // namespace
} // namespace mox
