// JSON Patch (RFC 6902), applied all or nothing, and JSON Merge Patch
// (RFC 7386).
//
// A patch changes the document in place and records every change in an undo
// log; the nodes it takes out stay alive in the log until the whole patch has
// succeeded. A failing operation rolls the log back, newest change first, so
// the document ends exactly as it was: the same nodes, the same values and
// the same member order. The log costs one entry per change, where applying
// the patch to a copy would cost a copy of the whole document per call.
#include <algorithm>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kel_json_model.h"

namespace {

using kel::json_is_container;

constexpr const char *kApply = "kel_json_patch_apply";

inline KelJson *elem_at(const KelJson *array, guint i) noexcept
{
    return static_cast<KelJson *>(g_ptr_array_index(array->array, i));
}

inline guint array_len(const KelJson *array) noexcept { return array->array->len; }

inline bool is_owning(const KelJson *json, int type) noexcept
{
    return json->type == type && !kel::json_is_borrowing(json);
}

// ---- Array surgery ---------------------------------------------------------------
// Elements of an owning array carry their position, so every insertion or
// removal in the middle renumbers the elements after it.

void renumber_from(KelJson *array, guint from) noexcept
{
    for (guint i = from; i < array_len(array); i++)
        elem_at(array, i)->index = static_cast<gint32>(i);
}

// Inserts a value without parent at position i (0..length); the array takes
// a reference.
void array_insert(KelJson *array, guint i, KelJson *value) noexcept
{
    value->refcount++;
    value->parent = array;
    g_ptr_array_insert(array->array, static_cast<gint>(i), value);
    renumber_from(array, i);
}

// Takes the element at i out; the array's reference passes to the caller.
KelJson *array_take(KelJson *array, guint i) noexcept
{
    auto *elem = static_cast<KelJson *>(g_ptr_array_steal_index(array->array, i));
    elem->parent = nullptr;
    renumber_from(array, i);
    return elem;
}

// Puts value in the place of the element at i and hands that element (with
// the array's reference) to the caller.
KelJson *array_exchange(KelJson *array, guint i, KelJson *value) noexcept
{
    KelJson *former = elem_at(array, i);
    former->parent = nullptr;
    value->refcount++;
    value->parent = array;
    value->index = static_cast<gint32>(i);
    array->array->pdata[i] = value;
    return former;
}

// ---- Whole-document replacement -------------------------------------------------
// The caller's root node must stay the same object, so a new document moves
// in as contents: two containers of one kind trade their tables.

void adopt_members(KelJson *container) noexcept
{
    if (container->type == KEL_JSON_ARRAY) {
        for (guint i = 0; i < array_len(container); i++)
            elem_at(container, i)->parent = container;
        return;
    }
    GHashTableIter iter;
    gpointer member = nullptr;
    g_hash_table_iter_init(&iter, container->obj);
    while (g_hash_table_iter_next(&iter, nullptr, &member))
        static_cast<KelJson *>(member)->parent = container;
}

void swap_contents(KelJson *a, KelJson *b) noexcept
{
    if (a->type == KEL_JSON_OBJECT) {
        std::swap(a->obj, b->obj);
        std::swap(kel::json_obj_next_seq(a), kel::json_obj_next_seq(b));
    } else {
        std::swap(a->array, b->array);
    }
    adopt_members(a);
    adopt_members(b);
}

// ---- Undo log ---------------------------------------------------------------------

enum class ChangeKind : guint8 {
    kMemberAdded,     // key is new in container
    kMemberReplaced,  // held is the member that was under key
    kMemberRemoved,   // held was under key at sequence seq
    kElemInserted,    // a new element at index
    kElemRemoved,     // held was the element at index
    kElemReplaced,    // held was the element at index
    kRootSwapped,     // held has the document's former contents
};

struct Change {
    ChangeKind kind;
    KelJson *container;
    KelJson *held;  // a node the log keeps one reference on, or null
    std::string key;
    guint index;
    guint64 seq;       // the removed member's place in the insertion order
    guint64 next_seq;  // the object's next sequence number before the change
};

class UndoLog {
public:
    UndoLog() = default;
    UndoLog(const UndoLog &) = delete;
    UndoLog &operator=(const UndoLog &) = delete;
    ~UndoLog() { commit(); }

