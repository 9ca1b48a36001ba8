/* libkel: JSON documents. Values are reference counted, know their parent,
 * and every diagnostic names the JSON pointer of the value it is about. */
#ifndef KEL_JSON_H
#define KEL_JSON_H

#include <stdio.h>
#include "kel_error.h"
#include "kel_util.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Values --------------------------------------------------------------- */

typedef enum KelJsonType {
    KEL_JSON_NULL = 0,
    KEL_JSON_OBJECT = 1,
    KEL_JSON_ARRAY = 2,
    KEL_JSON_INT64 = 3,
    KEL_JSON_UINT64 = 4,
    KEL_JSON_UINT128 = 5,
    KEL_JSON_DOUBLE = 6,
    KEL_JSON_STRING = 7,
    KEL_JSON_TRUE = 8,
    KEL_JSON_FALSE = 9,
    KEL_JSON_JREF = 10
} KelJsonType;

/* Set on objects and arrays made as borrowing containers. */
#define KEL_JSON_FLAG_BORROW 2

/* One JSON value. Null and boolean nodes are allocated without the payload;
 * uint128 nodes are the only ones that carry two payload words. */
struct KelJson {
    guint16 type;        /* a KelJsonType */
    guint16 flags;       /* KEL_JSON_FLAG_BORROW or 0 */
    gint32 refcount;     /* starts at 0 */
    KelJson *parent;     /* owning object or array, or NULL */
    union {
        char *key;       /* member name, owned by the parent's table */
        gint32 index;    /* position in the parent array */
    };
    union {
        gint64 i64;
        guint64 u64;
        KelUint128 u128;
        double d;
        char *str;
        char *uri;
        GHashTable *obj;
        GPtrArray *array;
    };
};

KEL_API int utf8_check_string(const char *s, gsize len);

KEL_API KelJson *kel_json_null_new_base(void);
KEL_API KelJson *kel_json_bool_new_base(gboolean value);
KEL_API KelJson *kel_json_i64_new_base(gint64 value);
KEL_API KelJson *kel_json_u64_new_base(guint64 value);
KEL_API KelJson *kel_json_u128_new_base(KelUint128 value);
KEL_API KelJson *kel_json_double_new_base(double value);
/* New string node (count 0, caller owns it; free with kel_json_unref) holding
 * a copy of the first `len` bytes of `value` (not NULL; need not be
 * NUL-terminated). Fails with NULL and KEL_JSON_ARG_INVALID when `value` is
 * NULL, when those bytes contain a NUL byte ("kel_json_str_new_len_base:
 * string contains a NUL byte at offset N": nothing is cut), or when they are
 * not valid UTF-8. kel_json_obj_put_str_len_base refuses the same texts. */
KEL_API KelJson *kel_json_str_new_len_base(const char *value, gsize len, KelError **error);
KEL_API KelJson *kel_json_str_new_base(const char *value, KelError **error);
KEL_API KelJson *kel_json_jref_new_base(const char *uri, KelError **error);
KEL_API const char *kel_json_jref_uri(const KelJson *json);

KEL_API void kel_json_ref(KelJson *json);
KEL_API void kel_json_unref(KelJson *json);
KEL_API void kel_json_delete(KelJson *json);

KEL_API gint64 kel_json_i64_get(const KelJson *json);
KEL_API guint64 kel_json_u64_get(const KelJson *json);
KEL_API KelUint128 kel_json_u128_get(const KelJson *json);
KEL_API double kel_json_double_get(const KelJson *json);
KEL_API gboolean kel_json_bool_get(const KelJson *json);
KEL_API gboolean kel_json_is_num(const KelJson *json);
KEL_API gboolean kel_json_is_int(const KelJson *json);
KEL_API gboolean kel_json_is_bool(const KelJson *json);

KEL_API const char *kel_json_enum_type_string(guint32 type, gboolean exact);
KEL_API const char *kel_json_type_string(const KelJson *json, gboolean exact);
KEL_API const char *kel_json_parent_key(const KelJson *json);
KEL_API int kel_json_parent_index(const KelJson *json);

/* ---- Objects ------------------------------------------------------------ */

