#include <cerrno>

#include "Commands.hpp"
#include "EndSignals.hpp"
#include "Failure.hpp"
#include "FileTypeOption.hpp"
#include "IconFile.hpp"
#include "StubName.hpp"
#include "WordOption.hpp"
#include "Words.hpp"

namespace mox::tool {
namespace {

struct SubscribeOptions {
    std::string resource;
    MOXSubscriptionType type = MOXSubscriptionType::Unknown;
    std::string fileName;
    std::optional<std::string> folder;
    std::optional<std::string> store;
    std::optional<std::string> internalURL;
    std::optional<std::string> externalURL;
    MOXNorvikType gateway = MOXNorvikType::None;
    MOXNorvikAuthType authentication = MOXNorvikAuthType::None;
    std::optional<std::string> iconFile;
    std::optional<std::string> description;
    std::optional<std::string> launchURL;
    std::optional<std::string> publisher;
    std::optional<std::string> contentAddress;
    std::vector<std::string> fileTypes;
};

MOXOptionalInfo optionalInfoOf(const SubscribeOptions& options) {
    MOXOptionalInfo info;
    const auto put = [&](std::string_view key, const std::optional<std::string>& text) {
        if (text) info.emplace(key, *text);
    };
    put(MOXOptionalInfoDescriptionKey, options.description);
    put(MOXOptionalInfoLaunchURLKey, options.launchURL);
    put(MOXOptionalInfoPublisherNameKey, options.publisher);
    put(MOXOptionalInfoContentAddressKey, options.contentAddress);
    if (options.iconFile) info.emplace(MOXOptionalInfoIconImageKey, iconInFile(*options.iconFile));
    std::vector<MOXFileType> fileTypes;
    for (const std::string& text : options.fileTypes)
        fileTypes.push_back(fileTypeFromOption(text).value());
    if (!fileTypes.empty()) info.emplace(MOXOptionalInfoFileTypesKey, std::move(fileTypes));
    return info;
}

void subscribe(Session& session, const SubscribeOptions& options) {
    MOXSubscriptionManager& manager = session.manager();
    const std::string folder = options.folder ? session.path(*options.folder) : session.applicationsFolder();
    const bool makesStub = session.model() == SubscriptionModel::ApplicationBundle;
    const std::string fileName = makesStub ? stubName(options.fileName) : options.fileName;
    const std::string path = session.path(folder + "/" + fileName);
    const MOXOptionalInfo optionalInfo = optionalInfoOf(options);
    const HeldEndSignals held(session.output());
    std::optional<Error> error;
    const bool done = manager.subscribeToResource(options.resource,
                                                  {.ofType = options.type,
                                                   .onStoreNamed = options.store,
                                                   .withInternalStoreURL = options.internalURL,
                                                   .andExternalStoreURL = options.externalURL,
                                                   .usingNorvikType = options.gateway,
                                                   .andNorvikAuthType = options.authentication,
                                                   .withFileName = fileName,
                                                   .inFolder = folder,
                                                   .andOptionalInfo = optionalInfo},
                                                  &error);
    if (!done && error) throw Failure(*error, folder.empty() ? "" : path);
    if (!done) throw Failure("subscribe", path, "failed");
    session.requireSaved({path});
}

std::string refuseSlash(const std::string& name) {
    return name.find('/') == std::string::npos
               ? ""
               : "a file name holds no \"/\": choose the folder with --folder";
}

std::string refuseBadFileType(const std::string& text) {
    return fileTypeFromOption(text) ? "" : "\"" + text + "\" is not of the form GROUP:.ext,.ext:DESCRIPTION";
}

} // namespace

void addSubscribeCommand(CLI::App& program, const CommandChosen& chosen) {
    const auto options = std::make_shared<SubscribeOptions>();
    CLI::App* command = program.add_subcommand("subscribe", "Subscribe one resource");
    command->footer(R"(An existing subscription of the same name and type is replaced; in the bundle
model its stub is refreshed in place. At least one of the two URLs is needed.
Missing folders are made. In the bundle model a file name without ".app" gets it.

Example:
  moxsubscribe subscribe --resource "Fleet:Writer" \
    --type application --file-name Writer --folder Office --store Fleet \
    --internal-url https://apps.example.com/ --file-type 'Text:.odt,.txt:Text document')");
    command->add_option("--resource", options->resource, "The resource's name on its store")
        ->type_name("NAME")
        ->required();
    addWordOption(*command, "--type", options->type, typeWords(), "What it starts")->required();
    command->add_option("--file-name", options->fileName, "The subscription's name in its folder")
        ->type_name("NAME")
        ->check(CLI::Validator(refuseSlash, ""))
        ->required();
    command->add_option("--folder", options->folder, "Its folder (default: the applications folder)")
        ->type_name("PATH");
    command->add_option("--store", options->store, "The store's name")->type_name("NAME");
    command->add_option("--internal-url", options->internalURL, "The store's address from inside its network")
        ->type_name("URL");
    command->add_option("--external-url", options->externalURL, "The store's address from outside")
        ->type_name("URL");
    addWordOption(*command, "--gateway", options->gateway, gatewayWords(),
                  "The kind of gateway (default: none)");
    addWordOption(*command, "--auth", options->authentication, authenticationWords(),
                  "How the gateway authenticates (default: none)");
    command->add_option("--icon", options->iconFile, "A PNG, TIFF or ICNS file with its icon")
        ->type_name("FILE");
    command->add_option("--description", options->description, "A text about it")->type_name("TEXT");
    command->add_option("--launch-url", options->launchURL, "The address that starts it")->type_name("URL");
    command->add_option("--publisher", options->publisher, "Who publishes it")->type_name("NAME");
    command
        ->add_option("--content-address", options->contentAddress, "The address of the content that it shows")
        ->type_name("TEXT");
    command
        ->add_option(
            "--file-type", options->fileTypes,
            "A type of documents that it opens, GROUP:.ext,.ext:DESCRIPTION; may be given again (kept by "
            "the bundle model)")
        ->type_name("TYPE")
        ->allow_extra_args(false)
        ->check(CLI::Validator(refuseBadFileType, ""));
    command->callback(
        [options, chosen] { chosen([options](Session& session) { subscribe(session, *options); }); });
}

} // namespace mox::tool
