#pragma once

#include "SDK/MOXSubscription.hpp"
#include "SDK/MOXSubscriptionManager.hpp"

#include <functional>
#include <map>
#include <string>

namespace mox::test {

/// What a test of a model does with each text that somebody could send to do harm, whichever the model is.
class HostileTextTrials {
public:
    virtual ~HostileTextTrials() = default;

protected:
    /// What is on the disk where the model has nothing to change.
    virtual std::map<std::string, std::string> elsewhere() const = 0;

    /// Tries each text, of which the model keeps `stored`, up to the first that fails. Elsewhere nothing may
    /// have changed at the end.
    using Trial = std::function<void(const std::string& text, const std::string& stored)>;
    void tryEachText(const Trial& trial) const;

    /// `keywords` with `text` in all but the file's name and its folder.
    static MOXSubscribeKeywords withText(const std::string& text, MOXSubscribeKeywords keywords);

    /// Puts `text` into all that a record holds in text but its file's name.
    static void setTexts(MOXSubscription& record, const std::string& text);

    /// Expects `stored` in all that a subscription leads to in its record.
    static void expectTexts(const MOXSubscription& record, const std::string& stored);
};

} // namespace mox::test
