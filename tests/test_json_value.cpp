// JSON values: constructors, reference counting and release, deletion of deep
// trees, getters (including out-of-range doubles), names, parent accessors,
// the UTF-8 validator, and the refusal of parent-link cycles.
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::string utf8_error(const std::string &dump)
{
    return "kel_json_str_new_len_base: Character sequence is not valid UTF-8: " + dump;
}

bool valid(const std::string &bytes)
{
    return utf8_check_string(bytes.data(), bytes.size()) == 1;
}

// ---- Constructors ------------------------------------------------------------

TEST(JsonValue, NewNodesStartDetachedWithCountZero)
{
    KelJson *made[] = {
        kel_json_null_new_base(),
        kel_json_bool_new_base(TRUE),
        kel_json_bool_new_base(FALSE),
        kel_json_i64_new_base(-5),
        kel_json_u64_new_base(5),
        kel_json_u128_new_base(KelUint128{1, 2}),
        kel_json_double_new_base(0.5),
        kel_json_str_new_base("s", nullptr),
        kel_json_jref_new_base("#/a", nullptr),
        kel_json_obj_new_base(FALSE),
        kel_json_array_new_base(4, FALSE),
    };
    const KelJsonType kinds[] = {KEL_JSON_NULL,   KEL_JSON_TRUE,   KEL_JSON_FALSE, KEL_JSON_INT64,
                                 KEL_JSON_UINT64, KEL_JSON_UINT128, KEL_JSON_DOUBLE, KEL_JSON_STRING,
                                 KEL_JSON_JREF,   KEL_JSON_OBJECT, KEL_JSON_ARRAY};
    for (size_t i = 0; i < G_N_ELEMENTS(made); i++) {
        ASSERT_NE(made[i], nullptr);
        EXPECT_EQ(made[i]->type, kinds[i]);
        EXPECT_EQ(made[i]->flags, 0);
        EXPECT_EQ(made[i]->refcount, 0);
        EXPECT_EQ(made[i]->parent, nullptr);
        EXPECT_EQ(made[i]->key, nullptr);
        kel_json_unref(made[i]);
    }
}

TEST(JsonValue, ScalarPayloads)
{
    JsonRoot u128(kel_json_u128_new_base(KelUint128{7, 9}));
    EXPECT_EQ(u128->u128.lo, 7u);
    EXPECT_EQ(u128->u128.hi, 9u);
    // Any non-zero value is true.
    JsonRoot b(kel_json_bool_new_base(42));
    EXPECT_EQ(b->type, KEL_JSON_TRUE);
    EXPECT_TRUE(kel_json_bool_get(b));
    JsonRoot f(kel_json_bool_new_base(0));
    EXPECT_FALSE(kel_json_bool_get(f));
}

TEST(JsonValue, StringLengthStopsAtFirstNul)
{
    JsonRoot empty(kel_json_str_new_len_base("abc", 0, nullptr));
    ASSERT_NE(empty.get(), nullptr);
    EXPECT_STREQ(empty->str, "");

    JsonRoot cut(kel_json_str_new_len_base("ab\0cd", 5, nullptr));
    ASSERT_NE(cut.get(), nullptr);
    EXPECT_STREQ(cut->str, "ab");

    // Invalid bytes after the NUL are dropped, not rejected.
    JsonRoot after(kel_json_str_new_len_base("ok\0\xff", 4, nullptr));
    ASSERT_NE(after.get(), nullptr);
    EXPECT_STREQ(after->str, "ok");

    JsonRoot whole(kel_json_str_new_len_base("abcdef", 3, nullptr));
    EXPECT_STREQ(whole->str, "abc");
}

