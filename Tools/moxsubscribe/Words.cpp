#include "Words.hpp"

namespace mox::tool {

const std::map<std::string, SubscriptionModel>& modelWords() {
    static const std::map<std::string, SubscriptionModel> words{
        {"dictionary", SubscriptionModel::Dictionary}, {"bundle", SubscriptionModel::ApplicationBundle}};
    return words;
}

const std::map<std::string, MOXSubscriptionType>& typeWords() {
    static const std::map<std::string, MOXSubscriptionType> words{
        {"application", MOXSubscriptionType::Application}, {"desktop", MOXSubscriptionType::Desktop}};
    return words;
}

const std::map<std::string, MOXNorvikType>& gatewayWords() {
    static const std::map<std::string, MOXNorvikType> words{{"standard", MOXNorvikType::Standard},
                                                            {"advanced", MOXNorvikType::Advanced},
                                                            {"enterprise", MOXNorvikType::Enterprise},
                                                            {"none", MOXNorvikType::None}};
    return words;
}

const std::map<std::string, MOXNorvikAuthType>& authenticationWords() {
    static const std::map<std::string, MOXNorvikAuthType> words{
        {"none", MOXNorvikAuthType::None},
        {"domain", MOXNorvikAuthType::Domain},
        {"rsa", MOXNorvikAuthType::RSA},
        {"domainandrsa", MOXNorvikAuthType::DomainAndRSA},
        {"sms", MOXNorvikAuthType::SMS}};
    return words;
}

} // namespace mox::tool
