// The parser and the loaders: the grammar, every syntax message with its
// position, error chains, load flags, references, ownership of the result,
// streams, nesting depth and the input size guard.
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>

#include "parse_check.h"

using namespace kel_parse_test;
using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::at;
using kel_test::member;

namespace {

std::string type_of(const char *text)
{
    JsonRoot v(kel_json_loads(text, 0, nullptr));
    return v.get() ? kel_json_type_string(v, TRUE) : "<failed>";
}

}  // namespace

TEST(Parse, ErrorsStackOnTheCallersChain)
{
    ErrorSlot err;
    kel_set_error(&err, kel_error_domain(), KEL_IO_FAIL, "earlier");
    EXPECT_EQ(kel_json_loads("[1 #]", 0, &err), nullptr);
    auto chain = chain_of(err.err);
    ASSERT_EQ(chain.size(), 3u);
    EXPECT_EQ(chain[0].domain, kel_json_error_domain());
    EXPECT_TRUE(chain[2].domain == kel_error_domain() && chain[2].message == "earlier" && chain[2].positions == 0);
    JsonRoot ok(kel_json_loads("1", 0, &err));  // a success leaves the slot alone
    EXPECT_NE(ok.get(), nullptr);
    EXPECT_EQ(chain_of(err.err).size(), 3u);
}

TEST(Parse, DocumentsKindsAndParents)
{
    const std::pair<const char *, const char *> docs[] = {
        {" \t\r\n1 \t\r\n", "1"}, {"null", "null"}, {"\"lone\"", "\"lone\""}, {" [ ] ", "[]"}, {"{}", "{}"},
        {"[[],{},[[]]]", "[[],{},[[]]]"}, {"{\"\":1}", "{\"\":1}"},
        {"{\"b\":[1,{\"c\":null}],\"a\":\"x\"}", "{\"a\":\"x\",\"b\":[1,{\"c\":null}]}"},
        {"{\"a\":{\"x\":[1,2]},\"a\":[3]}", "{\"a\":[3]}"},  // the replaced container is released
    };
    for (const auto &[text, expected] : docs)
        EXPECT_EQ(parsed(text), expected);
    const std::pair<const char *, const char *> kinds[] = {
        {"18446744073709551615", "uint128"}, {"-1", "int64"}, {"1.0", "double"}, {"true", "true"}, {"false", "false"},
        {"\"s\"", "string"}, {"[]", "array"}, {"{}", "object"}};
    for (const auto &[text, type] : kinds)
        EXPECT_EQ(type_of(text), type) << text;

    // A root owns its tree; each value knows its parent and where it sits.
    JsonRoot root(kel_json_loads("{\"list\":[10,\"s\",{\"k\":true}],\"o\":{\"n\":null}}", 0, nullptr));
    KelJson *list = member(root, "list");
    EXPECT_TRUE(root->refcount == 0 && root->parent == nullptr && list->refcount == 1 && list->parent == root.get());
    EXPECT_EQ(kel_json_parent_index(at(list, 2)), 2);
    EXPECT_EQ(kel_test::pointer_of(member(at(list, 2), "k")), "/list/2/k");
    EXPECT_EQ(kel_test::pointer_of(member(member(root, "o"), "n")), "/o/n");
}

TEST(Parse, DuplicateKeys)
{
    JsonRoot root(kel_json_loads("{\"a\":1,\"b\":[true],\"a\":2}", 0, nullptr));
    EXPECT_EQ(dump(root, 0), "{\"a\":2,\"b\":[true]}");
    EXPECT_STREQ(kel_json_parent_key(member(root, "a")), "a");
    const int reject = KEL_JSON_LOAD_REJECT_DUPLICATES;
    expect_failure("{\"a\":1,\"a\":2}", {{"Syntax error: duplicate key 'a'", {1, 10, 10}}}, reject);
    expect_failure("[{\"a\":{\"b\":1,\"c\":2,\"b\":3}}]", {{"Syntax error: duplicate key 'b'", {1, 22, 22}}}, reject);
    expect_failure("{\"a\":1,\"\\u0061\":2}", {{"Syntax error: duplicate key 'a'", {1, 15, 15}}}, reject);  // decoded names
    EXPECT_EQ(parsed("{\"a\":{\"a\":{\"a\":1}}}", reject), "{\"a\":{\"a\":{\"a\":1}}}");  // other objects
}

