#include "SDK/PlistStore.hpp"

#include <algorithm>
#include <functional>

namespace mox::test {
namespace {

/// A file system that tells how much of what is written is no part of what was read last.
class ComparingFileSystem : public ForwardingFileSystem {
public:
    using ForwardingFileSystem::ForwardingFileSystem;

    std::size_t bytesMadeAnew = 0;

    Result<SharedBytes> sharedContentsOfFile(const std::string& path) override {
        Result<SharedBytes> bytes = ForwardingFileSystem::sharedContentsOfFile(path);
        if (bytes) _read = *bytes;
        return bytes;
    }

    Result<void> writePiecesAtomically(const std::string& path, const std::vector<ByteView>& pieces,
                                       std::optional<FileMode> newFileMode) override {
        bytesMadeAnew = 0;
        for (const ByteView piece : pieces)
            bytesMadeAnew += isRead(piece) ? 0 : piece.size();
        return ForwardingFileSystem::writePiecesAtomically(path, pieces, newFileMode);
    }

private:
    bool isRead(ByteView piece) const {
        // As the standard orders them, pointers into different objects too.
        const ByteView read = _read.view();
        return !std::less<>()(piece.data(), read.data()) &&
               !std::less<>()(read.data() + read.size(), piece.data() + piece.size());
    }

    /// Kept, so that nothing else comes to be where it is.
    SharedBytes _read;
};

/// An entry whose text can be kept, without an array in it.
Dictionary plainEntry() {
    return dictionaryOf({{"Korvan Application Type", "Application"},
                         {"Korvan Server Unique Application Name", "Farm:Word"},
                         {"Store Name", "Store"}});
}

class KeptTextOfThePlistStore : public PlistStoreTest {
protected:
    using Use = std::function<void(OpenPlistStore& store)>;

    /// How much of the document one of two saves makes anew after `use` of a store that was just opened.
    std::size_t bytesMadeAnewAfter(const Use& use) {
        const Dictionary subfolder = node({}, {{"Two", plainEntry()}});
        const Dictionary folder =
            node({{"Sub", subfolder}}, {{"Bad", PropertyList("text")}, {"One", plainEntry()}});
        const auto store = open(node({{"Top", folder}}, {{"Bare", plainEntry()}}));
        use(*store);
        store->saveSubscriptions();
        const std::size_t first = fileSystem.bytesMadeAnew;
        store->saveSubscriptions();
        EXPECT_EQ(treeOnDisk(), std::as_const(store->root()));
        return std::max(first, fileSystem.bytesMadeAnew);
    }

    /// How much of the document on the disk is around the root.
    std::size_t bytesAroundTheRoot() const {
        const std::string document = bytesOfFile(plistPath());
        const std::string_view end = "</dict>\n";
        return document.find("<dict>") + document.size() - document.rfind(end) - end.size();
    }

    ComparingFileSystem fileSystem{environment.fileSystem};
    const Platform comparingPlatform = [this] {
        const Platform& usual = environment.platform;
        return Platform{fileSystem,           usual.userDirectories,    usual.bundles,
                        usual.systemLog,      usual.assertionHandler,   usual.workspace,
                        usual.fileReferences, usual.launchRegistration, usual.folderEvents,
                        usual.runLoops,       usual.notificationCenter, usual.systemVersion};
    }();
    const ScopedPlatform comparingScope{comparingPlatform};
};

TEST_F(KeptTextOfThePlistStore, Looking_up_and_listing_leave_it_to_the_next_save) {
    const std::size_t atTheLeast = bytesMadeAnewAfter([](OpenPlistStore&) {});
    EXPECT_EQ(atTheLeast, bytesAroundTheRoot());
    EXPECT_GT(bytesMadeAnewAfter([](OpenPlistStore& store) { store.dictionaryForPath("Top/Sub"); }),
              atTheLeast)
        << "a node that was handed out for changes is told apart";

    const std::vector<std::pair<const char*, Use>> uses = {
        {"look up", [](auto& store) { EXPECT_TRUE(store.subscriptionAtPath("Top/Sub/Two")); }},
        {"look up at the top", [](auto& store) { EXPECT_TRUE(store.subscriptionAtPath("Bare")); }},
        {"look up what is missing", [](auto& store) { EXPECT_FALSE(store.subscriptionAtPath("Top/None")); }},
        {"look up what is none", [](auto& store) { EXPECT_FALSE(store.subscriptionAtPath("Top/Bad")); }},
        {"read a record",
         [](auto& store) {
             const auto record = store.subscriptionAtPath("Top/Sub/Two");
             EXPECT_TRUE(record->resourceName());
             EXPECT_FALSE(record->icon());
             EXPECT_TRUE(record->dictionaryRepresentation());
         }},
        {"change a record",
         [](auto& store) { store.subscriptionAtPath("Top/Sub/Two")->setStoreName("another"); }},
        {"ask for a subscription", [](auto& store) { EXPECT_TRUE(store.isSubscriptionAtPath("Top/One")); }},
        {"list a folder",
         [](auto& store) { EXPECT_EQ(store.subscriptionPathsInFolder("Top", true).size(), 3U); }},
        {"list all",
         [](auto& store) {
             EXPECT_EQ(store.subscriptionPaths().size(), store.numberOfSubscriptions());
             EXPECT_EQ(store.folders().size(), 2U);
         }},
        {"list anew", [](auto& store) { store.updateConvenienceArrays(); }},
        {"find in a folder", [](auto& store) { EXPECT_TRUE(store.subscriptionInFolder("One", "Top")); }},
        {"search a folder",
         [](auto& store) { EXPECT_TRUE(store.folderContainsSubscriptions(&std::as_const(store.root()))); }},
        {"remove what is missing",
         [](auto& store) { EXPECT_FALSE(store.removeSubscriptionAtPath("Top/None")); }},
        {"remove all of none",
         [](auto& store) { EXPECT_FALSE(store.removeAllSubscriptionsWithUniqueName("Farm:None", "Store")); }},
        {"rename a folder as it is",
         [](auto& store) { EXPECT_TRUE(store.renameFolderAtPath("Top", "Top")); }},
    };
    for (const auto& [name, use] : uses)
        EXPECT_EQ(bytesMadeAnewAfter(use), atTheLeast) << name;
}

} // namespace
} // namespace mox::test