    void record(Change change) { changes_.push_back(std::move(change)); }

    // The patch succeeded: the nodes taken out are released.
    void commit() noexcept
    {
        for (Change &c : changes_)
            kel_json_unref(c.held);
        changes_.clear();
    }

    // The patch failed: every change is undone, newest first.
    void rollback() noexcept
    {
        for (auto c = changes_.rbegin(); c != changes_.rend(); ++c)
            undo(*c);
        changes_.clear();
    }

private:
    static void undo(Change &c) noexcept
    {
        switch (c.kind) {
        case ChangeKind::kMemberAdded:
            g_hash_table_remove(c.container->obj, c.key.c_str());
            kel::json_obj_next_seq(c.container) = c.next_seq;
            break;
        case ChangeKind::kMemberReplaced:
            // A replacement keeps the name's place; so does putting it back.
            kel_json_obj_put_base(c.container, c.key.c_str(), c.held, nullptr);
            break;
        case ChangeKind::kMemberRemoved:
            kel_json_obj_put_base(c.container, c.key.c_str(), c.held, nullptr);
            kel::json_key_seq(c.held->key) = c.seq;
            kel::json_obj_next_seq(c.container) = c.next_seq;
            break;
        case ChangeKind::kElemInserted:
            kel_json_unref(array_take(c.container, c.index));
            break;
        case ChangeKind::kElemRemoved:
            array_insert(c.container, c.index, c.held);
            break;
        case ChangeKind::kElemReplaced:
            kel_json_unref(array_exchange(c.container, c.index, c.held));
            break;
        case ChangeKind::kRootSwapped:
            swap_contents(c.container, c.held);
            break;
        }
        kel_json_unref(c.held);
    }

    std::vector<Change> changes_;
};

// ---- Pointers ---------------------------------------------------------------------

// A path or from member of an operation, read as RFC 6901 demands: empty or
// "/"-separated tokens with only ~0 and ~1 as escapes.
struct Path {
    const char *member;  // "path" or "from"
    const char *text;
    std::vector<std::string> tokens;
};

// Splits text into unescaped tokens, or gives the reason why it cannot.
const char *read_tokens(std::string_view text, std::vector<std::string> &tokens)
{
    if (text.empty())
        return nullptr;
    if (text[0] != '/')
        return "it must be empty or begin with \"/\"";
    for (size_t pos = 0; pos < text.size();) {
        std::string &token = tokens.emplace_back();
        for (pos++; pos < text.size() && text[pos] != '/'; pos++) {
            if (text[pos] != '~') {
                token += text[pos];
                continue;
            }
            const char next = pos + 1 < text.size() ? text[pos + 1] : '\0';
            if (next != '0' && next != '1')
                return "\"~\" must be followed by \"0\" or \"1\"";
            token += next == '0' ? '~' : '/';
            pos++;
        }
    }
    return nullptr;
}

// An array index as RFC 6901 writes it: "0", or digits without a leading
// zero. Returns false for anything else; values too large for any array
// come back as G_MAXUINT.
bool read_index(const std::string &token, guint *index)
{
    if (token.empty() || (token.size() > 1 && token[0] == '0'))
        return false;
    guint64 value = 0;
    for (char c : token) {
        if (c < '0' || c > '9')
            return false;
        value = std::min<guint64>(value * 10 + static_cast<guint64>(c - '0'), G_MAXUINT);
    }
    *index = static_cast<guint>(value);
    return true;
}

// ---- Applying a patch ---------------------------------------------------------------

// Where a path leads: the whole document (container null), a member of an
// object (key), or a position of an array (index, which may equal the length
// when adding). value is what is there now, null for a new place.
struct Place {
    KelJson *container = nullptr;
    const std::string *key = nullptr;
    guint index = 0;
    KelJson *value = nullptr;
};

struct Patcher {
    Patcher(KelJson *document, KelError **slot) : doc(document), error(slot) {}

