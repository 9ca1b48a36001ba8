/* libkel: error objects, chains, domains and the per-domain registry. */
/**
 * @file kel_error.h
 * @brief Error chains (KelError), typed data items, the two error domains and
 *        the per-domain registry that names codes and turns items into JSON.
 *
 * @par The error slot
 * Every fallible function of the library, apart from the few named below,
 * takes an error slot as its last argument: a `KelError **` that may be NULL
 * (no details wanted; the result alone tells success). A failure pushes one
 * new error on top of the chain the slot holds, so a caller can add its own
 * context above a lower-level failure with kel_set_error(): the head of the
 * chain is always the newest error. Nothing in a chain is ever overwritten.
 * The chain belongs to the variable holding its head; free it with
 * kel_clear_error(). The exceptions are the 128-bit integer functions (plain
 * status codes), the escaping functions (-1 on failure), the directory
 * helpers (GLib's own `GError **`), and the functions that only check their
 * arguments with a GLib warning (see each function).
 *
 * @par Errors already in the slot
 * Several JSON lookups give up, returning NULL or FALSE without pushing a
 * new error, when the slot already holds one; kel_json.h lists them. Clear
 * the slot (or use a fresh `KelError *` set to NULL) before each step whose
 * failure must be reported on its own.
 *
 * @par Reading an error
 * Domain, code and message are read through `err->gerror` (a GLib `GError`).
 * kel_error_code_to_name() names a code through the registry.
 *
 * @par Threads
 * A chain is used by one thread at a time. The registry is the library's only
 * process-wide mutable state; a reader-writer lock guards it, and registered
 * callbacks run outside the lock.
 */
#ifndef KEL_ERROR_H
#define KEL_ERROR_H

#include <glib.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Marks the library's exported interface: default visibility for the
 *  declared function; everything else in libkel.so is hidden. */
#ifndef KEL_API
#define KEL_API __attribute__((visibility("default")))
#endif

/** One JSON value; declared in full in kel_json.h. */
typedef struct KelJson KelJson;
/** Header of a data item attached to an error; see struct KelErrorData. */
typedef struct KelErrorData KelErrorData;

/** Releases what an item's payload owns; never the item block itself, which
 *  the library frees right after the call.
 *  @param item the item being freed (never NULL). */
typedef void (*KelErrorDataFreeFunc)(KelErrorData *item);

/** Header that begins every data item; the payload follows in the same block,
 *  which the error owns (see kel_error_data_new()). */
struct KelErrorData {
    /** Domain that defines the item's type and payload layout. */
    GQuark domain;
    /** Item type within that domain. */
    gint type;
    /** The next older item of the same error, or NULL. */
    KelErrorData *next;
    /** Releases what the payload owns before the block is freed; may be NULL. */
    KelErrorDataFreeFunc free_func;
};

/** One error of a chain; the head of a chain is the newest error. Records are
 *  not reference counted: each has one holder, the record above it or, for
 *  the head, the caller's variable. */
typedef struct KelError {
    /** Domain, code and message of this error; owned, never NULL. */
    GError *gerror;
    /** The error below this one (older, usually lower-level), owned; NULL at
     *  the end of the chain. */
    struct KelError *next;
    /** This error's data items, newest first, owned; NULL when none. */
    KelErrorData *data;
} KelError;

/** Standard item types of the base domain "kel-error". */
enum {
    /** A KelErrorDataLocation: source file, function and line. */
    KEL_ERROR_DATA_LOCATION = 0,
    /** A KelErrorDataBlob: two words stored unchanged. */
    KEL_ERROR_DATA_BLOB = 1
};

/** Item of type #KEL_ERROR_DATA_LOCATION: where an error was raised
 *  (attached by kel_error_add_location()). */
typedef struct KelErrorDataLocation {
    /** Common header (base domain, type 0). */
    KelErrorData header;
    /** Source file name; borrowed, must outlive the error (a literal). */
    const char *file;
    /** Function name; borrowed, must outlive the error (a literal). */
    const char *function;
    /** Source line. */
    gint line;
} KelErrorDataLocation;

/** Item of type #KEL_ERROR_DATA_BLOB: two words the library never
 *  dereferences, copies or frees (attached by kel_error_add_blob()). */
typedef struct KelErrorDataBlob {
    /** Common header (base domain, type 1). */
    KelErrorData header;
    /** Pointer-sized word, stored unchanged. */
    uintptr_t data;
    /** 64-bit word, stored unchanged. */
    guint64 size;
} KelErrorDataBlob;

/** Codes of the base domain "kel-error"; also the plain int32 results of the
 *  128-bit integer functions of kel_util.h. */
