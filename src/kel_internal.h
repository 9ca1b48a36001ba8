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

// A string node whose text (`len` bytes, copied, then a NUL) lives in the
// node's own block.
KelJson *json_str_alloc(const char *text, gsize len) noexcept;

// Node blocks (src/json/kel_json_pool.cpp): sizes up to kMaxPooled come
// from per-thread free lists, larger ones from GLib's allocator. A block is
// released with the size it was allocated with, on any thread.
constexpr std::size_t kMaxPooled = 64;
void *node_alloc(std::size_t size) noexcept;
void node_free(void *block, std::size_t size) noexcept;

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

// ---- Member names (src/json/kel_json_hash.cpp, kel_json_object.cpp) ----------

// SipHash with C compression and D finalisation rounds over `len` bytes,
// keyed with (k0, k1). Instantiated for <1, 3> (the tables) and <2, 4>.
template <int C, int D>
guint64 siphash(const void *data, gsize len, guint64 k0, guint64 k1) noexcept;

// SipHash-1-3 of the bytes under this process's random key: the hash for
// anything an input document chooses (member names, string contents).
guint64 json_hash_bytes(const void *data, gsize len) noexcept;

// GHashFunc of object tables: json_hash_bytes of the NUL-terminated name.
guint json_key_hash(gconstpointer key) noexcept;

// Every name an object table owns is stored behind a header that holds its
// insertion sequence number, so that members can be listed in the order in
// which they were first inserted. Such a name is made by json_key_new
// (sequence 0, a node block) and released by json_key_free (the tables' key
// release); names are never changed in place, so their length gives the
// block's size back.
constexpr std::size_t kJsonKeyHeader = sizeof(guint64);
char *json_key_new(const char *text, gsize len) noexcept;
void json_key_free(gpointer key) noexcept;
inline guint64 &json_key_seq(const char *key) noexcept
{
    return *reinterpret_cast<guint64 *>(const_cast<char *>(key) - kJsonKeyHeader);
}

// The next sequence number of an object: a word kept after the table
// pointer in object nodes (json_alloc gives objects that room).
inline guint64 &json_obj_next_seq(KelJson *obj) noexcept
{
    return *reinterpret_cast<guint64 *>(reinterpret_cast<char *>(obj) + kJsonHeaderSize +
                                        sizeof(gpointer));
}

// A member of an object as the ordered listings hand it out.
struct JsonMember {
    const char *key;
    KelJson *value;
};

// Appends the members of `obj` to `out` (room for all of them must be
// there) in insertion order, or in strcmp order of the names when `sorted`.
// Returns how many were appended.
guint json_obj_members(KelJson *obj, JsonMember *out, bool sorted) noexcept;

// GLib's "should not be reached" critical with the file, line and function given.
void log_unreachable(const char *file, int line, const char *func) noexcept;

}  // namespace kel
