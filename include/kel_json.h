/* libkel: JSON documents. Values are reference counted, know their parent,
 * and every diagnostic names the JSON pointer of the value it is about. */
/**
 * @file kel_json.h
 * @brief JSON documents: values, objects, arrays, pointers, references,
 *        parsing, visiting and dumping.
 *
 * @par Ownership
 * - A new value (every constructor, kel_json_copy(), kel_json_loads(), a
 *   non-in-place kel_json_union(), kel_json_merge_patch()) has a reference
 *   count of 0 and no parent;
 *   its creator owns it. One kel_json_unref() frees it. Because the count is
 *   0, kel_json_ref() followed by kel_json_unref() also frees it.
 * - Putting a value into an owning object or array (the `put` and `push`
 *   functions, pointer puts) makes the container its owner: the container
 *   takes a reference (count 1) and sets the value's parent and key or
 *   index. The creator need not release it; releasing the root releases the
 *   whole tree. kel_json_unref() on a value that has a parent never frees it
 *   (its count stays at least 1).
 * - A value has at most one owning parent. Inserting a value that already has
 *   one fails with #KEL_JSON_CHILD_OWNED, and so does putting a container
 *   into itself or below itself. After any failed insert the caller still
 *   owns the value and must release it (the `put_<kind>`/`push_<kind>`
 *   families release the value they made themselves).
 * - Lookups (`get`, pointer get, reference resolution, array search) return
 *   borrowed pointers: no count is taken; they stay valid while the tree is
 *   unchanged. To keep a member beyond its container, kel_json_ref() it.
 * - Functions that take a value out of a container hand the container's
 *   reference to the caller: kel_json_array_swap(), kel_json_array_pop_elem(),
 *   kel_json_make_orphan_base(), and the old child of
 *   kel_json_swap_child_base(). The value comes back without parent, with its
 *   count one lower (0 when only the container held it): release it with
 *   kel_json_unref() or put it elsewhere.
 * - kel_json_delete() frees a value regardless of its count. Never call it on
 *   a value that has a parent (the parent would keep a dangling pointer);
 *   kel_json_unref() is the normal release.
 * - Borrowing containers (made with `borrow` TRUE) only count their members
 *   and never set parent links; the library uses them as work lists.
 * - Strings and key lists returned to the caller are the caller's: g_free()
 *   for strings, kel_str_array_free() for #KelStrArray.
 *
 * @par The error slot
 * Fallible functions take a `KelError **` slot last (NULL allowed: the
 * result alone reports). Most push exactly one new error on top of what the
 * slot holds, whatever it holds. These give up instead, returning NULL or
 * FALSE without pushing anything, when the slot already holds an error:
 * - kel_json_obj_get_base() and kel_json_array_get_base() with `deref` set,
 *   on meeting a reference member, and so every typed lookup that follows
 *   references (kel_json_obj_get_obj_base(), `_array_`, `_str_`, and the
 *   number and boolean lookups);
 * - kel_json_ptr_get_base() at its first member or element step;
 *   kel_json_ptr_put_base() before it inserts a created container into an
 *   object and in its final step for "-" and for objects; the whole
 *   `kel_json_ptr_put_<kind>_base` family at once;
 * - kel_json_jref_resolve_base(), kel_json_jref_deref_base() and each
 *   resolution step of kel_json_jref_expand();
 * - the copy steps of kel_json_union() for objects, which are skipped while
 *   the walk goes on: the union then returns an object with members missing
 *   and no new error.
 * .
 * Clear the slot before such a call when its failure must be told apart.
 *
 * @par Names
 * - `_base`: the full form of a function, with the error slot last (and, for
 *   the container constructors, the `borrow` flag).
 * - `_ext`: a form that appends to a caller's GString or takes extra options
 *   (kel_json_ptr_ext(), kel_json_sdump_ext(), kel_json_is_i64_ext()).
 * - `getd`: get or create: return the member if it has the wanted kind,
 *   otherwise put a new empty container there (replacing what was there).
 * - `kel_json_obj_put_<kind>_base`, `kel_json_array_push_<kind>_base`,
 *   `kel_json_ptr_put_<kind>_base`: make a new value of that kind, insert it
 *   and return it borrowed (the container owns it), or NULL after freeing it.
 * - `deref`: an int whose lowest bit asks a lookup to follow a reference
 *   member to the first value that is not a reference.
 *
 * @par Order
 * Object members keep insertion order: kel_json_obj_keys(),
 * kel_json_obj_foreach(), the visitor's default order, unsorted dumps and
 * kel_json_copy() list them in the order they were first put (putting an
 * existing name again keeps its place; a removed name put again goes last).
 * kel_json_alpha_keys() and #KEL_JSON_DUMP_SORTED give byte order.
 * #KelJsonObjIter walks the hash table and its order is unspecified. Member
 * names are hashed with a key chosen per process, so hash-table order differs
 * between runs.
 *
 * @par Numbers
 * Number output does not depend on the locale: dumps always write '.' as
 * decimal point. Doubles are written as "%f" (six decimals, so 1e-7 becomes
 * 0.000000) unless #KEL_JSON_DUMP_REAL_ROUNDTRIP asks for the shortest exact
 * text, the lossless choice; NaN and infinities make a dump fail. The parser
 * makes int64 values for integers in range, uint128 values for larger ones
 * (never uint64), and doubles for numbers with a fraction or exponent; a
 * subnormal real reads as the double the conversion gives. The plain getters
 * (kel_json_i64_get() and its siblings) convert between kinds without any
 * check; the typed lookups (kel_json_obj_get_i64_base() and its siblings)
 * and the `_ext` predicates check that the value fits exactly.
 *
 * @par Threads
 * Reference counts and parent links are plain, unlocked fields: a tree, and
 * every value shared between trees, is used by one thread at a time.
 * Different trees may be used on different threads. Freed value blocks are
 * kept in the library's pool for reuse for the life of the process (memory
 * checkers report them as "still reachable"; sanitizer builds bypass the
 * pool).
 *
 * @par Limits
 * - Parsing: at most #KEL_JSON_MAX_DEPTH nested arrays and objects; a string
 *   input of at most 2^31 - 1 bytes. Trees built in memory may be deeper: no
 *   walk of the library recurses natively.
 * - Reference expansion: a budget of created values (#KEL_JSON_EXPAND_MIN_BUDGET,
 *   #KEL_JSON_EXPAND_BUDGET_FACTOR).
 * - Pointer puts fill gaps before an index only up to a fixed bound of
 *   created values; beyond it the put fails with #KEL_JSON_INDEX_INVALID.
 *   kel_json_array_put_ext() fills whatever gap its caller asks for.
 * - JSON Patch copies: #KEL_JSON_PATCH_MIN_BUDGET.
 * - kel_json_subset() with #KEL_JSON_SUBSET_ARRAY_RUN alone searches a run
 *   in linear time when the left array holds only primitives; otherwise
 *   (containers, or integers mixed with integral doubles beyond 2^53) it
 *   tries offset by offset, time growing with the product of the two
 *   arrays' lengths. Bound such inputs yourself.
 * - Everything else costs time linear in its input, or O(n log n) where
 *   names are sorted; the README's "Limits and untrusted input" table gives
 *   the figure of each operation.
 */
#ifndef KEL_JSON_H
#define KEL_JSON_H

#include <stdio.h>
#include "kel_error.h"
#include "kel_util.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Values --------------------------------------------------------------- */

/** Kind of a JSON value. Booleans are two kinds; kinds 3 to 6 are numbers,
 *  3 to 5 integers. */
typedef enum KelJsonType {
    KEL_JSON_NULL = 0,      /**< null ("null") */
    KEL_JSON_OBJECT = 1,    /**< object ("object") */
    KEL_JSON_ARRAY = 2,     /**< array ("array") */
    KEL_JSON_INT64 = 3,     /**< signed 64-bit integer ("int64", generic "integer") */
    KEL_JSON_UINT64 = 4,    /**< unsigned 64-bit integer ("uint64", generic "integer") */
    KEL_JSON_UINT128 = 5,   /**< unsigned 128-bit integer ("uint128", generic "integer") */
    KEL_JSON_DOUBLE = 6,    /**< binary64 ("double", generic "number") */
    KEL_JSON_STRING = 7,    /**< UTF-8 text ("string") */
    KEL_JSON_TRUE = 8,      /**< true ("true", generic "boolean") */
    KEL_JSON_FALSE = 9,     /**< false ("false", generic "boolean") */
    KEL_JSON_JREF = 10      /**< reference: {"$ref": uri} ("reference") */
} KelJsonType;

/** Flag set on objects and arrays made as borrowing containers. */
#define KEL_JSON_FLAG_BORROW 2

/** One JSON value. Null and boolean nodes are allocated without the payload;
 *  uint128 nodes are the only ones that carry two payload words, so read the
 *  payload only through the field of the value's kind. Treat every field as
 *  read-only: use the functions of this header to change a value. */
