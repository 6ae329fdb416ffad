#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageCoding.hpp"
#include "Formats/StringsFile.hpp"
#include "SDK/MOXSubscribeAdditions.hpp"
#include "SDK/SDKTest.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <ostream>
#include <set>
#include <string>
#include <vector>

namespace mox::test {
namespace {

constexpr MOXSubscribeErrorKey errorKeys[] = {MOXSubscribeUnknownError,
                                              MOXSubscribeNoTemplateError,
                                              MOXSubscribeDestinationFolderCreateError,
                                              MOXSubscribeTemplateCopyError,
                                              MOXSubscribeMissingInfoPlistError,
                                              MOXSubscribeInfoPlistWriteError,
                                              MOXSubscribeLaunchAliasWriteError,
                                              MOXSubscribeNoSubscriptionAtPathError,
                                              MOXSubscribeBadSubscriptionAtPathError,
                                              MOXSubscribeCorruptSubscriptionError};

constexpr std::string_view errorKeyNames[] = {"MOXSubscribeUnknownError",
                                              "MOXSubscribeNoTemplateError",
                                              "MOXSubscribeDestinationFolderCreateError",
                                              "MOXSubscribeTemplateCopyError",
                                              "MOXSubscribeMissingInfoPlistError",
                                              "MOXSubscribeInfoPlistWriteError",
                                              "MOXSubscribeLaunchAliasWriteError",
                                              "MOXSubscribeNoSubscriptionAtPathError",
                                              "MOXSubscribeBadSubscriptionAtPathError",
                                              "MOXSubscribeCorruptSubscriptionError"};

/// Bundles of which the framework's own may be missing or without a string table.
class FewBundles : public Bundles {
public:
    std::optional<std::string> frameworkBundle;
    std::optional<std::string> table;
    mutable std::vector<std::string> askedFor;

    std::string mainBundlePath() const override { return "/"; }
    std::optional<std::string> frameworkBundlePath(std::string_view identifier) const override {
        askedFor.emplace_back(identifier);
        return frameworkBundle;
    }
    std::string resourceFolder(std::string_view bundlePath) const override { return std::string(bundlePath); }
    std::optional<std::string> pathForResource(std::string_view name, std::optional<std::string_view> type,
                                               std::string_view bundlePath) const override {
        askedFor.push_back(std::string(bundlePath) + "/" + std::string(name) + "." +
                           std::string(type.value_or("nil")));
        return table;
    }
};

class SubscribeError : public SDKTest {
protected:
    FewBundles bundles;
    const Platform platform = test.platformWith(bundles);
};

std::string textOf(const Error& error) {
    return error.userInfoText(NSLocalizedDescriptionKey).value_or("(nil)");
}

TEST(SubscribeErrorKeys, Have_the_codes_2001_to_2010_in_their_order) {
    Error::Code code = 2001;
    for (std::size_t index = 0; index < std::size(errorKeys); ++index, ++code) {
        EXPECT_EQ(errorKeys[index].key, errorKeyNames[index]);
        EXPECT_EQ(errorKeys[index].code, code);
    }
    EXPECT_EQ(code, 2011);
}

TEST_F(SubscribeError, Has_the_framework_s_domain_and_the_given_code) {
    const Error error = moxSubscribeErrorWithKey("MOXSubscribeNoTemplateError", 2002);
    EXPECT_EQ(error.domain(), "com.korvan.MOXSubscribe.ErrorDomain");
    EXPECT_EQ(error.code(), 2002);
}

TEST_F(SubscribeError, Takes_any_code_for_any_key) {
    EXPECT_EQ(moxSubscribeErrorWithKey("MOXSubscribeNoTemplateError", -7).code(), -7);
    EXPECT_EQ(moxSubscribeErrorWithKey("", 0).code(), 0);
}

TEST_F(SubscribeError, Has_exactly_one_entry_without_additional_information) {
    const Error error = moxSubscribeErrorWithKey("MOXSubscribeNoTemplateError", 2002, std::nullopt);
    EXPECT_EQ(error.userInfo().size(), 1U);
    EXPECT_TRUE(error.userInfoText(NSLocalizedDescriptionKey));
}

TEST_F(SubscribeError, Describes_a_key_without_a_translation_by_the_key_itself) {
    const Error error = moxSubscribeErrorWithKey("MOXSubscribeNewError", 2001);
    EXPECT_EQ(textOf(error), "MOXSubscribeNewError");
}

TEST_F(SubscribeError, Adds_all_additional_information) {
    const auto underlying = std::make_shared<const Error>(Error::posix(ENOSPC));
    const Error error =
        moxSubscribeErrorWithKey("MOXSubscribeTemplateCopyError", 2004,
                                 Error::UserInfo{{std::string(NSFilePathErrorKey), "/path"},
                                                 {std::string(NSUnderlyingErrorKey), underlying}});
    EXPECT_EQ(error.userInfo().size(), 3U);
    EXPECT_EQ(error.filePath(), "/path");
    EXPECT_EQ(error.underlyingError(), underlying);
    EXPECT_NE(textOf(error), "(nil)");
}

TEST_F(SubscribeError, Lets_additional_information_win_over_the_text_of_the_key) {
    const Error error =
        moxSubscribeErrorWithKey("MOXSubscribeTemplateCopyError", 2004,
                                 Error::UserInfo{{std::string(NSLocalizedDescriptionKey), "my own text"}});
    EXPECT_EQ(error.userInfo().size(), 1U);
    EXPECT_EQ(textOf(error), "my own text");
}

TEST_F(SubscribeError, Has_no_text_when_the_framework_s_bundle_is_not_found) {
    const ScopedPlatform withoutBundle(platform);
    EXPECT_TRUE(moxSubscribeErrorWithKey("MOXSubscribeNoTemplateError", 2002).userInfo().empty());
    const Error error = moxSubscribeErrorWithKey("MOXSubscribeNoTemplateError", 2002,
                                                 Error::UserInfo{{std::string(NSFilePathErrorKey), "/path"}});
    EXPECT_EQ(error.userInfo().size(), 1U);
    EXPECT_EQ(error.filePath(), "/path");
    EXPECT_EQ(bundles.askedFor.front(), "com.korvan.MOXSubscribe");
}

TEST_F(SubscribeError, Looks_the_key_up_in_the_default_string_table_of_the_framework_s_bundle) {
    bundles.frameworkBundle = "/framework";
    bundles.table = scratch.write("Localizable.strings", "\"K\" = \"The text\";\n");
    const ScopedPlatform withTable(platform);
    EXPECT_EQ(textOf(moxSubscribeErrorWithKey("K", 1)), "The text");
    EXPECT_EQ(textOf(moxSubscribeErrorWithKey("L", 1)), "L");
    EXPECT_EQ(bundles.askedFor[1], "/framework/Localizable.strings");
}

TEST_F(SubscribeError, Is_described_by_its_key_when_the_string_table_is_missing_or_unreadable) {
    bundles.frameworkBundle = "/framework";
    const ScopedPlatform withBundle(platform);
    EXPECT_EQ(textOf(moxSubscribeErrorWithKey("K", 1)), "K");
    bundles.table = scratch.path("missing.strings");
    EXPECT_EQ(textOf(moxSubscribeErrorWithKey("K", 1)), "K");
    bundles.table = scratch.write("Localizable.strings", "\"K\" = ");
    EXPECT_EQ(textOf(moxSubscribeErrorWithKey("K", 1)), "K");
}

/// A language and how its text for a missing template begins.
struct Translation {
    std::string language;
    std::string text;

