// JSON values: constructors, the UTF-8 validator, reference counting and the
// release of deep trees, parent-link cycles, getters (out-of-range doubles
// included), names and parent accessors.
#include <cstring>
#include <limits>
#include <string>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

// "code message" of the newest error, which is taken off the chain.
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

TEST(JsonValue, NewNodesStartDetachedWithCountZero)
{
    const struct {
        KelJson *json;
        KelJsonType kind;
    } made[] = {
        {kel_json_null_new_base(), KEL_JSON_NULL},
        {kel_json_bool_new_base(42), KEL_JSON_TRUE},  // any non-zero value
        {kel_json_bool_new_base(0), KEL_JSON_FALSE},
        {kel_json_i64_new_base(-5), KEL_JSON_INT64},
        {kel_json_u128_new_base({7, 9}), KEL_JSON_UINT128},
        {kel_json_str_new_base("s", nullptr), KEL_JSON_STRING},
        {kel_json_jref_new_base("\xff not checked", nullptr), KEL_JSON_JREF},
        {kel_json_obj_new_base(FALSE), KEL_JSON_OBJECT},
        {kel_json_array_new_base(4, FALSE), KEL_JSON_ARRAY},
    };
    for (const auto &m : made) {
        ASSERT_NE(m.json, nullptr);
        EXPECT_EQ(m.json->type, m.kind);
        EXPECT_EQ(m.json->flags, 0);
        EXPECT_EQ(m.json->refcount, 0);
        EXPECT_EQ(m.json->parent, nullptr);
        EXPECT_EQ(m.json->key, nullptr);
    }
    EXPECT_EQ(made[4].json->u128.hi, 9u);
    EXPECT_STREQ(kel_json_jref_uri(made[6].json), "\xff not checked");
    EXPECT_EQ(kel_json_jref_uri(made[5].json), nullptr);
    EXPECT_EQ(kel_json_jref_uri(nullptr), nullptr);
    for (const auto &m : made)
        kel_json_unref(m.json);  // a new value dies on its first unref
}

