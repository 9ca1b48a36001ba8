// Serialisation of JSON values to a GString or a FILE stream.
//
// The dump is a set of visitor callbacks sharing one KelJsonDumper, run by
// the visitor's walk in its in-place form (no key lists). Both sinks run the
// same callbacks; the string sink additionally takes fast paths for text
// whose printf rendering it can produce itself (literal punctuation,
// integers, doubles, indentation), appending it straight to the GString.
// Those paths produce the same bytes as the formats named beside them; the
// rest (unusual indentation) still goes through `print`. Doubles never go
// through printf: its decimal point is the locale's.
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "kel_json_decimal.h"
#include "kel_json_gstring.h"
#include "kel_json_plain.h"
#include "kel_json_walk.h"

namespace {

constexpr int kOk = KEL_JSON_VISIT_CONTINUE;
constexpr int kFail = KEL_JSON_VISIT_ABORT;

// Indentation up to this many blanks is appended directly by the string
// sink; anything else (negative or absurdly wide) is left to printf's "%*s".
constexpr gint32 kMaxFastIndent = 1 << 20;

using kel::gstring_append;

// ---- Sinks ------------------------------------------------------------------

int string_print(void *out, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    g_string_append_vprintf(static_cast<GString *>(out), fmt, args);
    va_end(args);
    return kOk;
}

int string_write_str(void *out, const char *str)
{
    auto *s = static_cast<GString *>(out);
    g_string_append_c(s, '"');
    const int r = kel_json_escape_str_ext(str, s);
    // The closing quote is written even when escaping failed: the dump is
    // failing anyway and the caller keeps what was appended.
    g_string_append_c(s, '"');
    return r < 0 ? kFail : kOk;
}

int file_print(void *out, const char *fmt, ...)
{
    auto *sink = static_cast<KelJsonFileSink *>(out);
    va_list args;
    va_start(args, fmt);
    const int n = std::vfprintf(sink->file, fmt, args);
    va_end(args);
    return n < 0 ? kFail : kOk;
}

int file_write_str(void *out, const char *str)
{
    auto *sink = static_cast<KelJsonFileSink *>(out);
    g_string_truncate(sink->scratch, 0);
    if (kel_json_escape_str_ext(str, sink->scratch) < 0)
        return kFail;
    return std::fprintf(sink->file, "\"%s\"", sink->scratch->str) < 0 ? kFail : kOk;
}

// ---- Dump state ---------------------------------------------------------------

// The dumper of one call plus the caller's GString when the sink is the
// string sink (NULL for the file sink), which enables the direct appends.
struct DumpState {
    KelJsonDumper d;
    GString *direct;

    bool pretty() const noexcept { return (d.flags & KEL_JSON_DUMP_PRETTY) != 0; }

    // Pretty mode widens the indentation by one step per open container.
    // Unsigned arithmetic: an extreme initial indentation wraps instead of
    // overflowing.
    void indent_in() noexcept { d.indent = static_cast<gint32>(static_cast<guint32>(d.indent) + 2u); }
    void indent_out() noexcept { d.indent = static_cast<gint32>(static_cast<guint32>(d.indent) - 2u); }

    // Literal text without conversions; for the file sink it is the format.
    int lit(std::string_view text) noexcept
    {
        if (direct) {
            gstring_append(direct, text.data(), text.size());
            return kOk;
        }
        return d.print(d.out, text.data());
    }

    // An already formatted piece of text (digits and the like), as "%s".
    int text(const char *s, std::size_t len) noexcept
    {
        if (direct) {
            gstring_append(direct, s, len);
            return kOk;
        }
        return d.print(d.out, "%s", s);
    }

    // "\n%*s" with the current indentation, followed by `close` when given
    // (the closing brackets are printed as "\n%*s}" and "\n%*s]").
    int newline_indent(char close = '\0') noexcept
    {
        const gint32 n = d.indent;
        if (direct && n >= 0 && n <= kMaxFastIndent) {
            const gsize at = direct->len;
            const gsize extra = 1 + static_cast<gsize>(n) + (close ? 1 : 0);
            g_string_set_size(direct, at + extra);
            direct->str[at] = '\n';
            std::memset(direct->str + at + 1, ' ', static_cast<std::size_t>(n));
            if (close)
                direct->str[at + 1 + n] = close;
            return kOk;
        }
        if (close == '}')
            return d.print(d.out, "\n%*s}", n, "");
        if (close == ']')
            return d.print(d.out, "\n%*s]", n, "");
        return d.print(d.out, "\n%*s", n, "");
    }