/* Caller-provided iterator storage over one object's members. */
typedef GHashTableIter KelJsonObjIter;

typedef gboolean (*KelJsonObjForeachFunc)(const char *key, KelJson *value, gpointer data);

KEL_API KelJson *kel_json_obj_new_base(gboolean borrow);
KEL_API gboolean kel_json_obj_put_base(KelJson *json, const char *key, KelJson *value,
                                       KelError **error);
KEL_API gboolean kel_json_obj_remove(KelJson *json, const char *key);
KEL_API int kel_json_obj_size(const KelJson *json);
KEL_API gboolean kel_json_obj_has_key(const KelJson *json, const char *key);
KEL_API gboolean kel_json_obj_iter_init(KelJsonObjIter *iter, KelJson *json);
KEL_API gboolean kel_json_obj_iter_next(KelJsonObjIter *iter, const char **key, KelJson **value);
KEL_API gboolean kel_json_obj_foreach(KelJson *json, KelJsonObjForeachFunc callback, gpointer data);
KEL_API KelStrArray *kel_json_obj_keys(KelJson *json);
KEL_API KelStrArray *kel_json_alpha_keys(KelJson *json);

KEL_API KelJson *kel_json_obj_get_base(KelJson *json, const char *key, int deref, KelError **error);
KEL_API KelJson *kel_json_obj_get_obj_base(KelJson *json, const char *key, KelError **error);
KEL_API KelJson *kel_json_obj_get_array_base(KelJson *json, const char *key, KelError **error);
KEL_API const char *kel_json_obj_get_str_base(KelJson *json, const char *key, KelError **error);
KEL_API KelJson *kel_json_obj_get_jref_base(KelJson *json, const char *key, KelError **error);
KEL_API KelJson *kel_json_obj_getd_obj_base(KelJson *json, const char *key, KelError **error);

KEL_API KelJson *kel_json_obj_put_obj_base(KelJson *json, const char *key, KelError **error);
KEL_API KelJson *kel_json_obj_put_str_base(KelJson *json, const char *key, const char *value,
                                           KelError **error);
KEL_API KelJson *kel_json_obj_put_str_len_base(KelJson *json, const char *key, const char *value,
                                               gsize len, KelError **error);
KEL_API KelJson *kel_json_obj_put_bool_base(KelJson *json, const char *key, gboolean value,
                                            KelError **error);
KEL_API KelJson *kel_json_obj_put_double_base(KelJson *json, const char *key, double value,
                                              KelError **error);
KEL_API KelJson *kel_json_obj_put_i64_base(KelJson *json, const char *key, gint64 value,
                                           KelError **error);
KEL_API KelJson *kel_json_obj_put_u64_base(KelJson *json, const char *key, guint64 value,
                                           KelError **error);
KEL_API KelJson *kel_json_obj_put_u128_base(KelJson *json, const char *key, KelUint128 value,
                                            KelError **error);
KEL_API KelJson *kel_json_obj_put_jref_base(KelJson *json, const char *key, const char *uri,
                                            KelError **error);
KEL_API KelJson *kel_json_obj_put_null_base(KelJson *json, const char *key, KelError **error);

/* ---- Arrays ------------------------------------------------------------- */

typedef gboolean (*KelJsonArrayFilterFunc)(KelJson *elem, gpointer data);

KEL_API KelJson *kel_json_array_new_base(int reserved, gboolean borrow);
KEL_API gboolean kel_json_array_push_base(KelJson *json, KelJson *value, KelError **error);
KEL_API int kel_json_array_size(const KelJson *json);
KEL_API int kel_json_array_pop(KelJson *json, int count);
KEL_API KelJson *kel_json_array_get_base(KelJson *json, int index, int deref, KelError **error);
KEL_API KelJson *kel_json_array_swap(KelJson *json, int index, KelJson *elem, KelError **error);
KEL_API gboolean kel_json_array_filter(KelJson *json, KelJsonArrayFilterFunc keep, gpointer data);
KEL_API KelJson *kel_json_array_pop_elem(KelJson *json);
KEL_API gboolean kel_json_array_sort(KelJson *json, GCompareFunc compare);
KEL_API KelJson *kel_json_obj_put_array_base(KelJson *json, const char *key, KelError **error);
KEL_API KelJson *kel_json_obj_getd_array_base(KelJson *json, const char *key, KelError **error);

