// Private helpers of the JSON value model (kel_json*.cpp). Never installed.
#pragma once

#include "kel_internal.h"

namespace kel {

inline bool json_is_container(const KelJson *json) noexcept
{
    return json->type == KEL_JSON_OBJECT || json->type == KEL_JSON_ARRAY;
}

inline bool json_is_borrowing(const KelJson *json) noexcept
{
    return (json->flags & KEL_JSON_FLAG_BORROW) != 0;
}

// GDestroyNotify of borrowing containers.
void json_release_borrowed(gpointer member) noexcept;

// Reports the second-parent refusal for putting `value` into `container`.
void json_child_owned_failed(KelError **error, const KelJson *container,
                             const KelJson *value) noexcept;

// The checks every owning insertion makes before taking `value`: a value that
// already has a parent is refused (-9), and a parentless container must not be
// `container` itself or one of its ancestors.
inline bool json_refuse_owned_insert(KelJson *container, KelJson *value, KelError **error) noexcept
{
    if (value->parent != nullptr) {
        json_child_owned_failed(error, container, value);
        return true;
    }
    return json_is_container(value) && json_refuse_cycle(container, value, error);
}

// The put and push families: insert a freshly made value, or release it when
// the insertion fails. A null `value` (a failed constructor) is passed on.
KelJson *json_obj_put_made(KelJson *json, const char *key, KelJson *value,
                           KelError **error) noexcept;
KelJson *json_array_push_made(KelJson *json, KelJson *value, KelError **error) noexcept;

}  // namespace kel
