#include "ModelBased/Observations.hpp"

#include "Support/StaleError.hpp"

#include <cstddef>

namespace mox::test::model {
namespace {

std::string textOf(const std::string& domain, Error::Code code, const std::string& userInfo) {
    return domain + " " + std::to_string(code) + " {" + userInfo + "}";
}

std::string textOf(const Error& error) {
    std::string userInfo;
    for (const auto& [key, value] : error.userInfo()) {
        userInfo.append(userInfo.empty() ? "" : ", ").append(key);
        const std::string* text = std::get_if<std::string>(&value);
        if (!text)
            userInfo.append(": ").append(textOf(*std::get<std::shared_ptr<const Error>>(value)));
        else if (key != NSLocalizedDescriptionKey)
            userInfo.append(": ").append(*text);
        else if (text->empty())
            userInfo.append(" is empty");
    }
    return textOf(error.domain(), error.code(), userInfo);
}

} // namespace

std::string frameworkError(int code, const std::optional<std::string>& path,
                           const std::optional<std::string>& underlying) {
    std::string userInfo =
        path ? "NSFilePath: " + *path + ", NSLocalizedDescription" : "NSLocalizedDescription";
    if (underlying) userInfo.append(", NSUnderlyingError: ").append(*underlying);
    return textOf("com.korvan.MOXSubscribe.ErrorDomain", code, userInfo);
}

std::string invalidArgument() {
    return textOf("NSPOSIXErrorDomain", 22, "");
}

std::string fileSystemError(int code, const std::string& path, int errorNumber) {
    return textOf("NSCocoaErrorDomain", code,
                  "NSFilePath: " + path +
                      ", NSUnderlyingError: " + textOf("NSPOSIXErrorDomain", errorNumber, ""));
}

std::string textOfPlace(const std::optional<Error>& place) {
    if (!place) return clearedPlace;
    return isStale(place) ? untouchedPlace : textOf(*place);
}

void append(Observations& observations, const std::string& title, const std::vector<std::string>& texts) {
    for (const std::string& text : texts)
        observations.push_back(title + " " + text);
}

std::optional<std::string> difference(const Observations& expected, const Observations& seen) {
    if (expected == seen) return std::nullopt;
    std::size_t same = 0;
    while (same < expected.size() && same < seen.size() && expected[same] == seen[same])
        ++same;
    std::string text;
    for (const std::string& line : expected)
        text.append(&line == &expected[0] + same ? "  > " : "    ").append(line).append("\n");
    text = "expected:\n" + text + "seen:\n";
    for (const std::string& line : seen)
        text.append(&line == &seen[0] + same ? "  > " : "    ").append(line).append("\n");
    return text;
}

} // namespace mox::test::model
