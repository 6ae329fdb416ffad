#include "SDK/MOXSubscription.hpp"
#include "SDK/SDKTest.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace mox::test {
namespace {

using Dictionary = PropertyList::Dictionary;
using Then = RecordingAssertionHandler::Then;

constexpr std::string_view sourceFile = "Frameworks/MOXSubscribe/Source/SDK/MOXSubscription";

/// The base record, within a test's reach.
class BareSubscription : public MOXSubscription {
public:
    using MOXSubscription::_launchAlias;
    using MOXSubscription::_version;

    BareSubscription() = default;
    explicit BareSubscription(std::optional<Dictionary> dictionary)
        : MOXSubscription(std::move(dictionary)) {}
    BareSubscription(std::optional<std::string> fileName, const MOXSubscriptionKeywords& keywords)
        : MOXSubscription(std::move(fileName), keywords) {}
    BareSubscription(std::string_view path, std::optional<Error>* error) : MOXSubscription(path, error) {}
};

TEST(Subscription, Starts_with_schema_version_1_and_nothing_else) {
    const BareSubscription record;
    Dictionary expected;
    expected.set("SchemaVersion", PropertyList::integer(1));
    EXPECT_EQ(record.dictionaryRepresentation(), expected);
    EXPECT_EQ(record.schemaVersion(), 1U);
}

TEST(Subscription, Puts_everything_it_is_made_of_into_its_launch_alias) {
    const BareSubscription record("Word", {.resourceName = "Farm:Word",
                                           .type = MOXSubscriptionType::Application,
                                           .storeName = "Store",
                                           .internalStoreURL = "http://inside",
                                           .externalStoreURL = "https://outside",
                                           .norvikType = MOXNorvikType::Advanced,
                                           .norvikAuthType = MOXNorvikAuthType::RSA});
    Dictionary expected;
    expected.set("cloneName", "Word");
    expected.set("Store Name", "Store");
    expected.set("Internal Store URL", "http://inside");
    expected.set("External Store URL", "https://outside");
    expected.set("Korvan Server Unique Application Name", "Farm:Word");
    expected.set("Norvik Type", "advanced");
    expected.set("Norvik Auth Type", "rsa");
    expected.set("Korvan Application Type", "Application");
    expected.set("SchemaVersion", PropertyList::integer(1));
    EXPECT_EQ(record.dictionaryRepresentation(), expected);
    EXPECT_EQ(record.schemaVersion(), 1U);
}

TEST(Subscription, Leaves_the_keys_of_nil_arguments_out) {
    const BareSubscription record(std::nullopt, MOXSubscriptionKeywords());
    Dictionary expected;
    expected.set("Norvik Type", "none");
    expected.set("Norvik Auth Type", "none");
    expected.set("SchemaVersion", PropertyList::integer(1));
    EXPECT_EQ(record.dictionaryRepresentation(), expected);
}

TEST(Subscription, Keeps_the_schema_version_that_a_dictionary_has) {
    Dictionary dictionary;
    EXPECT_EQ(BareSubscription(dictionary).schemaVersion(), 0U);
    EXPECT_TRUE(BareSubscription(dictionary).dictionaryRepresentation()->empty());
    dictionary.set("SchemaVersion", PropertyList::integer(7));
    EXPECT_EQ(BareSubscription(dictionary).schemaVersion(), 7U);
}

TEST(Subscription, Keeps_a_copy_that_the_caller_s_dictionary_cannot_change) {
    Dictionary dictionary;
    dictionary.set("Store Name", "before");
    const BareSubscription record(dictionary);
    dictionary.set("Store Name", "after");
    EXPECT_EQ(record.storeName(), "before");
}

TEST(Subscription, Represents_itself_by_a_copy_with_unknown_keys_included) {
    Dictionary dictionary;
    dictionary.set("Unknown", PropertyList::Array{PropertyList::integer(3)});
    BareSubscription record(dictionary);
    Dictionary representation = *record.dictionaryRepresentation();
    EXPECT_EQ(representation, dictionary);
    record.setStoreName("later");
    EXPECT_EQ(representation, dictionary);
    representation.remove("Unknown");
    EXPECT_NE(record.dictionaryRepresentation()->find("Unknown"), nullptr);
}

/// A text property of the record and the key of its launch alias.
struct TextProperty {
    std::string name;
    std::string_view key;
    std::optional<std::string> (MOXSubscription::*get)() const;
    void (MOXSubscription::*set)(std::optional<std::string>);

