// The visitor: call order, the travel rules of skip, stop and abort (against a
// recursive model at every callback), key order, unknown kinds, deep documents.
#include <algorithm>
#include <functional>
#include <regex>

#include "test_util.h"

using namespace kel_test;

namespace {

using Lines = std::vector<std::string>;

// Where a value sits ("#" for a value without parent).
std::string where(const KelJson *v) { return v->parent ? kel_test::pointer_of(v) : "#"; }

// Records every callback as a line; call number `answer_at` (0-based) returns `answer`.
struct Recorder {
    Lines trace;
    int answer_at = -1, answer = KEL_JSON_VISIT_CONTINUE;
    bool alpha_keys = true;  // obj_keys slot: sorted, or reversed when false
    int record(const std::string &line) { return trace.push_back(line), static_cast<int>(trace.size()) == answer_at + 1 ? answer : 0; }
};
Recorder *rec(gpointer data) { return static_cast<Recorder *>(data); }

KelStrArray *recorded_keys(KelJson *obj, gpointer data)
{
    rec(data)->trace.push_back("obj_keys " + where(obj));
    KelStrArray *keys = kel_json_alpha_keys(obj);
    if (!rec(data)->alpha_keys)  // the walk must follow the list, not sort it
        std::reverse(&g_array_index(keys, char *, 0), &g_array_index(keys, char *, keys->len));
    return keys;
}

#define REC(text) return rec(d)->record(text)
// A slot whose only argument is the value: its name and where the value sits.
#define REC_AT(slot) v.slot = [](KelJson *x, gpointer d) { REC(#slot " " + where(x)); }
KelJsonVisitor full_visitor()  // all 18 slots recording
{
    KelJsonVisitor v{};
    REC_AT(on_value), REC_AT(on_obj), REC_AT(on_array), REC_AT(on_null);
    REC_AT(obj_begin), REC_AT(obj_end), REC_AT(array_begin), REC_AT(array_end);
    v.on_str = [](KelJson *x, const char *s, gpointer d) { REC("on_str " + where(x) + " " + s); };
    v.on_i64 = [](KelJson *x, gint64 i, gpointer d) { REC("on_i64 " + where(x) + " " + std::to_string(i)); };
    v.on_u64 = [](KelJson *x, guint64 u, gpointer d) { REC("on_u64 " + where(x) + " " + std::to_string(u)); };
    v.on_u128 = [](KelJson *x, KelUint128 u, gpointer d) { REC("on_u128 " + where(x) + " " + std::to_string(u.hi) + ":" + std::to_string(u.lo)); };
    v.on_double = [](KelJson *x, double f, gpointer d) { REC("on_double " + where(x) + " " + std::to_string(f)); };
    v.on_jref = [](KelJson *x, const char *uri, gpointer d) { REC("on_jref " + where(x) + " " + uri); };
    v.on_bool = [](KelJson *x, gboolean b, gpointer d) { REC("on_bool " + where(x) + (b ? " TRUE" : " FALSE")); };
    v.obj_member = [](KelJson *x, const char *k, KelJson *m, gboolean first, gpointer d) {
        REC("obj_member " + where(x) + " " + k + " " + where(m) + (first ? " first" : ""));
    };
    v.obj_keys = recorded_keys;
    v.array_elem = [](KelJson *x, int i, KelJson *m, gpointer d) { REC("array_elem " + where(x) + " " + std::to_string(i) + " " + where(m)); };
    return v;
}

// A document holding every kind, nested.
KelJson *every_kind()  // uint64 values come only from the API
{
    KelJson *root = parse(R"({"a": [1, {"x": null, "y": true}, [], "s"], "h": {}, "i": -3,
        "b": {"c": {"$ref": "#/a"}, "d": false, "f": 18446744073709551616, "g": 1.5}})");
    kel_json_obj_put_u64_base(member(root, "b"), "e", 7, nullptr);
    return root;
}

