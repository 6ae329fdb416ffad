#include "BundleModel.hpp"

#include <sys/stat.h>

#include "Failure.hpp"

namespace mox::tool {

void requireBundleModel(const Session& session, std::string_view command) {
    if (session.model() == SubscriptionModel::ApplicationBundle) return;
    throw UsageFailure(std::string(command) +
                       " is a command of the bundle model: the dictionary model has no stubs");
}

void requireStubIfAny(Session& session, std::string_view operation, const std::string& path) {
    struct ::stat status;
    if (session.model() != SubscriptionModel::ApplicationBundle || lstat(path.c_str(), &status) != 0) return;
    if (!session.manager().isSubscriptionAtPath(path)) throw Failure(operation, path, "not a subscription");
}

void requireFolderIfAny(Session& session, std::string_view operation, const std::string& path) {
    struct ::stat status;
    if (session.model() != SubscriptionModel::ApplicationBundle || lstat(path.c_str(), &status) != 0) return;
    if (!S_ISDIR(status.st_mode)) throw Failure(operation, path, "not a folder");
    if (session.manager().isSubscriptionAtPath(path))
        throw Failure(operation, path, "a subscription, not a folder");
    if (path == "/" || (session.applicationsFolder() + "/").starts_with(path + "/"))
        throw Failure(operation, path, "the applications folder and those above it are left alone");
}

std::shared_ptr<MOXSubscription> stubAtPath(Session& session, const std::string& path) {
    std::optional<Error> error;
    auto stub = session.manager().subscriptionAtPath(path, &error);
    if (stub) return stub;
    if (error) throw Failure(*error, path);
    throw Failure("read", path, "failed");
}

} // namespace mox::tool
