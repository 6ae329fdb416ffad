#include "Formats/PropertyListWriting.hpp"

#include <cassert>
#include <utility>

namespace mox {
namespace {

[[maybe_unused]] Bytes joined(const std::vector<ByteView>& pieces) {
    Bytes whole;
    for (const ByteView piece : pieces)
        whole += piece;
    return whole;
}

} // namespace

std::optional<Bytes> storedFormOfPropertyList(const PropertyList& value) {
    if (auto document = xmlFromPropertyList(value)) return document;
    return binaryFromPropertyList(value);
}

std::optional<DocumentPieces> storedPiecesOfPropertyList(const PropertyList& value) {
    if (auto document = xmlPiecesOfPropertyList(value)) {
        assert(joined(document->pieces) == xmlFromPropertyList(value));
        return document;
    }
    std::optional<Bytes> bytes = binaryFromPropertyList(value);
    if (!bytes) return std::nullopt;
    SharedBytes whole(*std::move(bytes));
    return DocumentPieces{{whole.view()}, whole};
}

} // namespace mox
