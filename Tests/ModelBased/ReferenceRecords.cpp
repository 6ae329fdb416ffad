#include "ModelBased/ReferenceRecords.hpp"

#include <algorithm>

namespace mox::test::model {
namespace {

void put(Entry& entry, const std::string& key, const std::optional<std::string>& value) {
    if (value) entry[key] = textValue(stored(*value));
}

int indexOf(const std::vector<std::string>& words, const std::optional<std::string>& word, int otherwise) {
    const auto found = word ? std::find(words.begin(), words.end(), *word) : words.end();
    return found == words.end() ? otherwise : static_cast<int>(found - words.begin());
}

const std::vector<std::string> typeWords = {"", "Application", "Desktop"};
const std::vector<std::string> gatewayWords = {"standard", "advanced", "enterprise"};
const std::vector<std::string> authenticationWords = {"none", "domain", "rsa", "domainandrsa", "sms"};

void putWord(Entry& entry, const std::string& key, const std::vector<std::string>& words, int value) {
    if (value >= 0 && value < static_cast<int>(words.size()) &&
        !words[static_cast<std::size_t>(value)].empty())
        entry[key] = textValue(words[static_cast<std::size_t>(value)]);
}

} // namespace

EntryValue textValue(const std::string& text) {
    return {EntryValue::Kind::Text, text};
}

EntryValue integerValue(const std::string& number) {
    return {EntryValue::Kind::Integer, number};
}

std::string stored(const std::string& value) {
    std::string repaired;
    for (const char character : value) {
        if (character == '\xFF')
            repaired.append("\xEF\xBF\xBD");
        else
            repaired.push_back(character);
    }
    return repaired;
}

std::optional<std::string> textIn(const Entry& entry, const std::string& key) {
    const auto found = entry.find(key);
    if (found == entry.end() || found->second.kind != EntryValue::Kind::Text) return std::nullopt;
    return found->second.text;
}

int typeOf(const Entry& entry) {
    return indexOf(typeWords, textIn(entry, "Korvan Application Type"), 0);
}

void buildSeamlessName(Entry& entry) {
    const std::string resource = textIn(entry, "Korvan Server Unique Application Name").value_or("");
    const std::string publisher = textIn(entry, "Korvan Publisher Name").value_or("");
    if (resource.empty() || publisher.empty()) return;
    const std::size_t colon = resource.find(':');
    entry["Tavamor Name"] =
        textValue(publisher + "#" + (colon == std::string::npos ? resource : resource.substr(colon + 1)));
}

Entry recordOf(const Step& step) {
    Entry entry;
    put(entry, "cloneName", step.fileName);
    put(entry, "Store Name", step.store);
    put(entry, "Internal Store URL", step.internalURL);
    put(entry, "External Store URL", step.externalURL);
    put(entry, "Korvan Server Unique Application Name", step.resource.value_or(""));
    putWord(entry, "Norvik Type", gatewayWords, step.gateway);
    if (step.gateway == 9) entry["Norvik Type"] = textValue("none");
    putWord(entry, "Norvik Auth Type", authenticationWords, step.authentication);
    putWord(entry, "Korvan Application Type", typeWords, step.type);
    entry["SchemaVersion"] = integerValue("1");
    if (step.info) {
        put(entry, "Korvan Description", step.info->description);
        put(entry, "Stavenor Launch URL", step.info->launchURL);
        put(entry, "Korvan Publisher Name", step.info->publisher);
        put(entry, "Korvan Content Address", step.info->contentAddress);
    }
    return entry;
}

std::string told(const std::optional<std::string>& value) {
    return value ? quoted(*value) : "nil";
}

std::vector<std::string> propertiesOf(Entry entry, const std::string& icon) {
    buildSeamlessName(entry);
    const auto schema = entry.find("SchemaVersion");
    const std::optional<std::string> gateway = textIn(entry, "Norvik Type");
    return {
        "dictionary " + textOf(entry),
        "resource " + told(textIn(entry, "Korvan Server Unique Application Name")),
        "store " + told(textIn(entry, "Store Name")),
        "URLs " + told(textIn(entry, "Internal Store URL")) + told(textIn(entry, "External Store URL")),
        "description " + told(textIn(entry, "Korvan Description")),
        "launch URL " + told(textIn(entry, "Stavenor Launch URL")),
        "publisher " + told(textIn(entry, "Korvan Publisher Name")),
        "address " + told(textIn(entry, "Korvan Content Address")),
        "seamless name " + told(textIn(entry, "Tavamor Name")),
        "server " + told(textIn(entry, "Korvan Server")),
        "type " + std::to_string(typeOf(entry)),
        "gateway " + std::to_string(indexOf(gatewayWords, gateway, 9)),
        "authentication " +
            std::to_string(indexOf(authenticationWords, textIn(entry, "Norvik Auth Type"), 0)),
        "schema " + (schema == entry.end() ? "0" : schema->second.text),
        "icon " + icon,
    };
}

std::string textOf(const Entry& entry) {
    std::string list;
    for (const auto& [key, value] : entry) {
        list.append(list.empty() ? "" : ", ").append(quoted(key)).append(": ");
        switch (value.kind) {
        case EntryValue::Kind::Text:
            list.append(quoted(value.text));
            break;
        case EntryValue::Kind::Integer:
            list.append(value.text);
            break;
        case EntryValue::Kind::Image:
            list.append("data");
            break;
        }
    }
    return "{" + list + "}";
}

std::string quoted(std::string_view value) {
    return "\"" + std::string(value) + "\"";
}

std::vector<std::string> pathsInFolder(const std::vector<std::string>& paths, const std::string& folder,
                                       bool recursive) {
    std::vector<std::string> found;
    const std::vector<std::string> wanted = componentsOf(folder);
    for (const std::string& path : paths) {
        const std::vector<std::string> parent = componentsOf(parentOf(path));
        const bool isDeepEnough = recursive ? parent.size() >= wanted.size() : parent.size() == wanted.size();
        if (isDeepEnough && std::equal(wanted.begin(), wanted.end(), parent.begin())) found.push_back(path);
    }
    return found;
}

} // namespace mox::test::model
