// The visitor: call order, the travel rules of skip, stop and abort, key
// order, argument checks, unknown kinds and very deep documents.
#include <pthread.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "test_util.h"

using kel_test::JsonRoot;
using kel_test::LogCapture;

namespace {

// Where a value sits: its member names and indices from the walk's root,
// read from the public parent links ("#" for a value without parent).
std::string where(const KelJson *v)
{
    std::string path;
    for (; v != nullptr && v->parent != nullptr; v = v->parent) {
        const std::string step = v->parent->type == KEL_JSON_OBJECT ? std::string(v->key)
                                                                    : std::to_string(v->index);
        path = "/" + step + path;
    }
    return path.empty() ? "#" : path;
}

// Records every callback as one line of text and answers according to a
// script: `answer` is returned by the call number `answer_at` (0-based over
// all callbacks of the walk), or by every call whose line is `answer_line`.
struct Recorder {
    std::vector<std::string> trace;
    int answer_at = -1;
    std::string answer_line;
    int answer = KEL_JSON_VISIT_CONTINUE;
    bool alpha_keys = true;  // obj_keys slot: sorted, or reversed when false

    int record(const std::string &line)
    {
        const int n = static_cast<int>(trace.size());
        trace.push_back(line);
        if (n == answer_at || line == answer_line)
            return answer;
        return KEL_JSON_VISIT_CONTINUE;
    }
};

Recorder *rec(gpointer data) { return static_cast<Recorder *>(data); }

std::string u128_text(KelUint128 v)
{
    char buf[48];
    kel_uint128_to_str(v, 10, buf, sizeof buf);
    return buf;
}

KelStrArray *recorded_keys(KelJson *obj, gpointer data)
{
    Recorder *r = rec(data);
    r->trace.push_back("obj_keys " + where(obj));
    KelStrArray *keys = kel_json_alpha_keys(obj);
    if (!r->alpha_keys) {
        // Reverse the sorted list, to show that the walk follows the list.
        KelStrArray *rev = kel_str_array_sized_new(keys->len);
        for (guint i = keys->len; i > 0; i--)
            kel_str_array_add(rev, kel_str_array_index(keys, static_cast<gint32>(i - 1)));
        kel_str_array_free(keys, TRUE);
        keys = rev;
    }
    return keys;
}

// A visitor with all 18 slots recording.
KelJsonVisitor full_visitor()
{
    KelJsonVisitor v{};
    v.on_value = [](KelJson *x, gpointer d) { return rec(d)->record("on_value " + where(x)); };
    v.on_obj = [](KelJson *x, gpointer d) { return rec(d)->record("on_obj " + where(x)); };
    v.on_array = [](KelJson *x, gpointer d) { return rec(d)->record("on_array " + where(x)); };
    v.on_str = [](KelJson *x, const char *s, gpointer d) {
        return rec(d)->record("on_str " + where(x) + " " + s);
    };
    v.on_i64 = [](KelJson *x, gint64 i, gpointer d) {
        return rec(d)->record("on_i64 " + where(x) + " " + std::to_string(i));
    };
    v.on_u64 = [](KelJson *x, guint64 u, gpointer d) {
        return rec(d)->record("on_u64 " + where(x) + " " + std::to_string(u));
    };
    v.on_u128 = [](KelJson *x, KelUint128 u, gpointer d) {
        return rec(d)->record("on_u128 " + where(x) + " " + u128_text(u));
    };
    v.on_double = [](KelJson *x, double f, gpointer d) {
        return rec(d)->record("on_double " + where(x) + " " + std::to_string(f));
    };
    v.on_jref = [](KelJson *x, const char *uri, gpointer d) {
        return rec(d)->record("on_jref " + where(x) + " " + uri);
    };
    v.on_bool = [](KelJson *x, gboolean b, gpointer d) {
        return rec(d)->record("on_bool " + where(x) + (b ? " TRUE" : " FALSE"));
    };
    v.on_null = [](KelJson *x, gpointer d) { return rec(d)->record("on_null " + where(x)); };
    v.obj_begin = [](KelJson *x, gpointer d) { return rec(d)->record("obj_begin " + where(x)); };
    v.obj_end = [](KelJson *x, gpointer d) { return rec(d)->record("obj_end " + where(x)); };
    v.obj_member = [](KelJson *x, const char *k, KelJson *m, gboolean first, gpointer d) {
        return rec(d)->record("obj_member " + where(x) + " " + k + " " + where(m) +
                              (first ? " first" : ""));
    };
    v.obj_keys = recorded_keys;
    v.array_begin = [](KelJson *x, gpointer d) { return rec(d)->record("array_begin " + where(x)); };
    v.array_end = [](KelJson *x, gpointer d) { return rec(d)->record("array_end " + where(x)); };
    v.array_elem = [](KelJson *x, int i, KelJson *m, gpointer d) {
        return rec(d)->record("array_elem " + where(x) + " " + std::to_string(i) + " " + where(m));
    };
    return v;
}

// A visitor with only some slots set, to show that empty slots act as
// answering 0 (the key order is then the default one).
KelJsonVisitor sparse_visitor()
{
    KelJsonVisitor full = full_visitor();
    KelJsonVisitor v{};
    v.on_array = full.on_array;
    v.on_i64 = full.on_i64;
    v.on_str = full.on_str;
    v.on_bool = full.on_bool;
    v.obj_end = full.obj_end;
    v.obj_member = full.obj_member;
    v.array_begin = full.array_begin;
    return v;
}

// The walk as its rules describe it, written recursively, as the reference
// for the explicit-stack implementation.
int model_iterate(KelJson *v, const KelJsonVisitor *vis, gpointer d)
{
    switch (v->type) {
    case KEL_JSON_NULL: return vis->on_null ? vis->on_null(v, d) : 0;
    case KEL_JSON_TRUE: return vis->on_bool ? vis->on_bool(v, TRUE, d) : 0;
    case KEL_JSON_FALSE: return vis->on_bool ? vis->on_bool(v, FALSE, d) : 0;
    case KEL_JSON_INT64: return vis->on_i64 ? vis->on_i64(v, v->i64, d) : 0;
    case KEL_JSON_UINT64: return vis->on_u64 ? vis->on_u64(v, v->u64, d) : 0;
    case KEL_JSON_UINT128: return vis->on_u128 ? vis->on_u128(v, v->u128, d) : 0;
    case KEL_JSON_DOUBLE: return vis->on_double ? vis->on_double(v, v->d, d) : 0;
    case KEL_JSON_STRING: return vis->on_str ? vis->on_str(v, v->str, d) : 0;
    case KEL_JSON_JREF: return vis->on_jref ? vis->on_jref(v, v->uri, d) : 0;
    default: break;
    }
    const bool obj = v->type == KEL_JSON_OBJECT;
    auto on_kind = obj ? vis->on_obj : vis->on_array;
    if (on_kind) {
        const int r = on_kind(v, d);
        if (r == 2 || r == 3)
            return r;
        if (r == 1)
            return 0;
    }
    KelStrArray *keys = nullptr;
    if (obj)
        keys = vis->obj_keys ? vis->obj_keys(v, d) : kel_json_obj_keys(v);
    auto begin = obj ? vis->obj_begin : vis->array_begin;
    int r = begin ? begin(v, d) : 0;
    if (r == 0) {
        for (int i = 0;; i++) {
            KelJson *m = nullptr;
            if (obj) {
                if (static_cast<guint>(i) >= keys->len)
                    break;
                const char *k = kel_str_array_index(keys, i);
                m = kel_json_obj_get_base(v, k, 0, nullptr);
                if (vis->obj_member && (r = vis->obj_member(v, k, m, i == 0, d)) != 0)
                    break;
            } else {
                m = kel_json_array_get_base(v, i, 0, nullptr);
                if (m == nullptr)
                    break;
                if (vis->array_elem && (r = vis->array_elem(v, i, m, d)) != 0)
                    break;
            }
            if (vis->on_value && (r = vis->on_value(m, d)) != 0)
                break;
            if ((r = model_iterate(m, vis, d)) != 0)
                break;
        }
    }
    int result = 3;
    if (r != 3) {
        auto end = obj ? vis->obj_end : vis->array_end;
        const int e = end ? end(v, d) : 0;
        r = e > r ? e : r;
        result = r == 1 ? 0 : r;
    }
    if (keys)
        kel_str_array_free(keys, TRUE);
    return result;
}

gboolean model_visit(KelJson *root, const KelJsonVisitor *vis, gpointer d)
{
    if (vis->on_value) {
        const int r = vis->on_value(root, d);
        if (r != 0)
            return r != 3;
    }
    return model_iterate(root, vis, d) != 3;
}

// A document holding every kind, nested:
// {"a": [1, {"x": null, "y": true}, [], "s"],
//  "b": {"c": {"$ref": "#/a"}, "d": false, "e": 7u64, "f": 2^64, "g": 1.5},
//  "h": {}, "i": -3}
KelJson *every_kind()
{
    KelJson *root = kel_json_obj_new_base(FALSE);
    KelJson *a = kel_json_obj_put_array_base(root, "a", nullptr);
    kel_json_array_push_i64_base(a, 1, nullptr);
    KelJson *o = kel_json_array_push_obj_base(a, nullptr);
    kel_json_obj_put_null_base(o, "x", nullptr);
    kel_json_obj_put_bool_base(o, "y", TRUE, nullptr);
    kel_json_array_push_array_base(a, nullptr);
    kel_json_array_push_str_base(a, "s", nullptr);
    KelJson *b = kel_json_obj_put_obj_base(root, "b", nullptr);
    kel_json_obj_put_jref_base(b, "c", "#/a", nullptr);
    kel_json_obj_put_bool_base(b, "d", FALSE, nullptr);
    kel_json_obj_put_u64_base(b, "e", 7, nullptr);
    kel_json_obj_put_u128_base(b, "f", KelUint128{0, 1}, nullptr);
    kel_json_obj_put_double_base(b, "g", 1.5, nullptr);
    kel_json_obj_put_obj_base(root, "h", nullptr);
    kel_json_obj_put_i64_base(root, "i", -3, nullptr);
    return root;
}

std::vector<std::string> walk(KelJson *root, const KelJsonVisitor &v, Recorder &r, gboolean *ok)
{
    *ok = kel_json_visit(root, &v, &r);
    return r.trace;
}

std::vector<std::string> walk_with_line(KelJson *root, const std::string &line, int answer,
                                        gboolean expected_ok = TRUE)
{
    KelJsonVisitor v = full_visitor();
    Recorder r;
    r.answer_line = line;
    r.answer = answer;
    gboolean ok;
    walk(root, v, r, &ok);
    EXPECT_EQ(ok, expected_ok) << "answer " << answer << " at " << line;
    return r.trace;
}

using Lines = std::vector<std::string>;

}  // namespace

