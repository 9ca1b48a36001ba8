// JSON values, objects and arrays: constructors, the UTF-8 validator,
// reference counting and release of deep trees, the single-parent rule and
// parent-link cycles, getters and typed lookups at their boundaries,
// borrowing containers, iteration, pop, swap, filter, sort and the put and
// push families.
#include <cmath>
#include <cstring>
#include <functional>

#include "test_util.h"

using namespace kel_test;

namespace {

constexpr gint64 kTwo53 = G_GINT64_CONSTANT(9007199254740992);
using Ints = std::vector<gint64>;

// The values, checking that each element of an owning array knows its place.
Ints values_of(KelJson *arr)
{
    Ints out;
    for (int i = 0; i < kel_json_array_size(arr); i++) {
        EXPECT_TRUE((arr->flags & KEL_JSON_FLAG_BORROW) || (at(arr, i)->parent == arr && kel_json_parent_index(at(arr, i)) == i)) << i;
        out.push_back(kel_json_i64_get(at(arr, i)));
    }
    return out;
}


// The four predicates with convert, "i64 u64 u128 double" as 0/1.
std::string fits(KelJson *value, gboolean convert = TRUE)
{
    std::string s;
    for (auto p : {kel_json_is_i64_ext, kel_json_is_u64_ext, kel_json_is_u128_ext, kel_json_is_double_ext})
        s += p(value, convert) ? '1' : '0';
    kel_json_unref(value);
    return s;
}

// The error a call left (taken off the chain), when it failed.
std::string failure(ErrorSlot &err, bool failed) { return failed ? err.pop() : "<did not fail>"; }

// `v`, with a count of the caller's own taken.

// A borrowing array listing `values` (each gains a count).
KelJson *view_of(std::initializer_list<KelJson *> values)
{
    KelJson *view = kel_json_array_new_base(0, TRUE);
    for (KelJson *v : values)
        kel_json_array_push_base(view, v, nullptr);
    return view;
}

}  // namespace

// The length form and the put built on it: NUL bytes inside the length are
// refused (before the UTF-8 check), invalid UTF-8 is shown byte by byte.
TEST(JsonValue, StringTextIsTakenWholeOrRefusedAndValidated)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE)), arr(kel_json_array_new_base(0, FALSE));
    ErrorSlot err;
    const std::tuple<const char *, gsize, const char *> cases[] = {  // {text, length, error or NULL}
        {"abc", 0, nullptr}, {"ab\0cd", 2, nullptr}, {"\xC3\x28", 2, "Character sequence is not valid UTF-8: C3 28 "},
        {"ab\0cd", 5, "string contains a NUL byte at offset 2"}, {"\0", 1, "string contains a NUL byte at offset 0"},
        {"ok\0\xff", 4, "string contains a NUL byte at offset 2"}};
    for (const auto &[text, len, error] : cases) {
        JsonRoot made(kel_json_str_new_len_base(text, len, &err));
        KelJson *put = kel_json_obj_put_str_len_base(obj, "k", text, len, &err);
        EXPECT_TRUE(!err || err.domain() == kel_json_error_domain());
        const std::string want = error ? std::string("-1 kel_json_str_new_len_base: ") + error : "<did not fail>";
        EXPECT_EQ(failure(err, put == nullptr), want) << len;  // the put reports the constructor's error, alone
        EXPECT_EQ(failure(err, made.get() == nullptr), want) << len;
        EXPECT_TRUE(error || (made->str == std::string(text, len) && put == member(obj, "k")));
        EXPECT_FALSE(err);
    }
    // The whole-string forms report under the length form's name.
    const std::string bad = "-1 kel_json_str_new_len_base: Character sequence is not valid UTF-8: ";
    EXPECT_EQ(failure(err, kel_json_str_new_base("a\xE2\x82", &err) == nullptr), bad + "61 E2 82 ");
    EXPECT_EQ(failure(err, kel_json_array_push_str_base(arr, "\xED\xA0\x80", &err) == nullptr), bad + "ED A0 80 ");
    EXPECT_TRUE(!err && kel_json_array_size(arr) == 0);

    // The validator itself.
    auto valid = [](const std::string &s) { return utf8_check_string(s.data(), s.size()) == 1; };
    // Overlong; surrogates; beyond U+10FFFF; cut off, stray, broken.
    const char *rejected[] = {"\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xF0\x80\x80\x80", "\xED\xA0\x80", "\xED\xBF\xBF",
                              "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF", "\xE2\x82", "\x80", "\xC3\x28", "\xE2\x28\xA1"};
    const char *accepted[] = {"", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF", "\xC2\x80", "\xE0\xA0\x80", "\xF0\x90\x80\x80", "\xED\x9F\xBF"};
    for (size_t pad = 0; pad < 18; pad++) {  // around ASCII runs longer than a word, at every offset
        const std::string x(pad, 'x');
        for (const char *s : rejected)
            EXPECT_FALSE(valid(x + s + x)) << pad << " " << strlen(s);
        for (const char *s : accepted)
            EXPECT_TRUE(valid(x + s + x)) << pad << " " << strlen(s);
    }
    // NUL is a character here; only len bytes are looked at.
    EXPECT_TRUE(valid(std::string("a\0b", 3)) && utf8_check_string("\xE2\x82\xAC", 2) == 0 && utf8_check_string("abc\xFF", 3) == 1);
}

