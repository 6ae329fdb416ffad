#include "Foundation/SharedText.hpp"

#include <cstring>
#include <new>

namespace mox {

SharedText::SharedText(std::string_view text) {
    if (text.empty()) return;
    _block = new (::operator new(sizeof(Block) + text.size())) Block{text.size(), 1};
    std::memcpy(_block->text(), text.data(), text.size());
}

void SharedText::destroyBlock() noexcept {
    _block->~Block();
    ::operator delete(_block);
}

} // namespace mox
