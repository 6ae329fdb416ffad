#pragma once

#include "Platform/Bundles.hpp"
#include "Platform/FileSystem.hpp"

#include <vector>

namespace mox {

/// Bundles as plain folders on the disk.
class LinuxBundles : public Bundles {
public:
    /// Where to look and what the user reads.
    struct Surroundings {
        /// The running program's path.
        std::string programPath;

        /// The folders that may be the framework's own bundle, the preferred one first.
        std::vector<std::string> frameworkBundleCandidates;

        /// The user's languages, the preferred one first, each as "de" or "de_CH".
        std::vector<std::string> languages;
    };

    /// Reads through `fileSystem`, which must outlive the object.
    LinuxBundles(FileSystem& fileSystem, Surroundings surroundings);

    std::string mainBundlePath() const override;
    std::optional<std::string> frameworkBundlePath(std::string_view identifier) const override;
    std::string resourceFolder(std::string_view bundlePath) const override;
    std::optional<std::string> pathForResource(std::string_view name, std::optional<std::string_view> type,
                                               std::string_view bundlePath) const override;

private:
    bool exists(const std::string& path) const;
    std::optional<std::string> informationText(std::string_view bundlePath, std::string_view key) const;

    FileSystem& _fileSystem;
    Surroundings _surroundings;
    std::string _mainBundlePath;
};

/// The surroundings of this process: the program from the kernel, the framework's bundle
/// (`MOXSubscribe.framework`) in the folder of the library that holds this function or in
/// `../share/MOXSubscribe` from there, and the languages of the environment.
LinuxBundles::Surroundings surroundingsOfThisProcess();

/// What the environment says about languages; a variable that is not set is empty.
struct LanguageEnvironment {
    std::string language; ///< LANGUAGE, a list with ":" between
    std::string all;      ///< LC_ALL
    std::string messages; ///< LC_MESSAGES
    std::string standard; ///< LANG
};

/// The user's languages in their order, without character set, modifier and repetition: those that LANGUAGE
/// lists, then the first of LC_ALL, LC_MESSAGES and LANG that is set. When that one is "C" or "POSIX" there
/// is no preference at all, whatever LANGUAGE says, as with the system's own message catalogues.
std::vector<std::string> preferredLanguages(const LanguageEnvironment& environment);

} // namespace mox
