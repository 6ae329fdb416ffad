#pragma once

#include "Foundation/PropertyList.hpp"

#include <cstdint>
#include <string>
#include <string_view>

// What stores take in memory and on the disk.
namespace mox::bench {

/// What a process took for loading the store, in bytes beyond what it had before.
struct LoadingMemory {
    /// At most, at any time.
    std::int64_t peak;
    /// While it had the store.
    std::int64_t resident;
};

/// Has a new process of this program load the store by `subject`: "ours", "libplist" or "pugixml".
LoadingMemory memoryOfLoading(const std::string& subject);

/// The argument that tells a process of this program to do so; the subject follows.
inline constexpr std::string_view loadingArgument = "--load-by";

/// What that process does: loads and prints the figures.
void loadAndPrintMemory(std::string_view subject);

/// The bytes of all texts, keys included, and data in `tree`.
std::int64_t bytesOfValues(const PropertyList& tree);

/// By how much the file of `tree` were longer if data stood in lines of 76 columns, of which each tab of the
/// tag's indent before each line takes eight, up to eight tabs.
std::int64_t bytesOfBrokenLines(const PropertyList& tree);

} // namespace mox::bench