    KelJson *doc;
    KelError **error;
    KelJson *op = nullptr;  // the operation being applied, named in every message
    UndoLog log;
    guint64 created = 0;  // values made by copy operations
    guint64 budget = 0;   // 0 until the first copy operation

    // ---- Messages

    void missing(const Path &path, KelJson *container, const std::string &token)
    {
        if (container->type == KEL_JSON_OBJECT)
            kel_json_set_error(error, KEL_JSON_KEY_INVALID,
                               "Patch operation %P: %s \"%s\" does not exist: JSON object %P does "
                               "not have key %s",
                               op, path.member, path.text, container, token.c_str());
        else
            kel_json_set_error(error, KEL_JSON_INDEX_INVALID,
                               "Patch operation %P: %s \"%s\" does not exist: index %s is out of "
                               "bounds for JSON array %P",
                               op, path.member, path.text, token.c_str(), container);
    }

    void not_a_pointer(const char *member, const char *text, const char *reason)
    {
        kel_json_set_error(error, KEL_JSON_POINTER_INVALID,
                           "Patch operation %P: %s \"%s\" is not a valid JSON pointer: %s", op,
                           member, text, reason);
    }

    void malformed(const char *format, const char *arg)
    {
        kel_json_set_error(error, KEL_JSON_ARG_INVALID, format, op, arg);
    }

    // ---- Reading an operation

    KelJson *member(const char *name)
    {
        KelJson *value = static_cast<KelJson *>(g_hash_table_lookup(op->obj, name));
        if (value == nullptr)
            malformed("Patch operation %P: missing member %s", name);
        return value;
    }

    const char *string_member(const char *name)
    {
        KelJson *value = member(name);
        if (value == nullptr)
            return nullptr;
        if (value->type != KEL_JSON_STRING) {
            malformed("Patch operation %P: member %s is not a string", name);
            return nullptr;
        }
        return value->str;
    }

    bool read_path(const char *name, Path &path)
    {
        path.member = name;
        path.text = string_member(name);
        if (path.text == nullptr)
            return false;
        if (const char *reason = read_tokens(path.text, path.tokens)) {
            not_a_pointer(name, path.text, reason);
            return false;
        }
        return true;
    }

    // ---- Finding places

    // Follows path through the document. With adding, the last token may name
    // a new member or the position just past an array's end ("-" or the
    // length); otherwise it must name an existing value.
    bool locate(const Path &path, bool adding, Place &place)
    {
        KelJson *current = doc;
        place = Place{};
        place.value = doc;
        const size_t n = path.tokens.size();
        for (size_t i = 0; i < n; i++) {
            const std::string &token = path.tokens[i];
            const bool last = i + 1 == n;
            KelJson *next = nullptr;
            if (is_owning(current, KEL_JSON_OBJECT)) {
                next = static_cast<KelJson *>(g_hash_table_lookup(current->obj, token.c_str()));
                place.key = &token;
            } else if (is_owning(current, KEL_JSON_ARRAY)) {
                const guint len = array_len(current);
                guint index = 0;
                if (adding && last && token == "-") {
                    index = len;
                } else if (!read_index(token, &index)) {
                    std::string reason = "\"" + token + "\" is not an array index";
                    not_a_pointer(path.member, path.text, reason.c_str());
                    return false;
                }
                if (adding && last && index <= len) {
                    // Adding to an array inserts: nothing there is replaced.
                    place.container = current;
                    place.index = index;
                    place.value = nullptr;
                    return true;
                }
                if (index >= len) {
                    missing(path, current, token);
                    return false;
                }
                next = elem_at(current, index);
                place.index = index;
            } else {
                kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                                   "Patch operation %P: %s \"%s\" does not exist: %P is of type %s",
                                   op, path.member, path.text, current,
                                   kel_json_type_string(current, TRUE));
                return false;
            }
            if (next == nullptr && !(adding && last)) {
                missing(path, current, token);
                return false;
            }
            place.container = current;
            place.value = next;
            current = next;
        }
        return true;
    }

