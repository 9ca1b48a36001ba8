/* libkel: string arrays, strict number parsing, 128-bit integers, memory and directories. */
/**
 * @file kel_util.h
 * @brief String arrays, strict text-to-number conversion, unsigned 128-bit
 *        arithmetic, aligned memory, directory removal.
 *
 * Error reporting differs per group: the number conversions push onto a
 * KelError slot; the 128-bit functions return #KelStatus codes as plain
 * int32 values and create no error; the directory helpers take GLib's own
 * `GError **`; the rest check their arguments with a GLib warning
 * ("kel_str_array_add: assertion 'str' failed") and return a neutral result.
 * No function here keeps state between calls; a string array is used by one
 * thread at a time.
 */
#ifndef KEL_UTIL_H
#define KEL_UTIL_H

#include "kel_error.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- String arrays ------------------------------------------------------ */
/** A GArray of owned, NUL-terminated strings that is always NULL-terminated:
 *  read the count from `->len` and the vector from `->data` (a `char **`).
 *  Strings are added as copies. Free with kel_str_array_free(). */
typedef GArray KelStrArray;

/**
 * Creates an empty string array.
 * @param reserved number of strings to reserve room for.
 * @return a new array owned by the caller (free with kel_str_array_free()).
 */
KEL_API KelStrArray *kel_str_array_sized_new(guint32 reserved) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Appends a copy of a string.
 * @param array the array; NULL warns ("kel_str_array_add: assertion 'array'
 *              failed").
 * @param str   the string, copied; NULL warns with 'str' and adds nothing.
 */
KEL_API void kel_str_array_add(KelStrArray *array, const char *str);
/**
 * Creates an array holding copies of the first @p n strings of @p strs.
 * @param strs the strings; NULL warns ("kel_str_array_new_strs: assertion
 *             'strs' failed"). A NULL entry warns and is skipped.
 * @param n    number of entries to copy.
 * @return a new array owned by the caller, or NULL for a NULL @p strs.
 */
KEL_API KelStrArray *kel_str_array_new_strs(const char *const *strs, guint64 n) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Returns one string; negative indices count from the end (-1 is the last).
 * @param array the array; NULL warns and gives NULL.
 * @param index position, from -len to len - 1.
 * @return the array's own string (borrowed, valid until the array changes),
 *         or NULL when @p index is out of range.
 */
KEL_API const char *kel_str_array_index(KelStrArray *array, gint32 index);
/**
 * Sorts the strings in place by unsigned byte value, as strcmp() orders them.
 * @param array the array; NULL warns and does nothing.
 */
KEL_API void kel_str_array_sort(KelStrArray *array);
/**
 * Frees an array, or frees only its header and hands over the string vector.
 * @param array        the array (may be NULL: result NULL).
 * @param free_segment TRUE: free the strings too and return NULL. FALSE:
 *                     return the NULL-terminated vector, which the caller
 *                     then owns (free it with g_strfreev()). Only the lowest
 *                     byte is examined.
 * @return NULL, or the vector (owned by the caller).
 */
KEL_API char **kel_str_array_free(KelStrArray *array, gboolean free_segment);

/* ---- Strict number parsing ---------------------------------------------- */
/**
 * Converts a whole string to int64 with GLib's locale-independent
 * conversion: leading white space and a sign are accepted, trailing
 * characters are not.
 * @param str  the text; NULL warns ("kel_strtoll: assertion 'str' failed")
 *             and gives 0. The empty string gives 0 without error.
 * @param base 2 to 36, or 0 to detect "0x" (16) and a leading "0" (8).
 * @param err  error slot (may be NULL). Pushes, in the "kel-error" domain,
 *             #KEL_ARG_CONVERSION ("Could not convert \"%s\" to int64_t",
 *             with "; out of range" appended on overflow) or
 *             #KEL_RADIX_INVALID ("Base value (%u) is invalid for string
 *             conversion").
 * @return the value, or 0 on failure.
 */
KEL_API gint64 kel_strtoll(const char *str, guint32 base, KelError **err);
/**
 * kel_strtoll() for uint64 (messages name "uint64_t"). A leading "-" negates
 * modulo 2^64, as GLib does: "-1" gives 18446744073709551615.
 * @param str  the text; NULL warns and gives 0.
 * @param base 2 to 36, or 0.
 * @param err  error slot (may be NULL); the errors of kel_strtoll().
 * @return the value, or 0 on failure.
 */
KEL_API guint64 kel_strtoull(const char *str, guint32 base, KelError **err);
/**
 * Converts a whole string to double with '.' as decimal point whatever the
 * locale (exponents, hexadecimal floats, "inf" and "nan" as strtod reads
 * them).
 * @param str the text; NULL warns and gives 0.0.
 * @param err error slot (may be NULL). Pushes #KEL_ARG_CONVERSION with
 *            "Could not convert \"%s\" to double", or with "; out of range"
 *            appended when the value overflows or underflows.
 * @return the value, or 0.0 on failure.
 */
KEL_API double kel_strtod(const char *str, KelError **err);

/* ---- 128-bit and odd-width unsigned integers ---------------------------- */
/** Unsigned 128-bit integer passed by value; all arithmetic wraps modulo
 *  2^128. */
typedef struct KelUint128 {
    /** Low 64 bits. */
    guint64 lo;
    /** High 64 bits. */
    guint64 hi;
} KelUint128;

/** Unsigned 24-bit value, least significant byte first; the bytes can be read
 *  as fields or as an array. */
typedef struct KelUint24 {
    union {
        /** The bytes by name, b0 the least significant. */
        struct { guint8 b0, b1, b2; };
        /** The bytes as an array, [0] the least significant. */
        guint8 bytes[3];
    };
} KelUint24;

/** Unsigned 48-bit value, least significant byte first. */
typedef struct KelUint48 {
    union {
        /** The bytes by name, b0 the least significant. */
        struct { guint8 b0, b1, b2, b3, b4, b5; };
        /** The bytes as an array, [0] the least significant. */
        guint8 bytes[6];
    };
} KelUint48;

/** @param a first operand. @param b second operand. @return a + b modulo
 *  2^128. */
KEL_API KelUint128 kel_uint128_add(KelUint128 a, KelUint128 b);
/** @param a the operand. @return 0 - a modulo 2^128 (two's complement). */
KEL_API KelUint128 kel_uint128_neg(KelUint128 a);
/** @param a minuend. @param b subtrahend. @return a - b modulo 2^128. */
KEL_API KelUint128 kel_uint128_sub(KelUint128 a, KelUint128 b);
/** @param a left operand. @param b right operand. @return TRUE when a < b. */
KEL_API gboolean kel_uint128_lt(KelUint128 a, KelUint128 b);
/** @param a left operand. @param b right operand. @return TRUE when a <= b. */
KEL_API gboolean kel_uint128_le(KelUint128 a, KelUint128 b);
/** @param a the value. @param n bit count; 128 or more gives 0.
 *  @return a shifted left by @p n bits. */
KEL_API KelUint128 kel_uint128_lshift(KelUint128 a, guint64 n);
/** @param a the value. @param n bit count; 128 or more gives 0.
 *  @return a shifted right by @p n bits (logical). */
KEL_API KelUint128 kel_uint128_rshift(KelUint128 a, guint64 n);
/** @param a first factor. @param b second factor. @return a * b modulo
 *  2^128. */
KEL_API KelUint128 kel_uint128_mul(KelUint128 a, KelUint128 b);
/**
 * Divides with remainder.
 * @param a         dividend.
 * @param b         divisor.
 * @param quotient  receives a / b (may be NULL; may point at the dividend's
 *                  storage).
 * @param remainder receives a % b (may be NULL).
 * @return #KEL_SUCCESS, or #KEL_ARG_INVALID (-1) when @p b is zero (nothing
 *         written).
 */
KEL_API gint32 kel_uint128_div(KelUint128 a, KelUint128 b,
                               KelUint128 *quotient, KelUint128 *remainder);
/**
 * Writes a value as digits (upper-case letters above 9), without sign,
 * prefix or padding.
 * @param value the value.
 * @param radix 2 to 36.
 * @param buf   the caller's buffer.
 * @param size  its size in bytes; radix 2 needs up to 129.
 * @return bytes written including the NUL, or #KEL_ARG_INVALID (NULL
 *         @p buf or @p size 0), #KEL_RADIX_INVALID, #KEL_BUFFER_INSUFFICIENT
 *         (@p buf untouched).
 */
KEL_API gint32 kel_uint128_to_str(KelUint128 value, gint32 radix, char *buf, guint64 size);
/**
 * Reads a value: leading blanks and tabs, an optional "-" (negates modulo
 * 2^128), then "0x" for hexadecimal, a leading "0" for octal, else decimal.
 * Overflow wraps silently.
 * @param str the text; NULL gives #KEL_ARG_INVALID.
 * @param out receives the value; NULL gives #KEL_ARG_INVALID. On a stray
 *            character it receives the value read so far.
 * @return #KEL_SUCCESS, or #KEL_ARG_CONVERSION for an empty string or a
 *         character that is not a digit of the radix.
 */
KEL_API gint32 kel_uint128_from_str(const char *str, KelUint128 *out);
/** @param v the value. @return its low 24 bits, least significant byte
 *  first. */
KEL_API KelUint24 kel_uint24_init(guint32 v);
/** @param v the value. @return its low 48 bits, least significant byte
 *  first. */
KEL_API KelUint48 kel_uint48_init(guint64 v);

/* ---- Memory, directories, process --------------------------------------- */
/**
 * Allocates an aligned block.
 * @param alignment a power of two (not 0); posix_memalign also refuses
 *                  alignments below the pointer size (NULL without warning).
 * @param size      a non-zero multiple of @p alignment.
 * @return the block (owned; free with kel_aligned_free()), or NULL. A
 *         violated rule warns with the rule's text, e.g.
 *         "kel_try_aligned_alloc: assertion 'size >= alignment' failed".
 */
KEL_API void *kel_try_aligned_alloc(guint64 alignment, guint64 size) G_GNUC_WARN_UNUSED_RESULT;
/**
 * kel_try_aligned_alloc() that never returns NULL: a failure ends the process
 * with a GLib error-level message.
 * @param alignment as for kel_try_aligned_alloc().
 * @param size      as for kel_try_aligned_alloc().
 * @return the block (owned; free with kel_aligned_free()).
 */
KEL_API void *kel_aligned_alloc(guint64 alignment, guint64 size) G_GNUC_WARN_UNUSED_RESULT;
/** Frees a block of kel_aligned_alloc() or kel_try_aligned_alloc() (with the
 *  platform's free(), not GLib's).
 *  @param ptr the block (may be NULL). */
KEL_API void kel_aligned_free(void *ptr);
/**
 * Removes a directory and everything in it. Symbolic links inside are
 * removed, never followed; a @p path that names a link fails as "Not a
 * directory". The first failure stops the removal; what was removed stays
 * removed. Each level of the tree holds one open descriptor, so the
 * process's descriptor limit bounds the depth.
 * @param path  the directory; NULL warns and gives FALSE.
 * @param error GLib error slot (may be NULL): G_FILE_ERROR codes, with
 *              "Error removing \"%s\": %s" for a failed removal.
 * @return TRUE when the directory is gone.
 */
KEL_API gboolean kel_rm_dir(const char *path, GError **error);
/**
 * Removes everything inside a directory and keeps the directory.
 * @param path  the directory; NULL warns and gives FALSE.
 * @param error GLib error slot (may be NULL), as for kel_rm_dir().
 * @return TRUE when the directory exists and is now empty.
 */
KEL_API gboolean kel_empty_dir(const char *path, GError **error);
/**
 * Tells whether a path is a readable directory without entries.
 * @param path the path; NULL warns and gives FALSE.
 * @return TRUE only for an empty, readable directory.
 */
KEL_API gboolean kel_is_dir_empty(const char *path);
/** @return the calling process's id. */
KEL_API gint32 kel_getpid(void);

#ifdef __cplusplus
}
#endif

#endif /* KEL_UTIL_H */
