// JSON arrays: a GPtrArray of element values. Elements of an owning array
// always carry their position in `index`.
#include <algorithm>
#include <vector>

#include "kel_json_model.h"

namespace kel {

namespace {

inline void append_owned(KelJson *array, KelJson *value) noexcept
{
    value->refcount++;
    g_ptr_array_add(array->array, value);
    value->parent = array;
    value->index = static_cast<gint32>(array->array->len - 1);
}

void renumber(KelJson *array) noexcept
{
    GPtrArray *elems = array->array;
    for (guint i = 0; i < elems->len; i++)
        static_cast<KelJson *>(g_ptr_array_index(elems, i))->index = static_cast<gint32>(i);
}

inline KelJson *elem_at(const KelJson *array, guint i) noexcept
{
    return static_cast<KelJson *>(g_ptr_array_index(array->array, i));
}

}  // namespace

void json_array_append_fresh(KelJson *array, KelJson *value) noexcept
{
    append_owned(array, value);
}

KelJson *json_array_push_made(KelJson *json, KelJson *value, KelError **error) noexcept
{
    if (value == nullptr)
        return nullptr;  // the constructor failed and reported why
    if (!kel_json_array_push_base(json, value, error)) {
        kel_json_unref(value);
        return nullptr;
    }
    return value;
}

}  // namespace kel

using namespace kel;

KelJson *kel_json_array_new_base(int reserved, gboolean borrow)
{
    KelJson *json = json_alloc(KEL_JSON_ARRAY);
    json->array = g_ptr_array_new_full(reserved > 0 ? static_cast<guint>(reserved) : 0,
                                       borrow ? json_release_borrowed : json_release_owned);
    if (borrow)
        json->flags = KEL_JSON_FLAG_BORROW;
    return json;
}

gboolean kel_json_array_push_base(KelJson *json, KelJson *value, KelError **error)
{
    if (json == nullptr || value == nullptr) {
        json_arg_failed(error, __func__, json == nullptr ? "json" : "value");
        return FALSE;
    }
    if (json->type != KEL_JSON_ARRAY) {
        json_type_failed(error, __func__, json, KEL_JSON_ARRAY);
        return FALSE;
    }
    if (json_is_borrowing(json)) {
        kel_json_ref(value);
        g_ptr_array_add(json->array, value);
        return TRUE;
    }
    if (json_refuse_owned_insert(json, value, error))
        return FALSE;
    append_owned(json, value);
    return TRUE;
}

int kel_json_array_size(const KelJson *json)
{
    if (json == nullptr || json->type != KEL_JSON_ARRAY)
        return -1;
    return static_cast<int>(json->array->len);
}

int kel_json_array_pop(KelJson *json, int count)
{
    if (json == nullptr || json->type != KEL_JSON_ARRAY)
        return -1;
    // A negative count removes nothing.
    const guint len = json->array->len;
    const guint n = count <= 0 ? 0 : MIN(static_cast<guint>(count), len);
    if (n > 0)
        g_ptr_array_remove_range(json->array, len - n, n);
    return static_cast<int>(n);
}

KelJson *kel_json_array_get_base(KelJson *json, int index, int deref, KelError **error)
{
    if (json == nullptr) {
        json_arg_failed(error, __func__, "json");
        return nullptr;
    }
    if (json->type != KEL_JSON_ARRAY) {
        json_type_failed(error, __func__, json, KEL_JSON_ARRAY);
        return nullptr;
    }
    const int len = static_cast<int>(json->array->len);
    if (index < 0)
        index += len;
    if (index < 0 || index >= len) {
        if (error != nullptr)
            kel_json_set_error(error, KEL_JSON_INDEX_INVALID,
                               "Index %d is out of bounds for JSON array %P", index, json);
        return nullptr;
    }
    KelJson *elem = elem_at(json, static_cast<guint>(index));
    if ((deref & 1) && elem->type == KEL_JSON_JREF) {
        if (error_pending(error))
            return nullptr;
        return kel_json_jref_deref_base(elem, error);
    }
    return elem;
}

KelJson *kel_json_array_swap(KelJson *json, int index, KelJson *elem, KelError **error)
{
    if (json == nullptr || elem == nullptr) {
        json_arg_failed(error, __func__, json == nullptr ? "array" : "elem");
        return nullptr;
    }
    if (json->type != KEL_JSON_ARRAY) {
        json_type_failed(error, __func__, json, KEL_JSON_ARRAY);
        return nullptr;
    }
    const bool owning = !json_is_borrowing(json);
    if (owning && json_refuse_owned_insert(json, elem, error))
        return nullptr;
    KelJson *former = kel_json_array_get_base(json, index, 0, error);
    if (former == nullptr)
        return nullptr;
    const guint pos = static_cast<guint>(index < 0 ? index + static_cast<int>(json->array->len) : index);
    // The array's reference passes to the caller: no deletion here.
    if (former->parent == json)
        former->parent = nullptr;
    former->refcount--;
    elem->refcount++;
    json->array->pdata[pos] = elem;
    if (owning) {
        elem->parent = json;
        elem->index = static_cast<gint32>(pos);
    }
    return former;
}

