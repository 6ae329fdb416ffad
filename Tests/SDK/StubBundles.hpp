#pragma once

#include "Foundation/PropertyList.hpp"
#include "SDK/MOXFileSubscription.hpp"
#include "SDK/SDKTest.hpp"
#include "Support/StaleError.hpp"

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace mox::test {

using Dictionary = PropertyList::Dictionary;
using Array = PropertyList::Array;
using Entries = std::vector<std::pair<std::string, PropertyList>>;
using Lines = std::vector<std::string>;

/// A dictionary of `entries`.
Dictionary dictionaryOf(const Entries& entries);

/// What a bundle that a test makes holds.
struct BundleContent {
    /// `Contents/Info.plist`; not there when nil.
    std::optional<Dictionary> infoPlist = Dictionary();
    /// `Contents/Resources/Korvalias.plist`; not there when nil.
    std::optional<Dictionary> alias = std::nullopt;
    /// The bytes of other files, by path in the bundle.
    std::map<std::string, std::string> files = {};
};

/// A document type as an information list declares it.
Dictionary documentType(std::string_view name, const std::vector<std::string>& extensions);

/// A representation of `width` by `height` pixels, shown pixel for point.
Image::Representation representation(std::uint32_t width, std::uint32_t height);
/// An image with a square representation for each of `sides`.
Image imageOfSides(const std::vector<std::uint32_t>& sides);
/// The bytes of an icon file of such an image.
std::string iconFileOfSides(const std::vector<std::uint32_t>& sides);
/// The sides of the pictures in the icon file of `bytes`, in their order.
std::vector<std::uint32_t> sidesInIconFile(std::string_view bytes);

/// The record, its steps within a test's reach.
class OpenFileSubscription : public MOXFileSubscription {
public:
    OpenFileSubscription() = default;
    OpenFileSubscription(std::optional<std::string> fileName, const MOXSubscriptionKeywords& keywords)
        : MOXFileSubscription(std::move(fileName), keywords) {}

    using MOXFileSubscription::bitmapRepsForImage;
    using MOXFileSubscription::subscriptionBundleIDPrefix;
    using MOXFileSubscription::templateIconName;
    using MOXFileSubscription::templatePathWithName;
    using MOXFileSubscription::updateFileTypesForInfoPlist;
    using MOXFileSubscription::updateFileTypesForInfoPlistStringsAtPath;
    using MOXFileSubscription::updateInfoPlistForSubscriptionAtPath;
};

/// Bundles whose main bundle is where a test says.
class MovedMainBundle : public Bundles {
public:
    MovedMainBundle(const Bundles& target, std::string mainBundle)
        : _target(target), _mainBundle(std::move(mainBundle)) {}

    std::string mainBundlePath() const override { return _mainBundle; }
    std::optional<std::string> frameworkBundlePath(std::string_view identifier) const override {
        return _target.frameworkBundlePath(identifier);
    }
    std::string resourceFolder(std::string_view bundlePath) const override {
        return _target.resourceFolder(bundlePath);
    }
    std::optional<std::string> pathForResource(std::string_view name, std::optional<std::string_view> type,
                                               std::string_view bundlePath) const override {
        return _target.pathForResource(name, type, bundlePath);
    }

private:
    const Bundles& _target;
    std::string _mainBundle;
};

/// Tests on a disk with the client's own bundle, "Client.app" in the scratch folder, and an applications
/// folder "Apps" beside it. Templates are made by a test that needs them.
class StubBundleTest : public SDKTest {
protected:
    using Keywords = MOXSubscriptionKeywords;
    static constexpr std::string_view stringsFile = "Contents/Resources/en.lproj/InfoPlist.strings";
    static constexpr std::string_view aliasFile = "Contents/Resources/Korvalias.plist";
    static constexpr std::string_view applicationIcon = "Contents/Resources/DockApplication.icns";
    static constexpr std::string_view desktopIcon = "Contents/Resources/025_Apps_Combo_Mac.icns";

    StubBundleTest();

    /// Makes folders at `path` in the scratch folder; gives the absolute path.
    std::string makeFolder(std::string_view path) const;
    /// Writes a file of `bytes` at `path` in the scratch folder, making its folders; gives the absolute path.
    std::string makeFile(std::string_view path, std::string_view bytes) const;
    /// Makes a bundle at `path` in the scratch folder; gives the absolute path.
    std::string makeBundle(std::string_view path, const BundleContent& content) const;

    /// What a template holds: an information list of that version with a document type of its own, strings,
    /// an icon file, and a program.
    static BundleContent templateContent(std::string_view version = "2.0",
                                         std::string_view icon = applicationIcon);
    /// Makes the template of applications and that of desktops beside the client.
    void makeTemplates() const;

    std::string bytesAt(const std::string& path) const { return bytesOfFile(path); }
    bool isThere(const std::string& path) const;
    /// The dictionary in the property list at `path`; the test fails when there is none.
    static Dictionary dictionaryAt(const std::string& path);
    static Dictionary infoPlistOf(const std::string& bundle) {
        return dictionaryAt(bundle + "/Contents/Info.plist");
    }
    std::string stringsOf(const std::string& bundle) const {
        return bytesOfFile(bundle + "/" + std::string(stringsFile));
    }
    Lines logLines() const { return test.systemLog.lines(); }

    const std::string apps = scratch.path("Apps");
};

/// Whether `error` is the framework's with `code`, and names `path` under `NSFilePathErrorKey`, or no path
/// when it is nil.
testing::AssertionResult isStubError(const std::optional<Error>& error, Error::Code code,
                                     const std::optional<std::string>& path = std::nullopt);

} // namespace mox::test
