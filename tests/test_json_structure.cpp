// Deep copy, orphaning, child swap, placement at an index, subset and deep
// equality, array search and union.
#include <cmath>

#include "test_util.h"

using namespace kel_test;

namespace {

bool subset(const char *a, const char *b, guint flags)
{
    JsonRoot ja(parse(a)), jb(parse(b));
    return kel_json_subset(ja, jb, flags);
}

// `v`, with a count of the caller's own taken.

KelJson *innermost(KelJson *json)
{
    for (KelJson *child;; json = child) {
        child = json->type == KEL_JSON_ARRAY ? at(json, 0) : member(json, "k");
        if (child == nullptr || (child->type != KEL_JSON_ARRAY && child->type != KEL_JSON_OBJECT))
            return json;
    }
}

struct Union {
    JsonRoot left, right;
    ErrorSlot err;
    KelJson *result = nullptr;
    Union(const char *l, const char *r, guint flags) : left(parse(l)), right(parse(r)) { result = kel_json_union(left, right, flags, &err); }
    ~Union() { kel_json_unref(result != left.get() ? result : nullptr); }
};

}  // namespace

TEST(JsonCopy, EveryKindCopiesEqualAndIndependentBorrowingAsOwningUnknownLeftOut)
{
    JsonRoot src(parse(R"({"list": [1, {"$ref": "#/s"}], "s": "h\u00e9", "n": null, "t": true, "f": false, "d": -2.5,
                           "big": 340282366920938463463374607431768211455, "nested": {"o": {}, "a": [[], [null]]}})"));
    JsonRoot copy(kel_json_copy(src)), part(kel_json_copy(member(src, "nested")));  // a member's copy is a new root too
    EXPECT_TRUE(dump(copy) == dump(src) && dump(part) == R"({"a":[[],[null]],"o":{}})");
    EXPECT_TRUE(copy->refcount == 0 && copy->parent == nullptr && part->refcount == 0 && part->parent == nullptr);
    KelJson *list = member(copy, "list");
    EXPECT_TRUE(strcmp(kel_json_parent_key(list), "list") == 0 && kel_json_parent_index(at(list, 1)) == 1);
    // References are copied, not followed; strings get their own text.
    EXPECT_TRUE(strcmp(kel_json_jref_uri(at(list, 1)), "#/s") == 0 && member(copy, "s")->str != member(src, "s")->str);
    // Borrowing containers copy as owning ones; member names come from the
    // borrowing table, not from the members.
    JsonRoot borrowed(kel_json_array_new_base(0, TRUE)), borrowed_obj(kel_json_obj_new_base(TRUE));
    kel_json_array_push_base(borrowed, member(src, "nested"), nullptr);
    kel_json_array_push_base(borrowed, member(src, "t"), nullptr);
    kel_json_obj_put_base(borrowed_obj, "other", member(src, "t"), nullptr);
    JsonRoot array_copy(kel_json_copy(borrowed)), obj_copy(kel_json_copy(borrowed_obj));
    EXPECT_TRUE(array_copy->flags == 0 && dump(array_copy) == R"([{"a":[[],[null]],"o":{}},true])");
    EXPECT_TRUE(kel_json_parent_index(at(array_copy, 1)) == 1 && at(array_copy, 1) != at(borrowed, 1));
    EXPECT_TRUE(obj_copy->flags == 0 && strcmp(kel_json_parent_key(member(obj_copy, "other")), "other") == 0);

    // An unknown kind logs, and the walk goes on without it.
    LogCapture log;
    JsonRoot array(parse("[1, null, 3]"));
    KelJson *bad = at(array, 1);
    bad->type = 11;
    EXPECT_TRUE(kel_json_copy(bad) == nullptr && log.messages().size() == 1u &&
                log.last().find(" (kel_json_copy): should not be reached") != std::string::npos) << log.last();
    JsonRoot pruned(kel_json_copy(array));  // the corrupted member is left out
    bad->type = KEL_JSON_NULL;
    EXPECT_TRUE(dump(pruned) == "[1,3]" && log.messages().size() == 2u);
}

