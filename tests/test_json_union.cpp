// Subset and deep equality, array search, and union.
#include <cmath>
#include <string>
#include <vector>

#include "test_util.h"

using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::LogCapture;
using kel_test::pointer_of;

namespace {

KelJson *parse(const char *text)
{
    KelJson *json = kel_json_loads(text, 0, nullptr);
    EXPECT_NE(json, nullptr) << text;
    return json;
}

KelJson *get(KelJson *object, const char *key)
{
    return kel_json_obj_get_base(object, key, 0, nullptr);
}

KelJson *at(KelJson *array, int index)
{
    return kel_json_array_get_base(array, index, 0, nullptr);
}

bool subset(const char *a, const char *b, guint flags)
{
    JsonRoot ja(parse(a));
    JsonRoot jb(parse(b));
    return kel_json_subset(ja, jb, flags);
}

// A chain of `depth` containers, each holding the next under "k" (objects)
// or at position 0 (arrays); returns the root and the innermost level.
KelJson *chain(bool objects, int depth, KelJson **leaf)
{
    KelJson *root = objects ? kel_json_obj_new_base(FALSE) : kel_json_array_new_base(0, FALSE);
    KelJson *current = root;
    for (int i = 1; i < depth; i++)
        current = objects ? kel_json_obj_put_obj_base(current, "k", nullptr)
                          : kel_json_array_push_array_base(current, nullptr);
    *leaf = current;
    return root;
}

KelJson *innermost(KelJson *json)
{
    for (;;) {
        KelJson *child = json->type == KEL_JSON_ARRAY ? at(json, 0) : get(json, "k");
        if (child == nullptr || (child->type != KEL_JSON_ARRAY && child->type != KEL_JSON_OBJECT))
            return json;
        json = child;
    }
}

struct Union {
    JsonRoot left;
    JsonRoot right;
    ErrorSlot err;
    KelJson *result = nullptr;

    Union(const char *l, const char *r, guint flags) : left(parse(l)), right(parse(r))
    {
        result = kel_json_union(left, right, flags, &err);
    }
    ~Union()
    {
        if (result != left.get())
            kel_json_unref(result);
    }
};

}  // namespace

// ---- Subset ---------------------------------------------------------------

TEST(JsonSubset, SameNodeAndNulls)
{
    JsonRoot nan(kel_json_double_new_base(NAN));
    JsonRoot nan2(kel_json_double_new_base(NAN));
    EXPECT_TRUE(kel_json_subset(nan, nan, 0));
    EXPECT_FALSE(kel_json_subset(nan, nan2, KEL_JSON_SUBSET_EQUAL));
    EXPECT_TRUE(kel_json_subset(nullptr, nullptr, 0));
    EXPECT_FALSE(kel_json_subset(nan, nullptr, 0));
    EXPECT_FALSE(kel_json_subset(nullptr, nan, 0));

    // uint64 values come only from the API (the parser makes uint128).
    JsonRoot u5(kel_json_u64_new_base(5));
    JsonRoot i5(kel_json_i64_new_base(5));
    JsonRoot w5(kel_json_u128_new_base(KelUint128{5, 0}));
    JsonRoot umax(kel_json_u64_new_base(G_MAXUINT64));
    JsonRoot dmax(kel_json_double_new_base(18446744073709551616.0));
    EXPECT_TRUE(kel_json_subset(u5, i5, KEL_JSON_SUBSET_EQUAL));
    EXPECT_TRUE(kel_json_subset(i5, u5, KEL_JSON_SUBSET_EQUAL));
    EXPECT_TRUE(kel_json_subset(w5, u5, KEL_JSON_SUBSET_EQUAL));
    EXPECT_FALSE(kel_json_subset(umax, dmax, KEL_JSON_SUBSET_EQUAL));
    EXPECT_FALSE(kel_json_subset(dmax, umax, KEL_JSON_SUBSET_EQUAL));  // umax is not exact

    // Kinds without a payload, and unknown kinds, compare by kind alone.
    JsonRoot odd(kel_json_null_new_base());
    JsonRoot odd2(kel_json_null_new_base());
    odd->type = odd2->type = 11;
    EXPECT_TRUE(kel_json_subset(odd, odd2, 0));
    odd2->type = 12;
    EXPECT_FALSE(kel_json_subset(odd, odd2, 0));
    odd->type = odd2->type = KEL_JSON_NULL;
}