// ---- Call order without interference -----------------------------------------

TEST(VisitOrder, EmptyObjectRoot)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    EXPECT_EQ(walk_with_line(root, "", 0),
              (Lines{"on_value #", "on_obj #", "obj_keys #", "obj_begin #", "obj_end #"}));
}

TEST(VisitOrder, EmptyArrayRoot)
{
    JsonRoot root(kel_json_array_new_base(0, FALSE));
    EXPECT_EQ(walk_with_line(root, "", 0),
              (Lines{"on_value #", "on_array #", "array_begin #", "array_end #"}));
}

TEST(VisitOrder, ScalarRootGetsValueAndKindCallbackOnly)
{
    JsonRoot root(kel_json_i64_new_base(42));
    EXPECT_EQ(walk_with_line(root, "", 0), (Lines{"on_value #", "on_i64 # 42"}));
    JsonRoot t(kel_json_bool_new_base(TRUE));
    EXPECT_EQ(walk_with_line(t, "", 0), (Lines{"on_value #", "on_bool # TRUE"}));
    JsonRoot f(kel_json_bool_new_base(FALSE));
    EXPECT_EQ(walk_with_line(f, "", 0), (Lines{"on_value #", "on_bool # FALSE"}));
}

TEST(VisitOrder, EveryKindAndSlotInOrder)
{
    JsonRoot root(every_kind());
    const Lines expected = {
        "on_value #", "on_obj #", "obj_keys #", "obj_begin #",
        "obj_member # a /a first", "on_value /a", "on_array /a", "array_begin /a",
        "array_elem /a 0 /a/0", "on_value /a/0", "on_i64 /a/0 1",
        "array_elem /a 1 /a/1", "on_value /a/1", "on_obj /a/1", "obj_keys /a/1", "obj_begin /a/1",
        "obj_member /a/1 x /a/1/x first", "on_value /a/1/x", "on_null /a/1/x",
        "obj_member /a/1 y /a/1/y", "on_value /a/1/y", "on_bool /a/1/y TRUE",
        "obj_end /a/1",
        "array_elem /a 2 /a/2", "on_value /a/2", "on_array /a/2", "array_begin /a/2", "array_end /a/2",
        "array_elem /a 3 /a/3", "on_value /a/3", "on_str /a/3 s",
        "array_end /a",
        "obj_member # b /b", "on_value /b", "on_obj /b", "obj_keys /b", "obj_begin /b",
        "obj_member /b c /b/c first", "on_value /b/c", "on_jref /b/c #/a",
        "obj_member /b d /b/d", "on_value /b/d", "on_bool /b/d FALSE",
        "obj_member /b e /b/e", "on_value /b/e", "on_u64 /b/e 7",
        "obj_member /b f /b/f", "on_value /b/f", "on_u128 /b/f 18446744073709551616",
        "obj_member /b g /b/g", "on_value /b/g", "on_double /b/g 1.500000",
        "obj_end /b",
        "obj_member # h /h", "on_value /h", "on_obj /h", "obj_keys /h", "obj_begin /h", "obj_end /h",
        "obj_member # i /i", "on_value /i", "on_i64 /i -3",
        "obj_end #",
    };
    EXPECT_EQ(walk_with_line(root, "", 0), expected);
}

