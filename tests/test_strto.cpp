// Strict number parsing: the whole text must convert, and refusals carry
// exact codes and messages.
#include <cerrno>
#include <cmath>

#include "test_util.h"

using kel_test::ErrorSlot;

namespace {

// Runs one failing conversion and checks the single error it pushed.
template <typename Convert>
void expect_failure(Convert convert, int code, const std::string &message)
{
    ErrorSlot slot;
    EXPECT_EQ(convert(&slot), 0);
    EXPECT_KEL_ERROR(slot, code, message);
    EXPECT_EQ(slot.domain(), kel_error_domain());
    EXPECT_EQ(slot->next, nullptr);
}

}  // namespace

TEST(Strto, IntegersAccepted)
{
    ErrorSlot slot;
    EXPECT_EQ(kel_strtoll("42", 10, &slot), 42);
    EXPECT_EQ(kel_strtoll("  42", 10, &slot), 42);
    EXPECT_EQ(kel_strtoll("-9223372036854775808", 10, &slot), G_MININT64);
    EXPECT_EQ(kel_strtoll("0x1F", 16, &slot), 31);
    EXPECT_EQ(kel_strtoll("017", 0, &slot), 15);
    EXPECT_EQ(kel_strtoll("", 10, &slot), 0);  // nothing to consume
    EXPECT_EQ(kel_strtoull("9223372036854775808", 10, &slot), 9223372036854775808ull);
    EXPECT_EQ(kel_strtoull("-1", 10, &slot), G_MAXUINT64);
    EXPECT_EQ(kel_strtoull("", 10, &slot), 0u);
    errno = ERANGE;  // a stale errno must not count
    EXPECT_EQ(kel_strtoll("5", 10, &slot), 5);
    EXPECT_FALSE(slot);
}

TEST(Strto, IntegersRefused)
{
    const int conv = KEL_ARG_CONVERSION;
    expect_failure([](KelError **e) { return kel_strtoll("42 ", 10, e); }, conv,
                   "Could not convert \"42 \" to int64_t");
    expect_failure([](KelError **e) { return kel_strtoll("0x1F", 10, e); }, conv,
                   "Could not convert \"0x1F\" to int64_t");
    expect_failure([](KelError **e) { return kel_strtoll("  ", 10, e); }, conv,
                   "Could not convert \"  \" to int64_t");
    expect_failure([](KelError **e) { return kel_strtoll("9223372036854775808", 10, e); }, conv,
                   "Could not convert \"9223372036854775808\" to int64_t; out of range");
    expect_failure([](KelError **e) { return kel_strtoull("7x", 10, e); }, conv,
                   "Could not convert \"7x\" to uint64_t");
    expect_failure([](KelError **e) { return kel_strtoull("18446744073709551616", 10, e); },
                   conv, "Could not convert \"18446744073709551616\" to uint64_t; out of range");
    expect_failure([](KelError **e) { return kel_strtoll("12", 1, e); }, KEL_RADIX_INVALID,
                   "Base value (1) is invalid for string conversion");
    expect_failure([](KelError **e) { return kel_strtoull("12", 37, e); }, KEL_RADIX_INVALID,
                   "Base value (37) is invalid for string conversion");
}

TEST(Strto, Doubles)
{
    ErrorSlot slot;
    EXPECT_DOUBLE_EQ(kel_strtod(" -2.5e3", &slot), -2500.0);
    EXPECT_DOUBLE_EQ(kel_strtod("0x1p4", &slot), 16.0);
    EXPECT_TRUE(std::isinf(kel_strtod("inf", &slot)));
    EXPECT_FALSE(slot);

    expect_failure([](KelError **e) { return kel_strtod("1e999", e); }, KEL_ARG_CONVERSION,
                   "Could not convert \"1e999\" to double; out of range");
    expect_failure([](KelError **e) { return kel_strtod("1.5x", e); }, KEL_ARG_CONVERSION,
                   "Could not convert \"1.5x\" to double");
    expect_failure([](KelError **e) { return kel_strtod("1,5", e); }, KEL_ARG_CONVERSION,
                   "Could not convert \"1,5\" to double");  // "." only, whatever the locale
}

TEST(Strto, ChainsAndNullSlots)
{
    ErrorSlot slot;
    kel_set_error(&slot, kel_error_domain(), KEL_IO_FAIL, "earlier");
    KelError *earlier = slot.err;
    kel_strtoll("x", 10, &slot);
    EXPECT_EQ(slot->next, earlier);  // pushed on top, nothing overwritten

    EXPECT_EQ(kel_strtoll("9223372036854775808", 10, nullptr), 0);
    EXPECT_EQ(kel_strtod("1e999", nullptr), 0.0);

    kel_test::LogCapture log;
    EXPECT_EQ(kel_strtoull(nullptr, 10, &slot), 0u);
    EXPECT_EQ(log.last(), "kel_strtoull: assertion 'str' failed");
    EXPECT_EQ(slot->next, earlier);  // a warning, not an error
}
