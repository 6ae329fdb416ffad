// The desktop's own programs read what a registration writes. Each test is skipped where its program is
// missing.

#include "Formats/DesktopEntryReading.hpp"
#include "Formats/ICNSCoding.hpp"
#include "Formats/ImageCoding.hpp"
#include "Foundation/UnicodeText.hpp"
#include "Platform/StubDesktop.hpp"
#include "Support/HostileTexts.hpp"
#include "Support/ProgramRun.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mox {
namespace {

using test::ProgramRun;
using test::StubContents;
using testing::HasSubstr;
using testing::Not;

/// The path of a program that is in the PATH; empty when there is none.
std::string pathOfProgram(const std::string& name) {
    const char* path = std::getenv("PATH");
    std::string rest = path ? path : "";
    while (!rest.empty()) {
        const std::string folder = rest.substr(0, rest.find(':'));
        rest.erase(0, folder.size() + 1);
        if (::access((folder + "/" + name).c_str(), X_OK) == 0) return folder + "/" + name;
    }
    return {};
}

/// Names that are trouble in a shell, a key file or a command line, and that an entry can carry.
std::vector<std::string> hostileEntryNames() {
    std::vector<std::string> names = test::hostileFileNames(250);
    std::erase_if(names, [](const std::string& name) {
        return test::carriedText(repairedUTF8(name)) != name || name.find('=') != name.npos;
    });
    return names;
}

/// A user's data folder of which a registration refreshes the real caches.
class DesktopInteroperationTest : public testing::Test {
protected:
    test::StubDesktop desktop;
    LinuxDesktopCaches caches{desktop.dataFolder};
    LinuxLaunchRegistration registration{desktop.disk,
                                         desktop.system,
                                         desktop.bundles,
                                         caches,
                                         {.dataFolder = desktop.dataFolder,
                                          .sharedDataFolders = {desktop.sharedFolder},
                                          .configurationFolders = {desktop.configurationFolder}}};

    std::vector<std::string> environment(const std::string& sharedFolders) const {
        return {"PATH=" + std::string(std::getenv("PATH")),
                "HOME=" + desktop.scratch.path("home"),
                "LC_ALL=C.UTF-8",
                "GIO_USE_VFS=local",
                "XDG_DATA_HOME=" + desktop.dataFolder,
                "XDG_DATA_DIRS=" + sharedFolders,
                "XDG_CONFIG_HOME=" + desktop.configurationFolder,
                "XDG_CACHE_HOME=" + desktop.scratch.path("cache"),
                "XDG_RUNTIME_DIR=" + desktop.scratch.path("run")};
    }

    /// Runs a program in a session of that user, which knows nothing of what else is installed.
    ProgramRun run(const std::vector<std::string>& command) const {
        return test::runProgram(command, environment(desktop.sharedFolder));
    }

    std::string registerStub(const std::string& relativePath, const StubContents& contents) {
        std::string stub = desktop.writeStub(relativePath, contents);
        EXPECT_EQ(registration.registerBundle(stub), 0);
        return stub;
    }

    std::string onlyEntryPath() { return desktop.dataFolder + "/" + desktop.pathsOfFiles(".desktop").at(0); }
};

/// A pipe with a name, to which a started program writes; whoever waits at it needs no clock.
class NamedPipe {
public:
    explicit NamedPipe(const std::string& path) : _path(path) {
        EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
        _descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    }
    NamedPipe(const NamedPipe&) = delete;
    NamedPipe& operator=(const NamedPipe&) = delete;
    ~NamedPipe() { ::close(_descriptor); }

    const std::string& path() const { return _path; }

