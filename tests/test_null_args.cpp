// Every exported function called with NULL for each pointer argument in turn
// (the others valid). A row says what must happen: a GLib return-if-fail
// warning, an error in the slot, or a neutral result given silently. Functions
// without pointer arguments get a plain call that must not warn. N() rows are
// outside the contract: only "no crash, neutral result" counts.
#include <glib/gstdio.h>
#include <unistd.h>

#include <cstdarg>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

enum class Kind { Silent, Warn, Fail, ArgFail, WarnFail, Neutral };
// An empty func/expr stands for the row's own function/argument.
struct Expect {
    std::string result;
    Kind kind;
    std::string func, expr;
    int code = 0;
    std::string message;
};
Expect S(std::string r) { return {std::move(r), Kind::Silent, "", "", 0, ""}; }
Expect N(std::string r) { return {std::move(r), Kind::Neutral, "", "", 0, ""}; }
Expect W(std::string r, std::string f = "", std::string e = "") { return {std::move(r), Kind::Warn, f, e, 0, ""}; }
Expect A(std::string r, std::string f = "", std::string e = "") { return {std::move(r), Kind::ArgFail, f, e, 0, ""}; }
Expect F(std::string r, int code, std::string msg) { return {std::move(r), Kind::Fail, "", "", code, msg}; }
Expect WF(std::string r, std::string f, std::string e, int code, std::string msg) { return {std::move(r), Kind::WarnFail, f, e, code, msg}; }

struct Row {
    std::string function, argument;
    std::function<std::string(KelError **)> call;
    Expect expect;
};
void PrintTo(const Row &row, std::ostream *os) { *os << row.function << "(" << row.argument << ")"; }

#define R(fn, arg, expect, ...) Row{fn, arg, []([[maybe_unused]] KelError **err) -> std::string { __VA_ARGS__ }, expect}
#define E(fn, arg, expect, ...) R(fn, arg, expect, return __VA_ARGS__;)

// Summaries of results.
std::string b(gboolean v) { return v ? "TRUE" : "FALSE"; }
std::string p(const void *v) { return v ? "non-NULL" : "NULL"; }
std::string n(long long v) { return std::to_string(v); }
std::string u(unsigned long long v) { return std::to_string(v); }
std::string u128(KelUint128 v) { return u(v.hi) + ":" + u(v.lo); }
std::string real(double d) { return d == 0.0 ? "0" : std::to_string(d); }
std::string str(const char *s) { return s ? "\"" + std::string(s) + "\"" : "NULL"; }
std::string show(const KelJson *j) { return j ? kel_test::dump(const_cast<KelJson *>(j)) : "NULL"; }
std::string bs(gboolean r, const KelJson *j) { return b(r) + " " + show(j); }
std::string ps(const void *r, const KelJson *j) { return p(r) + " " + show(j); }
std::string chain(const KelError *e)  // newest first, or "empty"
{
    std::string s;
    for (; e != nullptr; e = e->next)
        s += (s.empty() ? "" : " / ") + n(e->gerror->code) + " '" + (e->gerror->message ? e->gerror->message : "<NULL>") + "'";
    return s.empty() ? "empty" : s;
}

struct Doc : JsonRoot {
    explicit Doc(const char *text) : JsonRoot(kel_json_loads(text, 0, nullptr)) {}
};
struct GStr {
    GString *s;
    explicit GStr(const char *init) : s(g_string_new(init)) {}
    ~GStr() { g_string_free(s, TRUE); }
    operator GString *() const { return s; }
    GString *operator->() const { return s; }
};

const char *volatile g_null_text = nullptr;  // a NULL the compiler cannot see through
const char *null_text() { return g_null_text; }
KelError *new_error(int code, const char *message, KelError *next = nullptr)
{
    return kel_error_new(next, kel_error_domain(), code, "%s", message);
}
KelError *new_valist(KelError *next, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    KelError *e = kel_error_new_valist(next, kel_error_domain(), KEL_IO_FAIL, format, args);
    va_end(args);
    return e;
}
gint32 vprintf_into(GString *s, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    gint32 r = kel_json_ptr_vprintf(s, format, args);
    va_end(args);
    return r;
}
const char *test_code_name(GQuark, gint) { return "TEST_CODE"; }
KelJson *test_to_json(KelErrorData *) { return nullptr; }
gboolean test_expand(KelJson *, gpointer) { return TRUE; }
gboolean count_member(const char *, KelJson *, gpointer data) { if (data) ++*static_cast<int *>(data); return TRUE; }
gboolean keep_all(KelJson *, gpointer) { return TRUE; }
gint compare_i64(gconstpointer a, gconstpointer b)
{
    gint64 x = kel_json_i64_get(*static_cast<KelJson *const *>(a)), y = kel_json_i64_get(*static_cast<KelJson *const *>(b));
    return (x > y) - (x < y);
}
int count_scalar(KelJson *, gint64, gpointer data) { if (data) ++*static_cast<int *>(data); return KEL_JSON_VISIT_CONTINUE; }
int lex_get_none(void *) { return -1; }
GQuark test_domain() { return g_quark_from_static_string("kel-null-args-test"); }
std::string temp_tree()  // a fresh directory holding one file
{
    char *dir = g_dir_make_tmp("kel-null-args-XXXXXX", nullptr);
    std::string path = dir ? dir : "";
    g_free(dir);
    g_file_set_contents((path + "/file").c_str(), "x", 1, nullptr);
    return path;
}
bool exists(const std::string &path) { return g_file_test(path.c_str(), G_FILE_TEST_EXISTS); }
// Runs `put` on a fresh container and summarises "result-or-NULL container".
template <typename F> std::string on_obj(F put) { Doc o("{}"); return ps(put(o.get()), o); }
template <typename F> std::string on_array(F push) { Doc a("[]"); return ps(push(a.get()), a); }
template <typename F> std::string on_doc(F put) { Doc d("{\"a\":{}}"); return ps(put(d.get()), d); }
const KelUint128 k7 = {7, 0};

// Families: each member's NULL container/key/pointer rows are alike, and the
// checks name the shared insertion or lookup; `stored` is the value's dump.
template <typename Fn, typename Sum>
void lookup_rows(std::vector<Row> &rows, const char *name, Fn fn, Sum sum, const char *none)
{
    rows.push_back({name, "json", [=](KelError **err) { return sum(fn(nullptr, "k", err)); }, A(none, "kel_json_obj_get_base", "json")});
    rows.push_back({name, "key", [=](KelError **err) { Doc o("{\"k\":1}"); return sum(fn(o, nullptr, err)); },
                    A(none, "kel_json_obj_get_base", "key")});
}
template <typename Fn, typename... Args>
void obj_put_rows(std::vector<Row> &rows, const char *name, Fn fn, const std::string &stored, Args... args)
{
    rows.push_back({name, "json", [=](KelError **err) { return p(fn(nullptr, "k", args..., err)); }, A("NULL", "kel_json_obj_put_base", "json")});
    rows.push_back({name, "key", [=](KelError **err) { return on_obj([&](KelJson *o) { return fn(o, nullptr, args..., err); }); },
                    A("NULL {}", "kel_json_obj_put_base", "key")});
    rows.push_back({name, "error", [=](KelError **) { return on_obj([&](KelJson *o) { return fn(o, "k", args..., nullptr); }); },
                    S("non-NULL {\"k\":" + stored + "}")});
}
template <typename Fn, typename... Args>
void push_rows(std::vector<Row> &rows, const char *name, Fn fn, const std::string &stored, Args... args)
{
    rows.push_back({name, "json", [=](KelError **err) { return p(fn(nullptr, args..., err)); }, A("NULL", "kel_json_array_push_base", "json")});
    rows.push_back({name, "error", [=](KelError **) { return on_array([&](KelJson *a) { return fn(a, args..., nullptr); }); },
                    S("non-NULL [" + stored + "]")});
}
template <typename Fn, typename... Args>
void ptr_put_rows(std::vector<Row> &rows, const char *name, Fn fn, const std::string &stored, Args... args)
{
    rows.push_back({name, "root", [=](KelError **err) { return p(fn(nullptr, "/a", args..., err)); }, A("NULL", "kel_json_ptr_put_base", "root")});
    rows.push_back({name, "ptr", [=](KelError **err) { return on_doc([&](KelJson *r) { return fn(r, nullptr, args..., err); }); },
                    A("NULL {\"a\":{}}", "kel_json_ptr_put_base", "ptr")});
    rows.push_back({name, "error", [=](KelError **) { return on_doc([&](KelJson *r) { return fn(r, "/a/b", args..., nullptr); }); },
                    S("non-NULL {\"a\":{\"b\":" + stored + "}}")});
}

