// The parser and the two loaders: the accepted grammar, every syntax message
// with its position, error chains, load flags, references, ownership of the
// result, stream handling, nesting depth and the input size guard.
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <thread>

#include "parse_check.h"

using namespace kel_parse_test;
using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;

namespace {

KelJson *at_index(KelJson *array, int i) { return kel_json_array_get_base(array, i, 0, nullptr); }

KelJson *member(KelJson *obj, const char *key) { return kel_json_obj_get_base(obj, key, 0, nullptr); }

std::string repeat(const std::string &s, size_t n)
{
    std::string out;
    out.reserve(s.size() * n);
    for (size_t i = 0; i < n; i++)
        out += s;
    return out;
}

}  // namespace

// ---- Arguments ------------------------------------------------------------------

TEST(ParseArgs, NullInput)
{
    ErrorSlot err;
    EXPECT_EQ(kel_json_loads(nullptr, 0, &err), nullptr);
    auto chain = chain_of(err.err);
    ASSERT_EQ(chain.size(), 1u);
    EXPECT_EQ(chain[0].code, KEL_JSON_ARG_INVALID);
    EXPECT_EQ(chain[0].message, "kel_json_loads: argument check failed: in");
    EXPECT_EQ(chain[0].positions, 0);

    err.clear();
    EXPECT_EQ(kel_json_loadf(nullptr, 0, &err), nullptr);
    chain = chain_of(err.err);
    ASSERT_EQ(chain.size(), 1u);
    EXPECT_EQ(chain[0].code, KEL_JSON_ARG_INVALID);
    EXPECT_EQ(chain[0].message, "kel_json_loadf: argument check failed: fh");
    EXPECT_EQ(chain[0].positions, 0);

    // No slot: no warning either.
    kel_test::LogCapture log;
    EXPECT_EQ(kel_json_loads(nullptr, 0, nullptr), nullptr);
    EXPECT_EQ(kel_json_loadf(nullptr, 0, nullptr), nullptr);
    EXPECT_TRUE(log.messages().empty());
}

TEST(ParseArgs, ErrorsStackOnTheCallersChain)
{
    ErrorSlot err;
    kel_set_error(&err, kel_error_domain(), KEL_IO_FAIL, "earlier");
    EXPECT_EQ(kel_json_loads("[1 #]", 0, &err), nullptr);
    const auto chain = chain_of(err.err);
    ASSERT_EQ(chain.size(), 3u);
    EXPECT_EQ(chain[0].domain, kel_json_error_domain());
    EXPECT_EQ(chain[2].domain, kel_error_domain());
    EXPECT_EQ(chain[2].message, "earlier");
    EXPECT_EQ(chain[2].positions, 0);
    // A successful load leaves the slot alone.
    JsonRoot ok(kel_json_loads("1", 0, &err));
    EXPECT_NE(ok.get(), nullptr);
    EXPECT_EQ(chain_of(err.err).size(), 3u);
}

// ---- Accepted documents --------------------------------------------------------

TEST(ParseDocuments, ScalarsAndWhiteSpace)
{
    EXPECT_EQ(parsed(" \t\r\n1 \t\r\n"), "1");
    EXPECT_EQ(parsed("null"), "null");
    EXPECT_EQ(parsed("\"lone\""), "\"lone\"");
    EXPECT_EQ(parsed("[]"), "[]");
    EXPECT_EQ(parsed("{}"), "{}");
    EXPECT_EQ(parsed(" [ ] "), "[]");
    EXPECT_EQ(parsed("[[],{},[[]]]"), "[[],{},[[]]]");
    EXPECT_EQ(parsed("{\"b\":[1,{\"c\":null}],\"a\":\"x\"}"), "{\"a\":\"x\",\"b\":[1,{\"c\":null}]}");
    EXPECT_EQ(parsed("{\"\":1}"), "{\"\":1}");
}

TEST(ParseDocuments, Kinds)
{
    const struct {
        const char *text;
        const char *type;
    } cases[] = {
        {"18446744073709551615", "uint128"}, {"-1", "int64"},  {"1.0", "double"},
        {"true", "true"},  {"false", "false"}, {"null", "null"}, {"\"s\"", "string"},
        {"[]", "array"},   {"{}", "object"},
    };
    for (const auto &c : cases) {
        JsonRoot v(kel_json_loads(c.text, 0, nullptr));
        ASSERT_NE(v.get(), nullptr) << c.text;
        EXPECT_STREQ(kel_json_type_string(v, TRUE), c.type) << c.text;
        EXPECT_EQ(v->refcount, 0);
        EXPECT_EQ(v->parent, nullptr);
    }
}

