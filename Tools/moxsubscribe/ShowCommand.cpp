#include <iomanip>

#include "Commands.hpp"
#include "JSONOutput.hpp"
#include "PrintableText.hpp"
#include "Words.hpp"

namespace mox::tool {
namespace {

struct ShowOptions {
    std::string path;
    bool json = false;
};

JSON textOrNull(const std::optional<std::string>& text) {
    return text ? JSON(*text) : JSON();
}

JSON iconSizes(const std::optional<Image>& icon) {
    if (!icon) return JSON();
    JSON sizes = JSON::array();
    for (const Image::Representation& representation : icon->representations) {
        sizes.push_back(std::to_string(representation.pixelsWide) + "x" +
                        std::to_string(representation.pixelsHigh));
    }
    return sizes;
}

JSON fileTypesOf(const MOXSubscription& subscription) {
    const std::optional<std::vector<MOXFileType>> fileTypes = subscription.fileTypes();
    if (!fileTypes) return JSON();
    JSON result = JSON::array();
    for (const MOXFileType& type : *fileTypes) {
        result.push_back({{"group", type.group},
                          {"extensions", type.extensions},
                          {"description", textOrNull(type.description)}});
    }
    return result;
}

JSON propertiesOf(const MOXSubscription& subscription, const std::string& path) {
    const auto version = subscription.internalVersion();
    return {
        {"path", path},
        {"resource", textOrNull(subscription.resourceName())},
        {"type", wordOf(subscription.type(), typeWords())},
        {"store", textOrNull(subscription.storeName())},
        {"internal-url", textOrNull(subscription.internalStoreURL())},
        {"external-url", textOrNull(subscription.externalStoreURL())},
        {"gateway", wordOf(subscription.norvikType(), gatewayWords())},
        {"auth", wordOf(subscription.norvikAuthType(), authenticationWords())},
        {"description", textOrNull(subscription.subscriptionDescription())},
        {"launch-url", textOrNull(subscription.launchURL())},
        {"publisher", textOrNull(subscription.publisherName())},
        {"content-address", textOrNull(subscription.contentAddress())},
        {"seamless-name", textOrNull(subscription.seamlessName())},
        {"server", textOrNull(subscription.serverName())},
        {"icon", iconSizes(subscription.icon())},
        {"file-types", fileTypesOf(subscription)},
        {"schema-version", subscription.schemaVersion()},
        {"version", version ? JSON(version->stringValue()) : textOrNull(subscription.subscriptionVersion())},
        {"update-due", subscription.needsUpdate()}};
}

/// A property's value as text; a list's parts are separated by ", ".
std::string textOf(const JSON& value) {
    if (value.is_null()) return "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_string()) return printable(value.get_ref<const std::string&>());
    if (value.is_object()) {
        std::string text = textOf(value["group"]) + " (" + textOf(value["extensions"]) + ")";
        return value["description"].is_null() ? text : text + " " + textOf(value["description"]);
    }
    if (!value.is_array()) return value.dump();
    std::string text;
    for (const JSON& part : value)
        text += (text.empty() ? "" : ", ") + textOf(part);
    return text;
}

void show(Session& session, const ShowOptions& options) {
    const std::string path = session.path(options.path);
    const JSON properties = propertiesOf(*session.subscriptionAtPath("show", path), path);
    if (options.json) return printJSON(session.output(), properties);
    constexpr int widthOfNames = 17;
    for (const auto& [name, value] : properties.items()) {
        session.output() << std::left << std::setw(widthOfNames) << name + ":" << textOf(value) << '\n';
    }
}

} // namespace

void addShowCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<ShowOptions>();
    CLI::App* command = program.add_subcommand("show", "Print every property of a subscription");
    command->footer(R"(A property that is not set is printed as "-". In the dictionary model a missing
folder in PATH stands for the deepest one that exists, and a folder of the
subscription's own path hides it.

Example:
  moxsubscribe show Office/Writer.app --json)");
    command->add_option("PATH", options->path, "The subscription")->required();
    command->add_flag("--json", options->json, "Print a JSON object");
    command->callback(
        [options, chosen] { chosen([options](Session& session) { show(session, *options); }); });
}

} // namespace mox::tool
