#include <gtest/gtest.h>

#include "ModelBased/DictionaryReference.hpp"
#include "ModelBased/DictionarySteps.hpp"
#include "ModelBased/DictionarySubject.hpp"
#include "ModelBased/ModelComparison.hpp"

namespace mox::test::model {
namespace {

class DictionaryPair : public ModelPair {
public:
    Step choose(Random& random) override {
        return chooseDictionaryStep(random, _reference.subscriptionPaths(), _reference.folders());
    }
    std::optional<std::string> differenceAfter(const Step& step) override {
        const Observations expected = _reference.perform(step);
        return difference(expected, _subject.perform(step));
    }
    std::optional<std::string> differenceOnDisk() override {
        return difference({_reference.disk()}, {_subject.disk()});
    }

private:
    DictionarySubject _subject;
    DictionaryReference _reference{"/Users/user", _subject.plistPath()};
};

std::unique_ptr<ModelPair> newPair() {
    return std::make_unique<DictionaryPair>();
}

TEST(DictionaryModelBased, The_dictionary_model_does_what_its_reference_does) {
    compareAtRandom(newPair, numberFromEnvironment("MOX_MODEL_SEED", 1),
                    numberFromEnvironment("MOX_MODEL_STEPS", 4000));
}

TEST(DictionaryModelBased, Kept_steps_show_no_difference) {
    const std::string apps = "/Users/user/Applications";
    compareWith(
        newPair,
        {
            {.operation = Operation::Subscribe,
             .path = apps + "/A/B",
             .fileName = "Word",
             .resource = "Farm:Word",
             .store = "Store",
             .externalURL = "https://store.example",
             .type = 1},
            {.operation = Operation::Subscribe,
             .path = apps + "/A/B",
             .fileName = "Word",
             .resource = "Farm:Word",
             .internalURL = "https://store.example",
             .type = 2},
            {.operation = Operation::LookUp, .path = apps + "/A/B/missing/Word"},
            {.operation = Operation::CreateFolder, .path = apps + "/A/B/Word/", .fault = 1},
            {.operation = Operation::LookUp, .path = apps + "/A/B/Word"},
            {.operation = Operation::Reopen},
            {.operation = Operation::Move, .path = apps + "/A/B/Word", .other = apps + "/nowhere/Word"},
            {.operation = Operation::Move, .path = apps + "/Word", .other = apps + "/Word"},
            {.operation = Operation::RenameFolder, .path = apps + "/A/B", .other = apps + "/C/B"},
            {.operation = Operation::RenameFolder, .path = "/Users", .other = "/users"},
            {.operation = Operation::RemoveFolder, .path = "x/A", .flag = true},
            {.operation = Operation::Reopen, .variant = onBlockedFile},
        });
}

} // namespace
} // namespace mox::test::model
