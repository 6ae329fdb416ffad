#include "Formats/Base64.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>

namespace mox {
namespace {

struct NamedLoops {
    const char* name;
    const Base64Loops* loops;
};

/// Runs once with the loops that every processor has, and once with the wide ones.
class Base64 : public testing::TestWithParam<NamedLoops> {
protected:
    void SetUp() override {
        if (GetParam().loops == nullptr) GTEST_SKIP() << "this processor has no such loops";
    }

    const Base64Loops& loops() const { return *GetParam().loops; }

    std::string encoded(ByteView bytes) const {
        std::string text = "before ";
        appendBase64(text, bytes, loops());
        return text.substr(7);
    }
};

INSTANTIATE_TEST_SUITE_P(Loops, Base64,
                         testing::Values(NamedLoops{"portable", &portableBase64Loops()},
                                         NamedLoops{"wide", wideBase64Loops()}),
                         [](const auto& information) { return information.param.name; });

Bytes randomBytes(std::mt19937& random, std::size_t size) {
    Bytes bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random() & 0xFF);
    return bytes;
}

/// A copy in memory of its own that ends where the text does, so that a sanitizer sees a read behind it.
class ExactCopy {
public:
    explicit ExactCopy(std::string_view text) : _size(text.size()), _characters(new char[text.size()]) {
        text.copy(_characters.get(), text.size());
    }