TEST(ParseDocuments, EveryValueKnowsItsParent)
{
    JsonRoot root(kel_json_loads("{\"list\":[10,\"s\",{\"k\":true}],\"o\":{\"n\":null}}", 0, nullptr));
    ASSERT_NE(root.get(), nullptr);
    KelJson *list = member(root, "list");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->parent, root.get());
    EXPECT_STREQ(kel_json_parent_key(list), "list");
    EXPECT_EQ(list->refcount, 1);
    for (int i = 0; i < 3; i++) {
        KelJson *elem = at_index(list, i);
        ASSERT_NE(elem, nullptr);
        EXPECT_EQ(elem->parent, list);
        EXPECT_EQ(kel_json_parent_index(elem), i);
        EXPECT_EQ(elem->refcount, 1);
    }
    KelJson *k = member(at_index(list, 2), "k");
    ASSERT_NE(k, nullptr);
    EXPECT_EQ(kel_test::pointer_of(k), "/list/2/k");
    EXPECT_EQ(kel_test::pointer_of(member(member(root, "o"), "n")), "/o/n");
    // Containers are owning.
    EXPECT_EQ(list->flags, 0);
    EXPECT_EQ(root->flags, 0);
}

TEST(ParseDocuments, DuplicateKeys)
{
    JsonRoot root(kel_json_loads("{\"a\":1,\"b\":[true],\"a\":2}", 0, nullptr));
    ASSERT_NE(root.get(), nullptr);
    EXPECT_EQ(kel_json_obj_size(root), 2);
    KelJson *a = member(root, "a");
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->i64, 2);
    EXPECT_STREQ(kel_json_parent_key(a), "a");
    // A replaced container is released with everything in it.
    EXPECT_EQ(parsed("{\"a\":{\"x\":[1,2]},\"a\":[3]}"), "{\"a\":[3]}");

    expect_failure("{\"a\":1,\"a\":2}", {{"Syntax error: duplicate key 'a'", {1, 10, 10}}},
                   KEL_JSON_LOAD_REJECT_DUPLICATES);
    expect_failure("[{\"a\":{\"b\":1,\"c\":2,\"b\":3}}]",
                   {{"Syntax error: duplicate key 'b'", {1, 22, 22}}},
                   KEL_JSON_LOAD_REJECT_DUPLICATES);
    // The same name in different objects is no duplicate.
    EXPECT_EQ(parsed("{\"a\":{\"a\":{\"a\":1}}}", KEL_JSON_LOAD_REJECT_DUPLICATES),
              "{\"a\":{\"a\":{\"a\":1}}}");
    // Names compare after decoding.
    expect_failure("{\"a\":1,\"\\u0061\":2}", {{"Syntax error: duplicate key 'a'", {1, 15, 15}}},
                   KEL_JSON_LOAD_REJECT_DUPLICATES);
}

TEST(ParseDocuments, References)
{
    JsonRoot ref(kel_json_loads("{\"$ref\":\"#/x\"}", 0, nullptr));
    ASSERT_NE(ref.get(), nullptr);
    EXPECT_STREQ(kel_json_type_string(ref, TRUE), "reference");
    EXPECT_STREQ(kel_json_jref_uri(ref), "#/x");
    EXPECT_EQ(ref->parent, nullptr);

    JsonRoot nested(kel_json_loads("[0,{\"$ref\":\"#/0\"},{\"a\":{\"$ref\":\"other.json#/a\"}}]", 0,
                                   nullptr));
    ASSERT_NE(nested.get(), nullptr);
    KelJson *r1 = at_index(nested, 1);
    ASSERT_NE(r1, nullptr);
    EXPECT_STREQ(kel_json_jref_uri(r1), "#/0");
    EXPECT_EQ(r1->parent, nested.get());
    EXPECT_EQ(kel_json_parent_index(r1), 1);
    KelJson *r2 = member(at_index(nested, 2), "a");
    ASSERT_NE(r2, nullptr);
    EXPECT_STREQ(kel_json_jref_uri(r2), "other.json#/a");
    EXPECT_STREQ(kel_json_parent_key(r2), "a");

    // Not a lone "$ref" string: stays an object.
    const char *objects[] = {
        "{\"$ref\":1}",
        "{\"$ref\":\"#/a\",\"b\":1}",
        "{\"$ref\":null}",
        "{\"$ref\":[\"#\"]}",
        "{\"$REF\":\"#\"}",
    };
    for (const char *text : objects) {
        JsonRoot obj(kel_json_loads(text, 0, nullptr));
        ASSERT_NE(obj.get(), nullptr) << text;
        EXPECT_STREQ(kel_json_type_string(obj, TRUE), "object") << text;
    }
    // Duplicates are resolved before the rule looks at the object.
    JsonRoot dup(kel_json_loads("{\"$ref\":1,\"$ref\":\"#/d\"}", 0, nullptr));
    ASSERT_NE(dup.get(), nullptr);
    EXPECT_STREQ(kel_json_jref_uri(dup), "#/d");
}

