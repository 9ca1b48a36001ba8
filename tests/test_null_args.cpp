// NULL where a pointer is expected, a family at a time: the release functions
// take NULL silently, queries on no value answer "nothing there", functions
// without an error slot warn like a C return-if-fail, JSON functions with a
// slot push an argument error naming the argument, and a NULL slot is fine on
// success and on failure. Where one check guards several pointers, each gets a
// row: a check that only looked at the first would crash on the others.
#include <functional>
#include <regex>

#include "test_util.h"

using namespace kel_test;

namespace {

std::string b(gboolean v) { return v ? "T" : "F"; }
std::string p(const void *v) { return v ? "ptr" : "NULL"; }
std::string n(long long v) { return std::to_string(v); }
// Results joined by blanks (a braced list is evaluated left to right).
std::string J(std::initializer_list<std::string> parts)
{
    std::string s;
    for (const std::string &part : parts)
        s += (s.empty() ? "" : " ") + part;
    return s;
}

// Fresh values for every row: an object, an array, a loose value and a string,
// with the row's error slot and captured warnings.
struct Fx {
    JsonRoot o{kel_json_loads("{\"k\":1}", 0, nullptr)}, a{kel_json_loads("[2,1]", 0, nullptr)}, v{kel_json_i64_new_base(1)};
    GString *g = g_string_new("ab");
    ErrorSlot slot;
    LogCapture log;
    ~Fx() { g_string_free(g, TRUE); }
};
#define ROW(expected, ...) {expected, []([[maybe_unused]] Fx &f, [[maybe_unused]] KelError **e) -> std::string { __VA_ARGS__ }}

// Each row's results, then its warnings and its errors (newest first) as
// " W:fn(expr)" for C's "fn: assertion 'expr' failed" (anything else in full)
// and " <code>:fn(arg)" for "fn: argument check failed: arg"; " taken" when the
// loose value was kept by a call that failed.
void expect_rows(const std::vector<std::pair<std::string, std::function<std::string(Fx &, KelError **)>>> &rows)
{
    static const std::regex warning("^(\\w+): assertion '(.*)' failed$"), arg_error("^(\\w+): argument check failed: (.*)$");
    for (size_t i = 0; i < rows.size(); i++) {
        Fx f;
        std::string out = rows[i].second(f, &f.slot.err);
        for (const std::string &w : f.log.messages())
            out += " W:" + std::regex_replace(w, warning, "$1($2)");
        for (const KelError *err = f.slot.err; err != nullptr; err = err->next)
            out += " " + n(err->gerror->code) + ":" + std::regex_replace(err->gerror->message, arg_error, "$1($2)");
        EXPECT_EQ(out + (f.v->parent != nullptr || f.v->refcount != 0 ? " taken" : ""), rows[i].first) << "row " << i;
    }
}

const char *volatile g_null_text = nullptr;  // a NULL format the compiler cannot see

// A test of one family: its rows, as expect_rows checks them.
#define NULL_ARG_TEST(name, ...) TEST(NullArgs, name) { expect_rows({__VA_ARGS__}); }

}  // namespace

NULL_ARG_TEST(ReleaseIsSilentAndQueriesAnswerNeutrally,
    ROW("NULL NULL NULL", KelError *empty = nullptr;  // additions to no slot or an empty one change nothing
        kel_error_free(nullptr); kel_clear_error(nullptr); kel_clear_error(&empty); kel_error_add_blob(nullptr, 1, 2);
        kel_error_add_blob(&empty, 1, 2); __kel_error_add_location(nullptr, "f.c", "fn", 1); __kel_error_add_location(&empty, "f.c", "fn", 1);
        kel_aligned_free(nullptr); kel_json_ref(nullptr); kel_json_unref(nullptr); kel_json_delete(nullptr);
        return J({p(kel_set_error(nullptr, kel_error_domain(), KEL_IO_FAIL, "lost")), p(kel_str_array_free(nullptr, FALSE)), p(empty)});),
    ROW("F T -1:kept", kel_set_error(e, kel_error_domain(), -1, "kept");  // with no chain only a NULL until is reached
        return J({b(kel_clear_error_until(nullptr, *e)), b(kel_clear_error_until(nullptr, nullptr))});),
    ROW("0 <none> NULL -1 -1 -1 -1 NULL", return J({n(kel_json_i64_get(nullptr)), kel_json_type_string(nullptr, TRUE),
        p(kel_json_parent_key(nullptr)), n(kel_json_parent_index(nullptr)), n(kel_json_obj_size(nullptr)), n(kel_json_array_size(nullptr)),
        n(kel_json_array_pop(nullptr, 1)), p(kel_json_copy(nullptr))});),
    ROW("F F F [2,1] {\"k\":1}", return J({b(kel_json_obj_remove(f.o, nullptr)), b(kel_json_array_sort(f.a, nullptr)),
        b(kel_json_array_filter(f.a, nullptr, nullptr)), dump(f.a), dump(f.o)});),
    ROW("NULL -1 -1 ab", return J({p(kel_json_escape_str(nullptr)), n(kel_json_escape_str_ext(nullptr, f.g)),
        n(kel_json_escape_str_ext("x", nullptr)), f.g->str});),
    ROW("-1 untouched -1 F F ab", char sentinel[] = "untouched"; char *out = sentinel;
        return J({n(kel_json_ptr(nullptr, &out)), out, n(kel_json_ptr(f.o, nullptr)), b(kel_json_ptr_ext(f.o, nullptr)),
                  b(kel_json_ptr_build_obj(f.o, nullptr, f.g)), f.g->str});),
    ROW("-1 -1 5 -1", KelUint128 out = {5, 5}; return J({n(kel_uint128_to_str({7, 0}, 10, nullptr, 8)), n(kel_uint128_from_str(nullptr, &out)),
                                                       n(out.lo), n(kel_uint128_from_str("42", nullptr))});),
    ROW("1 0 T NULL F", return J({n(utf8_check_string(nullptr, 0)), n(utf8_check_string(nullptr, 2)), b(std_payload_json_expand(nullptr, nullptr)),
        p(kel_error_data_to_json(nullptr)), b(kel_error_json_expand(nullptr, nullptr))});),
)

