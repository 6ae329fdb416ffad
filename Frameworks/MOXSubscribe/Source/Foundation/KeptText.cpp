#include "Foundation/KeptText.hpp"

#include <cassert>
#include <memory>
#include <utility>

namespace mox {

PropertyList::Data KeptText::data(SharedBytes text, Decoder decode) {
    return {std::move(text), decode};
}

const SharedBytes* KeptText::of(const PropertyList::Data& data) noexcept {
    return data._content->decode ? &data._content->text : nullptr;
}

void KeptText::move(const PropertyList::Data& data, SharedBytes text) {
    using Content = PropertyList::Data::Content;
    const Content& content = *data._content;
    data._content =
        std::make_shared<const Content>(Content{std::move(text), content.decode, content.decoded});
}

const KeptText::WrittenForm* KeptText::of(const PropertyList::Dictionary& dictionary) noexcept {
    return canBeKept(dictionary) ? dictionary._writtenForm.get() : nullptr;
}

bool KeptText::canBeKept(const PropertyList::Dictionary& dictionary) noexcept {
    return dictionary.canKeepWrittenForm();
}

void KeptText::keep(const PropertyList::Dictionary& dictionary, WrittenForm form) {
    assert(canBeKept(dictionary));
    dictionary._writtenForm.reset(new WrittenForm(std::move(form)));
}

} // namespace mox
