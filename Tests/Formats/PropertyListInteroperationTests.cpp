// Other implementations read what we write and write what we read. They are needed: without them these tests
// fail, since a test that is left out proves nothing.

#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Support/ScratchFolder.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

namespace mox {
namespace {

using test::bytesOfFile;
using test::ScratchFolder;

/// A tree of everything that the others know too: one of them has no dates before 1970 and no infinities.
PropertyList sharedTree() {
    PropertyList::Dictionary inner;
    inner.set("Folders", PropertyList::Dictionary());
    inner.set("List", PropertyList::Array());
    PropertyList::Dictionary tree;
    tree.set("a & <b>", "x > y & z\r\né\U0001F600 \"'");
    tree.set("empty", "");
    tree.set("data", PropertyList::Data(Bytes("\0\x01\xFE\xFF", 4) + Bytes(200, 'x')));
    tree.set("no data", PropertyList::Data(""));
    tree.set("inner", inner);
    tree.set("values", PropertyList::Array{
                           PropertyList::boolean(true), PropertyList::boolean(false),
                           PropertyList::integer(0), PropertyList::integer(-5), PropertyList::integer(70'000),
                           PropertyList::integer(5'000'000'000), PropertyList::real(1.5),
                           PropertyList::real(0), PropertyList::Date{86'400}, "same", "same"});
    return tree;
}

/// Runs `command`; whether it ended with status 0.
bool succeeds(const std::string& command) {
    return std::system(command.c_str()) == 0;
}

std::string quoted(const std::string& path) {
    return "'" + path + "'";
}

/// The Python program that compares what Python reads with the same tree in its own words.
constexpr std::string_view comparison = R"(
import datetime, plistlib, sys
with open(sys.argv[1], 'rb') as file:
    value = plistlib.load(file)
expected = {
    'a & <b>': 'x > y & z\r\n\u00e9\U0001F600 "\'',
    'empty': '',
    'data': b'\x00\x01\xfe\xff' + b'x' * 200,
    'no data': b'',
    'inner': {'Folders': {}, 'List': []},
    'values': [True, False, 0, -5, 70000, 5000000000, 1.5, 0.0, datetime.datetime(2001, 1, 2), 'same', 'same'],
}
def types(tree):
    if isinstance(tree, dict):
        return {key: types(child) for key, child in tree.items()}
    return [types(child) for child in tree] if isinstance(tree, list) else type(tree)
if value != expected or types(value) != types(expected):
    sys.exit('differs: %r' % value)
)";

/// The Python program that writes the file of its first argument anew, in the form of its third.
constexpr std::string_view conversion = R"(
import plistlib, sys
with open(sys.argv[1], 'rb') as file:
    value = plistlib.load(file)
with open(sys.argv[2], 'wb') as file:
    plistlib.dump(value, file, fmt=getattr(plistlib, sys.argv[3]))
)";

TEST(PropertyListInteroperation, Python_reads_the_values_that_we_write) {
    const ScratchFolder folder;
    const std::string program = folder.write("compare.py", comparison);
    const std::string xml = folder.write("tree.xml", xmlFromPropertyList(sharedTree()).value());
    const std::string binary = folder.write("tree.bin", binaryFromPropertyList(sharedTree()).value());
    EXPECT_TRUE(succeeds("python3 " + quoted(program) + " " + quoted(xml)));
    EXPECT_TRUE(succeeds("python3 " + quoted(program) + " " + quoted(binary)));
}

TEST(PropertyListInteroperation, What_Python_makes_of_our_files_reads_back_as_the_same) {
    const ScratchFolder folder;
    const std::string program = folder.write("convert.py", conversion);
    const std::string output = folder.path("output");
    for (const PropertyList& tree : {sharedTree(), test::everyKind()}) {
        const std::string inputs[] = {folder.write("tree.xml", xmlFromPropertyList(tree).value()),
                                      folder.write("tree.bin", binaryFromPropertyList(tree).value())};
        for (const std::string& input : inputs) {
            ASSERT_TRUE(succeeds("python3 " + quoted(program) + " " + quoted(input) + " " + quoted(output) +
                                 " FMT_BINARY"));
            EXPECT_EQ(propertyListFromBytes(bytesOfFile(output)), tree) << input;
        }
    }
}

TEST(PropertyListInteroperation, What_Python_writes_in_XML_is_read) {
    const ScratchFolder folder;
    PropertyList::Dictionary tree = *sharedTree().dictionary();
    // Python writes a carriage return bare, which a reader of XML turns into a line feed.
    tree.set("a & <b>", "x > y & z\né\U0001F600 \"'");
    const std::string program = folder.write("convert.py", conversion);
    const std::string input = folder.write("tree.bin", binaryFromPropertyList(tree).value());
    const std::string output = folder.path("output");
    ASSERT_TRUE(
        succeeds("python3 " + quoted(program) + " " + quoted(input) + " " + quoted(output) + " FMT_XML"));
    EXPECT_EQ(propertyListFromBytes(bytesOfFile(output)), PropertyList(tree));
}

TEST(PropertyListInteroperation, What_plistutil_makes_of_our_files_reads_back_as_the_same) {
    const ScratchFolder folder;
    const std::string output = folder.path("output");
    PropertyList::Dictionary tree = *sharedTree().dictionary();
    // Its XML, too, has bare carriage returns.
    tree.set("a & <b>", "x > y & z\né\U0001F600 \"'");
    const std::string inputs[] = {folder.write("tree.xml", xmlFromPropertyList(tree).value()),
                                  folder.write("tree.bin", binaryFromPropertyList(tree).value())};
    for (const std::string& input : inputs) {
        for (const char* form : {"xml", "bin"}) {
            ASSERT_TRUE(succeeds("plistutil -i " + quoted(input) + " -o " + quoted(output) + " -f " + form));
            EXPECT_EQ(propertyListFromBytes(bytesOfFile(output)), PropertyList(tree)) << input << " " << form;
        }
    }
}

} // namespace
} // namespace mox
