#include "ModelBased/BundleSteps.hpp"

#include "ModelBased/BundleReference.hpp"

namespace mox::test::model {
namespace {

using namespace std::string_literals;

const std::string apps = "~/Applications";

// Few names, so that they meet often; stubs and folders have the same ones now and then.
const std::vector<std::string> folderNames = {"A",       "B",       "a",         "\u00E9",
                                              "e\u0301", "Box.app", ".DS_Store", "Word"};
const std::vector<std::string> stubNames = {"Word.app", "word.app", "N.app", "\u00E9.app",      "e\u0301.app",
                                            "Big.APP",  "Word",     ".app",  "a \"b\";%@\n.app"};
const std::vector<std::string> oddNames = {
    "..", ".", "Sub/X.app", "A/Word.app", "nul\0l.app"s, std::string(300, 'l') + ".app", "A"};
const std::vector<std::optional<std::string>> texts = {
    std::nullopt, "", "Text", "\u00E9", "bad \xFF byte", "<&>\r\n\"\\", "%@%n%s", "\u0001"};
const std::vector<std::optional<std::string>> resources = {std::nullopt,  "",      "Farm:Word", "Farm:word",
                                                           "W: o : r d ", ":Word", "\u00E9",    "R\u0002",
                                                           "bad \xFF",    "<&>"};
const std::vector<std::optional<std::string>> stores = {std::nullopt, "", "Store", "store", "St\xFFre"};
const std::vector<std::optional<std::string>> urls = {std::nullopt, "", "https://store.example/a?b=c&d"};
const std::vector<std::string> versions = {"1.0", "2.0", "2.0.0.1", "3", "10.0.1", "none"};

std::string folderOf(Random& random, const BundleSurroundings& surroundings) {
    if (random.chance(3)) return "";
    if (random.chance(3)) return "~/Elsewhere";
    std::string path = random.chance(20)                                  ? random.oneOf(surroundings.folders)
                       : random.chance(10) && !surroundings.paths.empty() ? random.oneOf(surroundings.paths)
                                                                          : apps;
    for (std::size_t more = random.below(3); more > 0; --more)
        path.append("/").append(random.oneOf(random.chance(95) ? folderNames : stubNames));
    if (random.chance(3)) path.append("/");
    if (random.chance(2)) path.append("/" + std::string(300, 'l'));
    return path;
}

/// Where a stub may be.
std::string stubOf(Random& random, const BundleSurroundings& surroundings) {
    const std::string folder = folderOf(random, surroundings);
    return (folder.empty() ? apps : folder) + "/" + random.oneOf(stubNames);
}

std::string pathOf(Random& random, const BundleSurroundings& surroundings) {
    if (!surroundings.subscriptionPaths.empty() && random.chance(60))
        return random.oneOf(surroundings.subscriptionPaths);
    if (random.chance(4)) return "";
    if (random.chance(20) && !surroundings.paths.empty()) return random.oneOf(surroundings.paths);
    return stubOf(random, surroundings);
}

std::vector<FileType> fileTypesOf(Random& random) {
    static const std::vector<FileType> fileTypes = {{"Group", {".txt", ".text"}, "Texts"},
                                                    {"Group", {"nodot"}, std::nullopt},
                                                    {"", {}, "Nobody's"},
                                                    {"Own type", {".own"}, "Ours"},
                                                    {"Quote", {".q"}, "a\"b"}};
    std::vector<FileType> chosen;
    for (std::size_t count = random.below(3); count > 0; --count)
        chosen.push_back(random.oneOf(fileTypes));
    return chosen;
}

void fillRecord(Random& random, Step& step) {
    step.resource = random.chance(80) ? "Farm:Word" : random.oneOf(resources);
    step.store = random.chance(60) ? "Store" : random.oneOf(stores);
    step.internalURL = random.oneOf(urls);
    step.externalURL = random.chance(60) ? "https://outside.example" : random.oneOf(urls);
    step.type = random.chance(90) ? (random.chance(80) ? 1 : 2) : random.oneOf<int>({0, 3, -1});
    step.gateway = random.oneOf<int>({0, 1, 2, 9, 3, -1});
    step.authentication = random.oneOf<int>({0, 1, 4, 5, -1});
    step.fileName = random.chance(10)  ? random.oneOf(oddNames)
                    : random.chance(2) ? ""
                                       : random.oneOf(stubNames);
    if (random.chance(40)) return;
    Info info;
    info.description = random.oneOf(texts);
    info.launchURL = random.oneOf(texts);
    info.publisher = random.oneOf(texts);
    info.contentAddress = random.oneOf(texts);
    info.icon = random.oneOf<int>({0, 0, 16, 32, 2});
    if (random.chance(50)) info.fileTypes = fileTypesOf(random);
    step.info = info;
}

int faultOf(Random& random) {
    const int kind = 1 + static_cast<int>(random.below(static_cast<int>(FaultKind::TemporaryFolder)));
    if (kind <= static_cast<int>(FaultKind::Trash)) return 10 * kind + everyCall;
    return 10 * kind + random.oneOf<int>({1, 1, 2, 3, 4, everyCall});
}

Operation operationOf(Random& random, bool isCrowded) {
    static const std::vector<Operation> changes = {Operation::Subscribe,    Operation::Subscribe,
                                                   Operation::Subscribe,    Operation::Remove,
                                                   Operation::Move,         Operation::CreateFolder,
                                                   Operation::RenameFolder, Operation::RemoveFolder,
                                                   Operation::Move,         Operation::WriteRecord,
                                                   Operation::Interfere,    Operation::Interfere,
                                                   Operation::UpdateOne,    Operation::Update,
                                                   Operation::RemoveItem,   Operation::DeliverFolderEvents};
    static const std::vector<Operation> reading = {Operation::LookUp,
                                                   Operation::LookUp,
                                                   Operation::IsSubscription,
                                                   Operation::ListFolder,
                                                   Operation::RecordAtPath,
                                                   Operation::NameOfSubscription,
                                                   Operation::PathOfSubscription};
    static const std::vector<Operation> rare = {Operation::RemoveAll, Operation::Reopen};
    static const std::vector<Operation> removals = {Operation::Remove, Operation::RemoveFolder,
                                                    Operation::RemoveItem, Operation::RemoveAll};
    if (isCrowded && random.chance(50)) return random.oneOf(removals);
    if (random.chance(5)) return random.oneOf(rare);
    return random.oneOf(random.chance(75) ? changes : reading);
}

void fillInterference(Random& random, const BundleSurroundings& surroundings, Step& step) {
    fillRecord(random, step);
    if (!step.info) step.info.emplace();
    step.fileName = "Foreign";
    // Others write what every reader takes.
    for (std::optional<std::string>* text : {&step.resource, &step.info->description, &step.info->launchURL,
                                             &step.info->publisher, &step.info->contentAddress}) {
        if (*text && (**text).find_first_of("\u0001\u0002") != std::string::npos) *text = "plain";
    }
    // What others have left may lack everything that our own have.
    if (random.chance(50)) {
        step.internalURL = std::nullopt;
        step.externalURL = std::nullopt;
        step.store = random.oneOf(stores);
        if (random.chance(70)) step.paths = {"server.example"};
    }
    step.type = random.chance(90) ? 1 + static_cast<int>(random.below(2)) : 0;
    step.variant = 1 + static_cast<int>(random.below(static_cast<int>(Interference::Last)));
    if (random.chance(25)) step.variant = static_cast<int>(Interference::Stub);
    if (random.chance(10)) step.variant = static_cast<int>(Interference::ChangeTemplate);
    step.other = random.oneOf(versions);
    const auto interference = static_cast<Interference>(step.variant);
    if (interference == Interference::ChangeTemplate) {
        if (step.type == 0) step.type = 1;
        if (random.chance(20)) step.other = "";
    } else if (interference == Interference::File || interference == Interference::Folder ||
               interference == Interference::HiddenFile) {
        step.path = folderOf(random, surroundings);
    } else if (interference == Interference::Stub || interference == Interference::Application) {
        step.path = stubOf(random, surroundings);
    } else {
        step.path = pathOf(random, surroundings);
    }
    // Only what lies in the two folders is anybody's to change here.
    if (step.path.empty() || step.path.back() == '/') step.path = apps;
    if (interference == Interference::HiddenFile && step.path.ends_with(".DS_Store")) step.path = apps;
}

} // namespace

Step chooseBundleStep(Random& random, const BundleSurroundings& surroundings) {
    Step step;
    step.operation = operationOf(random, surroundings.paths.size() > 150);
    step.wantsError = random.chance(75);
    step.flag = random.chance(50);
    if (random.chance(12)) step.fault = faultOf(random);
    switch (step.operation) {
    case Operation::Subscribe:
    case Operation::WriteRecord:
        step.path = folderOf(random, surroundings);
        fillRecord(random, step);
        // The same place again, for the updates and the conflicts.
        if (!surroundings.subscriptionPaths.empty() && random.chance(30)) {
            const std::string path = random.oneOf(surroundings.subscriptionPaths);
            step.path = parentOf(path);
            step.fileName = lastComponentOf(path);
        }
        break;
    case Operation::CreateFolder:
    case Operation::RemoveFolder:
    case Operation::ListFolder:
        step.path = folderOf(random, surroundings);
        break;
    case Operation::RenameFolder:
        step.path = folderOf(random, surroundings);
        step.other = random.chance(10) ? step.path : folderOf(random, surroundings);
        break;
    case Operation::Move:
        step.path = pathOf(random, surroundings);
        step.other = random.chance(8) ? step.path : pathOf(random, surroundings);
        if (random.chance(40)) step.other = stubOf(random, surroundings);
        break;
    case Operation::RemoveAll:
        step.resource = random.chance(60) ? "Farm:Word" : random.oneOf(resources);
        step.store = random.chance(60) ? "Store" : random.oneOf(stores);
        if (random.chance(30))
            step.fault = 10 * static_cast<int>(FaultKind::Removal) + random.oneOf<int>({1, 2, everyCall});
        break;
    case Operation::Update:
    case Operation::DeliverFolderEvents:
        for (std::size_t count = random.below(4); count > 0; --count) {
            step.paths.push_back(step.operation == Operation::Update ? pathOf(random, surroundings)
                                                                     : folderOf(random, surroundings));
        }
        [[fallthrough]];
    case Operation::UpdateOne:
        step.path = step.operation == Operation::UpdateOne ? pathOf(random, surroundings) : "";
        step.variant = static_cast<int>(random.below(16));
        step.store = random.oneOf(stores);
        if (random.chance(40)) step.info = Info{.icon = random.oneOf<int>({0, 16, 32, 2})};
        break;
    case Operation::Interfere:
        fillInterference(random, surroundings, step);
        break;
    case Operation::Reopen:
        break;
    default:
        step.path = pathOf(random, surroundings);
        break;
    }
    // What a file means follows from its place in a bundle; the reference does not know what it would mean in
    // another one.
    const bool moves = step.operation == Operation::Move || step.operation == Operation::RenameFolder;
    if (moves && step.path.find("/Contents/") != std::string::npos) step.path = stubOf(random, surroundings);
    return step;
}

} // namespace mox::test::model