TEST(ParseDocuments, NestedReferenceThatLeadsNowhere)
{
    // The inner object becomes a reference; the outer one's "$ref" member then
    // is that reference, which leads nowhere, so the outer one stays an object.
    JsonRoot root(kel_json_loads("{\"$ref\":{\"$ref\":\"#/nothing\"}}", 0, nullptr));
    ASSERT_NE(root.get(), nullptr);
    EXPECT_STREQ(kel_json_type_string(root, TRUE), "object");
    EXPECT_STREQ(kel_json_jref_uri(member(root, "$ref")), "#/nothing");
}

// ---- Syntax errors -----------------------------------------------------------

TEST(ParseErrors, NoValue)
{
    expect_failure("", {{"Syntax error: unexpected token: EOF", {1, 0, 0}}});
    expect_failure(" \n\t ", {{"Syntax error: unexpected token: EOF", {2, 2, 4}}});
    expect_failure("]", {{"Syntax error: unexpected token: ']'", {1, 1, 1}}});
    expect_failure("}", {{"Syntax error: unexpected token: '}'", {1, 1, 1}}});
    expect_failure(":", {{"Syntax error: unexpected token: ':'", {1, 1, 1}}});
    expect_failure(",", {{"Syntax error: unexpected token: ','", {1, 1, 1}}});
    // A lexer failure on the first token is the only error.
    expect_failure("#", {{"Unexpected character in input stream: '#'", {1, 1, 1}}});
}

TEST(ParseErrors, Arrays)
{
    expect_failure("[1,]", {{"Syntax error: unexpected token: ']'", {1, 4, 4}}});
    expect_failure("[1 2]", {{"Syntax error: expected ']', got integer", {1, 4, 4}}});
    expect_failure("[1,", {{"Syntax error: expected ']', got EOF", {1, 3, 3}}});
    expect_failure("[", {{"Syntax error: expected ']', got EOF", {1, 1, 1}}});
    expect_failure("[1", {{"Syntax error: expected ']', got EOF", {1, 2, 2}}});
    expect_failure("[,1]", {{"Syntax error: unexpected token: ','", {1, 2, 2}}});
    expect_failure("[1}", {{"Syntax error: expected ']', got '}'", {1, 3, 3}}});
    expect_failure("[1:", {{"Syntax error: expected ']', got ':'", {1, 3, 3}}});
    expect_failure("[\"a\" \"b\"]", {{"Syntax error: expected ']', got string", {1, 8, 8}}});
    expect_failure("[1 1.5]", {{"Syntax error: expected ']', got real", {1, 6, 6}}});
    expect_failure("[1 true]", {{"Syntax error: expected ']', got 'true'", {1, 7, 7}}});
    expect_failure("[1 false]", {{"Syntax error: expected ']', got 'false'", {1, 8, 8}}});
    expect_failure("[1 null]", {{"Syntax error: expected ']', got 'null'", {1, 7, 7}}});
    expect_failure("[1 99999999999999999999]",
                   {{"Syntax error: expected ']', got uint128", {1, 23, 23}}});
    expect_failure("[1 [", {{"Syntax error: expected ']', got '['", {1, 4, 4}}});
    expect_failure("[1 {", {{"Syntax error: expected ']', got '{'", {1, 4, 4}}});
    expect_failure("[1 ,,", {{"Syntax error: unexpected token: ','", {1, 5, 5}}});
}

