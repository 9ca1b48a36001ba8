// JSON arrays: append with the single-parent rule, negative indices, pop and
// pop_elem counts, swap, filtering (owning and borrowing), sorting with
// renumbering, array members of objects and the push family.
#include <string>
#include <vector>

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

KelJson *ints(std::initializer_list<gint64> values, gboolean borrow = FALSE)
{
    KelJson *arr = kel_json_array_new_base(0, borrow);
    for (gint64 v : values)
        kel_json_array_push_i64_base(arr, v, nullptr);
    return arr;
}

KelJson *at(KelJson *arr, int i)
{
    return kel_json_array_get_base(arr, i, 0, nullptr);
}

// The values, checking on the way that every element of an owning array
// knows its position.
std::vector<gint64> values_of(KelJson *arr)
{
    std::vector<gint64> out;
    for (int i = 0; i < kel_json_array_size(arr); i++) {
        if (!(arr->flags & KEL_JSON_FLAG_BORROW)) {
            EXPECT_EQ(at(arr, i)->parent, arr);
            EXPECT_EQ(kel_json_parent_index(at(arr, i)), i);
        }
        out.push_back(kel_json_i64_get(at(arr, i)));
    }
    return out;
}

using Ints = std::vector<gint64>;

TEST(JsonArray, PushAndSecondParent)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *a = ints({0, 1, 2});
    ASSERT_TRUE(kel_json_obj_put_base(root, "a", a, nullptr));
    KelJson *b = kel_json_obj_put_array_base(root, "b", nullptr);
    KelJson *elem = at(a, 1);
    ErrorSlot err;
    EXPECT_EQ(values_of(a), (Ints{0, 1, 2}));
    EXPECT_EQ(elem->refcount, 1);

    EXPECT_FALSE(kel_json_array_push_base(a, elem, &err));
    EXPECT_EQ(take(err), "-9 Cannot add to \"/a\", because value is already a child of \"/a\"");
    EXPECT_FALSE(kel_json_array_push_base(b, elem, &err));
    EXPECT_EQ(take(err), "-9 Cannot add to \"/b\", because value is already a child of \"/a\"");
    EXPECT_FALSE(kel_json_array_push_base(nullptr, elem, &err));
    EXPECT_EQ(take(err), "-1 kel_json_array_push_base: argument check failed: json");
    EXPECT_FALSE(kel_json_array_push_base(b, nullptr, &err));
    EXPECT_EQ(take(err), "-1 kel_json_array_push_base: argument check failed: value");
    JsonRoot loose(kel_json_null_new_base());
    EXPECT_FALSE(kel_json_array_push_base(root, loose, &err));
    EXPECT_EQ(take(err), "-2 kel_json_array_push_base: invalid JSON type for \"\": expected array, got object");
    EXPECT_EQ(kel_json_array_size(b), 0);
    EXPECT_EQ(loose->refcount, 0);

    // A borrowing array takes it and leaves parent and index alone.
    KelJson *view = kel_json_array_new_base(0, TRUE);
    EXPECT_EQ(view->flags, KEL_JSON_FLAG_BORROW);
    ASSERT_TRUE(kel_json_array_push_base(view, elem, &err));
    EXPECT_EQ(elem->parent, a);
    EXPECT_EQ(kel_json_parent_index(elem), 1);
    EXPECT_EQ(elem->refcount, 2);
    kel_json_unref(view);
    EXPECT_EQ(elem->refcount, 1);
}

TEST(JsonArray, IndicesAndLookupFailures)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *arr = ints({10, 20, 30});
    ASSERT_TRUE(kel_json_obj_put_base(root, "list", arr, nullptr));
    ErrorSlot err;
    EXPECT_EQ(kel_json_i64_get(kel_json_array_get_base(arr, -1, 0, &err)), 30);
    EXPECT_EQ(kel_json_i64_get(kel_json_array_get_base(arr, -3, 0, &err)), 10);
    EXPECT_FALSE(err);

    // The message shows the index after adjustment.
    EXPECT_EQ(kel_json_array_get_base(arr, -4, 0, &err), nullptr);
    EXPECT_EQ(take(err), "-4 Index -1 is out of bounds for JSON array \"/list\"");
    EXPECT_EQ(kel_json_array_get_base(arr, 3, 0, &err), nullptr);
    EXPECT_EQ(take(err), "-4 Index 3 is out of bounds for JSON array \"/list\"");
    EXPECT_EQ(kel_json_array_get_base(arr, G_MININT32, 0, &err), nullptr);
    EXPECT_EQ(take(err), "-4 Index -2147483645 is out of bounds for JSON array \"/list\"");
    EXPECT_EQ(kel_json_array_get_base(nullptr, 0, 0, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_array_get_base: argument check failed: json");
    EXPECT_EQ(kel_json_array_get_base(root, 0, 0, &err), nullptr);
    EXPECT_EQ(take(err), "-2 kel_json_array_get_base: invalid JSON type for \"\": expected array, got object");
    JsonRoot empty(kel_json_array_new_base(-3, FALSE));  // a negative reservation is harmless
    EXPECT_EQ(kel_json_array_get_base(empty, -1, 0, &err), nullptr);
    EXPECT_EQ(take(err), "-4 Index -1 is out of bounds for JSON array \"\"");
}

TEST(JsonArray, ReferenceElements)
{
    JsonRoot arr(ints({5}));
    KelJson *ref = kel_json_jref_new_base("#/0", nullptr);
    ASSERT_TRUE(kel_json_array_push_base(arr, ref, nullptr));
    EXPECT_EQ(kel_json_array_get_base(arr, 1, 0, nullptr), ref);
    EXPECT_EQ(kel_json_array_get_base(arr, 1, 2, nullptr), ref);  // only bit 0 follows
    EXPECT_EQ(kel_json_array_get_base(arr, -1, 1, nullptr), at(arr, 0));
    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_POINTER_INVALID, "earlier");
    EXPECT_EQ(kel_json_array_get_base(arr, 1, 1, &err), nullptr);
    EXPECT_EQ(err->next, nullptr);
}

