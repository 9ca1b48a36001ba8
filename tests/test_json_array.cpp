// JSON arrays: append with the single-parent rule, negative indices, pop and
// pop_elem counts, swap, filtering (owning and borrowing), sorting with
// renumbering, array members of objects and the push family.
#include <string>
#include <vector>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

KelJson *ints(std::initializer_list<gint64> values, gboolean borrow = FALSE)
{
    KelJson *arr = kel_json_array_new_base(0, borrow);
    for (gint64 v : values)
        kel_json_array_push_base(arr, kel_json_i64_new_base(v), nullptr);
    return arr;
}

std::vector<gint64> values_of(KelJson *arr)
{
    std::vector<gint64> out;
    for (int i = 0; i < kel_json_array_size(arr); i++)
        out.push_back(kel_json_i64_get(kel_json_array_get_base(arr, i, 0, nullptr)));
    return out;
}

// Every element of an owning array knows its position.
void expect_indexed(KelJson *arr)
{
    for (int i = 0; i < kel_json_array_size(arr); i++) {
        KelJson *elem = kel_json_array_get_base(arr, i, 0, nullptr);
        EXPECT_EQ(elem->parent, arr) << i;
        EXPECT_EQ(kel_json_parent_index(elem), i);
    }
}

// ---- Append --------------------------------------------------------------------

TEST(JsonArray, PushSetsParentAndIndex)
{
    JsonRoot arr(kel_json_array_new_base(-3, FALSE));  // a negative reservation is harmless
    EXPECT_EQ(arr->flags, 0);
    EXPECT_EQ(kel_json_array_size(arr), 0);
    for (int i = 0; i < 3; i++)
        ASSERT_TRUE(kel_json_array_push_base(arr, kel_json_i64_new_base(i), nullptr));
    EXPECT_EQ(kel_json_array_size(arr), 3);
    expect_indexed(arr);
    EXPECT_EQ(kel_json_array_get_base(arr, 2, 0, nullptr)->refcount, 1);
}