TEST(Parse, References)
{
    JsonRoot ref(kel_json_loads("{\"$ref\":\"#/x\"}", 0, nullptr));
    EXPECT_STREQ(kel_json_type_string(ref, TRUE), "reference");
    EXPECT_STREQ(kel_json_jref_uri(ref), "#/x");
    EXPECT_EQ(ref->parent, nullptr);
    JsonRoot nested(kel_json_loads("[0,{\"$ref\":\"#/0\"},{\"a\":{\"$ref\":\"other.json#/a\"}}]", 0, nullptr));
    KelJson *r1 = at(nested, 1), *r2 = member(at(nested, 2), "a");
    EXPECT_EQ(std::string(kel_json_jref_uri(r1)) + " " + kel_json_jref_uri(r2), "#/0 other.json#/a");
    EXPECT_EQ(kel_test::pointer_of(r1) + " " + kel_test::pointer_of(r2), "/1 /2/a");
    // Anything but a lone "$ref" string stays an object; an inner reference
    // under "$ref" leads nowhere, so the outer object stays one too.
    for (const char *text : {"{\"$ref\":1}", "{\"$ref\":\"#/a\",\"b\":1}", "{\"$ref\":null}", "{\"$ref\":[\"#\"]}",
                             "{\"$REF\":\"#\"}", "{\"$ref\":{\"$ref\":\"#/nothing\"}}"})
        EXPECT_EQ(type_of(text), "object") << text;
    JsonRoot dup(kel_json_loads("{\"$ref\":1,\"$ref\":\"#/d\"}", 0, nullptr));  // duplicates resolved first
    EXPECT_STREQ(kel_json_jref_uri(dup), "#/d");
}

TEST(Parse, SyntaxErrors)
{
    const std::pair<const char *, Expected> cases[] = {
        {"", {"Syntax error: unexpected token: EOF", {1, 0, 0}}}, {" \n\t ", {"Syntax error: unexpected token: EOF", {2, 2, 4}}},
        {"]", {"Syntax error: unexpected token: ']'", {1, 1, 1}}}, {"}", {"Syntax error: unexpected token: '}'", {1, 1, 1}}},
        {":", {"Syntax error: unexpected token: ':'", {1, 1, 1}}}, {",", {"Syntax error: unexpected token: ','", {1, 1, 1}}},
        {"#", {"Unexpected character in input stream: '#'", {1, 1, 1}}},  // the lexer's error alone
        {"[1,]", {"Syntax error: unexpected token: ']'", {1, 4, 4}}}, {"[1 2]", {"Syntax error: expected ']', got integer", {1, 4, 4}}},
        {"[1,", {"Syntax error: expected ']', got EOF", {1, 3, 3}}}, {"[", {"Syntax error: expected ']', got EOF", {1, 1, 1}}},
        {"[1", {"Syntax error: expected ']', got EOF", {1, 2, 2}}}, {"[,1]", {"Syntax error: unexpected token: ','", {1, 2, 2}}},
        {"[1}", {"Syntax error: expected ']', got '}'", {1, 3, 3}}}, {"[1:", {"Syntax error: expected ']', got ':'", {1, 3, 3}}},
        {"[\"a\" \"b\"]", {"Syntax error: expected ']', got string", {1, 8, 8}}},
        {"[1 1.5]", {"Syntax error: expected ']', got real", {1, 6, 6}}},
        {"[1 true]", {"Syntax error: expected ']', got 'true'", {1, 7, 7}}},
        {"[1 false]", {"Syntax error: expected ']', got 'false'", {1, 8, 8}}},
        {"[1 null]", {"Syntax error: expected ']', got 'null'", {1, 7, 7}}},
        {"[1 99999999999999999999]", {"Syntax error: expected ']', got uint128", {1, 23, 23}}},
        {"[1 [", {"Syntax error: expected ']', got '['", {1, 4, 4}}}, {"[1 {", {"Syntax error: expected ']', got '{'", {1, 4, 4}}},
        {"[1 ,,", {"Syntax error: unexpected token: ','", {1, 5, 5}}},
        {"{\"a\" 1}", {"Syntax error: expected ':', got integer", {1, 6, 6}}},
        {"{1:2}", {"Syntax error: expected string, got integer", {1, 2, 2}}},
        {"{\"a\":1,}", {"Syntax error: expected string, got '}'", {1, 8, 8}}}, {"{", {"Syntax error: expected string, got EOF", {1, 1, 1}}},
        {"{\"a\"", {"Syntax error: expected ':', got EOF", {1, 4, 4}}}, {"{\"a\":", {"Syntax error: unexpected token: EOF", {1, 5, 5}}},
        {"{\"a\":1", {"Syntax error: expected '}', got EOF", {1, 6, 6}}}, {"{\"a\":1]", {"Syntax error: expected '}', got ']'", {1, 7, 7}}},
        {"{\"a\":1 \"b\":2}", {"Syntax error: expected '}', got string", {1, 10, 10}}},
        {"{\"a\"::1}", {"Syntax error: unexpected token: ':'", {1, 6, 6}}},
        {"{\"a\":}", {"Syntax error: unexpected token: '}'", {1, 6, 6}}},
        {"{null:1}", {"Syntax error: expected string, got 'null'", {1, 5, 5}}},
        {"{[]:1}", {"Syntax error: expected string, got '['", {1, 2, 2}}}, {"1 2", {"Expected EOF, got integer", {1, 3, 3}}},
        {"[] []", {"Expected EOF, got '['", {1, 4, 4}}}, {"{}}", {"Expected EOF, got '}'", {1, 3, 3}}},
    };
    for (const auto &[text, error] : cases)
        expect_failure(text, {error});
    // A lexer failure inside a value: the parser's error naming <invalid>, then the lexer's.
    const std::tuple<const char *, Expected, Expected> chained[] = {
        {"{a:1}", {"Syntax error: expected string, got <invalid>", {1, 2, 2}}, {"Invalid JSON identifier: a", {1, 2, 2}}},
        {"\"a\" #", {"Expected EOF, got <invalid>", {1, 5, 5}}, {"Unexpected character in input stream: '#'", {1, 5, 5}}},
        {"[1 #]", {"Syntax error: expected ']', got <invalid>", {1, 4, 4}}, {"Unexpected character in input stream: '#'", {1, 4, 4}}},
        {"[1, #]", {"Syntax error: unexpected token: <invalid>", {1, 5, 5}}, {"Unexpected character in input stream: '#'", {1, 5, 5}}},
        {"{\"a\" #", {"Syntax error: expected ':', got <invalid>", {1, 6, 6}}, {"Unexpected character in input stream: '#'", {1, 6, 6}}},
        {"{\"a\":1 #", {"Syntax error: expected '}', got <invalid>", {1, 8, 8}}, {"Unexpected character in input stream: '#'", {1, 8, 8}}},
        {"{\"a\":1, #", {"Syntax error: expected string, got <invalid>", {1, 9, 9}}, {"Unexpected character in input stream: '#'", {1, 9, 9}}},
        {"[[[\"\\q\"]]]", {"Syntax error: unexpected token: <invalid>", {1, 6, 6}}, {"Unrecognized escape sequence: q", {1, 6, 6}}},
    };
    for (const auto &[text, parser, lexer] : chained)
        expect_failure(text, {parser, lexer});
}