struct KelJson {
    guint16 type;        /**< a KelJsonType */
    guint16 flags;       /**< KEL_JSON_FLAG_BORROW or 0 */
    gint32 refcount;     /**< starts at 0 */
    KelJson *parent;     /**< owning object or array, or NULL */
    union {
        char *key;       /**< member name, owned by the parent's table */
        gint32 index;    /**< position in the parent array */
    };
    union {
        gint64 i64;          /**< payload of KEL_JSON_INT64 */
        guint64 u64;         /**< payload of KEL_JSON_UINT64 */
        KelUint128 u128;     /**< payload of KEL_JSON_UINT128 */
        double d;            /**< payload of KEL_JSON_DOUBLE */
        char *str;           /**< text of KEL_JSON_STRING, owned by the value */
        char *uri;           /**< URI of KEL_JSON_JREF, owned by the value */
        GHashTable *obj;     /**< members of KEL_JSON_OBJECT */
        GPtrArray *array;    /**< elements of KEL_JSON_ARRAY */
    };
};

/**
 * Checks strict UTF-8 (no overlong forms, surrogates or code points above
 * 0x10FFFF) over exactly @p len bytes; NUL bytes count as characters.
 * @param s   the bytes (not read when @p len is 0).
 * @param len number of bytes.
 * @return 1 when valid, 0 otherwise.
 */
KEL_API int utf8_check_string(const char *s, gsize len);

/** @return a new null value (count 0, owned by the caller: free with
 *  kel_json_unref() or put it into a container). */
KEL_API KelJson *kel_json_null_new_base(void) G_GNUC_WARN_UNUSED_RESULT;
/** @param value non-zero for true. @return a new true or false value (count
 *  0, owned by the caller). */
KEL_API KelJson *kel_json_bool_new_base(gboolean value) G_GNUC_WARN_UNUSED_RESULT;
/** @param value the number. @return a new int64 value (count 0, owned by the
 *  caller). */
KEL_API KelJson *kel_json_i64_new_base(gint64 value) G_GNUC_WARN_UNUSED_RESULT;
/** @param value the number. @return a new uint64 value (count 0, owned by the
 *  caller). */
KEL_API KelJson *kel_json_u64_new_base(guint64 value) G_GNUC_WARN_UNUSED_RESULT;
/** @param value the number. @return a new uint128 value (count 0, owned by
 *  the caller). */
KEL_API KelJson *kel_json_u128_new_base(KelUint128 value) G_GNUC_WARN_UNUSED_RESULT;
/** @param value the number (NaN and infinities are accepted here but cannot
 *  be dumped). @return a new double value (count 0, owned by the caller). */
