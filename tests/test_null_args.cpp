// Misuse that the interface allows: every exported function called with NULL
// for each of its pointer arguments in turn (the others valid). One table row
// per (function, argument) says what must happen: a GLib return-if-fail
// warning, an error in the error slot, or a neutral result given silently.
// Functions without pointer arguments have a row too: a plain call that must
// not warn. A crash in any row is a failure of that row (ctest runs each row
// as its own process).
#include <glib/gstdio.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <set>
#include <string>
#include <vector>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::LogCapture;

namespace {

// ---- What a call did --------------------------------------------------------

struct Outcome {
    std::string result;                 // the return value (and state) summarised
    std::vector<std::string> warnings;  // GLib messages logged during the call
    int errors = 0;                     // errors pushed onto the slot
    GQuark domain = 0;                  // of the newest error
    int code = 0;
    std::string message;
};

// A row's call: makes the call with `err` as the error slot wherever the
// function has one, releases what it made and summarises the result.
using Call = std::function<std::string(KelError **err)>;

constexpr const char *kAnyWarning = "<any>";

struct Expect {
    std::string result;
    std::string warning;  // empty: none; kAnyWarning: any number of any text
    int code = 0;         // 0: the slot stays empty; else one "kel-json-error" error
    std::string message;
};

struct Row {
    std::string function;
    std::string argument;
    Call call;
    Expect expect;
    bool outside = false;  // outside the contract: only "no crash, neutral result"
};

void PrintTo(const Row &row, std::ostream *os) { *os << row.function << "(" << row.argument << ")"; }

// Expectations.
Expect silent(std::string result) { return {std::move(result), "", 0, ""}; }

Expect warns(std::string result, const std::string &func, const std::string &expr)
{
    return {std::move(result), func + ": assertion '" + expr + "' failed", 0, ""};
}

Expect fails(std::string result, int code, std::string message)
{
    return {std::move(result), "", code, std::move(message)};
}

Expect arg_failed(std::string result, const std::string &func, const std::string &arg)
{
    return fails(std::move(result), KEL_JSON_ARG_INVALID, func + ": argument check failed: " + arg);
}

// Outside the contract only the neutral result counts; warnings and errors
// are the implementation's choice.
Expect neutral(std::string result) { return {std::move(result), kAnyWarning, 0, ""}; }

// Summaries.
std::string b(gboolean v) { return v ? "TRUE" : "FALSE"; }
std::string p(const void *v) { return v ? "non-NULL" : "NULL"; }
std::string n(long long v) { return std::to_string(v); }
std::string u(unsigned long long v) { return std::to_string(v); }
std::string u128(KelUint128 v) { return u(v.hi) + ":" + u(v.lo); }
std::string real(double d) { return d == 0.0 ? "0" : std::to_string(d); }
std::string str(const char *s) { return s ? "\"" + std::string(s) + "\"" : "NULL"; }
std::string show(const KelJson *j) { return j ? kel_test::dump(const_cast<KelJson *>(j)) : "NULL"; }

// Newest first: "code 'message'" per error, or "empty".
std::string chain(const KelError *e)
{
    if (e == nullptr)
        return "empty";
    std::string s;
    for (; e != nullptr; e = e->next)
        s += (s.empty() ? "" : " / ") + n(e->gerror->code) + " '" +
             (e->gerror->message ? e->gerror->message : "<NULL message>") + "'";
    return s;
}

// A NULL that the compiler cannot see through (no -Wformat / nonnull noise).
const char *volatile g_null_text = nullptr;
const char *null_text() { return g_null_text; }

KelJson *doc(const char *text) { return kel_json_loads(text, 0, nullptr); }

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

// Callbacks handed to the functions under test.
const char *test_code_name(GQuark, gint) { return "TEST_CODE"; }
KelJson *test_to_json(KelErrorData *) { return nullptr; }
gboolean test_expand(KelJson *, gpointer) { return TRUE; }
gboolean count_member(const char *, KelJson *, gpointer data)
{
    if (data)
        ++*static_cast<int *>(data);
    return TRUE;
}
gboolean keep_all(KelJson *, gpointer) { return TRUE; }
gint compare_i64(gconstpointer a, gconstpointer b)
{
    gint64 x = kel_json_i64_get(*static_cast<KelJson *const *>(a));
    gint64 y = kel_json_i64_get(*static_cast<KelJson *const *>(b));
    return (x > y) - (x < y);
}
int count_scalar(KelJson *, gint64, gpointer data)
{
    if (data)
        ++*static_cast<int *>(data);
    return KEL_JSON_VISIT_CONTINUE;
}
int lex_get_none(void *) { return -1; }

GQuark test_domain() { return g_quark_from_static_string("kel-null-args-test"); }

// A fresh temporary directory holding one file; removed by whoever tests it.
std::string temp_tree()
{
    char *dir = g_dir_make_tmp("kel-null-args-XXXXXX", nullptr);
    std::string path = dir ? dir : "";
    g_free(dir);
    if (!path.empty())
        g_file_set_contents((path + "/file").c_str(), "x", 1, nullptr);
    return path;
}

bool exists(const std::string &path) { return g_file_test(path.c_str(), G_FILE_TEST_EXISTS); }

// ---- Helpers for the put and push families ----------------------------------

// Runs `put` on a new empty object and summarises "member-or-NULL object".
template <typename F>
std::string on_obj(F put)
{
    JsonRoot obj(kel_json_obj_new_base(FALSE));
    const KelJson *member = put(obj.get());
    return p(member) + " " + show(obj);
}

template <typename F>
std::string on_array(F push)
{
    JsonRoot array(kel_json_array_new_base(0, FALSE));
    const KelJson *elem = push(array.get());
    return p(elem) + " " + show(array);
}

// Runs `put` on the document {"a":{}} and summarises "value-or-NULL document".
template <typename F>
std::string on_doc(F put)
{
    JsonRoot root(doc("{\"a\":{}}"));
    const KelJson *value = put(root.get());
    return p(value) + " " + show(root);
}

const KelUint128 k7 = {7, 0};

// ---- Generated rows for the families ----------------------------------------
// Each member of a family makes its value and hands it to one insertion, so
// the NULL container, key and pointer rows are alike; `stored` is the dump of
// the value the call puts, `args` the kind's own arguments.

// `summary` turns the lookup's result into text; `none` is that text for
// the failed lookup.
template <typename Fn, typename Summary>
void add_lookup_rows(std::vector<Row> &rows, const char *name, Fn fn, Summary summary, const char *none)
{
    rows.push_back({name, "json", [=](KelError **err) { return summary(fn(nullptr, "k", err)); },
                    arg_failed(none, "kel_json_obj_get_base", "json")});
    rows.push_back({name, "key",
                    [=](KelError **err) {
                        JsonRoot obj(doc("{\"k\":1}"));
                        return summary(fn(obj.get(), nullptr, err));
                    },
                    arg_failed(none, "kel_json_obj_get_base", "key")});
}

template <typename Fn, typename... A>
void add_obj_put_rows(std::vector<Row> &rows, const char *name, Fn fn, const std::string &stored, A... args)
{
    rows.push_back({name, "json", [=](KelError **err) { return p(fn(nullptr, "k", args..., err)); },
                    arg_failed("NULL", "kel_json_obj_put_base", "json")});
    rows.push_back({name, "key",
                    [=](KelError **err) { return on_obj([&](KelJson *o) { return fn(o, nullptr, args..., err); }); },
                    arg_failed("NULL {}", "kel_json_obj_put_base", "key")});
    rows.push_back({name, "error",
                    [=](KelError **) { return on_obj([&](KelJson *o) { return fn(o, "k", args..., nullptr); }); },
                    silent("non-NULL {\"k\":" + stored + "}")});
}

template <typename Fn, typename... A>
void add_push_rows(std::vector<Row> &rows, const char *name, Fn fn, const std::string &stored, A... args)
{
    rows.push_back({name, "json", [=](KelError **err) { return p(fn(nullptr, args..., err)); },
                    arg_failed("NULL", "kel_json_array_push_base", "json")});
    rows.push_back({name, "error",
                    [=](KelError **) { return on_array([&](KelJson *a) { return fn(a, args..., nullptr); }); },
                    silent("non-NULL [" + stored + "]")});
}

template <typename Fn, typename... A>
void add_ptr_put_rows(std::vector<Row> &rows, const char *name, Fn fn, const std::string &stored, A... args)
{
    rows.push_back({name, "root", [=](KelError **err) { return p(fn(nullptr, "/a", args..., err)); },
                    arg_failed("NULL", "kel_json_ptr_put_base", "root")});
    rows.push_back({name, "ptr",
                    [=](KelError **err) { return on_doc([&](KelJson *r) { return fn(r, nullptr, args..., err); }); },
                    arg_failed("NULL {\"a\":{}}", "kel_json_ptr_put_base", "ptr")});
    rows.push_back({name, "error",
                    [=](KelError **) { return on_doc([&](KelJson *r) { return fn(r, "/a/b", args..., nullptr); }); },
                    silent("non-NULL {\"a\":{\"b\":" + stored + "}}")});
}

// ---- The table ---------------------------------------------------------------

// A row's call; `err` is the slot to hand to the function under test.
#define CALL []([[maybe_unused]] KelError **err) -> std::string

std::vector<Row> contract_rows()
{
    std::vector<Row> rows = {
        // ---- Error objects and chains ----
        {"kel_error_new", "next", CALL {
             KelError *e = kel_error_new(nullptr, kel_error_domain(), KEL_IO_FAIL, "io %d", 7);
             std::string s = chain(e);
             kel_error_free(e);
             return s;
         }, silent("-7 'io 7'")},
        {"kel_error_new_valist", "next", CALL {
             KelError *e = new_valist(nullptr, "v %s", "x");
             std::string s = chain(e);
             kel_error_free(e);
             return s;
         }, silent("-7 'v x'")},
        {"kel_set_error", "err", CALL {
             return p(kel_set_error(nullptr, kel_error_domain(), KEL_IO_FAIL, "%s", "lost"));
         }, silent("NULL")},
        {"kel_error_from_gerror", "next", CALL {
             KelError *e = kel_error_from_gerror(nullptr, g_error_new_literal(kel_error_domain(), -7, "g"));
             std::string s = chain(e);
             kel_error_free(e);
             return s;
         }, silent("-7 'g'")},
        {"kel_error_from_gerror", "gerror", CALL {
             KelError *below = new_error(-1, "below");
             KelError *e = kel_error_from_gerror(below, nullptr);
             kel_error_free(e ? e : below);  // refused: `below` is still ours
             return p(e);
         }, warns("NULL", "kel_error_from_gerror", "gerror")},
        {"kel_error_free", "error", CALL {
             kel_error_free(nullptr);
             return "void";
         }, silent("void")},
        {"kel_clear_error", "err", CALL {
             kel_clear_error(nullptr);
             return "void";
         }, silent("void")},
        {"kel_clear_error", "*err", CALL {
             kel_clear_error(err);
             return chain(*err);
         }, silent("empty")},
        {"kel_clear_error_until", "err", CALL {
             KelError *until = new_error(-1, "kept");
             gboolean r = kel_clear_error_until(nullptr, until);
             std::string s = b(r) + ", until " + chain(until);
             kel_error_free(until);
             return s;
         }, silent("FALSE, until -1 'kept'")},
        {"kel_clear_error_until", "err_and_until", CALL {
             return b(kel_clear_error_until(nullptr, nullptr));
         }, silent("TRUE")},
        {"kel_clear_error_until", "until", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             *own = new_error(-2, "top", new_error(-1, "bottom"));
             gboolean r = kel_clear_error_until(own, nullptr);
             return b(r) + ", " + chain(*own);
         }, silent("TRUE, empty")},
        {"kel_error_merge", "dest", CALL {
             KelError *src = new_error(-1, "src");
             kel_error_merge(nullptr, &src);
             std::string s = "src " + chain(src);
             kel_error_free(src);
             return s;
         }, warns("src -1 'src'", "kel_error_merge", "dest")},
        {"kel_error_merge", "src", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             *own = new_error(-1, "dest");
             kel_error_merge(own, nullptr);
             return "dest " + chain(*own);
         }, warns("dest -1 'dest'", "kel_error_merge", "src")},
        {"kel_error_merge", "*src", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             *own = new_error(-1, "dest");
             KelError *src = nullptr;
             kel_error_merge(own, &src);
             return "dest " + chain(*own) + ", src " + chain(src);
         }, silent("dest -1 'dest', src empty")},
        {"kel_error_merge", "*dest", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             KelError *src = new_error(-3, "moved");
             kel_error_merge(own, &src);
             return "dest " + chain(*own) + ", src " + chain(src);
         }, silent("dest -3 'moved', src empty")},
        {"kel_error_data_new", "error", CALL {
             return p(kel_error_data_new(nullptr, kel_error_domain(), 9, sizeof(KelErrorData), nullptr));
         }, warns("NULL", "kel_error_data_new", "error")},
        {"kel_error_data_new", "free_func", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             *own = new_error(-1, "e");
             KelErrorData *item = kel_error_data_new(*own, test_domain(), 9, sizeof(KelErrorData), nullptr);
             return std::string(item != nullptr && (*own)->data == item ? "attached" : "missing");
         }, silent("attached")},
        {"__kel_error_add_location", "err", CALL {
             __kel_error_add_location(nullptr, "f.c", "fn", 1);
             return "void";
         }, silent("void")},
        {"__kel_error_add_location", "*err", CALL {
             __kel_error_add_location(err, "f.c", "fn", 1);
             return chain(*err);
         }, silent("empty")},
        {"kel_error_add_blob", "err", CALL {
             kel_error_add_blob(nullptr, 1, 2);
             return "void";
         }, silent("void")},
        {"kel_error_add_blob", "*err", CALL {
             kel_error_add_blob(err, 1, 2);
             return chain(*err);
         }, silent("empty")},
        {"kel_error_domain", "none", CALL { return g_quark_to_string(kel_error_domain()); }, silent("kel-error")},
        {"kel_json_error_domain", "none", CALL {
             return g_quark_to_string(kel_json_error_domain());
         }, silent("kel-json-error")},
        {"kel_status_code_to_name", "none", CALL {
             return kel_status_code_to_name(kel_json_error_domain(), 0);
         }, silent("<unknown>")},
        {"kel_json_code_to_name", "none", CALL { return kel_json_code_to_name(0, 1); }, silent("<unknown code>")},

        // ---- Error registry (a private domain, so the library's stay intact) ----
        {"kel_error_register_code_to_name", "callback", CALL {
             kel_error_register_code_to_name(test_domain(), test_code_name);
             kel_error_register_code_to_name(test_domain(), nullptr);
             return str(kel_error_code_to_name(test_domain(), 1));
         }, silent("NULL")},
        {"kel_error_register_data_to_json", "callback", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             kel_error_register_data_to_json(test_domain(), test_to_json);
             kel_error_register_data_to_json(test_domain(), nullptr);
             *own = new_error(-1, "e");
             KelErrorData *item = kel_error_data_new(*own, test_domain(), 0, sizeof(KelErrorData), nullptr);
             return p(kel_error_data_to_json(item));
         }, silent("NULL")},
        {"kel_error_register_json_expand", "callback", CALL {
             kel_error_register_json_expand(test_domain(), test_expand);
             kel_error_register_json_expand(test_domain(), nullptr);
             JsonRoot obj(kel_json_obj_new_base(FALSE));
             kel_json_obj_put_u64_base(obj, "domain", test_domain(), nullptr);
             return b(kel_error_json_expand(obj, nullptr));
         }, silent("FALSE")},
        {"kel_error_code_to_name", "none", CALL {
             return str(kel_error_code_to_name(kel_error_domain(), -3));
         }, silent("\"KEL_BUFFER_INSUFFICIENT\"")},
        {"kel_error_data_to_json", "item", CALL { return p(kel_error_data_to_json(nullptr)); }, silent("NULL")},
        {"kel_error_json_expand", "object", CALL {
             return b(kel_error_json_expand(nullptr, nullptr));
         }, silent("FALSE")},
        {"kel_error_json_expand", "user", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             *own = new_error(-1, "e");
             kel_error_add_location(own);
             JsonRoot obj(kel_error_data_to_json((*own)->data));
             gboolean r = kel_error_json_expand(obj, nullptr);
             return b(r) + " " + n(kel_json_obj_size(obj));
         }, silent("TRUE 7")},
        {"kel_error_purge_registry", "none", CALL {
             kel_error_purge_registry();
             std::string s = str(kel_error_code_to_name(kel_error_domain(), -3));
             __kel_init_func();  // the other rows need the library's registrations
             return s;
         }, silent("NULL")},
        {"__kel_init_func", "none", CALL {
             __kel_init_func();
             return str(kel_error_code_to_name(kel_json_error_domain(), -6));
         }, silent("\"KEL_JSON_PARSE_ERROR\"")},
        {"blob_data_to_json", "item", CALL { return p(blob_data_to_json(nullptr)); }, silent("NULL")},
        // The expander reads and puts without an error slot, so a NULL object
        // only makes those steps fail quietly; the answer is TRUE regardless.
        {"std_payload_json_expand", "object", CALL {
             return b(std_payload_json_expand(nullptr, nullptr));
         }, silent("TRUE")},
        {"std_payload_json_expand", "user", CALL {
             JsonRoot obj(doc("{\"type\":1}"));
             gboolean r = std_payload_json_expand(obj, nullptr);
             return b(r) + " " + show(obj);
         }, silent("TRUE {\"domain_name\":\"kel-error\",\"type\":1,\"type_name\":\"KEL_ERROR_DATA_BLOB\"}")},

        // ---- String arrays ----
        {"kel_str_array_sized_new", "none", CALL {
             KelStrArray *a = kel_str_array_sized_new(4);
             std::string s = n(a->len) + " " + p(reinterpret_cast<char **>(a->data)[0]);
             kel_str_array_free(a, TRUE);
             return s;
         }, silent("0 NULL")},
        {"kel_str_array_add", "array", CALL {
             kel_str_array_add(nullptr, "x");
             return "void";
         }, warns("void", "kel_str_array_add", "array")},
        {"kel_str_array_add", "str", CALL {
             KelStrArray *a = kel_str_array_sized_new(0);
             kel_str_array_add(a, nullptr);
             std::string s = n(a->len);
             kel_str_array_free(a, TRUE);
             return s;
         }, warns("0", "kel_str_array_add", "str")},
        {"kel_str_array_new_strs", "strs", CALL {
             return p(kel_str_array_new_strs(nullptr, 2));
         }, warns("NULL", "kel_str_array_new_strs", "strs")},
        {"kel_str_array_new_strs", "strs[1]", CALL {
             const char *strs[] = {"a", nullptr, "c"};
             KelStrArray *a = kel_str_array_new_strs(strs, 3);
             std::string s = a ? n(a->len) + " " + kel_str_array_index(a, -1) : "NULL";
             kel_str_array_free(a, TRUE);
             return s;
         }, warns("2 c", "kel_str_array_add", "str")},
        {"kel_str_array_index", "array", CALL {
             return str(kel_str_array_index(nullptr, 0));
         }, warns("NULL", "kel_str_array_index", "array")},
        {"kel_str_array_sort", "array", CALL {
             kel_str_array_sort(nullptr);
             return "void";
         }, warns("void", "kel_str_array_sort", "array")},
        {"kel_str_array_free", "array", CALL { return p(kel_str_array_free(nullptr, TRUE)); }, silent("NULL")},
        {"kel_str_array_free", "array_keep_segment", CALL {
             return p(kel_str_array_free(nullptr, FALSE));
         }, silent("NULL")},

        // ---- Number parsing ----
        {"kel_strtoll", "err", CALL { return n(kel_strtoll("-42", 10, nullptr)); }, silent("-42")},
        {"kel_strtoll", "err_failing", CALL { return n(kel_strtoll("4x", 10, nullptr)); }, silent("0")},
        {"kel_strtoull", "err", CALL { return u(kel_strtoull("42", 10, nullptr)); }, silent("42")},
        {"kel_strtoull", "err_failing", CALL { return u(kel_strtoull("42", 99, nullptr)); }, silent("0")},
        {"kel_strtod", "err", CALL {
             return n(static_cast<long long>(kel_strtod("2.5", nullptr) * 2));
         }, silent("5")},
        {"kel_strtod", "err_failing", CALL {
             return n(static_cast<long long>(kel_strtod("1e999", nullptr)));
         }, silent("0")},

        // ---- 128-bit and odd-width integers ----
        {"kel_uint128_div", "quotient", CALL {
             KelUint128 r = {0, 0};
             gint32 rc = kel_uint128_div(k7, {2, 0}, nullptr, &r);
             return n(rc) + " r=" + u128(r);
         }, silent("0 r=0:1")},
        {"kel_uint128_div", "remainder", CALL {
             KelUint128 q = {0, 0};
             gint32 rc = kel_uint128_div(k7, {2, 0}, &q, nullptr);
             return n(rc) + " q=" + u128(q);
         }, silent("0 q=0:3")},
        {"kel_uint128_to_str", "buf", CALL { return n(kel_uint128_to_str(k7, 10, nullptr, 8)); }, silent("-1")},
        {"kel_uint128_from_str", "str", CALL {
             KelUint128 out = {5, 5};
             gint32 rc = kel_uint128_from_str(nullptr, &out);
             return n(rc) + " out=" + u128(out);
         }, silent("-1 out=5:5")},
        {"kel_uint128_from_str", "out", CALL { return n(kel_uint128_from_str("42", nullptr)); }, silent("-1")},
        {"kel_uint128_add", "none", CALL {
             return u128(kel_uint128_add({G_MAXUINT64, 0}, {1, 0}));
         }, silent("1:0")},
        {"kel_uint128_neg", "none", CALL { return u128(kel_uint128_neg({0, 0})); }, silent("0:0")},
        {"kel_uint128_sub", "none", CALL { return u128(kel_uint128_sub(k7, {2, 0})); }, silent("0:5")},
        {"kel_uint128_lt", "none", CALL { return b(kel_uint128_lt({0, 0}, {0, 1})); }, silent("TRUE")},
        {"kel_uint128_le", "none", CALL { return b(kel_uint128_le(k7, k7)); }, silent("TRUE")},
        {"kel_uint128_lshift", "none", CALL { return u128(kel_uint128_lshift({1, 0}, 64)); }, silent("1:0")},
        {"kel_uint128_rshift", "none", CALL { return u128(kel_uint128_rshift({1, 0}, 200)); }, silent("0:0")},
        {"kel_uint128_mul", "none", CALL { return u128(kel_uint128_mul(k7, {3, 0})); }, silent("0:21")},
        {"kel_uint24_init", "none", CALL {
             KelUint24 v = kel_uint24_init(0x12345678u);
             return n(v.b0) + "," + n(v.b1) + "," + n(v.b2);
         }, silent("120,86,52")},
        {"kel_uint48_init", "none", CALL {
             KelUint48 v = kel_uint48_init(G_GUINT64_CONSTANT(0x0102030405060708));
             return n(v.b0) + "," + n(v.b5);
         }, silent("8,3")},

        // ---- Memory, directories, process ----
        {"kel_try_aligned_alloc", "none", CALL {
             void *block = kel_try_aligned_alloc(64, 128);
             std::string s = p(block) + (reinterpret_cast<uintptr_t>(block) % 64 == 0 ? " aligned" : "");
             kel_aligned_free(block);
             return s;
         }, silent("non-NULL aligned")},
        {"kel_aligned_alloc", "none", CALL {
             void *block = kel_aligned_alloc(16, 16);
             std::string s = p(block);
             kel_aligned_free(block);
             return s;
         }, silent("non-NULL")},
        {"kel_aligned_free", "ptr", CALL {
             kel_aligned_free(nullptr);
             return "void";
         }, silent("void")},
        {"kel_rm_dir", "error", CALL {
             std::string dir = temp_tree();
             gboolean r = kel_rm_dir(dir.c_str(), nullptr);
             return b(r) + (exists(dir) ? " kept" : " removed");
         }, silent("TRUE removed")},
        {"kel_rm_dir", "error_failing", CALL {
             return b(kel_rm_dir("/nonexistent/kel-null-args", nullptr));
         }, silent("FALSE")},
        {"kel_empty_dir", "error", CALL {
             std::string dir = temp_tree();
             gboolean r = kel_empty_dir(dir.c_str(), nullptr);
             std::string s = b(r) + (kel_is_dir_empty(dir.c_str()) ? " empty" : " not empty");
             g_rmdir(dir.c_str());
             return s;
         }, silent("TRUE empty")},
        {"kel_empty_dir", "error_failing", CALL {
             return b(kel_empty_dir("/nonexistent/kel-null-args", nullptr));
         }, silent("FALSE")},
        {"kel_getpid", "none", CALL { return b(kel_getpid() == static_cast<gint32>(getpid())); }, silent("TRUE")},

        // ---- JSON values ----
        {"utf8_check_string", "s", CALL {
             return n(utf8_check_string(nullptr, 0));  // zero bytes: nothing to read
         }, silent("1")},
        {"kel_json_null_new_base", "none", CALL {
             JsonRoot v(kel_json_null_new_base());
             return show(v) + " " + n(v->refcount);
         }, silent("null 0")},
        {"kel_json_bool_new_base", "none", CALL {
             JsonRoot v(kel_json_bool_new_base(2));
             return show(v);
         }, silent("true")},
        {"kel_json_i64_new_base", "none", CALL {
             JsonRoot v(kel_json_i64_new_base(-3));
             return show(v);
         }, silent("-3")},
        {"kel_json_u64_new_base", "none", CALL {
             JsonRoot v(kel_json_u64_new_base(3));
             return show(v);
         }, silent("3")},
        {"kel_json_u128_new_base", "none", CALL {
             JsonRoot v(kel_json_u128_new_base(k7));
             return show(v);
         }, silent("7")},
        {"kel_json_double_new_base", "none", CALL {
             JsonRoot v(kel_json_double_new_base(0.5));
             return kel_test::dump(v, KEL_JSON_DUMP_REAL_ROUNDTRIP);
         }, silent("0.5")},
        {"kel_json_str_new_len_base", "value", CALL {
             return p(kel_json_str_new_len_base(nullptr, 3, err));
         }, arg_failed("NULL", "kel_json_str_new_len_base", "value")},
        {"kel_json_str_new_len_base", "error", CALL {
             JsonRoot v(kel_json_str_new_len_base("abc", 2, nullptr));
             return show(v);
         }, silent("\"ab\"")},
        {"kel_json_str_new_len_base", "error_failing", CALL {
             return p(kel_json_str_new_len_base("\xC3\x28", 2, nullptr));
         }, silent("NULL")},
        {"kel_json_str_new_base", "value", CALL {
             return p(kel_json_str_new_base(nullptr, err));
         }, arg_failed("NULL", "kel_json_str_new_base", "value")},
        {"kel_json_str_new_base", "error", CALL {
             JsonRoot v(kel_json_str_new_base("s", nullptr));
             return show(v);
         }, silent("\"s\"")},
        {"kel_json_jref_new_base", "uri", CALL {
             return p(kel_json_jref_new_base(nullptr, err));
         }, arg_failed("NULL", "kel_json_jref_new_base", "uri")},
        {"kel_json_jref_new_base", "error", CALL {
             JsonRoot v(kel_json_jref_new_base("#/a", nullptr));
             return str(kel_json_jref_uri(v));
         }, silent("\"#/a\"")},
        {"kel_json_jref_uri", "json", CALL { return str(kel_json_jref_uri(nullptr)); }, silent("NULL")},
        {"kel_json_ref", "json", CALL {
             kel_json_ref(nullptr);
             return "void";
         }, silent("void")},
        {"kel_json_unref", "json", CALL {
             kel_json_unref(nullptr);
             return "void";
         }, silent("void")},
        {"kel_json_delete", "json", CALL {
             kel_json_delete(nullptr);
             return "void";
         }, silent("void")},
        {"kel_json_bool_get", "json", CALL { return b(kel_json_bool_get(nullptr)); }, silent("FALSE")},
        {"kel_json_is_num", "json", CALL { return b(kel_json_is_num(nullptr)); }, silent("FALSE")},
        {"kel_json_is_int", "json", CALL { return b(kel_json_is_int(nullptr)); }, silent("FALSE")},
        {"kel_json_is_bool", "json", CALL { return b(kel_json_is_bool(nullptr)); }, silent("FALSE")},
        {"kel_json_enum_type_string", "none", CALL {
             return std::string(kel_json_enum_type_string(11, TRUE)) + " " +
                    kel_json_enum_type_string(KEL_JSON_TRUE, FALSE);
         }, silent("<unknown> boolean")},
        {"kel_json_type_string", "json", CALL { return kel_json_type_string(nullptr, TRUE); }, silent("<none>")},
        {"kel_json_parent_key", "json", CALL { return str(kel_json_parent_key(nullptr)); }, silent("NULL")},
        {"kel_json_parent_index", "json", CALL { return n(kel_json_parent_index(nullptr)); }, silent("-1")},

        // ---- Objects ----
        {"kel_json_obj_new_base", "none", CALL {
             JsonRoot o(kel_json_obj_new_base(TRUE));
             return show(o) + " flags " + n(o->flags);
         }, silent("{} flags 2")},
        {"kel_json_obj_put_base", "json", CALL {
             JsonRoot v(kel_json_i64_new_base(1));
             gboolean r = kel_json_obj_put_base(nullptr, "k", v, err);
             return b(r) + " parent " + p(v->parent);
         }, arg_failed("FALSE parent NULL", "kel_json_obj_put_base", "json")},
        {"kel_json_obj_put_base", "key", CALL {
             JsonRoot o(kel_json_obj_new_base(FALSE));
             KelJson *v = kel_json_i64_new_base(1);
             gboolean r = kel_json_obj_put_base(o, nullptr, v, err);
             kel_json_unref(v);  // frees it when refused, no-op when a member
             return b(r) + " " + show(o);
         }, arg_failed("FALSE {}", "kel_json_obj_put_base", "key")},
        {"kel_json_obj_put_base", "value", CALL {
             JsonRoot o(kel_json_obj_new_base(FALSE));
             gboolean r = kel_json_obj_put_base(o, "k", nullptr, err);
             return b(r) + " " + show(o);
         }, arg_failed("FALSE {}", "kel_json_obj_put_base", "value")},
        {"kel_json_obj_put_base", "error", CALL {
             JsonRoot o(kel_json_obj_new_base(FALSE));
             KelJson *v = kel_json_i64_new_base(1);
             gboolean r = kel_json_obj_put_base(o, "k", v, nullptr);
             kel_json_unref(v);
             return b(r) + " " + show(o);
         }, silent("TRUE {\"k\":1}")},
        {"kel_json_obj_put_base", "error_failing", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             gboolean r = kel_json_obj_put_base(o, "j", kel_json_obj_get_base(o, "k", 0, nullptr), nullptr);
             return b(r) + " " + show(o);
         }, silent("FALSE {\"k\":1}")},
        {"kel_json_obj_remove", "json", CALL { return b(kel_json_obj_remove(nullptr, "k")); }, silent("FALSE")},
        {"kel_json_obj_remove", "key", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             gboolean r = kel_json_obj_remove(o, nullptr);
             return b(r) + " " + show(o);
         }, silent("FALSE {\"k\":1}")},
        {"kel_json_obj_size", "json", CALL { return n(kel_json_obj_size(nullptr)); }, silent("-1")},
        {"kel_json_obj_has_key", "json", CALL { return b(kel_json_obj_has_key(nullptr, "k")); }, silent("FALSE")},
        {"kel_json_obj_iter_init", "iter", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             return b(kel_json_obj_iter_init(nullptr, o));
         }, warns("FALSE", "kel_json_obj_iter_init", "iter")},
        {"kel_json_obj_iter_init", "json", CALL {
             KelJsonObjIter iter;
             return b(kel_json_obj_iter_init(&iter, nullptr));
         }, silent("FALSE")},
        {"kel_json_obj_iter_next", "key", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             KelJsonObjIter iter;
             kel_json_obj_iter_init(&iter, o);
             KelJson *value = nullptr;
             gboolean r = kel_json_obj_iter_next(&iter, nullptr, &value);
             return b(r) + " " + show(value);
         }, silent("TRUE 1")},
        {"kel_json_obj_iter_next", "value", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             KelJsonObjIter iter;
             kel_json_obj_iter_init(&iter, o);
             const char *key = nullptr;
             gboolean r = kel_json_obj_iter_next(&iter, &key, nullptr);
             return b(r) + " " + str(key);
         }, silent("TRUE \"k\"")},
        {"kel_json_obj_foreach", "json", CALL {
             int count = 0;
             gboolean r = kel_json_obj_foreach(nullptr, count_member, &count);
             return b(r) + " " + n(count);
         }, silent("FALSE 0")},
        {"kel_json_obj_foreach", "callback", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             return b(kel_json_obj_foreach(o, nullptr, nullptr));
         }, warns("FALSE", "kel_json_obj_foreach", "callback")},
        {"kel_json_obj_foreach", "data", CALL {
             JsonRoot o(doc("{\"k\":1,\"j\":2}"));
             return b(kel_json_obj_foreach(o, count_member, nullptr));
         }, silent("TRUE")},
        {"kel_json_obj_keys", "json", CALL { return p(kel_json_obj_keys(nullptr)); }, silent("NULL")},
        // The NULL key list is handed to the sort, whose own check warns.
        {"kel_json_alpha_keys", "json", CALL {
             return p(kel_json_alpha_keys(nullptr));
         }, warns("NULL", "kel_str_array_sort", "array")},
        {"kel_json_obj_get_base", "json", CALL {
             return p(kel_json_obj_get_base(nullptr, "k", 1, err));
         }, arg_failed("NULL", "kel_json_obj_get_base", "json")},
        {"kel_json_obj_get_base", "key", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             return p(kel_json_obj_get_base(o, nullptr, 1, err));
         }, arg_failed("NULL", "kel_json_obj_get_base", "key")},
        {"kel_json_obj_get_base", "error", CALL {
             JsonRoot o(doc("{\"k\":1,\"r\":{\"$ref\":\"#/k\"}}"));
             return show(kel_json_obj_get_base(o, "r", 1, nullptr)) + " " +
                    show(kel_json_obj_get_base(o, "x", 1, nullptr));
         }, silent("1 NULL")},

        // Typed lookups (their NULL object and key rows are generated below).
        {"kel_json_obj_get_obj_base", "error", CALL {
             JsonRoot o(doc("{\"k\":{},\"s\":\"x\"}"));
             return show(kel_json_obj_get_obj_base(o, "k", nullptr)) + " " +
                    show(kel_json_obj_get_obj_base(o, "s", nullptr));
         }, silent("{} NULL")},
        {"kel_json_obj_get_array_base", "error", CALL {
             JsonRoot o(doc("{\"k\":[],\"s\":\"x\"}"));
             return show(kel_json_obj_get_array_base(o, "k", nullptr)) + " " +
                    show(kel_json_obj_get_array_base(o, "s", nullptr));
         }, silent("[] NULL")},
        {"kel_json_obj_get_str_base", "error", CALL {
             JsonRoot o(doc("{\"k\":\"v\",\"i\":5}"));
             return str(kel_json_obj_get_str_base(o, "k", nullptr)) + " " +
                    str(kel_json_obj_get_str_base(o, "i", nullptr));
         }, silent("\"v\" NULL")},
        {"kel_json_obj_get_jref_base", "error", CALL {
             JsonRoot o(doc("{\"k\":{\"$ref\":\"#/x\"}}"));
             return str(kel_json_jref_uri(kel_json_obj_get_jref_base(o, "k", nullptr)));
         }, silent("\"#/x\"")},

        // Put family (the rest is generated below): a NULL text fails in the
        // value's constructor, before anything is inserted.
        {"kel_json_obj_put_str_base", "value", CALL {
             return on_obj([&](KelJson *o) { return kel_json_obj_put_str_base(o, "k", nullptr, err); });
         }, arg_failed("NULL {}", "kel_json_str_new_base", "value")},
        {"kel_json_obj_put_str_len_base", "value", CALL {
             return on_obj([&](KelJson *o) { return kel_json_obj_put_str_len_base(o, "k", nullptr, 1, err); });
         }, arg_failed("NULL {}", "kel_json_str_new_len_base", "value")},
        {"kel_json_obj_put_jref_base", "uri", CALL {
             return on_obj([&](KelJson *o) { return kel_json_obj_put_jref_base(o, "k", nullptr, err); });
         }, arg_failed("NULL {}", "kel_json_jref_new_base", "uri")},

        // ---- Arrays ----
        {"kel_json_array_new_base", "none", CALL {
             JsonRoot a(kel_json_array_new_base(4, FALSE));
             return show(a) + " " + n(a->refcount);
         }, silent("[] 0")},
        {"kel_json_array_push_base", "json", CALL {
             JsonRoot v(kel_json_i64_new_base(1));
             return b(kel_json_array_push_base(nullptr, v, err));
         }, arg_failed("FALSE", "kel_json_array_push_base", "json")},
        {"kel_json_array_push_base", "value", CALL {
             JsonRoot a(kel_json_array_new_base(0, FALSE));
             gboolean r = kel_json_array_push_base(a, nullptr, err);
             return b(r) + " " + show(a);
         }, arg_failed("FALSE []", "kel_json_array_push_base", "value")},
        {"kel_json_array_push_base", "error", CALL {
             JsonRoot a(kel_json_array_new_base(0, FALSE));
             KelJson *v = kel_json_i64_new_base(1);
             gboolean r = kel_json_array_push_base(a, v, nullptr);
             kel_json_unref(v);
             return b(r) + " " + show(a);
         }, silent("TRUE [1]")},
        {"kel_json_array_size", "json", CALL { return n(kel_json_array_size(nullptr)); }, silent("-1")},
        {"kel_json_array_pop", "json", CALL { return n(kel_json_array_pop(nullptr, 1)); }, silent("-1")},
        {"kel_json_array_get_base", "json", CALL {
             return p(kel_json_array_get_base(nullptr, 0, 1, err));
         }, arg_failed("NULL", "kel_json_array_get_base", "json")},
        {"kel_json_array_get_base", "error", CALL {
             JsonRoot a(doc("[1,{\"$ref\":\"#/0\"}]"));
             return show(kel_json_array_get_base(a, -1, 1, nullptr)) + " " +
                    show(kel_json_array_get_base(a, 2, 1, nullptr));
         }, silent("1 NULL")},
        {"kel_json_array_swap", "array", CALL {
             JsonRoot v(kel_json_i64_new_base(1));
             return p(kel_json_array_swap(nullptr, 0, v, err));
         }, arg_failed("NULL", "kel_json_array_swap", "array")},
        {"kel_json_array_swap", "elem", CALL {
             JsonRoot a(doc("[1]"));
             KelJson *former = kel_json_array_swap(a, 0, nullptr, err);
             return p(former) + " " + show(a);
         }, arg_failed("NULL [1]", "kel_json_array_swap", "elem")},
        {"kel_json_array_swap", "error", CALL {
             JsonRoot a(doc("[1]"));
             JsonRoot former(kel_json_array_swap(a, 0, kel_json_i64_new_base(2), nullptr));
             return show(former) + " " + show(a);
         }, silent("1 [2]")},
        {"kel_json_array_filter", "json", CALL {
             return b(kel_json_array_filter(nullptr, keep_all, nullptr));
         }, silent("FALSE")},
        {"kel_json_array_filter", "keep", CALL {
             JsonRoot a(doc("[1,2]"));
             gboolean r = kel_json_array_filter(a, nullptr, nullptr);
             return b(r) + " " + show(a);
         }, silent("FALSE [1,2]")},
        {"kel_json_array_filter", "data", CALL {
             JsonRoot a(doc("[1,2]"));
             gboolean r = kel_json_array_filter(a, keep_all, nullptr);
             return b(r) + " " + show(a);
         }, silent("TRUE [1,2]")},
        {"kel_json_array_pop_elem", "json", CALL { return p(kel_json_array_pop_elem(nullptr)); }, silent("NULL")},
        {"kel_json_array_sort", "json", CALL {
             return b(kel_json_array_sort(nullptr, compare_i64));
         }, silent("FALSE")},
        {"kel_json_array_sort", "compare", CALL {
             JsonRoot a(doc("[2,1]"));
             gboolean r = kel_json_array_sort(a, nullptr);
             return b(r) + " " + show(a);
         }, silent("FALSE [2,1]")},

        // Push family (the rest is generated below).
        {"kel_json_array_push_str_base", "value", CALL {
             return on_array([&](KelJson *a) { return kel_json_array_push_str_base(a, nullptr, err); });
         }, arg_failed("NULL []", "kel_json_str_new_base", "value")},

        // ---- Typed access ----
        {"kel_json_is_i64_ext", "json", CALL {
             return b(kel_json_is_i64_ext(nullptr, TRUE)) + " " + b(kel_json_is_i64_ext(nullptr, FALSE));
         }, silent("FALSE FALSE")},
        {"kel_json_is_u64_ext", "json", CALL {
             return b(kel_json_is_u64_ext(nullptr, TRUE)) + " " + b(kel_json_is_u64_ext(nullptr, FALSE));
         }, silent("FALSE FALSE")},
        {"kel_json_is_u128_ext", "json", CALL {
             return b(kel_json_is_u128_ext(nullptr, TRUE)) + " " + b(kel_json_is_u128_ext(nullptr, FALSE));
         }, silent("FALSE FALSE")},
        {"kel_json_is_double_ext", "json", CALL {
             return b(kel_json_is_double_ext(nullptr, TRUE)) + " " + b(kel_json_is_double_ext(nullptr, FALSE));
         }, silent("FALSE FALSE")},
        {"kel_json_obj_get_i64_base", "error", CALL {
             JsonRoot o(doc("{\"k\":3.0,\"h\":3.5}"));
             return n(kel_json_obj_get_i64_base(o, "k", nullptr)) + " " +
                    n(kel_json_obj_get_i64_base(o, "h", nullptr));
         }, silent("3 0")},
        {"kel_json_obj_get_u64_base", "error", CALL {
             JsonRoot o(doc("{\"k\":3,\"m\":-1}"));
             return u(kel_json_obj_get_u64_base(o, "k", nullptr)) + " " +
                    u(kel_json_obj_get_u64_base(o, "m", nullptr));
         }, silent("3 0")},
        {"kel_json_obj_get_u128_base", "error", CALL {
             JsonRoot o(doc("{\"k\":3}"));
             return u128(kel_json_obj_get_u128_base(o, "k", nullptr)) + " " +
                    u128(kel_json_obj_get_u128_base(o, "x", nullptr));
         }, silent("0:3 0:0")},
        {"kel_json_obj_get_double_base", "error", CALL {
             JsonRoot o(doc("{\"k\":5,\"s\":\"x\"}"));
             return n(static_cast<long long>(kel_json_obj_get_double_base(o, "k", nullptr) * 2)) + " " +
                    n(static_cast<long long>(kel_json_obj_get_double_base(o, "s", nullptr)));
         }, silent("10 0")},
        {"kel_json_obj_get_bool_base", "error", CALL {
             JsonRoot o(doc("{\"k\":true,\"s\":\"true\"}"));
             return b(kel_json_obj_get_bool_base(o, "k", nullptr)) + " " +
                    b(kel_json_obj_get_bool_base(o, "s", nullptr));
         }, silent("TRUE FALSE")},

        // ---- Copying and tree surgery ----
        {"kel_json_copy", "json", CALL { return p(kel_json_copy(nullptr)); }, silent("NULL")},
        {"kel_json_make_orphan_base", "json", CALL {
             return b(kel_json_make_orphan_base(nullptr));
         }, silent("FALSE")},
        {"kel_json_swap_child_base", "old_child", CALL {
             JsonRoot v(kel_json_i64_new_base(1));
             return b(kel_json_swap_child_base(nullptr, v, err));
         }, arg_failed("FALSE", "kel_json_swap_child_base", "old_child")},
        {"kel_json_swap_child_base", "new_child", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             gboolean r = kel_json_swap_child_base(kel_json_obj_get_base(o, "k", 0, nullptr), nullptr, err);
             return b(r) + " " + show(o);
         }, arg_failed("FALSE {\"k\":1}", "kel_json_swap_child_base", "new_child")},
        {"kel_json_swap_child_base", "error", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             JsonRoot old(kel_json_obj_get_base(o, "k", 0, nullptr));
             kel_json_ref(old);  // keep it past the swap; released by `old`
             gboolean r = kel_json_swap_child_base(old, kel_json_i64_new_base(2), nullptr);
             return b(r) + " " + show(o) + " old parent " + p(old->parent);
         }, silent("TRUE {\"k\":2} old parent NULL")},
        // Without a fill the placement goes straight to the swap, whose check
        // names the array "array" (a NULL node has no length to append at).
        {"kel_json_array_put_ext", "json", CALL {
             JsonRoot v(kel_json_i64_new_base(1));
             return b(kel_json_array_put_ext(nullptr, 0, v, nullptr, err));
         }, arg_failed("FALSE", "kel_json_array_swap", "array")},
        {"kel_json_array_put_ext", "json_with_fill", CALL {
             JsonRoot v(kel_json_i64_new_base(1));
             JsonRoot fill(kel_json_null_new_base());
             return b(kel_json_array_put_ext(nullptr, 0, v, fill, err));
         }, arg_failed("FALSE", "kel_json_array_push_base", "json")},
        {"kel_json_array_put_ext", "value", CALL {
             JsonRoot a(doc("[]"));
             gboolean r = kel_json_array_put_ext(a, 0, nullptr, nullptr, err);
             return b(r) + " " + show(a);
         }, arg_failed("FALSE []", "kel_json_array_push_base", "value")},
        {"kel_json_array_put_ext", "value_replacing", CALL {
             JsonRoot a(doc("[1]"));
             gboolean r = kel_json_array_put_ext(a, 0, nullptr, nullptr, err);
             return b(r) + " " + show(a);
         }, arg_failed("FALSE [1]", "kel_json_array_swap", "elem")},
        {"kel_json_array_put_ext", "fill", CALL {
             JsonRoot a(doc("[]"));
             KelJson *v = kel_json_i64_new_base(1);
             gboolean r = kel_json_array_put_ext(a, 0, v, nullptr, err);
             kel_json_unref(v);
             return b(r) + " " + show(a);
         }, silent("TRUE [1]")},
        {"kel_json_array_put_ext", "fill_beyond_length", CALL {
             JsonRoot a(doc("[]"));
             KelJson *v = kel_json_i64_new_base(1);
             gboolean r = kel_json_array_put_ext(a, 2, v, nullptr, err);
             kel_json_unref(v);
             return b(r) + " " + show(a);
         }, fails("FALSE []", KEL_JSON_INDEX_INVALID, "Index 2 is out of bounds for JSON array \"\"")},
        {"kel_json_array_put_ext", "error", CALL {
             JsonRoot a(doc("[]"));
             JsonRoot fill(kel_json_null_new_base());
             KelJson *v = kel_json_i64_new_base(1);
             gboolean r = kel_json_array_put_ext(a, 2, v, fill, nullptr);
             kel_json_unref(v);
             return b(r) + " " + show(a);
         }, silent("TRUE [null,null,1]")},

        // ---- Union and subset ----
        {"kel_json_subset", "a", CALL {
             JsonRoot v(doc("{}"));
             return b(kel_json_subset(nullptr, v, 0));
         }, silent("FALSE")},
        {"kel_json_subset", "b", CALL {
             JsonRoot v(doc("{}"));
             return b(kel_json_subset(v, nullptr, 15));
         }, silent("FALSE")},
        {"kel_json_subset", "a_and_b", CALL { return b(kel_json_subset(nullptr, nullptr, 15)); }, silent("TRUE")},
        {"kel_json_union", "left", CALL {
             JsonRoot r(doc("{}"));
             return p(kel_json_union(nullptr, r, 0, err));
         }, warns("NULL", "kel_json_union", "left")},
        {"kel_json_union", "right", CALL {
             JsonRoot l(doc("{}"));
             return p(kel_json_union(l, nullptr, 0, err));
         }, warns("NULL", "kel_json_union", "right")},
        {"kel_json_union", "error", CALL {
             JsonRoot l(doc("{\"a\":1}")), r(doc("{\"b\":2}")), c(doc("{\"a\":2}"));
             JsonRoot both(kel_json_union(l, r, 0, nullptr));
             return show(both) + " " + p(kel_json_union(l, c, 0, nullptr));
         }, silent("{\"a\":1,\"b\":2} NULL")},
        {"kel_json_array_find", "json", CALL {
             JsonRoot pattern(doc("1"));
             return p(kel_json_array_find(nullptr, pattern));
         }, silent("NULL")},
        {"kel_json_array_find", "pattern", CALL {
             JsonRoot a(doc("[null,1]"));
             return p(kel_json_array_find(a, nullptr));
         }, silent("NULL")},
        {"kel_json_array_find_str", "json", CALL {
             return p(kel_json_array_find_str(nullptr, "s"));
         }, silent("NULL")},
        {"kel_json_array_find_str", "text", CALL {
             JsonRoot a(doc("[\"s\",null]"));
             return p(kel_json_array_find_str(a, nullptr));
         }, silent("NULL")},

        // ---- JSON text input ----
        {"lex_init", "data", CALL {
             KelJsonLexer lex;
             lex_init(&lex, lex_get_none, nullptr, err);
             std::string s = p(lex.data) + " line " + n(lex.line) + " token " + n(lex.token) +
                             " text " + str(lex.text ? lex.text->str : nullptr);
             if (lex.text)
                 g_string_free(lex.text, TRUE);
             return s;
         }, silent("NULL line 1 token -1 text \"\"")},
        {"lex_init", "error", CALL {
             KelJsonLexer lex;
             KelJsonStrSource source = {"1", 0};
             lex_init(&lex, lex_get_none, &source, nullptr);
             std::string s = p(lex.error) + " " + p(lex.text);
             if (lex.text)
                 g_string_free(lex.text, TRUE);
             return s;
         }, silent("NULL non-NULL")},
        {"kel_json_loads", "in", CALL {
             return p(kel_json_loads(nullptr, 0, err)) + " items " + p(*err ? (*err)->data : nullptr);
         }, arg_failed("NULL items NULL", "kel_json_loads", "in")},
        {"kel_json_loads", "error", CALL {
             JsonRoot good(kel_json_loads("[1]", 0, nullptr));
             return show(good) + " " + p(kel_json_loads("[1", 0, nullptr));
         }, silent("[1] NULL")},
        {"kel_json_loadf", "fh", CALL {
             return p(kel_json_loadf(nullptr, 0, err));
         }, arg_failed("NULL", "kel_json_loadf", "fh")},
        {"kel_json_loadf", "error", CALL {
             char text[] = "{\"a\":true}";
             FILE *fh = fmemopen(text, sizeof text - 1, "r");
             JsonRoot loaded(kel_json_loadf(fh, 0, nullptr));
             fclose(fh);
             return show(loaded);
         }, silent("{\"a\":true}")},
        {"kel_json_escape_str_ext", "str", CALL {
             GString *out = g_string_new("ab");
             int r = kel_json_escape_str_ext(nullptr, out);
             std::string s = n(r) + " " + out->str;
             g_string_free(out, TRUE);
             return s;
         }, silent("-1 ab")},
        {"kel_json_escape_str_ext", "out", CALL { return n(kel_json_escape_str_ext("x", nullptr)); }, silent("-1")},
        {"kel_json_escape_str", "str", CALL { return str(kel_json_escape_str(nullptr)); }, silent("NULL")},

        // ---- Pointer text ----
        {"kel_json_ptr_add_key_ext", "key", CALL {
             GString *s = g_string_new("/a");
             gboolean r = kel_json_ptr_add_key_ext(s, nullptr);
             std::string out = b(r) + " " + s->str;
             g_string_free(s, TRUE);
             return out;
         }, silent("FALSE /a")},
        {"kel_json_ptr_add_key", "init", CALL {
             char *s = kel_json_ptr_add_key(nullptr, "a/b");
             std::string out = str(s);
             g_free(s);
             return out;
         }, silent("\"/a~1b\"")},
        {"kel_json_ptr_add_key", "key", CALL { return str(kel_json_ptr_add_key("/a", nullptr)); }, silent("NULL")},
        {"kel_json_ptr_ext", "json", CALL {
             GString *s = g_string_new("x");
             gboolean r = kel_json_ptr_ext(nullptr, s);
             std::string out = b(r) + " " + s->str;
             g_string_free(s, TRUE);
             return out;
         }, silent("FALSE x")},
        {"kel_json_ptr_ext", "str", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             return b(kel_json_ptr_ext(kel_json_obj_get_base(o, "k", 0, nullptr), nullptr));
         }, silent("FALSE")},
        {"kel_json_ptr", "json", CALL {
             char sentinel[] = "untouched";
             char *out = sentinel;
             gint32 r = kel_json_ptr(nullptr, &out);
             return n(r) + " " + out;
         }, silent("-1 untouched")},
        {"kel_json_ptr", "out", CALL {
             JsonRoot o(doc("{}"));
             return n(kel_json_ptr(o, nullptr));
         }, silent("-1")},
        {"kel_json_ptr_build_array", "array", CALL {
             GString *s = g_string_new("");
             gboolean r = kel_json_ptr_build_array(nullptr, s);
             std::string out = b(r) + " '" + s->str + "'";
             g_string_free(s, TRUE);
             return out;
         }, silent("FALSE ''")},
        {"kel_json_ptr_build_array", "str", CALL {
             JsonRoot a(doc("[]"));
             return b(kel_json_ptr_build_array(a, nullptr));
         }, silent("FALSE")},
        {"kel_json_ptr_build_obj", "obj", CALL {
             GString *s = g_string_new("");
             gboolean r = kel_json_ptr_build_obj(nullptr, "k", s);
             std::string out = b(r) + " '" + s->str + "'";
             g_string_free(s, TRUE);
             return out;
         }, silent("FALSE ''")},
        {"kel_json_ptr_build_obj", "str", CALL {
             JsonRoot o(doc("{}"));
             return b(kel_json_ptr_build_obj(o, "k", nullptr));
         }, silent("FALSE")},

        // ---- Path-aware formatting ----
        {"kel_json_ptr_vprintf", "str", CALL {
             return n(vprintf_into(nullptr, "%d", 1));
         }, warns("-1", "kel_json_ptr_vprintf", "str")},
        {"kel_json_ptr_vprintf", "fmt", CALL {
             GString *s = g_string_new("x");
             gint32 r = vprintf_into(s, null_text());
             std::string out = n(r) + " " + s->str;
             g_string_free(s, TRUE);
             return out;
         }, warns("-1 x", "kel_json_ptr_vprintf", "fmt")},
        // printf only forwards to vprintf, whose checks name vprintf.
        {"kel_json_ptr_printf", "str", CALL {
             return n(kel_json_ptr_printf(nullptr, "%d", 1));
         }, warns("-1", "kel_json_ptr_vprintf", "str")},
        {"kel_json_ptr_printf", "fmt", CALL {
             GString *s = g_string_new("x");
             gint32 r = kel_json_ptr_printf(s, null_text());
             std::string out = n(r) + " " + s->str;
             g_string_free(s, TRUE);
             return out;
         }, warns("-1 x", "kel_json_ptr_vprintf", "fmt")},
        {"kel_json_ptr_printf", "%P_argument", CALL {
             GString *s = g_string_new("");
             gint32 r = kel_json_ptr_printf(s, "at %P.", static_cast<KelJson *>(nullptr));
             std::string out = n(r) + " " + s->str;
             g_string_free(s, TRUE);
             return out;
         }, silent("6 at \"\".")},
        // The out parameter's check carries the text "str".
        {"kel_json_ptr_aprintf", "out", CALL {
             return n(kel_json_ptr_aprintf(nullptr, "%d", 1));
         }, warns("-1", "kel_json_ptr_aprintf", "str")},
        {"kel_json_ptr_aprintf", "fmt", CALL {
             char *out = nullptr;
             gint32 r = kel_json_ptr_aprintf(&out, null_text());
             std::string s = n(r) + " " + str(out);
             g_free(out);
             return s;
         }, warns("-1 \"\"", "kel_json_ptr_vprintf", "fmt")},
        {"kel_json_set_error", "err", CALL {
             kel_json_set_error(nullptr, KEL_JSON_KEY_INVALID, "%s", "lost");
             return "void";
         }, silent("void")},
        // The formatter refuses the NULL format (its warning) and leaves the
        // message empty; the error is raised all the same.
        {"kel_json_set_error", "fmt", CALL {
             kel_json_set_error(err, KEL_JSON_KEY_INVALID, null_text());
             return "void";
         }, {"void", "kel_json_ptr_vprintf: assertion 'fmt' failed", KEL_JSON_KEY_INVALID, ""}},

        // ---- Pointer navigation ----
        {"kel_json_ptr_get_base", "root", CALL {
             return p(kel_json_ptr_get_base(nullptr, "/a", err));
         }, arg_failed("NULL", "kel_json_ptr_get_base", "root")},
        {"kel_json_ptr_get_base", "ptr", CALL {
             JsonRoot root(doc("{\"a\":1}"));
             return p(kel_json_ptr_get_base(root, nullptr, err));
         }, arg_failed("NULL", "kel_json_ptr_get_base", "ptr")},
        {"kel_json_ptr_get_base", "error", CALL {
             JsonRoot root(doc("{\"a\":[5]}"));
             return show(kel_json_ptr_get_base(root, "#/a/0", nullptr)) + " " +
                    show(kel_json_ptr_get_base(root, "/b", nullptr));
         }, silent("5 NULL")},
        {"kel_json_ptr_put_base", "root", CALL {
             JsonRoot elem(kel_json_i64_new_base(1));
             return b(kel_json_ptr_put_base(nullptr, "/a", elem, TRUE, nullptr, err));
         }, arg_failed("FALSE", "kel_json_ptr_put_base", "root")},
        {"kel_json_ptr_put_base", "ptr", CALL {
             JsonRoot root(doc("{}"));
             JsonRoot elem(kel_json_i64_new_base(1));
             gboolean r = kel_json_ptr_put_base(root, nullptr, elem, TRUE, nullptr, err);
             return b(r) + " " + show(root);
         }, arg_failed("FALSE {}", "kel_json_ptr_put_base", "ptr")},
        {"kel_json_ptr_put_base", "elem", CALL {
             JsonRoot root(doc("{}"));
             gboolean r = kel_json_ptr_put_base(root, "/a/b", nullptr, TRUE, nullptr, err);
             return b(r) + " " + show(root);
         }, arg_failed("FALSE {}", "kel_json_ptr_put_base", "elem")},
        {"kel_json_ptr_put_base", "fill", CALL {
             JsonRoot root(doc("{}"));
             KelJson *elem = kel_json_i64_new_base(1);
             gboolean r = kel_json_ptr_put_base(root, "/a/0", elem, FALSE, nullptr, err);
             kel_json_unref(elem);
             return b(r) + " " + show(root);
         }, silent("TRUE {\"a\":[1]}")},
        {"kel_json_ptr_put_base", "error", CALL {
             JsonRoot root(doc("{\"s\":\"x\"}"));
             KelJson *elem = kel_json_i64_new_base(1);
             gboolean r = kel_json_ptr_put_base(root, "/a/b", elem, TRUE, nullptr, nullptr);
             KelJson *refused = kel_json_i64_new_base(2);
             gboolean r2 = kel_json_ptr_put_base(root, "/s/x", refused, TRUE, nullptr, nullptr);
             kel_json_unref(elem);
             kel_json_unref(refused);
             return b(r) + " " + b(r2) + " " + show(root);
         }, silent("TRUE FALSE {\"a\":{\"b\":1},\"s\":\"x\"}")},

        // Pointer put family (the rest is generated below).
        {"kel_json_ptr_put_str_base", "value", CALL {
             return on_doc([&](KelJson *r) { return kel_json_ptr_put_str_base(r, "/a/b", nullptr, err); });
         }, arg_failed("NULL {\"a\":{}}", "kel_json_str_new_base", "value")},
        {"kel_json_ptr_put_jref_base", "uri", CALL {
             return on_doc([&](KelJson *r) { return kel_json_ptr_put_jref_base(r, "/a/b", nullptr, err); });
         }, arg_failed("NULL {\"a\":{}}", "kel_json_jref_new_base", "uri")},

        // ---- Visitor ----
        {"kel_json_visit", "json", CALL {
             KelJsonVisitor visitor = {};
             return b(kel_json_visit(nullptr, &visitor, nullptr));
         }, warns("FALSE", "kel_json_visit", "json")},
        {"kel_json_visit", "visitor", CALL {
             JsonRoot j(doc("[1]"));
             return b(kel_json_visit(j, nullptr, nullptr));
         }, warns("FALSE", "kel_json_visit", "visitor")},
        {"kel_json_visit", "data", CALL {
             JsonRoot j(doc("[1,{\"a\":2}]"));
             KelJsonVisitor visitor = {};
             visitor.on_i64 = count_scalar;
             return b(kel_json_visit(j, &visitor, nullptr));
         }, silent("TRUE")},
        // Every slot may be empty; the key-list slot falls back to the
        // object's own keys.
        {"kel_json_visit", "visitor_slots", CALL {
             JsonRoot j(doc("{\"a\":[1,\"s\",null,true],\"b\":{\"$ref\":\"#/a\"}}"));
             KelJsonVisitor visitor = {};
             return b(kel_json_visit(j, &visitor, nullptr));
         }, silent("TRUE")},

        // ---- Serializer ----
        {"kel_json_sdump_ext", "root", CALL {
             GString *s = g_string_new("x");
             gboolean r = kel_json_sdump_ext(nullptr, s, 0, 0);
             std::string out = b(r) + " " + s->str;
             g_string_free(s, TRUE);
             return out;
         }, warns("FALSE x", "kel_json_sdump_ext", "root")},
        {"kel_json_sdump_ext", "out", CALL {
             JsonRoot j(doc("[1]"));
             return b(kel_json_sdump_ext(j, nullptr, 0, 0));
         }, warns("FALSE", "kel_json_sdump_ext", "out")},
        {"kel_json_sdump", "root", CALL {
             char sentinel[] = "untouched";
             char *out = sentinel;
             gboolean r = kel_json_sdump(nullptr, &out, 0);
             return b(r) + " " + out;
         }, warns("FALSE untouched", "kel_json_sdump", "root")},
        {"kel_json_sdump", "out", CALL {
             JsonRoot j(doc("[1]"));
             return b(kel_json_sdump(j, nullptr, 0));
         }, warns("FALSE", "kel_json_sdump", "out")},
        {"kel_json_fdump", "root", CALL {
             FILE *f = tmpfile();
             gboolean r = kel_json_fdump(nullptr, f, 0, 0);
             std::string s = b(r) + " " + n(ftell(f));
             fclose(f);
             return s;
         }, warns("FALSE 0", "kel_json_fdump", "root")},
        {"kel_json_fdump", "out", CALL {
             JsonRoot j(doc("[1]"));
             return b(kel_json_fdump(j, nullptr, 0, 0));
         }, warns("FALSE", "kel_json_fdump", "out")},

        // ---- References ----
        {"kel_json_jref_resolve_base", "json", CALL {
             return p(kel_json_jref_resolve_base(nullptr, err));
         }, fails("NULL", KEL_JSON_TYPE_INVALID,
                  "kel_json_jref_resolve_base: invalid JSON type for \"\": expected reference, got <none>")},
        {"kel_json_jref_resolve_base", "error", CALL {
             JsonRoot root(doc("{\"a\":1,\"r\":{\"$ref\":\"#/a\"},\"m\":{\"$ref\":\"#/x\"}}"));
             return show(kel_json_jref_resolve_base(kel_json_obj_get_base(root, "r", 0, nullptr), nullptr)) +
                    " " + show(kel_json_jref_resolve_base(kel_json_obj_get_base(root, "m", 0, nullptr), nullptr));
         }, silent("1 NULL")},
        {"kel_json_jref_deref_base", "json", CALL {
             return p(kel_json_jref_deref_base(nullptr, err));
         }, fails("NULL", KEL_JSON_TYPE_INVALID,
                  "kel_json_jref_deref_base: invalid JSON type for \"\": expected reference, got <none>")},
        {"kel_json_jref_deref_base", "error", CALL {
             JsonRoot root(doc("{\"a\":1,\"r\":{\"$ref\":\"#/s\"},\"s\":{\"$ref\":\"#/a\"},"
                               "\"c\":{\"$ref\":\"#/c\"}}"));
             return show(kel_json_jref_deref_base(kel_json_obj_get_base(root, "r", 0, nullptr), nullptr)) +
                    " " + show(kel_json_jref_deref_base(kel_json_obj_get_base(root, "c", 0, nullptr), nullptr));
         }, silent("1 NULL")},
        {"kel_json_jref_expand", "root", CALL {
             return b(kel_json_jref_expand(nullptr, err));
         }, arg_failed("FALSE", "kel_json_jref_expand", "root")},
        {"kel_json_jref_expand", "error", CALL {
             JsonRoot root(doc("{\"a\":[1],\"r\":{\"$ref\":\"#/a\"}}"));
             gboolean r = kel_json_jref_expand(root, nullptr);
             return b(r) + " " + show(root);
         }, silent("TRUE {\"a\":[1],\"r\":[1]}")},
    };

    // Typed lookups report the failures of kel_json_obj_get_base unchanged.
    add_lookup_rows(rows, "kel_json_obj_get_obj_base", kel_json_obj_get_obj_base, p, "NULL");
    add_lookup_rows(rows, "kel_json_obj_get_array_base", kel_json_obj_get_array_base, p, "NULL");
    add_lookup_rows(rows, "kel_json_obj_get_str_base", kel_json_obj_get_str_base, str, "NULL");
    add_lookup_rows(rows, "kel_json_obj_get_jref_base", kel_json_obj_get_jref_base, p, "NULL");
    add_lookup_rows(rows, "kel_json_obj_get_i64_base", kel_json_obj_get_i64_base, n, "0");
    add_lookup_rows(rows, "kel_json_obj_get_u64_base", kel_json_obj_get_u64_base, u, "0");
    add_lookup_rows(rows, "kel_json_obj_get_u128_base", kel_json_obj_get_u128_base, u128, "0:0");
    add_lookup_rows(rows, "kel_json_obj_get_double_base", kel_json_obj_get_double_base, real, "0");
    add_lookup_rows(rows, "kel_json_obj_get_bool_base", kel_json_obj_get_bool_base, b, "FALSE");

    // Object put family and get-or-create: the insertion's checks name
    // kel_json_obj_put_base (for get-or-create too: a failed lookup leads to
    // the put, which reports the object's own failures).
    add_obj_put_rows(rows, "kel_json_obj_getd_obj_base", kel_json_obj_getd_obj_base, "{}");
    add_obj_put_rows(rows, "kel_json_obj_getd_array_base", kel_json_obj_getd_array_base, "[]");
    add_obj_put_rows(rows, "kel_json_obj_put_obj_base", kel_json_obj_put_obj_base, "{}");
    add_obj_put_rows(rows, "kel_json_obj_put_array_base", kel_json_obj_put_array_base, "[]");
    add_obj_put_rows(rows, "kel_json_obj_put_null_base", kel_json_obj_put_null_base, "null");
    add_obj_put_rows(rows, "kel_json_obj_put_str_base", kel_json_obj_put_str_base, "\"v\"", "v");
    add_obj_put_rows(rows, "kel_json_obj_put_str_len_base", kel_json_obj_put_str_len_base, "\"v\"", "vw",
                     gsize{1});
    add_obj_put_rows(rows, "kel_json_obj_put_bool_base", kel_json_obj_put_bool_base, "true", TRUE);
    add_obj_put_rows(rows, "kel_json_obj_put_double_base", kel_json_obj_put_double_base, "0.500000", 0.5);
    add_obj_put_rows(rows, "kel_json_obj_put_i64_base", kel_json_obj_put_i64_base, "-1", gint64{-1});
    add_obj_put_rows(rows, "kel_json_obj_put_u64_base", kel_json_obj_put_u64_base, "1", guint64{1});
    add_obj_put_rows(rows, "kel_json_obj_put_u128_base", kel_json_obj_put_u128_base, "7", k7);
    add_obj_put_rows(rows, "kel_json_obj_put_jref_base", kel_json_obj_put_jref_base, "{\"$ref\":\"#\"}", "#");

    // Array push family: the append's checks name kel_json_array_push_base.
    add_push_rows(rows, "kel_json_array_push_array_base", kel_json_array_push_array_base, "[]");
    add_push_rows(rows, "kel_json_array_push_obj_base", kel_json_array_push_obj_base, "{}");
    add_push_rows(rows, "kel_json_array_push_bool_base", kel_json_array_push_bool_base, "false", FALSE);
    add_push_rows(rows, "kel_json_array_push_double_base", kel_json_array_push_double_base, "1.500000", 1.5);
    add_push_rows(rows, "kel_json_array_push_i64_base", kel_json_array_push_i64_base, "4", gint64{4});
    add_push_rows(rows, "kel_json_array_push_u64_base", kel_json_array_push_u64_base, "4", guint64{4});
    add_push_rows(rows, "kel_json_array_push_u128_base", kel_json_array_push_u128_base, "7", k7);
    add_push_rows(rows, "kel_json_array_push_str_base", kel_json_array_push_str_base, "\"s\"", "s");

    // Pointer put family: the walk's checks name kel_json_ptr_put_base.
    add_ptr_put_rows(rows, "kel_json_ptr_put_array_base", kel_json_ptr_put_array_base, "[]");
    add_ptr_put_rows(rows, "kel_json_ptr_put_obj_base", kel_json_ptr_put_obj_base, "{}");
    add_ptr_put_rows(rows, "kel_json_ptr_put_bool_base", kel_json_ptr_put_bool_base, "true", TRUE);
    add_ptr_put_rows(rows, "kel_json_ptr_put_double_base", kel_json_ptr_put_double_base, "0.250000", 0.25);
    add_ptr_put_rows(rows, "kel_json_ptr_put_u64_base", kel_json_ptr_put_u64_base, "9", guint64{9});
    add_ptr_put_rows(rows, "kel_json_ptr_put_i64_base", kel_json_ptr_put_i64_base, "-9", gint64{-9});
    add_ptr_put_rows(rows, "kel_json_ptr_put_u128_base", kel_json_ptr_put_u128_base, "7", k7);
    add_ptr_put_rows(rows, "kel_json_ptr_put_str_base", kel_json_ptr_put_str_base, "\"v\"", "v");
    add_ptr_put_rows(rows, "kel_json_ptr_put_jref_base", kel_json_ptr_put_jref_base,
                     "{\"$ref\":\"#/a\"}", "#/a");
    return rows;
}

