// JSON objects: a GHashTable from owned member names to member values.
#include <algorithm>
#include <cstring>
#include <vector>

#include "kel_json_model.h"

namespace kel {

namespace {

// Set while a name is being stored: the table frees the name it replaces
// (before it releases the old member, whose own names are not wanted here),
// and json_key_free hands that name's sequence number over through it.
// Initial-exec: every name release reads it, so it must cost no more than a
// global.
thread_local guint64 *t_replaced_seq __attribute__((tls_model("initial-exec"))) = nullptr;

// Stores `value` under `key` (an owned name, consumed) with GLib's replace
// semantics: an existing pair loses its old name and its old member
// (released by the table), so the member's `key` always points at the
// table's own string. A new name takes the object's next sequence number; a
// name that was already there keeps its old number, and so its place.
void store(KelJson *obj, char *key, KelJson *value) noexcept
{
    guint64 replaced = 0;
    json_key_seq(key) = json_obj_next_seq(obj)++;
    t_replaced_seq = &replaced;
    const gboolean added = g_hash_table_replace(obj->obj, key, value);
    t_replaced_seq = nullptr;
    if (!added) {
        json_key_seq(key) = replaced;
        json_obj_next_seq(obj)--;  // the number drawn for it stays unused
    }
}

// Owning insertion. The reference is taken before the replacement, so
// re-putting a value that a borrowing object already holds under the same
// key cannot free it.
inline void insert_owned(KelJson *obj, char *key, KelJson *value) noexcept
{
    value->refcount++;
    store(obj, key, value);
    value->parent = obj;
    value->key = key;
}

inline char *copy_key(const char *key) noexcept { return json_key_new(key, std::strlen(key)); }

gboolean add_key(const char *key, KelJson *, gpointer keys)
{
    kel_str_array_add(static_cast<KelStrArray *>(keys), key);
    return TRUE;
}

// The typed lookups: the member (following references when `deref`) when it
// is of kind `expected`, else null with a type error naming `func`.
KelJson *get_typed(KelJson *json, const char *key, int deref, KelJsonType expected,
                   const char *func, KelError **error) noexcept
{
    KelJson *member = kel_json_obj_get_base(json, key, deref, error);
    if (member == nullptr)
        return nullptr;
    if (member->type != expected) {
        json_type_failed(error, func, member, expected);
        return nullptr;
    }
    return member;
}

}  // namespace

char *json_key_new(const char *text, gsize len) noexcept
{
    auto *block = static_cast<char *>(node_alloc(kJsonKeyHeader + len + 1));
    char *key = block + kJsonKeyHeader;
    std::memcpy(key, text, len);
    key[len] = '\0';
    json_key_seq(key) = 0;
    return key;
}

void json_key_free(gpointer key) noexcept
{
    if (key == nullptr)
        return;
    if (G_UNLIKELY(t_replaced_seq != nullptr)) {
        *t_replaced_seq = json_key_seq(static_cast<const char *>(key));
        t_replaced_seq = nullptr;
    }
    node_free(static_cast<char *>(key) - kJsonKeyHeader, kJsonKeyHeader + std::strlen(static_cast<const char *>(key)) + 1);
}

guint json_obj_members(KelJson *obj, JsonMember *out, bool sorted) noexcept
{
    struct Fill {
        JsonMember *out;
        guint n;
        bool placed;  // each member written at its sequence number
    } fill{out, 0, false};
    const guint n = g_hash_table_size(obj->obj);
    // An object that never lost a member (nor had one replaced) numbered its
    // names 0..n-1: each member goes straight to its place, no sort needed.
    // g_hash_table_foreach is cheaper than an iterator step per member.
    fill.placed = !sorted && json_obj_next_seq(obj) == n;
    g_hash_table_foreach(obj->obj, [](gpointer key, gpointer value, gpointer data) {
        auto *f = static_cast<Fill *>(data);
        const JsonMember m{static_cast<const char *>(key), static_cast<KelJson *>(value)};
        f->out[f->placed ? json_key_seq(m.key) : f->n] = m;
        f->n++;
    }, &fill);
    if (fill.placed)
        return n;
    if (sorted) {
        std::sort(out, out + n, [](const JsonMember &a, const JsonMember &b) {
            return std::strcmp(a.key, b.key) < 0;
        });
    } else {
        std::sort(out, out + n, [](const JsonMember &a, const JsonMember &b) {
            return json_key_seq(a.key) < json_key_seq(b.key);
        });
    }
    return n;
}

void json_obj_insert_fresh(KelJson *obj, char *key, KelJson *value) noexcept
{
    insert_owned(obj, key, value);
}

KelJson *json_obj_put_made(KelJson *json, const char *key, KelJson *value,
                           KelError **error) noexcept
{
    if (value == nullptr)
        return nullptr;  // the constructor failed and reported why
    if (!kel_json_obj_put_base(json, key, value, error)) {
        kel_json_unref(value);
        return nullptr;
    }
    return value;
}

}  // namespace kel

