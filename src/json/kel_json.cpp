// JSON values: node allocation, constructors, reference counting, deletion,
// getters, kind predicates and names, parent accessors, UTF-8 validation.
#include <cmath>
#include <cstring>
#include <vector>

#include "kel_json_model.h"

namespace kel {

namespace {

bool is_empty_container(const KelJson *json) noexcept
{
    if (json->type == KEL_JSON_OBJECT)
        return g_hash_table_size(json->obj) == 0;
    return json->array->len == 0;
}

// Containers whose deletion was put off because an outer kel_json_delete is
// running on this thread. Deleting a container releases its members, and a
// member container dropping to zero would otherwise be deleted from inside
// the release callback: one stack frame per level, which a deep document
// (a chain of a million arrays) turns into a stack overflow. Instead the
// outermost deletion drains this list in a loop.
thread_local std::vector<KelJson *> *t_deferred = nullptr;

// Bytes of a node of the given kind: only the payload the kind uses.
constexpr std::size_t node_size(guint16 type) noexcept
{
    switch (type) {
    case KEL_JSON_NULL:
    case KEL_JSON_TRUE:
    case KEL_JSON_FALSE:
        return kJsonHeaderSize;
    case KEL_JSON_UINT128:
        return kJsonHeaderSize + sizeof(KelUint128);
    case KEL_JSON_OBJECT:
        // The table, then the object's next member sequence number.
        return kJsonHeaderSize + sizeof(gpointer) + sizeof(guint64);
    default:
        return kJsonHeaderSize + sizeof(guint64);
    }
}

// A string node made by json_str_alloc: the text pointer, one byte with the
// block's size (0 when above kMaxPooled), then the text.
constexpr std::size_t kInlineText = kJsonHeaderSize + sizeof(char *) + 1;

inline bool text_inline(const KelJson *json) noexcept
{
    return json->str == reinterpret_cast<const char *>(json) + kInlineText;
}

// Frees the payload (releasing members through the container's release
// function) and the node itself.
void free_node(KelJson *json) noexcept
{
    switch (json->type) {
    case KEL_JSON_OBJECT:
        // The node holds the table's only reference, so the unref releases
        // every member (name, then value, in table order) exactly as
        // g_hash_table_destroy would, without the fresh empty storage that
        // g_hash_table_remove_all sets up for a table that lives on.
        g_hash_table_unref(json->obj);
        break;
    case KEL_JSON_ARRAY:
        g_ptr_array_free(json->array, TRUE);
        break;
    case KEL_JSON_STRING:
        if (text_inline(json)) {
            const auto size = static_cast<unsigned char>(json->str[-1]);
            node_free(json, size != 0 ? size : kMaxPooled + 1);
            return;
        }
        g_free(json->str);
        break;
    case KEL_JSON_JREF:
        g_free(json->uri);
        break;
    default:
        break;
    }
    node_free(json, node_size(json->type));
}

constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;

// Doubles outside the target range must not reach a C++ conversion (that
// would be undefined), so they saturate: NaN reads as 0, anything at or
// below -2^63 (including -inf) as INT64_MIN, anything at or above 2^63
// (including +inf) as INT64_MAX. Inside the range the value is truncated
// toward zero.
gint64 double_to_i64(double d) noexcept
{
    if (std::isnan(d))
        return 0;
    if (d <= -kTwo63)
        return G_MININT64;
    if (d >= kTwo63)
        return G_MAXINT64;
    return static_cast<gint64>(d);
}

// [2^63, 2^64) converts through the top bit; at or above 2^64 (and +inf)
// saturates to UINT64_MAX; below 2^63 the signed reading is reinterpreted,
// so negative values keep their two's-complement bits and anything at or
// below -2^63 gives the bits of INT64_MIN. NaN reads as 0.
guint64 double_to_u64(double d) noexcept
{
    if (std::isnan(d))
        return 0;
    if (d >= kTwo64)
        return G_MAXUINT64;
    if (d >= kTwo63)
        return static_cast<guint64>(d - kTwo63) | (guint64{1} << 63);
    return static_cast<guint64>(double_to_i64(d));
}

constexpr const char *kExactNames[] = {
    "null", "object", "array", "int64", "uint64", "uint128",
    "double", "string", "true", "false", "reference",
};
constexpr const char *kGenericNames[] = {
    "null", "object", "array", "integer", "integer", "integer",
    "number", "string", "boolean", "boolean", "reference",
};
static_assert(G_N_ELEMENTS(kExactNames) == KEL_JSON_JREF + 1);
static_assert(G_N_ELEMENTS(kGenericNames) == KEL_JSON_JREF + 1);

constexpr char kHexDigits[] = "0123456789ABCDEF";

KelJson *string_node(const char *value, gsize n, KelError **error) noexcept
{
    if (!utf8_check_string(value, n)) {
        if (error == nullptr)
            return nullptr;
        GString *hex = g_string_sized_new(n * 3 + 1);
        for (gsize i = 0; i < n; i++) {
            const auto byte = static_cast<unsigned char>(value[i]);
            g_string_append_c(hex, kHexDigits[byte >> 4]);
            g_string_append_c(hex, kHexDigits[byte & 0xF]);
            g_string_append_c(hex, ' ');
        }
        kel_set_error(error, kel_json_error_domain(), KEL_JSON_ARG_INVALID,
                      "%s: Character sequence is not valid UTF-8: %s",
                      "kel_json_str_new_len_base", hex->str);
        g_string_free(hex, TRUE);
        return nullptr;
    }
    return json_str_alloc(value, n);
}

// Node memory. Nodes are shorter than KelJson (only the payload their kind
// uses is allocated); kept out of line so that the compiler does not see the
// short size at the callers and mistake the payload writes of a short node
// for writes past its end (-Warray-bounds).
G_GNUC_NO_INLINE KelJson *node_memory(std::size_t size) noexcept
{
    return static_cast<KelJson *>(node_alloc(size));
}

}  // namespace

KelJson *json_alloc(KelJsonType type) noexcept
{
    KelJson *json = node_memory(node_size(type));
    json->type = static_cast<guint16>(type);
    json->flags = 0;
    json->refcount = 0;
    json->parent = nullptr;
    json->key = nullptr;
    return json;
}

KelJson *json_str_alloc(const char *text, gsize len) noexcept
{
    const std::size_t size = kInlineText + len + 1;
    KelJson *json = node_memory(size);
    json->type = KEL_JSON_STRING;
    json->flags = 0;
    json->refcount = 0;
    json->parent = nullptr;
    json->key = nullptr;
    auto *base = reinterpret_cast<char *>(json);
    base[kInlineText - 1] = static_cast<char>(size <= kMaxPooled ? size : 0);
    json->str = base + kInlineText;
    memcpy(json->str, text, len);
    json->str[len] = '\0';
    return json;
}

void json_release_owned(gpointer member) noexcept
{
    auto *json = static_cast<KelJson *>(member);
    json->parent = nullptr;
    if (--json->refcount <= 0)
        kel_json_delete(json);
}

void json_release_borrowed(gpointer member) noexcept
{
    kel_json_unref(static_cast<KelJson *>(member));
}

void json_arg_failed(KelError **error, const char *func, const char *arg) noexcept
{
    if (error != nullptr)
        kel_set_error(error, kel_json_error_domain(), KEL_JSON_ARG_INVALID,
                      "%s: argument check failed: %s", func, arg);
}

void json_type_failed(KelError **error, const char *func, const KelJson *json,
                      KelJsonType expected) noexcept
{
    if (error != nullptr)
        kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                           "%s: invalid JSON type for %P: expected %s, got %s", func, json,
                           kel_json_enum_type_string(expected, TRUE),
                           kel_json_type_string(json, TRUE));
}