    friend void PrintTo(const TextProperty& value, std::ostream* stream) { *stream << value.name; }
};

const std::vector<TextProperty> textProperties = {
    {"resourceName", "Korvan Server Unique Application Name", &MOXSubscription::resourceName,
     &MOXSubscription::setResourceName},
    {"storeName", "Store Name", &MOXSubscription::storeName, &MOXSubscription::setStoreName},
    {"internalStoreURL", "Internal Store URL", &MOXSubscription::internalStoreURL,
     &MOXSubscription::setInternalStoreURL},
    {"externalStoreURL", "External Store URL", &MOXSubscription::externalStoreURL,
     &MOXSubscription::setExternalStoreURL},
    {"launchURL", "Stavenor Launch URL", &MOXSubscription::launchURL, &MOXSubscription::setLaunchURL},
    {"contentAddress", "Korvan Content Address", &MOXSubscription::contentAddress,
     &MOXSubscription::setContentAddress},
    {"subscriptionDescription", "Korvan Description", &MOXSubscription::subscriptionDescription,
     &MOXSubscription::setSubscriptionDescription},
    {"publisherName", "Korvan Publisher Name", &MOXSubscription::publisherName,
     &MOXSubscription::setPublisherName},
    {"serverName", "Korvan Server", &MOXSubscription::serverName, &MOXSubscription::setServerName},
};

class SubscriptionText : public ::testing::TestWithParam<TextProperty> {};

INSTANTIATE_TEST_SUITE_P(EachProperty, SubscriptionText, ::testing::ValuesIn(textProperties),
                         [](const auto& entry) { return entry.param.name; });

TEST_P(SubscriptionText, Is_kept_in_the_launch_alias) {
    BareSubscription record((Dictionary()));
    (record.*GetParam().set)("text");
    Dictionary expected;
    expected.set(std::string(GetParam().key), "text");
    EXPECT_EQ(record._launchAlias->dictionaryRepresentation(), expected);
    EXPECT_EQ((record.*GetParam().get)(), "text");
    (record.*GetParam().set)(std::nullopt);
    EXPECT_TRUE(record._launchAlias->dictionaryRepresentation().empty());
    EXPECT_EQ((record.*GetParam().get)(), std::nullopt);
}

TEST_P(SubscriptionText, Is_nil_and_stays_so_without_a_launch_alias) {
    BareSubscription record("/any/path", nullptr);
    EXPECT_EQ((record.*GetParam().get)(), std::nullopt);
    (record.*GetParam().set)("text");
    EXPECT_EQ((record.*GetParam().get)(), std::nullopt);
}

TEST(Subscription, Keeps_its_kinds_and_schema_version_in_the_launch_alias) {
    BareSubscription record;
    record.setType(MOXSubscriptionType::Desktop);
    record.setNorvikType(MOXNorvikType::Enterprise);
    record.setNorvikAuthType(MOXNorvikAuthType::SMS);
    record.setSchemaVersion(12);
    EXPECT_EQ(record.type(), MOXSubscriptionType::Desktop);
    EXPECT_EQ(record.norvikType(), MOXNorvikType::Enterprise);
    EXPECT_EQ(record.norvikAuthType(), MOXNorvikAuthType::SMS);
    EXPECT_EQ(record.schemaVersion(), 12U);
    EXPECT_EQ(record._launchAlias->subscriptionType(), MOXSubscriptionType::Desktop);
    EXPECT_EQ(record._launchAlias->norvikType(), MOXNorvikType::Enterprise);
    EXPECT_EQ(record._launchAlias->norvikAuthType(), MOXNorvikAuthType::SMS);
    EXPECT_EQ(record._launchAlias->schemaVersion(), 12U);
}

TEST(Subscription, Made_from_a_path_has_no_launch_alias_and_ignores_both_arguments) {
    std::optional<Error> error = Error::posix(1);
    BareSubscription record("/any/path", &error);
    EXPECT_EQ(record._launchAlias, nullptr);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 1);
}

