// JSON objects: insertion with the single-parent rule and replace semantics,
// borrowing objects, removal, iteration, key lists, lookups with and without
// following references, typed lookups, get-or-create and the put family.
#include <algorithm>
#include <string>
#include <vector>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::LogCapture;

namespace {

// The table's own key string for `key` (what a member's `key` must point at).
const char *table_key(KelJson *obj, const char *key)
{
    gpointer stored = nullptr;
    return g_hash_table_lookup_extended(obj->obj, key, &stored, nullptr)
               ? static_cast<const char *>(stored)
               : nullptr;
}

std::vector<std::string> strings(KelStrArray *keys)
{
    std::vector<std::string> out;
    for (guint i = 0; i < keys->len; i++)
        out.emplace_back(g_array_index(keys, char *, i));
    return out;
}

// ---- Insertion -------------------------------------------------------------------

TEST(JsonObject, PutSetsParentAndTheTablesKey)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_EQ(obj->flags, 0);
    KelJson *value = kel_json_i64_new_base(1);
    char key[] = "name";
    ASSERT_TRUE(kel_json_obj_put_base(obj, key, value, nullptr));
    key[0] = 'X';  // the object keeps its own copy
    EXPECT_EQ(value->parent, obj.get());
    EXPECT_EQ(value->refcount, 1);
    EXPECT_EQ(value->key, table_key(obj, "name"));
    EXPECT_STREQ(kel_json_parent_key(value), "name");
    EXPECT_EQ(kel_json_obj_size(obj), 1);
    EXPECT_TRUE(kel_json_obj_has_key(obj, "name"));
}

TEST(JsonObject, PutUnderExistingKeyReplaces)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *first = kel_json_obj_put_str_base(obj, "k", "first", nullptr);
    KelJson *kept = kel_json_obj_put_str_base(obj, "other", "kept", nullptr);
    kel_json_ref(first);
    KelJson *second = kel_json_i64_new_base(2);
    ASSERT_TRUE(kel_json_obj_put_base(obj, "k", second, nullptr));

    EXPECT_EQ(kel_json_obj_size(obj), 2);
    EXPECT_EQ(kel_json_obj_get_base(obj, "k", 0, nullptr), second);
    EXPECT_STREQ(kel_json_parent_key(second), "k");
    EXPECT_EQ(second->key, table_key(obj, "k"));
    EXPECT_EQ(kept->parent, obj.get());
    // The former member was released: detached, its count one lower.
    EXPECT_EQ(first->parent, nullptr);
    EXPECT_EQ(first->refcount, 1);
    kel_json_unref(first);

    // Replaced without an extra reference: freed (ASan/LSan watch this).
    ASSERT_TRUE(kel_json_obj_put_base(obj, "k", kel_json_null_new_base(), nullptr));
    EXPECT_EQ(kel_json_obj_size(obj), 2);
}

TEST(JsonObject, PutWithAMembersOwnKeyText)
{
    // Replacing a member under the very key string it points at: the key is
    // copied before the old one is freed.
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *old = kel_json_obj_put_i64_base(obj, "key", 1, nullptr);
    kel_json_ref(old);
    KelJson *fresh = kel_json_i64_new_base(2);
    ASSERT_TRUE(kel_json_obj_put_base(obj, old->key, fresh, nullptr));
    EXPECT_STREQ(kel_json_parent_key(fresh), "key");
    EXPECT_EQ(kel_json_obj_size(obj), 1);
    kel_json_unref(old);
}

