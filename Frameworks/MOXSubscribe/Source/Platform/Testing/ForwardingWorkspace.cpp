#include "Platform/Testing/ForwardingWorkspace.hpp"

namespace mox::test {

bool ForwardingWorkspace::isFilePackageAtPath(const std::string& path) {
    return _target.isFilePackageAtPath(path);
}

bool ForwardingWorkspace::recycleItem(const std::string& folder, const std::string& name) {
    calls.push_back("recycle " + folder + " " + name);
    return !refusesToRecycle && _target.recycleItem(folder, name);
}

void ForwardingWorkspace::recycledItemMovedOut(const std::string& pathInTrash) {
    calls.push_back("moved out " + pathInTrash);
    _target.recycledItemMovedOut(pathInTrash);
}

} // namespace mox::test
