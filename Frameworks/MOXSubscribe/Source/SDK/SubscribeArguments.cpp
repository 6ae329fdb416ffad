#include "SDK/SubscribeArguments.hpp"

#include "SDK/MOXSubscribeAdditions.hpp"

namespace mox {
namespace {

/// The value under `key` when it is a `Value`; else it counts as absent.
template<typename Value>
std::optional<Value> optionalInfoValue(const MOXOptionalInfo& info, std::string_view key) {
    const auto position = info.find(key);
    if (position == info.end()) return std::nullopt;
    const Value* value = std::get_if<Value>(&position->second);
    return value ? std::optional(*value) : std::nullopt;
}

} // namespace

bool areCompleteArguments(std::string_view resourceName, const MOXSubscribeKeywords& keywords) {
    const bool isKnownType = keywords.ofType == MOXSubscriptionType::Application ||
                             keywords.ofType == MOXSubscriptionType::Desktop;
    const bool hasURL =
        !isNilOrEmpty(keywords.withInternalStoreURL) || !isNilOrEmpty(keywords.andExternalStoreURL);
    return !resourceName.empty() && isKnownType && hasURL && !keywords.withFileName.empty() &&
           !keywords.inFolder.empty();
}

MOXSubscriptionKeywords recordKeywords(std::string_view resourceName, const MOXSubscribeKeywords& keywords) {
    return {.resourceName = std::string(resourceName),
            .type = keywords.ofType,
            .storeName = keywords.onStoreNamed,
            .internalStoreURL = keywords.withInternalStoreURL,
            .externalStoreURL = keywords.andExternalStoreURL,
            .norvikType = keywords.usingNorvikType,
            .norvikAuthType = keywords.andNorvikAuthType};
}

void applyOptionalInfo(MOXSubscription& record, const MOXOptionalInfo& info) {
    record.setIcon(optionalInfoValue<Image>(info, MOXOptionalInfoIconImageKey));
    record.setSubscriptionDescription(optionalInfoValue<std::string>(info, MOXOptionalInfoDescriptionKey));
    record.setLaunchURL(optionalInfoValue<std::string>(info, MOXOptionalInfoLaunchURLKey));
    record.setPublisherName(optionalInfoValue<std::string>(info, MOXOptionalInfoPublisherNameKey));
    record.setContentAddress(optionalInfoValue<std::string>(info, MOXOptionalInfoContentAddressKey));
}

std::optional<std::vector<MOXFileType>> fileTypesInOptionalInfo(const MOXOptionalInfo& info) {
    return optionalInfoValue<std::vector<MOXFileType>>(info, MOXOptionalInfoFileTypesKey);
}

} // namespace mox
