#include <gtest/gtest.h>

#include "ModelBased/BundleReference.hpp"
#include "ModelBased/BundleSteps.hpp"
#include "ModelBased/BundleSubject.hpp"
#include "ModelBased/ModelComparison.hpp"

namespace mox::test::model {
namespace {

class BundlePair : public ModelPair {
public:
    Step choose(Random& random) override {
        const std::vector<std::string> paths = _reference.everyPath();
        return chooseBundleStep(random, {_reference.subscriptionPaths(), _reference.folders(), paths});
    }
    std::optional<std::string> differenceAfter(const Step& step) override {
        const Observations seen = _subject.perform(step);
        return difference(_reference.perform(step), seen);
    }
    std::optional<std::string> differenceOnDisk() override {
        return difference(_reference.disk(), _subject.disk());
    }

private:
    BundleSubject _subject;
    BundleReference _reference{[this](const std::string& path) { return _subject.namesIn(path); }};
};

std::unique_ptr<ModelPair> newPair() {
    return std::make_unique<BundlePair>();
}

TEST(BundleModelBased, The_application_bundle_model_does_what_its_reference_does) {
    compareAtRandom(newPair, numberFromEnvironment("MOX_MODEL_SEED", 1),
                    numberFromEnvironment("MOX_MODEL_STEPS", 2000));
}

} // namespace
} // namespace mox::test::model
