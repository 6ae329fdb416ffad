#pragma once

#include <string>
#include <vector>

#include "ModelBased/Random.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// A step on the dictionary model that may be interesting where `subscriptionPaths` and `folders` are listed.
Step chooseDictionaryStep(Random& random, const std::vector<std::string>& subscriptionPaths,
                          const std::vector<std::string>& folders);

} // namespace mox::test::model
