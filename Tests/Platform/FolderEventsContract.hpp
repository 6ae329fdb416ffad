#pragma once

#include "Platform/FolderEvents.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace mox::test {

/// Folder events to run the contract suite against.
class FolderEventsKind {
public:
    virtual ~FolderEventsKind() = default;

    virtual FolderEvents& folderEvents() = 0;
    virtual std::shared_ptr<RunLoop> runLoop() = 0;

    /// How long the streams collect changes.
    virtual std::chrono::milliseconds latency() const = 0;

    /// Lets everything that is due be delivered, the window that is open closed first; until `isEnough`.
    virtual void deliver(const std::function<bool()>& isEnough) = 0;
};

/// A kind with its name.
struct NamedFolderEvents {
    std::string name;
    std::function<std::unique_ptr<FolderEventsKind>()> make;
};

/// A folder "Root" that is watched once `watch` was called.
class FolderEventsTest : public testing::Test {
protected:
    using Paths = std::vector<std::string>;

    explicit FolderEventsTest(std::unique_ptr<FolderEventsKind> kindOfEvents);

    void watch() { watch(root); }
    void watch(const std::string& path);

    /// What is delivered next, as one batch; empty when nothing comes.
    Paths nextBatch();

    /// What a change of the root, made by this, is told with: nothing else happened when that is the root
    /// alone.
    Paths batchWithRootChanged();

    std::string path(const std::string& name) const { return folder.path(name); }
    void makeFolder(const std::string& name) const;
    void makeFolders(const std::vector<std::string>& names) const;
    void write(const std::string& name) const { folder.write(name, "text"); }
    void link(const std::string& target, const std::string& name) const;
    void move(const std::string& name, const std::string& newName) const;
    void remove(const std::string& name) const;
    /// Removes it with everything in it.
    void removeAll(const std::string& name) const;

    const ScratchFolder folder;
    const std::string root = folder.path("Root");
    const std::unique_ptr<FolderEventsKind> kind;
    std::vector<Paths> batches;
    std::unique_ptr<FolderEventStream> stream;
};

/// What every `FolderEvents` must do. A backend joins in with `INSTANTIATE_TEST_SUITE_P`.
class FolderEventsContract : public FolderEventsTest, public testing::WithParamInterface<NamedFolderEvents> {
protected:
    FolderEventsContract() : FolderEventsTest(GetParam().make()) {}
};

} // namespace mox::test