typedef enum KelStatus {
    /** Success. */
    KEL_SUCCESS = 0,
    /** A required argument is missing or out of range. */
    KEL_ARG_INVALID = -1,
    /** An unusable number base. */
    KEL_RADIX_INVALID = -2,
    /** A caller's buffer is too small. */
    KEL_BUFFER_INSUFFICIENT = -3,
    /** Text that does not convert to a number. */
    KEL_ARG_CONVERSION = -4,
    /** Allocation failure (for callers; the library itself aborts instead). */
    KEL_ALLOC_FAIL = -5,
    /** Operation not implemented (for callers; never raised by the library). */
    KEL_FN_NOT_IMPL = -6,
    /** Input/output failure (for callers; never raised by the library). */
    KEL_IO_FAIL = -7
} KelStatus;

/** Codes of the JSON domain "kel-json-error" (there is no code 0). */
typedef enum KelJsonErrorCode {
    /** A failed argument check ("%s: argument check failed: %s"), invalid
     *  UTF-8 or a NUL byte in a string, unequal values in a union. */
    KEL_JSON_ARG_INVALID = -1,
    /** A value of the wrong kind ("%s: invalid JSON type for %P: expected %s,
     *  got %s" and its variants), kinds that cannot be united. */
    KEL_JSON_TYPE_INVALID = -2,
    /** A missing object member ("JSON object %P does not have key %s"). */
    KEL_JSON_KEY_INVALID = -3,
    /** An array index out of range ("Index %d is out of bounds for JSON
     *  array %P"), also a gap too large to fill. */
    KEL_JSON_INDEX_INVALID = -4,
    /** A reference that leads back to itself ("Circular reference to JSON
     *  element %P"). */
    KEL_JSON_CIRCULAR_JREF = -5,
    /** Every lexer and parser error; carries a KelJsonErrorDataPosition. */
    KEL_JSON_PARSE_ERROR = -6,
    /** An unsupported feature: relative pointers, a reference expansion
     *  beyond its budget. */
    KEL_JSON_FEATURE_UNSUPPORTED = -7,
    /** A malformed JSON pointer ("Invalid JSON pointer escape sequence:
     *  %.*s"). */
    KEL_JSON_POINTER_INVALID = -8,
    /** Inserting a value that already has a parent ("Cannot add to %P,
     *  because value is already a child of %P"), or a container into itself
     *  or below itself. */
    KEL_JSON_CHILD_OWNED = -9
} KelJsonErrorCode;

/** Item type of the JSON domain attached to every parse error. */
enum {
    /** A KelJsonErrorDataPosition. */
    KEL_JSON_ERROR_DATA_POSITION = 1
};

/** Item of type #KEL_JSON_ERROR_DATA_POSITION: where in the input a parse
 *  failed. */
typedef struct KelJsonErrorDataPosition {
    /** Common header ("kel-json-error" domain, type 1). */
    KelErrorData header;
    guint32 line;     /**< 1-based line */
    guint32 column;   /**< characters read on that line */
    guint32 position; /**< bytes read from the start of the input */
} KelJsonErrorDataPosition;

/**
 * Creates an error record on top of @p next.
 * @param next   chain to put below the new error (may be NULL); the new
 *               record takes it over (transfer full).
 * @param domain error domain quark.
 * @param code   error code within @p domain.
 * @param format printf format of the message (GLib's printf rules).
 * @param ...    the format's arguments.
 * @return the new head (owned: free the chain with kel_error_free() or
 *         kel_clear_error()). A NULL @p format warns ("kel_error_new_valist:
 *         assertion 'format' failed") and returns @p next unchanged.
 */
KEL_API KelError *kel_error_new(KelError *next, GQuark domain, gint code,
                                const char *format, ...) G_GNUC_PRINTF(4, 5) G_GNUC_WARN_UNUSED_RESULT;
/**
 * kel_error_new() with the format's arguments as a `va_list`.
 * @param next   chain to put below the new error (may be NULL; transfer full).
 * @param domain error domain quark.
 * @param code   error code.
 * @param format printf format of the message; NULL warns and returns @p next.
 * @param args   the format's arguments.
 * @return the new head (owned), or @p next for a NULL @p format.
 */
KEL_API KelError *kel_error_new_valist(KelError *next, GQuark domain, gint code,
                                       const char *format, va_list args) G_GNUC_PRINTF(4, 0) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Pushes a new error on top of the chain in @p err.
 * @param err    the error slot (may be NULL: then nothing is formatted and
 *               NULL is returned).
 * @param domain error domain quark.
 * @param code   error code.
 * @param format printf format of the message; NULL warns and returns NULL.
 * @param ...    the format's arguments.
 * @return the new head, now also in *@p err (owned by the slot, not by the
 *         caller of this function), or NULL.
 */
KEL_API KelError *kel_set_error(KelError **err, GQuark domain, gint code,
                                const char *format, ...) G_GNUC_PRINTF(4, 5);