TEST(JsonValue, StringConstruction)
{
    JsonRoot empty(kel_json_str_new_len_base("abc", 0, nullptr));
    EXPECT_STREQ(empty->str, "");
    JsonRoot cut(kel_json_str_new_len_base("ab\0cd", 5, nullptr));
    EXPECT_STREQ(cut->str, "ab");
    // Bytes after an embedded NUL are dropped, not validated.
    JsonRoot after(kel_json_str_new_len_base("ok\0\xff", 4, nullptr));
    EXPECT_STREQ(after->str, "ok");

    ErrorSlot err;
    EXPECT_EQ(kel_json_str_new_len_base("\xC3\x28", 2, &err), nullptr);
    EXPECT_EQ(err.domain(), kel_json_error_domain());
    EXPECT_EQ(take(err), "-1 kel_json_str_new_len_base: Character sequence is not valid UTF-8: C3 28 ");
    // The NUL-terminated form reports under the length form's name.
    EXPECT_EQ(kel_json_str_new_base("a\xE2\x82", &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_str_new_len_base: Character sequence is not valid UTF-8: 61 E2 82 ");
    EXPECT_EQ(kel_json_str_new_len_base("\x80", 1, nullptr), nullptr);

    EXPECT_EQ(kel_json_str_new_len_base(nullptr, 3, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_str_new_len_base: argument check failed: value");
    EXPECT_EQ(kel_json_str_new_base(nullptr, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_str_new_base: argument check failed: value");
    EXPECT_EQ(kel_json_jref_new_base(nullptr, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_jref_new_base: argument check failed: uri");
}

TEST(JsonValue, Utf8Validator)
{
    auto valid = [](const std::string &s) { return utf8_check_string(s.data(), s.size()) == 1; };
    const char *rejected[] = {
        "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xF0\x80\x80\x80",  // overlong
        "\xED\xA0\x80", "\xED\xBF\xBF",                              // surrogates
        "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",              // beyond U+10FFFF
        "\xE2\x82", "\x80", "\xC3\x28", "\xE2\x28\xA1",              // cut off, stray, broken
    };
    const char *accepted[] = {"", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF", "\xC2\x80",
                              "\xE0\xA0\x80", "\xF0\x90\x80\x80", "\xED\x9F\xBF"};
    // Around ASCII runs longer than a machine word, at every offset.
    for (size_t pad = 0; pad < 18; pad++) {
        const std::string x(pad, 'x');
        for (const char *s : rejected)
            EXPECT_FALSE(valid(x + s + x)) << pad << " " << strlen(s);
        for (const char *s : accepted)
            EXPECT_TRUE(valid(x + s + x)) << pad << " " << strlen(s);
    }
    EXPECT_TRUE(valid(std::string("a\0b", 3)));  // NUL is a character here
    EXPECT_EQ(utf8_check_string("\xE2\x82\xAC", 2), 0);  // only len bytes are looked at
    EXPECT_EQ(utf8_check_string("abc\xFF", 3), 1);
}

TEST(JsonValue, ReferenceCountStates)
{
    // held: counts up and down, freed at zero.
    KelJson *held = kel_json_null_new_base();
    kel_json_ref(held);
    kel_json_ref(held);
    kel_json_unref(held);
    EXPECT_EQ(held->refcount, 1);
    kel_json_unref(held);
    kel_json_ref(nullptr);
    kel_json_unref(nullptr);
    kel_json_delete(nullptr);

    // member: kel_json_unref never takes it below 1.
    KelJson *root = kel_json_array_new_base(0, FALSE);
    KelJson *obj = kel_json_array_push_obj_base(root, nullptr);
    KelJson *deep = kel_json_obj_put_array_base(obj, "deep", nullptr);
    KelJson *leaf = kel_json_array_push_str_base(deep, "leaf", nullptr);
    kel_json_unref(leaf);
    kel_json_unref(leaf);
    EXPECT_EQ(leaf->refcount, 1);
    EXPECT_EQ(leaf->parent, deep);

    // Members held by someone survive the release of their tree, detached.
    kel_json_ref(deep);
    kel_json_ref(leaf);
    kel_json_unref(root);
    EXPECT_EQ(deep->parent, nullptr);
    EXPECT_EQ(deep->refcount, 1);
    EXPECT_EQ(leaf->parent, deep);
    EXPECT_EQ(leaf->refcount, 2);
    kel_json_unref(deep);
    EXPECT_EQ(leaf->parent, nullptr);
    EXPECT_EQ(leaf->refcount, 1);
    EXPECT_STREQ(leaf->str, "leaf");
    kel_json_unref(leaf);

    // borrowed: a borrowing container adds a count and leaves the links alone.
    JsonRoot owner(kel_json_obj_new_base(FALSE));
    KelJson *member = kel_json_obj_put_obj_base(owner, "m", nullptr);
    KelJson *list = kel_json_array_new_base(0, TRUE);
    kel_json_array_push_base(list, member, nullptr);
    kel_json_array_push_base(list, kel_json_obj_new_base(FALSE), nullptr);  // dies with list
    EXPECT_EQ(member->refcount, 2);
    kel_json_unref(list);
    EXPECT_EQ(member->refcount, 1);
    EXPECT_EQ(member->parent, owner.get());
}

TEST(JsonValue, MillionDeepTreesAreReleasedWithoutRecursion)
{
    constexpr int kDepth = 1000000;
    // Top down through the put and push families...
    KelJson *root = kel_json_array_new_base(0, FALSE);
    KelJson *current = root;
    for (int i = 1; i < kDepth; i++)
        current = (i % 2) ? kel_json_array_push_obj_base(current, nullptr)
                          : kel_json_obj_put_array_base(current, "k", nullptr);
    ASSERT_NE(current, nullptr);
    // ... held by a borrowing array, released through it.
    KelJson *list = kel_json_array_new_base(0, TRUE);
    kel_json_array_push_base(list, root, nullptr);
    kel_json_unref(list);

    // Bottom up, deleted directly.
    current = kel_json_array_new_base(0, FALSE);
    for (int i = 1; i < kDepth; i++) {
        KelJson *outer = kel_json_array_new_base(1, FALSE);
        ASSERT_TRUE(kel_json_array_push_base(outer, current, nullptr));
        current = outer;
    }
    kel_json_delete(current);
}

TEST(JsonValue, ContainerCannotBecomeItsOwnDescendant)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *a = kel_json_obj_put_obj_base(root, "a", nullptr);
    KelJson *list = kel_json_obj_put_array_base(a, "list", nullptr);
    KelJson *slot = kel_json_array_push_i64_base(list, 0, nullptr);
    ErrorSlot err;
    const std::string tail = ", because value is that container or one of its ancestors";

    EXPECT_FALSE(kel_json_obj_put_base(root, "self", root, &err));
    EXPECT_EQ(take(err), "-9 Cannot add to \"\"" + tail);
    EXPECT_FALSE(kel_json_obj_put_base(a, "up", root, &err));
    EXPECT_EQ(take(err), "-9 Cannot add to \"/a\"" + tail);
    EXPECT_FALSE(kel_json_array_push_base(list, root, &err));
    EXPECT_EQ(take(err), "-9 Cannot add to \"/a/list\"" + tail);
    EXPECT_EQ(kel_json_array_swap(list, 0, root, &err), nullptr);
    EXPECT_EQ(take(err), "-9 Cannot add to \"/a/list\"" + tail);

    EXPECT_EQ(root->refcount, 0);
    EXPECT_EQ(kel_json_obj_size(root), 1);
    EXPECT_EQ(kel_json_obj_size(a), 1);
    EXPECT_EQ(kel_json_array_size(list), 1);
    EXPECT_EQ(slot->parent, list);

    // Parentless containers elsewhere are welcome, empty or not.
    KelJson *other = kel_json_array_new_base(0, FALSE);
    kel_json_array_push_i64_base(other, 1, nullptr);
    EXPECT_TRUE(kel_json_array_push_base(list, other, &err));
    EXPECT_TRUE(kel_json_array_push_base(list, kel_json_obj_new_base(FALSE), &err));
    EXPECT_FALSE(err);
}

TEST(JsonValue, IntegerGettersReadTheFirstWord)
{
    JsonRoot neg(kel_json_i64_new_base(-1));
    EXPECT_EQ(kel_json_u64_get(neg), G_MAXUINT64);
    EXPECT_EQ(kel_json_u128_get(neg).lo, G_MAXUINT64);
    EXPECT_EQ(kel_json_u128_get(neg).hi, 0u);  // no sign extension
    EXPECT_EQ(kel_json_double_get(neg), -1.0);

    JsonRoot big(kel_json_u64_new_base(G_MAXUINT64));
    EXPECT_EQ(kel_json_i64_get(big), -1);
    EXPECT_EQ(kel_json_double_get(big), 18446744073709551616.0);

    JsonRoot wide(kel_json_u128_new_base({5, 3}));  // only the low half counts
    EXPECT_EQ(kel_json_i64_get(wide), 5);
    EXPECT_EQ(kel_json_u64_get(wide), 5u);
    EXPECT_EQ(kel_json_double_get(wide), 5.0);
    EXPECT_EQ(kel_json_u128_get(wide).hi, 3u);
}

TEST(JsonValue, DoubleGettersTruncateAndSaturate)
{
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInf = std::numeric_limits<double>::infinity();
    const struct {
        double d;
        gint64 i64;
        guint64 u64;
    } cases[] = {
        {-1.9, -1, G_MAXUINT64},
        {1.9, 1, 1},
        {-0.0, 0, 0},
        {9007199254740993.0, 9007199254740992, 9007199254740992u},
        {-9223372036854775808.0, G_MININT64, 9223372036854775808u},
        {9223372036854775808.0, G_MAXINT64, 9223372036854775808u},
        {18446744073709549568.0, G_MAXINT64, 18446744073709549568u},  // largest below 2^64
        // Outside the ranges: saturation, never an undefined conversion.
        {18446744073709551616.0, G_MAXINT64, G_MAXUINT64},
        {1e300, G_MAXINT64, G_MAXUINT64},
        {kInf, G_MAXINT64, G_MAXUINT64},
        {-9223372036854777856.0, G_MININT64, 0x8000000000000000u},  // next below -2^63
        {-kInf, G_MININT64, 0x8000000000000000u},
        {kNan, 0, 0},
        {-kNan, 0, 0},
    };
    for (const auto &c : cases) {
        JsonRoot d(kel_json_double_new_base(c.d));
        EXPECT_EQ(kel_json_i64_get(d), c.i64) << c.d;
        EXPECT_EQ(kel_json_u64_get(d), c.u64) << c.d;
        EXPECT_EQ(kel_json_u128_get(d).lo, c.u64) << c.d;
        EXPECT_EQ(kel_json_u128_get(d).hi, 0u) << c.d;
    }
}

TEST(JsonValue, NonNumbersReadAsZero)
{
    // Null and booleans are header-only nodes: ASan catches any payload read.
    KelJson *values[] = {kel_json_null_new_base(), kel_json_bool_new_base(TRUE),
                         kel_json_bool_new_base(FALSE), kel_json_str_new_base("12", nullptr),
                         kel_json_obj_new_base(FALSE)};
    for (KelJson *v : values) {
        EXPECT_EQ(kel_json_i64_get(v), 0);
        EXPECT_EQ(kel_json_u64_get(v), 0u);
        EXPECT_EQ(kel_json_u128_get(v).lo | kel_json_u128_get(v).hi, 0u);
        EXPECT_EQ(kel_json_double_get(v), 0.0);
        EXPECT_FALSE(kel_json_is_num(v));
        EXPECT_EQ(kel_json_bool_get(v), v->type == KEL_JSON_TRUE);
        EXPECT_EQ(kel_json_is_bool(v), v->type == KEL_JSON_TRUE || v->type == KEL_JSON_FALSE);
        kel_json_unref(v);
    }
    JsonRoot u(kel_json_u128_new_base({1, 0})), d(kel_json_double_new_base(1));
    EXPECT_TRUE(kel_json_is_int(u));
    EXPECT_TRUE(kel_json_is_num(d));
    EXPECT_FALSE(kel_json_is_int(d));
    EXPECT_FALSE(kel_json_is_num(nullptr) || kel_json_is_int(nullptr) || kel_json_is_bool(nullptr) ||
                 kel_json_bool_get(nullptr));
}

TEST(JsonValue, NamesAndParentAccessors)
{
    const char *exact[] = {"null",   "object", "array", "int64", "uint64",   "uint128",
                           "double", "string", "true",  "false", "reference"};
    const char *generic[] = {"null",   "object", "array",   "integer", "integer",  "integer",
                             "number", "string", "boolean", "boolean", "reference"};
    for (guint32 k = 0; k <= KEL_JSON_JREF; k++) {
        EXPECT_STREQ(kel_json_enum_type_string(k, TRUE), exact[k]);
        EXPECT_STREQ(kel_json_enum_type_string(k, FALSE), generic[k]);
    }
    EXPECT_STREQ(kel_json_enum_type_string(11, TRUE), "<unknown>");
    EXPECT_STREQ(kel_json_enum_type_string(G_MAXUINT32, FALSE), "<unknown>");
    EXPECT_STREQ(kel_json_type_string(nullptr, TRUE), "<none>");

    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *list = kel_json_obj_put_array_base(obj, "list", nullptr);
    kel_json_array_push_i64_base(list, 0, nullptr);
    KelJson *second = kel_json_array_push_u64_base(list, 1, nullptr);
    EXPECT_STREQ(kel_json_type_string(second, FALSE), "integer");
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
