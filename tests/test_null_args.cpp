// NULL where a pointer is expected, one family of functions at a time: which
// ones take NULL silently (the free and query functions), which warn like a C
// return-if-fail, which push an argument error, and that a NULL error slot is
// fine on success and on failure. Every exported function must be named in the
// table, so a new one gets a decision too.
#include <cstdarg>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

#include "test_util.h"

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

using Call = std::function<std::string(KelError **)>;
// `names` lists the functions a row covers; a row without call holds
// functions without pointer arguments.
struct Row {
    std::string names;
    Call call;
    std::string expected;
};

std::string b(gboolean v) { return v ? "T" : "F"; }
std::string p(const void *v) { return v ? "ptr" : "NULL"; }
std::string n(long long v) { return std::to_string(v); }
std::string str(const char *s) { return s ? "\"" + std::string(s) + "\"" : "NULL"; }
std::string show(const KelJson *j) { return j ? kel_test::dump(const_cast<KelJson *>(j)) : "NULL"; }
std::string u128(KelUint128 v) { return n(v.hi) + ":" + n(v.lo); }

// Results joined by blanks, evaluated strictly left to right.
struct Out {
    std::string s;
    Out &operator<<(const std::string &v) { return s += (s.empty() || v.empty() ? "" : " ") + v, *this; }
    operator std::string() const { return s; }
};
// Runs a call whose NULL argument is outside the contract: only a neutral
// result counts, a warning may come or not.
template <typename F> auto quiet(F f) { kel_test::LogCapture log; return f(); }

// The call's results, then "W:fn(expr)" per warning and "A:fn(expr)" per
// argument error (other errors in full), newest error first.
std::string outcome(const Call &call)
{
    ErrorSlot slot;
    std::vector<std::string> warnings;
    std::string out;
    {
        kel_test::LogCapture log;
        out = call(&slot.err);
        warnings = log.messages();
    }
    for (const std::string &w : warnings) {
        const size_t colon = w.find(": assertion '");
        const bool plain = colon != std::string::npos && w.size() > 8 && w.compare(w.size() - 8, 8, "' failed") == 0;
        out += plain ? " W:" + w.substr(0, colon) + "(" + w.substr(colon + 13, w.size() - colon - 21) + ")" : " W:" + w;
    }
    for (const KelError *e = slot.err; e != nullptr; e = e->next) {
        const std::string m = e->gerror->message;
        const size_t at = m.find(": argument check failed: ");
        if (e->gerror->domain == kel_json_error_domain() && e->gerror->code == KEL_JSON_ARG_INVALID && at != std::string::npos)
            out += " A:" + m.substr(0, at) + "(" + m.substr(at + 25) + ")";
        else
            out += " E" + n(e->gerror->code) + ":" + m;
    }
    return out;
}

struct Doc : JsonRoot {
    explicit Doc(const char *text) : JsonRoot(kel_json_loads(text, 0, nullptr)) {}
};
struct GStr {
    GString *g;
    explicit GStr(const char *init) : g(g_string_new(init)) {}
    ~GStr() { g_string_free(g, TRUE); }
    operator GString *() const { return g; }
    std::string text() const { return g->str; }
};

const char *volatile g_null_text = nullptr;  // a NULL format the compiler cannot see
gint32 vprintf_into(GString *s, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    const gint32 r = kel_json_ptr_vprintf(s, format, args);
    va_end(args);
    return r;
}
const KelUint128 k7 = {7, 0};

// Typed members of a family share the checks of the function they call.
#define OBJ_GET(fn, sum, none)                                                                                  \
    Row{#fn, [](KelError **err) -> std::string { Doc o("{\"k\":1}"); return Out() << sum(fn(nullptr, "k", err)) << sum(fn(o, nullptr, err)); }, \
        std::string(none) + " " + none + " A:kel_json_obj_get_base(key) A:kel_json_obj_get_base(json)"}
#define OBJ_PUT(fn, stored, ...)                                                                                \
    Row{#fn, [](KelError **err) -> std::string { Doc o("{}"); return Out() << p(fn(nullptr, "k" __VA_OPT__(,) __VA_ARGS__, err)) \
            << p(fn(o, nullptr __VA_OPT__(,) __VA_ARGS__, err)) << p(fn(o, "k" __VA_OPT__(,) __VA_ARGS__, nullptr)) << show(o); }, \
        std::string("NULL NULL ptr {\"k\":") + stored + "} A:kel_json_obj_put_base(key) A:kel_json_obj_put_base(json)"}