KelJson *kel_json_array_pop_elem(KelJson *json)
{
    KelJson *last = kel_json_array_get_base(json, -1, 0, nullptr);
    if (last == nullptr)
        return nullptr;
    last->refcount++;
    kel_json_array_pop(json, 1);
    last->refcount--;
    return last;
}

gboolean kel_json_array_filter(KelJson *json, KelJsonArrayFilterFunc keep, gpointer data)
{
    if (json == nullptr || keep == nullptr || json->type != KEL_JSON_ARRAY)
        return FALSE;
    GPtrArray *elems = json->array;
    const guint size = elems->len;
    const bool owning = !json_is_borrowing(json);

    // The verdicts live in a side list, so the elements of a borrowing array
    // (whose `index` and `key` belong to their own parents) are never
    // written. An owning array also marks each rejected element's `index`
    // with size, size + 1, ... as it goes, the order the removal follows.
    std::vector<bool> rejected(size, false);
    guint next = size;
    for (guint i = 0; i < size; i++) {
        KelJson *elem = elem_at(json, i);
        if (!keep(elem, data)) {
            rejected[i] = true;
            if (owning)
                elem->index = static_cast<gint32>(next);
            next++;
        }
    }
    if (next == size)
        return TRUE;

    // Stable partition: kept elements in their order, then the rejected ones
    // in the order they were rejected; the tail is then released through the
    // array's release function, as a pop would.
    std::vector<gpointer> order;
    order.reserve(size);
    for (guint i = 0; i < size; i++)
        if (!rejected[i])
            order.push_back(elems->pdata[i]);
    for (guint i = 0; i < size; i++)
        if (rejected[i])
            order.push_back(elems->pdata[i]);
    std::copy(order.begin(), order.end(), elems->pdata);
    kel_json_array_pop(json, static_cast<int>(next - size));
    if (owning)
        renumber(json);
    return TRUE;
}

gboolean kel_json_array_sort(KelJson *json, GCompareFunc compare)
{
    if (compare == nullptr || json == nullptr || json->type != KEL_JSON_ARRAY)
        return FALSE;
    g_ptr_array_sort(json->array, compare);
    if (!json_is_borrowing(json))
        renumber(json);
    return TRUE;
}

KelJson *kel_json_obj_put_array_base(KelJson *json, const char *key, KelError **error)
{
    return json_obj_put_made(json, key, kel_json_array_new_base(0, FALSE), error);
}

KelJson *kel_json_obj_getd_array_base(KelJson *json, const char *key, KelError **error)
{
    KelJson *found = kel_json_obj_get_array_base(json, key, nullptr);
    return found != nullptr ? found : kel_json_obj_put_array_base(json, key, error);
}

// ---- Push family -----------------------------------------------------------------

KelJson *kel_json_array_push_array_base(KelJson *json, KelError **error)
{
    return json_array_push_made(json, kel_json_array_new_base(0, FALSE), error);
}

KelJson *kel_json_array_push_obj_base(KelJson *json, KelError **error)
{
    return json_array_push_made(json, kel_json_obj_new_base(FALSE), error);
}

KelJson *kel_json_array_push_bool_base(KelJson *json, gboolean value, KelError **error)
{
    return json_array_push_made(json, kel_json_bool_new_base(value), error);
}

KelJson *kel_json_array_push_double_base(KelJson *json, double value, KelError **error)
{
    return json_array_push_made(json, kel_json_double_new_base(value), error);
}

KelJson *kel_json_array_push_i64_base(KelJson *json, gint64 value, KelError **error)
{
    return json_array_push_made(json, kel_json_i64_new_base(value), error);
}

KelJson *kel_json_array_push_u64_base(KelJson *json, guint64 value, KelError **error)
{
    return json_array_push_made(json, kel_json_u64_new_base(value), error);
}

KelJson *kel_json_array_push_u128_base(KelJson *json, KelUint128 value, KelError **error)
{
    return json_array_push_made(json, kel_json_u128_new_base(value), error);
}

KelJson *kel_json_array_push_str_base(KelJson *json, const char *value, KelError **error)
{
    return json_array_push_made(json, kel_json_str_new_base(value, error), error);
}