TEST(JsonObject, SecondParentIsRefused)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *a = kel_json_obj_put_obj_base(root, "a", nullptr);
    KelJson *b = kel_json_obj_put_obj_base(root, "b", nullptr);
    KelJson *value = kel_json_obj_put_i64_base(a, "v", 1, nullptr);
    ErrorSlot err;

    EXPECT_FALSE(kel_json_obj_put_base(b, "v", value, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED, "Cannot add to \"/b\", because value is already a child of \"/a\"");
    EXPECT_EQ(err.domain(), kel_json_error_domain());
    err.clear();
    // Also back into its own object, under any key.
    EXPECT_FALSE(kel_json_obj_put_base(a, "w", value, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED, "Cannot add to \"/a\", because value is already a child of \"/a\"");
    EXPECT_FALSE(kel_json_obj_put_base(a, "v", value, nullptr));

    EXPECT_EQ(kel_json_obj_size(a), 1);
    EXPECT_EQ(kel_json_obj_size(b), 0);
    EXPECT_EQ(value->parent, a);
    EXPECT_EQ(value->refcount, 1);
    EXPECT_STREQ(kel_json_parent_key(value), "v");
}

TEST(JsonObject, BorrowingObjectCountsButNeverLinks)
{
    JsonRoot owner(kel_json_obj_new_base(FALSE));
    KelJson *value = kel_json_obj_put_str_base(owner, "v", "x", nullptr);
    KelJson *view = kel_json_obj_new_base(TRUE);
    EXPECT_EQ(view->flags, KEL_JSON_FLAG_BORROW);

    ASSERT_TRUE(kel_json_obj_put_base(view, "alias", value, nullptr));
    EXPECT_EQ(value->refcount, 2);
    EXPECT_EQ(value->parent, owner.get());
    EXPECT_STREQ(kel_json_parent_key(value), "v");
    // Re-putting the same value under the same key keeps one count for it.
    ASSERT_TRUE(kel_json_obj_put_base(view, "alias", value, nullptr));
    EXPECT_EQ(value->refcount, 2);
    EXPECT_EQ(kel_json_obj_size(view), 1);

    // A parentless value held only by the view lives as long as the view.
    KelJson *loose = kel_json_i64_new_base(3);
    ASSERT_TRUE(kel_json_obj_put_base(view, "loose", loose, nullptr));
    EXPECT_EQ(loose->parent, nullptr);

    EXPECT_TRUE(kel_json_obj_remove(view, "alias"));
    EXPECT_EQ(value->refcount, 1);
    EXPECT_EQ(value->parent, owner.get());
    kel_json_unref(view);
    EXPECT_EQ(kel_json_obj_get_base(owner, "v", 0, nullptr), value);
}

TEST(JsonObject, PutArgumentAndTypeFailures)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    JsonRoot value(kel_json_null_new_base());
    ErrorSlot err;

    EXPECT_FALSE(kel_json_obj_put_base(nullptr, nullptr, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_put_base: argument check failed: json");
    err.clear();
    EXPECT_FALSE(kel_json_obj_put_base(obj, nullptr, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_put_base: argument check failed: key");
    err.clear();
    EXPECT_FALSE(kel_json_obj_put_base(obj, "k", nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_put_base: argument check failed: value");
    err.clear();
    EXPECT_FALSE(kel_json_obj_put_base(arr, "k", value, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_put_base: invalid JSON type for \"\": expected object, got array");
    EXPECT_EQ(value->refcount, 0);
    EXPECT_EQ(kel_json_obj_size(obj), 0);
}

// ---- Removal, size, keys, iteration -----------------------------------------------------

TEST(JsonObject, RemoveReleasesTheMember)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *held = kel_json_obj_put_obj_base(obj, "held", nullptr);
    kel_json_obj_put_str_base(held, "inner", "x", nullptr);
    kel_json_obj_put_i64_base(obj, "dropped", 1, nullptr);
    kel_json_ref(held);

    EXPECT_TRUE(kel_json_obj_remove(obj, "held"));
    EXPECT_EQ(held->parent, nullptr);
    EXPECT_EQ(held->refcount, 1);
    EXPECT_TRUE(kel_json_obj_remove(obj, "dropped"));
    EXPECT_FALSE(kel_json_obj_remove(obj, "dropped"));
    EXPECT_EQ(kel_json_obj_size(obj), 0);
    kel_json_unref(held);

    EXPECT_FALSE(kel_json_obj_remove(nullptr, "k"));
    EXPECT_FALSE(kel_json_obj_remove(obj, nullptr));
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_FALSE(kel_json_obj_remove(arr, "k"));
}

TEST(JsonObject, NonObjectsAnswerNeutrally)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_EQ(kel_json_obj_size(arr), -1);
    EXPECT_EQ(kel_json_obj_size(nullptr), -1);
    EXPECT_EQ(kel_json_obj_keys(arr), nullptr);
    EXPECT_EQ(kel_json_obj_keys(nullptr), nullptr);
    EXPECT_FALSE(kel_json_obj_has_key(nullptr, "k"));
    EXPECT_FALSE(kel_json_obj_has_key(arr, "k"));
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_FALSE(kel_json_obj_has_key(obj, nullptr));
    EXPECT_FALSE(kel_json_obj_has_key(obj, "k"));
}

TEST(JsonObject, KeyLists)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    for (const char *k : {"b", "B", "a", ""})
        kel_json_obj_put_null_base(obj, k, nullptr);

    KelStrArray *alpha = kel_json_alpha_keys(obj);
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(strings(alpha), (std::vector<std::string>{"", "B", "a", "b"}));
    EXPECT_EQ(g_array_index(alpha, char *, 4), nullptr);
    kel_str_array_free(alpha, TRUE);

    KelStrArray *keys = kel_json_obj_keys(obj);
    std::vector<std::string> got = strings(keys);
    std::sort(got.begin(), got.end());
    EXPECT_EQ(got, (std::vector<std::string>{"", "B", "a", "b"}));
    kel_str_array_free(keys, TRUE);

    JsonRoot empty(kel_json_obj_new_base(FALSE));
    keys = kel_json_alpha_keys(empty);
    ASSERT_NE(keys, nullptr);
    EXPECT_EQ(keys->len, 0u);
    kel_str_array_free(keys, TRUE);
}

TEST(JsonObject, AlphaKeysOfANonObjectWarnsThroughTheSort)
{
    LogCapture log;
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_EQ(kel_json_alpha_keys(arr), nullptr);
    ASSERT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(log.last(), "kel_str_array_sort: assertion 'array' failed");
}

TEST(JsonObject, Iteration)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    kel_json_obj_put_i64_base(obj, "one", 1, nullptr);
    kel_json_obj_put_i64_base(obj, "two", 2, nullptr);

    KelJsonObjIter iter;
    ASSERT_TRUE(kel_json_obj_iter_init(&iter, obj));
    int seen = 0;
    gint64 sum = 0;
    const char *key;
    KelJson *value;
    while (kel_json_obj_iter_next(&iter, &key, &value)) {
        EXPECT_EQ(key, value->key);
        sum += kel_json_i64_get(value);
        seen++;
    }
    EXPECT_EQ(seen, 2);
    EXPECT_EQ(sum, 3);

    // Out pointers may be null.
    ASSERT_TRUE(kel_json_obj_iter_init(&iter, obj));
    EXPECT_TRUE(kel_json_obj_iter_next(&iter, nullptr, nullptr));
    EXPECT_TRUE(kel_json_obj_iter_next(&iter, nullptr, &value));
    EXPECT_FALSE(kel_json_obj_iter_next(&iter, nullptr, nullptr));

    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_FALSE(kel_json_obj_iter_init(&iter, arr));
    EXPECT_FALSE(kel_json_obj_iter_init(&iter, nullptr));

    LogCapture log;
    EXPECT_FALSE(kel_json_obj_iter_init(nullptr, obj));
    EXPECT_EQ(log.last(), "kel_json_obj_iter_init: assertion 'iter' failed");
}

struct Visits {
    int calls = 0;
    int stop_at = -1;
};

gboolean count_members(const char *, KelJson *, gpointer data)
{
    auto *v = static_cast<Visits *>(data);
    return v->calls++ != v->stop_at;
}

TEST(JsonObject, Foreach)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    Visits visits;
    EXPECT_TRUE(kel_json_obj_foreach(obj, count_members, &visits));
    EXPECT_EQ(visits.calls, 0);

    for (const char *k : {"a", "b", "c"})
        kel_json_obj_put_null_base(obj, k, nullptr);
    visits = Visits{};
    EXPECT_TRUE(kel_json_obj_foreach(obj, count_members, &visits));
    EXPECT_EQ(visits.calls, 3);
    visits = Visits{0, 0};
    EXPECT_FALSE(kel_json_obj_foreach(obj, count_members, &visits));
    EXPECT_EQ(visits.calls, 1);

    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_FALSE(kel_json_obj_foreach(arr, count_members, &visits));
    LogCapture log;
    EXPECT_FALSE(kel_json_obj_foreach(obj, nullptr, nullptr));
    EXPECT_EQ(log.last(), "kel_json_obj_foreach: assertion 'callback' failed");
}

// ---- Lookups ------------------------------------------------------------------------

TEST(JsonObject, GetFailures)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *inner = kel_json_obj_put_obj_base(root, "in~ner", nullptr);
    ErrorSlot err;

    EXPECT_EQ(kel_json_obj_get_base(inner, "missing", 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"/in~0ner\" does not have key missing");
    err.clear();
    // A "%" in the key reaches the message as it is.
    EXPECT_EQ(kel_json_obj_get_base(root, "100%d", 1, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key 100%d");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_base(nullptr, "k", 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_get_base: argument check failed: json");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_base(root, nullptr, 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_get_base: argument check failed: key");
    err.clear();
    KelJson *list = kel_json_obj_put_array_base(root, "list", nullptr);
    EXPECT_EQ(kel_json_obj_get_base(list, "k", 0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_base: invalid JSON type for \"/list\": expected object, got array");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_base(root, "missing", 0, nullptr), nullptr);
}

TEST(JsonObject, ReferenceMembersWithoutFollowing)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *ref = kel_json_obj_put_jref_base(root, "r", "#/nowhere", nullptr);
    ASSERT_NE(ref, nullptr);
    EXPECT_STREQ(kel_json_jref_uri(ref), "#/nowhere");
    EXPECT_EQ(kel_json_obj_get_base(root, "r", 0, nullptr), ref);
    // Only the lowest bit of deref counts.
    EXPECT_EQ(kel_json_obj_get_base(root, "r", 2, nullptr), ref);
    EXPECT_EQ(kel_json_obj_get_jref_base(root, "r", nullptr), ref);

    // With deref and an error already pending: null, and no new error.
    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_POINTER_INVALID, "earlier");
    EXPECT_EQ(kel_json_obj_get_base(root, "r", 1, &err), nullptr);
    EXPECT_EQ(err.message(), "earlier");
    EXPECT_EQ(err->next, nullptr);
}

TEST(JsonObject, ReferenceMembersAreFollowed)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *target = kel_json_obj_put_obj_base(root, "target", nullptr);
    KelJson *text = kel_json_obj_put_str_base(root, "text", "hello", nullptr);
    KelJson *holder = kel_json_obj_put_obj_base(root, "holder", nullptr);
    kel_json_obj_put_jref_base(holder, "to_obj", "#/target", nullptr);
    kel_json_obj_put_jref_base(holder, "to_text", "#/text", nullptr);
    kel_json_obj_put_jref_base(holder, "dangling", "#/nothing", nullptr);

    EXPECT_EQ(kel_json_obj_get_base(holder, "to_obj", 1, nullptr), target);
    EXPECT_EQ(kel_json_obj_get_obj_base(holder, "to_obj", nullptr), target);
    EXPECT_STREQ(kel_json_obj_get_str_base(holder, "to_text", nullptr), "hello");
    EXPECT_EQ(kel_json_obj_get_str_base(holder, "to_text", nullptr), text->str);

    // A refused kind names the value the reference led to.
    ErrorSlot err;
    EXPECT_EQ(kel_json_obj_get_array_base(holder, "to_obj", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_array_base: invalid JSON type for \"/target\": expected array, got object");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_obj_base(holder, "dangling", &err), nullptr);
    EXPECT_TRUE(err);

    // A dangling reference is replaced by get-or-create.
    KelJson *made = kel_json_obj_getd_obj_base(holder, "dangling", nullptr);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->type, KEL_JSON_OBJECT);
    EXPECT_EQ(kel_json_obj_get_base(holder, "dangling", 0, nullptr), made);
}

