#include "SDK/MOXPlistSubscriptionManager.hpp"

#include <benchmark/benchmark.h>
#include <plist/plist.h>
#include <pugixml.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

// Loads, saves and changes stores of several sizes: the framework, two other libraries that read and write
// the same file, and the floor, which moves the same bytes without understanding them. The files are in the
// home directory, which has to be a scratch one.
namespace mox {
namespace {

constexpr std::string_view changedName = "Entry 000000";

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

/// The framework's own manager, with the save laid open.
class Store : public MOXPlistSubscriptionManager {
public:
    Store() = default;
    using MOXPlistSubscriptionManager::saveSubscriptions;

    /// Puts `count` entries with icons of `iconSize` bytes into the applications folder, and saves once.
    void fill(std::int64_t count, std::int64_t iconSize) {
        PropertyList::Dictionary* node = dictionaryForPath(appsFolderPath());
        PropertyList::Dictionary* entries = node ? node->dictionary("Subscriptions") : nullptr;
        require(entries != nullptr, "the new store has no applications folder");
        std::mt19937 random(1);
        for (std::int64_t index = 0; index < count; ++index) {
            const std::string number = std::to_string(1'000'000 + index).substr(1);
            const std::string name = "Entry " + number;
            const auto record = MOXPlistSubscription::subscriptionWithFileName(
                name, {.resourceName = "Controller:Resource " + number,
                       .type = MOXSubscriptionType::Application,
                       .storeName = "Benchmark Store",
                       .internalStoreURL = "https://store.internal.example/catalogue",
                       .externalStoreURL = "https://store.example/catalogue"});
            record->setSubscriptionDescription("A resource that is measured & kept");
            PropertyList::Dictionary entry = record->dictionaryRepresentation().value();
            if (iconSize > 0) {
                Bytes icon(static_cast<std::size_t>(iconSize), '\0');
                for (auto& byte : icon)
                    byte = static_cast<Bytes::value_type>(random());
                entry.set("Icon", PropertyList::Data(std::move(icon)));
            }
            entries->set(name, std::move(entry));
        }
        saveSubscriptions();
    }
};

std::string storeFolder() {
    return std::string(std::getenv("HOME")) + "/Library/Application Support/Korvan Ostrel";
}

std::string storePath() {
    return storeFolder() + "/Subscriptions.plist";
}

std::string contentsOf(const std::string& path) {
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    require(descriptor >= 0 && ::fstat(descriptor, &status) == 0, "cannot open " + path);
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t done = 0;
    while (done < contents.size()) {
        const ssize_t count = ::read(descriptor, contents.data() + done, contents.size() - done);
        require(count > 0, "cannot read " + path);
        done += static_cast<std::size_t>(count);
    }
    ::close(descriptor);
    return contents;
}

/// Writes beside the store's file, synchronises, renames, and synchronises the folder, as the framework does.
void replaceStore(std::string_view contents) {
    const std::string path = storePath();
    const std::string beside = path + ".beside";
    const int descriptor = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(descriptor >= 0, "cannot make " + beside);
    while (!contents.empty()) {
        const ssize_t count = ::write(descriptor, contents.data(), contents.size());
        require(count > 0, "cannot write " + beside);
        contents.remove_prefix(static_cast<std::size_t>(count));
    }
    require(::fsync(descriptor) == 0 && ::close(descriptor) == 0, "cannot synchronise " + beside);
    require(::rename(beside.c_str(), path.c_str()) == 0, "cannot rename " + beside);
    const int folder = ::open(storeFolder().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    require(folder >= 0 && ::fsync(folder) == 0 && ::close(folder) == 0, "cannot synchronise the folder");
}

/// The size of a store; its file is made once and copied into place for each run.
struct Size {
    std::int64_t entries;
    std::int64_t iconBytes;
};

/// Puts a fresh store of `size` in place and returns its file's content.
const std::string& prepareStore(const Size& size) {
    static std::pair<std::int64_t, std::int64_t> current = {-1, -1};
    static std::string contents;
    if (current != std::pair(size.entries, size.iconBytes)) {
        ::unlink(storePath().c_str());
        contents.clear();
        Store().fill(size.entries, size.iconBytes);
        contents = contentsOf(storePath());
        current = {size.entries, size.iconBytes};
    } else {
        replaceStore(contents);
    }
    return contents;
}

struct PlistDeleter {
    void operator()(void* node) const { plist_free(node); }
};
using Plist = std::unique_ptr<void, PlistDeleter>;

Plist plistFrom(const std::string& contents) {
    plist_t root = nullptr;
    plist_from_xml(contents.data(), static_cast<std::uint32_t>(contents.size()), &root);
    require(root != nullptr, "libplist cannot read the store");
    return Plist(root);
}

void savePlist(const Plist& root) {
    char* text = nullptr;
    std::uint32_t length = 0;
    plist_to_xml(root.get(), &text, &length);
    require(text != nullptr && length > 0, "libplist cannot write the store");
    replaceStore({text, length});
    plist_to_xml_free(text);
}

/// The first node with `key`, in document order of the dictionaries.
plist_t plistEntry(plist_t node, const std::string& key) {
    if (plist_get_node_type(node) != PLIST_DICT) return nullptr;
    if (plist_t found = plist_dict_get_item(node, key.c_str())) return found;
    plist_t result = nullptr;
    plist_dict_iter iterator = nullptr;
    plist_dict_new_iter(node, &iterator);
    for (plist_t child = nullptr; result == nullptr;) {
        plist_dict_next_item(node, iterator, nullptr, &child);
        if (child == nullptr) break;
        result = plistEntry(child, key);
    }
    std::free(iterator);
    return result;
}

void loadDocument(pugi::xml_document& document, const std::string& contents) {
    require(document.load_buffer(contents.data(), contents.size(), pugi::parse_default | pugi::parse_doctype),
            "pugixml cannot read the store");
}

void saveDocument(const pugi::xml_document& document) {
    std::ostringstream stream;
    document.save(stream, "\t");
    replaceStore(stream.str());
}

pugi::xml_node documentEntry(const pugi::xml_document& document) {
    return document.find_node([](const pugi::xml_node& node) {
        return std::strcmp(node.name(), "key") == 0 && node.text().get() == changedName;
    });
}

using Run = void (*)(benchmark::State&, const Size&);

void loadOurs(benchmark::State& state, const Size& size) {
    for ([[maybe_unused]] auto _ : state) {
        const Store store;
        if (store.numberOfSubscriptions() != static_cast<MOXUInteger>(size.entries))
            state.SkipWithError("wrong number of entries");
    }
}

void loadLibplist(benchmark::State& state, const Size&) {
    for ([[maybe_unused]] auto _ : state)
        plistFrom(contentsOf(storePath()));
}

void loadPugixml(benchmark::State& state, const Size&) {
    for ([[maybe_unused]] auto _ : state) {
        pugi::xml_document document;
        loadDocument(document, contentsOf(storePath()));
    }
}

void loadFloor(benchmark::State& state, const Size&) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(contentsOf(storePath()));
}

void saveOurs(benchmark::State& state, const Size&) {
    Store store;
    for ([[maybe_unused]] auto _ : state)
        store.saveSubscriptions();
}

void saveLibplist(benchmark::State& state, const Size&) {
    const Plist root = plistFrom(contentsOf(storePath()));
    for ([[maybe_unused]] auto _ : state)
        savePlist(root);
}

void savePugixml(benchmark::State& state, const Size&) {
    pugi::xml_document document;
    loadDocument(document, contentsOf(storePath()));
    for ([[maybe_unused]] auto _ : state)
        saveDocument(document);
}

void saveFloor(benchmark::State& state, const Size&) {
    const std::string contents = contentsOf(storePath());
    for ([[maybe_unused]] auto _ : state)
        replaceStore(contents);
}

/// Moves one entry to another name and back; each move saves once.
void changeOurs(benchmark::State& state, const Size&) {
    Store store;
    std::string name = store.appsFolderPath() + "/" + std::string(changedName);
    std::string otherName = name + " moved";
    for ([[maybe_unused]] auto _ : state) {
        if (!store.moveSubscriptionFrom(name, otherName)) state.SkipWithError("the move failed");
        name.swap(otherName);
    }
}

void changeLibplist(benchmark::State& state, const Size&) {
    const Plist root = plistFrom(contentsOf(storePath()));
    int round = 0;
    for ([[maybe_unused]] auto _ : state) {
        plist_t entry = plistEntry(root.get(), std::string(changedName));
        require(entry != nullptr, "libplist does not find the entry");
        plist_dict_set_item(entry, "Description", plist_new_string(std::to_string(++round).c_str()));
        savePlist(root);
    }
}

void changePugixml(benchmark::State& state, const Size&) {
    pugi::xml_document document;
    loadDocument(document, contentsOf(storePath()));
    int round = 0;
    for ([[maybe_unused]] auto _ : state) {
        pugi::xml_node entry = documentEntry(document).next_sibling("dict");
        require(static_cast<bool>(entry), "pugixml does not find the entry");
        entry.child("string").text().set(++round);
        saveDocument(document);
    }
}

struct Subject {
    const char* operation;
    const char* name;
    Run run;
};

/// Nothing less than writing the same bytes can change a file that is always written whole.
constexpr Subject subjects[] = {
    {"load", "ours", loadOurs},           {"load", "libplist", loadLibplist},
    {"load", "pugixml", loadPugixml},     {"load", "floor", loadFloor},
    {"save", "ours", saveOurs},           {"save", "libplist", saveLibplist},
    {"save", "pugixml", savePugixml},     {"save", "floor", saveFloor},
    {"change", "ours", changeOurs},       {"change", "libplist", changeLibplist},
    {"change", "pugixml", changePugixml}, {"change", "floor", saveFloor},
};

/// How often each is measured; the subjects take turns. Whoever needs most time is measured least.
int rounds(const Size& size) {
    const std::int64_t megabytes = size.entries * (size.iconBytes + 500) / 1'000'000;
    return megabytes > 200 ? 1 : megabytes > 20 ? 3 : 7;
}

void registerAll() {
    for (const std::int64_t entries : {100, 1'000, 10'000}) {
        for (const std::int64_t iconBytes : {0, 4 * 1024, 64 * 1024}) {
            const Size size = {entries, iconBytes};
            for (int round = 0; round < rounds(size); ++round) {
                for (const Subject& subject : subjects) {
                    const std::string name = std::string(subject.operation) + "/" + subject.name + "/" +
                                             std::to_string(entries) + "/" + std::to_string(iconBytes / 1024);
                    const std::int64_t iterations =
                        std::clamp<std::int64_t>(10'000'000 / (entries * (iconBytes + 500)), 1, 10);
                    const auto run = [subject, size](benchmark::State& state) {
                        const std::string& contents = prepareStore(size);
                        state.counters["bytes"] = static_cast<double>(contents.size());
                        subject.run(state, size);
                    };
                    benchmark::RegisterBenchmark(name.c_str(), run)
                        ->Iterations(iterations)
                        ->UseRealTime()
                        ->Unit(benchmark::kMillisecond);
                }
            }
        }
    }
}

} // namespace
} // namespace mox

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    // A home that is in use has a store, and it would be written over.
    const char* home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/' || ::access((std::string(home) + "/Library").c_str(), F_OK) == 0) {
        std::fputs("HOME has to be a new folder, as script/bench makes one\n", stderr);
        return 2;
    }
    benchmark::AddCustomContext("columns", "entries,icon (KiB)");
    mox::registerAll();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
