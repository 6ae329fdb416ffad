#include "Foundation/PropertyList.hpp"

#include <gtest/gtest.h>

#include <limits>

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
        keys.emplace_back(entry.key);
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
            all.append(entry.key).append(*entry.value.string());
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

TEST(PropertyList, Copies_of_a_dictionary_share_the_texts_of_its_keys) {
    PropertyList::Dictionary dictionary;
    dictionary.set("key", "value");
    const PropertyList::Dictionary copy = dictionary;
    EXPECT_EQ(copy.begin()->key.view().data(), dictionary.begin()->key.view().data());
    dictionary.rename("key", "other");
    EXPECT_EQ(copy.begin()->key, "key");
    EXPECT_NE(copy.begin()->key, dictionary.begin()->key);
    EXPECT_EQ(dictionary.begin()->key, PropertyList::Key("other"));
}

TEST(PropertyList, A_dictionary_of_entries_in_any_order_keeps_the_last_of_equal_keys) {
    PropertyList::Dictionary expected;
    for (const char* key : {"a", "b", "c", "\uFFFD"})
        expected.set(key, "last");
    std::vector<PropertyList::Entry> entries;
    for (const char* key : {"c", "a", "\xFF", "b", "a", "c"})
        entries.push_back({PropertyList::Key(key), "first"});
    for (const char* key : {"b", "\xFE", "c", "a"})
        entries.push_back({PropertyList::Key(key), "last"});
    EXPECT_EQ(PropertyList::Dictionary::fromEntries(std::move(entries)), expected);
    const PropertyList::Key key("a");
    EXPECT_EQ(PropertyList::Dictionary::fromEntries(
                  {{PropertyList::Key(key), "first"}, {PropertyList::Key(key), "last"}})
                  .size(),
              1u);
    EXPECT_TRUE(PropertyList::Dictionary::fromEntries({}).empty());
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