std::vector<Row> all_rows()
{
    std::vector<Row> rows = {
        R("kel_error_new", "next", S("-7 'io 7'"), KelError *e = kel_error_new(nullptr, kel_error_domain(), KEL_IO_FAIL, "io %d", 7); std::string s = chain(e);
            kel_error_free(e); return s;),
        R("kel_error_new_valist", "next", S("-7 'v x'"), KelError *e = new_valist(nullptr, "v %s", "x"); std::string s = chain(e); kel_error_free(e);
            return s;),
        E("kel_set_error", "err", S("NULL"), p(kel_set_error(nullptr, kel_error_domain(), KEL_IO_FAIL, "%s", "lost"))),
        R("kel_error_from_gerror", "next", S("-7 'g'"), KelError *e = kel_error_from_gerror(nullptr, g_error_new_literal(kel_error_domain(), -7, "g"));
            std::string s = chain(e); kel_error_free(e); return s;),
        R("kel_error_from_gerror", "gerror", W("NULL"), KelError *below = new_error(-1, "below"); KelError *e = kel_error_from_gerror(below, nullptr);
            kel_error_free(e ? e : below); return p(e);),
        R("kel_error_free", "error", S("void"), kel_error_free(nullptr); return "void";),
        R("kel_clear_error", "err", S("void"), kel_clear_error(nullptr); return "void";),
        R("kel_clear_error", "*err", S("empty"), kel_clear_error(err); return chain(*err);),
        R("kel_clear_error_until", "err", S("FALSE, until -1 'kept'"), KelError *until = new_error(-1, "kept");
            gboolean r = kel_clear_error_until(nullptr, until); std::string s = b(r) + ", until " + chain(until); kel_error_free(until); return s;),
        E("kel_clear_error_until", "err_and_until", S("TRUE"), b(kel_clear_error_until(nullptr, nullptr))),
        R("kel_clear_error_until", "until", S("TRUE, empty"), ErrorSlot own; own.err = new_error(-2, "top", new_error(-1, "bottom"));
            gboolean r = kel_clear_error_until(&own, nullptr); return b(r) + ", " + chain(own.err);),
        R("kel_error_merge", "dest", W("src -1 'src'"), KelError *src = new_error(-1, "src"); kel_error_merge(nullptr, &src);
            std::string s = "src " + chain(src); kel_error_free(src); return s;),
        R("kel_error_merge", "src", W("dest -1 'dest'"), ErrorSlot own; own.err = new_error(-1, "dest"); kel_error_merge(&own, nullptr);
            return "dest " + chain(own.err);),
        R("kel_error_merge", "*src", S("dest -1 'dest', src empty"), ErrorSlot own; own.err = new_error(-1, "dest"); KelError *src = nullptr;
            kel_error_merge(&own, &src); return "dest " + chain(own.err) + ", src " + chain(src);),
        R("kel_error_merge", "*dest", S("dest -3 'moved', src empty"), ErrorSlot own; KelError *src = new_error(-3, "moved"); kel_error_merge(&own, &src);
            return "dest " + chain(own.err) + ", src " + chain(src);),
        E("kel_error_data_new", "error", W("NULL"), p(kel_error_data_new(nullptr, kel_error_domain(), 9, sizeof(KelErrorData), nullptr))),
        R("kel_error_data_new", "free_func", S("attached"), ErrorSlot own; own.err = new_error(-1, "e");
            KelErrorData *item = kel_error_data_new(own.err, test_domain(), 9, sizeof(KelErrorData), nullptr);
            return std::string(item != nullptr && own.err->data == item ? "attached" : "missing");),
        R("__kel_error_add_location", "err", S("void"), __kel_error_add_location(nullptr, "f.c", "fn", 1); return "void";),
        R("__kel_error_add_location", "*err", S("empty"), __kel_error_add_location(err, "f.c", "fn", 1); return chain(*err);),
        R("kel_error_add_blob", "err", S("void"), kel_error_add_blob(nullptr, 1, 2); return "void";),
        R("kel_error_add_blob", "*err", S("empty"), kel_error_add_blob(err, 1, 2); return chain(*err);),
        E("kel_error_domain", "none", S("kel-error"), g_quark_to_string(kel_error_domain())),
        E("kel_json_error_domain", "none", S("kel-json-error"), g_quark_to_string(kel_json_error_domain())),
        E("kel_status_code_to_name", "none", S("<unknown>"), kel_status_code_to_name(kel_json_error_domain(), 0)),
        E("kel_json_code_to_name", "none", S("<unknown code>"), kel_json_code_to_name(0, 1)),
        R("kel_error_register_code_to_name", "callback", S("NULL"), kel_error_register_code_to_name(test_domain(), test_code_name);
            kel_error_register_code_to_name(test_domain(), nullptr); return str(kel_error_code_to_name(test_domain(), 1));),
        R("kel_error_register_data_to_json", "callback", S("NULL"), ErrorSlot own; kel_error_register_data_to_json(test_domain(), test_to_json);
            kel_error_register_data_to_json(test_domain(), nullptr); own.err = new_error(-1, "e");
            KelErrorData *item = kel_error_data_new(own.err, test_domain(), 0, sizeof(KelErrorData), nullptr); return p(kel_error_data_to_json(item));),
        R("kel_error_register_json_expand", "callback", S("FALSE"), kel_error_register_json_expand(test_domain(), test_expand);
            kel_error_register_json_expand(test_domain(), nullptr); Doc obj("{}"); kel_json_obj_put_u64_base(obj, "domain", test_domain(), nullptr);
            return b(kel_error_json_expand(obj, nullptr));),
        E("kel_error_code_to_name", "none", S("\"KEL_BUFFER_INSUFFICIENT\""), str(kel_error_code_to_name(kel_error_domain(), -3))),
        E("kel_error_data_to_json", "item", S("NULL"), p(kel_error_data_to_json(nullptr))),
        E("kel_error_json_expand", "object", S("FALSE"), b(kel_error_json_expand(nullptr, nullptr))),
        R("kel_error_json_expand", "user", S("TRUE 7"), ErrorSlot own; own.err = new_error(-1, "e"); kel_error_add_location(&own);
            JsonRoot obj(kel_error_data_to_json(own.err->data)); gboolean r = kel_error_json_expand(obj, nullptr);
            return b(r) + " " + n(kel_json_obj_size(obj));),
        R("kel_error_purge_registry", "none", S("NULL"), kel_error_purge_registry(); std::string s = str(kel_error_code_to_name(kel_error_domain(), -3));
            __kel_init_func(); return s;),
        R("__kel_init_func", "none", S("\"KEL_JSON_PARSE_ERROR\""), __kel_init_func(); return str(kel_error_code_to_name(kel_json_error_domain(), -6));),
        E("blob_data_to_json", "item", S("NULL"), p(blob_data_to_json(nullptr))),
        E("std_payload_json_expand", "object", S("TRUE"), b(std_payload_json_expand(nullptr, nullptr))),
        R("std_payload_json_expand", "user", S("TRUE {\"domain_name\":\"kel-error\",\"type\":1,\"type_name\":\"KEL_ERROR_DATA_BLOB\"}"), Doc obj("{\"type\":1}");
            return bs(std_payload_json_expand(obj, nullptr), obj);),
        R("kel_str_array_sized_new", "none", S("0 NULL"), KelStrArray *a = kel_str_array_sized_new(4);
            std::string s = n(a->len) + " " + p(reinterpret_cast<char **>(a->data)[0]); kel_str_array_free(a, TRUE); return s;),
        R("kel_str_array_add", "array", W("void"), kel_str_array_add(nullptr, "x"); return "void";),
        R("kel_str_array_add", "str", W("0"), KelStrArray *a = kel_str_array_sized_new(0); kel_str_array_add(a, nullptr); std::string s = n(a->len);
            kel_str_array_free(a, TRUE); return s;),
        E("kel_str_array_new_strs", "strs", W("NULL"), p(kel_str_array_new_strs(nullptr, 2))),
        R("kel_str_array_new_strs", "strs[1]", W("2 c", "kel_str_array_add", "str"), const char *strs[] = {"a", nullptr, "c"};
            KelStrArray *a = kel_str_array_new_strs(strs, 3); std::string s = a ? n(a->len) + " " + kel_str_array_index(a, -1) : "NULL";
            kel_str_array_free(a, TRUE); return s;),
        E("kel_str_array_index", "array", W("NULL"), str(kel_str_array_index(nullptr, 0))),
        R("kel_str_array_sort", "array", W("void"), kel_str_array_sort(nullptr); return "void";),
        E("kel_str_array_free", "array", S("NULL"), p(kel_str_array_free(nullptr, TRUE))),
        E("kel_str_array_free", "array_keep_segment", S("NULL"), p(kel_str_array_free(nullptr, FALSE))),
        E("kel_strtoll", "err", S("-42"), n(kel_strtoll("-42", 10, nullptr))),
        E("kel_strtoll", "err_failing", S("0"), n(kel_strtoll("4x", 10, nullptr))),
        E("kel_strtoull", "err", S("42"), u(kel_strtoull("42", 10, nullptr))),
        E("kel_strtoull", "err_failing", S("0"), u(kel_strtoull("42", 99, nullptr))),
        E("kel_strtod", "err", S("5"), n(static_cast<long long>(kel_strtod("2.5", nullptr) * 2))),
        E("kel_strtod", "err_failing", S("0"), n(static_cast<long long>(kel_strtod("1e999", nullptr)))),
        R("kel_uint128_div", "quotient", S("0 r=0:1"), KelUint128 r = {0, 0}; gint32 rc = kel_uint128_div(k7, {2, 0}, nullptr, &r);
            return n(rc) + " r=" + u128(r);),
        R("kel_uint128_div", "remainder", S("0 q=0:3"), KelUint128 q = {0, 0}; gint32 rc = kel_uint128_div(k7, {2, 0}, &q, nullptr);
            return n(rc) + " q=" + u128(q);),
        E("kel_uint128_to_str", "buf", S("-1"), n(kel_uint128_to_str(k7, 10, nullptr, 8))),
        R("kel_uint128_from_str", "str", S("-1 out=5:5"), KelUint128 out = {5, 5}; gint32 rc = kel_uint128_from_str(nullptr, &out);
            return n(rc) + " out=" + u128(out);),
        E("kel_uint128_from_str", "out", S("-1"), n(kel_uint128_from_str("42", nullptr))),
        E("kel_uint128_add", "none", S("1:0"), u128(kel_uint128_add({G_MAXUINT64, 0}, {1, 0}))),
        E("kel_uint128_neg", "none", S("0:0"), u128(kel_uint128_neg({0, 0}))),
        E("kel_uint128_sub", "none", S("0:5"), u128(kel_uint128_sub(k7, {2, 0}))),
        E("kel_uint128_lt", "none", S("TRUE"), b(kel_uint128_lt({0, 0}, {0, 1}))),
        E("kel_uint128_le", "none", S("TRUE"), b(kel_uint128_le(k7, k7))),
        E("kel_uint128_lshift", "none", S("1:0"), u128(kel_uint128_lshift({1, 0}, 64))),
        E("kel_uint128_rshift", "none", S("0:0"), u128(kel_uint128_rshift({1, 0}, 200))),
        E("kel_uint128_mul", "none", S("0:21"), u128(kel_uint128_mul(k7, {3, 0}))),
        R("kel_uint24_init", "none", S("120,86,52"), KelUint24 v = kel_uint24_init(0x12345678u); return n(v.b0) + "," + n(v.b1) + "," + n(v.b2);),
        R("kel_uint48_init", "none", S("8,3"), KelUint48 v = kel_uint48_init(G_GUINT64_CONSTANT(0x0102030405060708)); return n(v.b0) + "," + n(v.b5);),
        R("kel_try_aligned_alloc", "none", S("non-NULL aligned"), void *block = kel_try_aligned_alloc(64, 128);
            std::string s = p(block) + (reinterpret_cast<uintptr_t>(block) % 64 == 0 ? " aligned" : ""); kel_aligned_free(block); return s;),
        R("kel_aligned_alloc", "none", S("non-NULL"), void *block = kel_aligned_alloc(16, 16); std::string s = p(block); kel_aligned_free(block); return s;),
        R("kel_aligned_free", "ptr", S("void"), kel_aligned_free(nullptr); return "void";),
        R("kel_rm_dir", "error", S("TRUE removed"), std::string dir = temp_tree(); gboolean r = kel_rm_dir(dir.c_str(), nullptr);
            return b(r) + (exists(dir) ? " kept" : " removed");),
        E("kel_rm_dir", "error_failing", S("FALSE"), b(kel_rm_dir("/nonexistent/kel-null-args", nullptr))),
        R("kel_empty_dir", "error", S("TRUE empty"), std::string dir = temp_tree(); gboolean r = kel_empty_dir(dir.c_str(), nullptr);
            std::string s = b(r) + (kel_is_dir_empty(dir.c_str()) ? " empty" : " not empty"); g_rmdir(dir.c_str()); return s;),
        E("kel_empty_dir", "error_failing", S("FALSE"), b(kel_empty_dir("/nonexistent/kel-null-args", nullptr))),
        E("kel_getpid", "none", S("TRUE"), b(kel_getpid() == static_cast<gint32>(getpid()))),
        E("utf8_check_string", "s", S("1"), n(utf8_check_string(nullptr, 0))),
        R("kel_json_null_new_base", "none", S("null 0"), JsonRoot v(kel_json_null_new_base()); return show(v) + " " + n(v->refcount);),
        R("kel_json_bool_new_base", "none", S("true"), JsonRoot v(kel_json_bool_new_base(2)); return show(v);),
        R("kel_json_i64_new_base", "none", S("-3"), JsonRoot v(kel_json_i64_new_base(-3)); return show(v);),
        R("kel_json_u64_new_base", "none", S("3"), JsonRoot v(kel_json_u64_new_base(3)); return show(v);),
        R("kel_json_u128_new_base", "none", S("7"), JsonRoot v(kel_json_u128_new_base(k7)); return show(v);),
        R("kel_json_double_new_base", "none", S("0.5"), JsonRoot v(kel_json_double_new_base(0.5)); return kel_test::dump(v, KEL_JSON_DUMP_REAL_ROUNDTRIP);),
        E("kel_json_str_new_len_base", "value", A("NULL"), p(kel_json_str_new_len_base(nullptr, 3, err))),
        R("kel_json_str_new_len_base", "error", S("\"ab\""), JsonRoot v(kel_json_str_new_len_base("abc", 2, nullptr)); return show(v);),
        E("kel_json_str_new_len_base", "error_failing", S("NULL"), p(kel_json_str_new_len_base("\xC3\x28", 2, nullptr))),
        E("kel_json_str_new_base", "value", A("NULL"), p(kel_json_str_new_base(nullptr, err))),
        R("kel_json_str_new_base", "error", S("\"s\""), JsonRoot v(kel_json_str_new_base("s", nullptr)); return show(v);),
        E("kel_json_jref_new_base", "uri", A("NULL"), p(kel_json_jref_new_base(nullptr, err))),
        R("kel_json_jref_new_base", "error", S("\"#/a\""), JsonRoot v(kel_json_jref_new_base("#/a", nullptr)); return str(kel_json_jref_uri(v));),
        E("kel_json_jref_uri", "json", S("NULL"), str(kel_json_jref_uri(nullptr))),
        R("kel_json_ref", "json", S("void"), kel_json_ref(nullptr); return "void";),
        R("kel_json_unref", "json", S("void"), kel_json_unref(nullptr); return "void";),
        R("kel_json_delete", "json", S("void"), kel_json_delete(nullptr); return "void";),
        E("kel_json_bool_get", "json", S("FALSE"), b(kel_json_bool_get(nullptr))),
        E("kel_json_is_num", "json", S("FALSE"), b(kel_json_is_num(nullptr))),
        E("kel_json_is_int", "json", S("FALSE"), b(kel_json_is_int(nullptr))),
        E("kel_json_is_bool", "json", S("FALSE"), b(kel_json_is_bool(nullptr))),
        E("kel_json_enum_type_string", "none", S("<unknown> boolean"), std::string(kel_json_enum_type_string(11, TRUE)) + " " + kel_json_enum_type_string(KEL_JSON_TRUE, FALSE)),
        E("kel_json_type_string", "json", S("<none>"), kel_json_type_string(nullptr, TRUE)),
        E("kel_json_parent_key", "json", S("NULL"), str(kel_json_parent_key(nullptr))),
        E("kel_json_parent_index", "json", S("-1"), n(kel_json_parent_index(nullptr))),
        R("kel_json_obj_new_base", "none", S("{} flags 2"), JsonRoot o(kel_json_obj_new_base(TRUE)); return show(o) + " flags " + n(o->flags);),
        R("kel_json_obj_put_base", "json", A("FALSE parent NULL"), Doc v("1"); gboolean r = kel_json_obj_put_base(nullptr, "k", v, err);
            return b(r) + " parent " + p(v->parent);),
        R("kel_json_obj_put_base", "key", A("FALSE {}"), Doc o("{}"); KelJson *v = kel_json_i64_new_base(1);
            gboolean r = kel_json_obj_put_base(o, nullptr, v, err); kel_json_unref(v); return b(r) + " " + show(o);),
        R("kel_json_obj_put_base", "value", A("FALSE {}"), Doc o("{}"); return bs(kel_json_obj_put_base(o, "k", nullptr, err), o);),
        R("kel_json_obj_put_base", "error", S("TRUE {\"k\":1}"), Doc o("{}"); KelJson *v = kel_json_i64_new_base(1);
            gboolean r = kel_json_obj_put_base(o, "k", v, nullptr); kel_json_unref(v); return b(r) + " " + show(o);),
        R("kel_json_obj_put_base", "error_failing", S("FALSE {\"k\":1}"), Doc o("{\"k\":1}");
            return bs(kel_json_obj_put_base(o, "j", kel_json_obj_get_base(o, "k", 0, nullptr), nullptr), o);),
        E("kel_json_obj_remove", "json", S("FALSE"), b(kel_json_obj_remove(nullptr, "k"))),
        R("kel_json_obj_remove", "key", S("FALSE {\"k\":1}"), Doc o("{\"k\":1}"); return bs(kel_json_obj_remove(o, nullptr), o);),
        E("kel_json_obj_size", "json", S("-1"), n(kel_json_obj_size(nullptr))),
        E("kel_json_obj_has_key", "json", S("FALSE"), b(kel_json_obj_has_key(nullptr, "k"))),
        R("kel_json_obj_iter_init", "iter", W("FALSE"), Doc o("{\"k\":1}"); return b(kel_json_obj_iter_init(nullptr, o));),
        R("kel_json_obj_iter_init", "json", S("FALSE"), KelJsonObjIter iter; return b(kel_json_obj_iter_init(&iter, nullptr));),
        R("kel_json_obj_iter_next", "key", S("TRUE 1"), Doc o("{\"k\":1}"); KelJsonObjIter iter; kel_json_obj_iter_init(&iter, o); KelJson *value = nullptr;
            gboolean r = kel_json_obj_iter_next(&iter, nullptr, &value); return bs(r, value);),
        R("kel_json_obj_iter_next", "value", S("TRUE \"k\""), Doc o("{\"k\":1}"); KelJsonObjIter iter; kel_json_obj_iter_init(&iter, o);
            const char *key = nullptr; gboolean r = kel_json_obj_iter_next(&iter, &key, nullptr); return b(r) + " " + str(key);),
        R("kel_json_obj_foreach", "json", S("FALSE 0"), int count = 0; gboolean r = kel_json_obj_foreach(nullptr, count_member, &count);
            return b(r) + " " + n(count);),
        R("kel_json_obj_foreach", "callback", W("FALSE"), Doc o("{\"k\":1}"); return b(kel_json_obj_foreach(o, nullptr, nullptr));),
        R("kel_json_obj_foreach", "data", S("TRUE"), Doc o("{\"k\":1,\"j\":2}"); return b(kel_json_obj_foreach(o, count_member, nullptr));),
        E("kel_json_obj_keys", "json", S("NULL"), p(kel_json_obj_keys(nullptr))),
        E("kel_json_alpha_keys", "json", W("NULL", "kel_str_array_sort", "array"), p(kel_json_alpha_keys(nullptr))),
        E("kel_json_obj_get_base", "json", A("NULL"), p(kel_json_obj_get_base(nullptr, "k", 1, err))),
        R("kel_json_obj_get_base", "key", A("NULL"), Doc o("{\"k\":1}"); return p(kel_json_obj_get_base(o, nullptr, 1, err));),
        R("kel_json_obj_get_base", "error", S("1 NULL"), Doc o("{\"k\":1,\"r\":{\"$ref\":\"#/k\"}}");
            return show(kel_json_obj_get_base(o, "r", 1, nullptr)) + " " + show(kel_json_obj_get_base(o, "x", 1, nullptr));),
        R("kel_json_obj_get_obj_base", "error", S("{} NULL"), Doc o("{\"k\":{},\"s\":\"x\"}");
            return show(kel_json_obj_get_obj_base(o, "k", nullptr)) + " " + show(kel_json_obj_get_obj_base(o, "s", nullptr));),
        R("kel_json_obj_get_array_base", "error", S("[] NULL"), Doc o("{\"k\":[],\"s\":\"x\"}");
            return show(kel_json_obj_get_array_base(o, "k", nullptr)) + " " + show(kel_json_obj_get_array_base(o, "s", nullptr));),
        R("kel_json_obj_get_str_base", "error", S("\"v\" NULL"), Doc o("{\"k\":\"v\",\"i\":5}");
            return str(kel_json_obj_get_str_base(o, "k", nullptr)) + " " + str(kel_json_obj_get_str_base(o, "i", nullptr));),
        R("kel_json_obj_get_jref_base", "error", S("\"#/x\""), Doc o("{\"k\":{\"$ref\":\"#/x\"}}");
            return str(kel_json_jref_uri(kel_json_obj_get_jref_base(o, "k", nullptr)));),
        R("kel_json_obj_put_str_base", "value", A("NULL {}", "kel_json_str_new_base", "value"), return on_obj([&](KelJson *o) { return kel_json_obj_put_str_base(o, "k", nullptr, err);
            });),
        R("kel_json_obj_put_str_len_base", "value", A("NULL {}", "kel_json_str_new_len_base", "value"), return on_obj([&](KelJson *o) { return kel_json_obj_put_str_len_base(o, "k", nullptr, 1, err);
            });),
        R("kel_json_obj_put_jref_base", "uri", A("NULL {}", "kel_json_jref_new_base", "uri"), return on_obj([&](KelJson *o) { return kel_json_obj_put_jref_base(o, "k", nullptr, err);
            });),
        R("kel_json_array_new_base", "none", S("[] 0"), JsonRoot a(kel_json_array_new_base(4, FALSE)); return show(a) + " " + n(a->refcount);),
        R("kel_json_array_push_base", "json", A("FALSE"), Doc v("1"); return b(kel_json_array_push_base(nullptr, v, err));),
        R("kel_json_array_push_base", "value", A("FALSE []"), Doc a("[]"); return bs(kel_json_array_push_base(a, nullptr, err), a);),
        R("kel_json_array_push_base", "error", S("TRUE [1]"), Doc a("[]"); KelJson *v = kel_json_i64_new_base(1);
            gboolean r = kel_json_array_push_base(a, v, nullptr); kel_json_unref(v); return b(r) + " " + show(a);),
        E("kel_json_array_size", "json", S("-1"), n(kel_json_array_size(nullptr))),
        E("kel_json_array_pop", "json", S("-1"), n(kel_json_array_pop(nullptr, 1))),
        E("kel_json_array_get_base", "json", A("NULL"), p(kel_json_array_get_base(nullptr, 0, 1, err))),
        R("kel_json_array_get_base", "error", S("1 NULL"), Doc a("[1,{\"$ref\":\"#/0\"}]");
            return show(kel_json_array_get_base(a, -1, 1, nullptr)) + " " + show(kel_json_array_get_base(a, 2, 1, nullptr));),
        R("kel_json_array_swap", "array", A("NULL"), Doc v("1"); return p(kel_json_array_swap(nullptr, 0, v, err));),
        R("kel_json_array_swap", "elem", A("NULL [1]"), Doc a("[1]"); return ps(kel_json_array_swap(a, 0, nullptr, err), a);),
        R("kel_json_array_swap", "error", S("1 [2]"), Doc a("[1]"); JsonRoot former(kel_json_array_swap(a, 0, kel_json_i64_new_base(2), nullptr));
            return show(former) + " " + show(a);),
        E("kel_json_array_filter", "json", S("FALSE"), b(kel_json_array_filter(nullptr, keep_all, nullptr))),
        R("kel_json_array_filter", "keep", S("FALSE [1,2]"), Doc a("[1,2]"); return bs(kel_json_array_filter(a, nullptr, nullptr), a);),
        R("kel_json_array_filter", "data", S("TRUE [1,2]"), Doc a("[1,2]"); return bs(kel_json_array_filter(a, keep_all, nullptr), a);),
        E("kel_json_array_pop_elem", "json", S("NULL"), p(kel_json_array_pop_elem(nullptr))),
        E("kel_json_array_sort", "json", S("FALSE"), b(kel_json_array_sort(nullptr, compare_i64))),
        R("kel_json_array_sort", "compare", S("FALSE [2,1]"), Doc a("[2,1]"); return bs(kel_json_array_sort(a, nullptr), a);),
        R("kel_json_array_push_str_base", "value", A("NULL []", "kel_json_str_new_base", "value"), return on_array([&](KelJson *a) { return kel_json_array_push_str_base(a, nullptr, err);
            });),
        E("kel_json_is_i64_ext", "json", S("FALSE FALSE"), b(kel_json_is_i64_ext(nullptr, TRUE)) + " " + b(kel_json_is_i64_ext(nullptr, FALSE))),
        E("kel_json_is_u64_ext", "json", S("FALSE FALSE"), b(kel_json_is_u64_ext(nullptr, TRUE)) + " " + b(kel_json_is_u64_ext(nullptr, FALSE))),
        E("kel_json_is_u128_ext", "json", S("FALSE FALSE"), b(kel_json_is_u128_ext(nullptr, TRUE)) + " " + b(kel_json_is_u128_ext(nullptr, FALSE))),
        E("kel_json_is_double_ext", "json", S("FALSE FALSE"), b(kel_json_is_double_ext(nullptr, TRUE)) + " " + b(kel_json_is_double_ext(nullptr, FALSE))),
        R("kel_json_obj_get_i64_base", "error", S("3 0"), Doc o("{\"k\":3.0,\"h\":3.5}");
            return n(kel_json_obj_get_i64_base(o, "k", nullptr)) + " " + n(kel_json_obj_get_i64_base(o, "h", nullptr));),
        R("kel_json_obj_get_u64_base", "error", S("3 0"), Doc o("{\"k\":3,\"m\":-1}");
            return u(kel_json_obj_get_u64_base(o, "k", nullptr)) + " " + u(kel_json_obj_get_u64_base(o, "m", nullptr));),
        R("kel_json_obj_get_u128_base", "error", S("0:3 0:0"), Doc o("{\"k\":3}");
            return u128(kel_json_obj_get_u128_base(o, "k", nullptr)) + " " + u128(kel_json_obj_get_u128_base(o, "x", nullptr));),
        R("kel_json_obj_get_double_base", "error", S("10 0"), Doc o("{\"k\":5,\"s\":\"x\"}");
            return n(static_cast<long long>(kel_json_obj_get_double_base(o, "k", nullptr) * 2)) + " " + n(static_cast<long long>(kel_json_obj_get_double_base(o, "s", nullptr)));),
        R("kel_json_obj_get_bool_base", "error", S("TRUE FALSE"), Doc o("{\"k\":true,\"s\":\"true\"}");
            return b(kel_json_obj_get_bool_base(o, "k", nullptr)) + " " + b(kel_json_obj_get_bool_base(o, "s", nullptr));),
        E("kel_json_copy", "json", S("NULL"), p(kel_json_copy(nullptr))),
        E("kel_json_make_orphan_base", "json", S("FALSE"), b(kel_json_make_orphan_base(nullptr))),
        R("kel_json_swap_child_base", "old_child", A("FALSE"), Doc v("1"); return b(kel_json_swap_child_base(nullptr, v, err));),
        R("kel_json_swap_child_base", "new_child", A("FALSE {\"k\":1}"), Doc o("{\"k\":1}");
            return bs(kel_json_swap_child_base(kel_json_obj_get_base(o, "k", 0, nullptr), nullptr, err), o);),
        R("kel_json_swap_child_base", "error", S("TRUE {\"k\":2} old parent NULL"), Doc o("{\"k\":1}"); JsonRoot old(kel_json_obj_get_base(o, "k", 0, nullptr));
            kel_json_ref(old); gboolean r = kel_json_swap_child_base(old, kel_json_i64_new_base(2), nullptr);
            return b(r) + " " + show(o) + " old parent " + p(old->parent);),
        R("kel_json_array_put_ext", "json", A("FALSE", "kel_json_array_swap", "array"), Doc v("1");
            return b(kel_json_array_put_ext(nullptr, 0, v, nullptr, err));),
        R("kel_json_array_put_ext", "json_with_fill", A("FALSE", "kel_json_array_push_base", "json"), Doc v("1"); JsonRoot fill(kel_json_null_new_base());
            return b(kel_json_array_put_ext(nullptr, 0, v, fill, err));),
        R("kel_json_array_put_ext", "value", A("FALSE []", "kel_json_array_push_base", "value"), Doc a("[]");
            return bs(kel_json_array_put_ext(a, 0, nullptr, nullptr, err), a);),
        R("kel_json_array_put_ext", "value_replacing", A("FALSE [1]", "kel_json_array_swap", "elem"), Doc a("[1]");
            return bs(kel_json_array_put_ext(a, 0, nullptr, nullptr, err), a);),
        R("kel_json_array_put_ext", "fill", S("TRUE [1]"), Doc a("[]"); KelJson *v = kel_json_i64_new_base(1);
            gboolean r = kel_json_array_put_ext(a, 0, v, nullptr, err); kel_json_unref(v); return b(r) + " " + show(a);),
        R("kel_json_array_put_ext", "fill_beyond_length", F("FALSE []", KEL_JSON_INDEX_INVALID, "Index 2 is out of bounds for JSON array \"\""), Doc a("[]");
            KelJson *v = kel_json_i64_new_base(1); gboolean r = kel_json_array_put_ext(a, 2, v, nullptr, err); kel_json_unref(v); return b(r) + " " + show(a);),
        R("kel_json_array_put_ext", "error", S("TRUE [null,null,1]"), Doc a("[]"); JsonRoot fill(kel_json_null_new_base());
            KelJson *v = kel_json_i64_new_base(1); gboolean r = kel_json_array_put_ext(a, 2, v, fill, nullptr); kel_json_unref(v);
            return b(r) + " " + show(a);),
        R("kel_json_subset", "a", S("FALSE"), Doc v("{}"); return b(kel_json_subset(nullptr, v, 0));),
        R("kel_json_subset", "b", S("FALSE"), Doc v("{}"); return b(kel_json_subset(v, nullptr, 15));),
        E("kel_json_subset", "a_and_b", S("TRUE"), b(kel_json_subset(nullptr, nullptr, 15))),
        R("kel_json_union", "left", W("NULL"), Doc r("{}"); return p(kel_json_union(nullptr, r, 0, err));),
        R("kel_json_union", "right", W("NULL"), Doc l("{}"); return p(kel_json_union(l, nullptr, 0, err));),
        R("kel_json_union", "error", S("{\"a\":1,\"b\":2} NULL"), Doc l("{\"a\":1}"), r("{\"b\":2}"), c("{\"a\":2}");
            JsonRoot both(kel_json_union(l, r, 0, nullptr)); return show(both) + " " + p(kel_json_union(l, c, 0, nullptr));),
        R("kel_json_array_find", "json", S("NULL"), Doc pattern("1"); return p(kel_json_array_find(nullptr, pattern));),
        R("kel_json_array_find", "pattern", S("NULL"), Doc a("[null,1]"); return p(kel_json_array_find(a, nullptr));),
        E("kel_json_array_find_str", "json", S("NULL"), p(kel_json_array_find_str(nullptr, "s"))),
        R("kel_json_array_find_str", "text", S("NULL"), Doc a("[\"s\",null]"); return p(kel_json_array_find_str(a, nullptr));),
        R("lex_init", "data", S("NULL line 1 token -1 text \"\""), KelJsonLexer lex; lex_init(&lex, lex_get_none, nullptr, err);
            std::string s = p(lex.data) + " line " + n(lex.line) + " token " + n(lex.token) + " text " + str(lex.text ? lex.text->str : nullptr);
            if (lex.text) g_string_free(lex.text, TRUE); return s;),
        R("lex_init", "error", S("NULL non-NULL"), KelJsonLexer lex; KelJsonStrSource source = {"1", 0}; lex_init(&lex, lex_get_none, &source, nullptr);
            std::string s = p(lex.error) + " " + p(lex.text); if (lex.text) g_string_free(lex.text, TRUE); return s;),
        E("kel_json_loads", "in", A("NULL items NULL"), p(kel_json_loads(nullptr, 0, err)) + " items " + p(*err ? (*err)->data : nullptr)),
        R("kel_json_loads", "error", S("[1] NULL"), JsonRoot good(kel_json_loads("[1]", 0, nullptr));
            return show(good) + " " + p(kel_json_loads("[1", 0, nullptr));),
        E("kel_json_loadf", "fh", A("NULL"), p(kel_json_loadf(nullptr, 0, err))),
        R("kel_json_loadf", "error", S("{\"a\":true}"), char text[] = "{\"a\":true}"; FILE *fh = fmemopen(text, sizeof text - 1, "r");
            JsonRoot loaded(kel_json_loadf(fh, 0, nullptr)); fclose(fh); return show(loaded);),
        R("kel_json_escape_str_ext", "str", S("-1 ab"), GStr out("ab"); int r = kel_json_escape_str_ext(nullptr, out); return n(r) + " " + out->str;),
        E("kel_json_escape_str_ext", "out", S("-1"), n(kel_json_escape_str_ext("x", nullptr))),
        E("kel_json_escape_str", "str", S("NULL"), str(kel_json_escape_str(nullptr))),
        R("kel_json_ptr_add_key_ext", "key", S("FALSE /a"), GStr s("/a"); gboolean r = kel_json_ptr_add_key_ext(s, nullptr); return b(r) + " " + s->str;),
        R("kel_json_ptr_add_key", "init", S("\"/a~1b\""), char *s = kel_json_ptr_add_key(nullptr, "a/b"); std::string out = str(s); g_free(s); return out;),
        E("kel_json_ptr_add_key", "key", S("NULL"), str(kel_json_ptr_add_key("/a", nullptr))),
        R("kel_json_ptr_ext", "json", S("FALSE x"), GStr s("x"); gboolean r = kel_json_ptr_ext(nullptr, s); return b(r) + " " + s->str;),
        R("kel_json_ptr_ext", "str", S("FALSE"), Doc o("{\"k\":1}"); return b(kel_json_ptr_ext(kel_json_obj_get_base(o, "k", 0, nullptr), nullptr));),
        R("kel_json_ptr", "json", S("-1 untouched"), char sentinel[] = "untouched"; char *out = sentinel; gint32 r = kel_json_ptr(nullptr, &out);
            return n(r) + " " + out;),
        R("kel_json_ptr", "out", S("-1"), Doc o("{}"); return n(kel_json_ptr(o, nullptr));),
        R("kel_json_ptr_build_array", "array", S("FALSE ''"), GStr s(""); gboolean r = kel_json_ptr_build_array(nullptr, s);
            return b(r) + " '" + s->str + "'";),
        R("kel_json_ptr_build_array", "str", S("FALSE"), Doc a("[]"); return b(kel_json_ptr_build_array(a, nullptr));),
        R("kel_json_ptr_build_obj", "obj", S("FALSE ''"), GStr s(""); gboolean r = kel_json_ptr_build_obj(nullptr, "k", s); return b(r) + " '" + s->str + "'";),
        R("kel_json_ptr_build_obj", "str", S("FALSE"), Doc o("{}"); return b(kel_json_ptr_build_obj(o, "k", nullptr));),
        E("kel_json_ptr_vprintf", "str", W("-1"), n(vprintf_into(nullptr, "%d", 1))),
        R("kel_json_ptr_vprintf", "fmt", W("-1 x"), GStr s("x"); gint32 r = vprintf_into(s, null_text()); return n(r) + " " + s->str;),
        E("kel_json_ptr_printf", "str", W("-1", "kel_json_ptr_vprintf", "str"), n(kel_json_ptr_printf(nullptr, "%d", 1))),
        R("kel_json_ptr_printf", "fmt", W("-1 x", "kel_json_ptr_vprintf", "fmt"), GStr s("x"); gint32 r = kel_json_ptr_printf(s, null_text());
            return n(r) + " " + s->str;),
        R("kel_json_ptr_printf", "%P_argument", S("6 at \"\"."), GStr s(""); gint32 r = kel_json_ptr_printf(s, "at %P.", static_cast<KelJson *>(nullptr));
            return n(r) + " " + s->str;),
        E("kel_json_ptr_aprintf", "out", W("-1", "kel_json_ptr_aprintf", "str"), n(kel_json_ptr_aprintf(nullptr, "%d", 1))),
        R("kel_json_ptr_aprintf", "fmt", W("-1 \"\"", "kel_json_ptr_vprintf", "fmt"), char *out = nullptr; gint32 r = kel_json_ptr_aprintf(&out, null_text());
            std::string s = n(r) + " " + str(out); g_free(out); return s;),
        R("kel_json_set_error", "err", S("void"), kel_json_set_error(nullptr, KEL_JSON_KEY_INVALID, "%s", "lost"); return "void";),
        R("kel_json_set_error", "fmt", WF("void", "kel_json_ptr_vprintf", "fmt", KEL_JSON_KEY_INVALID, ""), kel_json_set_error(err, KEL_JSON_KEY_INVALID, null_text());
            return "void";),
        E("kel_json_ptr_get_base", "root", A("NULL"), p(kel_json_ptr_get_base(nullptr, "/a", err))),
        R("kel_json_ptr_get_base", "ptr", A("NULL"), Doc root("{\"a\":1}"); return p(kel_json_ptr_get_base(root, nullptr, err));),
        R("kel_json_ptr_get_base", "error", S("5 NULL"), Doc root("{\"a\":[5]}");
            return show(kel_json_ptr_get_base(root, "#/a/0", nullptr)) + " " + show(kel_json_ptr_get_base(root, "/b", nullptr));),
        R("kel_json_ptr_put_base", "root", A("FALSE"), Doc elem("1"); return b(kel_json_ptr_put_base(nullptr, "/a", elem, TRUE, nullptr, err));),
        R("kel_json_ptr_put_base", "ptr", A("FALSE {}"), Doc root("{}"); Doc elem("1");
            return bs(kel_json_ptr_put_base(root, nullptr, elem, TRUE, nullptr, err), root);),
        R("kel_json_ptr_put_base", "elem", A("FALSE {}"), Doc root("{}"); return bs(kel_json_ptr_put_base(root, "/a/b", nullptr, TRUE, nullptr, err), root);),
        R("kel_json_ptr_put_base", "fill", S("TRUE {\"a\":[1]}"), Doc root("{}"); KelJson *elem = kel_json_i64_new_base(1);
            gboolean r = kel_json_ptr_put_base(root, "/a/0", elem, FALSE, nullptr, err); kel_json_unref(elem); return b(r) + " " + show(root);),
        R("kel_json_ptr_put_base", "error", S("TRUE FALSE {\"a\":{\"b\":1},\"s\":\"x\"}"), Doc root("{\"s\":\"x\"}"); KelJson *elem = kel_json_i64_new_base(1);
            gboolean r = kel_json_ptr_put_base(root, "/a/b", elem, TRUE, nullptr, nullptr); KelJson *refused = kel_json_i64_new_base(2);
            gboolean r2 = kel_json_ptr_put_base(root, "/s/x", refused, TRUE, nullptr, nullptr); kel_json_unref(elem); kel_json_unref(refused);
            return b(r) + " " + b(r2) + " " + show(root);),
        R("kel_json_ptr_put_str_base", "value", A("NULL {\"a\":{}}", "kel_json_str_new_base", "value"), return on_doc([&](KelJson *r) { return kel_json_ptr_put_str_base(r, "/a/b", nullptr, err);
            });),
        R("kel_json_ptr_put_jref_base", "uri", A("NULL {\"a\":{}}", "kel_json_jref_new_base", "uri"), return on_doc([&](KelJson *r) { return kel_json_ptr_put_jref_base(r, "/a/b", nullptr, err);
            });),
        R("kel_json_visit", "json", W("FALSE"), KelJsonVisitor visitor = {}; return b(kel_json_visit(nullptr, &visitor, nullptr));),
        R("kel_json_visit", "visitor", W("FALSE"), Doc j("[1]"); return b(kel_json_visit(j, nullptr, nullptr));),
        R("kel_json_visit", "data", S("TRUE"), Doc j("[1,{\"a\":2}]"); KelJsonVisitor visitor = {}; visitor.on_i64 = count_scalar;
            return b(kel_json_visit(j, &visitor, nullptr));),
        R("kel_json_visit", "visitor_slots", S("TRUE"), Doc j("{\"a\":[1,\"s\",null,true],\"b\":{\"$ref\":\"#/a\"}}"); KelJsonVisitor visitor = {};
            return b(kel_json_visit(j, &visitor, nullptr));),
        R("kel_json_sdump_ext", "root", W("FALSE x"), GStr s("x"); gboolean r = kel_json_sdump_ext(nullptr, s, 0, 0); return b(r) + " " + s->str;),
        R("kel_json_sdump_ext", "out", W("FALSE"), Doc j("[1]"); return b(kel_json_sdump_ext(j, nullptr, 0, 0));),
        R("kel_json_sdump", "root", W("FALSE untouched"), char sentinel[] = "untouched"; char *out = sentinel; gboolean r = kel_json_sdump(nullptr, &out, 0);
            return b(r) + " " + out;),
        R("kel_json_sdump", "out", W("FALSE"), Doc j("[1]"); return b(kel_json_sdump(j, nullptr, 0));),
        R("kel_json_fdump", "root", W("FALSE 0"), FILE *f = tmpfile(); gboolean r = kel_json_fdump(nullptr, f, 0, 0); std::string s = b(r) + " " + n(ftell(f));
            fclose(f); return s;),
        R("kel_json_fdump", "out", W("FALSE"), Doc j("[1]"); return b(kel_json_fdump(j, nullptr, 0, 0));),
        E("kel_json_jref_resolve_base", "json", F("NULL", KEL_JSON_TYPE_INVALID, "kel_json_jref_resolve_base: invalid JSON type for \"\": expected reference, got <none>"), p(kel_json_jref_resolve_base(nullptr, err))),
        R("kel_json_jref_resolve_base", "error", S("1 NULL"), Doc root("{\"a\":1,\"r\":{\"$ref\":\"#/a\"},\"m\":{\"$ref\":\"#/x\"}}");
            return show(kel_json_jref_resolve_base(kel_json_obj_get_base(root, "r", 0, nullptr), nullptr)) + " " + show(kel_json_jref_resolve_base(kel_json_obj_get_base(root, "m", 0, nullptr), nullptr));),
        E("kel_json_jref_deref_base", "json", F("NULL", KEL_JSON_TYPE_INVALID, "kel_json_jref_deref_base: invalid JSON type for \"\": expected reference, got <none>"), p(kel_json_jref_deref_base(nullptr, err))),
        R("kel_json_jref_deref_base", "error", S("1 NULL"), Doc root("{\"a\":1,\"r\":{\"$ref\":\"#/s\"},\"s\":{\"$ref\":\"#/a\"},\"c\":{\"$ref\":\"#/c\"}}");
            return show(kel_json_jref_deref_base(kel_json_obj_get_base(root, "r", 0, nullptr), nullptr)) + " " + show(kel_json_jref_deref_base(kel_json_obj_get_base(root, "c", 0, nullptr), nullptr));),
        E("kel_json_jref_expand", "root", A("FALSE"), b(kel_json_jref_expand(nullptr, err))),
        R("kel_json_jref_expand", "error", S("TRUE {\"a\":[1],\"r\":[1]}"), Doc root("{\"a\":[1],\"r\":{\"$ref\":\"#/a\"}}");
            return bs(kel_json_jref_expand(root, nullptr), root);),
        R("kel_error_new", "format", N("NULL"), KelError *e = kel_error_new(nullptr, kel_error_domain(), KEL_IO_FAIL, null_text()); std::string s = p(e);
            kel_error_free(e); return s;),
        R("kel_error_new_valist", "format", N("NULL"), KelError *e = new_valist(nullptr, null_text()); std::string s = p(e); kel_error_free(e); return s;),
        R("kel_set_error", "format", N("NULL"), KelError *head = kel_set_error(err, kel_error_domain(), KEL_IO_FAIL, null_text());
            return p(head) + (*err ? ", slot holds an error" : "");),
        R("__kel_error_add_location", "file", N("void"), ErrorSlot own; own.err = new_error(-1, "e"); __kel_error_add_location(&own, nullptr, "fn", 1);
            return "void";),
        R("__kel_error_add_location", "function", N("void"), ErrorSlot own; own.err = new_error(-1, "e"); __kel_error_add_location(&own, "f.c", nullptr, 1);
            return "void";),
        E("std_payload_to_json", "item", N("NULL"), p(std_payload_to_json(nullptr))),
        E("location_data_to_json", "item", N("NULL"), p(location_data_to_json(nullptr))),
        E("kel_strtoll", "str", N("0"), n(kel_strtoll(nullptr, 10, err))),
        E("kel_strtoull", "str", N("0"), u(kel_strtoull(nullptr, 10, err))),
        E("kel_strtod", "str", N("0"), n(static_cast<long long>(kel_strtod(nullptr, err)))),
        R("kel_rm_dir", "path", N("FALSE"), GError *error = nullptr; gboolean r = kel_rm_dir(nullptr, &error); g_clear_error(&error); return b(r);),
        R("kel_empty_dir", "path", N("FALSE"), GError *error = nullptr; gboolean r = kel_empty_dir(nullptr, &error); g_clear_error(&error); return b(r);),
        E("kel_is_dir_empty", "path", N("FALSE"), b(kel_is_dir_empty(nullptr))),
        E("utf8_check_string", "s_with_length", N("0"), n(utf8_check_string(nullptr, 3))),
        E("kel_json_i64_get", "json", N("0"), n(kel_json_i64_get(nullptr))),
        E("kel_json_u64_get", "json", N("0"), u(kel_json_u64_get(nullptr))),
        E("kel_json_u128_get", "json", N("0:0"), u128(kel_json_u128_get(nullptr))),
        R("kel_json_double_get", "json", N("0"), double d = kel_json_double_get(nullptr); return d == 0.0 ? "0" : "non-zero";),
        R("kel_json_obj_has_key", "key", N("FALSE"), Doc o("{\"k\":1}"); return b(kel_json_obj_has_key(o, nullptr));),
        R("kel_json_obj_iter_next", "iter", N("FALSE"), const char *key = nullptr; KelJson *value = nullptr;
            return b(kel_json_obj_iter_next(nullptr, &key, &value));),
        R("lex_init", "lex", N("void"), lex_init(nullptr, lex_get_none, nullptr, err); return "void";),
        R("lex_init", "get", N("void"), KelJsonLexer lex; lex_init(&lex, nullptr, nullptr, err); if (lex.text) g_string_free(lex.text, TRUE); return "void";),
        E("kel_json_ptr_add_key_ext", "str", N("FALSE"), b(kel_json_ptr_add_key_ext(nullptr, "k"))),
        R("kel_json_ptr_build_obj", "key", N("FALSE"), Doc o("{}"); GStr s(""); gboolean r = kel_json_ptr_build_obj(o, nullptr, s); return b(r);),
    };
    lookup_rows(rows, "kel_json_obj_get_obj_base", kel_json_obj_get_obj_base, p, "NULL");
    lookup_rows(rows, "kel_json_obj_get_array_base", kel_json_obj_get_array_base, p, "NULL");
    lookup_rows(rows, "kel_json_obj_get_str_base", kel_json_obj_get_str_base, str, "NULL");
    lookup_rows(rows, "kel_json_obj_get_jref_base", kel_json_obj_get_jref_base, p, "NULL");
    lookup_rows(rows, "kel_json_obj_get_i64_base", kel_json_obj_get_i64_base, n, "0");
    lookup_rows(rows, "kel_json_obj_get_u64_base", kel_json_obj_get_u64_base, u, "0");
    lookup_rows(rows, "kel_json_obj_get_u128_base", kel_json_obj_get_u128_base, u128, "0:0");
    lookup_rows(rows, "kel_json_obj_get_double_base", kel_json_obj_get_double_base, real, "0");
    lookup_rows(rows, "kel_json_obj_get_bool_base", kel_json_obj_get_bool_base, b, "FALSE");
    obj_put_rows(rows, "kel_json_obj_getd_obj_base", kel_json_obj_getd_obj_base, "{}");
    obj_put_rows(rows, "kel_json_obj_getd_array_base", kel_json_obj_getd_array_base, "[]");
    obj_put_rows(rows, "kel_json_obj_put_obj_base", kel_json_obj_put_obj_base, "{}");
    obj_put_rows(rows, "kel_json_obj_put_array_base", kel_json_obj_put_array_base, "[]");
    obj_put_rows(rows, "kel_json_obj_put_null_base", kel_json_obj_put_null_base, "null");
    obj_put_rows(rows, "kel_json_obj_put_str_base", kel_json_obj_put_str_base, "\"v\"", "v");
    obj_put_rows(rows, "kel_json_obj_put_str_len_base", kel_json_obj_put_str_len_base, "\"v\"", "vw",
                     gsize{1});
    obj_put_rows(rows, "kel_json_obj_put_bool_base", kel_json_obj_put_bool_base, "true", TRUE);
    obj_put_rows(rows, "kel_json_obj_put_double_base", kel_json_obj_put_double_base, "0.500000", 0.5);
    obj_put_rows(rows, "kel_json_obj_put_i64_base", kel_json_obj_put_i64_base, "-1", gint64{-1});
    obj_put_rows(rows, "kel_json_obj_put_u64_base", kel_json_obj_put_u64_base, "1", guint64{1});
    obj_put_rows(rows, "kel_json_obj_put_u128_base", kel_json_obj_put_u128_base, "7", k7);
    obj_put_rows(rows, "kel_json_obj_put_jref_base", kel_json_obj_put_jref_base, "{\"$ref\":\"#\"}", "#");
    push_rows(rows, "kel_json_array_push_array_base", kel_json_array_push_array_base, "[]");
    push_rows(rows, "kel_json_array_push_obj_base", kel_json_array_push_obj_base, "{}");
    push_rows(rows, "kel_json_array_push_bool_base", kel_json_array_push_bool_base, "false", FALSE);
    push_rows(rows, "kel_json_array_push_double_base", kel_json_array_push_double_base, "1.500000", 1.5);
    push_rows(rows, "kel_json_array_push_i64_base", kel_json_array_push_i64_base, "4", gint64{4});
    push_rows(rows, "kel_json_array_push_u64_base", kel_json_array_push_u64_base, "4", guint64{4});
    push_rows(rows, "kel_json_array_push_u128_base", kel_json_array_push_u128_base, "7", k7);
    push_rows(rows, "kel_json_array_push_str_base", kel_json_array_push_str_base, "\"s\"", "s");
    ptr_put_rows(rows, "kel_json_ptr_put_array_base", kel_json_ptr_put_array_base, "[]");
    ptr_put_rows(rows, "kel_json_ptr_put_obj_base", kel_json_ptr_put_obj_base, "{}");
    ptr_put_rows(rows, "kel_json_ptr_put_bool_base", kel_json_ptr_put_bool_base, "true", TRUE);
    ptr_put_rows(rows, "kel_json_ptr_put_double_base", kel_json_ptr_put_double_base, "0.250000", 0.25);
    ptr_put_rows(rows, "kel_json_ptr_put_u64_base", kel_json_ptr_put_u64_base, "9", guint64{9});
    ptr_put_rows(rows, "kel_json_ptr_put_i64_base", kel_json_ptr_put_i64_base, "-9", gint64{-9});
    ptr_put_rows(rows, "kel_json_ptr_put_u128_base", kel_json_ptr_put_u128_base, "7", k7);
    ptr_put_rows(rows, "kel_json_ptr_put_str_base", kel_json_ptr_put_str_base, "\"v\"", "v");
    ptr_put_rows(rows, "kel_json_ptr_put_jref_base", kel_json_ptr_put_jref_base,
                     "{\"$ref\":\"#/a\"}", "#/a");
    return rows;
}

