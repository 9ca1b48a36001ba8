// Depth-first walk over a JSON value with a table of callbacks.
//
// The walk does not recurse natively: every container being walked owns a
// frame on an explicit stack (a small inline buffer, grown on the heap for
// deep documents), so documents nested a million levels deep are walked with
// constant native stack. The observable behaviour is that of the recursive
// formulation ("iterate"): each container runs
//   on_obj/on_array -> key list -> begin -> member loop -> end -> free keys
// and hands its result to the member loop of its parent.
#include <algorithm>
#include <cstring>

#include "kel_json_walk.h"

namespace {

using Code = int;

constexpr Code kContinue = KEL_JSON_VISIT_CONTINUE;
constexpr Code kSkip = KEL_JSON_VISIT_SKIP;
constexpr Code kAbort = KEL_JSON_VISIT_ABORT;

// How objects are walked: by the key list (obj_keys or kel_json_obj_keys)
// with a lookup per name, or, for the serializer, in place.
enum class Members { kByKeys, kInPlace, kInPlaceSorted };

// A member of an object walked in place.
using Member = kel::JsonMember;

// The members of the objects being walked in place, innermost object last:
// each object's members are listed once when its walk begins (cheaper than
// an iterator step per member) and dropped when it ends.
class MemberBuffer {
public:
    MemberBuffer() = default;
    MemberBuffer(const MemberBuffer &) = delete;
    MemberBuffer &operator=(const MemberBuffer &) = delete;
    ~MemberBuffer() { g_free(data_); }

    guint size() const noexcept { return size_; }
    const Member &operator[](guint i) const noexcept { return data_[i]; }
    void truncate(guint size) noexcept { size_ = size; }

    // Appends the members of `obj` in insertion order, or in strcmp order of
    // their names when `sorted` (the order of kel_json_alpha_keys; names are
    // unique, so the order is total).
    void append(KelJson *obj, bool sorted) noexcept
    {
        const guint n = g_hash_table_size(obj->obj);
        if (n > capacity_ - size_)
            grow(n);
        size_ += kel::json_obj_members(obj, data_ + size_, sorted);
    }

private:
    void grow(guint n) noexcept
    {
        capacity_ = std::max(capacity_ * 2, size_ + n);
        data_ = g_renew(Member, data_, capacity_);
    }

    Member *data_ = nullptr;
    guint size_ = 0;
    guint capacity_ = 0;
};

// A container whose member loop is running.
struct Frame {
    KelJson *container;
    KelStrArray *keys;  // objects walked by keys; owned by the walk
    guint first;        // objects walked in place: their first member in the buffer
    guint count;        // and how many they have
    int pos;            // next key or element position
};

// Stack of frames with inline room for ordinary documents; only deeper ones
// cost a heap block. Frames are trivially copyable, so growth is a realloc.
class FrameStack {
public:
    FrameStack() = default;
    FrameStack(const FrameStack &) = delete;
    FrameStack &operator=(const FrameStack &) = delete;
    ~FrameStack()
    {
        if (data_ != inline_)
            g_free(data_);
    }

    bool empty() const noexcept { return size_ == 0; }
    std::size_t size() const noexcept { return size_; }
    Frame &top() noexcept { return data_[size_ - 1]; }

    void push(const Frame &f) noexcept
    {
        if (size_ == capacity_)
            grow();
        data_[size_++] = f;
    }
    void pop() noexcept { --size_; }

private:
    void grow() noexcept
    {
        const std::size_t cap = capacity_ * 2;
        if (data_ == inline_) {
            auto *heap = g_new(Frame, cap);
            std::memcpy(heap, inline_, sizeof inline_);
            data_ = heap;
        } else {
            data_ = g_renew(Frame, data_, cap);
        }
        capacity_ = cap;
    }

    static constexpr std::size_t kInline = 32;
    Frame inline_[kInline];
    Frame *data_ = inline_;
    std::size_t size_ = 0;
    std::size_t capacity_ = kInline;
};

class Walker {
public:
    Walker(const KelJsonVisitor *v, gpointer data, Members mode = Members::kByKeys) noexcept
        : v_(v), data_(data), mode_(mode)
    {
    }

