// Unsigned 128-bit arithmetic on two 64-bit halves (modulo 2^128), text
// conversion, and the packed 24- and 48-bit constructors. Only 64-bit
// operations are used so the results do not depend on compiler extensions.
#include <cstring>

#include "kel_internal.h"

namespace {

constexpr char kDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

constexpr KelUint128 kZero = {0, 0};
constexpr KelUint128 kOne = {1, 0};

constexpr bool is_zero(KelUint128 v) noexcept { return v.lo == 0 && v.hi == 0; }

constexpr KelUint128 bit_or(KelUint128 a, KelUint128 b) noexcept
{
    return {a.lo | b.lo, a.hi | b.hi};
}

constexpr KelUint128 from_u64(guint64 v) noexcept { return {v, 0}; }

// Value of a digit character in radix 36, or 36 when it is no digit at all.
constexpr unsigned digit_value(char c) noexcept
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned>(c - '0');
    if (c >= 'A' && c <= 'Z')
        return static_cast<unsigned>(c - 'A') + 10;
    if (c >= 'a' && c <= 'z')
        return static_cast<unsigned>(c - 'a') + 10;
    return 36;
}

// Width of the private work area: 128 binary digits plus the NUL.
constexpr std::size_t kWorkSize = 129;

}  // namespace

extern "C" {

KelUint128 kel_uint128_add(KelUint128 a, KelUint128 b)
{
    KelUint128 r;
    r.lo = a.lo + b.lo;
    r.hi = a.hi + b.hi + (r.lo < a.lo ? 1 : 0);
    return r;
}

KelUint128 kel_uint128_neg(KelUint128 a)
{
    // -a = ~a + 1: the +1 only carries into the high half when lo is zero.
    KelUint128 r;
    r.lo = 0 - a.lo;
    r.hi = a.lo != 0 ? ~a.hi : 0 - a.hi;
    return r;
}

KelUint128 kel_uint128_sub(KelUint128 a, KelUint128 b)
{
    return kel_uint128_add(a, kel_uint128_neg(b));
}

gboolean kel_uint128_lt(KelUint128 a, KelUint128 b)
{
    return a.hi != b.hi ? a.hi < b.hi : a.lo < b.lo;
}

gboolean kel_uint128_le(KelUint128 a, KelUint128 b)
{
    return a.hi != b.hi ? a.hi < b.hi : a.lo <= b.lo;
}

KelUint128 kel_uint128_lshift(KelUint128 a, guint64 n)
{
    if (n > 127)
        return kZero;
    if (n == 0)
        return a;
    if (n >= 64)
        return {0, a.lo << (n - 64)};
    return {a.lo << n, (a.hi << n) | (a.lo >> (64 - n))};
}

KelUint128 kel_uint128_rshift(KelUint128 a, guint64 n)
{
    if (n > 127)
        return kZero;
    if (n == 0)
        return a;
    if (n >= 64)
        return {a.hi >> (n - 64), 0};
    return {(a.lo >> n) | (a.hi << (64 - n)), a.hi >> n};
}

KelUint128 kel_uint128_mul(KelUint128 a, KelUint128 b)
{
    // Shift and add over the smaller factor's bits, so small multipliers
    // finish after a few rounds.
    const bool a_smaller = kel_uint128_lt(a, b);
    KelUint128 m = a_smaller ? a : b;
    const KelUint128 c = a_smaller ? b : a;
    KelUint128 result = kZero;
    for (guint64 i = 0; i < 128 && !is_zero(m); i++) {
        if (m.lo & 1)
            result = kel_uint128_add(result, kel_uint128_lshift(c, i));
        m = kel_uint128_rshift(m, 1);
    }
    return result;
}

gint32 kel_uint128_div(KelUint128 a, KelUint128 b, KelUint128 *quotient, KelUint128 *remainder)
{
    if (is_zero(b))
        return -1;
    // Align the divisor's top bit with the dividend's, then subtract back down.
    KelUint128 d = b;
    KelUint128 bit = kOne;
    while (kel_uint128_le(d, a) && (d.hi >> 63) == 0) {
        bit = kel_uint128_lshift(bit, 1);
        d = kel_uint128_lshift(d, 1);
    }
    KelUint128 q = kZero;
    KelUint128 r = a;
    while (!is_zero(bit)) {
        if (kel_uint128_le(d, r)) {
            r = kel_uint128_sub(r, d);
            q = bit_or(q, bit);
        }
        bit = kel_uint128_rshift(bit, 1);
        d = kel_uint128_rshift(d, 1);
    }
    // a and b are copies, so these may alias the caller's dividend.
    if (quotient != nullptr)
        *quotient = q;
    if (remainder != nullptr)
        *remainder = r;
    return 0;
}

gint32 kel_uint128_to_str(KelUint128 value, gint32 radix, char *buf, guint64 size)
{
    if (buf == nullptr || size == 0)
        return KEL_ARG_INVALID;
    if (radix < 2 || radix > 36)
        return KEL_RADIX_INVALID;

    // Digits are produced least significant first, so fill the work area
    // from its end and copy out the used tail.
    char work[kWorkSize];
    std::size_t start = kWorkSize - 1;
    work[start] = '\0';
    const KelUint128 divisor = from_u64(static_cast<guint64>(radix));
    do {
        KelUint128 digit;
        kel_uint128_div(value, divisor, &value, &digit);
        work[--start] = kDigits[digit.lo];
    } while (!is_zero(value));

    const std::size_t needed = kWorkSize - start;  // digits plus the NUL
    if (size < needed)
        return KEL_BUFFER_INSUFFICIENT;
    std::memcpy(buf, work + start, needed);
    return static_cast<gint32>(needed);
}

gint32 kel_uint128_from_str(const char *str, KelUint128 *out)
{
    if (str == nullptr || out == nullptr)
        return KEL_ARG_INVALID;
    if (*str == '\0')
        return KEL_ARG_CONVERSION;

    const char *p = str;
    while (*p == ' ' || *p == '\t')
        p++;
    const bool negative = *p == '-';
    if (negative)
        p++;

    unsigned radix = 10;
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) {
        radix = 16;
        p += 2;
    } else if (p[0] == '0') {
        radix = 8;
        p++;
    }

    // Without a single digit (e.g. "-", "0", "0x") the value is simply 0.
    const KelUint128 big_radix = from_u64(radix);
    KelUint128 value = kZero;
    for (; *p != '\0'; p++) {
        const unsigned digit = digit_value(*p);
        if (digit >= radix)
            break;
        value = kel_uint128_add(kel_uint128_mul(value, big_radix), from_u64(digit));
    }
    // Whatever was read so far is stored, also when a non-digit stopped us.
    *out = negative ? kel_uint128_neg(value) : value;
    return *p == '\0' ? KEL_SUCCESS : KEL_ARG_CONVERSION;
}

KelUint24 kel_uint24_init(guint32 v)
{
    KelUint24 r;
    for (unsigned i = 0; i < 3; i++)
        r.bytes[i] = static_cast<guint8>(v >> (8 * i));
    return r;
}

KelUint48 kel_uint48_init(guint64 v)
{
    KelUint48 r;
    for (unsigned i = 0; i < 6; i++)
        r.bytes[i] = static_cast<guint8>(v >> (8 * i));
    return r;
}

}  // extern "C"