KEL_API KelJson *kel_json_array_push_array_base(KelJson *json, KelError **error);
KEL_API KelJson *kel_json_array_push_obj_base(KelJson *json, KelError **error);
KEL_API KelJson *kel_json_array_push_bool_base(KelJson *json, gboolean value, KelError **error);
KEL_API KelJson *kel_json_array_push_double_base(KelJson *json, double value, KelError **error);
KEL_API KelJson *kel_json_array_push_i64_base(KelJson *json, gint64 value, KelError **error);
KEL_API KelJson *kel_json_array_push_u64_base(KelJson *json, guint64 value, KelError **error);
KEL_API KelJson *kel_json_array_push_u128_base(KelJson *json, KelUint128 value, KelError **error);
KEL_API KelJson *kel_json_array_push_str_base(KelJson *json, const char *value, KelError **error);

/* ---- Typed access and numeric coercion ---------------------------------- */

KEL_API gboolean kel_json_is_i64_ext(const KelJson *json, gboolean convert);
KEL_API gboolean kel_json_is_u64_ext(const KelJson *json, gboolean convert);
KEL_API gboolean kel_json_is_u128_ext(const KelJson *json, gboolean convert);
KEL_API gboolean kel_json_is_double_ext(const KelJson *json, gboolean convert);
KEL_API gint64 kel_json_obj_get_i64_base(KelJson *json, const char *key, KelError **error);
KEL_API guint64 kel_json_obj_get_u64_base(KelJson *json, const char *key, KelError **error);
KEL_API KelUint128 kel_json_obj_get_u128_base(KelJson *json, const char *key, KelError **error);
KEL_API double kel_json_obj_get_double_base(KelJson *json, const char *key, KelError **error);
KEL_API gboolean kel_json_obj_get_bool_base(KelJson *json, const char *key, KelError **error);

/* ---- Copying and tree surgery ------------------------------------------- */

KEL_API KelJson *kel_json_copy(KelJson *json);
KEL_API gboolean kel_json_make_orphan_base(KelJson *json);
KEL_API gboolean kel_json_swap_child_base(KelJson *old_child, KelJson *new_child, KelError **error);
KEL_API gboolean kel_json_array_put_ext(KelJson *json, int index, KelJson *value, KelJson *fill,
                                        KelError **error);

/* ---- Union and subset --------------------------------------------------- */

enum {
    KEL_JSON_SUBSET_ARRAY_RUN = 1,
    KEL_JSON_SUBSET_ARRAY_PREFIX = 2,
    KEL_JSON_SUBSET_ARRAY_LENGTH = 4,
    KEL_JSON_SUBSET_OBJ_SIZE = 8,
    KEL_JSON_SUBSET_EQUAL = 15
};

enum {
    KEL_JSON_UNION_RESOLVE = 1,
    KEL_JSON_UNION_PREFER_RIGHT = 2,
    KEL_JSON_UNION_APPEND_PRIMITIVES = 4,
    KEL_JSON_UNION_APPEND_CONTAINERS = 8,
    KEL_JSON_UNION_IN_PLACE = 16
};

KEL_API gboolean kel_json_subset(KelJson *a, KelJson *b, guint flags);
KEL_API KelJson *kel_json_union(KelJson *left, KelJson *right, guint flags, KelError **error);
KEL_API KelJson *kel_json_array_find(KelJson *json, KelJson *pattern);
KEL_API KelJson *kel_json_array_find_str(KelJson *json, const char *text);

/* ---- Lexer -------------------------------------------------------------- */

enum {
    KEL_JSON_TOKEN_EOF = 0,
    KEL_JSON_TOKEN_INVALID = -1,
    KEL_JSON_TOKEN_STRING = 256,
    KEL_JSON_TOKEN_INTEGER = 257,
    KEL_JSON_TOKEN_REAL = 258,
    KEL_JSON_TOKEN_TRUE = 259,
    KEL_JSON_TOKEN_FALSE = 260,
    KEL_JSON_TOKEN_NULL = 261,
    KEL_JSON_TOKEN_UINT128 = 262
};

