#include "Formats/SHA256.hpp"

#include <gtest/gtest.h>

#include <set>

namespace mox {
namespace {

TEST(SHA256, Gives_the_digests_that_the_standard_lists) {
    EXPECT_EQ(sha256Digits(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256Digits("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(sha256Digits("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(sha256Digits(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(SHA256, Tells_texts_of_every_length_around_the_ends_of_blocks_apart) {
    std::set<std::string> digests;
    for (std::size_t length = 0; length <= 200; ++length)
        EXPECT_TRUE(digests.insert(sha256Digits(std::string(length, '\0'))).second) << length;
}

} // namespace
} // namespace mox
