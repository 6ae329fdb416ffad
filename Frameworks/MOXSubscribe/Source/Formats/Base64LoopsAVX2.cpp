#include "Formats/Base64Loops.hpp"

#if defined(__x86_64__) || defined(__i386__)

#include <immintrin.h>

namespace mox {
namespace {

// The processor's loads and stores take any address, but only by a pointer to what they move.
// NOLINTBEGIN(cppcoreguidelines-pro-type-reinterpret-cast)

// Each function is compiled for AVX2 whatever the rest of the library is compiled for; none may run before
// the processor was asked.
[[gnu::target("avx2")]] __m256i load(const char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

/// The same 16 bytes in both halves: lookups work within a half.
[[gnu::target("avx2")]] __m256i table(__m128i half) {
    return _mm256_broadcastsi128_si256(half);
}

/// Twenty-four bytes, twelve in each half, as 32 digits. Reads four bytes more.
[[gnu::target("avx2")]] __m256i encoded(const char* bytes) {
    const __m256i input = _mm256_inserti128_si256(
        _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))),
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 12)), 1);
    // Each group a b c is laid out as b a c b, in which every digit lies within 16 bits. The multiplications
    // shift each of them into a byte of its own.
    const __m256i groups =
        _mm256_shuffle_epi8(input, table(_mm_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10)));
    const __m256i firstAndThird = _mm256_mulhi_epu16(_mm256_and_si256(groups, _mm256_set1_epi32(0x0FC0'FC00)),
                                                     _mm256_set1_epi32(0x0400'0040));
    const __m256i secondAndFourth = _mm256_mullo_epi16(
        _mm256_and_si256(groups, _mm256_set1_epi32(0x003F'03F0)), _mm256_set1_epi32(0x0100'0010));
    const __m256i values = _mm256_or_si256(firstAndThird, secondAndFourth);
    // The distance from value to character is looked up by a class: 0 for small letters, 1 to 10 for figures,
    // 11 and 12 for the signs, 13 for capitals.
    const __m256i isCapital = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
    const __m256i classes = _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                            _mm256_and_si256(isCapital, _mm256_set1_epi8(13)));
    constexpr char figure = '0' - 52;
    const __m256i distances =
        table(_mm_setr_epi8('a' - 26, figure, figure, figure, figure, figure, figure, figure, figure, figure,
                            figure, '+' - 62, '/' - 63, 'A', 0, 0));
    return _mm256_add_epi8(values, _mm256_shuffle_epi8(distances, classes));
}

/// Whether all 32 characters are digits: each half of a character names the sets of characters that it cannot
/// be part of, and a digit's halves have none in common.
[[gnu::target("avx2")]] bool areDigits(__m256i characters) {
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), _mm256_set1_epi8(0x0F));
    const __m256i low = _mm256_and_si256(characters, _mm256_set1_epi8(0x0F));
    const __m256i highSets =
        _mm256_shuffle_epi8(table(_mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                                                0x10, 0x10, 0x10, 0x10, 0x10, 0x10)),
                            high);
    const __m256i lowSets =
        _mm256_shuffle_epi8(table(_mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A)),
                            low);
    return _mm256_testz_si256(highSets, lowSets) != 0;
}

/// The bytes of 32 digits: 12 in front of each half.
[[gnu::target("avx2")]] __m256i decoded(__m256i characters) {
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(characters, 4), _mm256_set1_epi8(0x0F));
    // "/" shares its upper half with "+", and takes the place before it.
    const __m256i classes = _mm256_add_epi8(high, _mm256_cmpeq_epi8(characters, _mm256_set1_epi8('/')));
    const __m256i distances = table(_mm_setr_epi8(0, 63 - '/', 62 - '+', 52 - '0', -'A', -'A', 26 - 'a',
                                                  26 - 'a', 0, 0, 0, 0, 0, 0, 0, 0));
    const __m256i values = _mm256_add_epi8(characters, _mm256_shuffle_epi8(distances, classes));
    // Two digits make 12 bits, two of these 24.
    const __m256i pairs = _mm256_maddubs_epi16(values, _mm256_set1_epi32(0x0140'0140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x0001'1000));
    return _mm256_shuffle_epi8(groups,
                               table(_mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1)));
}

[[gnu::target("avx2")]] std::size_t encode(ByteView bytes, char* text) {
    std::size_t index = 0;
    for (; index + 28 <= bytes.size(); index += 24, text += 32)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(text), encoded(bytes.data() + index));
    return index + portableBase64Loops().encode(bytes.substr(index), text);
}

[[gnu::target("avx2")]] std::size_t decode(std::string_view text, char* bytes) {
    std::size_t index = 0;
    for (; index + 32 <= text.size(); index += 32, bytes += 24) {
        const __m256i characters = load(text.data() + index);
        if (!areDigits(characters)) break;
        // The two twelves moved together.
        const __m256i result =
            _mm256_permutevar8x32_epi32(decoded(characters), _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), _mm256_castsi256_si128(result));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + 16), _mm256_extracti128_si256(result, 1));
    }
    return index + portableBase64Loops().decode(text.substr(index), bytes);
}

[[gnu::target("avx2")]] std::size_t countDigits(std::string_view text) {
    std::size_t index = 0;
    while (index + 32 <= text.size() && areDigits(load(text.data() + index)))
        index += 32;
    return index + portableBase64Loops().countDigits(text.substr(index));
}

// NOLINTEND(cppcoreguidelines-pro-type-reinterpret-cast)

constexpr Base64Loops wide = {encode, decode, countDigits};

} // namespace

const Base64Loops* wideBase64Loops() {
    return __builtin_cpu_supports("avx2") ? &wide : nullptr;
}

} // namespace mox

#else

namespace mox {

const Base64Loops* wideBase64Loops() {
    return nullptr;
}

} // namespace mox

#endif