/* Display names of the six structural tokens, NULL-terminated. */
KEL_API extern const char *const chr_strs[7];

/* Returns the next input byte as 0..255, or a negative value at the end. */
typedef int (*KelJsonLexGetFunc)(void *data);

typedef struct KelJsonLexer {
    KelJsonLexGetFunc get;
    void *data;
    char buffer[5];
    gsize buffer_pos;
    guint8 eof;
    guint32 line;
    guint32 column;
    guint32 last_column;
    guint32 position;
    GString *text;
    gint32 token;
    union {
        gint64 integer;
        double real;
        struct {
            char *str;
            gsize len;
        } string;
        KelUint128 u128;
    } value;
    KelError **error;
} KelJsonLexer;

/* Source records of the two loaders. */
typedef struct KelJsonStrSource {
    const char *str;
    gint32 pos;
} KelJsonStrSource;

typedef struct KelJsonFileSource {
    FILE *fh;
} KelJsonFileSource;

KEL_API void lex_init(KelJsonLexer *lex, KelJsonLexGetFunc get, void *data, KelError **error);

/* ---- Parser ------------------------------------------------------------- */

enum {
    KEL_JSON_LOAD_ALLOW_TRAILING = 1,
    KEL_JSON_LOAD_REJECT_DUPLICATES = 2,
    /* Keep objects whose only member is "$ref" with a string value as plain
     * objects (for documents such as JSON Schemas, where "$ref" is data).
     * Without it each becomes a reference value. */
    KEL_JSON_LOAD_KEEP_REFS = 4
};

/* Deepest nesting of arrays and objects that the loaders accept. A deeper
 * document fails with "Syntax error: maximum nesting depth exceeded" and a
 * position item at the bracket that went one level too deep. */
#define KEL_JSON_MAX_DEPTH 10000

/* Bound of reference expansion (kel_json_jref_expand). A few bytes of
 * references can stand for an exponential number of values (ten arrays, each
 * holding ten references to the previous one, expand to about 10^9 values), so
 * expansion first counts the values its copies would create and refuses,
 * with nothing changed, when they would be more than the larger of
 * KEL_JSON_EXPAND_MIN_BUDGET and KEL_JSON_EXPAND_BUDGET_FACTOR times the
 * values in the document. The error is KEL_JSON_FEATURE_UNSUPPORTED with
 * "Expanding reference %P would create more than %s values", naming the
 * reference at which the count passed the budget. */
#define KEL_JSON_EXPAND_MIN_BUDGET 1000000
#define KEL_JSON_EXPAND_BUDGET_FACTOR 100

KEL_API KelJson *kel_json_loads(const char *in, int flags, KelError **error);
KEL_API KelJson *kel_json_loadf(FILE *fh, int flags, KelError **error);

/* ---- String escaping ---------------------------------------------------- */

KEL_API int kel_json_escape_str_ext(const char *str, GString *out);
KEL_API char *kel_json_escape_str(const char *str);

/* ---- Pointer text and path-aware formatting ----------------------------- */

KEL_API gboolean kel_json_ptr_add_key_ext(GString *str, const char *key);
KEL_API char *kel_json_ptr_add_key(const char *init, const char *key);
KEL_API gboolean kel_json_ptr_ext(const KelJson *json, GString *str);
KEL_API gint32 kel_json_ptr(const KelJson *json, char **out);
KEL_API gboolean kel_json_ptr_build_array(const KelJson *array, GString *str);
KEL_API gboolean kel_json_ptr_build_obj(const KelJson *obj, const char *key, GString *str);

/* printf-like formatting with %P: a KelJson* printed as its quoted pointer.
 * Only %d and %s are formatted besides it; other conversions are copied. */
KEL_API gint32 kel_json_ptr_vprintf(GString *str, const char *fmt, va_list args);
KEL_API gint32 kel_json_ptr_printf(GString *str, const char *fmt, ...);
KEL_API gint32 kel_json_ptr_aprintf(char **out, const char *fmt, ...);
KEL_API void kel_json_set_error(KelError **err, gint code, const char *fmt, ...);

/* ---- Pointer navigation ------------------------------------------------- */

