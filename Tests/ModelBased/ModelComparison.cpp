#include "ModelBased/ModelComparison.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "ModelBased/Shrinking.hpp"

namespace mox::test::model {
namespace {

constexpr std::size_t stepsInRun = 400;
constexpr std::size_t stepsBetweenDisks = 50;

/// How the subject differs at the end of `steps`, or on the way there; nil when it does not.
std::optional<std::string> differenceIn(const ModelPairFactory& factory, const std::vector<Step>& steps) {
    const std::unique_ptr<ModelPair> pair = factory();
    for (const Step& step : steps) {
        if (const auto difference = pair->differenceAfter(step))
            return programText(step) + "\n" + *difference;
    }
    return pair->differenceOnDisk();
}

/// The steps of one run up to its first difference; nil when there is none.
std::optional<std::vector<Step>> failingRun(const ModelPairFactory& factory, std::uint64_t seed,
                                            std::size_t count) {
    Random random(seed);
    const std::unique_ptr<ModelPair> pair = factory();
    std::vector<Step> steps;
    while (steps.size() < count) {
        steps.push_back(pair->choose(random));
        if (pair->differenceAfter(steps.back())) return steps;
        const bool isDiskDue = steps.size() % stepsBetweenDisks == 0 || steps.size() == count;
        if (isDiskDue && pair->differenceOnDisk()) return steps;
    }
    return std::nullopt;
}

void reportDifference(const ModelPairFactory& factory, std::uint64_t seed, const std::vector<Step>& steps) {
    const std::vector<Step> shortest = shrunk<Step>(
        steps, [&factory](const std::vector<Step>& part) { return differenceIn(factory, part).has_value(); });
    ADD_FAILURE() << "The subject differs in the run of seed " << seed << " after step " << steps.size()
                  << ", which became " << shortest.size() << " steps:\n"
                  << programText(shortest) << "\n"
                  << differenceIn(factory, shortest).value_or("The difference came but once.");
}

} // namespace

void compareAtRandom(const ModelPairFactory& factory, std::uint64_t seed, std::size_t count) {
    for (std::size_t done = 0; done < count; done += stepsInRun, ++seed) {
        const auto steps = failingRun(factory, seed, std::min(stepsInRun, count - done));
        if (steps) return reportDifference(factory, seed, *steps);
    }
}

void compareWith(const ModelPairFactory& factory, const std::vector<Step>& steps) {
    if (const auto difference = differenceIn(factory, steps)) ADD_FAILURE() << *difference;
}

std::uint64_t numberFromEnvironment(const char* name, std::uint64_t otherwise) {
    const char* text = std::getenv(name);
    return text && *text ? std::strtoull(text, nullptr, 10) : otherwise;
}

} // namespace mox::test::model
