#ifndef __linux__
#error "This is the Linux backend."
#endif

#include "Platform/Linux/MIMEHandlers.hpp"

#include "Platform/Linux/OptionalFile.hpp"

#include <algorithm>
#include <functional>

namespace mox {
namespace {

/// Is called with the group that a line "TYPE=PROGRAM;PROGRAM;" stands in, the type, and one program.
using LineReader = std::function<void(std::string_view group, std::string_view type, std::string_view)>;

void readAssociations(std::string_view text, const LineReader& read) {
    std::string_view group;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        if (line.starts_with("[")) {
            group = line.substr(1, line.find(']') - 1);
            continue;
        }
        const std::size_t separator = line.find('=');
        if (separator == line.npos) continue;
        std::string_view programs = line.substr(separator + 1);
        while (!programs.empty()) {
            const std::string_view program = programs.substr(0, programs.find(';'));
            programs.remove_prefix(std::min(program.size() + 1, programs.size()));
            if (!program.empty()) read(group, line.substr(0, separator), program);
        }
    }
}

/// The lists of what was chosen in `folder`.
std::vector<std::string> listsOfChoicesIn(const std::string& folder,
                                          const std::vector<std::string>& desktops) {
    std::vector<std::string> paths;
    paths.reserve(desktops.size() + 1);
    for (const std::string& desktop : desktops)
        paths.push_back(folder + "/" + desktop + "-mimeapps.list");
    paths.push_back(folder + "/mimeapps.list");
    return paths;
}

} // namespace

Result<MIMEHandlers> MIMEHandlers::read(FileSystem& fileSystem, const Places& places,
                                        const MIMEDatabase& database, std::string_view ignoredPrefix) {
    MIMEHandlers handlers;
    std::vector<std::string> applicationFolders;
    for (const std::string& folder : places.dataFolders)
        applicationFolders.push_back(folder + "/applications");
    const auto isInstalled = [&](std::string_view program) {
        return std::any_of(applicationFolders.begin(), applicationFolders.end(), [&](const auto& folder) {
            return fileSystem.itemKindAtPath(folder + "/" + std::string(program)) == ItemKind::File;
        });
    };
    const LineReader note = [&](std::string_view group, std::string_view type, std::string_view program) {
        if (group == "Default Applications") {
            if (isInstalled(program)) handlers._typesWithDefault.emplace(type);
        } else if (group == "Added Associations" || group == "MIME Cache") {
            if (!program.starts_with(ignoredPrefix))
                handlers._typesWithHandler.insert(database.properNameOfType(std::string(type)));
        }
    };

    std::vector<std::string> lists;
    const auto add = [&](const std::string& folder) {
        const std::vector<std::string> choices = listsOfChoicesIn(folder, places.desktops);
        lists.insert(lists.end(), choices.begin(), choices.end());
    };
    std::for_each(places.configurationFolders.begin(), places.configurationFolders.end(), add);
    std::for_each(applicationFolders.begin(), applicationFolders.end(), add);
    for (const std::string& folder : applicationFolders)
        lists.push_back(folder + "/mimeinfo.cache");
    for (const std::string& list : lists) {
        const auto text = contentsOfFileIfPresent(fileSystem, list);
        if (!text) return text.error();
        readAssociations(text->value_or(Bytes()), note);
    }
    return handlers;
}

} // namespace mox
