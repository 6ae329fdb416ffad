#include "BundleModel.hpp"

#include <algorithm>
#include <sys/stat.h>

#include "Failure.hpp"

namespace mox::tool {
namespace {

/// Whether the folder with `status` is the one at `path` or one above it, however its own path is spelt.
bool isAtOrAbove(const struct ::stat& status, std::string path) {
    for (;;) {
        struct ::stat here = {};
        if (stat(path.c_str(), &here) == 0 && here.st_dev == status.st_dev && here.st_ino == status.st_ino)
            return true;
        if (path.size() <= 1) return false;
        path.resize(std::max<std::size_t>(path.rfind('/'), 1));
    }
}

} // namespace

void requireBundleModel(const Session& session, std::string_view command) {
    if (session.model() == SubscriptionModel::ApplicationBundle) return;
    throw UsageFailure(std::string(command) +
                       " is a command of the bundle model: the dictionary model has no stubs");
}

void requireStubIfAny(Session& session, std::string_view operation, const std::string& path) {
    struct ::stat status = {};
    if (session.model() != SubscriptionModel::ApplicationBundle || lstat(path.c_str(), &status) != 0) return;
    if (!session.manager().isSubscriptionAtPath(path)) throw Failure(operation, path, "not a subscription");
}

void requireFolderIfAny(Session& session, std::string_view operation, const std::string& path) {
    struct ::stat status = {};
    if (session.model() != SubscriptionModel::ApplicationBundle || lstat(path.c_str(), &status) != 0) return;
    if (!S_ISDIR(status.st_mode)) throw Failure(operation, path, "not a folder");
    if (session.manager().isSubscriptionAtPath(path))
        throw Failure(operation, path, "a subscription, not a folder");
    if (isAtOrAbove(status, session.applicationsFolder()))
        throw Failure(operation, path, "the applications folder and those above it are left alone");
}

} // namespace mox::tool