// Outside the contract: must not crash. These arguments are documented as
// not NULL (or their NULL case is left open); the library still answers with
// the neutral result, and any warning or error it gives is its own choice.
std::vector<Row> outside_contract_rows()
{
    return {
        {"kel_error_new", "format", CALL {
             KelError *e = kel_error_new(nullptr, kel_error_domain(), KEL_IO_FAIL, null_text());
             std::string s = p(e);
             kel_error_free(e);
             return s;
         }, neutral("NULL")},
        {"kel_error_new_valist", "format", CALL {
             KelError *e = new_valist(nullptr, null_text());
             std::string s = p(e);
             kel_error_free(e);
             return s;
         }, neutral("NULL")},
        {"kel_set_error", "format", CALL {
             KelError *head = kel_set_error(err, kel_error_domain(), KEL_IO_FAIL, null_text());
             return p(head) + (*err ? ", slot holds an error" : "");
         }, neutral("NULL")},
        {"__kel_error_add_location", "file", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             *own = new_error(-1, "e");
             __kel_error_add_location(own, nullptr, "fn", 1);
             return "void";
         }, neutral("void")},
        {"__kel_error_add_location", "function", CALL {
             ErrorSlot scratch;  // the call's own chain, not the row's slot
             KelError **own = &scratch.err;
             *own = new_error(-1, "e");
             __kel_error_add_location(own, "f.c", nullptr, 1);
             return "void";
         }, neutral("void")},
        {"std_payload_to_json", "item", CALL { return p(std_payload_to_json(nullptr)); }, neutral("NULL")},
        {"location_data_to_json", "item", CALL { return p(location_data_to_json(nullptr)); }, neutral("NULL")},
        {"kel_strtoll", "str", CALL { return n(kel_strtoll(nullptr, 10, err)); }, neutral("0")},
        {"kel_strtoull", "str", CALL { return u(kel_strtoull(nullptr, 10, err)); }, neutral("0")},
        {"kel_strtod", "str", CALL { return n(static_cast<long long>(kel_strtod(nullptr, err))); }, neutral("0")},
        {"kel_rm_dir", "path", CALL {
             GError *error = nullptr;
             gboolean r = kel_rm_dir(nullptr, &error);
             g_clear_error(&error);
             return b(r);
         }, neutral("FALSE")},
        {"kel_empty_dir", "path", CALL {
             GError *error = nullptr;
             gboolean r = kel_empty_dir(nullptr, &error);
             g_clear_error(&error);
             return b(r);
         }, neutral("FALSE")},
        {"kel_is_dir_empty", "path", CALL { return b(kel_is_dir_empty(nullptr)); }, neutral("FALSE")},
        {"utf8_check_string", "s_with_length", CALL { return n(utf8_check_string(nullptr, 3)); }, neutral("0")},
        {"kel_json_i64_get", "json", CALL { return n(kel_json_i64_get(nullptr)); }, neutral("0")},
        {"kel_json_u64_get", "json", CALL { return u(kel_json_u64_get(nullptr)); }, neutral("0")},
        {"kel_json_u128_get", "json", CALL { return u128(kel_json_u128_get(nullptr)); }, neutral("0:0")},
        {"kel_json_double_get", "json", CALL {
             double d = kel_json_double_get(nullptr);
             return d == 0.0 ? "0" : "non-zero";
         }, neutral("0")},
        {"kel_json_obj_has_key", "key", CALL {
             JsonRoot o(doc("{\"k\":1}"));
             return b(kel_json_obj_has_key(o, nullptr));
         }, neutral("FALSE")},
        {"kel_json_obj_iter_next", "iter", CALL {
             const char *key = nullptr;
             KelJson *value = nullptr;
             return b(kel_json_obj_iter_next(nullptr, &key, &value));
         }, neutral("FALSE")},
        {"lex_init", "lex", CALL {
             lex_init(nullptr, lex_get_none, nullptr, err);
             return "void";
         }, neutral("void")},
        {"lex_init", "get", CALL {
             KelJsonLexer lex;
             lex_init(&lex, nullptr, nullptr, err);
             if (lex.text)
                 g_string_free(lex.text, TRUE);
             return "void";
         }, neutral("void")},
        {"kel_json_ptr_add_key_ext", "str", CALL {
             return b(kel_json_ptr_add_key_ext(nullptr, "k"));
         }, neutral("FALSE")},
        {"kel_json_ptr_build_obj", "key", CALL {
             JsonRoot o(doc("{}"));
             GString *s = g_string_new("");
             gboolean r = kel_json_ptr_build_obj(o, nullptr, s);
             g_string_free(s, TRUE);
             return b(r);
         }, neutral("FALSE")},
    };
}

