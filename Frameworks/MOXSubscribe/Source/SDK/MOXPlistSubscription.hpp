#pragma once

#include "SDK/MOXSubscription.hpp"

namespace mox {

/// The dictionary model's record. It has a launch alias and nothing else; paths and file names are the
/// manager's business, so that `path` and `fileName` keep the base's assertions.
class MOX_EXPORT MOXPlistSubscription : public MOXSubscription {
public:
    ~MOXPlistSubscription() override;

    /// An empty record with schema version 1.
    static std::shared_ptr<MOXPlistSubscription> subscription();
    /// A record with a copy of `dictionary`; one without a launch alias for nil.
    static std::shared_ptr<MOXPlistSubscription>
    subscriptionWithDictionary(std::optional<PropertyList::Dictionary> dictionary);
    /// A record filled from its arguments, with schema version 1.
    static std::shared_ptr<MOXPlistSubscription>
    subscriptionWithFileName(std::optional<std::string> fileName, const MOXSubscriptionKeywords& keywords);
    /// The record that the shared manager's `subscriptionAtPath` gives for `path`, with the same errors.
    /// Throws what `sharedManager` throws. With the other model's manager in place the result is that model's
    /// record when it is one of this class, else null.
    static std::shared_ptr<MOXPlistSubscription> subscriptionWithPath(std::string_view path,
                                                                      std::optional<Error>* error = nullptr);

    /// The image in the launch alias; nil without one.
    std::optional<Image> icon() const override;
    /// Passes `icon` to the launch alias; does nothing without one.
    void setIcon(std::optional<Image> icon) override;

    /// Stores a copy of the record in the shared manager's tree, in place of any entry of that name, and
    /// saves the file. The folder is not made: a missing one stands for its deepest ancestor that exists.
    /// Always returns true and never touches `error`, on purpose also when nothing could be stored. Takes no
    /// lock. When the shared manager is the other model's, the selector `setSubscription:named:inFolder:` is
    /// reported as not recognised (`InvalidArgumentException`), and nothing is stored.
    bool writeToFolder(std::string_view folder, std::string_view name,
                       std::optional<Error>* error = nullptr) override;

protected:
    MOXPlistSubscription() = default;
    using MOXSubscription::MOXSubscription;
};

} // namespace mox
