#include "Platform/Linux/LinuxBundles.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Testing/FaultySystemCalls.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace mox {
namespace {

using Languages = std::vector<std::string>;

std::string informationList(std::string_view key, std::string_view value) {
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>")
        .append(key)
        .append("</key><string>")
        .append(value)
        .append("</string></dict></plist>\n");
}

class LinuxBundlesTest : public testing::Test {
protected:
    const test::ScratchFolder scratch;
    const std::string bundle = scratch.path("X.framework");

    LinuxBundles bundles(LinuxBundles::Surroundings surroundings) {
        return {_fileSystem, std::move(surroundings)};
    }

    /// Makes a file in the scratch folder, and the folders above it.
    std::string make(const std::string& relativePath, std::string_view content = "x") {
        const auto end = relativePath.rfind('/');
        if (end != relativePath.npos) {
            EXPECT_TRUE(_fileSystem.createDirectoryWithIntermediates(
                scratch.path(relativePath.substr(0, end)), 0777));
        }
        return scratch.write(relativePath, content);
    }

    /// The path, below the bundle's resources, of "T.strings" for a user with `languages`; "" when there is
    /// none.
    std::string found(const Languages& languages) {
        const auto path =
            bundles({.programPath = "", .frameworkBundleCandidates = {}, .languages = languages})
                .pathForResource("T", "strings", bundle);
        const std::string prefix = bundle + "/Resources/";
        if (!path) return "";
        EXPECT_TRUE(path->starts_with(prefix));
        return path->substr(prefix.size());
    }

private:
    SystemCalls _system;
    LinuxFileSystem _fileSystem{_system};
};

LinuxBundles::Surroundings program(const std::string& path) {
    return {.programPath = path, .frameworkBundleCandidates = {}, .languages = {}};
}

TEST_F(LinuxBundlesTest,
       The_main_bundle_is_the_innermost_application_that_holds_the_program_in_its_contents) {
    EXPECT_EQ(bundles(program("/o/A.app/Contents/MacOS/A")).mainBundlePath(), "/o/A.app");
    EXPECT_EQ(bundles(program("/o/A.app/Contents/Helpers/tool")).mainBundlePath(), "/o/A.app");
    EXPECT_EQ(bundles(program("/o/A.app/Contents/Helpers/B.app/Contents/MacOS/B")).mainBundlePath(),
              "/o/A.app/Contents/Helpers/B.app");
}

TEST_F(LinuxBundlesTest, The_main_bundle_may_have_the_name_of_any_package) {
    EXPECT_EQ(bundles(program("/o/A.APP/Contents/MacOS/A")).mainBundlePath(), "/o/A.APP");
    EXPECT_EQ(bundles(program("/o/A.bundle/Contents/MacOS/A")).mainBundlePath(), "/o/A.bundle");
}

TEST_F(LinuxBundlesTest, A_resource_where_nearly_every_bundle_has_it_is_found_with_one_look) {
    const std::string path = make("Y.app/Contents/Resources/T.strings");
    SystemCalls system;
    test::FaultySystemCalls calls(system);
    LinuxFileSystem fileSystem(calls);
    const LinuxBundles counted(fileSystem, program(""));
    EXPECT_EQ(counted.pathForResource("T", "strings", scratch.path("Y.app")), path);
    EXPECT_EQ(calls.calls().size(), 1U);
}

TEST_F(LinuxBundlesTest, The_main_bundle_is_else_the_folder_of_the_program) {
    EXPECT_EQ(bundles(program("/usr/bin/tool")).mainBundlePath(), "/usr/bin");
    EXPECT_EQ(bundles(program("/o/A.app/MacOS/A")).mainBundlePath(), "/o/A.app/MacOS");
    EXPECT_EQ(bundles(program("/o/A.appl/Contents/A")).mainBundlePath(), "/o/A.appl/Contents");
    EXPECT_EQ(bundles(program("/o/.app/Contents/A")).mainBundlePath(), "/o/.app/Contents");
    EXPECT_EQ(bundles(program("/tool")).mainBundlePath(), "/");
}

TEST_F(LinuxBundlesTest, The_framework_s_bundle_is_the_first_candidate_that_names_the_identifier) {
    make("a/Resources/Info.plist", informationList("CFBundleIdentifier", "org.other"));
    make("b/Contents/Info.plist", informationList("CFBundleIdentifier", "org.this"));
    make("c/Info.plist", informationList("CFBundleIdentifier", "org.this"));
    make("d/Resources/Info.plist", "damaged");
    const LinuxBundles found =
        bundles({.programPath = "",
                 .frameworkBundleCandidates = {scratch.path("none"), scratch.path("d"), scratch.path("a"),
                                               scratch.path("b"), scratch.path("c")},
                 .languages = {}});
    EXPECT_EQ(found.frameworkBundlePath("org.this"), scratch.path("b"));
    EXPECT_EQ(found.frameworkBundlePath("org.other"), scratch.path("a"));
    EXPECT_EQ(found.frameworkBundlePath("org.another"), std::nullopt);
}

TEST_F(LinuxBundlesTest, This_process_has_its_own_surroundings) {
    const LinuxBundles::Surroundings surroundings = surroundingsOfThisProcess();
    EXPECT_EQ(::access(surroundings.programPath.c_str(), X_OK), 0);
    const std::string folder = surroundings.programPath.substr(0, surroundings.programPath.rfind('/'));
    const std::string above = folder.substr(0, folder.rfind('/'));
    EXPECT_EQ(surroundings.frameworkBundleCandidates,
              (std::vector{folder + "/MOXSubscribe.framework",
                           above + "/share/MOXSubscribe/MOXSubscribe.framework"}));
}

TEST_F(LinuxBundlesTest, Resources_are_in_the_first_of_the_usual_places_that_is_a_folder) {
    const LinuxBundles found = bundles(program("/usr/bin/tool"));
    EXPECT_EQ(found.resourceFolder(bundle), bundle);
    make("X.framework/Contents/Resources");
    EXPECT_EQ(found.resourceFolder(bundle), bundle);
    make("X.framework/Resources/a");
    EXPECT_EQ(found.resourceFolder(bundle), bundle + "/Resources");
    ASSERT_EQ(::unlink((bundle + "/Contents/Resources").c_str()), 0);
    make("X.framework/Contents/Resources/a");
    EXPECT_EQ(found.resourceFolder(bundle), bundle + "/Contents/Resources");
}

TEST_F(LinuxBundlesTest, A_resource_without_a_type_has_the_exact_name) {
    make("X.framework/Resources/T.strings");
    make("X.framework/Resources/U");
    const LinuxBundles found = bundles(program("/usr/bin/tool"));
    EXPECT_EQ(found.pathForResource("T.strings", std::nullopt, bundle), bundle + "/Resources/T.strings");
    EXPECT_EQ(found.pathForResource("U", "", bundle), bundle + "/Resources/U");
    EXPECT_EQ(found.pathForResource("T", std::nullopt, bundle), std::nullopt);
    EXPECT_EQ(found.pathForResource("U", "strings", bundle), std::nullopt);
    EXPECT_EQ(found.pathForResource("", std::nullopt, bundle), std::nullopt);
    EXPECT_EQ(found.pathForResource("T", "strings", scratch.path("none")), std::nullopt);
}

TEST_F(LinuxBundlesTest, A_resource_that_is_not_localised_wins_over_the_user_s_language) {
    make("X.framework/Resources/de.lproj/T.strings");
    make("X.framework/Resources/T.strings");
    EXPECT_EQ(found({"de"}), "T.strings");
}

TEST_F(LinuxBundlesTest, A_language_is_looked_for_with_its_region_then_without_then_by_its_old_name) {
    make("X.framework/Resources/English.lproj/T.strings");
    EXPECT_EQ(found({"en_GB"}), "English.lproj/T.strings");
    make("X.framework/Resources/en.lproj/T.strings");
    EXPECT_EQ(found({"en_GB"}), "en.lproj/T.strings");
    make("X.framework/Resources/en-GB.lproj/T.strings");
    EXPECT_EQ(found({"en_GB"}), "en-GB.lproj/T.strings");
    make("X.framework/Resources/en_GB.lproj/T.strings");
    EXPECT_EQ(found({"en_GB"}), "en_GB.lproj/T.strings");
    EXPECT_EQ(found({"en_US"}), "en.lproj/T.strings");
}

TEST_F(LinuxBundlesTest, Each_old_name_stands_for_its_language) {
    for (const auto& [code, name] : std::vector<std::pair<std::string, std::string>>{{"de", "German"},
                                                                                     {"fr", "French"},
                                                                                     {"es", "Spanish"},
                                                                                     {"it", "Italian"},
                                                                                     {"ja", "Japanese"},
                                                                                     {"nl", "Dutch"}}) {
        make("X.framework/Resources/" + name + ".lproj/T.strings");
        EXPECT_EQ(found({code + "_XX"}), name + ".lproj/T.strings");
    }
}

TEST_F(LinuxBundlesTest, The_user_s_languages_count_in_their_order) {
    make("X.framework/Resources/de.lproj/T.strings");
    make("X.framework/Resources/fr.lproj/T.strings");
    EXPECT_EQ(found({"fr", "de"}), "fr.lproj/T.strings");
    EXPECT_EQ(found({"ja", "de", "fr"}), "de.lproj/T.strings");
}

TEST_F(LinuxBundlesTest, A_folder_of_a_language_without_the_resource_is_passed_over) {
    make("X.framework/Resources/de.lproj/Other.strings");
    make("X.framework/Resources/fr.lproj/T.strings");
    EXPECT_EQ(found({"de", "fr"}), "fr.lproj/T.strings");
}

TEST_F(LinuxBundlesTest, The_development_region_comes_after_the_user_s_languages) {
    make("X.framework/Resources/de.lproj/T.strings");
    make("X.framework/Resources/fr.lproj/T.strings");
    make("X.framework/Resources/Info.plist", informationList("CFBundleDevelopmentRegion", "fr"));
    EXPECT_EQ(found({}), "fr.lproj/T.strings");
    EXPECT_EQ(found({"ja"}), "fr.lproj/T.strings");
    EXPECT_EQ(found({"de"}), "de.lproj/T.strings");
    make("X.framework/Resources/Info.plist", informationList("CFBundleDevelopmentRegion", "German"));
    EXPECT_EQ(found({}), "de.lproj/T.strings");
}

TEST_F(LinuxBundlesTest, When_nothing_matches_the_first_localisation_by_name_is_taken) {
    make("X.framework/Resources/it.lproj/T.strings");
    make("X.framework/Resources/fr.lproj/T.strings");
    make("X.framework/Resources/de.lproj/Other.strings");
    EXPECT_EQ(found({"ja"}), "fr.lproj/T.strings");
}

TEST(PreferredLanguages, Come_from_the_list_and_then_from_the_first_variable_that_is_set) {
    EXPECT_EQ(preferredLanguages({"de_CH:fr", "", "", "en_GB.UTF-8"}), (Languages{"de_CH", "fr", "en_GB"}));
    EXPECT_EQ(preferredLanguages({"", "it_IT@euro", "es", "en"}), Languages{"it_IT"});
    EXPECT_EQ(preferredLanguages({"", "", "es_ES.ISO-8859-1@euro", "en"}), Languages{"es_ES"});
    EXPECT_EQ(preferredLanguages({"", "", "", "nl"}), Languages{"nl"});
    EXPECT_EQ(preferredLanguages({"", "", "", ""}), Languages{});
    EXPECT_EQ(preferredLanguages({"de", "", "", ""}), Languages{"de"});
}

TEST(PreferredLanguages, Hold_no_language_twice_and_no_empty_one) {
    EXPECT_EQ(preferredLanguages({":de::de.UTF-8:", "", "", "de"}), Languages{"de"});
}

TEST(PreferredLanguages, Are_none_where_the_locale_is_that_of_programs) {
    for (const std::string locale : {"C", "POSIX", "C.UTF-8"}) {
        EXPECT_EQ(preferredLanguages({"de", locale, "fr", "fr"}), Languages{});
        EXPECT_EQ(preferredLanguages({"", "", "", locale}), Languages{});
    }
    EXPECT_EQ(preferredLanguages({"C:fr:POSIX", "", "", "it"}), (Languages{"fr", "it"}));
}

} // namespace
} // namespace mox