TEST(VisitOrder, WalkFollowsTheKeyListAndFirstMarksItsHead)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    for (const char *k : {"m", "a", "z", "b"})
        kel_json_obj_put_null_base(root, k, nullptr);
    KelJsonVisitor v = full_visitor();
    Recorder r;
    r.alpha_keys = false;
    gboolean ok;
    walk(root, v, r, &ok);
    EXPECT_TRUE(ok);
    Lines members;
    for (const std::string &l : r.trace)
        if (l.rfind("obj_member", 0) == 0)
            members.push_back(l);
    EXPECT_EQ(members, (Lines{"obj_member # z /z first", "obj_member # m /m", "obj_member # b /b",
                              "obj_member # a /a"}));
}

TEST(VisitOrder, DefaultKeyOrderIsObjKeys)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    for (const char *k : {"one", "two", "three", "four", "five"})
        kel_json_obj_put_null_base(root, k, nullptr);
    KelStrArray *keys = kel_json_obj_keys(root);
    Lines expected;
    for (guint i = 0; i < keys->len; i++)
        expected.push_back(std::string("obj_member # ") + kel_str_array_index(keys, i) + " /" +
                           kel_str_array_index(keys, i) + (i == 0 ? " first" : ""));
    kel_str_array_free(keys, TRUE);

    KelJsonVisitor v{};
    v.obj_member = full_visitor().obj_member;
    Recorder r;
    EXPECT_TRUE(kel_json_visit(root, &v, &r));
    EXPECT_EQ(r.trace, expected);
}

