#include "Formats/PropertyListReading.hpp"
#include "Formats/PropertyListSamples.hpp"
#include "Formats/PropertyListWriting.hpp"
#include "Formats/StringsFile.hpp"
#include "Support/FailingAllocations.hpp"

#include <gtest/gtest.h>

#include <new>

namespace mox::test {
namespace {

/// Lets each allocation of `operation` fail in turn. Each time it throws, or copes and has the result that it
/// has with memory: what is sound must not be taken for damaged. Leaks are the sanitizer's to report.
template<typename Operation>
void failEach(Operation operation) {
    const auto expected = operation();
    ASSERT_TRUE(expected.has_value());
    for (std::size_t number = 1;; ++number) {
        auto result = expected;
        bool hasFailed = false;
        {
            const FailingAllocation failing(number);
            try {
                result = operation();
            } catch (const std::bad_alloc&) {
            }
            hasFailed = failing.hasFailed();
        }
        EXPECT_TRUE(result == expected) << number;
        if (hasFailed) continue;
        EXPECT_GT(number, 2U);
        break;
    }
}

TEST(PropertyListAllocation, Every_form_is_read_whole_or_not_at_all) {
    for (const Bytes& file :
         {*xmlFromPropertyList(everyKind()), *binaryFromPropertyList(everyKind()),
          Bytes("{a = (b, <00ff>, \"a text that is too long for a string object\"); }")}) {
        failEach([&file] { return propertyListFromBytes(file); });
    }
}

TEST(PropertyListAllocation, Converted_encodings_are_read_whole_or_not_at_all) {
    const std::string root = "<plist><string>" + std::string(50'000, '\xE9') + "</string></plist>";
    const std::string document = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + root;
    failEach([&document] { return propertyListFromBytes(document); });
    Bytes wide = "\xFF\xFE";
    for (const char character : root)
        wide.append({character, '\0'});
    failEach([&wide] { return propertyListFromBytes(wide); });
}

TEST(PropertyListAllocation, A_strings_file_is_read_whole_or_not_at_all) {
    const Bytes file = "\"a\" = \"b\";\n\"a key that is too long for a string object\" = \"value\";\n";
    failEach([&file] { return stringsFromBytes(file); });
}

TEST(PropertyListAllocation, Every_form_is_written_whole_or_not_at_all) {
    const PropertyList value = everyKind();
    failEach([&value] { return xmlFromPropertyList(value); });
    failEach([&value] { return binaryFromPropertyList(value); });
    failEach([&value] { return storedFormOfPropertyList(value); });
}

} // namespace
} // namespace mox::test
