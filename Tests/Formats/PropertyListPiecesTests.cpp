#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Foundation/KeptText.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mox {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

Bytes joined(const DocumentPieces& document) {
    Bytes whole;
    for (const ByteView piece : document.pieces)
        whole += piece;
    return whole;
}

/// The pieces put together, which have to be the document that is made without anything kept.
Bytes save(const PropertyList& tree) {
    const std::optional<DocumentPieces> document = storedPiecesOfPropertyList(tree);
    if (!document) {
        EXPECT_EQ(storedFormOfPropertyList(tree), std::nullopt);
        return {};
    }
    const Bytes whole = joined(*document);
    EXPECT_EQ(whole, storedFormOfPropertyList(tree));
    return whole;
}

PropertyList load(const Bytes& document) {
    return propertyListKeepingBytes(SharedBytes(document)).value();
}

Dictionary record(const std::string& name) {
    Dictionary entry;
    entry.set("Name", "The name of " + name + " <&>");
    entry.set("Icon", PropertyList::Data(Bytes(2000, 'i') + name));
    entry.set("Version", PropertyList::integer(1));
    return entry;
}

/// `count` records in a folder.
PropertyList store(int count) {
    Dictionary records;
    for (int number = 0; number < count; ++number) {
        const std::string name = "Record " + std::to_string(1000 + number);
        records.set(name, record(name));
    }
    Dictionary root;
    root.set("Subscriptions", std::move(records));
    return root;
}

std::size_t newTextOf(const PropertyList& tree) {
    return storedPiecesOfPropertyList(tree).value().newText.view().size();
}

TEST(PropertyListPieces, What_was_read_is_written_without_making_its_text_again) {
    const Bytes document = save(store(100));
    const PropertyList tree = load(document);
    EXPECT_LT(newTextOf(tree), 300U);
    EXPECT_EQ(save(tree), document);
}

TEST(PropertyListPieces, After_one_change_a_handful_of_pieces_holds_the_document) {
    PropertyList tree = load(save(store(100)));
    Dictionary& records = *tree.dictionary()->dictionary("Subscriptions");
    records.set("Record 1050", record("another"));
    const auto changed = storedPiecesOfPropertyList(tree).value();
    EXPECT_LE(changed.pieces.size(), 7U);
    EXPECT_EQ(joined(changed), storedFormOfPropertyList(tree));

    // A record that gets another key at its depth keeps its text.
    PropertyList moved = records.take("Record 1020").value();
    records.set("Record 1020 moved", std::move(moved));
    EXPECT_LT(newTextOf(tree), 1000U);
    save(tree);
}