TEST(ParseErrors, Objects)
{
    expect_failure("{\"a\" 1}", {{"Syntax error: expected ':', got integer", {1, 6, 6}}});
    expect_failure("{1:2}", {{"Syntax error: expected string, got integer", {1, 2, 2}}});
    expect_failure("{\"a\":1,}", {{"Syntax error: expected string, got '}'", {1, 8, 8}}});
    expect_failure("{", {{"Syntax error: expected string, got EOF", {1, 1, 1}}});
    expect_failure("{\"a\"", {{"Syntax error: expected ':', got EOF", {1, 4, 4}}});
    expect_failure("{\"a\":", {{"Syntax error: unexpected token: EOF", {1, 5, 5}}});
    expect_failure("{\"a\":1", {{"Syntax error: expected '}', got EOF", {1, 6, 6}}});
    expect_failure("{\"a\":1]", {{"Syntax error: expected '}', got ']'", {1, 7, 7}}});
    expect_failure("{\"a\":1 \"b\":2}", {{"Syntax error: expected '}', got string", {1, 10, 10}}});
    expect_failure("{\"a\"::1}", {{"Syntax error: unexpected token: ':'", {1, 6, 6}}});
    expect_failure("{\"a\":}", {{"Syntax error: unexpected token: '}'", {1, 6, 6}}});
    expect_failure("{a:1}", {{"Syntax error: expected string, got <invalid>", {1, 2, 2}},
                             {"Invalid JSON identifier: a", {1, 2, 2}}});
    expect_failure("{null:1}", {{"Syntax error: expected string, got 'null'", {1, 5, 5}}});
    expect_failure("{[]:1}", {{"Syntax error: expected string, got '['", {1, 2, 2}}});
}

TEST(ParseErrors, TrailingInput)
{
    expect_failure("1 2", {{"Expected EOF, got integer", {1, 3, 3}}});
    expect_failure("[] []", {{"Expected EOF, got '['", {1, 4, 4}}});
    expect_failure("{}}", {{"Expected EOF, got '}'", {1, 3, 3}}});
    expect_failure("\"a\" #", {{"Expected EOF, got <invalid>", {1, 5, 5}},
                               {"Unexpected character in input stream: '#'", {1, 5, 5}}});
    // With flag 1 the value alone counts; other bits are ignored.
    EXPECT_EQ(parsed("1 2", KEL_JSON_LOAD_ALLOW_TRAILING), "1");
    EXPECT_EQ(parsed("[1] garbage #", KEL_JSON_LOAD_ALLOW_TRAILING), "[1]");
    EXPECT_EQ(parsed("{\"a\":1}\xFF", KEL_JSON_LOAD_ALLOW_TRAILING | 0x100), "{\"a\":1}");
    EXPECT_EQ(parsed("[1]", 0x7FFFFFF0), "[1]");
    expect_failure("{\"a\":1,\"a\":2} x", {{"Syntax error: duplicate key 'a'", {1, 10, 10}}}, ~0);
}

TEST(ParseErrors, LexerFailureInsideAValue)
{
    // Newest first: the parser's error naming <invalid>, then the lexer's.
    expect_failure("[1 #]", {{"Syntax error: expected ']', got <invalid>", {1, 4, 4}},
                             {"Unexpected character in input stream: '#'", {1, 4, 4}}});
    expect_failure("[1, #]", {{"Syntax error: unexpected token: <invalid>", {1, 5, 5}},
                              {"Unexpected character in input stream: '#'", {1, 5, 5}}});
    expect_failure("{\"a\" #", {{"Syntax error: expected ':', got <invalid>", {1, 6, 6}},
                                {"Unexpected character in input stream: '#'", {1, 6, 6}}});
    expect_failure("{\"a\":1 #", {{"Syntax error: expected '}', got <invalid>", {1, 8, 8}},
                                  {"Unexpected character in input stream: '#'", {1, 8, 8}}});
    expect_failure("{\"a\":1, #", {{"Syntax error: expected string, got <invalid>", {1, 9, 9}},
                                   {"Unexpected character in input stream: '#'", {1, 9, 9}}});
    expect_failure("[[[\"\\q\"]]]", {{"Syntax error: unexpected token: <invalid>", {1, 6, 6}},
                                     {"Unrecognized escape sequence: q", {1, 6, 6}}});
}

