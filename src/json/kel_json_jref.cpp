// References ($ref values): one resolution step, chain resolution with cycle
// detection, and expansion of every reference under a value into a copy of
// its target.
#include <algorithm>
#include <cstring>
#include <unordered_map>
#include <unordered_set>
#include <vector>

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

// A borrowing work list with a pointer set beside it, so that membership is
// one hash lookup and expansion stays linear in the number of references.
struct WorkList {
    KelJson *list = kel_json_array_new_base(5, TRUE);
    std::unordered_set<const KelJson *> members;

    WorkList() = default;
    WorkList(const WorkList &) = delete;
    WorkList &operator=(const WorkList &) = delete;
    ~WorkList() { kel_json_unref(list); }

    bool contains(const KelJson *json) const { return members.count(json) != 0; }
};

struct ExpandState {
    WorkList stack;  // references being expanded, outermost first
    WorkList done;   // values whose collection finished, in that order
    KelError **error;
    guint64 budget;       // values the copies may create
    guint64 walk_limit;   // values the collection walks may visit
    guint64 walked = 0;
    bool over_budget = false;  // a collection walk passed walk_limit
    bool reported = false;     // and the error naming where has been set
};

void report_over_budget(ExpandState *state, const KelJson *ref)
{
    char *limit = g_strdup_printf("%" G_GUINT64_FORMAT, state->budget);
    kel_json_set_error(state->error, KEL_JSON_FEATURE_UNSUPPORTED,
                       "Expanding reference %P would create more than %s values", ref, limit);
    g_free(limit);
}

int jref_collect(ExpandState *state, KelJson *value);

int collect_visited_jref(KelJson *value, const char *, gpointer data)
{
    return jref_collect(static_cast<ExpandState *>(data), value);
}

// Counts every value the collection walks pass. A target is walked once per
// reference to it, so these walks cost no more than the copies would create:
// past the limit the expansion is refused before it can stall.
int count_walked(KelJson *, gpointer data)
{
    auto *state = static_cast<ExpandState *>(data);
    if (++state->walked <= state->walk_limit)
        return KEL_JSON_VISIT_CONTINUE;
    state->over_budget = true;
    return KEL_JSON_VISIT_ABORT;
}

// The visitor of expansion: it reacts to references, and counts.
constexpr KelJsonVisitor make_expand_visitor()
{
    KelJsonVisitor visitor{};
    visitor.on_value = count_walked;
    visitor.on_jref = collect_visited_jref;
    return visitor;
}

constexpr KelJsonVisitor kExpandVisitor = make_expand_visitor();

// Collects `value` and, depth-first, every reference reachable from it
// (through the tree and through the targets of references) into `done`, in
// post-order. Answers a visit code: continue, or abort after an error.
int jref_collect(ExpandState *state, KelJson *value)
{
    if (state->done.contains(value))
        return KEL_JSON_VISIT_CONTINUE;
    if (state->stack.contains(value)) {
        // Expanding this reference would need its own expansion first.
        kel_json_set_error(state->error, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element %P",
                           value);
        return KEL_JSON_VISIT_ABORT;
    }
    if (!kel_json_array_push_base(state->stack.list, value, state->error))
        return KEL_JSON_VISIT_ABORT;
    state->stack.members.insert(value);

    KelJson *walk = value;
    if (is_jref(value)) {
        if (kel::error_pending(state->error))
            return KEL_JSON_VISIT_ABORT;
        walk = kel_json_jref_deref_base(value, state->error);
        if (walk == nullptr)
            return KEL_JSON_VISIT_ABORT;
    }
    if (!kel_json_visit(walk, &kExpandVisitor, state)) {
        // The innermost reference being walked is where the limit ran out;
        // outer levels only pass the abort on.
        if (state->over_budget && !state->reported) {
            report_over_budget(state, value);
            state->reported = true;
        }
        return KEL_JSON_VISIT_ABORT;
    }

    KelJson *finished = kel_json_array_pop_elem(state->stack.list);
    if (finished == nullptr)
        return KEL_JSON_VISIT_ABORT;
    state->stack.members.erase(finished);
    kel_json_array_push_base(state->done.list, finished, nullptr);
    state->done.members.insert(finished);
    return KEL_JSON_VISIT_CONTINUE;
}

