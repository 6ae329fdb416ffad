#pragma once

#include "SDK/MOXSubscriptionManager.hpp"
#include "SDK/PlistStore.hpp"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace mox::test {

/// A client of the dictionary model, which reaches the store by the shared manager alone.
class DictionaryModelScenario : public PlistStoreTest {
protected:
    using Manager = std::shared_ptr<MOXSubscriptionManager>;

    DictionaryModelScenario();
    ~DictionaryModelScenario() override;

    /// Ends the client and starts it anew; its shared manager, which is then also `manager`. A manager that a
    /// test keeps elsewhere would be given out again.
    const Manager& start();
    /// Ends the client.
    void end();

    /// What an operation is told apart by, with a call of it that changes `sampleTree`.
    struct Operation {
        std::string name;
        std::function<void(MOXSubscriptionManager&)> perform;
    };

    /// A store with folders and subscriptions that each of `operations` can work on.
    static Dictionary sampleTree();
    /// Every operation that changes the store, once each.
    static std::vector<Operation> operations();

    /// The trees that are saved one after the other when `operation` works on `sampleTree`: the one before
    /// any save first.
    std::vector<Dictionary> savedTrees(const Operation& operation);

    /// Whether there is nothing in the support folder but the file of the store.
    bool isSupportFolderClean() const;

    Manager manager;
    const std::string apps = "/Users/user/Applications";
    const std::string writeErrorLine = "-[MOXPlistSubscriptionManager saveSubscriptions] Error writing "
                                       "subscription dictionary at path (" +
                                       plistPath() + ")";
};

/// Whether `bytes` are exactly the file of one of `trees`.
bool isFileOfOneOf(std::string_view bytes, const std::vector<Dictionary>& trees);

} // namespace mox::test
