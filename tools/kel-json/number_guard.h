// Watches JSON text on its way into the parser for integer literals that the
// library cannot keep exactly.
//
// The parser stores every integer outside the int64 range as a uint128 and
// reduces it modulo 2^128: -9223372036854775809 reads back as
// 340282366920938463454151235394913435647 and 2^128 as 0. A tool that
// promises never to change a number must refuse such documents, and once
// parsed the original text is gone; so the bytes are looked at as the parser
// reads them.
#pragma once

#include <cstdio>
#include <string>

#include <sys/types.h>

#include <kel.h>

namespace kj {

class NumberGuard {
public:
    // Feeds the next bytes of the text, in order.
    void feed(const char *bytes, size_t n);
    // Ends the text (a number may end with it).
    void finish();

    bool found() const { return !literal_.empty(); }
    // Pushes a KEL_JSON_PARSE_ERROR naming the first such literal, with a
    // position item (line, and column of its last character) as the parser's
    // errors have.
    void report(KelError **err) const;

    // A stream that reads from `source` and feeds what it reads to this guard.
    // Close it with fclose (which leaves `source` open).
    FILE *wrap(FILE *source);
    // The read function of that stream.
    ssize_t read_for_stream(char *buf, size_t size);

private:
    void end_token();

    enum class State { kOutside, kNumber, kString, kEscape } state_ = State::kOutside;
    std::string token_;
    guint32 line_ = 1, column_ = 0, position_ = 0;
    FILE *source_ = nullptr;

    std::string literal_;  // the first literal found
    guint32 at_line_ = 0, at_column_ = 0, at_position_ = 0;
};

}  // namespace kj
