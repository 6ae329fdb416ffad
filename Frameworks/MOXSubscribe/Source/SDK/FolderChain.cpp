#include "SDK/FolderChain.hpp"

namespace mox {

bool FolderChain::enter(const std::string& path, bool isLink) {
    const bool mayLeadBack = isLink || _links > 0;
    std::optional<ItemIdentity> identity;
    if (mayLeadBack) {
        identity = identityAt(path);
        if (!_root) _root = identityAt("/");
        if (identity && identity == _root) return false;
        for (Level& level : _levels) {
            if (!level.isLookedUp) {
                level.identity = identityAt(path.substr(0, level.pathLength));
                level.isLookedUp = true;
            }
            if (identity && level.identity == identity) return false;
        }
    }
    _levels.push_back({path.size(), isLink, mayLeadBack, identity});
    if (isLink) ++_links;
    return true;
}

void FolderChain::leave() {
    if (_levels.back().isLink) --_links;
    _levels.pop_back();
}

std::optional<ItemIdentity> FolderChain::identityAt(const std::string& path) {
    const Result<ItemIdentity> identity = _fileSystem.identityOfItem(path);
    return identity ? std::optional(*identity) : std::nullopt;
}

} // namespace mox
