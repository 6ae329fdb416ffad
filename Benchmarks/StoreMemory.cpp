#include "StoreMemory.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <vector>

#include "StoreFiles.hpp"
#include "StorePeers.hpp"

namespace mox::bench {
namespace {

/// A figure of /proc/self/status, in bytes.
std::int64_t ownStatus(const char* format) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen("/proc/self/status", "re"), std::fclose);
    require(file != nullptr, "the process's status cannot be read");
    std::array<char, 256> line = {};
    long long kilobytes = -1;
    while (kilobytes < 0 && std::fgets(line.data(), line.size(), file.get()) != nullptr)
        std::sscanf(line.data(), format, &kilobytes);
    require(kilobytes >= 0, "the process's status lacks a figure");
    return kilobytes * 1024;
}

/// From now on the peak is counted anew.
void forgetPeak() {
    const int descriptor = ::open("/proc/self/clear_refs", O_WRONLY | O_CLOEXEC);
    require(descriptor >= 0 && ::write(descriptor, "5", 1) == 1 && ::close(descriptor) == 0,
            "the peak of the memory cannot be counted anew");
}

/// Calls `visit` with each value in `tree` and the depth of its tag; the root's is 0.
template<typename Visit>
void visitValues(const PropertyList& tree, const Visit& visit) {
    std::vector<std::pair<const PropertyList*, std::int64_t>> pending = {{&tree, 0}};
    while (!pending.empty()) {
        const auto [value, depth] = pending.back();
        pending.pop_back();
        visit(*value, depth);
        if (const PropertyList::Array* array = value->array()) {
            for (const PropertyList& element : *array)
                pending.emplace_back(&element, depth + 1);
        } else if (const PropertyList::Dictionary* dictionary = value->dictionary()) {
            for (const PropertyList::Entry& entry : *dictionary)
                pending.emplace_back(&entry.value, depth + 1);
        }
    }
}

std::int64_t sizeOf(std::string_view text) {
    return static_cast<std::int64_t>(text.size());
}

} // namespace

LoadingMemory memoryOfLoading(const std::string& subject) {
    std::array<char, 4096> program = {};
    require(::readlink("/proc/self/exe", program.data(), program.size() - 1) > 0, "no path of this program");
    const std::string command =
        "exec '" + std::string(program.data()) + "' " + std::string(loadingArgument) + " " + subject;
    const std::unique_ptr<FILE, int (*)(FILE*)> output(::popen(command.c_str(), "r"), ::pclose);
    long long peak = -1;
    long long resident = -1;
    require(output != nullptr && std::fscanf(output.get(), "%lld %lld", &peak, &resident) == 2,
            "the memory of " + subject + " was not measured");
    return {peak, resident};
}

void loadAndPrintMemory(std::string_view subject) {
    forgetPeak();
    const std::int64_t before = ownStatus("VmRSS: %lld kB");
    std::unique_ptr<Store> store;
    std::unique_ptr<Peer> peer;
    if (subject == "ours") {
        store = std::make_unique<Store>();
    } else {
        peer = subject == "libplist" ? loadWithLibplist() : loadWithPugixml();
    }
    const long long peak = ownStatus("VmHWM: %lld kB") - before;
    const long long resident = ownStatus("VmRSS: %lld kB") - before;
    std::printf("%lld %lld\n", peak, resident);
}

std::int64_t bytesOfValues(const PropertyList& tree) {
    std::int64_t bytes = 0;
    visitValues(tree, [&bytes](const PropertyList& value, std::int64_t) {
        if (const std::string* text = value.string()) bytes += sizeOf(*text);
        if (const PropertyList::Data* data = value.data()) bytes += sizeOf(data->bytes());
        if (const PropertyList::Dictionary* dictionary = value.dictionary()) {
            for (const PropertyList::Entry& entry : *dictionary)
                bytes += sizeOf(entry.key);
        }
    });
    return bytes;
}

std::int64_t bytesOfBrokenLines(const PropertyList& tree) {
    std::int64_t bytes = 0;
    visitValues(tree, [&bytes](const PropertyList& value, std::int64_t depth) {
        if (value.data() == nullptr || value.data()->bytes().empty()) return;
        const std::int64_t digits = (sizeOf(value.data()->bytes()) + 2) / 3 * 4;
        const std::int64_t lineLength = 76 - 8 * std::min<std::int64_t>(depth, 8);
        const std::int64_t lines = (digits + lineLength - 1) / lineLength;
        bytes += (lines - 1) * (depth + 1);
    });
    return bytes;
}

} // namespace mox::bench
