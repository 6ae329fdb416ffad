#include "Scenarios/HostileTextTrials.hpp"

#include "Foundation/UnicodeText.hpp"
#include "Support/HostileTexts.hpp"

#include <gtest/gtest.h>

namespace mox::test {

void HostileTextTrials::tryEachText(const Trial& trial) const {
    const auto before = elsewhere();
    for (const std::string& text : hostileTexts()) {
        SCOPED_TRACE(text.substr(0, 40));
        trial(text, repairedUTF8(text));
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_EQ(elsewhere(), before);
}

MOXSubscribeKeywords HostileTextTrials::withText(const std::string& text, MOXSubscribeKeywords keywords) {
    keywords.onStoreNamed = text;
    keywords.withInternalStoreURL = text;
    keywords.andExternalStoreURL = text;
    keywords.andOptionalInfo = MOXOptionalInfo{{"Description", text},
                                               {"SVLaunchURL", text},
                                               {"Publisher Name", text},
                                               {"Content Address", text},
                                               {"FileTypes", std::vector{MOXFileType{text, {text}, text}}}};
    return keywords;
}

void HostileTextTrials::setTexts(MOXSubscription& record, const std::string& text) {
    record.setResourceName(text);
    record.setStoreName(text);
    record.setInternalStoreURL(text);
    record.setExternalStoreURL(text);
    record.setLaunchURL(text);
    record.setContentAddress(text);
    record.setSubscriptionDescription(text);
    record.setPublisherName(text);
    record.setServerName(text);
}

void HostileTextTrials::expectTexts(const MOXSubscription& record, const std::string& stored) {
    for (const auto& value : {record.resourceName(), record.storeName(), record.internalStoreURL(),
                              record.externalStoreURL(), record.subscriptionDescription(), record.launchURL(),
                              record.publisherName(), record.contentAddress()})
        EXPECT_EQ(value, stored);
}

} // namespace mox::test