// The orphan keeps only the caller's counts: a middle element leaves null
// behind, the last one shrinks the array, a member leaves its object. A
// swapped-in child takes the old one's place.
TEST(JsonSurgery, MakeOrphanAndSwapChildDetachFromEitherContainer)
{
    JsonRoot array(parse("[1, 2, 3]")), obj(parse(R"({"a": [1], "b": 2, "c": 3})"));
    KelJson *two = at(array, 1), *three = held(at(array, 2)), *a = member(obj, "a");
    for (KelJson *v : {two, three, a})
        ASSERT_TRUE(kel_json_make_orphan_base(v));
    EXPECT_TRUE(dump(array) == "[1,null]" && dump(obj) == R"({"b":2,"c":3})");
    EXPECT_TRUE(two->parent == nullptr && two->refcount == 0 && three->parent == nullptr && three->refcount == 1 && a->parent == nullptr);
    for (KelJson *v : {two, three, a})
        kel_json_unref(v);
    EXPECT_TRUE(kel_json_make_orphan_base(obj));  // a root: nothing to do

    KelJson *old_child = member(obj, "b"), *fresh = kel_json_str_new_base("new", nullptr);
    ErrorSlot err;
    ASSERT_TRUE(kel_json_swap_child_base(old_child, fresh, &err));
    EXPECT_TRUE(member(obj, "b") == fresh && strcmp(kel_json_parent_key(fresh), "b") == 0 && fresh->refcount == 1);
    EXPECT_TRUE(old_child->parent == nullptr && old_child->refcount == 0);
    kel_json_unref(old_child);
    EXPECT_TRUE(!kel_json_swap_child_base(fresh, member(obj, "c"), &err) && err.code() == KEL_JSON_CHILD_OWNED);  // the new one has a parent
    EXPECT_EQ(dump(obj), R"({"b":"new","c":3})");
    KelJson *gap = at(array, 1), *repl = kel_json_bool_new_base(TRUE);
    ASSERT_TRUE(kel_json_swap_child_base(gap, repl, nullptr));
    EXPECT_TRUE(dump(array) == "[1,true]" && kel_json_parent_index(repl) == 1);
    kel_json_unref(gap);
    JsonRoot lone(kel_json_i64_new_base(5)), other(kel_json_i64_new_base(6));
    EXPECT_TRUE(kel_json_swap_child_base(lone, other, nullptr) && other->parent == nullptr);  // no parent: nothing changes
}

TEST(JsonSurgery, ArrayPutFillsAppendsAndReplaces)
{
    JsonRoot array(kel_json_array_new_base(0, FALSE)), fill(kel_json_null_new_base());
    KelJson *value = kel_json_str_new_base("v", nullptr);
    ErrorSlot err;
    ASSERT_TRUE(kel_json_array_put_ext(array, 3, value, fill, &err));
    EXPECT_TRUE(dump(array) == R"([null,null,null,"v"])" && kel_json_parent_index(value) == 3);
    EXPECT_TRUE(at(array, 0) != at(array, 1) && fill->parent == nullptr);  // copies of the fill

    JsonRoot list(parse("[1, 2]"));
    // Replacing drops the array's count and one more: a value survives only
    // with two counts of the caller's own. Without a fill, put appends.
    KelJson *former = held(held(at(list, 0)));
    ASSERT_TRUE(kel_json_array_put_ext(list, 2, kel_json_i64_new_base(3), nullptr, &err) &&
                kel_json_array_put_ext(list, 0, kel_json_i64_new_base(9), nullptr, &err));
    EXPECT_TRUE(former->parent == nullptr && former->refcount == 1);
    kel_json_unref(former);
    EXPECT_TRUE(kel_json_array_put_ext(list, -1, kel_json_i64_new_base(8), nullptr, &err) && dump(list) == "[9,2,8]" && !err);
    EXPECT_FALSE(kel_json_array_put_ext(list, 4, fill, nullptr, &err));  // one past the end needs a fill
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 4 is out of bounds for JSON array \"\"");
    EXPECT_EQ(dump(list), "[9,2,8]");
    JsonRoot obj(kel_json_obj_new_base(FALSE)), deep_fill(parse(R"({"deep": [1, 2]})"));
    // Into a non-array: the failed copy of the fill is released.
    EXPECT_TRUE(!kel_json_array_put_ext(obj, 2, fill, deep_fill, &err) && err.code() == KEL_JSON_TYPE_INVALID);
}

