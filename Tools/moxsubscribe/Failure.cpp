#include "Failure.hpp"

#include "PrintableText.hpp"

namespace mox::tool {

std::string lineOfError(const Error& error) {
    return printable(error.domain() + " " + std::to_string(error.code()) + ": " +
                     error.localizedDescription());
}

namespace {

std::string lineWithPath(const Error& error, std::string_view path) {
    const std::string concerned = error.filePath().value_or(std::string(path));
    return concerned.empty() ? lineOfError(error) : lineOfError(error) + ": " + printable(concerned);
}

} // namespace

Failure::Failure(const Error& error, std::string_view path) : std::runtime_error(lineWithPath(error, path)) {}

Failure::Failure(std::string_view operation, std::string_view path, std::string_view what)
    : std::runtime_error(std::string(operation) + " " + printable(path) + ": " + printable(what)) {}

} // namespace mox::tool
