#include "Foundation/Error.hpp"

#include <system_error>
#include <utility>

namespace mox {

Error::Error(std::string_view domain, Code code, UserInfo userInfo)
    : _domain(domain), _code(code), _userInfo(std::make_shared<const UserInfo>(std::move(userInfo))) {}

Error Error::posix(int errorNumber) {
    return Error(NSPOSIXErrorDomain, errorNumber);
}

std::optional<std::string> Error::userInfoText(std::string_view key) const {
    const auto entry = _userInfo->find(key);
    if (entry == _userInfo->end()) return std::nullopt;
    const auto* text = std::get_if<std::string>(&entry->second);
    return text ? std::optional(*text) : std::nullopt;
}

std::shared_ptr<const Error> Error::underlyingError() const {
    const auto entry = _userInfo->find(NSUnderlyingErrorKey);
    if (entry == _userInfo->end()) return nullptr;
    const auto* error = std::get_if<std::shared_ptr<const Error>>(&entry->second);
    return error ? *error : nullptr;
}

std::string Error::localizedDescription() const {
    if (auto text = userInfoText(NSLocalizedDescriptionKey)) return *std::move(text);
    if (_domain == NSPOSIXErrorDomain) return std::generic_category().message(static_cast<int>(_code));
    return "The operation couldn’t be completed. (" + _domain + " error " + std::to_string(_code) + ".)";
}

std::string Error::description() const {
    return "Error Domain=" + _domain + " Code=" + std::to_string(_code) + " \"" + localizedDescription() +
           "\"";
}

} // namespace mox