KEL_API KelJson *kel_json_ptr_get_base(KelJson *root, const char *ptr, KelError **error);
/* The most values that filling a gap may create in one put: the gap (the
 * positions between the array's end and the index) times the values in each
 * copy (those of `fill` in the final step, one empty container per copy for
 * a non-strict intermediate step). A put that would create more fails, with
 * nothing changed at that step, with KEL_JSON_INDEX_INVALID and
 * "Index %d is out of bounds for JSON array %P". */
#define KEL_JSON_PUT_FILL_MAX_VALUES 1048576

KEL_API gboolean kel_json_ptr_put_base(KelJson *root, const char *ptr, KelJson *elem,
                                       gboolean strict, KelJson *fill, KelError **error);
KEL_API KelJson *kel_json_ptr_put_array_base(KelJson *root, const char *ptr, KelError **error);
KEL_API KelJson *kel_json_ptr_put_obj_base(KelJson *root, const char *ptr, KelError **error);
KEL_API KelJson *kel_json_ptr_put_bool_base(KelJson *root, const char *ptr, gboolean value,
                                            KelError **error);
KEL_API KelJson *kel_json_ptr_put_double_base(KelJson *root, const char *ptr, double value,
                                              KelError **error);
KEL_API KelJson *kel_json_ptr_put_u64_base(KelJson *root, const char *ptr, guint64 value,
                                           KelError **error);
KEL_API KelJson *kel_json_ptr_put_i64_base(KelJson *root, const char *ptr, gint64 value,
                                           KelError **error);
KEL_API KelJson *kel_json_ptr_put_u128_base(KelJson *root, const char *ptr, KelUint128 value,
                                            KelError **error);
KEL_API KelJson *kel_json_ptr_put_str_base(KelJson *root, const char *ptr, const char *value,
                                           KelError **error);
KEL_API KelJson *kel_json_ptr_put_jref_base(KelJson *root, const char *ptr, const char *uri,
                                            KelError **error);

/* ---- Visitor ------------------------------------------------------------ */

enum {
    KEL_JSON_VISIT_CONTINUE = 0,
    KEL_JSON_VISIT_SKIP = 1,
    KEL_JSON_VISIT_STOP = 2,
    KEL_JSON_VISIT_ABORT = 3
};

typedef struct KelJsonVisitor {
    int (*on_value)(KelJson *value, gpointer data);
    int (*on_obj)(KelJson *obj, gpointer data);
    int (*on_array)(KelJson *array, gpointer data);
    int (*on_str)(KelJson *value, const char *str, gpointer data);
    int (*on_i64)(KelJson *value, gint64 i64, gpointer data);
    int (*on_u64)(KelJson *value, guint64 u64, gpointer data);
    int (*on_u128)(KelJson *value, KelUint128 u128, gpointer data);
    int (*on_double)(KelJson *value, double d, gpointer data);
    int (*on_jref)(KelJson *value, const char *uri, gpointer data);
    int (*on_bool)(KelJson *value, gboolean b, gpointer data);
    int (*on_null)(KelJson *value, gpointer data);
    int (*obj_begin)(KelJson *obj, gpointer data);
    int (*obj_end)(KelJson *obj, gpointer data);
    int (*obj_member)(KelJson *obj, const char *key, KelJson *member, gboolean first,
                      gpointer data);
    KelStrArray *(*obj_keys)(KelJson *obj, gpointer data);
    int (*array_begin)(KelJson *array, gpointer data);
    int (*array_end)(KelJson *array, gpointer data);
    int (*array_elem)(KelJson *array, int index, KelJson *elem, gpointer data);
} KelJsonVisitor;

KEL_API gboolean kel_json_visit(KelJson *json, const KelJsonVisitor *visitor, gpointer data);

/* ---- Serializer --------------------------------------------------------- */

enum {
    KEL_JSON_DUMP_U128_STR = 2,
    KEL_JSON_DUMP_SORTED = 4,
    KEL_JSON_DUMP_PRETTY = 8,
    /* Doubles in the shortest text that reads back to the same double
     * (bit for bit, subnormals and -0.0 included), written as a double
     * ("1.0"). This is the lossless choice. Without it doubles are written
     * as C's "%f" (six decimals: 1e-7 becomes 0.000000). Either way the
     * decimal point is '.' whatever the locale, and a NaN or an infinity
     * makes the dump fail (FALSE, partial output) since JSON cannot
     * spell them. */
    KEL_JSON_DUMP_REAL_ROUNDTRIP = 256
};

