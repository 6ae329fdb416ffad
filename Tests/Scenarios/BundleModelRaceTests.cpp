// Somebody exchanges a part of what an operation works on for a symbolic link to a decoy, and back. The decoy
// must stay as it is, whenever that happens.

#include "Foundation/PathRules.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <thread>
#include <unistd.h>

#include "Scenarios/BundleModelScenario.hpp"

namespace mox::test {
namespace {

/// One attack: which part of an operation's material is exchanged.
struct Attack {
    std::string name;
    /// Which of `BundleModelScenario::operations` is attacked.
    std::string operation;
    /// The part's path in the scratch folder; a component that ends in "*" is the first name that begins so.
    std::string place;
    enum class Decoy { Folder, File };
    /// What the link leads to.
    Decoy decoy = Decoy::Folder;
    /// Whether the stub's own files may be written into the decoy. They are written by their paths, on
    /// purpose through links that are folders; whoever exchanges those has the user's rights already.
    bool writesByPath = false;

    friend std::ostream& operator<<(std::ostream& stream, const Attack& attack) {
        return stream << attack.name;
    }
};

class RacesInTheBundleModel : public BundleModelScenario, public testing::WithParamInterface<Attack> {
protected:
    RacesInTheBundleModel() {
        // Whoever is led in here finds names that he knows.
        makeFile("outside/folder/letter.txt", "precious");
        makeFile("outside/folder/.DS_Store", "precious");
        makeFile("outside/folder/Inner/.DS_Store", "precious");
        makeFile("outside/folder/Contents/Info.plist", "precious");
        makeFile("outside/folder/Contents/Resources/Korvalias.plist", "precious");
        makeFile("outside/folder/Resources/DockApplication.icns", "precious");
        makeFile("outside/folder/Word.app/Contents/Info.plist", "precious");
        makeFile("outside/folder/Info.plist", "precious");
        makeFile("outside/file", "precious");
        _outside = contentsOfTree(scratch.path("outside"));
    }

    void SetUp() override { _operation = operationNamed(GetParam().operation); }

    /// Puts the material and the link in their places.
    void prepare() {
        putSample();
        makeFile("home/Applications/Empty/Inner/Deep/.DS_Store", "desktop");
        ::unlink(_link.c_str());
        if (isThere(_link)) {
            ASSERT_TRUE(test.fileSystem.removeItem(_link));
        }
        const std::string decoy =
            scratch.path(GetParam().decoy == Attack::Decoy::File ? "outside/file" : "outside/folder");
        ASSERT_EQ(::symlink(decoy.c_str(), _link.c_str()), 0);
    }

    /// Exchanges the part and the link, where the part is there; whether it was.
    bool exchange() const {
        const std::string place = placeNow();
        return !place.empty() &&
               ::renameat2(AT_FDCWD, place.c_str(), AT_FDCWD, _link.c_str(), RENAME_EXCHANGE) == 0;
    }

    void perform() {
        // It may fail, and with whatever error: its material is gone.
        static_cast<void>(_operation.perform(*this, nullptr));
    }

    testing::AssertionResult isOutsideUntouched() const {
        const Tree now = contentsOfTree(scratch.path("outside"));
        for (const auto& [path, content] : now) {
            if (GetParam().writesByPath && isWrittenInStubs(path)) continue;
            const auto found = _outside.find(path);
            if (found == _outside.end()) return testing::AssertionFailure() << "new: " << path;
            if (found->second != content) return testing::AssertionFailure() << "changed: " << path;
        }
        for (const auto& [path, content] : _outside) {
            if (!now.contains(path)) return testing::AssertionFailure() << "removed: " << path;
        }
        return testing::AssertionSuccess();
    }

private:
    /// Where the part is now; empty when it is not there.
    std::string placeNow() const {
        std::string path = scratch.path();
        for (const std::string& component : pathComponents(GetParam().place)) {
            if (!component.ends_with('*')) {
                path += "/" + component;
                continue;
            }
            const std::string beginning = component.substr(0, component.size() - 1);
            const std::string found = firstNameIn(path, beginning);
            if (found.empty()) return {};
            path += "/" + found;
        }
        return path;
    }

    /// The folder may vanish at any time.
    static std::string firstNameIn(const std::string& folder, const std::string& beginning) {
        try {
            for (const std::string& name : namesIn(folder)) {
                if (name.starts_with(beginning)) return name;
            }
        } catch (const std::system_error&) {
        }
        return {};
    }

    static bool isWrittenInStubs(const std::string& path) {
        const std::string name = lastPathComponent(path);
        return isTemporaryPath("/" + path) || name == "Info.plist" || name == "Korvalias.plist" ||
               name == "DockApplication.icns" || name == "InfoPlist.strings";
    }

