#include "Formats/ImageArchive.hpp"
#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "SDK/MOXLaunchAlias.hpp"
#include "SDK/SDKTest.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace mox::test {
namespace {

using Dictionary = PropertyList::Dictionary;

constexpr std::string_view typeKey = "Korvan Application Type";
constexpr std::string_view norvikKey = "Norvik Type";
constexpr std::string_view authKey = "Norvik Auth Type";

std::shared_ptr<MOXLaunchAlias> aliasWith(std::string_view key, PropertyList value) {
    Dictionary dictionary;
    dictionary.set(std::string(key), std::move(value));
    return MOXLaunchAlias::launchAliasWithDictionary(std::move(dictionary));
}

std::optional<std::string> storedText(const MOXLaunchAlias& alias, std::string_view key) {
    const Dictionary dictionary = alias.dictionaryRepresentation();
    const std::string* text = dictionary.string(key);
    return text ? std::optional(*text) : std::nullopt;
}

Image redImage() {
    return {.size = {2, 1},
            .representations = {{.pixelsWide = 2,
                                 .pixelsHigh = 1,
                                 .size = {2, 1},
                                 .pixels = {255, 0, 0, 255, 255, 0, 0, 128},
                                 .png = nullptr}}};
}

/// A text property: its key, getter and setter.
struct TextProperty {
    std::string_view key;
    std::optional<std::string> (MOXLaunchAlias::*get)() const;
    void (MOXLaunchAlias::*set)(std::optional<std::string>);

    friend void PrintTo(const TextProperty& value, std::ostream* stream) { *stream << value.key; }
};

const std::vector<TextProperty> textProperties = {
    {"cloneName", &MOXLaunchAlias::cloneName, &MOXLaunchAlias::setCloneName},
    {"Store Name", &MOXLaunchAlias::storeName, &MOXLaunchAlias::setStoreName},
    {"Internal Store URL", &MOXLaunchAlias::internalStoreURL, &MOXLaunchAlias::setInternalStoreURL},
    {"External Store URL", &MOXLaunchAlias::externalStoreURL, &MOXLaunchAlias::setExternalStoreURL},
    {"Korvan Server Unique Application Name", &MOXLaunchAlias::applicationName,
     &MOXLaunchAlias::setApplicationName},
    {"Tavamor Name", &MOXLaunchAlias::tavamorName, &MOXLaunchAlias::setTavamorName},
    {"Korvan Description", &MOXLaunchAlias::applicationDescription,
     &MOXLaunchAlias::setApplicationDescription},
    {"Korvan Content Address", &MOXLaunchAlias::contentAddress, &MOXLaunchAlias::setContentAddress},
    {"Stavenor Launch URL", &MOXLaunchAlias::launchURL, &MOXLaunchAlias::setLaunchURL},
    {"Korvan Publisher Name", &MOXLaunchAlias::publisherName, &MOXLaunchAlias::setPublisherName},
    {"Korvan Server", &MOXLaunchAlias::serverName, &MOXLaunchAlias::setServerName},
};

class LaunchAliasText : public ::testing::TestWithParam<TextProperty> {};

INSTANTIATE_TEST_SUITE_P(EachProperty, LaunchAliasText, ::testing::ValuesIn(textProperties),
                         [](const auto& entry) {
                             std::string name(entry.param.key);
                             std::erase(name, ' ');
                             return name;
                         });

TEST_P(LaunchAliasText, Is_read_from_its_key) {
    const auto alias = aliasWith(GetParam().key, "text");
    EXPECT_EQ((alias.get()->*GetParam().get)(), "text");
}

TEST_P(LaunchAliasText, Is_stored_under_its_key_and_no_other) {
    const auto alias = MOXLaunchAlias::launchAlias();
    (alias.get()->*GetParam().set)("text");
    Dictionary expected;
    expected.set(std::string(GetParam().key), "text");
    EXPECT_EQ(alias->dictionaryRepresentation(), expected);
    EXPECT_EQ((alias.get()->*GetParam().get)(), "text");
}

TEST_P(LaunchAliasText, Is_nil_when_the_key_is_absent) {
    EXPECT_EQ((MOXLaunchAlias::launchAlias().get()->*GetParam().get)(), std::nullopt);
}

TEST_P(LaunchAliasText, Removes_its_key_when_it_is_set_to_nil) {
    const auto alias = aliasWith(GetParam().key, "text");
    (alias.get()->*GetParam().set)(std::nullopt);
    EXPECT_TRUE(alias->dictionaryRepresentation().empty());
}

TEST_P(LaunchAliasText, Stores_the_empty_text) {
    const auto alias = MOXLaunchAlias::launchAlias();
    (alias.get()->*GetParam().set)("");
    EXPECT_EQ(storedText(*alias, GetParam().key), "");
    EXPECT_EQ((alias.get()->*GetParam().get)(), "");
}

TEST_P(LaunchAliasText, Counts_as_missing_when_the_value_is_no_text) {
    EXPECT_EQ((aliasWith(GetParam().key, PropertyList::integer(1)).get()->*GetParam().get)(), std::nullopt);
    EXPECT_EQ((aliasWith(GetParam().key, PropertyList::Data("x")).get()->*GetParam().get)(), std::nullopt);
    EXPECT_EQ((aliasWith(GetParam().key, Dictionary()).get()->*GetParam().get)(), std::nullopt);
}

TEST(LaunchAlias, Repairs_text_that_is_not_UTF8_when_it_is_set) {
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setStoreName("a\xff");
    EXPECT_EQ(alias->storeName(), "a\xEF\xBF\xBD");
}

TEST(LaunchAlias, Is_empty_when_it_is_new) {
    EXPECT_TRUE(MOXLaunchAlias::launchAlias()->dictionaryRepresentation().empty());
}

TEST(LaunchAlias, Is_null_for_no_dictionary) {
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithDictionary(std::nullopt), nullptr);
}

