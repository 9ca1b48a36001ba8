// Internals shared by the two units of the JSON lexer: the byte-wise lexer
// (kel_json_lexer.cpp) and the string source's direct paths
// (kel_json_lexer_direct.cpp). Nothing here is exported.
#pragma once

#include "kel_json_lexer.h"
#include "kel_json_gstring.h"

#include <cfloat>
#include <cmath>

namespace kel {

// The six single-character tokens, whose kind is the character itself.
constexpr bool is_structural(int c) noexcept
{
    return c == '{' || c == '}' || c == '[' || c == ']' || c == ':' || c == ',';
}

constexpr bool is_space(int c) noexcept
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

constexpr bool is_digit(int c) noexcept { return c >= '0' && c <= '9'; }

constexpr bool is_alpha(int c) noexcept
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

// The string source, whose reader is called directly (and inlined), and
// whose text the run functions below read in place.
struct StrReader {
    static constexpr bool kDirect = true;
    static int fetch(KelJsonLexer *lex) noexcept { return str_source_get(lex->data); }
};

// ---- Token scanning (kel_json_lexer.cpp) ------------------------------------

// The byte-wise scanners, which the direct paths fall back on for a token
// they leave; instantiated for StrReader in kel_json_lexer.cpp.
// `c` is the first byte of a number, already saved; the first byte of a word
// and the opening quote of a string have been read and saved as well.
template <class R>
int scan_word(KelJsonLexer *lex) noexcept;
template <class R>
int scan_number(KelJsonLexer *lex, int c) noexcept;
template <class R>
int scan_string(KelJsonLexer *lex) noexcept;
// Reads the next token byte-wise (from white space on).
template <class R>
int next_token(KelJsonLexer *lex) noexcept;

extern template int scan_word<StrReader>(KelJsonLexer *lex) noexcept;
extern template int scan_number<StrReader>(KelJsonLexer *lex, int c) noexcept;
extern template int scan_string<StrReader>(KelJsonLexer *lex) noexcept;
extern template int next_token<StrReader>(KelJsonLexer *lex) noexcept;

// Starts a token: empties lex->text and sets the token every failure leaves.
inline void reset_token(KelJsonLexer *lex) noexcept
{
    lex->text->len = 0;  // g_string_truncate(text, 0), without the call
    lex->text->str[0] = '\0';
    lex->token = KEL_JSON_TOKEN_INVALID;  // what every failure leaves
}

// ---- Runs (string source) ---------------------------------------------------

struct ByteSet {
    bool plain[256] = {};
};

// Bytes a string holds without a second look: printable ASCII other than the
// quote and the backslash, and DEL.
constexpr ByteSet kStringPlain = [] {
    ByteSet t;
    for (int b = 0x20; b < 0x80; b++)
        t.plain[b] = b != '"' && b != '\\';
    return t;
}();

constexpr ByteSet kDigits = [] {
    ByteSet t;
    for (int b = '0'; b <= '9'; b++)
        t.plain[b] = true;
    return t;
}();

// Length of the valid multi-byte character at p (lead byte 0xC2..0xF4), or 0.
// Stops at the first byte that does not fit, so it never reads past a NUL.
inline int valid_multibyte(const unsigned char *p) noexcept
{
    const unsigned b0 = p[0];
    if (b0 <= 0xDF)
        return (p[1] >= 0x80 && p[1] <= 0xBF) ? 2 : 0;
    // The second byte's range also excludes overlong forms, surrogates and
    // code points above 0x10FFFF.
    unsigned lo = 0x80, hi = 0xBF;
    if (b0 == 0xE0)
        lo = 0xA0;
    else if (b0 == 0xED)
        hi = 0x9F;
    else if (b0 == 0xF0)
        lo = 0x90;
    else if (b0 == 0xF4)
        hi = 0x8F;
    if (p[1] < lo || p[1] > hi || p[2] < 0x80 || p[2] > 0xBF)
        return 0;
    if (b0 <= 0xEF)
        return 3;
    return (p[3] >= 0x80 && p[3] <= 0xBF) ? 4 : 0;
}

// String source only: copies the run of characters that `plain` admits
// (and, with kMultibyte, valid multi-byte characters) starting at the read
// position into lex->text in one go. It stops before anything else, which
// byte-wise reading then handles and reports exactly; the counters advance
// as byte-wise reading would have advanced them (no run holds a newline).
template <bool kMultibyte>
void copy_run(KelJsonLexer *lex, const bool (&plain)[256]) noexcept
{
    if (lex->eof || lex->buffer[lex->buffer_pos] != '\0')
        return;  // a character is half delivered: finish it byte-wise
    auto *src = static_cast<KelJsonStrSource *>(lex->data);
    const auto *start = reinterpret_cast<const unsigned char *>(src->str) + src->pos;
    const unsigned char *p = start;
    guint32 chars = 0;
    for (;;) {
        if (plain[*p]) {
            p++;
        } else if (kMultibyte && *p >= 0xC2 && *p <= 0xF4) {
            const int n = valid_multibyte(p);
            if (n == 0)
                break;
            p += n;
        } else {
            break;
        }
        chars++;
    }
    const auto n = static_cast<gsize>(p - start);
    if (n == 0)
        return;
    gstring_append(lex->text, reinterpret_cast<const char *>(start), n);
    // The loader keeps string inputs below 2^31 bytes, so pos cannot overflow.
    src->pos += static_cast<gint32>(n);
    lex->position += static_cast<guint32>(n);
    lex->column += chars;
}

// ---- Direct paths (kel_json_lexer_direct.cpp) -------------------------------

// Skips the white space that starts at `start`; see its definition.
const unsigned char *skip_space_at(KelJsonLexer *lex, const unsigned char *start) noexcept;

// The read position of the string source when no character is half
// delivered, else NULL.
inline const unsigned char *direct_text(const KelJsonLexer *lex) noexcept
{
    if (lex->eof || lex->buffer[lex->buffer_pos] != '\0')
        return nullptr;
    const auto *src = static_cast<const KelJsonStrSource *>(lex->data);
    return reinterpret_cast<const unsigned char *>(src->str) + src->pos;
}

// String source only: skips the run of white space at the read position.
inline void skip_space_run(KelJsonLexer *lex) noexcept
{
    const unsigned char *p = direct_text(lex);
    if (p != nullptr && is_space(*p))
        skip_space_at(lex, p);
}

// The next token of the string source (lex_next's result), taken whole from
// its text where it can be; see its definition.
int token_in_place(KelJsonLexer *lex) noexcept;

// Reads a number in place; see its definition.
const unsigned char *number_at(KelJsonLexer *lex, int first, const unsigned char *rest) noexcept;

// ---- Numbers ---------------------------------------------------------------

// Up to 18 decimal digits always fit in int64; g_ascii_strtoll would give
// the same value without error, so they are converted here directly.
constexpr gsize kShortIntDigits = 18;

// True when from_chars' answer `d` can stand for g_ascii_strtod's: a normal
// double. Both round correctly, so they agree there; zero, subnormals and
// infinities are left to g_ascii_strtod, whose errno tells overflow (an
// error) from underflow (the rounded result is kept).
inline bool fast_real_ok(double d) noexcept
{
    return std::isnormal(d);
}

}  // namespace kel