typedef struct KelJsonDumper {
    guint32 flags;
    gint32 indent;
    int (*print)(void *out, const char *fmt, ...);
    int (*write_str)(void *out, const char *str);
    void *out;
} KelJsonDumper;

typedef struct KelJsonFileSink {
    FILE *file;
    GString *scratch;
} KelJsonFileSink;

KEL_API gboolean kel_json_sdump_ext(KelJson *root, GString *out, guint32 flags, gint32 indent);
KEL_API gboolean kel_json_sdump(KelJson *root, char **out, guint32 flags);
KEL_API gboolean kel_json_fdump(KelJson *root, FILE *out, guint32 flags, gint32 indent);

/* ---- References --------------------------------------------------------- */

/* The value that the reference `json` names (borrowed; may itself be a
 * reference), its URI read as a JSON pointer from the top of its document;
 * NULL with an error otherwise. A URI that names another document (one with
 * a scheme such as "http:", or text before its "#") fails with
 * KEL_JSON_FEATURE_UNSUPPORTED "external references are not supported: URI";
 * so do deref and expand, which resolve through this function. */
KEL_API KelJson *kel_json_jref_resolve_base(KelJson *json, KelError **error);
KEL_API KelJson *kel_json_jref_deref_base(KelJson *json, KelError **error);
KEL_API gboolean kel_json_jref_expand(KelJson *root, KelError **error);

/* ---- JSON Patch and JSON Merge Patch ------------------------------------- */

/* Bound of the values that the copy operations of one JSON Patch may create.
 * Each copy can double the document, so a short patch could otherwise ask
 * for 2^1000 values. The copies of one kel_json_patch_apply call may create
 * at most the larger of KEL_JSON_PATCH_MIN_BUDGET and
 * KEL_JSON_PATCH_BUDGET_FACTOR times the values in the document before its
 * first copy operation; the copy that would pass the bound fails with
 * KEL_JSON_FEATURE_UNSUPPORTED and
 * "Patch operation %P: the patch would create more than %s values". */
#define KEL_JSON_PATCH_MIN_BUDGET 1000000
#define KEL_JSON_PATCH_BUDGET_FACTOR 100

/* Applies a JSON Patch (RFC 6902) to doc, in place and all or nothing.
 *
 * doc: the document to change (not NULL). It stays the caller's node: no
 *   reference is taken and the node itself is never replaced. An operation
 *   whose path is "" (the whole document) therefore needs a document and a
 *   value that are both objects or both arrays; the value's members then
 *   move into doc. Any other kind fails with KEL_JSON_TYPE_INVALID and
 *   "Patch operation %P: the whole document (%s) can only be replaced by an
 *   object or array of the same type, not %s". doc may be a member of a
 *   larger tree; paths are read from doc.
 * patch: an array of operation objects (not NULL; read only, no reference
 *   taken). Values are copied into doc, never shared with the patch.
 *   Members other than "op", "path", "from" and "value" are ignored.
 * error: error slot (may be NULL).
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
 * Returns TRUE when every operation succeeded. On any failure doc is
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

/* Applies a JSON Merge Patch (RFC 7386) and returns the result as a new
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
 * target: the document to patch (not NULL; read only, no reference taken).
 * patch: the merge patch (not NULL; read only, no reference taken).
 * error: error slot (may be NULL).
 *
 * Returns a new value (count 0, no parent) made of copies, sharing nothing
 * with target or patch, which the caller releases with kel_json_unref; or
 * NULL when target or patch is NULL (KEL_JSON_ARG_INVALID,
 * "kel_json_merge_patch: argument check failed: target" or "patch"). Time
 * and memory are linear in the sizes of target and patch. */
KEL_API KelJson *kel_json_merge_patch(KelJson *target, KelJson *patch, KelError **error);

#ifdef __cplusplus
}
#endif

#endif /* KEL_JSON_H */