TEST(JsonSubset, ScalarsObjectsAndNesting)
{
    const guint eq = KEL_JSON_SUBSET_EQUAL, size = KEL_JSON_SUBSET_OBJ_SIZE;
    const std::tuple<const char *, const char *, guint, bool> cases[] = {
        {"1", "1.0", eq, true}, {"1.0", "1", eq, true}, {"-1", "18446744073709551615", eq, false}, {"true", "false", eq, false},
        {"18446744073709551615", "18446744073709551615.0", eq, false}, {"9007199254740993", "9007199254740993.0", eq, false},  // 2^64; ...992
        {"18446744073709551616", "18446744073709551616", eq, true}, {"18446744073709551616", "1.8446744073709552e19", eq, false},
        {"-0.0", "0", eq, true}, {"\"a\"", "\"a\"", eq, true}, {"\"1\"", "1", eq, false}, {"null", "false", eq, false}, {"{}", "[]", 0, false},
        {"{\"$ref\": \"#/x\"}", "{\"$ref\": \"#/x\"}", eq, true}, {"{\"$ref\": \"#/x\"}", "\"#/x\"", eq, false}, {"false", "0", eq, false},
        {R"({"a": 1})", R"({"a": 1, "b": 2})", 0, true}, {R"({"a": 1})", R"({"a": 1, "b": 2})", size, false},
        {R"({"a": [1, 3]})", R"({"a": [1, 2, 3], "b": 0})", 0, true},  // flags reach every level
        {R"({"a": [1, 3]})", R"({"a": [1, 2, 3]})", 1, false}, {R"([{"a": 1}])", R"([0, {"a": 1, "b": 2}])", size, false},
        // The second row: a reference is never followed.
        {R"({"a": 1, "b": 2})", R"({"b": 2.0, "a": 1})", eq, true}, {R"({"a": {"$ref": "#/b"}, "b": 1})", R"({"a": 1, "b": 1})", 0, false},
        // Subsequence matching is greedy: a later possible match is missed.
        {R"([{"x": 1}, {"x": 1, "y": 2}])", R"([{"x": 1, "y": 2}, {"x": 1}])", 0, false},
        {R"([{"x": 1}, {"x": 1, "y": 2}])", R"([{"x": 1, "y": 2}, {"x": 1}, {"x": 1, "y": 2}])", 0, true}};
    for (const auto &[a, b, flags, expected] : cases)
        EXPECT_EQ(subset(a, b, flags), expected) << a << " in " << b;

    // NaN, absent values; uint64 values (which come only from the API).
    JsonRoot nan(kel_json_double_new_base(NAN)), nan2(kel_json_double_new_base(NAN)), u5(kel_json_u64_new_base(5)), i5(kel_json_i64_new_base(5));
    JsonRoot w5(kel_json_u128_new_base(KelUint128{5, 0})), umax(kel_json_u64_new_base(G_MAXUINT64)), dmax(kel_json_double_new_base(0x1p64));
    EXPECT_TRUE(kel_json_subset(nan, nan, 0) && kel_json_subset(nullptr, nullptr, 0));  // the same node
    EXPECT_FALSE(kel_json_subset(nan, nan2, KEL_JSON_SUBSET_EQUAL) || kel_json_subset(nan, nullptr, 0) || kel_json_subset(nullptr, nan, 0));
    EXPECT_TRUE(kel_json_subset(u5, i5, 1) && kel_json_subset(i5, u5, 1) && kel_json_subset(w5, u5, 1));
    EXPECT_FALSE(kel_json_subset(umax, dmax, 1) || kel_json_subset(dmax, umax, 1));
    // Kinds without payload, and unknown kinds, compare by kind alone.
    JsonRoot odd(kel_json_null_new_base()), odd2(kel_json_null_new_base());
    odd->type = odd2->type = 11;
    EXPECT_TRUE(kel_json_subset(odd, odd2, 0));
    odd2->type = 12;
    EXPECT_FALSE(kel_json_subset(odd, odd2, 0));
    odd->type = odd2->type = KEL_JSON_NULL;
}

// One row per pair, one column per flag value: 0, 1, 3, 7, 8, 15.
TEST(JsonSubset, FlagMatrix)
{
    const guint flags[] = {0, 1, 3, 7, 8, 15};
    const std::tuple<const char *, const char *, std::array<bool, 6>> rows[] = {
        {"[1, 3]", "[1, 2, 3]", {1, 0, 0, 0, 1, 0}}, {"[3, 1]", "[1, 2, 3]", {0, 0, 0, 0, 0, 0}}, {"[2, 3]", "[1, 2, 3]", {1, 1, 0, 0, 1, 0}},
        {"[1, 2]", "[1, 2, 3]", {1, 1, 1, 0, 1, 0}}, {"[1, 2, 3]", "[1, 2, 3]", {1, 1, 1, 1, 1, 1}}, {"[]", "[1, 2, 3]", {1, 1, 1, 0, 1, 0}},
        {"[]", "[]", {1, 1, 1, 1, 1, 1}}, {"[1, 2, 3]", "[1, 2]", {0, 0, 0, 0, 0, 0}}, {"[2, 3]", "[1, 2, 2, 3]", {1, 1, 0, 0, 1, 0}},
        {"[1.0, 2]", "[1, 2.0]", {1, 1, 1, 1, 1, 1}}, {"[1]", "{\"0\": 1}", {0, 0, 0, 0, 0, 0}}, {"{}", "{}", {1, 1, 1, 1, 1, 1}},
        {R"({"a": 1, "b": 2})", R"({"a": 1})", {0, 0, 0, 0, 0, 0}}, {R"({"a": 1})", R"({"b": 1})", {0, 0, 0, 0, 0, 0}},
        {"[1, 1, 0, 1, 1, 1, 1]", "[1, 1.0, 0, 1, 1, 1, 0, 1, 1.0, 1, 1]", {1, 1, 0, 0, 1, 0}}};  // a run found after a partial one
    for (const auto &[a, b, expected] : rows)
        for (int f = 0; f < 6; f++)
            EXPECT_EQ(subset(a, b, flags[f]), expected[f]) << a << " in " << b << " flags " << flags[f];
}

// Runs of primitives are searched by class (equal numbers across kinds, NaN
// equal only to itself, large integers against doubles one way only); the
// answer must match element-by-element comparison at every offset.
TEST(JsonSubset, RunSearchAgreesWithElementComparison)
{
    KelJson *pool[] = {kel_json_i64_new_base(1), kel_json_double_new_base(1.0), kel_json_u64_new_base(1),
                       kel_json_double_new_base(-0.0), kel_json_i64_new_base(0), kel_json_str_new_base("1", nullptr),
                       kel_json_null_new_base(), kel_json_double_new_base(NAN), kel_json_i64_new_base(1LL << 60),
                       kel_json_double_new_base(0x1p60), kel_json_u128_new_base(KelUint128{1, 0}),
                       kel_json_double_new_base(-1.0), kel_json_u64_new_base(G_MAXUINT64), kel_json_array_new_base(0, FALSE)};
    kel_json_ref(pool[7]);  // a NaN some rows share as it is: kept alive across the borrowing arrays
    GRand *rng = g_rand_new_with_seed(7);
    for (int round = 0; round < 4000; round++) {
        const int kinds = (int[]){4, 6, 8, 14}[round % 4];  // two or three classes (repeats), no large numbers, all
        JsonRoot a(kel_json_array_new_base(0, TRUE)), b(kel_json_array_new_base(0, TRUE));  // may share the NaN
        const int na = g_rand_int_range(rng, 2, 10), nb = g_rand_int_range(rng, 0, 20);
        for (int i = 0; i < na + nb; i++) {
            const int k = g_rand_int_range(rng, 0, kinds) % (i < na ? 13 : 14);
            kel_json_array_push_base(i < na ? a : b, k == 7 && i % 3 == 0 ? pool[7] : kel_json_copy(pool[k]), nullptr);
        }
        bool expected = false;
        for (int s = 0; s + na <= nb && !expected; s++) {
            expected = true;
            for (int i = 0; i < na && expected; i++)
                expected = kel_json_subset(at(a, i), at(b, s + i), 0);
        }
        ASSERT_EQ(kel_json_subset(a, b, KEL_JSON_SUBSET_ARRAY_RUN), expected) << dump(a) << " in " << dump(b);
    }
    g_rand_free(rng);
    for (KelJson *v : pool)
        kel_json_unref(v);
}

TEST(JsonArrayFind, NumbersAcrossKindsAndStrings)
{
    JsonRoot array(parse(R"(["x", 18446744073709551615, 1.0, 1, "one", {"a": [1]}])"));
    JsonRoot one(kel_json_i64_new_base(1)), u1(kel_json_u64_new_base(1)), two(kel_json_i64_new_base(2)), pattern(parse(R"({"a": [1.0]})"));
    EXPECT_TRUE(kel_json_array_find(array, one) == at(array, 2) && kel_json_array_find(array, u1) == at(array, 2));
    EXPECT_TRUE(kel_json_array_find(array, pattern) == at(array, 5) && kel_json_array_find(array, two) == nullptr);
    EXPECT_TRUE(kel_json_array_find(pattern, one) == nullptr && kel_json_array_find_str(array, "one") == at(array, 4));  // not an array
    EXPECT_FALSE(kel_json_array_find_str(array, "on") || kel_json_array_find_str(array, "\xc3\x28"));
}

// Conflicts fail unless resolved (PREFER_RIGHT alone is not enough); a slot
// that already holds an error skips the copy steps that report into it
// (one-sided members, resolved conflicts); equal members and nested unions stay.
TEST(JsonUnion, ConflictsAndPendingErrors)
{
    // Unequal values are bad arguments, mismatched kinds type errors.
    const char *a_differs = "Cannot union values from /a and /a; primitives are not equal";
    const guint resolve = KEL_JSON_UNION_RESOLVE, append = KEL_JSON_UNION_APPEND_PRIMITIVES;
    const std::tuple<const char *, const char *, guint, std::string> failures[] = {
        {R"({"a": 1})", R"({"a": 2})", 0, a_differs}, {R"({"a": {}})", R"({"a": 2})", 0, a_differs},
        {R"({"a": 1})", R"({"a": 2})", 2, a_differs}, {R"({"a": {}})", R"({"a": 2})", 2, a_differs},
        {R"({"x": {"a~b": [1]}, "y": 1})", R"({"x": {"a~b": "s"}})", 0, "Cannot union values from /x/a~0b and /x/a~0b; primitives are not equal"},
        {R"({"a": []})", R"({"a": {}})", resolve, "Cannot union array with object"}, {"{}", "[]", 0, "Cannot union object with array"},
        {"[1, 2]", "[1, 3]", 0, "Cannot union differing array elements /1 and /1"},
        {R"({"l": [[0, 1]]})", R"({"l": [[0, 2]]})", resolve, "Cannot union differing array elements /l/0/1 and /l/0/1"},
        // Kinds in arrays compare exactly, not by value.
        {"[1]", "[1.0]", 0, "Cannot union arrays containing different types (integer and number)"},
        {"[true]", "[false]", append, "Cannot union arrays containing different types (boolean and boolean)"},
        {R"([1, {"a": 1}])", R"([2, {"b": 2}])", append, "Cannot union arrays containing different types (object and integer)"},
        // A failure deep down releases every new level and leaves the operands alone.
        {R"({"0": [1], "a": {"b": [{"d": [1, 2], "z": 1}], "e": "x"}, "f": [1]})", R"({"0": [1, 2], "a": {"b": [{"z": 2}], "y": {"q": 1}}, "g": {}})",
         0, "Cannot union values from /a/b/0/z and /a/b/0/z; primitives are not equal"},
        {"1.5", "{}", 0, "Cannot union primitive type number"}, {"[]", "null", 0, "Cannot union primitive type null"},
        {"{\"$ref\": \"#\"}", "{}", 0, "Cannot union primitive type reference"},
        {"[]", "{\"$ref\": \"#\"}", 0, "Cannot union primitive type reference"}};
    for (const auto &[l, r, flags, message] : failures) {
        Union u(l, r, flags);
        EXPECT_TRUE(u.result == nullptr && u.err.domain() == kel_json_error_domain() && dump(u.left) == dump(JsonRoot(parse(l)))) << l << " " << r;
        const bool unequal = message.find("not equal") != std::string::npos || message.find("differing") != std::string::npos;
        EXPECT_KEL_ERROR(u.err, unequal ? KEL_JSON_ARG_INVALID : KEL_JSON_TYPE_INVALID, message);
    }
    JsonRoot bad(kel_json_null_new_base());  // a corrupted kind counts as a primitive
    bad->type = 11;
    ErrorSlot err, pending;
    EXPECT_EQ(kel_json_union(bad, bad, 0, &err), nullptr);
    bad->type = KEL_JSON_NULL;
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "Cannot union primitive type <unknown>");
    JsonRoot left(parse(R"({"both": 1, "l": 1, "c": 1, "o": {"x": 1}})")), right(parse(R"({"both": 1, "r": 1, "c": 2, "o": {"y": 1}})"));
    kel_set_error(&pending, kel_error_domain(), KEL_IO_FAIL, "earlier");
    JsonRoot result(kel_json_union(left, right, KEL_JSON_UNION_RESOLVE, &pending));
    EXPECT_TRUE(dump(result) == R"({"both":1,"o":{}})" && pending.message() == "earlier" && pending->next == nullptr);
}

