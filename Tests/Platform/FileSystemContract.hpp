#pragma once

#include "Platform/FileSystem.hpp"
#include "Support/FolderInspection.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace mox::test {

/// A kind of file system that the contract suite runs against.
struct FileSystemKind {
    std::string name;
    std::function<std::shared_ptr<FileSystem>()> make;
};

/// What every `FileSystem` must do. A backend, or a double, joins in with `INSTANTIATE_TEST_SUITE_P`.
class FileSystemContract : public testing::TestWithParam<FileSystemKind> {
protected:
    const ScratchFolder folder;
    const std::shared_ptr<FileSystem> fileSystem = GetParam().make();
};

/// The instance's name for its tests.
inline std::string nameOfKind(const testing::TestParamInfo<FileSystemKind>& info) {
    return info.param.name;
}

/// Succeeds when `outcome` is the error `code` of NSCocoaErrorDomain with `path` and, under it,
/// `errorNumber`.
template<typename Value>
testing::AssertionResult isFileSystemError(const Result<Value>& outcome, Error::Code code,
                                           const std::string& path, int errorNumber) {
    if (outcome) return testing::AssertionFailure() << "it succeeded";
    const Error& error = outcome.error();
    const auto underlying = error.underlyingError();
    if (error.domain() == NSCocoaErrorDomain && error.code() == code && error.filePath() == path &&
        underlying && underlying->domain() == NSPOSIXErrorDomain && underlying->code() == errorNumber) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << error.description() << " at " << error.filePath().value_or("no path") << " because of "
           << (underlying ? underlying->description() : "nothing");
}

/// Lets the process have `mask` as its umask for as long as it lives.
class ScopedUmask {
public:
    explicit ScopedUmask(FileMode mask);
    ScopedUmask(const ScopedUmask&) = delete;
    ScopedUmask& operator=(const ScopedUmask&) = delete;
    ~ScopedUmask();

private:
    FileMode _previous;
};

/// Acts as a user without privileges, whom modes bind, for as long as it lives; `folder` is given to that
/// user.
class WithoutPrivileges {
public:
    explicit WithoutPrivileges(const ScratchFolder& folder);
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;
    ~WithoutPrivileges();

private:
    bool _isRoot;
};

} // namespace mox::test
