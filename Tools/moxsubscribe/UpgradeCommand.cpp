#include <array>
#include <map>

#include "BundleModel.hpp"
#include "Commands.hpp"
#include "EndSignals.hpp"
#include "Failure.hpp"
#include "IconFile.hpp"
#include "JSONOutput.hpp"
#include "PrintableText.hpp"
#include "Progress.hpp"

namespace mox::tool {
namespace {

struct UpgradeOptions {
    std::vector<std::string> paths;
    std::map<std::string, std::string> storeNames;
    std::optional<std::string> iconFile;
    bool json = false;
};

/// What became of one stub.
struct Upgrade {
    enum class Outcome { Upgraded, Current, Failed };

    std::string path;
    Outcome outcome = Outcome::Failed;
    std::string oldVersion;
    std::string newVersion;
    std::string reason;
};

std::string versionOf(const std::shared_ptr<MOXSubscription>& stub) {
    return stub ? stub->subscriptionVersion().value_or("") : "";
}

std::string wordFor(const std::string& version) {
    return version.empty() ? "no version" : version;
}

class Upgrader {
public:
    Upgrader(Session& session, const UpgradeOptions& options) : _session(session), _options(options) {
        if (options.iconFile) _icon = iconInFile(*options.iconFile);
    }

    Upgrade upgrade(const std::string& path) {
        Upgrade result;
        result.path = path;
        const std::shared_ptr<MOXSubscription> before = _session.manager().subscriptionAtPath(path);
        result.oldVersion = versionOf(before);
        const bool isDue = before && before->needsUpdate();
        bool failed = false;
        _session.manager().updateSubscriptionsAtPaths(
            {path},
            [&](const std::string&, const std::optional<Error>& error, bool&) {
                failed = true;
                result.reason = error ? lineOfError(*error) : "failed";
            },
            [&](const std::optional<std::string>& serverName) { return storeNameFor(serverName); },
            [&](const std::shared_ptr<MOXSubscription>& stub) { return iconFor(*stub); });
        if (failed) return result;
        result.outcome = isDue ? Upgrade::Outcome::Upgraded : Upgrade::Outcome::Current;
        result.newVersion =
            isDue ? versionOf(_session.manager().subscriptionAtPath(path)) : result.oldVersion;
        return result;
    }

private:
    std::optional<std::string> storeNameFor(const std::optional<std::string>& serverName) const {
        const auto found = _options.storeNames.find(serverName.value_or(""));
        return found == _options.storeNames.end() ? std::nullopt : std::optional(found->second);
    }

    std::optional<Image> iconFor(const MOXSubscription& stub) const {
        return stub.icon() ? std::nullopt : _icon;
    }