std::vector<Row> all_rows()
{
    std::vector<Row> rows = contract_rows();
    for (Row &row : outside_contract_rows()) {
        row.outside = true;
        rows.push_back(std::move(row));
    }
    return rows;
}

// ---- Running a row ---------------------------------------------------------------

Outcome run(const Row &row)
{
    Outcome out;
    ErrorSlot slot;
    {
        LogCapture log;
        out.result = row.call(&slot.err);
        out.warnings = log.messages();
    }
    for (const KelError *e = slot.err; e != nullptr; e = e->next)
        out.errors++;
    if (slot.err) {
        out.domain = slot.domain();
        out.code = slot.code();
        // A NULL message is a fault of its own; keep it visible, not fatal.
        out.message = slot->gerror->message ? slot->gerror->message : "<NULL message>";
    }
    return out;
}

std::string test_name(const Row &row)
{
    std::string name = row.function + "__" + row.argument;
    for (char &c : name)
        if (!g_ascii_isalnum(c) && c != '_')
            c = '_';
    return name;
}

class NullArgs : public ::testing::TestWithParam<Row> {};

TEST_P(NullArgs, BehavesAsDocumented)
{
    const Row &row = GetParam();
    const Expect &want = row.expect;
    Outcome got = run(row);
    SCOPED_TRACE(row.function + "(" + row.argument + " = NULL)");

    EXPECT_EQ(got.result, want.result);

    if (want.warning == kAnyWarning) {
        for (const std::string &w : got.warnings)
            std::cout << "[ note     ] warned: " << w << "\n";
    } else if (want.warning.empty()) {
        EXPECT_EQ(got.warnings, std::vector<std::string>{});
    } else {
        EXPECT_EQ(got.warnings, std::vector<std::string>{want.warning});
    }

    if (row.outside) {
        if (got.errors > 0)
            std::cout << "[ note     ] error: " << got.code << " '" << got.message << "'\n";
    } else if (want.code == 0) {
        EXPECT_EQ(got.errors, 0) << "unexpected error " << got.code << " '" << got.message << "'";
    } else {
        EXPECT_EQ(got.errors, 1);
        EXPECT_EQ(got.domain, kel_json_error_domain());
        EXPECT_EQ(got.code, want.code);
        EXPECT_EQ(got.message, want.message);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, NullArgs, ::testing::ValuesIn(all_rows()),
                         [](const ::testing::TestParamInfo<Row> &info) { return test_name(info.param); });

// Every exported function has at least one row, every row names an exported
// function, and no two rows share a name.
TEST(NullArgsTable, CoversEveryExportedFunction)
{
    std::ifstream in(std::string(KEL_TEST_DATA_DIR) + "/../exported_symbols.txt");
    ASSERT_TRUE(in.good()) << "tests/exported_symbols.txt not found";
    std::set<std::string> exported;
    for (std::string symbol; std::getline(in, symbol);)
        if (!symbol.empty() && symbol != "chr_strs")  // a data object, not a function
            exported.insert(symbol);
    ASSERT_FALSE(exported.empty());

    std::set<std::string> covered, names;
    for (const Row &row : all_rows()) {
        covered.insert(row.function);
        EXPECT_TRUE(exported.count(row.function)) << "row for unknown function " << row.function;
        EXPECT_TRUE(names.insert(test_name(row)).second) << "duplicate row " << test_name(row);
    }
    for (const std::string &symbol : exported)
        EXPECT_TRUE(covered.count(symbol)) << "no row for " << symbol;
}

}  // namespace
