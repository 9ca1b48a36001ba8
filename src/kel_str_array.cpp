// String arrays: a zero-terminated GArray of owned string pointers, so its
// storage can be handed out as an ordinary NULL-terminated string vector.
#include <cstring>

#include "kel_internal.h"

namespace {

// GArray clear function: receives the element's address, i.e. a char**.
void release_element(gpointer element) noexcept
{
    g_free(*static_cast<char **>(element));
}

// GArray compare function: element addresses again; strcmp orders by
// unsigned byte value.
gint compare_elements(gconstpointer a, gconstpointer b) noexcept
{
    return std::strcmp(*static_cast<char *const *>(a), *static_cast<char *const *>(b));
}

}  // namespace

extern "C" {

KelStrArray *kel_str_array_sized_new(guint32 reserved)
{
    GArray *array = g_array_sized_new(TRUE, FALSE, sizeof(char *), reserved);
    g_array_set_clear_func(array, release_element);
    return array;
}

void kel_str_array_add(KelStrArray *array, const char *str)
{
    KEL_RETURN_IF_FAIL(array);
    KEL_RETURN_IF_FAIL(str);
    char *copy = g_strdup(str);
    g_array_append_val(array, copy);
}

KelStrArray *kel_str_array_new_strs(const char *const *strs, guint64 n)
{
    KEL_RETURN_VAL_IF_FAIL(strs, nullptr);
    // The reservation is only a hint; a count beyond 32 bits grows as it goes.
    KelStrArray *array = kel_str_array_sized_new(n <= G_MAXUINT32 ? static_cast<guint32>(n) : 0);
    for (guint64 i = 0; i < n; i++)
        kel_str_array_add(array, strs[i]);  // a NULL entry warns and is skipped
    return array;
}

const char *kel_str_array_index(KelStrArray *array, gint32 index)
{
    KEL_RETURN_VAL_IF_FAIL(array, nullptr);
    // 64-bit arithmetic: index + len must not overflow for any len.
    const gint64 len = array->len;
    gint64 i = index;
    if (i < 0)
        i += len;
    if (i < 0 || i >= len)
        return nullptr;
    return g_array_index(array, const char *, static_cast<guint>(i));
}

void kel_str_array_sort(KelStrArray *array)
{
    KEL_RETURN_IF_FAIL(array);
    // Sorts the len elements only; the terminating NULL stays behind them.
    g_array_sort(array, compare_elements);
}

char **kel_str_array_free(KelStrArray *array, gboolean free_segment)
{
    if (array == nullptr)
        return nullptr;
    const guint len = array->len;
    // Only the lowest byte counts, so callers passing any byte-sized "true"
    // get the same answer as those passing TRUE.
    if ((free_segment & 0xff) != 0) {
        g_array_free(array, TRUE);  // runs the clear function on every string
        return nullptr;
    }
    // Without the segment GLib leaves the strings alone; trim the spare
    // reservation so the vector is exactly the strings plus the NULL.
    auto *strv = reinterpret_cast<char **>(g_array_free(array, FALSE));
    return g_renew(char *, strv, static_cast<gsize>(len) + 1);
}

}  // extern "C"