TEST(JsonValue, MembersOutliveTheirTreeOnlyWhileHeldDeepTreesGoWithoutRecursion)
{
    KelJson *doc = parse(R"([{"deep": ["leaf"]}])");
    KelJson *deep = held(member(at(doc, 0), "deep")), *leaf = held(at(deep, 0));
    kel_json_unref(doc);
    EXPECT_TRUE(deep->parent == nullptr && deep->refcount == 1 && leaf->parent == deep && leaf->refcount == 2);
    kel_json_unref(deep);  // detached, then freed with its last count
    EXPECT_TRUE(leaf->parent == nullptr && leaf->refcount == 1 && strcmp(leaf->str, "leaf") == 0);
    kel_json_unref(leaf);
    // Single-kind chains are released in test_deep; here the kinds alternate
    // and the last count goes through a borrowing array.
    KelJson *root = kel_json_array_new_base(0, FALSE), *current = root;
    for (int i = 1; i < 1000000; i++)
        current = (i % 2) ? kel_json_array_push_obj_base(current, nullptr) : kel_json_obj_put_array_base(current, "k", nullptr);
    ASSERT_NE(current, nullptr);
    kel_json_unref(view_of({root}));
}

// The container's count keeps a member whatever its creator does: a release
// by a caller holding no count of its own never takes it below 1.
TEST(JsonValue, UnrefOfAMemberWithoutACountLeavesTheParentsCount)
{
    JsonRoot doc(parse(R"({"m": [1]})"));
    kel_json_unref(member(doc, "m"));
    EXPECT_TRUE(member(doc, "m")->refcount == 1 && dump(doc) == R"({"m":[1]})");
}

// Borrowing containers add a count and leave the links alone; the owner's
// root may be listed too, since no parent link is set.
TEST(JsonValue, BorrowingContainersCountButDoNotLink)
{
    JsonRoot owner(parse(R"({"m": {}, "v": "x"})"));
    KelJson *m = member(owner, "m"), *v = member(owner, "v");
    KelJson *list = view_of({m, kel_json_obj_new_base(FALSE)}), *view = kel_json_obj_new_base(TRUE);  // the new object dies with the list
    kel_json_ref(owner);  // the view gives its count on the root back when it goes
    for (const auto &[key, value] : {std::pair<const char *, KelJson *>{"alias", v}, {"alias", v},  // the same pair again
                                     {"loose", kel_json_i64_new_base(3)}, {"root", owner}})
        ASSERT_TRUE(kel_json_obj_put_base(view, key, value, nullptr)) << key;
    EXPECT_TRUE(m->refcount == 2 && v->refcount == 2 && m->parent == owner.get() && strcmp(kel_json_parent_key(v), "v") == 0);
    EXPECT_TRUE(kel_json_obj_remove(view, "alias") && v->refcount == 1);
    kel_json_unref(list);
    kel_json_unref(view);
    EXPECT_TRUE(m->refcount == 1 && m->parent == owner.get() && owner->refcount == 1);
}

TEST(JsonValue, SingleParentAndNoCycles)
{
    JsonRoot root(parse(R"({"a": {"list": [0], "v": 1}, "b": {}, "s": "x"})"));
    KelJson *a = member(root, "a"), *list = member(a, "list");
    ErrorSlot err;
    const std::string tail = ", because value is that container or one of its ancestors";
    EXPECT_EQ(failure(err, !kel_json_obj_put_base(root, "self", root, &err)), "-9 Cannot add to \"\"" + tail);
    EXPECT_EQ(failure(err, !kel_json_obj_put_base(a, "up", root, &err)), "-9 Cannot add to \"/a\"" + tail);
    EXPECT_EQ(failure(err, !kel_json_array_push_base(list, root, &err)), "-9 Cannot add to \"/a/list\"" + tail);
    EXPECT_EQ(failure(err, kel_json_array_swap(list, 0, root, &err) == nullptr), "-9 Cannot add to \"/a/list\"" + tail);
    // (A value that has a parent already is refused in test_ptr_nav.)
    EXPECT_TRUE(dump(root) == R"({"a":{"list":[0],"v":1},"b":{},"s":"x"})" && root->refcount == 0);
    // Each parent accessor answers for its own parent kind only.
    EXPECT_TRUE(kel_json_parent_index(list) == -1 && kel_json_parent_key(at(list, 0)) == nullptr && kel_json_parent_key(root) == nullptr);
    // Parentless containers are welcome, empty or not.
    EXPECT_TRUE(kel_json_array_push_base(list, parse("[1]"), &err) && kel_json_array_push_base(list, kel_json_obj_new_base(FALSE), &err) &&
                !err);
}

