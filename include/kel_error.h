/* libkel: error objects, chains, domains and the per-domain registry. */
#ifndef KEL_ERROR_H
#define KEL_ERROR_H

#include <glib.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Marks the library's exported interface; everything else is hidden. */
#ifndef KEL_API
#define KEL_API __attribute__((visibility("default")))
#endif

typedef struct KelJson KelJson;
typedef struct KelErrorData KelErrorData;

/* Releases what an item's payload owns; never the item block itself. */
typedef void (*KelErrorDataFreeFunc)(KelErrorData *item);

/* Header that begins every data item; the payload follows in the same block. */
struct KelErrorData {
    GQuark domain;
    gint type;
    KelErrorData *next;
    KelErrorDataFreeFunc free_func;
};

/* One error of a chain; the head of a chain is the newest error. */
typedef struct KelError {
    GError *gerror;
    struct KelError *next;
    KelErrorData *data;
} KelError;

/* Standard item types of the base domain "kel-error". */
enum {
    KEL_ERROR_DATA_LOCATION = 0,
    KEL_ERROR_DATA_BLOB = 1
};

typedef struct KelErrorDataLocation {
    KelErrorData header;
    const char *file;
    const char *function;
    gint line;
} KelErrorDataLocation;

typedef struct KelErrorDataBlob {
    KelErrorData header;
    uintptr_t data;
    guint64 size;
} KelErrorDataBlob;

/* Codes of the base domain "kel-error". */
typedef enum KelStatus {
    KEL_SUCCESS = 0,
    KEL_ARG_INVALID = -1,
    KEL_RADIX_INVALID = -2,
    KEL_BUFFER_INSUFFICIENT = -3,
    KEL_ARG_CONVERSION = -4,
    KEL_ALLOC_FAIL = -5,
    KEL_FN_NOT_IMPL = -6,
    KEL_IO_FAIL = -7
} KelStatus;

/* Codes of the JSON domain "kel-json-error" (there is no code 0). */
typedef enum KelJsonErrorCode {
    KEL_JSON_ARG_INVALID = -1,
    KEL_JSON_TYPE_INVALID = -2,
    KEL_JSON_KEY_INVALID = -3,
    KEL_JSON_INDEX_INVALID = -4,
    KEL_JSON_CIRCULAR_JREF = -5,
    KEL_JSON_PARSE_ERROR = -6,
    KEL_JSON_FEATURE_UNSUPPORTED = -7,
    KEL_JSON_POINTER_INVALID = -8,
    KEL_JSON_CHILD_OWNED = -9
} KelJsonErrorCode;

/* Item type of the JSON domain attached to every parse error. */
enum { KEL_JSON_ERROR_DATA_POSITION = 1 };

typedef struct KelJsonErrorDataPosition {
    KelErrorData header;
    guint32 line;     /* 1-based line */
    guint32 column;   /* characters read on that line */
    guint32 position; /* bytes read from the start of the input */
} KelJsonErrorDataPosition;

KEL_API KelError *kel_error_new(KelError *next, GQuark domain, gint code,
                                const char *format, ...) G_GNUC_PRINTF(4, 5);
KEL_API KelError *kel_error_new_valist(KelError *next, GQuark domain, gint code,
                                       const char *format, va_list args) G_GNUC_PRINTF(4, 0);
KEL_API KelError *kel_set_error(KelError **err, GQuark domain, gint code,
                                const char *format, ...) G_GNUC_PRINTF(4, 5);
KEL_API KelError *kel_error_from_gerror(KelError *next, GError *gerror);
KEL_API void kel_error_free(KelError *error);
KEL_API void kel_clear_error(KelError **err);
KEL_API gboolean kel_clear_error_until(KelError **err, KelError *until);
KEL_API void kel_error_merge(KelError **dest, KelError **src);
KEL_API KelErrorData *kel_error_data_new(KelError *error, GQuark domain, gint type,
                                         gsize size, KelErrorDataFreeFunc free_func);
KEL_API void __kel_error_add_location(KelError **err, const char *file,
                                      const char *function, gint line);
KEL_API void kel_error_add_blob(KelError **err, uintptr_t data, guint64 size);
KEL_API GQuark kel_error_domain(void);
KEL_API GQuark kel_json_error_domain(void);
KEL_API const char *kel_status_code_to_name(GQuark domain, gint code);
KEL_API const char *kel_json_code_to_name(GQuark domain, gint code);

/* Attaches the caller's source location to the head error of *err. */
#define kel_error_add_location(err) \
    __kel_error_add_location((err), __FILE__, G_STRFUNC, __LINE__)

/* ---- Registry ---------------------------------------------------------- */

typedef const char *(*KelErrorCodeToNameFunc)(GQuark domain, gint code);
typedef KelJson *(*KelErrorDataToJsonFunc)(KelErrorData *item);
typedef gboolean (*KelErrorJsonExpandFunc)(KelJson *object, gpointer user);

/* One registered domain; owned by the registry. */
typedef struct KelErrorRegistryEntry {
    GQuark domain;
    KelErrorCodeToNameFunc code_to_name;
    KelErrorDataToJsonFunc data_to_json;
    KelErrorJsonExpandFunc json_expand;
} KelErrorRegistryEntry;

KEL_API void kel_error_register_code_to_name(GQuark domain, KelErrorCodeToNameFunc callback);
KEL_API void kel_error_register_data_to_json(GQuark domain, KelErrorDataToJsonFunc callback);
KEL_API void kel_error_register_json_expand(GQuark domain, KelErrorJsonExpandFunc callback);
KEL_API const char *kel_error_code_to_name(GQuark domain, gint code);
KEL_API KelJson *kel_error_data_to_json(KelErrorData *item);
KEL_API gboolean kel_error_json_expand(KelJson *object, gpointer user);
KEL_API void kel_error_purge_registry(void);

KEL_API KelJson *std_payload_to_json(KelErrorData *item);
KEL_API KelJson *location_data_to_json(KelErrorData *item);
KEL_API KelJson *blob_data_to_json(KelErrorData *item);
KEL_API gboolean std_payload_json_expand(KelJson *object, gpointer user);
KEL_API void __kel_init_func(void);

#ifdef __cplusplus
}
#endif

#endif /* KEL_ERROR_H */
