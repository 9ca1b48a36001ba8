// Structural containment (subset and deep equality), array search, and the
// recursive union of two objects or two arrays.
//
// Both walks keep their pending levels in an explicit heap stack instead of
// the call stack, so documents nested far deeper than the parser accepts
// (chains built through the API, a million levels and more) are compared and
// merged without a depth limit and without running out of stack.
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kel_internal.h"

namespace {

// The critical for an unknown kind names the value-model unit that union
// belongs to, whichever file of it holds the code.
constexpr const char *kThisFile = "src/json/kel_json.cpp";

bool is_container(const KelJson *json) noexcept
{
    return json->type == KEL_JSON_OBJECT || json->type == KEL_JSON_ARRAY;
}

int length_of(const KelJson *array) noexcept
{
    return static_cast<int>(array->array->len);
}

KelJson *element(const KelJson *array, int index) noexcept
{
    return static_cast<KelJson *>(g_ptr_array_index(array->array, index));
}

// Member lookup without following references and without error reporting.
KelJson *member(const KelJson *object, const char *key) noexcept
{
    return static_cast<KelJson *>(g_hash_table_lookup(object->obj, key));
}

// ---- Subset ---------------------------------------------------------------

enum class Verdict { kFalse, kTrue, kPending };

Verdict verdict_of(bool value) noexcept
{
    return value ? Verdict::kTrue : Verdict::kFalse;
}

// The comparison of two containers in progress. `pending` becomes the
// verdict as soon as one is known.
//
// The members of an object are listed in insertion order into a buffer
// shared by all open levels (`base` is where a level's list starts). When b
// has as many members, its list follows a's (`paired`): objects of the same
// shape (a document and its copy, two parses of one text) list their names
// in the same order, so b's member at the same position is found with one
// name comparison instead of a hash lookup, which remains the fallback.
struct SubsetFrame {
    enum Kind { kObject, kSequence, kRun };
    KelJson *a;
    KelJson *b;
    Kind kind;
    Verdict pending;
    int na, nb;           // lengths, or numbers of members
    int i;                // next element or member of a to match
    int k;                // subsequence: next element of b to scan; run: offset in b
    std::size_t base;     // objects: a's members in the shared buffer
    bool paired;          // objects: b's members follow a's
};

class SubsetWalk {
public:
    explicit SubsetWalk(guint flags) noexcept : flags_(flags) {}
    bool run(KelJson *a, KelJson *b);

private:
    bool flag(guint bits) const noexcept { return (flags_ & bits) == bits; }
    Verdict open(KelJson *a, KelJson *b);
    Verdict open_array(KelJson *a, KelJson *b);
    Verdict open_object(KelJson *a, KelJson *b);
    Verdict begin(SubsetFrame frame);
    Verdict next_pair(SubsetFrame &frame, KelJson **x, KelJson **y) const noexcept;
    void advance(SubsetFrame &frame, bool matched) const noexcept;
    void pop() noexcept;