TEST(JsonValue, GettersTruncateAndSaturatePredicatesKnowTheRanges)
{
    JsonRoot neg(kel_json_i64_new_base(-1)), big(kel_json_u64_new_base(G_MAXUINT64)), wide(kel_json_u128_new_base({5, 3}));
    EXPECT_TRUE(kel_json_u64_get(neg) == G_MAXUINT64 && kel_json_u128_get(neg).lo == G_MAXUINT64 && kel_json_u128_get(neg).hi == 0);
    EXPECT_TRUE(kel_json_double_get(neg) == -1.0 && kel_json_i64_get(big) == -1 && kel_json_double_get(big) == 18446744073709551616.0);
    // The low half only.
    EXPECT_TRUE(kel_json_i64_get(wide) == 5 && kel_json_u64_get(wide) == 5 && kel_json_double_get(wide) == 5.0 && kel_json_is_int(wide));
    const std::tuple<double, gint64, guint64> cases[] = {
        {-1.9, -1, G_MAXUINT64}, {1.9, 1, 1}, {-0.0, 0, 0}, {9007199254740993.0, 9007199254740992, 9007199254740992u},
        {-9223372036854775808.0, G_MININT64, 9223372036854775808u}, {9223372036854775808.0, G_MAXINT64, 9223372036854775808u},
        {18446744073709549568.0, G_MAXINT64, 18446744073709549568u},  // largest below 2^64
        // Outside the ranges: saturation, never an undefined conversion.
        {18446744073709551616.0, G_MAXINT64, G_MAXUINT64}, {INFINITY, G_MAXINT64, G_MAXUINT64}, {NAN, 0, 0},
        {-9223372036854777856.0, G_MININT64, 0x8000000000000000u}, {-INFINITY, G_MININT64, 0x8000000000000000u}};
    for (const auto &[d, i64, u64] : cases) {
        JsonRoot v(kel_json_double_new_base(d));
        EXPECT_TRUE(kel_json_i64_get(v) == i64 && kel_json_u64_get(v) == u64 && kel_json_u128_get(v).lo == u64 &&
                    kel_json_u128_get(v).hi == 0 && kel_json_is_num(v) && !kel_json_is_int(v)) << d;
    }
    // Null and booleans are header-only nodes: ASan catches any payload read.
    for (KelJson *v : {kel_json_null_new_base(), kel_json_bool_new_base(TRUE), kel_json_bool_new_base(FALSE),
                       kel_json_str_new_base("12", nullptr), kel_json_obj_new_base(FALSE)}) {
        EXPECT_TRUE(kel_json_i64_get(v) == 0 && kel_json_u64_get(v) == 0 && kel_json_double_get(v) == 0.0 && !kel_json_is_num(v) &&
                    (kel_json_u128_get(v).lo | kel_json_u128_get(v).hi) == 0 && kel_json_bool_get(v) == (v->type == KEL_JSON_TRUE) &&
                    kel_json_is_bool(v) == (v->type == KEL_JSON_TRUE || v->type == KEL_JSON_FALSE)) << v->type;
        kel_json_unref(v);
    }

    // Which ranges a value fits, with conversion; the last five rows without,
    // where each predicate is a kind test.
    const auto i64 = kel_json_i64_new_base;
    const auto u64 = kel_json_u64_new_base;
    const auto d = kel_json_double_new_base;
    auto u128 = [](guint64 lo, guint64 hi = 0) { return kel_json_u128_new_base({lo, hi}); };
    const std::pair<KelJson *, const char *> rows[] = {
        {i64(0), "1111"}, {i64(-1), "1001"}, {i64(G_MININT64), "1000"}, {i64(G_MAXINT64), "1110"}, {i64(kTwo53), "1111"},
        {i64(kTwo53 + 1), "1110"}, {i64(-kTwo53), "1001"}, {i64(-kTwo53 - 1), "1000"}, {u64(G_MAXINT64), "1110"}, {u64(kTwo53), "1111"},
        {u64(9223372036854775808u), "0110"}, {u64(kTwo53 + 1), "1110"}, {u128(G_MAXINT64), "1110"}, {u128(kTwo53), "1111"},
        {u128(9223372036854775808u), "0110"}, {u128(kTwo53 + 1), "1110"}, {u128(5, 1), "0010"},  // the low half alone would fit
        {kel_json_str_new_base("1", nullptr), "0000"}, {d(0.0), "1111"}, {d(-0.0), "1111"}, {d(1.5), "0001"}, {d(-1.0), "1001"},
        {d(-9223372036854775808.0), "1001"}, {d(-9223372036854777856.0), "0001"}, {d(9223372036854774784.0), "1111"},
        {d(9223372036854775808.0), "0111"}, {d(18446744073709549568.0), "0111"}, {d(18446744073709551616.0), "0001"}, {d(NAN), "0001"},
        {d(INFINITY), "0001"}, {i64(1), "1000"}, {u64(1), "0100"}, {u128(1), "0010"}, {d(1), "0001"}, {kel_json_bool_new_base(TRUE), "0000"}};
    for (size_t i = 0; i < G_N_ELEMENTS(rows); i++)
        EXPECT_EQ(fits(rows[i].first, i + 5 < G_N_ELEMENTS(rows)), rows[i].second) << "row " << i;
}

