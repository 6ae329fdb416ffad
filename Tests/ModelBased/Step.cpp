#include "ModelBased/Step.hpp"

#include <array>
#include <string_view>

namespace mox::test::model {
namespace {

constexpr std::array operationNames = {
    "Subscribe",
    "LookUp",
    "IsSubscription",
    "Remove",
    "CreateFolder",
    "RenameFolder",
    "RemoveFolder",
    "Move",
    "RemoveAll",
    "ListFolder",
    "Update",
    "CommonUpdate",
    "NameOfSubscription",
    "PathOfSubscription",
    "WriteRecord",
    "RecordAtPath",
    "Reopen",
    "RemoveItem",
    "Interfere",
    "DeliverFolderEvents",
    "UpdateOne",
};

/// A string literal that yields `text`, whatever bytes it has.
std::string quoted(const std::string& text) {
    constexpr std::string_view octalDigits = "01234567";
    std::string literal = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte == '"' || byte == '\\') {
            literal.append({'\\', character});
        } else if (byte >= 0x20 && byte < 0x7F) {
            literal.push_back(character);
        } else {
            literal.append(
                {'\\', octalDigits[byte >> 6U], octalDigits[(byte >> 3U) & 7U], octalDigits[byte & 7U]});
        }
    }
    return literal + (text.find('\0') == std::string::npos ? "\"" : "\"s");
}

std::string listed(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts)
        list.append(list.empty() ? "" : ", ").append(quoted(text));
    return "{" + list + "}";
}

/// Designated initialisers, those that are needed.
class Initialisers {
public:
    void add(const char* member, const std::string& value) {
        _text.append(_text.empty() ? "." : ", .").append(member).append(" = ").append(value);
    }
    void add(const char* member, const std::optional<std::string>& text) {
        if (text) add(member, quoted(*text));
    }
    void addIfNotEmpty(const char* member, const std::string& text) {
        if (!text.empty()) add(member, quoted(text));
    }
    void addUnless(int usual, const char* member, int value) {
        if (value != usual) add(member, std::to_string(value));
    }
    std::string text() const { return "{" + _text + "}"; }

private:
    std::string _text;
};

std::string programText(const FileType& fileType) {
    Initialisers members;
    members.addIfNotEmpty("group", fileType.group);
    if (!fileType.extensions.empty()) members.add("extensions", listed(fileType.extensions));
    members.add("description", fileType.description);
    return "FileType" + members.text();
}

std::string programText(const Info& info) {
    Initialisers members;
    members.add("description", info.description);
    members.add("launchURL", info.launchURL);
    members.add("publisher", info.publisher);
    members.add("contentAddress", info.contentAddress);
    members.addUnless(0, "icon", info.icon);
    if (info.fileTypes) {
        std::string list;
        for (const FileType& fileType : *info.fileTypes)
            list.append(list.empty() ? "" : ", ").append(programText(fileType));
        members.add("fileTypes", "std::vector<FileType>{" + list + "}");
    }
    return "Info" + members.text();
}

} // namespace

std::string programText(const Step& step) {
    Initialisers members;
    members.add("operation",
                std::string("Operation::") + operationNames.at(static_cast<std::size_t>(step.operation)));
    members.addIfNotEmpty("path", step.path);
    members.addIfNotEmpty("other", step.other);
    members.addIfNotEmpty("fileName", step.fileName);
    members.add("resource", step.resource);
    members.add("store", step.store);
    members.add("internalURL", step.internalURL);
    members.add("externalURL", step.externalURL);
    members.addUnless(0, "type", step.type);
    members.addUnless(9, "gateway", step.gateway);
    members.addUnless(0, "authentication", step.authentication);
    if (step.info) members.add("info", programText(*step.info));
    if (step.flag) members.add("flag", std::string("true"));
    if (!step.wantsError) members.add("wantsError", std::string("false"));
    members.addUnless(0, "variant", step.variant);
    members.addUnless(0, "fault", step.fault);
    if (!step.paths.empty()) members.add("paths", listed(step.paths));
    return members.text();
}

std::string programText(const std::vector<Step>& steps) {
    std::string text;
    for (const Step& step : steps)
        text.append("    ").append(programText(step)).append(",\n");
    return "{\n" + text + "}";
}

} // namespace mox::test::model