TEST(JsonValue, StringRejectsInvalidUtf8WithHexDump)
{
    ErrorSlot err;
    EXPECT_EQ(kel_json_str_new_len_base("\xC3\x28", 2, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, utf8_error("C3 28 "));
    EXPECT_EQ(err.domain(), kel_json_error_domain());

    // The NUL-terminated form reports under the length form's name, and a
    // second failure stacks on top of the first.
    EXPECT_EQ(kel_json_str_new_base("a\xE2\x82", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, utf8_error("61 E2 82 "));
    ASSERT_NE(err->next, nullptr);
    EXPECT_EQ(err->next->next, nullptr);

    // Without a slot the failure shows only in the result.
    EXPECT_EQ(kel_json_str_new_len_base("\x80", 1, nullptr), nullptr);
}

TEST(JsonValue, ConstructorArgumentChecks)
{
    ErrorSlot err;
    EXPECT_EQ(kel_json_str_new_len_base(nullptr, 3, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_str_new_len_base: argument check failed: value");
    err.clear();
    EXPECT_EQ(kel_json_str_new_base(nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_str_new_base: argument check failed: value");
    err.clear();
    EXPECT_EQ(kel_json_jref_new_base(nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_jref_new_base: argument check failed: uri");
    EXPECT_EQ(kel_json_jref_new_base(nullptr, nullptr), nullptr);
}

TEST(JsonValue, ReferenceUri)
{
    // The URI is kept as given, not validated.
    JsonRoot ref(kel_json_jref_new_base("#/a", nullptr));
    EXPECT_STREQ(kel_json_jref_uri(ref), "#/a");
    JsonRoot odd(kel_json_jref_new_base("\xff not a uri", nullptr));
    EXPECT_STREQ(kel_json_jref_uri(odd), "\xff not a uri");
    JsonRoot str(kel_json_str_new_base("#/a", nullptr));
    EXPECT_EQ(kel_json_jref_uri(str), nullptr);
    EXPECT_EQ(kel_json_jref_uri(nullptr), nullptr);
}

// ---- UTF-8 -------------------------------------------------------------------

TEST(JsonValue, Utf8Validator)
{
    const char *rejected[] = {
        "\xC0\x80",          // overlong lead
        "\xC1\xBF",          // overlong lead
        "\xE0\x80\x80",      // overlong 3-byte
        "\xF0\x80\x80\x80",  // overlong 4-byte
        "\xED\xA0\x80",      // surrogate D800
        "\xED\xBF\xBF",      // surrogate DFFF
        "\xF4\x90\x80\x80",  // above 10FFFF
        "\xF5\x80\x80\x80",  // lead beyond F4
        "\xFF",
        "\xE2\x82",          // cut off by the end
        "\x80",              // lone continuation
        "\xC3\x28",          // bad continuation
        "\xE2\x28\xA1",
    };
    for (const char *s : rejected)
        EXPECT_FALSE(valid(s)) << "case of length " << strlen(s);

    EXPECT_TRUE(valid(""));
    EXPECT_TRUE(valid("\xEF\xBF\xBF"));
    EXPECT_TRUE(valid("\xF4\x8F\xBF\xBF"));
    EXPECT_TRUE(valid("\xC2\x80"));
    EXPECT_TRUE(valid("\xE0\xA0\x80"));
    EXPECT_TRUE(valid("\xF0\x90\x80\x80"));
    EXPECT_TRUE(valid("\xED\x9F\xBF"));  // last code point before the surrogates
    EXPECT_TRUE(valid(std::string("a\0b", 3)));  // NUL is a character here
    EXPECT_EQ(utf8_check_string("\xE2\x82\xAC", 2), 0);  // only len bytes are looked at
    EXPECT_EQ(utf8_check_string("abc\xFF", 3), 1);
}

TEST(JsonValue, Utf8ValidatorOnLongRuns)
{
    // ASCII runs longer than a machine word around multi-byte sequences and
    // faults, at every offset.
    for (size_t pad = 0; pad < 20; pad++) {
        const std::string ascii(pad, 'x');
        EXPECT_TRUE(valid(ascii + "\xE2\x82\xAC" + ascii)) << pad;
        EXPECT_FALSE(valid(ascii + "\x80" + ascii)) << pad;
        EXPECT_FALSE(valid(ascii + "\xE2\x82")) << pad;
        EXPECT_FALSE(valid(ascii + "\xF4\x90\x80\x80" + ascii)) << pad;
    }
}

// ---- Reference counting ------------------------------------------------------

TEST(JsonValue, RefcountStatesOfAMember)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *member = kel_json_i64_new_base(1);
    ASSERT_TRUE(kel_json_obj_put_base(obj, "m", member, nullptr));
    EXPECT_EQ(member->refcount, 1);

    // A member is never freed through kel_json_unref: its count stays 1.
    kel_json_unref(member);
    kel_json_unref(member);
    EXPECT_EQ(member->refcount, 1);
    EXPECT_EQ(kel_json_obj_get_base(obj, "m", 0, nullptr), member);
    EXPECT_EQ(member->parent, obj.get());

    // An extra reference survives the container's release...
    kel_json_ref(member);
    EXPECT_EQ(member->refcount, 2);
    EXPECT_TRUE(kel_json_obj_remove(obj, "m"));
    EXPECT_EQ(member->parent, nullptr);
    EXPECT_EQ(member->refcount, 1);
    // ... and one unref then frees it (LeakSanitizer checks the rest).
    kel_json_unref(member);
}

TEST(JsonValue, RefcountStatesOfARoot)
{
    KelJson *held = kel_json_null_new_base();
    kel_json_ref(held);
    kel_json_ref(held);
    EXPECT_EQ(held->refcount, 2);
    kel_json_unref(held);
    EXPECT_EQ(held->refcount, 1);
    kel_json_unref(held);  // frees

    kel_json_ref(nullptr);
    kel_json_unref(nullptr);
    kel_json_delete(nullptr);
}

TEST(JsonValue, ContainerDeathWithHeldMembers)
{
    KelJson *root = kel_json_array_new_base(0, FALSE);
    KelJson *inner = kel_json_array_push_obj_base(root, nullptr);
    KelJson *deep = kel_json_obj_put_array_base(inner, "deep", nullptr);
    KelJson *leaf = kel_json_array_push_str_base(deep, "leaf", nullptr);
    kel_json_ref(deep);
    kel_json_ref(leaf);

    // The release of the root reaches `deep` through the deferred list and
    // must leave both held values alive and detached from their dead parents.
    kel_json_unref(root);
    EXPECT_EQ(deep->parent, nullptr);
    EXPECT_EQ(deep->refcount, 1);
    EXPECT_EQ(leaf->parent, deep);
    EXPECT_EQ(leaf->refcount, 2);
    EXPECT_EQ(kel_json_array_size(deep), 1);

    kel_json_unref(deep);  // frees deep; leaf stays with our reference
    EXPECT_EQ(leaf->parent, nullptr);
    EXPECT_EQ(leaf->refcount, 1);
    EXPECT_STREQ(leaf->str, "leaf");
    kel_json_unref(leaf);
}

TEST(JsonValue, BorrowingContainersKeepMembersOfOthers)
{
    JsonRoot owner(kel_json_obj_new_base(FALSE));
    KelJson *member = kel_json_obj_put_obj_base(owner, "m", nullptr);
    KelJson *list = kel_json_array_new_base(0, TRUE);
    ASSERT_TRUE(kel_json_array_push_base(list, member, nullptr));
    // Roots held only by the borrowing array die with it.
    KelJson *orphan = kel_json_obj_new_base(FALSE);
    kel_json_obj_put_array_base(orphan, "a", nullptr);
    ASSERT_TRUE(kel_json_array_push_base(list, orphan, nullptr));
    EXPECT_EQ(member->refcount, 2);

    kel_json_unref(list);
    EXPECT_EQ(member->refcount, 1);
    EXPECT_EQ(member->parent, owner.get());
}

// ---- Deletion of deep trees ----------------------------------------------------

constexpr int kDeep = 1000000;

TEST(JsonValue, DeepArrayChainIsReleasedWithoutRecursion)
{
    KelJson *root = kel_json_array_new_base(0, FALSE);
    KelJson *current = root;
    for (int i = 1; i < kDeep; i++)
        current = kel_json_array_push_array_base(current, nullptr);
    ASSERT_NE(current, nullptr);
    kel_json_array_push_i64_base(current, 7, nullptr);
    kel_json_unref(root);
}

TEST(JsonValue, DeepObjectChainBuiltBottomUpIsReleased)
{
    KelJson *current = kel_json_obj_new_base(FALSE);
    for (int i = 1; i < kDeep; i++) {
        KelJson *outer = (i % 2) ? kel_json_obj_new_base(FALSE) : kel_json_array_new_base(1, FALSE);
        const bool ok = outer->type == KEL_JSON_OBJECT
                            ? kel_json_obj_put_base(outer, "k", current, nullptr)
                            : kel_json_array_push_base(outer, current, nullptr);
        ASSERT_TRUE(ok);
        current = outer;
    }
    kel_json_delete(current);
}

TEST(JsonValue, DeepChainBehindABorrowingArray)
{
    KelJson *list = kel_json_array_new_base(0, TRUE);
    KelJson *root = kel_json_obj_new_base(FALSE);
    ASSERT_TRUE(kel_json_array_push_base(list, root, nullptr));
    KelJson *current = root;
    for (int i = 1; i < kDeep; i++)
        current = kel_json_obj_put_obj_base(current, "k", nullptr);
    kel_json_unref(list);
}

// ---- Cycles --------------------------------------------------------------------

TEST(JsonValue, ContainerCannotBecomeItsOwnDescendant)
{
    KelJson *root = kel_json_obj_new_base(FALSE);
    KelJson *a = kel_json_obj_put_obj_base(root, "a", nullptr);
    KelJson *list = kel_json_obj_put_array_base(a, "list", nullptr);
    ErrorSlot err;

    EXPECT_FALSE(kel_json_obj_put_base(root, "self", root, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"\", because value is that container or one of its ancestors");
    err.clear();
    EXPECT_FALSE(kel_json_obj_put_base(a, "up", root, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"/a\", because value is that container or one of its ancestors");
    err.clear();
    EXPECT_FALSE(kel_json_array_push_base(list, root, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"/a/list\", because value is that container or one of its ancestors");
    err.clear();
    KelJson *placeholder = kel_json_null_new_base();
    ASSERT_TRUE(kel_json_array_push_base(list, placeholder, nullptr));
    EXPECT_EQ(kel_json_array_swap(list, 0, root, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"/a/list\", because value is that container or one of its ancestors");
    err.clear();

    // Nothing changed, and the tree still releases cleanly.
    EXPECT_EQ(root->refcount, 0);
    EXPECT_EQ(root->parent, nullptr);
    EXPECT_EQ(kel_json_obj_size(root), 1);
    EXPECT_EQ(kel_json_obj_size(a), 1);
    EXPECT_EQ(kel_json_array_size(list), 1);
    EXPECT_EQ(placeholder->parent, list);

    // A parentless container that is not an ancestor is accepted, and so is
    // an empty one (which cannot be anybody's ancestor).
    KelJson *other = kel_json_array_new_base(0, FALSE);
    kel_json_array_push_i64_base(other, 1, nullptr);
    EXPECT_TRUE(kel_json_array_push_base(list, other, &err));
    EXPECT_FALSE(err);
    kel_json_unref(root);
}

// ---- Getters -------------------------------------------------------------------

TEST(JsonValue, IntegerGettersReinterpretTheFirstWord)
{
    JsonRoot neg(kel_json_i64_new_base(-1));
    EXPECT_EQ(kel_json_i64_get(neg), -1);
    EXPECT_EQ(kel_json_u64_get(neg), G_MAXUINT64);
    KelUint128 wide = kel_json_u128_get(neg);
    EXPECT_EQ(wide.lo, G_MAXUINT64);
    EXPECT_EQ(wide.hi, 0u);  // no sign extension
    EXPECT_EQ(kel_json_double_get(neg), -1.0);

    JsonRoot big(kel_json_u64_new_base(G_MAXUINT64));
    EXPECT_EQ(kel_json_i64_get(big), -1);
    EXPECT_EQ(kel_json_double_get(big), 18446744073709551616.0);
    wide = kel_json_u128_get(big);
    EXPECT_EQ(wide.lo, G_MAXUINT64);
    EXPECT_EQ(wide.hi, 0u);

    JsonRoot u128(kel_json_u128_new_base(KelUint128{5, 3}));
    EXPECT_EQ(kel_json_i64_get(u128), 5);  // low half only
    EXPECT_EQ(kel_json_u64_get(u128), 5u);
    EXPECT_EQ(kel_json_double_get(u128), 5.0);
    wide = kel_json_u128_get(u128);
    EXPECT_EQ(wide.lo, 5u);
    EXPECT_EQ(wide.hi, 3u);
}

TEST(JsonValue, DoubleGettersTruncate)
{
    struct Case {
        double d;
        gint64 i64;
        guint64 u64;
    };
    const Case cases[] = {
        {-1.9, -1, G_MAXUINT64},
        {-1.5, -1, 18446744073709551615u},
        {1.9, 1, 1},
        {-0.0, 0, 0},
        {9007199254740993.0, 9007199254740992, 9007199254740992u},
        {9223372036854775808.0, G_MAXINT64, 9223372036854775808u},
        {18446744073709549568.0, G_MAXINT64, 18446744073709549568u},  // largest below 2^64
        {-9223372036854775808.0, G_MININT64, 9223372036854775808u},
    };
    for (const Case &c : cases) {
        JsonRoot d(kel_json_double_new_base(c.d));
        EXPECT_EQ(kel_json_i64_get(d), c.i64) << c.d;
        EXPECT_EQ(kel_json_u64_get(d), c.u64) << c.d;
        const KelUint128 wide = kel_json_u128_get(d);
        EXPECT_EQ(wide.lo, c.u64) << c.d;
        EXPECT_EQ(wide.hi, 0u) << c.d;
        EXPECT_EQ(kel_json_double_get(d), c.d);
    }
}

TEST(JsonValue, OutOfRangeDoublesSaturate)
{
    // These must not reach an undefined conversion (UBSan checks that).
    struct Case {
        double d;
        gint64 i64;
        guint64 u64;
    };
    const Case cases[] = {
        {kNan, 0, 0},
        {-kNan, 0, 0},
        {kInf, G_MAXINT64, G_MAXUINT64},
        {-kInf, G_MININT64, 0x8000000000000000u},
        {1e300, G_MAXINT64, G_MAXUINT64},
        {18446744073709551616.0, G_MAXINT64, G_MAXUINT64},
        {-1e300, G_MININT64, 0x8000000000000000u},
        {-9223372036854777856.0, G_MININT64, 0x8000000000000000u},  // next below -2^63
    };
    for (const Case &c : cases) {
        JsonRoot d(kel_json_double_new_base(c.d));
        EXPECT_EQ(kel_json_i64_get(d), c.i64) << c.d;
        EXPECT_EQ(kel_json_u64_get(d), c.u64) << c.d;
        EXPECT_EQ(kel_json_u128_get(d).lo, c.u64) << c.d;
    }
}

TEST(JsonValue, NonNumbersReadAsZero)
{
    // Payload-less nodes are only as large as the header: ASan catches any
    // getter that would read past it.
    KelJson *values[] = {kel_json_null_new_base(), kel_json_bool_new_base(TRUE),
                         kel_json_bool_new_base(FALSE), kel_json_str_new_base("12", nullptr),
                         kel_json_jref_new_base("#", nullptr), kel_json_obj_new_base(FALSE),
                         kel_json_array_new_base(0, FALSE)};
    for (KelJson *v : values) {
        EXPECT_EQ(kel_json_i64_get(v), 0);
        EXPECT_EQ(kel_json_u64_get(v), 0u);
        const KelUint128 wide = kel_json_u128_get(v);
        EXPECT_EQ(wide.lo, 0u);
        EXPECT_EQ(wide.hi, 0u);
        EXPECT_EQ(kel_json_double_get(v), 0.0);
        EXPECT_FALSE(kel_json_is_num(v));
        EXPECT_FALSE(kel_json_is_int(v));
        EXPECT_EQ(kel_json_bool_get(v), v->type == KEL_JSON_TRUE);
        EXPECT_EQ(kel_json_is_bool(v), v->type == KEL_JSON_TRUE || v->type == KEL_JSON_FALSE);
        kel_json_unref(v);
    }
    EXPECT_FALSE(kel_json_bool_get(nullptr));
}

// ---- Predicates, names, parents --------------------------------------------------

TEST(JsonValue, KindPredicates)
{
    JsonRoot i(kel_json_i64_new_base(1)), u(kel_json_u64_new_base(1)),
        w(kel_json_u128_new_base(KelUint128{1, 0})), d(kel_json_double_new_base(1));
    for (KelJson *n : {i.get(), u.get(), w.get()}) {
        EXPECT_TRUE(kel_json_is_num(n));
        EXPECT_TRUE(kel_json_is_int(n));
    }
    EXPECT_TRUE(kel_json_is_num(d));
    EXPECT_FALSE(kel_json_is_int(d));
    EXPECT_FALSE(kel_json_is_num(nullptr));
    EXPECT_FALSE(kel_json_is_int(nullptr));
    EXPECT_FALSE(kel_json_is_bool(nullptr));
}

TEST(JsonValue, TypeNames)
{
    const char *exact[] = {"null",   "object", "array",  "int64", "uint64",   "uint128",
                           "double", "string", "true",   "false", "reference"};
    const char *generic[] = {"null",   "object", "array",   "integer", "integer",  "integer",
                             "number", "string", "boolean", "boolean", "reference"};
    for (guint32 k = 0; k <= KEL_JSON_JREF; k++) {
        EXPECT_STREQ(kel_json_enum_type_string(k, TRUE), exact[k]);
        EXPECT_STREQ(kel_json_enum_type_string(k, FALSE), generic[k]);
    }
    EXPECT_STREQ(kel_json_enum_type_string(11, TRUE), "<unknown>");
    EXPECT_STREQ(kel_json_enum_type_string(G_MAXUINT32, FALSE), "<unknown>");
    EXPECT_STREQ(kel_json_type_string(nullptr, TRUE), "<none>");
    EXPECT_STREQ(kel_json_type_string(nullptr, FALSE), "<none>");
    JsonRoot u(kel_json_u64_new_base(3));
    EXPECT_STREQ(kel_json_type_string(u, TRUE), "uint64");
    EXPECT_STREQ(kel_json_type_string(u, FALSE), "integer");
}

TEST(JsonValue, ParentAccessors)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *list = kel_json_obj_put_array_base(obj, "list", nullptr);
    kel_json_array_push_i64_base(list, 0, nullptr);
    KelJson *second = kel_json_array_push_i64_base(list, 1, nullptr);

    EXPECT_STREQ(kel_json_parent_key(list), "list");
    EXPECT_EQ(kel_json_parent_index(list), -1);
    EXPECT_EQ(kel_json_parent_index(second), 1);
    EXPECT_EQ(kel_json_parent_key(second), nullptr);
    EXPECT_EQ(kel_json_parent_key(obj), nullptr);
    EXPECT_EQ(kel_json_parent_index(obj), -1);
    EXPECT_EQ(kel_json_parent_key(nullptr), nullptr);
    EXPECT_EQ(kel_json_parent_index(nullptr), -1);
}

}  // namespace