    int close(char bracket) noexcept
    {
        if (!pretty())
            return bracket == '}' ? lit("}") : lit("]");
        indent_out();
        return newline_indent(bracket);
    }

    int str(const char *s) noexcept { return d.write_str(d.out, s); }
};

DumpState *state(gpointer data) { return static_cast<DumpState *>(data); }

// ---- Scalars --------------------------------------------------------------------

int dump_null(KelJson *, gpointer data) { return state(data)->lit("null"); }

int dump_bool(KelJson *, gboolean b, gpointer data)
{
    return state(data)->lit(b ? "true" : "false");
}

int dump_i64(KelJson *, gint64 v, gpointer data)
{
    DumpState *st = state(data);
    if (!st->direct)
        return st->d.print(st->d.out, "%ld", static_cast<long>(v));
    char buf[kel::kMaxDecimalChars];
    char *const end = buf + sizeof buf;
    const char *const digits = kel::format_decimal(end, v);
    return st->text(digits, static_cast<std::size_t>(end - digits));
}

int dump_u64(KelJson *, guint64 v, gpointer data)
{
    DumpState *st = state(data);
    if (!st->direct)
        return st->d.print(st->d.out, "%lu", static_cast<unsigned long>(v));
    char buf[kel::kMaxDecimalChars];
    char *const end = buf + sizeof buf;
    const char *const digits = kel::format_decimal(end, v);
    return st->text(digits, static_cast<std::size_t>(end - digits));
}

int dump_u128(KelJson *, KelUint128 v, gpointer data)
{
    DumpState *st = state(data);
    char buf[40];  // 39 digits of 2^128 - 1 and the NUL
    const gint32 n = kel_uint128_to_str(v, 10, buf, sizeof buf);
    if (n < 0)
        return kFail;
    if (st->d.flags & KEL_JSON_DUMP_U128_STR) {
        if (!st->direct)
            return st->d.print(st->d.out, "\"%s\"", buf);
        g_string_append_c(st->direct, '"');
        gstring_append(st->direct, buf, static_cast<std::size_t>(n - 1));
        g_string_append_c(st->direct, '"');
        return kOk;
    }
    return st->text(buf, static_cast<std::size_t>(n - 1));
}

// Shortest text that reads back to the same double. It must also read back
// as a double rather than an integer, so an integral value written without
// exponent gets ".0"; an exponent form ("1e+300") is a real already.
// to_chars ignores the locale, so the separator is always '.'.
int dump_double_roundtrip(DumpState *st, double v)
{
    char buf[40];
    char *end = std::to_chars(buf, buf + sizeof buf - 3, v).ptr;
    if (std::memchr(buf, '.', end - buf) == nullptr && std::memchr(buf, 'e', end - buf) == nullptr) {
        *end++ = '.';
        *end++ = '0';
    }
    *end = '\0';
    return st->text(buf, static_cast<std::size_t>(end - buf));
}

// The bytes of C-locale "%f" for a finite `v`: fixed notation, six decimals,
// ties rounded to even as glibc's printf does. to_chars is exact and never
// consults the locale, so a program that switched to a comma-decimal locale
// still gets JSON numbers, and both sinks write the same bytes.
int dump_fixed6(DumpState *st, double v)
{
    char buf[320];  // sign, 309 integer digits, point, six decimals, NUL
    char *end = std::to_chars(buf, buf + sizeof buf - 1, v, std::chars_format::fixed, 6).ptr;
    *end = '\0';
    return st->text(buf, static_cast<std::size_t>(end - buf));
}

int dump_double(KelJson *, double v, gpointer data)
{
    DumpState *st = state(data);
    // JSON has no spelling for NaN or infinities: writing "nan" would make
    // text that no reader accepts, so the dump fails instead.
    if (!std::isfinite(v))
        return kFail;
    if (st->d.flags & KEL_JSON_DUMP_REAL_ROUNDTRIP)
        return dump_double_roundtrip(st, v);
    return dump_fixed6(st, v);
}

int dump_str(KelJson *, const char *s, gpointer data) { return state(data)->str(s); }

// A reference is written back as the object {"$ref": uri}. Its closing brace
// is written even after a failed step, so the text stays balanced there.
int dump_jref(KelJson *, const char *uri, gpointer data)
{
    DumpState *st = state(data);
    const bool pretty = st->pretty();
    if (pretty)
        st->indent_in();
    int r = st->lit("{");
    if (r == kOk && pretty)
        r = st->newline_indent();
    if (r == kOk)
        r = st->str("$ref");
    if (r == kOk)
        r = st->lit(":");
    if (r == kOk && pretty)
        r = st->lit(" ");
    if (r == kOk)
        r = st->str(uri);
    const int c = st->close('}');
    return r != kOk ? r : c;
}

// ---- Containers ---------------------------------------------------------------

int open_container(DumpState *st, std::string_view bracket)
{
    if (st->pretty())
        st->indent_in();
    return st->lit(bracket);
}

int dump_obj_begin(KelJson *, gpointer data) { return open_container(state(data), "{"); }
int dump_array_begin(KelJson *, gpointer data) { return open_container(state(data), "["); }
int dump_obj_end(KelJson *, gpointer data) { return state(data)->close('}'); }
int dump_array_end(KelJson *, gpointer data) { return state(data)->close(']'); }

// Member names up to this length that need no escaping are written by the
// string sink in one append (see append_plain_name).
constexpr std::size_t kMaxFastName = 64;

// Appends `,"name":` (the comma when `comma`, a blank after the colon when
// `pretty`) when the name is short text that escaping copies unchanged: the
// bytes the quote, kel_json_escape_str_ext, the quote and ":" would write.
// Appends nothing and returns false for any other name.
bool append_plain_name(GString *out, const char *key, bool comma, bool pretty) noexcept
{
    const std::size_t n = std::strlen(key);
    if (n > kMaxFastName || !kel::is_plain_ascii(key, n))
        return false;
    char *w = kel::gstring_extend(out, n + 3 + (comma ? 1 : 0) + (pretty ? 1 : 0));
    if (comma)
        *w++ = ',';
    *w++ = '"';
    std::memcpy(w, key, n);
    w += n;
    *w++ = '"';
    *w = ':';
    if (pretty)
        w[1] = ' ';
    return true;
}

int dump_obj_member(KelJson *, const char *key, KelJson *, gboolean first, gpointer data)
{
    DumpState *st = state(data);
    const bool pretty = st->pretty();
    if (st->direct && !pretty && append_plain_name(st->direct, key, !first, false))
        return kOk;
    int r = kOk;
    if (!first)
        r = st->lit(",");
    if (r == kOk && pretty)
        r = st->newline_indent();
    if (r == kOk && st->direct && pretty && append_plain_name(st->direct, key, false, true))
        return kOk;
    if (r == kOk)
        r = st->str(key);
    if (r == kOk)
        r = st->lit(":");
    if (r == kOk && st->pretty())
        r = st->lit(" ");
    return r;
}

int dump_array_elem(KelJson *, int index, KelJson *, gpointer data)
{
    DumpState *st = state(data);
    int r = kOk;
    if (index > 0)
        r = st->lit(",");
    if (r == kOk && st->pretty())
        r = st->newline_indent();
    return r;
}

constexpr KelJsonVisitor make_dump_visitor()
{
    KelJsonVisitor v{};
    v.on_str = dump_str;
    v.on_i64 = dump_i64;
    v.on_u64 = dump_u64;
    v.on_u128 = dump_u128;
    v.on_double = dump_double;
    v.on_jref = dump_jref;
    v.on_bool = dump_bool;
    v.on_null = dump_null;
    v.obj_begin = dump_obj_begin;
    v.obj_end = dump_obj_end;
    v.obj_member = dump_obj_member;
    v.obj_keys = nullptr;  // the walk orders the members itself
    v.array_begin = dump_array_begin;
    v.array_end = dump_array_end;
    v.array_elem = dump_array_elem;
    return v;
}

constexpr KelJsonVisitor kDumpVisitor = make_dump_visitor();

// The string sink's walk: the steps the visitor walk takes with the
// callbacks above (begin, then per member its separator and its value, then
// end; the first failure ends the dump with nothing more written), with the
// callbacks called directly instead of through the table, and the nesting
// kept on a stack of its own.
class DirectDump {
public:
    explicit DirectDump(DumpState &st) noexcept
        : st_(st), sorted_((st.d.flags & KEL_JSON_DUMP_SORTED) != 0)
    {
    }