    // ---- Changing the document (each change logged)

    // Puts value (without parent: a new copy, or a value moved out of the
    // document) at the place, replacing what is there.
    bool put(const Place &place, KelJson *value)
    {
        KelJson *c = place.container;
        if (c == nullptr) {
            if (!json_is_container(value) || !is_owning(doc, value->type)) {
                kel_json_set_error(error, KEL_JSON_TYPE_INVALID,
                                   "Patch operation %P: the whole document (%s) can only be "
                                   "replaced by an object or array of the same type, not %s",
                                   op, kel_json_type_string(doc, TRUE),
                                   kel_json_type_string(value, TRUE));
                return false;
            }
            kel_json_ref(value);
            swap_contents(doc, value);
            log.record({ChangeKind::kRootSwapped, doc, value, {}, 0, 0, 0});
            return true;
        }
        if (c->type == KEL_JSON_ARRAY) {
            if (place.value == nullptr) {
                array_insert(c, place.index, value);
                log.record({ChangeKind::kElemInserted, c, nullptr, {}, place.index, 0, 0});
            } else {
                KelJson *former = array_exchange(c, place.index, value);
                log.record({ChangeKind::kElemReplaced, c, former, {}, place.index, 0, 0});
            }
            return true;
        }
        const guint64 next_seq = kel::json_obj_next_seq(c);
        if (place.value != nullptr)
            kel_json_ref(place.value);  // the log's reference, once the table lets go
        if (!kel_json_obj_put_base(c, place.key->c_str(), value, error)) {
            kel_json_unref(place.value);
            return false;
        }
        if (place.value != nullptr)
            log.record({ChangeKind::kMemberReplaced, c, place.value, *place.key, 0, 0, next_seq});
        else
            log.record({ChangeKind::kMemberAdded, c, nullptr, *place.key, 0, 0, next_seq});
        return true;
    }

    // Takes the value at an existing place (not the root) out of the
    // document; the log keeps it, so a moved value stays alive.
    KelJson *take(const Place &place)
    {
        KelJson *c = place.container;
        KelJson *value = place.value;
        if (c->type == KEL_JSON_ARRAY) {
            log.record({ChangeKind::kElemRemoved, c, array_take(c, place.index), {}, place.index, 0, 0});
            return value;
        }
        const guint64 seq = kel::json_key_seq(value->key);
        const guint64 next_seq = kel::json_obj_next_seq(c);
        kel_json_ref(value);
        g_hash_table_remove(c->obj, place.key->c_str());
        log.record({ChangeKind::kMemberRemoved, c, value, *place.key, 0, seq, next_seq});
        return value;
    }

    // Puts a new value made for this operation; it is released if it cannot
    // be placed.
    bool put_new(const Place &place, KelJson *value)
    {
        if (put(place, value))
            return true;
        kel_json_unref(value);
        return false;
    }

    // Counts the values of json against what copies may still create.
    bool within_budget(KelJson *json)
    {
        if (budget == 0)
            budget = std::max<guint64>(KEL_JSON_PATCH_MIN_BUDGET,
                                       KEL_JSON_PATCH_BUDGET_FACTOR * count(doc, G_MAXUINT64));
        const guint64 left = budget - std::min(created, budget);
        const guint64 n = count(json, left);
        if (n > left) {
            char *limit = g_strdup_printf("%" G_GUINT64_FORMAT, budget);
            kel_json_set_error(error, KEL_JSON_FEATURE_UNSUPPORTED,
                               "Patch operation %P: the patch would create more than %s values",
                               op, limit);
            g_free(limit);
            return false;
        }
        created += n;
        return true;
    }