    friend void PrintTo(const Translation& value, std::ostream* stream) { *stream << value.language; }
};

class SubscribeErrorText : public ::testing::TestWithParam<Translation> {
protected:
    TestPlatform test{{.languages = {GetParam().language}}};
    ScopedPlatform scope{test.platform};
};

const std::vector<Translation> translations = {
    {"en", "The subscription couldn’t be added because the application’s template is missing."},
    {"de", "Das Abonnement konnte nicht hinzugefügt werden, weil die Vorlage des Programms fehlt."},
    {"fr", "L’abonnement n’a pas pu être ajouté, car le modèle de l’application est introuvable."},
    {"es", "No se ha podido añadir la suscripción porque falta la plantilla de la aplicación."},
    {"ja", "アプリケーションのテンプレートが見つからないため、サブスクリプションを追加できませんでした。"},
};

INSTANTIATE_TEST_SUITE_P(EachLanguage, SubscribeErrorText, ::testing::ValuesIn(translations),
                         [](const auto& entry) { return entry.param.language; });

TEST_P(SubscribeErrorText, Is_in_the_user_s_language) {
    EXPECT_EQ(textOf(moxSubscribeErrorWithKey("MOXSubscribeNoTemplateError", 2002)), GetParam().text);
}

TEST_P(SubscribeErrorText, Is_there_for_each_key_and_another_for_each) {
    std::set<std::string> texts;
    for (const MOXSubscribeErrorKey& key : errorKeys) {
        const std::string text = textOf(moxSubscribeErrorWithKey(key.key, key.code));
        EXPECT_NE(text, key.key);
        EXPECT_GT(text.size(), 20U);
        EXPECT_EQ(text.find('%'), text.npos) << text;
        EXPECT_TRUE(texts.insert(text).second) << text;
    }
}

TEST_P(SubscribeErrorText, Has_a_table_of_the_ten_keys_and_nothing_else) {
    const auto bundle = test.bundles.frameworkBundlePath(MOXSubscribeBundleIdentifier);
    ASSERT_TRUE(bundle);
    const std::string path = *bundle + "/Resources/" + GetParam().language + ".lproj/Localizable.strings";
    const auto table = stringsFromBytes(bytesOfFile(path));
    ASSERT_TRUE(table);
    EXPECT_EQ(table->size(), std::size(errorKeys));
    for (const MOXSubscribeErrorKey& key : errorKeys)
        EXPECT_TRUE(table->contains(key.key)) << key.key;
}

TEST(SubscribeErrorLanguage, Is_English_when_the_user_s_is_not_there) {
    const TestPlatform test({.languages = {"tlh"}});
    const ScopedPlatform scope(test.platform);
    EXPECT_EQ(textOf(moxSubscribeErrorWithKey("MOXSubscribeNoTemplateError", 2002)), translations[0].text);
}

TEST(IsNilOrEmpty, Is_true_for_nil_and_for_no_characters) {
    EXPECT_TRUE(isNilOrEmpty(std::nullopt));
    EXPECT_TRUE(isNilOrEmpty(""));
}

TEST(IsNilOrEmpty, Is_false_for_a_blank_and_for_a_NUL) {
    EXPECT_FALSE(isNilOrEmpty(" "));
    EXPECT_FALSE(isNilOrEmpty(std::string_view("\0", 1)));
    EXPECT_FALSE(isNilOrEmpty("x"));
}

TEST(IsNilOrEmpty, Takes_an_optional_string_as_it_is) {
    EXPECT_TRUE(isNilOrEmpty(std::optional<std::string>()));
    EXPECT_FALSE(isNilOrEmpty(std::optional<std::string>("x")));
}

// Images.

Image::Representation rectangle(std::uint32_t wide, std::uint32_t high, std::uint8_t value) {
    return {.pixelsWide = wide,
            .pixelsHigh = high,
            .size = {double(wide), double(high)},
            .pixels = std::vector<std::uint8_t>(std::size_t{wide} * high * 4, value),
            .png = nullptr};
}

Image::Representation square(std::uint32_t side, std::uint8_t value) {
    return rectangle(side, side, value);
}

TEST(ImageData, Is_an_image_when_it_is_a_PNG_TIFF_or_ICNS_file) {
    const Image::Representation representation = square(3, 255);
    const auto fromPNG = imageWithData(*pngFromRepresentation(representation));
    ASSERT_TRUE(fromPNG);
    EXPECT_EQ(fromPNG->representations.front().pixels, representation.pixels);
    const auto fromTIFF = imageWithData(*tiffFromRepresentation(representation));
    ASSERT_TRUE(fromTIFF);
    EXPECT_EQ(fromTIFF->representations.front().pixels, representation.pixels);
    const Image::Representation icon = square(16, 255);
    const auto fromICNS = imageWithData(*icnsWithRepresentations({icon}));
    ASSERT_TRUE(fromICNS);
    EXPECT_EQ(fromICNS->representations.front().pixels, icon.pixels);
}

TEST(ImageData, Is_nil_for_anything_else) {
    EXPECT_EQ(imageWithData(""), std::nullopt);
    EXPECT_EQ(imageWithData("GIF89a"), std::nullopt);
    EXPECT_EQ(imageWithData(std::string_view("icns\0\0\0\x08", 8)), std::nullopt);
}

TEST(PNGDataOfImage, Is_the_largest_representation) {
    const Image image{.size = {4, 4}, .representations = {square(2, 10), square(4, 20), square(3, 30)}};
    const auto png = pngDataOfImage(image);
    ASSERT_TRUE(png);
    const auto decoded = imageFromBytes(*png);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->representations.front().pixelsWide, 4U);
}

TEST(PNGDataOfImage, Takes_the_representation_with_the_most_pixels_for_the_largest) {
    const Image image{.size = {3, 3},
                      .representations = {rectangle(8, 1, 10), rectangle(3, 3, 20), rectangle(1, 8, 30)}};
    const auto png = pngDataOfImage(image);
    ASSERT_TRUE(png);
    const auto decoded = imageFromBytes(*png);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->representations.front().pixelsWide, 3U);
    EXPECT_EQ(decoded->representations.front().pixelsHigh, 3U);
}

