#include "Session.hpp"

#include "Failure.hpp"
#include "PathArguments.hpp"
#include "PrintableText.hpp"

namespace mox::tool {
namespace {

/// The base's part of a manager, which knows the applications folder and reads no store: a damaged store must
/// not keep the program from saying where its file is.
class StorelessManager : public MOXSubscriptionManager {
public:
    StorelessManager() = default;
};

} // namespace

Session::Session(SubscriptionModel model, std::ostream& output, std::ostream& errors)
    : _model(model)
    , _output(output)
    , _errors(errors)
    , _storeFile(StoreFile::besideApplicationsFolder(StorelessManager().appsFolderPath()))
    , _applicationsFolder(textInStore(StorelessManager().appsFolderPath())) {}

std::string Session::textInStore(const std::string& text) const {
    return _model == SubscriptionModel::Dictionary ? storedText(text) : text;
}

std::string Session::path(std::string_view argument) const {
    return textInStore(absoluteArgument(argument, _applicationsFolder));
}

MOXSubscriptionManager& Session::manager() {
    if (!_manager) {
        MOXSubscriptionManager::setSubscriptionModel(_model);
        _manager = MOXSubscriptionManager::sharedManager();
    }
    return *_manager;
}

std::shared_ptr<MOXSubscription> Session::subscriptionAtPath(std::string_view operation,
                                                             const std::string& path) {
    std::optional<Error> error;
    std::shared_ptr<MOXSubscription> subscription = manager().subscriptionAtPath(path, &error);
    if (subscription) return subscription;
    if (error) throw Failure(*error, path);
    throw Failure(operation, path, "failed");
}

void Session::requireSaved(const std::vector<std::string>& changedPaths) {
    if (_model != SubscriptionModel::Dictionary) return;
    if (!_storeFile.matches(manager(), changedPaths)) {
        throw Failure(
            "save", _storeFile.path(),
            "the change did not reach this file: it could not be written (the system log says why), or "
            "another program wrote it at the same time");
    }
}

void Session::remark(std::string_view text) const {
    _errors << "moxsubscribe: note: " << printable(text) << '\n';
}

} // namespace mox::tool
