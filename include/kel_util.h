/* libkel: string arrays, strict number parsing, 128-bit integers, memory and directories. */
#ifndef KEL_UTIL_H
#define KEL_UTIL_H

#include "kel_error.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- String arrays ------------------------------------------------------
 * A GArray of owned, NUL-terminated strings that is always NULL-terminated:
 * read the count from ->len and the vector from ->data. */
typedef GArray KelStrArray;

KEL_API KelStrArray *kel_str_array_sized_new(guint32 reserved);
KEL_API void kel_str_array_add(KelStrArray *array, const char *str);
KEL_API KelStrArray *kel_str_array_new_strs(const char *const *strs, guint64 n);
KEL_API const char *kel_str_array_index(KelStrArray *array, gint32 index);
KEL_API void kel_str_array_sort(KelStrArray *array);
KEL_API char **kel_str_array_free(KelStrArray *array, gboolean free_segment);

/* ---- Strict number parsing ---------------------------------------------- */
KEL_API gint64 kel_strtoll(const char *str, guint32 base, KelError **err);
KEL_API guint64 kel_strtoull(const char *str, guint32 base, KelError **err);
KEL_API double kel_strtod(const char *str, KelError **err);

/* ---- 128-bit and odd-width unsigned integers ---------------------------- */
typedef struct KelUint128 {
    guint64 lo;
    guint64 hi;
} KelUint128;

/* Least significant byte first; the bytes can be read as fields or as an array. */
typedef struct KelUint24 {
    union {
        struct { guint8 b0, b1, b2; };
        guint8 bytes[3];
    };
} KelUint24;

typedef struct KelUint48 {
    union {
        struct { guint8 b0, b1, b2, b3, b4, b5; };
        guint8 bytes[6];
    };
} KelUint48;

KEL_API KelUint128 kel_uint128_add(KelUint128 a, KelUint128 b);
KEL_API KelUint128 kel_uint128_neg(KelUint128 a);
KEL_API KelUint128 kel_uint128_sub(KelUint128 a, KelUint128 b);
KEL_API gboolean kel_uint128_lt(KelUint128 a, KelUint128 b);
KEL_API gboolean kel_uint128_le(KelUint128 a, KelUint128 b);
KEL_API KelUint128 kel_uint128_lshift(KelUint128 a, guint64 n);
KEL_API KelUint128 kel_uint128_rshift(KelUint128 a, guint64 n);
KEL_API KelUint128 kel_uint128_mul(KelUint128 a, KelUint128 b);
KEL_API gint32 kel_uint128_div(KelUint128 a, KelUint128 b,
                               KelUint128 *quotient, KelUint128 *remainder);
KEL_API gint32 kel_uint128_to_str(KelUint128 value, gint32 radix, char *buf, guint64 size);
KEL_API gint32 kel_uint128_from_str(const char *str, KelUint128 *out);
KEL_API KelUint24 kel_uint24_init(guint32 v);
KEL_API KelUint48 kel_uint48_init(guint64 v);

/* ---- Memory, directories, process --------------------------------------- */
KEL_API void *kel_try_aligned_alloc(guint64 alignment, guint64 size);
KEL_API void *kel_aligned_alloc(guint64 alignment, guint64 size);
KEL_API void kel_aligned_free(void *ptr);
KEL_API gboolean kel_rm_dir(const char *path, GError **error);
KEL_API gboolean kel_empty_dir(const char *path, GError **error);
KEL_API gboolean kel_is_dir_empty(const char *path);
KEL_API gint32 kel_getpid(void);

#ifdef __cplusplus
}
#endif

#endif /* KEL_UTIL_H */