TEST(LaunchAlias, Keeps_a_copy_that_the_caller_s_dictionary_cannot_change) {
    Dictionary dictionary;
    dictionary.set("Store Name", "before");
    const auto alias = MOXLaunchAlias::launchAliasWithDictionary(dictionary);
    dictionary.set("Store Name", "after");
    EXPECT_EQ(alias->storeName(), "before");
}

TEST(LaunchAlias, Represents_itself_by_a_copy_with_unknown_keys_included) {
    const auto alias = aliasWith("Unknown", PropertyList::integer(3));
    Dictionary representation = alias->dictionaryRepresentation();
    ASSERT_NE(representation.find("Unknown"), nullptr);
    alias->setStoreName("later");
    EXPECT_EQ(representation.size(), 1U);
    representation.remove("Unknown");
    EXPECT_NE(alias->dictionaryRepresentation().find("Unknown"), nullptr);
}

// Kinds.

TEST(LaunchAliasSubscriptionType, Reads_each_word) {
    EXPECT_EQ(aliasWith(typeKey, "Application")->subscriptionType(), MOXSubscriptionType::Application);
    EXPECT_EQ(aliasWith(typeKey, "Desktop")->subscriptionType(), MOXSubscriptionType::Desktop);
}

TEST(LaunchAliasSubscriptionType, Reads_as_unknown_for_anything_else) {
    EXPECT_EQ(MOXLaunchAlias::launchAlias()->subscriptionType(), MOXSubscriptionType::Unknown);
    for (const std::string_view word : {"application", "Application ", "DESKTOP", "", "1"})
        EXPECT_EQ(aliasWith(typeKey, word)->subscriptionType(), MOXSubscriptionType::Unknown) << word;
    EXPECT_EQ(aliasWith(typeKey, PropertyList::integer(1))->subscriptionType(), MOXSubscriptionType::Unknown);
}

TEST(LaunchAliasSubscriptionType, Is_stored_as_a_word) {
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setSubscriptionType(MOXSubscriptionType::Application);
    EXPECT_EQ(storedText(*alias, typeKey), "Application");
    alias->setSubscriptionType(MOXSubscriptionType::Desktop);
    EXPECT_EQ(storedText(*alias, typeKey), "Desktop");
}

