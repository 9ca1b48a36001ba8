// Error records, chains, data items and the library's two error domains.
#include <array>
#include <cstdarg>
#include <string_view>

#include "kel_internal.h"

namespace {

// Releases one record's GError and its data items; the record itself and its
// `next` link are left to the caller.
void release_record_contents(KelError *error) noexcept
{
    g_clear_error(&error->gerror);

    // The list runs newest first but items are released oldest first (from
    // the tail back to the head). Reverse the list in place (no allocation)
    // and walk it from the old end.
    KelErrorData *reversed = nullptr;
    for (KelErrorData *item = error->data; item != nullptr;) {
        KelErrorData *next = item->next;
        item->next = reversed;
        reversed = item;
        item = next;
    }
    error->data = nullptr;
    while (reversed != nullptr) {
        KelErrorData *newer = reversed->next;
        // Everything older is already gone, so the item reaches its
        // free_func as the tail of the list, never linked to a newer one.
        reversed->next = nullptr;
        if (reversed->free_func != nullptr)
            reversed->free_func(reversed);
        g_free(reversed);
        reversed = newer;
    }
}

KelError *record_new(KelError *next, GError *gerror) noexcept
{
    auto *error = g_new0(KelError, 1);
    error->gerror = gerror;
    error->next = next;
    return error;
}

constexpr std::array<const char *, 8> kStatusNames = {
    "KEL_SUCCESS",     "KEL_ARG_INVALID", "KEL_RADIX_INVALID", "KEL_BUFFER_INSUFFICIENT",
    "KEL_ARG_CONVERSION", "KEL_ALLOC_FAIL", "KEL_FN_NOT_IMPL",   "KEL_IO_FAIL",
};

constexpr std::array<const char *, 9> kJsonNames = {
    "KEL_JSON_ARG_INVALID",       "KEL_JSON_TYPE_INVALID",    "KEL_JSON_KEY_INVALID",
    "KEL_JSON_INDEX_INVALID",     "KEL_JSON_CIRCULAR_JREF",   "KEL_JSON_PARSE_ERROR",
    "KEL_JSON_FEATURE_UNSUPPORTED", "KEL_JSON_POINTER_INVALID", "KEL_JSON_CHILD_OWNED",
};

}  // namespace

extern "C" {

KelError *kel_error_new_valist(KelError *next, GQuark domain, gint code, const char *format,
                               va_list args)
{
    // Without a format there is no message to record; the chain stays as it was
    // and is handed back, so nothing of it is lost.
    KEL_RETURN_VAL_IF_FAIL(format, next);
    return record_new(next, g_error_new_valist(domain, code, format, args));
}

KelError *kel_error_new(KelError *next, GQuark domain, gint code, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    KelError *error = kel_error_new_valist(next, domain, code, format, args);
    va_end(args);
    return error;
}

KelError *kel_set_error(KelError **err, GQuark domain, gint code, const char *format, ...)
{
    if (err == nullptr)
        return nullptr;
    KEL_RETURN_VAL_IF_FAIL(format, nullptr);
    va_list args;
    va_start(args, format);
    *err = kel_error_new_valist(*err, domain, code, format, args);
    va_end(args);
    return *err;
}

KelError *kel_error_from_gerror(KelError *next, GError *gerror)
{
    KEL_RETURN_VAL_IF_FAIL(gerror, nullptr);
    return record_new(next, gerror);
}

void kel_error_free(KelError *error)
{
    while (error != nullptr) {
        release_record_contents(error);
        KelError *next = error->next;
        g_free(error);
        error = next;
    }
}

void kel_clear_error(KelError **err)
{
    if (err == nullptr)
        return;
    kel_error_free(*err);
    *err = nullptr;
}

gboolean kel_clear_error_until(KelError **err, KelError *until)
{
    if (err == nullptr)
        return until == nullptr;

    // Find until first so that a foreign until changes nothing. Meanwhile
    // reverse the passed records' links so they can be released from the one
    // nearest until back up to the head; on failure the links are restored.
    KelError *passed = nullptr;  // passed records, nearest-until first
    KelError *cursor = *err;
    while (cursor != until && cursor != nullptr) {
        KelError *next = cursor->next;
        cursor->next = passed;
        passed = cursor;
        cursor = next;
    }
    if (cursor != until) {
        // Reached the end without meeting a non-NULL until: undo the reversal.
        KelError *restored = nullptr;
        while (passed != nullptr) {
            KelError *next = passed->next;
            passed->next = restored;
            restored = passed;
            passed = next;
        }
        *err = restored;
        return FALSE;
    }
    while (passed != nullptr) {
        KelError *upper = passed->next;
        release_record_contents(passed);
        g_free(passed);
        passed = upper;
    }
    *err = until;
    return TRUE;
}

void kel_error_merge(KelError **dest, KelError **src)
{
    KEL_RETURN_IF_FAIL(dest);
    KEL_RETURN_IF_FAIL(src);
    if (*src == nullptr)
        return;
    if (*dest != nullptr) {
        KelError *last = *src;
        while (last->next != nullptr)
            last = last->next;
        last->next = *dest;
    }
    *dest = *src;
    *src = nullptr;
}

KelErrorData *kel_error_data_new(KelError *error, GQuark domain, gint type, gsize size,
                                 KelErrorDataFreeFunc free_func)
{
    KEL_RETURN_VAL_IF_FAIL(error, nullptr);
    // size covers the header and the payload; a smaller size is the caller's
    // fault and is not checked, as with any allocation size.
    auto *item = static_cast<KelErrorData *>(g_malloc0(size));
    item->domain = domain;
    item->type = type;
    item->free_func = free_func;
    item->next = error->data;
    error->data = item;
    return item;
}

void __kel_error_add_location(KelError **err, const char *file, const char *function, gint line)
{
    if (err == nullptr || *err == nullptr)
        return;
    auto *location = reinterpret_cast<KelErrorDataLocation *>(kel_error_data_new(
        *err, kel_error_domain(), KEL_ERROR_DATA_LOCATION, sizeof(KelErrorDataLocation), nullptr));
    location->file = file;
    location->function = function;
    location->line = line;
}

void kel_error_add_blob(KelError **err, uintptr_t data, guint64 size)
{
    if (err == nullptr || *err == nullptr)
        return;
    auto *blob = reinterpret_cast<KelErrorDataBlob *>(kel_error_data_new(
        *err, kel_error_domain(), KEL_ERROR_DATA_BLOB, sizeof(KelErrorDataBlob), nullptr));
    blob->data = data;
    blob->size = size;
}

GQuark kel_error_domain(void)
{
    return g_quark_from_static_string("kel-error");
}

GQuark kel_json_error_domain(void)
{
    return g_quark_from_static_string("kel-json-error");
}

const char *kel_status_code_to_name(GQuark domain, gint code)
{
    if (domain != kel_error_domain() || code > 0 || code < KEL_IO_FAIL)
        return "<unknown>";
    return kStatusNames[static_cast<std::size_t>(-code)];
}

const char *kel_json_code_to_name(GQuark, gint code)
{
    // The domain is deliberately not consulted: the name depends on the code only.
    if (code > KEL_JSON_ARG_INVALID || code < KEL_JSON_CHILD_OWNED)
        return "<unknown code>";
    return kJsonNames[static_cast<std::size_t>(-code - 1)];
}

}  // extern "C"