    std::string_view view() const { return {_characters.get(), _size}; }

private:
    std::size_t _size;
    std::unique_ptr<char[]> _characters;
};

/// Encodes bit by bit.
std::string slowlyEncoded(ByteView bytes) {
    std::string text;
    for (std::size_t bit = 0; bit < bytes.size() * 8; bit += 6) {
        std::size_t value = 0;
        for (std::size_t next = bit; next < bit + 6; ++next) {
            const std::size_t byte = next / 8;
            const bool isSet = byte < bytes.size() && (bytes[byte] >> (7 - next % 8) & 1) != 0;
            value = value << 1 | (isSet ? 1U : 0U);
        }
        text.push_back("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[value]);
    }
    text.resize((text.size() + 3) / 4 * 4, '=');
    return text;
}

TEST_P(Base64, The_vectors_of_RFC_4648_hold) {
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
    EXPECT_EQ(encoded("\xFB\xFF\xFE"), "+//+");
}

TEST_P(Base64, Bytes_of_every_length_are_encoded_bit_for_bit_and_decoded_to_themselves) {
    std::mt19937 random(4648);
    for (std::size_t size = 0; size <= 300; ++size) {
        for (int round = 0; round < 4; ++round) {
            const ExactCopy bytes(randomBytes(random, size));
            const std::string text = encoded(bytes.view());
            ASSERT_EQ(text, slowlyEncoded(bytes.view()));
            const ExactCopy copy(text);
            EXPECT_TRUE(isCanonicalBase64(copy.view(), loops())) << text;
            EXPECT_EQ(bytesFromPlainBase64(copy.view(), loops()), bytes.view()) << text;
        }
    }
}

TEST_P(Base64, Every_pair_of_digits_is_encoded_and_decoded_at_every_place_of_a_block) {
    // A block is eight groups; both halves of the one at the place are the pair.
    constexpr std::size_t blockSize = 24;
    for (unsigned place = 0; place < 8; ++place) {
        Bytes bytes(blockSize * 4096, '\x5A');
        for (unsigned pair = 0; pair < 4096; ++pair) {
            bytes[blockSize * pair + 3 * place] = static_cast<char>(pair >> 4);
            bytes[blockSize * pair + 3 * place + 1] = static_cast<char>((pair << 4 | pair >> 8) & 0xFF);
            bytes[blockSize * pair + 3 * place + 2] = static_cast<char>(pair & 0xFF);
        }
        const std::string text = encoded(bytes);
        ASSERT_EQ(text, slowlyEncoded(bytes));
        EXPECT_EQ(bytesFromPlainBase64(text, loops()), bytes);
    }
}

TEST_P(Base64, A_character_outside_the_alphabet_is_found_wherever_it_stands) {
    std::mt19937 random(256);
    const std::string digits("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    for (const std::size_t size : {3U, 24U, 48U, 75U}) {
        const Bytes bytes = randomBytes(random, size);
        const std::string text = encoded(bytes);
        for (std::size_t place = 0; place < text.size(); ++place) {
            for (int code = 0; code < 256; ++code) {
                std::string changed = text;
                changed[place] = static_cast<char>(code);
                const bool isDigit = digits.find(changed[place]) != std::string::npos;
                // At the end of the last group "=" is padding, for which the digit before may have bits too
                // many.
                if (changed[place] == '=' && place + 1 == text.size()) continue;
                const ExactCopy copy(changed);
                ASSERT_EQ(isCanonicalBase64(copy.view(), loops()), isDigit) << changed;
                ASSERT_EQ(bytesFromPlainBase64(copy.view(), loops()).has_value(), isDigit) << changed;
                ASSERT_EQ(loops().countDigits(copy.view()), isDigit ? text.size() : place) << changed;
            }
        }
    }
}

TEST_P(Base64, Text_is_canonical_when_encoding_its_bytes_gives_it_again) {
    std::mt19937 random(76);
    std::size_t canonical = 0;
    std::size_t others = 0;
    for (int round = 0; round < 100'000; ++round) {
        std::string text = slowlyEncoded(randomBytes(random, random() % 120));
        // Half of the texts are damaged near the end, where the rules for padding are.
        for (std::size_t change = random() % 4; change > 1 && !text.empty(); --change) {
            const std::size_t place = text.size() - 1 - random() % std::min<std::size_t>(text.size(), 6);
            switch (random() % 4) {
            case 0:
                text.erase(place, 1);
                break;
            case 1:
                text.insert(place, 1, "=A \n"[random() % 4]);
                break;
            case 2:
                text[place] = '=';
                break;
            default:
                text[place] = "ABCgw/+="[random() % 8];
            }
        }
        const std::optional<Bytes> bytes = bytesFromPlainBase64(text, loops());
        const bool expected = bytes && slowlyEncoded(*bytes) == text;
        (expected ? canonical : others) += 1;
        const ExactCopy copy(text);
        ASSERT_EQ(isCanonicalBase64(copy.view(), loops()), expected) << text;
        ASSERT_EQ(bytesFromPlainBase64(text, portableBase64Loops()), bytes) << text;
    }
    EXPECT_GT(canonical, 10'000U);
    EXPECT_GT(others, 10'000U);
}

TEST_P(Base64, Padding_and_unused_bits_are_judged_as_the_encoder_writes_them) {
    for (const char* text : {"", "Zg==", "Zm8=", "Zm9v", "AA==", "AAA=", "////"})
        EXPECT_TRUE(isCanonicalBase64(text, loops())) << text;
    for (const char* text : {"Z", "Zg", "Zg=", "Zh==", "Zm9=", "Zg==Zg==", "Zg== ", "Z===", "====", "=",
                             "==", "Zm9v\n", "\tZm9v", "Zm 9v", "Zm9v=", "Zm9-", "Zm9_", "Z=8="})
        EXPECT_FALSE(isCanonicalBase64(text, loops())) << text;
    EXPECT_EQ(bytesFromPlainBase64("Zh==", loops()), "f");
    EXPECT_EQ(bytesFromPlainBase64("Zm9=", loops()), "fo");
    for (const char* text : {"Z", "Zg", "Zg=", "Zg==Zg==", "Z===", "====", "Z=8=", "Zm 9v"})
        EXPECT_EQ(bytesFromPlainBase64(text, loops()), std::nullopt) << text;
}

TEST_P(Base64, Bytes_survive_in_whatever_pieces_their_text_arrives) {
    std::mt19937 random(64);
    Base64Decoder decoder(loops());
    for (std::size_t size = 0; size < 300; ++size) {
        const Bytes bytes = randomBytes(random, size);
        const std::string text = encoded(bytes);
        const std::size_t longest = size % 2 == 0 ? 9 : 90;
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view piece = rest.substr(0, 1 + random() % longest);
            decoder.append(piece);
            decoder.append("\n\t");
            rest.remove_prefix(piece.size());
        }
        EXPECT_EQ(decoder.take(), bytes);
    }
}

TEST_P(Base64, Any_text_is_decoded_to_the_bytes_of_its_digits) {
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        // Mostly digits, with groups ended here and there and things that do not count.
        std::string text;
        for (std::size_t size = random() % 300; text.size() < size;) {
            text += slowlyEncoded(randomBytes(random, random() % 60));
            text.append(random() % 3, "=\n-\x80"[random() % 4]);
        }
        Base64Decoder decoder(loops());
        Base64Decoder portable(portableBase64Loops());
        Base64Decoder single(portableBase64Loops());
        const ExactCopy copy(text);
        decoder.append(copy.view());
        portable.append(text);
        for (const char character : text)
            single.append({&character, 1});
        const Bytes bytes = decoder.take();
        ASSERT_EQ(bytes, portable.take()) << text;
        ASSERT_EQ(bytes, single.take()) << text;
    }
}

TEST_P(Base64, Padding_ends_a_group_wherever_it_stands_and_takes_no_quadratic_time) {
    constexpr std::size_t count = 300'000;
    std::string text(count, '=');
    for (std::size_t group = 0; group < count; ++group)
        text += "Zg==Zm8=";
    const auto start = std::chrono::steady_clock::now();
    Base64Decoder decoder(loops());
    decoder.append("Zm9vYg");
    decoder.append(text);
    const Bytes bytes = decoder.take();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    ASSERT_EQ(bytes.size(), 4 + 3 * count);
    EXPECT_EQ(bytes.substr(0, 10), "foobffoffo");
    EXPECT_EQ(bytes.substr(bytes.size() - 3), "ffo");
}

} // namespace
} // namespace mox
