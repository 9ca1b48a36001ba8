// The JSON lexer: pulls bytes from a source one at a time, validates UTF-8,
// keeps line / column / byte counters and turns the bytes into tokens.
//
// Every routine that reads bytes is a template over the way the source is
// read. Streams (and any other reader) are called through the reader pointer,
// byte by byte. The string source is recognised by its reader and read in
// place, which saves an indirect call per byte, lets string contents be
// copied in runs and lets the common tokens be taken whole from the text
// (token_in_place, in kel_json_lexer_direct.cpp); the counters advance
// exactly as byte-wise reading would.
#include "kel_json_lexer_impl.h"

#include <cerrno>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

const char *const chr_strs[7] = {"'{'", "'}'", "'['", "']'", "':'", "','", nullptr};

namespace kel {

namespace {

constexpr int hex_value(int c) noexcept
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// Columns count characters: ASCII bytes and the lead bytes of multi-byte
// characters count, continuation bytes do not.
constexpr bool starts_char(unsigned b) noexcept { return b < 0x80 || (b >= 0xC2 && b <= 0xF4); }

// ---- Sources ---------------------------------------------------------------

// Any source, through its reader pointer. Only such sources deliver NUL
// bytes (the string source ends at its first one).
struct CallReader {
    static constexpr bool kDirect = false;
    static int fetch(KelJsonLexer *lex) noexcept { return lex->get(lex->data); }
};

// The stream source, read with the unlocked getc inlined: kel_json_loadf
// holds the stream's lock for the whole load. Where the C library's FILE
// shows its read buffer (glibc's, whose own getc_unlocked is a macro over
// these two fields), runs of string text, digits and white space are also
// taken from the buffer in one go (see the stream runs below).
struct FileReader {
    static constexpr bool kDirect = false;
    static FILE *stream(const KelJsonLexer *lex) noexcept
    {
        return static_cast<KelJsonFileSource *>(lex->data)->fh;
    }
    static int fetch(KelJsonLexer *lex) noexcept
    {
        const int c = getc_unlocked(stream(lex));
        return c == EOF ? -1 : c;
    }
#ifdef __GLIBC__
    static constexpr bool kBuffered = true;
    // The bytes read into the stream's buffer and not yet taken: [*start, end).
    static const unsigned char *buffered(const KelJsonLexer *lex,
                                         const unsigned char **start) noexcept
    {
        FILE *fh = stream(lex);
        *start = reinterpret_cast<const unsigned char *>(fh->_IO_read_ptr);
        return reinterpret_cast<const unsigned char *>(fh->_IO_read_end);
    }
    static void take(const KelJsonLexer *lex, gsize n) noexcept { stream(lex)->_IO_read_ptr += n; }
#else
    static constexpr bool kBuffered = false;
    static const unsigned char *buffered(const KelJsonLexer *, const unsigned char **start) noexcept
    {
        *start = nullptr;
        return nullptr;
    }
    static void take(const KelJsonLexer *, gsize) noexcept {}
#endif
};

inline bool is_str_source(const KelJsonLexer *lex) noexcept { return lex->get == str_source_get; }

// ---- Reading bytes ---------------------------------------------------------

// The smallest code point a sequence of each length may encode; anything
// below is an overlong form.
constexpr guint32 kMinCodePoint[5] = {0, 0, 0x80, 0x800, 0x10000};

// A NUL byte from a stream that ended a number or a word must be delivered
// again, like any other byte that ends them, or "123" followed by a NUL would
// read as a complete document. A NUL in the buffer means "used up", so the
// un-read NUL is marked by this byte behind it (never a continuation byte).
constexpr char kPendingNul = 0x01;

// Drops the character buffer after a failed fetch: the bytes read stay
// consumed and the next read goes to the source again.
inline bool fetch_failed(KelJsonLexer *lex) noexcept
{
    lex->buffer[0] = '\0';
    lex->buffer[1] = '\0';  // no stale byte may look like kPendingNul
    lex->buffer_pos = 0;
    return false;
}

inline bool take_pending_nul(KelJsonLexer *lex) noexcept
{
    if (lex->buffer_pos != 0 || lex->buffer[1] != kPendingNul)
        return false;
    lex->buffer[1] = '\0';  // the buffer now holds the NUL character itself
    return true;
}

// The rest of a character whose first byte c (0x80 or above) is in buffer[0].
template <class R>
G_GNUC_NO_INLINE bool fetch_multibyte(KelJsonLexer *lex, int c) noexcept
{
    auto *buf = reinterpret_cast<unsigned char *>(lex->buffer);
    int len;
    guint32 cp;
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
        cp = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        cp = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        cp = c & 0x07;
    } else {
        return fetch_failed(lex);
    }
    // The whole sequence is read before it is judged, so a bad character
    // consumes as many bytes as its lead byte announced; only a NUL byte or
    // the end of input stops the reading early.
    bool valid = true;
    for (int i = 1; i < len; i++) {
        const int b = R::fetch(lex);
        if (b <= 0)
            return fetch_failed(lex);
        buf[i] = static_cast<unsigned char>(b);
        valid = valid && b >= 0x80 && b <= 0xBF;
        cp = (cp << 6) | (b & 0x3F);
    }
    if (!valid || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF) || cp < kMinCodePoint[len])
        return fetch_failed(lex);
    buf[len] = 0;
    return true;
}