TEST(Parse, TrailingInputFlag)
{
    // Flag 1 lets the value alone count; other bits are ignored.
    EXPECT_EQ(parsed("1 2", KEL_JSON_LOAD_ALLOW_TRAILING), "1");
    EXPECT_EQ(parsed("[1] garbage #", KEL_JSON_LOAD_ALLOW_TRAILING), "[1]");
    EXPECT_EQ(parsed("{\"a\":1}\xFF", KEL_JSON_LOAD_ALLOW_TRAILING | 0x100), "{\"a\":1}");
    EXPECT_EQ(parsed("[1]", 0x7FFFFFF0), "[1]");
    expect_failure("{\"a\":1,\"a\":2} x", {{"Syntax error: duplicate key 'a'", {1, 10, 10}}}, ~0);
}

// Every prefix of the document fails (or is a smaller value) and must release
// what was built; the sanitizer build checks the leaks.
TEST(Parse, NothingSurvivesAFailure)
{
    const std::string doc = "{\"a\":[1,-2,3.5,\"x\\u00e9\",{\"$ref\":\"#/a\"},[true,false,null]],"
                            "\"b\":{\"c\":{\"d\":[[],{}]},\"e\":18446744073709551616},\"f\":\"\\uD83D\\uDE00\"}";
    for (size_t n = 0; n < doc.size(); n++) {
        const std::string prefix = doc.substr(0, n), broken = prefix + "\x01" + doc.substr(n);
        ErrorSlot err;
        EXPECT_EQ(kel_json_loads(prefix.c_str(), 0, &err), nullptr) << prefix;
        EXPECT_EQ(err.code(), KEL_JSON_PARSE_ERROR) << prefix;
        EXPECT_EQ(kel_json_loads(broken.c_str(), 0, nullptr), nullptr) << broken;
    }
    EXPECT_NE(JsonRoot(kel_json_loads(doc.c_str(), 0, nullptr)).get(), nullptr);
}

