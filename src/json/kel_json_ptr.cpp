// Pointer text of a value (RFC 6901), the path-aware formatter with its %P
// conversion, and kel_json_set_error, through which the JSON code raises
// nearly all of its errors.
#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <string_view>
#include <vector>

#include "kel_internal.h"

namespace {

constexpr bool is_container(const KelJson *json)
{
    return json->type == KEL_JSON_OBJECT || json->type == KEL_JSON_ARRAY;
}

// Appends one reference token of an object member: "/" and the key with
// "~" written "~0" and "/" written "~1". Runs of plain bytes are appended in
// one go rather than byte by byte.
void append_key_token(GString *str, const char *key)
{
    g_string_append_c(str, '/');
    std::string_view rest(key);
    for (;;) {
        std::size_t special = rest.find_first_of("~/");
        g_string_append_len(str, rest.data(), static_cast<gssize>(std::min(special, rest.size())));
        if (special == std::string_view::npos)
            return;
        g_string_append(str, rest[special] == '~' ? "~0" : "~1");
        rest.remove_prefix(special + 1);
    }
}

// The levels of a value's pointer, innermost first. Documents can be far
// deeper than the stack allows for a recursive walk (a chain of a million
// arrays is a legal tree), so the walk up collects the levels into a heap
// vector and the text is then appended outermost first. Most pointers are
// shallow; the vector's first allocation is sized for them.
void collect_levels(const KelJson *json, std::vector<const KelJson *> &levels)
{
    levels.reserve(16);
    for (const KelJson *v = json; v->parent != nullptr; v = v->parent) {
        // A parent that is not a container ends the pointer: neither this
        // level nor anything above it contributes.
        if (!is_container(v->parent))
            break;
        levels.push_back(v);
    }
}

void append_pointer(const KelJson *json, GString *str)
{
    if (json->parent == nullptr)
        return;  // the root: nothing to collect
    std::vector<const KelJson *> levels;
    collect_levels(json, levels);
    for (auto it = levels.rbegin(); it != levels.rend(); ++it) {
        const KelJson *v = *it;
        if (v->parent->type == KEL_JSON_OBJECT) {
            if (v->key != nullptr)
                append_key_token(str, v->key);
        } else {
            g_string_append_printf(str, "/%d", v->index);
        }
    }
}

// The bytes that end a conversion directive of the formatter.
constexpr std::string_view kConversionEnd = "PdiouxXeEfFgGaAcsp%";

// Bytes that may stand between "%" and a %d or %s conversion forwarded to
// GLib's printf: flags, field width and precision. The library's formats use
// nothing else. A length modifier, "*", "$" or a stray letter would make
// printf read an argument of another type, or more than one; such a
// directive is copied as written instead (its argument is still consumed,
// as every %d and %s takes exactly one).
constexpr std::string_view kForwardable = "-+ #0'123456789.";

bool forwardable(std::string_view directive)
{
    // directive is "%" ... conversion; check what stands between them.
    std::string_view middle = directive.substr(1, directive.size() - 2);
    return middle.find_first_not_of(kForwardable) == std::string_view::npos;
}

// Formats one %d or %s argument with its whole directive (NUL-terminated:
// it is the scratch string's text).
template <typename T>
void append_forwarded(GString *str, std::string_view directive, T value)
{
    if (!forwardable(directive)) {
        g_string_append_len(str, directive.data(), static_cast<gssize>(directive.size()));
        return;
    }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    g_string_append_printf(str, directive.data(), value);
#pragma GCC diagnostic pop
}

// The formatter proper. The directive text is kept in `directive`, a scratch
// string reused for every conversion of one call.
void format_into(GString *str, const char *fmt, va_list args, GString *directive)
{
    const char *p = fmt;
    while (*p != '\0') {
        if (*p != '%') {
            // Copy the run of plain bytes up to the next "%" at once.
            const char *next = std::strchr(p, '%');
            std::size_t n = next ? static_cast<std::size_t>(next - p) : std::strlen(p);
            g_string_append_len(str, p, static_cast<gssize>(n));
            p += n;
            continue;
        }
        g_string_assign(directive, "%");
        ++p;
        while (*p != '\0') {
            char c = *p++;
            g_string_append_c(directive, c);
            if (kConversionEnd.find(c) != std::string_view::npos)
                break;
        }
        std::string_view text(directive->str, directive->len);
        // A lone "%" cut short by the end of fmt has no conversion byte; its
        // last byte is the opening "%" and it is copied as it stands.
        char conv = directive->len > 1 ? text.back() : '\0';
        switch (conv) {
        case 'P': {
            const auto *json = va_arg(args, const KelJson *);
            g_string_append_c(str, '"');
            if (json != nullptr)
                append_pointer(json, str);
            g_string_append_c(str, '"');
            break;
        }
        case 'd':
            append_forwarded(str, text, va_arg(args, int));
            break;
        case 's':
            append_forwarded(str, text, va_arg(args, const char *));
            break;
        case '%':
            g_string_append_c(str, '%');
            break;
        default:
            // Conversions the formatter does not handle, and a directive
            // cut short by the end of fmt: copied as written, no argument.
            g_string_append_len(str, text.data(), static_cast<gssize>(text.size()));
            break;
        }
    }
}

// Frees a scratch GString with everything it holds.
struct ScratchString {
    GString *s;
    explicit ScratchString(gsize reserve) : s(g_string_sized_new(reserve)) {}
    ~ScratchString() { g_string_free(s, TRUE); }
    ScratchString(const ScratchString &) = delete;
    ScratchString &operator=(const ScratchString &) = delete;
};

}  // namespace