    Session& _session;
    const UpgradeOptions& _options;
    std::optional<Image> _icon;
};

std::string textOf(const Upgrade& upgrade) {
    switch (upgrade.outcome) {
    case Upgrade::Outcome::Upgraded:
        return "upgraded from " + wordFor(upgrade.oldVersion) + " to " + wordFor(upgrade.newVersion);
    case Upgrade::Outcome::Current:
        return "is current (" + wordFor(upgrade.oldVersion) + ")";
    case Upgrade::Outcome::Failed:
        break;
    }
    return "failed: " + upgrade.reason;
}

JSON jsonOf(const std::vector<Upgrade>& upgrades) {
    JSON result = JSON::array();
    for (const Upgrade& each : upgrades) {
        JSON entry = {{"path", each.path}};
        switch (each.outcome) {
        case Upgrade::Outcome::Upgraded:
            entry["result"] = "upgraded";
            break;
        case Upgrade::Outcome::Current:
            entry["result"] = "current";
            break;
        case Upgrade::Outcome::Failed:
            entry["result"] = "failed";
            entry["reason"] = each.reason;
            break;
        }
        if (!each.oldVersion.empty()) entry["old-version"] = each.oldVersion;
        if (!each.newVersion.empty()) entry["new-version"] = each.newVersion;
        result.push_back(std::move(entry));
    }
    return result;
}

/// The stubs that a command without arguments means: all of them.
std::vector<std::string> pathsOf(Session& session, const UpgradeOptions& options) {
    if (options.paths.empty()) return session.manager().subscriptionPaths();
    std::vector<std::string> paths;
    for (const std::string& argument : options.paths)
        paths.push_back(session.path(argument));
    return paths;
}

void upgrade(Session& session, const UpgradeOptions& options) {
    requireBundleModel(session, "upgrade");
    const std::vector<std::string> paths = pathsOf(session, options);
    Upgrader upgrader(session, options);
    std::vector<Upgrade> upgrades;
    std::array<std::size_t, 3> counts{};
    const HeldEndSignals held(session.output());
    {
        const MOXLaunchRegistrationScope scope;
        // Elsewhere than on a terminal its lines would only repeat those of the result.
        std::optional<Progress> progress;
        if (const std::size_t width = widthOfErrorTerminal(); width != 0)
            progress.emplace(session.errors(), paths.size(), width);
        for (const std::string& path : paths) {
            if (held.arePending()) break;
            upgrades.push_back(upgrader.upgrade(path));
            ++counts[static_cast<std::size_t>(upgrades.back().outcome)];
            if (progress) progress->step(path, textOf(upgrades.back()));
        }
    }
    const std::size_t failed = counts[static_cast<std::size_t>(Upgrade::Outcome::Failed)];
    if (options.json) {
        printJSON(session.output(), jsonOf(upgrades));
    } else {
        for (const Upgrade& each : upgrades)
            session.output() << printable(each.path) << ": " << printable(textOf(each)) << '\n';
        session.output() << counts[static_cast<std::size_t>(Upgrade::Outcome::Upgraded)] << " upgraded, "
                         << counts[static_cast<std::size_t>(Upgrade::Outcome::Current)] << " current, "
                         << failed << " failed\n";
    }
    if (failed != 0) {
        throw Failure("upgrade", session.applicationsFolder(),
                      std::to_string(failed) + " of " + std::to_string(upgrades.size()) + " failed");
    }
}

std::string refuseBadStoreName(const std::string& text) {
    const std::size_t equalsSign = text.find('=');
    const bool isGood = equalsSign != std::string::npos && equalsSign != 0 && equalsSign + 1 != text.size();
    return isGood ? "" : "\"" + text + "\" is not of the form SERVER=NAME";
}

} // namespace

void addUpgradeCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<UpgradeOptions>();
    CLI::App* command = program.add_subcommand("upgrade", "Bundle model: bring old stubs up to date");
    command->footer(R"(A stub is old when the template of this version is newer. Each stub is made
anew and takes the old one's place; the old one goes to the Trash, and comes
back when anything fails. The exit status is 1 when a stub failed.

Not on the dictionary model (exit status 2): its entries never grow old.

Example:
  moxsubscribe upgrade --store-name apps.example.com=Fleet)");
    command->add_option("PATH", options->paths, "The stubs (default: all)");
    command
        ->add_option_function<std::vector<std::string>>(
            "--store-name",
            [options](const std::vector<std::string>& texts) {
                for (const std::string& text : texts) {
                    const std::size_t equalsSign = text.find('=');
                    options->storeNames.insert_or_assign(text.substr(0, equalsSign),
                                                         text.substr(equalsSign + 1));
                }
            },
            "The store's name for stubs that have only its server, SERVER=NAME; may be given again")
        ->type_name("SERVER=NAME")
        ->allow_extra_args(false)
        ->check(CLI::Validator(refuseBadStoreName, ""));
    command->add_option("--icon", options->iconFile, "A picture file with an icon for stubs without one")
        ->type_name("FILE");
    command->add_flag("--json", options->json, "Print a JSON array of results");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { upgrade(session, *options); }); });
}

} // namespace mox::tool
