#pragma once

#include <MOXSubscribe.hpp>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "StoreFile.hpp"

namespace mox::tool {

/// What a command works with: the chosen model's store, the two outputs, and the user's applications folder.
class Session {
public:
    Session(SubscriptionModel model, std::ostream& output, std::ostream& errors);

    SubscriptionModel model() const { return _model; }

    /// What the command was asked for goes here.
    std::ostream& output() const { return _output; }

    /// Progress and remarks go here.
    std::ostream& errors() const { return _errors; }

    /// Where relative paths begin, as the store keeps it. Loads no store.
    const std::string& applicationsFolder() const { return _applicationsFolder; }

    /// The path that a user means by `argument`, as the store keeps it: in the dictionary model bytes that
    /// are no UTF-8 are U+FFFD, in the bundle model it is the disk's own path. A relative one lies below the
    /// applications folder. Loads no store.
    std::string path(std::string_view argument) const;

    /// The store. Throws what the framework throws for a damaged store.
    MOXSubscriptionManager& manager();

    /// The record of the subscription at `path`. Fails (`Failure`) for `operation` with the framework's error
    /// when there is none.
    std::shared_ptr<MOXSubscription> subscriptionAtPath(std::string_view operation, const std::string& path);

    /// Whether `manager` has loaded the store.
    bool isOpen() const { return _manager != nullptr; }

    /// Fails (`Failure`) when the dictionary model's file does not tell what the manager tells: the framework
    /// only logs a save that fails. The entries at `changedPaths` are compared too, of everything else the
    /// paths. To be called once, after the last change. The bundle model's results tell the truth already.
    void requireSaved(const std::vector<std::string>& changedPaths = {});

    /// Prints a remark, as one line, for something that a user may not expect.
    void remark(std::string_view text) const;

    /// The store's file, for messages.
    const std::string& storeFilePath() const { return _storeFile.path(); }

private:
    std::string textInStore(const std::string& text) const;

    SubscriptionModel _model;
    std::ostream& _output;
    std::ostream& _errors;
    StoreFile _storeFile;
    std::string _applicationsFolder;
    std::shared_ptr<MOXSubscriptionManager> _manager;
};

} // namespace mox::tool