    const std::string _link = scratch.path("link");
    Operation _operation;
    Tree _outside;
};

TEST_P(RacesInTheBundleModel, An_exchange_before_any_call_lets_nothing_outside_change) {
    std::size_t exchanges = 0;
    for (const std::size_t duration : {0U, 2U}) {
        bool wasReached = true;
        for (std::size_t number = 1; wasReached; ++number) {
            SCOPED_TRACE("before call " + std::to_string(number) + ", for " + std::to_string(duration));
            ASSERT_NO_FATAL_FAILURE(prepare());
            start();
            wasReached = false;
            test.systemCalls.actBefore(number, [&] {
                wasReached = true;
                if (!exchange()) return;
                ++exchanges;
                // Without a duration the link stays.
                if (duration > 0) test.systemCalls.actBefore(duration, [this] { exchange(); });
            });
            perform();
            test.systemCalls.actBefore(1'000'000, {});
            ASSERT_TRUE(isOutsideUntouched());
        }
    }
    EXPECT_GT(exchanges, 5U) << "the attack was one";
}

/// How long each race lasts: so many seconds as the environment tells, or a few rounds.
class Length {
public:
    bool isReached(int rounds) const {
        return _seconds > 0 ? std::chrono::steady_clock::now() - _start > std::chrono::seconds(_seconds)
                            : rounds >= fewRounds;
    }

private:
    static constexpr int fewRounds = 40;
    const char* const _setting = std::getenv("MOX_RACE_SECONDS");
    const int _seconds = _setting ? std::atoi(_setting) : 0;
    const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
};

TEST_P(RacesInTheBundleModel, An_exchange_at_any_time_lets_nothing_outside_change) {
    std::atomic<std::size_t> exchanges = 0;
    const Length length;
    int rounds = 0;
    // On a busy machine some rounds pass without an attack.
    constexpr int mostRounds = 2000;
    for (; !length.isReached(rounds) || (exchanges == 0 && rounds < mostRounds); ++rounds) {
        ASSERT_NO_FATAL_FAILURE(prepare());
        start();
        {
            const std::jthread attacker([&](const std::stop_token& stop) {
                while (!stop.stop_requested()) {
                    if (exchange()) ++exchanges;
                }
            });
            perform();
        }
        ASSERT_TRUE(isOutsideUntouched()) << "in round " << rounds;
    }
    EXPECT_GT(exchanges, 0U) << "the attack was one";
    std::cout << rounds << " rounds, " << exchanges << " exchanges\n";
}

Attack attackOnFile(const std::string& name, const std::string& file) {
    return {.name = name,
            .operation = "refresh",
            .place = "home/Applications/Work/Word.app/Contents/" + file,
            .decoy = Attack::Decoy::File};
}

Attack attackOnWriter(const std::string& name, const std::string& operation, const std::string& place) {
    return {.name = name, .operation = operation, .place = place, .writesByPath = true};
}

const Attack attacks[] = {
    {"remove_contents", "remove", "home/Applications/Work/Word.app/Contents"},
    {"remove_resources", "remove", "home/Applications/Work/Word.app/Contents/Resources"},
    {"remove_all_contents", "remove_all", "home/Applications/Other/Excel.app/Contents"},
    {"remove_folder_stub", "remove_folder", "home/Applications/Work/Word.app"},
    {"remove_folder_resources", "remove_folder", "home/Applications/Work/Word.app/Contents/Resources"},
    {"remove_empty_folder_inner", "remove_empty_folder", "home/Applications/Empty/Inner"},
    {"remove_empty_folder_deep", "remove_empty_folder", "home/Applications/Empty/Inner/Deep"},
    {"copy_staged_stub", "subscribe", "home/Applications/Made/Here/.mox-*"},
    {"copy_staged_contents", "subscribe", "home/Applications/Made/Here/.mox-*/Contents"},
    attackOnWriter("copy_staged_resources", "subscribe",
                   "home/Applications/Made/Here/.mox-*/Contents/Resources"),
    attackOnFile("icon", "Resources/DockApplication.icns"),
    attackOnFile("information", "Info.plist"),
    attackOnFile("alias", "Resources/Korvalias.plist"),
    attackOnFile("strings", "Resources/en.lproj/InfoPlist.strings"),
    {"upgrade_trash_files", "upgrade", "home/.local/share/Trash/files"},
    {"upgrade_trash_info", "upgrade", "home/.local/share/Trash/info"},
    {"upgrade_temporary_staged", "upgrade", "tmp/korvan.tmp.*/.mox-*"},
    attackOnWriter("upgrade_temporary_stub", "upgrade", "tmp/korvan.tmp.*/Word.app"),
    attackOnWriter("upgrade_temporary_contents", "upgrade", "tmp/korvan.tmp.*/Word.app/Contents"),
    attackOnWriter("upgrade_temporary_resources", "upgrade", "tmp/korvan.tmp.*/Word.app/Contents/Resources"),
    {"walk", "create_folder", "home/Applications/Work"},
};

INSTANTIATE_TEST_SUITE_P(Attacks, RacesInTheBundleModel, testing::ValuesIn(attacks),
                         [](const auto& tested) { return tested.param.name; });

} // namespace
} // namespace mox::test