// Objects merge by name (equal primitives by value), arrays position by
// position, into a new tree that shares nothing with the operands, or in
// place into the left operand.
TEST(JsonUnion, MergedTreesNewOrInPlace)
{
    Union u(R"({"a": 1, "b": {"x": 1}})", R"({"b": {"y": 2}, "c": 3})", 0);
    ASSERT_NE(u.result, nullptr);
    EXPECT_TRUE(dump(u.result) == R"({"a":1,"b":{"x":1,"y":2},"c":3})" && member(u.result, "b")->parent == u.result &&
                member(u.result, "a") != member(u.left, "a"));
    const guint ip = KEL_JSON_UNION_IN_PLACE;
    const std::tuple<const char *, const char *, guint, const char *> cases[] = {
        {R"({"a": 1, "s": "t", "n": null})", R"({"a": 1.0, "s": "t", "n": null})", 0, R"({"a":1,"n":null,"s":"t"})"},
        {"[1, 2]", "[1, 2, 3]", 0, "[1,2,3]"}, {"[1, 2, 3]", "[1]", 0, "[1,2,3]"}, {"[1, 2]", "[3, 4]", 12, "[1,2,3,4]"},
        {"[1, 2]", "[3]", 4, "[1,2,3]"}, {R"([1, {"a": 1}])", R"([1, {"b": 2}])", 0, R"([1,{"a":1,"b":2}])"},
        {"[[1]]", "[[2]]", 4, "[[1,2]]"}, {"[[1]]", "[[2]]", 12, "[[1],[2]]"}, {"[[1], [2]]", "[[1]]", 0, "[[1],[2]]"},
        {"[]", "[]", 0, "[]"}, {"[1.5]", "[1.5]", 0, "[1.500000]"}, {R"([{"a": 1}])", R"([{"a": 2}])", 3, R"([{"a":2}])"},
        {R"({"o": {"l": [1]}})", R"({"o": {"l": [2]}})", 4, R"({"o":{"l":[1,2]}})"},
        {R"({"a": 1})", R"({"a": 2})", 1, R"({"a":1})"}, {R"({"a": {}})", R"({"a": 2})", 1, R"({"a":{}})"},  // resolved conflicts
        {R"({"a": 1})", R"({"a": 2})", 3, R"({"a":2})"}, {R"({"a": {}})", R"({"a": 2})", 3, R"({"a":2})"},
        {R"([1, [2]])", R"([1, [2, 3], 4])", ip, "[1,[2,3],4]"}, {R"({"a": 1, "b": [1]})", R"({"a": [2], "b": 3})", ip | 3, R"({"a":[2],"b":3})"},
        {"[[1], [2]]", "[[3], 4]", ip | 12, "[[1],[2],[3],4]"},
        // A failure in place keeps the changes made before it ("0new" sorts before "a").
        {R"({"a": 1})", R"({"0new": 5, "a": 2, "b": 3})", ip, R"({"0new":5,"a":1})"},
        {R"([{"a": 1}, 1])", R"([{"b": 2}, 2])", ip, R"([{"a":1,"b":2},1])"}};
    for (const auto &[l, r, flags, expected] : cases) {
        Union u(l, r, flags);
        const bool in_place = flags & ip;
        EXPECT_EQ(dump(in_place ? u.left.get() : u.result), expected) << l << " " << r << " " << flags << ": " << u.err.message();
        EXPECT_TRUE(dump(u.right) == dump(JsonRoot(parse(r))) &&
                    (in_place ? u.result == u.left.get() || (u.result == nullptr && u.err.code() == KEL_JSON_ARG_INVALID)
                              : u.result && u.result != u.left.get() && u.result->refcount == 0 && u.result->parent == nullptr &&
                                    dump(u.left) == dump(JsonRoot(parse(l))))) << l << " " << r;
    }
}

