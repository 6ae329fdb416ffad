#include "ModelBased/DictionarySteps.hpp"

#include "ModelBased/DictionaryReference.hpp"

namespace mox::test::model {
namespace {

using namespace std::string_literals;

// Few names, so that they meet often: equal but for case, equal but for composition, in another order by
// UTF-16 than by UTF-8, of one character, with separators, with what XML cannot hold.
const std::vector<std::string> names = {"A",  "B",         "a",        "Word",      "N",          "x",
                                        "ab", "\u00E9",    "e\u0301",  "\uE000",    "\U0001F600", ".",
                                        "..", ".DS_Store", "A.app",    "Word;\n%@", "\u0001"s,    "nul\0l"s,
                                        " ",  "<&>\r\"",   "bad \xFF", "bad \uFFFD"};
const std::vector<std::string> oddNames = {
    "/", "A/B", "A/", "//", "/Word", "A//Word/", std::string(300, 'l')};
const std::vector<std::string> oddPaths = {"",
                                           "/",
                                           "//",
                                           "A",
                                           "/A",
                                           "x/A",
                                           "ab/x",
                                           "ab/x/A",
                                           "\u00E9/x",
                                           "\U0001F600/x",
                                           "/Users",
                                           "/Users/",
                                           "//Users//user/Applications",
                                           "/Users/user/Applications/",
                                           "/users/user/applications",
                                           "/Users/user",
                                           "/Users/user/Applications/A/B/A/B"};
const std::vector<std::optional<std::string>> texts = {std::nullopt, "",       "Text",          "text",
                                                       "a:b:c",      "\u00E9", "bad \xFF byte", "<&>\r\n\"\\",
                                                       "%@%n%s",     "\u0001", "\uFFFE"};
const std::vector<std::optional<std::string>> resources = {
    std::nullopt, "",       "Farm:Word", "Farm:word", "Word",     "Farm:",     ":Word",
    "a:b:c",      "\u00E9", "e\u0301",   "R\u0002",   "bad \xFF", "bad \uFFFD"};
const std::vector<std::optional<std::string>> stores = {std::nullopt, "", "Store", "store", "Store "};
const std::vector<std::optional<std::string>> urls = {std::nullopt, "", "https://store.example/a?b=c&d"};

std::string nameOf(Random& random) {
    return random.chance(8) ? random.oneOf(oddNames) : random.oneOf(names);
}

/// Some folder's path: of one that is there, of one below, beside or above it, or any.
std::string folderOf(Random& random, const std::vector<std::string>& folders) {
    if (random.chance(15)) return random.oneOf(oddPaths);
    std::string path =
        folders.empty() || random.chance(25) ? "/Users/user/Applications" : random.oneOf(folders);
    for (std::size_t more = random.below(3); more > 0; --more)
        path.append("/").append(nameOf(random));
    if (random.chance(6)) path.append("/");
    if (random.chance(3)) path.insert(0, "/");
    if (random.chance(3)) path = parentOf(path);
    return path;
}

std::string pathOf(Random& random, const std::vector<std::string>& paths,
                   const std::vector<std::string>& folders) {
    std::string path;
    if (!paths.empty() && random.chance(65)) {
        path = random.oneOf(paths);
    } else if (random.chance(20)) {
        return random.oneOf(oddPaths);
    } else {
        path = folderOf(random, folders) + "/" + nameOf(random);
    }
    if (random.chance(4)) path.append("/");
    if (random.chance(4)) path = joined(joined(parentOf(path), "missing"), lastComponentOf(path));
    return path;
}

std::optional<FileType> fileTypeOf(Random& random) {
    if (random.chance(50)) return std::nullopt;
    return FileType{"Group", {".txt"}, "Texts"};
}

std::optional<Info> infoOf(Random& random) {
    if (random.chance(40)) return std::nullopt;
    Info info;
    info.description = random.oneOf(texts);
    info.launchURL = random.oneOf(texts);
    info.publisher = random.oneOf(texts);
    info.contentAddress = random.oneOf(texts);
    info.icon = random.chance(20) ? 2 : 0;
    if (const auto fileType = fileTypeOf(random)) info.fileTypes = {*fileType};
    return info;
}

void fillRecord(Random& random, Step& step) {
    step.resource = random.chance(80) ? "Farm:Word" : random.oneOf(resources);
    step.store = random.chance(60) ? "Store" : random.oneOf(stores);
    step.internalURL = random.oneOf(urls);
    step.externalURL = random.chance(60) ? "https://outside.example" : random.oneOf(urls);
    step.type = random.chance(90) ? (random.chance(80) ? 1 : 2) : random.oneOf<int>({0, 3, -1, 1 << 30});
    step.gateway = random.oneOf<int>({0, 1, 2, 9, 9, 3, 8, 10, -1});
    step.authentication = random.oneOf<int>({0, 1, 2, 3, 4, 5, -1});
    step.fileName = random.chance(5) ? "" : nameOf(random);
    step.info = infoOf(random);
}

Operation operationOf(Random& random, bool isCrowded) {
    static const std::vector<Operation> changes = {
        Operation::Subscribe,    Operation::Subscribe,    Operation::Subscribe,    Operation::Remove,
        Operation::CreateFolder, Operation::RenameFolder, Operation::RenameFolder, Operation::RemoveFolder,
        Operation::Move,         Operation::Move,         Operation::Move,         Operation::WriteRecord};
    static const std::vector<Operation> reading = {Operation::LookUp, Operation::LookUp,
                                                   Operation::IsSubscription, Operation::ListFolder,
                                                   Operation::RecordAtPath};
    static const std::vector<Operation> rare = {Operation::Update,
                                                Operation::CommonUpdate,
                                                Operation::NameOfSubscription,
                                                Operation::PathOfSubscription,
                                                Operation::RemoveAll,
                                                Operation::Reopen};
    static const std::vector<Operation> removals = {Operation::Remove, Operation::RemoveFolder,
                                                    Operation::RemoveFolder, Operation::RemoveAll};
    if (isCrowded && random.chance(50)) return random.oneOf(removals);
    if (random.chance(5)) return random.oneOf(rare);
    return random.oneOf(random.chance(70) ? changes : reading);
}

} // namespace

Step chooseDictionaryStep(Random& random, const std::vector<std::string>& subscriptionPaths,
                          const std::vector<std::string>& folders) {
    Step step;
    step.operation = operationOf(random, subscriptionPaths.size() + folders.size() > 40);
    step.wantsError = random.chance(75);
    step.flag = random.chance(50);
    if (random.chance(6)) step.fault = random.oneOf<int>({1, 1, 2, -1});
    switch (step.operation) {
    case Operation::Subscribe:
        step.path = folderOf(random, folders);
        fillRecord(random, step);
        // The same place again, for the updates and the conflicts.
        if (!subscriptionPaths.empty() && random.chance(30)) {
            const std::string path = random.oneOf(subscriptionPaths);
            step.path = parentOf(path);
            step.fileName = lastComponentOf(path);
        }
        break;
    case Operation::WriteRecord:
        step.path = folderOf(random, folders);
        fillRecord(random, step);
        step.other = nameOf(random);
        break;
    case Operation::CreateFolder:
    case Operation::RemoveFolder:
    case Operation::ListFolder:
        step.path = folderOf(random, folders);
        break;
    case Operation::RenameFolder:
        step.path = folderOf(random, folders);
        step.other = random.chance(10)   ? step.path
                     : random.chance(20) ? folderOf(random, folders) + "/" + lastComponentOf(step.path)
                                         : folderOf(random, folders);
        break;
    case Operation::Move:
        step.path = pathOf(random, subscriptionPaths, folders);
        step.other = random.chance(8)    ? step.path
                     : random.chance(30) ? folderOf(random, folders) + "/" + lastComponentOf(step.path)
                                         : pathOf(random, subscriptionPaths, folders);
        break;
    case Operation::RemoveAll:
        step.resource = random.chance(50) ? "Farm:Word" : random.oneOf(resources);
        step.store = random.chance(50) ? "Store" : random.oneOf(stores);
        break;
    case Operation::Reopen:
        step.variant = random.chance(50) ? 0 : static_cast<int>(random.below(onBlockedFile + 1));
        break;
    default:
        step.path = pathOf(random, subscriptionPaths, folders);
        break;
    }
    return step;
}

} // namespace mox::test::model
