// Typed access: the exact-representability predicates at their boundaries
// (2^53, 2^63, 2^64, -0.0, NaN, infinities) and the typed object lookups.
#include <limits>
#include <string>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

std::string take(ErrorSlot &err)
{
    KelError *top = err.err;
    if (top == nullptr)
        return "<no error>";
    std::string s = std::to_string(top->gerror->code) + " " + top->gerror->message;
    err.err = top->next;
    top->next = nullptr;
    kel_clear_error(&top);
    return s;
}

constexpr guint64 kTwo53 = G_GUINT64_CONSTANT(9007199254740992);

// Answers of the four predicates with convert: "i64 u64 u128 double" as 0/1.
std::string fits(KelJson *value)
{
    std::string s;
    for (auto p : {kel_json_is_i64_ext, kel_json_is_u64_ext, kel_json_is_u128_ext, kel_json_is_double_ext})
        s += p(value, TRUE) ? '1' : '0';
    kel_json_unref(value);
    return s;
}

TEST(JsonTyped, IntegerKindsAtTheirBoundaries)
{
    EXPECT_EQ(fits(kel_json_i64_new_base(0)), "1111");
    EXPECT_EQ(fits(kel_json_i64_new_base(-1)), "1001");
    EXPECT_EQ(fits(kel_json_i64_new_base(G_MININT64)), "1000");
    EXPECT_EQ(fits(kel_json_i64_new_base(G_MAXINT64)), "1110");
    EXPECT_EQ(fits(kel_json_i64_new_base(kTwo53)), "1111");
    EXPECT_EQ(fits(kel_json_i64_new_base(kTwo53 + 1)), "1110");
    EXPECT_EQ(fits(kel_json_i64_new_base(-static_cast<gint64>(kTwo53))), "1001");
    EXPECT_EQ(fits(kel_json_i64_new_base(-static_cast<gint64>(kTwo53) - 1)), "1000");

    EXPECT_EQ(fits(kel_json_u64_new_base(G_MAXINT64)), "1110");
    EXPECT_EQ(fits(kel_json_u64_new_base(9223372036854775808u)), "0110");
    EXPECT_EQ(fits(kel_json_u64_new_base(G_MAXUINT64)), "0110");
    EXPECT_EQ(fits(kel_json_u64_new_base(kTwo53)), "1111");
    EXPECT_EQ(fits(kel_json_u64_new_base(kTwo53 + 1)), "1110");

    EXPECT_EQ(fits(kel_json_u128_new_base({G_MAXINT64, 0})), "1110");
    EXPECT_EQ(fits(kel_json_u128_new_base({9223372036854775808u, 0})), "0110");
    EXPECT_EQ(fits(kel_json_u128_new_base({G_MAXUINT64, 0})), "0110");
    EXPECT_EQ(fits(kel_json_u128_new_base({0, 1})), "0010");
    EXPECT_EQ(fits(kel_json_u128_new_base({5, 1})), "0010");  // low half alone would fit
    EXPECT_EQ(fits(kel_json_u128_new_base({kTwo53, 0})), "1111");
    EXPECT_EQ(fits(kel_json_u128_new_base({kTwo53 + 1, 0})), "1110");
}