    // The values in the tree under json, counting stopped once past limit.
    static guint64 count(KelJson *json, guint64 limit)
    {
        guint64 n = 0;
        std::vector<KelJson *> pending{json};
        while (!pending.empty() && n <= limit) {
            KelJson *v = pending.back();
            pending.pop_back();
            n++;
            if (v->type == KEL_JSON_ARRAY) {
                for (guint i = 0; i < array_len(v); i++)
                    pending.push_back(elem_at(v, i));
            } else if (v->type == KEL_JSON_OBJECT) {
                GHashTableIter iter;
                gpointer member = nullptr;
                g_hash_table_iter_init(&iter, v->obj);
                while (g_hash_table_iter_next(&iter, nullptr, &member))
                    pending.push_back(static_cast<KelJson *>(member));
            }
        }
        return n;
    }

    // ---- The six operations

    bool add(const Path &path)
    {
        KelJson *value = member("value");
        Place place;
        return value != nullptr && locate(path, true, place) && put_new(place, kel_json_copy(value));
    }

    bool remove(const Path &path)
    {
        Place place;
        if (!locate(path, false, place))
            return false;
        if (place.container == nullptr) {
            kel_json_set_error(error, KEL_JSON_ARG_INVALID,
                               "Patch operation %P: cannot remove the whole document", op);
            return false;
        }
        take(place);
        return true;
    }

    bool replace(const Path &path)
    {
        KelJson *value = member("value");
        Place place;
        return value != nullptr && locate(path, false, place) && put_new(place, kel_json_copy(value));
    }

    bool move(const Path &path)
    {
        Path from;
        Place source;
        if (!read_path("from", from) || !locate(from, false, source))
            return false;
        const std::string_view to(path.text), origin(from.text);
        if (to == origin)
            return true;
        if (to.size() > origin.size() && to.substr(0, origin.size()) == origin &&
            to[origin.size()] == '/') {
            kel_json_set_error(error, KEL_JSON_ARG_INVALID,
                               "Patch operation %P: cannot move \"%s\" into its own child \"%s\"",
                               op, from.text, path.text);
            return false;
        }
        KelJson *value = take(source);
        Place target;
        // On failure the log still holds the value and puts it back.
        return locate(path, true, target) && put(target, value);
    }

    bool copy(const Path &path)
    {
        Path from;
        Place source, target;
        if (!read_path("from", from) || !locate(from, false, source) ||
            !locate(path, true, target) || !within_budget(source.value))
            return false;
        return put_new(target, kel_json_copy(source.value));
    }

    bool test(const Path &path)
    {
        KelJson *value = member("value");
        Place place;
        if (value == nullptr || !locate(path, false, place))
            return false;
        if (kel_json_subset(place.value, value, KEL_JSON_SUBSET_EQUAL))
            return true;
        kel_json_set_error(error, KEL_JSON_ARG_INVALID,
                           "Patch operation %P: test failed: the value at \"%s\" is not equal to "
                           "the expected value",
                           op, path.text);
        return false;
    }

    bool apply(KelJson *operation)
    {
        op = operation;
        if (op->type != KEL_JSON_OBJECT) {
            kel::json_type_failed(error, kApply, op, KEL_JSON_OBJECT);
            return false;
        }
        using Handler = bool (Patcher::*)(const Path &);
        static constexpr std::pair<std::string_view, Handler> kOps[] = {
            {"add", &Patcher::add},   {"remove", &Patcher::remove}, {"replace", &Patcher::replace},
            {"move", &Patcher::move}, {"copy", &Patcher::copy},     {"test", &Patcher::test},
        };
        const char *name = string_member("op");
        if (name == nullptr)
            return false;
        auto known = std::find_if(std::begin(kOps), std::end(kOps),
                                  [&](const auto &entry) { return entry.first == name; });
        if (known == std::end(kOps)) {
            malformed("Patch operation %P: unknown operation %s", name);
            return false;
        }
        Path path;
        return read_path("path", path) && (this->*known->second)(path);
    }
};