// Values in the tree under `json`, references included, with every
// reference found in `expanded` counted as the size of its replacement
// instead (saturating at G_MAXUINT64).
guint64 expanded_size(KelJson *json, const std::unordered_map<const KelJson *, guint64> &expanded)
{
    guint64 total = 0;
    std::vector<KelJson *> pending{json};
    while (!pending.empty()) {
        KelJson *v = pending.back();
        pending.pop_back();
        guint64 size = 1;
        if (v->type == KEL_JSON_JREF) {
            const auto it = expanded.find(v);
            if (it != expanded.end())
                size = it->second;
        } else if (v->type == KEL_JSON_ARRAY) {
            for (guint i = 0; i < v->array->len; i++)
                pending.push_back(static_cast<KelJson *>(v->array->pdata[i]));
        } else if (v->type == KEL_JSON_OBJECT) {
            GHashTableIter iter;
            gpointer member;
            g_hash_table_iter_init(&iter, v->obj);
            while (g_hash_table_iter_next(&iter, nullptr, &member))
                pending.push_back(static_cast<KelJson *>(member));
        }
        total = size > G_MAXUINT64 - total ? G_MAXUINT64 : total + size;
    }
    return total;
}

// Before anything is copied: the values that replacing every collected
// reference would create, each reference's copy counted with the copies
// that the references inside its target have become by then (those finished
// collection earlier). False, with the reference at which the running total
// passed the budget named, when it would be too many.
bool within_budget(ExpandState *state)
{
    const GPtrArray *done = state->done.list->array;
    std::unordered_map<const KelJson *, guint64> expanded;
    guint64 total = 0;
    for (guint i = 0; i + 1 < done->len; ++i) {
        auto *ref = static_cast<KelJson *>(done->pdata[i]);
        KelJson *target = kel_json_jref_deref_base(ref, nullptr);
        if (target == nullptr)
            continue;  // replacement reports it
        const guint64 size = expanded_size(target, expanded);
        expanded.emplace(ref, size);
        total = size > G_MAXUINT64 - total ? G_MAXUINT64 : total + size;
        if (total > state->budget) {
            report_over_budget(state, ref);
            return false;
        }
    }
    return true;
}

// Replaces every collected reference but the last entry (root itself) by a
// copy of its target, in the order collection finished them: the references
// inside a target are replaced before any copy of that target is made.
bool replace_collected(ExpandState *state)
{
    const GPtrArray *done = state->done.list->array;
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

// Values in the whole document that `json` belongs to.
guint64 document_size(KelJson *json)
{
    while (json->parent != nullptr)
        json = json->parent;
    return expanded_size(json, {});
}

// True when `uri` names a place in another document: it begins with a URI
// scheme ("http:", "urn:") or has text before its "#". Only pointers into
// the reference's own document ("", "#...", "/...") can be resolved; other
// text is left to the pointer lookup, which names what it cannot read.
bool names_other_document(const char *uri)
{
    const char *hash = std::strchr(uri, '#');
    if (hash != nullptr && hash != uri)
        return true;
    if (!g_ascii_isalpha(uri[0]))
        return false;
    const char *p = uri + 1;
    while (g_ascii_isalnum(*p) || *p == '+' || *p == '-' || *p == '.')
        p++;
    return *p == ':';
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
    const char *uri = kel_json_jref_uri(json);
    if (names_other_document(uri)) {
        kel_json_set_error(error, KEL_JSON_FEATURE_UNSUPPORTED, "external references are not supported: %s", uri);
        return nullptr;
    }
    return kel_json_ptr_get_base(root, uri, error);
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
    const guint64 values = document_size(root);
    const guint64 budget = std::max<guint64>(KEL_JSON_EXPAND_MIN_BUDGET,
                                             KEL_JSON_EXPAND_BUDGET_FACTOR * values);
    bool ok;
    {
        ExpandState state{{}, {}, error, budget, budget + values};
        ok = jref_collect(&state, root) != KEL_JSON_VISIT_ABORT && within_budget(&state) &&
             replace_collected(&state);
        // Leaving the scope releases the work lists; releasing `done` also
        // frees the references that replacement took out of the document,
        // which had to stay alive until now because later entries of the list
        // may still be compared against them.
    }
    // Give the hold back without deleting: a new root (count 0) stays alive
    // and still belongs to the caller.
    root->refcount -= 1;
    return ok ? TRUE : FALSE;
}