TEST(LaunchAliasSubscriptionType, Removes_the_key_for_zero_and_any_value_without_a_word) {
    for (const std::int32_t value :
         {0, 3, 9, -1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        const auto alias = aliasWith(typeKey, "Desktop");
        alias->setSubscriptionType(MOXSubscriptionType{value});
        EXPECT_TRUE(alias->dictionaryRepresentation().empty()) << value;
        EXPECT_EQ(alias->subscriptionType(), MOXSubscriptionType::Unknown) << value;
    }
}

TEST(LaunchAliasNorvikType, Reads_each_word) {
    EXPECT_EQ(aliasWith(norvikKey, "standard")->norvikType(), MOXNorvikType::Standard);
    EXPECT_EQ(aliasWith(norvikKey, "advanced")->norvikType(), MOXNorvikType::Advanced);
    EXPECT_EQ(aliasWith(norvikKey, "enterprise")->norvikType(), MOXNorvikType::Enterprise);
    EXPECT_EQ(aliasWith(norvikKey, "none")->norvikType(), MOXNorvikType::None);
}

TEST(LaunchAliasNorvikType, Reads_as_no_gateway_for_anything_else) {
    EXPECT_EQ(static_cast<int>(MOXLaunchAlias::launchAlias()->norvikType()), 9);
    for (const std::string_view word : {"Standard", " standard", "standard ", "", "0", "NONE"})
        EXPECT_EQ(aliasWith(norvikKey, word)->norvikType(), MOXNorvikType::None) << word;
    EXPECT_EQ(aliasWith(norvikKey, PropertyList::integer(0))->norvikType(), MOXNorvikType::None);
}

TEST(LaunchAliasNorvikType, Is_stored_as_a_word) {
    const auto alias = MOXLaunchAlias::launchAlias();
    const std::vector<std::pair<int, std::string>> words = {
        {0, "standard"}, {1, "advanced"}, {2, "enterprise"}, {9, "none"}};
    for (const auto& [value, word] : words) {
        alias->setNorvikType(MOXNorvikType{value});
        EXPECT_EQ(storedText(*alias, norvikKey), word);
    }
}

TEST(LaunchAliasNorvikType, Removes_the_key_for_a_value_without_a_word_and_then_reads_as_no_gateway) {
    for (const std::int32_t value : {3, 4, 5, 6, 7, 8, 10, -1, -9, std::numeric_limits<std::int32_t>::min(),
                                     std::numeric_limits<std::int32_t>::max()}) {
        const auto alias = aliasWith(norvikKey, "standard");
        alias->setNorvikType(MOXNorvikType{value});
        EXPECT_TRUE(alias->dictionaryRepresentation().empty()) << value;
        EXPECT_EQ(static_cast<int>(alias->norvikType()), 9) << value;
    }
}

TEST(LaunchAliasNorvikAuthType, Reads_each_word) {
    EXPECT_EQ(aliasWith(authKey, "none")->norvikAuthType(), MOXNorvikAuthType::None);
    EXPECT_EQ(aliasWith(authKey, "domain")->norvikAuthType(), MOXNorvikAuthType::Domain);
    EXPECT_EQ(aliasWith(authKey, "rsa")->norvikAuthType(), MOXNorvikAuthType::RSA);
    EXPECT_EQ(aliasWith(authKey, "domainandrsa")->norvikAuthType(), MOXNorvikAuthType::DomainAndRSA);
    EXPECT_EQ(aliasWith(authKey, "sms")->norvikAuthType(), MOXNorvikAuthType::SMS);
}

TEST(LaunchAliasNorvikAuthType, Reads_as_no_authentication_for_anything_else) {
    EXPECT_EQ(MOXLaunchAlias::launchAlias()->norvikAuthType(), MOXNorvikAuthType::None);
    for (const std::string_view word : {"Domain", "RSA", "sms ", "", "4"})
        EXPECT_EQ(aliasWith(authKey, word)->norvikAuthType(), MOXNorvikAuthType::None) << word;
    EXPECT_EQ(aliasWith(authKey, PropertyList::integer(4))->norvikAuthType(), MOXNorvikAuthType::None);
}

TEST(LaunchAliasNorvikAuthType, Is_stored_as_a_word_zero_too) {
    const auto alias = MOXLaunchAlias::launchAlias();
    const std::vector<std::string> words = {"none", "domain", "rsa", "domainandrsa", "sms"};
    for (std::int32_t value = 0; value < 5; ++value) {
        alias->setNorvikAuthType(MOXNorvikAuthType{value});
        EXPECT_EQ(storedText(*alias, authKey), words[static_cast<std::size_t>(value)]);
    }
}

TEST(LaunchAliasNorvikAuthType, Removes_the_key_for_a_value_without_a_word) {
    for (const std::int32_t value :
         {5, 9, -1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
        const auto alias = aliasWith(authKey, "sms");
        alias->setNorvikAuthType(MOXNorvikAuthType{value});
        EXPECT_TRUE(alias->dictionaryRepresentation().empty()) << value;
        EXPECT_EQ(alias->norvikAuthType(), MOXNorvikAuthType::None) << value;
    }
}

// Icon.

TEST(LaunchAliasIcon, Is_nil_when_it_is_absent) {
    EXPECT_EQ(MOXLaunchAlias::launchAlias()->icon(), std::nullopt);
}

TEST(LaunchAliasIcon, Is_stored_as_a_keyed_archive_and_read_back) {
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setIcon(redImage());
    const Dictionary dictionary = alias->dictionaryRepresentation();
    const PropertyList::Data* archive = dictionary.data("Icon");
    ASSERT_NE(archive, nullptr);
    EXPECT_EQ(imageFromArchive(archive->bytes()), redImage());
    EXPECT_EQ(alias->icon(), redImage());
}

TEST(LaunchAliasIcon, Is_nil_for_bytes_that_are_no_archive_and_for_other_types) {
    EXPECT_EQ(aliasWith("Icon", PropertyList::Data("damaged"))->icon(), std::nullopt);
    EXPECT_EQ(aliasWith("Icon", "text")->icon(), std::nullopt);
}

TEST(LaunchAliasIcon, Keeps_its_bytes_as_they_are_until_one_is_set) {
    const auto alias = aliasWith("Icon", PropertyList::Data("damaged"));
    EXPECT_EQ(alias->icon(), std::nullopt);
    alias->setStoreName("store");
    EXPECT_EQ(alias->dictionaryRepresentation().data("Icon")->bytes(), "damaged");
}

TEST(LaunchAliasIcon, Is_removed_by_nil_and_by_an_image_that_cannot_be_archived) {
    Image broken = redImage();
    std::vector<std::uint8_t> pixels = broken.representations.front().pixels.bytes();
    pixels.pop_back();
    broken.representations.front().pixels = pixels;
    ASSERT_EQ(archivedImage(broken), std::nullopt);
    for (const std::optional<Image>& icon : {std::optional<Image>(), std::optional(broken)}) {
        const auto alias = MOXLaunchAlias::launchAlias();
        alias->setIcon(redImage());
        alias->setIcon(icon);
        EXPECT_TRUE(alias->dictionaryRepresentation().empty());
    }
}

// Schema version.

TEST(LaunchAliasSchemaVersion, Is_zero_when_it_is_absent) {
    EXPECT_EQ(MOXLaunchAlias::launchAlias()->schemaVersion(), 0U);
}

TEST(LaunchAliasSchemaVersion, Is_always_stored_as_a_number_zero_too) {
    const auto alias = MOXLaunchAlias::launchAlias();
    for (const MOXUInteger version :
         {MOXUInteger{1}, MOXUInteger{0}, std::numeric_limits<MOXUInteger>::max()}) {
        alias->setSchemaVersion(version);
        EXPECT_EQ(*alias->dictionaryRepresentation().find("SchemaVersion"),
                  PropertyList::unsignedInteger(version));
        EXPECT_EQ(alias->schemaVersion(), version);
    }
}

TEST(LaunchAliasSchemaVersion, Is_read_from_any_number) {
    EXPECT_EQ(aliasWith("SchemaVersion", PropertyList::integer(2))->schemaVersion(), 2U);
    EXPECT_EQ(aliasWith("SchemaVersion", PropertyList::real(2.9))->schemaVersion(), 2U);
    EXPECT_EQ(aliasWith("SchemaVersion", PropertyList::boolean(true))->schemaVersion(), 1U);
}

TEST(LaunchAliasSchemaVersion, Is_zero_for_what_is_no_number) {
    EXPECT_EQ(aliasWith("SchemaVersion", "2")->schemaVersion(), 0U);
    EXPECT_EQ(aliasWith("SchemaVersion", PropertyList::Array())->schemaVersion(), 0U);
}

// Files and bundles.

class LaunchAliasFile : public SDKTest {
protected:
    static Dictionary fullDictionary() {
        Dictionary nested;
        nested.set("inner", PropertyList::Array{PropertyList::boolean(true), PropertyList::real(1.5)});
        Dictionary dictionary;
        dictionary.set("Store Name", "Store");
        dictionary.set("Icon", PropertyList::Data(std::string("\0\x01", 2)));
        dictionary.set("SchemaVersion", PropertyList::integer(1));
        dictionary.set("Unknown", nested);
        return dictionary;
    }

    /// Makes a bundle with `Contents/Resources` and gives its path.
    std::string makeBundle(std::string_view name) {
        const std::string bundle = scratch.path(name);
        for (const std::string_view folder : {"", "/Contents", "/Contents/Resources"}) {
            const std::string path = bundle + std::string(folder);
            if (mkdir(path.c_str(), 0777) != 0) throw std::system_error(errno, std::generic_category(), path);
        }
        return bundle;
    }

    static std::optional<Dictionary> dictionaryInFile(const std::string& path) {
        const std::optional<PropertyList> root = propertyListFromBytes(bytesOfFile(path));
        return root && root->dictionary() ? std::optional(*root->dictionary()) : std::nullopt;
    }
};

TEST_F(LaunchAliasFile, Is_read_in_each_form_of_a_property_list) {
    const Dictionary dictionary = fullDictionary();
    const std::string xml = scratch.write("xml.plist", *xmlFromPropertyList(dictionary));
    const std::string binary = scratch.write("binary.plist", *binaryFromPropertyList(dictionary));
    const std::string text = scratch.write("text.plist", "{ \"Store Name\" = Store; }");
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithFile(xml)->dictionaryRepresentation(), dictionary);
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithFile(binary)->dictionaryRepresentation(), dictionary);
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithFile(text)->storeName(), "Store");
}