KEL_API KelJson *kel_json_double_new_base(double value) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Makes a string value from a copy of the first @p len bytes of @p value.
 * @param value the bytes, need not be NUL-terminated.
 * @param len   number of bytes.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID for a
 *              NULL @p value ("kel_json_str_new_len_base: argument check
 *              failed: value"), for a NUL byte among the bytes
 *              ("kel_json_str_new_len_base: string contains a NUL byte at
 *              offset N": the text is refused, not cut) and for invalid UTF-8
 *              ("%s: Character sequence is not valid UTF-8: %s" with a hex
 *              dump).
 * @return a new string value (count 0, owned by the caller), or NULL.
 */
KEL_API KelJson *kel_json_str_new_len_base(const char *value, gsize len, KelError **error) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Makes a string value from a copy of a NUL-terminated text.
 * @param value the text; NULL pushes #KEL_JSON_ARG_INVALID.
 * @param error error slot (may be NULL); invalid UTF-8 pushes
 *              #KEL_JSON_ARG_INVALID as kel_json_str_new_len_base() does.
 * @return a new string value (count 0, owned by the caller), or NULL.
 */
KEL_API KelJson *kel_json_str_new_base(const char *value, KelError **error) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Makes a reference value ({"$ref": uri}); the URI is resolved only when the
 * reference is followed (see kel_json_jref_resolve_base()).
 * @param uri   the URI, copied, not checked; NULL pushes #KEL_JSON_ARG_INVALID.
 * @param error error slot (may be NULL).
 * @return a new reference value (count 0, owned by the caller), or NULL.
 */
KEL_API KelJson *kel_json_jref_new_base(const char *uri, KelError **error) G_GNUC_WARN_UNUSED_RESULT;
/** @param json a value (may be NULL). @return the URI of a reference
 *  (borrowed from the value), or NULL for any other kind. */
KEL_API const char *kel_json_jref_uri(const KelJson *json);

/** Adds one reference to a value. On a new value (count 0) this gives count
 *  1, so one kel_json_unref() still frees it.
 *  @param json the value (may be NULL: nothing happens). */
KEL_API void kel_json_ref(KelJson *json);
/** Drops one reference. A value without parent is freed, with everything
 *  under it, when its count reaches 0 or below (a new value is freed at
 *  once). A value with a parent is never freed here: its count stays at
 *  least 1 and its parent keeps it.
 *  @param json the value (may be NULL: nothing happens). */
KEL_API void kel_json_unref(KelJson *json);
/** Frees a value and everything under it, whatever its count. Never call it
 *  on a value that has a parent: the parent would keep a pointer to freed
 *  memory. Use kel_json_unref() to release values.
 *  @param json a value without parent (may be NULL: nothing happens). */
KEL_API void kel_json_delete(KelJson *json);

/** Reads any number as int64 without checking that it fits: uint64 and
 *  uint128 (its low half) are reinterpreted, a double is truncated toward
 *  zero; other kinds give 0. Use kel_json_is_i64_ext() or
 *  kel_json_obj_get_i64_base() to check.
 *  @param json the value (must not be NULL). @return the value as int64. */
KEL_API gint64 kel_json_i64_get(const KelJson *json);
/** Reads any number as uint64 without checking (an int64 is reinterpreted,
 *  -1.5 gives 2^64 - 1); other kinds give 0.
 *  @param json the value (must not be NULL). @return the value as uint64. */
KEL_API guint64 kel_json_u64_get(const KelJson *json);
/** Reads any number as uint128 without checking (no sign extension; a double
 *  goes through kel_json_u64_get()); other kinds give zero.
 *  @param json the value (must not be NULL). @return the value as uint128. */
KEL_API KelUint128 kel_json_u128_get(const KelJson *json);
/** Reads any number as double, rounding to nearest (a uint128 contributes
 *  only its low half); other kinds give 0.0.
 *  @param json the value (must not be NULL). @return the value as double. */
KEL_API double kel_json_double_get(const KelJson *json);
/** @param json a value (may be NULL). @return TRUE only for a true value. */
KEL_API gboolean kel_json_bool_get(const KelJson *json);
/** @param json a value (may be NULL). @return TRUE for int64, uint64,
 *  uint128 and double. */
KEL_API gboolean kel_json_is_num(const KelJson *json);
/** @param json a value (may be NULL). @return TRUE for int64, uint64 and
 *  uint128. */
KEL_API gboolean kel_json_is_int(const KelJson *json);
/** @param json a value (may be NULL). @return TRUE for true and false. */
KEL_API gboolean kel_json_is_bool(const KelJson *json);

/**
 * Names a kind.
 * @param type  a #KelJsonType.
 * @param exact TRUE for the exact name ("int64"), FALSE for the generic one
 *              ("integer").
 * @return a static name, or "<unknown>" above 10.
 */
KEL_API const char *kel_json_enum_type_string(guint32 type, gboolean exact);
/**
 * Names the kind of a value, as kel_json_enum_type_string() does.
 * @param json  the value (NULL gives "<none>").
 * @param exact TRUE for the exact name.
 * @return a static name.
 */
KEL_API const char *kel_json_type_string(const KelJson *json, gboolean exact);
/** @param json a value (may be NULL). @return its member name when its parent
 *  is an object (borrowed from the parent, valid while it stays a member),
 *  else NULL. */
KEL_API const char *kel_json_parent_key(const KelJson *json);
/** @param json a value (may be NULL). @return its index when its parent is an
 *  array, else -1. */
KEL_API int kel_json_parent_index(const KelJson *json);

/* ---- Objects ------------------------------------------------------------ */

/** Caller-provided iterator storage over one object's members, in hash-table
 *  order (unspecified). Valid while no member is added or removed. */
typedef GHashTableIter KelJsonObjIter;

/** Callback of kel_json_obj_foreach().
 *  @param key   the member name (borrowed).
 *  @param value the member (borrowed).
 *  @param data  the caller's pointer.
 *  @return TRUE to go on, FALSE to stop. */
typedef gboolean (*KelJsonObjForeachFunc)(const char *key, KelJson *value, gpointer data);

/**
 * Makes an empty object.
 * @param borrow FALSE for a normal (owning) object; TRUE for a borrowing one
 *               that counts its members but never sets their parent.
 * @return a new object (count 0, owned by the caller).
 */
KEL_API KelJson *kel_json_obj_new_base(gboolean borrow) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Puts a value under a name, replacing (and releasing) a member already
 * there; a replaced name keeps its place in the member order.
 * @param json  the object.
 * @param key   the name, copied.
 * @param value the value; the object takes a reference (a new value becomes
 *              owned by the object). Not consumed on failure.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID (a NULL
 *              argument), #KEL_JSON_TYPE_INVALID (@p json not an object),
 *              #KEL_JSON_CHILD_OWNED (@p value already has a parent, or is
 *              @p json or one of its ancestors).
 * @return TRUE on success; on FALSE nothing changed and the caller still owns
 *         @p value.
 */
KEL_API gboolean kel_json_obj_put_base(KelJson *json, const char *key, KelJson *value,
                                       KelError **error);
/**
 * Removes a member and releases it (freed unless someone holds a reference).
 * @param json the object (NULL or a non-object gives FALSE).
 * @param key  the name (NULL gives FALSE).
 * @return TRUE when a member was removed.
 */
KEL_API gboolean kel_json_obj_remove(KelJson *json, const char *key);
/** @param json a value (may be NULL). @return the number of members, or -1
 *  for NULL or a non-object. */
KEL_API int kel_json_obj_size(const KelJson *json);
/** @param json a value (may be NULL). @param key a name (may be NULL).
 *  @return TRUE when @p json is an object with that member. */
KEL_API gboolean kel_json_obj_has_key(const KelJson *json, const char *key);
/**
 * Starts an iteration over an object's members in hash-table order
 * (unspecified; use kel_json_obj_keys() or kel_json_obj_foreach() for
 * insertion order).
 * @param iter caller's storage; NULL warns ("kel_json_obj_iter_init:
 *             assertion 'iter' failed").
 * @param json the object (NULL or a non-object gives FALSE).
 * @return TRUE when the iteration started.
 */
KEL_API gboolean kel_json_obj_iter_init(KelJsonObjIter *iter, KelJson *json);
/**
 * Advances an iteration.
 * @param iter  an iterator started by kel_json_obj_iter_init(); NULL warns
 *              and gives FALSE.
 * @param key   receives the member name (borrowed; may be NULL).
 * @param value receives the member (borrowed; may be NULL).
 * @return TRUE when a member was produced, FALSE at the end.
 */
KEL_API gboolean kel_json_obj_iter_next(KelJsonObjIter *iter, const char **key, KelJson **value);
/**
 * Calls @p callback for each member in insertion order until it returns
 * FALSE. The callback must not add or remove members.
 * @param json     the object (NULL or a non-object gives FALSE).
 * @param callback the callback; NULL warns and gives FALSE.
 * @param data     passed to the callback.
 * @return TRUE when every member was seen (also for an empty object), FALSE
 *         when the callback stopped the walk.
 */
KEL_API gboolean kel_json_obj_foreach(KelJson *json, KelJsonObjForeachFunc callback, gpointer data);
/**
 * Lists the member names in insertion order.
 * @param json the object (NULL or a non-object gives NULL, silently).
 * @return a new array of copies, owned by the caller: free it with
 *         `kel_str_array_free(keys, TRUE)`.
 */
KEL_API KelStrArray *kel_json_obj_keys(KelJson *json) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Lists the member names in byte order (as strcmp() sorts them).
 * @param json the object; a non-object gives NULL and a GLib warning from
 *             kel_str_array_sort().
 * @return a new array owned by the caller (`kel_str_array_free(keys, TRUE)`).
 */
KEL_API KelStrArray *kel_json_alpha_keys(KelJson *json) G_GNUC_WARN_UNUSED_RESULT;

/**
 * Looks a member up.
 * @param json  the object.
 * @param key   the name.
 * @param deref lowest bit set: a reference member is followed through
 *              kel_json_jref_deref_base() to the first value that is not a
 *              reference (when the slot already holds an error this gives NULL
 *              without a new one). 0: the member itself.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID (NULL
 *              @p json or @p key), #KEL_JSON_TYPE_INVALID (not an object),
 *              #KEL_JSON_KEY_INVALID ("JSON object %P does not have key %s"),
 *              or the errors of reference resolution.
 * @return the member or the target (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_obj_get_base(KelJson *json, const char *key, int deref, KelError **error);
/**
 * Looks up a member that must be an object, following a reference member.
 * @param json  the object.
 * @param key   the name.
 * @param error error slot (may be NULL): the errors of kel_json_obj_get_base()
 *              and #KEL_JSON_TYPE_INVALID for a member of another kind.
 * @return the object (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_obj_get_obj_base(KelJson *json, const char *key, KelError **error);
/**
 * Looks up a member that must be an array, following a reference member.
 * @param json  the object.
 * @param key   the name.
 * @param error error slot (may be NULL), as kel_json_obj_get_obj_base().
 * @return the array (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_obj_get_array_base(KelJson *json, const char *key, KelError **error);
/**
 * Looks up a member that must be a string, following a reference member.
 * @param json  the object.
 * @param key   the name.
 * @param error error slot (may be NULL), as kel_json_obj_get_obj_base().
 * @return the string's text (borrowed from the value, not a copy), or NULL.
 */
KEL_API const char *kel_json_obj_get_str_base(KelJson *json, const char *key, KelError **error);
/**
 * Looks up a member that must be a reference; the reference is not followed.
 * @param json  the object.
 * @param key   the name.
 * @param error error slot (may be NULL), as kel_json_obj_get_obj_base().
 * @return the reference value (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_obj_get_jref_base(KelJson *json, const char *key, KelError **error);
/**
 * Get or create: returns the member object, or puts a new empty object under
 * @p key when the member is missing, is not an object (it is replaced and
 * released) or is a reference that cannot be followed.
 * @param json  the object.
 * @param key   the name.
 * @param error error slot (may be NULL): the errors of
 *              kel_json_obj_put_base() (the lookup reports nothing).
 * @return the existing or new object (borrowed, owned by @p json), or NULL.
 */
KEL_API KelJson *kel_json_obj_getd_obj_base(KelJson *json, const char *key, KelError **error);

/**
 * @name Put family of objects
 * Each function makes a new value, puts it under @p key with
 * kel_json_obj_put_base() and returns it borrowed (the object owns it). On
 * failure it frees the value it made and returns NULL. The errors are those
 * of kel_json_obj_put_base() and, for strings and references, of the
 * constructor (#KEL_JSON_ARG_INVALID for a NULL text or invalid UTF-8).
 * @{
 */
/** Puts a new empty object.
 *  @param json the object. @param key the name, copied.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_obj_base(KelJson *json, const char *key, KelError **error);
/** Puts a new string.
 *  @param json the object. @param key the name, copied.
 *  @param value NUL-terminated text, copied.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_str_base(KelJson *json, const char *key, const char *value,
                                           KelError **error);
/** Puts a new string made from @p len bytes, refused when they hold a NUL
 *  byte or invalid UTF-8 (see kel_json_str_new_len_base()).
 *  @param json the object. @param key the name, copied.
 *  @param value the bytes, copied. @param len their number.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_str_len_base(KelJson *json, const char *key, const char *value,
                                               gsize len, KelError **error);
/** Puts a new true or false.
 *  @param json the object. @param key the name, copied.
 *  @param value non-zero for true.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_bool_base(KelJson *json, const char *key, gboolean value,
                                            KelError **error);
/** Puts a new double.
 *  @param json the object. @param key the name, copied. @param value the number.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_double_base(KelJson *json, const char *key, double value,
                                              KelError **error);
/** Puts a new int64.
 *  @param json the object. @param key the name, copied. @param value the number.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_i64_base(KelJson *json, const char *key, gint64 value,
                                           KelError **error);
/** Puts a new uint64.
 *  @param json the object. @param key the name, copied. @param value the number.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_u64_base(KelJson *json, const char *key, guint64 value,
                                           KelError **error);
/** Puts a new uint128.
 *  @param json the object. @param key the name, copied. @param value the number.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_u128_base(KelJson *json, const char *key, KelUint128 value,
                                            KelError **error);
/** Puts a new reference.
 *  @param json the object. @param key the name, copied.
 *  @param uri the URI, copied.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_jref_base(KelJson *json, const char *key, const char *uri,
                                            KelError **error);
/** Puts a new null.
 *  @param json the object. @param key the name, copied.
 *  @param error error slot (may be NULL). @return the new member, or NULL. */
KEL_API KelJson *kel_json_obj_put_null_base(KelJson *json, const char *key, KelError **error);
/** @} */

/* ---- Arrays ------------------------------------------------------------- */

/** Callback of kel_json_array_filter().
 *  @param elem the element (borrowed).
 *  @param data the caller's pointer.
 *  @return TRUE to keep the element. */
typedef gboolean (*KelJsonArrayFilterFunc)(KelJson *elem, gpointer data);

/**
 * Makes an empty array.
 * @param reserved initial capacity (0 or less: none).
 * @param borrow   FALSE for a normal (owning) array; TRUE for a borrowing
 *                 one that counts its elements but never sets their parent.
 * @return a new array (count 0, owned by the caller).
 */
KEL_API KelJson *kel_json_array_new_base(int reserved, gboolean borrow) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Appends a value.
 * @param json  the array.
 * @param value the value; the array takes a reference. Not consumed on
 *              failure.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID,
 *              #KEL_JSON_TYPE_INVALID (not an array) or #KEL_JSON_CHILD_OWNED
 *              (@p value already has a parent, or is @p json or one of its
 *              ancestors).
 * @return TRUE on success; on FALSE the caller still owns @p value.
 */
KEL_API gboolean kel_json_array_push_base(KelJson *json, KelJson *value, KelError **error);
/** @param json a value (may be NULL). @return the number of elements, or -1
 *  for NULL or a non-array. */
KEL_API int kel_json_array_size(const KelJson *json);
/**
 * Removes and releases the last @p count elements (fewer when the array is
 * shorter).
 * @param json  the array.
 * @param count number to remove; 0 or less removes nothing.
 * @return the number removed, or -1 for NULL or a non-array.
 */
KEL_API int kel_json_array_pop(KelJson *json, int count);
/**
 * Looks an element up; a negative index counts from the end (-1 is the last).
 * @param json  the array.
 * @param index the position.
 * @param deref lowest bit set: a reference element is followed as in
 *              kel_json_obj_get_base() (NULL, without a new error, when the
 *              slot already holds one).
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID,
 *              #KEL_JSON_TYPE_INVALID, #KEL_JSON_INDEX_INVALID ("Index %d is
 *              out of bounds for JSON array %P", with the adjusted index), or
 *              the errors of reference resolution.
 * @return the element or the target (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_array_get_base(KelJson *json, int index, int deref, KelError **error);
/**
 * Puts @p elem in place of the element at @p index and hands the former
 * element back: it comes out without parent and with its count one lower
 * (0 when only the array held it), and the caller must release it with
 * kel_json_unref() or put it elsewhere.
 * @param json  the array.
 * @param index the position; negative counts from the end.
 * @param elem  the new element; the array takes a reference.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID (NULL
 *              @p json, named "array", or @p elem), #KEL_JSON_TYPE_INVALID,
 *              #KEL_JSON_CHILD_OWNED, #KEL_JSON_INDEX_INVALID.
 * @return the former element (owned by the caller now), or NULL with nothing
 *         changed.
 */
KEL_API KelJson *kel_json_array_swap(KelJson *json, int index, KelJson *elem, KelError **error) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Keeps the elements for which @p keep answers TRUE, in their order, and
 * releases the others. The callback is called once per element, in order,
 * and must not change the array.
 * @param json the array (NULL or a non-array gives FALSE).
 * @param keep the callback (NULL gives FALSE).
 * @param data passed to the callback.
 * @return TRUE when the array was filtered.
 */
KEL_API gboolean kel_json_array_filter(KelJson *json, KelJsonArrayFilterFunc keep, gpointer data);
/**
 * Takes the last element out and hands it to the caller, without parent and
 * with its count one lower (0 when only the array held it).
 * @param json the array (NULL, a non-array or an empty array gives NULL).
 * @return the former last element, owned by the caller (kel_json_unref()),
 *         or NULL.
 */
KEL_API KelJson *kel_json_array_pop_elem(KelJson *json);
/**
 * Sorts the elements in place and renumbers them.
 * @param json    the array (NULL or a non-array gives FALSE).
 * @param compare GLib compare function receiving two `KelJson **` (GLib's
 *                pointer-array convention); NULL gives FALSE.
 * @return TRUE when sorted.
 */
KEL_API gboolean kel_json_array_sort(KelJson *json, GCompareFunc compare);
/**
 * Puts a new empty array under @p key (see the put family of objects).
 * @param json  the object.
 * @param key   the name, copied.
 * @param error error slot (may be NULL): the errors of kel_json_obj_put_base().
 * @return the new member (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_obj_put_array_base(KelJson *json, const char *key, KelError **error);
/**
 * Get or create for arrays: returns the member array, or puts a new empty
 * array under @p key when the member is missing, of another kind (replaced)
 * or an unresolvable reference.
 * @param json  the object.
 * @param key   the name.
 * @param error error slot (may be NULL): the errors of kel_json_obj_put_base().
 * @return the existing or new array (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_obj_getd_array_base(KelJson *json, const char *key, KelError **error);

/**
 * @name Push family of arrays
 * Each function makes a new value, appends it with kel_json_array_push_base()
 * and returns it borrowed (the array owns it). On failure it frees the value
 * it made and returns NULL with the errors of kel_json_array_push_base() (or
 * of the string constructor). There is no push for null, references or
 * strings with a length: make the value and use kel_json_array_push_base().
 * @{
 */
/** Appends a new empty array.
 *  @param json the array. @param error error slot (may be NULL).
 *  @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_array_base(KelJson *json, KelError **error);
/** Appends a new empty object.
 *  @param json the array. @param error error slot (may be NULL).
 *  @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_obj_base(KelJson *json, KelError **error);
/** Appends a new true or false.
 *  @param json the array. @param value non-zero for true.
 *  @param error error slot (may be NULL). @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_bool_base(KelJson *json, gboolean value, KelError **error);
/** Appends a new double.
 *  @param json the array. @param value the number.
 *  @param error error slot (may be NULL). @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_double_base(KelJson *json, double value, KelError **error);
/** Appends a new int64.
 *  @param json the array. @param value the number.
 *  @param error error slot (may be NULL). @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_i64_base(KelJson *json, gint64 value, KelError **error);
/** Appends a new uint64.
 *  @param json the array. @param value the number.
 *  @param error error slot (may be NULL). @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_u64_base(KelJson *json, guint64 value, KelError **error);
/** Appends a new uint128.
 *  @param json the array. @param value the number.
 *  @param error error slot (may be NULL). @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_u128_base(KelJson *json, KelUint128 value, KelError **error);
/** Appends a new string.
 *  @param json the array. @param value NUL-terminated text, copied.
 *  @param error error slot (may be NULL). @return the new element, or NULL. */
KEL_API KelJson *kel_json_array_push_str_base(KelJson *json, const char *value, KelError **error);
/** @} */

/* ---- Typed access and numeric coercion ---------------------------------- */

/**
 * @name Range predicates
 * With @p convert FALSE each is a plain kind test. With @p convert TRUE each
 * tells whether the value, of any number kind, can be read exactly as the
 * target kind (a double must be integral and in range for the integer kinds;
 * an integer must lie within ±2^53 for double). Non-numbers and NULL give
 * FALSE.
 * @{
 */
/** @param json a value (may be NULL). @param convert see above.
 *  @return TRUE when it is (or fits) int64. */
KEL_API gboolean kel_json_is_i64_ext(const KelJson *json, gboolean convert);
/** @param json a value (may be NULL). @param convert see above.
 *  @return TRUE when it is (or fits) uint64. */
KEL_API gboolean kel_json_is_u64_ext(const KelJson *json, gboolean convert);
/** @param json a value (may be NULL). @param convert see above; a double must
 *  lie below 2^64. @return TRUE when it is (or fits) uint128. */
KEL_API gboolean kel_json_is_u128_ext(const KelJson *json, gboolean convert);
/** @param json a value (may be NULL). @param convert see above.
 *  @return TRUE when it is (or fits exactly) a double. */
KEL_API gboolean kel_json_is_double_ext(const KelJson *json, gboolean convert);
/** @} */

/**
 * @name Typed number and boolean lookups
 * Each looks the member up with kel_json_obj_get_base() and `deref` 1
 * (reference members are followed) and returns its value when it fits the
 * requested kind exactly (any number kind is accepted when its value fits).
 * Otherwise it pushes #KEL_JSON_TYPE_INVALID ("%s: invalid JSON type for %P:
 * expected %s, got %s", naming the kind actually stored) and returns 0 (zero,
 * 0.0, FALSE); the lookup's own errors (#KEL_JSON_ARG_INVALID,
 * #KEL_JSON_TYPE_INVALID, #KEL_JSON_KEY_INVALID, reference errors) pass
 * through. Check the slot to tell a stored 0 from a failure.
 * @{
 */
/** @param json the object. @param key the name.
 *  @param error error slot (may be NULL). @return the member as int64, or 0. */
KEL_API gint64 kel_json_obj_get_i64_base(KelJson *json, const char *key, KelError **error);
/** @param json the object. @param key the name.
 *  @param error error slot (may be NULL). @return the member as uint64, or 0. */
KEL_API guint64 kel_json_obj_get_u64_base(KelJson *json, const char *key, KelError **error);
/** @param json the object. @param key the name.
 *  @param error error slot (may be NULL). @return the member as uint128, or
 *  zero. */
KEL_API KelUint128 kel_json_obj_get_u128_base(KelJson *json, const char *key, KelError **error);
/** @param json the object. @param key the name.
 *  @param error error slot (may be NULL). @return the member as double, or
 *  0.0. */
KEL_API double kel_json_obj_get_double_base(KelJson *json, const char *key, KelError **error);
/** Only true and false are accepted ("expected bool, got %s" otherwise).
 *  @param json the object. @param key the name.
 *  @param error error slot (may be NULL). @return the member's truth, or
 *  FALSE. */
KEL_API gboolean kel_json_obj_get_bool_base(KelJson *json, const char *key, KelError **error);
/** @} */

/* ---- Copying and tree surgery ------------------------------------------- */

/**
 * Makes a deep copy. References are copied as references; a borrowing
 * container is copied as an owning one. Members keep their order.
 * @param json the value (may be NULL: result NULL).
 * @return a new value (count 0, no parent, owned by the caller), or NULL.
 */
KEL_API KelJson *kel_json_copy(KelJson *json) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Detaches a value from its parent. An array's last element is popped;
 * another element is replaced by a new null, so the positions of the others
 * stay. The value ends without parent and with its count one lower: at 0 the
 * caller now owns it and must put it somewhere or kel_json_unref() it.
 * @param json the value (NULL gives FALSE; no parent: TRUE, nothing changes).
 * @return TRUE on success.
 */
KEL_API gboolean kel_json_make_orphan_base(KelJson *json);
/**
 * Puts @p new_child in the place (key or index) of @p old_child in its
 * parent. @p old_child is not released: it ends without parent and with its
 * count one lower, and the caller owns it. Nothing happens when
 * @p old_child has no parent.
 * @param old_child the value to replace.
 * @param new_child the replacement, without parent; the parent takes a
 *                  reference.
 * @param error     error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID
 *                  (a NULL argument), and the errors of
 *                  kel_json_array_swap() or kel_json_obj_put_base() (for
 *                  example #KEL_JSON_CHILD_OWNED).
 * @return TRUE on success; on FALSE nothing changed.
 */
KEL_API gboolean kel_json_swap_child_base(KelJson *old_child, KelJson *new_child, KelError **error);
/**
 * Places a value at an index: appends at the length, replaces (and
 * releases) an existing element, and with @p fill first fills the gap up to
 * @p index with deep copies of @p fill. There is no bound on the gap: the
 * caller chooses @p index.
 * @param json  the array.
 * @param index the position; negative counts from the end.
 * @param value the value; the array takes a reference.
 * @param fill  value copied into the gap (may be NULL: an index beyond the
 *              length fails); not consumed.
 * @param error error slot (may be NULL): the errors of
 *              kel_json_array_push_base() and kel_json_array_swap()
 *              (#KEL_JSON_INDEX_INVALID without @p fill).
 * @return TRUE on success. Fill copies appended before a failure stay.
 */
KEL_API gboolean kel_json_array_put_ext(KelJson *json, int index, KelJson *value, KelJson *fill,
                                        KelError **error);

/* ---- Union and subset --------------------------------------------------- */

/** Flags of kel_json_subset(); they pass into every nested comparison. */
enum {
    /** Arrays: the left's elements must be a contiguous run of the right's
     *  (otherwise an ordered subsequence). */
    KEL_JSON_SUBSET_ARRAY_RUN = 1,
    /** With #KEL_JSON_SUBSET_ARRAY_RUN: the run starts at the first element. */
    KEL_JSON_SUBSET_ARRAY_PREFIX = 2,
    /** With the two above: the arrays have equal length. */
    KEL_JSON_SUBSET_ARRAY_LENGTH = 4,
    /** Objects: equal member counts. */
    KEL_JSON_SUBSET_OBJ_SIZE = 8,
    /** All four: deep equality (numbers compared by value across kinds). */
    KEL_JSON_SUBSET_EQUAL = 15
};

/** Flags of kel_json_union(); they pass into every nested union. */
enum {
    /** Objects: a conflict under one name keeps the left's value instead of
     *  failing. */
    KEL_JSON_UNION_RESOLVE = 1,
    /** With #KEL_JSON_UNION_RESOLVE: the right's value wins. */
    KEL_JSON_UNION_PREFER_RIGHT = 2,
    /** Arrays: scalar elements are not paired; the left's come first. */
    KEL_JSON_UNION_APPEND_PRIMITIVES = 4,
    /** With #KEL_JSON_UNION_APPEND_PRIMITIVES: containers are not paired
     *  either (plain concatenation). */
    KEL_JSON_UNION_APPEND_CONTAINERS = 8,
    /** Change and return the left operand instead of building a new value. */
    KEL_JSON_UNION_IN_PLACE = 16
};

/**
 * Tells whether @p a is contained in @p b: same kinds (numbers by value),
 * objects member by member, arrays as an ordered subsequence unless the flags
 * ask for more. References are compared by URI, not followed.
 * @param a     left value (may be NULL).
 * @param b     right value (may be NULL); both NULL, or the same value, is
 *              TRUE.
 * @param flags KEL_JSON_SUBSET_* bits; #KEL_JSON_SUBSET_EQUAL for equality.
 * @return TRUE when contained. Never fails.
 */
KEL_API gboolean kel_json_subset(KelJson *a, KelJson *b, guint flags);
/**
 * Merges two objects (name by name, recursively) or two arrays (position by
 * position). Takes no reference on the operands.
 * @param left  left operand; NULL warns ("kel_json_union: assertion 'left'
 *              failed") and gives NULL without an error.
 * @param right right operand; NULL warns likewise.
 * @param flags KEL_JSON_UNION_* bits.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_TYPE_INVALID (a
 *              scalar operand, different kinds) or #KEL_JSON_ARG_INVALID
 *              (unequal scalars under one name or at one position, with both
 *              pointers). When the slot already holds an error, the copies
 *              of members present on one side only (and of resolved
 *              conflicts) are skipped without a new error: the result then
 *              lacks those members.
 * @return a new value owned by the caller (kel_json_unref()), or @p left
 *         itself with #KEL_JSON_UNION_IN_PLACE, or NULL (an in-place @p left
 *         keeps the changes made before the failure).
 */
KEL_API KelJson *kel_json_union(KelJson *left, KelJson *right, guint flags, KelError **error) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Finds the first element deeply equal to @p pattern (numbers by value).
 * @param json    the array (NULL or a non-array gives NULL).
 * @param pattern the value searched for.
 * @return the element (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_array_find(KelJson *json, KelJson *pattern);
/**
 * Finds the first string element equal to @p text.
 * @param json the array.
 * @param text NUL-terminated text (NULL or invalid UTF-8 finds nothing).
 * @return the element (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_array_find_str(KelJson *json, const char *text);

/* ---- Lexer -------------------------------------------------------------- */

/** Token kinds of #KelJsonLexer; the six structural tokens use their own
 *  character code ('{', '}', '[', ']', ':', ','). */
enum {
    KEL_JSON_TOKEN_EOF = 0,         /**< end of input */
    KEL_JSON_TOKEN_INVALID = -1,    /**< no valid token (after a failure) */
    KEL_JSON_TOKEN_STRING = 256,    /**< string; value.string */
    KEL_JSON_TOKEN_INTEGER = 257,   /**< integer within int64; value.integer */
    KEL_JSON_TOKEN_REAL = 258,      /**< number with fraction or exponent; value.real */
    KEL_JSON_TOKEN_TRUE = 259,      /**< the literal true */
    KEL_JSON_TOKEN_FALSE = 260,     /**< the literal false */
    KEL_JSON_TOKEN_NULL = 261,      /**< the literal null */
    KEL_JSON_TOKEN_UINT128 = 262    /**< integer outside int64; value.u128 */
};

/** Display names of the six structural tokens ("'{'", "'}'", "'['", "']'",
 *  "':'", "','"), then NULL. Read-only. */
KEL_API extern const char *const chr_strs[7];

/** Reader of a lexer source.
 *  @param data the source record given to lex_init().
 *  @return the next input byte as 0..255, or a negative value at the end or
 *          on failure. */
typedef int (*KelJsonLexGetFunc)(void *data);

/** Lexer state, one per load; exported so that loaders can be written
 *  outside the library. Set up with lex_init(); the owner frees `text`
 *  (`g_string_free(lex.text, TRUE)`) when done. */
typedef struct KelJsonLexer {
    KelJsonLexGetFunc get;  /**< the source's reader */
    void *data;             /**< the source record handed to `get` */
    char buffer[5];         /**< bytes of the character being delivered */
    gsize buffer_pos;       /**< next byte of `buffer` to deliver */
    guint8 eof;             /**< set once the source reported its end */
    guint32 line;           /**< current line, 1-based */
    guint32 column;         /**< characters read on the current line */
    guint32 last_column;    /**< `column` before the last newline */
    guint32 position;       /**< bytes delivered from the start */
    GString *text;          /**< the current token as read (owned) */
    gint32 token;           /**< the current token kind */
    /** Value of the current token, by kind. */
    union {
        gint64 integer;     /**< KEL_JSON_TOKEN_INTEGER */
        double real;        /**< KEL_JSON_TOKEN_REAL */
        /** KEL_JSON_TOKEN_STRING: decoded text inside `text`, valid until
         *  the next token. */
        struct {
            char *str;      /**< the text, NUL-terminated */
            gsize len;      /**< its length in bytes */
        } string;
        KelUint128 u128;    /**< KEL_JSON_TOKEN_UINT128 */
    } value;
    KelError **error;       /**< the caller's error slot (may be NULL) */
} KelJsonLexer;

/** Source record of kel_json_loads(). */
typedef struct KelJsonStrSource {
    const char *str;    /**< the input text */
    gint32 pos;         /**< index of the next byte */
} KelJsonStrSource;

/** Source record of kel_json_loadf(). */
typedef struct KelJsonFileSource {
    FILE *fh;           /**< the input stream */
} KelJsonFileSource;

/**
 * Sets up a lexer over a source: line 1, column 0, token
 * #KEL_JSON_TOKEN_INVALID, an empty `text` that the caller must free.
 * @param lex   the state to fill; NULL warns ("lex_init: assertion 'lex'
 *              failed").
 * @param get   the source's reader.
 * @param data  the source record, borrowed for the lexer's life.
 * @param error error slot that receives #KEL_JSON_PARSE_ERROR errors (may be
 *              NULL).
 */
KEL_API void lex_init(KelJsonLexer *lex, KelJsonLexGetFunc get, void *data, KelError **error);

/* ---- Parser ------------------------------------------------------------- */

/** Load flags of kel_json_loads() and kel_json_loadf(); other bits are
 *  ignored. */
enum {
    /** Stop after one complete value; what follows is not read. */
    KEL_JSON_LOAD_ALLOW_TRAILING = 1,
    /** A member name repeated in one object is a syntax error (otherwise the
     *  last one wins). */
    KEL_JSON_LOAD_REJECT_DUPLICATES = 2,
    /** Keep objects whose only member is "$ref" with a string value as plain
     *  objects (for documents such as JSON Schemas, where "$ref" is data).
     *  Without it each becomes a reference value. */
    KEL_JSON_LOAD_KEEP_REFS = 4
};

/** Deepest nesting of arrays and objects that the loaders accept. A deeper
 *  document fails with "Syntax error: maximum nesting depth exceeded" and a
 *  position item at the bracket that went one level too deep. */
#define KEL_JSON_MAX_DEPTH 10000

/** Bound of reference expansion (kel_json_jref_expand). A few bytes of
 * references can stand for an exponential number of values (ten arrays, each
 * holding ten references to the previous one, expand to about 10^9 values), so
 * expansion first counts the values its copies would create and refuses,
 * with nothing changed, when they would be more than the larger of
 * KEL_JSON_EXPAND_MIN_BUDGET and KEL_JSON_EXPAND_BUDGET_FACTOR times the
 * values in the document. The error is KEL_JSON_FEATURE_UNSUPPORTED with
 * "Expanding reference %P would create more than %s values", naming the
 * reference at which the count passed the budget. */
#define KEL_JSON_EXPAND_MIN_BUDGET 1000000
/** Values an expansion may create per value of the document; see
 *  #KEL_JSON_EXPAND_MIN_BUDGET. */
#define KEL_JSON_EXPAND_BUDGET_FACTOR 100

/**
 * Parses a JSON text: one value with optional white space around it; no
 * comments, trailing commas or unquoted names. An object whose only member
 * is "$ref" with a string value becomes a reference.
 * @param in    NUL-terminated text; a text of 2^31 bytes or more fails with
 *              "Syntax error: input longer than %d bytes".
 * @param flags KEL_JSON_LOAD_* bits.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID for a
 *              NULL @p in, else #KEL_JSON_PARSE_ERROR errors, each with a
 *              #KelJsonErrorDataPosition item (line, column, byte position).
 * @return a new document (count 0, owned by the caller: kel_json_unref()),
 *         or NULL.
 */
KEL_API KelJson *kel_json_loads(const char *in, int flags, KelError **error) G_GNUC_WARN_UNUSED_RESULT;
/**
 * kel_json_loads() from a stream, read from its current position; the stream
 * stays open. A number or literal at the end makes the lexer read one byte
 * past it.
 * @param fh    stream open for reading; NULL pushes #KEL_JSON_ARG_INVALID.
 * @param flags KEL_JSON_LOAD_* bits.
 * @param error error slot (may be NULL), as kel_json_loads().
 * @return a new document owned by the caller, or NULL.
 */
KEL_API KelJson *kel_json_loadf(FILE *fh, int flags, KelError **error) G_GNUC_WARN_UNUSED_RESULT;

/* ---- String escaping ---------------------------------------------------- */

/**
 * Appends the body of a JSON string literal (no quotes): '"', '\\' and
 * control characters are escaped, everything else is copied.
 * @param str NUL-terminated UTF-8 text (NULL gives -1).
 * @param out string to append to (NULL gives -1).
 * @return the whole length of @p out afterwards, or -1 (also for invalid
 *         UTF-8, which leaves what was appended before it). No error slot,
 *         no warning.
 */
KEL_API int kel_json_escape_str_ext(const char *str, GString *out);
/**
 * Escapes a text as kel_json_escape_str_ext() does.
 * @param str NUL-terminated UTF-8 text.
 * @return a new string owned by the caller (g_free()), or NULL for NULL or
 *         invalid UTF-8.
 */
KEL_API char *kel_json_escape_str(const char *str) G_GNUC_WARN_UNUSED_RESULT;

/* ---- Pointer text and path-aware formatting ----------------------------- */

/**
 * Appends "/" and @p key escaped as a JSON pointer token ("~" as "~0", "/" as
 * "~1").
 * @param str the pointer being built.
 * @param key the member name (NULL gives FALSE, nothing appended).
 * @return TRUE when appended.
 */
KEL_API gboolean kel_json_ptr_add_key_ext(GString *str, const char *key);
/**
 * Returns @p init followed by "/" and the escaped @p key.
 * @param init the pointer so far (NULL is read as empty).
 * @param key  the member name (NULL gives NULL).
 * @return a new string owned by the caller (g_free()), or NULL.
 */
KEL_API char *kel_json_ptr_add_key(const char *init, const char *key) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Appends the JSON pointer of a value, from its root down (nothing for a
 * root or a value without parent).
 * @param json the value (NULL gives FALSE).
 * @param str  string to append to (NULL gives FALSE).
 * @return TRUE when both arguments are given.
 */
KEL_API gboolean kel_json_ptr_ext(const KelJson *json, GString *str);
/**
 * Returns the JSON pointer of a value.
 * @param json the value (NULL gives -1).
 * @param out  receives a new string owned by the caller (g_free()); untouched
 *             on -1 (NULL gives -1).
 * @return the pointer's length in bytes (0 for a root), or -1.
 */
KEL_API gint32 kel_json_ptr(const KelJson *json, char **out);
/**
 * Appends the pointer of the position just past an array's last element.
 * @param array the array (NULL or a non-array gives FALSE).
 * @param str   string to append to.
 * @return TRUE when appended.
 */
KEL_API gboolean kel_json_ptr_build_array(const KelJson *array, GString *str);
/**
 * Appends the pointer of an object followed by "/" and @p key, not escaped.
 * @param obj the object (NULL or a non-object gives FALSE).
 * @param key the member name (must not be NULL).
 * @param str string to append to.
 * @return TRUE when appended.
 */
KEL_API gboolean kel_json_ptr_build_obj(const KelJson *obj, const char *key, GString *str);

/**
 * @name Path-aware formatting
 * printf-like formatting with one extra conversion, `%P`, which takes a
 * `KelJson *` and prints its JSON pointer in double quotes ("" for a root or
 * NULL). Only `%P`, `%d` (an int) and `%s` (a string) take an argument;
 * flags, width and precision apply to `%d` and `%s`, and `%%` prints "%".
 * Every other conversion (`%u`, `%lu`, `%x`, `%f`, ...) is copied to the
 * output as written and takes NO argument, so the arguments after it are
 * misaligned: do not use them, nor `*` widths or length modifiers.
 * @{
 */
/** Appends formatted text.
 *  @param str  string to append to; NULL warns ("kel_json_ptr_vprintf:
 *              assertion 'str' failed") and gives -1.
 *  @param fmt  the format; NULL warns and gives -1.
 *  @param args the arguments.
 *  @return the number of bytes appended, or -1. */
KEL_API gint32 kel_json_ptr_vprintf(GString *str, const char *fmt, va_list args);
/** Appends formatted text.
 *  @param str string to append to (NULL warns, -1).
 *  @param fmt the format (NULL warns, -1).
 *  @param ... the arguments.
 *  @return the number of bytes appended, or -1. */
KEL_API gint32 kel_json_ptr_printf(GString *str, const char *fmt, ...);
/** Formats into a new string.
 *  @param out receives a new string owned by the caller (g_free()), also
 *             (empty) when @p fmt is NULL; NULL warns with 'str' and gives -1.
 *  @param fmt the format.
 *  @param ... the arguments.
 *  @return the length of the text, or -1. */
KEL_API gint32 kel_json_ptr_aprintf(char **out, const char *fmt, ...);
/** Pushes an error of the JSON domain whose message is formatted as above
 *  (the text is not formatted a second time, so a "%" in a key stays).
 *  @param err  error slot (NULL: nothing is formatted or pushed).
 *  @param code a #KelJsonErrorCode.
 *  @param fmt  the format.
 *  @param ...  the arguments. */
KEL_API void kel_json_set_error(KelError **err, gint code, const char *fmt, ...);
/** @} */

/* ---- Pointer navigation ------------------------------------------------- */

/**
 * Finds the value a JSON pointer names (RFC 6901; a leading "#" is
 * accepted; negative indices count from the end; references on the way are
 * not followed).
 * @param root  the value the pointer starts from.
 * @param ptr   the pointer ("" or "#" names @p root).
 * @param error error slot (may be NULL). Pushes #KEL_JSON_ARG_INVALID (NULL
 *              argument), #KEL_JSON_FEATURE_UNSUPPORTED (no leading "/"),
 *              #KEL_JSON_POINTER_INVALID (bad "~" escape),
 *              #KEL_JSON_TYPE_INVALID, #KEL_JSON_KEY_INVALID,
 *              #KEL_JSON_INDEX_INVALID. Gives NULL without a new error at the
 *              first step when the slot already holds one.
 * @return the value (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_ptr_get_base(KelJson *root, const char *ptr, KelError **error);
/** The most values that filling a gap may create in one put: the gap (the
 * positions between the array's end and the index) times the values in each
 * copy (those of `fill` in the final step, one empty container per copy for
 * a non-strict intermediate step). A put that would create more fails, with
 * nothing changed at that step, with KEL_JSON_INDEX_INVALID and
 * "Index %d is out of bounds for JSON array %P". */
#define KEL_JSON_PUT_FILL_MAX_VALUES 1048576

/**
 * Puts a value at a JSON pointer, creating missing containers on the way (an
 * array when the next token is an index or "-", else an object). "-" appends;
 * an index equal to the length appends; an existing member or element is
 * replaced. No leading "#" is accepted.
 * @param root   the document.
 * @param ptr    the pointer, not empty.
 * @param elem   the value; its new container takes a reference. Not consumed
 *               on failure.
 * @param strict FALSE: a gap before an index in an intermediate step is
 *               filled with empty containers.
 * @param fill   value copied into a gap before the final index (may be
 *               NULL: such an index fails). Filling is bounded by
 *               #KEL_JSON_PUT_FILL_MAX_VALUES; a larger gap
 *               fails with #KEL_JSON_INDEX_INVALID.
 * @param error  error slot (may be NULL): the errors of
 *               kel_json_ptr_get_base(), #KEL_JSON_CHILD_OWNED and the
 *               insertion errors. Gives FALSE without a new error in some
 *               steps when the slot already holds one.
 * @return TRUE on success. On failure, containers already linked into the
 *         document stay (empty or partly built); the caller still owns
 *         @p elem.
 */
KEL_API gboolean kel_json_ptr_put_base(KelJson *root, const char *ptr, KelJson *elem,
                                       gboolean strict, KelJson *fill, KelError **error);
/**
 * @name Pointer put family
 * Each function makes a new value, puts it with kel_json_ptr_put_base()
 * (strict, no fill) and returns it borrowed (the document owns it). On
 * failure, or when the slot already holds an error, it frees the value and
 * returns NULL. There is no put for null.
 * @{
 */
/** Puts a new empty array.
 *  @param root the document. @param ptr the pointer.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_array_base(KelJson *root, const char *ptr, KelError **error);
/** Puts a new empty object.
 *  @param root the document. @param ptr the pointer.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_obj_base(KelJson *root, const char *ptr, KelError **error);
/** Puts a new true or false.
 *  @param root the document. @param ptr the pointer. @param value non-zero for
 *  true. @param error error slot (may be NULL). @return the new value, or
 *  NULL. */
KEL_API KelJson *kel_json_ptr_put_bool_base(KelJson *root, const char *ptr, gboolean value,
                                            KelError **error);
/** Puts a new double.
 *  @param root the document. @param ptr the pointer. @param value the number.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_double_base(KelJson *root, const char *ptr, double value,
                                              KelError **error);
/** Puts a new uint64.
 *  @param root the document. @param ptr the pointer. @param value the number.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_u64_base(KelJson *root, const char *ptr, guint64 value,
                                           KelError **error);
/** Puts a new int64.
 *  @param root the document. @param ptr the pointer. @param value the number.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_i64_base(KelJson *root, const char *ptr, gint64 value,
                                           KelError **error);
/** Puts a new uint128.
 *  @param root the document. @param ptr the pointer. @param value the number.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_u128_base(KelJson *root, const char *ptr, KelUint128 value,
                                            KelError **error);
/** Puts a new string.
 *  @param root the document. @param ptr the pointer.
 *  @param value NUL-terminated text, copied.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_str_base(KelJson *root, const char *ptr, const char *value,
                                           KelError **error);
/** Puts a new reference.
 *  @param root the document. @param ptr the pointer. @param uri the URI, copied.
 *  @param error error slot (may be NULL). @return the new value, or NULL. */
KEL_API KelJson *kel_json_ptr_put_jref_base(KelJson *root, const char *ptr, const char *uri,
                                            KelError **error);
/** @} */

/* ---- Visitor ------------------------------------------------------------ */

/** Answers of the visitor's callbacks. */
enum {
    /** Go on. */
    KEL_JSON_VISIT_CONTINUE = 0,
    /** Skip the rest of the current container (from on_obj/on_array: the
     *  whole container); travels one level only. */
    KEL_JSON_VISIT_SKIP = 1,
    /** Stop the walk; open containers still get their end callbacks; the walk
     *  succeeds. */
    KEL_JSON_VISIT_STOP = 2,
    /** Abort at once; no further callback; the walk fails. */
    KEL_JSON_VISIT_ABORT = 3
};

/** Callbacks of kel_json_visit(). Every slot may be NULL (as if it answered
 *  #KEL_JSON_VISIT_CONTINUE). Each callback receives borrowed values and the
 *  `data` given to kel_json_visit(), and answers a KEL_JSON_VISIT_* code. For
 *  a member V of a container C the order is: C's obj_member/array_elem, then
 *  on_value(V), then V's own handling. Callbacks must not change the
 *  containers being walked. */
typedef struct KelJsonVisitor {
    /** Every value: the root, then each member or element. */
    int (*on_value)(KelJson *value, gpointer data);
    /** An object, before anything else is done with it. */
    int (*on_obj)(KelJson *obj, gpointer data);
    /** An array, before anything else is done with it. */
    int (*on_array)(KelJson *array, gpointer data);
    /** A string, with its text. */
    int (*on_str)(KelJson *value, const char *str, gpointer data);
    /** An int64. */
    int (*on_i64)(KelJson *value, gint64 i64, gpointer data);
    /** A uint64. */
    int (*on_u64)(KelJson *value, guint64 u64, gpointer data);
    /** A uint128. */
    int (*on_u128)(KelJson *value, KelUint128 u128, gpointer data);
    /** A double. */
    int (*on_double)(KelJson *value, double d, gpointer data);
    /** A reference, with its URI; the target is not visited. */
    int (*on_jref)(KelJson *value, const char *uri, gpointer data);
    /** true or false. */
    int (*on_bool)(KelJson *value, gboolean b, gpointer data);
    /** null. */
    int (*on_null)(KelJson *value, gpointer data);
    /** An object, after its key list is made, before its first member. */
    int (*obj_begin)(KelJson *obj, gpointer data);
    /** An object, after its members. */
    int (*obj_end)(KelJson *obj, gpointer data);
    /** Each member; `first` is TRUE for the first name of the key list. */
    int (*obj_member)(KelJson *obj, const char *key, KelJson *member, gboolean first,
                      gpointer data);
    /** Member order of an object: returns a new list of its member names,
     *  which the walk frees (kel_json_alpha_keys() fits). NULL: insertion
     *  order. */
    KelStrArray *(*obj_keys)(KelJson *obj, gpointer data);
    /** An array, before its first element. */
    int (*array_begin)(KelJson *array, gpointer data);
    /** An array, after its elements. */
    int (*array_end)(KelJson *array, gpointer data);
    /** Each element, with its index. */
    int (*array_elem)(KelJson *array, int index, KelJson *elem, gpointer data);
} KelJsonVisitor;

/**
 * Walks a value depth-first, calling the visitor's callbacks. The walk takes
 * no references and uses no native recursion.
 * @param json    the value to walk (any value); NULL warns
 *                ("kel_json_visit: assertion 'json' failed") and gives FALSE.
 * @param visitor the callbacks; NULL warns and gives FALSE.
 * @param data    passed to every callback.
 * @return FALSE when a callback answered #KEL_JSON_VISIT_ABORT; TRUE
 *         otherwise (also after a stop or skip).
 */
KEL_API gboolean kel_json_visit(KelJson *json, const KelJsonVisitor *visitor, gpointer data);

/* ---- Serializer --------------------------------------------------------- */

/** Dump flags; other bits have no effect. */
enum {
    /** uint128 values as decimal digits in double quotes. */
    KEL_JSON_DUMP_U128_STR = 2,
    /** Members in byte order of their names (otherwise insertion order). */
    KEL_JSON_DUMP_SORTED = 4,
    /** Line feeds, two blanks per level, a blank after each colon. */
    KEL_JSON_DUMP_PRETTY = 8,
    /** Doubles in the shortest text that reads back to the same double
     *  (bit for bit, subnormals and -0.0 included), written as a double
     *  ("1.0"). This is the lossless choice. Without it doubles are written
     *  as C's "%f" (six decimals: 1e-7 becomes 0.000000). Either way the
     *  decimal point is '.' whatever the locale, and a NaN or an infinity
     *  makes the dump fail (FALSE, partial output) since JSON cannot
     *  spell them. */
    KEL_JSON_DUMP_REAL_ROUNDTRIP = 256
};

/** State shared by the dump callbacks of one dump (internal to the
 *  serializer; exported for its layout only). */
typedef struct KelJsonDumper {
    guint32 flags;          /**< KEL_JSON_DUMP_* bits */
    gint32 indent;          /**< current indentation in blanks */
    /** The sink's formatted output; answers a KEL_JSON_VISIT_* code. */
    int (*print)(void *out, const char *fmt, ...);
    /** Writes a quoted, escaped string; answers a KEL_JSON_VISIT_* code. */
    int (*write_str)(void *out, const char *str);
    void *out;              /**< the sink */
} KelJsonDumper;

/** The file sink of kel_json_fdump() (exported for its layout only). */
typedef struct KelJsonFileSink {
    FILE *file;             /**< the caller's stream */
    GString *scratch;       /**< escaping buffer owned by the dump */
} KelJsonFileSink;

/**
 * Appends a value as JSON text: compact by default; see the KEL_JSON_DUMP_*
 * flags. No line feed precedes or follows the text.
 * @param root   the value (any value); NULL warns ("kel_json_sdump_ext:
 *               assertion 'root' failed") and gives FALSE.
 * @param out    string to append to; NULL warns and gives FALSE.
 * @param flags  KEL_JSON_DUMP_* bits.
 * @param indent pretty mode: the starting indentation in blanks, added to
 *               every line after the first so that the text can be embedded
 *               at that column. It is not the width of a level, which is
 *               always 2.
 * @return TRUE when the whole value was written. FALSE for a member name or
 *         reference URI that is not valid UTF-8, or a NaN or infinite double;
 *         what was appended before the failure stays. No error slot.
 */
KEL_API gboolean kel_json_sdump_ext(KelJson *root, GString *out, guint32 flags, gint32 indent);
/**
 * Dumps a value into a new string (starting indentation 0).
 * @param root  the value; NULL warns and gives FALSE.
 * @param out   receives a new string owned by the caller (g_free()), or NULL
 *              on failure; NULL warns and gives FALSE.
 * @param flags KEL_JSON_DUMP_* bits.
 * @return TRUE when the whole value was written.
 */
KEL_API gboolean kel_json_sdump(KelJson *root, char **out, guint32 flags);
/**
 * Writes a value to a stream, as kel_json_sdump_ext() does; the stream is
 * neither flushed nor closed.
 * @param root   the value; NULL warns and gives FALSE.
 * @param out    the stream; NULL warns and gives FALSE.
 * @param flags  KEL_JSON_DUMP_* bits.
 * @param indent the starting indentation in blanks (not the level width).
 * @return TRUE when the whole value was written; FALSE also on a write
 *         error (partial output stays in the stream).
 */
KEL_API gboolean kel_json_fdump(KelJson *root, FILE *out, guint32 flags, gint32 indent);

/* ---- References --------------------------------------------------------- */

/**
 * Resolves one step: the value the reference's URI names, read as a JSON
 * pointer from the root of the reference's document.
 * @param json  a reference; NULL or another kind pushes #KEL_JSON_TYPE_INVALID.
 * @param error error slot (may be NULL): the errors of
 *              kel_json_ptr_get_base(); a URI that names another document
 *              (a scheme such as "http:", or text before its "#") pushes
 *              #KEL_JSON_FEATURE_UNSUPPORTED "external references are not
 *              supported: URI", and so do deref and expand. Gives NULL without a new error when
 *              the slot already holds one.
 * @return the target (borrowed; may itself be a reference), or NULL.
 */
KEL_API KelJson *kel_json_jref_resolve_base(KelJson *json, KelError **error);
/**
 * Follows a chain of references to the first value that is not a reference.
 * @param json  a reference; NULL or another kind pushes #KEL_JSON_TYPE_INVALID.
 * @param error error slot (may be NULL): the errors of
 *              kel_json_jref_resolve_base() and #KEL_JSON_CIRCULAR_JREF
 *              ("Circular reference to JSON element %P"). Gives NULL without
 *              a new error when the slot already holds one.
 * @return the target (borrowed), or NULL.
 */
KEL_API KelJson *kel_json_jref_deref_base(KelJson *json, KelError **error);
/**
 * Replaces every reference under @p root (and inside the targets it reaches)
 * by a deep copy of its target. @p root itself stays a reference if it is
 * one. The expansion first counts the values it would create and refuses,
 * with nothing changed, beyond its budget (#KEL_JSON_EXPAND_MIN_BUDGET).
 * @p root's count is the same after the call.
 * @param root  the value to expand; NULL pushes #KEL_JSON_ARG_INVALID.
 * @param error error slot (may be NULL). Pushes #KEL_JSON_CIRCULAR_JREF,
 *              #KEL_JSON_FEATURE_UNSUPPORTED (budget), and the errors of
 *              resolution; gives up without a new error when the slot
 *              already holds one.
 * @return TRUE when every reference was replaced. After a failure in the
 *         replacing phase the document may be partly expanded.
 */
KEL_API gboolean kel_json_jref_expand(KelJson *root, KelError **error);

/* ---- JSON Patch and JSON Merge Patch ------------------------------------- */

/** Bound of the values that the copy operations of one JSON Patch may create.
 * Each copy can double the document, so a short patch could otherwise ask
 * for 2^1000 values. The copies of one kel_json_patch_apply call may create
 * at most the larger of KEL_JSON_PATCH_MIN_BUDGET and
 * KEL_JSON_PATCH_BUDGET_FACTOR times the values in the document before its
 * first copy operation; the copy that would pass the bound fails with
 * KEL_JSON_FEATURE_UNSUPPORTED and
 * "Patch operation %P: the patch would create more than %s values". */
#define KEL_JSON_PATCH_MIN_BUDGET 1000000
/** Values the copies of one patch may create per value of the document; see
 *  #KEL_JSON_PATCH_MIN_BUDGET. */
#define KEL_JSON_PATCH_BUDGET_FACTOR 100

/** Applies a JSON Patch (RFC 6902) to @p doc, in place and all or nothing.
 *
 * @param doc the document to change (not NULL). It stays the caller's node: no
 *   reference is taken and the node itself is never replaced. An operation
 *   whose path is "" (the whole document) therefore needs a document and a
 *   value that are both objects or both arrays; the value's members then
 *   move into doc. Any other kind fails with KEL_JSON_TYPE_INVALID and
 *   "Patch operation %P: the whole document (%s) can only be replaced by an
 *   object or array of the same type, not %s". doc may be a member of a
 *   larger tree; paths are read from doc.
 * @param patch an array of operation objects (not NULL; read only, no reference
 *   taken). Values are copied into doc, never shared with the patch.
 *   Members other than "op", "path", "from" and "value" are ignored.
 * @param error error slot (may be NULL).
 *
 * Operations are applied in order: "add", "remove", "replace", "move",
 * "copy" and "test". Paths ("path", "from") follow RFC 6901 strictly: empty,
 * or "/"-separated tokens with "~0" and "~1" as the only escapes (no
 * leading "#", no percent-decoding); an array index is "0" or decimal digits
 * without a leading zero or sign; "-" names the end of an array only as the
 * last token of the path of "add", "move" or "copy". "test" compares with
 * deep equality (kel_json_subset with KEL_JSON_SUBSET_EQUAL): member order
 * does not matter and numbers compare by value, so 1 equals 1.0. A $ref
 * value in doc is an ordinary value here: it is never followed.
 *
 * @return TRUE when every operation succeeded. On any failure doc is
 * exactly as before the call (the same nodes, values and member order:
 * changes are recorded and undone), FALSE is returned and one error is
 * pushed. Every message but the argument failures names the failing
 * operation by its pointer in patch ("/2" for the third operation; the
 * patch itself when it is not an array):
 * - doc or patch NULL: KEL_JSON_ARG_INVALID,
 *   "kel_json_patch_apply: argument check failed: doc" (or "patch").
 * - patch not an array, an operation not an object: KEL_JSON_TYPE_INVALID,
 *   "kel_json_patch_apply: invalid JSON type for %P: expected array, got %s"
 *   (or "expected object").
 * - malformed operation, KEL_JSON_ARG_INVALID: "Patch operation %P: missing
 *   member %s", "Patch operation %P: member %s is not a string",
 *   "Patch operation %P: unknown operation %s".
 * - a path or from that is not a valid pointer, or a token that is not an
 *   index where an array is met: KEL_JSON_POINTER_INVALID,
 *   "Patch operation %P: %s \"%s\" is not a valid JSON pointer: %s"
 *   (member name, pointer text, reason).
 * - a place that does not exist: "Patch operation %P: %s \"%s\" does not
 *   exist: " followed by "JSON object %P does not have key %s"
 *   (KEL_JSON_KEY_INVALID), "index %s is out of bounds for JSON array %P"
 *   (KEL_JSON_INDEX_INVALID) or "%P is of type %s" (a scalar or reference
 *   on the way, KEL_JSON_TYPE_INVALID).
 * - a failed test: KEL_JSON_ARG_INVALID, "Patch operation %P: test failed:
 *   the value at \"%s\" is not equal to the expected value" (the code that
 *   kel_json_union uses for unequal values).
 * - a move into its own child: KEL_JSON_ARG_INVALID, "Patch operation %P:
 *   cannot move \"%s\" into its own child \"%s\""; removing the path "":
 *   KEL_JSON_ARG_INVALID, "Patch operation %P: cannot remove the whole
 *   document".
 * - the copy budget above, the whole-document rule above.
 * Each operation costs time linear in its path, its value and, for arrays,
 * the array's length. */
KEL_API gboolean kel_json_patch_apply(KelJson *doc, KelJson *patch, KelError **error);

/** Applies a JSON Merge Patch (RFC 7386) and returns the result as a new
 * document: an object patch merges into an object target member by member
 * (recursively for object members; a null member removes the name, any
 * other value replaces it); an object patch on any other target starts from
 * an empty object; a patch that is not an object is the result (a copy).
 *
 * The result is a new tree rather than target changed in place because
 * its kind can differ from target's (a non-object patch, or an object patch
 * on an array), which an in-place change of the caller's node could not
 * express; as with kel_json_union, the operands stay untouched.
 *
 * @param target the document to patch (not NULL; read only, no reference taken).
 * @param patch the merge patch (not NULL; read only, no reference taken).
 * @param error error slot (may be NULL).
 *
 * @return a new value (count 0, no parent) made of copies, sharing nothing
 * with target or patch, which the caller releases with kel_json_unref; or
 * NULL when target or patch is NULL (KEL_JSON_ARG_INVALID,
 * "kel_json_merge_patch: argument check failed: target" or "patch"). Time
 * and memory are linear in the sizes of target and patch. */
KEL_API KelJson *kel_json_merge_patch(KelJson *target, KelJson *patch, KelError **error) G_GNUC_WARN_UNUSED_RESULT;

#ifdef __cplusplus
}
#endif

#endif /* KEL_JSON_H */