// True when json is node or lies below it.
bool is_within(const KelJson *json, const KelJson *node) noexcept
{
    for (; json != nullptr; json = json->parent)
        if (json == node)
            return true;
    return false;
}

// ---- Merge patch ---------------------------------------------------------------------

std::vector<kel::JsonMember> members_of(KelJson *obj)
{
    std::vector<kel::JsonMember> members(g_hash_table_size(obj->obj));
    kel::json_obj_members(obj, members.data(), false);
    return members;
}

// Applies the object patch to the object target (a tree of the caller's
// own, already copied), level by level without recursion.
void merge_into(KelJson *target, KelJson *patch)
{
    struct Level {
        KelJson *target;
        std::vector<kel::JsonMember> members;
        size_t next;
    };
    std::vector<Level> levels;
    levels.push_back({target, members_of(patch), 0});
    while (!levels.empty()) {
        Level &level = levels.back();
        if (level.next == level.members.size()) {
            levels.pop_back();
            continue;
        }
        const kel::JsonMember m = level.members[level.next++];
        KelJson *dst = level.target;
        if (m.value->type == KEL_JSON_NULL) {
            kel_json_obj_remove(dst, m.key);
        } else if (m.value->type == KEL_JSON_OBJECT) {
            auto *child = static_cast<KelJson *>(g_hash_table_lookup(dst->obj, m.key));
            if (child == nullptr || child->type != KEL_JSON_OBJECT)
                child = kel_json_obj_put_obj_base(dst, m.key, nullptr);
            levels.push_back({child, members_of(m.value), 0});
        } else {
            KelJson *copy = kel_json_copy(m.value);
            if (!kel_json_obj_put_base(dst, m.key, copy, nullptr))
                kel_json_unref(copy);
        }
    }
}

}  // namespace

gboolean kel_json_patch_apply(KelJson *doc, KelJson *patch, KelError **error)
{
    if (doc == nullptr || patch == nullptr) {
        kel::json_arg_failed(error, kApply, doc == nullptr ? "doc" : "patch");
        return FALSE;
    }
    if (patch->type != KEL_JSON_ARRAY) {
        kel::json_type_failed(error, kApply, patch, KEL_JSON_ARRAY);
        return FALSE;
    }
    // A patch stored inside the document would change under its own
    // operations: it is read from a copy then (whose messages name the
    // operations by their index alone).
    KelJson *own = is_within(patch, doc) ? kel_json_copy(patch) : nullptr;
    KelJson *ops = own != nullptr ? own : patch;
    Patcher patcher(doc, error);
    bool ok = true;
    for (guint i = 0; ok && i < array_len(ops); i++)
        ok = patcher.apply(elem_at(ops, i));
    if (ok)
        patcher.log.commit();
    else
        patcher.log.rollback();
    kel_json_unref(own);
    return ok;
}

KelJson *kel_json_merge_patch(KelJson *target, KelJson *patch, KelError **error)
{
    if (target == nullptr || patch == nullptr) {
        kel::json_arg_failed(error, "kel_json_merge_patch", target == nullptr ? "target" : "patch");
        return nullptr;
    }
    if (patch->type != KEL_JSON_OBJECT)
        return kel_json_copy(patch);
    KelJson *result = target->type == KEL_JSON_OBJECT ? kel_json_copy(target)
                                                      : kel_json_obj_new_base(FALSE);
    merge_into(result, patch);
    return result;
}
