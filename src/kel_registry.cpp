// The process-wide error registry: per-domain callbacks that name codes and
// turn data items into JSON, and the base domain's standard converters.
#include <array>

#include "kel_internal.h"

namespace {

// Names of the base domain's standard item types, indexed by type.
constexpr std::array<const char *, 2> kDataTypeNames = {
    "KEL_ERROR_DATA_LOCATION",
    "KEL_ERROR_DATA_BLOB",
};

// Guards `registry` and every entry in it. Static storage needs no init.
GRWLock registry_lock;
GPtrArray *registry = nullptr;  // of KelErrorRegistryEntry*, freed with g_free

// Holds the registry lock for one scope, as a writer or as a reader.
template <void (*Lock)(GRWLock *), void (*Unlock)(GRWLock *)>
class ScopedLock {
public:
    ScopedLock() noexcept { Lock(&registry_lock); }
    ~ScopedLock() { Unlock(&registry_lock); }
    ScopedLock(const ScopedLock &) = delete;
    ScopedLock &operator=(const ScopedLock &) = delete;
};
using WriterLock = ScopedLock<g_rw_lock_writer_lock, g_rw_lock_writer_unlock>;
using ReaderLock = ScopedLock<g_rw_lock_reader_lock, g_rw_lock_reader_unlock>;

gboolean entry_has_domain(gconstpointer element, gconstpointer wanted) noexcept
{
    return static_cast<const KelErrorRegistryEntry *>(element)->domain ==
           *static_cast<const GQuark *>(wanted);
}

// Caller holds the lock (either kind).
KelErrorRegistryEntry *find_entry(GQuark domain) noexcept
{
    guint index = 0;
    if (registry == nullptr ||
        !g_ptr_array_find_with_equal_func(registry, &domain, entry_has_domain, &index))
        return nullptr;
    return static_cast<KelErrorRegistryEntry *>(g_ptr_array_index(registry, index));
}

// The three register functions differ only in the field they set.
template <typename Callback>
void register_callback(GQuark domain, Callback KelErrorRegistryEntry::*field,
                       Callback callback) noexcept
{
    WriterLock lock;
    if (registry == nullptr)
        registry = g_ptr_array_new_with_free_func(g_free);
    KelErrorRegistryEntry *entry = find_entry(domain);
    if (entry == nullptr) {
        entry = g_new0(KelErrorRegistryEntry, 1);
        entry->domain = domain;
        g_ptr_array_add(registry, entry);
    }
    entry->*field = callback;
}

// Copies one callback pointer under the reader lock; the caller invokes it
// after the lock is gone, so callbacks may register or look up themselves.
template <typename Callback>
Callback lookup_callback(GQuark domain, Callback KelErrorRegistryEntry::*field) noexcept
{
    ReaderLock lock;
    const KelErrorRegistryEntry *entry = find_entry(domain);
    return entry != nullptr ? entry->*field : nullptr;
}

// Runs __kel_init_func once when the shared library is loaded.
__attribute__((constructor)) void kel_on_load() noexcept
{
    __kel_init_func();
}

}  // namespace

extern "C" {

void kel_error_register_code_to_name(GQuark domain, KelErrorCodeToNameFunc callback)
{
    register_callback(domain, &KelErrorRegistryEntry::code_to_name, callback);
}

void kel_error_register_data_to_json(GQuark domain, KelErrorDataToJsonFunc callback)
{
    register_callback(domain, &KelErrorRegistryEntry::data_to_json, callback);
}

void kel_error_register_json_expand(GQuark domain, KelErrorJsonExpandFunc callback)
{
    register_callback(domain, &KelErrorRegistryEntry::json_expand, callback);
}

const char *kel_error_code_to_name(GQuark domain, gint code)
{
    auto callback = lookup_callback(domain, &KelErrorRegistryEntry::code_to_name);
    return callback != nullptr ? callback(domain, code) : nullptr;
}

KelJson *kel_error_data_to_json(KelErrorData *item)
{
    if (item == nullptr)
        return nullptr;
    auto callback = lookup_callback(item->domain, &KelErrorRegistryEntry::data_to_json);
    return callback != nullptr ? callback(item) : nullptr;
}

gboolean kel_error_json_expand(KelJson *object, gpointer user)
{
    if (object == nullptr)
        return FALSE;
    // A missing or unreadable "domain" reads as 0, which no converter made.
    guint64 domain = kel_json_obj_get_u64_base(object, "domain", nullptr);
    if (domain == 0)
        return FALSE;
    auto callback = lookup_callback(static_cast<GQuark>(domain),
                                    &KelErrorRegistryEntry::json_expand);
    return callback != nullptr ? callback(object, user) : FALSE;
}

void kel_error_purge_registry(void)
{
    WriterLock lock;
    if (registry != nullptr) {
        g_ptr_array_free(registry, TRUE);
        registry = nullptr;
    }
}

KelJson *std_payload_to_json(KelErrorData *item)
{
    if (item == nullptr)
        return nullptr;
    switch (item->type) {
    case KEL_ERROR_DATA_LOCATION:
        return location_data_to_json(item);
    case KEL_ERROR_DATA_BLOB:
        return blob_data_to_json(item);
    default:
        return nullptr;
    }
}

KelJson *location_data_to_json(KelErrorData *item)
{
    if (item == nullptr)
        return nullptr;
    const auto *location = reinterpret_cast<const KelErrorDataLocation *>(item);
    KelJson *object = kel_json_obj_new_base(FALSE);
    kel_json_obj_put_u64_base(object, "domain", item->domain, nullptr);
    kel_json_obj_put_i64_base(object, "type", item->type, nullptr);
    kel_json_obj_put_str_base(object, "file", location->file, nullptr);
    kel_json_obj_put_str_base(object, "function", location->function, nullptr);
    kel_json_obj_put_i64_base(object, "line", location->line, nullptr);
    return object;
}

KelJson *blob_data_to_json(KelErrorData *)
{
    // A blob's two words mean whatever its creator decided; they have no JSON form.
    return nullptr;
}

gboolean std_payload_json_expand(KelJson *object, gpointer)
{
    if (object == nullptr)
        return TRUE;
    gint64 type = kel_json_obj_get_i64_base(object, "type", nullptr);
    kel_json_obj_put_str_base(object, "domain_name", g_quark_to_string(kel_error_domain()),
                              nullptr);
    // Only the standard types have names. Any other type is some newer item
    // this converter does not know; inventing a name (or "<unknown>") would
    // read like a real type, so "type_name" is left out and the object keeps
    // its raw "type" number.
    if (type >= 0 && type < static_cast<gint64>(kDataTypeNames.size()))
        kel_json_obj_put_str_base(object, "type_name", kDataTypeNames[type], nullptr);
    return TRUE;
}

void __kel_init_func(void)
{
    kel_error_register_code_to_name(kel_error_domain(), kel_status_code_to_name);
    kel_error_register_code_to_name(kel_json_error_domain(), kel_json_code_to_name);
    kel_error_register_data_to_json(kel_error_domain(), std_payload_to_json);
    kel_error_register_json_expand(kel_error_domain(), std_payload_json_expand);
}

}  // extern "C"
