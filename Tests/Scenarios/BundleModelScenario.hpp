#pragma once

#include "SDK/UpgradeTest.hpp"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace mox::test {

/// What is in a folder, by path: the bytes of a file, "-> " and the target of a link, "/" for a folder.
using Tree = std::map<std::string, std::string>;

/// What `tree` has below the folder `path`, by the path in there; empty when there is nothing.
Tree within(const Tree& tree, std::string_view path);

/// Whether `path` is the path of one of `places` or of something below it.
bool isInOneOf(const std::string& path, const std::vector<std::string>& places);

/// Whether a part of `path` is the hidden name of something that was being made.
bool isTemporaryPath(std::string_view path);

/// A client of the bundle model, which reaches its stubs by the shared manager alone, on a disk with a few of
/// them. Paths in trees are relative to the scratch folder.
class BundleModelScenario : public UpgradeTest {
protected:
    using Manager = std::shared_ptr<MOXSubscriptionManager>;

    /// What an operation that fails, or that dies half-way, may have done.
    enum class Harm {
        None,          ///< All is as before, or done.
        PartlyRemoved, ///< What it was to remove is there in part.
        WholeFiles,    ///< Each file is the old, the template's or the new one.
        Upgrade,       ///< The old stub is in its place or in the Trash.
    };

    /// An operation, with a call of it that changes the sample.
    struct Operation {
        std::string name;
        std::function<bool(BundleModelScenario&, std::optional<Error>*)> perform;
        Harm harm = Harm::None;
        /// Where it changes anything.
        std::vector<std::string> places = {};
        /// The framework's errors that it may give.
        std::vector<Error::Code> codes = {};
        /// Whether it may give the system's errors as they are.
        bool givesSystemErrors = false;
        /// Whether it may fail without an error.
        bool mayFailSilently = false;
        /// Whether a success means that all was done.
        bool isTruthful = true;
        /// The beginnings of the lines that it may log.
        Lines lines = {};

        friend std::ostream& operator<<(std::ostream& stream, const Operation& operation) {
            return stream << operation.name;
        }
    };

    BundleModelScenario();
    ~BundleModelScenario() override;

    /// Every operation that changes the disk, once each.
    static std::vector<Operation> operations();
    static Operation operationNamed(std::string_view name);

    /// Ends the client and starts it anew; its shared manager, which is then also `manager`. Counts, log
    /// lines, calls and faults start anew too.
    const Manager& start();
    /// Ends the client.
    void end();

    /// Makes the user's folders what each operation begins with.
    void putSample();

    /// Lets stubs of applications name a program, as the desktop wants it to.
    void makeStartableTemplate() const;

    /// What the user's home and the folder for temporary files hold.
    Tree disk() const;

    /// Learns what the sample is, and what `operation` makes of it; then puts the sample back.
    void learn(const Operation& operation);

    /// What may be said of any state of the disk during `operation` and after it: nothing else has changed,
    /// and what it works on has come to no other harm than it may.
    testing::AssertionResult isUnharmed(const Tree& state, const Operation& operation) const;

    /// Whether the stub's place holds the whole old stub, a whole new one or nothing, and if not the old one,
    /// the whole old one is in the Trash, which knows where it came from.
    testing::AssertionResult isNothingLost(const Tree& state) const;

    /// Whether what a new client lists in the applications folder are stubs of the sample, in their places of
    /// before or after.
    testing::AssertionResult isListingSound(const Operation& operation);

    static MOXOptionalInfo optionalInfo();

    Manager manager;
    Tree before;
    Tree after;

    static constexpr const char* stubPlace = "home/Applications/Work/Word.app";

private:
    bool isStubOf(const Tree& stub, const Tree& complete) const;
    testing::AssertionResult areWholeFiles(const Tree& state, const std::string& place) const;
    Tree _template;
};

} // namespace mox::test
