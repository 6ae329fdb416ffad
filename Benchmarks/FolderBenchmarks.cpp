#include "Formats/ImageCoding.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Platform.hpp"
#include "SDK/MOXFileSubscription.hpp"
#include "SDK/MOXFileSubscriptionManager.hpp"

#include <benchmark/benchmark.h>
#include <plist/plist.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "BareSubscription.hpp"

// The application-bundle model on a RAM disk, which is the user's home meanwhile: building its lists anew,
// one subscription, and reading a launch alias; beside other ways to the same answer, and the bare system
// calls.
namespace mox {
namespace {

constexpr std::string_view aliasInStub = "/Contents/Resources/Korvalias.plist";

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

/// The framework's own manager, with the building of its lists laid open.
class Store : public MOXFileSubscriptionManager {
public:
    Store() = default;
    using MOXFileSubscriptionManager::updateConvenienceArrays;
};

/// The user's home for all that is measured, removed at the end.
class Home {
public:
    Home() {
        require(::mkdtemp(_path.data()) != nullptr, "there is no RAM disk to write to");
        for (const char* variable : {"XDG_DATA_HOME", "XDG_CONFIG_HOME", "TMPDIR"})
            ::unsetenv(variable);
        // Somebody who uses a desktop has a language.
        require(::setenv("HOME", _path.c_str(), 1) == 0 && ::setenv("LANG", "en_US.UTF-8", 1) == 0,
                "the environment cannot be set");
    }
    Home(const Home&) = delete;
    Home& operator=(const Home&) = delete;
    ~Home() { std::filesystem::remove_all(_path); }

private:
    std::string _path = "/dev/shm/moxsubscribe-bench-XXXXXX";
};

std::string appsFolder() {
    return std::string(std::getenv("HOME")) + "/Applications";
}

std::string dataFolder() {
    return std::string(std::getenv("HOME")) + "/.local/share";
}

/// No stub is there any more, and none is known.
void emptyAppsFolder() {
    std::filesystem::remove_all(appsFolder());
    std::filesystem::remove_all(dataFolder());
    std::filesystem::create_directories(appsFolder());
}

MOXSubscribeKeywords keywordsFor(const std::string& fileName) {
    return {.ofType = MOXSubscriptionType::Application,
            .onStoreNamed = "Benchmark Store",
            .withInternalStoreURL = "https://store.internal.example/catalogue",
            .andExternalStoreURL = "https://store.example/catalogue",
            .usingNorvikType = MOXNorvikType::Advanced,
            .andNorvikAuthType = MOXNorvikAuthType::RSA,
            .withFileName = fileName,
            .inFolder = appsFolder()};
}

std::string templatePath() {
    const auto record = MOXFileSubscription::subscriptionWithFileName(
        "Any", {.resourceName = "Controller:Any", .type = MOXSubscriptionType::Application});
    const std::optional<std::string> path = record->templatePath();
    require(path.has_value(), "there is no template beside this program");
    return *path;
}

std::string contentsOf(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    require(descriptor >= 0 && ::fstat(descriptor, &status) == 0, "cannot open " + path);
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    require(::read(descriptor, contents.data(), contents.size()) == status.st_size, "cannot read " + path);
    ::close(descriptor);
    return contents;
}

// Building the lists

/// Where the stub of that number is: half of them in the applications folder itself, the others by tens in
/// folders, every fourth of which is six folders deep.
std::string folderOfStub(int number) {
    constexpr int stubsInFolder = 10;
    if (number % 2 == 0) return appsFolder();
    const int folder = number / 2 / stubsInFolder;
    std::string path = appsFolder() + "/Group " + std::to_string(folder);
    if (folder % 4 == 0) path += "/of/folders/that/are/deep";
    return path;
}

/// Fills the applications folder with what stubs have in common, unless it is there already.
void makeStubs(int count) {
    static int current = 0;
    if (current == count) return;
    current = count;
    emptyAppsFolder();
    for (int number = 0; number < count; ++number) {
        const std::string stub = folderOfStub(number) + "/Resource " + std::to_string(number) + ".app";
        std::filesystem::create_directories(stub + "/Contents/Resources/en.lproj");
        std::filesystem::create_directories(stub + "/Contents/MacOS");
        const std::string alias = stub + std::string(aliasInStub);
        const int descriptor = ::open(alias.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        require(descriptor >= 0 && ::close(descriptor) == 0, "cannot make " + alias);
    }
}

/// Each finds the stubs in the applications folder and says how many they are. The folder is being watched
/// for `store` meanwhile, whoever looks.
using Finder = std::size_t (*)(Store& store);

std::size_t findOurs(Store& store) {
    store.updateConvenienceArrays();
    return store.subscriptionPaths().size();
}

/// Asks find(1) for the aliases in packages; nothing else of a package is gone into.
std::size_t findByProgram(Store&) {
    const std::string command =
        "find '" + appsFolder() + "' -path '*.app/Contents/Resources/Korvalias.plist' -print -o " +
        "-path '*.app/*' ! -path '*.app/Contents' ! -path '*.app/Contents/Resources' -prune";
    const std::unique_ptr<FILE, int (*)(FILE*)> output(::popen(command.c_str(), "r"), ::pclose);
    require(output != nullptr, "find cannot be run");
    std::size_t count = 0;
    std::array<char, 64 * 1024> buffer;
    while (const std::size_t length = std::fread(buffer.data(), 1, buffer.size(), output.get()))
        count += static_cast<std::size_t>(std::count(buffer.data(), buffer.data() + length, '\n'));
    return count;
}

std::size_t findByLibrary(Store&) {
    std::vector<std::string> stubs;
    std::filesystem::recursive_directory_iterator walk(appsFolder());
    for (const std::filesystem::directory_iterator::value_type& entry : walk) {
        if (!entry.is_directory() || entry.path().extension() != ".app") continue;
        walk.disable_recursion_pending();
        std::string path = entry.path().string();
        if (std::filesystem::exists(path + std::string(aliasInStub))) stubs.push_back(std::move(path));
    }
    return stubs.size();
}

/// The system calls alone, from folder to folder: nothing is kept, and no path is made.
std::size_t findBare(int parent, const char* name) {
    const int folder = ::openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(folder >= 0, "cannot open a folder");
    std::size_t count = 0;
    alignas(std::max_align_t) std::array<char, 32 * 1024> buffer;
    while (const ssize_t length = ::getdents64(folder, buffer.data(), buffer.size())) {
        require(length > 0, "cannot list a folder");
        for (ssize_t position = 0; position < length;) {
            const auto* entry = reinterpret_cast<const ::dirent64*>(buffer.data() + position);
            position += entry->d_reclen;
            const std::string_view entryName = entry->d_name;
            if (entry->d_type != DT_DIR || entryName == "." || entryName == "..") continue;
            if (!entryName.ends_with(".app")) {
                count += findBare(folder, entry->d_name);
                continue;
            }
            std::array<char, NAME_MAX + aliasInStub.size() + 1> path = {};
            std::memcpy(path.data(), entryName.data(), entryName.size());
            std::memcpy(path.data() + entryName.size(), aliasInStub.data(), aliasInStub.size());
            if (::faccessat(folder, path.data(), F_OK, 0) == 0) ++count;
        }
    }
    ::close(folder);
    return count;
}

std::size_t findBare(Store&) {
    return findBare(AT_FDCWD, appsFolder().c_str());
}

void measureRebuild(benchmark::State& state, Finder finder, int count) {
    makeStubs(count);
    Store store;
    require(finder(store) == static_cast<std::size_t>(count), "not all stubs are found");
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(finder(store));
}

// One subscription

constexpr int subscriptions = 20;

std::string stubName(int number) {
    return "Resource " + std::to_string(number) + ".app";
}

/// What a server tells of a resource besides its name.
enum class Information { None, Full };

/// An icon from a PNG file of its own, texts, and documents of a type that the desktop does not know. No icon
/// comes twice in a row.
MOXOptionalInfo fullInformation(int number) {
    static const std::vector<Image> icons = [] {
        std::vector<Image> read;
        for (const std::string name : {"brush", "calculator", "chart", "desktop", "mail", "notepad"})
            read.push_back(
                *imageFromBytes(contentsOf(std::string(MOX_SAMPLE_ICONS) + "/" + name + "_256x256.png")));
        return read;
    }();
    const MOXFileType fileType = {
        .group = "Benchmark Document", .extensions = {".moxbench"}, .description = "A document"};
    return {
        {std::string(MOXOptionalInfoIconImageKey), icons[static_cast<std::size_t>(number) % icons.size()]},
        {std::string(MOXOptionalInfoDescriptionKey), "What a person is told of the resource"},
        {std::string(MOXOptionalInfoLaunchURLKey), "https://store.example/launch/" + stubName(number)},
        {std::string(MOXOptionalInfoFileTypesKey), std::vector{fileType}}};
}

MOXSubscribeKeywords keywordsFor(int number, Information information) {
    MOXSubscribeKeywords keywords = keywordsFor(stubName(number));
    if (information == Information::Full) keywords.andOptionalInfo = fullInformation(number);
    return keywords;
}

void subscribe(Store& store, const MOXSubscribeKeywords& keywords) {
    std::optional<Error> error;
    if (!store.subscribeToResource("Controller:" + keywords.withFileName, keywords, &error))
        throw std::runtime_error(error ? error->description() : "no subscription");
}

/// The first one of all makes the folders of the desktop, which does not count.
void makeFirstStub(Store& store, Information information) {
    const LaunchRegistrationBatch batch(currentPlatform().launchRegistration);
    subscribe(store, keywordsFor(0, information));
}

void subscribeOurs(benchmark::State& state, Information information) {
    Store store;
    makeFirstStub(store, information);
    std::vector<MOXSubscribeKeywords> keywords;
    for (int number = 1; number <= subscriptions; ++number)
        keywords.push_back(keywordsFor(number, information));
    auto next = keywords.begin();
    for ([[maybe_unused]] auto _ : state)
        subscribe(store, *next++);
}

/// The desktop's programs run once for all, behind what is measured.
void subscribeInBatch(benchmark::State& state, Information information) {
    const LaunchRegistrationBatch batch(currentPlatform().launchRegistration);
    subscribeOurs(state, information);
}

void copyTemplate(benchmark::State& state, Information) {
    SystemCalls system;
    LinuxFileSystem fileSystem(system);
    const std::string source = templatePath();
    const std::string folder = appsFolder();
    int number = 0;
    for ([[maybe_unused]] auto _ : state)
        require(bool(fileSystem.copyItem(source, folder, stubName(number++))), "no copy");
}

void subscribeBare(benchmark::State& state, Information information) {
    Store store;
    makeFirstStub(store, information);
    const BareSubscription bare(templatePath(), appsFolder() + "/" + stubName(0), dataFolder());
    int number = 1;
    for ([[maybe_unused]] auto _ : state) {
        bare.make(appsFolder(), stubName(number), number);
        ++number;
        benchmark::DoNotOptimize(findBare(store));
    }
}

// Reading a launch alias

std::string aliasPath() {
    return appsFolder() + "/" + stubName(0) + std::string(aliasInStub);
}

void readOurs(const std::string& path) {
    require(MOXLaunchAlias::launchAliasWithFile(path) != nullptr, "no launch alias");
}

void readByLibplist(const std::string& path) {
    const std::string contents = contentsOf(path);
    plist_t root = nullptr;
    plist_from_xml(contents.data(), static_cast<std::uint32_t>(contents.size()), &root);
    require(root != nullptr, "libplist cannot read the alias");
    plist_free(root);
}

void readBare(const std::string& path) {
    benchmark::DoNotOptimize(contentsOf(path));
}

void measureReading(benchmark::State& state, void (*read)(const std::string& path)) {
    Store store;
    makeFirstStub(store, Information::None);
    const std::string path = aliasPath();
    state.counters["bytes"] = static_cast<double>(contentsOf(path).size());
    for ([[maybe_unused]] auto _ : state)
        read(path);
}

// All of it

template<typename Measured>
benchmark::internal::Benchmark& add(const std::string& operation, const std::string& subject, int stubs,
                                    int iterations, Measured measured) {
    const std::string name = operation + "/" + subject + "/" + std::to_string(stubs);
    return *benchmark::RegisterBenchmark(name.c_str(), measured)
                ->Iterations(iterations)
                ->Unit(benchmark::kMillisecond);
}

/// Begins with an empty applications folder, as `makeStubs` does by itself.
template<typename Measured>
auto onEmptyFolder(Measured measured) {
    return [measured](benchmark::State& state) {
        emptyAppsFolder();
        measured(state);
    };
}

constexpr int rounds = 7;

void addRebuilds() {
    struct Subject {
        const char* name;
        Finder finder;
        bool isInThisProcess = true;
    };
    constexpr Subject subjects[] = {{"ours", findOurs},
                                    {"find", findByProgram, false},
                                    {"standard library", findByLibrary},
                                    {"floor", findBare}};
    for (const int stubs : {100, 1'000, 10'000, 100'000}) {
        for (int round = 0; round < (stubs > 10'000 ? 3 : rounds); ++round) {
            for (const Subject& subject : subjects) {
                const auto measured = [finder = subject.finder, stubs](benchmark::State& state) {
                    measureRebuild(state, finder, stubs);
                };
                auto& added = add("rebuild", subject.name, stubs, std::max(2, 50'000 / stubs), measured);
                // The processor's time is this process's alone.
                if (!subject.isInThisProcess) added.UseRealTime();
            }
        }
    }
}

void addSubscriptions() {
    struct Operation {
        const char* name;
        void (*measured)(benchmark::State& state, Information information);
        Information information;
        // The desktop's programs take their time in other processes.
        bool runsPrograms;
    };
    constexpr Operation operations[] = {
        {"subscribe", subscribeOurs, Information::Full, true},
        {"subscribe in a batch", subscribeInBatch, Information::Full, false},
        {"subscribe in a batch, template's icon", subscribeInBatch, Information::None, false}};
    for (const Operation& operation : operations) {
        const std::pair<const char*, void (*)(benchmark::State&, Information)> subjects[] = {
            {"ours", operation.measured}, {"template's copy", copyTemplate}, {"floor", subscribeBare}};
        for (int round = 0; round < rounds; ++round) {
            for (const auto& [subject, run] : subjects) {
                auto& added = add(operation.name, subject, 1, subscriptions,
                                  onEmptyFolder([run = run, information = operation.information](
                                                    benchmark::State& state) { run(state, information); }));
                if (operation.runsPrograms) added.UseRealTime();
            }
        }
    }
}

void addReadings() {
    constexpr std::pair<const char*, void (*)(const std::string&)> readers[] = {
        {"ours", readOurs}, {"libplist", readByLibplist}, {"floor", readBare}};
    for (int round = 0; round < rounds; ++round) {
        for (const auto& [subject, reader] : readers) {
            add("read an alias", subject, 1, 2'000,
                onEmptyFolder([reader](benchmark::State& state) { measureReading(state, reader); }));
        }
    }
}

} // namespace
} // namespace mox

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    const mox::Home home;
    benchmark::AddCustomContext("columns", "stubs");
    benchmark::AddCustomContext("growth", "stubs,1000");
    mox::addRebuilds();
    mox::addSubscriptions();
    mox::addReadings();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