TEST_F(LaunchAliasFile, Is_null_without_a_log_line_when_there_is_no_dictionary_to_read) {
    const std::string array = scratch.write("array.plist", *xmlFromPropertyList(PropertyList::Array()));
    const std::string damaged = scratch.write("damaged.plist", "<plist><dict>");
    const std::string empty = scratch.write("empty.plist", "");
    for (const std::string& path :
         {array, damaged, empty, scratch.path("missing"), scratch.path(), std::string()})
        EXPECT_EQ(MOXLaunchAlias::launchAliasWithFile(path), nullptr) << path;
    EXPECT_TRUE(test.systemLog.lines().empty());
}

TEST_F(LaunchAliasFile, Is_null_when_the_file_cannot_be_read) {
    const std::string path = scratch.write("alias.plist", *xmlFromPropertyList(Dictionary()));
    test.fileSystem.failCall(FileSystemOperation::ContentsOfFile, 1, EACCES, FaultDuration::Once);
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithFile(path), nullptr);
    EXPECT_NE(MOXLaunchAlias::launchAliasWithFile(path), nullptr);
}

TEST_F(LaunchAliasFile, Is_written_as_XML_with_sorted_keys) {
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setStoreName("A & B");
    alias->setCloneName("Word");
    alias->setSchemaVersion(1);
    const std::string path = scratch.path("Korvalias.plist");
    ASSERT_TRUE(alias->writeToFile(path, true));
    EXPECT_EQ(bytesOfFile(path), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                 "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                 "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                 "<plist version=\"1.0\">\n"
                                 "<dict>\n"
                                 "\t<key>SchemaVersion</key>\n"
                                 "\t<integer>1</integer>\n"
                                 "\t<key>Store Name</key>\n"
                                 "\t<string>A &amp; B</string>\n"
                                 "\t<key>cloneName</key>\n"
                                 "\t<string>Word</string>\n"
                                 "</dict>\n"
                                 "</plist>\n");
}

