#include "Formats/DesktopEntry.hpp"
#include "Formats/DesktopEntryReading.hpp"
#include "Foundation/UnicodeText.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

/// A text for a menu comes back as it was, but for what a file cannot carry.
void requireSameText(const std::string& read, const std::string& written) {
    std::string expected;
    for (const char character : mox::repairedUTF8(written)) {
        const auto code = static_cast<unsigned char>(character);
        const bool isCarried = (code >= 0x20 && code != 0x7f) || code == '\n' || code == '\t' || code == '\r';
        expected += isCarried ? std::string(1, character) : "\uFFFD";
    }
    require(read == expected);
}

} // namespace

/// The input, taken apart at bytes FF, is a bundle's path, a program's path, a name and a comment. What is
/// written of them is read by a strict reader and comes back whole. The input itself may be an entry too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    (void)mox::bundleOfDesktopEntry(input);

    std::array<std::string, 4> fields;
    for (std::string& field : fields) {
        field = input.substr(0, input.find('\xFF'));
        input.remove_prefix(std::min(field.size() + 1, input.size()));
    }
    const auto& [bundle, program, name, comment] = fields;
    const mox::DesktopEntry entry = {.bundle = bundle,
                                     .program = program,
                                     .name = name,
                                     .comment = comment,
                                     .icon = "icon",
                                     .documentTypes = {"a/b", "c/d"}};
    const auto text = mox::desktopEntryText(entry);
    if (!text) return 0;
    require(mox::isValidUTF8(*text));
    require(mox::bundleOfDesktopEntry(*text) == bundle);
    const auto values = mox::test::strictDesktopEntry(*text);
    require(values.has_value());
    require(values->size() == (comment.empty() ? 10U : 11U));
    require(values->at("X-MOXSubscribe-Bundle") == bundle);
    require(values->at("TryExec") == program);
    require(values->at("MimeType") == "a/b;c/d;");
    requireSameText(values->at("Name"), name);
    if (!comment.empty()) requireSameText(values->at("Comment"), comment);
    auto arguments = mox::test::strictArguments(values->at("Exec"), {"file"});
    require(arguments.has_value());
    if (arguments->size() == 3) {
        require(arguments->front() == "/usr/bin/env" && program.find('%') != program.npos);
        arguments->erase(arguments->begin());
    }
    require(arguments->size() == 2 && arguments->at(0) == program && arguments->at(1) == "file");
    return 0;
}
