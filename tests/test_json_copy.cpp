// Deep copy, orphaning, child swap and placement at an array index.
#include <string>

#include "test_util.h"

using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::LogCapture;

namespace {

KelJson *parse(const char *text)
{
    KelJson *json = kel_json_loads(text, 0, nullptr);
    EXPECT_NE(json, nullptr) << text;
    return json;
}

KelJson *at(KelJson *array, int index)
{
    return kel_json_array_get_base(array, index, 0, nullptr);
}

KelJson *get(KelJson *object, const char *key)
{
    return kel_json_obj_get_base(object, key, 0, nullptr);
}

KelJson *chain(bool objects, int depth)
{
    KelJson *root = objects ? kel_json_obj_new_base(FALSE) : kel_json_array_new_base(0, FALSE);
    KelJson *current = root;
    for (int i = 1; i < depth; i++)
        current = objects ? kel_json_obj_put_obj_base(current, "k", nullptr)
                          : kel_json_array_push_array_base(current, nullptr);
    return root;
}

// Depth of a chain of single-member containers, or -1 on a wrong parent link.
int chain_depth(KelJson *json)
{
    for (int depth = 1;; depth++) {
        KelJson *child = json->type == KEL_JSON_ARRAY ? at(json, 0) : get(json, "k");
        if (child == nullptr)
            return depth;
        if (child->parent != json)
            return -1;
        json = child;
    }
}

}  // namespace

// ---- kel_json_copy ------------------------------------------------------------

TEST(JsonCopy, EveryKindCopiesEqualAndIndependent)
{
    EXPECT_EQ(kel_json_copy(nullptr), nullptr);
    JsonRoot src(parse(R"({"list": [1, {"$ref": "#/s"}], "s": "h\u00e9", "n": null, "t": true,
                           "f": false, "d": -2.5,
                           "big": 340282366920938463463374607431768211455,
                           "nested": {"o": {}, "a": [[], [null]]}})"));
    ASSERT_NE(src.get(), nullptr);
    const std::string before = dump(src);

    JsonRoot copy(kel_json_copy(src));
    ASSERT_NE(copy.get(), nullptr);
    EXPECT_EQ(dump(copy), before);
    EXPECT_EQ(copy->refcount, 0);
    EXPECT_EQ(copy->parent, nullptr);

    // Fresh nodes with their own parent links and payloads.
    KelJson *list = get(copy, "list");
    EXPECT_NE(list, get(src, "list"));
    EXPECT_STREQ(kel_json_parent_key(list), "list");
    EXPECT_EQ(kel_json_parent_index(at(list, 1)), 1);
    EXPECT_EQ(at(get(get(copy, "nested"), "a"), 1)->parent, get(get(copy, "nested"), "a"));
    EXPECT_NE(get(copy, "s")->str, get(src, "s")->str);
    const KelUint128 big = kel_json_u128_get(get(copy, "big"));
    EXPECT_EQ(big.lo, G_MAXUINT64);
    EXPECT_EQ(big.hi, G_MAXUINT64);

    // The reference is copied as a reference, not followed.
    KelJson *ref = at(list, 1);
    ASSERT_EQ(ref->type, KEL_JSON_JREF);
    EXPECT_STREQ(kel_json_jref_uri(ref), "#/s");

    kel_json_array_push_i64_base(list, 2, nullptr);
    kel_json_obj_remove(copy, "s");
    EXPECT_EQ(dump(src), before);
}

TEST(JsonCopy, CopyOfMemberIsANewRoot)
{
    JsonRoot src(parse(R"({"a": {"b": [1, 2]}})"));
    KelJson *copy = kel_json_copy(get(src, "a"));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->parent, nullptr);
    EXPECT_EQ(copy->refcount, 0);
    EXPECT_EQ(dump(copy), R"({"b":[1,2]})");
    kel_json_unref(copy);  // frees the whole copy (the sanitizer build checks)
}

