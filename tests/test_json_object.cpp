// JSON objects: insertion (single parent, replace semantics, borrowing),
// removal, iteration and key lists, lookups with and without following
// references, typed lookups, get-or-create and the put family.
#include <algorithm>
#include <string>
#include <vector>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::LogCapture;

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

// The table's own copy of `key`: the string a member's `key` must point at.
const char *table_key(KelJson *obj, const char *key)
{
    gpointer stored = nullptr;
    g_hash_table_lookup_extended(obj->obj, key, &stored, nullptr);
    return static_cast<const char *>(stored);
}

std::vector<std::string> strings(KelStrArray *keys)
{
    std::vector<std::string> out;
    for (guint i = 0; i < keys->len; i++)
        out.emplace_back(g_array_index(keys, char *, i));
    kel_str_array_free(keys, TRUE);
    return out;
}

TEST(JsonObject, PutLinksAndReplaces)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    char key[] = "k";
    KelJson *first = kel_json_str_new_base("first", nullptr);
    ASSERT_TRUE(kel_json_obj_put_base(obj, key, first, nullptr));
    key[0] = 'X';  // the table keeps its own copy
    EXPECT_EQ(first->parent, obj.get());
    EXPECT_EQ(first->refcount, 1);
    EXPECT_EQ(first->key, table_key(obj, "k"));

    // Replacing frees the old key copy and releases the old member.
    kel_json_ref(first);
    KelJson *second = kel_json_i64_new_base(2);
    ASSERT_TRUE(kel_json_obj_put_base(obj, "k", second, nullptr));
    EXPECT_EQ(kel_json_obj_size(obj), 1);
    EXPECT_EQ(second->key, table_key(obj, "k"));
    EXPECT_STREQ(kel_json_parent_key(second), "k");
    EXPECT_EQ(first->parent, nullptr);
    EXPECT_EQ(first->refcount, 1);
    kel_json_unref(first);

    // The key text may be the member's own (freed by the replacement).
    KelJson *third = kel_json_null_new_base();
    ASSERT_TRUE(kel_json_obj_put_base(obj, second->key, third, nullptr));
    EXPECT_STREQ(kel_json_parent_key(third), "k");
    EXPECT_EQ(kel_json_obj_size(obj), 1);
}

TEST(JsonObject, PutRefusals)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *a = kel_json_obj_put_obj_base(root, "a", nullptr);
    KelJson *b = kel_json_obj_put_obj_base(root, "b", nullptr);
    KelJson *list = kel_json_obj_put_array_base(root, "list", nullptr);
    KelJson *value = kel_json_obj_put_i64_base(a, "v", 1, nullptr);
    JsonRoot loose(kel_json_null_new_base());
    ErrorSlot err;

    EXPECT_FALSE(kel_json_obj_put_base(b, "v", value, &err));
    EXPECT_EQ(err.domain(), kel_json_error_domain());
    EXPECT_EQ(take(err), "-9 Cannot add to \"/b\", because value is already a child of \"/a\"");
    EXPECT_FALSE(kel_json_obj_put_base(a, "w", value, &err));  // its own object too
    EXPECT_EQ(take(err), "-9 Cannot add to \"/a\", because value is already a child of \"/a\"");
    EXPECT_FALSE(kel_json_obj_put_base(nullptr, nullptr, nullptr, &err));
    EXPECT_EQ(take(err), "-1 kel_json_obj_put_base: argument check failed: json");
    EXPECT_FALSE(kel_json_obj_put_base(a, nullptr, nullptr, &err));
    EXPECT_EQ(take(err), "-1 kel_json_obj_put_base: argument check failed: key");
    EXPECT_FALSE(kel_json_obj_put_base(a, "k", nullptr, &err));
    EXPECT_EQ(take(err), "-1 kel_json_obj_put_base: argument check failed: value");
    EXPECT_FALSE(kel_json_obj_put_base(list, "k", loose, &err));
    EXPECT_EQ(take(err), "-2 kel_json_obj_put_base: invalid JSON type for \"/list\": expected object, got array");

    EXPECT_EQ(kel_json_obj_size(a), 1);
    EXPECT_EQ(kel_json_obj_size(b), 0);
    EXPECT_EQ(value->parent, a);
    EXPECT_EQ(value->refcount, 1);
    EXPECT_EQ(loose->refcount, 0);
}

