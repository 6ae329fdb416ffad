#include <unistd.h>

#include "AbsoluteURL.hpp"
#include "Commands.hpp"
#include "EndSignals.hpp"
#include "Failure.hpp"
#include "Feed.hpp"
#include "FeedMapping.hpp"
#include "FileReading.hpp"
#include "IconFolder.hpp"
#include "JSONOutput.hpp"
#include "PathArguments.hpp"
#include "PrintableText.hpp"
#include "Progress.hpp"
#include "Words.hpp"

namespace mox::tool {
namespace {

struct ImportOptions {
    std::string feed;
    std::optional<std::string> url;
    std::optional<std::string> icons;
    std::optional<std::string> folder;
    bool json = false;
};

struct ImportedResource {
    std::string title;
    std::string path;
    MOXSubscriptionType type;
    bool hasIcon;
};

struct ImportResult {
    std::vector<ImportedResource> imported;
    std::vector<SkippedResource> skipped;
};

Feed feedInFile(const std::string& path) {
    const std::string bytes = bytesOfFile(path, maximumFeedLength);
    try {
        return readFeed(bytes);
    } catch (const FeedError& error) {
        throw Failure("import", path, error.what());
    }
}

/// The path as it stays good when the program is run elsewhere.
std::string absolutePath(const std::string& path) {
    if (path.starts_with('/')) return path;
    std::string folder(4096, '\0');
    if (getcwd(folder.data(), folder.size()) == nullptr) return path;
    folder.resize(folder.find('\0'));
    return folder + "/" + path;
}

FeedPlace placeOf(const Session& session, const ImportOptions& options) {
    const std::string& applicationsFolder = session.applicationsFolder();
    return {options.url ? *options.url : absolutePath(options.feed),
            options.folder ? session.path(*options.folder) : applicationsFolder,
            session.model() == SubscriptionModel::ApplicationBundle ? ".app" : ""};
}

class Importer {
public:
    Importer(Session& session, const Feed& feed, const std::optional<std::string>& icons)
        : _session(session), _feed(feed) {
        if (icons) _icons.emplace(*icons);
    }

    /// Subscribes; what became of it.
    std::string take(PlannedSubscription& planned) try {
        MOXSubscribeKeywords& keywords = planned.keywords;
        const std::string& title = planned.resourceName;
        const bool hasIcon = addIcon(planned);
        std::string path = normalizedPath(keywords.inFolder + "/" + keywords.withFileName);
        std::optional<Error> error;
        if (!_session.manager().subscribeToResource(title, keywords, &error)) {
            return take(SkippedResource{title, path + ": " + (error ? lineOfError(*error) : "failed")});
        }
        _result.imported.push_back({title, path, keywords.ofType, hasIcon});
        return path;
    } catch (const InternalInconsistencyException&) {
        return take(SkippedResource{planned.resourceName,
                                    planned.keywords.inFolder + ": the store has a damaged folder there"});
    }

    std::string take(const SkippedResource& skipped) {
        _result.skipped.push_back(skipped);
        return "skipped: " + skipped.reason;
    }

    const ImportResult& result() const { return _result; }

private:
    bool addIcon(PlannedSubscription& planned) {
        if (!_icons) return false;
        // A resource in several folders comes several times in a row.
        if (_indexOfIcon != planned.resourceIndex) {
            _icon = _icons->largestIcon(_feed.resources[planned.resourceIndex].iconURLs);
            _indexOfIcon = planned.resourceIndex;
        }
        if (!_icon) return false;
        planned.keywords.andOptionalInfo->emplace(MOXOptionalInfoIconImageKey, *_icon);
        return true;
    }

    Session& _session;
    const Feed& _feed;
    std::optional<IconFolder> _icons;
    std::optional<Image> _icon;
    std::optional<std::size_t> _indexOfIcon;
    ImportResult _result;
};

void printSummary(std::ostream& output, const ImportResult& result) {
    for (const SkippedResource& skipped : result.skipped) {
        output << "skipped \"" << printable(skipped.title) << "\": " << printable(skipped.reason) << '\n';
    }
    output << result.imported.size() << " imported, " << result.skipped.size() << " skipped\n";
}

JSON jsonOf(const ImportResult& result) {
    JSON imported = JSON::array();
    for (const ImportedResource& each : result.imported) {
        imported.push_back({{"resource", each.title},
                            {"path", each.path},
                            {"type", wordOf(each.type, typeWords())},
                            {"icon", each.hasIcon}});
    }
    JSON skipped = JSON::array();
    for (const SkippedResource& each : result.skipped) {
        skipped.push_back({{"resource", each.title}, {"reason", each.reason}});
    }
    return {{"imported", std::move(imported)}, {"skipped", std::move(skipped)}};
}

void requireSaved(Session& session, const ImportResult& result) {
    std::vector<std::string> paths;
    for (const ImportedResource& each : result.imported)
        paths.push_back(each.path);
    session.requireSaved(paths);
}

void import(Session& session, const ImportOptions& options) {
    session.manager();
    const Feed feed = feedInFile(options.feed);
    auto plan = planFeed(feed, placeOf(session, options));
    Importer importer(session, feed, options.icons);
    const HeldEndSignals held(session.output());
    {
        const MOXLaunchRegistrationScope scope;
        Progress progress(session.errors(), plan.size(), widthOfErrorTerminal());
        for (auto& item : plan) {
            if (held.arePending()) break;
            const auto* planned = std::get_if<PlannedSubscription>(&item);
            const std::string subject =
                planned ? planned->resourceName : std::get<SkippedResource>(item).title;
            progress.step(subject, std::visit([&](auto& each) { return importer.take(each); }, item));
        }
    }
    const ImportResult& result = importer.result();
    if (!result.imported.empty()) requireSaved(session, result);
    if (options.json) {
        printJSON(session.output(), jsonOf(result));
    } else {
        printSummary(session.output(), result);
    }
    if (result.imported.empty() && !result.skipped.empty()) {
        throw Failure("import", options.feed, "nothing could be imported");
    }
}

std::string refuseRelativeURL(const std::string& url) {
    return isAbsoluteURL(url) ? "" : "\"" + url + "\" is no absolute URL";
}

} // namespace

void addImportCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<ImportOptions>();
    CLI::App* command = program.add_subcommand("import", "Subscribe everything that a workspace feed lists");
    command->footer(R"(FEED is a ResourceCollection document, schemas 1.1 to 2.1. Nothing is fetched:
--url is the address it came from, which makes relative addresses in it whole,
and --icons a folder with its icons, as PNG, TIFF or ICNS files under their own names.

One bad resource does not stop the rest: it is skipped, with the reason. The exit
status is 0 when the feed could be read and the store saved, unless the feed lists
something and nothing of it could be imported.

Example:
  moxsubscribe import feed.xml --icons icons/ --folder Work \
    --url https://apps.example.com/RDWeb/Feed/webfeed.aspx)");
    command->add_option("FEED", options->feed, "The feed's file")->required();
    command->add_option("--url", options->url, "The address that the feed came from")
        ->type_name("URL")
        ->check(CLI::Validator(refuseRelativeURL, ""));
    command->add_option("--icons", options->icons, "A folder with the icons that it names")
        ->type_name("DIR")
        ->check(CLI::Validator(CLI::ExistingDirectory).description(""));
    command
        ->add_option("--folder", options->folder,
                     "The folder for its folders (default: the applications folder)")
        ->type_name("PATH");
    command->add_flag("--json", options->json, "Print what was imported and skipped as a JSON object");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { import(session, *options); }); });
}

} // namespace mox::tool