using namespace kel;

KelJson *kel_json_obj_new_base(gboolean borrow)
{
    KelJson *json = json_alloc(KEL_JSON_OBJECT);
    json->obj = g_hash_table_new_full(json_key_hash, g_str_equal, json_key_free,
                                      borrow ? json_release_borrowed : json_release_owned);
    json_obj_next_seq(json) = 0;
    if (borrow)
        json->flags = KEL_JSON_FLAG_BORROW;
    return json;
}

gboolean kel_json_obj_put_base(KelJson *json, const char *key, KelJson *value, KelError **error)
{
    if (json == nullptr || key == nullptr || value == nullptr) {
        json_arg_failed(error, __func__, json == nullptr ? "json" : key == nullptr ? "key" : "value");
        return FALSE;
    }
    if (json->type != KEL_JSON_OBJECT) {
        json_type_failed(error, __func__, json, KEL_JSON_OBJECT);
        return FALSE;
    }
    if (json_is_borrowing(json)) {
        kel_json_ref(value);
        store(json, copy_key(key), value);
        return TRUE;
    }
    if (json_refuse_owned_insert(json, value, error))
        return FALSE;
    // The copy is made before the replacement frees the old key, which `key`
    // may point at (a member's own key passed back in).
    insert_owned(json, copy_key(key), value);
    return TRUE;
}

gboolean kel_json_obj_remove(KelJson *json, const char *key)
{
    if (json == nullptr || json->type != KEL_JSON_OBJECT || key == nullptr)
        return FALSE;
    return g_hash_table_remove(json->obj, key);
}

int kel_json_obj_size(const KelJson *json)
{
    if (json == nullptr || json->type != KEL_JSON_OBJECT)
        return -1;
    return static_cast<int>(g_hash_table_size(json->obj));
}

gboolean kel_json_obj_has_key(const KelJson *json, const char *key)
{
    if (json == nullptr || json->type != KEL_JSON_OBJECT || key == nullptr)
        return FALSE;
    return g_hash_table_contains(json->obj, key);
}

gboolean kel_json_obj_iter_init(KelJsonObjIter *iter, KelJson *json)
{
    KEL_RETURN_VAL_IF_FAIL(iter, FALSE);
    if (json == nullptr || json->type != KEL_JSON_OBJECT)
        return FALSE;
    memset(iter, 0, sizeof *iter);
    g_hash_table_iter_init(iter, json->obj);
    return TRUE;
}

gboolean kel_json_obj_iter_next(KelJsonObjIter *iter, const char **key, KelJson **value)
{
    KEL_RETURN_VAL_IF_FAIL(iter, FALSE);
    gpointer k = nullptr;
    gpointer v = nullptr;
    if (!g_hash_table_iter_next(iter, &k, &v))
        return FALSE;
    if (key != nullptr)
        *key = static_cast<const char *>(k);
    if (value != nullptr)
        *value = static_cast<KelJson *>(v);
    return TRUE;
}

gboolean kel_json_obj_foreach(KelJson *json, KelJsonObjForeachFunc callback, gpointer data)
{
    KEL_RETURN_VAL_IF_FAIL(callback, FALSE);
    if (json == nullptr || json->type != KEL_JSON_OBJECT)
        return FALSE;
    // Insertion order needs the members sorted, so they are listed first.
    std::vector<JsonMember> members(g_hash_table_size(json->obj));
    json_obj_members(json, members.data(), false);
    for (const JsonMember &m : members) {
        if (!callback(m.key, m.value, data))
            return FALSE;
    }
    return TRUE;
}

KelStrArray *kel_json_obj_keys(KelJson *json)
{
    const int size = kel_json_obj_size(json);
    if (size < 0)
        return nullptr;
    KelStrArray *keys = kel_str_array_sized_new(static_cast<guint32>(size));
    kel_json_obj_foreach(json, add_key, keys);
    return keys;
}

