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
                    numberFromEnvironment("MOX_MODEL_STEPS", 2500));
}

TEST(BundleModelBased, Kept_steps_show_no_difference) {
    const std::string apps = "~/Applications";
    const Step subscription = {.operation = Operation::Subscribe,
                               .path = apps + "/A",
                               .fileName = "Word.app",
                               .resource = "W\xFFrd",
                               .store = "St\xFFre",
                               .externalURL = "https://store.example",
                               .type = 1};
    Step moved = subscription;
    moved.fileName = "Other.app";
    const Step removal = {.operation = Operation::RemoveAll, .resource = "W\xFFrd", .store = "St\xFFre"};
    const auto interference = [](Interference kind) { return static_cast<int>(kind); };
    compareWith(
        newPair,
        {
            subscription,
            {.operation = Operation::Subscribe,
             .path = apps,
             .fileName = "A/Word.app",
             .resource = "Word",
             .externalURL = "https://store.example",
             .type = 1},
            removal,
            subscription,
            {.operation = Operation::Move, .path = apps + "/A/Word.app", .other = apps + "/A/Word.app"},
            {.operation = Operation::Move, .path = apps + "/A/Word.app", .other = apps + "/A/Other.app"},
            moved,
            {.operation = Operation::Move, .path = apps + "/A/Other.app", .other = apps + "/A/Word.app"},
            {.operation = Operation::RenameFolder, .path = apps + "/A", .other = apps + "/A/B"},
            {.operation = Operation::RenameFolder, .path = apps + "/A", .other = apps + "/B/"},
            {.operation = Operation::RemoveFolder, .path = apps + "/B", .flag = true},
            {.operation = Operation::Interfere,
             .other = "3",
             .type = 1,
             .variant = interference(Interference::ChangeTemplate)},
            {.operation = Operation::UpdateOne,
             .path = apps + "/B/Word.app",
             .fault = 10 * static_cast<int>(FaultKind::Move) + 1},
            {.operation = Operation::UpdateOne, .path = apps + "/B/Word.app"},
            {.operation = Operation::Interfere,
             .path = apps + "/B/Word.app",
             .variant = interference(Interference::BreakAlias)},
            {.operation = Operation::IsSubscription, .path = apps + "/B/Word.app"},
            {.operation = Operation::LookUp, .path = apps + "/B/Word.app"},
            {.operation = Operation::RemoveFolder, .path = apps + "/B"},
            {.operation = Operation::DeliverFolderEvents, .paths = {apps + "/C", apps + "/B/", apps}},
        });
}

TEST(BundleModelBased, Kept_steps_of_rare_repairs_and_failures_show_no_difference) {
    const std::string stub = "~/Applications/A.app";
    const Step foreign = {.operation = Operation::Interfere,
                          .path = stub,
                          .other = "none",
                          .resource = "Word",
                          .type = 1,
                          .variant = static_cast<int>(Interference::Stub),
                          .paths = {"server"}};
    const Step removal = {.operation = Operation::RemoveAll,
                          .resource = "Word",
                          .store = "Store",
                          .fault = 10 * static_cast<int>(FaultKind::Removal) + 1};
    compareWith(newPair,
                {
                    {.operation = Operation::CreateFolder, .path = "~/Applications"},
                    foreign,
                    {.operation = Operation::UpdateOne, .path = stub, .variant = GivesStoreNameBlock},
                    {.operation = Operation::UpdateOne,
                     .path = stub,
                     .store = "Store",
                     .variant = GivesStoreNameBlock | GivesIconBlock},
                    {.operation = Operation::DeliverFolderEvents, .paths = {"~/Applications/"}},
                    {.operation = Operation::LookUp, .path = stub},
                    removal,
                    {.operation = Operation::RemoveAll, .resource = "Word", .store = "Store"},
                });
}

} // namespace
} // namespace mox::test::model
