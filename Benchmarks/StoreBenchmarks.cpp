#include "Formats/PropertyListWriting.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <unistd.h>

#include "StoreFiles.hpp"
#include "StoreMemory.hpp"
#include "StorePeers.hpp"

// Loads, serialises, saves, changes and lists stores of several sizes, and weighs them: the framework, two
// other libraries that read and write the same file, and the floor, which moves the same bytes without
// understanding them.
namespace mox::bench {
namespace {

/// What the file is called that is written in place of the store's by whoever is not the framework.
std::string otherPath() {
    return storePath() + ".other";
}

using Run = std::function<void(benchmark::State&, const StoreSize&)>;

// Times

void loadOurs(benchmark::State& state, const StoreSize& size) {
    for ([[maybe_unused]] auto _ : state) {
        const Store store;
        if (store.numberOfSubscriptions() != static_cast<MOXUInteger>(size.entries))
            state.SkipWithError("wrong number of entries");
    }
}

Run loadPeer(PeerLoader load) {
    return [load](benchmark::State& state, const StoreSize&) {
        for ([[maybe_unused]] auto _ : state)
            benchmark::DoNotOptimize(load());
    };
}

void readBytes(benchmark::State& state, const StoreSize&) {
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(contentsOf(storePath()));
}

/// Calls `measured` in each iteration with a store of values that were never in a file.
void withFreshStores(benchmark::State& state, const StoreSize& size,
                     const std::function<void(Store&)>& measured) {
    PreparedStore::isChanged();
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        ::unlink(storePath().c_str());
        auto store = std::make_unique<Store>();
        store->fill(size);
        PreparedStore::makePagesReady();
        PreparedStore::makeMemoryReady();
        state.ResumeTiming();
        measured(*store);
        state.PauseTiming();
        store.reset();
        state.ResumeTiming();
    }
}

void serialise(const Store& store) {
    const auto document = storedPiecesOfPropertyList(store.tree());
    require(document && !document->pieces.empty(), "the store cannot be written");
}

void serialiseFresh(benchmark::State& state, const StoreSize& size) {
    withFreshStores(state, size, serialise);
}

void serialiseLoaded(benchmark::State& state, const StoreSize&) {
    const Store store;
    for ([[maybe_unused]] auto _ : state)
        serialise(store);
}

Run serialisePeer(PeerLoader load) {
    return [load](benchmark::State& state, const StoreSize&) {
        const std::unique_ptr<Peer> peer = load();
        PreparedStore::makeMemoryReady();
        for ([[maybe_unused]] auto _ : state)
            peer->serialise([](std::string_view text) { benchmark::DoNotOptimize(text); });
    };
}

void saveFresh(benchmark::State& state, const StoreSize& size) {
    withFreshStores(state, size, [](Store& store) { store.saveSubscriptions(); });
}

/// Moves one entry to another name and back; each move saves once.
void changeOurs(benchmark::State& state, const StoreSize& size) {
    PreparedStore::isChanged();
    Store store;
    PreparedStore::makePagesReady();
    std::string name = size.folder() + "/" + entryName(0);
    std::string otherName = name + " moved";
    for ([[maybe_unused]] auto _ : state) {
        if (!store.moveSubscriptionFrom(name, otherName)) state.SkipWithError("the move failed");
        name.swap(otherName);
    }
}

Run changePeer(PeerLoader load) {
    return [load](benchmark::State& state, const StoreSize&) {
        const std::unique_ptr<Peer> peer = load();
        PreparedStore::makePagesReady();
        int round = 0;
        for ([[maybe_unused]] auto _ : state) {
            peer->change(entryName(0), std::to_string(++round));
            peer->serialise([](std::string_view text) { replaceFile(otherPath(), text); });
        }
    };
}

void removeOurs(benchmark::State& state, const StoreSize& size) {
    PreparedStore::isChanged();
    Store store;
    PreparedStore::makePagesReady();
    std::int64_t number = 0;
    for ([[maybe_unused]] auto _ : state) {
        if (!store.removeSubscriptionAtPath(size.folder() + "/" + entryName(number++)))
            state.SkipWithError("the removal failed");
    }
}

/// Nothing less than writing the same bytes can change a file that is always written whole.
void writeBytes(benchmark::State& state, const StoreSize&) {
    const std::string contents = contentsOf(storePath());
    PreparedStore::makePagesReady();
    for ([[maybe_unused]] auto _ : state)
        replaceFile(otherPath(), contents);
}

void listOurs(benchmark::State& state, const StoreSize& size) {
    Store store;
    for ([[maybe_unused]] auto _ : state) {
        std::int64_t records = 0;
        for (const std::string& path : store.subscriptionPathsInFolder("/", true))
            records += store.subscriptionAtPath(path) != nullptr ? 1 : 0;
        if (records != size.entries) state.SkipWithError("wrong number of records");
    }
}

// Bytes

/// A "measurement" of what `measured` returns.
Run bytes(std::function<std::int64_t(const StoreSize&)> measured) {
    return [measured = std::move(measured)](benchmark::State& state, const StoreSize& size) {
        for ([[maybe_unused]] auto _ : state)
            state.counters["megabytes"] = static_cast<double>(measured(size)) / 1e6;
    };
}

Run peakOf(const char* subject) {
    return bytes([subject](const StoreSize&) { return memoryOfLoading(subject).peak; });
}

Run residentOf(const char* subject) {
    return bytes([subject](const StoreSize&) { return memoryOfLoading(subject).resident; });
}

std::int64_t fileBytes(const StoreSize& size) {
    return static_cast<std::int64_t>(PreparedStore::ofSize(size).size());
}

std::int64_t fileBytesWithBrokenLines(const StoreSize& size) {
    return fileBytes(size) + bytesOfBrokenLines(Store().tree());
}

std::int64_t valueBytes(const StoreSize&) {
    return bytesOfValues(Store().tree());
}

// All of it

struct Subject {
    const char* operation;
    const char* name;
    Run run;
    /// Whether its time is not the processor's alone.
    bool waitsForDisk = false;
};

const std::vector<Subject>& timedSubjects() {
    static const std::vector<Subject> subjects = {
        {"load", "ours", loadOurs},
        {"load", "libplist", loadPeer(loadWithLibplist)},
        {"load", "pugixml", loadPeer(loadWithPugixml)},
        {"load", "floor", readBytes},
        {"serialise fresh values", "ours", serialiseFresh},
        {"serialise fresh values", "libplist", serialisePeer(loadWithLibplist)},
        {"serialise fresh values", "pugixml", serialisePeer(loadWithPugixml)},
        {"serialise what was loaded", "ours", serialiseLoaded},
        {"serialise what was loaded", "libplist", serialisePeer(loadWithLibplist)},
        {"serialise what was loaded", "pugixml", serialisePeer(loadWithPugixml)},
        {"first save", "ours", saveFresh, true},
        {"first save", "floor", writeBytes, true},
        {"change", "ours", changeOurs, true},
        {"change", "libplist", changePeer(loadWithLibplist), true},
        {"change", "pugixml", changePeer(loadWithPugixml), true},
        {"change", "floor", writeBytes, true},
        {"remove", "ours", removeOurs, true},
        {"remove", "floor", writeBytes, true},
        {"list", "ours", listOurs},
    };
    return subjects;
}

const std::vector<Subject>& weighedSubjects() {
    static const std::vector<Subject> subjects = {
        {"file", "ours", bytes(fileBytes)},
        {"file", "broken lines", bytes(fileBytesWithBrokenLines)},
        {"memory while loading", "ours", peakOf("ours")},
        {"memory while loading", "libplist", peakOf("libplist")},
        {"memory while loading", "pugixml", peakOf("pugixml")},
        {"memory while loading", "file", bytes(fileBytes)},
        {"memory after loading", "ours", residentOf("ours")},
        {"memory after loading", "libplist", residentOf("libplist")},
        {"memory after loading", "pugixml", residentOf("pugixml")},
        {"memory after loading", "values", bytes(valueBytes)},
    };
    return subjects;
}

void add(const Subject& subject, const StoreSize& size, std::int64_t iterations) {
    const std::string name = std::string(subject.operation) + "/" + subject.name + "/" +
                             std::to_string(size.entries) + "/" + std::to_string(size.iconBytes / 1024) +
                             "/" + std::to_string(size.levels);
    const auto run = [subject, size](benchmark::State& state) {
        state.counters["bytes"] = static_cast<double>(PreparedStore::ofSize(size).size());
        subject.run(state, size);
    };
    auto* added = benchmark::RegisterBenchmark(name.c_str(), run)
                      ->Iterations(iterations)
                      ->Unit(benchmark::kMillisecond);
    if (subject.waitsForDisk) added->UseRealTime();
}

/// Whether the row can do without the subject. The peers need most time by far, and where the largest stores
/// wait for the disk they tell least.
bool isLeftOut(const Subject& subject, std::int64_t megabytes) {
    const bool isPeer =
        subject.name == std::string_view("libplist") || subject.name == std::string_view("pugixml");
    return isPeer && subject.waitsForDisk && megabytes > 200;
}

/// The subjects take turns. Whoever needs most time is measured least.
void add(const StoreSize& size) {
    const std::int64_t megabytes = size.approximateBytes() / 1'000'000;
    const int rounds = megabytes > 200 ? 3 : megabytes > 20 ? 5 : 15;
    for (int round = 0; round < rounds; ++round) {
        for (const Subject& subject : timedSubjects()) {
            if (!isLeftOut(subject, megabytes))
                add(subject, size,
                    std::clamp<std::int64_t>(10 / std::max<std::int64_t>(megabytes, 1), 1, 10));
        }
    }
    // Below this the pages of the program itself, which come in as it runs, would count.
    if (megabytes < 5) return;
    for (const Subject& subject : weighedSubjects())
        add(subject, size, 1);
}

void addAll() {
    constexpr std::int64_t kibibytes = 1'024;
    for (const std::int64_t entries : {100, 1'000, 10'000, 100'000}) {
        for (const std::int64_t iconBytes : {0 * kibibytes, 4 * kibibytes, 64 * kibibytes}) {
            const StoreSize size = {entries, iconBytes, 0};
            if (size.approximateBytes() < 2'000'000'000) add(size);
        }
    }
    add({1, 0, 5'000});
}

} // namespace
} // namespace mox::bench

int main(int argc, char** argv) {
    if (argc == 3 && argv[1] == mox::bench::loadingArgument) {
        mox::bench::loadAndPrintMemory(argv[2]);
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    // A home that is in use has a store, and it would be written over.
    const char* home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/' || ::access((std::string(home) + "/Library").c_str(), F_OK) == 0) {
        std::fputs("HOME has to be a new folder, as script/bench makes one\n", stderr);
        return 2;
    }
    benchmark::AddCustomContext("columns", "entries,icon (KiB),levels");
    benchmark::AddCustomContext("growth", "entries,1000");
    mox::bench::addAll();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