    gboolean run(KelJson *root) noexcept
    {
        if (value(root) != kOk)
            return FALSE;
        while (!levels_.empty()) {
            Level &top = levels_.back();
            if (top.pos == top.count) {
                const bool is_obj = top.container->type == KEL_JSON_OBJECT;
                members_.resize(top.first);
                levels_.pop_back();
                if ((is_obj ? dump_obj_end(nullptr, &st_) : dump_array_end(nullptr, &st_)) != kOk)
                    return FALSE;
                continue;
            }
            const guint i = top.pos++;
            KelJson *member;
            int r;
            if (top.container->type == KEL_JSON_OBJECT) {
                const kel::JsonMember &m = members_[top.first + i];
                member = m.value;
                r = dump_obj_member(top.container, m.key, member, i == 0, &st_);
            } else {
                member = static_cast<KelJson *>(g_ptr_array_index(top.container->array, i));
                r = dump_array_elem(top.container, static_cast<int>(i), member, &st_);
            }
            if (r != kOk || value(member) != kOk)  // `top` may be gone after value()
                return FALSE;
        }
        return TRUE;
    }

private:
    // A container whose members are being written.
    struct Level {
        KelJson *container;
        std::size_t first;  // objects: their members in members_
        guint count;
        guint pos;
    };

