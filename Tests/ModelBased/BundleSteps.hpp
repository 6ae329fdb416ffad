#pragma once

#include <string>
#include <vector>

#include "ModelBased/Random.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// What a step may be chosen by.
struct BundleSurroundings {
    const std::vector<std::string>& subscriptionPaths;
    const std::vector<std::string>& folders;
    /// Every path that there is.
    const std::vector<std::string>& paths;
};

/// A step on the application-bundle model that may be interesting there. Nothing outside "~/Applications" and
/// "~/Elsewhere" is ever named.
Step chooseBundleStep(Random& random, const BundleSurroundings& surroundings);

} // namespace mox::test::model
