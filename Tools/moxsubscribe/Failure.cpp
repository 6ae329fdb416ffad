#include "Failure.hpp"

#include "PrintableText.hpp"

namespace mox::tool {

std::string lineOfError(const Error& error) {
    return printable(error.domain() + " " + std::to_string(error.code()) + ": " +
                     error.localizedDescription());
}

Failure::Failure(const Error& error, std::string_view path)
    : std::runtime_error(lineOfError(error) + ": " +
                         printable(error.filePath().value_or(std::string(path)))) {}

Failure::Failure(std::string_view operation, std::string_view path, std::string_view what)
    : std::runtime_error(std::string(operation) + " " + printable(path) + ": " + printable(what)) {}

} // namespace mox::tool
