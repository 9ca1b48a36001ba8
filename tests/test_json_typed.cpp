// Typed access: the exact-representability predicates at their boundaries
// (2^53, 2^63, 2^64, -0.0, NaN, infinities) and the typed object lookups.
#include <cmath>
#include <limits>
#include <string>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;
constexpr gint64 kTwo53 = G_GINT64_CONSTANT(9007199254740992);

using Predicate = gboolean (*)(const KelJson *, gboolean);

// Answers of the four predicates (with convert) for one value.
struct Fits {
    bool i64, u64, u128, dbl;
};

void expect_fits(KelJson *value, Fits want, const std::string &what)
{
    EXPECT_EQ(kel_json_is_i64_ext(value, TRUE), want.i64) << what;
    EXPECT_EQ(kel_json_is_u64_ext(value, TRUE), want.u64) << what;
    EXPECT_EQ(kel_json_is_u128_ext(value, TRUE), want.u128) << what;
    EXPECT_EQ(kel_json_is_double_ext(value, TRUE), want.dbl) << what;
    kel_json_unref(value);
}

TEST(JsonTyped, Int64Values)
{
    expect_fits(kel_json_i64_new_base(0), {true, true, true, true}, "0");
    expect_fits(kel_json_i64_new_base(-1), {true, false, false, true}, "-1");
    expect_fits(kel_json_i64_new_base(G_MININT64), {true, false, false, false}, "min");
    expect_fits(kel_json_i64_new_base(G_MAXINT64), {true, true, true, false}, "max");
    expect_fits(kel_json_i64_new_base(kTwo53), {true, true, true, true}, "2^53");
    expect_fits(kel_json_i64_new_base(kTwo53 + 1), {true, true, true, false}, "2^53+1");
    expect_fits(kel_json_i64_new_base(-kTwo53), {true, false, false, true}, "-2^53");
    expect_fits(kel_json_i64_new_base(-kTwo53 - 1), {true, false, false, false}, "-2^53-1");
}

TEST(JsonTyped, Uint64Values)
{
    expect_fits(kel_json_u64_new_base(G_MAXINT64), {true, true, true, false}, "2^63-1");
    expect_fits(kel_json_u64_new_base(9223372036854775808u), {false, true, true, false}, "2^63");
    expect_fits(kel_json_u64_new_base(G_MAXUINT64), {false, true, true, false}, "2^64-1");
    expect_fits(kel_json_u64_new_base(kTwo53), {true, true, true, true}, "2^53");
    expect_fits(kel_json_u64_new_base(kTwo53 + 1), {true, true, true, false}, "2^53+1");
}

TEST(JsonTyped, Uint128Values)
{
    expect_fits(kel_json_u128_new_base({G_MAXINT64, 0}), {true, true, true, false}, "2^63-1");
    expect_fits(kel_json_u128_new_base({9223372036854775808u, 0}), {false, true, true, false}, "2^63");
    expect_fits(kel_json_u128_new_base({G_MAXUINT64, 0}), {false, true, true, false}, "2^64-1");
    expect_fits(kel_json_u128_new_base({0, 1}), {false, false, true, false}, "2^64");
    expect_fits(kel_json_u128_new_base({5, 1}), {false, false, true, false}, "2^64+5");
    expect_fits(kel_json_u128_new_base({static_cast<guint64>(kTwo53), 0}), {true, true, true, true}, "2^53");
    expect_fits(kel_json_u128_new_base({static_cast<guint64>(kTwo53) + 1, 0}), {true, true, true, false},
                "2^53+1");
}

TEST(JsonTyped, DoubleValues)
{
    const struct {
        double d;
        Fits fits;
    } cases[] = {
        {0.0, {true, true, true, true}},
        {-0.0, {true, true, true, true}},
        {1.5, {false, false, false, true}},
        {-1.0, {true, false, false, true}},
        {-kTwo63, {true, false, false, true}},
        {kTwo63, {false, true, true, true}},
        {9223372036854774784.0, {true, true, true, true}},  // largest below 2^63
        {18446744073709549568.0, {false, true, true, true}},  // largest below 2^64
        {kTwo64, {false, false, false, true}},
        {1e20, {false, false, false, true}},
        {-9223372036854777856.0, {false, false, false, true}},  // next below -2^63
        {kNan, {false, false, false, true}},
        {kInf, {false, false, false, true}},
        {-kInf, {false, false, false, true}},
    };
    for (const auto &c : cases)
        expect_fits(kel_json_double_new_base(c.d), c.fits, std::to_string(c.d));
}

TEST(JsonTyped, WithoutConvertEachIsAKindTest)
{
    JsonRoot i(kel_json_i64_new_base(1)), u(kel_json_u64_new_base(1)),
        w(kel_json_u128_new_base({1, 0})), d(kel_json_double_new_base(1));
    EXPECT_TRUE(kel_json_is_i64_ext(i, FALSE));
    EXPECT_FALSE(kel_json_is_i64_ext(u, FALSE));
    EXPECT_TRUE(kel_json_is_u64_ext(u, FALSE));
    EXPECT_FALSE(kel_json_is_u64_ext(w, FALSE));
    EXPECT_TRUE(kel_json_is_u128_ext(w, FALSE));
    EXPECT_FALSE(kel_json_is_u128_ext(u, FALSE));
    EXPECT_TRUE(kel_json_is_double_ext(d, FALSE));
    EXPECT_FALSE(kel_json_is_double_ext(i, FALSE));

    // Non-numbers and null never fit, with or without convert.
    JsonRoot s(kel_json_str_new_base("1", nullptr)), t(kel_json_bool_new_base(TRUE)),
        n(kel_json_null_new_base());
    for (Predicate p : {kel_json_is_i64_ext, kel_json_is_u64_ext, kel_json_is_u128_ext,
                        kel_json_is_double_ext}) {
        for (gboolean convert : {gboolean{FALSE}, gboolean{TRUE}}) {
            EXPECT_FALSE(p(nullptr, convert));
            EXPECT_FALSE(p(s, convert));
            EXPECT_FALSE(p(t, convert));
            EXPECT_FALSE(p(n, convert));
        }
    }
}