TEST(Parse, StreamsAreReadNoFurtherThanNeeded)
{
    std::string text = "xx true false {} [1]  12 \"s\"x";
    FILE *fh = fmemopen(text.data(), text.size(), "r");
    ASSERT_EQ(fseek(fh, 2, SEEK_SET), 0);  // loading starts at the current position
    // A word or number takes the byte after it; a bracket or quote ends the value.
    const std::pair<const char *, long> values[] = {{"true", 8}, {"false", 14}, {"{}", 16}, {"[1]", 20}, {"12", 25}};
    for (const auto &[value, offset] : values) {
        JsonRoot v(kel_json_loadf(fh, KEL_JSON_LOAD_ALLOW_TRAILING, nullptr));
        EXPECT_EQ(dump(v), value);
        EXPECT_EQ(ftell(fh), offset) << value;
    }
    ErrorSlot err;  // without flag 1 the next token is read
    EXPECT_EQ(kel_json_loadf(fh, 0, &err), nullptr);
    EXPECT_EQ(err.message(), "Expected EOF, got <invalid>");
    EXPECT_EQ(ftell(fh), 29);
    EXPECT_EQ(fgetc(fh), EOF);
    EXPECT_EQ(fclose(fh), 0);  // the stream stays open

    std::string two = "[1, 2]\n\n";
    fh = fmemopen(two.data(), two.size(), "r");
    EXPECT_EQ(dump(JsonRoot(kel_json_loadf(fh, 0, nullptr))), "[1,2]");
    EXPECT_TRUE(feof(fh));
    fclose(fh);
}

namespace {

enum class Nest { Arrays, Objects, Mixed };

std::string open_level(Nest kind, size_t i)
{
    return kind == Nest::Arrays || (kind == Nest::Mixed && i % 2 == 0) ? "[" : "{\"k\":";
}

// `depth` open levels; `complete` adds a scalar and closes them all.
std::string nested(Nest kind, size_t depth, bool complete)
{
    std::string out;
    for (size_t i = 0; i < depth; i++)
        out += open_level(kind, i);
    if (!complete)
        return out;
    out += "7";
    for (size_t i = depth; i-- > 0;)
        out += open_level(kind, i) == "[" ? "]" : "}";
    return out;
}

void check_too_deep(Nest kind, size_t depth)
{
    const std::string text = nested(kind, depth, false);
    const auto at = static_cast<guint32>(nested(kind, KEL_JSON_MAX_DEPTH, false).size() + 1);  // after the bracket
    for (Source source : {Source::String, Source::Stream}) {
        Loaded r;
        load(source, text, 0, r);
        EXPECT_EQ(r.root.json, nullptr);
        const auto chain = r.chain();
        ASSERT_EQ(chain.size(), 1u);
        EXPECT_EQ(chain[0].message, "Syntax error: maximum nesting depth exceeded");
        EXPECT_EQ(chain[0].at, (Position{1, at, at}));
        if (source == Source::Stream) {
            EXPECT_EQ(r.stream_offset, static_cast<long>(at));  // nothing read beyond the bracket
        }
    }
}

void check_deep_documents(Nest kind)
{
    for (size_t depth : {size_t{1000}, size_t{KEL_JSON_MAX_DEPTH}}) {
        JsonRoot v(kel_json_loads(nested(kind, depth, true).c_str(), 0, nullptr));
        size_t found = 0;
        for (KelJson *j = v.get(); j != nullptr && (j->type == KEL_JSON_ARRAY || j->type == KEL_JSON_OBJECT); found++)
            j = j->type == KEL_JSON_ARRAY ? at(j, 0) : member(j, "k");
        EXPECT_EQ(found, depth);
    }
    check_too_deep(kind, KEL_JSON_MAX_DEPTH + 1);  // one level more fails, complete or not
    ErrorSlot err;
    EXPECT_EQ(kel_json_loads(nested(kind, KEL_JSON_MAX_DEPTH + 1, true).c_str(), 0, &err), nullptr);
    EXPECT_EQ(err.message(), "Syntax error: maximum nesting depth exceeded");
}

class Nesting : public ::testing::TestWithParam<Nest> {};

}  // namespace

// On a small stack: what passes there passes on any thread.
TEST_P(Nesting, DeepDocumentsParseUpToTheLimit) { kel_test::on_small_stack([this] { check_deep_documents(GetParam()); }); }
TEST_P(Nesting, TenMillionLevelsFailInOrder) { kel_test::on_small_stack([this] { check_too_deep(GetParam(), 10000000); }); }

INSTANTIATE_TEST_SUITE_P(Kinds, Nesting, ::testing::Values(Nest::Arrays, Nest::Objects, Nest::Mixed), [](const auto &info) {
    return info.param == Nest::Arrays ? "Arrays" : info.param == Nest::Objects ? "Objects" : "Mixed";
});

