#include "Formats/GLibDesktopEntry.hpp"

#include <glib.h>
#include <memory>

namespace mox::test {
namespace {

constexpr const char* group = "Desktop Entry";

using KeyFile = std::unique_ptr<GKeyFile, decltype(&g_key_file_unref)>;
using Text = std::unique_ptr<char, decltype(&g_free)>;
using Texts = std::unique_ptr<char*, decltype(&g_strfreev)>;

KeyFile keyFile(std::string_view text) {
    KeyFile file(g_key_file_new(), &g_key_file_unref);
    const bool isRead =
        g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr) == TRUE;
    if (!isRead) file.reset();
    return file;
}

std::vector<std::string> vectorOf(char** texts, std::size_t count) {
    return {texts, texts + count};
}

} // namespace

std::optional<std::map<std::string, std::string>> glibDesktopEntry(std::string_view text) {
    const KeyFile file = keyFile(text);
    if (!file) return std::nullopt;
    gsize groupCount = 0;
    const Texts groups(g_key_file_get_groups(file.get(), &groupCount), &g_strfreev);
    if (groupCount != 1 || std::string_view(*groups.get()) != group) return std::nullopt;
    gsize keyCount = 0;
    const Texts keys(g_key_file_get_keys(file.get(), group, &keyCount, nullptr), &g_strfreev);
    std::map<std::string, std::string> values;
    for (const std::string& key : vectorOf(keys.get(), keyCount)) {
        // A value comes with an error where an escape is unknown.
        GError* error = nullptr;
        const Text value(g_key_file_get_string(file.get(), group, key.c_str(), &error), &g_free);
        const std::unique_ptr<GError, decltype(&g_error_free)> problem(error, &g_error_free);
        if (!value || problem) return std::nullopt;
        values.emplace(key, value.get());
    }
    return values;
}

std::optional<std::vector<std::string>> glibListInDesktopEntry(std::string_view text,
                                                               const std::string& key) {
    const KeyFile file = keyFile(text);
    if (!file) return std::nullopt;
    gsize count = 0;
    const Texts items(g_key_file_get_string_list(file.get(), group, key.c_str(), &count, nullptr),
                      &g_strfreev);
    if (!items) return std::nullopt;
    return vectorOf(items.get(), count);
}

std::optional<std::vector<std::string>> glibArguments(std::string_view line, const std::string& file) {
    std::string expanded;
    for (std::size_t index = 0; index < line.size(); ++index) {
        if (line[index] != '%') {
            expanded += line[index];
            continue;
        }
        const char code = ++index < line.size() ? line[index] : '\0';
        if (code == '%') {
            expanded += code;
        } else if (code == 'F') {
            expanded += Text(g_shell_quote(file.c_str()), &g_free).get();
        } else {
            return std::nullopt;
        }
    }
    int count = 0;
    char** words = nullptr;
    if (g_shell_parse_argv(expanded.c_str(), &count, &words, nullptr) == FALSE) return std::nullopt;
    const Texts arguments(words, &g_strfreev);
    return vectorOf(words, static_cast<std::size_t>(count));
}

} // namespace mox::test
