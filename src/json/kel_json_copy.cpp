// Deep copy and tree surgery: orphaning a value, swapping a child for a new
// value, and placing a value at an array index with gap filling.
#include <vector>

#include "kel_internal.h"

namespace {

// The critical for an unknown kind names the value-model unit that the copy
// belongs to, whichever file of it holds the code.
constexpr const char *kThisFile = "src/json/kel_json.cpp";

bool is_container(const KelJson *json) noexcept
{
    return json->type == KEL_JSON_OBJECT || json->type == KEL_JSON_ARRAY;
}

// A new value of the same kind and payload. Containers come back empty (an
// array with room for the source's elements); their members are copied by
// the walk in kel_json_copy. Unknown kinds log the critical and give null.
KelJson *copy_node(const KelJson *json) noexcept
{
    switch (json->type) {
    case KEL_JSON_NULL:
        return kel_json_null_new_base();
    case KEL_JSON_TRUE:
        return kel_json_bool_new_base(TRUE);
    case KEL_JSON_FALSE:
        return kel_json_bool_new_base(FALSE);
    case KEL_JSON_INT64:
        return kel_json_i64_new_base(json->i64);
    case KEL_JSON_UINT64:
        return kel_json_u64_new_base(json->u64);
    case KEL_JSON_UINT128:
        return kel_json_u128_new_base(json->u128);
    case KEL_JSON_DOUBLE:
        return kel_json_double_new_base(json->d);
    case KEL_JSON_STRING:
        return kel_json_str_new_base(json->str, nullptr);
    case KEL_JSON_JREF:
        // A reference is copied as a reference, never followed.
        return kel_json_jref_new_base(json->uri, nullptr);
    case KEL_JSON_OBJECT:
        return kel_json_obj_new_base(FALSE);
    case KEL_JSON_ARRAY:
        return kel_json_array_new_base(static_cast<int>(json->array->len), FALSE);
    default:
        break;
    }
    kel::log_unreachable(kThisFile, __LINE__, "kel_json_copy");
    return nullptr;
}

// One container whose members are being copied. The walk is iterative so
// that a chain nested a million levels deep copies on any stack.
struct CopyFrame {
    KelJson *src;
    KelJson *dst;
    const char *key;                       // name of dst in its parent when that is an object
    std::vector<kel::JsonMember> members;  // objects: the source's members, in insertion order
    guint next;                            // next member or element position
};

CopyFrame open_frame(KelJson *src, KelJson *dst, const char *key) noexcept
{
    CopyFrame frame{src, dst, key, {}, 0};
    if (src->type == KEL_JSON_OBJECT) {
        frame.members.resize(g_hash_table_size(src->obj));
        kel::json_obj_members(src, frame.members.data(), false);
    }
    return frame;
}

// The next member of the frame's source (with its name for objects), or false
// when all have been visited. Objects go in insertion order, arrays by
// position, so the copy lists its members in the same order.
bool next_member(CopyFrame &frame, const char **key, KelJson **member) noexcept
{
    if (frame.src->type == KEL_JSON_OBJECT) {
        if (frame.next >= frame.members.size())
            return false;
        const kel::JsonMember &m = frame.members[frame.next++];
        *key = m.key;
        *member = m.value;
        return true;
    }
    if (frame.next >= frame.src->array->len)
        return false;
    *key = nullptr;
    *member = static_cast<KelJson *>(g_ptr_array_index(frame.src->array, frame.next++));
    return true;
}

// Inserts a finished copy through the public put/push (which set its parent
// link). Copies are placed only once complete: their new parent has no
// parent of its own yet, so the insertion's cycle check stays O(1).
void attach(KelJson *dst, const char *key, KelJson *copy) noexcept
{
    const gboolean ok = dst->type == KEL_JSON_OBJECT ? kel_json_obj_put_base(dst, key, copy, nullptr)
                                                     : kel_json_array_push_base(dst, copy, nullptr);
    if (!ok)
        kel_json_unref(copy);
}

}  // namespace

KelJson *kel_json_copy(KelJson *json)
{
    if (json == nullptr)
        return nullptr;
    KelJson *root = copy_node(json);
    if (root == nullptr || !is_container(json))
        return root;

    std::vector<CopyFrame> stack;
    stack.push_back(open_frame(json, root, nullptr));
    while (!stack.empty()) {
        const char *key = nullptr;
        KelJson *member = nullptr;
        if (!next_member(stack.back(), &key, &member)) {
            KelJson *done = stack.back().dst;
            const char *done_key = stack.back().key;
            stack.pop_back();
            if (!stack.empty())
                attach(stack.back().dst, done_key, done);
            continue;
        }
        KelJson *copy = copy_node(member);
        if (copy == nullptr)
            continue;  // unknown kind, already logged; the walk goes on
        if (is_container(member))
            stack.push_back(open_frame(member, copy, key));
        else
            attach(stack.back().dst, key, copy);
    }
    return root;
}

gboolean kel_json_make_orphan_base(KelJson *json)
{
    if (json == nullptr)
        return FALSE;
    KelJson *parent = json->parent;
    if (parent == nullptr)
        return TRUE;

    if (parent->type == KEL_JSON_ARRAY) {
        if (kel_json_array_get_base(parent, -1, 0, nullptr) == json) {
            kel_json_array_pop_elem(parent);
            return TRUE;
        }
        // A null keeps the place so that the other elements do not move.
        KelJson *placeholder = kel_json_null_new_base();
        if (kel_json_array_swap(parent, json->index, placeholder, nullptr) != nullptr)
            return TRUE;
        kel_json_unref(placeholder);
        return FALSE;
    }

    // The extra count keeps the member alive through the removal; dropping it
    // afterwards without deleting hands the parent's reference to the caller.
    kel_json_ref(json);
    kel_json_obj_remove(parent, json->key);
    json->refcount -= 1;
    return TRUE;
}

gboolean kel_json_swap_child_base(KelJson *old_child, KelJson *new_child, KelError **error)
{
    if (old_child == nullptr) {
        kel::json_arg_failed(error, "kel_json_swap_child_base", "old_child");
        return FALSE;
    }
    if (new_child == nullptr) {
        kel::json_arg_failed(error, "kel_json_swap_child_base", "new_child");
        return FALSE;
    }
    KelJson *parent = old_child->parent;
    if (parent == nullptr)
        return TRUE;

    if (parent->type == KEL_JSON_ARRAY)
        return kel_json_array_swap(parent, old_child->index, new_child, error) != nullptr;

    // The put copies the key before the replacement frees the table's copy
    // that old_child->key points at.
    kel_json_ref(old_child);
    const gboolean ok = kel_json_obj_put_base(parent, old_child->key, new_child, error);
    old_child->refcount -= 1;
    return ok;
}

gboolean kel_json_array_put_ext(KelJson *json, int index, KelJson *value, KelJson *fill,
                                KelError **error)
{
    if (fill != nullptr) {
        while (kel_json_array_size(json) < index) {
            KelJson *copy = kel_json_copy(fill);
            if (!kel_json_array_push_base(json, copy, error)) {
                kel_json_unref(copy);
                return FALSE;
            }
        }
    }
    if (index == kel_json_array_size(json))
        return kel_json_array_push_base(json, value, error);

    KelJson *former = kel_json_array_swap(json, index, value, error);
    if (former == nullptr)
        return FALSE;
    kel_json_unref(former);
    return TRUE;
}