void json_child_owned_failed(KelError **error, const KelJson *container,
                             const KelJson *value) noexcept
{
    if (error != nullptr)
        kel_json_set_error(error, KEL_JSON_CHILD_OWNED,
                           "Cannot add to %P, because value is already a child of %P",
                           container, value->parent);
}

// Putting a parentless container into `container` would close a loop of
// parent links when it is `container` itself or the root above it (a value
// without parent can only be an ancestor as the root). Such a loop would make
// pointer printing and release run forever, so the insertion is refused with
// KEL_JSON_CHILD_OWNED, the code of the other "cannot own this value" case.
// The walk is O(depth) and skipped for an empty value, which has no
// descendants: building a deep chain one new container at a time stays linear.
bool json_refuse_cycle(KelJson *container, KelJson *value, KelError **error) noexcept
{
    if (!json_is_container(value))
        return false;  // a scalar is nobody's ancestor
    bool cycle = value == container;
    if (!cycle && !is_empty_container(value)) {
        for (const KelJson *p = container->parent; p != nullptr; p = p->parent) {
            if (p == value) {
                cycle = true;
                break;
            }
        }
    }
    if (cycle && error != nullptr)
        kel_json_set_error(error, KEL_JSON_CHILD_OWNED,
                           "Cannot add to %P, because value is that container or one of its ancestors",
                           container);
    return cycle;
}

}  // namespace kel