    /// What one writer writes until it closes; what was there by then when that takes a minute.
    std::string text() {
        std::string text;
        for (;;) {
            pollfd descriptor = {_descriptor, POLLIN, 0};
            if (::poll(&descriptor, 1, 60'000) <= 0) return text + " (nobody wrote, or did not end)";
            char buffer[4096];
            const ssize_t count = ::read(_descriptor, buffer, sizeof buffer);
            if (count <= 0) return text;
            text.append(buffer, static_cast<std::size_t>(count));
        }
    }

private:
    std::string _path;
    int _descriptor;
};

TEST_F(DesktopInteroperationTest, The_validator_finds_nothing_in_whatever_entry_is_written) {
    const std::string validator = pathOfProgram("desktop-file-validate");
    if (validator.empty()) GTEST_SKIP() << "desktop-file-validate is not installed";
    for (const std::string& name : hostileEntryNames()) {
        const std::string stub =
            registerStub(name + ".app", {.name = name + "\033\t",
                                         .description = name,
                                         .documentTypes = {{name, {name, "txt", "xyzword"}, "a"}}});
        const ProgramRun validation = run({validator, onlyEntryPath()});
        EXPECT_EQ(validation.status, 0) << desktop.onlyEntry();
        EXPECT_EQ(validation.output + validation.errors, "") << desktop.onlyEntry();
        registration.bundleRemoved(stub);
    }
}

TEST_F(DesktopInteroperationTest, The_validator_is_one_that_finds_faults) {
    const std::string validator = pathOfProgram("desktop-file-validate");
    if (validator.empty()) GTEST_SKIP() << "desktop-file-validate is not installed";
    const std::string entry = desktop.scratch.write("x.desktop", "[Desktop Entry]\nName=x\n");
    EXPECT_NE(run({validator, entry}).status, 0);
}

TEST_F(DesktopInteroperationTest, A_registered_stub_is_started_with_its_documents_without_a_display) {
    const std::string gio = pathOfProgram("gio");
    if (gio.empty()) GTEST_SKIP() << "gio is not installed";
    int number = 0;
    for (const std::string& name : hostileEntryNames()) {
        NamedPipe pipe(desktop.scratch.path("pipe" + std::to_string(++number)));
        const std::string script =
            "#!/bin/sh\n{ echo \"$0\"; printf '%s\\n' \"$@\"; } >" + pipe.path() + "\n";
        const std::string stub = registerStub(name + ".app", {.script = script});
        const std::string first = desktop.scratch.write("a b", "x");
        const std::string second = desktop.scratch.write("100%", "x");
        const ProgramRun launch = run({gio, "launch", onlyEntryPath(), first, second});
        ASSERT_EQ(launch.status, 0) << launch.errors << desktop.onlyEntry();
        EXPECT_EQ(pipe.text(), stub + "/Contents/MacOS/launcher\n" + first + "\n" + second + "\n");
        registration.bundleRemoved(stub);
    }
}

class DesktopTypesTest : public DesktopInteroperationTest {
protected:
    const std::string gio = pathOfProgram("gio");

    void SetUp() override {
        for (const char* program : {"gio", "update-mime-database", "update-desktop-database"}) {
            if (pathOfProgram(program).empty()) GTEST_SKIP() << program << " is not installed";
        }
        if (::access("/usr/share/mime/globs2", R_OK) != 0) GTEST_SKIP() << "there is no shared MIME database";
        ASSERT_TRUE(desktop.disk.createDirectoryWithIntermediates(desktop.sharedFolder, 0777));
        ASSERT_EQ(::symlink("/usr/share/mime", (desktop.sharedFolder + "/mime").c_str()), 0);
    }

    /// The type that the desktop takes a file of that name for.
    std::string typeOfFile(const std::string& name) {
        const std::string file = desktop.scratch.write(name, "some content\n");
        const ProgramRun info = run({gio, "info", "--attributes", "standard::content-type", file});
        EXPECT_EQ(info.status, 0) << info.errors;
        const std::string key = "standard::content-type: ";
        const std::size_t start = info.output.find(key);
        if (start == info.output.npos) return "none";
        const std::size_t value = start + key.size();
        return info.output.substr(value, info.output.find('\n', value) - value);
    }

    /// What the desktop says of the programs for a type: the default one first, then the others.
    std::string programsForType(const std::string& type) {
        const ProgramRun programs = run({gio, "mime", type});
        return programs.output + programs.errors;
    }

    std::string nameOfOnlyEntry() {
        const std::string path = onlyEntryPath();
        return path.substr(path.rfind('/') + 1);
    }

    /// Makes an editor of plain text that everybody has.
    void installEditor() {
        desktop.writeFile(desktop.sharedFolder + "/applications/editor.desktop",
                          "[Desktop Entry]\nType=Application\nName=Editor\nExec=true\n"
                          "MimeType=text/plain;image/png;\n");
        run({pathOfProgram("update-desktop-database"), desktop.sharedFolder + "/applications"});
    }
};

TEST_F(DesktopTypesTest, A_file_with_an_unknown_extension_is_opened_by_the_stub_as_long_as_it_is_there) {
    EXPECT_EQ(typeOfFile("a.xyzword"), "text/plain");
    const std::string stub =
        registerStub("Word.app", {.documentTypes = {{"Words", {"XyzWord"}, "<Words & \"more\">"}}});
    const std::string type = typeOfFile("a.xyzword");
    EXPECT_THAT(type, testing::StartsWith("application/x-moxsubscribe-"));
    EXPECT_EQ(typeOfFile("B.XYZWORD"), type);
    EXPECT_THAT(programsForType(type),
                HasSubstr("Default application for \u201C" + type + "\u201D: " + nameOfOnlyEntry()));
    registration.bundleRemoved(stub);
    EXPECT_EQ(typeOfFile("a.xyzword"), "text/plain");
    EXPECT_THAT(programsForType(type), HasSubstr("No default applications"));
}

TEST_F(DesktopTypesTest, Two_stubs_open_files_with_the_same_unknown_extension_and_one_stays) {
    const StubContents contents = {.documentTypes = {{"Words", {"xyzword"}}}};
    const std::string first = registerStub("A.app", contents);
    const std::string firstName = nameOfOnlyEntry();
    registerStub("B.app", contents);
    const std::string type = typeOfFile("a.xyzword");
    registration.bundleRemoved(first);
    EXPECT_EQ(typeOfFile("a.xyzword"), type);
    EXPECT_THAT(programsForType(type), HasSubstr(nameOfOnlyEntry()));
    EXPECT_THAT(programsForType(type), Not(HasSubstr(firstName)));
}

TEST_F(DesktopTypesTest, A_type_of_the_system_keeps_its_default_program) {
    installEditor();
    const std::string before = programsForType("text/plain");
    EXPECT_THAT(before, HasSubstr(": editor.desktop"));
    registerStub("Word.app", {.documentTypes = {{"Texts", {"txt", "c", "png"}}}});
    EXPECT_EQ(typeOfFile("a.txt"), "text/plain");
    EXPECT_EQ(programsForType("text/plain"), before);
    EXPECT_THAT(programsForType("image/png"), HasSubstr(": editor.desktop"));
    EXPECT_THAT(programsForType("text/x-csrc"), Not(HasSubstr(nameOfOnlyEntry())));
}

TEST_F(DesktopTypesTest, A_chosen_default_stays_though_the_stub_is_listed_beside_it) {
    installEditor();
    desktop.writeFile(desktop.configurationFolder + "/mimeapps.list",
                      "[Default Applications]\ntext/plain=editor.desktop\n");
    registerStub("Word.app", {.documentTypes = {{"Texts", {"txt"}}}});
    EXPECT_THAT(programsForType("text/plain"), HasSubstr(": editor.desktop"));
    EXPECT_THAT(programsForType("text/plain"), HasSubstr(nameOfOnlyEntry()));
    EXPECT_EQ(test::bytesOfFile(desktop.configurationFolder + "/mimeapps.list"),
              "[Default Applications]\ntext/plain=editor.desktop\n");
}

TEST_F(DesktopTypesTest, A_known_type_that_nothing_opens_is_opened_by_the_stub) {
    registerStub("Word.app", {.documentTypes = {{"Archives", {"rpm"}}}});
    EXPECT_THAT(programsForType("application/x-rpm"), HasSubstr(": " + nameOfOnlyEntry()));
}

TEST_F(DesktopTypesTest, Hostile_types_leave_the_database_as_good_as_it_was) {
    using namespace std::string_literals;
    for (const std::string& name :
         {"</comment></mime-type><x>"s, "&bogus;"s, "\"><glob pattern=\"*.txt\"/><a b=\""s,
          "txt\n50:text/html:*.txt"s, "*"s, "txt:cs"s, "a\033b"s, "\uFFFE"s, ";"s}) {
        registerStub("Word.app", {.documentTypes = {{name, {name, "xyzword"}, "d"}}});
        EXPECT_THAT(typeOfFile("a.xyzword"), testing::StartsWith("application/x-moxsubscribe-")) << name;
        EXPECT_EQ(typeOfFile("a.txt"), "text/plain") << name;
        EXPECT_EQ(typeOfFile("a.html"), "text/html") << name;
    }
}

TEST_F(DesktopInteroperationTest, A_menu_shows_the_stub_with_its_icon_and_starts_it) {
    for (const char* program :
         {"Xvfb", "xfce4-appfinder", "xdotool", "import", "dbus-run-session", "timeout"}) {
        if (pathOfProgram(program).empty()) GTEST_SKIP() << program << " is not installed";
    }
    ASSERT_TRUE(desktop.disk.createDirectoryWithIntermediates(desktop.scratch.path("run"), 0700));
    ASSERT_TRUE(desktop.disk.createDirectoryWithIntermediates(MOX_ARTEFACTS, 0777));
    const std::string screenshot = MOX_ARTEFACTS "/menu.png";
    const std::string started = desktop.scratch.path("started");
    const std::string stub = desktop.writeStub(
        "Word.app", {.name = "Zyxword Processor", .script = "#!/bin/sh\n: >'" + started + "'\n"});
    Image::Representation icon = {
        .pixelsWide = 48, .pixelsHigh = 48, .size = {48, 48}, .pixels = {}, .png = {}};
    std::vector<std::uint8_t> pixels;
    for (int pixel = 0; pixel < 48 * 48; ++pixel)
        pixels.insert(pixels.end(), {0xff, 0x00, 0xff, 0xff});
    icon.pixels = std::move(pixels);
    desktop.writeFile(stub + "/Contents/Resources/DockApplication.icns",
                      icnsWithRepresentations({icon}).value());
    ASSERT_EQ(registration.registerBundle(stub), 0);

    // The menu needs its own icons and lists.
    const ProgramRun session = test::runProgram({pathOfProgram("timeout"), "--kill-after=5", "100",
                                                 pathOfProgram("dbus-run-session"), "--", MOX_MENU_SESSION,
                                                 "Zyxword Processor", "ff00ff", started, screenshot},
                                                environment("/usr/share"));
    if (session.status == 77) GTEST_SKIP() << session.output;
    EXPECT_EQ(session.status, 0) << session.output << session.errors;
    EXPECT_EQ(::access(started.c_str(), F_OK), 0);
    EXPECT_TRUE(imageFromBytes(test::bytesOfFile(screenshot)));
}

} // namespace
} // namespace mox
