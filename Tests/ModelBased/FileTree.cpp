#include "ModelBased/FileTree.hpp"

#include <algorithm>
#include <cerrno>

namespace mox::test::model {
namespace {

std::string listOf(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts)
        list.append(list.empty() ? "" : ", ").append(quoted(text));
    return "[" + list + "]";
}

std::string dictionaryOf(const std::map<std::string, std::string, ByUTF16>& values) {
    std::string list;
    for (const auto& [key, value] : values)
        list.append(list.empty() ? "" : ", ").append(quoted(key)).append(": ").append(value);
    return "{" + list + "}";
}

std::string textOf(const DocumentType& type) {
    std::map<std::string, std::string, ByUTF16> values = {
        {"CFBundleTypeName", quoted(type.name)}, {"CFBundleTypeExtensions", listOf(type.extensions)}};
    if (!type.role.empty()) values["CFBundleTypeRole"] = quoted(type.role);
    if (!type.iconFile.empty()) values["CFBundleTypeIconFile"] = quoted(type.iconFile);
    return dictionaryOf(values);
}

/// The system looks at a path's last name after all folders of all paths.
bool isTooLong(const std::string& name) {
    return name.size() > 255;
}

bool endsInSlash(const std::string& path) {
    return path.size() > 1 && path.back() == '/';
}

} // namespace

Item fileOf(const std::string& bytes) {
    Item item;
    item.bytes = bytes;
    return item;
}

Item folderOf(const std::map<std::string, Item>& items) {
    Item item;
    item.isFolder = true;
    item.items = items;
    return item;
}

std::string textOf(const InfoList& infoList) {
    std::map<std::string, std::string, ByUTF16> values;
    for (const auto& [key, text] : infoList.texts)
        values[key] = quoted(text);
    if (infoList.isDesktopViewer) values["KVDesktopViewer"] = "true";
    if (infoList.documentTypes) {
        std::string list;
        for (const DocumentType& type : *infoList.documentTypes)
            list.append(list.empty() ? "" : ", ").append(textOf(type));
        values["CFBundleDocumentTypes"] = "[" + list + "]";
    }
    return dictionaryOf(values);
}

std::string contentOf(const Item& file) {
    if (file.infoList) return textOf(*file.infoList);
    if (file.alias) return textOf(*file.alias);
    return file.icon == 0 ? file.bytes : "icon " + std::to_string(file.icon);
}

void describe(const Item& item, const std::string& path, Observations& lines) {
    lines.push_back(item.isFolder ? path + "/" : path + " = " + contentOf(item));
    for (const auto& [name, child] : item.items)
        describe(child, path + "/" + name, lines);
}

bool isPackageName(const std::string& path) {
    std::string name = lastComponentOf(path);
    std::transform(name.begin(), name.end(), name.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? char(character + 32) : character;
    });
    return name.size() > 4 && name.ends_with(".app");
}

std::map<std::string, std::string> textsInStrings(const std::string& bytes) {
    std::map<std::string, std::string> texts;
    std::size_t start = 0;
    while (start < bytes.size()) {
        const std::size_t end = std::min(bytes.find('\n', start), bytes.size());
        const std::string line = bytes.substr(start, end - start);
        start = end + 1;
        if (!line.starts_with('"')) continue;
        std::vector<std::size_t> quotes;
        for (std::size_t index = 0; index < line.size(); ++index) {
            if (line[index] == '"') quotes.push_back(index);
        }
        if (quotes.size() != 4) return {};
        texts[line.substr(1, quotes[1] - 1)] = line.substr(quotes[2] + 1, quotes[3] - quotes[2] - 1);
    }
    return texts;
}