#define PUSH(fn, stored, ...)                                                                                   \
    Row{#fn, [](KelError **err) -> std::string { Doc a("[]"); return Out() << p(fn(nullptr __VA_OPT__(,) __VA_ARGS__, err)) \
            << p(fn(a __VA_OPT__(,) __VA_ARGS__, nullptr)) << show(a); },                                      \
        std::string("NULL ptr [") + stored + "] A:kel_json_array_push_base(json)"}
#define PTR_PUT(fn, stored, ...)                                                                                \
    Row{#fn, [](KelError **err) -> std::string { Doc d("{\"a\":{}}"); ErrorSlot e2; return Out() << p(fn(nullptr, "/a" __VA_OPT__(,) __VA_ARGS__, err)) \
            << p(fn(d, nullptr __VA_OPT__(,) __VA_ARGS__, &e2)) << e2.message() << p(fn(d, "/a/b" __VA_OPT__(,) __VA_ARGS__, nullptr)) << show(d); }, \
        std::string("NULL NULL kel_json_ptr_put_base: argument check failed: ptr ptr {\"a\":{\"b\":") + stored + "}} A:kel_json_ptr_put_base(root)"}
#define R(names, expected, ...) Row{names, []([[maybe_unused]] KelError **err) -> std::string { __VA_ARGS__ }, expected}