    // Writes a scalar, or begins a container and pushes its level.
    int value(KelJson *v) noexcept
    {
        switch (v->type) {
        case KEL_JSON_NULL:
            return dump_null(v, &st_);
        case KEL_JSON_TRUE:
        case KEL_JSON_FALSE:
            return dump_bool(v, v->type == KEL_JSON_TRUE, &st_);
        case KEL_JSON_INT64:
            return dump_i64(v, v->i64, &st_);
        case KEL_JSON_UINT64:
            return dump_u64(v, v->u64, &st_);
        case KEL_JSON_UINT128:
            return dump_u128(v, v->u128, &st_);
        case KEL_JSON_DOUBLE:
            return dump_double(v, v->d, &st_);
        case KEL_JSON_STRING:
            return dump_str(v, v->str, &st_);
        case KEL_JSON_JREF:
            return dump_jref(v, v->uri, &st_);
        case KEL_JSON_OBJECT: {
            const int r = dump_obj_begin(v, &st_);
            if (r != kOk)
                return r;
            const std::size_t first = members_.size();
            members_.resize(first + g_hash_table_size(v->obj));
            const guint n = kel::json_obj_members(v, members_.data() + first, sorted_);
            levels_.push_back(Level{v, first, n, 0});
            return kOk;
        }
        case KEL_JSON_ARRAY: {
            const int r = dump_array_begin(v, &st_);
            if (r == kOk)
                levels_.push_back(Level{v, members_.size(), v->array->len, 0});
            return r;
        }
        default:
            // The visitor walk reports an unknown kind and fails; so does
            // the dump, with the same report.
            return kel::json_visit_in_place(v, &kDumpVisitor, &st_, sorted_) ? kOk : kFail;
        }
    }

    DumpState &st_;
    bool sorted_;
    std::vector<Level> levels_;
    std::vector<kel::JsonMember> members_;
};

// The callbacks never change the tree, so the walk reads the objects in
// place: what kel_json_visit would show them with kel_json_alpha_keys as
// obj_keys (sorted) or none, without key lists and lookups.
gboolean run_dump(KelJson *root, DumpState &st)
{
    if (st.direct)
        return DirectDump(st).run(root);
    return kel::json_visit_in_place(root, &kDumpVisitor, &st,
                                    (st.d.flags & KEL_JSON_DUMP_SORTED) != 0);
}

gboolean dump_to_string(KelJson *root, GString *out, guint32 flags, gint32 indent)
{
    DumpState st{{flags, indent, string_print, string_write_str, out}, out};
    return run_dump(root, st);
}

}  // namespace

extern "C" {

gboolean kel_json_sdump_ext(KelJson *root, GString *out, guint32 flags, gint32 indent)
{
    KEL_RETURN_VAL_IF_FAIL(root, FALSE);
    KEL_RETURN_VAL_IF_FAIL(out, FALSE);
    return dump_to_string(root, out, flags, indent);
}

gboolean kel_json_sdump(KelJson *root, char **out, guint32 flags)
{
    KEL_RETURN_VAL_IF_FAIL(root, FALSE);
    KEL_RETURN_VAL_IF_FAIL(out, FALSE);
    GString *s = g_string_new(nullptr);
    if (!dump_to_string(root, s, flags, 0)) {
        g_string_free(s, TRUE);
        *out = nullptr;
        return FALSE;
    }
    *out = g_string_free(s, FALSE);
    return TRUE;
}

gboolean kel_json_fdump(KelJson *root, FILE *out, guint32 flags, gint32 indent)
{
    KEL_RETURN_VAL_IF_FAIL(root, FALSE);
    KEL_RETURN_VAL_IF_FAIL(out, FALSE);
    KelJsonFileSink sink{out, g_string_new(nullptr)};
    DumpState st{{flags, indent, file_print, file_write_str, &sink}, nullptr};
    const gboolean ok = run_dump(root, st);
    g_string_free(sink.scratch, TRUE);
    return ok;
}

}  // extern "C"
