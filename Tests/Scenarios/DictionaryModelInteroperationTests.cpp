#include "Formats/ImageArchive.hpp"

#include <array>
#include <cstdio>
#include <fstream>
#include <sys/wait.h>

#include "Scenarios/DictionaryModelScenario.hpp"

namespace mox::test {
namespace {

/// The store's file, read and written by other programs that know property lists.
class OtherProgramsInTheDictionaryModel : public DictionaryModelScenario {
protected:
    struct Run {
        int status;
        std::string output;
    };

    static Run run(const std::string& command) {
        FILE* pipe = popen((command + " 2>&1").c_str(), "r");
        if (pipe == nullptr) return {-1, "the shell cannot be started"};
        Run result{0, ""};
        std::array<char, 4096> buffer;
        while (const std::size_t count = fread(buffer.data(), 1, buffer.size(), pipe))
            result.output.append(buffer.data(), count);
        const int status = pclose(pipe);
        result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return result;
    }

    Run python(const std::string& program) const {
        const std::string script = homePath("script.py");
        std::ofstream(script) << program;
        return run("python3 '" + script + "' '" + plistPath() + "'");
    }

    /// A client's store with every kind of value that this model writes.
    void makeStore() {
        start();
        MOXSubscribeKeywords keywords = keywordsFor("W\u00f6rd & <Co>", apps + "/Store \U0001F600");
        keywords.andOptionalInfo =
            MOXOptionalInfo{{"Icon Image", Image{.size = {1, 1},
                                                 .representations = {{.pixelsWide = 1,
                                                                      .pixelsHigh = 1,
                                                                      .size = {1, 1},
                                                                      .pixels = {9, 8, 7, 255},
                                                                      .png = nullptr}}}},
                            {"Publisher Name", "Pub"},
                            {"Description", "two\r\nlines\tand a tab"}};
        EXPECT_TRUE(manager->subscribeToResource("Farm:Word", keywords));
        end();
    }

    static constexpr const char* checkValues = R"(
import plistlib, sys
tree = plistlib.load(open(sys.argv[1], 'rb'))
node = tree
for name in ['/', 'Users', 'user', 'Applications', 'Store \U0001F600']:
    assert set(node) == {'Folders', 'Subscriptions'}, node
    node = node['Folders'][name]
entry = node['Subscriptions']['W\u00f6rd & <Co>']
assert entry['cloneName'] == 'W\u00f6rd & <Co>'
assert entry['Korvan Server Unique Application Name'] == 'Farm:Word'
assert entry['Korvan Application Type'] == 'Application'
assert entry['Norvik Type'] == 'advanced' and entry['Norvik Auth Type'] == 'rsa'
assert entry['SchemaVersion'] == 1 and type(entry['SchemaVersion']) is int
assert entry['Tavamor Name'] == 'Pub#Word'
assert entry['Korvan Description'] == 'two\r\nlines\tand a tab'
assert entry['Internal Store URL'] == 'https://store.example/internal'
assert 'External Store URL' not in entry
icon = plistlib.loads(entry['Icon'])
assert icon['$archiver'] == 'NSKeyedArchiver'
)";
};

TEST_F(OtherProgramsInTheDictionaryModel, Python_reads_the_saved_values) {
    makeStore();
    const Run result = python(checkValues);
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(OtherProgramsInTheDictionaryModel, Python_reads_the_binary_form_too) {
    makeStore();
    EXPECT_TRUE(start()->createFolderAtPath("control\x01"));
    end();
    ASSERT_TRUE(bytesOfFile(plistPath()).starts_with("bplist00"));
    const Run result = python(checkValues + std::string("assert 'control\\x01' in tree['Folders']\n"));
    EXPECT_EQ(result.status, 0) << result.output;
}

TEST_F(OtherProgramsInTheDictionaryModel, Plistutil_converts_the_file_to_one_with_the_same_values) {
    makeStore();
    for (const char* form : {"bin", "xml"}) {
        const std::string converted = homePath("converted");
        const Run conversion =
            run("plistutil -f " + std::string(form) + " -i '" + plistPath() + "' -o '" + converted + "'");
        ASSERT_EQ(conversion.status, 0) << conversion.output;
        const Dictionary ours = treeOnDisk();
        putFile(bytesOfFile(converted));
        EXPECT_EQ(treeOnDisk(), ours);
        start();
        EXPECT_EQ(manager->subscriptionPaths(), Paths{apps + "/Store \U0001F600/W\u00f6rd & <Co>"});
        EXPECT_TRUE(manager->createFolderAtPath(""));
        EXPECT_EQ(treeOnDisk(), ours);
    }
}

TEST_F(OtherProgramsInTheDictionaryModel, Files_that_Python_writes_load_and_keep_what_is_not_known) {
    makeFolders(supportFolder());
    for (const std::string form : {"FMT_XML", "FMT_BINARY"}) {
        const std::string program = R"(
import datetime, plistlib, sys
other = {'text': 'x', 'number': 2**40, 'real': 1.5, 'flag': True, 'list': [1, 'b', b'\x00\xff'],
         'when': datetime.datetime(2020, 2, 3, 4, 5, 6)}
entry = {'Korvan Server Unique Application Name': 'Farm:Word', 'Store Name': 'Store', 'Other': other}
tree = {'Other': other,
        'Subscriptions': {},
        'Folders': {'Top': {'Folders': {}, 'Subscriptions': {'Word': entry}, 'Other': other}}}
)";
        const Run writing =
            python(program + "plistlib.dump(tree, open(sys.argv[1], 'wb'), fmt=plistlib." + form + ")\n");
        ASSERT_EQ(writing.status, 0) << writing.output;
        start();
        EXPECT_EQ(manager->subscriptionPaths(), Paths{"Top/Word"});
        EXPECT_EQ(manager->subscriptionAtPath("Top/Word")->resourceName(), "Farm:Word");
        EXPECT_TRUE(manager->createFolderAtPath("New"));
        EXPECT_TRUE(manager->moveSubscriptionFrom("Top/Word", "New/Word"));
        const Run reading = python(program + R"(
tree['Folders']['New'] = {'Folders': {}, 'Subscriptions': tree['Folders']['Top']['Subscriptions']}
tree['Folders']['Top']['Subscriptions'] = {}
assert plistlib.load(open(sys.argv[1], 'rb')) == tree
)");
        EXPECT_EQ(reading.status, 0) << reading.output;
        EXPECT_TRUE(bytesOfFile(plistPath()).starts_with("<?xml")) << "a save is XML whatever was loaded";
    }
}

} // namespace
} // namespace mox::test
