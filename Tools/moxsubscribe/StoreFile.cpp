#include "StoreFile.hpp"

#include <algorithm>
#include <map>
#include <utility>

#include "PathArguments.hpp"

namespace mox::tool {
namespace {

/// What a store's file holds, by path. The entry of a subscription that is no dictionary is null.
struct StoreContent {
    std::vector<std::string> folders;
    std::vector<std::string> subscriptionPaths;
    std::map<std::string, const PropertyList::Dictionary*> entries;
};

std::string joined(std::string_view folder, std::string_view name) {
    return normalizedPath(folder.empty() ? std::string(name) : std::string(folder) + "/" + std::string(name));
}

StoreContent contentOf(const PropertyList::Dictionary& root) {
    StoreContent content;
    // A stack of its own: folders may be nested more deeply than calls.
    std::vector<std::pair<const PropertyList::Dictionary*, std::string>> pending{{&root, ""}};
    while (!pending.empty()) {
        const auto [node, path] = std::move(pending.back());
        pending.pop_back();
        if (!path.empty()) content.folders.push_back(path);
        if (node == nullptr) continue;
        if (const auto* subscriptions = node->dictionary("Subscriptions")) {
            for (const auto& [name, entry] : *subscriptions) {
                content.subscriptionPaths.push_back(joined(path, name));
                content.entries.emplace(content.subscriptionPaths.back(), entry.dictionary());
            }
        }
        if (const auto* folders = node->dictionary("Folders")) {
            for (const auto& [name, child] : *folders)
                pending.emplace_back(child.dictionary(), joined(path, name));
        }
    }
    std::sort(content.folders.begin(), content.folders.end());
    std::sort(content.subscriptionPaths.begin(), content.subscriptionPaths.end());
    return content;
}

/// The paths in the order and form in which a store's content is compared.
std::vector<std::string> comparable(const std::vector<std::string>& paths) {
    std::vector<std::string> result;
    result.reserve(paths.size());
    for (const std::string& path : paths)
        result.push_back(normalizedPath(path));
    std::sort(result.begin(), result.end());
    return result;
}

bool entryMatches(const StoreContent& content, MOXSubscriptionManager& manager, const std::string& path) {
    const auto found = content.entries.find(path);
    if (found == content.entries.end() || found->second == nullptr) return false;
    const std::shared_ptr<MOXSubscription> record = manager.subscriptionAtPath(path);
    // A folder of the same path hides the entry from every look-up; that it is there has to do.
    return !record || record->dictionaryRepresentation() == *found->second;
}

} // namespace

StoreFile StoreFile::besideApplicationsFolder(std::string_view applicationsFolder) {
    const std::string_view home = applicationsFolder.substr(0, applicationsFolder.rfind('/'));
    return StoreFile(std::string(home) + "/Library/Application Support/Korvan Ostrel/Subscriptions.plist");
}

bool StoreFile::matches(MOXSubscriptionManager& manager, const std::vector<std::string>& changedPaths) const {
    // A launch alias is the framework's way to read any property list that is a dictionary.
    const std::shared_ptr<MOXLaunchAlias> file = MOXLaunchAlias::launchAliasWithFile(_path);
    if (!file) return false;
    const PropertyList::Dictionary root = file->dictionaryRepresentation();
    const StoreContent content = contentOf(root);
    return content.folders == comparable(manager.folders()) &&
           content.subscriptionPaths == comparable(manager.subscriptionPaths()) &&
           std::all_of(changedPaths.begin(), changedPaths.end(),
                       [&](const std::string& path) { return entryMatches(content, manager, path); });
}

} // namespace mox::tool
