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

// Checks that every member below `json` is a distinct node from the one at
// the same place in `source`, with its parent link pointing at its container.
void expect_independent(KelJson *copy, KelJson *source)
{
    ASSERT_NE(copy, source);
    ASSERT_EQ(copy->type, source->type);
    if (copy->type == KEL_JSON_ARRAY) {
        ASSERT_EQ(kel_json_array_size(copy), kel_json_array_size(source));
        for (int i = 0; i < kel_json_array_size(copy); i++) {
            EXPECT_EQ(at(copy, i)->parent, copy);
            EXPECT_EQ(kel_json_parent_index(at(copy, i)), i);
            expect_independent(at(copy, i), at(source, i));
        }
    } else if (copy->type == KEL_JSON_OBJECT) {
        ASSERT_EQ(kel_json_obj_size(copy), kel_json_obj_size(source));
        const char *key;
        KelJson *member;
        KelJsonObjIter iter;
        kel_json_obj_iter_init(&iter, source);
        while (kel_json_obj_iter_next(&iter, &key, &member)) {
            KelJson *copied = get(copy, key);
            ASSERT_NE(copied, nullptr) << key;
            EXPECT_EQ(copied->parent, copy);
            EXPECT_STREQ(kel_json_parent_key(copied), key);
            expect_independent(copied, member);
        }
    }
}

// Walks down a chain of single-member containers, checking parent links.
int chain_depth(KelJson *json)
{
    int depth = 1;
    for (;;) {
        KelJson *child = json->type == KEL_JSON_ARRAY ? at(json, 0) : get(json, "k");
        if (child == nullptr)
            return depth;
        if (child->parent != json)
            return -1;
        json = child;
        depth++;
    }
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

}  // namespace

// ---- kel_json_copy ------------------------------------------------------------

TEST(JsonCopy, EveryKindCopiesEqualAndIndependent)
{
    JsonRoot src(parse(R"({"list": [1, {"$ref": "#/s"}], "s": "text", "n": null, "t": true,
                           "f": false, "u": 18446744073709551615, "d": -2.5,
                           "big": 340282366920938463463374607431768211455,
                           "nested": {"o": {}, "a": [[], [null]]}})"));
    ASSERT_NE(src.get(), nullptr);
    const std::string before = dump(src);

    JsonRoot copy(kel_json_copy(src));
    ASSERT_NE(copy.get(), nullptr);
    EXPECT_EQ(dump(copy), before);
    EXPECT_EQ(copy->refcount, 0);
    EXPECT_EQ(copy->parent, nullptr);
    expect_independent(copy, src);

    // The reference is copied as a reference, not followed.
    KelJson *ref = at(get(copy, "list"), 1);
    ASSERT_EQ(ref->type, KEL_JSON_JREF);
    EXPECT_STREQ(kel_json_jref_uri(ref), "#/s");
    KelUint128 big = kel_json_u128_get(get(copy, "big"));
    EXPECT_EQ(big.lo, G_MAXUINT64);
    EXPECT_EQ(big.hi, G_MAXUINT64);

    // Changing the copy leaves the source alone.
    kel_json_array_push_i64_base(get(copy, "list"), 2, nullptr);
    kel_json_obj_remove(copy, "s");
    EXPECT_EQ(dump(src), before);
}

TEST(JsonCopy, ScalarsAndNull)
{
    EXPECT_EQ(kel_json_copy(nullptr), nullptr);
    JsonRoot d(kel_json_double_new_base(0.125));
    JsonRoot dc(kel_json_copy(d));
    ASSERT_EQ(dc->type, KEL_JSON_DOUBLE);
    EXPECT_EQ(dc->d, 0.125);
    JsonRoot s(kel_json_str_new_base("h\xc3\xa9", nullptr));
    JsonRoot sc(kel_json_copy(s));
    EXPECT_STREQ(sc->str, "h\xc3\xa9");
    EXPECT_NE(sc->str, s->str);
}

TEST(JsonCopy, CopyOfMemberIsANewRoot)
{
    JsonRoot src(parse(R"({"a": {"b": [1, 2]}})"));
    KelJson *member = get(src, "a");
    KelJson *copy = kel_json_copy(member);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->parent, nullptr);
    EXPECT_EQ(copy->refcount, 0);
    EXPECT_EQ(dump(copy), R"({"b":[1,2]})");
    kel_json_unref(copy);  // frees the whole copy (the sanitizer build checks)
    EXPECT_EQ(dump(src), R"({"a":{"b":[1,2]}})");
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
    // The borrowed originals still belong to their owner.
    EXPECT_STREQ(kel_json_parent_key(get(owner, "x")), "x");

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
    KelJson *bad = kel_json_null_new_base();
    bad->type = 11;
    EXPECT_EQ(kel_json_copy(bad), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    const std::string prefix = "file src/json/kel_json_copy.cpp: line ";
    EXPECT_EQ(log.last().rfind(prefix, 0), 0u) << log.last();
    EXPECT_NE(log.last().find(" (kel_json_copy): should not be reached"), std::string::npos);

    // Inside a container the corrupted member is left out, the rest copied.
    JsonRoot array(parse("[1, 2]"));
    bad->type = KEL_JSON_NULL;
    kel_json_array_put_ext(array, 1, bad, nullptr, nullptr);
    kel_json_array_push_i64_base(array, 3, nullptr);
    bad->type = 11;
    JsonRoot copy(kel_json_copy(array));
    bad->type = KEL_JSON_NULL;  // restored before the array releases it
    EXPECT_EQ(dump(copy), "[1,3]");
    EXPECT_EQ(log.messages().size(), 2u);
}