// ---- Typed lookups -----------------------------------------------------------------

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
        kel_json_obj_put_double_base(root, "d2_64", kTwo64, nullptr);
        kel_json_obj_put_str_base(root, "s", "true", nullptr);
        kel_json_obj_put_bool_base(root, "yes", TRUE, nullptr);
        kel_json_obj_put_bool_base(root, "no", FALSE, nullptr);
    }
    JsonRoot root;
    ErrorSlot err;

    void expect_refused(const char *func, const char *key, const char *expected, const char *got)
    {
        EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                         std::string(func) + ": invalid JSON type for \"/" + key + "\": expected " +
                             expected + ", got " + got);
        err.clear();
    }
};

TEST_F(JsonTypedLookup, AcceptsAnyKindThatFits)
{
    EXPECT_EQ(kel_json_obj_get_double_base(root, "i5", &err), 5.0);
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "d3", &err), 3);
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "u7", &err), 7);
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "d3", &err), 3u);
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "u2_63", &err), 9223372036854775808u);
    const KelUint128 u = kel_json_obj_get_u128_base(root, "u7", &err);
    EXPECT_EQ(u.lo, 7u);
    EXPECT_EQ(u.hi, 0u);
    const KelUint128 w = kel_json_obj_get_u128_base(root, "wide", &err);
    EXPECT_EQ(w.lo, 3u);
    EXPECT_EQ(w.hi, 1u);
    EXPECT_TRUE(kel_json_obj_get_bool_base(root, "yes", &err));
    EXPECT_FALSE(kel_json_obj_get_bool_base(root, "no", &err));
    EXPECT_FALSE(err);
}

TEST_F(JsonTypedLookup, RefusalsNameTheStoredKind)
{
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "d3_5", &err), 0);
    expect_refused("kel_json_obj_get_i64_base", "d3_5", "int64", "double");
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "u2_63", &err), 0);
    expect_refused("kel_json_obj_get_i64_base", "u2_63", "int64", "uint64");
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "neg", &err), 0u);
    expect_refused("kel_json_obj_get_u64_base", "neg", "uint64", "int64");
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "wide", &err), 0u);
    expect_refused("kel_json_obj_get_u64_base", "wide", "uint64", "uint128");
    const KelUint128 z = kel_json_obj_get_u128_base(root, "d2_64", &err);
    EXPECT_EQ(z.lo, 0u);
    EXPECT_EQ(z.hi, 0u);
    expect_refused("kel_json_obj_get_u128_base", "d2_64", "uint128", "double");
    EXPECT_EQ(kel_json_obj_get_double_base(root, "u2_63", &err), 0.0);
    expect_refused("kel_json_obj_get_double_base", "u2_63", "double", "uint64");
    EXPECT_EQ(kel_json_obj_get_double_base(root, "s", &err), 0.0);
    expect_refused("kel_json_obj_get_double_base", "s", "double", "string");
    EXPECT_FALSE(kel_json_obj_get_bool_base(root, "s", &err));
    expect_refused("kel_json_obj_get_bool_base", "s", "bool", "string");
    EXPECT_FALSE(kel_json_obj_get_bool_base(root, "i5", &err));
    expect_refused("kel_json_obj_get_bool_base", "i5", "bool", "int64");
    // Without a slot the refusal shows only in the result.
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "d3_5", nullptr), 0);
}

TEST_F(JsonTypedLookup, LookupFailuresPassThrough)
{
    EXPECT_EQ(kel_json_obj_get_i64_base(root, "missing", &err), 0);
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key missing");
    EXPECT_EQ(err->next, nullptr);
    err.clear();
    EXPECT_FALSE(kel_json_obj_get_bool_base(nullptr, "k", &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_get_base: argument check failed: json");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_u64_base(root, nullptr, &err), 0u);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_get_base: argument check failed: key");
    err.clear();
    KelJson *s = kel_json_obj_get_base(root, "s", 0, nullptr);
    EXPECT_EQ(kel_json_obj_get_double_base(s, "k", &err), 0.0);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_base: invalid JSON type for \"/s\": expected object, got string");
}

TEST_F(JsonTypedLookup, ReferencesAreFollowed)
{
    kel_json_obj_put_jref_base(root, "to_i5", "#/i5", nullptr);
    kel_json_obj_put_jref_base(root, "to_yes", "/yes", nullptr);
    EXPECT_EQ(kel_json_obj_get_u64_base(root, "to_i5", &err), 5u);
    EXPECT_TRUE(kel_json_obj_get_bool_base(root, "to_yes", &err));
    EXPECT_FALSE(err);
    // The refusal names the value the reference led to.
    EXPECT_FALSE(kel_json_obj_get_bool_base(root, "to_i5", &err));
    expect_refused("kel_json_obj_get_bool_base", "i5", "bool", "int64");
}

}  // namespace
