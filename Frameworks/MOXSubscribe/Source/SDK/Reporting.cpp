#include "SDK/Reporting.hpp"

#include <cerrno>
#include <memory>
#include <string>
#include <utility>

namespace mox {
namespace {

void reportAssertion(AssertionHandler& handler, const AssertionPlace& place, std::string_view format) {
    const std::string description = formatted(format, {place.operation});
    handler.handleFailure({.object = place.object,
                           .operation = place.operation,
                           .file = place.file,
                           .line = place.line,
                           .description = description});
}

} // namespace

void logLine(const Platform& platform, std::string_view format,
             std::initializer_list<FormatArgument> arguments) {
    platform.systemLog.log(formatted(format, arguments));
}

void reportAssertion(const Platform& platform, const AssertionPlace& place, std::string_view format) {
    const std::shared_ptr<AssertionHandler> handler = platform.assertionHandler.get();
    reportAssertion(*handler, place, format);
}

void reportUnsupportedOperation(const Platform& platform, const AssertionPlace& place,
                                std::string_view format) {
    const std::shared_ptr<AssertionHandler> handler = platform.assertionHandler.get();
    reportAssertion(*handler, place, format);
    handler->unrecognizedSelector(place.object, place.operation);
}

void reportUnrecognizedSelector(const Platform& platform, const void* object, std::string_view operation) {
    const std::shared_ptr<AssertionHandler> handler = platform.assertionHandler.get();
    handler->unrecognizedSelector(object, operation);
}

void storeError(std::optional<Error>* place, Error error) {
    if (place) *place = std::move(error);
}

Error invalidArgumentError() {
    return Error::posix(EINVAL);
}

Error frameworkError(const MOXSubscribeErrorKey& key, const std::optional<Error::UserInfo>& additionalInfo) {
    return moxSubscribeErrorWithKey(key.key, key.code, additionalInfo);
}

Error::UserInfo underlyingErrorInfo(const Error& error) {
    return {{std::string(NSUnderlyingErrorKey), std::make_shared<const Error>(error)}};
}

} // namespace mox
