// Strict text-to-number conversions: the whole string must convert, and
// every refusal becomes an error in the base domain quoting the input.
#include <cerrno>

#include "kel_internal.h"

namespace {

// The signed and unsigned conversions differ only in GLib's function and
// the type word of their messages.
template <typename T>
using IntParser = T (*)(const gchar *, gchar **, guint);

template <typename T>
T parse_integer(const char *str, guint32 base, KelError **err, IntParser<T> parse,
                const char *type_word) noexcept
{
    errno = 0;
    char *end = nullptr;
    T value = parse(str, &end, base);
    // errno is read right away: nothing in between may touch it.
    const int saved_errno = errno;
    if (end != nullptr && *end == '\0' && saved_errno == 0)
        return value;

    if (saved_errno == ERANGE)
        kel_set_error(err, kel_error_domain(), KEL_ARG_CONVERSION,
                      "Could not convert \"%s\" to %s; out of range", str, type_word);
    else if (saved_errno == EINVAL)  // GLib's answer to a base of 1 or above 36
        kel_set_error(err, kel_error_domain(), KEL_RADIX_INVALID,
                      "Base value (%u) is invalid for string conversion", base);
    else
        kel_set_error(err, kel_error_domain(), KEL_ARG_CONVERSION,
                      "Could not convert \"%s\" to %s", str, type_word);
    return 0;
}

}  // namespace

extern "C" {

// A NULL str is a caller bug rather than unconvertible text: it warns like
// the library's other argument checks instead of quoting "(null)".

gint64 kel_strtoll(const char *str, guint32 base, KelError **err)
{
    KEL_RETURN_VAL_IF_FAIL(str, 0);
    return parse_integer<gint64>(str, base, err, g_ascii_strtoll, "int64_t");
}

guint64 kel_strtoull(const char *str, guint32 base, KelError **err)
{
    KEL_RETURN_VAL_IF_FAIL(str, 0);
    return parse_integer<guint64>(str, base, err, g_ascii_strtoull, "uint64_t");
}

double kel_strtod(const char *str, KelError **err)
{
    KEL_RETURN_VAL_IF_FAIL(str, 0.0);
    errno = 0;
    char *end = nullptr;
    double value = g_ascii_strtod(str, &end);
    const int saved_errno = errno;
    if (end != nullptr && *end == '\0' && saved_errno == 0)
        return value;

    if (saved_errno == ERANGE)
        kel_set_error(err, kel_error_domain(), KEL_ARG_CONVERSION,
                      "Could not convert \"%s\" to double; out of range", str);
    else
        kel_set_error(err, kel_error_domain(), KEL_ARG_CONVERSION,
                      "Could not convert \"%s\" to double", str);
    return 0.0;
}

}  // extern "C"