TEST(VisitOrder, ReferenceTargetIsNotVisited)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *target = kel_json_obj_put_array_base(root, "t", nullptr);
    kel_json_array_push_i64_base(target, 5, nullptr);
    KelJson *arr = kel_json_obj_put_array_base(root, "r", nullptr);
    KelJson *ref = kel_json_jref_new_base("#/t", nullptr);
    kel_json_array_push_base(arr, ref, nullptr);

    KelJsonVisitor v = full_visitor();
    Recorder r;
    EXPECT_TRUE(kel_json_visit(arr, &v, &r));
    EXPECT_EQ(r.trace, (Lines{"on_value /r", "on_array /r", "array_begin /r", "array_elem /r 0 /r/0",
                              "on_value /r/0", "on_jref /r/0 #/t", "array_end /r"}));
}

// ---- Skip ------------------------------------------------------------------------

TEST(VisitSkip, FromOnObjSkipsObjectWhole)
{
    JsonRoot root(every_kind());
    const Lines t = walk_with_line(root, "on_obj /a/1", 1);
    // No key list, begin, members or end for /a/1; its sibling comes next.
    const Lines expected_tail = {"on_obj /a/1", "array_elem /a 2 /a/2"};
    auto it = std::find(t.begin(), t.end(), "on_obj /a/1");
    ASSERT_NE(it, t.end());
    EXPECT_EQ(Lines(it, it + 2), expected_tail);
    for (const std::string &l : t)
        EXPECT_EQ(l.find("/a/1/"), std::string::npos) << l;
    EXPECT_EQ(std::count(t.begin(), t.end(), "obj_end /a/1"), 0);
    EXPECT_EQ(std::count(t.begin(), t.end(), "obj_keys /a/1"), 0);
    EXPECT_EQ(t.back(), "obj_end #");
}

