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

}  // namespace kel
