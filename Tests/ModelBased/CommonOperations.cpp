#include "ModelBased/CommonOperations.hpp"

#include "ModelBased/SubjectTexts.hpp"

namespace mox::test::model {

Observations yesOrNo(bool result) {
    return {result ? "YES" : "NO"};
}

Observations resultOfCommonOperation(MOXSubscriptionManager& manager, const Step& step, RecordTelling told,
                                     std::optional<Error>* error) {
    switch (step.operation) {
    case Operation::Subscribe:
        return yesOrNo(manager.subscribeToResource(step.resource.value_or(""), keywordsOf(step), error));
    case Operation::LookUp:
        return told(manager.subscriptionAtPath(step.path, error).get());
    case Operation::IsSubscription:
        return yesOrNo(manager.isSubscriptionAtPath(step.path));
    case Operation::Remove:
        return yesOrNo(manager.removeSubscriptionAtPath(step.path, error));
    case Operation::CreateFolder:
        return yesOrNo(manager.createFolderAtPath(step.path, error));
    case Operation::RenameFolder:
        return yesOrNo(manager.renameFolderAtPath(step.path, step.other, error));
    case Operation::RemoveFolder:
        return yesOrNo(manager.removeFolderAtPath(step.path, step.flag, error));
    case Operation::Move:
        return yesOrNo(manager.moveSubscriptionFrom(step.path, step.other, error));
    case Operation::RemoveAll:
        return manager.removeAllSubscriptionsWithUniqueName(step.resource, step.store)
            .value_or(Observations{"nil"});
    case Operation::ListFolder:
        return manager.subscriptionPathsInFolder(step.path, step.flag);
    default:
        return {"unknown operation"};
    }
}

Observations resultOfWriting(MOXSubscription& record, const Step& step, std::optional<Error>* error) {
    applyInfo(step, record);
    return yesOrNo(record.writeToFolder(step.path, step.other, error));
}

void appendLists(Observations& observations, MOXSubscriptionManager& manager) {
    observations.push_back("number " + std::to_string(manager.numberOfSubscriptions()));
    append(observations, "subscription", manager.subscriptionPaths());
    append(observations, "folder", manager.folders());
}

} // namespace mox::test::model
