// Decimal text of 64-bit integers for the serializer: the bytes of printf's
// "%ld" / "%lu", written two digits at a time. Private to the JSON units.
#pragma once

#include <cstddef>
#include <cstring>

#include <glib.h>

namespace kel {

// Room for the longest result: a sign and 20 digits (no NUL is written).
constexpr std::size_t kMaxDecimalChars = 21;

namespace decimal_detail {

constexpr char kPairs[201] =
    "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
    "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
    "8081828384858687888990919293949596979899";

// Writes the digits of `v` backwards, ending just before `end`, two at a
// time; returns where they begin.
template <typename U>
inline char *put_digits(char *end, U v) noexcept
{
    char *p = end;
    while (v >= 100) {
        const auto pair = static_cast<unsigned>(v % 100) * 2;
        v /= 100;
        p -= 2;
        std::memcpy(p, kPairs + pair, 2);
    }
    if (v >= 10) {
        p -= 2;
        std::memcpy(p, kPairs + v * 2, 2);
    } else {
        *--p = static_cast<char>('0' + v);
    }
    return p;
}

}  // namespace decimal_detail

// Writes the text of `v` so that it ends just before `end` (at least
// kMaxDecimalChars bytes after the buffer's start); returns where it begins.
inline char *format_decimal(char *end, guint64 v) noexcept
{
    // Most integers fit 32 bits, whose divisions are cheaper.
    if (v <= G_MAXUINT32)
        return decimal_detail::put_digits(end, static_cast<guint32>(v));
    return decimal_detail::put_digits(end, v);
}

// As above with a minus sign for negative `v` (the magnitude of G_MININT64
// is taken in unsigned arithmetic, where it is exact).
inline char *format_decimal(char *end, gint64 v) noexcept
{
    if (v >= 0)
        return format_decimal(end, static_cast<guint64>(v));
    char *p = format_decimal(end, 0 - static_cast<guint64>(v));
    *--p = '-';
    return p;
}

}  // namespace kel
