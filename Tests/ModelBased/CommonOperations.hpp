#pragma once

#include "Foundation/Error.hpp"
#include "SDK/MOXSubscriptionManager.hpp"

#include <optional>

#include "ModelBased/Observations.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

// What both models' subjects do alike: all that a client does through the common manager class.

/// What an operation gives that succeeds or not.
Observations yesOrNo(bool result);

/// What can be seen of a record; of none when it is null.
using RecordTelling = Observations (*)(const MOXSubscription* record);

/// What the operation of `step` gives when it is done on `manager`. Records that it gives are told by
/// `told`. An operation that is no model's manager's alike gives a line that no reference writes.
Observations resultOfCommonOperation(MOXSubscriptionManager& manager, const Step& step, RecordTelling told,
                                     std::optional<Error>* error);

/// What `record`, a new one of the model, gives when it takes what `step` says and writes itself.
Observations resultOfWriting(MOXSubscription& record, const Step& step, std::optional<Error>* error);

/// Adds what `manager` lists.
void appendLists(Observations& observations, MOXSubscriptionManager& manager);

} // namespace mox::test::model
