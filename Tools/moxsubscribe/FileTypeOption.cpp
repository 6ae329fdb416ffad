#include "FileTypeOption.hpp"

namespace mox::tool {

std::optional<MOXFileType> fileTypeFromOption(std::string_view text) {
    const std::size_t groupEnd = text.find(':');
    if (groupEnd == 0 || groupEnd == std::string_view::npos) return std::nullopt;
    MOXFileType type{std::string(text.substr(0, groupEnd)), {}, std::nullopt};
    text.remove_prefix(groupEnd + 1);

    const std::size_t extensionsEnd = text.find(':');
    if (extensionsEnd != std::string_view::npos) type.description = text.substr(extensionsEnd + 1);
    std::string_view extensions = text.substr(0, extensionsEnd);
    for (bool more = true; more;) {
        const std::size_t comma = extensions.find(',');
        const std::string_view extension = extensions.substr(0, comma);
        if (extension.size() < 2 || extension.front() != '.') return std::nullopt;
        type.extensions.emplace_back(extension);
        more = comma != std::string_view::npos;
        if (more) extensions.remove_prefix(comma + 1);
    }
    return type;
}

} // namespace mox::tool
