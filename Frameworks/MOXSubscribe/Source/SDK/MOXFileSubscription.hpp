#pragma once

#include "SDK/MOXSubscription.hpp"

namespace mox {

/// The application-bundle model's record: a stub bundle on the disk, or one that is still to be written.
///
/// What a stub holds besides its launch alias is read when it is first asked for and then kept: file types
/// and icon until they are set, the version for good. What was not found is looked for again at the next
/// call, but for file types: a record with a path has some, an empty list at the least. Setting file types or
/// icon fixes them, so that the next writing stores what was set; setting nil makes them "not set" again.
///
/// Which template a stub is made from, its icon's name and the beginning of its identifier depend on the
/// record's type. A type other than application and desktop has none of them; asking for one then logs
/// "%s Unexpected subscription type (%d)" and gives nil.
class MOX_EXPORT MOXFileSubscription : public MOXSubscription {
public:
    ~MOXFileSubscription() override;

    /// An empty record with schema version 1, not yet written.
    static std::shared_ptr<MOXFileSubscription> subscription();
    /// A record with a copy of `dictionary`, not yet written; one without a launch alias for nil.
    static std::shared_ptr<MOXFileSubscription>
    subscriptionWithDictionary(std::optional<PropertyList::Dictionary> dictionary);
    /// A record filled from its arguments, with schema version 1, not yet written.
    static std::shared_ptr<MOXFileSubscription>
    subscriptionWithFileName(std::optional<std::string> fileName, const MOXSubscriptionKeywords& keywords);
    /// The record of the stub at `path`. Only its launch alias is read now: any folder with a readable
    /// `Contents/Resources/Korvalias.plist` is a stub. Null without one: error 2009 when something is at the
    /// path, 2008 when nothing is, both with the path under `NSFilePathErrorKey`. Logs nothing.
    static std::shared_ptr<MOXFileSubscription> subscriptionWithPath(std::string_view path,
                                                                     std::optional<Error>* error = nullptr);

    /// The stub's path; nil in a record that was not written yet.
    std::optional<std::string> path() const override;
    /// Says where the stub is now. Nothing is moved, and what was read from the old path is kept.
    void setPath(std::optional<std::string> path) override;

    /// The last component of the path; without a path the launch alias's clone name; nil without either.
    std::optional<std::string> fileName() const override;
    /// Stores `name` as the launch alias's clone name, which a record with a path does not show as its file
    /// name. Does nothing without a launch alias.
    void setFileName(std::optional<std::string> name) override;

    /// The document types; read from the stub when they are not set. Nil (not set) without a path.
    std::optional<std::vector<MOXFileType>> fileTypes() const override;
    void setFileTypes(std::optional<std::vector<MOXFileType>> fileTypes) override;
    /// Reads the document types from the stub when they are not set; whether they are now. A stub without a
    /// readable `Info.plist` has none, which is an empty list.
    bool loadFileTypes() const;

    /// The icon; read from the stub when it is not set. Nil when the stub has none that can be read.
    std::optional<Image> icon() const override;
    void setIcon(std::optional<Image> icon) override;
    /// Reads the icon from the stub when it is not set; whether there is one now.
    bool loadIcon() const;

    /// The version of the bundle at `path`, its "KorvanVersionString", else its
    /// "CFBundleShortVersionString"; nil when neither can be read.
    static std::optional<MOXVersionNumber> versionForBundleAtPath(std::string_view path);
    /// The stub's version; nil when it has none or there is no stub yet.
    std::optional<MOXVersionNumber> internalVersion() const override;
    /// The stub's version as text; "" (never nil) when it has none.
    std::optional<std::string> subscriptionVersion() const override;
    /// Whether the stub is older than its template, or has no version. False for a record without a path, and
    /// when there is no template or it has no version.
    bool needsUpdate() const override;

