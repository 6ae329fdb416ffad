#include "Support/HostileTexts.hpp"

namespace mox::test {

using namespace std::string_literals;

std::vector<std::string> hostileTexts() {
    return {
        // Paths
        "..",
        "../x",
        "../../../../decoy",
        "a/b",
        "/abs",
        ".",
        "/",
        "//",
        "trailing/",
        ".DS_Store",
        "~/x",
        // Control characters
        "line\nfeed",
        "return\rhere",
        "tab\there",
        "escape\x1b[31m",
        "bell\x07 and delete\x7f",
        "nul\0inside"s,
        "\0"s,
        // Lengths
        " ",
        " a ",
        std::string(255, 'n'),
        std::string(256, 'n'),
        std::string(64 * 1024, 'n'),
        // No text, and text of two kinds
        "\xff\xfe invalid",
        "cut \xe2\x82",
        "\xed\xa0\x80 high surrogate",
        "\xed\xb0\x80 low surrogate",
        "\xed\xa0\xbd\xed\xb8\x80 surrogates for one character",
        "\xc0\xae\xc0\xae\xc0\xaf overlong",
        "\ufffe noncharacter",
        "\U0001F600",
        "Caf\u00e9",
        "Cafe\u0301",
        "\u202e reversed",
        // Languages and formats
        "quote\" 'single' `back` \\ backslash\\",
        "%n%s%@%d%f%U %% %i %F",
        "; rm -rf /",
        "a;b\\;c",
        "$(touch x) ${y} $z",
        "-dash",
        "#comment",
        "[group]",
        "key=value",
        "<key>&amp;</key>]]>",
        "* ? {a,b} | & < >",
        "Name=Other\nExec=touch decoy\n[Desktop Action x]",
        "Folders",
        "Subscriptions",
    };
}

std::vector<std::string> hostileFileNames(std::size_t longest) {
    std::vector<std::string> names = hostileTexts();
    std::erase_if(names, [longest](const std::string& name) {
        return name == "." || name == ".." || name.size() > longest ||
               name.find_first_of("/\0"s) != name.npos;
    });
    return names;
}

} // namespace mox::test
