#include "BundleModel.hpp"

#include "Failure.hpp"

namespace mox::tool {

void requireBundleModel(const Session& session, std::string_view command) {
    if (session.model() == SubscriptionModel::ApplicationBundle) return;
    throw UsageFailure(std::string(command) +
                       " is a command of the bundle model: the dictionary model has no stubs");
}

std::shared_ptr<MOXSubscription> stubAtPath(Session& session, const std::string& path) {
    std::optional<Error> error;
    auto stub = session.manager().subscriptionAtPath(path, &error);
    if (stub) return stub;
    if (error) throw Failure(*error, path);
    throw Failure("read", path, "failed");
}

} // namespace mox::tool