TEST(VisitSkip, FromBeginStillCallsEnd)
{
    JsonRoot root(every_kind());
    Lines t = walk_with_line(root, "obj_begin /b", 1);
    auto it = std::find(t.begin(), t.end(), "obj_begin /b");
    ASSERT_NE(it, t.end());
    EXPECT_EQ(Lines(it, it + 3), (Lines{"obj_begin /b", "obj_end /b", "obj_member # h /h"}));

    t = walk_with_line(root, "array_begin /a", 1);
    it = std::find(t.begin(), t.end(), "array_begin /a");
    ASSERT_NE(it, t.end());
    EXPECT_EQ(Lines(it, it + 3), (Lines{"array_begin /a", "array_end /a", "obj_member # b /b"}));
}

TEST(VisitSkip, FromScalarEndsItsContainerOnly)
{
    // ["a", "b", "c"] inside [[...], 9]: "c" is never seen, the inner end
    // runs and the walk goes on with 9.
    JsonRoot root(kel_json_array_new_base(0, FALSE));
    KelJson *inner = kel_json_array_push_array_base(root, nullptr);
    for (const char *s : {"a", "b", "c"})
        kel_json_array_push_str_base(inner, s, nullptr);
    kel_json_array_push_i64_base(root, 9, nullptr);

    const Lines t = walk_with_line(root, "on_str /0/1 b", 1);
    EXPECT_EQ(t, (Lines{"on_value #", "on_array #", "array_begin #",
                        "array_elem # 0 /0", "on_value /0", "on_array /0", "array_begin /0",
                        "array_elem /0 0 /0/0", "on_value /0/0", "on_str /0/0 a",
                        "array_elem /0 1 /0/1", "on_value /0/1", "on_str /0/1 b",
                        "array_end /0",
                        "array_elem # 1 /1", "on_value /1", "on_i64 /1 9",
                        "array_end #"}));
}

// ---- Stop ------------------------------------------------------------------------

TEST(VisitStop, DeepScalarClosesEveryOpenContainerInnermostFirst)
{
    // [[{"k": [5, 6]}], 7]
    JsonRoot root(kel_json_array_new_base(0, FALSE));
    KelJson *l1 = kel_json_array_push_array_base(root, nullptr);
    KelJson *o = kel_json_array_push_obj_base(l1, nullptr);
    KelJson *l3 = kel_json_obj_put_array_base(o, "k", nullptr);
    kel_json_array_push_i64_base(l3, 5, nullptr);
    kel_json_array_push_i64_base(l3, 6, nullptr);
    kel_json_array_push_i64_base(root, 7, nullptr);

    const Lines t = walk_with_line(root, "on_i64 /0/0/k/0 5", 2);
    auto it = std::find(t.begin(), t.end(), "on_i64 /0/0/k/0 5");
    ASSERT_NE(it, t.end());
    EXPECT_EQ(Lines(it + 1, t.end()),
              (Lines{"array_end /0/0/k", "obj_end /0/0", "array_end /0", "array_end #"}));
}

TEST(VisitStop, FromEndCallbackAndSkipTurnedIntoStop)
{
    JsonRoot root(every_kind());
    // obj_end answering 2 stops the walk: only the enclosing ends follow.
    Lines t = walk_with_line(root, "obj_end /a/1", 2);
    auto it = std::find(t.begin(), t.end(), "obj_end /a/1");
    ASSERT_NE(it, t.end());
    EXPECT_EQ(Lines(it + 1, t.end()), (Lines{"array_end /a", "obj_end #"}));

    // A skip inside /b followed by obj_end /b answering 2.
    KelJsonVisitor v = full_visitor();
    v.on_u64 = [](KelJson *, guint64, gpointer d) { return rec(d)->record("skip"), 1; };
    Recorder r;
    r.answer_line = "obj_end /b";
    r.answer = 2;
    EXPECT_TRUE(kel_json_visit(root, &v, &r));
    it = std::find(r.trace.begin(), r.trace.end(), "skip");
    ASSERT_NE(it, r.trace.end());
    EXPECT_EQ(Lines(it + 1, r.trace.end()), (Lines{"obj_end /b", "obj_end #"}));
}

