#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ModelBased/Random.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// A reference and its subject, both at their beginning.
class ModelPair {
public:
    virtual ~ModelPair() = default;

    /// A step that may be interesting now.
    virtual Step choose(Random& random) = 0;
    /// Lets both do `step`; how the subject differs then, nil when it does not.
    virtual std::optional<std::string> differenceAfter(const Step& step) = 0;
    /// How the subject's disk differs; nil when it does not.
    virtual std::optional<std::string> differenceOnDisk() = 0;
};

using ModelPairFactory = std::function<std::unique_ptr<ModelPair>()>;

/// Chooses `count` steps from `seed` on, in runs that begin anew, and fails the test at the first difference:
/// with the shortest list of steps that was found to show it, as a program text to be kept.
void compareAtRandom(const ModelPairFactory& factory, std::uint64_t seed, std::size_t count);

/// Does the kept `steps`; fails the test when the subject differs after one of them.
void compareWith(const ModelPairFactory& factory, const std::vector<Step>& steps);

/// The number in the environment variable `name`; `otherwise` when there is none.
std::uint64_t numberFromEnvironment(const char* name, std::uint64_t otherwise);

} // namespace mox::test::model
