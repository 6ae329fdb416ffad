#pragma once

#include "SDK/MOXPlistSubscriptionManager.hpp"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

// The stores that are measured, and their files, which are in the home directory: a scratch one.
namespace mox::bench {

void require(bool condition, const std::string& what);

/// What a store holds: so many entries, each with an icon, in one folder that is so many levels below an
/// ordinary applications folder.
struct StoreSize {
    std::int64_t entries;
    std::int64_t iconBytes;
    std::int64_t levels;

    /// Where the entries are. It does not depend on the home, whose depth would show in the file.
    std::string folder() const;

    /// About how long the file is.
    std::int64_t approximateBytes() const;

    friend bool operator==(const StoreSize&, const StoreSize&) = default;
};

/// The framework's own manager, with the tree and the save laid open.
class Store : public MOXPlistSubscriptionManager {
public:
    Store() = default;
    using MOXPlistSubscriptionManager::saveSubscriptions;

    /// Puts entries of fresh values into the store, and saves nothing but the folder.
    void fill(const StoreSize& size);

    const PropertyList& tree() const { return *_subscriptionHierarchy; }
};

/// The name of an entry, by its number from 0 on.
std::string entryName(std::int64_t number);

std::string storePath();
std::string contentsOf(const std::string& path);

/// Writes beside the file, synchronises, renames, and synchronises the folder, as the framework does.
void replaceFile(const std::string& path, std::string_view contents);

/// The store of a size in its place, made when there is another one.
class PreparedStore {
public:
    /// Puts the store of `size` in its place and returns its file's content.
    static const std::string& ofSize(const StoreSize& size);

    /// Lets the next `ofSize` put back what the framework has changed.
    static void isChanged();

    /// Writes a file like the prepared one and removes it, so that the system has the pages for another one
    /// at hand. To get them anew can take longer than all that is measured.
    static void makePagesReady();

    /// Fills twice as much memory as the prepared file takes and gives it back, to the same end.
    static void makeMemoryReady();
};

} // namespace mox::bench