TEST(JsonArray, PopAndPopElem)
{
    JsonRoot arr(ints({1, 2, 3, 4}));
    KelJson *third = at(arr, 2);
    kel_json_ref(third);
    EXPECT_EQ(kel_json_array_pop(arr, 2), 2);
    EXPECT_EQ(values_of(arr), (Ints{1, 2}));
    EXPECT_EQ(third->parent, nullptr);
    EXPECT_EQ(third->refcount, 1);
    kel_json_unref(third);
    EXPECT_EQ(kel_json_array_pop(arr, 0), 0);
    EXPECT_EQ(kel_json_array_pop(arr, -5), 0);  // a negative count removes nothing

    // pop_elem hands the array's reference over: count 0 when only it held one.
    KelJson *last = kel_json_array_pop_elem(arr);
    EXPECT_EQ(kel_json_i64_get(last), 2);
    EXPECT_EQ(last->parent, nullptr);
    EXPECT_EQ(last->refcount, 0);
    kel_json_unref(last);
    KelJson *held = at(arr, 0);
    kel_json_ref(held);
    EXPECT_EQ(kel_json_array_pop_elem(arr), held);
    EXPECT_EQ(held->refcount, 1);
    kel_json_unref(held);
    EXPECT_EQ(kel_json_array_pop_elem(arr), nullptr);

    JsonRoot more(ints({1, 2, 3}));
    EXPECT_EQ(kel_json_array_pop(more, 10), 3);
    EXPECT_EQ(kel_json_array_pop(more, 1), 0);
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_EQ(kel_json_array_pop(obj, 1), -1);
    EXPECT_EQ(kel_json_array_pop(nullptr, 1), -1);
    EXPECT_EQ(kel_json_array_size(obj), -1);
    EXPECT_EQ(kel_json_array_size(nullptr), -1);
    EXPECT_EQ(kel_json_array_pop_elem(obj), nullptr);
    EXPECT_EQ(kel_json_array_pop_elem(nullptr), nullptr);

    // From a borrowing array the element keeps its owner.
    JsonRoot owner(ints({7}));
    KelJson *view = kel_json_array_new_base(0, TRUE);
    kel_json_array_push_base(view, at(owner, 0), nullptr);
    EXPECT_EQ(kel_json_array_pop_elem(view), at(owner, 0));
    EXPECT_EQ(at(owner, 0)->refcount, 1);
    kel_json_unref(view);
}

