// The JSON lexer's internal interface, shared by the lexer and the parser.
// Only lex_init and chr_strs are exported (declared in kel_json.h).
#pragma once

#include <cstdarg>

#include "kel_internal.h"

namespace kel {

// Readers of the two sources the loaders set up. The lexer recognises
// str_source_get and then reads the string directly instead of calling
// through the pointer; every counter stays as if it had called it.
int str_source_get(void *data) noexcept;

// The record behind str_source_get: the source and the end of its text (its
// NUL), which lets the lexer read the text a word at a time.
struct StrInput : KelJsonStrSource {
    const char *end;
};
int file_source_get(void *data) noexcept;

// Reads the next token into lex->token / lex->value. 1 on success (the end
// of input included), 0 after a failure has been reported; the token is then
// KEL_JSON_TOKEN_INVALID and the lexer can be asked for the next token.
int lex_next(KelJsonLexer *lex) noexcept;

// Display name of a token kind, as used in the syntax messages.
const char *lex_token_name(gint32 token) noexcept;

// Attaches a position item with the current counters to the head of *error.
void lex_error_position(KelJsonLexer *lex) noexcept;

// Reports KEL_JSON_PARSE_ERROR with the message into lex->error, then the
// position item. lex_vfail reports into the given slot instead.
void lex_fail(KelJsonLexer *lex, const char *format, ...) noexcept G_GNUC_PRINTF(2, 3);
void lex_vfail(const KelJsonLexer *lex, KelError **error, const char *format,
               va_list args) noexcept G_GNUC_PRINTF(3, 0);

// Byte-level access: the next byte 0..255, or -1 at the end of input (eof
// set) or after an encoding failure (eof clear).
int lex_get(KelJsonLexer *lex) noexcept;
// As lex_get; a result above 0 is also appended to lex->text.
int lex_get_save(KelJsonLexer *lex) noexcept;
// Un-reads the byte just read (above 0) and drops it from lex->text.
void lex_unget(KelJsonLexer *lex, int c) noexcept;

// ---- Parser (kel_json_parser.cpp) --------------------------------------------

// Parses the value that begins at the current token and consumes exactly its
// tokens: on success the current token is the value's last one. Returns a new
// value owned by the caller, or NULL after reporting into `error`.
KelJson *parse_value(KelJsonLexer *lex, int flags, KelError **error) noexcept;

}  // namespace kel