// Functions without an error slot (and a few with one) warn and return a
// neutral value, touching nothing.
NULL_ARG_TEST(UncheckedPointersWarnLikeReturnIfFail,
    ROW("- W:kel_error_merge(src) -1:dest", kel_set_error(e, kel_error_domain(), -1, "dest"); kel_error_merge(e, nullptr); return "-";),
    ROW("F untouched W:kel_json_sdump(root)", char sentinel[] = "untouched"; char *out = sentinel;
        return J({b(kel_json_sdump(nullptr, &out, 0)), out});),
    ROW("F W:kel_json_visit(visitor)", return b(kel_json_visit(f.o, nullptr, nullptr));),
    ROW("NULL W:kel_json_union(right)", return p(kel_json_union(f.o, nullptr, 0, e));),  // no error pushed
    ROW("-1 ab W:kel_json_ptr_vprintf(fmt)", return J({n(kel_json_ptr_printf(f.g, g_null_text)), f.g->str});),
    ROW("-1 W:kel_json_ptr_aprintf(str)", return n(kel_json_ptr_aprintf(nullptr, "%d", 1));),  // named after its role
)

NULL_ARG_TEST(JsonFunctionsPushArgumentErrors,
    ROW("F F F {\"k\":1} -1:kel_json_obj_put_base(value) -1:kel_json_obj_put_base(key) -1:kel_json_obj_put_base(json)",
        return J({b(kel_json_obj_put_base(nullptr, "k", f.v, e)), b(kel_json_obj_put_base(f.o, nullptr, f.v, e)),
                  b(kel_json_obj_put_base(f.o, "k", nullptr, e)), dump(f.o)});),
    ROW("NULL NULL NULL -1:kel_json_array_get_base(json) -1:kel_json_obj_get_base(key) -1:kel_json_obj_get_base(json)",
        return J({p(kel_json_obj_get_base(nullptr, "k", 1, e)), p(kel_json_obj_get_base(f.o, nullptr, 1, e)),
                  p(kel_json_array_get_base(nullptr, 0, 1, e))});),
    ROW("F F [2,1] -1:kel_json_array_push_base(value) -1:kel_json_array_push_base(json)",
        return J({b(kel_json_array_push_base(nullptr, f.v, e)), b(kel_json_array_push_base(f.a, nullptr, e)), dump(f.a)});),
    ROW("NULL NULL [2,1] -1:kel_json_array_swap(elem) -1:kel_json_array_swap(array)",
        return J({p(kel_json_array_swap(nullptr, 0, f.v, e)), p(kel_json_array_swap(f.a, 0, nullptr, e)), dump(f.a)});),
    ROW("F F {\"k\":1} -1:kel_json_swap_child_base(new_child) -1:kel_json_swap_child_base(old_child)",
        return J({b(kel_json_swap_child_base(nullptr, f.v, e)), b(kel_json_swap_child_base(member(f.o, "k"), nullptr, e)), dump(f.o)});),
    ROW("NULL NULL -1:kel_json_ptr_get_base(ptr) -1:kel_json_ptr_get_base(root)",
        return J({p(kel_json_ptr_get_base(nullptr, "/k", e)), p(kel_json_ptr_get_base(f.o, nullptr, e))});),
    ROW("NULL -1:kel_json_loads(in)", return p(kel_json_loads(nullptr, 0, e));),
    // Typed members report under the function they call, once, and free what they made.
    ROW("NULL NULL 0 -1:kel_json_obj_get_base(json) -1:kel_json_array_push_base(json) -1:kel_json_obj_put_base(json)",
        return J({p(kel_json_obj_put_i64_base(nullptr, "k", 1, e)), p(kel_json_array_push_str_base(nullptr, "s", e)),
                  n(kel_json_obj_get_i64_base(nullptr, "k", e))});),
    ROW("NULL {\"k\":1} -1:kel_json_str_new_base(value)", return J({p(kel_json_obj_put_str_base(f.o, "n", nullptr, e)), dump(f.o)});),
)

// Without a slot successes still happen, and failures are quiet and change nothing.
NULL_ARG_TEST(NullErrorSlotOnSuccessAndFailure,
    ROW("[1] NULL NULL 0 F", return J({dump(JsonRoot(kel_json_loads("[1]", 0, nullptr))), p(kel_json_loads("[1", 0, nullptr)),
        p(kel_json_str_new_len_base("\xC3\x28", 2, nullptr)), n(kel_strtoll("4x", 10, nullptr)), b(kel_empty_dir("/nonexistent/kel", nullptr))});),
    ROW("1 NULL NULL ptr F F F {\"k\":1,\"n\":1} [2,1]", return J({dump(kel_json_ptr_get_base(f.o, "#/k", nullptr)),
        p(kel_json_obj_get_base(f.o, "x", 0, nullptr)), p(kel_json_array_get_base(f.a, 2, 0, nullptr)), p(kel_json_obj_put_i64_base(f.o, "n", 1, nullptr)),
        b(kel_json_ptr_put_base(f.o, "/k/x", f.v, TRUE, nullptr, nullptr)), b(kel_json_array_push_base(f.a, f.a, nullptr)),  // a cycle
        b(kel_json_array_push_base(f.a, member(f.o, "k"), nullptr)), dump(f.o), dump(f.a)});),  // a second parent
)