FileTree::Place FileTree::placeOf(const std::string& path) {
    if (path.find('\0') != std::string::npos) return {nullptr, "", EINVAL};
    std::vector<std::string> names;
    for (const std::string& component : componentsOf(path)) {
        if (component != "/") names.push_back(component);
    }
    if (names.empty() || path.front() == '/') return {nullptr, "", ENOENT};
    std::vector<Item*> chain = {&_top};
    for (std::size_t index = 0; index + 1 < names.size(); ++index) {
        const std::string& name = names[index];
        if (isTooLong(name)) return {nullptr, "", ENAMETOOLONG};
        if (name == ".") continue;
        if (name == "..") {
            if (chain.size() > 1) chain.pop_back();
            continue;
        }
        const auto found = chain.back()->items.find(name);
        if (found == chain.back()->items.end()) return {nullptr, "", ENOENT};
        if (!found->second.isFolder) return {nullptr, "", ENOTDIR};
        chain.push_back(&found->second);
    }
    return {chain.back(), names.back(), 0};
}

Item* FileTree::find(const std::string& path) {
    const Place place = placeOf(path);
    if (place.error != 0) return nullptr;
    if (place.name == "..") return find(path + "/.");
    if (place.name == ".") return place.folder;
    const auto found = place.folder->items.find(place.name);
    if (found == place.folder->items.end() || (endsInSlash(path) && !found->second.isFolder)) return nullptr;
    return &found->second;
}

bool FileTree::isFolder(const std::string& path) {
    const Item* item = find(path);
    return item && item->isFolder;
}

bool FileTree::put(const std::string& path, const Item& item) {
    const Place place = placeOf(path);
    if (place.error != 0 || isTooLong(place.name) || find(path)) return false;
    place.folder->items[place.name] = item;
    return true;
}

FileTree::Outcome FileTree::remove(const std::string& path) {
    const Place place = placeOf(path);
    if (place.error != 0) return {place.error, path};
    if (isTooLong(place.name)) return {ENAMETOOLONG, path};
    const auto found = place.folder->items.find(place.name);
    if (found == place.folder->items.end()) return {ENOENT, path};
    if (endsInSlash(path) && !found->second.isFolder) return {ENOTDIR, path};
    place.folder->items.erase(found);
    return {};
}

FileTree::Outcome FileTree::move(const std::string& source, const std::string& destination) {
    const Place from = placeOf(source);
    if (from.error != 0) return {from.error, source};
    const Place to = placeOf(destination);
    if (to.error != 0) return {to.error, source};
    if (isTooLong(from.name)) return {ENAMETOOLONG, source};
    const auto found = from.folder->items.find(from.name);
    if (found == from.folder->items.end()) return {ENOENT, source};
    if (isTooLong(to.name)) return {ENAMETOOLONG, source};
    if (to.folder->items.contains(to.name)) return {EEXIST, destination};
    if (!found->second.isFolder && (endsInSlash(source) || endsInSlash(destination)))
        return {ENOTDIR, source};
    const std::function<bool(const Item&)> holdsDestination = [&](const Item& item) {
        return &item == to.folder ||
               std::any_of(item.items.begin(), item.items.end(),
                           [&](const auto& child) { return holdsDestination(child.second); });
    };
    if (holdsDestination(found->second)) return {EINVAL, source};
    const Item item = found->second;
    from.folder->items.erase(found);
    to.folder->items[to.name] = item;
    return {};
}

FileTree::Outcome FileTree::makeFolders(const std::string& path) {
    if (isFolder(path)) return {};
    const std::string parent = parentOf(path);
    if (!parent.empty()) {
        if (const Outcome outcome = makeFolders(parent); !outcome) return {outcome.error, path};
    }
    const Place place = placeOf(path);
    if (place.error != 0) return {place.error, path};
    if (isTooLong(place.name)) return {ENAMETOOLONG, path};
    if (place.folder->items.contains(place.name)) return {EEXIST, path};
    place.folder->items[place.name] = folderOf({});
    return {};
}

int errorCodeOf(const FileTree::Outcome& outcome) {
    switch (outcome.error) {
    case ENOENT:
        return 4;
    case EEXIST:
        return 516;
    case ENOSPC:
        return 640;
    default:
        return 512;
    }
}

std::string errorOf(const FileTree::Outcome& outcome) {
    return fileSystemError(errorCodeOf(outcome), outcome.path, outcome.error);
}

} // namespace mox::test::model
