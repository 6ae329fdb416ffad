#include "Foundation/PathRules.hpp"
#include "Foundation/UnicodeText.hpp"

#include "Scenarios/BundleModelDesktop.hpp"
#include "Scenarios/BundleModelScenario.hpp"
#include "Scenarios/HostileTextTrials.hpp"

namespace mox::test {
namespace {

using namespace std::string_literals;

/// A client with a desktop that really registers, in a home that holds other things too.
class NamesInTheBundleModel : public BundleModelScenario, protected HostileTextTrials {
protected:
    NamesInTheBundleModel() {
        for (const char* decoy : {"home/Documents/decoy", "home/.config/mimeapps.list", "home/decoy", "decoy",
                                  "home/.local/share/applications/other.desktop"})
            makeFile(decoy, "precious");
        makeFolder("home/Applications");
        makeStartableTemplate();
    }
    /// The manager watches through the desktop, which goes first.
    ~NamesInTheBundleModel() override { end(); }

    /// Everything but what the model may change: stubs, the Trash, and what the desktop is told in files of
    /// our names.
    Tree elsewhere() const override {
        Tree tree = contentsOfTree(scratch.path());
        std::erase_if(tree, [](const auto& item) {
            const bool isForTheDesktop =
                isInOneOf(item.first, {"home/.local/share/applications", "home/.local/share/icons",
                                       "home/.local/share/mime"});
            const bool isOurs = lastPathComponent(item.first).starts_with("moxsubscribe-");
            return isInOneOf(item.first, {"home/Applications", "home/.local/share/Trash"}) ||
                   (isForTheDesktop && (isOurs || item.second == "/"));
        });
        return tree;
    }

    /// Makes the stub at `path` an old one.
    void age(const std::string& path) const {
        Dictionary infoPlist = infoPlistOf(path);
        infoPlist.set("KorvanVersionString", "1.0");
        infoPlist.remove("CFBundleShortVersionString");
        makeBundle(path.substr(scratch.path().size() + 1), {.infoPlist = infoPlist});
    }

    MOXSubscribeKeywords keywordsOf(const std::string& text, const std::string& fileName) const {
        return withText(text, keywordsFor(fileName, inApps()));
    }

    bool upgrade(const std::string& path, const MOXUpdateStoreNameBlock& storeNameBlock = {}) {
        auto& bundles = dynamic_cast<MOXFileSubscriptionManager&>(*manager);
        return bundles.updateSubscriptionAtPath(path, storeNameBlock, {});
    }