// The walk as its rules read, recursive, as the reference for the
// explicit-stack implementation.
int model_iterate(KelJson *v, const KelJsonVisitor *vis, gpointer d)
{
    switch (v->type) {
    case KEL_JSON_NULL: return vis->on_null ? vis->on_null(v, d) : 0;
    case KEL_JSON_TRUE:
    case KEL_JSON_FALSE: return vis->on_bool ? vis->on_bool(v, v->type == KEL_JSON_TRUE, d) : 0;
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
    if (const int r = on_kind ? on_kind(v, d) : 0; r == 1 || r == 2 || r == 3)  // other answers go on into the container
        return r == 1 ? 0 : r;
    KelStrArray *keys = !obj ? nullptr : vis->obj_keys ? vis->obj_keys(v, d) : kel_json_obj_keys(v);
    auto begin = obj ? vis->obj_begin : vis->array_begin;
    int r = begin ? begin(v, d) : 0;
    for (int i = 0; r == 0; i++) {
        const char *k = obj ? kel_str_array_index(keys, i) : nullptr;  // NULL past the last key
        KelJson *m = obj ? (k ? member(v, k) : nullptr) : at(v, i);
        if (m == nullptr)
            break;
        r = obj ? (vis->obj_member ? vis->obj_member(v, k, m, i == 0, d) : 0) : (vis->array_elem ? vis->array_elem(v, i, m, d) : 0);
        if (r != 0 || (vis->on_value && (r = vis->on_value(m, d)) != 0) || (r = model_iterate(m, vis, d)) != 0)
            break;
    }
    auto end = obj ? vis->obj_end : vis->array_end;
    if (r != 3)  // an abort skips the end callback
        r = std::max(end ? end(v, d) : 0, r);
    if (keys)
        kel_str_array_free(keys, TRUE);
    return r == 1 ? 0 : r;
}

gboolean model_visit(KelJson *root, const KelJsonVisitor *vis, gpointer d)
{
    const int r = vis->on_value ? vis->on_value(root, d) : 0;
    return r != 0 ? r != 3 : model_iterate(root, vis, d) != 3;
}

// Every answer at every callback (and none), with all slots set, with the key
// list reversed, and with only some slots (empty ones act as answering 0 and
// the key order is the object's own), over every kind, over scalar roots and
// from a value inside a document (the walk must not leave it).
TEST(VisitTravel, EveryCallbackEveryAnswerMatchesTheModel)
{
    JsonRoot docs[] = {JsonRoot(every_kind()), JsonRoot(parse("{\"m\":null,\"a\":[],\"z\":{},\"b\":1}")), JsonRoot(parse("42")), JsonRoot(parse("[]"))};
    const KelJsonVisitor full = full_visitor();
    KelJsonVisitor sparse{};
    sparse.on_array = full.on_array, sparse.on_str = full.on_str, sparse.on_i64 = full.on_i64, sparse.on_bool = full.on_bool;
    sparse.obj_end = full.obj_end, sparse.obj_member = full.obj_member, sparse.array_begin = full.array_begin;
    for (KelJson *root : {docs[0].get(), member(docs[0], "b"), docs[1].get(), docs[2].get(), docs[3].get()})
        for (const auto &[v, alpha] : {std::pair{&full, true}, std::pair{&full, false}, std::pair{const_cast<const KelJsonVisitor *>(&sparse), true}}) {
            Recorder plain;
            ASSERT_TRUE(kel_json_visit(root, v, &plain));
            for (int at = -1; at < static_cast<int>(plain.trace.size()); at++)
                for (int answer : {1, 2, 3, 7, -1}) {
                    Recorder got{{}, at, answer, alpha}, want = got;
                    const std::string where = "answer " + std::to_string(answer) + " at " + (at < 0 ? "none" : plain.trace[at]);
                    ASSERT_EQ(kel_json_visit(root, v, &got), model_visit(root, v, &want)) << where;
                    ASSERT_EQ(got.trace, want.trace) << where;
                }
        }
}

TEST(VisitArgs, UnknownKindAborts)
{
    JsonRoot root(parse("[1,2]"));
    KelJson *odd = at(root, 0);
    odd->type = 11;
    const KelJsonVisitor v = full_visitor();
    Recorder r, r2;
    LogCapture log;
    EXPECT_FALSE(kel_json_visit(root, &v, &r));
    EXPECT_FALSE(kel_json_visit(odd, &v, &r2));  // an unknown root aborts likewise, after its on_value
    odd->type = KEL_JSON_INT64;
    const std::regex unreached("file .*kel_json_visitor\\.cpp: line [0-9]+ \\(iterate\\): should not be reached");
    ASSERT_EQ(log.messages().size(), 2u);
    EXPECT_TRUE(std::regex_match(log.messages()[0], unreached) && std::regex_match(log.messages()[1], unreached)) << log.messages()[0];
    EXPECT_EQ(r.trace, (Lines{"on_value #", "on_array #", "array_begin #", "array_elem # 0 /0", "on_value /0"}));  // no end
    EXPECT_EQ(r2.trace, (Lines{"on_value /0"}));
}

struct DeepCount { long begins = 0, ends = 0, members = 0, leaves = 0; int leaf_answer = 0; gboolean ok = FALSE; };
DeepCount *dc(gpointer d) { return static_cast<DeepCount *>(d); }

}  // namespace

TEST(VisitDeep, MillionLevelsOfArraysAndObjectsWithoutNativeRecursion)
{
    constexpr int kDeep = 1000000;
    KelJsonVisitor v{};
    v.obj_begin = v.array_begin = [](KelJson *, gpointer d) { return ++dc(d)->begins, 0; };
    v.obj_end = v.array_end = [](KelJson *, gpointer d) { return ++dc(d)->ends, 0; };
    v.obj_member = [](KelJson *, const char *, KelJson *, gboolean, gpointer d) { return ++dc(d)->members, 0; };
    v.array_elem = [](KelJson *, int, KelJson *, gpointer d) { return ++dc(d)->members, 0; };
    v.on_i64 = [](KelJson *, gint64, gpointer d) { return ++dc(d)->leaves, dc(d)->leaf_answer; };
    for (bool objects : {false, true}) {
        KelJson *leaf = nullptr;
        JsonRoot root(deep_chain(objects, kDeep, &leaf));
        ASSERT_TRUE(objects ? kel_json_obj_put_i64_base(leaf, "k", 1, nullptr) : kel_json_array_push_i64_base(leaf, 1, nullptr));
        for (int answer : {0, 1, 2, 3}) {
            DeepCount c{.leaf_answer = answer};
            on_small_stack([&] { c.ok = kel_json_visit(root, &v, &c); });
            EXPECT_EQ(c.ok, answer != 3) << answer;
            EXPECT_TRUE(c.begins == kDeep && c.members == kDeep && c.leaves == 1) << c.begins << " " << c.members << " " << c.leaves;
            // Stop closes every level, a skip cuts only the innermost short, an abort closes nothing.
            EXPECT_EQ(c.ends, answer == 3 ? 0 : kDeep) << (objects ? "objects" : "arrays") << ", answer " << answer;
        }
    }
}