// Loads the next character of the source into lex->buffer. False at the end
// of input (eof set) and for a byte sequence that is not valid UTF-8.
template <class R>
inline bool fetch_char(KelJsonLexer *lex) noexcept
{
    const int c = R::fetch(lex);
    if (c < 0) {
        lex->eof = 1;
        return false;
    }
    lex->buffer[0] = static_cast<char>(c);
    lex->buffer_pos = 0;
    if (c >= 0x80)
        return fetch_multibyte<R>(lex, c);
    lex->buffer[1] = '\0';
    return true;
}

template <class R>
inline int get_byte(KelJsonLexer *lex) noexcept
{
    if (lex->eof)
        return -1;
    if (lex->buffer[lex->buffer_pos] == '\0') {
        const bool again = !R::kDirect && take_pending_nul(lex);
        if (!again && !fetch_char<R>(lex))
            return -1;
    }
    const auto b = static_cast<unsigned char>(lex->buffer[lex->buffer_pos++]);
    lex->position++;
    if (b == '\n') {
        lex->line++;
        lex->last_column = lex->column;
        lex->column = 0;
    } else if (starts_char(b)) {
        lex->column++;
    }
    return b;
}

// ---- Stream runs -------------------------------------------------------------

// Whether reader R takes runs from the stream's buffer.
template <class R>
constexpr bool kStreamRuns = false;
template <>
constexpr bool kStreamRuns<FileReader> = FileReader::kBuffered;

// The stream's buffered bytes [*start, end) when the next byte comes from
// the stream itself: no character half delivered from lex->buffer and no
// un-read NUL pending. Otherwise an empty range.
inline const unsigned char *stream_pending(const KelJsonLexer *lex,
                                           const unsigned char **start) noexcept
{
    const bool held = lex->eof || lex->buffer[lex->buffer_pos] != '\0' ||
                      (lex->buffer_pos == 0 && lex->buffer[1] == kPendingNul);
    if (held) {
        *start = nullptr;
        return nullptr;
    }
    return FileReader::buffered(lex, start);
}

// Byte count of a character from its lead byte (0xC2..0xF4).
constexpr int lead_length(unsigned b) noexcept { return b <= 0xDF ? 2 : b <= 0xEF ? 3 : 4; }