TEST(JsonObject, BorrowingObjectCountsButNeverLinks)
{
    JsonRoot owner(kel_json_obj_new_base(FALSE));
    KelJson *value = kel_json_obj_put_str_base(owner, "v", "x", nullptr);
    KelJson *view = kel_json_obj_new_base(TRUE);
    EXPECT_EQ(view->flags, KEL_JSON_FLAG_BORROW);

    ASSERT_TRUE(kel_json_obj_put_base(view, "alias", value, nullptr));
    ASSERT_TRUE(kel_json_obj_put_base(view, "alias", value, nullptr));  // same pair again
    EXPECT_EQ(value->refcount, 2);
    EXPECT_EQ(value->parent, owner.get());
    EXPECT_STREQ(kel_json_parent_key(value), "v");
    ASSERT_TRUE(kel_json_obj_put_base(view, "loose", kel_json_i64_new_base(3), nullptr));
    // Borrowing sets no parent links, so the owner's root may be listed too.
    kel_json_ref(owner);
    ASSERT_TRUE(kel_json_obj_put_base(view, "root", owner, nullptr));

    EXPECT_TRUE(kel_json_obj_remove(view, "alias"));
    EXPECT_EQ(value->refcount, 1);
    kel_json_unref(view);
    EXPECT_EQ(owner->refcount, 1);
    EXPECT_EQ(kel_json_obj_get_base(owner, "v", 0, nullptr), value);
}

TEST(JsonObject, RemoveSizeAndKeys)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    KelJson *held = kel_json_obj_put_obj_base(obj, "held", nullptr);
    kel_json_obj_put_str_base(held, "inner", "x", nullptr);
    kel_json_ref(held);
    EXPECT_TRUE(kel_json_obj_remove(obj, "held"));
    EXPECT_EQ(held->parent, nullptr);
    EXPECT_EQ(held->refcount, 1);
    kel_json_unref(held);
    EXPECT_FALSE(kel_json_obj_remove(obj, "held"));
    EXPECT_FALSE(kel_json_obj_remove(obj, nullptr));

    for (const char *k : {"b", "B", "a", ""})
        kel_json_obj_put_null_base(obj, k, nullptr);
    EXPECT_EQ(strings(kel_json_alpha_keys(obj)), (std::vector<std::string>{"", "B", "a", "b"}));
    std::vector<std::string> keys = strings(kel_json_obj_keys(obj));
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(keys, (std::vector<std::string>{"", "B", "a", "b"}));
    EXPECT_TRUE(kel_json_obj_has_key(obj, ""));
    EXPECT_FALSE(kel_json_obj_has_key(obj, "c"));
    EXPECT_FALSE(kel_json_obj_has_key(obj, nullptr));

    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_EQ(kel_json_obj_size(arr), -1);
    EXPECT_EQ(kel_json_obj_size(nullptr), -1);
    EXPECT_EQ(kel_json_obj_keys(arr), nullptr);
    EXPECT_FALSE(kel_json_obj_has_key(nullptr, "k"));
    EXPECT_FALSE(kel_json_obj_remove(arr, "k"));
    LogCapture log;
    EXPECT_EQ(kel_json_alpha_keys(arr), nullptr);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kel_str_array_sort: assertion 'array' failed"});
}

struct Visits {
    int calls = 0;
    int stop_at = -1;
};

gboolean visit(const char *key, KelJson *value, gpointer data)
{
    EXPECT_EQ(key, value->key);
    auto *v = static_cast<Visits *>(data);
    return v->calls++ != v->stop_at;
}

TEST(JsonObject, IterationAndForeach)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    Visits visits;
    EXPECT_TRUE(kel_json_obj_foreach(obj, visit, &visits));
    EXPECT_EQ(visits.calls, 0);
    for (const char *k : {"a", "b", "c"})
        kel_json_obj_put_null_base(obj, k, nullptr);
    EXPECT_TRUE(kel_json_obj_foreach(obj, visit, &visits));
    EXPECT_EQ(visits.calls, 3);
    visits = Visits{0, 0};
    EXPECT_FALSE(kel_json_obj_foreach(obj, visit, &visits));
    EXPECT_EQ(visits.calls, 1);

    KelJsonObjIter iter;
    ASSERT_TRUE(kel_json_obj_iter_init(&iter, obj));
    const char *key;
    KelJson *value;
    int n = 0;
    while (kel_json_obj_iter_next(&iter, &key, n == 1 ? nullptr : &value))
        n++;
    EXPECT_EQ(n, 3);

    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    EXPECT_FALSE(kel_json_obj_iter_init(&iter, arr));
    EXPECT_FALSE(kel_json_obj_iter_init(&iter, nullptr));
    EXPECT_FALSE(kel_json_obj_foreach(arr, visit, &visits));
    LogCapture log;
    EXPECT_FALSE(kel_json_obj_iter_init(nullptr, obj));
    EXPECT_FALSE(kel_json_obj_foreach(obj, nullptr, nullptr));
    EXPECT_EQ(log.messages(), (std::vector<std::string>{"kel_json_obj_iter_init: assertion 'iter' failed",
                                                        "kel_json_obj_foreach: assertion 'callback' failed"}));
}