TEST_F(LaunchAliasFile, Survives_in_the_binary_form_when_a_text_cannot_be_carried_by_XML) {
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setStoreName("a\x01z");
    const std::string path = scratch.path("Korvalias.plist");
    ASSERT_TRUE(alias->writeToFile(path, true));
    EXPECT_TRUE(bytesOfFile(path).starts_with("bplist00"));
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithFile(path)->storeName(), "a\x01z");
}

TEST_F(LaunchAliasFile, Keeps_unknown_keys_over_a_read_a_change_and_a_write) {
    const std::string path = scratch.write("Korvalias.plist", *xmlFromPropertyList(fullDictionary()));
    const auto alias = MOXLaunchAlias::launchAliasWithFile(path);
    alias->setPublisherName("Publisher");
    ASSERT_TRUE(alias->writeToFile(path, true));
    Dictionary expected = fullDictionary();
    expected.set("Korvan Publisher Name", "Publisher");
    EXPECT_EQ(dictionaryInFile(path), expected);
}

TEST_F(LaunchAliasFile, Loses_a_removed_kind_in_the_file_and_reads_it_by_its_fallback) {
    const std::string path = scratch.path("Korvalias.plist");
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setNorvikType(MOXNorvikType::Standard);
    alias->setNorvikType(MOXNorvikType{5});
    alias->setSubscriptionType(MOXSubscriptionType::Desktop);
    alias->setSubscriptionType(MOXSubscriptionType::Unknown);
    alias->setNorvikAuthType(MOXNorvikAuthType::None);
    ASSERT_TRUE(alias->writeToFile(path, false));
    Dictionary expected;
    expected.set("Norvik Auth Type", "none");
    EXPECT_EQ(dictionaryInFile(path), expected);
    const auto read = MOXLaunchAlias::launchAliasWithFile(path);
    EXPECT_EQ(static_cast<int>(read->norvikType()), 9);
    EXPECT_EQ(static_cast<int>(read->subscriptionType()), 0);
    EXPECT_EQ(static_cast<int>(read->norvikAuthType()), 0);
}