TEST(JsonArray, Swap)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *arr = ints({1, 2, 3});
    kel_json_obj_put_base(root, "arr", arr, nullptr);
    KelJson *old = at(arr, 1);
    KelJson *fresh = kel_json_i64_new_base(20);
    ErrorSlot err;
    EXPECT_EQ(kel_json_array_swap(arr, 1, fresh, &err), old);
    EXPECT_EQ(fresh->refcount, 1);
    EXPECT_EQ(kel_json_parent_index(old), -1);
    EXPECT_EQ(old->refcount, 0);
    kel_json_unref(old);
    old = at(arr, 2);
    EXPECT_EQ(kel_json_array_swap(arr, -1, kel_json_i64_new_base(30), &err), old);
    kel_json_unref(old);
    EXPECT_EQ(values_of(arr), (Ints{1, 20, 30}));
    EXPECT_FALSE(err);

    KelJson *loose = kel_json_null_new_base();
    EXPECT_EQ(kel_json_array_swap(arr, 3, loose, &err), nullptr);
    EXPECT_EQ(take(err), "-4 Index 3 is out of bounds for JSON array \"/arr\"");
    EXPECT_EQ(kel_json_array_swap(arr, -4, loose, &err), nullptr);
    EXPECT_EQ(take(err), "-4 Index -1 is out of bounds for JSON array \"/arr\"");
    EXPECT_EQ(kel_json_array_swap(arr, 1, at(arr, 0), &err), nullptr);
    EXPECT_EQ(take(err), "-9 Cannot add to \"/arr\", because value is already a child of \"/arr\"");
    EXPECT_EQ(kel_json_array_swap(nullptr, 0, loose, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_array_swap: argument check failed: array");
    EXPECT_EQ(kel_json_array_swap(arr, 0, nullptr, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_array_swap: argument check failed: elem");
    EXPECT_EQ(kel_json_array_swap(root, 0, loose, &err), nullptr);
    EXPECT_EQ(take(err), "-2 kel_json_array_swap: invalid JSON type for \"\": expected array, got object");
    EXPECT_EQ(values_of(arr), (Ints{1, 20, 30}));
    EXPECT_EQ(loose->refcount, 0);
    kel_json_unref(loose);

    // A borrowing array swaps in a value owned elsewhere, writing no links.
    KelJson *view = ints({9}, TRUE);
    KelJson *first = at(view, 0);
    kel_json_ref(first);
    EXPECT_EQ(kel_json_array_swap(view, 0, at(arr, 2), &err), first);
    EXPECT_EQ(first->refcount, 1);  // the view no longer counts it
    kel_json_unref(first);
    EXPECT_EQ(at(arr, 2)->refcount, 2);
    kel_json_unref(view);
    EXPECT_EQ(values_of(arr), (Ints{1, 20, 30}));
}

struct Seen {
    Ints values;
};

gboolean keep_even(KelJson *elem, gpointer data)
{
    static_cast<Seen *>(data)->values.push_back(kel_json_i64_get(elem));
    return kel_json_i64_get(elem) % 2 == 0;
}

gboolean keep_all(KelJson *, gpointer)
{
    return TRUE;
}

TEST(JsonArray, FilterOwning)
{
    JsonRoot arr(ints({1, 2, 3, 4}));
    KelJson *three = at(arr, 2);
    kel_json_ref(three);
    Seen seen;
    EXPECT_TRUE(kel_json_array_filter(arr, keep_even, &seen));
    EXPECT_EQ(seen.values, (Ints{1, 2, 3, 4}));
    EXPECT_EQ(values_of(arr), (Ints{2, 4}));
    EXPECT_EQ(three->parent, nullptr);  // released; alive through our reference
    EXPECT_EQ(three->refcount, 1);
    kel_json_unref(three);

    JsonRoot mixed(ints({2, 1, 4, 3, 5, 6}));
    EXPECT_TRUE(kel_json_array_filter(mixed, keep_even, &seen));
    EXPECT_EQ(values_of(mixed), (Ints{2, 4, 6}));
    JsonRoot all(ints({3, 1, 2}));
    EXPECT_TRUE(kel_json_array_filter(all, keep_all, nullptr));
    EXPECT_EQ(values_of(all), (Ints{3, 1, 2}));
    JsonRoot odd(ints({1, 3}));
    EXPECT_TRUE(kel_json_array_filter(odd, keep_even, &seen));
    EXPECT_EQ(kel_json_array_size(odd), 0);

    EXPECT_FALSE(kel_json_array_filter(all, nullptr, nullptr));
    EXPECT_FALSE(kel_json_array_filter(nullptr, keep_all, nullptr));
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_FALSE(kel_json_array_filter(obj, keep_all, nullptr));
}

TEST(JsonArray, FilterBorrowingLeavesOwnersAlone)
{
    JsonRoot owner(ints({1, 2, 3, 4, 5}));
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *keyed = kel_json_obj_put_i64_base(obj, "seven", 7, nullptr);
    KelJson *view = kel_json_array_new_base(0, TRUE);
    for (int i = 4; i >= 0; i--)
        kel_json_array_push_base(view, at(owner, i), nullptr);
    kel_json_array_push_base(view, keyed, nullptr);
    kel_json_array_push_i64_base(view, 9, nullptr);  // held by the view alone
    kel_json_array_push_base(view, at(owner, 1), nullptr);

    Seen seen;
    EXPECT_TRUE(kel_json_array_filter(view, keep_even, &seen));
    EXPECT_EQ(seen.values, (Ints{5, 4, 3, 2, 1, 7, 9, 2}));
    EXPECT_EQ(values_of(view), (Ints{4, 2, 2}));
    // The owners' index and key fields are untouched; rejected entries gave
    // their counts back.
    EXPECT_EQ(values_of(owner), (Ints{1, 2, 3, 4, 5}));
    EXPECT_STREQ(kel_json_parent_key(keyed), "seven");
    EXPECT_EQ(keyed->refcount, 1);
    const int counts[] = {1, 3, 1, 2, 1};
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(at(owner, i)->refcount, counts[i]) << i;
    kel_json_unref(view);
}

gint by_value(gconstpointer a, gconstpointer b)
{
    const gint64 x = kel_json_i64_get(*static_cast<KelJson *const *>(a));
    const gint64 y = kel_json_i64_get(*static_cast<KelJson *const *>(b));
    return (x > y) - (x < y);
}

TEST(JsonArray, SortRenumbersOwnedElementsOnly)
{
    JsonRoot arr(ints({3, 1, 2}));
    EXPECT_TRUE(kel_json_array_sort(arr, by_value));
    EXPECT_EQ(values_of(arr), (Ints{1, 2, 3}));
    JsonRoot view(kel_json_array_new_base(0, TRUE));
    for (int i = 2; i >= 0; i--)
        kel_json_array_push_base(view, at(arr, i), nullptr);
    EXPECT_TRUE(kel_json_array_sort(view, by_value));
    EXPECT_EQ(values_of(view), (Ints{1, 2, 3}));
    EXPECT_EQ(values_of(arr), (Ints{1, 2, 3}));  // indices still those of arr

    EXPECT_FALSE(kel_json_array_sort(arr, nullptr));
    EXPECT_FALSE(kel_json_array_sort(nullptr, by_value));
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_FALSE(kel_json_array_sort(obj, by_value));
}

TEST(JsonArray, ArrayMembersOfObjects)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *list = kel_json_obj_put_array_base(obj, "list", nullptr);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->flags, 0);
    EXPECT_STREQ(kel_json_parent_key(list), "list");
    EXPECT_EQ(kel_json_obj_getd_array_base(obj, "list", nullptr), list);
    kel_json_obj_put_str_base(obj, "s", "x", nullptr);
    KelJson *replaced = kel_json_obj_getd_array_base(obj, "s", nullptr);
    EXPECT_EQ(kel_json_array_size(replaced), 0);
    EXPECT_EQ(kel_json_obj_get_base(obj, "s", 0, nullptr), replaced);

    ErrorSlot err;
    EXPECT_EQ(kel_json_obj_getd_array_base(list, "k", &err), nullptr);
    EXPECT_EQ(err->next, nullptr);
    EXPECT_EQ(take(err), "-2 kel_json_obj_put_base: invalid JSON type for \"/list\": expected object, got array");
}

TEST(JsonArray, PushFamily)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    const struct {
        KelJson *value;
        KelJsonType kind;
    } made[] = {
        {kel_json_array_push_array_base(arr, nullptr), KEL_JSON_ARRAY},
        {kel_json_array_push_obj_base(arr, nullptr), KEL_JSON_OBJECT},
        {kel_json_array_push_bool_base(arr, 3, nullptr), KEL_JSON_TRUE},
        {kel_json_array_push_bool_base(arr, FALSE, nullptr), KEL_JSON_FALSE},
        {kel_json_array_push_double_base(arr, 0.25, nullptr), KEL_JSON_DOUBLE},
        {kel_json_array_push_i64_base(arr, -1, nullptr), KEL_JSON_INT64},
        {kel_json_array_push_u64_base(arr, 1, nullptr), KEL_JSON_UINT64},
        {kel_json_array_push_u128_base(arr, {0, 1}, nullptr), KEL_JSON_UINT128},
        {kel_json_array_push_str_base(arr, "s", nullptr), KEL_JSON_STRING},
    };
    for (size_t i = 0; i < G_N_ELEMENTS(made); i++) {
        ASSERT_NE(made[i].value, nullptr);
        EXPECT_EQ(made[i].value->type, made[i].kind);
        EXPECT_EQ(kel_json_parent_index(made[i].value), static_cast<int>(i));
        EXPECT_EQ(made[i].value->refcount, 1);
    }

    // Failures free the value they made (LeakSanitizer checks).
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    ErrorSlot err;
    EXPECT_EQ(kel_json_array_push_array_base(obj, &err), nullptr);
    EXPECT_EQ(kel_json_array_push_u128_base(obj, {1, 1}, &err), nullptr);
    EXPECT_EQ(kel_json_array_push_str_base(obj, "s", &err), nullptr);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(take(err), "-2 kel_json_array_push_base: invalid JSON type for \"\": expected array, got object");
    EXPECT_EQ(kel_json_array_push_i64_base(nullptr, 1, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_array_push_base: argument check failed: json");
    EXPECT_EQ(kel_json_array_push_str_base(arr, "\xED\xA0\x80", &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_str_new_len_base: Character sequence is not valid UTF-8: ED A0 80 ");
    EXPECT_FALSE(err);
    EXPECT_EQ(kel_json_array_size(arr), static_cast<int>(G_N_ELEMENTS(made)));
}

}  // namespace