class NullArgs : public ::testing::TestWithParam<Row> {};

TEST_P(NullArgs, BehavesAsDocumented)
{
    const Row &row = GetParam();
    const Expect &want = row.expect;
    const std::string func = want.func.empty() ? row.function : want.func;
    const std::string expr = want.expr.empty() ? row.argument : want.expr;
    ErrorSlot slot;
    std::string result;
    std::vector<std::string> warnings;
    {
        kel_test::LogCapture log;
        result = row.call(&slot.err);
        warnings = log.messages();
    }
    EXPECT_EQ(result, want.result);
    if (want.kind == Kind::Neutral) {
        for (const std::string &w : warnings)
            std::cout << "[ note     ] warned: " << w << "\n";
        if (slot)
            std::cout << "[ note     ] error: " << chain(slot.err) << "\n";
        return;
    }
    const std::vector<std::string> none;
    const bool warn = want.kind == Kind::Warn || want.kind == Kind::WarnFail;
    EXPECT_EQ(warnings, warn ? std::vector<std::string>{func + ": assertion '" + expr + "' failed"} : none);
    if (want.kind == Kind::Fail || want.kind == Kind::ArgFail || want.kind == Kind::WarnFail) {
        ASSERT_TRUE(slot);
        EXPECT_EQ(slot->next, nullptr);
        EXPECT_EQ(slot.domain(), kel_json_error_domain());
        const bool arg = want.kind == Kind::ArgFail;
        EXPECT_EQ(slot.code(), arg ? KEL_JSON_ARG_INVALID : want.code);
        EXPECT_EQ(slot.message(), arg ? func + ": argument check failed: " + expr : want.message);
    } else {
        EXPECT_FALSE(slot) << "unexpected error " << chain(slot.err);
    }
}