// As copy_run, for the bytes already in the stream's buffer: a character cut
// by the buffer's end is left to byte-wise reading.
template <bool kMultibyte>
void copy_stream_run(KelJsonLexer *lex, const bool (&plain)[256]) noexcept
{
    const unsigned char *start;
    const unsigned char *const end = stream_pending(lex, &start);
    const unsigned char *p = start;
    guint32 chars = 0;
    while (p < end) {
        if (plain[*p]) {
            p++;
        } else if (kMultibyte && *p >= 0xC2 && *p <= 0xF4) {
            const int n = lead_length(*p);
            if (end - p < n || valid_multibyte(p) == 0)
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
    FileReader::take(lex, n);
    lex->position += static_cast<guint32>(n);
    lex->column += chars;
}

// Skips the white space in the stream's buffer, counting as byte-wise
// reading would.
void skip_stream_space(KelJsonLexer *lex) noexcept
{
    const unsigned char *start;
    const unsigned char *const end = stream_pending(lex, &start);
    const unsigned char *p = start;
    for (; p < end && is_space(*p); p++) {
        if (*p == '\n') {
            lex->line++;
            lex->last_column = lex->column;
            lex->column = 0;
        } else {
            lex->column++;
        }
    }
    const auto n = static_cast<gsize>(p - start);
    FileReader::take(lex, n);
    lex->position += static_cast<guint32>(n);
}

// Bytes a number may hold.
constexpr ByteSet kNumberBytes = [] {
    ByteSet t;
    for (int b = '0'; b <= '9'; b++)
        t.plain[b] = true;
    for (const char b : {'.', 'e', 'E', '+', '-'})
        t.plain[static_cast<unsigned char>(b)] = true;
    return t;
}();

// The number whose first byte `c` was just read, taken whole from the
// stream's buffer when the buffer also holds a byte that ends it (number_at
// decides the rest). That byte is taken from the stream too and left in
// lex->buffer as un-read, as byte-wise reading leaves it.
bool number_from_stream(KelJsonLexer *lex, int c) noexcept
{
    const unsigned char *start;
    const unsigned char *const end = stream_pending(lex, &start);
    const unsigned char *t = start;
    while (t < end && kNumberBytes.plain[*t])
        t++;
    if (t == end || *t == '\0')
        return false;
    const unsigned char *p = number_at(lex, c, start);
    if (p == nullptr)
        return false;
    const auto n = static_cast<gsize>(p - start);
    FileReader::take(lex, n + 1);
    lex->buffer[0] = static_cast<char>(*p);
    lex->buffer[1] = '\0';
    lex->buffer_pos = 0;
    lex->position += static_cast<guint32>(n);
    lex->column += static_cast<guint32>(n);
    return true;
}

template <class R>
inline int get_save(KelJsonLexer *lex) noexcept
{
    const int c = get_byte<R>(lex);
    if (c > 0)
        g_string_append_c(lex->text, static_cast<char>(c));
    return c;
}

// Un-reads the byte just read without touching lex->text.
inline void unread(KelJsonLexer *lex, int c) noexcept
{
    lex->position--;
    if (c == '\n') {
        lex->line--;
        lex->column = lex->last_column;
    } else if (starts_char(static_cast<unsigned>(c))) {
        lex->column--;
    }
    lex->buffer_pos--;
}

inline void unread_saved(KelJsonLexer *lex, int c) noexcept
{
    unread(lex, c);
    g_string_truncate(lex->text, lex->text->len - 1);
}

// Un-reads a NUL byte just read from a stream (it was never saved).
inline void unread_nul(KelJsonLexer *lex) noexcept
{
    unread(lex, 0);
    lex->buffer[1] = kPendingNul;
}

// Un-reads the byte that ended a complete number or word: any byte but the
// end of input, the NUL byte included.
inline void unread_terminator(KelJsonLexer *lex, int c) noexcept
{
    if (c > 0)
        unread_saved(lex, c);
    else if (c == 0)
        unread_nul(lex);
}

// ---- Failures --------------------------------------------------------------

void attach_position(const KelJsonLexer *lex, KelError **error) noexcept
{
    if (error == nullptr || *error == nullptr)
        return;
    auto *item = reinterpret_cast<KelJsonErrorDataPosition *>(
        kel_error_data_new(*error, kel_json_error_domain(), KEL_JSON_ERROR_DATA_POSITION,
                           sizeof(KelJsonErrorDataPosition), nullptr));
    item->line = lex->line;
    item->column = lex->column;
    item->position = lex->position;
}

// A failed token: the end of input inside a string, or bad UTF-8 there.
int fail_in_string(KelJsonLexer *lex) noexcept
{
    if (lex->eof)
        lex_fail(lex, "Reached end of input unexpectedly.");
    else
        lex_fail(lex, "UTF-8 decoding failed.");
    return 0;
}

}  // namespace

// ---- Words -----------------------------------------------------------------

template <class R>
int scan_word(KelJsonLexer *lex) noexcept
{
    int c;
    do {
        c = get_save<R>(lex);
    } while (is_alpha(c));
    if (c < 0 && !lex->eof) {
        lex_fail(lex, "Error decoding UTF-8 sequence");
        return 0;
    }
    unread_terminator(lex, c);
    const std::string_view word(lex->text->str, lex->text->len);
    if (word == "true")
        lex->token = KEL_JSON_TOKEN_TRUE;
    else if (word == "false")
        lex->token = KEL_JSON_TOKEN_FALSE;
    else if (word == "null")
        lex->token = KEL_JSON_TOKEN_NULL;
    else {
        lex_fail(lex, "Invalid JSON identifier: %s", lex->text->str);
        return 0;
    }
    return 1;
}

namespace {

// ---- Numbers ---------------------------------------------------------------

// True for the decimal text of a non-negative integer below 2^128 (the lexer's
// grammar rules out leading zeros, so the digit count decides, then the digits).
bool fits_uint128(std::string_view text) noexcept
{
    constexpr std::string_view kMax = "340282366920938463463374607431768211455";
    if (text.empty() || text[0] == '-')
        return false;
    return text.size() < kMax.size() || (text.size() == kMax.size() && text <= kMax);
}

int convert_integer(KelJsonLexer *lex) noexcept
{
    const char *text = lex->text->str;
    const bool negative = text[0] == '-';
    const gsize digits = lex->text->len - (negative ? 1 : 0);
    if (digits <= kShortIntDigits) {
        gint64 v = 0;
        for (const char *p = text + (negative ? 1 : 0); *p != '\0'; p++)
            v = v * 10 + (*p - '0');
        lex->value.integer = negative ? -v : v;
        lex->token = KEL_JSON_TOKEN_INTEGER;
        return 1;
    }
    char *end = nullptr;
    errno = 0;
    const gint64 v = g_ascii_strtoll(text, &end, 10);
    if (errno == 0 && end != text) {
        lex->value.integer = v;
        lex->token = KEL_JSON_TOKEN_INTEGER;
        return 1;
    }
    if (errno != ERANGE) {
        lex_fail(lex, "Invalid integer: %s", text);
        return 0;
    }
    // Outside int64. Integers that no kind of the library holds exactly (below
    // -2^63, or 2^128 and above) are refused rather than wrapped modulo 2^128:
    // a document must never read back with a different number in it.
    KelUint128 u{};
    if (!fits_uint128(text) || kel_uint128_from_str(text, &u) != 0) {
        lex_fail(lex, "Not a valid uint128 value: %s", text);
        return 0;
    }
    lex->value.u128 = u;
    lex->token = KEL_JSON_TOKEN_UINT128;
    return 1;
}

int convert_real(KelJsonLexer *lex) noexcept
{
    const char *text = lex->text->str;
    // from_chars rounds correctly, as glibc's strtod does, so both give the
    // same double; it is several times faster on long mantissas. Its answer
    // is taken only where fast_real_ok vouches for it; the rest goes to
    // g_ascii_strtod. ERANGE from there is an error only for overflow: an
    // underflow keeps the subnormal or signed zero the conversion rounded
    // to, so that every double the dump writes reads back.
    double fast = 0.0;
    const char *text_end = text + lex->text->len;
    const auto res = std::from_chars(text, text_end, fast);
    if (res.ec == std::errc() && res.ptr == text_end && fast_real_ok(fast)) {
        lex->value.real = fast;
        lex->token = KEL_JSON_TOKEN_REAL;
        return 1;
    }
    char *end = nullptr;
    errno = 0;
    const double d = g_ascii_strtod(text, &end);
    if ((errno != 0 && std::isinf(d)) || end == text) {
        lex_fail(lex, "Invalid double: %s", text);
        return 0;
    }
    lex->value.real = d;
    lex->token = KEL_JSON_TOKEN_REAL;
    return 1;
}

// Reads and saves digits; returns the first byte that is not one (saved
// as well when above 0).
template <class R>
int read_digits(KelJsonLexer *lex) noexcept
{
    int c;
    do {
        if constexpr (R::kDirect)
            copy_run<false>(lex, kDigits.plain);
        else if constexpr (kStreamRuns<R>)
            copy_stream_run<false>(lex, kDigits.plain);
        c = get_save<R>(lex);
    } while (is_digit(c));
    return c;
}

}  // namespace

// `c` is the first byte, already saved: a digit or the minus sign.
template <class R>
int scan_number(KelJsonLexer *lex, int c) noexcept
{
    bool real = false;
    if (c == '-')
        c = get_save<R>(lex);
    if (c == '0') {
        c = get_save<R>(lex);
        if (is_digit(c)) {
            lex_fail(lex, "Invalid number: %s", lex->text->str);
            return 0;
        }
    } else if (!is_digit(c)) {
        lex_fail(lex, "Invalid number: %s", lex->text->str);
        if (c > 0)
            unread_saved(lex, c);
        return 0;
    } else {
        c = read_digits<R>(lex);
    }
    if (c == '.') {
        // The byte after the point is read unsaved, so that the message of
        // a missing fraction shows the text up to the point.
        c = get_byte<R>(lex);
        if (!is_digit(c)) {
            lex_fail(lex, "Invalid double: %s", lex->text->str);
            if (c > 0)
                unread(lex, c);
            else if (c == 0)
                unread_nul(lex);
            return 0;
        }
        g_string_append_c(lex->text, static_cast<char>(c));
        c = read_digits<R>(lex);
        real = true;
    }
    if (c == 'e' || c == 'E') {
        c = get_save<R>(lex);
        if (c == '+' || c == '-')
            c = get_save<R>(lex);
        if (!is_digit(c)) {
            lex_fail(lex, "Invalid double: %s", lex->text->str);
            if (c > 0)
                unread_saved(lex, c);
            return 0;
        }
        c = read_digits<R>(lex);
        real = true;
    }
    if (c < 0 && !lex->eof) {
        // The character after the number is not valid UTF-8; ending the
        // number there would drop the bytes that the failed read consumed.
        lex_fail(lex, "Error decoding UTF-8 sequence");
        return 0;
    }
    unread_terminator(lex, c);
    return real ? convert_real(lex) : convert_integer(lex);
}

namespace {

// ---- Strings ---------------------------------------------------------------


// First pass over an escape; the backslash has been read. Checks the escape
// letter and the four hexadecimal digits of \u.
template <class R>
bool scan_escape(KelJsonLexer *lex) noexcept
{
    // What followed the backslash, for the messages: at most "u" and four digits.
    char seen[6] = {};
    int n = 0;
    const int e = get_save<R>(lex);
    if (e < 0)
        return fail_in_string(lex);
    seen[n++] = static_cast<char>(e);
    switch (e) {
    case 'u':
        for (int i = 0; i < 4; i++) {
            const int h = get_save<R>(lex);
            if (h < 0)
                return fail_in_string(lex);
            seen[n++] = static_cast<char>(h);
            if (hex_value(h) < 0) {
                lex_fail(lex, "Invalid UTF-8 escape sequence: %s", seen);
                return false;
            }
        }
        return true;
    case '"':
    case '\\':
    case '/':
    case 'b':
    case 'f':
    case 'n':
    case 'r':
    case 't':
        return true;
    default:
        lex_fail(lex, "Unrecognized escape sequence: %s", seen);
        return false;
    }
}

// The four hexadecimal digits at p, all checked by the first pass.
inline guint32 hex4(const char *p) noexcept
{
    guint32 v = 0;
    for (int i = 0; i < 4; i++)
        v = (v << 4) | static_cast<guint32>(hex_value(static_cast<unsigned char>(p[i])));
    return v;
}

inline char *put_utf8(char *dst, guint32 cp) noexcept
{
    auto put = [&dst](guint32 byte) { *dst++ = static_cast<char>(byte); };
    if (cp < 0x80) {
        put(cp);
    } else if (cp < 0x800) {
        put(0xC0 | (cp >> 6));
        put(0x80 | (cp & 0x3F));
    } else if (cp < 0x10000) {
        put(0xE0 | (cp >> 12));
        put(0x80 | ((cp >> 6) & 0x3F));
        put(0x80 | (cp & 0x3F));
    } else {
        put(0xF0 | (cp >> 18));
        put(0x80 | ((cp >> 12) & 0x3F));
        put(0x80 | ((cp >> 6) & 0x3F));
        put(0x80 | (cp & 0x3F));
    }
    return dst;
}

// Decodes the \u escape at src (src[0] is the backslash) into dst. Returns
// the number of source bytes used, or 0 after reporting a failure.
int decode_unicode(KelJsonLexer *lex, const char *src, char **dst) noexcept
{
    const guint32 v = hex4(src + 2);
    if (v == 0) {
        lex_fail(lex, "Invalid UTF-8 escape sequence: \\%.5s", src + 1);
        return 0;
    }
    if (v >= 0xDC00 && v <= 0xDFFF) {
        lex_fail(lex, "Invalid UTF-8 escape sequence value: 0x%lX", static_cast<unsigned long>(v));
        return 0;
    }
    if (v < 0xD800 || v > 0xDBFF) {
        *dst = put_utf8(*dst, v);
        return 6;
    }
    // A high surrogate: the low half must follow as a second escape. The raw
    // text ends with the closing quote, so src[6] and src[7] exist.
    if (src[6] != '\\' || src[7] != 'u') {
        lex_fail(lex, "Expected surrogate pair for UTF-8 escape sequence: \\%.5s", src + 6);
        return 0;
    }
    const guint32 w = hex4(src + 8);
    if (w == 0) {
        lex_fail(lex, "Invalid UTF-8 escape sequence: \\%.5s", src + 7);
        return 0;
    }
    if (w < 0xDC00 || w > 0xDFFF) {
        lex_fail(lex, "Invalid surrogate pair UTF-8 escape sequences: \\%.10s", src + 6);
        return 0;
    }
    *dst = put_utf8(*dst, 0x10000 + ((v - 0xD800) << 10) + (w - 0xDC00));
    return 12;
}

// Second pass: decodes the raw string in lex->text (opening quote first,
// closing quote last) in place. The decoded text is never longer than the
// raw one, so the writes stay behind the reads.
int decode_string(KelJsonLexer *lex, bool escaped) noexcept
{
    char *const start = lex->text->str + 1;
    lex->value.string.str = start;
    char *dst = start;
    if (!escaped) {
        dst = start + (lex->text->len - 2);  // nothing to decode
    } else {
        const char *src = start;
        while (*src != '"') {
            if (*src != '\\') {
                *dst++ = *src++;
                continue;
            }
            switch (src[1]) {
            case 'b': *dst++ = '\b'; break;
            case 'f': *dst++ = '\f'; break;
            case 'n': *dst++ = '\n'; break;
            case 'r': *dst++ = '\r'; break;
            case 't': *dst++ = '\t'; break;
            case 'u': {
                const int used = decode_unicode(lex, src, &dst);
                if (used == 0)
                    return 0;
                src += used;
                continue;
            }
            default: *dst++ = src[1]; break;  // the quote, backslash or slash
            }
            src += 2;
        }
    }
    *dst = '\0';
    lex->value.string.len = static_cast<gsize>(dst - start);
    lex->token = KEL_JSON_TOKEN_STRING;
    return 1;
}

}  // namespace

// The opening quote has been read and saved.
template <class R>
int scan_string(KelJsonLexer *lex) noexcept
{
    lex->value.string.str = nullptr;
    bool escaped = false;
    for (;;) {
        if constexpr (R::kDirect)
            copy_run<true>(lex, kStringPlain.plain);
        else if constexpr (kStreamRuns<R>)
            copy_stream_run<true>(lex, kStringPlain.plain);
        const int c = get_byte<R>(lex);
        if (c > 0)
            g_string_append_c(lex->text, static_cast<char>(c));
        if (c == '"')
            break;
        if (c < 0)
            return fail_in_string(lex);
        if (c < 0x20) {
            lex_fail(lex, "Encountered unexpected control char: 0x%x", c);
            return 0;
        }
        if (c == '\\') {
            escaped = true;
            if (!scan_escape<R>(lex))
                return 0;
        }
    }
    return decode_string(lex, escaped);
}

// ---- Tokens ----------------------------------------------------------------

// For the string source, token_in_place comes first and leaves to this
// function only the tokens it does not begin. Not inlined, so that lex_next
// stays a dispatch of tail calls without a frame of its own.
template <class R>
G_GNUC_NO_INLINE int next_token(KelJsonLexer *lex) noexcept
{
    reset_token(lex);
    int c;
    do {
        if constexpr (R::kDirect)
            skip_space_run(lex);
        else if constexpr (kStreamRuns<R>)
            skip_stream_space(lex);
        c = get_byte<R>(lex);
    } while (is_space(c));
    if (c < 0) {
        if (lex->eof) {
            lex->token = KEL_JSON_TOKEN_EOF;
            return 1;
        }
        lex_fail(lex, "Error decoding UTF-8 sequence");
        return 0;
    }
    g_string_append_c(lex->text, static_cast<char>(c));
    if (is_structural(c)) {
        lex->token = c;
        return 1;
    }
    if (c == '"')
        return scan_string<R>(lex);
    if (c == '-' || is_digit(c)) {
        if constexpr (kStreamRuns<R>) {
            if (number_from_stream(lex, c))
                return 1;
        }
        return scan_number<R>(lex, c);
    }
    if (is_alpha(c))
        return scan_word<R>(lex);
    lex_fail(lex, "Unexpected character in input stream: '%c'", c);
    return 0;
}

int str_source_get(void *data) noexcept
{
    auto *src = static_cast<KelJsonStrSource *>(data);
    const auto b = static_cast<unsigned char>(src->str[src->pos]);
    if (b == 0)
        return -1;  // the end repeats: pos stays on the NUL
    src->pos++;
    return b;
}

int file_source_get(void *data) noexcept
{
    // The loader holds the stream's lock (see FileReader).
    const int c = getc_unlocked(static_cast<KelJsonFileSource *>(data)->fh);
    return c == EOF ? -1 : c;
}

int lex_next(KelJsonLexer *lex) noexcept
{
    // A tail call: token_in_place goes on to next_token<StrReader> itself.
    if (is_str_source(lex))
        return token_in_place(lex);
    if (lex->get == file_source_get)
        return next_token<FileReader>(lex);
    return next_token<CallReader>(lex);
}

const char *lex_token_name(gint32 token) noexcept
{
    switch (token) {
    case KEL_JSON_TOKEN_EOF: return "EOF";
    case KEL_JSON_TOKEN_INVALID: return "<invalid>";
    case KEL_JSON_TOKEN_STRING: return "string";
    case KEL_JSON_TOKEN_INTEGER: return "integer";
    case KEL_JSON_TOKEN_REAL: return "real";
    case KEL_JSON_TOKEN_TRUE: return "'true'";
    case KEL_JSON_TOKEN_FALSE: return "'false'";
    case KEL_JSON_TOKEN_NULL: return "'null'";
    case KEL_JSON_TOKEN_UINT128: return "uint128";
    default: break;
    }
    for (const char *const *name = chr_strs; *name != nullptr; name++) {
        if ((*name)[1] == token)
            return *name;
    }
    // The lexer produces no other kinds; a stray value reads as no token.
    return "<invalid>";
}

void lex_error_position(KelJsonLexer *lex) noexcept { attach_position(lex, lex->error); }

void lex_vfail(const KelJsonLexer *lex, KelError **error, const char *format,
               va_list args) noexcept
{
    if (error == nullptr)
        return;  // no details wanted: nothing is formatted
    *error = kel_error_new_valist(*error, kel_json_error_domain(), KEL_JSON_PARSE_ERROR, format,
                                  args);
    attach_position(lex, error);
}

void lex_fail(KelJsonLexer *lex, const char *format, ...) noexcept
{
    va_list args;
    va_start(args, format);
    lex_vfail(lex, lex->error, format, args);
    va_end(args);
}

int lex_get(KelJsonLexer *lex) noexcept
{
    return is_str_source(lex) ? get_byte<StrReader>(lex) : get_byte<CallReader>(lex);
}

int lex_get_save(KelJsonLexer *lex) noexcept
{
    return is_str_source(lex) ? get_save<StrReader>(lex) : get_save<CallReader>(lex);
}

void lex_unget(KelJsonLexer *lex, int c) noexcept { unread_saved(lex, c); }

// The string source's scanners, for the direct paths' fallbacks.
template int scan_word<StrReader>(KelJsonLexer *lex) noexcept;
template int scan_number<StrReader>(KelJsonLexer *lex, int c) noexcept;
template int scan_string<StrReader>(KelJsonLexer *lex) noexcept;
template int next_token<StrReader>(KelJsonLexer *lex) noexcept;

}  // namespace kel

void lex_init(KelJsonLexer *lex, KelJsonLexGetFunc get, void *data, KelError **error)
{
    KEL_RETURN_IF_FAIL(lex);
    lex->get = get;
    lex->data = data;
    lex->error = error;
    lex->text = g_string_new(nullptr);
    lex->buffer[0] = '\0';
    lex->buffer[1] = '\0';  // see kPendingNul
    lex->buffer_pos = 0;
    lex->eof = 0;
    lex->line = 1;
    lex->column = 0;
    lex->last_column = 0;
    lex->position = 0;
    lex->token = KEL_JSON_TOKEN_INVALID;
}