TEST(JsonObject, Lookups)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *inner = kel_json_obj_put_obj_base(root, "in~ner", nullptr);
    KelJson *list = kel_json_obj_put_array_base(root, "list", nullptr);
    kel_json_obj_put_str_base(root, "s", "text", nullptr);
    kel_json_obj_put_i64_base(root, "n", 5, nullptr);
    KelJson *ref = kel_json_obj_put_jref_base(root, "r", "#/nowhere", nullptr);
    ErrorSlot err;

    EXPECT_EQ(kel_json_obj_get_obj_base(root, "in~ner", &err), inner);
    EXPECT_EQ(kel_json_obj_get_array_base(root, "list", &err), list);
    EXPECT_STREQ(kel_json_obj_get_str_base(root, "s", &err), "text");
    EXPECT_EQ(kel_json_obj_get_jref_base(root, "r", &err), ref);
    EXPECT_EQ(kel_json_obj_get_base(root, "r", 2, &err), ref);  // only bit 0 follows
    EXPECT_FALSE(err);

    const struct {
        const void *got;
        const char *message;
    } failures[] = {
        {kel_json_obj_get_base(inner, "missing", 0, &err),
         "-3 JSON object \"/in~0ner\" does not have key missing"},
        {kel_json_obj_get_base(root, "100%d", 1, &err), "-3 JSON object \"\" does not have key 100%d"},
        {kel_json_obj_get_base(nullptr, "k", 0, &err), "-1 kel_json_obj_get_base: argument check failed: json"},
        {kel_json_obj_get_base(root, nullptr, 0, &err), "-1 kel_json_obj_get_base: argument check failed: key"},
        {kel_json_obj_get_obj_base(list, "k", &err),
         "-2 kel_json_obj_get_base: invalid JSON type for \"/list\": expected object, got array"},
        {kel_json_obj_get_str_base(root, "n", &err),
         "-2 kel_json_obj_get_str_base: invalid JSON type for \"/n\": expected string, got int64"},
        {kel_json_obj_get_obj_base(root, "list", &err),
         "-2 kel_json_obj_get_obj_base: invalid JSON type for \"/list\": expected object, got array"},
        {kel_json_obj_get_array_base(root, "s", &err),
         "-2 kel_json_obj_get_array_base: invalid JSON type for \"/s\": expected array, got string"},
        {kel_json_obj_get_jref_base(root, "in~ner", &err),
         "-2 kel_json_obj_get_jref_base: invalid JSON type for \"/in~0ner\": expected reference, got object"},
    };
    // Each failure pushed one error, newest first.
    for (size_t i = G_N_ELEMENTS(failures); i-- > 0;) {
        EXPECT_EQ(failures[i].got, nullptr);
        EXPECT_EQ(take(err), failures[i].message);
    }
    EXPECT_FALSE(err);

    // Following a reference while an error is pending: null, nothing added.
    kel_json_set_error(&err, KEL_JSON_POINTER_INVALID, "earlier");
    EXPECT_EQ(kel_json_obj_get_base(root, "r", 1, &err), nullptr);
    EXPECT_EQ(err->next, nullptr);
}

