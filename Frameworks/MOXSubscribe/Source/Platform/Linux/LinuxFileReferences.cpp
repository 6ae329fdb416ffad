#include "Platform/Linux/LinuxFileReferences.hpp"

#include "Platform/Linux/FileOperations.hpp"

#include <cerrno>
#include <fcntl.h>
#include <utility>

namespace mox {
namespace {

/// An open item, which is kept open for as long as something refers to it.
using OpenItem = std::shared_ptr<const Descriptor>;

/// What is both a reference and an alias here: an open item is found wherever it is moved.
class LinuxFileReference : public FileReference, public FileAlias {
public:
    explicit LinuxFileReference(OpenItem item) : _item(std::move(item)) {}

    const OpenItem& item() const { return _item; }

private:
    OpenItem _item;
};

/// The open item of a reference or an alias; null when another backend made that.
template<typename Base>
OpenItem itemOf(const Base& base) {
    const auto* reference = dynamic_cast<const LinuxFileReference*>(&base);
    return reference ? reference->item() : nullptr;
}

} // namespace

SystemStatus LinuxFileReferences::makeReference(const std::string& path,
                                                std::shared_ptr<const FileReference>& reference) {
    if (holdsNul(path)) return EINVAL;
    auto item = std::make_shared<const Descriptor>(_system, path, O_PATH | O_NOFOLLOW);
    if (item->openError() != 0) return item->openError();
    reference = std::make_shared<const LinuxFileReference>(std::move(item));
    return 0;
}

SystemStatus LinuxFileReferences::makeAlias(const FileReference& reference,
                                            std::shared_ptr<const FileAlias>& alias) {
    const OpenItem item = itemOf(reference);
    if (!item) return EINVAL;
    alias = std::make_shared<const LinuxFileReference>(item);
    return 0;
}

SystemStatus LinuxFileReferences::resolveAlias(const FileAlias& alias,
                                               std::shared_ptr<const FileReference>& reference) {
    const OpenItem item = itemOf(alias);
    if (!item) return EINVAL;
    std::string path;
    if (const ErrorNumber error = readPathOf(_system, item->number(), path)) return error;
    reference = std::make_shared<const LinuxFileReference>(item);
    return 0;
}

SystemStatus LinuxFileReferences::makePath(const FileReference& reference, std::string& path) {
    constexpr std::size_t longestPath = 1023;
    const OpenItem item = itemOf(reference);
    if (!item) return EINVAL;
    std::string found;
    if (const ErrorNumber error = readPathOf(_system, item->number(), found)) return error;
    if (found.size() > longestPath) return ENAMETOOLONG;
    path = std::move(found);
    return 0;
}

} // namespace mox