std::string test_name(const Row &row)
{
    std::string name = row.function + "__" + row.argument;
    for (char &c : name)
        c = g_ascii_isalnum(c) ? c : '_';
    return name;
}

INSTANTIATE_TEST_SUITE_P(Table, NullArgs, ::testing::ValuesIn(all_rows()),
                         [](const ::testing::TestParamInfo<Row> &info) { return test_name(info.param); });

// Every exported function has a row, every row names one, no name repeats.
TEST(NullArgsTable, CoversEveryExportedFunction)
{
    std::ifstream in(std::string(KEL_TEST_DATA_DIR) + "/../exported_symbols.txt");
    std::set<std::string> exported, covered, names;
    for (std::string symbol; std::getline(in, symbol);)
        if (!symbol.empty() && symbol != "chr_strs")  // a data object
            exported.insert(symbol);
    ASSERT_FALSE(exported.empty());
    for (const Row &row : all_rows()) {
        covered.insert(row.function);
        EXPECT_TRUE(exported.count(row.function)) << "row for unknown function " << row.function;
        EXPECT_TRUE(names.insert(test_name(row)).second) << "duplicate row " << test_name(row);
    }
    for (const std::string &symbol : exported)
        EXPECT_TRUE(covered.count(symbol)) << "no row for " << symbol;
}

}  // namespace