TEST(JsonTyped, DoublesAtTheirBoundaries)
{
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const struct {
        double d;
        const char *fits;
    } cases[] = {
        {0.0, "1111"},
        {-0.0, "1111"},
        {1.5, "0001"},
        {-1.0, "1001"},
        {-9223372036854775808.0, "1001"},
        {-9223372036854777856.0, "0001"},  // next below -2^63
        {9223372036854774784.0, "1111"},   // largest below 2^63
        {9223372036854775808.0, "0111"},
        {18446744073709549568.0, "0111"},  // largest below 2^64
        {18446744073709551616.0, "0001"},
        {1e20, "0001"},
        {std::numeric_limits<double>::quiet_NaN(), "0001"},
        {kInf, "0001"},
        {-kInf, "0001"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(fits(kel_json_double_new_base(c.d)), c.fits) << c.d;
}

TEST(JsonTyped, WithoutConvertEachIsAKindTest)
{
    const struct {
        KelJson *json;
        const char *kinds;
    } cases[] = {
        {kel_json_i64_new_base(1), "1000"},
        {kel_json_u64_new_base(1), "0100"},
        {kel_json_u128_new_base({1, 0}), "0010"},
        {kel_json_double_new_base(1), "0001"},
        {kel_json_str_new_base("1", nullptr), "0000"},
        {kel_json_bool_new_base(TRUE), "0000"},
        {kel_json_null_new_base(), "0000"},
    };
    for (const auto &c : cases) {
        std::string got;
        for (auto p : {kel_json_is_i64_ext, kel_json_is_u64_ext, kel_json_is_u128_ext, kel_json_is_double_ext}) {
            got += p(c.json, FALSE) ? '1' : '0';
            EXPECT_FALSE(p(nullptr, TRUE) || p(nullptr, FALSE));
        }
        EXPECT_EQ(got, c.kinds);
        if (!kel_json_is_num(c.json))
            EXPECT_EQ(fits(c.json), "0000");
        else
            kel_json_unref(c.json);
    }
}

class JsonTypedLookup : public ::testing::Test {
protected:
    JsonTypedLookup() : root(kel_json_obj_new_base(FALSE))
    {
        kel_json_obj_put_i64_base(root, "i5", 5, nullptr);
        kel_json_obj_put_i64_base(root, "neg", -1, nullptr);
        kel_json_obj_put_u64_base(root, "u7", 7, nullptr);
        kel_json_obj_put_u64_base(root, "u2_63", 9223372036854775808u, nullptr);
        kel_json_obj_put_u128_base(root, "wide", {3, 1}, nullptr);
        kel_json_obj_put_double_base(root, "d3", 3.0, nullptr);
        kel_json_obj_put_double_base(root, "d3_5", 3.5, nullptr);
        kel_json_obj_put_double_base(root, "d2_64", 18446744073709551616.0, nullptr);
        kel_json_obj_put_str_base(root, "s", "true", nullptr);
        kel_json_obj_put_bool_base(root, "yes", TRUE, nullptr);
        kel_json_obj_put_jref_base(root, "to_i5", "#/i5", nullptr);
    }
    JsonRoot root;
    ErrorSlot err;
};

TEST_F(JsonTypedLookup, AcceptsAnyKindThatFits)
{
    EXPECT_EQ(kel_json_obj_get_double_base(root, "i5", &err), 5.0);
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "d3", &err), 3);
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "u7", &err), 7);
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "u2_63", &err), 9223372036854775808u);
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "to_i5", &err), 5u);  // through the reference
    const KelUint128 u = kel_json_obj_get_u128_base(root, "u7", &err);
    EXPECT_EQ(u.lo, 7u);
    EXPECT_EQ(u.hi, 0u);
    EXPECT_EQ(kel_json_obj_get_u128_base(root, "wide", &err).hi, 1u);
    EXPECT_TRUE(kel_json_obj_get_bool_base(root, "yes", &err));
    EXPECT_FALSE(err);
}

TEST_F(JsonTypedLookup, RefusalsNameTheStoredKind)
{
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "d3_5", &err), 0);
    EXPECT_EQ(take(err), "-2 kel_json_obj_get_i64_base: invalid JSON type for \"/d3_5\": expected int64, got double");
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "u2_63", &err), 0);
    EXPECT_EQ(take(err), "-2 kel_json_obj_get_i64_base: invalid JSON type for \"/u2_63\": expected int64, got uint64");
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "neg", &err), 0u);
    EXPECT_EQ(take(err), "-2 kel_json_obj_get_u64_base: invalid JSON type for \"/neg\": expected uint64, got int64");
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "wide", &err), 0u);
    EXPECT_EQ(take(err), "-2 kel_json_obj_get_u64_base: invalid JSON type for \"/wide\": expected uint64, got uint128");
    const KelUint128 z = kel_json_obj_get_u128_base(root, "d2_64", &err);
    EXPECT_EQ(z.lo | z.hi, 0u);
    EXPECT_EQ(take(err),
              "-2 kel_json_obj_get_u128_base: invalid JSON type for \"/d2_64\": expected uint128, got double");
    EXPECT_EQ(kel_json_obj_get_double_base(root, "u2_63", &err), 0.0);
    EXPECT_EQ(take(err),
              "-2 kel_json_obj_get_double_base: invalid JSON type for \"/u2_63\": expected double, got uint64");
    EXPECT_FALSE(kel_json_obj_get_bool_base(root, "s", &err));
    EXPECT_EQ(take(err), "-2 kel_json_obj_get_bool_base: invalid JSON type for \"/s\": expected bool, got string");
    // A refusal behind a reference names the value it led to.
    EXPECT_FALSE(kel_json_obj_get_bool_base(root, "to_i5", &err));
    EXPECT_EQ(take(err), "-2 kel_json_obj_get_bool_base: invalid JSON type for \"/i5\": expected bool, got int64");
    EXPECT_FALSE(err);
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "d3_5", nullptr), 0);
}

TEST_F(JsonTypedLookup, LookupFailuresPassThrough)
{
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "missing", &err), 0);
    EXPECT_EQ(take(err), "-3 JSON object \"\" does not have key missing");
    EXPECT_FALSE(kel_json_obj_get_bool_base(nullptr, "k", &err));
    EXPECT_EQ(take(err), "-1 kel_json_obj_get_base: argument check failed: json");
    EXPECT_EQ(kel_json_obj_get_u64_base(root, nullptr, &err), 0u);
    EXPECT_EQ(take(err), "-1 kel_json_obj_get_base: argument check failed: key");
    KelJson *s = kel_json_obj_get_base(root, "s", 0, nullptr);
    EXPECT_EQ(kel_json_obj_get_double_base(s, "k", &err), 0.0);
    EXPECT_EQ(take(err), "-2 kel_json_obj_get_base: invalid JSON type for \"/s\": expected object, got string");
    EXPECT_FALSE(err);
}

}  // namespace