TEST(ParseErrors, NothingSurvivesAFailure)
{
    // Every proper prefix of this document fails (or is a complete smaller
    // value); each failure must release what was built, which the leak
    // checker of the sanitizer build verifies.
    const std::string doc =
        "{\"a\":[1,-2,3.5,\"x\\u00e9\",{\"$ref\":\"#/a\"},[true,false,null]],"
        "\"b\":{\"c\":{\"d\":[[],{}]},\"e\":18446744073709551616},\"f\":\"\\uD83D\\uDE00\"}";
    for (size_t n = 0; n < doc.size(); n++) {
        const std::string prefix = doc.substr(0, n);
        ErrorSlot err;
        JsonRoot v(kel_json_loads(prefix.c_str(), 0, &err));
        EXPECT_EQ(v.get(), nullptr) << prefix;
        EXPECT_EQ(err.code(), KEL_JSON_PARSE_ERROR) << prefix;
        JsonRoot quiet(kel_json_loads(prefix.c_str(), 0, nullptr));
        EXPECT_EQ(quiet.get(), nullptr) << prefix;
        // A control byte at the cut fails wherever it stands.
        const std::string broken = prefix + "\x01" + doc.substr(n);
        JsonRoot b(kel_json_loads(broken.c_str(), 0, nullptr));
        EXPECT_EQ(b.get(), nullptr) << broken;
    }
    JsonRoot whole(kel_json_loads(doc.c_str(), 0, nullptr));
    EXPECT_NE(whole.get(), nullptr);
}

// ---- Streams -----------------------------------------------------------------

namespace {

// A stream over `text` (kept alive by the caller).
FILE *stream_of(std::string &text) { return fmemopen(text.data(), text.size(), "r"); }

}  // namespace

TEST(ParseStreams, ReadsNoFurtherThanNeeded)
{
    std::string text = "true false {} [1]  12 \"s\"x";
    FILE *fh = stream_of(text);
    ASSERT_NE(fh, nullptr);
    const int flags = KEL_JSON_LOAD_ALLOW_TRAILING;
    {
        // A literal takes the byte after it (un-read in the lexer, gone from the stream).
        JsonRoot v(kel_json_loadf(fh, flags, nullptr));
        EXPECT_STREQ(kel_json_type_string(v, TRUE), "true");
        EXPECT_EQ(ftell(fh), 5);
    }
    {
        JsonRoot v(kel_json_loadf(fh, flags, nullptr));
        EXPECT_STREQ(kel_json_type_string(v, TRUE), "false");
        EXPECT_EQ(ftell(fh), 11);
    }
    {
        // A closing bracket ends the value without reading on.
        JsonRoot v(kel_json_loadf(fh, flags, nullptr));
        EXPECT_EQ(dump(v), "{}");
        EXPECT_EQ(ftell(fh), 13);
    }
    {
        JsonRoot v(kel_json_loadf(fh, flags, nullptr));
        EXPECT_EQ(dump(v), "[1]");
        EXPECT_EQ(ftell(fh), 17);
    }
    {
        JsonRoot v(kel_json_loadf(fh, flags, nullptr));
        EXPECT_EQ(dump(v), "12");
        EXPECT_EQ(ftell(fh), 22);
    }
    {
        // A string ends at its quote; without flag 1 the next token is read.
        ErrorSlot err;
        JsonRoot v(kel_json_loadf(fh, 0, &err));
        EXPECT_EQ(v.get(), nullptr);
        EXPECT_EQ(err.message(), "Expected EOF, got <invalid>");
        EXPECT_EQ(ftell(fh), 26);
    }
    // The stream stays open.
    EXPECT_EQ(fgetc(fh), EOF);
    EXPECT_EQ(fclose(fh), 0);
}

TEST(ParseStreams, ReadsToTheEndWithoutFlag)
{
    std::string text = "[1, 2]\n\n";
    FILE *fh = stream_of(text);
    ASSERT_NE(fh, nullptr);
    JsonRoot v(kel_json_loadf(fh, 0, nullptr));
    EXPECT_EQ(dump(v), "[1,2]");
    EXPECT_TRUE(feof(fh));
    fclose(fh);
}

