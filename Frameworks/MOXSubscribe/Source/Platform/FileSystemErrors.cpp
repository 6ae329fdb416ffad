#include "Platform/FileSystemErrors.hpp"

#include <cerrno>
#include <memory>
#include <utility>

namespace mox {
namespace {

Error::Code codeOfReadError(int errorNumber) {
    switch (errorNumber) {
    case ENOENT:
        return 260;
    case EACCES:
    case EPERM:
        return 257;
    default:
        return 256;
    }
}

Error::Code codeOfWriteError(int errorNumber) {
    switch (errorNumber) {
    case ENOENT:
        return 4;
    case EACCES:
    case EPERM:
        return 513;
    case EEXIST:
        return 516;
    case ENOSPC:
    case EDQUOT:
        return 640;
    case EROFS:
        return 642;
    default:
        return 512;
    }
}

Error fileSystemError(Error::Code code, const std::string& path, int errorNumber) {
    // Made in place, since g++ 12's copy of a variant of these types is undefined when memory runs out.
    Error::UserInfo userInfo;
    userInfo.emplace(NSFilePathErrorKey, path);
    userInfo.emplace(NSUnderlyingErrorKey, std::make_shared<const Error>(Error::posix(errorNumber)));
    return Error(NSCocoaErrorDomain, code, std::move(userInfo));
}

} // namespace

Error readError(const std::string& path, int errorNumber) {
    return fileSystemError(codeOfReadError(errorNumber), path, errorNumber);
}

Error writeError(const std::string& path, int errorNumber) {
    return fileSystemError(codeOfWriteError(errorNumber), path, errorNumber);
}

} // namespace mox