TEST(SubscriptionWithoutLaunchAlias, Answers_its_defaults_and_ignores_every_setter) {
    BareSubscription record("/any/path", nullptr);
    record.setType(MOXSubscriptionType::Desktop);
    record.setNorvikType(MOXNorvikType::Standard);
    record.setNorvikAuthType(MOXNorvikAuthType::SMS);
    record.setSchemaVersion(4);
    record.setResourceName("Word");
    record.setPublisherName("Publisher");
    record.buildSeamlessName();
    EXPECT_EQ(static_cast<int>(record.type()), 0);
    EXPECT_EQ(static_cast<int>(record.norvikType()), 9);
    EXPECT_EQ(static_cast<int>(record.norvikAuthType()), 0);
    EXPECT_EQ(record.schemaVersion(), 0U);
    EXPECT_EQ(record.seamlessName(), std::nullopt);
    EXPECT_EQ(record.dictionaryRepresentation(), std::nullopt);
    EXPECT_EQ(record._launchAlias, nullptr);
}

TEST(SubscriptionWithoutLaunchAlias, Is_what_no_dictionary_makes) {
    const BareSubscription record((std::optional<Dictionary>()));
    EXPECT_EQ(record._launchAlias, nullptr);
    EXPECT_EQ(record.dictionaryRepresentation(), std::nullopt);
}

// Seamless name.

std::optional<std::string> seamlessName(std::optional<std::string> resource,
                                        std::optional<std::string> publisher,
                                        std::optional<std::string> before = std::nullopt) {
    BareSubscription record;
    record._launchAlias->setTavamorName(std::move(before));
    record.setResourceName(std::move(resource));
    record.setPublisherName(std::move(publisher));
    return record.seamlessName();
}

TEST(SeamlessName, Joins_publisher_and_what_follows_the_first_colon) {
    EXPECT_EQ(seamlessName("Farm:Notepad", "Pub"), "Pub#Notepad");
    EXPECT_EQ(seamlessName("x:y:z", "Pub"), "Pub#y:z");
    EXPECT_EQ(seamlessName(":Notepad", "Pub"), "Pub#Notepad");
}

TEST(SeamlessName, Takes_the_whole_resource_name_without_a_colon) {
    EXPECT_EQ(seamlessName("Notepad", "Pub"), "Pub#Notepad");
}

TEST(SeamlessName, May_end_in_nothing) {
    EXPECT_EQ(seamlessName("Notepad:", "Pub"), "Pub#");
}

TEST(SeamlessName, Takes_percent_signs_and_hashes_as_they_are) {
    EXPECT_EQ(seamlessName("%@:%@%s", "P#%@"), "P#%@#%@%s");
}

TEST(SeamlessName, Stays_as_it_is_on_purpose_while_a_name_is_nil_or_empty) {
    const std::vector<std::optional<std::string>> missing = {std::nullopt, ""};
    for (const auto& name : missing) {
        EXPECT_EQ(seamlessName(name, "Pub"), std::nullopt);
        EXPECT_EQ(seamlessName("Notepad", name), std::nullopt);
        EXPECT_EQ(seamlessName(name, "Pub", "Old#Name"), "Old#Name");
        EXPECT_EQ(seamlessName("Notepad", name, "Old#Name"), "Old#Name");
    }
}

