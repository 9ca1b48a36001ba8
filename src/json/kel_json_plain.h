// Recognising text that a JSON string literal holds as it is. Private to the
// JSON units.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kel {

// True when one of the eight bytes of `w` is not plain ASCII that can be
// copied: a control byte, '"', '\\' or a byte with the top bit set. Each test
// is the classic "has a byte below n" word trick; false positives are
// impossible for the whole word, so the caller can trust a false answer.
constexpr bool word_needs_attention(std::uint64_t w) noexcept
{
    constexpr std::uint64_t ones = 0x0101010101010101ULL;
    constexpr std::uint64_t highs = 0x8080808080808080ULL;
    const std::uint64_t below_space = (w - ones * 0x20) & ~w;
    const std::uint64_t quote = w ^ (ones * '"');
    const std::uint64_t backslash = w ^ (ones * '\\');
    const std::uint64_t is_quote = (quote - ones) & ~quote;
    const std::uint64_t is_backslash = (backslash - ones) & ~backslash;
    return ((below_space | is_quote | is_backslash | w) & highs) != 0;
}

// The bytes that escaping copies unchanged, as a table.
struct PlainAsciiTable {
    bool plain[256];
};
constexpr PlainAsciiTable kPlainAscii = [] {
    PlainAsciiTable t{};
    for (int b = 0x20; b < 0x80; b++)
        t.plain[b] = b != '"' && b != '\\';
    return t;
}();

// True when the `n` bytes at `p` are all ASCII from 0x20 up, other than '"'
// and '\\': text that escaping copies unchanged.
inline bool is_plain_ascii(const char *p, std::size_t n) noexcept
{
    auto word_at = [](const char *at) {
        std::uint64_t w;
        std::memcpy(&w, at, sizeof w);
        return w;
    };
    if (n >= 8) {
        // Whole words, the last one overlapping its predecessor.
        const char *const last = p + n - 8;
        for (; p < last; p += 8) {
            if (word_needs_attention(word_at(p)))
                return false;
        }
        return !word_needs_attention(word_at(last));
    }
    for (; n > 0; p++, n--) {
        if (!kPlainAscii.plain[static_cast<unsigned char>(*p)])
            return false;
    }
    return true;
}

}  // namespace kel