// ---- The root's own step ----------------------------------------------------------

TEST(VisitRoot, OnValueAnswerEndsTheWalk)
{
    JsonRoot root(every_kind());
    EXPECT_EQ(walk_with_line(root, "on_value #", 1, TRUE), (Lines{"on_value #"}));
    EXPECT_EQ(walk_with_line(root, "on_value #", 2, TRUE), (Lines{"on_value #"}));
    EXPECT_EQ(walk_with_line(root, "on_value #", 3, FALSE), (Lines{"on_value #"}));
}

// ---- Every rule at every callback, against the recursive model -----------------------

// For each callback of a full walk and each answer, the explicit-stack walk
// must make exactly the calls of the recursive rules and give their result.
TEST(VisitModel, EveryCallbackEveryAnswer)
{
    JsonRoot root(every_kind());
    for (bool sparse : {false, true}) {
        const KelJsonVisitor v = sparse ? sparse_visitor() : full_visitor();
        Recorder plain;
        gboolean ok;
        walk(root, v, plain, &ok);
        ASSERT_TRUE(ok);
        const int calls = static_cast<int>(plain.trace.size());
        for (int at = 0; at < calls; at++) {
            for (int answer : {1, 2, 3, 7, -1}) {
                Recorder got, want;
                got.answer_at = want.answer_at = at;
                got.answer = want.answer = answer;
                const gboolean got_ok = kel_json_visit(root, &v, &got);
                const gboolean want_ok = model_visit(root, &v, &want);
                ASSERT_EQ(got.trace, want.trace)
                    << (sparse ? "sparse" : "full") << ": answer " << answer << " at " << plain.trace[at];
                ASSERT_EQ(got_ok, want_ok) << "answer " << answer << " at " << plain.trace[at];
            }
        }
    }
}

// ---- Arguments, unknown kinds, nesting -------------------------------------------

TEST(VisitArgs, NullJsonOrVisitorWarns)
{
    KelJsonVisitor v = full_visitor();
    Recorder r;
    JsonRoot root(kel_json_null_new_base());
    LogCapture log;
    EXPECT_FALSE(kel_json_visit(nullptr, &v, &r));
    EXPECT_EQ(log.last(), "kel_json_visit: assertion 'json' failed");
    EXPECT_FALSE(kel_json_visit(root, nullptr, &r));
    EXPECT_EQ(log.last(), "kel_json_visit: assertion 'visitor' failed");
    EXPECT_TRUE(r.trace.empty());
}

TEST(VisitArgs, UnknownKindAborts)
{
    JsonRoot root(kel_json_array_new_base(0, FALSE));
    KelJson *odd = kel_json_array_push_i64_base(root, 1, nullptr);
    kel_json_array_push_i64_base(root, 2, nullptr);
    odd->type = 11;
    KelJsonVisitor v = full_visitor();
    Recorder r;
    {
        LogCapture log;
        EXPECT_FALSE(kel_json_visit(root, &v, &r));
        ASSERT_EQ(log.messages().size(), 1u);
        const std::string &m = log.last();
        EXPECT_EQ(m.rfind("file ", 0), 0u) << m;
        EXPECT_NE(m.find("kel_json_visitor"), std::string::npos) << m;
        EXPECT_NE(m.find(" (iterate): should not be reached"), std::string::npos) << m;
    }
    // Element callbacks ran, then nothing (no end callback).
    EXPECT_EQ(r.trace, (Lines{"on_value #", "on_array #", "array_begin #", "array_elem # 0 /0",
                              "on_value /0"}));
    // An unknown root aborts likewise, after its on_value.
    Recorder r2;
    {
        LogCapture log;
        EXPECT_FALSE(kel_json_visit(odd, &v, &r2));
        EXPECT_EQ(log.messages().size(), 1u);
    }
    odd->type = KEL_JSON_INT64;
    EXPECT_EQ(r2.trace, (Lines{"on_value /0"}));
}

