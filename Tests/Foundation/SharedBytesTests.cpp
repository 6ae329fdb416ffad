#include "Foundation/BytesBuffer.hpp"
#include "Foundation/SharedBytes.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>

namespace mox {
namespace {

TEST(SharedBytes, A_part_keeps_the_whole_in_memory) {
    auto owner = std::make_shared<const Bytes>("some bytes that are shared");
    const std::weak_ptr<const Bytes> watched = owner;
    SharedBytes part;
    {
        const SharedBytes whole(*owner, owner);
        part = whole.part(whole.view().substr(5, 5));
    }
    owner.reset();
    EXPECT_EQ(part.view(), "bytes");
    EXPECT_EQ(part.whole(), "some bytes that are shared");
    part = SharedBytes();
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(part.view(), "");
    EXPECT_EQ(part.whole(), "");
}

TEST(SharedBytes, A_copy_outlives_its_original) {
    std::optional<SharedBytes> original(Bytes(100, 'x'));
    const SharedBytes copy = *original;
    original.reset();
    EXPECT_EQ(copy.view(), Bytes(100, 'x'));
}

TEST(BytesBuffer, Bytes_are_appended_cut_and_given_away) {
    BytesBuffer buffer;
    EXPECT_EQ(buffer.take().view(), "");
    Bytes expected;
    for (int count = 0; count < 1000; ++count) {
        buffer.append("some ");
        buffer.append(3, '\t');
        expected += "some \t\t\t";
    }
    *buffer.room(1) = '.';
    EXPECT_EQ(buffer.view(), expected);
    buffer.extend(1);
    EXPECT_EQ(buffer.view(), expected + ".");
    buffer.truncate(7);
    EXPECT_EQ(buffer.size(), 7U);
    const SharedBytes given = buffer.take();
    EXPECT_EQ(given.view(), "some \t\t");
    EXPECT_EQ(buffer.view(), "");
    buffer.append("anew");
    EXPECT_EQ(buffer.view(), "anew");
    EXPECT_EQ(given.view(), "some \t\t");
}

TEST(BytesBuffer, It_is_made_as_long_as_is_asked_for) {
    BytesBuffer buffer;
    buffer.resize(3)[2] = 'c';
    char* const bytes = buffer.resize(100'000);
    EXPECT_EQ(bytes[2], 'c');
    bytes[0] = 'a';
    bytes[1] = 'b';
    buffer.resize(3);
    EXPECT_EQ(buffer.take().view(), "abc");
}

TEST(BytesBuffer, Many_megabytes_are_made_at_once) {
    BytesBuffer buffer;
    constexpr std::size_t size = 33'333'333;
    char* const bytes = buffer.resize(size);
    std::fill_n(bytes, size, 'x');
    bytes[size - 1] = 'y';
    EXPECT_EQ(buffer.resize(size - 1), bytes);
    EXPECT_EQ(buffer.take().view(), std::string(size - 1, 'x'));
}

TEST(BytesBuffer, Many_megabytes_stay_what_they_are_while_more_come_and_when_they_are_given_away) {
    BytesBuffer buffer;
    const std::string part(1'000'003, 'x');
    constexpr std::size_t parts = 40;
    for (std::size_t index = 0; index < parts; ++index) {
        buffer.append(part);
        buffer.append(1, static_cast<char>('0' + index));
    }
    const SharedBytes given = buffer.take();
    ASSERT_EQ(given.view().size(), parts * (part.size() + 1));
    for (std::size_t index = 0; index < parts; ++index) {
        const ByteView bytes = given.view().substr(index * (part.size() + 1), part.size() + 1);
        EXPECT_TRUE(bytes.starts_with(part));
        EXPECT_EQ(bytes.back(), static_cast<char>('0' + index));
    }
}

TEST(BytesBuffer, Expected_bytes_are_not_moved_while_they_come) {
    BytesBuffer buffer;
    buffer.append("abc");
    constexpr std::size_t size = 33'333'333;
    buffer.expect(size);
    const char* const bytes = buffer.view().data();
    EXPECT_EQ(buffer.view(), "abc");
    while (buffer.size() < size)
        buffer.append(std::min<std::size_t>(100'000, size - buffer.size()), 'x');
    EXPECT_EQ(buffer.view().data(), bytes);
    EXPECT_EQ(buffer.take().view(), "abc" + std::string(size - 3, 'x'));
}

TEST(BytesBuffer, More_bytes_may_come_than_were_expected_and_fewer) {
    BytesBuffer buffer;
    buffer.append("abc");
    buffer.expect(10);
    buffer.append(100'000, 'x');
    buffer.expect(1'000'000);
    buffer.expect(5);
    EXPECT_EQ(buffer.take().view(), "abc" + std::string(100'000, 'x'));
}

TEST(BytesBuffer, More_bytes_may_be_expected_than_there_is_memory_for) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizers end the program instead of refusing so much memory";
#endif
    BytesBuffer buffer;
    buffer.append("abc");
    buffer.expect(std::numeric_limits<std::size_t>::max() / 2);
    buffer.append("def");
    EXPECT_EQ(buffer.take().view(), "abcdef");
}

} // namespace
} // namespace mox