TEST(JsonObject, PutCopiesTheKeyReleasesWhatItReplacesAndIterates)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    char key[] = "k";
    KelJson *first = kel_json_str_new_base("first", nullptr);
    ASSERT_TRUE(kel_json_obj_put_base(obj, key, first, nullptr));
    key[0] = 'X';  // the table keeps its own copy, and the member points at it
    gpointer stored = nullptr;
    g_hash_table_lookup_extended(obj->obj, "k", &stored, nullptr);
    EXPECT_TRUE(first->parent == obj.get() && first->refcount == 1 && first->key == stored);
    kel_json_ref(first);
    KelJson *second = kel_json_i64_new_base(2);
    ASSERT_TRUE(kel_json_obj_put_base(obj, "k", second, nullptr));
    EXPECT_TRUE(first->parent == nullptr && first->refcount == 1 && kel_json_obj_size(obj) == 1);
    kel_json_unref(first);
    // The member's own key text, freed by the replacement (ASan checks).
    ASSERT_TRUE(kel_json_obj_put_base(obj, second->key, kel_json_null_new_base(), nullptr));
    EXPECT_STREQ(kel_json_parent_key(member(obj, "k")), "k");
    EXPECT_TRUE(kel_json_obj_remove(obj, "k") && !kel_json_obj_remove(obj, "k") && kel_json_obj_size(obj) == 0);

    // Keys, membership and iteration.
    JsonRoot arr(parse("[]"));
    for (const char *k : {"k", "b", "B", "a", ""})
        kel_json_obj_put_null_base(obj, k, nullptr);
    // (Key listings are traced in test_visitor, their byte order in test_utilities.)
    EXPECT_TRUE(kel_json_obj_has_key(obj, "") && !kel_json_obj_has_key(obj, "c") && !kel_json_obj_has_key(arr, "k"));
    EXPECT_TRUE(kel_json_obj_size(arr) == -1 && kel_json_obj_keys(arr) == nullptr && !kel_json_obj_remove(arr, "k"));
    // foreach stops at the first FALSE; the iterator takes NULL out-arguments.
    auto stop_at_two = [](const char *k, KelJson *v, gpointer calls) -> gboolean {
        EXPECT_EQ(k, v->key);
        return ++*static_cast<int *>(calls) != 2;
    };
    int calls = 0, n = 0;
    EXPECT_FALSE(kel_json_obj_foreach(obj, stop_at_two, &calls) || kel_json_obj_foreach(arr, stop_at_two, &calls));
    EXPECT_EQ(calls, 2);
    KelJsonObjIter iter;
    ASSERT_TRUE(!kel_json_obj_iter_init(&iter, arr) && kel_json_obj_iter_init(&iter, obj));
    const char *k;
    while (kel_json_obj_iter_next(&iter, &k, n == 1 ? nullptr : &second))
        n++;
    EXPECT_EQ(n, 5);
}