std::vector<Row> all_rows()
{
    return {
        Row{"kel_error_domain kel_json_error_domain kel_status_code_to_name kel_json_code_to_name kel_error_code_to_name "
            "kel_error_purge_registry __kel_init_func kel_uint128_add kel_uint128_neg kel_uint128_sub kel_uint128_lt kel_uint128_le "
            "kel_uint128_lshift kel_uint128_rshift kel_uint128_mul kel_uint24_init kel_uint48_init kel_try_aligned_alloc "
            "kel_aligned_alloc kel_getpid kel_json_null_new_base kel_json_bool_new_base kel_json_i64_new_base kel_json_u64_new_base "
            "kel_json_u128_new_base kel_json_double_new_base kel_json_enum_type_string kel_json_obj_new_base kel_json_array_new_base "
            "kel_error_register_code_to_name kel_error_register_data_to_json kel_error_register_json_expand kel_str_array_sized_new",
            nullptr, ""},
        // Releasing or clearing nothing is a no-op, as are additions to an empty slot.
        R("kel_error_free kel_clear_error kel_error_add_blob __kel_error_add_location kel_set_error kel_aligned_free "
          "kel_json_ref kel_json_unref kel_json_delete kel_str_array_free kel_error_new kel_error_new_valist",
          "NULL NULL NULL",
          kel_error_free(nullptr); kel_clear_error(nullptr); kel_clear_error(err); kel_error_add_blob(nullptr, 1, 2);
          kel_error_add_blob(err, 1, 2); __kel_error_add_location(nullptr, "f.c", "fn", 1); __kel_error_add_location(err, "f.c", "fn", 1);
          kel_aligned_free(nullptr); kel_json_ref(nullptr); kel_json_unref(nullptr); kel_json_delete(nullptr);
          return Out() << p(kel_set_error(nullptr, kel_error_domain(), KEL_IO_FAIL, "%s", "lost")) << p(kel_str_array_free(nullptr, TRUE))
                       << p(kel_str_array_free(nullptr, FALSE));),
        R("kel_clear_error_until", "F T T NULL",
          KelError *until = kel_error_new(nullptr, kel_error_domain(), -1, "kept"); Out o; o << b(kel_clear_error_until(nullptr, until));
          kel_error_free(until); ErrorSlot own; kel_set_error(&own, kel_error_domain(), -1, "a"); kel_set_error(&own, kel_error_domain(), -2, "b");
          return o << b(kel_clear_error_until(nullptr, nullptr)) << b(kel_clear_error_until(&own, nullptr)) << p(own.err);),
        R("kel_error_merge kel_error_from_gerror kel_error_data_new",
          "src dest src NULL NULL W:kel_error_merge(dest) W:kel_error_merge(src) W:kel_error_from_gerror(gerror) W:kel_error_data_new(error)",
          KelError *src = kel_error_new(nullptr, kel_error_domain(), -1, "src"); kel_error_merge(nullptr, &src);
          ErrorSlot dest; kel_set_error(&dest, kel_error_domain(), -1, "dest"); kel_error_merge(&dest, nullptr);
          Out o; o << src->gerror->message << dest.message(); kel_error_merge(&dest, &src);
          return o << dest.message() << p(kel_error_from_gerror(src, nullptr)) << p(kel_error_data_new(nullptr, kel_error_domain(), 9, 16, nullptr));),
        R("kel_error_data_to_json kel_error_json_expand blob_data_to_json std_payload_json_expand std_payload_to_json location_data_to_json",
          "NULL F NULL T NULL NULL",
          return Out() << p(kel_error_data_to_json(nullptr)) << b(kel_error_json_expand(nullptr, nullptr)) << p(blob_data_to_json(nullptr))
                       << b(std_payload_json_expand(nullptr, nullptr)) << p(std_payload_to_json(nullptr)) << p(location_data_to_json(nullptr));),
        R("kel_str_array_add kel_str_array_new_strs kel_str_array_index kel_str_array_sort kel_json_alpha_keys",
          "0 NULL 2 c NULL NULL W:kel_str_array_add(array) W:kel_str_array_add(str) W:kel_str_array_new_strs(strs) "
          "W:kel_str_array_add(str) W:kel_str_array_index(array) W:kel_str_array_sort(array) W:kel_str_array_sort(array)",
          kel_str_array_add(nullptr, "x"); KelStrArray *a = kel_str_array_sized_new(0); kel_str_array_add(a, nullptr);
          Out o; o << n(a->len) << p(kel_str_array_new_strs(nullptr, 2)); kel_str_array_free(a, TRUE);
          const char *strs[] = {"a", nullptr, "c"}; a = kel_str_array_new_strs(strs, 3);
          o << n(a->len) << kel_str_array_index(a, -1); kel_str_array_free(a, TRUE);
          o << str(kel_str_array_index(nullptr, 0)); kel_str_array_sort(nullptr); return o << p(kel_json_alpha_keys(nullptr));),
        // Without a slot a conversion still answers, and a failure is quiet.
        R("kel_strtoll kel_strtoull kel_strtod", "-42 0 42 0 2.5 0",
          return Out() << n(kel_strtoll("-42", 10, nullptr)) << n(kel_strtoll("4x", 10, nullptr)) << n(kel_strtoull("42", 10, nullptr))
                       << n(kel_strtoull("42", 99, nullptr)) << std::to_string(kel_strtod("2.5", nullptr)).substr(0, 3)
                       << n(static_cast<long long>(kel_strtod("1e999", nullptr)));),
        R("kel_uint128_div kel_uint128_to_str kel_uint128_from_str", "0 0:1 0 0:3 -1 -1 5:5 -1",
          KelUint128 r = {0, 0}, q = {0, 0}, out = {5, 5}; Out o; o << n(kel_uint128_div(k7, {2, 0}, nullptr, &r)) << u128(r);
          o << n(kel_uint128_div(k7, {2, 0}, &q, nullptr)) << u128(q) << n(kel_uint128_to_str(k7, 10, nullptr, 8));
          return o << n(kel_uint128_from_str(nullptr, &out)) << u128(out) << n(kel_uint128_from_str("42", nullptr));),
        R("kel_rm_dir kel_empty_dir kel_is_dir_empty utf8_check_string", "F F F 1",
          return Out() << b(kel_rm_dir("/nonexistent/kel-null-args", nullptr)) << b(kel_empty_dir("/nonexistent/kel-null-args", nullptr))
                       << b(quiet([] { return kel_is_dir_empty(nullptr); })) << n(utf8_check_string(nullptr, 0));),
        R("kel_json_str_new_base kel_json_str_new_len_base kel_json_jref_new_base", "NULL NULL NULL NULL "
          "A:kel_json_jref_new_base(uri) A:kel_json_str_new_len_base(value) A:kel_json_str_new_base(value)",
          return Out() << p(kel_json_str_new_base(nullptr, err)) << p(kel_json_str_new_len_base(nullptr, 3, err))
                       << p(kel_json_jref_new_base(nullptr, err)) << p(kel_json_str_new_len_base("\xC3\x28", 2, nullptr));),
        // Queries on no value answer "nothing there".
        R("kel_json_i64_get kel_json_u64_get kel_json_u128_get kel_json_double_get kel_json_bool_get kel_json_is_num kel_json_is_int "
          "kel_json_is_bool kel_json_is_i64_ext kel_json_is_u64_ext kel_json_is_u128_ext kel_json_is_double_ext kel_json_type_string "
          "kel_json_parent_key kel_json_parent_index kel_json_jref_uri kel_json_obj_size kel_json_array_size kel_json_array_pop "
          "kel_json_array_pop_elem kel_json_copy kel_json_make_orphan_base kel_json_obj_keys kel_json_obj_has_key kel_json_obj_remove "
          "kel_json_array_find kel_json_array_find_str kel_json_subset kel_json_array_filter kel_json_array_sort kel_json_escape_str "
          "kel_json_escape_str_ext kel_json_obj_iter_next",
          "0 0 0:0 0 F F F F F F F F F F F F <none> NULL -1 NULL -1 -1 -1 NULL NULL F NULL F F F F NULL NULL NULL NULL F F T F F [2,1] NULL -1 ab -1 F",
          Doc o("{\"k\":1}"), a("[2,1]"); Out s; s << n(kel_json_i64_get(nullptr)) << n(kel_json_u64_get(nullptr)) << u128(kel_json_u128_get(nullptr))
              << n(static_cast<long long>(kel_json_double_get(nullptr)));
          for (auto is : {kel_json_bool_get, kel_json_is_num, kel_json_is_int, kel_json_is_bool}) s << b(is(nullptr));
          for (auto is : {kel_json_is_i64_ext, kel_json_is_u64_ext, kel_json_is_u128_ext, kel_json_is_double_ext}) s << b(is(nullptr, TRUE)) << b(is(nullptr, FALSE));
          s << kel_json_type_string(nullptr, TRUE) << str(kel_json_parent_key(nullptr)) << n(kel_json_parent_index(nullptr))
            << str(kel_json_jref_uri(nullptr)) << n(kel_json_obj_size(nullptr)) << n(kel_json_array_size(nullptr)) << n(kel_json_array_pop(nullptr, 1))
            << p(kel_json_array_pop_elem(nullptr)) << p(kel_json_copy(nullptr)) << b(kel_json_make_orphan_base(nullptr)) << p(kel_json_obj_keys(nullptr))
            << b(kel_json_obj_has_key(nullptr, "k")) << b(quiet([&] { return kel_json_obj_has_key(o, nullptr); })) << b(kel_json_obj_remove(nullptr, "k"))
            << b(kel_json_obj_remove(o, nullptr)) << p(kel_json_array_find(nullptr, o)) << p(kel_json_array_find(a, nullptr))
            << p(kel_json_array_find_str(nullptr, "s")) << p(kel_json_array_find_str(a, nullptr)) << b(kel_json_subset(nullptr, o, 0))
            << b(kel_json_subset(o, nullptr, 15)) << b(kel_json_subset(nullptr, nullptr, 15)) << b(kel_json_array_filter(nullptr, nullptr, nullptr))
            << b(kel_json_array_sort(a, nullptr)) << show(a) << str(kel_json_escape_str(nullptr));
          GStr g("ab"); s << n(kel_json_escape_str_ext(nullptr, g)) << g.text() << n(kel_json_escape_str_ext("x", nullptr));
          return s << b(quiet([] { return kel_json_obj_iter_next(nullptr, nullptr, nullptr); })) << (o->refcount == 0 ? "" : "leaked");),
        R("kel_json_obj_iter_init kel_json_obj_foreach kel_json_visit kel_json_union",
          "F F F F F NULL NULL W:kel_json_obj_iter_init(iter) W:kel_json_obj_foreach(callback) W:kel_json_visit(json) "
          "W:kel_json_visit(visitor) W:kel_json_union(left) W:kel_json_union(right)",
          Doc o("{\"k\":1}"); KelJsonObjIter iter; KelJsonVisitor visitor = {};
          return Out() << b(kel_json_obj_iter_init(nullptr, o)) << b(kel_json_obj_iter_init(&iter, nullptr)) << b(kel_json_obj_foreach(o, nullptr, nullptr))
                       << b(kel_json_visit(nullptr, &visitor, nullptr)) << b(kel_json_visit(o, nullptr, nullptr)) << p(kel_json_union(nullptr, o, 0, err))
                       << p(kel_json_union(o, nullptr, 0, err));),
        R("kel_json_patch_apply kel_json_merge_patch", "F F NULL NULL {\"a\":1,\"b\":2} {\"a\":1} A:kel_json_merge_patch(patch) "
          "A:kel_json_merge_patch(target) A:kel_json_patch_apply(patch) A:kel_json_patch_apply(doc)",
          Doc d("{\"a\":1}"); Doc none("[]"); Doc mp("{\"b\":2}"); JsonRoot m(kel_json_merge_patch(d, mp, nullptr));
          return Out() << b(kel_json_patch_apply(nullptr, none, err)) << b(kel_json_patch_apply(d, nullptr, err))
                       << p(kel_json_merge_patch(nullptr, mp, err)) << p(kel_json_merge_patch(d, nullptr, err)) << show(m) << show(d);),
        R("kel_json_sdump kel_json_sdump_ext kel_json_fdump", "F x F F untouched F F 0 F W:kel_json_sdump_ext(root) W:kel_json_sdump_ext(out) "
          "W:kel_json_sdump(root) W:kel_json_sdump(out) W:kel_json_fdump(root) W:kel_json_fdump(out)",
          Doc j("[1]"); GStr g("x"); char sentinel[] = "untouched"; char *out = sentinel; FILE *f = tmpfile(); Out o;
          o << b(kel_json_sdump_ext(nullptr, g, 0, 0)) << g.text() << b(kel_json_sdump_ext(j, nullptr, 0, 0)) << b(kel_json_sdump(nullptr, &out, 0))
            << out << b(kel_json_sdump(j, nullptr, 0)) << b(kel_json_fdump(nullptr, f, 0, 0)) << n(ftell(f)) << b(kel_json_fdump(j, nullptr, 0, 0));
          fclose(f); return o;),
        R("kel_json_ptr kel_json_ptr_ext kel_json_ptr_add_key kel_json_ptr_add_key_ext kel_json_ptr_build_array kel_json_ptr_build_obj",
          "-1 untouched -1 F x F F /a \"/a~1b\" NULL F F F F F F ''",
          Doc o("{}"); char sentinel[] = "untouched"; char *out = sentinel; GStr g("x"), a("/a"), e(""); Out s;
          s << n(kel_json_ptr(nullptr, &out)) << out << n(kel_json_ptr(o, nullptr)) << b(kel_json_ptr_ext(nullptr, g)) << g.text()
            << b(kel_json_ptr_ext(o, nullptr)) << b(kel_json_ptr_add_key_ext(a, nullptr)) << a.text();
          char *k = kel_json_ptr_add_key(nullptr, "a/b"); s << str(k) << str(kel_json_ptr_add_key("/a", nullptr)); g_free(k);
          return s << b(kel_json_ptr_add_key_ext(nullptr, "k")) << b(kel_json_ptr_build_array(nullptr, e)) << b(kel_json_ptr_build_array(o, nullptr))
                   << b(kel_json_ptr_build_obj(nullptr, "k", e)) << b(kel_json_ptr_build_obj(o, nullptr, e)) << b(kel_json_ptr_build_obj(o, "k", nullptr))
                   << "'" + e.text() + "'";),
        R("kel_json_ptr_vprintf kel_json_ptr_printf kel_json_ptr_aprintf kel_json_set_error",
          "-1 -1 x -1 -1 x 6 at \"\". -1 -1 \"\" W:kel_json_ptr_vprintf(str) W:kel_json_ptr_vprintf(fmt) W:kel_json_ptr_vprintf(str) "
          "W:kel_json_ptr_vprintf(fmt) W:kel_json_ptr_aprintf(str) W:kel_json_ptr_vprintf(fmt) W:kel_json_ptr_vprintf(fmt) E-3:",
          GStr g("x"), e(""); char *out = nullptr; Out s;
          s << n(vprintf_into(nullptr, "%d", 1)) << n(vprintf_into(g, g_null_text)) << g.text() << n(kel_json_ptr_printf(nullptr, "%d", 1))
            << n(kel_json_ptr_printf(g, g_null_text)) << g.text() << n(kel_json_ptr_printf(e, "at %P.", static_cast<KelJson *>(nullptr))) << e.text()
            << n(kel_json_ptr_aprintf(nullptr, "%d", 1)) << n(kel_json_ptr_aprintf(&out, g_null_text)) << str(out);
          g_free(out); kel_json_set_error(nullptr, KEL_JSON_KEY_INVALID, "%s", "lost"); kel_json_set_error(err, KEL_JSON_KEY_INVALID, g_null_text);
          return s;),
        R("kel_json_obj_get_base kel_json_array_get_base kel_json_ptr_get_base", "NULL NULL NULL NULL NULL 1 NULL 5 NULL "
          "A:kel_json_ptr_get_base(ptr) A:kel_json_ptr_get_base(root) A:kel_json_array_get_base(json) A:kel_json_obj_get_base(key) A:kel_json_obj_get_base(json)",
          Doc o("{\"k\":1,\"r\":{\"$ref\":\"#/k\"},\"a\":[5]}");
          return Out() << p(kel_json_obj_get_base(nullptr, "k", 1, err)) << p(kel_json_obj_get_base(o, nullptr, 1, err))
                       << p(kel_json_array_get_base(nullptr, 0, 1, err)) << p(kel_json_ptr_get_base(nullptr, "/a", err)) << p(kel_json_ptr_get_base(o, nullptr, err))
                       << show(kel_json_obj_get_base(o, "r", 1, nullptr)) << show(kel_json_obj_get_base(o, "x", 1, nullptr))
                       << show(kel_json_ptr_get_base(o, "#/a/0", nullptr)) << show(kel_json_ptr_get_base(o, "/b", nullptr));),
        // Insertion: nothing is taken or changed on a refusal.
        R("kel_json_obj_put_base kel_json_array_push_base kel_json_array_swap kel_json_swap_child_base kel_json_array_put_ext",
          "F F F {} F F [1] NULL NULL F F {\"k\":1} F F F F [1] A:kel_json_array_swap(elem) A:kel_json_array_push_base(value) "
          "A:kel_json_array_push_base(json) A:kel_json_array_swap(array) A:kel_json_swap_child_base(new_child) A:kel_json_swap_child_base(old_child) "
          "A:kel_json_array_swap(elem) A:kel_json_array_swap(array) A:kel_json_array_push_base(value) A:kel_json_array_push_base(json) "
          "A:kel_json_obj_put_base(value) A:kel_json_obj_put_base(key) A:kel_json_obj_put_base(json)",
          Doc o("{}"), v("1"), a("[1]"), k("{\"k\":1}"); JsonRoot fill(kel_json_null_new_base()); Out s;
          s << b(kel_json_obj_put_base(nullptr, "k", v, err)) << b(kel_json_obj_put_base(o, nullptr, v, err)) << b(kel_json_obj_put_base(o, "k", nullptr, err))
            << show(o) << b(kel_json_array_push_base(nullptr, v, err)) << b(kel_json_array_push_base(a, nullptr, err)) << show(a)
            << p(kel_json_array_swap(nullptr, 0, v, err)) << p(kel_json_array_swap(a, 0, nullptr, err))
            << b(kel_json_swap_child_base(nullptr, v, err)) << b(kel_json_swap_child_base(member(k, "k"), nullptr, err)) << show(k)
            << b(kel_json_array_put_ext(nullptr, 0, v, nullptr, err)) << b(kel_json_array_put_ext(nullptr, 0, v, fill, err))
            << b(kel_json_array_put_ext(a, 1, nullptr, nullptr, err)) << b(kel_json_array_put_ext(a, 0, nullptr, nullptr, err)) << show(a);
          return s << (v->parent == nullptr && v->refcount == 0 ? "" : "taken");),
        // A NULL text for the string and reference members of the families below.
        R("", "NULL NULL NULL NULL NULL NULL {\"a\":{}} [] A:kel_json_jref_new_base(uri) "
          "A:kel_json_str_new_base(value) A:kel_json_str_new_base(value) A:kel_json_jref_new_base(uri) A:kel_json_str_new_len_base(value) A:kel_json_str_new_base(value)",
          Doc o("{\"a\":{}}"), a("[]");
          return Out() << p(kel_json_obj_put_str_base(o, "k", nullptr, err)) << p(kel_json_obj_put_str_len_base(o, "k", nullptr, 1, err))
                       << p(kel_json_obj_put_jref_base(o, "k", nullptr, err)) << p(kel_json_array_push_str_base(a, nullptr, err))
                       << p(kel_json_ptr_put_str_base(o, "/a/b", nullptr, err)) << p(kel_json_ptr_put_jref_base(o, "/a/b", nullptr, err)) << show(o) << show(a);),
        // Without a slot, successes still happen and failures change nothing.
        R("kel_json_ptr_put_base", "F F F {\"s\":\"x\"} T T F {\"a\":[1],\"b\":{\"c\":1},\"s\":\"x\"} A:kel_json_ptr_put_base(elem) "
          "A:kel_json_ptr_put_base(ptr) A:kel_json_ptr_put_base(root)",
          Doc root("{\"s\":\"x\"}"), e("1"), e2("1"), e3("2");
          return Out() << b(kel_json_ptr_put_base(nullptr, "/a", e, TRUE, nullptr, err)) << b(kel_json_ptr_put_base(root, nullptr, e, TRUE, nullptr, err))
                       << b(kel_json_ptr_put_base(root, "/a/b", nullptr, TRUE, nullptr, err)) << show(root)
                       << b(kel_json_ptr_put_base(root, "/a/0", e, FALSE, nullptr, nullptr)) << b(kel_json_ptr_put_base(root, "/b/c", e2, TRUE, nullptr, nullptr))
                       << b(kel_json_ptr_put_base(root, "/s/x", e3, TRUE, nullptr, nullptr)) << show(root);),
        R("kel_json_jref_resolve_base kel_json_jref_deref_base kel_json_jref_expand", "NULL NULL 1 NULL 1 NULL F T {\"a\":[1],\"r\":[1]} "
          "A:kel_json_jref_expand(root) E-2:kel_json_jref_deref_base: invalid JSON type for \"\": expected reference, got <none> "
          "E-2:kel_json_jref_resolve_base: invalid JSON type for \"\": expected reference, got <none>",
          Doc root("{\"b\":1,\"s\":{\"$ref\":\"#/t\"},\"t\":{\"$ref\":\"#/b\"},\"m\":{\"$ref\":\"#/x\"},\"c\":{\"$ref\":\"#/c\"}}"),
              ok("{\"a\":[1],\"r\":{\"$ref\":\"#/a\"}}");
          return Out() << p(kel_json_jref_resolve_base(nullptr, err)) << p(kel_json_jref_deref_base(nullptr, err))
                       << show(kel_json_jref_resolve_base(member(root, "t"), nullptr)) << show(kel_json_jref_resolve_base(member(root, "m"), nullptr))
                       << show(kel_json_jref_deref_base(member(root, "s"), nullptr)) << show(kel_json_jref_deref_base(member(root, "c"), nullptr))
                       << b(kel_json_jref_expand(nullptr, err)) << b(kel_json_jref_expand(ok, nullptr)) << show(ok);),
        R("kel_json_loads kel_json_loadf lex_init", "NULL NULL [1] NULL 1 A:kel_json_loadf(fh) A:kel_json_loads(in)",
          KelJsonLexer lex; lex_init(&lex, [](void *) { return -1; }, nullptr, nullptr); g_string_free(lex.text, TRUE);
          return Out() << p(kel_json_loads(nullptr, 0, err)) << p(kel_json_loadf(nullptr, 0, err)) << show(JsonRoot(kel_json_loads("[1]", 0, nullptr)))
                       << p(kel_json_loads("[1", 0, nullptr)) << n(lex.line);),
        OBJ_GET(kel_json_obj_get_obj_base, p, "NULL"), OBJ_GET(kel_json_obj_get_array_base, p, "NULL"),
        OBJ_GET(kel_json_obj_get_str_base, str, "NULL"), OBJ_GET(kel_json_obj_get_jref_base, p, "NULL"),
        OBJ_GET(kel_json_obj_get_i64_base, n, "0"), OBJ_GET(kel_json_obj_get_u64_base, n, "0"),
        OBJ_GET(kel_json_obj_get_u128_base, u128, "0:0"), OBJ_GET(kel_json_obj_get_double_base, n, "0"),
        OBJ_GET(kel_json_obj_get_bool_base, b, "F"),
        OBJ_PUT(kel_json_obj_getd_obj_base, "{}"), OBJ_PUT(kel_json_obj_getd_array_base, "[]"),
        OBJ_PUT(kel_json_obj_put_obj_base, "{}"), OBJ_PUT(kel_json_obj_put_array_base, "[]"), OBJ_PUT(kel_json_obj_put_null_base, "null"),
        OBJ_PUT(kel_json_obj_put_str_base, "\"v\"", "v"), OBJ_PUT(kel_json_obj_put_str_len_base, "\"v\"", "vw", gsize{1}),
        OBJ_PUT(kel_json_obj_put_bool_base, "true", TRUE), OBJ_PUT(kel_json_obj_put_double_base, "0.500000", 0.5),
        OBJ_PUT(kel_json_obj_put_i64_base, "-1", gint64{-1}), OBJ_PUT(kel_json_obj_put_u64_base, "1", guint64{1}),
        OBJ_PUT(kel_json_obj_put_u128_base, "7", k7), OBJ_PUT(kel_json_obj_put_jref_base, "{\"$ref\":\"#\"}", "#"),
        PUSH(kel_json_array_push_array_base, "[]"), PUSH(kel_json_array_push_obj_base, "{}"), PUSH(kel_json_array_push_bool_base, "false", FALSE),
        PUSH(kel_json_array_push_double_base, "1.500000", 1.5), PUSH(kel_json_array_push_i64_base, "4", gint64{4}),
        PUSH(kel_json_array_push_u64_base, "4", guint64{4}), PUSH(kel_json_array_push_u128_base, "7", k7), PUSH(kel_json_array_push_str_base, "\"s\"", "s"),
        PTR_PUT(kel_json_ptr_put_array_base, "[]"), PTR_PUT(kel_json_ptr_put_obj_base, "{}"), PTR_PUT(kel_json_ptr_put_bool_base, "true", TRUE),
        PTR_PUT(kel_json_ptr_put_double_base, "0.250000", 0.25), PTR_PUT(kel_json_ptr_put_u64_base, "9", guint64{9}),
        PTR_PUT(kel_json_ptr_put_i64_base, "-9", gint64{-9}), PTR_PUT(kel_json_ptr_put_u128_base, "7", k7),
        PTR_PUT(kel_json_ptr_put_str_base, "\"v\"", "v"), PTR_PUT(kel_json_ptr_put_jref_base, "{\"$ref\":\"#/a\"}", "#/a"),
    };
}

}  // namespace

TEST(NullArgs, EveryFamilyAsDocumented)
{
    for (const Row &row : all_rows()) {
        if (row.call) {
            EXPECT_EQ(outcome(row.call), row.expected) << row.names;
        }
    }
}

// Every exported function is named once; every name is exported.
TEST(NullArgs, TableCoversEveryExportedFunction)
{
    std::ifstream in(KEL_TEST_DATA_DIR "/../exported_symbols.txt");
    std::set<std::string> exported, covered;
    for (std::string symbol; std::getline(in, symbol);)
        if (!symbol.empty() && symbol != "chr_strs")  // a data object
            exported.insert(symbol);
    ASSERT_FALSE(exported.empty());
    for (const Row &row : all_rows()) {
        std::istringstream names(row.names);
        for (std::string name; names >> name;) {
            EXPECT_TRUE(exported.count(name)) << "row for unknown function " << name;
            EXPECT_TRUE(covered.insert(name).second) << "named twice: " << name;
        }
    }
    for (const std::string &symbol : exported)
        EXPECT_TRUE(covered.count(symbol)) << "not in the table: " << symbol;
}
