// Typed access: whether a number can be read exactly as another number kind,
// and the typed object lookups built on that.
#include <cmath>

#include "kel_json_model.h"

namespace kel {

namespace {

constexpr double kMinusTwo63 = -9223372036854775808.0;
constexpr double kTwo63 = 9223372036854775808.0;
constexpr double kTwo64 = 18446744073709551616.0;
// Every integer of magnitude up to 2^53 (both ends) is exact in a double.
constexpr gint64 kTwo53 = G_GINT64_CONSTANT(9007199254740992);

// fmod of NaN or an infinity is NaN, which equals nothing: never integral.
// -0.0 leaves a remainder of -0.0, which equals 0.0: integral.
inline bool integral(double d) noexcept
{
    return std::fmod(d, 1.0) == 0.0;
}

// A double can be read as uint64 or uint128 (which converts through 64 bits).
inline bool double_fits_u64(double d) noexcept
{
    return integral(d) && d >= 0.0 && d < kTwo64;
}

using Predicate = gboolean (*)(const KelJson *, gboolean);

// The typed number lookups: the member when `fits` accepts it, read through
// `get`; otherwise a type error naming `func` and the stored kind, and zero.
template <typename T>
T get_number(KelJson *json, const char *key, KelError **error, const char *func,
             Predicate fits, T (*get)(const KelJson *), KelJsonType expected) noexcept
{
    KelJson *member = kel_json_obj_get_base(json, key, 1, error);
    if (member == nullptr)
        return T{};
    if (fits(member, TRUE))
        return get(member);
    json_type_failed(error, func, member, expected);
    return T{};
}

}  // namespace

}  // namespace kel

using namespace kel;

gboolean kel_json_is_i64_ext(const KelJson *json, gboolean convert)
{
    if (json == nullptr)
        return FALSE;
    if (!convert)
        return json->type == KEL_JSON_INT64;
    switch (json->type) {
    case KEL_JSON_INT64:
        return TRUE;
    case KEL_JSON_UINT64:
        return json->u64 <= static_cast<guint64>(G_MAXINT64);
    case KEL_JSON_UINT128:
        return json->u128.hi == 0 && json->u128.lo <= static_cast<guint64>(G_MAXINT64);
    case KEL_JSON_DOUBLE:
        return integral(json->d) && json->d >= kMinusTwo63 && json->d < kTwo63;
    default:
        return FALSE;
    }
}

gboolean kel_json_is_u64_ext(const KelJson *json, gboolean convert)
{
    if (json == nullptr)
        return FALSE;
    if (!convert)
        return json->type == KEL_JSON_UINT64;
    switch (json->type) {
    case KEL_JSON_INT64:
        return json->i64 >= 0;
    case KEL_JSON_UINT64:
        return TRUE;
    case KEL_JSON_UINT128:
        return json->u128.hi == 0;
    case KEL_JSON_DOUBLE:
        return double_fits_u64(json->d);
    default:
        return FALSE;
    }
}

gboolean kel_json_is_u128_ext(const KelJson *json, gboolean convert)
{
    if (json == nullptr)
        return FALSE;
    if (!convert)
        return json->type == KEL_JSON_UINT128;
    switch (json->type) {
    case KEL_JSON_INT64:
        return json->i64 >= 0;
    case KEL_JSON_UINT64:
    case KEL_JSON_UINT128:
        return TRUE;
    case KEL_JSON_DOUBLE:
        return double_fits_u64(json->d);
    default:
        return FALSE;
    }
}

gboolean kel_json_is_double_ext(const KelJson *json, gboolean convert)
{
    if (json == nullptr)
        return FALSE;
    if (!convert)
        return json->type == KEL_JSON_DOUBLE;
    switch (json->type) {
    case KEL_JSON_INT64:
        return json->i64 >= -kTwo53 && json->i64 <= kTwo53;
    case KEL_JSON_UINT64:
        return json->u64 <= static_cast<guint64>(kTwo53);
    case KEL_JSON_UINT128:
        return json->u128.hi == 0 && json->u128.lo <= static_cast<guint64>(kTwo53);
    case KEL_JSON_DOUBLE:
        return TRUE;
    default:
        return FALSE;
    }
}

gint64 kel_json_obj_get_i64_base(KelJson *json, const char *key, KelError **error)
{
    return get_number(json, key, error, __func__, kel_json_is_i64_ext, kel_json_i64_get,
                      KEL_JSON_INT64);
}

guint64 kel_json_obj_get_u64_base(KelJson *json, const char *key, KelError **error)
{
    return get_number(json, key, error, __func__, kel_json_is_u64_ext, kel_json_u64_get,
                      KEL_JSON_UINT64);
}

KelUint128 kel_json_obj_get_u128_base(KelJson *json, const char *key, KelError **error)
{
    return get_number(json, key, error, __func__, kel_json_is_u128_ext, kel_json_u128_get,
                      KEL_JSON_UINT128);
}

double kel_json_obj_get_double_base(KelJson *json, const char *key, KelError **error)
{
    return get_number(json, key, error, __func__, kel_json_is_double_ext, kel_json_double_get,
                      KEL_JSON_DOUBLE);
}

gboolean kel_json_obj_get_bool_base(KelJson *json, const char *key, KelError **error)
{
    KelJson *member = kel_json_obj_get_base(json, key, 1, error);
    if (member == nullptr)
        return FALSE;
    if (kel_json_is_bool(member))
        return kel_json_bool_get(member);
    if (error != nullptr)
        kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                           "%s: invalid JSON type for %P: expected bool, got %s", __func__, member,
                           kel_json_type_string(member, TRUE));
    return FALSE;
}
