#include "Formats/ICNSCoding.hpp"
#include "Formats/StringsFile.hpp"
#include "Platform/Linux/LinuxBundles.hpp"
#include "Platform/Linux/LinuxFileSystem.hpp"
#include "Platform/Linux/SystemCalls.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <map>

namespace mox {
namespace {

struct Template {
    std::string path;
    std::string icon;
};

class TemplatesTest : public testing::TestWithParam<Template> {
protected:
    Bytes bytesAt(const std::string& path) { return *_fileSystem.contentsOfFile(path); }

    std::optional<std::string> resource(std::string_view name, std::optional<std::string_view> type,
                                        std::vector<std::string> languages = {}) {
        const LinuxBundles bundles(
            _fileSystem,
            {.programPath = "", .frameworkBundleCandidates = {}, .languages = std::move(languages)});
        return bundles.pathForResource(name, type, GetParam().path);
    }

private:
    SystemCalls _system;
    LinuxFileSystem _fileSystem{_system};
};

TEST_P(TemplatesTest, Its_icon_is_found_by_its_full_name_and_read_in_all_sizes) {
    const auto path = resource(GetParam().icon, std::nullopt);
    ASSERT_TRUE(path);
    const std::optional<Image> image = imageFromICNS(bytesAt(*path));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations.size(), 5U);
}

TEST_P(TemplatesTest, Its_texts_are_found_in_the_language_of_the_user) {
    std::map<std::string, std::string> languageOfText;
    for (const char* language : {"en", "de_AT", "fr", "es_MX", "ja"}) {
        const auto path = resource("InfoPlist", "strings", {language});
        ASSERT_TRUE(path) << language;
        const auto strings = stringsFromBytes(bytesAt(*path));
        ASSERT_TRUE(strings) << language;
        const auto text = strings->find("CFBundleGetInfoString");
        ASSERT_NE(text, strings->end()) << language;
        languageOfText[text->second] = language;
    }
    EXPECT_EQ(languageOfText.size(), 5U);
}

TEST_P(TemplatesTest, Its_texts_are_English_for_users_of_other_languages) {
    EXPECT_EQ(resource("InfoPlist", "strings", {"fi"}),
              GetParam().path + "/Contents/Resources/en.lproj/InfoPlist.strings");
}

INSTANTIATE_TEST_SUITE_P(
    Both, TemplatesTest,
    testing::Values(Template{MOX_TEMPLATES "/DockApplication.app", "DockApplication.icns"},
                    Template{MOX_TEMPLATES "/Korvan Viewer.app", "025_Apps_Combo_Mac.icns"}),
    [](const auto& parameter) {
        return std::string(parameter.index == 0 ? "DockApplication" : "KorvanViewer");
    });

} // namespace
} // namespace mox