// ---- Pointer text -------------------------------------------------------------

gboolean kel_json_ptr_add_key_ext(GString *str, const char *key)
{
    if (key == nullptr)
        return FALSE;
    // A NULL str is a caller error; nothing to append to.
    if (str == nullptr)
        return FALSE;
    append_key_token(str, key);
    return TRUE;
}

char *kel_json_ptr_add_key(const char *init, const char *key)
{
    if (key == nullptr)
        return nullptr;
    GString *str = g_string_new(init != nullptr ? init : "");
    append_key_token(str, key);
    return g_string_free(str, FALSE);
}

gboolean kel_json_ptr_ext(const KelJson *json, GString *str)
{
    if (json == nullptr || str == nullptr)
        return FALSE;
    append_pointer(json, str);
    return TRUE;
}

gint32 kel_json_ptr(const KelJson *json, char **out)
{
    if (json == nullptr || out == nullptr)
        return -1;
    GString *str = g_string_new(nullptr);
    append_pointer(json, str);
    auto len = static_cast<gint32>(str->len);
    *out = g_string_free(str, FALSE);
    return len;
}

gboolean kel_json_ptr_build_array(const KelJson *array, GString *str)
{
    if (array == nullptr || array->type != KEL_JSON_ARRAY)
        return FALSE;
    if (!kel_json_ptr_ext(array, str))
        return FALSE;
    g_string_append_printf(str, "/%d", static_cast<int>(array->array->len));
    return TRUE;
}

gboolean kel_json_ptr_build_obj(const KelJson *obj, const char *key, GString *str)
{
    // A NULL key is a caller error; refusing it beats printing "(null)".
    if (obj == nullptr || obj->type != KEL_JSON_OBJECT || key == nullptr)
        return FALSE;
    if (!kel_json_ptr_ext(obj, str))
        return FALSE;
    // Unescaped on purpose: this builds a position for a caller that escapes
    // (or knows it need not escape) its own keys.
    g_string_append_printf(str, "/%s", key);
    return TRUE;
}

// ---- Formatter ------------------------------------------------------------------

gint32 kel_json_ptr_vprintf(GString *str, const char *fmt, va_list args)
{
    KEL_RETURN_VAL_IF_FAIL(str, -1);
    KEL_RETURN_VAL_IF_FAIL(fmt, -1);
    gsize before = str->len;
    ScratchString directive(8);
    va_list ap;
    va_copy(ap, args);
    format_into(str, fmt, ap, directive.s);
    va_end(ap);
    return static_cast<gint32>(str->len - before);
}

gint32 kel_json_ptr_printf(GString *str, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    gint32 n = kel_json_ptr_vprintf(str, fmt, args);
    va_end(args);
    return n;
}

gint32 kel_json_ptr_aprintf(char **out, const char *fmt, ...)
{
    // The out parameter is called "str" in the warning, after its role.
    KEL_RETURN_VAL_IF_FAIL_AS(out, "str", -1);
    GString *str = g_string_new(nullptr);
    va_list args;
    va_start(args, fmt);
    gint32 n = kel_json_ptr_vprintf(str, fmt, args);
    va_end(args);
    *out = g_string_free(str, FALSE);
    return n;
}

// ---- JSON errors ----------------------------------------------------------------

void kel_json_set_error(KelError **err, gint code, const char *fmt, ...)
{
    if (err == nullptr)
        return;
    ScratchString message(64);
    va_list args;
    va_start(args, fmt);
    kel_json_ptr_vprintf(message.s, fmt, args);
    va_end(args);
    // The message is final text: going through kel_set_error would run it
    // through printf a second time, and a "%" from a key would be taken for
    // a conversion. The GError is made from the literal text and wrapped,
    // which pushes it on the chain exactly as kel_set_error does.
    GError *gerror = g_error_new_literal(kel_json_error_domain(), code, message.s->str);
    *err = kel_error_from_gerror(*err, gerror);
}
