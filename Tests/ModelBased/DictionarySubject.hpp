#pragma once

#include "Platform/Testing/RecordingAssertionHandler.hpp"
#include "Platform/Testing/ScopedPlatform.hpp"
#include "Platform/Testing/TestPlatform.hpp"
#include "SDK/MOXPlistSubscriptionManager.hpp"

#include <memory>
#include <string>

#include "ModelBased/Observations.hpp"
#include "ModelBased/Step.hpp"

namespace mox::test::model {

/// The dictionary model itself, for a user at "/Users/user" whose support folder is in a scratch folder. It
/// is reached by the shared manager alone.
class DictionarySubject {
public:
    DictionarySubject();
    ~DictionarySubject();
    DictionarySubject(const DictionarySubject&) = delete;
    DictionarySubject& operator=(const DictionarySubject&) = delete;

    const std::string& plistPath() const { return _plistPath; }

    /// Does `step`, and tells all that can be seen of it.
    Observations perform(const Step& step);

    /// What is on the disk.
    std::string disk() const;

private:
    /// What the operation of `step` gives to the client.
    Observations resultOf(const Step& step, std::optional<Error>* error);
    void reopen(int variant);
    void putOnDisk(int variant) const;

    TestPlatform _environment;
    const std::string _supportFolder;
    const std::string _plistPath;
    ScopedPlatform _scope;
    std::shared_ptr<RecordingAssertionHandler> _assertions;
    std::shared_ptr<MOXPlistSubscriptionManager> _manager;
};

} // namespace mox::test::model