TEST(PropertyListPieces, What_was_written_new_is_not_made_again_at_the_next_time) {
    const PropertyList tree = store(100);
    // The records were made by storing, and no pointer into them was handed out.
    EXPECT_GT(newTextOf(tree), 200'000U);
    EXPECT_LT(newTextOf(tree), 300U);
    const PropertyList copy = tree;
    EXPECT_GT(newTextOf(copy), 200'000U) << "a copy starts anew";
}

TEST(PropertyListPieces, A_changed_record_is_written_as_it_is_now) {
    PropertyList tree = load(save(store(3)));
    save(tree);
    Dictionary& entry = *tree.dictionary()->dictionary("Subscriptions")->dictionary("Record 1001");
    for (const char* name : {"one", "two", "three"}) {
        entry.set("Name", name);
        EXPECT_NE(save(tree).find(std::string(">") + name + "<"), Bytes::npos);
    }
    entry.remove("Name");
    EXPECT_EQ(save(tree).find(">three<"), Bytes::npos);
}

TEST(PropertyListPieces, A_pointer_that_was_handed_out_may_be_used_after_a_save) {
    PropertyList tree = load(save(store(3)));
    Dictionary& records = *tree.dictionary()->dictionary("Subscriptions");
    PropertyList* const name = records.dictionary("Record 1001")->find("Name");
    save(tree);
    *name = PropertyList("changed");
    EXPECT_NE(save(tree).find(">changed<"), Bytes::npos);

    // Nor does it matter where the dictionary was when the pointer was handed out.
    Dictionary inner;
    inner.set("Deep", Dictionary());
    Dictionary outer;
    outer.set("Inner", std::move(inner));
    Dictionary* const deep = outer.dictionary("Inner")->dictionary("Deep");
    records.set("Outer", std::move(outer));
    save(tree);
    save(tree);
    deep->set("key", "behind everybody's back");
    EXPECT_NE(save(tree).find("behind everybody"), Bytes::npos);
}

TEST(PropertyListPieces, An_array_s_elements_may_be_changed_after_a_save) {
    PropertyList list = Array{"a", "b"};
    // When the array moves, its elements stay where they are.
    PropertyList* const element = &list.array()->front();
    Dictionary holder;
    holder.set("List", std::move(list));
    Dictionary root;
    root.set("Holder", std::move(holder));
    const PropertyList tree = std::move(root);
    save(tree);
    *element = PropertyList("changed");
    EXPECT_NE(save(tree).find(">changed<"), Bytes::npos);
}

TEST(PropertyListPieces, A_dictionary_at_another_depth_is_indented_anew) {
    PropertyList tree = load(save(store(3)));
    PropertyList taken = tree.dictionary()->dictionary("Subscriptions")->take("Record 1001").value();
    tree.dictionary()->set("Shallow", std::move(taken));
    save(tree);
    PropertyList again = tree.dictionary()->take("Shallow").value();
    tree.dictionary()->dictionary("Subscriptions")->set("Record 1001", std::move(again));
    save(tree);
}

/// A store of 100 records, and its document, which lives as long as something of it is kept.
std::pair<PropertyList, std::weak_ptr<const Bytes>> loadedFromWatchedDocument() {
    const auto document = std::make_shared<const Bytes>(save(store(100)));
    return {propertyListKeepingBytes(SharedBytes(*document, document)).value(), document};
}

TEST(PropertyListPieces, A_document_of_which_most_is_dead_is_given_up) {
    auto [tree, watched] = loadedFromWatchedDocument();
    Dictionary& records = *tree.dictionary()->dictionary("Subscriptions");
    for (int number = 0; number < 40; ++number)
        records.remove("Record " + std::to_string(1000 + number));
    save(tree);
    EXPECT_FALSE(watched.expired());
    for (int number = 40; number < 60; ++number)
        records.remove("Record " + std::to_string(1000 + number));
    save(tree);
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(records.dictionary("Record 1099")->data("Icon")->bytes(), Bytes(2000, 'i') + "Record 1099");
}

TEST(PropertyListPieces, A_view_of_data_outlives_every_copy_but_one_and_each_new_text) {
    PropertyList tree = load(save(store(100)));
    Dictionary& records = *tree.dictionary()->dictionary("Subscriptions");
    std::optional<PropertyList> copy = *std::as_const(records).find("Record 1099");
    for (int number = 0; number < 60; ++number)
        records.remove("Record " + std::to_string(1000 + number));
    save(tree);
    const ByteView view = copy->dictionary()->data("Icon")->bytes();
    copy.reset();
    EXPECT_EQ(view, Bytes(2000, 'i') + "Record 1099");
    EXPECT_EQ(view.data(), std::as_const(records).dictionary("Record 1099")->data("Icon")->bytes().data());
}

TEST(PropertyListPieces, A_document_is_given_up_after_its_data_was_looked_at) {
    auto [tree, watched] = loadedFromWatchedDocument();
    Dictionary& records = *tree.dictionary()->dictionary("Subscriptions");
    const ByteView view = std::as_const(records).dictionary("Record 1099")->data("Icon")->bytes();
    ASSERT_TRUE(binaryFromPropertyList(tree));
    for (int number = 0; number < 60; ++number)
        records.remove("Record " + std::to_string(1000 + number));
    save(tree);
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(view, Bytes(2000, 'i') + "Record 1099");
}

TEST(PropertyListPieces, Many_small_pieces_become_few_again) {
    Dictionary records;
    for (int number = 0; number < 3000; ++number) {
        Dictionary small;
        small.set("Number", PropertyList::integer(number));
        records.set(std::to_string(10'000 + number), std::move(small));
    }
    const PropertyList written = std::move(records);
    PropertyList tree = load(save(written));
    std::size_t most = 0;
    for (int number = 0; number < 3000; number += 2) {
        tree.dictionary()->set(std::to_string(10'000 + number), "short");
        if (number % 100 != 0) continue;
        const auto document = storedPiecesOfPropertyList(tree).value();
        ASSERT_EQ(joined(document), storedFormOfPropertyList(tree));
        most = std::max(most, document.pieces.size());
    }
    EXPECT_GT(most, 1500U);
    EXPECT_LT(most, 2200U);
    EXPECT_LT(storedPiecesOfPropertyList(tree).value().pieces.size(), 1200U);
}

TEST(PropertyListPieces, Many_entries_are_written_whether_the_first_ones_are_like_the_others_or_not) {
    for (const auto& [first, others] : {std::pair(50'000, 10), std::pair(10, 50'000), std::pair(900, 900)}) {
        Dictionary records;
        for (int number = 100; number < 600; ++number) {
            const auto size = static_cast<std::size_t>(number < 140 ? first : others);
            records.set(std::to_string(number), PropertyList::Data(Bytes(size, 'd')));
        }
        const PropertyList tree = records;
        EXPECT_EQ(load(save(tree)), tree);
    }
}

TEST(PropertyListPieces, Behind_a_dictionary_that_is_kept_a_large_one_may_be_changed_at_its_end) {
    Dictionary root;
    root.set("A", *store(3).dictionary()->dictionary("Subscriptions"));
    root.set("B", *store(1000).dictionary()->dictionary("Subscriptions"));
    PropertyList tree = load(save(root));
    tree.dictionary()->dictionary("B")->set("Record 1999", "changed");
    EXPECT_EQ(load(save(tree)), tree);
    EXPECT_LT(newTextOf(tree), 1000U);
}

/// Dictionaries that stand one behind the other, in the root and in another one.
Bytes documentOfNeighbours() {
    Dictionary inner;
    for (const std::string name : {"C", "D", "E<", "F>"}) {
        Dictionary record;
        record.set("of", name + " whose text is more than all that stands around");
        inner.set(name, std::move(record));
    }
    Dictionary root;
    root.set("A>", *inner.dictionary("C"));
    root.set("B", *inner.dictionary("D"));
    root.set("Inner", std::move(inner));
    return xmlFromPropertyList(root).value();
}

TEST(PropertyListPieces, Any_byte_changed_between_neighbours_changes_nothing_else_in_what_is_written) {
    const Bytes document = documentOfNeighbours();
    int accepted = 0;
    const auto tryDocument = [&accepted](const Bytes& changed) {
        auto tree = propertyListKeepingBytes(SharedBytes(changed));
        if (!tree || !tree->dictionary()) return;
        ++accepted;
        // What is around the neighbours is written anew.
        tree->dictionary()->set("Z", "new");
        if (Dictionary* const inner = tree->dictionary()->dictionary("Inner")) inner->set("Z", "new");
        ASSERT_EQ(joined(storedPiecesOfPropertyList(*tree).value()), storedFormOfPropertyList(*tree))
            << changed;
    };
    for (std::size_t position = 150; position < document.size(); ++position) {
        tryDocument(Bytes(document).erase(position, 1));
        for (const char byte : std::string_view("<>&/ak1= \t\n")) {
            Bytes changed = document;
            changed[position] = byte;
            tryDocument(changed);
            tryDocument(Bytes(document).insert(position, 1, byte));
        }
        constexpr std::string_view reference = "&gt;";
        if (document.compare(position, reference.size(), reference) == 0)
            tryDocument(Bytes(document).replace(position, reference.size(), ">"));
    }
    EXPECT_GT(accepted, 1000);
}

TEST(PropertyListPieces,
     A_neighbour_that_was_replaced_by_one_of_the_same_size_is_taken_from_where_it_was_saved) {
    const auto recordOf = [](std::size_t size, char character) {
        Dictionary record;
        record.set("of", std::string(size, character));
        return record;
    };
    Dictionary root;
    root.set("A", recordOf(2000, 'a'));
    root.set("B", recordOf(9000, 'b'));
    PropertyList tree = load(save(root));
    tree.dictionary()->set("A", recordOf(2000, 'c'));
    save(tree);
    EXPECT_LT(newTextOf(tree), 300U);
    EXPECT_EQ(load(save(tree)), tree);
}

TEST(PropertyListPieces, Neighbours_may_change_their_keys_in_any_way) {
    const std::vector<std::vector<std::string>> places = {{"A>"},         {"B"},           {"Inner", "C"},
                                                          {"Inner", "D"}, {"Inner", "E<"}, {"Inner", "F>"}};
    const auto at = [](PropertyList& tree, const std::vector<std::string>& place) -> PropertyList& {
        PropertyList* value = &tree;
        for (const std::string& key : place)
            value = value->dictionary()->find(key);
        return *value;
    };
    std::vector<std::size_t> order = {0, 1, 2, 3, 4, 5};
    do {
        PropertyList tree = load(documentOfNeighbours());
        std::vector<PropertyList> values;
        for (const auto& place : places)
            values.push_back(std::move(at(tree, place)));
        for (std::size_t index = 0; index < places.size(); ++index)
            at(tree, places[index]) = std::move(values[order[index]]);
        EXPECT_EQ(load(save(tree)), tree);
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(PropertyListPieces, What_XML_cannot_carry_is_one_piece_of_binary_form) {
    PropertyList tree = load(save(store(2)));
    tree.dictionary()->set("Bell", "\a");
    EXPECT_TRUE(save(tree).starts_with("bplist00"));
    tree.dictionary()->remove("Bell");
    EXPECT_TRUE(save(tree).starts_with("<?xml"));
}

TEST(PropertyListPieces, A_key_that_is_not_as_we_write_it_is_kept_in_no_dictionary_that_has_it) {
    const std::string dictionary = "\t<dict>\n\t\t<key>a&gt;</key>\n\t\t<true/>\n\t</dict>\n";
    const std::string root =
        "<dict>\n\t<key>1</key>\n" + dictionary + "\t<key>2</key>\n" + dictionary + "</dict>\n";
    const auto keepsText = [](std::string document) {
        const PropertyList tree = load(test::xmlDocument(document));
        std::vector<bool> kept;
        for (const PropertyList::Entry& entry : *tree.dictionary())
            kept.push_back(KeptText::of(*entry.value.dictionary()) != nullptr);
        return kept;
    };
    EXPECT_EQ(keepsText(root), (std::vector<bool>{true, true}));
    std::string other = root;
    for (std::size_t place = 0; (place = other.find("&gt;")) != std::string::npos;)
        other.replace(place, 4, ">");
    EXPECT_EQ(keepsText(other), (std::vector<bool>{false, false}));
}

TEST(PropertyListPieces, Text_that_is_not_as_we_write_it_is_accepted_but_not_kept) {
    const std::string canonical = "<dict>\n\t<key>a</key>\n\t<dict>\n\t\t<key>b</key>\n"
                                  "\t\t<data>\n\t\tAAEC\n\t\t</data>\n\t\t<key>c</key>\n\t\t<dict/>\n"
                                  "\t\t<key>d</key>\n\t\t<string>&gt;</string>\n"
                                  "\t\t<key>e</key>\n\t\t<integer>12</integer>\n"
                                  "\t\t<key>f</key>\n\t\t<real>1.5</real>\n"
                                  "\t\t<key>g</key>\n\t\t<date>2001-01-01T00:00:00Z</date>\n"
                                  "\t</dict>\n</dict>\n";
    const auto keepsText = [](const std::string& root) {
        const PropertyList tree = load(test::xmlDocument(root));
        const bool isKept = KeptText::of(*tree.dictionary()) != nullptr;
        save(tree);
        return isKept;
    };
    EXPECT_TRUE(keepsText(canonical));
    const std::pair<std::string, std::string> changes[] = {
        {"&gt;", ">"},
        {"\n\t\t<key>d", "\n\t <key>d"},
        {"\n\t\t<key>d", "<key>d"},
        {"\n\t\t<key>d", "\n\n\t\t<key>d"},
        {"</key>\n\t\t<integer>", "</key>\n\t<integer>"},
        {"\t</dict>\n</dict>", "</dict>\n</dict>"},
        {"\n</dict>\n", "\n</dict>"},
        {"\n</dict>\n", "\n</dict> \n"},
        {"\n\t<dict>\n", "\n<dict>\n"},
        {"<dict/>", "<dict></dict>"},
        {"AAEC\n\t\t<", "AAEC<"},
        {"AAEC", "AA\n\t\tEC"},
        {"<data>\n\t\tAAEC", "<data>AAEC"},
        {"AAEC", "AAE="},
        {"AAEC", "AAF="},
        {">12<", ">+12<"},
        {">12<", ">012<"},
        {">12<", ">0xC<"},
        {">12<", "> 12<"},
        {">1.5<", ">1.50<"},
        {">1.5<", ">15e-1<"},
        {">2001-01-01T00:00:00Z<", "> 2001-01-01T00:00:00Z<"},
        {"<key>f<", "<key>a<"},
        {"<key>f<", "<key>e<"},
        {"<dict/>", "<array>\n\t\t\t<true/>\n\t\t</array>"},
    };
    for (const auto& change : changes) {
        std::string changed = canonical;
        changed.replace(changed.find(change.first), change.first.size(), change.second);
        EXPECT_EQ(keepsText(changed), change.second == "AAE=") << changed;
    }
}

TEST(PropertyListPieces, Any_byte_changed_in_what_is_read_changes_nothing_else_in_what_is_written) {
    const Bytes document = save(store(1));
    const std::size_t icon = document.find("aWlpaWlp");
    int accepted = 0;
    for (std::size_t position = 150; position < document.size(); ++position) {
        if (position > icon + 20 && position < icon + 2600) continue;
        for (const char byte : std::string_view("<>&/ak1=] \t\n")) {
            Bytes changed = document;
            changed[position] = byte;
            const auto tree = propertyListKeepingBytes(SharedBytes(changed));
            if (!tree) continue;
            ++accepted;
            ASSERT_EQ(joined(storedPiecesOfPropertyList(*tree).value()), storedFormOfPropertyList(*tree))
                << changed;
        }
    }
    EXPECT_GT(accepted, 250);
}

/// Changes a tree in all ways that there are, with pointers that were handed out before.
class RandomChanges {
public:
    explicit RandomChanges(unsigned seed) : _random(seed) { startAnew(); }

    const PropertyList& tree() const { return _tree; }

    void change() {
        switch (below(16)) {
        case 0:
            return startAnew();
        case 1:
        case 2:
            return reload(save(_tree));
        case 3:
            return reload(disfigured(save(_tree)));
        case 4:
            _tree = PropertyList(_tree);
            return forgetPointers();
        case 5:
            return moveSubtree();
        case 6:
            return changeThroughPointers();
        case 7:
            return putHeldValue();
        default:
            return changeDictionary(dictionary());
        }
    }

private:
    std::size_t below(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(_random);
    }

    std::string key() { return std::string(1, static_cast<char>('a' + below(5))); }

    PropertyList value(std::size_t levels) {
        switch (below(levels == 0 ? 5 : 10)) {
        case 0:
            return PropertyList::Data(Bytes(below(2000), 'x'));
        case 1:
            return PropertyList::integer(static_cast<std::int64_t>(below(3)));
        case 2:
            return below(50) == 0 ? "\a" : "<text>";
        case 3:
            return below(2) == 0 ? PropertyList(Dictionary()) : PropertyList(Array());
        case 4:
            return PropertyList::real(1.5);
        case 5: {
            Array array;
            for (std::size_t count = below(3); count > 0; --count)
                array.push_back(value(levels - 1));
            return array;
        }
        default: {
            Dictionary made;
            for (std::size_t count = below(4); count > 0; --count)
                made.set(key(), value(levels - 1));
            return made;
        }
        }
    }

    void startAnew() {
        Dictionary root;
        for (std::size_t count = below(5); count > 0; --count)
            root.set(key(), value(3));
        _tree = std::move(root);
        forgetPointers();
    }

    void reload(const Bytes& document) {
        if (document.empty()) return;
        if (auto tree = propertyListKeepingBytes(SharedBytes(document)); tree && tree->dictionary())
            _tree = *std::move(tree);
        forgetPointers();
    }

    /// The document with white space or characters that a reader takes for the same, somewhere.
    Bytes disfigured(Bytes document) {
        static constexpr std::pair<std::string_view, std::string_view> changes[] = {
            {"\n\t", "\n"},
            {"\n", "\n\t"},
            {"\n", " \n"},
            {"&gt;", ">"},
            {"<integer>", "<integer>+"},
            {">\n", ">"},
            {"<dict/>", "<dict></dict>"},
            {"1.5", "1.50"}};
        const auto& [from, to] = changes[below(std::size(changes))];
        const std::size_t place = document.find(from, below(document.size() + 1));
        if (place != Bytes::npos) document.replace(place, from.size(), to);
        return document;
    }

    void forgetPointers() {
        _heldDictionary = nullptr;
        _heldValue = nullptr;
    }

    /// A dictionary of the tree.
    Dictionary& dictionary() {
        Dictionary* found = _tree.dictionary();
        for (std::size_t depth = below(4); depth > 0; --depth) {
            Dictionary* child = found->dictionary(key());
            if (!child) break;
            found = child;
        }
        return *found;
    }

    void changeDictionary(Dictionary& changed) {
        const std::string name = key();
        switch (below(10)) {
        case 9:
            changed.rename(name, key());
            return forgetPointers();
        case 0:
            changed.remove(name);
            return forgetPointers();
        case 1:
            changed.remove({name, key()});
            return forgetPointers();
        case 2:
            changed.take(name);
            return forgetPointers();
        case 3:
            if (PropertyList* found = changed.find(name)) *found = value(2);
            return forgetPointers();
        case 4:
            forgetPointers();
            _heldValue = changed.find(name);
            return;
        case 5:
            forgetPointers();
            _heldDictionary = changed.dictionary(name);
            return;
        case 6:
            changed = value(2).dictionary() ? Dictionary() : Dictionary(changed);
            return forgetPointers();
        default:
            changed.set(name, value(2));
            return forgetPointers();
        }
    }

    void moveSubtree() {
        if (auto taken = dictionary().take(key())) {
            forgetPointers();
            dictionary().set(key(), *std::move(taken));
        }
    }

    void changeThroughPointers() {
        if (_heldDictionary) _heldDictionary->set(key(), value(1));
        if (!_heldValue) return;
        if (Array* array = _heldValue->array(); array && below(2) == 0) {
            array->push_back(value(1));
        } else if (Dictionary* nested = _heldValue->dictionary(); nested && below(2) == 0) {
            nested->set(key(), value(1));
        } else {
            *_heldValue = value(2);
        }
    }

    /// Puts a value into the tree into which pointers are held, which move along.
    void putHeldValue() {
        forgetPointers();
        PropertyList outer = value(3);
        if (Dictionary* entries = outer.dictionary()) {
            if (PropertyList* inner = entries->find(key())) {
                _heldDictionary = inner->dictionary();
                if (!_heldDictionary) _heldValue = inner;
            }
        } else if (Array* elements = outer.array(); elements && !elements->empty()) {
            _heldValue = &elements->front();
        }
        dictionary().set(key(), std::move(outer));
    }

    std::mt19937 _random;
    PropertyList _tree = Dictionary();
    Dictionary* _heldDictionary = nullptr;
    PropertyList* _heldValue = nullptr;
};

TEST(PropertyListPieces, After_any_changes_the_pieces_are_the_document_that_is_made_without_them) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr std::size_t mostChanges = 10'000;
#else
    constexpr std::size_t mostChanges = 100'000;
#endif
    RandomChanges changes(11);
    std::size_t kept = 0;
    for (std::size_t count = 0; count < mostChanges; ++count) {
        changes.change();
        const auto document = storedPiecesOfPropertyList(changes.tree());
        ASSERT_TRUE(document);
        const Bytes whole = joined(*document);
        ASSERT_EQ(whole, storedFormOfPropertyList(changes.tree())) << count;
        if (document->newText.view().size() < whole.size()) ++kept;
    }
    EXPECT_GT(kept, mostChanges / 8);
}

} // namespace
} // namespace mox