TEST(JsonCopy, BorrowingContainersCopyAsOwning)
{
    JsonRoot owner(parse(R"({"x": 1, "y": [true]})"));
    JsonRoot borrowed_array(kel_json_array_new_base(0, TRUE));
    kel_json_array_push_base(borrowed_array, get(owner, "y"), nullptr);
    kel_json_array_push_base(borrowed_array, get(owner, "x"), nullptr);
    JsonRoot copy(kel_json_copy(borrowed_array));
    EXPECT_EQ(copy->flags, 0);
    EXPECT_EQ(dump(copy), "[[true],1]");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(kel_json_parent_index(at(copy, i)), i);
        EXPECT_NE(at(copy, i), at(borrowed_array, i));
    }

    // Member names come from the borrowing table, not from the members.
    JsonRoot borrowed_obj(kel_json_obj_new_base(TRUE));
    kel_json_obj_put_base(borrowed_obj, "other", get(owner, "x"), nullptr);
    JsonRoot obj_copy(kel_json_copy(borrowed_obj));
    EXPECT_EQ(obj_copy->flags, 0);
    EXPECT_STREQ(kel_json_parent_key(get(obj_copy, "other")), "other");
    EXPECT_STREQ(kel_json_parent_key(get(owner, "x")), "x");
}

TEST(JsonCopy, UnknownKindLogsAndTheWalkGoesOn)
{
    LogCapture log;
    JsonRoot array(parse("[1, null, 3]"));
    KelJson *bad = at(array, 1);
    bad->type = 11;
    EXPECT_EQ(kel_json_copy(bad), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.last().rfind("file src/json/kel_json_copy.cpp: line ", 0), 0u) << log.last();
    EXPECT_NE(log.last().find(" (kel_json_copy): should not be reached"), std::string::npos);

    // Inside a container the corrupted member is left out, the rest copied.
    JsonRoot copy(kel_json_copy(array));
    bad->type = KEL_JSON_NULL;  // restored before the array releases it
    EXPECT_EQ(dump(copy), "[1,3]");
    EXPECT_EQ(log.messages().size(), 2u);
}

// Far deeper than a recursive copy could go on the default stack.
class JsonCopyDeep : public ::testing::TestWithParam<bool> {};

TEST_P(JsonCopyDeep, MillionLevelChain)
{
    constexpr int kDepth = 1000000;
    JsonRoot src(chain(GetParam(), kDepth));
    JsonRoot copy(kel_json_copy(src));
    ASSERT_NE(copy.get(), nullptr);
    EXPECT_EQ(chain_depth(copy), kDepth);
    EXPECT_TRUE(kel_json_subset(copy, src, KEL_JSON_SUBSET_EQUAL));
}