TEST(JsonObject, TypedLookups)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *o = kel_json_obj_put_obj_base(root, "o", nullptr);
    KelJson *a = kel_json_obj_put_array_base(root, "a", nullptr);
    kel_json_obj_put_str_base(root, "s", "text", nullptr);
    kel_json_obj_put_i64_base(root, "n", 5, nullptr);
    KelJson *r = kel_json_obj_put_jref_base(root, "r", "#/o", nullptr);

    EXPECT_EQ(kel_json_obj_get_obj_base(root, "o", nullptr), o);
    EXPECT_EQ(kel_json_obj_get_array_base(root, "a", nullptr), a);
    EXPECT_STREQ(kel_json_obj_get_str_base(root, "s", nullptr), "text");
    EXPECT_EQ(kel_json_obj_get_jref_base(root, "r", nullptr), r);

    ErrorSlot err;
    EXPECT_EQ(kel_json_obj_get_str_base(root, "n", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_str_base: invalid JSON type for \"/n\": expected string, got int64");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_obj_base(root, "a", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_obj_base: invalid JSON type for \"/a\": expected object, got array");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_array_base(root, "s", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_array_base: invalid JSON type for \"/s\": expected array, got string");
    err.clear();
    EXPECT_EQ(kel_json_obj_get_jref_base(root, "o", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_jref_base: invalid JSON type for \"/o\": expected reference, got object");
    err.clear();
    // The lookup's own failures pass through unchanged.
    EXPECT_EQ(kel_json_obj_get_str_base(root, "zz", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key zz");
    EXPECT_EQ(err->next, nullptr);
    err.clear();
    EXPECT_EQ(kel_json_obj_get_obj_base(a, "k", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_get_base: invalid JSON type for \"/a\": expected object, got array");
}

TEST(JsonObject, GetOrCreateObject)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *existing = kel_json_obj_put_obj_base(root, "o", nullptr);
    kel_json_obj_put_str_base(root, "s", "replace me", nullptr);
    ErrorSlot err;

    EXPECT_EQ(kel_json_obj_getd_obj_base(root, "o", &err), existing);
    KelJson *made = kel_json_obj_getd_obj_base(root, "new", &err);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(made->parent, root.get());
    EXPECT_EQ(kel_json_obj_size(made), 0);
    KelJson *replaced = kel_json_obj_getd_obj_base(root, "s", &err);
    ASSERT_NE(replaced, nullptr);
    EXPECT_EQ(kel_json_obj_get_base(root, "s", 0, nullptr), replaced);
    EXPECT_FALSE(err);
    EXPECT_EQ(kel_json_obj_size(root), 3);

    // Failures of the object itself come from the put.
    EXPECT_EQ(kel_json_obj_getd_obj_base(nullptr, "k", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_put_base: argument check failed: json");
    EXPECT_EQ(err->next, nullptr);
}

// ---- Put family -----------------------------------------------------------------------

TEST(JsonObject, PutFamilyMakesEachKind)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    struct Made {
        KelJson *value;
        KelJsonType kind;
    };
    const Made made[] = {
        {kel_json_obj_put_obj_base(obj, "obj", nullptr), KEL_JSON_OBJECT},
        {kel_json_obj_put_array_base(obj, "array", nullptr), KEL_JSON_ARRAY},
        {kel_json_obj_put_str_base(obj, "str", "s", nullptr), KEL_JSON_STRING},
        {kel_json_obj_put_str_len_base(obj, "str_len", "abcdef", 2, nullptr), KEL_JSON_STRING},
        {kel_json_obj_put_bool_base(obj, "true", 7, nullptr), KEL_JSON_TRUE},
        {kel_json_obj_put_bool_base(obj, "false", FALSE, nullptr), KEL_JSON_FALSE},
        {kel_json_obj_put_double_base(obj, "double", 2.5, nullptr), KEL_JSON_DOUBLE},
        {kel_json_obj_put_i64_base(obj, "i64", -3, nullptr), KEL_JSON_INT64},
        {kel_json_obj_put_u64_base(obj, "u64", 3, nullptr), KEL_JSON_UINT64},
        {kel_json_obj_put_u128_base(obj, "u128", KelUint128{1, 2}, nullptr), KEL_JSON_UINT128},
        {kel_json_obj_put_jref_base(obj, "jref", "#/obj", nullptr), KEL_JSON_JREF},
        {kel_json_obj_put_null_base(obj, "null", nullptr), KEL_JSON_NULL},
    };
    for (const Made &m : made) {
        ASSERT_NE(m.value, nullptr);
        EXPECT_EQ(m.value->type, m.kind);
        EXPECT_EQ(m.value->parent, obj.get());
        EXPECT_EQ(m.value->refcount, 1);
        EXPECT_EQ(m.value->flags, 0);
    }
    EXPECT_EQ(kel_json_obj_size(obj), static_cast<int>(G_N_ELEMENTS(made)));
    EXPECT_STREQ(made[3].value->str, "ab");
    EXPECT_EQ(kel_json_u128_get(made[9].value).hi, 2u);
    EXPECT_EQ(kel_json_double_get(made[6].value), 2.5);
}

TEST(JsonObject, FailedPutsFreeWhatTheyMade)
{
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    ErrorSlot err;
    // Each failure must leave no new value behind (LeakSanitizer).
    EXPECT_EQ(kel_json_obj_put_obj_base(arr, "k", &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_array_base(arr, "k", &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_i64_base(arr, "k", 1, &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_u128_base(arr, "k", KelUint128{1, 1}, &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_str_base(arr, "k", "s", &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_jref_base(arr, "k", "#", &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_null_base(arr, "k", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_obj_put_base: invalid JSON type for \"\": expected object, got array");
    err.clear();
    EXPECT_EQ(kel_json_obj_put_bool_base(nullptr, "k", TRUE, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_put_base: argument check failed: json");
    err.clear();
    EXPECT_EQ(kel_json_obj_put_double_base(arr, nullptr, 1.0, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_obj_put_base: argument check failed: key");
    err.clear();

    // A failing constructor reports alone and nothing is put.
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    EXPECT_EQ(kel_json_obj_put_str_base(obj, "k", "\xC0\x80", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID,
                     "kel_json_str_new_len_base: Character sequence is not valid UTF-8: C0 80 ");
    EXPECT_EQ(err->next, nullptr);
    err.clear();
    EXPECT_EQ(kel_json_obj_put_str_base(obj, "k", nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_str_new_base: argument check failed: value");
    err.clear();
    EXPECT_EQ(kel_json_obj_put_jref_base(obj, "k", nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_jref_new_base: argument check failed: uri");
    EXPECT_EQ(kel_json_obj_size(obj), 0);
}

TEST(JsonObject, PutCannotCloseACycle)
{
    KelJson *root = kel_json_obj_new_base(FALSE);
    KelJson *mid = kel_json_obj_put_obj_base(root, "mid", nullptr);
    KelJson *leaf = kel_json_obj_put_obj_base(mid, "leaf", nullptr);
    ErrorSlot err;
    EXPECT_FALSE(kel_json_obj_put_base(leaf, "loop", root, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"/mid/leaf\", because value is that container or one of its ancestors");
    EXPECT_EQ(kel_json_obj_size(leaf), 0);
    EXPECT_EQ(root->refcount, 0);
    // A borrowing object may list the root: it sets no parent links.
    KelJson *view = kel_json_obj_new_base(TRUE);
    EXPECT_TRUE(kel_json_obj_put_base(view, "root", root, nullptr));
    kel_json_unref(view);  // drops the view's count on root, which frees root
}

}  // namespace