// In place, with itself (or a part of itself) as the right, the walk reads
// only the elements the right operand had at the start, so it ends; not in
// place it is a plain copy.
TEST(JsonUnion, InPlaceAlsoWithItselfOrAPartOfItself)
{
    Union obj(R"({"a": 1, "o": {"x": 1}})", R"({"b": 2, "o": {"y": [1]}})", KEL_JSON_UNION_IN_PLACE);
    EXPECT_TRUE(obj.result == obj.left.get() && dump(obj.left) == R"({"a":1,"b":2,"o":{"x":1,"y":[1]}})");
    KelJson *y = member(member(obj.left, "o"), "y");
    EXPECT_TRUE(y != member(member(obj.right, "o"), "y") && pointer_of(at(y, 0)) == "/o/y/0");
    JsonRoot prims(parse("[1, 2]")), nested(parse("[[1], [2]]")), doc(parse(R"({"a": 1, "l": [1, 2], "o": {"p": [true]}})"));
    ErrorSlot err;
    const guint append = KEL_JSON_UNION_IN_PLACE | KEL_JSON_UNION_APPEND_PRIMITIVES;
    EXPECT_TRUE(kel_json_union(prims, prims, append, &err) == prims.get() &&
                kel_json_union(prims, prims, KEL_JSON_UNION_IN_PLACE, &err) == prims.get() && dump(prims) == "[1,2,1,2]");
    EXPECT_TRUE(kel_json_union(nested, nested, append | KEL_JSON_UNION_APPEND_CONTAINERS, &err) == nested.get() &&
                dump(nested) == "[[1],[2],[1],[2]]" && pointer_of(at(at(nested, 3), 0)) == "/3/0");
    EXPECT_TRUE(kel_json_union(doc, doc, append, &err) == doc.get() && dump(doc) == R"({"a":1,"l":[1,2,1,2],"o":{"p":[true,true]}})" && !err);
    EXPECT_EQ(dump(JsonRoot(kel_json_union(doc, doc, 0, &err))), dump(doc));
    JsonRoot left(parse(R"({"a": {"a": 1, "b": 2}})"));  // the right operand inside the left one
    const guint flags = KEL_JSON_UNION_IN_PLACE | KEL_JSON_UNION_RESOLVE | KEL_JSON_UNION_PREFER_RIGHT;
    EXPECT_TRUE(kel_json_union(left, member(left, "a"), flags, &err) == left.get() && dump(left) == R"({"a":1,"b":2})");
}