    guint flags_;
    std::vector<SubsetFrame> stack_;
    std::vector<kel::JsonMember> members_;
};

// The comparison of a value `a` that is no object or array with `b`.
Verdict scalar_verdict(const KelJson *a, const KelJson *b) noexcept
{
    if (a == b)
        return Verdict::kTrue;
    if (b == nullptr)
        return Verdict::kFalse;
    switch (a->type) {
    case KEL_JSON_STRING:
        return verdict_of(b->type == KEL_JSON_STRING && std::strcmp(a->str, b->str) == 0);
    case KEL_JSON_JREF:
        return verdict_of(b->type == KEL_JSON_JREF && std::strcmp(a->uri, b->uri) == 0);
    // Numbers: the kind of `a` decides, and `b` counts only when its value
    // converts to that kind exactly (a value of the same kind always does).
    case KEL_JSON_INT64:
        if (b->type == KEL_JSON_INT64)
            return verdict_of(b->i64 == a->i64);
        return verdict_of(kel_json_is_i64_ext(b, TRUE) && kel_json_i64_get(b) == a->i64);
    case KEL_JSON_UINT64:
        if (b->type == KEL_JSON_UINT64)
            return verdict_of(b->u64 == a->u64);
        return verdict_of(kel_json_is_u64_ext(b, TRUE) && kel_json_u64_get(b) == a->u64);
    case KEL_JSON_UINT128: {
        if (!kel_json_is_u128_ext(b, TRUE))
            return Verdict::kFalse;
        const KelUint128 v = kel_json_u128_get(b);
        return verdict_of(v.lo == a->u128.lo && v.hi == a->u128.hi);
    }
    case KEL_JSON_DOUBLE:
        if (b->type == KEL_JSON_DOUBLE)
            return verdict_of(b->d == a->d);
        return verdict_of(kel_json_is_double_ext(b, TRUE) && kel_json_double_get(b) == a->d);
    default:
        // null, true, false and any unknown kind: the kinds alone decide.
        return verdict_of(a->type == b->type);
    }
}

// ---- Contiguous run search --------------------------------------------------
//
// Looking for a run of a's elements anywhere in b offset by offset costs na
// comparisons per offset, na * nb in all ([1,1,...,1,2] against a long run
// of 1s). When every element of a is a primitive, each element is given a
// class instead, such that two elements compare true exactly when their
// classes are equal, and the run is found by Knuth-Morris-Pratt over the
// classes in O(na + nb), at the same first offset.
//
// The classes follow scalar_verdict. Integral numbers up to 2^53 in
// magnitude compare true across every kind that holds them, so they share
// one class by value; other doubles are classed by value among doubles, and
// larger integers by value among the integer kinds. The one pairing that is
// not symmetric, an integer kind beyond 2^53 against an equal double (true
// only with the integer on the left), cannot be expressed by classes: when
// the arrays hold both, the search is left to the offset-by-offset walk. So
// is a pattern holding containers.

constexpr double kTwo53 = 9007199254740992.0;

// Appends a sign and 128-bit magnitude.
void put_magnitude(std::string &key, bool negative, guint64 hi, guint64 lo)
{
    key += negative ? '-' : '+';
    key.append(reinterpret_cast<const char *>(&hi), sizeof hi);
    key.append(reinterpret_cast<const char *>(&lo), sizeof lo);
}

guint64 magnitude_of(gint64 v) noexcept
{
    return v < 0 ? 0 - static_cast<guint64>(v) : static_cast<guint64>(v);
}

// The class text of a primitive. `mixed` collects which large numbers were
// seen: 1 for an integer kind beyond 2^53, 2 for an integral double beyond.
std::string class_of(const KelJson *v, unsigned *mixed)
{
    std::string key(1, 'k');
    switch (v->type) {
    case KEL_JSON_STRING:
        return key.assign(1, 's').append(v->str);
    case KEL_JSON_JREF:
        return key.assign(1, 'r').append(v->uri);
    case KEL_JSON_INT64:
    case KEL_JSON_UINT64:
    case KEL_JSON_UINT128: {
        const bool negative = v->type == KEL_JSON_INT64 && v->i64 < 0;
        const guint64 hi = v->type == KEL_JSON_UINT128 ? v->u128.hi : 0;
        const guint64 lo = v->type == KEL_JSON_INT64    ? magnitude_of(v->i64)
                           : v->type == KEL_JSON_UINT64 ? v->u64
                                                        : v->u128.lo;
        const bool small = hi == 0 && lo <= static_cast<guint64>(kTwo53);
        if (!small)
            *mixed |= 1;
        key[0] = small ? 'i' : 'I';
        put_magnitude(key, negative, hi, lo);
        return key;
    }
    case KEL_JSON_DOUBLE: {
        const double d = v->d;
        if (std::isnan(d)) {
            // NaN equals nothing but the very same node.
            key[0] = 'n';
            return key.append(reinterpret_cast<const char *>(&v), sizeof v);
        }
        if (std::trunc(d) == d && std::fabs(d) <= kTwo53) {
            key[0] = 'i';
            put_magnitude(key, d < 0, 0, static_cast<guint64>(std::fabs(d)));
            return key;
        }
        if (std::trunc(d) == d && std::fabs(d) < 18446744073709551616.0)
            *mixed |= 2;
        key[0] = 'd';
        return key.append(reinterpret_cast<const char *>(&d), sizeof d);
    }
    default:  // null, true, false and unknown kinds: the kind alone
        return key.append(reinterpret_cast<const char *>(&v->type), sizeof v->type);
    }
}

struct KeyedHash {
    std::size_t operator()(const std::string &key) const noexcept
    {
        return kel::json_hash_bytes(key.data(), key.size());  // keyed: inputs cannot aim at buckets
    }
};

// The first offset of a's elements as a contiguous run of b's, as a
// verdict; kPending when the classes cannot decide (see above).
Verdict find_run(const KelJson *a, const KelJson *b)
{
    const int na = length_of(a);
    const int nb = length_of(b);
    std::unordered_map<std::string, int, KeyedHash> classes;
    std::vector<int> pattern(na);
    unsigned mixed = 0;
    for (int i = 0; i < na; i++) {
        const KelJson *x = element(a, i);
        if (is_container(x))
            return Verdict::kPending;
        pattern[i] = classes.emplace(class_of(x, &mixed), static_cast<int>(classes.size())).first->second;
    }
    // fail[i]: the length of the longest proper border of pattern[0..i].
    std::vector<int> fail(na, 0);
    for (int i = 1, k = 0; i < na; i++) {
        while (k > 0 && pattern[i] != pattern[k])
            k = fail[k - 1];
        if (pattern[i] == pattern[k])
            k++;
        fail[i] = k;
    }
    int matched = 0;
    for (int j = 0; j < nb; j++) {
        const KelJson *y = element(b, j);
        int c = -1;  // a container, or a class not in a: matches nothing
        if (!is_container(y)) {
            auto it = classes.find(class_of(y, &mixed));
            if (it != classes.end())
                c = it->second;
        }
        if (mixed == 3)
            return Verdict::kPending;
        while (matched > 0 && pattern[matched] != c)
            matched = fail[matched - 1];
        if (pattern[matched] == c)
            matched++;
        if (matched == na)
            return Verdict::kTrue;
    }
    return Verdict::kFalse;
}

// Decides a comparison that needs no walk, or pushes a frame for it.
Verdict SubsetWalk::open(KelJson *a, KelJson *b)
{
    if (a == b)
        return Verdict::kTrue;
    if (a == nullptr || b == nullptr)
        return Verdict::kFalse;
    if (a->type == KEL_JSON_OBJECT)
        return open_object(a, b);
    if (a->type == KEL_JSON_ARRAY)
        return open_array(a, b);
    return scalar_verdict(a, b);
}

Verdict SubsetWalk::open_object(KelJson *a, KelJson *b)
{
    if (b->type != KEL_JSON_OBJECT)
        return Verdict::kFalse;
    const guint na = g_hash_table_size(a->obj);
    const guint nb = g_hash_table_size(b->obj);
    if (flag(KEL_JSON_SUBSET_OBJ_SIZE) ? na != nb : na > nb)
        return Verdict::kFalse;
    if (na == 0)
        return Verdict::kTrue;
    const bool paired = na == nb;
    const std::size_t base = members_.size();
    members_.resize(base + na + (paired ? nb : 0));
    kel::json_obj_members(a, members_.data() + base, false);
    if (paired)
        kel::json_obj_members(b, members_.data() + base + na, false);
    stack_.push_back(SubsetFrame{a, b, SubsetFrame::kObject, Verdict::kPending,
                                 static_cast<int>(na), static_cast<int>(nb), 0, 0, base, paired});
    return Verdict::kPending;
}

Verdict SubsetWalk::open_array(KelJson *a, KelJson *b)
{
    if (b->type != KEL_JSON_ARRAY)
        return Verdict::kFalse;
    const int na = length_of(a);
    const int nb = length_of(b);
    SubsetFrame frame{a, b, SubsetFrame::kSequence, Verdict::kPending, na, nb, 0, 0, 0, false};
    if (flag(KEL_JSON_SUBSET_ARRAY_RUN)) {
        const guint all = KEL_JSON_SUBSET_ARRAY_RUN | KEL_JSON_SUBSET_ARRAY_PREFIX |
                          KEL_JSON_SUBSET_ARRAY_LENGTH;
        if (flag(all) && na != nb)
            return Verdict::kFalse;
        if (na > nb)
            return Verdict::kFalse;
        frame.kind = SubsetFrame::kRun;
        if (na > 1 && !flag(KEL_JSON_SUBSET_ARRAY_RUN | KEL_JSON_SUBSET_ARRAY_PREFIX)) {
            const Verdict found = find_run(a, b);
            if (found != Verdict::kPending)
                return found;
        }
    }
    if (na == 0)
        return Verdict::kTrue;
    return begin(frame);
}

// Runs a new array level's comparisons for as long as they are of scalars
// (decided at once), the steps run() would take, and pushes the level only
// when a pair of containers needs one: an array of numbers or strings is
// decided without touching the stack. (Objects gain nothing from it: their
// members are listed first, and the walk measured slower with it.)
G_GNUC_NO_INLINE Verdict SubsetWalk::begin(SubsetFrame frame)
{
    for (;;) {
        KelJson *x = nullptr;
        KelJson *y = nullptr;
        const Verdict verdict = next_pair(frame, &x, &y);
        if (verdict != Verdict::kPending) {
            if (frame.kind == SubsetFrame::kObject)
                members_.resize(frame.base);
            return verdict;
        }
        if (is_container(x)) {
            stack_.push_back(frame);
            return Verdict::kPending;
        }
        advance(frame, scalar_verdict(x, y) == Verdict::kTrue);
    }
}

// The next pair of members to compare, or the frame's verdict.
Verdict SubsetWalk::next_pair(SubsetFrame &frame, KelJson **x, KelJson **y) const noexcept
{
    if (frame.pending != Verdict::kPending)
        return frame.pending;
    switch (frame.kind) {
    case SubsetFrame::kObject: {
        if (frame.i == frame.na)
            return Verdict::kTrue;
        const kel::JsonMember &m = members_[frame.base + frame.i];
        *x = m.value;
        if (frame.paired) {
            const kel::JsonMember &o = members_[frame.base + frame.na + frame.i];
            if (std::strcmp(o.key, m.key) == 0) {
                *y = o.value;
                return Verdict::kPending;
            }
        }
        *y = member(frame.b, m.key);  // a missing member compares with null: false
        return Verdict::kPending;
    }
    case SubsetFrame::kSequence:
        if (frame.i == frame.na)
            return Verdict::kTrue;
        // Too few elements of b left for those of a still to match.
        if (frame.nb - frame.k < frame.na - frame.i)
            return Verdict::kFalse;
        *x = element(frame.a, frame.i);
        *y = element(frame.b, frame.k);
        return Verdict::kPending;
    case SubsetFrame::kRun:
        if (frame.i == frame.na)
            return Verdict::kTrue;
        *x = element(frame.a, frame.i);
        *y = element(frame.b, frame.k + frame.i);
        return Verdict::kPending;
    }
    return Verdict::kFalse;
}

// Takes in the outcome of the comparison that next_pair asked for.
void SubsetWalk::advance(SubsetFrame &frame, bool matched) const noexcept
{
    switch (frame.kind) {
    case SubsetFrame::kObject:
        if (matched)
            frame.i++;
        else
            frame.pending = Verdict::kFalse;
        break;
    case SubsetFrame::kSequence:
        // Greedy: the element of a takes the first fitting element of b.
        if (matched)
            frame.i++;
        frame.k++;
        break;
    case SubsetFrame::kRun:
        if (matched) {
            frame.i++;
        } else if (flag(KEL_JSON_SUBSET_ARRAY_RUN | KEL_JSON_SUBSET_ARRAY_PREFIX)) {
            frame.pending = Verdict::kFalse;  // only the run at offset 0 counts
        } else {
            frame.k++;
            frame.i = 0;
            if (frame.na > frame.nb - frame.k)
                frame.pending = Verdict::kFalse;
        }
        break;
    }
}

void SubsetWalk::pop() noexcept
{
    if (stack_.back().kind == SubsetFrame::kObject)
        members_.resize(stack_.back().base);
    stack_.pop_back();
}

bool SubsetWalk::run(KelJson *a, KelJson *b)
{
    Verdict verdict = open(a, b);
    while (verdict == Verdict::kPending || !stack_.empty()) {
        if (verdict != Verdict::kPending) {
            // A comparison finished: its outcome feeds the level above.
            advance(stack_.back(), verdict == Verdict::kTrue);
        }
        KelJson *x = nullptr;
        KelJson *y = nullptr;
        verdict = next_pair(stack_.back(), &x, &y);
        if (verdict != Verdict::kPending) {
            pop();
            if (stack_.empty())
                return verdict == Verdict::kTrue;
            continue;
        }
        verdict = open(x, y);
    }
    return verdict == Verdict::kTrue;
}

// ---- Union ----------------------------------------------------------------

// Keeps a right operand alive while a level works on it. An in-place union
// whose right operand lies inside the left one may replace an ancestor of the
// right operand (or the operand itself) under a conflicting key; the hold
// lets the walk finish on valid memory, and a value that nobody owns any
// more at the end is then released.
class Hold {
public:
    explicit Hold(KelJson *json) noexcept
        : json_(json), owned_(json->parent != nullptr || json->refcount > 0)
    {
        json_->refcount++;
    }
    void release() noexcept
    {
        json_->refcount--;
        if (owned_ && json_->parent == nullptr && json_->refcount <= 0)
            kel_json_delete(json_);
    }

private:
    KelJson *json_;
    bool owned_;
};

// One level of the union: two objects or two arrays being merged into
// `result`, which is `left` itself in place and otherwise a new container.
struct UnionFrame {
    KelJson *left;
    KelJson *right;
    KelJson *result;
    bool fresh;              // result is a new container owned by this level
    Hold hold;
    KelStrArray *lkeys;      // objects: sorted member names
    KelStrArray *rkeys;
    guint li, ri;            // objects: positions in the name lists
    int i, j;                // arrays: positions in left and right
    int k;                   // arrays in place: left's length at the start
    int nr;                  // arrays: right's length at the start
    KelJson *child_left;     // the pair of members a nested level merges
    KelJson *child_right;
    const char *child_name;  // objects: their name
};

enum class Step { kDone, kFailed, kChild };

class UnionWalk {
public:
    UnionWalk(guint flags, KelError **error) noexcept : flags_(flags), error_(error) {}
    KelJson *run(KelJson *left, KelJson *right);

private:
    bool flag(guint bits) const noexcept { return (flags_ & bits) == bits; }
    bool in_place() const noexcept { return flag(KEL_JSON_UNION_IN_PLACE); }
    bool open(KelJson *left, KelJson *right);
    void close(UnionFrame &frame, bool failed) noexcept;
    Step step(UnionFrame &frame);
    Step step_object(UnionFrame &frame);
    Step step_array(UnionFrame &frame);
    void adopt(UnionFrame &frame, KelJson *merged) noexcept;
    void put_copy(UnionFrame &frame, const char *name, KelJson *source) noexcept;
    void push_copy(UnionFrame &frame, KelJson *source) noexcept;
    void fail_unequal_members(KelJson *l, KelJson *r, const char *name) noexcept;
    void fail_unequal_elements(const UnionFrame &frame, KelJson *l, KelJson *r) noexcept;

