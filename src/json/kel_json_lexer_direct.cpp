// The string source's direct paths: tokens and white space read straight from the input text.
#include "kel_json_lexer_impl.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kel {

namespace {

// Eight bytes of the string source's text, which the caller has checked to
// lie before its end.
inline std::uint64_t load_word(const unsigned char *p) noexcept
{
    std::uint64_t w;
    std::memcpy(&w, p, sizeof w);
    return w;
}

}  // namespace

// String source only: skips the white space that starts at `start`, the
// read position, counting lines and columns as byte-wise reading would.
// Returns the new read position.
G_GNUC_NO_INLINE const unsigned char *skip_space_at(KelJsonLexer *lex,
                                                    const unsigned char *start) noexcept
{
    auto *src = static_cast<StrInput *>(lex->data);
    const auto *end = reinterpret_cast<const unsigned char *>(src->end);
    const unsigned char *p = start;
    // The counters live in locals during the run: stores through `lex` would
    // otherwise be repeated for every byte (the text may alias them).
    auto line = lex->line;
    auto column = lex->column;
    auto last_column = lex->last_column;
    for (;; p++) {
        // Indentation makes long runs of blanks: a tight loop of their own.
        const unsigned char *blanks = p;
        if (*p == ' ') {
            while (end - p >= 8 && load_word(p) == 0x2020202020202020ULL)  // eight blanks
                p += 8;
            while (*p == ' ')
                p++;
        }
        column += static_cast<guint32>(p - blanks);
        if (*p == '\t' || *p == '\r') {
            column++;
        } else if (*p == '\n') {
            line++;
            last_column = column;
            column = 0;
        } else {
            break;
        }
    }
    lex->line = line;
    lex->column = column;
    lex->last_column = last_column;
    const auto n = static_cast<gint32>(p - start);
    src->pos += n;
    lex->position += static_cast<guint32>(n);
    return p;
}

namespace {

// ---- Whole tokens in place (string source) --------------------------------

// The common tokens of a document read straight from the string source's
// text, without a byte through lex->text. Each one either recognises a
// complete token whose bytes need no second look and consumes it with the
// counters advanced as byte-wise reading would advance them, or consumes
// nothing and leaves the token to the general path, which then produces
// every message and position exactly.

// Consumes `n` bytes holding `chars` characters and no newline.
inline void advance_direct(KelJsonLexer *lex, gsize n, guint32 chars) noexcept
{
    // The loader keeps string inputs below 2^31 bytes, so pos cannot overflow.
    static_cast<KelJsonStrSource *>(lex->data)->pos += static_cast<gint32>(n);
    lex->position += static_cast<guint32>(n);
    lex->column += chars;
}

// The string whose opening quote was just consumed (`start` is the read
// position) when it is complete and holds neither escapes nor control bytes,
// all its characters valid UTF-8. The value then points into the input (it
// is not NUL-terminated there; the parser copies value.string.len bytes).
bool plain_string_in_place(KelJsonLexer *lex, const unsigned char *start) noexcept
{
    const unsigned char *p = start;
    guint32 chars = 0;
    for (;;) {
        if (kStringPlain.plain[*p]) {
            p++;
            chars++;
        } else if (*p >= 0xC2 && *p <= 0xF4) {
            const int n = valid_multibyte(p);
            if (n == 0)
                return false;
            p += n;
            chars++;
        } else {
            break;
        }
    }
    if (*p != '"')
        return false;  // an escape, a control byte, bad UTF-8 or the end
    const auto len = static_cast<gsize>(p - start);
    lex->value.string.str = const_cast<char *>(reinterpret_cast<const char *>(start));
    lex->value.string.len = len;
    lex->token = KEL_JSON_TOKEN_STRING;
    advance_direct(lex, len + 1, chars + 1);  // the closing quote included
    return true;
}

}  // namespace

