#pragma once

#include "Foundation/PropertyList.hpp"
#include "SDK/MOXSubscription.hpp"
#include "SDK/MOXSubscriptionManager.hpp"

#include <optional>
#include <string>
#include <vector>

#include "ModelBased/ReferenceRecords.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

// What both models' subjects need to turn steps into calls, and what they see into text.

/// The text of a property list, in the form in which references tell theirs.
std::string textOf(const PropertyList& value);

/// What a client sees of `record`; "nil" when there is none.
std::vector<std::string> propertiesOf(const MOXSubscription* record);

/// A square image of `side` pixels.
Image imageOfSide(int side);

/// `text` in an XML element `name`.
std::string xmlElement(const std::string& name, const std::string& text);

/// The XML of a property list's dictionary with what is in `entry`.
std::string xmlOf(const Entry& entry);

/// The keywords of a subscription.
MOXSubscribeKeywords keywordsOf(const Step& step);

/// The values of a new record.
MOXSubscriptionKeywords recordKeywordsOf(const Step& step);

/// Gives `record` what is in the optional information, when there is any.
void applyInfo(const Step& step, MOXSubscription& record);

} // namespace mox::test::model
