#pragma once

#include "SDK/BundleStore.hpp"

namespace mox::test {

/// Tests of the upgrade, with templates of version 2.0 beside the client. Old stubs are of version 1.0.
class UpgradeTest : public BundleStoreTest {
protected:
    UpgradeTest() { makeTemplates(); }

    /// What a log line of the upgrade is: `text` behind the operation's name.
    static std::string line(const std::string& text) {
        return "-[MOXFileSubscriptionManager updateSubscription:storeNameBlock:iconBlock:error:] " + text;
    }

    /// A launch alias that knows a store.
    static Dictionary oldAlias() {
        return dictionaryOf({{"Korvan Application Type", "Application"},
                             {"Korvan Server Unique Application Name", "Farm:Word"},
                             {"Store Name", "Store"}});
    }
    /// Makes an old stub at `relativePath` in the applications folder; gives the absolute path.
    std::string makeOldStub(std::string_view relativePath, Dictionary alias = oldAlias()) const {
        alias.set("Korvan Application Type", "Application");
        return makeBundle(std::string(fromApps).append("/").append(relativePath),
                          {.infoPlist = dictionaryOf({{"KorvanVersionString", "1.0"}}),
                           .alias = alias,
                           .files = {{"Contents/mark", "old"}}});
    }
    /// Whether the whole of an old stub is at `path`.
    bool isOldStub(const std::string& path) const {
        return isThere(path + "/Contents/mark") && isThere(path + "/" + std::string(aliasFile)) &&
               versionOf(path) == "1.0";
    }
    static std::string versionOf(const std::string& bundle) {
        const Dictionary infoPlist = infoPlistOf(bundle);
        const std::string* version = infoPlist.string("KorvanVersionString");
        return version ? *version : "none";
    }

    /// The path of `name` in the user's Trash.
    std::string inTrash(std::string_view name) const {
        return test.homePath(".local/share/Trash/files/").append(name);
    }

    /// A callback that tells the store's name, and is told in `asked`.
    MOXUpdateStoreNameBlock askForStore(const std::optional<std::string>& answer) {
        return [this, answer](const std::optional<std::string>& serverName) {
            asked.push_back("store of " + serverName.value_or("nil"));
            return answer;
        };
    }
    /// A callback that gives an icon of that many pixels a side, nil without a side, and is told in `asked`.
    MOXUpdateIconBlock askForIcon(std::optional<std::uint32_t> side) {
        return [this, side](const std::shared_ptr<MOXSubscription>& record) {
            asked.push_back("icon of " + record->path().value_or("nil"));
            return side ? std::optional(imageOfSides({*side})) : std::nullopt;
        };
    }

    Lines asked;
};

} // namespace mox::test
