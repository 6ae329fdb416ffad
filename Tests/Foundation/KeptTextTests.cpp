#include "Foundation/KeptText.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <string>
#include <utility>

namespace mox {
namespace {

/// How often the text of data was decoded.
int decodedTexts = 0;

Bytes reversed(std::string_view text) {
    ++decodedTexts;
    return {text.rbegin(), text.rend()};
}

TEST(KeptText, Data_made_of_text_is_decoded_when_it_is_first_asked_for) {
    decodedTexts = 0;
    const PropertyList::Data data = KeptText::data(SharedBytes(Bytes("cba")), reversed);
    const PropertyList::Data copy = data;
    ASSERT_NE(KeptText::of(data), nullptr);
    EXPECT_EQ(KeptText::of(data)->view(), "cba");
    EXPECT_EQ(data, KeptText::data(SharedBytes(Bytes("cba")), reversed));
    EXPECT_FALSE(data == KeptText::data(SharedBytes(Bytes("cbx")), reversed));
    EXPECT_EQ(decodedTexts, 0);
    EXPECT_EQ(data.bytes(), "abc");
    EXPECT_EQ(copy.bytes().data(), data.bytes().data());
    EXPECT_EQ(decodedTexts, 1);
    EXPECT_EQ(data, PropertyList::Data("abc"));
    EXPECT_FALSE(PropertyList::Data("cba") == data);
    EXPECT_EQ(KeptText::of(PropertyList::Data("abc")), nullptr);
}

TEST(KeptText, Data_takes_another_text_and_its_bytes_stay_where_they_are) {
    const SharedBytes whole(Bytes("cba and more"));
    const SharedBytes text = whole.part(whole.view().substr(0, 3));
    const PropertyList::Data moved = KeptText::data(text, reversed);
    KeptText::move(moved, SharedBytes(Bytes("cba")));
    EXPECT_EQ(KeptText::of(moved)->whole(), "cba");
    EXPECT_EQ(moved.bytes(), "abc");
    const PropertyList::Data viewed = KeptText::data(text, reversed);
    const ByteView view = viewed.bytes();
    KeptText::move(viewed, SharedBytes(Bytes("cba")));
    EXPECT_EQ(KeptText::of(viewed)->whole(), "cba");
    EXPECT_EQ(viewed.bytes().data(), view.data());
    EXPECT_EQ(view, "abc");
}

TEST(KeptText, A_view_of_data_holds_as_long_as_any_copy_whatever_text_each_has) {
    const PropertyList::Data first = KeptText::data(SharedBytes(Bytes("cba")), reversed);
    auto second = std::make_optional(first);
    KeptText::move(first, SharedBytes(Bytes("cba")));
    const ByteView view = second->bytes();
    second.reset();
    EXPECT_EQ(view, "abc");
    EXPECT_EQ(view.data(), first.bytes().data());
}

class KeptTextOfADictionary : public testing::Test {
protected:
    static bool keeps(const PropertyList::Dictionary& kept) { return KeptText::of(kept) != nullptr; }

    void keepAgain() {
        if (KeptText::canBeKept(dictionary)) KeptText::keep(dictionary, {SharedBytes(Bytes("text")), 0});
    }

    PropertyList::Dictionary dictionary = [] {
        PropertyList::Dictionary made;
        made.set("a", "1");
        made.set("b", PropertyList::Dictionary());
        return made;
    }();
};

TEST_F(KeptTextOfADictionary, is_dropped_by_every_change) {
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

TEST_F(KeptTextOfADictionary, stays_when_it_is_only_looked_at) {
    keepAgain();
    EXPECT_NE(std::as_const(dictionary).find("a"), nullptr);
    EXPECT_NE(std::as_const(dictionary).dictionary("b"), nullptr);
    EXPECT_EQ(dictionary.find("missing"), nullptr);
    EXPECT_FALSE(dictionary.remove("missing"));
    EXPECT_FALSE(dictionary.rename("missing", "x"));
    EXPECT_EQ(KeptText::of(dictionary)->text.view(), "text");
}

TEST_F(KeptTextOfADictionary, is_never_kept_once_a_pointer_was_handed_out) {
    keepAgain();
    EXPECT_NE(dictionary.find("a"), nullptr);
    EXPECT_FALSE(keeps(dictionary));
    EXPECT_FALSE(KeptText::canBeKept(dictionary));
    dictionary.set("c", "3");
    EXPECT_FALSE(KeptText::canBeKept(dictionary));
    PropertyList::Dictionary moved = std::move(dictionary);
    EXPECT_FALSE(KeptText::canBeKept(moved));
    EXPECT_TRUE(KeptText::canBeKept(PropertyList::Dictionary(moved)));
    moved = PropertyList::Dictionary();
    EXPECT_TRUE(KeptText::canBeKept(moved));
    EXPECT_NE(moved.set("b", PropertyList::Dictionary()).dictionary(), nullptr);
    EXPECT_TRUE(KeptText::canBeKept(moved));
    EXPECT_NE(moved.dictionary("b"), nullptr);
    EXPECT_FALSE(KeptText::canBeKept(moved));
}

TEST_F(KeptTextOfADictionary, moves_along_and_is_not_copied) {
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

} // namespace
} // namespace mox
