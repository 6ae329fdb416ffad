#pragma once

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <vector>

namespace mox::tool {

/// Adds an option that takes one of `words` and stores its meaning in `value`; any other word is a usage
/// error. `value` and `words` must outlive the parsing.
template<typename Kind>
CLI::Option* addWordOption(CLI::App& command, const std::string& name, Kind& value,
                           const std::map<std::string, Kind>& words, const std::string& description) {
    std::vector<std::string> choices;
    choices.reserve(words.size());
    for (const auto& [word, meaning] : words)
        choices.push_back(word);
    return command
        .add_option_function<std::string>(
            name, [&value, &words](const std::string& word) { value = words.at(word); }, description)
        ->type_name("WORD")
        ->check(CLI::IsMember(choices));
}

} // namespace mox::tool