TEST(Parse, FailuresInsideDeepDocuments)
{
    ErrorSlot err;
    EXPECT_EQ(kel_json_loads((nested(Nest::Mixed, KEL_JSON_MAX_DEPTH, false) + "7 #").c_str(), 0, &err), nullptr);
    auto chain = chain_of(err.err);
    ASSERT_EQ(chain.size(), 2u);
    EXPECT_EQ(chain[0].message, "Syntax error: expected '}', got <invalid>");
    EXPECT_EQ(chain[1].message, "Unexpected character in input stream: '#'");
    // Siblings do not add up: depth counts open levels only.
    const std::string sibling = nested(Nest::Arrays, 9999, true) + ",";
    JsonRoot v(kel_json_loads(("[" + sibling + sibling + sibling + "1]").c_str(), 0, nullptr));
    EXPECT_EQ(kel_json_array_size(v), 4);
}

// "1" and white space up to 2^31 - 1 bytes, which load, then one byte more,
// which is refused: one small memory file mapped over and over, so the test
// costs neither memory nor filling time. The first and last chunks are
// private copies, written to.
TEST(Parse, StringInputLongerThan2GiBIsRefused)
{
    const size_t chunk = 8u << 20, total = size_t{1} << 31;
    const int fd = memfd_create("kel-spaces", 0);
    if (fd < 0)
        GTEST_SKIP() << "memfd_create unavailable";
    ASSERT_EQ(ftruncate(fd, static_cast<off_t>(chunk)), 0);
    void *fill = mmap(nullptr, chunk, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    ASSERT_NE(fill, MAP_FAILED);
    memset(fill, ' ', chunk);
    munmap(fill, chunk);
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto *base = static_cast<char *>(mmap(nullptr, total + page, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(base, MAP_FAILED);
    for (size_t off = 0; off < total; off += chunk) {
        const bool edge = off == 0 || off + chunk == total;
        ASSERT_EQ(mmap(base + off, chunk, edge ? PROT_READ | PROT_WRITE : PROT_READ, (edge ? MAP_PRIVATE : MAP_SHARED) | MAP_FIXED, fd, 0),
                  base + off);
    }
    close(fd);
    base[0] = '1';
    base[total - 1] = '\0';
    EXPECT_EQ(dump(JsonRoot(kel_json_loads(base, KEL_JSON_LOAD_ALLOW_TRAILING, nullptr))), "1");

    base[total - 1] = ' ';  // the anonymous page behind ends the text
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

TEST(Parse, KeepRefsLeavesRefObjectsPlain)
{
    const char *text = R"({"a": {"$ref": "#/b"}, "b": 1, "s": {"$ref": "http://example.com/s.json#/d"}})";
    JsonRoot kept(kel_json_loads(text, KEL_JSON_LOAD_KEEP_REFS, nullptr));
    for (const char *key : {"a", "s"})
        EXPECT_EQ(member(kept, key)->type, KEL_JSON_OBJECT) << key;
    EXPECT_EQ(dump(kept), R"({"a":{"$ref":"#/b"},"b":1,"s":{"$ref":"http://example.com/s.json#/d"}})");
}

// References naming another document say so whichever way they are followed.
TEST(Parse, ExternalReferencesAreNamed)
{
    JsonRoot refs(kel_test::parse(R"({"b": 1, "r": {"$ref": "#/b"}, "x": [{"$ref": "other.json#/b"}, {"$ref": "urn:x:y"},
                           {"$ref": "a"}]})"));
    EXPECT_EQ(kel_json_i64_get(kel_json_jref_deref_base(member(refs, "r"), nullptr)), 1);
    const char *const messages[] = {
        "-7 external references are not supported: other.json#/b", "-7 external references are not supported: urn:x:y",
        "-7 Relative JSON pointers are not supported: a",  // no document named: a pointer without "/"
    };
    ErrorSlot err;
    for (int index = 0; index < 3; index++) {
        KelJson *ref = at(member(refs, "x"), index);
        EXPECT_EQ(kel_json_jref_resolve_base(ref, &err), nullptr);
        EXPECT_EQ(err.pop(), messages[index]);
        EXPECT_EQ(kel_json_jref_deref_base(ref, &err), nullptr);
        EXPECT_EQ(err.pop(), messages[index]);
    }
    EXPECT_FALSE(kel_json_jref_expand(refs, &err));
    EXPECT_EQ(err.pop().rfind("-7 external references are not supported: ", 0), 0u);
}