TEST(SeamlessName, Replaces_the_stored_one_and_follows_later_changes) {
    EXPECT_EQ(seamlessName("Notepad", "Pub", "Old#Name"), "Pub#Notepad");
    BareSubscription record;
    record.setResourceName("Farm:A");
    record.setPublisherName("P");
    EXPECT_EQ(record.seamlessName(), "P#A");
    record.setResourceName("Farm:B");
    EXPECT_EQ(record.seamlessName(), "P#B");
    record.setPublisherName("Q");
    EXPECT_EQ(*record.dictionaryRepresentation()->string("Tavamor Name"), "Q#B");
}

TEST(SeamlessName, Is_built_into_the_launch_alias_only_when_it_is_asked_for) {
    BareSubscription record;
    record.setResourceName("Farm:A");
    record.setPublisherName("P");
    EXPECT_EQ(record._launchAlias->tavamorName(), std::nullopt);
    record.buildSeamlessName();
    EXPECT_EQ(record._launchAlias->tavamorName(), "P#A");
}

// What the base leaves to its models.

TEST(Subscription, Has_no_version_no_update_and_no_file_types_by_itself) {
    BareSubscription record;
    EXPECT_FALSE(record.needsUpdate());
    EXPECT_EQ(record.subscriptionVersion(), std::nullopt);
    EXPECT_EQ(record.internalVersion(), std::nullopt);
    EXPECT_EQ(record._version, std::nullopt);
    record.setFileTypes(
        std::vector<MOXFileType>{{.group = "Text", .extensions = {".txt"}, .description = "A text"}});
    EXPECT_EQ(record.fileTypes(), std::nullopt);
}

TEST(Subscription, Refuses_to_be_written_and_leaves_the_error_place_untouched) {
    BareSubscription record;
    std::optional<Error> error;
    EXPECT_FALSE(record.writeToFolder("/folder", "name", &error));
    EXPECT_EQ(error, std::nullopt);
    error = Error::posix(1);
    EXPECT_FALSE(record.writeToFolder("/folder", "name", &error));
    EXPECT_EQ(error->code(), 1);
    EXPECT_FALSE(record.writeToFolder("/folder", "name"));
}

/// An operation that the base does not have: what it reports, and a call that gives whether the result was
/// nil or nothing.
struct MissingOperation {
    std::string name;
    std::string operation;
    std::string message;
    int line;
    bool belongsToClass;
    bool isReportedAsNotRecognised;
    std::function<bool(BareSubscription&)> call;

    friend void PrintTo(const MissingOperation& value, std::ostream* stream) { *stream << value.name; }
};

const std::vector<MissingOperation> missingOperations = {
    {"subscription", "+[MOXSubscription subscription]", " base class method must be overridden", 29, true,
     true, [](BareSubscription&) { return MOXSubscription::subscription() == nullptr; }},
    {"subscriptionWithDictionary", "+[MOXSubscription subscriptionWithDictionary:]",
     " base class method must be overridden", 36, true, true,
     [](BareSubscription&) { return MOXSubscription::subscriptionWithDictionary(Dictionary()) == nullptr; }},
    {"subscriptionWithFileName",
     "+[MOXSubscription subscriptionWithFileName:resourceName:type:storeName:internalStoreURL:"
     "externalStoreURL:norvikType:norvikAuthType:]",
     " base class method must be overridden", 50, true, false,
     [](BareSubscription&) { return MOXSubscription::subscriptionWithFileName("Word", {}) == nullptr; }},
    {"subscriptionWithPath", "+[MOXSubscription subscriptionWithPath:error:]",
     " base class method must be overridden", 57, true, true,
     [](BareSubscription&) {
         std::optional<Error> error;
         return MOXSubscription::subscriptionWithPath("/path", &error) == nullptr && !error;
     }},
    {"icon", "-[MOXSubscription icon]", " base class method must be overridden", 340, false, true,
     [](BareSubscription& record) { return !record.icon(); }},
    {"setIcon", "-[MOXSubscription setIcon:]", " base class method must be overridden", 348, false, true,
     [](BareSubscription& record) {
         record.setIcon(std::nullopt);
         return true;
     }},
    {"fileName", "-[MOXSubscription fileName]", " not supported in this implementation", 357, false, true,
     [](BareSubscription& record) { return !record.fileName(); }},
    {"setFileName", "-[MOXSubscription setFileName:]", " not supported in this implementation", 368, false,
     true,
     [](BareSubscription& record) {
         record.setFileName("name");
         return true;
     }},
    {"path", "-[MOXSubscription path]", " not supported in this implementation", 377, false, true,
     [](BareSubscription& record) { return !record.path(); }},
    {"setPath", "-[MOXSubscription setPath:]", " not supported in this implementation", 388, false, true,
     [](BareSubscription& record) {
         record.setPath("/path");
         return true;
     }},
};

