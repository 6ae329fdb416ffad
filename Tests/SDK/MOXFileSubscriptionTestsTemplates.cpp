#include "SDK/StubBundles.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

namespace mox::test {
namespace {

class FileSubscriptionTemplates : public StubBundleTest {
protected:
    const OpenFileSubscription application{"Word", {.type = MOXSubscriptionType::Application}};
    const OpenFileSubscription desktop{"Desk", {.type = MOXSubscriptionType::Desktop}};
    const OpenFileSubscription other{"Other", {}};
};

TEST_F(FileSubscriptionTemplates, Go_by_the_records_type) {
    const std::string applications = makeFolder("DockApplication.app");
    const std::string desktops = makeFolder("Korvan Viewer.app");
    EXPECT_EQ(application.templatePath(), applications);
    EXPECT_EQ(desktop.templatePath(), desktops);
    EXPECT_EQ(application.templateIconName(), "DockApplication.icns");
    EXPECT_EQ(desktop.templateIconName(), "025_Apps_Combo_Mac.icns");
    EXPECT_EQ(application.subscriptionBundleIDPrefix(), "com.korvan.TarvioAlias");
    EXPECT_EQ(desktop.subscriptionBundleIDPrefix(), "com.korvan.BelcastraAlias");
    EXPECT_EQ(logLines(), Lines());
}

TEST_F(FileSubscriptionTemplates, Are_none_for_another_type_and_each_question_is_logged) {
    makeTemplates();
    EXPECT_EQ(other.templatePath(), std::nullopt);
    EXPECT_EQ(other.templateIconName(), std::nullopt);
    EXPECT_EQ(other.subscriptionBundleIDPrefix(), std::nullopt);
    EXPECT_EQ(logLines(),
              (Lines{"-[MOXFileSubscription templatePath] Unexpected subscription type (0)",
                     "-[MOXFileSubscription templateIconName] Unexpected subscription type (0)",
                     "-[MOXFileSubscription subscriptionBundleIDPrefix] Unexpected subscription type (0)"}));
}

TEST_F(FileSubscriptionTemplates, Are_none_without_a_launch_alias) {
    const auto record = MOXFileSubscription::subscriptionWithDictionary(std::nullopt);
    EXPECT_EQ(record->templatePath(), std::nullopt);
    EXPECT_EQ(logLines(), Lines{"-[MOXFileSubscription templatePath] Unexpected subscription type (0)"});
}

TEST_F(FileSubscriptionTemplates, Are_found_beside_the_client_and_else_in_its_helpers) {
    EXPECT_EQ(application.templatePath(), std::nullopt);
    const std::string helper = makeFolder("Client.app/Contents/Helpers/DockApplication.app");
    EXPECT_EQ(application.templatePath(), helper);
    const std::string beside = makeFolder("DockApplication.app");
    EXPECT_EQ(application.templatePath(), beside);
    EXPECT_EQ(MOXFileSubscription::ostrelHelperAppPath(), scratch.path("Client.app/Contents/Helpers"));
}

TEST_F(FileSubscriptionTemplates, Are_found_within_a_client_that_is_no_package) {
    MovedMainBundle bundles(test.bundles, makeFolder("bin"));
    const Platform platform = test.platformWith(bundles);
    const ScopedPlatform inner(platform);
    makeFolder("DockApplication.app");
    EXPECT_EQ(application.templatePath(), std::nullopt);
    const std::string helper = makeFolder("bin/Contents/Helpers/DockApplication.app");
    EXPECT_EQ(application.templatePath(), helper);
    const std::string within = makeFolder("bin/DockApplication.app");
    EXPECT_EQ(application.templatePath(), within);
}

TEST_F(FileSubscriptionTemplates, Are_found_beside_a_client_that_is_a_package_of_any_kind) {
    MovedMainBundle bundles(test.bundles, makeFolder("Client.bundle"));
    const Platform platform = test.platformWith(bundles);
    const ScopedPlatform inner(platform);
    makeFolder("Client.bundle/DockApplication.app");
    EXPECT_EQ(application.templatePath(), std::nullopt);
    const std::string beside = makeFolder("DockApplication.app");
    EXPECT_EQ(application.templatePath(), beside);
}

TEST_F(FileSubscriptionTemplates, Are_packages_only) {
    makeFile("DockApplication.app", "a file");
    EXPECT_EQ(application.templatePath(), std::nullopt);
    const std::string helper = makeFolder("Client.app/Contents/Helpers/DockApplication.app");
    EXPECT_EQ(application.templatePath(), helper);
    makeFolder("Elsewhere.app");
    const std::string link = scratch.path("Korvan Viewer.app");
    ASSERT_EQ(::symlink("Elsewhere.app", link.c_str()), 0);
    EXPECT_EQ(desktop.templatePath(), link);
}

TEST_F(FileSubscriptionTemplates, Are_found_by_any_name_and_the_bundle_identifier_is_ignored) {
    const std::string path = makeFolder("Some name.app");
    EXPECT_EQ(OpenFileSubscription::templatePathWithName("Some name", ""), path);
    EXPECT_EQ(OpenFileSubscription::templatePathWithName("Some name", "com.example.other"), path);
    EXPECT_EQ(OpenFileSubscription::templatePathWithName("Some", "Some name"), std::nullopt);
}

} // namespace
} // namespace mox::test
