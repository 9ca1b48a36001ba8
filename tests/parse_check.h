// Helpers of the lexer, parser and conformance tests: loading text through
// either source and reading back the error chain with its position items.
#pragma once

#include <stdio.h>

#include "test_util.h"

namespace kel_parse_test {

struct Position {
    guint32 line, column, position;
    bool operator==(const Position &) const = default;
};

inline std::ostream &operator<<(std::ostream &os, const Position &p)
{
    return os << "{line " << p.line << ", column " << p.column << ", position " << p.position << "}";
}

// One error of a chain: `positions` counts its position items, `at` is the newest.
struct ErrorInfo {
    GQuark domain;
    int code;
    std::string message;
    int positions;
    Position at;
};

inline std::vector<ErrorInfo> chain_of(const KelError *err)
{
    std::vector<ErrorInfo> out;
    for (; err != nullptr; err = err->next) {
        ErrorInfo info{err->gerror->domain, err->gerror->code, err->gerror->message, 0, {}};
        for (const KelErrorData *d = err->data; d != nullptr; d = d->next) {
            if (d->domain != kel_json_error_domain() || d->type != KEL_JSON_ERROR_DATA_POSITION)
                continue;
            EXPECT_EQ(d->free_func, nullptr);
            const auto *p = reinterpret_cast<const KelJsonErrorDataPosition *>(d);
            if (info.positions++ == 0)
                info.at = {p->line, p->column, p->position};
        }
        out.push_back(info);
    }
    return out;
}

// The outcome of one load: the value (owned), the error chain and, for a
// stream, where the load left it.
struct Loaded {
    kel_test::JsonRoot root;
    kel_test::ErrorSlot err;
    long stream_offset = -1;
    std::vector<ErrorInfo> chain() const { return chain_of(err.err); }
};

enum class Source { String, Stream };

// Loads `text`: all of its bytes from a stream, up to the first NUL from a string.
inline void load(Source source, const std::string &text, int flags, Loaded &out)
{
    if (source == Source::String) {
        out.root.json = kel_json_loads(text.c_str(), flags, &out.err);
        return;
    }
    // fmemopen refuses a zero size; a spare byte, consumed first, stands in.
    std::string buffer = text + '\0';
    FILE *fh = fmemopen(buffer.data(), text.empty() ? 1 : text.size(), "r");
    ASSERT_NE(fh, nullptr);
    // A small buffer whose size varies with the text puts the buffer's ends
    // at many places inside tokens.
    char small[8];
    setvbuf(fh, small, _IOFBF, 2 + text.size() % 7);
    if (text.empty())
        fgetc(fh);
    out.root.json = kel_json_loadf(fh, flags, &out.err);
    out.stream_offset = ftell(fh);
    fclose(fh);
}

// The value (sorted compact dump) and the error chain with positions, as one
// line; `offset` receives where a stream load stopped.
inline std::string outcome(Source source, const std::string &text, int flags = 0, long *offset = nullptr)
{
    Loaded r;
    load(source, text, flags, r);
    if (offset)
        *offset = r.stream_offset;
    std::string out = r.root.json != nullptr ? "value " + kel_test::dump(r.root.json) : "";
    for (const auto &e : r.chain())
        out += " | " + e.message + " @" + std::to_string(e.at.line) + ":" + std::to_string(e.at.column) + ":" + std::to_string(e.at.position);
    return out;
}

struct Expected {
    std::string message;
    Position at;
};

// `text` fails through both sources (and without an error slot) with exactly
// this chain, newest first: KEL_JSON_PARSE_ERROR, one position item each.
inline void expect_failure(const std::string &text, const std::vector<Expected> &expected, int flags = 0)
{
    for (Source source : {Source::String, Source::Stream}) {
        SCOPED_TRACE(std::string(source == Source::String ? "string" : "stream") + " source, input: " + text);
        Loaded r;
        load(source, text, flags, r);
        EXPECT_EQ(r.root.json, nullptr);
        const auto chain = r.chain();
        ASSERT_EQ(chain.size(), expected.size());
        for (size_t i = 0; i < chain.size(); i++) {
            EXPECT_TRUE(chain[i].domain == kel_json_error_domain() && chain[i].code == KEL_JSON_PARSE_ERROR) << i;
            EXPECT_EQ(chain[i].message, expected[i].message);
            EXPECT_EQ(chain[i].positions, 1) << i;
            EXPECT_EQ(chain[i].at, expected[i].at) << i;
        }
    }
    EXPECT_EQ(kel_json_loads(text.c_str(), flags, nullptr), nullptr);
}

// `text` parses alike through both sources into a root; its sorted compact dump.
inline std::string parsed(const std::string &text, int flags = 0)
{
    std::string first;
    for (Source source : {Source::String, Source::Stream}) {
        SCOPED_TRACE(std::string(source == Source::String ? "string" : "stream") + " source, input: " + text);
        Loaded r;
        load(source, text, flags, r);
        if (r.root.json == nullptr || r.err) {
            ADD_FAILURE() << "unexpected error: " << r.err.message();
            return "<failed>";
        }
        EXPECT_EQ(r.root.json->parent, nullptr);
        const std::string out = kel_test::dump(r.root.json);
        EXPECT_TRUE(source == Source::String || out == first) << out << " vs " << first;
        first = out;
    }
    return first;
}

}  // namespace kel_parse_test