TEST(ParseStreams, StartsAtTheCurrentPosition)
{
    std::string text = "xxxx{\"k\": [3]}";
    FILE *fh = stream_of(text);
    ASSERT_NE(fh, nullptr);
    ASSERT_EQ(fseek(fh, 4, SEEK_SET), 0);
    JsonRoot v(kel_json_loadf(fh, 0, nullptr));
    EXPECT_EQ(dump(v), "{\"k\":[3]}");
    fclose(fh);
}

// ---- Nesting depth -------------------------------------------------------------

namespace {

enum class Nest { Arrays, Objects, Mixed };

// The opening text of one level and the closing text of a complete document.
struct NestShape {
    std::string open_even, open_odd, close_even, close_odd;
};

NestShape shape(Nest kind)
{
    switch (kind) {
    case Nest::Arrays: return {"[", "[", "]", "]"};
    case Nest::Objects: return {"{\"k\":", "{\"k\":", "}", "}"};
    case Nest::Mixed: break;
    }
    return {"[", "{\"k\":", "]", "}"};
}

// `depth` open levels; complete adds a scalar and closes them all.
std::string nested(Nest kind, size_t depth, bool complete)
{
    const NestShape s = shape(kind);
    std::string out;
    for (size_t i = 0; i < depth; i++)
        out += i % 2 == 0 ? s.open_even : s.open_odd;
    if (!complete)
        return out;
    out += "7";
    for (size_t i = depth; i-- > 0;)
        out += i % 2 == 0 ? s.close_even : s.close_odd;
    return out;
}

// Byte offset just after the bracket that opens level `level` (1-based).
guint32 after_open(Nest kind, size_t level)
{
    const NestShape s = shape(kind);
    size_t pos = 0;
    for (size_t i = 0; i + 1 < level; i++)
        pos += i % 2 == 0 ? s.open_even.size() : s.open_odd.size();
    return static_cast<guint32>(pos + 1);
}

// Depth of the value: containers passed on the way down to the scalar.
size_t depth_of(KelJson *json)
{
    size_t depth = 0;
    while (json != nullptr && (json->type == KEL_JSON_ARRAY || json->type == KEL_JSON_OBJECT)) {
        depth++;
        json = json->type == KEL_JSON_ARRAY ? at_index(json, 0) : member(json, "k");
    }
    return depth;
}

void check_too_deep(Nest kind, size_t depth)
{
    const std::string text = nested(kind, depth, false);
    const guint32 at = after_open(kind, KEL_JSON_MAX_DEPTH + 1);
    for (Source source : {Source::String, Source::Stream}) {
        SCOPED_TRACE(source_name(source));
        Loaded r;
        load(source, text, 0, r);
        EXPECT_EQ(r.root.json, nullptr);
        const auto chain = r.chain();
        ASSERT_EQ(chain.size(), 1u);
        EXPECT_EQ(chain[0].code, KEL_JSON_PARSE_ERROR);
        EXPECT_EQ(chain[0].message, "Syntax error: maximum nesting depth exceeded");
        EXPECT_EQ(chain[0].at, (Position{1, at, at}));
        if (source == Source::Stream) {
            EXPECT_EQ(r.stream_offset, static_cast<long>(at));  // nothing beyond the bracket
        }
    }
}

void check_deep_documents(Nest kind)
{
    for (size_t depth : {size_t{1000}, size_t{KEL_JSON_MAX_DEPTH}}) {
        const std::string text = nested(kind, depth, true);
        JsonRoot v(kel_json_loads(text.c_str(), 0, nullptr));
        ASSERT_NE(v.get(), nullptr) << depth;
        EXPECT_EQ(depth_of(v), depth);
    }
    // One level more fails, complete or not.
    check_too_deep(kind, KEL_JSON_MAX_DEPTH + 1);
    const std::string complete = nested(kind, KEL_JSON_MAX_DEPTH + 1, true);
    ErrorSlot err;
    EXPECT_EQ(kel_json_loads(complete.c_str(), 0, &err), nullptr);
    EXPECT_EQ(err.message(), "Syntax error: maximum nesting depth exceeded");
}

void check_very_deep(Nest kind) { check_too_deep(kind, 10000000); }

class Nesting : public ::testing::TestWithParam<Nest> {};

// Runs `body` on a thread with a 1 MiB stack.
void on_small_stack(void (*body)(Nest), Nest kind)
{
    struct Job {
        void (*body)(Nest);
        Nest kind;
    } job{body, kind};
    pthread_attr_t attr;
    ASSERT_EQ(pthread_attr_init(&attr), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attr, 1 << 20), 0);
    pthread_t thread;
    auto run = [](void *arg) -> void * {
        auto *j = static_cast<Job *>(arg);
        j->body(j->kind);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attr, run, &job), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attr);
}

}  // namespace