    BundleModelDesktop desktop{test, scratch.path()};
    ScopedPlatform onDesktop{desktop.platform};
};

TEST_F(NamesInTheBundleModel, Any_text_in_any_field_comes_back_and_nothing_else_on_the_disk_changes) {
    tryEachText([this](const std::string& text, const std::string& stored) {
        const std::string path = inApps("Word.app");
        start();
        ASSERT_TRUE(manager->subscribeToResource(text, keywordsOf(text, "Word.app")));
        EXPECT_TRUE(manager->subscribeToResource(text, keywordsOf(text, "Word.app"))) << "refreshed";
        EXPECT_EQ(manager->subscriptionPaths(), Paths{path});
        EXPECT_EQ(desktop.invalidEntries(), Lines());
        EXPECT_EQ(desktop.registeredStubs(), Lines{path});
        for (const bool isUpgraded : {false, true}) {
            if (isUpgraded) {
                age(path);
                ASSERT_TRUE(upgrade(path));
                EXPECT_EQ(versionOf(path), "2.0");
                EXPECT_EQ(desktop.invalidEntries(), Lines());
                EXPECT_EQ(desktop.registeredStubs(), Lines{path});
            }
            const auto record = manager->subscriptionAtPath(path);
            ASSERT_NE(record, nullptr);
            expectTexts(*record, stored);
        }
        EXPECT_EQ(manager->removeAllSubscriptionsWithUniqueName(stored, stored), Paths{path});
        EXPECT_EQ(namesIn(inApps()), Paths());
        EXPECT_EQ(desktop.registeredStubs(), Lines());
    });
}

TEST_F(NamesInTheBundleModel, A_file_name_is_one_component_or_refused_and_nothing_else_on_the_disk_changes) {
    std::size_t refused = 0;
    tryEachText([&](const std::string& text, const std::string&) {
        for (const std::string& given : {text, text + ".app"}) {
            SCOPED_TRACE("as " + given.substr(0, 40));
            // The name is kept in the launch alias, which holds Unicode text only.
            const std::string name = repairedUTF8(given);
            const std::string path = inApps() + "/" + name;
            start();
            std::optional<Error> error;
            const bool isDone = manager->subscribeToResource("Farm:Word", keywordsOf("text", given), &error);
            const bool isOneName =
                name != "." && name != ".." && name.size() <= 255 && name.find_first_of("/\0"s) == name.npos;
            EXPECT_TRUE(!isDone || isOneName);
            if (!isDone) {
                ++refused;
                EXPECT_TRUE(error && error->domain() == MOXSubscribeErrorDomain);
                EXPECT_EQ(namesIn(inApps()), Paths());
                continue;
            }
            EXPECT_EQ(namesIn(inApps()), Paths{name}) << "as it is";
            const bool isListed = isThere(path) && name.ends_with(".app");
            EXPECT_EQ(manager->subscriptionPaths(), isListed ? Paths{path} : Paths());
            EXPECT_EQ(desktop.invalidEntries(), Lines());
            age(path);
            EXPECT_TRUE(upgrade(path));
            EXPECT_EQ(versionOf(path), "2.0");
            EXPECT_EQ(desktop.invalidEntries(), Lines());
            EXPECT_TRUE(manager->removeSubscriptionAtPath(path));
            EXPECT_EQ(namesIn(inApps()), Paths());
            EXPECT_EQ(desktop.registeredStubs(), Lines());
        }
    });
    EXPECT_GT(refused, 10U);
}

TEST_F(NamesInTheBundleModel, Stubs_with_the_names_of_one_text_in_two_spellings_are_two) {
    start();
    ASSERT_TRUE(manager->subscribeToResource("Farm:One", keywordsFor("Caf\u00e9.app", inApps())));
    ASSERT_TRUE(manager->subscribeToResource("Farm:Two", keywordsFor("Cafe\u0301.app", inApps())));
    EXPECT_EQ(manager->numberOfSubscriptions(), 2U);
    EXPECT_EQ(manager->subscriptionAtPath(inApps("Caf\u00e9.app"))->resourceName(), "Farm:One");
    EXPECT_EQ(manager->subscriptionAtPath(inApps("Cafe\u0301.app"))->resourceName(), "Farm:Two");
    EXPECT_EQ(desktop.registeredStubs().size(), 2U);
}

TEST_F(NamesInTheBundleModel, Any_text_set_in_a_record_is_in_the_stub_that_it_writes) {
    tryEachText([this](const std::string& text, const std::string& stored) {
        start();
        const auto record = MOXFileSubscription::subscription();
        record->setType(MOXSubscriptionType::Application);
        record->setFileName("Word.app");
        setTexts(*record, text);
        record->setFileTypes(std::vector{MOXFileType{text, {text}, text}});
        ASSERT_TRUE(record->writeToFolder(inApps(), text)) << "the name beside the record's own is not used";
        EXPECT_EQ(namesIn(inApps()), Paths{"Word.app"});
        const auto written = MOXFileSubscription::subscriptionWithPath(inApps("Word.app"));
        ASSERT_NE(written, nullptr);
        expectTexts(*written, stored);
        EXPECT_EQ(written->serverName(), stored);
        const auto types = written->fileTypes();
        ASSERT_TRUE(types && types->size() == 1);
        EXPECT_EQ(types->front().group, stored);
        EXPECT_EQ(desktop.invalidEntries(), Lines());
        EXPECT_TRUE(manager->removeSubscriptionAtPath(inApps("Word.app")));
    });
}

TEST_F(NamesInTheBundleModel, Any_text_in_a_stub_s_information_is_read_and_leads_to_nothing_elsewhere) {
    std::size_t started = 0;
    tryEachText([&](const std::string&, const std::string& stored) {
        Dictionary type = documentType(stored, {stored});
        type.set("CFBundleTypeIconFile", stored);
        BundleContent content = templateContent("1.0");
        content.infoPlist = dictionaryOf({{"CFBundleDocumentTypes", Array{type}}});
        for (const char* key : {"CFBundleExecutable", "CFBundleName", "CFBundleIdentifier",
                                "CFBundleIconFile", "CFBundleShortVersionString", "KorvanVersionString"})
            content.infoPlist->set(key, stored);
        content.alias = oldAlias();
        for (const char* key : {"Norvik Type", "Norvik Auth Type", "Tavamor Name", "cloneName"})
            content.alias->set(key, stored);
        const std::string path = inApps("Word.app");
        makeBundle("home/Applications/Word.app", content);

        start();
        EXPECT_EQ(manager->subscriptionPaths(), Paths{path});
        const auto record = manager->subscriptionAtPath(path);
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->subscriptionVersion(), MOXVersionNumber(stored).stringValue());
        EXPECT_EQ(record->fileTypes()->front().extensions, std::vector{"." + stored});
        EXPECT_EQ(record->icon()->representations.size(), imageOfSides({16}).representations.size())
            << "the icon's name is the template's";
        EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywordsOf("text", "Word.app"))) << "refreshed";
        for (const std::string& program : desktop.startedPrograms()) {
            ++started;
            EXPECT_EQ(program, path + "/Contents/MacOS/" + stored) << "one of the stub's own";
        }
        EXPECT_TRUE(upgrade(path));
        EXPECT_EQ(*infoPlistOf(path).string("CFBundleIdentifier"), "com.korvan.TarvioAlias-Farm-Word");
        EXPECT_TRUE(manager->removeSubscriptionAtPath(path));
        EXPECT_EQ(desktop.registeredStubs(), Lines());
    });
    EXPECT_GT(started, 10U);
}