class SubscriptionMissing : public SDKTest, public ::testing::WithParamInterface<MissingOperation> {
protected:
    const void* receiver() const { return GetParam().belongsToClass ? nullptr : &record; }

    void expectAssertion(const RecordingAssertionHandler& handler) const {
        ASSERT_EQ(handler.failures().size(), 1U);
        const RecordingAssertionHandler::Failure failure = handler.failures().front();
        EXPECT_EQ(failure.object, receiver());
        EXPECT_EQ(failure.operation, GetParam().operation);
        EXPECT_EQ(failure.file, sourceFile);
        EXPECT_EQ(failure.line, GetParam().line);
        EXPECT_EQ(failure.description, GetParam().operation + GetParam().message);
    }

    BareSubscription record;
};

INSTANTIATE_TEST_SUITE_P(EachOperation, SubscriptionMissing, ::testing::ValuesIn(missingOperations),
                         [](const auto& entry) { return entry.param.name; });

TEST_P(SubscriptionMissing, Throws_through_the_standard_handler) {
    try {
        GetParam().call(record);
        FAIL() << "nothing was thrown";
    } catch (const InternalInconsistencyException& exception) {
        EXPECT_EQ(exception.operation(), GetParam().operation);
        EXPECT_EQ(exception.file(), sourceFile);
        EXPECT_EQ(exception.line(), GetParam().line);
        EXPECT_EQ(exception.what(), GetParam().operation + GetParam().message);
    }
}

TEST_P(SubscriptionMissing, Reports_nothing_more_when_the_assertion_throws) {
    const auto handler = installHandler(Then::Throws);
    EXPECT_THROW(GetParam().call(record), InternalInconsistencyException);
    expectAssertion(*handler);
    EXPECT_TRUE(handler->unrecognized().empty());
}

TEST_P(SubscriptionMissing, Reports_its_selector_and_results_in_nil_when_the_handler_returns) {
    const auto handler = installHandler(Then::Returns);
    EXPECT_TRUE(GetParam().call(record));
    expectAssertion(*handler);
    if (GetParam().isReportedAsNotRecognised) {
        ASSERT_EQ(handler->unrecognized().size(), 1U);
        EXPECT_EQ(handler->unrecognized().front().object, receiver());
        EXPECT_EQ(handler->unrecognized().front().operation, GetParam().operation);
    } else {
        EXPECT_TRUE(handler->unrecognized().empty());
    }
}

class SubscriptionSetters : public SDKTest {};

TEST_F(SubscriptionSetters, That_the_base_does_not_have_change_nothing_when_the_handler_returns) {
    installHandler(Then::Returns);
    BareSubscription record;
    const auto before = record.dictionaryRepresentation();
    record.setIcon(Image());
    record.setFileName("name");
    record.setPath("/path");
    EXPECT_EQ(record.dictionaryRepresentation(), before);
}

} // namespace
} // namespace mox::test