// Far deeper than recursion could go on the default stack (plain copies and
// equality of such chains are checked in test_deep).
class JsonCopyDeep : public ::testing::TestWithParam<bool> {};

TEST_P(JsonCopyDeep, MillionLevelChainsCompareAndUnite)
{
    const bool objects = GetParam();
    KelJson *leaf_l = nullptr, *leaf_r = nullptr;
    JsonRoot left(deep_chain(objects, 1000000, &leaf_l)), right(deep_chain(objects, 1000000, &leaf_r));
    JsonRoot copy(kel_json_copy(left));
    if (objects)
        kel_json_obj_put_i64_base(leaf_l, "l", 1, nullptr);
    objects ? kel_json_obj_put_i64_base(leaf_r, "r", 2, nullptr) : kel_json_array_push_i64_base(leaf_r, 2, nullptr);
    EXPECT_TRUE(kel_json_subset(copy, right, 0) && !kel_json_subset(copy, right, KEL_JSON_SUBSET_EQUAL) && !kel_json_subset(right, copy, 0));
    ErrorSlot err;
    JsonRoot merged(kel_json_union(left, right, 0, &err));
    ASSERT_NE(merged.get(), nullptr) << err.message();
    EXPECT_EQ(dump(innermost(merged)), objects ? R"({"l":1,"r":2})" : "[2]");
    EXPECT_TRUE(kel_json_subset(left, merged, 0) && kel_json_subset(right, merged, 0));
    EXPECT_TRUE(kel_json_union(left, right, KEL_JSON_UNION_IN_PLACE, &err) == left.get() && kel_json_subset(merged, left, KEL_JSON_SUBSET_EQUAL));
    // A conflict at the bottom fails every level and releases them all.
    if (!objects)
        kel_json_array_push_i64_base(innermost(left), 3, nullptr);
    objects ? kel_json_obj_put_i64_base(leaf_r, "l", 3, nullptr) : kel_json_array_push_str_base(leaf_r, "x", nullptr);
    EXPECT_TRUE(kel_json_union(left, right, 0, &err) == nullptr && err.code() == (objects ? KEL_JSON_ARG_INVALID : KEL_JSON_TYPE_INVALID));
}

INSTANTIATE_TEST_SUITE_P(ArraysAndObjects, JsonCopyDeep, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Objects" : "Arrays"; });