/**
 * Wraps a GLib error into a record on top of @p next.
 * @param next   chain to put below it (may be NULL; transfer full).
 * @param gerror the GLib error (transfer full: freed with the record). NULL
 *               warns ("kel_error_from_gerror: assertion 'gerror' failed").
 * @return the new head (owned), or NULL for a NULL @p gerror.
 */
KEL_API KelError *kel_error_from_gerror(KelError *next, GError *gerror) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Frees a whole chain: each record, its GError and its data items (calling
 * each item's free function first).
 * @param error head of the chain (may be NULL: nothing happens).
 */
KEL_API void kel_error_free(KelError *error);
/**
 * Frees the chain in a slot and sets the slot to NULL.
 * @param err the error slot (may be NULL; *@p err may be NULL).
 */
KEL_API void kel_clear_error(KelError **err);
/**
 * Frees the errors stacked on top of @p until, which becomes the head again:
 * undoes everything pushed since the head was saved.
 * @param err   the error slot (may be NULL).
 * @param until a record of the chain in *@p err, or NULL for the whole chain.
 * @return TRUE when @p until was found (or is NULL) and the records above it
 *         were freed; FALSE, with nothing changed, when @p until is not in
 *         the chain. For a NULL @p err: TRUE exactly when @p until is NULL.
 */
KEL_API gboolean kel_clear_error_until(KelError **err, KelError *until);
/**
 * Moves the chain in @p src on top of the chain in @p dest.
 * @param dest slot receiving the merged chain; NULL warns
 *             ("kel_error_merge: assertion 'dest' failed").
 * @param src  slot whose chain is moved (transfer full); set to NULL. NULL
 *             warns with 'src'.
 */
KEL_API void kel_error_merge(KelError **dest, KelError **src);
/**
 * Attaches a new, zeroed data item to an error; the caller fills the payload.
 * @param error     the record to attach to, normally the head of a chain.
 *                  NULL warns ("kel_error_data_new: assertion 'error'
 *                  failed").
 * @param domain    domain that defines @p type.
 * @param type      item type.
 * @param size      bytes of the whole item, header included (at least
 *                  `sizeof(KelErrorData)`).
 * @param free_func releases what the payload owns (may be NULL).
 * @return the item, owned by @p error (borrowed), or NULL.
 */
KEL_API KelErrorData *kel_error_data_new(KelError *error, GQuark domain, gint type,
                                         gsize size, KelErrorDataFreeFunc free_func);
/**
 * Attaches a #KEL_ERROR_DATA_LOCATION item to the head error of *@p err; use
 * the kel_error_add_location() macro instead of calling this directly.
 * @param err      the error slot (NULL, or an empty slot: nothing happens).
 * @param file     source file; stored, not copied (must outlive the error).
 * @param function function name; stored, not copied.
 * @param line     source line.
 */
KEL_API void __kel_error_add_location(KelError **err, const char *file,
                                      const char *function, gint line);
/**
 * Attaches a #KEL_ERROR_DATA_BLOB item to the head error of *@p err.
 * @param err  the error slot (NULL, or an empty slot: nothing happens).
 * @param data pointer-sized word, stored unchanged and never dereferenced.
 * @param size 64-bit word, stored unchanged.
 */
KEL_API void kel_error_add_blob(KelError **err, uintptr_t data, guint64 size);
/** @return the quark of the base domain "kel-error". */
KEL_API GQuark kel_error_domain(void);
/** @return the quark of the JSON domain "kel-json-error". */
KEL_API GQuark kel_json_error_domain(void);
/**
 * Names a code of the base domain (the registered namer of "kel-error").
 * @param domain must be kel_error_domain(), else "<unknown>".
 * @param code   a #KelStatus value.
 * @return a static name such as "KEL_ARG_INVALID", or "<unknown>"; never
 *         freed.
 */
KEL_API const char *kel_status_code_to_name(GQuark domain, gint code);
/**
 * Names a code of the JSON domain (the registered namer of
 * "kel-json-error").
 * @param domain not examined.
 * @param code   a #KelJsonErrorCode value.
 * @return a static name such as "KEL_JSON_PARSE_ERROR", or "<unknown code>";
 *         never freed.
 */
KEL_API const char *kel_json_code_to_name(GQuark domain, gint code);

/** Attaches the caller's source file, function and line to the head error of
 *  *@p err (nothing when the slot is NULL or empty).
 *  @param err the error slot. */
#define kel_error_add_location(err) \
    __kel_error_add_location((err), __FILE__, G_STRFUNC, __LINE__)

/* ---- Registry ---------------------------------------------------------- */

/** Names a code of one domain.
 *  @param domain the domain looked up.
 *  @param code   the code.
 *  @return a static name, never freed by the library. */
typedef const char *(*KelErrorCodeToNameFunc)(GQuark domain, gint code);
/** Turns a data item of one domain into JSON.
 *  @param item the item (not NULL).
 *  @return a new value owned by the caller, or NULL. */
typedef KelJson *(*KelErrorDataToJsonFunc)(KelErrorData *item);
/** Adds descriptive members to an item's JSON object.
 *  @param object the object made by a #KelErrorDataToJsonFunc.
 *  @param user   the caller's pointer given to kel_error_json_expand().
 *  @return TRUE on success. */
typedef gboolean (*KelErrorJsonExpandFunc)(KelJson *object, gpointer user);

/** One registered domain; owned by the registry. */
typedef struct KelErrorRegistryEntry {
    /** The domain. */
    GQuark domain;
    /** Its code namer, or NULL. */
    KelErrorCodeToNameFunc code_to_name;
    /** Its item-to-JSON converter, or NULL. */
    KelErrorDataToJsonFunc data_to_json;
    /** Its JSON expander, or NULL. */
    KelErrorJsonExpandFunc json_expand;
} KelErrorRegistryEntry;

/**
 * Registers (or replaces) the code namer of a domain; the domain's other
 * callbacks stay. Thread-safe.
 * @param domain   the domain.
 * @param callback the namer (NULL removes it). Must be callable from any
 *                 thread.
 */
KEL_API void kel_error_register_code_to_name(GQuark domain, KelErrorCodeToNameFunc callback);
/**
 * Registers (or replaces) the item-to-JSON converter of a domain.
 * @param domain   the domain.
 * @param callback the converter (NULL removes it).
 */
KEL_API void kel_error_register_data_to_json(GQuark domain, KelErrorDataToJsonFunc callback);
/**
 * Registers (or replaces) the JSON expander of a domain.
 * @param domain   the domain.
 * @param callback the expander (NULL removes it).
 */
KEL_API void kel_error_register_json_expand(GQuark domain, KelErrorJsonExpandFunc callback);
/**
 * Names a code through the domain's registered namer (called outside the
 * registry lock).
 * @param domain the domain.
 * @param code   the code.
 * @return the namer's static text, or NULL when the domain has no namer.
 */
KEL_API const char *kel_error_code_to_name(GQuark domain, gint code);
/**
 * Turns a data item into JSON through the converter of the item's domain.
 * Position items of the JSON domain have no converter and give NULL.
 * @param item the item (may be NULL: result NULL).
 * @return a new object owned by the caller (free with kel_json_unref()), or
 *         NULL.
 */
KEL_API KelJson *kel_error_data_to_json(KelErrorData *item) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Runs the expander of the domain named by the object's "domain" member
 * (read as uint64; its low 32 bits are the quark).
 * @param object an object from kel_error_data_to_json() (may be NULL: FALSE).
 * @param user   passed to the expander.
 * @return the expander's result; FALSE without a "domain" member, with domain
 *         0 or without a registered expander.
 */
KEL_API gboolean kel_error_json_expand(KelJson *object, gpointer user);
/** Empties the registry, the library's own load-time registrations included;
 *  a later registration starts a new, empty registry. */
KEL_API void kel_error_purge_registry(void);

/**
 * Converter registered for "kel-error": location items become objects,
 * every other type gives NULL.
 * @param item a base-domain item (not NULL; its domain is not checked).
 * @return a new object owned by the caller, or NULL.
 */
KEL_API KelJson *std_payload_to_json(KelErrorData *item) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Turns a location item into the object {"domain", "type", "file",
 * "function", "line"}.
 * @param item a #KEL_ERROR_DATA_LOCATION item (not NULL).
 * @return a new object owned by the caller (free with kel_json_unref()).
 */
KEL_API KelJson *location_data_to_json(KelErrorData *item) G_GNUC_WARN_UNUSED_RESULT;
/**
 * Converter of blob items, which have no JSON form.
 * @param item a #KEL_ERROR_DATA_BLOB item (ignored).
 * @return always NULL.
 */
KEL_API KelJson *blob_data_to_json(KelErrorData *item);
/**
 * Expander registered for "kel-error": adds "domain_name" ("kel-error") and
 * "type_name" (the name of the "type" member, e.g.
 * "KEL_ERROR_DATA_LOCATION").
 * @param object an object from std_payload_to_json().
 * @param user   ignored.
 * @return TRUE.
 */
KEL_API gboolean std_payload_json_expand(KelJson *object, gpointer user);
/** Registers the library's own namers and converters; runs once when the
 *  library is loaded. Calling it again re-registers the same callbacks. */
KEL_API void __kel_init_func(void);

#ifdef __cplusplus
}
#endif

#endif /* KEL_ERROR_H */