// A callback may run another walk, here over the subtree it was given.
TEST(VisitArgs, NestedWalkFromCallback)
{
    JsonRoot root(every_kind());
    struct Ctx {
        int inner_values = 0;
        int outer_objects = 0;
    } ctx;
    KelJsonVisitor outer{};
    outer.on_obj = [](KelJson *obj, gpointer d) -> int {
        auto *c = static_cast<Ctx *>(d);
        c->outer_objects++;
        KelJsonVisitor inner{};
        inner.on_value = [](KelJson *, gpointer d2) { return ++static_cast<Ctx *>(d2)->inner_values, 0; };
        return kel_json_visit(obj, &inner, c) ? KEL_JSON_VISIT_CONTINUE : KEL_JSON_VISIT_ABORT;
    };
    EXPECT_TRUE(kel_json_visit(root, &outer, &ctx));
    EXPECT_EQ(ctx.outer_objects, 4);  // #, /a/1, /b, /h
    // Values under each object, the object included: 16 + 3 + 6 + 1.
    EXPECT_EQ(ctx.inner_values, 26);
}

// ---- Depth -------------------------------------------------------------------

namespace {

constexpr int kDeep = 1000000;

// A chain of kDeep containers built from the inside out; the innermost holds
// the int64 1.
KelJson *deep_chain(bool objects)
{
    KelJson *inner = kel_json_i64_new_base(1);
    for (int i = 0; i < kDeep; i++) {
        KelJson *c = objects ? kel_json_obj_new_base(FALSE) : kel_json_array_new_base(1, FALSE);
        const gboolean ok = objects ? kel_json_obj_put_base(c, "k", inner, nullptr)
                                    : kel_json_array_push_base(c, inner, nullptr);
        if (!ok)
            return nullptr;
        inner = c;
    }
    return inner;
}

struct DeepCount {
    long begins = 0, ends = 0, members = 0, leaves = 0;
    int leaf_answer = 0;
};

KelJsonVisitor counting_visitor()
{
    KelJsonVisitor v{};
    auto begin = [](KelJson *, gpointer d) { return ++static_cast<DeepCount *>(d)->begins, 0; };
    auto end = [](KelJson *, gpointer d) { return ++static_cast<DeepCount *>(d)->ends, 0; };
    v.obj_begin = begin;
    v.array_begin = begin;
    v.obj_end = end;
    v.array_end = end;
    v.obj_member = [](KelJson *, const char *, KelJson *, gboolean, gpointer d) {
        return ++static_cast<DeepCount *>(d)->members, 0;
    };
    v.array_elem = [](KelJson *, int, KelJson *, gpointer d) {
        return ++static_cast<DeepCount *>(d)->members, 0;
    };
    v.on_i64 = [](KelJson *, gint64, gpointer d) {
        auto *c = static_cast<DeepCount *>(d);
        ++c->leaves;
        return c->leaf_answer;
    };
    return v;
}

// Runs `fn` on a thread whose stack is far too small for a recursive walk of
// the chain, so a native recursion would crash the test.
void on_small_stack(const std::function<void()> &fn)
{
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 1 << 20);
    pthread_t t;
    auto body = [](void *arg) -> void * {
        (*static_cast<const std::function<void()> *>(arg))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&t, &attr, body, const_cast<std::function<void()> *>(&fn)), 0);
    pthread_join(t, nullptr);
    pthread_attr_destroy(&attr);
}

class VisitDeep : public ::testing::TestWithParam<bool> {};

}  // namespace

TEST_P(VisitDeep, MillionLevelsWithoutNativeRecursion)
{
    KelJson *root = deep_chain(GetParam());
    ASSERT_NE(root, nullptr);
    const KelJsonVisitor v = counting_visitor();
    for (int answer : {0, 1, 2, 3}) {
        DeepCount c;
        c.leaf_answer = answer;
        gboolean ok = FALSE;
        on_small_stack([&] { ok = kel_json_visit(root, &v, &c); });
        EXPECT_EQ(ok, answer != 3);
        EXPECT_EQ(c.begins, kDeep);
        EXPECT_EQ(c.members, kDeep);
        EXPECT_EQ(c.leaves, 1);
        // Stop closes every level; a skip only cuts the innermost container
        // short; an abort closes nothing.
        EXPECT_EQ(c.ends, answer == 3 ? 0 : kDeep) << "answer " << answer;
    }
    kel_json_unref(root);
}

INSTANTIATE_TEST_SUITE_P(ArraysAndObjects, VisitDeep, ::testing::Values(false, true),
                         [](const auto &info) { return info.param ? "Objects" : "Arrays"; });