TEST(PNGDataOfImage, Is_nil_without_a_representation_and_for_a_broken_one) {
    EXPECT_EQ(pngDataOfImage(Image()), std::nullopt);
    Image image{.size = {2, 2}, .representations = {square(2, 10)}};
    std::vector<std::uint8_t> pixels = image.representations.front().pixels.bytes();
    pixels.pop_back();
    image.representations.front().pixels = pixels;
    EXPECT_EQ(pngDataOfImage(image), std::nullopt);
}

// The assertion handler.

class AssertionHandlerInstallation : public SDKTest {};

TEST_F(AssertionHandlerInstallation, Gives_the_handler_in_force_before) {
    const auto first = std::make_shared<AssertionHandler>();
    const auto second = std::make_shared<AssertionHandler>();
    const auto standard = installAssertionHandler(first);
    EXPECT_NE(standard, nullptr);
    EXPECT_EQ(installAssertionHandler(second), first);
    EXPECT_EQ(test.assertionHandler.get(), second);
}

TEST_F(AssertionHandlerInstallation, Puts_the_standard_handler_in_force_for_null) {
    installHandler(RecordingAssertionHandler::Then::Returns);
    installAssertionHandler(nullptr);
    const auto standard = test.assertionHandler.get();
    ASSERT_NE(standard, nullptr);
    EXPECT_THROW(standard->handleFailure({nullptr, "-[A b]", "A", 1, "text"}),
                 InternalInconsistencyException);
    EXPECT_THROW(standard->unrecognizedSelector(nullptr, "-[A b]"), InvalidArgumentException);
}

} // namespace
} // namespace mox::test