TEST(JsonSubset, ScalarsByKindAndValue)
{
    struct Case {
        const char *a, *b;
        bool expected;
    } cases[] = {
        {"1", "1.0", true},
        {"1.0", "1", true},
        {"-1", "18446744073709551615", false},
        {"18446744073709551615", "18446744073709551615.0", false},  // the double is 2^64
        {"9007199254740993", "9007199254740993.0", false},  // b rounds to ...992
        {"18446744073709551616", "18446744073709551616", true},  // uint128
        {"18446744073709551616", "1.8446744073709552e19", false},  // double above uint64
        {"-0.0", "0", true},
        {"\"a\"", "\"a\"", true},
        {"\"1\"", "1", false},
        {"{\"$ref\": \"#/x\"}", "{\"$ref\": \"#/x\"}", true},
        {"{\"$ref\": \"#/x\"}", "\"#/x\"", false},
        {"null", "false", false},
        {"true", "false", false},
        {"false", "0", false},
    };
    for (const Case &c : cases)
        EXPECT_EQ(subset(c.a, c.b, KEL_JSON_SUBSET_EQUAL), c.expected) << c.a << " in " << c.b;
}

TEST(JsonSubset, Objects)
{
    EXPECT_TRUE(subset(R"({"a": 1})", R"({"a": 1, "b": 2})", 0));
    EXPECT_FALSE(subset(R"({"a": 1})", R"({"a": 1, "b": 2})", KEL_JSON_SUBSET_OBJ_SIZE));
    EXPECT_TRUE(subset(R"({"a": 1, "b": 2})", R"({"b": 2.0, "a": 1})", KEL_JSON_SUBSET_EQUAL));
    for (guint flags : {0u, 1u, 3u, 7u, 8u, 15u}) {
        EXPECT_FALSE(subset(R"({"a": 1, "b": 2})", R"({"a": 1})", flags)) << flags;
        EXPECT_FALSE(subset(R"({"a": 1})", R"({"b": 1})", flags)) << flags;
        EXPECT_TRUE(subset("{}", "{}", flags)) << flags;
    }
    EXPECT_FALSE(subset("{}", "[]", 0));
    // The flags reach every nested level.
    EXPECT_TRUE(subset(R"({"a": [1, 3]})", R"({"a": [1, 2, 3], "b": 0})", 0));
    EXPECT_FALSE(subset(R"({"a": [1, 3]})", R"({"a": [1, 2, 3]})", 1));
    EXPECT_FALSE(subset(R"([{"a": 1}])", R"([0, {"a": 1, "b": 2}])", KEL_JSON_SUBSET_OBJ_SIZE));
    // References are compared as references, never followed.
    EXPECT_FALSE(subset(R"({"a": {"$ref": "#/b"}, "b": 1})", R"({"a": 1, "b": 1})", 0));
}

// One row per pair, one column per flag value: 0, 1, 3, 7, 8, 15.
TEST(JsonSubset, ArrayFlagMatrix)
{
    const guint flags[] = {0, 1, 3, 7, 8, 15};
    struct Row {
        const char *a, *b;
        bool expected[6];
    } rows[] = {
        {"[1, 3]", "[1, 2, 3]", {true, false, false, false, true, false}},
        {"[3, 1]", "[1, 2, 3]", {false, false, false, false, false, false}},
        {"[2, 3]", "[1, 2, 3]", {true, true, false, false, true, false}},
        {"[1, 2]", "[1, 2, 3]", {true, true, true, false, true, false}},
        {"[1, 2, 3]", "[1, 2, 3]", {true, true, true, true, true, true}},
        {"[]", "[1, 2, 3]", {true, true, true, false, true, false}},
        {"[]", "[]", {true, true, true, true, true, true}},
        {"[1, 2, 3]", "[1, 2]", {false, false, false, false, false, false}},
        {"[2, 3]", "[1, 2, 2, 3]", {true, true, false, false, true, false}},
        {"[1.0, 2]", "[1, 2.0]", {true, true, true, true, true, true}},
        {"[1]", "{\"0\": 1}", {false, false, false, false, false, false}},
    };
    for (const Row &row : rows)
        for (int f = 0; f < 6; f++)
            EXPECT_EQ(subset(row.a, row.b, flags[f]), row.expected[f])
                << row.a << " in " << row.b << " flags " << flags[f];
}

TEST(JsonSubset, SubsequenceMatchingIsGreedy)
{
    // The first element of a takes the first fitting element of b and is
    // not reconsidered, so a possible match later in b is missed.
    EXPECT_FALSE(subset(R"([{"x": 1}, {"x": 1, "y": 2}])", R"([{"x": 1, "y": 2}, {"x": 1}])", 0));
    EXPECT_TRUE(subset(R"([{"x": 1}, {"x": 1, "y": 2}])",
                       R"([{"x": 1, "y": 2}, {"x": 1}, {"x": 1, "y": 2}])", 0));
}

class JsonSubsetDeep : public ::testing::TestWithParam<bool> {};

TEST_P(JsonSubsetDeep, MillionLevelChains)
{
    constexpr int kDepth = 1000000;
    KelJson *leaf_a = nullptr;
    KelJson *leaf_b = nullptr;
    JsonRoot a(chain(GetParam(), kDepth, &leaf_a));
    JsonRoot b(chain(GetParam(), kDepth, &leaf_b));
    EXPECT_TRUE(kel_json_subset(a, b, KEL_JSON_SUBSET_EQUAL));

    // One more value at the bottom of b: a is still contained, not equal.
    if (GetParam())
        kel_json_obj_put_i64_base(leaf_b, "x", 1, nullptr);
    else
        kel_json_array_push_i64_base(leaf_b, 1, nullptr);
    EXPECT_TRUE(kel_json_subset(a, b, 0));
    EXPECT_FALSE(kel_json_subset(a, b, KEL_JSON_SUBSET_EQUAL));
    EXPECT_FALSE(kel_json_subset(b, a, 0));
}

INSTANTIATE_TEST_SUITE_P(ArraysAndObjects, JsonSubsetDeep, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Objects" : "Arrays"; });

// ---- Array search -------------------------------------------------------------

TEST(JsonArrayFind, NumbersAcrossKindsAndStrings)
{
    JsonRoot array(parse(R"(["x", 18446744073709551615, 1.0, 1, "one", {"a": [1]}])"));
    JsonRoot one(kel_json_i64_new_base(1));
    EXPECT_EQ(kel_json_array_find(array, one), at(array, 2));
    JsonRoot u64one(kel_json_u64_new_base(1));
    EXPECT_EQ(kel_json_array_find(array, u64one), at(array, 2));
    JsonRoot pattern(parse(R"({"a": [1.0]})"));
    EXPECT_EQ(kel_json_array_find(array, pattern), at(array, 5));
    JsonRoot missing(kel_json_i64_new_base(2));
    EXPECT_EQ(kel_json_array_find(array, missing), nullptr);
    EXPECT_EQ(kel_json_array_find(array, nullptr), nullptr);
    EXPECT_EQ(kel_json_array_find(nullptr, one), nullptr);
    EXPECT_EQ(kel_json_array_find(pattern, one), nullptr);  // not an array

    EXPECT_EQ(kel_json_array_find_str(array, "one"), at(array, 4));
    EXPECT_EQ(kel_json_array_find_str(array, "on"), nullptr);
    EXPECT_EQ(kel_json_array_find_str(array, nullptr), nullptr);
    EXPECT_EQ(kel_json_array_find_str(array, "\xc3\x28"), nullptr);
}

// ---- Union: objects ---------------------------------------------------------

TEST(JsonUnion, ObjectsMergeIntoANewTree)
{
    Union u(R"({"a": 1, "b": {"x": 1}})", R"({"b": {"y": 2}, "c": 3})", 0);
    ASSERT_NE(u.result, nullptr);
    EXPECT_FALSE(u.err);
    EXPECT_NE(u.result, u.left.get());
    EXPECT_EQ(u.result->refcount, 0);
    EXPECT_EQ(u.result->parent, nullptr);
    EXPECT_EQ(dump(u.result), R"({"a":1,"b":{"x":1,"y":2},"c":3})");
    EXPECT_EQ(dump(u.left), R"({"a":1,"b":{"x":1}})");
    EXPECT_EQ(dump(u.right), R"({"b":{"y":2},"c":3})");
    // Nothing of the result is shared with the operands.
    EXPECT_EQ(get(u.result, "b")->parent, u.result);
    EXPECT_NE(get(u.result, "a"), get(u.left, "a"));
}

TEST(JsonUnion, ConflictingMembers)
{
    for (const char *left : {R"({"a": 1})", R"({"a": {}})"}) {
        Union fail(left, R"({"a": 2})", 0);
        EXPECT_EQ(fail.result, nullptr);
        EXPECT_KEL_ERROR(fail.err, KEL_JSON_ARG_INVALID,
                         "Cannot union values from /a and /a; primitives are not equal");
        EXPECT_EQ(fail.err.domain(), kel_json_error_domain());

        // PREFER_RIGHT without RESOLVE changes nothing.
        Union still_fails(left, R"({"a": 2})", KEL_JSON_UNION_PREFER_RIGHT);
        EXPECT_EQ(still_fails.result, nullptr);

        Union keep(left, R"({"a": 2})", KEL_JSON_UNION_RESOLVE);
        EXPECT_EQ(dump(keep.result), std::string("{\"a\":") + (left[6] == '1' ? "1}" : "{}}"));
        Union prefer(left, R"({"a": 2})",
                     KEL_JSON_UNION_RESOLVE | KEL_JSON_UNION_PREFER_RIGHT);
        EXPECT_EQ(dump(prefer.result), R"({"a":2})");
    }

    Union nested(R"({"x": {"a~b": [1]}, "y": 1})", R"({"x": {"a~b": "s"}})", 0);
    EXPECT_KEL_ERROR(nested.err, KEL_JSON_ARG_INVALID,
                     "Cannot union values from /x/a~0b and /x/a~0b; primitives are not equal");

    // Equal primitives are equal by value, across number kinds.
    Union equal(R"({"a": 1, "s": "t", "n": null})", R"({"a": 1.0, "s": "t", "n": null})", 0);
    EXPECT_EQ(dump(equal.result), R"({"a":1,"n":null,"s":"t"})");
}

TEST(JsonUnion, MismatchedContainersAndPrimitiveOperands)
{
    Union kinds(R"({"a": []})", R"({"a": {}})", KEL_JSON_UNION_RESOLVE);
    EXPECT_EQ(kinds.result, nullptr);
    EXPECT_KEL_ERROR(kinds.err, KEL_JSON_TYPE_INVALID, "Cannot union array with object");

    Union top("{}", "[]", 0);
    EXPECT_KEL_ERROR(top.err, KEL_JSON_TYPE_INVALID, "Cannot union object with array");

    struct Case {
        const char *text, *name;
    } cases[] = {{"1", "integer"}, {"18446744073709551615", "integer"}, {"1.5", "number"},
                 {"true", "boolean"}, {"\"s\"", "string"}, {"null", "null"},
                 {"{\"$ref\": \"#\"}", "reference"}};
    for (const Case &c : cases) {
        Union as_left(c.text, "{}", 0);
        EXPECT_EQ(as_left.result, nullptr);
        EXPECT_KEL_ERROR(as_left.err, KEL_JSON_TYPE_INVALID,
                         std::string("Cannot union primitive type ") + c.name);
        Union as_right("[]", c.text, 0);
        EXPECT_KEL_ERROR(as_right.err, KEL_JSON_TYPE_INVALID,
                         std::string("Cannot union primitive type ") + c.name);
    }

    // Every kind but object and array counts as a primitive, so a node whose
    // kind field was corrupted is refused like one.
    JsonRoot bad(kel_json_null_new_base());
    bad->type = 11;
    ErrorSlot err;
    EXPECT_EQ(kel_json_union(bad, bad, 0, &err), nullptr);
    bad->type = KEL_JSON_NULL;
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "Cannot union primitive type <unknown>");
}

TEST(JsonUnion, NullOperandsWarnWithoutError)
{
    LogCapture log;
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    ErrorSlot err;
    EXPECT_EQ(kel_json_union(nullptr, obj, 0, &err), nullptr);
    EXPECT_EQ(log.last(), "kel_json_union: assertion 'left' failed");
    EXPECT_EQ(kel_json_union(obj, nullptr, 0, &err), nullptr);
    EXPECT_EQ(log.last(), "kel_json_union: assertion 'right' failed");
    EXPECT_FALSE(err);
}

// A slot that already holds an error skips the copy steps that report into
// it (members present on one side only, resolved conflicts); members equal
// on both sides and nested unions are still taken.
TEST(JsonUnion, PendingErrorSkipsOneSidedMembers)
{
    JsonRoot left(parse(R"({"both": 1, "l": 1, "c": 1, "o": {"x": 1}})"));
    JsonRoot right(parse(R"({"both": 1, "r": 1, "c": 2, "o": {"y": 1}})"));
    ErrorSlot err;
    kel_set_error(&err, kel_error_domain(), KEL_IO_FAIL, "earlier");
    JsonRoot result(kel_json_union(left, right, KEL_JSON_UNION_RESOLVE, &err));
    ASSERT_NE(result.get(), nullptr);
    EXPECT_EQ(dump(result), R"({"both":1,"o":{}})");
    EXPECT_EQ(err.message(), "earlier");
    EXPECT_EQ(err->next, nullptr);
}

// ---- Union: arrays ------------------------------------------------------------

TEST(JsonUnion, ArraysPositionByPosition)
{
    struct Case {
        const char *left, *right;
        guint flags;
        const char *expected;
    } cases[] = {
        {"[1, 2]", "[1, 2, 3]", 0, "[1,2,3]"},
        {"[1, 2, 3]", "[1]", 0, "[1,2,3]"},
        {"[1, 2]", "[3, 4]", 12, "[1,2,3,4]"},
        {"[1, 2]", "[3]", 4, "[1,2,3]"},
        {R"([1, {"a": 1}])", R"([1, {"b": 2}])", 0, R"([1,{"a":1,"b":2}])"},
        {"[[1]]", "[[2]]", 4, "[[1,2]]"},
        {"[[1]]", "[[2]]", 12, "[[1],[2]]"},
        {"[[1], [2]]", "[[1]]", 0, "[[1],[2]]"},
        {"[]", "[]", 0, "[]"},
        {"[1.5]", "[1.5]", 0, "[1.500000]"},
        {R"([{"a": 1}])", R"([{"a": 2}])", 3, R"([{"a":2}])"},
        {R"({"o": {"l": [1]}})", R"({"o": {"l": [2]}})", 4, R"({"o":{"l":[1,2]}})"},
    };
    for (const Case &c : cases) {
        Union u(c.left, c.right, c.flags);
        ASSERT_NE(u.result, nullptr) << c.left << " " << c.right << ": " << u.err.message();
        EXPECT_EQ(dump(u.result), c.expected) << c.left << " " << c.right << " " << c.flags;
        EXPECT_EQ(dump(u.left), dump(JsonRoot(parse(c.left))));
    }
}

TEST(JsonUnion, ArrayFailures)
{
    Union differ("[1, 2]", "[1, 3]", 0);
    EXPECT_EQ(differ.result, nullptr);
    EXPECT_KEL_ERROR(differ.err, KEL_JSON_ARG_INVALID,
                     "Cannot union differing array elements /1 and /1");

    Union nested(R"({"l": [[0, 1]]})", R"({"l": [[0, 2]]})", KEL_JSON_UNION_RESOLVE);
    EXPECT_KEL_ERROR(nested.err, KEL_JSON_ARG_INVALID,
                     "Cannot union differing array elements /l/0/1 and /l/0/1");

    // Kinds are compared exactly, not by value.
    Union kinds("[1]", "[1.0]", 0);
    EXPECT_KEL_ERROR(kinds.err, KEL_JSON_TYPE_INVALID,
                     "Cannot union arrays containing different types (integer and number)");
    Union bools("[true]", "[false]", KEL_JSON_UNION_APPEND_PRIMITIVES);
    EXPECT_KEL_ERROR(bools.err, KEL_JSON_TYPE_INVALID,
                     "Cannot union arrays containing different types (boolean and boolean)");
    Union mixed(R"([1, {"a": 1}])", R"([2, {"b": 2}])", KEL_JSON_UNION_APPEND_PRIMITIVES);
    EXPECT_KEL_ERROR(mixed.err, KEL_JSON_TYPE_INVALID,
                     "Cannot union arrays containing different types (object and integer)");
}

// A failure deep down releases every new level built so far (the sanitizer
// build checks for leaks) and leaves the operands as they were.
TEST(JsonUnion, FailureReleasesNewResults)
{
    const char *left = R"({"0": [1], "a": {"b": [{"d": [1, 2], "z": 1}], "e": "x"}, "f": [1]})";
    Union u(left, R"({"0": [1, 2], "a": {"b": [{"z": 2}], "y": {"q": 1}}, "g": {}})", 0);
    EXPECT_EQ(u.result, nullptr);
    EXPECT_KEL_ERROR(u.err, KEL_JSON_ARG_INVALID,
                     "Cannot union values from /a/b/0/z and /a/b/0/z; primitives are not equal");
    EXPECT_EQ(dump(u.left), dump(JsonRoot(parse(left))));
}

// ---- Union: in place ----------------------------------------------------------

TEST(JsonUnion, InPlaceChangesAndReturnsLeft)
{
    Union obj(R"({"a": 1, "o": {"x": 1}})", R"({"b": 2, "o": {"y": [1]}})",
              KEL_JSON_UNION_IN_PLACE);
    EXPECT_EQ(obj.result, obj.left.get());
    EXPECT_EQ(dump(obj.left), R"({"a":1,"b":2,"o":{"x":1,"y":[1]}})");
    EXPECT_EQ(dump(obj.right), R"({"b":2,"o":{"y":[1]}})");
    KelJson *y = get(get(obj.left, "o"), "y");
    EXPECT_NE(y, get(get(obj.right, "o"), "y"));
    EXPECT_EQ(pointer_of(at(y, 0)), "/o/y/0");

    Union array(R"([1, [2]])", R"([1, [2, 3], 4])", KEL_JSON_UNION_IN_PLACE);
    EXPECT_EQ(array.result, array.left.get());
    EXPECT_EQ(dump(array.left), "[1,[2,3],4]");

    Union prefer(R"({"a": 1, "b": [1]})", R"({"a": [2], "b": 3})",
                 KEL_JSON_UNION_IN_PLACE | KEL_JSON_UNION_RESOLVE | KEL_JSON_UNION_PREFER_RIGHT);
    EXPECT_EQ(dump(prefer.left), R"({"a":[2],"b":3})");

    Union concat("[[1], [2]]", "[[3], 4]",
                 KEL_JSON_UNION_IN_PLACE | KEL_JSON_UNION_APPEND_PRIMITIVES |
                     KEL_JSON_UNION_APPEND_CONTAINERS);
    EXPECT_EQ(concat.result, concat.left.get());
    EXPECT_EQ(dump(concat.left), "[[1],[2],[3],4]");
}

TEST(JsonUnion, InPlaceFailureKeepsEarlierChanges)
{
    // Sorted name order: "0new" is added before "a" fails.
    Union obj(R"({"a": 1})", R"({"0new": 5, "a": 2, "b": 3})", KEL_JSON_UNION_IN_PLACE);
    EXPECT_EQ(obj.result, nullptr);
    EXPECT_EQ(obj.err.code(), KEL_JSON_ARG_INVALID);
    EXPECT_EQ(dump(obj.left), R"({"0new":5,"a":1})");

    Union array(R"([{"a": 1}, 1])", R"([{"b": 2}, 2])", KEL_JSON_UNION_IN_PLACE);
    EXPECT_EQ(array.result, nullptr);
    EXPECT_EQ(dump(array.left), R"([{"a":1,"b":2},1])");
}

// The same node on both sides: the walk reads only the elements the right
// operand had at the start, so it ends.
TEST(JsonUnion, InPlaceWithItself)
{
    JsonRoot prims(parse("[1, 2]"));
    ErrorSlot err;
    const guint append = KEL_JSON_UNION_IN_PLACE | KEL_JSON_UNION_APPEND_PRIMITIVES;
    EXPECT_EQ(kel_json_union(prims, prims, append, &err), prims.get());
    EXPECT_EQ(dump(prims), "[1,2,1,2]");
    EXPECT_EQ(kel_json_union(prims, prims, KEL_JSON_UNION_IN_PLACE, &err), prims.get());
    EXPECT_EQ(dump(prims), "[1,2,1,2]");

    JsonRoot nested(parse("[[1], [2]]"));
    EXPECT_EQ(kel_json_union(nested, nested, append | KEL_JSON_UNION_APPEND_CONTAINERS, &err),
              nested.get());
    EXPECT_EQ(dump(nested), "[[1],[2],[1],[2]]");
    EXPECT_EQ(pointer_of(at(at(nested, 3), 0)), "/3/0");

    JsonRoot obj(parse(R"({"a": 1, "l": [1, 2], "o": {"p": [true]}})"));
    EXPECT_EQ(kel_json_union(obj, obj, append, &err), obj.get());
    EXPECT_EQ(dump(obj), R"({"a":1,"l":[1,2,1,2],"o":{"p":[true,true]}})");
    EXPECT_FALSE(err);

    // Not in place, the same node on both sides is a plain copy.
    JsonRoot copy(kel_json_union(obj, obj, 0, &err));
    EXPECT_EQ(dump(copy), dump(obj));
}

// The right operand inside the left one, replaced by the union itself.
TEST(JsonUnion, InPlaceRightInsideLeft)
{
    JsonRoot left(parse(R"({"a": {"a": 1, "b": 2}})"));
    KelJson *right = get(left, "a");
    ErrorSlot err;
    const guint flags =
        KEL_JSON_UNION_IN_PLACE | KEL_JSON_UNION_RESOLVE | KEL_JSON_UNION_PREFER_RIGHT;
    EXPECT_EQ(kel_json_union(left, right, flags, &err), left.get());
    EXPECT_EQ(dump(left), R"({"a":1,"b":2})");
}

class JsonUnionDeep : public ::testing::TestWithParam<bool> {};

TEST_P(JsonUnionDeep, MillionLevelChains)
{
    constexpr int kDepth = 1000000;
    const bool objects = GetParam();
    KelJson *leaf_l = nullptr;
    KelJson *leaf_r = nullptr;
    JsonRoot left(chain(objects, kDepth, &leaf_l));
    JsonRoot right(chain(objects, kDepth, &leaf_r));
    if (objects) {
        kel_json_obj_put_i64_base(leaf_l, "l", 1, nullptr);
        kel_json_obj_put_i64_base(leaf_r, "r", 2, nullptr);
    } else {
        kel_json_array_push_i64_base(leaf_r, 2, nullptr);
    }

    ErrorSlot err;
    JsonRoot merged(kel_json_union(left, right, 0, &err));
    ASSERT_NE(merged.get(), nullptr) << err.message();
    EXPECT_EQ(dump(innermost(merged)), objects ? R"({"l":1,"r":2})" : "[2]");
    EXPECT_TRUE(kel_json_subset(left, merged, 0));
    EXPECT_TRUE(kel_json_subset(right, merged, 0));

    EXPECT_EQ(kel_json_union(left, right, KEL_JSON_UNION_IN_PLACE, &err), left.get());
    EXPECT_TRUE(kel_json_subset(merged, left, KEL_JSON_SUBSET_EQUAL));

    // A conflict at the bottom fails every level and releases them all.
    if (objects) {
        kel_json_obj_put_i64_base(leaf_r, "l", 3, nullptr);
    } else {
        kel_json_array_push_str_base(leaf_r, "x", nullptr);
        kel_json_array_push_i64_base(innermost(left), 3, nullptr);
    }
    EXPECT_EQ(kel_json_union(left, right, 0, &err), nullptr);
    EXPECT_EQ(err.code(), objects ? KEL_JSON_ARG_INVALID : KEL_JSON_TYPE_INVALID);
}

INSTANTIATE_TEST_SUITE_P(ArraysAndObjects, JsonUnionDeep, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Objects" : "Arrays"; });