using namespace kel;

// ---- UTF-8 -------------------------------------------------------------------

int utf8_check_string(const char *s, gsize len)
{
    if (s == nullptr)
        return len == 0;
    const auto *p = reinterpret_cast<const unsigned char *>(s);
    gsize i = 0;
    while (i < len) {
        // Plain ASCII runs are skipped eight bytes at a time.
        while (len - i >= 8) {
            guint64 word;
            memcpy(&word, p + i, sizeof word);
            if (word & G_GUINT64_CONSTANT(0x8080808080808080))
                break;
            i += 8;
        }
        if (i >= len)
            break;
        const unsigned lead = p[i];
        if (lead < 0x80) {
            i++;
            continue;
        }
        gsize n;
        guint32 value;
        guint32 min;
        if (lead < 0xC2 || lead > 0xF4)
            return 0;  // continuation byte, overlong lead C0/C1, or beyond F4
        if (lead <= 0xDF) {
            n = 2, value = lead & 0x1F, min = 0x80;
        } else if (lead <= 0xEF) {
            n = 3, value = lead & 0x0F, min = 0x800;
        } else {
            n = 4, value = lead & 0x07, min = 0x10000;
        }
        if (len - i < n)
            return 0;
        for (gsize k = 1; k < n; k++) {
            const unsigned byte = p[i + k];
            if ((byte & 0xC0) != 0x80)
                return 0;
            value = (value << 6) | (byte & 0x3F);
        }
        if (value < min || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
            return 0;
        i += n;
    }
    return 1;
}

// ---- Constructors ------------------------------------------------------------

KelJson *kel_json_null_new_base(void)
{
    return json_alloc(KEL_JSON_NULL);
}

KelJson *kel_json_bool_new_base(gboolean value)
{
    return json_alloc(value ? KEL_JSON_TRUE : KEL_JSON_FALSE);
}

KelJson *kel_json_i64_new_base(gint64 value)
{
    KelJson *json = json_alloc(KEL_JSON_INT64);
    json->i64 = value;
    return json;
}

KelJson *kel_json_u64_new_base(guint64 value)
{
    KelJson *json = json_alloc(KEL_JSON_UINT64);
    json->u64 = value;
    return json;
}

KelJson *kel_json_u128_new_base(KelUint128 value)
{
    KelJson *json = json_alloc(KEL_JSON_UINT128);
    json->u128 = value;
    return json;
}

KelJson *kel_json_double_new_base(double value)
{
    KelJson *json = json_alloc(KEL_JSON_DOUBLE);
    json->d = value;
    return json;
}

KelJson *kel_json_str_new_len_base(const char *value, gsize len, KelError **error)
{
    if (value == nullptr) {
        json_arg_failed(error, __func__, "value");
        return nullptr;
    }
    // The text is stored NUL-terminated, so a NUL inside the given length
    // would silently cut it short: refused instead.
    if (const void *nul = memchr(value, '\0', len)) {
        kel_set_error(error, kel_json_error_domain(), KEL_JSON_ARG_INVALID,
                      "%s: string contains a NUL byte at offset %" G_GSIZE_FORMAT, __func__,
                      static_cast<gsize>(static_cast<const char *>(nul) - value));
        return nullptr;
    }
    return string_node(value, len, error);
}

KelJson *kel_json_str_new_base(const char *value, KelError **error)
{
    if (value == nullptr) {
        json_arg_failed(error, __func__, "value");
        return nullptr;
    }
    // strlen already stops at the first NUL: no second scan for one.
    return string_node(value, strlen(value), error);
}

KelJson *kel_json_jref_new_base(const char *uri, KelError **error)
{
    if (uri == nullptr) {
        json_arg_failed(error, __func__, "uri");
        return nullptr;
    }
    KelJson *json = json_alloc(KEL_JSON_JREF);
    json->uri = g_strdup(uri);
    return json;
}

const char *kel_json_jref_uri(const KelJson *json)
{
    return json != nullptr && json->type == KEL_JSON_JREF ? json->uri : nullptr;
}

// ---- Reference counting and deletion -----------------------------------------

void kel_json_ref(KelJson *json)
{
    if (json != nullptr)
        json->refcount++;
}

void kel_json_unref(KelJson *json)
{
    if (json == nullptr)
        return;
    if (json->parent != nullptr) {
        // The parent's reference keeps a member alive whatever its creator does.
        if (--json->refcount <= 0)
            json->refcount = 1;
        return;
    }
    if (--json->refcount <= 0)
        kel_json_delete(json);
}

void kel_json_delete(KelJson *json)
{
    if (json == nullptr)
        return;
    if (!json_is_container(json)) {
        free_node(json);  // nothing below it: no recursion possible
        return;
    }
    if (t_deferred != nullptr) {
        t_deferred->push_back(json);
        return;
    }
    std::vector<KelJson *> pending;
    t_deferred = &pending;
    free_node(json);
    while (!pending.empty()) {
        KelJson *next = pending.back();
        pending.pop_back();
        free_node(next);
    }
    t_deferred = nullptr;
}

// ---- Getters -----------------------------------------------------------------

gint64 kel_json_i64_get(const KelJson *json)
{
    if (json == nullptr)  // outside the contract, but never a crash
        return 0;
    switch (json->type) {
    case KEL_JSON_INT64:
    case KEL_JSON_UINT64:
    case KEL_JSON_UINT128:
        return json->i64;  // first word: a uint128 gives its low half
    case KEL_JSON_DOUBLE:
        return double_to_i64(json->d);
    default:
        return 0;
    }
}

guint64 kel_json_u64_get(const KelJson *json)
{
    if (json == nullptr)  // outside the contract, but never a crash
        return 0;
    switch (json->type) {
    case KEL_JSON_INT64:
    case KEL_JSON_UINT64:
    case KEL_JSON_UINT128:
        return json->u64;
    case KEL_JSON_DOUBLE:
        return double_to_u64(json->d);
    default:
        return 0;
    }
}

KelUint128 kel_json_u128_get(const KelJson *json)
{
    if (json == nullptr)  // outside the contract, but never a crash
        return KelUint128{0, 0};
    switch (json->type) {
    case KEL_JSON_INT64:  // no sign extension
    case KEL_JSON_UINT64:
        return KelUint128{json->u64, 0};
    case KEL_JSON_UINT128:
        return json->u128;
    case KEL_JSON_DOUBLE:
        return KelUint128{double_to_u64(json->d), 0};
    default:
        return KelUint128{0, 0};
    }
}

double kel_json_double_get(const KelJson *json)
{
    if (json == nullptr)  // outside the contract, but never a crash
        return 0.0;
    switch (json->type) {
    case KEL_JSON_INT64:
        return static_cast<double>(json->i64);
    case KEL_JSON_UINT64:
        return static_cast<double>(json->u64);
    case KEL_JSON_UINT128:
        return static_cast<double>(json->u128.lo);
    case KEL_JSON_DOUBLE:
        return json->d;
    default:
        return 0.0;
    }
}

gboolean kel_json_bool_get(const KelJson *json)
{
    return json != nullptr && json->type == KEL_JSON_TRUE;
}

// ---- Predicates and names ----------------------------------------------------

gboolean kel_json_is_num(const KelJson *json)
{
    return json != nullptr && json->type >= KEL_JSON_INT64 && json->type <= KEL_JSON_DOUBLE;
}

gboolean kel_json_is_int(const KelJson *json)
{
    return json != nullptr && json->type >= KEL_JSON_INT64 && json->type <= KEL_JSON_UINT128;
}

gboolean kel_json_is_bool(const KelJson *json)
{
    return json != nullptr && (json->type == KEL_JSON_TRUE || json->type == KEL_JSON_FALSE);
}

const char *kel_json_enum_type_string(guint32 type, gboolean exact)
{
    if (type > KEL_JSON_JREF)
        return "<unknown>";
    return exact ? kExactNames[type] : kGenericNames[type];
}

const char *kel_json_type_string(const KelJson *json, gboolean exact)
{
    return json == nullptr ? "<none>" : kel_json_enum_type_string(json->type, exact);
}

// ---- Parent accessors --------------------------------------------------------

const char *kel_json_parent_key(const KelJson *json)
{
    if (json == nullptr || json->parent == nullptr || json->parent->type != KEL_JSON_OBJECT)
        return nullptr;
    return json->key;
}

int kel_json_parent_index(const KelJson *json)
{
    if (json == nullptr || json->parent == nullptr || json->parent->type != KEL_JSON_ARRAY)
        return -1;
    return json->index;
}