TEST(JsonObject, ReferencesAreFollowed)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *target = kel_json_obj_put_obj_base(root, "target", nullptr);
    KelJson *text = kel_json_obj_put_str_base(root, "text", "hello", nullptr);
    KelJson *holder = kel_json_obj_put_obj_base(root, "holder", nullptr);
    kel_json_obj_put_jref_base(holder, "to_obj", "#/target", nullptr);
    kel_json_obj_put_jref_base(holder, "to_text", "#/text", nullptr);
    kel_json_obj_put_jref_base(holder, "dangling", "#/nothing", nullptr);
    ErrorSlot err;

    EXPECT_EQ(kel_json_obj_get_base(holder, "to_obj", 1, &err), target);
    EXPECT_EQ(kel_json_obj_getd_obj_base(holder, "to_obj", &err), target);
    EXPECT_EQ(kel_json_obj_get_str_base(holder, "to_text", &err), text->str);
    EXPECT_FALSE(err);
    // A refused kind names the value the reference led to.
    EXPECT_EQ(kel_json_obj_get_array_base(holder, "to_obj", &err), nullptr);
    EXPECT_EQ(take(err),
              "-2 kel_json_obj_get_array_base: invalid JSON type for \"/target\": expected array, got object");
    EXPECT_EQ(kel_json_obj_get_obj_base(holder, "dangling", &err), nullptr);
    EXPECT_TRUE(err);
    err.clear();
    // Get-or-create replaces a dangling reference.
    KelJson *made = kel_json_obj_getd_obj_base(holder, "dangling", &err);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(kel_json_obj_get_base(holder, "dangling", 0, nullptr), made);
    EXPECT_FALSE(err);
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
    KelJson *replaced = kel_json_obj_getd_obj_base(root, "s", &err);
    EXPECT_EQ(kel_json_obj_get_base(root, "s", 0, nullptr), replaced);
    EXPECT_EQ(kel_json_obj_size(replaced), 0);
    EXPECT_EQ(kel_json_obj_size(root), 3);
    EXPECT_FALSE(err);
    // Failures of the object itself come from the put, alone.
    EXPECT_EQ(kel_json_obj_getd_obj_base(nullptr, "k", &err), nullptr);
    EXPECT_EQ(err->next, nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_obj_put_base: argument check failed: json");
}

TEST(JsonObject, PutFamily)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    const struct {
        KelJson *value;
        KelJsonType kind;
    } made[] = {
        {kel_json_obj_put_obj_base(obj, "obj", nullptr), KEL_JSON_OBJECT},
        {kel_json_obj_put_str_base(obj, "str", "s", nullptr), KEL_JSON_STRING},
        {kel_json_obj_put_str_len_base(obj, "str_len", "abcdef", 2, nullptr), KEL_JSON_STRING},
        {kel_json_obj_put_bool_base(obj, "true", 7, nullptr), KEL_JSON_TRUE},
        {kel_json_obj_put_bool_base(obj, "false", FALSE, nullptr), KEL_JSON_FALSE},
        {kel_json_obj_put_double_base(obj, "double", 2.5, nullptr), KEL_JSON_DOUBLE},
        {kel_json_obj_put_i64_base(obj, "i64", -3, nullptr), KEL_JSON_INT64},
        {kel_json_obj_put_u64_base(obj, "u64", 3, nullptr), KEL_JSON_UINT64},
        {kel_json_obj_put_u128_base(obj, "u128", {1, 2}, nullptr), KEL_JSON_UINT128},
        {kel_json_obj_put_jref_base(obj, "jref", "#/obj", nullptr), KEL_JSON_JREF},
        {kel_json_obj_put_null_base(obj, "null", nullptr), KEL_JSON_NULL},
    };
    for (const auto &m : made) {
        ASSERT_NE(m.value, nullptr);
        EXPECT_EQ(m.value->type, m.kind);
        EXPECT_EQ(m.value->parent, obj.get());
        EXPECT_EQ(m.value->refcount, 1);
    }
    EXPECT_STREQ(made[2].value->str, "ab");
    EXPECT_EQ(kel_json_u128_get(made[8].value).hi, 2u);

    // Failed puts free what they made (LeakSanitizer checks).
    JsonRoot arr(kel_json_array_new_base(0, FALSE));
    ErrorSlot err;
    EXPECT_EQ(kel_json_obj_put_obj_base(arr, "k", &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_u128_base(arr, "k", {1, 1}, &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_str_base(arr, "k", "s", &err), nullptr);
    EXPECT_EQ(kel_json_obj_put_jref_base(nullptr, "k", "#", &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_obj_put_base: argument check failed: json");
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(take(err), "-2 kel_json_obj_put_base: invalid JSON type for \"\": expected object, got array");
    EXPECT_FALSE(err);
    // A failing constructor reports alone.
    EXPECT_EQ(kel_json_obj_put_str_base(obj, "k", "\xC0\x80", &err), nullptr);
    EXPECT_EQ(err->next, nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_str_new_len_base: Character sequence is not valid UTF-8: C0 80 ");
    EXPECT_EQ(kel_json_obj_put_jref_base(obj, "k", nullptr, &err), nullptr);
    EXPECT_EQ(take(err), "-1 kel_json_jref_new_base: argument check failed: uri");
    EXPECT_EQ(kel_json_obj_size(obj), static_cast<int>(G_N_ELEMENTS(made)));
}

}  // namespace