TEST_F(LaunchAliasFile, Is_written_atomically_or_in_place_as_asked) {
    const auto alias = MOXLaunchAlias::launchAlias();
    EXPECT_TRUE(alias->writeToFile(scratch.path("a"), true));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileAtomically), 1U);
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileInPlace), 0U);
    EXPECT_TRUE(alias->writeToFile(scratch.path("b"), false));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileAtomically), 1U);
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileInPlace), 1U);
}

TEST_F(LaunchAliasFile, Answers_false_to_a_failed_write_and_changes_nothing_else) {
    const std::string path = scratch.write("alias.plist", "old");
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setStoreName("Store");
    for (const auto operation :
         {FileSystemOperation::WriteFileAtomically, FileSystemOperation::WriteFileInPlace}) {
        test.fileSystem.failCall(operation, 1, ENOSPC, FaultDuration::Once);
        EXPECT_FALSE(alias->writeToFile(path, operation == FileSystemOperation::WriteFileAtomically));
    }
    EXPECT_FALSE(alias->writeToFile(scratch.path("no/such/folder/alias.plist"), true));
    EXPECT_FALSE(alias->writeToFile("", true));
    EXPECT_EQ(bytesOfFile(path), "old");
    EXPECT_EQ(alias->storeName(), "Store");
    EXPECT_TRUE(test.systemLog.lines().empty());
}

TEST_F(LaunchAliasFile, Is_in_the_resources_below_a_bundle_s_path) {
    const std::string bundle = makeBundle("Stub.app");
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setCloneName("Stub");
    ASSERT_TRUE(alias->writeToBundleAtPath(bundle, true));
    EXPECT_TRUE(dictionaryInFile(bundle + "/Contents/Resources/Korvalias.plist"));
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithBundleAtPath(bundle)->cloneName(), "Stub");
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithBundleAtPath(bundle + "/")->cloneName(), "Stub");
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithBundleAtPath(scratch.path("Other.app")), nullptr);
    EXPECT_FALSE(alias->writeToBundleAtPath(scratch.path("Other.app"), true));
}

TEST_F(LaunchAliasFile, Is_written_below_a_bundle_s_path_atomically_or_in_place_as_asked) {
    const std::string bundle = makeBundle("Stub.app");
    const auto alias = MOXLaunchAlias::launchAlias();
    ASSERT_TRUE(alias->writeToBundleAtPath(bundle, false));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileInPlace), 1U);
    ASSERT_TRUE(alias->writeToBundleAtPath(bundle, true));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileAtomically), 1U);
}