INSTANTIATE_TEST_SUITE_P(ArraysAndObjects, JsonCopyDeep, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Objects" : "Arrays"; });

// ---- kel_json_make_orphan_base ----------------------------------------------

TEST(JsonOrphan, ArrayMiddleLeavesNullLastShrinks)
{
    JsonRoot array(parse("[1, 2, 3]"));
    KelJson *two = at(array, 1);
    ASSERT_TRUE(kel_json_make_orphan_base(two));
    EXPECT_EQ(dump(array), "[1,null,3]");
    EXPECT_EQ(two->parent, nullptr);
    EXPECT_EQ(two->refcount, 0);
    kel_json_unref(two);

    KelJson *three = at(array, 2);
    kel_json_ref(three);  // the caller holds one reference of its own
    ASSERT_TRUE(kel_json_make_orphan_base(three));
    EXPECT_EQ(dump(array), "[1,null]");
    EXPECT_EQ(three->parent, nullptr);
    EXPECT_EQ(three->refcount, 1);
    kel_json_unref(three);
}

TEST(JsonOrphan, ObjectMemberRootAndNull)
{
    JsonRoot obj(parse(R"({"a": [1], "b": 2})"));
    KelJson *a = get(obj, "a");
    ASSERT_TRUE(kel_json_make_orphan_base(a));
    EXPECT_EQ(dump(obj), R"({"b":2})");
    EXPECT_EQ(a->parent, nullptr);
    EXPECT_EQ(a->refcount, 0);
    kel_json_unref(a);

    EXPECT_FALSE(kel_json_make_orphan_base(nullptr));
    EXPECT_TRUE(kel_json_make_orphan_base(obj));
    EXPECT_EQ(obj->refcount, 0);
    EXPECT_EQ(dump(obj), R"({"b":2})");
}

// ---- kel_json_swap_child_base -----------------------------------------------

TEST(JsonSwapChild, ObjectMember)
{
    JsonRoot obj(parse(R"({"key": [1], "other": 2})"));
    KelJson *old_child = get(obj, "key");
    KelJson *new_child = kel_json_str_new_base("new", nullptr);
    ErrorSlot err;
    ASSERT_TRUE(kel_json_swap_child_base(old_child, new_child, &err));
    EXPECT_FALSE(err);
    EXPECT_EQ(get(obj, "key"), new_child);
    EXPECT_STREQ(kel_json_parent_key(new_child), "key");
    EXPECT_EQ(old_child->parent, nullptr);
    EXPECT_EQ(old_child->refcount, 0);
    kel_json_unref(old_child);

    // A new child that already has a parent is refused; nothing changes.
    KelJson *other = get(obj, "other");
    EXPECT_FALSE(kel_json_swap_child_base(new_child, other, &err));
    EXPECT_EQ(err.code(), KEL_JSON_CHILD_OWNED);
    EXPECT_EQ(dump(obj), R"({"key":"new","other":2})");
    EXPECT_EQ(new_child->parent, obj.get());
    EXPECT_EQ(new_child->refcount, 1);
}

TEST(JsonSwapChild, ArrayElementRootAndArguments)
{
    JsonRoot array(parse("[1, 2, 3]"));
    KelJson *two = at(array, 1);
    KelJson *repl = kel_json_bool_new_base(TRUE);
    ASSERT_TRUE(kel_json_swap_child_base(two, repl, nullptr));
    EXPECT_EQ(dump(array), "[1,true,3]");
    EXPECT_EQ(kel_json_parent_index(repl), 1);
    EXPECT_EQ(two->parent, nullptr);
    kel_json_unref(two);

    // A value without parent: nothing to swap, nothing changes.
    JsonRoot lone(kel_json_i64_new_base(5));
    JsonRoot other(kel_json_i64_new_base(6));
    EXPECT_TRUE(kel_json_swap_child_base(lone, other, nullptr));
    EXPECT_EQ(other->parent, nullptr);

    ErrorSlot err;
    EXPECT_FALSE(kel_json_swap_child_base(nullptr, lone, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID,
                     "kel_json_swap_child_base: argument check failed: old_child");
    err.clear();
    EXPECT_FALSE(kel_json_swap_child_base(lone, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID,
                     "kel_json_swap_child_base: argument check failed: new_child");
}

// ---- kel_json_array_put_ext -------------------------------------------------

TEST(JsonArrayPut, FillsTheGapWithCopies)
{
    JsonRoot array(kel_json_array_new_base(0, FALSE));
    JsonRoot fill(kel_json_null_new_base());
    KelJson *value = kel_json_str_new_base("v", nullptr);
    ErrorSlot err;
    ASSERT_TRUE(kel_json_array_put_ext(array, 3, value, fill, &err));
    EXPECT_EQ(dump(array), R"([null,null,null,"v"])");
    EXPECT_EQ(kel_json_parent_index(value), 3);
    EXPECT_NE(at(array, 0), at(array, 1));
    EXPECT_EQ(fill->parent, nullptr);

    // A failing append of a fill copy releases that copy.
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    JsonRoot deep_fill(parse(R"({"deep": [1, 2]})"));
    EXPECT_FALSE(kel_json_array_put_ext(obj, 2, fill, deep_fill, &err));
    EXPECT_EQ(err.code(), KEL_JSON_TYPE_INVALID);
}

TEST(JsonArrayPut, AppendReplaceAndOutOfRange)
{
    JsonRoot array(parse("[1, 2]"));
    ErrorSlot err;
    ASSERT_TRUE(kel_json_array_put_ext(array, 2, kel_json_i64_new_base(3), nullptr, &err));
    EXPECT_EQ(dump(array), "[1,2,3]");

    // Replacing releases the former element: the swap hands the array's
    // count to the placement, which drops one more. A value survives only
    // with two counts of the caller's own.
    KelJson *former = at(array, 0);
    kel_json_ref(former);
    kel_json_ref(former);
    ASSERT_TRUE(kel_json_array_put_ext(array, 0, kel_json_i64_new_base(9), nullptr, &err));
    EXPECT_EQ(dump(array), "[9,2,3]");
    EXPECT_EQ(former->parent, nullptr);
    EXPECT_EQ(former->refcount, 1);
    kel_json_unref(former);
    ASSERT_TRUE(kel_json_array_put_ext(array, -1, kel_json_i64_new_base(8), nullptr, &err));
    EXPECT_EQ(dump(array), "[9,2,8]");
    EXPECT_FALSE(err);

    JsonRoot value(kel_json_i64_new_base(7));
    EXPECT_FALSE(kel_json_array_put_ext(array, 5, value, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 5 is out of bounds for JSON array \"\"");
    EXPECT_EQ(dump(array), "[9,2,8]");
}