    /// The folder `Contents/Helpers` in the main bundle.
    static std::string ostrelHelperAppPath();
    /// The path of the template of the record's type: beside the main bundle (in it when it is no package),
    /// else in `ostrelHelperAppPath`. Nil when there is none.
    std::optional<std::string> templatePath() const;

    /// Makes the record's stub in `folder`, or makes the one that is there current, under the record's own
    /// file name; whether it did. `name` is ignored, on purpose.
    ///
    /// Nothing there: the template is copied. A stub of the same type there is written over in place.
    /// Anything else there stays untouched, which is error 2004. Then `Info.plist`, the names of the document
    /// types, the icon and the launch alias are written, each file atomically, the stub is registered with
    /// the desktop, and `path` is set to it.
    ///
    /// On failure the result is false, `path` stays as it was, and one line tells why in the log, also when
    /// no error is asked for. What was done so far stays on the disk; nothing is rolled back:
    /// - 2002, no template; 2004, the template cannot be copied, or the file name is not one component of a
    ///   path: nothing new.
    /// - 2005 or 2006 with its path under `NSFilePathErrorKey`, `Info.plist` is missing or cannot be written:
    ///   the template's copy or the earlier stub with its old `Info.plist`; type names may be written
    ///   already.
    /// - 2007, the launch alias cannot be written: a stub with everything new but its launch alias, which is
    ///   missing or the earlier one.
    ///
    /// No failures, only logged: type names or an icon that cannot be written (the old ones stay), and a
    /// registration that fails. An icon without a representation that this system's stubs get
    /// (`bitmapRepsForImage`) leaves the stub's own, without a line.
    ///
    /// Takes no lock. The registration is for one thread at a time: so is writing, also of different records.
    bool writeToFolder(std::string_view folder, std::string_view name,
                       std::optional<Error>* error = nullptr) override;

protected:
    MOXFileSubscription() = default;
    using MOXSubscription::MOXSubscription;

    // Steps of the above.

    /// The path of the template bundle `name`.app; nil when there is none. `bundleID` is ignored, on purpose.
    static std::optional<std::string> templatePathWithName(std::string_view name, std::string_view bundleID);
    /// The file name of the icon in a stub of the record's type.
    std::optional<std::string> templateIconName() const;
    /// What the identifier of a stub of the record's type begins with.
    std::optional<std::string> subscriptionBundleIDPrefix() const;

    /// Rewrites `Info.plist` of the stub at `path` for the record, and adds the names of its document types
    /// to the stub's strings. Whether it did; else error 2005 (no readable `Info.plist`) or 2006 (it cannot
    /// be written), neither logged.
    bool updateInfoPlistForSubscriptionAtPath(std::string_view path,
                                              std::optional<Error>* error = nullptr) const;
    /// Replaces the document types in `infoPlist` by the record's.
    void updateFileTypesForInfoPlist(PropertyList::Dictionary& infoPlist) const;
    /// Appends the names of the record's document types to the strings file at `path`, in the encoding that
    /// it has. Appends them again at each call, on purpose. On failure the file stays as it is and a line is
    /// logged.
    void updateFileTypesForInfoPlistStringsAtPath(std::string_view path) const;
    /// The representations of the record's own icon that a stub gets; on systems 10.6.8 and later of 10.6
    /// those of at most 128 by 128 pixels. `image` is ignored, on purpose.
    std::vector<Image::Representation> bitmapRepsForImage(const Image& image) const;

private:
    std::optional<std::string> iconPathInStubAtPath(std::string_view path) const;
    bool isSubscriptionOfSameTypeAtPath(const std::string& path) const;
    bool copyTemplateToFolder(std::string_view folder, std::optional<Error>* error) const;
    bool finishStubAtPath(const std::string& path, std::optional<Error>* error);
    void saveIconToStubAtPath(const std::string& path) const;

    std::optional<std::string> _path;
    mutable std::optional<Image> _icon;
    mutable std::optional<std::vector<MOXFileType>> _fileTypes;
};

} // namespace mox
