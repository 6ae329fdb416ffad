#include "StoreFiles.hpp"

#include "Foundation/BytesBuffer.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace mox::bench {
namespace {

std::string storeFolder() {
    return std::string(std::getenv("HOME")) + "/Library/Application Support/Korvan Ostrel";
}

/// Icons cost no more than a copy: each is a part of the same random bytes, beginning elsewhere.
Bytes iconOf(std::int64_t number, std::int64_t size) {
    constexpr std::size_t beginnings = 4'096;
    static Bytes pool;
    const std::size_t length = static_cast<std::size_t>(size);
    static std::mt19937 random(1);
    while (pool.size() < length + beginnings)
        pool.push_back(static_cast<char>(random() & 0xFF));
    return pool.substr(static_cast<std::size_t>(number) % beginnings, length);
}

StoreSize preparedSize = {-1, -1, -1};
std::string preparedContents;
bool isPreparedChanged = false;

} // namespace

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

std::string StoreSize::folder() const {
    std::string path = "/home/user/Applications";
    for (std::int64_t level = 0; level < levels; ++level)
        path += "/f";
    return path;
}

std::int64_t StoreSize::approximateBytes() const {
    constexpr std::int64_t linesOfLevel = 12;
    return entries * (1'000 + iconBytes * 4 / 3) + linesOfLevel * levels * levels;
}

std::string entryName(std::int64_t number) {
    return "Entry " + std::to_string(1'000'000 + number).substr(1);
}

void Store::fill(const StoreSize& size) {
    require(createFolderAtPath(size.folder()), "no folder for the entries");
    PropertyList::Dictionary* node = dictionaryForPath(size.folder());
    PropertyList::Dictionary* entries = node ? node->dictionary("Subscriptions") : nullptr;
    require(entries != nullptr, "the new store has no applications folder");
    for (std::int64_t index = 0; index < size.entries; ++index) {
        const std::string name = entryName(index);
        const auto record = MOXPlistSubscription::subscriptionWithFileName(
            name, {.resourceName = "Controller:Resource " + name,
                   .type = MOXSubscriptionType::Application,
                   .storeName = "Benchmark Store",
                   .internalStoreURL = "https://store.internal.example/catalogue",
                   .externalStoreURL = "https://store.example/catalogue"});
        record->setSubscriptionDescription("A resource that is measured & kept");
        PropertyList::Dictionary entry = record->dictionaryRepresentation().value();
        if (size.iconBytes > 0) entry.set("Icon", PropertyList::Data(iconOf(index, size.iconBytes)));
        entries->set(name, std::move(entry));
    }
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

void replaceFile(const std::string& path, std::string_view contents) {
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

const std::string& PreparedStore::ofSize(const StoreSize& size) {
    if (preparedSize != size) {
        ::unlink(storePath().c_str());
        preparedContents = {};
        Store store;
        store.fill(size);
        store.saveSubscriptions();
        preparedContents = contentsOf(storePath());
        preparedSize = size;
    } else if (isPreparedChanged) {
        replaceFile(storePath(), preparedContents);
    }
    isPreparedChanged = false;
    return preparedContents;
}

void PreparedStore::isChanged() {
    isPreparedChanged = true;
}

void PreparedStore::makePagesReady() {
    const std::string path = storeFolder() + "/Pages";
    replaceFile(path, preparedContents);
    require(::unlink(path.c_str()) == 0, "cannot remove " + path);
}

void PreparedStore::makeMemoryReady() {
    const std::size_t size = preparedContents.size() * 2;
    BytesBuffer memory;
    std::fill_n(memory.resize(size), size, '\0');
    benchmark::DoNotOptimize(memory.view().data());
}

} // namespace mox::bench