    // The handling of `value` by kind, as the recursive worker "iterate" does
    // it, run to completion; returns the value's visit code.
    Code run(KelJson *value) noexcept
    {
        Code c = kContinue;
        if (!enter(value, &c))
            return c;
        return loop();
    }

private:
    // Starts the handling of `value`. True when a container's member loop was
    // pushed; otherwise the value is done and *code holds its visit code.
    bool enter(KelJson *value, Code *code) noexcept
    {
        const std::size_t depth = stack_.size();
        *code = scalar_or_open(value);
        return stack_.size() > depth;
    }

    // Scalars get their kind's callback with the payload read in place (for
    // a value of that kind it is exactly what the kind's getter returns).
    Code scalar_or_open(KelJson *value) noexcept
    {
        switch (value->type) {
        case KEL_JSON_NULL:
            return v_->on_null ? v_->on_null(value, data_) : kContinue;
        case KEL_JSON_TRUE:
        case KEL_JSON_FALSE:
            return v_->on_bool ? v_->on_bool(value, value->type == KEL_JSON_TRUE, data_) : kContinue;
        case KEL_JSON_INT64:
            return v_->on_i64 ? v_->on_i64(value, value->i64, data_) : kContinue;
        case KEL_JSON_UINT64:
            return v_->on_u64 ? v_->on_u64(value, value->u64, data_) : kContinue;
        case KEL_JSON_UINT128:
            return v_->on_u128 ? v_->on_u128(value, value->u128, data_) : kContinue;
        case KEL_JSON_DOUBLE:
            return v_->on_double ? v_->on_double(value, value->d, data_) : kContinue;
        case KEL_JSON_STRING:
            return v_->on_str ? v_->on_str(value, value->str, data_) : kContinue;
        case KEL_JSON_JREF:
            return v_->on_jref ? v_->on_jref(value, value->uri, data_) : kContinue;
        case KEL_JSON_OBJECT:
            return enter_container(value, v_->on_obj, v_->obj_begin, true);
        case KEL_JSON_ARRAY:
            return enter_container(value, v_->on_array, v_->array_begin, false);
        default:
            // The file is named by a literal so the report does not depend on
            // where the library was built.
            kel::log_unreachable("src/json/kel_json_visitor.cpp", __LINE__, "iterate");
            return kAbort;
        }
    }

    Code enter_container(KelJson *c, int (*on_kind)(KelJson *, gpointer),
                         int (*begin)(KelJson *, gpointer), bool is_obj) noexcept
    {
        if (on_kind) {
            const Code r = on_kind(c, data_);
            if (r == KEL_JSON_VISIT_STOP || r == kAbort)
                return r;
            if (r == kSkip)
                return kContinue;  // skipped whole: no keys, begin or end
        }
        Frame f{c, nullptr, 0, 0, 0};
        if (is_obj) {
            if (mode_ != Members::kByKeys) {
                f.first = members_.size();
                members_.append(c, mode_ == Members::kInPlaceSorted);
                f.count = members_.size() - f.first;
            } else {
                f.keys = v_->obj_keys ? v_->obj_keys(c, data_) : kel_json_obj_keys(c);
            }
        }
        stack_.push(f);
        const Code r = begin ? begin(c, data_) : kContinue;
        if (r != kContinue)
            return finish(r);  // pops the frame again
        return kContinue;
    }

    // Ends the member loop of the top frame with loop answer `r`: end
    // callback unless aborting, the larger-of rule, key list freed. Pops the
    // frame and returns the container's code.
    Code finish(Code r) noexcept
    {
        Frame &f = stack_.top();
        Code result = kAbort;
        if (r != kAbort) {
            const bool is_obj = f.container->type == KEL_JSON_OBJECT;
            auto end = is_obj ? v_->obj_end : v_->array_end;
            const Code e = end ? end(f.container, data_) : kContinue;
            if (e > r)
                r = e;
            result = r == kSkip ? kContinue : r;
        }
        if (f.keys)
            kel_str_array_free(f.keys, TRUE);
        else if (f.count > 0)
            members_.truncate(f.first);
        stack_.pop();
        return result;
    }

