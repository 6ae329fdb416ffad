#pragma once

#include "SDK/MOXSubscription.hpp"
#include "SDK/MOXSubscriptionManager.hpp"

#include <optional>
#include <string_view>

namespace mox {

// What both models make of the arguments of `subscribeToResource`.

/// Whether everything that is required is there: the resource's name, a known type, one of the store's
/// addresses, the file name and the folder.
bool areCompleteArguments(std::string_view resourceName, const MOXSubscribeKeywords& keywords);

/// What the record is made of.
MOXSubscriptionKeywords recordKeywords(std::string_view resourceName, const MOXSubscribeKeywords& keywords);

/// Gives the record the icon, description, launch URL, publisher and content address of `info`, nil for what
/// is absent.
void applyOptionalInfo(MOXSubscription& record, const MOXOptionalInfo& info);

/// The document types in `info`; nil when they are absent.
std::optional<std::vector<MOXFileType>> fileTypesInOptionalInfo(const MOXOptionalInfo& info);

} // namespace mox