// Reads the number whose first byte `first` (a digit or the minus sign) was
// just consumed, from the text at `rest` on, when it is an integer of at most
// kShortIntDigits digits or a real whose from_chars result fast_real_ok
// accepts: sets the token and its value and returns the number's end (its
// terminator, an ASCII byte). Other numbers, and every malformed one, are
// left to scan_number (NULL). The text must hold a byte that no number
// contains before its end or a NUL.
const unsigned char *number_at(KelJsonLexer *lex, int first, const unsigned char *rest) noexcept
{
    const unsigned char *const begin = rest - 1;  // the first byte, still in the input
    const unsigned char *p = rest;
    if (first == '-') {
        if (!is_digit(*p))
            return nullptr;
        first = *p++;
    }
    if (first == '0') {
        if (is_digit(*p))
            return nullptr;
    } else {
        while (is_digit(*p))
            p++;
    }
    bool real = false;
    if (*p == '.') {
        if (!is_digit(p[1]))
            return nullptr;
        p += 2;
        while (is_digit(*p))
            p++;
        real = true;
    }
    if (*p == 'e' || *p == 'E') {
        const unsigned char *q = p + 1;
        if (*q == '+' || *q == '-')
            q++;
        if (!is_digit(*q))
            return nullptr;
        p = q + 1;
        while (is_digit(*p))
            p++;
        real = true;
    }
    // A terminator of 0x80 and above is a character that byte-wise reading
    // would fetch and validate whole (a bad one is consumed by the failed
    // fetch); that is left to it.
    if (*p >= 0x80)
        return nullptr;
    const char *const text = reinterpret_cast<const char *>(begin);
    const char *const end = reinterpret_cast<const char *>(p);
    if (real) {
        double d = 0.0;
        const auto res = std::from_chars(text, end, d);
        if (res.ec != std::errc() || res.ptr != end || !fast_real_ok(d))
            return nullptr;  // see convert_real
        lex->value.real = d;
        lex->token = KEL_JSON_TOKEN_REAL;
    } else {
        const bool negative = *begin == '-';
        const char *digits = text + (negative ? 1 : 0);
        if (static_cast<gsize>(end - digits) > kShortIntDigits)
            return nullptr;
        gint64 v = 0;
        for (; digits < end; digits++)
            v = v * 10 + (*digits - '0');
        lex->value.integer = negative ? -v : v;
        lex->token = KEL_JSON_TOKEN_INTEGER;
    }
    return p;
}

namespace {

// number_at on the string source, consuming the number.
bool number_in_place(KelJsonLexer *lex, int first, const unsigned char *rest) noexcept
{
    const unsigned char *p = number_at(lex, first, rest);
    if (p == nullptr)
        return false;
    const auto n = static_cast<gsize>(p - rest);
    advance_direct(lex, n, static_cast<guint32>(n));
    if (*p == '\0')
        lex->eof = 1;  // byte-wise reading met the end as the number's terminator
    return true;
}

// The rest of "true", "false" or "null" after its first byte `first`, which
// was just consumed (`rest` is the read position).
bool word_in_place(KelJsonLexer *lex, int first, const unsigned char *rest) noexcept
{
    std::string_view tail;
    gint32 token;
    switch (first) {
    case 't': tail = "rue"; token = KEL_JSON_TOKEN_TRUE; break;
    case 'f': tail = "alse"; token = KEL_JSON_TOKEN_FALSE; break;
    case 'n': tail = "ull"; token = KEL_JSON_TOKEN_NULL; break;
    default: return false;
    }
    // strncmp stops at the input's NUL; the terminator must end the word and
    // be ASCII (see number_in_place).
    if (std::strncmp(reinterpret_cast<const char *>(rest), tail.data(), tail.size()) != 0)
        return false;
    const unsigned char after = rest[tail.size()];
    if (is_alpha(after) || after >= 0x80)
        return false;
    lex->token = token;
    advance_direct(lex, tail.size(), static_cast<guint32>(tail.size()));
    if (after == '\0')
        lex->eof = 1;
    return true;
}

}  // namespace

// The next token of the string source when it starts at the read position
// after white space: punctuation, or a string, number or word that the
// functions above take. A token they leave goes on byte-wise from its first
// byte, as next_token would. Returns lex_next's result; a token it does not
// begin is left to next_token. (That call, rather than a result of -1 for the
// caller to act on, keeps lex_next's path here a tail call.)
int token_in_place(KelJsonLexer *lex) noexcept
{
    reset_token(lex);
    const unsigned char *p = direct_text(lex);
    if (p == nullptr)
        return next_token<StrReader>(lex);
    if (*p == ' ' && !is_space(p[1])) {
        advance_direct(lex, 1, 1);  // a lone blank, as after most colons
        p++;
    } else if (is_space(*p)) {
        p = skip_space_at(lex, p);
    }
    const int c = *p;
    switch (c) {
    case '{':
    case '}':
    case '[':
    case ']':
    case ':':
    case ',':
        advance_direct(lex, 1, 1);
        lex->token = c;
        return 1;
    case '"':
        advance_direct(lex, 1, 1);
        if (plain_string_in_place(lex, p + 1))
            return 1;
        g_string_append_c(lex->text, '"');
        return scan_string<StrReader>(lex);
    case '-':
    case '0': case '1': case '2': case '3': case '4':
    case '5': case '6': case '7': case '8': case '9':
        advance_direct(lex, 1, 1);
        if (number_in_place(lex, c, p + 1))
            return 1;
        g_string_append_c(lex->text, static_cast<char>(c));
        return scan_number<StrReader>(lex, c);
    case 't':
    case 'f':
    case 'n':
        advance_direct(lex, 1, 1);
        if (word_in_place(lex, c, p + 1))
            return 1;
        g_string_append_c(lex->text, static_cast<char>(c));
        return scan_word<StrReader>(lex);
    default:
        return next_token<StrReader>(lex);
    }
}

}  // namespace kel