TEST(JsonArray, PushRefusesASecondParent)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *a = kel_json_obj_put_array_base(root, "a", nullptr);
    KelJson *b = kel_json_obj_put_array_base(root, "b", nullptr);
    KelJson *elem = kel_json_array_push_str_base(a, "x", nullptr);
    ErrorSlot err;

    EXPECT_FALSE(kel_json_array_push_base(a, elem, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED, "Cannot add to \"/a\", because value is already a child of \"/a\"");
    err.clear();
    EXPECT_FALSE(kel_json_array_push_base(b, elem, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED, "Cannot add to \"/b\", because value is already a child of \"/a\"");
    EXPECT_EQ(kel_json_array_size(a), 1);
    EXPECT_EQ(kel_json_array_size(b), 0);
    EXPECT_EQ(elem->refcount, 1);

    // A borrowing array takes it and leaves parent and index alone.
    KelJson *view = kel_json_array_new_base(0, TRUE);
    EXPECT_EQ(view->flags, KEL_JSON_FLAG_BORROW);
    kel_json_array_push_i64_base(view, 0, nullptr);
    ASSERT_TRUE(kel_json_array_push_base(view, elem, &err));
    EXPECT_EQ(elem->parent, a);
    EXPECT_EQ(kel_json_parent_index(elem), 0);
    EXPECT_EQ(elem->refcount, 2);
    kel_json_unref(view);
    EXPECT_EQ(elem->refcount, 1);
}

TEST(JsonArray, PushFailures)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    JsonRoot value(kel_json_null_new_base());
    ErrorSlot err;
    EXPECT_FALSE(kel_json_array_push_base(nullptr, value, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_array_push_base: argument check failed: json");
    err.clear();
    EXPECT_FALSE(kel_json_array_push_base(obj, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_array_push_base: argument check failed: value");
    err.clear();
    KelJson *member = kel_json_obj_put_obj_base(obj, "m", nullptr);
    EXPECT_FALSE(kel_json_array_push_base(member, value, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_array_push_base: invalid JSON type for \"/m\": expected array, got object");
    EXPECT_EQ(value->refcount, 0);
}

// ---- Indexed access ----------------------------------------------------------------

TEST(JsonArray, NegativeIndicesCountFromTheEnd)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *arr = ints({10, 20, 30});
    ASSERT_TRUE(kel_json_obj_put_base(root, "list", arr, nullptr));
    ErrorSlot err;

    EXPECT_EQ(kel_json_i64_get(kel_json_array_get_base(arr, -1, 0, &err)), 30);
    EXPECT_EQ(kel_json_i64_get(kel_json_array_get_base(arr, -3, 0, &err)), 10);
    EXPECT_EQ(kel_json_i64_get(kel_json_array_get_base(arr, 0, 0, &err)), 10);
    EXPECT_FALSE(err);

    // The message shows the index after adjustment.
    EXPECT_EQ(kel_json_array_get_base(arr, -4, 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index -1 is out of bounds for JSON array \"/list\"");
    err.clear();
    EXPECT_EQ(kel_json_array_get_base(arr, 3, 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 3 is out of bounds for JSON array \"/list\"");
    err.clear();
    EXPECT_EQ(kel_json_array_get_base(arr, G_MININT32, 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID,
                     "Index " + std::to_string(G_MININT32 + 3) + " is out of bounds for JSON array \"/list\"");
    err.clear();
    JsonRoot empty(kel_json_array_new_base(0, FALSE));
    EXPECT_EQ(kel_json_array_get_base(empty, -1, 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index -1 is out of bounds for JSON array \"\"");
    EXPECT_EQ(kel_json_array_get_base(empty, 0, 0, nullptr), nullptr);
}

TEST(JsonArray, GetFailures)
{
    ErrorSlot err;
    EXPECT_EQ(kel_json_array_get_base(nullptr, 0, 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_array_get_base: argument check failed: json");
    err.clear();
    JsonRoot s(kel_json_str_new_base("x", nullptr));
    EXPECT_EQ(kel_json_array_get_base(s, 0, 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_array_get_base: invalid JSON type for \"\": expected array, got string");
}

TEST(JsonArray, ReferenceElementsWithoutFollowing)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    KelJson *ref = kel_json_jref_new_base("#/9", nullptr);
    ASSERT_TRUE(kel_json_array_push_base(arr, ref, nullptr));
    EXPECT_EQ(kel_json_array_get_base(arr, 0, 0, nullptr), ref);
    EXPECT_EQ(kel_json_array_get_base(arr, 0, 2, nullptr), ref);  // bit 0 only

    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_POINTER_INVALID, "earlier");
    EXPECT_EQ(kel_json_array_get_base(arr, 0, 1, &err), nullptr);
    EXPECT_EQ(err.message(), "earlier");
    EXPECT_EQ(err->next, nullptr);
}

TEST(JsonArray, ReferenceElementsAreFollowed)
{
    JsonRoot arr(ints({5}));
    ASSERT_TRUE(kel_json_array_push_base(arr, kel_json_jref_new_base("#/0", nullptr), nullptr));
    KelJson *first = kel_json_array_get_base(arr, 0, 0, nullptr);
    EXPECT_EQ(kel_json_array_get_base(arr, -1, 1, nullptr), first);
}

// ---- Pop -----------------------------------------------------------------------------

TEST(JsonArray, PopCounts)
{
    JsonRoot arr(ints({1, 2, 3, 4}));
    KelJson *third = kel_json_array_get_base(arr, 2, 0, nullptr);
    kel_json_ref(third);

    EXPECT_EQ(kel_json_array_pop(arr, 2), 2);
    EXPECT_EQ(values_of(arr), (std::vector<gint64>{1, 2}));
    expect_indexed(arr);
    EXPECT_EQ(third->parent, nullptr);
    EXPECT_EQ(third->refcount, 1);
    kel_json_unref(third);

    EXPECT_EQ(kel_json_array_pop(arr, 0), 0);
    EXPECT_EQ(kel_json_array_pop(arr, -5), 0);  // nothing is removed
    EXPECT_EQ(kel_json_array_size(arr), 2);
    EXPECT_EQ(kel_json_array_pop(arr, 10), 2);
    EXPECT_EQ(kel_json_array_pop(arr, 1), 0);
    EXPECT_EQ(kel_json_array_size(arr), 0);

    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_EQ(kel_json_array_pop(obj, 1), -1);
    EXPECT_EQ(kel_json_array_pop(nullptr, 1), -1);
    EXPECT_EQ(kel_json_array_size(obj), -1);
    EXPECT_EQ(kel_json_array_size(nullptr), -1);
}

TEST(JsonArray, PopElemHandsTheLastElementOver)
{
    JsonRoot arr(ints({1, 2}));
    KelJson *last = kel_json_array_pop_elem(arr);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(kel_json_i64_get(last), 2);
    EXPECT_EQ(last->parent, nullptr);
    EXPECT_EQ(last->refcount, 0);
    EXPECT_EQ(kel_json_array_size(arr), 1);
    kel_json_unref(last);

    // A held element comes out with its count one lower.
    KelJson *held = kel_json_array_get_base(arr, 0, 0, nullptr);
    kel_json_ref(held);
    EXPECT_EQ(kel_json_array_pop_elem(arr), held);
    EXPECT_EQ(held->refcount, 1);
    kel_json_unref(held);

    EXPECT_EQ(kel_json_array_pop_elem(arr), nullptr);
    EXPECT_EQ(kel_json_array_pop_elem(nullptr), nullptr);
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_EQ(kel_json_array_pop_elem(obj), nullptr);
}

TEST(JsonArray, PopElemOfABorrowingArray)
{
    JsonRoot owner(ints({7}));
    KelJson *elem = kel_json_array_get_base(owner, 0, 0, nullptr);
    KelJson *view = kel_json_array_new_base(0, TRUE);
    kel_json_array_push_base(view, elem, nullptr);
    EXPECT_EQ(kel_json_array_pop_elem(view), elem);
    EXPECT_EQ(elem->parent, owner.get());
    EXPECT_EQ(elem->refcount, 1);
    kel_json_unref(view);
}

// ---- Swap ------------------------------------------------------------------------------

TEST(JsonArray, SwapReplacesInPlace)
{
    JsonRoot arr(ints({1, 2, 3}));
    KelJson *old = kel_json_array_get_base(arr, 1, 0, nullptr);
    KelJson *fresh = kel_json_str_new_base("new", nullptr);
    ErrorSlot err;

    EXPECT_EQ(kel_json_array_swap(arr, 1, fresh, &err), old);
    EXPECT_FALSE(err);
    EXPECT_EQ(kel_json_parent_index(fresh), 1);
    EXPECT_EQ(fresh->refcount, 1);
    EXPECT_EQ(kel_json_parent_index(old), -1);
    EXPECT_EQ(old->parent, nullptr);
    EXPECT_EQ(old->refcount, 0);
    kel_json_unref(old);

    KelJson *last = kel_json_array_get_base(arr, 2, 0, nullptr);
    KelJson *tail = kel_json_null_new_base();
    EXPECT_EQ(kel_json_array_swap(arr, -1, tail, &err), last);
    EXPECT_EQ(kel_json_parent_index(tail), 2);
    EXPECT_EQ(kel_json_array_size(arr), 3);
    kel_json_unref(last);
    expect_indexed(arr);
}

TEST(JsonArray, SwapFailures)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *arr = ints({1, 2});
    kel_json_obj_put_base(root, "arr", arr, nullptr);
    KelJson *loose = kel_json_null_new_base();
    ErrorSlot err;

    EXPECT_EQ(kel_json_array_swap(arr, 2, loose, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 2 is out of bounds for JSON array \"/arr\"");
    err.clear();
    EXPECT_EQ(kel_json_array_swap(arr, -3, loose, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index -1 is out of bounds for JSON array \"/arr\"");
    err.clear();
    KelJson *sibling = kel_json_array_get_base(arr, 0, 0, nullptr);
    EXPECT_EQ(kel_json_array_swap(arr, 1, sibling, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"/arr\", because value is already a child of \"/arr\"");
    err.clear();
    EXPECT_EQ(kel_json_array_swap(nullptr, 0, loose, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_array_swap: argument check failed: array");
    err.clear();
    EXPECT_EQ(kel_json_array_swap(arr, 0, nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_array_swap: argument check failed: elem");
    err.clear();
    EXPECT_EQ(kel_json_array_swap(root, 0, loose, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_array_swap: invalid JSON type for \"\": expected array, got object");

    EXPECT_EQ(values_of(arr), (std::vector<gint64>{1, 2}));
    expect_indexed(arr);
    EXPECT_EQ(loose->refcount, 0);
    kel_json_unref(loose);
}

TEST(JsonArray, SwapInABorrowingArrayWritesNoLinks)
{
    JsonRoot owner(ints({1, 2}));
    KelJson *a = kel_json_array_get_base(owner, 0, 0, nullptr);
    KelJson *b = kel_json_array_get_base(owner, 1, 0, nullptr);
    KelJson *view = kel_json_array_new_base(0, TRUE);
    kel_json_array_push_base(view, a, nullptr);

    // b already has a parent: a borrowing array accepts it anyway.
    EXPECT_EQ(kel_json_array_swap(view, 0, b, nullptr), a);
    EXPECT_EQ(a->parent, owner.get());
    EXPECT_EQ(a->refcount, 1);
    EXPECT_EQ(b->parent, owner.get());
    EXPECT_EQ(kel_json_parent_index(b), 1);
    EXPECT_EQ(b->refcount, 2);
    kel_json_unref(view);
    EXPECT_EQ(b->refcount, 1);
}

// ---- Filter ------------------------------------------------------------------------------

struct FilterLog {
    std::vector<gint64> seen;
};

gboolean keep_even(KelJson *elem, gpointer data)
{
    static_cast<FilterLog *>(data)->seen.push_back(kel_json_i64_get(elem));
    return kel_json_i64_get(elem) % 2 == 0;
}

gboolean keep_all(KelJson *, gpointer)
{
    return TRUE;
}

gboolean keep_none(KelJson *, gpointer)
{
    return FALSE;
}

TEST(JsonArray, FilterKeepsOrderAndRenumbers)
{
    JsonRoot arr(ints({1, 2, 3, 4}));
    KelJson *three = kel_json_array_get_base(arr, 2, 0, nullptr);
    kel_json_ref(three);
    FilterLog log;

    EXPECT_TRUE(kel_json_array_filter(arr, keep_even, &log));
    EXPECT_EQ(log.seen, (std::vector<gint64>{1, 2, 3, 4}));
    EXPECT_EQ(values_of(arr), (std::vector<gint64>{2, 4}));
    expect_indexed(arr);
    // A rejected element that someone holds survives, detached.
    EXPECT_EQ(three->parent, nullptr);
    EXPECT_EQ(three->refcount, 1);
    kel_json_unref(three);

    JsonRoot mixed(ints({2, 1, 4, 3, 5, 6}));
    EXPECT_TRUE(kel_json_array_filter(mixed, keep_even, &log));
    EXPECT_EQ(values_of(mixed), (std::vector<gint64>{2, 4, 6}));
    expect_indexed(mixed);

    EXPECT_TRUE(kel_json_array_filter(mixed, keep_none, nullptr));
    EXPECT_EQ(kel_json_array_size(mixed), 0);
}

TEST(JsonArray, FilterKeepingEverythingChangesNothing)
{
    JsonRoot arr(ints({3, 1, 2}));
    EXPECT_TRUE(kel_json_array_filter(arr, keep_all, nullptr));
    EXPECT_EQ(values_of(arr), (std::vector<gint64>{3, 1, 2}));
    expect_indexed(arr);

    JsonRoot empty(kel_json_array_new_base(0, FALSE));
    EXPECT_TRUE(kel_json_array_filter(empty, keep_none, nullptr));
    EXPECT_FALSE(kel_json_array_filter(arr, nullptr, nullptr));
    EXPECT_FALSE(kel_json_array_filter(nullptr, keep_all, nullptr));
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_FALSE(kel_json_array_filter(obj, keep_all, nullptr));
}

TEST(JsonArray, FilterOfABorrowingArrayLeavesOwnersAlone)
{
    // The elements belong to an owning array (and one to an object); the
    // borrowing array must not touch their index or key fields.
    JsonRoot owner(ints({1, 2, 3, 4, 5}));
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *keyed = kel_json_obj_put_i64_base(obj, "seven", 7, nullptr);
    KelJson *loose = kel_json_i64_new_base(9);

    KelJson *view = kel_json_array_new_base(0, TRUE);
    for (int i = 4; i >= 0; i--)
        kel_json_array_push_base(view, kel_json_array_get_base(owner, i, 0, nullptr), nullptr);
    kel_json_array_push_base(view, keyed, nullptr);
    kel_json_array_push_base(view, loose, nullptr);
    kel_json_array_push_base(view, kel_json_array_get_base(owner, 1, 0, nullptr), nullptr);

    FilterLog log;
    EXPECT_TRUE(kel_json_array_filter(view, keep_even, &log));
    EXPECT_EQ(log.seen, (std::vector<gint64>{5, 4, 3, 2, 1, 7, 9, 2}));
    EXPECT_EQ(values_of(view), (std::vector<gint64>{4, 2, 2}));

    expect_indexed(owner);
    EXPECT_EQ(values_of(owner), (std::vector<gint64>{1, 2, 3, 4, 5}));
    EXPECT_STREQ(kel_json_parent_key(keyed), "seven");
    EXPECT_EQ(keyed->refcount, 1);
    for (int i = 0; i < 5; i++) {
        const int expected = (i == 1) ? 3 : (i == 3) ? 2 : 1;
        EXPECT_EQ(kel_json_array_get_base(owner, i, 0, nullptr)->refcount, expected) << i;
    }
    // `loose` was held by the view alone and was released (LeakSanitizer).
    kel_json_unref(view);
    EXPECT_EQ(kel_json_array_get_base(owner, 1, 0, nullptr)->refcount, 1);
}

// ---- Sort ------------------------------------------------------------------------------

gint by_value(gconstpointer a, gconstpointer b)
{
    const gint64 x = kel_json_i64_get(*static_cast<KelJson *const *>(a));
    const gint64 y = kel_json_i64_get(*static_cast<KelJson *const *>(b));
    return (x > y) - (x < y);
}

TEST(JsonArray, SortRenumbersOwnedElements)
{
    JsonRoot arr(ints({3, 1, 2}));
    EXPECT_TRUE(kel_json_array_sort(arr, by_value));
    EXPECT_EQ(values_of(arr), (std::vector<gint64>{1, 2, 3}));
    expect_indexed(arr);

    JsonRoot view(kel_json_array_new_base(0, TRUE));
    for (int i = 0; i < 3; i++)
        kel_json_array_push_base(view, kel_json_array_get_base(arr, 2 - i, 0, nullptr), nullptr);
    EXPECT_TRUE(kel_json_array_sort(view, by_value));
    EXPECT_EQ(values_of(view), (std::vector<gint64>{1, 2, 3}));
    expect_indexed(arr);  // untouched by the borrowing sort

    EXPECT_FALSE(kel_json_array_sort(arr, nullptr));
    EXPECT_FALSE(kel_json_array_sort(nullptr, by_value));
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_FALSE(kel_json_array_sort(obj, by_value));
}

// ---- Arrays in objects, push family ---------------------------------------------------------

TEST(JsonArray, ArrayMembersOfObjects)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *list = kel_json_obj_put_array_base(obj, "list", nullptr);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->type, KEL_JSON_ARRAY);
    EXPECT_EQ(list->flags, 0);
    EXPECT_STREQ(kel_json_parent_key(list), "list");
    EXPECT_EQ(kel_json_obj_getd_array_base(obj, "list", nullptr), list);

    kel_json_obj_put_str_base(obj, "s", "x", nullptr);
    KelJson *replaced = kel_json_obj_getd_array_base(obj, "s", nullptr);
    ASSERT_NE(replaced, nullptr);
    EXPECT_EQ(kel_json_array_size(replaced), 0);
    EXPECT_EQ(kel_json_obj_get_base(obj, "s", 0, nullptr), replaced);

    ErrorSlot err;
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_EQ(kel_json_obj_getd_array_base(arr, "k", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_put_base: invalid JSON type for \"\": expected object, got array");
    EXPECT_EQ(err->next, nullptr);
}

TEST(JsonArray, PushFamily)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    struct Made {
        KelJson *value;
        KelJsonType kind;
    };
    const Made made[] = {
        {kel_json_array_push_array_base(arr, nullptr), KEL_JSON_ARRAY},
        {kel_json_array_push_obj_base(arr, nullptr), KEL_JSON_OBJECT},
        {kel_json_array_push_bool_base(arr, 3, nullptr), KEL_JSON_TRUE},
        {kel_json_array_push_bool_base(arr, FALSE, nullptr), KEL_JSON_FALSE},
        {kel_json_array_push_double_base(arr, 0.25, nullptr), KEL_JSON_DOUBLE},
        {kel_json_array_push_i64_base(arr, -1, nullptr), KEL_JSON_INT64},
        {kel_json_array_push_u64_base(arr, 1, nullptr), KEL_JSON_UINT64},
        {kel_json_array_push_u128_base(arr, KelUint128{0, 1}, nullptr), KEL_JSON_UINT128},
        {kel_json_array_push_str_base(arr, "s", nullptr), KEL_JSON_STRING},
    };
    for (size_t i = 0; i < G_N_ELEMENTS(made); i++) {
        ASSERT_NE(made[i].value, nullptr);
        EXPECT_EQ(made[i].value->type, made[i].kind);
        EXPECT_EQ(kel_json_parent_index(made[i].value), static_cast<int>(i));
        EXPECT_EQ(made[i].value->refcount, 1);
    }

    // Failures free the value they made (LeakSanitizer).
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    ErrorSlot err;
    EXPECT_EQ(kel_json_array_push_array_base(obj, &err), nullptr);
    EXPECT_EQ(kel_json_array_push_obj_base(obj, &err), nullptr);
    EXPECT_EQ(kel_json_array_push_u128_base(obj, KelUint128{1, 1}, &err), nullptr);
    EXPECT_EQ(kel_json_array_push_str_base(obj, "s", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_array_push_base: invalid JSON type for \"\": expected array, got object");
    err.clear();
    EXPECT_EQ(kel_json_array_push_i64_base(nullptr, 1, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_array_push_base: argument check failed: json");
    err.clear();
    EXPECT_EQ(kel_json_array_push_str_base(arr, "\xED\xA0\x80", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID,
                     "kel_json_str_new_len_base: Character sequence is not valid UTF-8: ED A0 80 ");
    EXPECT_EQ(kel_json_array_size(arr), static_cast<int>(G_N_ELEMENTS(made)));
}

TEST(JsonArray, PushCannotCloseACycle)
{
    JsonRoot root(kel_json_array_new_base(0, FALSE));
    KelJson *inner = kel_json_array_push_array_base(root, nullptr);
    ErrorSlot err;
    EXPECT_FALSE(kel_json_array_push_base(inner, root, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"/0\", because value is that container or one of its ancestors");
    err.clear();
    EXPECT_FALSE(kel_json_array_push_base(root, root, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"\", because value is that container or one of its ancestors");
    EXPECT_EQ(kel_json_array_size(inner), 0);
    EXPECT_EQ(kel_json_array_size(root), 1);
}

}  // namespace
