#include "FeedMapping.hpp"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>

#include "AbsoluteURL.hpp"
#include "PathArguments.hpp"
#include "PlainName.hpp"
#include "StubName.hpp"

namespace mox::tool {
namespace {

using Plan = std::vector<std::variant<PlannedSubscription, SkippedResource>>;

// A resource's texts are copied for each of its folders: bounds keep a hostile feed from growing in memory.
constexpr std::size_t maximumFolderCount = 32;
constexpr std::size_t maximumExtensionCount = 256;

/// A folder of the store, or why a feed's folder can be none.
struct FolderChoice {
    std::string path;
    std::string refusal;
};

/// A component that a feed names, as it is stored.
std::string storedComponent(std::string_view component) {
    return std::string(cutAtCharacter(plainName(component), maximumNameLength));
}

FolderChoice folderBelow(const FeedPlace& place, std::string_view name) {
    const std::string& base = place.folder;
    if (name == "/") return {base, ""};
    std::string_view rest = name;
    if (rest.starts_with('/')) rest.remove_prefix(1);
    std::string path = base == "/" ? "" : base;
    for (bool more = true; more;) {
        const std::size_t slash = rest.find('/');
        const std::string_view component = rest.substr(0, slash);
        const std::string stored = storedComponent(component);
        // What is in a stub, or in a folder that looks like one, is listed nowhere; and a server has no
        // business in the programs that are there.
        const bool isStub = !place.fileNameExtension.empty() && stubName(stored) == stored;
        if (component.empty() || component == "." || component == ".." || isStub) {
            return {"", "folder \"" + std::string(name) + "\": the component \"" + std::string(component) +
                            "\" is refused"};
        }
        path += "/" + stored;
        more = slash != std::string_view::npos;
        if (more) rest.remove_prefix(slash + 1);
        // Stops a name of megabytes early; the file name still comes behind.
        if (path.size() > maximumPathLength) return {"", "the folder's path is too long"};
    }
    return {path, ""};
}

std::optional<MOXSubscriptionType> typeOfWord(std::string_view word) {
    if (word == "RemoteApp") return MOXSubscriptionType::Application;
    if (word == "Desktop") return MOXSubscriptionType::Desktop;
    return std::nullopt;
}

/// Extensions with their leading "."; what could not be the end of a file's name is left out.
std::vector<std::string> cleanExtensions(const std::vector<std::string>& extensions) {
    std::vector<std::string> result;
    for (const std::string& extension : extensions) {
        if (result.size() == maximumExtensionCount) break;
        const std::string dotted = extension.starts_with('.') ? extension : "." + extension;
        const bool usable =
            dotted.size() > 1 && dotted.size() <= maximumNameLength && plainName(dotted) == dotted;
        if (usable && std::find(result.begin(), result.end(), dotted) == result.end())
            result.push_back(dotted);
    }
    return result;
}

MOXOptionalInfo optionalInfoOf(const FeedResource& resource, const FeedPlace& place) {
    MOXOptionalInfo info;
    if (resource.publisher) info.emplace(MOXOptionalInfoPublisherNameKey, *resource.publisher);
    if (!resource.resourceFileURL.empty()) {
        if (auto url = absoluteURL(resource.resourceFileURL, place.source)) {
            info.emplace(MOXOptionalInfoLaunchURLKey, std::move(*url));
        }
    }
    if (auto extensions = cleanExtensions(resource.fileExtensions); !extensions.empty()) {
        info.emplace(MOXOptionalInfoFileTypesKey,
                     std::vector<MOXFileType>{{resource.title, std::move(extensions), std::nullopt}});
    }
    return info;
}

class Planner {
public:
    Planner(const Feed& feed, const FeedPlace& place) : _place(place) {
        for (const FeedResource& resource : feed.resources) {
            for (const FolderChoice& choice : foldersOf(resource))
                rememberWithParents(choice.path);
        }
    }

    void plan(const FeedResource& resource, std::size_t index) {
        if (resource.title.empty()) return skip(resource, "it has no title");
        const auto type = typeOfWord(resource.type);
        if (!type) {
            return skip(resource,
                        resource.type.empty() ? "it has no type" : "unknown type \"" + resource.type + "\"");
        }
        if (resource.folders.size() > maximumFolderCount) return skip(resource, "it is in too many folders");
        std::set<std::string> folders;
        for (const FolderChoice& choice : foldersOf(resource)) {
            if (!choice.refusal.empty()) {
                skip(resource, choice.refusal);
            } else {
                folders.insert(choice.path);
            }
        }
        const auto fileName = freeName(resource, folders);
        if (!fileName) return skip(resource, "an earlier resource of the feed has its name and alias");
        for (const std::string& folder : folders) {
            if (folder.size() + 1 + fileName->size() > maximumPathLength) {
                skip(resource, "its path is too long");
                continue;
            }
            _plan.emplace_back(
                PlannedSubscription{.resourceIndex = index,
                                    .resourceName = resource.title,
                                    .keywords = {.ofType = *type,
                                                 .onStoreNamed = resource.publisher,
                                                 .withInternalStoreURL = _place.source,
                                                 .andExternalStoreURL = std::nullopt,
                                                 .withFileName = *fileName,
                                                 .inFolder = folder,
                                                 .andOptionalInfo = optionalInfoOf(resource, _place)}});
        }
    }

    Plan takePlan() { return std::move(_plan); }

private:
    std::vector<FolderChoice> foldersOf(const FeedResource& resource) const {
        if (resource.folders.empty()) return {{_place.folder, ""}};
        std::vector<FolderChoice> choices;
        for (const std::string& name : resource.folders)
            choices.push_back(folderBelow(_place, name));
        return choices;
    }

    void rememberWithParents(std::string path) {
        while (path.size() > _place.folder.size() && _folders.insert(path).second)
            path.erase(path.rfind('/'));
    }

    void skip(const FeedResource& resource, std::string reason) {
        _plan.emplace_back(
            SkippedResource{resource.title.empty() ? resource.alias : resource.title, std::move(reason)});
    }

    /// A folder of the same path would hide the subscription, so that its name counts as taken too.
    bool isFree(const std::string& name, const std::set<std::string>& folders) const {
        return !_names.contains(name) &&
               std::none_of(folders.begin(), folders.end(), [&](const std::string& folder) {
                   return _folders.contains(normalizedPath(folder + "/" + name));
               });
    }

    /// Title and extension, with the alias between when that is taken; nil when both are.
    std::optional<std::string> freeName(const FeedResource& resource, const std::set<std::string>& folders) {
        constexpr std::size_t maximumAliasLength = 120;
        const std::string title = plainName(resource.title);
        const std::string alias(cutAtCharacter(plainName(resource.alias), maximumAliasLength));
        std::vector<std::string> endings{_place.fileNameExtension};
        if (!alias.empty()) endings.push_back(" (" + alias + ")" + _place.fileNameExtension);
        for (const std::string& ending : endings) {
            std::string name = std::string(cutAtCharacter(title, maximumNameLength - ending.size())) + ending;
            if (isFree(name, folders)) return *_names.insert(std::move(name)).first;
        }
        return std::nullopt;
    }

    const FeedPlace& _place;
    Plan _plan;
    std::set<std::string> _names;
    std::set<std::string> _folders;
};

} // namespace

Plan planFeed(const Feed& feed, const FeedPlace& place) {
    Planner planner(feed, place);
    for (std::size_t index = 0; index < feed.resources.size(); ++index)
        planner.plan(feed.resources[index], index);
    return planner.takePlan();
}

} // namespace mox::tool
