#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

// Two other libraries that read and write the same file.
namespace mox::bench {

/// A store as another library keeps it.
class Peer {
public:
    virtual ~Peer() = default;

    /// Hands the file's new content to `use`.
    virtual void serialise(const std::function<void(std::string_view)>& use) const = 0;

    /// Sets a text of the entry of that name.
    virtual void change(const std::string& name, const std::string& text) = 0;
};

/// Reads and parses the store's file.
using PeerLoader = std::unique_ptr<Peer> (*)();
std::unique_ptr<Peer> loadWithLibplist();
/// An XML library: data stays text.
std::unique_ptr<Peer> loadWithPugixml();

} // namespace mox::bench