KelStrArray *kel_json_alpha_keys(KelJson *json)
{
    // For a non-object the null list goes to the sort, whose argument check
    // warns, exactly as callers of this function have always seen.
    KelStrArray *keys = kel_json_obj_keys(json);
    kel_str_array_sort(keys);
    return keys;
}

KelJson *kel_json_obj_get_base(KelJson *json, const char *key, int deref, KelError **error)
{
    if (json == nullptr || key == nullptr) {
        json_arg_failed(error, __func__, json == nullptr ? "json" : "key");
        return nullptr;
    }
    if (json->type != KEL_JSON_OBJECT) {
        json_type_failed(error, __func__, json, KEL_JSON_OBJECT);
        return nullptr;
    }
    auto *member = static_cast<KelJson *>(g_hash_table_lookup(json->obj, key));
    if (member == nullptr) {
        if (error != nullptr)
            kel_json_set_error(error, KEL_JSON_KEY_INVALID, "JSON object %P does not have key %s",
                               json, key);
        return nullptr;
    }
    if ((deref & 1) && member->type == KEL_JSON_JREF) {
        if (error_pending(error))
            return nullptr;
        return kel_json_jref_deref_base(member, error);
    }
    return member;
}

KelJson *kel_json_obj_get_obj_base(KelJson *json, const char *key, KelError **error)
{
    return get_typed(json, key, 1, KEL_JSON_OBJECT, __func__, error);
}

KelJson *kel_json_obj_get_array_base(KelJson *json, const char *key, KelError **error)
{
    return get_typed(json, key, 1, KEL_JSON_ARRAY, __func__, error);
}

const char *kel_json_obj_get_str_base(KelJson *json, const char *key, KelError **error)
{
    KelJson *member = get_typed(json, key, 1, KEL_JSON_STRING, __func__, error);
    return member != nullptr ? member->str : nullptr;
}

KelJson *kel_json_obj_get_jref_base(KelJson *json, const char *key, KelError **error)
{
    return get_typed(json, key, 0, KEL_JSON_JREF, __func__, error);
}

KelJson *kel_json_obj_getd_obj_base(KelJson *json, const char *key, KelError **error)
{
    // Any failed lookup (missing, other kind, dangling reference) leads to a
    // new empty object under the key; failures of `json` itself surface from
    // the put.
    KelJson *found = kel_json_obj_get_obj_base(json, key, nullptr);
    return found != nullptr ? found : kel_json_obj_put_obj_base(json, key, error);
}

// ---- Put family ----------------------------------------------------------------

KelJson *kel_json_obj_put_obj_base(KelJson *json, const char *key, KelError **error)
{
    return json_obj_put_made(json, key, kel_json_obj_new_base(FALSE), error);
}

KelJson *kel_json_obj_put_str_base(KelJson *json, const char *key, const char *value,
                                   KelError **error)
{
    return json_obj_put_made(json, key, kel_json_str_new_base(value, error), error);
}

KelJson *kel_json_obj_put_str_len_base(KelJson *json, const char *key, const char *value,
                                       gsize len, KelError **error)
{
    return json_obj_put_made(json, key, kel_json_str_new_len_base(value, len, error), error);
}

KelJson *kel_json_obj_put_bool_base(KelJson *json, const char *key, gboolean value,
                                    KelError **error)
{
    return json_obj_put_made(json, key, kel_json_bool_new_base(value), error);
}

KelJson *kel_json_obj_put_double_base(KelJson *json, const char *key, double value,
                                      KelError **error)
{
    return json_obj_put_made(json, key, kel_json_double_new_base(value), error);
}

KelJson *kel_json_obj_put_i64_base(KelJson *json, const char *key, gint64 value, KelError **error)
{
    return json_obj_put_made(json, key, kel_json_i64_new_base(value), error);
}

KelJson *kel_json_obj_put_u64_base(KelJson *json, const char *key, guint64 value,
                                   KelError **error)
{
    return json_obj_put_made(json, key, kel_json_u64_new_base(value), error);
}

KelJson *kel_json_obj_put_u128_base(KelJson *json, const char *key, KelUint128 value,
                                    KelError **error)
{
    return json_obj_put_made(json, key, kel_json_u128_new_base(value), error);
}

KelJson *kel_json_obj_put_jref_base(KelJson *json, const char *key, const char *uri,
                                    KelError **error)
{
    return json_obj_put_made(json, key, kel_json_jref_new_base(uri, error), error);
}

KelJson *kel_json_obj_put_null_base(KelJson *json, const char *key, KelError **error)
{
    return json_obj_put_made(json, key, kel_json_null_new_base(), error);
}
