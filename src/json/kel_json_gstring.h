// GString appends for the serializer's many small pieces. Private to the
// JSON units.
#pragma once

#include <cstring>

#include <glib.h>

namespace kel {

// Appends to a GString, copying in place while the allocation has room.
// GLib's out-of-line append costs more than the copy itself for the short
// pieces a dump is made of.
inline void gstring_append(GString *s, const char *text, std::size_t n) noexcept
{
    if (G_LIKELY(s->len + n < s->allocated_len)) {
        std::memcpy(s->str + s->len, text, n);
        s->len += n;
        s->str[s->len] = '\0';
    } else {
        g_string_append_len(s, text, static_cast<gssize>(n));
    }
}

// Lengthens the string by `n` bytes (NUL-terminated behind them) and returns
// where the caller writes them.
inline char *gstring_extend(GString *s, std::size_t n) noexcept
{
    const gsize at = s->len;
    if (G_LIKELY(at + n < s->allocated_len)) {
        s->len = at + n;
        s->str[s->len] = '\0';
    } else {
        g_string_set_size(s, at + n);
    }
    return s->str + at;
}

}  // namespace kel
