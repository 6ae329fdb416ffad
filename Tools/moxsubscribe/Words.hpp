#pragma once

#include <MOXSubscribe.hpp>
#include <map>
#include <string>
#include <string_view>

namespace mox::tool {

// The words that the command line uses for the framework's kinds.

const std::map<std::string, SubscriptionModel>& modelWords();
const std::map<std::string, MOXSubscriptionType>& typeWords();
const std::map<std::string, MOXNorvikType>& gatewayWords();
const std::map<std::string, MOXNorvikAuthType>& authenticationWords();

/// The word of `value`; "unknown" when it has none.
template<typename Kind>
std::string wordOf(Kind value, const std::map<std::string, Kind>& words) {
    for (const auto& [word, each] : words) {
        if (each == value) return word;
    }
    return "unknown";
}

} // namespace mox::tool
