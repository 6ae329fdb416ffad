#include "Formats/DesktopEntry.hpp"
#include "Formats/DesktopEntryReading.hpp"
#include "Formats/GLibDesktopEntry.hpp"
#include "Foundation/UnicodeText.hpp"

#include <cstdint>

#include "Fuzz/FuzzInput.hpp"

namespace {

using mox::fuzz::require;

/// A text for a menu comes back as it was, but for what a file cannot carry.
void requireSameText(const std::string& read, const std::string& written) {
    require(read == mox::test::carriedText(mox::repairedUTF8(written)));
}

/// GLib reads the values that the strict reader found, and starts the same program.
void requireThatGLibAgrees(const std::string& text, const std::map<std::string, std::string>& values,
                           const std::string& program) {
    require(mox::test::glibDesktopEntry(text) == values);
    require(mox::test::glibListInDesktopEntry(text, "MimeType") == std::vector<std::string>{"a/b", "c/d"});
    const auto arguments = mox::test::glibArguments(values.at("Exec"), "-file 'x'");
    require(arguments && arguments->size() >= 2 && arguments->back() == "-file 'x'");
    require(arguments->at(arguments->size() - 2) == program);
}

} // namespace

/// The input, taken apart at bytes FF, is a bundle's path, a program's path, a name and a comment. What is
/// written of them is read by a strict reader and by GLib, and comes back whole. The input itself may be an
/// entry too.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    (void)mox::bundleOfDesktopEntry(input);

    const auto [bundle, program, name, comment] = mox::fuzz::fieldsOf<4>(input);
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
    requireThatGLibAgrees(*text, *values, program);
    return 0;
}