TEST_P(Nesting, DeepDocumentsParseUpToTheLimit) { check_deep_documents(GetParam()); }

TEST_P(Nesting, DeepDocumentsOnASmallStack) { on_small_stack(check_deep_documents, GetParam()); }

TEST_P(Nesting, TenMillionLevelsFailInOrder) { check_very_deep(GetParam()); }

TEST_P(Nesting, TenMillionLevelsOnASmallStack) { on_small_stack(check_very_deep, GetParam()); }

INSTANTIATE_TEST_SUITE_P(Kinds, Nesting, ::testing::Values(Nest::Arrays, Nest::Objects, Nest::Mixed),
                         [](const auto &info) {
                             switch (info.param) {
                             case Nest::Arrays: return "Arrays";
                             case Nest::Objects: return "Objects";
                             case Nest::Mixed: break;
                             }
                             return "Mixed";
                         });

TEST(ParseDepth, FailuresInsideDeepDocuments)
{
    // The usual messages, and a clean release of every open level.
    const std::string open = nested(Nest::Mixed, KEL_JSON_MAX_DEPTH, false);
    ErrorSlot err;
    EXPECT_EQ(kel_json_loads((open + "7 #").c_str(), 0, &err), nullptr);
    auto chain = chain_of(err.err);
    ASSERT_EQ(chain.size(), 2u);
    EXPECT_EQ(chain[0].message, "Syntax error: expected '}', got <invalid>");
    EXPECT_EQ(chain[1].message, "Unexpected character in input stream: '#'");

    // Siblings do not add up: depth counts open levels only.
    const std::string wide = repeat(nested(Nest::Arrays, 9999, true) + ",", 3);
    JsonRoot v(kel_json_loads(("[" + wide + "1]").c_str(), 0, nullptr));
    ASSERT_NE(v.get(), nullptr);
    EXPECT_EQ(kel_json_array_size(v), 4);
}

// ---- Input size ----------------------------------------------------------------

TEST(ParseLimits, StringInputOf2GiBIsRefused)
{
    // 2^31 bytes of white space, then a NUL byte. The pages are one small
    // memory file mapped over and over, so the test costs neither memory
    // nor time for filling.
    const size_t chunk = 8u << 20;
    const size_t total = size_t{1} << 31;
    const int fd = memfd_create("kel-spaces", 0);
    if (fd < 0)
        GTEST_SKIP() << "memfd_create unavailable";
    ASSERT_EQ(ftruncate(fd, static_cast<off_t>(chunk)), 0);
    void *fill = mmap(nullptr, chunk, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ASSERT_NE(fill, MAP_FAILED);
    memset(fill, ' ', chunk);
    munmap(fill, chunk);

    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto *base = static_cast<char *>(
        mmap(nullptr, total + page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(base, MAP_FAILED);
    for (size_t off = 0; off < total; off += chunk) {
        void *p = mmap(base + off, chunk, PROT_READ, MAP_SHARED | MAP_FIXED, fd, 0);
        ASSERT_EQ(p, base + off);
    }
    close(fd);
    ASSERT_EQ(base[total - 1], ' ');
    ASSERT_EQ(base[total], '\0');  // the anonymous page after the spaces

    ErrorSlot err;
    EXPECT_EQ(kel_json_loads(base, 0, &err), nullptr);
    const auto chain = chain_of(err.err);
    ASSERT_EQ(chain.size(), 1u);
    EXPECT_EQ(chain[0].code, KEL_JSON_PARSE_ERROR);
    EXPECT_EQ(chain[0].message, "Syntax error: input longer than 2147483647 bytes");
    EXPECT_EQ(chain[0].at, (Position{1, 0, 0}));
    EXPECT_EQ(kel_json_loads(base, 0, nullptr), nullptr);
    munmap(base, total + page);
}