TEST_F(NamesInTheBundleModel, Any_text_may_be_the_name_of_the_store_that_an_upgrade_asks_for) {
    tryEachText([this](const std::string& text, const std::string& stored) {
        Dictionary alias = oldAlias();
        alias.remove("Store Name");
        alias.set("Korvan Server", stored);
        const std::string path = makeOldStub("Word.app", alias);
        start();
        EXPECT_TRUE(upgrade(path, askForStore(text)));
        EXPECT_EQ(asked, Lines{"store of " + stored});
        EXPECT_EQ(manager->subscriptionAtPath(path)->storeName(), stored);
        EXPECT_EQ(manager->subscriptionAtPath(path)->internalStoreURL(), stored);
        EXPECT_EQ(desktop.invalidEntries(), Lines());
        EXPECT_TRUE(manager->removeSubscriptionAtPath(path));
        asked.clear();
    });
}

TEST_F(NamesInTheBundleModel, Texts_in_a_stub_that_somebody_else_made_do_no_harm_in_an_upgrade) {
    tryEachText([this](const std::string&, const std::string& stored) {
        Dictionary alias = oldAlias();
        for (const char* key : {"cloneName", "Korvan Server Unique Application Name", "Korvan Description",
                                "Stavenor Launch URL", "Korvan Publisher Name", "Korvan Content Address"})
            alias.set(key, stored);
        const std::string path = makeOldStub("Word.app", alias);
        start();
        EXPECT_TRUE(upgrade(path));
        EXPECT_EQ(namesIn(inApps()), Paths{"Word.app"}) << "the file's name counts, not the one it holds";
        EXPECT_EQ(versionOf(path), "2.0");
        EXPECT_EQ(desktop.invalidEntries(), Lines());
        EXPECT_TRUE(manager->removeSubscriptionAtPath(path));
    });
}

} // namespace
} // namespace mox::test