    guint flags_;
    KelError **error_;
    std::vector<UnionFrame> stack_;
};

// The JSON pointer of a value, or `fallback` when none can be made.
char *path_or(const KelJson *json, const char *fallback) noexcept
{
    char *path = nullptr;
    if (kel_json_ptr(json, &path) < 0 || path == nullptr)
        return g_strdup(fallback);
    return path;
}

// The checks every (nested) union makes before merging; pushes the level.
// Every kind but object and array is a primitive here, a kind value outside
// the enumeration included: such a node is refused with "<unknown>" as its
// type name, so the unreachable branch below stays a safety net only.
bool UnionWalk::open(KelJson *left, KelJson *right)
{
    for (KelJson *operand : {left, right}) {
        if (!is_container(operand)) {
            kel_set_error(error_, kel_json_error_domain(), KEL_JSON_TYPE_INVALID,
                          "Cannot union primitive type %s", kel_json_type_string(operand, FALSE));
            return false;
        }
    }
    if (left->type != right->type) {
        kel_set_error(error_, kel_json_error_domain(), KEL_JSON_TYPE_INVALID,
                      "Cannot union %s with %s", kel_json_type_string(left, FALSE),
                      kel_json_type_string(right, FALSE));
        return false;
    }

    UnionFrame frame{left, right, left, false, Hold(right), nullptr, nullptr, 0, 0,
                     0, 0, 0, 0, nullptr, nullptr, nullptr};
    if (left->type == KEL_JSON_OBJECT) {
        if (!in_place()) {
            frame.result = kel_json_obj_new_base(FALSE);
            frame.fresh = true;
        }
        // Both name lists are taken now: the walk never sees members it adds.
        frame.lkeys = kel_json_alpha_keys(left);
        frame.rkeys = kel_json_alpha_keys(right);
    } else if (left->type == KEL_JSON_ARRAY) {
        if (in_place()) {
            frame.k = length_of(left);
        } else {
            frame.result = kel_json_array_new_base(0, FALSE);
            frame.fresh = true;
        }
        // Right's length is taken now as well. Without that an in-place union
        // of an array with itself would read the elements it appends and
        // never end; with it, x with x in place under
        // KEL_JSON_UNION_APPEND_PRIMITIVES doubles the array once.
        frame.nr = length_of(right);
    } else {
        // Only objects and arrays pass the checks above.
        kel::log_unreachable(kThisFile, __LINE__, "kel_json_union");
        frame.hold.release();
        return false;
    }
    stack_.push_back(frame);
    return true;
}

void UnionWalk::close(UnionFrame &frame, bool failed) noexcept
{
    kel_str_array_free(frame.lkeys, TRUE);
    kel_str_array_free(frame.rkeys, TRUE);
    // After a failure a new result goes; an in-place one keeps its changes.
    if (failed && frame.fresh)
        kel_json_unref(frame.result);
    frame.hold.release();
}

// Deep copy of `source` put under `name`. These are the steps given the
// caller's error slot, and they are skipped while it holds an error.
void UnionWalk::put_copy(UnionFrame &frame, const char *name, KelJson *source) noexcept
{
    if (kel::error_pending(error_))
        return;
    KelJson *copy = kel_json_copy(source);
    if (!kel_json_obj_put_base(frame.result, name, copy, error_))
        kel_json_unref(copy);
}

void UnionWalk::push_copy(UnionFrame &frame, KelJson *source) noexcept
{
    KelJson *copy = kel_json_copy(source);
    if (!kel_json_array_push_base(frame.result, copy, nullptr))
        kel_json_unref(copy);
}

void UnionWalk::fail_unequal_members(KelJson *l, KelJson *r, const char *name) noexcept
{
    char *lpath = path_or(l, name);
    char *rpath = path_or(r, name);
    kel_set_error(error_, kel_json_error_domain(), KEL_JSON_ARG_INVALID,
                  "Cannot union values from %s and %s; primitives are not equal", lpath, rpath);
    g_free(lpath);
    g_free(rpath);
}

void UnionWalk::fail_unequal_elements(const UnionFrame &frame, KelJson *l, KelJson *r) noexcept
{
    char *lfallback = g_strdup_printf("[%d]", frame.i);
    char *rfallback = g_strdup_printf("[%d]", frame.j);
    char *lpath = path_or(l, lfallback);
    char *rpath = path_or(r, rfallback);
    kel_set_error(error_, kel_json_error_domain(), KEL_JSON_ARG_INVALID,
                  "Cannot union differing array elements %s and %s", lpath, rpath);
    g_free(lpath);
    g_free(rpath);
    g_free(lfallback);
    g_free(rfallback);
}

// Objects: both sorted name lists are walked together.
Step UnionWalk::step_object(UnionFrame &frame)
{
    const char *const *lnames = reinterpret_cast<const char *const *>(frame.lkeys->data);
    const char *const *rnames = reinterpret_cast<const char *const *>(frame.rkeys->data);
    for (;;) {
        const char *ln = frame.li < frame.lkeys->len ? lnames[frame.li] : nullptr;
        const char *rn = frame.ri < frame.rkeys->len ? rnames[frame.ri] : nullptr;
        if (ln == nullptr && rn == nullptr)
            return Step::kDone;
        const int order = ln == nullptr ? 1 : rn == nullptr ? -1 : std::strcmp(ln, rn);
        if (order > 0) {
            put_copy(frame, rn, member(frame.right, rn));  // right only
            frame.ri++;
            continue;
        }
        if (order < 0) {
            if (frame.fresh)
                put_copy(frame, ln, member(frame.left, ln));  // left only
            frame.li++;
            continue;
        }

        frame.li++;
        frame.ri++;
        KelJson *l = member(frame.left, ln);
        KelJson *r = member(frame.right, rn);
        if (l == nullptr || r == nullptr)
            continue;  // cannot happen in a tree; nothing to merge
        if (is_container(l) && is_container(r)) {
            frame.child_left = l;
            frame.child_right = r;
            frame.child_name = ln;  // owned by lkeys, alive as long as the frame
            return Step::kChild;
        }
        if (kel_json_subset(l, r, KEL_JSON_SUBSET_EQUAL)) {
            if (frame.fresh) {
                KelJson *copy = kel_json_copy(l);
                if (!kel_json_obj_put_base(frame.result, ln, copy, nullptr))
                    kel_json_unref(copy);
            }
        } else if (!flag(KEL_JSON_UNION_RESOLVE)) {
            fail_unequal_members(l, r, ln);
            return Step::kFailed;
        } else if (flag(KEL_JSON_UNION_RESOLVE | KEL_JSON_UNION_PREFER_RIGHT)) {
            put_copy(frame, ln, r);
        } else if (frame.fresh) {
            put_copy(frame, ln, l);
        }
    }
}

// Arrays: both are walked position by position.
Step UnionWalk::step_array(UnionFrame &frame)
{
    const bool append_primitives = flag(KEL_JSON_UNION_APPEND_PRIMITIVES);
    const bool append_containers =
        flag(KEL_JSON_UNION_APPEND_PRIMITIVES | KEL_JSON_UNION_APPEND_CONTAINERS);
    for (;;) {
        if (!frame.fresh && frame.i >= frame.k) {
            // In place, past left's original elements: right's rest follows.
            for (; frame.j < frame.nr; frame.j++)
                push_copy(frame, element(frame.right, frame.j));
            return Step::kDone;
        }
        KelJson *l = frame.i < length_of(frame.left) ? element(frame.left, frame.i) : nullptr;
        KelJson *r = frame.j < frame.nr ? element(frame.right, frame.j) : nullptr;
        if (l == nullptr && r == nullptr)
            return Step::kDone;
        if (l == nullptr) {
            push_copy(frame, r);
            frame.j++;
            continue;
        }
        if (r == nullptr) {
            if (frame.fresh)
                push_copy(frame, l);
            frame.i++;
            continue;
        }
        if (l->type != r->type) {
            kel_set_error(error_, kel_json_error_domain(), KEL_JSON_TYPE_INVALID,
                          "Cannot union arrays containing different types (%s and %s)",
                          kel_json_type_string(l, FALSE), kel_json_type_string(r, FALSE));
            return Step::kFailed;
        }
        if (is_container(l) ? append_containers : append_primitives) {
            if (frame.fresh)
                push_copy(frame, l);
            frame.i++;
            continue;
        }
        if (is_container(l)) {
            frame.child_left = l;
            frame.child_right = r;
            frame.child_name = nullptr;
            return Step::kChild;
        }
        if (!kel_json_subset(l, r, KEL_JSON_SUBSET_EQUAL)) {
            fail_unequal_elements(frame, l, r);
            return Step::kFailed;
        }
        if (frame.fresh)
            push_copy(frame, l);
        frame.i++;
        frame.j++;
    }
}

Step UnionWalk::step(UnionFrame &frame)
{
    return frame.left->type == KEL_JSON_OBJECT ? step_object(frame) : step_array(frame);
}

// Takes the result of a nested union into the level above. In place the
// nested result is the member itself, already where it belongs.
void UnionWalk::adopt(UnionFrame &frame, KelJson *merged) noexcept
{
    if (merged != frame.child_left) {
        const gboolean ok = frame.child_name != nullptr
                                ? kel_json_obj_put_base(frame.result, frame.child_name, merged, nullptr)
                                : kel_json_array_push_base(frame.result, merged, nullptr);
        if (!ok)
            kel_json_unref(merged);
    }
    if (frame.left->type == KEL_JSON_ARRAY) {
        frame.i++;
        frame.j++;
    }
}

KelJson *UnionWalk::run(KelJson *left, KelJson *right)
{
    if (!open(left, right))
        return nullptr;
    for (;;) {
        const Step step_result = step(stack_.back());
        if (step_result == Step::kChild) {
            const UnionFrame &top = stack_.back();
            if (open(top.child_left, top.child_right))
                continue;
        } else if (step_result == Step::kDone) {
            UnionFrame done = stack_.back();
            stack_.pop_back();
            close(done, false);
            if (stack_.empty())
                return done.result;
            adopt(stack_.back(), done.result);
            continue;
        }
        // A failure anywhere fails every level: each releases its new result.
        while (!stack_.empty()) {
            close(stack_.back(), true);
            stack_.pop_back();
        }
        return nullptr;
    }
}

}  // namespace

gboolean kel_json_subset(KelJson *a, KelJson *b, guint flags)
{
    return SubsetWalk(flags).run(a, b);
}

KelJson *kel_json_array_find(KelJson *json, KelJson *pattern)
{
    for (int i = 0;; i++) {
        KelJson *elem = kel_json_array_get_base(json, i, 0, nullptr);
        if (elem == nullptr)
            return nullptr;
        if (kel_json_subset(elem, pattern, KEL_JSON_SUBSET_EQUAL))
            return elem;
    }
}

KelJson *kel_json_array_find_str(KelJson *json, const char *text)
{
    if (text == nullptr)
        return nullptr;
    KelJson *pattern = kel_json_str_new_base(text, nullptr);
    if (pattern == nullptr)
        return nullptr;  // not valid UTF-8: no string value can equal it
    KelJson *found = kel_json_array_find(json, pattern);
    kel_json_unref(pattern);
    return found;
}

KelJson *kel_json_union(KelJson *left, KelJson *right, guint flags, KelError **error)
{
    KEL_RETURN_VAL_IF_FAIL(left, nullptr);
    KEL_RETURN_VAL_IF_FAIL(right, nullptr);
    return UnionWalk(flags, error).run(left, right);
}