// A chain far deeper than any recursive copy could follow on the default
// stack; the copy must keep parent links and compare equal to its source.
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
    EXPECT_EQ(kel_json_parent_index(at(array, 2)), 2);
    kel_json_unref(two);

    KelJson *three = at(array, 2);
    kel_json_ref(three);  // the caller holds one reference of its own
    ASSERT_TRUE(kel_json_make_orphan_base(three));
    EXPECT_EQ(dump(array), "[1,null]");
    EXPECT_EQ(three->parent, nullptr);
    EXPECT_EQ(three->refcount, 1);
    kel_json_unref(three);
}

TEST(JsonOrphan, ObjectMemberIsRemoved)
{
    JsonRoot obj(parse(R"({"a": [1], "b": 2})"));
    KelJson *a = get(obj, "a");
    ASSERT_TRUE(kel_json_make_orphan_base(a));
    EXPECT_EQ(dump(obj), R"({"b":2})");
    EXPECT_EQ(a->parent, nullptr);
    EXPECT_EQ(a->refcount, 0);
    EXPECT_EQ(dump(a), "[1]");
    kel_json_unref(a);
}

TEST(JsonOrphan, RootAndNull)
{
    EXPECT_FALSE(kel_json_make_orphan_base(nullptr));
    JsonRoot root(parse("[1]"));
    EXPECT_TRUE(kel_json_make_orphan_base(root));
    EXPECT_EQ(root->refcount, 0);
    EXPECT_EQ(dump(root), "[1]");
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
    EXPECT_EQ(dump(obj), R"({"key":"new","other":2})");
}

TEST(JsonSwapChild, NewChildWithParentIsRefused)
{
    JsonRoot obj(parse(R"({"a": 1, "b": 2})"));
    KelJson *a = get(obj, "a");
    ErrorSlot err;
    EXPECT_FALSE(kel_json_swap_child_base(a, get(obj, "b"), &err));
    EXPECT_EQ(err.code(), KEL_JSON_CHILD_OWNED);
    EXPECT_EQ(dump(obj), R"({"a":1,"b":2})");
    EXPECT_EQ(a->parent, obj.get());
    EXPECT_EQ(a->refcount, 1);
}

TEST(JsonSwapChild, ArrayElementAndRoot)
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
}

TEST(JsonSwapChild, ArgumentChecks)
{
    JsonRoot value(kel_json_null_new_base());
    ErrorSlot err;
    EXPECT_FALSE(kel_json_swap_child_base(nullptr, value, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID,
                     "kel_json_swap_child_base: argument check failed: old_child");
    err.clear();
    EXPECT_FALSE(kel_json_swap_child_base(value, nullptr, &err));
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
    // Each gap slot is a copy of its own; the fill node stays the caller's.
    EXPECT_NE(at(array, 0), at(array, 1));
    EXPECT_NE(at(array, 0), fill.get());
    EXPECT_EQ(fill->parent, nullptr);
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
    ASSERT_TRUE(kel_json_array_put_ext(array, 1, kel_json_i64_new_base(8), nullptr, &err));
    EXPECT_EQ(dump(array), "[9,8,3]");
    EXPECT_FALSE(err);

    KelJson *value = kel_json_i64_new_base(7);
    EXPECT_FALSE(kel_json_array_put_ext(array, 5, value, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 5 is out of bounds for JSON array \"\"");
    kel_json_unref(value);
    EXPECT_EQ(dump(array), "[9,8,3]");
}

TEST(JsonArrayPut, FailedFillAppendReleasesTheCopy)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    JsonRoot fill(parse(R"({"deep": [1, 2]})"));
    JsonRoot value(kel_json_null_new_base());
    ErrorSlot err;
    EXPECT_FALSE(kel_json_array_put_ext(obj, 2, value, fill, &err));
    EXPECT_EQ(err.code(), KEL_JSON_TYPE_INVALID);
    EXPECT_EQ(value->parent, nullptr);
}
