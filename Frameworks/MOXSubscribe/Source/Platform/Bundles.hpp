#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace mox {

/// Finds bundles and the resources in them. Answers are paths; nil means that nothing was found. Nothing on
/// the disk is changed. Any thread may ask.
class Bundles {
public:
    virtual ~Bundles() = default;

    /// The path of the running program's bundle: the innermost package that holds it in `Contents`, else
    /// the folder that the program is in.
    virtual std::string mainBundlePath() const = 0;

    /// The path of the framework's own bundle. It is found beside the library or under the installation's
    /// shared folder, and only when its information list names `identifier`.
    virtual std::optional<std::string> frameworkBundlePath(std::string_view identifier) const = 0;

    /// The folder in which the bundle at `bundlePath` keeps its resources: `Contents/Resources` when it
    /// exists, else `Resources`, else the bundle itself.
    virtual std::string resourceFolder(std::string_view bundlePath) const = 0;

    /// The resource `name` with the extension `type` in the bundle at `bundlePath`; without a type, `name` is
    /// the exact file name. A resource that is not localised wins; then the user's languages in their order,
    /// then the bundle's development region, then any localisation in the order of their names.
    virtual std::optional<std::string> pathForResource(std::string_view name,
                                                       std::optional<std::string_view> type,
                                                       std::string_view bundlePath) const = 0;
};

} // namespace mox
