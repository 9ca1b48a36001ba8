// Escaping of UTF-8 text into the body of a JSON string literal.
//
// Clean bytes (printable ASCII other than '"' and '\\', and every byte of a
// valid multi-byte character) collect in a pending run that is appended in one
// piece; the run scan is the hot loop of the serializer, so it looks at eight
// bytes at a time and only drops to the byte table when a word holds a byte
// that needs attention.
#include <cstdint>
#include <cstring>

#include "kel_internal.h"
#include "kel_json_gstring.h"
#include "kel_json_plain.h"

namespace {

// What the scanner must do about a byte.
enum ByteClass : std::uint8_t {
    kPlain = 0,    // copied as it is
    kEscape = 1,   // '"', '\\' or a control character below 0x20
    kLead2 = 2,    // 0xC2..0xDF: first byte of a two-byte character
    kLead3 = 3,    // 0xE0..0xEF
    kLead4 = 4,    // 0xF0..0xF4
    kInvalid = 5,  // a byte that cannot start a character
};

constexpr auto kByteClass = [] {
    struct Table {
        std::uint8_t v[256];
    } t{};
    for (int b = 0; b < 256; ++b) {
        std::uint8_t c = kPlain;
        if (b < 0x20 || b == '"' || b == '\\')
            c = kEscape;
        else if (b >= 0x80 && b <= 0xC1)
            c = kInvalid;
        else if (b >= 0xC2 && b <= 0xDF)
            c = kLead2;
        else if (b >= 0xE0 && b <= 0xEF)
            c = kLead3;
        else if (b >= 0xF0 && b <= 0xF4)
            c = kLead4;
        else if (b >= 0xF5)
            c = kInvalid;
        t.v[b] = c;
    }
    return t;
}();

// Length of the valid UTF-8 character of class `cls` at `p`, or 0 when the
// sequence is invalid (cut short, bad continuation, overlong, surrogate or
// above U+10FFFF). `avail` counts the bytes from `p` to the end of the text.
inline std::size_t multibyte_length(const unsigned char *p, std::size_t avail, unsigned cls) noexcept
{
    const std::size_t n = cls;  // kLead2..kLead4 equal the sequence length
    if (avail < n)
        return 0;
    std::uint32_t cp = p[0] & (0xFFu >> (n + 1));
    for (std::size_t i = 1; i < n; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        cp = (cp << 6) | (p[i] & 0x3Fu);
    }
    // Two-byte leads start at 0xC2, so they cannot be overlong.
    if (n == 3 && (cp < 0x800 || (cp >= 0xD800 && cp <= 0xDFFF)))
        return 0;
    if (n == 4 && (cp < 0x10000 || cp > 0x10FFFF))
        return 0;
    return n;
}

// Appends the escape sequence of the byte `c` (a control byte, '"' or '\\').
inline void append_escape(GString *out, unsigned char c) noexcept
{
    char buf[6] = {'\\', 0, 0, 0, 0, 0};
    switch (c) {
    case '"': buf[1] = '"'; break;
    case '\\': buf[1] = '\\'; break;
    case '\b': buf[1] = 'b'; break;
    case '\t': buf[1] = 't'; break;
    case '\n': buf[1] = 'n'; break;
    case '\f': buf[1] = 'f'; break;
    case '\r': buf[1] = 'r'; break;
    default: {
        // Same bytes as "\\u%04X" for a code point below 0x20.
        static constexpr char hex[] = "0123456789ABCDEF";
        buf[1] = 'u';
        buf[2] = '0';
        buf[3] = '0';
        buf[4] = hex[c >> 4];
        buf[5] = hex[c & 0xF];
        kel::gstring_append(out, buf, 6);
        return;
    }
    }
    kel::gstring_append(out, buf, 2);
}

}  // namespace

extern "C" {

int kel_json_escape_str_ext(const char *str, GString *out)
{
    if (str == nullptr || out == nullptr)
        return -1;

    const auto *p = reinterpret_cast<const unsigned char *>(str);
    const unsigned char *const end = p + std::strlen(str);
    const unsigned char *run = p;  // start of the pending run

    while (p < end) {
        // Skip whole words of plain ASCII.
        while (end - p >= 8) {
            std::uint64_t w;
            std::memcpy(&w, p, sizeof w);
            if (kel::word_needs_attention(w))
                break;
            p += 8;
        }
        if (p >= end)
            break;

        const unsigned cls = kByteClass.v[*p];
        if (cls == kPlain) {
            ++p;
        } else if (cls == kEscape) {
            kel::gstring_append(out, reinterpret_cast<const char *>(run),
                                static_cast<std::size_t>(p - run));
            append_escape(out, *p);
            run = ++p;
        } else if (cls == kInvalid) {
            return -1;
        } else {
            // Text that is not ASCII tends to stay so: take its characters
            // one after the other before going back to the word scan.
            unsigned next = cls;
            do {
                const std::size_t n = multibyte_length(p, static_cast<std::size_t>(end - p), next);
                if (n == 0)
                    return -1;
                p += n;
                next = kByteClass.v[*p];  // *end is the NUL, no lead byte
            } while (next >= kLead2 && next <= kLead4);
        }
    }
    kel::gstring_append(out, reinterpret_cast<const char *>(run),
                        static_cast<std::size_t>(end - run));
    return static_cast<int>(out->len);
}

char *kel_json_escape_str(const char *str)
{
    if (str == nullptr)
        return nullptr;
    GString *out = g_string_new(nullptr);
    if (kel_json_escape_str_ext(str, out) < 0) {
        g_string_free(out, TRUE);
        return nullptr;
    }
    return g_string_free(out, FALSE);
}

}  // extern "C"
