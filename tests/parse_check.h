// Helpers of the lexer, parser and conformance tests: loading text through
// either source and reading back the error chain with its position items.
#pragma once

#include <stdio.h>

#include <string>
#include <vector>

#include "test_util.h"

namespace kel_parse_test {

struct Position {
    guint32 line;
    guint32 column;
    guint32 position;
    bool operator==(const Position &) const = default;
};

inline std::ostream &operator<<(std::ostream &os, const Position &p)
{
    return os << "{line " << p.line << ", column " << p.column << ", position " << p.position
              << "}";
}

// One error of a chain as the tests see it. `positions` counts the position
// items attached to it; `at` is the newest one.
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
            if (info.positions++ == 0) {
                const auto *p = reinterpret_cast<const KelJsonErrorDataPosition *>(d);
                info.at = {p->line, p->column, p->position};
            }
        }
        out.push_back(info);
    }
    return out;
}

// The outcome of one load: the value (owned) and the error chain.
struct Loaded {
    kel_test::JsonRoot root;
    kel_test::ErrorSlot err;
    long stream_offset = -1;  // where a stream load left the stream
    std::vector<ErrorInfo> chain() const { return chain_of(err.err); }
};

enum class Source { String, Stream };

inline const char *source_name(Source s) { return s == Source::String ? "string" : "stream"; }

// Loads `text` (all of its bytes for a stream, up to the first NUL for the
// string source) into `out`.
inline void load(Source source, const std::string &text, int flags, Loaded &out)
{
    if (source == Source::String) {
        out.root.json = kel_json_loads(text.c_str(), flags, &out.err);
        return;
    }
    // fmemopen refuses a zero-sized buffer; one spare byte outside the
    // stream's size keeps the call valid for the empty text.
    std::string buffer = text + '\0';
    FILE *fh = fmemopen(buffer.data(), text.size() == 0 ? 1 : text.size(), "r");
    ASSERT_NE(fh, nullptr);
    if (text.empty())
        fgetc(fh);  // consume the spare byte: the stream is at its end
    out.root.json = kel_json_loadf(fh, flags, &out.err);
    out.stream_offset = ftell(fh);
    fclose(fh);
}

// `text` fails through both sources with exactly this chain (newest first):
// each error KEL_JSON_PARSE_ERROR with one position item.
struct Expected {
    std::string message;
    Position at;
};

inline void expect_failure(const std::string &text, const std::vector<Expected> &expected,
                           int flags = 0)
{
    for (Source source : {Source::String, Source::Stream}) {
        SCOPED_TRACE(std::string(source_name(source)) + " source, input: " + text);
        Loaded r;
        load(source, text, flags, r);
        EXPECT_EQ(r.root.json, nullptr);
        const auto chain = r.chain();
        ASSERT_EQ(chain.size(), expected.size());
        for (size_t i = 0; i < chain.size(); i++) {
            SCOPED_TRACE("error " + std::to_string(i));
            EXPECT_EQ(chain[i].domain, kel_json_error_domain());
            EXPECT_EQ(chain[i].code, KEL_JSON_PARSE_ERROR);
            EXPECT_EQ(chain[i].message, expected[i].message);
            EXPECT_EQ(chain[i].positions, 1);
            EXPECT_EQ(chain[i].at, expected[i].at);
        }
        // Without an error slot the result alone tells the failure.
        Loaded quiet;
        if (source == Source::String)
            quiet.root.json = kel_json_loads(text.c_str(), flags, nullptr);
        EXPECT_EQ(quiet.root.json, nullptr);
    }
}

// `text` parses through both sources; returns the sorted compact dump.
inline std::string parsed(const std::string &text, int flags = 0)
{
    std::string first;
    for (Source source : {Source::String, Source::Stream}) {
        SCOPED_TRACE(std::string(source_name(source)) + " source, input: " + text);
        Loaded r;
        load(source, text, flags, r);
        EXPECT_NE(r.root.json, nullptr);
        if (r.err)
            ADD_FAILURE() << "unexpected error: " << r.err.message();
        if (r.root.json == nullptr)
            return "<failed>";
        EXPECT_EQ(r.root.json->parent, nullptr);
        const std::string text_out = kel_test::dump(r.root.json);
        if (source == Source::String)
            first = text_out;
        else
            EXPECT_EQ(text_out, first);
    }
    return first;
}

}  // namespace kel_parse_test
