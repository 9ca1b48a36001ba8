// Internal helpers shared by the library's units. Never installed.
#pragma once

#include <cstddef>
#include <string_view>

#include "kel.h"

namespace kel {

// GLib's g_return_if_fail names __PRETTY_FUNCTION__ in C++, i.e. the whole
// signature. Our callers are C programs and expect C's wording
// ("kel_str_array_add: assertion 'str' failed"), so the macros below pass
// __func__ (the plain name of an extern "C" function) and the expression text.
void warn_check_failed(const char *func, const char *expr) noexcept;

}  // namespace kel

#define KEL_RETURN_IF_FAIL(expr)                             \
    do {                                                     \
        if (G_UNLIKELY(!(expr))) {                           \
            kel::warn_check_failed(__func__, #expr);         \
            return;                                          \
        }                                                    \
    } while (0)

#define KEL_RETURN_VAL_IF_FAIL(expr, val)                    \
    do {                                                     \
        if (G_UNLIKELY(!(expr))) {                           \
            kel::warn_check_failed(__func__, #expr);         \
            return (val);                                    \
        }                                                    \
    } while (0)

// For the few checks whose warning names a text other than the expression.
#define KEL_RETURN_VAL_IF_FAIL_AS(expr, text, val)           \
    do {                                                     \
        if (G_UNLIKELY(!(expr))) {                           \
            kel::warn_check_failed(__func__, text);          \
            return (val);                                    \
        }                                                    \
    } while (0)

namespace kel {

// ---- JSON value model (src/json/kel_json*.cpp) -------------------------------

// Bytes a node of the given kind occupies: header only for null and booleans.
constexpr std::size_t kJsonHeaderSize = offsetof(KelJson, i64);

// Allocates a zeroed-header node of the given kind (count 0, no parent).
KelJson *json_alloc(KelJsonType type) noexcept;

// Release of a member by an owning container: detach, drop one count and
// delete at zero. Used as the GHashTable / GPtrArray element release.
void json_release_owned(gpointer member) noexcept;

// Reports "%s: argument check failed: %s" (KEL_JSON_ARG_INVALID).
void json_arg_failed(KelError **error, const char *func, const char *arg) noexcept;

// Reports "%s: invalid JSON type for %P: expected %s, got %s" (KEL_JSON_TYPE_INVALID).
void json_type_failed(KelError **error, const char *func, const KelJson *json,
                      KelJsonType expected) noexcept;

// True when *error already holds an error (several lookups give up then).
inline bool error_pending(KelError **error) noexcept { return error != nullptr && *error != nullptr; }

// The single cycle check of the library: true (and an error reported) when
// putting `value` into `container` would make `value` its own ancestor.
// Called by every owning insertion of a container that has no parent.
bool json_refuse_cycle(KelJson *container, KelJson *value, KelError **error) noexcept;

// Parser fast paths: the parser only ever inserts fresh values into fresh
// owning containers, so the argument, parent and cycle checks are skipped.
// `key` is consumed (owned by the table afterwards).
void json_obj_insert_fresh(KelJson *obj, char *key, KelJson *value) noexcept;
void json_array_append_fresh(KelJson *array, KelJson *value) noexcept;

// GLib's "should not be reached" critical with the file, line and function given.
void log_unreachable(const char *file, int line, const char *func) noexcept;

}  // namespace kel