    // Next member of the top frame, with its member callback already
    // answered into *r; NULL when the container is exhausted.
    KelJson *next_member(Frame &f, Code *r) noexcept
    {
        KelJson *c = f.container;
        if (c->type == KEL_JSON_OBJECT && mode_ != Members::kByKeys)
            return next_in_place(f, r);
        if (c->type == KEL_JSON_OBJECT) {
            if (f.keys == nullptr)
                return nullptr;
            while (static_cast<guint>(f.pos) < f.keys->len) {
                const int i = f.pos++;
                const char *key = g_array_index(f.keys, char *, i);
                KelJson *m = kel_json_obj_get_base(c, key, 0, nullptr);
                // A name that is not a member can only come from a faulty
                // obj_keys callback; passing it over keeps the walk safe.
                if (m == nullptr)
                    continue;
                *r = v_->obj_member ? v_->obj_member(c, key, m, i == 0, data_) : kContinue;
                return m;
            }
            return nullptr;
        }
        const int i = f.pos;
        KelJson *m;
        if (mode_ != Members::kByKeys)  // the same element, read in place
            m = static_cast<guint>(i) < c->array->len
                    ? static_cast<KelJson *>(g_ptr_array_index(c->array, i))
                    : nullptr;
        else
            m = kel_json_array_get_base(c, i, 0, nullptr);
        if (m == nullptr)
            return nullptr;
        f.pos++;
        *r = v_->array_elem ? v_->array_elem(c, i, m, data_) : kContinue;
        return m;
    }

    // next_member for an object walked in place.
    KelJson *next_in_place(Frame &f, Code *r) noexcept
    {
        if (static_cast<guint>(f.pos) >= f.count)
            return nullptr;
        const int i = f.pos++;
        const Member &m = members_[f.first + static_cast<guint>(i)];
        *r = v_->obj_member ? v_->obj_member(f.container, m.key, m.value, i == 0, data_) : kContinue;
        return m.value;
    }

    // Runs member loops until the container that was opened first is done.
    Code loop() noexcept
    {
        Code c = kContinue;  // code of the member just handled
        for (;;) {
            if (c != kContinue) {
                c = finish(c);
                if (stack_.empty())
                    return c;
                continue;
            }
            Code r = kContinue;
            KelJson *m = next_member(stack_.top(), &r);
            if (m == nullptr) {
                c = finish(kContinue);
                if (stack_.empty())
                    return c;
                continue;
            }
            if (r == kContinue && v_->on_value)
                r = v_->on_value(m, data_);
            if (r != kContinue) {
                c = r;
                continue;
            }
            if (enter(m, &c))
                c = kContinue;  // its member loop is now on top
        }
    }

    const KelJsonVisitor *v_;
    gpointer data_;
    Members mode_;
    FrameStack stack_;
    MemberBuffer members_;
};

}  // namespace

gboolean kel::json_visit_in_place(KelJson *json, const KelJsonVisitor *visitor, gpointer data,
                                  bool sorted) noexcept
{
    if (visitor->on_value) {
        const int r = visitor->on_value(json, data);
        if (r != KEL_JSON_VISIT_CONTINUE)
            return r != KEL_JSON_VISIT_ABORT;
    }
    Walker walker(visitor, data, sorted ? Members::kInPlaceSorted : Members::kInPlace);
    return walker.run(json) != KEL_JSON_VISIT_ABORT;
}

extern "C" gboolean kel_json_visit(KelJson *json, const KelJsonVisitor *visitor, gpointer data)
{
    KEL_RETURN_VAL_IF_FAIL(json, FALSE);
    KEL_RETURN_VAL_IF_FAIL(visitor, FALSE);

    if (visitor->on_value) {
        const int r = visitor->on_value(json, data);
        if (r != KEL_JSON_VISIT_CONTINUE)
            return r != KEL_JSON_VISIT_ABORT;
    }
    Walker walker(visitor, data);
    return walker.run(json) != KEL_JSON_VISIT_ABORT;
}
