#pragma once

#include <new>
#include <string>
#include <string_view>
#include <vector>

namespace mox {

/// Makes application bundles known to the desktop: its menu, and what it opens documents with. Entries that
/// are not ours are never touched. One thread at a time.
class LaunchRegistration {
public:
    virtual ~LaunchRegistration() = default;

    /// Makes the bundle at `path` known, or what is known of it current. 0, or an errno value; then what was
    /// known before stays, and the bundle itself is untouched in any case.
    virtual int registerBundle(const std::string& path) = 0;

    /// Told that the item at `source` (a bundle or a folder, with all below it) is now at `destination`.
    /// Bundles that were known there are known here instead; a bundle that was not known becomes so when
    /// something of ours was known at its old path only.
    virtual void bundleMoved(const std::string& source, const std::string& destination) = 0;

    /// Told that the item at `path` and all below it is gone: nothing of it is known any more.
    virtual void bundleRemoved(const std::string& path) = 0;

    /// Told of all stubs that are there, after changes made by others: bundles among `stubPaths` that are not
    /// known become so, and known ones that exist no more, wherever they were, are forgotten.
    virtual void reconcile(const std::vector<std::string>& stubPaths) = 0;

    /// Between these two, which nest, the desktop's caches are not refreshed; the outermost end refreshes
    /// them once if anything changed. Use `LaunchRegistrationBatch`.
    virtual void beginBatch() = 0;
    virtual void endBatch() = 0;
};

/// Ends a batch of `registration`. A refresh that there is no memory for is passed over: the desktop finds
/// out by itself later, and what called for it must not end.
inline void endBatchOf(LaunchRegistration& registration) noexcept {
    try {
        registration.endBatch();
    } catch (const std::bad_alloc&) {
    }
}

/// Makes the registrations of its lifetime one refresh of the desktop's caches.
class LaunchRegistrationBatch {
public:
    explicit LaunchRegistrationBatch(LaunchRegistration& registration) : _registration(registration) {
        _registration.beginBatch();
    }
    LaunchRegistrationBatch(const LaunchRegistrationBatch&) = delete;
    LaunchRegistrationBatch& operator=(const LaunchRegistrationBatch&) = delete;
    ~LaunchRegistrationBatch() { endBatchOf(_registration); }

private:
    LaunchRegistration& _registration;
};

} // namespace mox
