#include "ModelBased/SubjectTexts.hpp"

namespace mox::test::model {
namespace {

std::vector<MOXFileType> fileTypesOf(const std::vector<FileType>& fileTypes) {
    std::vector<MOXFileType> result;
    for (const FileType& fileType : fileTypes)
        result.push_back({fileType.group, fileType.extensions, fileType.description});
    return result;
}

std::optional<MOXOptionalInfo> optionalInfoOf(const Step& step) {
    if (!step.info) return std::nullopt;
    MOXOptionalInfo info;
    const auto put = [&info](std::string_view key, const std::optional<std::string>& text) {
        if (text) info.emplace(key, *text);
    };
    put(MOXOptionalInfoDescriptionKey, step.info->description);
    put(MOXOptionalInfoLaunchURLKey, step.info->launchURL);
    put(MOXOptionalInfoPublisherNameKey, step.info->publisher);
    put(MOXOptionalInfoContentAddressKey, step.info->contentAddress);
    if (step.info->icon != 0) info.emplace(MOXOptionalInfoIconImageKey, imageOfSide(step.info->icon));
    if (step.info->fileTypes) info.emplace(MOXOptionalInfoFileTypesKey, fileTypesOf(*step.info->fileTypes));
    return info;
}

} // namespace

std::string textOf(const PropertyList& value) {
    if (const std::string* text = value.string()) return quoted(*text);
    if (const std::optional<std::int64_t> number = value.integer()) return std::to_string(*number);
    if (const std::optional<bool> isTrue = value.boolean()) return *isTrue ? "true" : "false";
    if (value.data()) return "data";
    std::string list;
    if (const PropertyList::Array* array = value.array()) {
        for (const PropertyList& element : *array)
            list.append(list.empty() ? "" : ", ").append(textOf(element));
        return "[" + list + "]";
    }
    if (const PropertyList::Dictionary* dictionary = value.dictionary()) {
        for (const auto& [key, element] : *dictionary)
            list.append(list.empty() ? "" : ", ").append(quoted(key)).append(": ").append(textOf(element));
        return "{" + list + "}";
    }
    return "something else";
}

std::vector<std::string> propertiesOf(const MOXSubscription* record) {
    if (!record) return {"nil"};
    const std::optional<PropertyList::Dictionary> dictionary = record->dictionaryRepresentation();
    const std::optional<Image> icon = record->icon();
    std::string sides;
    for (const Image::Representation& representation : icon ? icon->representations : Image().representations)
        sides.append(sides.empty() ? "" : " ").append(std::to_string(representation.pixelsWide));
    return {
        "dictionary " + (dictionary ? textOf(*dictionary) : "nil"),
        "resource " + told(record->resourceName()),
        "store " + told(record->storeName()),
        "URLs " + told(record->internalStoreURL()) + told(record->externalStoreURL()),
        "description " + told(record->subscriptionDescription()),
        "launch URL " + told(record->launchURL()),
        "publisher " + told(record->publisherName()),
        "address " + told(record->contentAddress()),
        "seamless name " + told(record->seamlessName()),
        "server " + told(record->serverName()),
        "type " + std::to_string(static_cast<int>(record->type())),
        "gateway " + std::to_string(static_cast<int>(record->norvikType())),
        "authentication " + std::to_string(static_cast<int>(record->norvikAuthType())),
        "schema " + std::to_string(record->schemaVersion()),
        "icon " + (icon ? sides : "nil"),
    };
}

Image imageOfSide(int side) {
    Image::Representation representation;
    representation.pixelsWide = static_cast<std::uint32_t>(side);
    representation.pixelsHigh = representation.pixelsWide;
    representation.size = {static_cast<double>(side), static_cast<double>(side)};
    representation.pixels = std::vector<std::uint8_t>(
        std::size_t{4} * representation.pixelsWide * representation.pixelsHigh, 0x80);
    Image image;
    image.size = representation.size;
    image.representations.push_back(std::move(representation));
    return image;
}

std::string xmlElement(const std::string& name, const std::string& text) {
    std::string xml = "<" + name + ">";
    for (const char character : text) {
        switch (character) {
        case '&':
            xml.append("&amp;");
            break;
        case '<':
            xml.append("&lt;");
            break;
        case '\r':
            xml.append("&#13;");
            break;
        default:
            xml.push_back(character);
        }
    }
    return xml + "</" + name + ">";
}

std::string xmlOf(const Entry& entry) {
    std::string xml = "<dict>";
    for (const auto& [key, value] : entry) {
        xml.append(xmlElement("key", key));
        xml.append(xmlElement(value.kind == EntryValue::Kind::Text ? "string" : "integer", value.text));
    }
    return xml + "</dict>";
}

MOXSubscribeKeywords keywordsOf(const Step& step) {
    return {.ofType = static_cast<MOXSubscriptionType>(step.type),
            .onStoreNamed = step.store,
            .withInternalStoreURL = step.internalURL,
            .andExternalStoreURL = step.externalURL,
            .usingNorvikType = static_cast<MOXNorvikType>(step.gateway),
            .andNorvikAuthType = static_cast<MOXNorvikAuthType>(step.authentication),
            .withFileName = step.fileName,
            .inFolder = step.path,
            .andOptionalInfo = optionalInfoOf(step)};
}

MOXSubscriptionKeywords recordKeywordsOf(const Step& step) {
    return {.resourceName = step.resource.value_or(""),
            .type = static_cast<MOXSubscriptionType>(step.type),
            .storeName = step.store,
            .internalStoreURL = step.internalURL,
            .externalStoreURL = step.externalURL,
            .norvikType = static_cast<MOXNorvikType>(step.gateway),
            .norvikAuthType = static_cast<MOXNorvikAuthType>(step.authentication)};
}

void applyInfo(const Step& step, MOXSubscription& record) {
    if (!step.info) return;
    if (step.info->icon != 0) record.setIcon(imageOfSide(step.info->icon));
    record.setSubscriptionDescription(step.info->description);
    record.setLaunchURL(step.info->launchURL);
    record.setPublisherName(step.info->publisher);
    record.setContentAddress(step.info->contentAddress);
    if (step.info->fileTypes) record.setFileTypes(fileTypesOf(*step.info->fileTypes));
}

} // namespace mox::test::model
