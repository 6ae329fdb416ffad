#include "Formats/CanonicalPropertyListReading.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Formats/XMLPropertyListReading.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

// What the reader in place takes, the general one has to read as the same value, and what keeps its text has
// to be written as what is made anew. The input is a document, and also what stands between the canonical
// head and its end.
namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void requireAgreement(const std::string& document) {
    const auto value = mox::propertyListFromCanonicalXML(document);
    const auto keeping = mox::propertyListKeepingCanonicalXML(mox::SharedBytes(document));
    require(value == keeping);
    if (!value) return;
    require(value == mox::propertyListFromGeneralXML(document));
    const auto pieces = mox::xmlPiecesOfPropertyList(*keeping);
    const auto whole = mox::xmlFromPropertyList(*value);
    require(pieces.has_value() == whole.has_value());
    if (!whole) return;
    std::string joined;
    for (const mox::ByteView piece : pieces->pieces)
        joined += piece;
    require(joined == *whole);
}

constexpr const char* head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                             "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                             "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                             "<plist version=\"1.0\">\n";

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(bytes), size);
    requireAgreement(input);
    requireAgreement(head + input);
    requireAgreement(head + input + "\n</plist>\n");
    return 0;
}
