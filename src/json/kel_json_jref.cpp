// References ($ref values): one resolution step, chain resolution with cycle
// detection, and expansion of every reference under a value into a copy of
// its target.
#include <cstring>

#include "kel_internal.h"

namespace {

constexpr bool is_jref(const KelJson *json)
{
    return json != nullptr && json->type == KEL_JSON_JREF;
}

// The references met on one chain. Chains are nearly always short, so the
// first three entries live on the stack; a longer chain moves the list to
// the heap and doubles it whenever it fills.
class PassedList {
public:
    PassedList() = default;
    ~PassedList()
    {
        if (items_ != inline_)
            g_free(items_);
    }
    PassedList(const PassedList &) = delete;
    PassedList &operator=(const PassedList &) = delete;

    void add(const KelJson *json)
    {
        if (size_ == capacity_)
            grow();
        items_[size_++] = json;
    }

    bool contains(const KelJson *json) const
    {
        for (gsize i = 0; i < size_; ++i)
            if (items_[i] == json)
                return true;
        return false;
    }

private:
    void grow()
    {
        gsize capacity = capacity_ * 2;
        if (items_ == inline_) {
            items_ = g_new(const KelJson *, capacity);
            std::memcpy(items_, inline_, sizeof inline_);
        } else {
            items_ = g_renew(const KelJson *, items_, capacity);
        }
        capacity_ = capacity;
    }

    const KelJson *inline_[3] = {};
    const KelJson **items_ = inline_;
    gsize size_ = 0;
    gsize capacity_ = 3;
};

// ---- Expansion ------------------------------------------------------------------

struct ExpandState {
    KelJson *stack;  // references being expanded, outermost first
    KelJson *done;   // values whose collection finished, in that order
    KelError **error;
};

// Linear search by position over a borrowing work list; the lists are small
// and expansion is quadratic in the number of references by design.
bool list_contains(const KelJson *list, const KelJson *json)
{
    const GPtrArray *items = list->array;
    for (guint i = 0; i < items->len; ++i)
        if (items->pdata[i] == json)
            return true;
    return false;
}

int jref_collect(ExpandState *state, KelJson *value);

int collect_visited_jref(KelJson *value, const char *, gpointer data)
{
    return jref_collect(static_cast<ExpandState *>(data), value);
}

// The visitor of expansion: it reacts to references only.
constexpr KelJsonVisitor make_expand_visitor()
{
    KelJsonVisitor visitor{};
    visitor.on_jref = collect_visited_jref;
    return visitor;
}

constexpr KelJsonVisitor kExpandVisitor = make_expand_visitor();

// Collects `value` and, depth-first, every reference reachable from it
// (through the tree and through the targets of references) into `done`, in
// post-order. Answers a visit code: continue, or abort after an error.
int jref_collect(ExpandState *state, KelJson *value)
{
    if (list_contains(state->done, value))
        return KEL_JSON_VISIT_CONTINUE;
    if (list_contains(state->stack, value)) {
        // Expanding this reference would need its own expansion first.
        kel_json_set_error(state->error, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element %P",
                           value);
        return KEL_JSON_VISIT_ABORT;
    }
    if (!kel_json_array_push_base(state->stack, value, state->error))
        return KEL_JSON_VISIT_ABORT;

    KelJson *walk = value;
    if (is_jref(value)) {
        if (kel::error_pending(state->error))
            return KEL_JSON_VISIT_ABORT;
        walk = kel_json_jref_deref_base(value, state->error);
        if (walk == nullptr)
            return KEL_JSON_VISIT_ABORT;
    }
    if (!kel_json_visit(walk, &kExpandVisitor, state))
        return KEL_JSON_VISIT_ABORT;

    KelJson *finished = kel_json_array_pop_elem(state->stack);
    if (finished == nullptr)
        return KEL_JSON_VISIT_ABORT;
    kel_json_array_push_base(state->done, finished, nullptr);
    return KEL_JSON_VISIT_CONTINUE;
}

// Replaces every collected reference but the last entry (root itself) by a
// copy of its target, in the order collection finished them: the references
// inside a target are replaced before any copy of that target is made.
bool replace_collected(ExpandState *state)
{
    const GPtrArray *done = state->done->array;
    for (guint i = 0; i + 1 < done->len; ++i) {
        auto *ref = static_cast<KelJson *>(done->pdata[i]);
        if (kel::error_pending(state->error))
            return false;
        KelJson *target = kel_json_jref_deref_base(ref, state->error);
        if (target == nullptr)
            return false;
        KelJson *copy = kel_json_copy(target);
        if (kel::error_pending(state->error) || !kel_json_swap_child_base(ref, copy, state->error)) {
            kel_json_unref(copy);  // never placed: freed
            return false;
        }
    }
    return true;
}

}  // namespace

KelJson *kel_json_jref_resolve_base(KelJson *json, KelError **error)
{
    if (!is_jref(json)) {
        kel::json_type_failed(error, "kel_json_jref_resolve_base", json, KEL_JSON_JREF);
        return nullptr;
    }
    // A URI always names a place from the top of the reference's document.
    KelJson *root = json;
    while (root->parent != nullptr)
        root = root->parent;
    if (kel::error_pending(error))
        return nullptr;
    return kel_json_ptr_get_base(root, kel_json_jref_uri(json), error);
}

KelJson *kel_json_jref_deref_base(KelJson *json, KelError **error)
{
    if (!is_jref(json)) {
        kel::json_type_failed(error, "kel_json_jref_deref_base", json, KEL_JSON_JREF);
        return nullptr;
    }
    PassedList passed;
    KelJson *current = json;
    for (;;) {
        passed.add(current);
        if (kel::error_pending(error))
            return nullptr;
        KelJson *next = kel_json_jref_resolve_base(current, error);
        if (next == nullptr || !is_jref(next))
            return next;
        if (passed.contains(next)) {
            kel_json_set_error(error, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element %P", next);
            return nullptr;
        }
        current = next;
    }
}

gboolean kel_json_jref_expand(KelJson *root, KelError **error)
{
    if (root == nullptr) {
        kel::json_arg_failed(error, "kel_json_jref_expand", "root");
        return FALSE;
    }
    // Held for the call, so that releasing the work lists (which count root
    // among their entries) can never delete it.
    kel_json_ref(root);
    ExpandState state{kel_json_array_new_base(5, TRUE), kel_json_array_new_base(5, TRUE), error};

    bool ok = jref_collect(&state, root) != KEL_JSON_VISIT_ABORT && replace_collected(&state);

    // Releasing `done` also frees the references that replacement took out
    // of the document; they had to stay alive until now because later
    // entries of the list may still be compared against them.
    kel_json_unref(state.stack);
    kel_json_unref(state.done);
    // Give the hold back without deleting: a new root (count 0) stays alive
    // and still belongs to the caller.
    root->refcount -= 1;
    return ok ? TRUE : FALSE;
}