TEST_F(LaunchAliasFile, Is_found_by_the_resource_lookup_of_a_bundle) {
    const MOXBundle bundle{scratch.path("Plain")};
    ASSERT_EQ(mkdir(bundle.path.c_str(), 0777), 0);
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithBundle(bundle), nullptr);

    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setCloneName("Plain");
    ASSERT_TRUE(alias->writeToBundle(bundle, true));
    EXPECT_TRUE(dictionaryInFile(bundle.path + "/Korvalias.plist"));
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithBundle(bundle)->cloneName(), "Plain");
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithBundleAtPath(bundle.path), nullptr);
}

TEST_F(LaunchAliasFile, Is_found_among_a_bundle_s_localised_resources_but_not_below_the_bundle_s_path) {
    const std::string path = makeBundle("Stub.app");
    ASSERT_EQ(mkdir((path + "/Contents/Resources/en.lproj").c_str(), 0777), 0);
    scratch.write("Stub.app/Contents/Resources/en.lproj/Korvalias.plist", "{ cloneName = Localised; }");
    const auto alias = MOXLaunchAlias::launchAliasWithBundle({path});
    ASSERT_NE(alias, nullptr);
    EXPECT_EQ(alias->cloneName(), "Localised");
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithBundleAtPath(path), nullptr);
}

TEST_F(LaunchAliasFile, Is_written_into_the_resource_folder_of_a_bundle_atomically_or_in_place_as_asked) {
    const MOXBundle bundle{makeBundle("Stub.app")};
    const auto alias = MOXLaunchAlias::launchAlias();
    ASSERT_TRUE(alias->writeToBundle(bundle, false));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileInPlace), 1U);
    ASSERT_TRUE(alias->writeToBundle(bundle, true));
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileAtomically), 1U);
    EXPECT_TRUE(dictionaryInFile(bundle.path + "/Contents/Resources/Korvalias.plist"));
}

TEST_F(LaunchAliasFile, Belongs_to_the_running_program_s_bundle_and_is_written_there_in_place) {
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithMainBundle(), nullptr);
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setCloneName("Client");
    EXPECT_FALSE(alias->writeToMainBundle());

    const std::string bundle = makeBundle("Client.app");
    ASSERT_EQ(test.bundles.mainBundlePath(), bundle);
    test.fileSystem.resetCounts();
    ASSERT_TRUE(alias->writeToMainBundle());
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileInPlace), 1U);
    EXPECT_EQ(test.fileSystem.count(FileSystemOperation::WriteFileAtomically), 0U);
    EXPECT_TRUE(dictionaryInFile(bundle + "/Contents/Resources/Korvalias.plist"));
    EXPECT_EQ(MOXLaunchAlias::launchAliasWithMainBundle()->cloneName(), "Client");
}

TEST_F(LaunchAliasFile, Of_the_running_program_is_where_its_bundle_keeps_its_resources) {
    const std::string bundle = test.bundles.mainBundlePath();
    ASSERT_EQ(mkdir(bundle.c_str(), 0777), 0);
    const auto alias = MOXLaunchAlias::launchAlias();
    alias->setCloneName("Client");
    ASSERT_TRUE(alias->writeToMainBundle());
    EXPECT_TRUE(dictionaryInFile(bundle + "/Korvalias.plist"));
    const auto read = MOXLaunchAlias::launchAliasWithMainBundle();
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->cloneName(), "Client");
}

TEST_F(LaunchAliasFile, Writes_only_when_it_is_asked_to) {
    const std::string path = scratch.write("Korvalias.plist", *xmlFromPropertyList(Dictionary()));
    const std::string before = bytesOfFile(path);
    const auto alias = MOXLaunchAlias::launchAliasWithFile(path);
    alias->setStoreName("Store");
    EXPECT_EQ(bytesOfFile(path), before);
    scratch.write("Korvalias.plist", "changed behind its back");
    EXPECT_EQ(alias->storeName(), "Store");
}

} // namespace
} // namespace mox::test