TEST(JsonObject, LookupsFollowReferencesReportFailuresAndCreate)
{
    JsonRoot root(parse(R"({"in~ner": {}, "list": [], "s": "text", "n": 5, "r": {"$ref": "#/nowhere"},
                            "holder": {"to_obj": {"$ref": "#/in~0ner"}, "to_text": {"$ref": "#/s"}, "dangling": {"$ref": "#/x"}}})"));
    KelJson *inner = member(root, "in~ner"), *list = member(root, "list"), *holder = member(root, "holder");
    ErrorSlot err;
    EXPECT_TRUE(kel_json_obj_get_obj_base(root, "in~ner", &err) == inner && kel_json_obj_get_array_base(root, "list", &err) == list);
    KelJson *r = member(root, "r");  // flag bit 0 alone follows references
    EXPECT_TRUE(kel_json_obj_get_jref_base(root, "r", &err) == r && kel_json_obj_get_base(root, "r", 2, &err) == r);
    EXPECT_TRUE(kel_json_obj_get_base(holder, "to_obj", 1, &err) == inner && !strcmp(kel_json_obj_get_str_base(holder, "to_text", &err), "text"));
    EXPECT_FALSE(err);
    const std::pair<const void *, const char *> failures[] = {
        {kel_json_obj_get_base(inner, "missing", 0, &err), "-3 JSON object \"/in~0ner\" does not have key missing"},
        {kel_json_obj_get_base(root, "100%d", 1, &err), "-3 JSON object \"\" does not have key 100%d"},
        {kel_json_obj_get_obj_base(list, "k", &err), "-2 kel_json_obj_get_base: invalid JSON type for \"/list\": expected object, got array"},
        {kel_json_obj_get_str_base(root, "n", &err), "-2 kel_json_obj_get_str_base: invalid JSON type for \"/n\": expected string, got int64"},
        {kel_json_obj_get_jref_base(root, "in~ner", &err),
         "-2 kel_json_obj_get_jref_base: invalid JSON type for \"/in~0ner\": expected reference, got object"}};
    for (size_t i = G_N_ELEMENTS(failures); i-- > 0;)  // newest first
        EXPECT_EQ(failures[i].first ? "<not NULL>" : err.pop(), failures[i].second);
    // Behind a reference (followed only with an empty chain) the value it led to is named.
    EXPECT_EQ(failure(err, kel_json_obj_get_array_base(holder, "to_obj", &err) == nullptr),
              "-2 kel_json_obj_get_array_base: invalid JSON type for \"/in~0ner\": expected array, got object");
    EXPECT_EQ(failure(err, kel_json_obj_get_obj_base(holder, "dangling", &err) == nullptr), "-3 JSON object \"\" does not have key x");

    // Get-or-create replaces a dangling reference or another kind; failures of
    // the object itself come from the put, alone.
    EXPECT_TRUE(kel_json_obj_getd_obj_base(holder, "to_obj", &err) == inner && kel_json_obj_getd_array_base(root, "list", &err) == list);
    KelJson *made = kel_json_obj_getd_obj_base(holder, "dangling", &err), *replaced = kel_json_obj_getd_array_base(root, "s", &err);
    EXPECT_TRUE(member(holder, "dangling") == made && kel_json_obj_size(made) == 0 && member(root, "s") == replaced &&
                kel_json_array_size(replaced) == 0 && kel_json_obj_getd_obj_base(root, "fresh", &err)->parent == root.get() && !err);
    EXPECT_EQ(failure(err, kel_json_obj_getd_array_base(list, "k", &err) == nullptr),
              "-2 kel_json_obj_put_base: invalid JSON type for \"/list\": expected object, got array");
    EXPECT_FALSE(err);
    // Following a reference while an error is pending: NULL, nothing added.
    kel_json_set_error(&err, KEL_JSON_POINTER_INVALID, "earlier");
    JsonRoot refs(parse(R"([{"$ref": "#/0"}])"));
    EXPECT_TRUE(kel_json_obj_get_base(root, "r", 1, &err) == nullptr && kel_json_array_get_base(refs, 0, 1, &err) == nullptr &&
                err.length() == 1);
}

TEST(JsonObject, TypedLookupsAcceptWhatFitsAndNameTheStoredKind)
{
    JsonRoot root(parse(R"({"i5": 5, "neg": -1, "d3": 3.0, "d3_5": 3.5, "d2_64": 18446744073709551616.0, "s": "true",
                            "yes": true, "to_i5": {"$ref": "#/i5"}})"));
    for (const auto &[key, value] : {std::pair{"u7", kel_json_u64_new_base(7)}, std::pair{"u2_63", kel_json_u64_new_base(9223372036854775808u)},
                                     std::pair{"wide", kel_json_u128_new_base({3, 1})}})
        kel_json_obj_put_base(root, key, value, nullptr);
    ErrorSlot err;
    EXPECT_TRUE(kel_json_obj_get_double_base(root, "i5", &err) == 5.0 && kel_json_obj_get_i64_base(root, "d3", &err) == 3);
    EXPECT_TRUE(kel_json_obj_get_i64_base(root, "u7", &err) == 7 && kel_json_obj_get_u64_base(root, "to_i5", &err) == 5u);
    EXPECT_TRUE(kel_json_obj_get_u64_base(root, "u2_63", &err) == 9223372036854775808u && kel_json_obj_get_bool_base(root, "yes", &err));
    EXPECT_TRUE(kel_json_obj_get_u128_base(root, "u7", &err).lo == 7 && kel_json_obj_get_u128_base(root, "wide", &err).hi == 1);
    EXPECT_FALSE(err);
    const std::pair<std::function<bool()>, std::string> refusals[] = {
        {[&] { return kel_json_obj_get_i64_base(root, "d3_5", &err) == 0; }, "i64 d3_5: expected int64, got double"},
        {[&] { return kel_json_obj_get_i64_base(root, "u2_63", &err) == 0; }, "i64 u2_63: expected int64, got uint64"},
        {[&] { return kel_json_obj_get_u64_base(root, "neg", &err) == 0; }, "u64 neg: expected uint64, got int64"},
        {[&] { return kel_json_obj_get_u64_base(root, "wide", &err) == 0; }, "u64 wide: expected uint64, got uint128"},
        {[&] { auto z = kel_json_obj_get_u128_base(root, "d2_64", &err); return (z.lo | z.hi) == 0; }, "u128 d2_64: expected uint128, got double"},
        {[&] { return kel_json_obj_get_double_base(root, "u2_63", &err) == 0.0; }, "double u2_63: expected double, got uint64"},
        {[&] { return !kel_json_obj_get_bool_base(root, "s", &err); }, "bool s: expected bool, got string"},
        {[&] { return !kel_json_obj_get_bool_base(root, "to_i5", &err); }, "bool i5: expected bool, got int64"}};  // names the target
    for (const auto &[call, what] : refusals) {
        EXPECT_TRUE(call()) << what;
        const size_t space = what.find(' '), colon = what.find(':');
        EXPECT_EQ(err.pop(), "-2 kel_json_obj_get_" + what.substr(0, space) + "_base: invalid JSON type for \"/" +
                                 what.substr(space + 1, colon - space - 1) + "\"" + what.substr(colon));
    }
    EXPECT_EQ(failure(err, kel_json_obj_get_i64_base(root, "missing", &err) == 0), "-3 JSON object \"\" does not have key missing");
    EXPECT_EQ(failure(err, kel_json_obj_get_double_base(member(root, "s"), "k", &err) == 0.0),
              "-2 kel_json_obj_get_base: invalid JSON type for \"/s\": expected object, got string");
}

TEST(JsonArray, GetSwapAndPopCountFromTheEndAndHandTheFormerElementOver)
{
    ErrorSlot err;
    JsonRoot root(parse(R"({"list": [10, 20, 30, {"$ref": "#/list/0"}]})"));
    KelJson *list = member(root, "list");
    EXPECT_EQ(kel_json_i64_get(kel_json_array_get_base(list, -2, 0, &err)), 30);
    // Flag bit 0 alone follows references.
    EXPECT_TRUE(kel_json_array_get_base(list, -1, 2, nullptr) == at(list, 3) && kel_json_array_get_base(list, -1, 1, nullptr) == at(list, 0));
    for (const auto &[index, shown] : {std::pair{-5, "-1"}, std::pair{4, "4"}, std::pair{G_MININT32, "-2147483644"}})
        EXPECT_EQ(failure(err, kel_json_array_get_base(list, index, 0, &err) == nullptr),  // the index after adjustment
                  std::string("-4 Index ") + shown + " is out of bounds for JSON array \"/list\"");
    EXPECT_EQ(failure(err, kel_json_array_get_base(root, 0, 0, &err) == nullptr),
              "-2 kel_json_array_get_base: invalid JSON type for \"\": expected array, got object");
    JsonRoot reserved(kel_json_array_new_base(-3, FALSE));  // a harmless reservation
    EXPECT_EQ(failure(err, kel_json_array_get_base(reserved, -1, 0, &err) == nullptr), "-4 Index -1 is out of bounds for JSON array \"\"");

    // Swap hands the array's reference on the former element to the caller.
    JsonRoot arr(parse("[10, 20, 30]"));
    KelJson *old = at(arr, 1), *fresh = kel_json_i64_new_base(21), *last = at(arr, 2);
    JsonRoot former(kel_json_array_swap(arr, 1, fresh, &err)), former_last(kel_json_array_swap(arr, -1, kel_json_i64_new_base(40), &err));
    EXPECT_TRUE(former.get() == old && former_last.get() == last && fresh->refcount == 1 && kel_json_parent_index(old) == -1 && old->refcount == 0);
    EXPECT_EQ(values_of(arr), (Ints{10, 21, 40}));
    JsonRoot loose(kel_json_null_new_base()), obj(parse("{}"));
    EXPECT_EQ(failure(err, kel_json_array_swap(arr, 3, loose, &err) == nullptr), "-4 Index 3 is out of bounds for JSON array \"\"");
    EXPECT_EQ(failure(err, kel_json_array_swap(arr, -4, loose, &err) == nullptr), "-4 Index -1 is out of bounds for JSON array \"\"");
    EXPECT_EQ(failure(err, kel_json_array_swap(obj, 0, loose, &err) == nullptr),
              "-2 kel_json_array_swap: invalid JSON type for \"\": expected array, got object");
    EXPECT_EQ(loose->refcount, 0);
    // A borrowing array swaps in a value owned elsewhere, writing no links.
    KelJson *nine = held(kel_json_i64_new_base(9));
    JsonRoot view(view_of({nine}));
    EXPECT_EQ(kel_json_array_swap(view, 0, at(arr, 2), &err), nine);
    EXPECT_TRUE(nine->refcount == 1 && at(arr, 2)->refcount == 2);
    kel_json_unref(nine);
    // Popped from a borrowing array, the element keeps its owner.
    EXPECT_TRUE(kel_json_array_pop_elem(view) == at(arr, 2) && at(arr, 2)->refcount == 1);
    EXPECT_EQ(values_of(arr), (Ints{10, 21, 40}));

    // Pop removes from the end; the single-element form hands the array's reference over.
    KelJson *third = held(at(arr, 2));
    EXPECT_TRUE(kel_json_array_pop(arr, 1) == 1 && third->parent == nullptr && third->refcount == 1 && values_of(arr) == (Ints{10, 21}));
    kel_json_unref(third);
    EXPECT_EQ(kel_json_array_pop(arr, 0) + kel_json_array_pop(arr, -5), 0);  // nothing removed
    JsonRoot popped(kel_json_array_pop_elem(arr));
    EXPECT_TRUE(kel_json_i64_get(popped) == 21 && popped->parent == nullptr && popped->refcount == 0);
    EXPECT_TRUE(kel_json_array_pop(arr, 10) == 1 && kel_json_array_pop_elem(arr) == nullptr);
    EXPECT_TRUE(kel_json_array_pop(obj, 1) == -1 && kel_json_array_size(obj) == -1 && kel_json_array_pop_elem(obj) == nullptr);
}

TEST(JsonArray, FilterKeepsOrderAndReleasesTheRestSortRenumbers)
{
    auto keep_even = [](KelJson *elem, gpointer data) -> gboolean {
        static_cast<Ints *>(data)->push_back(kel_json_i64_get(elem));
        return kel_json_i64_get(elem) % 2 == 0;
    };
    JsonRoot arr(parse("[1, 2, 3, 4]"));
    KelJson *three = held(at(arr, 2));
    Ints seen;
    EXPECT_TRUE(kel_json_array_filter(arr, keep_even, &seen) && values_of(arr) == (Ints{2, 4}) && seen == (Ints{1, 2, 3, 4}));
    EXPECT_TRUE(three->parent == nullptr && three->refcount == 1);  // released, alive through our count
    kel_json_unref(three);

    // Borrowing: the owners' index and key fields stay; rejected entries give their counts back.
    JsonRoot owner(parse("[1, 2, 3, 4, 5]")), obj(parse(R"({"seven": 7})"));
    JsonRoot view(view_of({at(owner, 4), at(owner, 3), at(owner, 2), at(owner, 1), at(owner, 0), member(obj, "seven"),
                           kel_json_i64_new_base(9), at(owner, 1)}));  // 9: held by the view alone
    seen.clear();
    EXPECT_TRUE(kel_json_array_filter(view, keep_even, &seen) && values_of(view) == (Ints{4, 2, 2}) &&
                seen == (Ints{5, 4, 3, 2, 1, 7, 9, 2}));
    EXPECT_EQ(values_of(owner), (Ints{1, 2, 3, 4, 5}));
    EXPECT_TRUE(strcmp(kel_json_parent_key(member(obj, "seven")), "seven") == 0 && member(obj, "seven")->refcount == 1);
    for (int i = 0; i < 5; i++)  // 2 is listed twice, 4 once
        EXPECT_EQ(at(owner, i)->refcount, i == 1 ? 3 : i == 3 ? 2 : 1) << i;

    // Sort renumbers owned elements only.
    auto by_value = [](gconstpointer a, gconstpointer b) -> gint {
        const gint64 x = kel_json_i64_get(*static_cast<KelJson *const *>(a)), y = kel_json_i64_get(*static_cast<KelJson *const *>(b));
        return (x > y) - (x < y);
    };
    JsonRoot unsorted(parse("[3, 1, 2]"));
    EXPECT_TRUE(kel_json_array_sort(unsorted, by_value) && values_of(unsorted) == (Ints{1, 2, 3}));
    EXPECT_TRUE(kel_json_array_sort(view, by_value) && values_of(view) == (Ints{2, 2, 4}) && values_of(owner) == (Ints{1, 2, 3, 4, 5}));
    EXPECT_FALSE(kel_json_array_filter(obj, keep_even, &seen) || kel_json_array_sort(obj, by_value));
}

// Constructors make fresh roots; puts and pushes make, link, and free on failure.
TEST(JsonFamilies, ConstructorsPutsAndPushes)
{
    const std::pair<KelJson *, KelJsonType> roots[] = {
        {kel_json_null_new_base(), KEL_JSON_NULL}, {kel_json_bool_new_base(42), KEL_JSON_TRUE}, {kel_json_bool_new_base(0), KEL_JSON_FALSE},
        {kel_json_i64_new_base(-5), KEL_JSON_INT64}, {kel_json_u128_new_base({7, 9}), KEL_JSON_UINT128},
        {kel_json_str_new_base("s", nullptr), KEL_JSON_STRING}, {kel_json_jref_new_base("\xff not checked", nullptr), KEL_JSON_JREF},
        {kel_json_obj_new_base(FALSE), KEL_JSON_OBJECT}, {kel_json_array_new_base(4, FALSE), KEL_JSON_ARRAY}};
    for (const auto &[json, kind] : roots)
        EXPECT_TRUE(json->type == kind && json->flags == 0 && json->refcount == 0 && json->parent == nullptr && json->key == nullptr) << kind;
    EXPECT_TRUE(strcmp(kel_json_jref_uri(roots[6].first), "\xff not checked") == 0 && kel_json_jref_uri(roots[5].first) == nullptr);
    for (const auto &m : roots)
        kel_json_unref(m.first);  // a new value dies on its first unref
    JsonRoot obj(kel_json_obj_new_base(FALSE)), arr(kel_json_array_new_base(0, FALSE));
    const std::pair<KelJson *, KelJsonType> made[] = {
        {kel_json_obj_put_obj_base(obj, "obj", nullptr), KEL_JSON_OBJECT}, {kel_json_obj_put_array_base(obj, "arr", nullptr), KEL_JSON_ARRAY},
        {kel_json_obj_put_str_base(obj, "str", "s", nullptr), KEL_JSON_STRING},
        {kel_json_obj_put_str_len_base(obj, "str_len", "abcdef", 2, nullptr), KEL_JSON_STRING},
        {kel_json_obj_put_bool_base(obj, "true", 7, nullptr), KEL_JSON_TRUE}, {kel_json_obj_put_bool_base(obj, "false", FALSE, nullptr), KEL_JSON_FALSE},
        {kel_json_obj_put_double_base(obj, "double", 2.5, nullptr), KEL_JSON_DOUBLE}, {kel_json_obj_put_i64_base(obj, "i64", -3, nullptr), KEL_JSON_INT64},
        {kel_json_obj_put_u64_base(obj, "u64", 3, nullptr), KEL_JSON_UINT64}, {kel_json_obj_put_u128_base(obj, "u128", {1, 2}, nullptr), KEL_JSON_UINT128},
        {kel_json_obj_put_jref_base(obj, "jref", "#/obj", nullptr), KEL_JSON_JREF}, {kel_json_obj_put_null_base(obj, "null", nullptr), KEL_JSON_NULL},
        {kel_json_array_push_array_base(arr, nullptr), KEL_JSON_ARRAY}, {kel_json_array_push_obj_base(arr, nullptr), KEL_JSON_OBJECT},
        {kel_json_array_push_bool_base(arr, 3, nullptr), KEL_JSON_TRUE}, {kel_json_array_push_bool_base(arr, FALSE, nullptr), KEL_JSON_FALSE},
        {kel_json_array_push_double_base(arr, 0.25, nullptr), KEL_JSON_DOUBLE}, {kel_json_array_push_i64_base(arr, -1, nullptr), KEL_JSON_INT64},
        {kel_json_array_push_u64_base(arr, 1, nullptr), KEL_JSON_UINT64}, {kel_json_array_push_u128_base(arr, {0, 1}, nullptr), KEL_JSON_UINT128},
        {kel_json_array_push_str_base(arr, "s", nullptr), KEL_JSON_STRING}};
    for (const auto &[value, kind] : made)
        EXPECT_TRUE(value && value->type == kind && value->refcount == 1 && (value->parent == obj.get() || value->parent == arr.get())) << kind;
    EXPECT_TRUE(strcmp(made[3].first->str, "ab") == 0 && kel_json_parent_index(made[20].first) == 8);
    EXPECT_EQ(dump(arr), "[[],{},true,false,0.250000,-1,1,18446744073709551616,\"s\"]");
    // Failed puts and pushes free what they made (LeakSanitizer checks);
    // the kind check is the plain put's or push's.
    ErrorSlot err;
    EXPECT_EQ(failure(err, kel_json_obj_put_u128_base(arr, "k", {1, 1}, &err) == nullptr),
              "-2 kel_json_obj_put_base: invalid JSON type for \"\": expected object, got array");
    EXPECT_EQ(failure(err, kel_json_array_push_str_base(obj, "s", &err) == nullptr),
              "-2 kel_json_array_push_base: invalid JSON type for \"\": expected array, got object");
    EXPECT_TRUE(!err && kel_json_obj_size(obj) == 12 && kel_json_array_size(arr) == 9);
}
