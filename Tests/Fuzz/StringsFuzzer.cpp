#include "Formats/StringsFile.hpp"
#include "Formats/TextEncoding.hpp"

#include <cstddef>
#include <cstdint>

#include "Fuzz/PropertyListRoundTrip.hpp"

namespace {

/// `text` as a quoted word, with every escape that it needs.
std::string quoted(const std::string& text) {
    std::string word = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') word.push_back('\\');
        word.push_back(character);
    }
    return word + '"';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const mox::ByteView input(reinterpret_cast<const char*>(bytes), size);
    if (const auto decoded = mox::decodedText(input)) {
        const auto again = mox::decodedText(mox::encodedText(*decoded));
        mox::fuzz::require(again && again->encoding == decoded->encoding && again->text == decoded->text);
    }
    const auto strings = mox::stringsFromBytes(input);
    if (!strings || strings->empty()) return 0;
    std::string text;
    for (const auto& [key, value] : *strings)
        text += quoted(key) + " = " + quoted(value) + ";\n";
    mox::fuzz::require(mox::stringsFromBytes(text) == strings);
    return 0;
}
