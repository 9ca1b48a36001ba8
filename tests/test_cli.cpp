// kel-json end to end: the built tool runs on files in a temporary directory;
// its output, messages and exit statuses are checked.
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "test_util.h"

namespace {

using kel_test::JsonRoot;
using Args = std::vector<std::string>;

struct Result {
    int status = -1;  // exit status, or 128 + signal number
    std::string out, err;
};

std::string slurp(const std::string &path)
{
    char *text = nullptr;
    gsize len = 0;
    std::string s = g_file_get_contents(path.c_str(), &text, &len, nullptr) ? std::string(text, len) : "";
    g_free(text);
    return s;
}

bool same_json(const std::string &a, const std::string &b)
{
    JsonRoot x(kel_json_loads(a.c_str(), 0, nullptr)), y(kel_json_loads(b.c_str(), 0, nullptr));
    return x.get() && y.get() && kel_json_subset(x, y, KEL_JSON_SUBSET_EQUAL);
}

bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

class Cli : public ::testing::Test {
protected:
    void SetUp() override
    {
        char *dir = g_dir_make_tmp("kel-cli-XXXXXX", nullptr);
        ASSERT_NE(dir, nullptr);
        dir_ = dir;
        g_free(dir);
    }
    void TearDown() override { kel_rm_dir(dir_.c_str(), nullptr); }

    std::string path(const std::string &name) const { return dir_ + "/" + name; }
    std::string write(const std::string &name, const std::string &text) const
    {
        g_file_set_contents(path(name).c_str(), text.data(), text.size(), nullptr);
        return path(name);
    }
    std::vector<std::string> entries() const
    {
        std::vector<std::string> names;
        GDir *d = g_dir_open(dir_.c_str(), 0, nullptr);
        while (const char *n = g_dir_read_name(d))
            names.emplace_back(n);
        g_dir_close(d);
        std::sort(names.begin(), names.end());
        return names;
    }

    // Runs kel-json with `args`, standard input from `stdin_path`.
    Result run(const Args &args, const std::string &stdin_path = "/dev/null")
    {
        std::string script = "exec \"$KJ\"";
        for (const std::string &a : args) {
            char *quoted = g_shell_quote(a.c_str());
            script += std::string(" ") + quoted;
            g_free(quoted);
        }
        char *in = g_shell_quote(stdin_path.c_str());
        script += std::string(" < ") + in;
        g_free(in);
        return shell(script);
    }

    // Runs a shell script in the temporary directory, $KJ naming the tool.
    Result shell(const std::string &script)
    {
        const std::string full = "KJ='" KEL_JSON_EXE "'; " + script;
        const char *argv[] = {"/bin/sh", "-c", full.c_str(), nullptr};
        char *out = nullptr, *err = nullptr;
        int wait_status = 0;
        Result r;
        if (!g_spawn_sync(dir_.c_str(), const_cast<char **>(argv), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out, &err,
                          &wait_status, nullptr)) {
            ADD_FAILURE() << "cannot run " << script;
            return r;
        }
        r.status = WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
        r.out = out;
        r.err = err;
        g_free(out);
        g_free(err);
        // Under the sanitizers a finding fails the test whatever the status.
        EXPECT_FALSE(has(r.err, "Sanitizer") || has(r.err, "runtime error:")) << r.err;
        return r;
    }

    std::string dir_;
};

TEST_F(Cli, UsageErrorsExitWithTwoAndPointToTheHelp)
{
    const std::pair<Args, const char *> cases[] = {
        {{}, "missing command"},
        {{"frobnicate"}, "unknown command 'frobnicate'"},
        {{"fmt", "--pretty"}, "unknown option '--pretty'"},
        {{"get", "-x", "a.json", "/"}, "unknown option '-x'"},
        {{"get", "a.json"}, "missing operand (expected FILE POINTER)"},
        {{"expand", "a.json", "b.json"}, "too many operands (expected FILE)"},
        {{"check"}, "missing operand"},
        {{"fmt", "--indent", "x", "a.json"}, "invalid --indent value 'x'"},
        {{"fmt", "--indent=33", "a.json"}, "invalid --indent value '33'"},
        {{"fmt", "--indent"}, "option '--indent' needs a value (N)"},
        {{"fmt", "--compact=yes"}, "option '--compact' takes no value"},
        {{"fmt", "--compact", "--indent", "4"}, "--indent and --compact exclude each other"},
        {{"merge", "--prefer", "middle", "a.json", "b.json"}, "--prefer takes 'left' or 'right'"},
        {{"merge", "-", "-"}, "standard input can be read only once"},
        {{"check", "-o", "out.json", "a.json"}, "unknown option '-o'"},
    };
    for (const auto &[args, message] : cases) {
        Result r = run(args);
        EXPECT_EQ(r.status, 2) << message;
        EXPECT_TRUE(has(r.err, message) && has(r.err, "Try 'kel-json")) << r.err;
        EXPECT_EQ(r.out, "");
    }
}

TEST_F(Cli, EveryCommandHasHelp)
{
    Result top = run({"--help"});
    EXPECT_EQ(top.status, 0);
    for (std::string cmd : {"check", "fmt", "get", "set", "expand", "merge", "contains"}) {
        Result r = run({cmd, "--help"});
        EXPECT_TRUE(has(top.out, "  " + cmd + " ") && r.status == 0 && r.out.rfind("Usage: kel-json " + cmd + " ", 0) == 0) << cmd;
    }
    EXPECT_TRUE(has(run({"get", "-h"}).out, "--deref"));
    EXPECT_EQ(run({"--version"}).out.rfind("kel-json ", 0), 0u);
}

TEST_F(Cli, CheckReportsEveryErrorOfTheChainWithItsPosition)
{
    std::string good = write("good.json", "{\"a\": [1, 2.5, \"x\"]}\n");
    std::string bad = write("bad.json", "[1 #]");
    std::string later = write("later.json", "[1,\n  #");
    Result ok = run({"check", good});
    EXPECT_EQ(ok.status, 0);
    EXPECT_EQ(ok.out + ok.err, "");

    Result r = run({"check", good, bad, later});  // one line each: the lexer's reason
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, bad + ":1:4: error: Unexpected character in input stream: '#' [KEL_JSON_PARSE_ERROR]\n" + later +
                         ":2:3: error: Unexpected character in input stream: '#' [KEL_JSON_PARSE_ERROR]\n");
    r = run({"check", "--verbose", good, bad, later});  // newest first: parser, then lexer
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, bad + ":1:4: error: Syntax error: expected ']', got <invalid> [KEL_JSON_PARSE_ERROR]\n" + bad +
                         ":1:4: error: Unexpected character in input stream: '#' [KEL_JSON_PARSE_ERROR]\n" + later +
                         ":2:3: error: Syntax error: unexpected token: <invalid> [KEL_JSON_PARSE_ERROR]\n" + later +
                         ":2:3: error: Unexpected character in input stream: '#' [KEL_JSON_PARSE_ERROR]\n");

    std::string dup = write("dup.json", "{\"a\": 1, \"a\": 2}");
    EXPECT_EQ(run({"check", "-"}, dup).status, 0);
    Result d = run({"check", "--reject-duplicates", "-"}, dup);
    EXPECT_EQ(d.status, 1);
    EXPECT_EQ(d.err.rfind("<stdin>:1:", 0), 0u) << d.err;
    EXPECT_TRUE(has(d.err, "error: Syntax error: duplicate key 'a' [KEL_JSON_PARSE_ERROR]")) << d.err;
    Result empty = run({"check", write("empty.json", "")});
    EXPECT_EQ(empty.status, 1);
    EXPECT_TRUE(has(empty.err, "Syntax error: unexpected token: EOF"));
}

TEST_F(Cli, UnreadableInputsAreReportedWithTheIoCode)
{
    std::string missing = path("missing.json");
    Result r = run({"check", missing});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, missing + ": error: cannot open: No such file or directory [KEL_IO_FAIL]\n");
    Result d = run({"check", dir_});
    EXPECT_EQ(d.status, 1);
    EXPECT_EQ(d.err, dir_ + ": error: cannot read: Is a directory [KEL_IO_FAIL]\n");
    EXPECT_EQ(run({"fmt", dir_}).status, 1);
    EXPECT_EQ(run({"get", missing, "/a"}).status, 1);
    EXPECT_EQ(run({"merge", write("a.json", "{}"), dir_}).status, 1);
    EXPECT_EQ(run({"contains", missing, path("a.json")}).status, 2);
    if (geteuid() != 0) {  // root reads files whatever their mode
        std::string locked = write("locked.json", "{}");
        ::chmod(locked.c_str(), 0);
        Result l = run({"check", locked});
        EXPECT_EQ(l.status, 1);
        EXPECT_TRUE(has(l.err, "cannot open: Permission denied [KEL_IO_FAIL]"));
    }
}

TEST_F(Cli, FmtWritesPrettyCompactAndIndentedForms)
{
    std::string doc = write("doc.json", "{\"b\": [1, true, null], \"a\": {}, \"c\": \"x\"}");
    Result pretty = run({"fmt", "--sort", doc});
    EXPECT_EQ(pretty.status, 0);
    EXPECT_EQ(pretty.out, "{\n  \"a\": {\n  },\n  \"b\": [\n    1,\n    true,\n    null\n  ],\n  \"c\": \"x\"\n}\n");
    EXPECT_EQ(run({"fmt", "--sort", "--compact", doc}).out, "{\"a\":{},\"b\":[1,true,null],\"c\":\"x\"}\n");
    EXPECT_EQ(run({"fmt", "--sort", "--indent", "4", doc}).out,
              "{\n    \"a\": {\n    },\n    \"b\": [\n        1,\n        true,\n        null\n    ],\n    \"c\": \"x\"\n}\n");
    EXPECT_EQ(run({"fmt", "--sort", "--indent=0", doc}).out, "{\n\"a\": {\n},\n\"b\": [\n1,\ntrue,\nnull\n],\n\"c\": \"x\"\n}\n");
    // Standard input without FILE and with "-"; escaped line feeds are not indentation.
    std::string text = write("text.json", "[\"line\\n  not indentation\"]");
    EXPECT_EQ(run({"fmt", "--indent", "3"}, text).out, "[\n   \"line\\n  not indentation\"\n]\n");
    EXPECT_EQ(run({"fmt", "--compact", "-"}, text).out, "[\"line\\n  not indentation\"]\n");
}

// The number forms themselves are the serializer's; here only that fmt passes
// them through unchanged, its two options, and where a refusal points.
TEST_F(Cli, FmtNeverChangesANumber)
{
    const std::string edges = "[0.1,1e-07,-0.0,1.7976931348623157e+308,-9223372036854775808,"
                              "340282366920938463463374607431768211455,\"-9223372036854775809\",-1e+30]";
    Result ok = run({"fmt", "--compact", write("edges.json", edges)});
    EXPECT_EQ(ok.out, edges + "\n") << ok.err;
    EXPECT_EQ(run({"fmt", "--compact", "--fixed", "--u128-str", write("f.json", "[0.1, 1e-7, 2, 18446744073709551616]")}).out,
              "[0.100000,0.000000,2,\"18446744073709551616\"]\n");
    std::string low = write("low.json", "{\"ok\": [\"-99999999999999999999\", -1e30],\n \"n\": -9223372036854775809}");
    Result refused = run({"fmt", low});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_TRUE(has(refused.err, low + ":2:26: error: Not a valid uint128 value: -9223372036854775809")) << refused.err;
}

TEST_F(Cli, OutputFileIsReplacedWholeAndKeepsItsMode)
{
    std::string doc = write("doc.json", "{\"a\": [1, 2]}");
    std::string out = write("out.json", "old contents that are longer than the new ones......");
    ::chmod(out.c_str(), 0640);
    Result r = run({"fmt", "--compact", doc, "-o", out});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(slurp(out), "{\"a\":[1,2]}\n");
    struct stat st;
    ASSERT_EQ(::stat(out.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    // In place: the input is read completely before the output replaces it.
    EXPECT_EQ(run({"set", "--compact", doc, "/a/-", "3", "--output=" + doc}).status, 0);
    EXPECT_EQ(slurp(doc), "{\"a\":[1,2,3]}\n");
    // Through a symbolic link the file is replaced and the link stays.
    ASSERT_EQ(::symlink("doc.json", path("link.json").c_str()), 0);
    EXPECT_EQ(run({"fmt", "--compact", doc, "-o" + path("link.json")}).status, 0);
    ASSERT_EQ(::lstat(path("link.json").c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_EQ(entries(), (std::vector<std::string>{"doc.json", "link.json", "out.json"}));
}

TEST_F(Cli, FailedRunsNeverTouchTheOutputFile)
{
    std::string doc = write("doc.json", "{\"a\": 1}");
    std::string out = write("out.json", "original\n");
    EXPECT_EQ(run({"fmt", write("bad.json", "{\"a\": "), "-o", out}).status, 1);
    EXPECT_EQ(run({"get", doc, "/missing", "-o", out}).status, 1);
    EXPECT_EQ(slurp(out), "original\n");

    ASSERT_EQ(::mkdir(path("sub").c_str(), 0755), 0);
    Result isdir = run({"fmt", doc, "-o", path("sub")});
    EXPECT_EQ(isdir.status, 1);
    EXPECT_TRUE(has(isdir.err, "cannot write " + path("sub") + ": ") && has(isdir.err, "[KEL_IO_FAIL]")) << isdir.err;
    Result nodir = run({"fmt", doc, "-o", path("nowhere/out.json")});
    EXPECT_EQ(nodir.status, 1);
    EXPECT_TRUE(has(nodir.err, "cannot create a temporary file")) << nodir.err;

    // The write fails halfway (file-size limit of one 512-byte block): the
    // original survives and no temporary file is left behind.
    std::string big = "[0";
    for (int i = 1; i < 400; ++i)
        big += "," + std::to_string(i * 1000);
    write("big.json", big + "]");
    Result full = shell("ulimit -f 1 && exec \"$KJ\" fmt big.json -o out.json");
    EXPECT_EQ(full.status, 1) << full.err;
    EXPECT_TRUE(has(full.err, "cannot write out.json: File too large [KEL_IO_FAIL]")) << full.err;
    EXPECT_EQ(slurp(out), "original\n");
    EXPECT_EQ(entries(), (std::vector<std::string>{"bad.json", "big.json", "doc.json", "out.json", "sub"}));
    Result devfull = shell("exec \"$KJ\" fmt doc.json > /dev/full");
    EXPECT_EQ(devfull.status, 1);
    EXPECT_TRUE(has(devfull.err, "cannot write to standard output: No space left on device")) << devfull.err;
}

TEST_F(Cli, GetPrintsTheValueAtAPointerOrSaysWhyNot)
{
    std::string doc = write("doc.json", "{\"a\": {\"b\": [10, 20, {\"c\": \"x\"}]}, \"k/~\": 5, \"\": 6, \"s\": \"text\"}");
    const std::pair<const char *, const char *> found[] = {
        {"/a/b/0", "10\n"}, {"/a/b/-1", "{\"c\":\"x\"}\n"}, {"#/a/b/2/c", "\"x\"\n"}, {"/k~1~0", "5\n"}, {"/", "6\n"}};
    for (const auto &[ptr, value] : found)
        EXPECT_EQ(run({"get", "--compact", doc, ptr}).out, value) << ptr;
    EXPECT_TRUE(same_json(run({"get", doc, ""}).out, slurp(doc)));
    EXPECT_EQ(run({"get", doc, "/a/b"}).out, "[\n  10,\n  20,\n  {\n    \"c\": \"x\"\n  }\n]\n");

    const std::tuple<const char *, const char *, const char *> missing[] = {
        {"/a/x", "KEL_JSON_KEY_INVALID", "JSON object \"/a\" does not have key x"},
        {"/a/b/3", "KEL_JSON_INDEX_INVALID", "Index 3 is out of bounds for JSON array \"/a/b\""},
        {"/a/b/x", "KEL_JSON_TYPE_INVALID", "invalid JSON type for \"/a/b\": expected object, got array"},
        {"/s/0", "KEL_JSON_TYPE_INVALID", "invalid JSON type for \"/s\": expected array or object, got string"},
        {"a", "KEL_JSON_FEATURE_UNSUPPORTED", "Relative JSON pointers are not supported: a"},
        {"/a~2", "KEL_JSON_POINTER_INVALID", "Invalid JSON pointer escape sequence: /a~2"},
    };
    for (const auto &[ptr, code, message] : missing) {
        Result r = run({"get", doc, ptr});
        EXPECT_EQ(r.status, 1) << ptr;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, doc + ": error: no value at \"" + ptr + "\" [" + code + "]\n" + doc + ": error: " + message + " [" +
                             code + "]\n");
    }
}

TEST_F(Cli, GetDerefFollowsReferences)
{
    std::string doc = write("doc.json", "{\"t\": {\"v\": 1}, \"r1\": {\"$ref\": \"#/r2\"}, \"r2\": {\"$ref\": \"#/t\"}, "
                                        "\"loop\": {\"$ref\": \"#/loop\"}, \"dangling\": {\"$ref\": \"#/nothing\"}}");
    EXPECT_EQ(run({"get", "--compact", doc, "/r1"}).out, "{\"$ref\":\"#/r2\"}\n");
    EXPECT_EQ(run({"get", "--compact", "--deref", doc, "/r1"}).out, "{\"v\":1}\n");
    EXPECT_EQ(run({"get", "--compact", "--deref", doc, "/t/v"}).out, "1\n");
    Result through = run({"get", doc, "/r1/v"});  // a reference on the way ends the lookup
    EXPECT_EQ(through.status, 1);
    EXPECT_TRUE(has(through.err, "expected array or object, got reference"));
    EXPECT_EQ(run({"get", "--deref", doc, "#/r1/v"}).out, "1\n");
    Result loop = run({"get", "--deref", doc, "/loop"});
    EXPECT_EQ(loop.status, 1);
    EXPECT_EQ(loop.err, doc + ": error: no value at \"/loop\" [KEL_JSON_CIRCULAR_JREF]\n" + doc +
                            ": error: Circular reference to JSON element \"/loop\" [KEL_JSON_CIRCULAR_JREF]\n");
    Result dangling = run({"get", "--deref", doc, "/dangling"});
    EXPECT_EQ(dangling.status, 1);
    EXPECT_TRUE(has(dangling.err, "JSON object \"\" does not have key nothing")) << dangling.err;
}

TEST_F(Cli, SetPutsValuesAndCreatesContainers)
{
    std::string doc = write("doc.json", "{\"a\": {\"list\": [1]}}");
    const std::pair<Args, const char *> cases[] = {
        {{"/a/list/0", "{\"x\": [true]}"}, "{\"a\":{\"list\":[{\"x\":[true]}]}}\n"},
        {{"/a/list/-", "-1"}, "{\"a\":{\"list\":[1,-1]}}\n"},
        {{"/a/new/deep/0", "null"}, "{\"a\":{\"list\":[1],\"new\":{\"deep\":[null]}}}\n"},
        {{"#/b", "\"s\""}, "{\"a\":{\"list\":[1]},\"b\":\"s\"}\n"},
        {{"/r", "{\"$ref\": \"#/a\"}"}, "{\"a\":{\"list\":[1]},\"r\":{\"$ref\":\"#/a\"}}\n"},
        {{"", "[1, 2]"}, "[1,2]\n"},
        {{"--no-create", "/a/list/1", "2.5"}, "{\"a\":{\"list\":[1,2.5]}}\n"},
    };
    for (const auto &[extra, expected] : cases) {
        Args args = {"set", "--compact", "--sort", doc};
        args.insert(args.end(), extra.begin(), extra.end());
        EXPECT_EQ(run(args).out, expected);
    }
    EXPECT_EQ(slurp(doc), "{\"a\": {\"list\": [1]}}");  // untouched without -o
}

TEST_F(Cli, SetReportsWhatItCannotDo)
{
    std::string doc = write("doc.json", "{\"a\": {\"list\": [1]}, \"s\": \"x\"}");
    const std::pair<Args, std::string> exact[] = {
        {{"--no-create", doc, "/a/b/c", "1"},
         doc + ": error: cannot set \"/a/b/c\": its container \"/a/b\" does not exist (--no-create) [KEL_JSON_KEY_INVALID]\n" +
             doc + ": error: JSON object \"/a\" does not have key b [KEL_JSON_KEY_INVALID]\n"},
        {{doc, "/a/x", "[1,"}, "VALUE:1:3: error: Syntax error: expected ']', got EOF [KEL_JSON_PARSE_ERROR]\n"},
        {{doc, "/s/x", "1"}, doc + ": error: cannot set \"/s/x\" [KEL_JSON_TYPE_INVALID]\n" + doc +
                            ": error: invalid JSON type for \"/s\": expected object or array, got string [KEL_JSON_TYPE_INVALID]\n"},
    };
    for (const auto &[extra, err] : exact) {
        Args args = {"set"};
        args.insert(args.end(), extra.begin(), extra.end());
        Result r = run(args);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, err);
    }
    const std::pair<const char *, const char *> partial[] = {
        {"/a/list/5", "Index 5 is out of bounds for JSON array \"/a/list\" [KEL_JSON_INDEX_INVALID]"},
        {"/a//b", "[KEL_JSON_POINTER_INVALID]"},
        {"/a/", "[KEL_JSON_POINTER_INVALID]"},
        {"a", "Relative JSON pointers are not supported: a"},
    };
    for (const auto &[ptr, part] : partial) {
        Result r = run({"set", doc, ptr, "1"});
        EXPECT_EQ(r.status, 1) << ptr;
        EXPECT_TRUE(has(r.err, part)) << r.err;
    }
}

TEST_F(Cli, ExpandReplacesReferencesByCopies)
{
    std::string doc = write("doc.json", "{\"x\": [{\"$ref\": \"#/y\"}], \"y\": {\"z\": {\"$ref\": \"#/w\"}}, \"w\": 3}");
    Result r = run({"expand", "--compact", "--sort", doc});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "{\"w\":3,\"x\":[{\"z\":3}],\"y\":{\"z\":3}}\n");
    std::string plain = write("plain.json", "{\"a\": [1, {\"b\": null}]}");
    EXPECT_TRUE(same_json(run({"expand", plain}).out, slurp(plain)));

    std::string loop = write("loop.json", "{\"a\": {\"b\": {\"$ref\": \"#/a\"}}}");
    Result l = run({"expand", loop});
    EXPECT_EQ(l.status, 1);
    EXPECT_EQ(l.out, "");
    EXPECT_EQ(l.err, loop + ": error: cannot expand the references [KEL_JSON_CIRCULAR_JREF]\n" + loop +
                         ": error: Circular reference to JSON element \"/a/b\" [KEL_JSON_CIRCULAR_JREF]\n");
    Result d = run({"expand", write("dangling.json", "{\"a\": {\"$ref\": \"#/b/0\"}, \"b\": []}")});
    EXPECT_EQ(d.status, 1);
    EXPECT_TRUE(has(d.err, "Index 0 is out of bounds for JSON array \"/b\"")) << d.err;
}

TEST_F(Cli, MergeUnitesDocumentsAndNamesConflicts)
{
    std::string left = write("l.json", "{\"a\": 1, \"b\": {\"x\": 1}, \"list\": [1, 2]}");
    std::string right = write("r.json", "{\"b\": {\"y\": 2}, \"c\": 3, \"list\": [1, 2, 3]}");
    Result r = run({"merge", "--compact", "--sort", left, right});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "{\"a\":1,\"b\":{\"x\":1,\"y\":2},\"c\":3,\"list\":[1,2,3]}\n");

    // Arrays pair their elements (equal scalars, merged containers) unless concatenated.
    std::string a = write("a.json", "[1, 2]"), b = write("b.json", "[3, 4]");
    Result differ = run({"merge", a, b});
    EXPECT_EQ(differ.status, 1);
    EXPECT_TRUE(has(differ.err, "Cannot union differing array elements /0 and /0")) << differ.err;
    EXPECT_EQ(run({"merge", "--compact", "--append-primitives", a, b}).out, "[1,2,3,4]\n");
    std::string c = write("c.json", "[{\"k\": 1}]"), d = write("d.json", "[{\"j\": 2}]");
    EXPECT_EQ(run({"merge", "--compact", "--sort", "--append-primitives", c, d}).out, "[{\"j\":2,\"k\":1}]\n");
    EXPECT_EQ(run({"merge", "--compact", "--append-containers", c, d}).out, "[{\"k\":1},{\"j\":2}]\n");

    std::string l2 = write("l2.json", "{\"a\": {\"n\": 1}}"), r2 = write("r2.json", "{\"a\": {\"n\": 2}}");
    Result conflict = run({"merge", l2, r2});
    EXPECT_EQ(conflict.status, 1);
    EXPECT_EQ(conflict.err, "kel-json: error: cannot merge " + l2 + " and " + r2 +
                                " [KEL_JSON_ARG_INVALID]\nkel-json: error: Cannot union values from /a/n and /a/n; "
                                "primitives are not equal [KEL_JSON_ARG_INVALID]\n");
    EXPECT_EQ(run({"merge", "--compact", "--prefer", "left", l2, r2}).out, "{\"a\":{\"n\":1}}\n");
    EXPECT_EQ(run({"merge", "--compact", "--prefer=right", l2, r2}).out, "{\"a\":{\"n\":2}}\n");
    Result kinds = run({"merge", write("o.json", "{}"), write("arr.json", "[]")});
    EXPECT_EQ(kinds.status, 1);
    EXPECT_TRUE(has(kinds.err, "Cannot union object with array [KEL_JSON_TYPE_INVALID]")) << kinds.err;
    EXPECT_TRUE(has(run({"merge", write("n.json", "1"), write("m.json", "1")}).err, "Cannot union primitive type integer"));
}

TEST_F(Cli, ContainsAnswersWithItsExitStatus)
{
    std::string small = write("small.json", "{\"a\": [1, 3]}"), big = write("big.json", "{\"a\": [1, 2, 3], \"b\": 2.0}");
    std::string part = write("run.json", "[2, 3]"), prefix = write("prefix.json", "[1, 2]"), all = write("all.json", "[1, 2, 3]");
    const std::pair<Args, int> cases[] = {
        {{small, big}, 0},
        {{big, small}, 1},
        {{"--run", small, big}, 1},
        {{"--same-size", small, big}, 1},
        {{"--equal", big, big}, 0},
        {{"--equal", write("int.json", "{\"a\":[1,2,3],\"b\":2}"), big}, 0},
        {{"--run", part, all}, 0},
        {{"--prefix", part, all}, 1},
        {{"--prefix", prefix, all}, 0},
        {{"--length", prefix, all}, 1},
        {{"--length", all, all}, 0},
    };
    for (const auto &[args, status] : cases) {
        Args full = {"contains"};
        full.insert(full.end(), args.begin(), args.end());
        Result r = run(full);
        EXPECT_EQ(r.status, status) << args[0];
        EXPECT_EQ(r.out + r.err, "");
    }
    Result bad = run({"contains", write("bad.json", "{"), all});
    EXPECT_EQ(bad.status, 2);
    EXPECT_TRUE(has(bad.err, "[KEL_JSON_PARSE_ERROR]"));
}

TEST_F(Cli, PatchAndMergePatchApplyTheRfcExamples)
{
    // FILE, PATCH, expected output (sorted, compact) of patch and merge-patch.
    const std::tuple<const char *, const char *, const char *, const char *> cases[] = {
        {"patch", R"({"foo":["bar","baz"]})", R"([{"op":"add","path":"/foo/1","value":"qux"}])", R"({"foo":["bar","qux","baz"]})"},
        {"patch", R"({"foo":{"bar":"baz","waldo":"fred"},"qux":{"corge":"grault"}})", R"([{"op":"move","from":"/foo/waldo","path":"/qux/thud"}])",
         R"({"foo":{"bar":"baz"},"qux":{"corge":"grault","thud":"fred"}})"},
        {"patch", R"({"foo":["bar"]})", R"([{"op":"add","path":"/foo/-","value":["abc","def"]}])", R"({"foo":["bar",["abc","def"]]})"},
        {"merge-patch", R"({"a":{"b":"c"}})", R"({"a":{"b":"d","c":null}})", R"({"a":{"b":"d"}})"},
        {"merge-patch", R"({"a":"b"})", R"(["c"])", R"(["c"])"},
        {"merge-patch", R"([1,2])", R"({"a":"b","c":null})", R"({"a":"b"})"},
    };
    for (const auto &[cmd, doc, patch, expected] : cases) {
        Result r = run({cmd, "--compact", "--sort", write("doc.json", doc), write("patch.json", patch)});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.out, std::string(expected) + "\n");
    }
    EXPECT_TRUE(has(run({"--help"}).out, "  merge-patch apply a JSON Merge Patch (RFC 7386)"));

    // A failing patch names the operation, prints nothing and leaves -o's file
    // (here the input itself) untouched; a repeated member makes the patch invalid.
    std::string doc = write("doc.json", "{\"foo\": \"bar\"}\n");
    Result missing = run({"patch", doc, write("p.json", R"([{"op":"add","path":"/x","value":1},{"op":"add","path":"/baz/bat","value":"qux"}])"), "-o", doc});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err, doc + ": error: cannot apply the patch " + path("p.json") + " [KEL_JSON_KEY_INVALID]\n" + doc +
                               ": error: Patch operation \"/1\": path \"/baz/bat\" does not exist: JSON object \"\" does not have key baz "
                               "[KEL_JSON_KEY_INVALID]\n");
    EXPECT_EQ(slurp(doc), "{\"foo\": \"bar\"}\n");
    Result twice = run({"patch", doc, write("dup.json", R"([{"op":"add","path":"/baz","value":"qux","op":"remove"}])")});
    EXPECT_EQ(twice.status, 1);
    EXPECT_TRUE(has(twice.err, "duplicate key 'op' [KEL_JSON_PARSE_ERROR]")) << twice.err;
    EXPECT_EQ(run({"patch", doc, write("ok.json", R"([{"op":"test","path":"/foo","value":"bar"}])"), "-o", doc}).status, 0);
    EXPECT_EQ(slurp(doc), "{\n  \"foo\": \"bar\"\n}\n");
}

TEST_F(Cli, EditsKeepMemberOrderAndSortOnlyWhenAsked)
{
    const std::string manifest = "{\n  \"name\": \"demo\",\n  \"version\": \"1.0.0\",\n  \"dependencies\": {\n"
                                 "    \"zlib\": \"1.2\",\n    \"abc\": \"2.0\"\n  },\n  \"private\": true\n}\n";
    std::string doc = write("package.json", manifest);
    Result r = run({"set", doc, "/version", "\"1.0.1\"", "-o", doc});
    ASSERT_EQ(r.status, 0) << r.err;
    std::string expected = manifest;
    expected.replace(expected.find("1.0.0"), 5, "1.0.1");  // the one line that changes
    EXPECT_EQ(slurp(doc), expected);
    EXPECT_EQ(run({"fmt", "--compact", "--sort", doc}).out,
              "{\"dependencies\":{\"abc\":\"2.0\",\"zlib\":\"1.2\"},\"name\":\"demo\",\"private\":true,\"version\":\"1.0.1\"}\n");
}

TEST_F(Cli, ByteOrderMarkAndSchemaRefsAreNamedForWhatTheyAre)
{
    const std::string bom = "\xEF\xBB\xBF";
    std::string marked = write("bom.json", bom + "{}");
    const std::string line = ":1:1: error: UTF-8 byte order mark is not allowed at the start of JSON text [KEL_JSON_PARSE_ERROR]\n";
    for (const Args &args : {Args{"check", marked}, Args{"fmt", "--verbose", marked}}) {
        Result r = run(args);
        EXPECT_EQ(r.status, 1);
        EXPECT_EQ(r.err, marked + line);
    }
    EXPECT_EQ(run({"check", "-"}, marked).err, "<stdin>" + line);
    // Other input that starts with the same byte gets the parser's report.
    Result other = run({"check", write("ef.json", "\xEF\xA0\x80")});
    EXPECT_TRUE(has(other.err, ":1:1: error: Unexpected character in input stream:")) << other.err;

    std::string schema = write("schema.json", "{\"properties\": {\"x\": {\"$ref\": \"http://example.com/s.json#/d\"}}}");
    EXPECT_EQ(run({"get", "--keep-refs", schema, "/properties/x/$ref"}).out, "\"http://example.com/s.json#/d\"\n");
    Result plain = run({"get", schema, "/properties/x/$ref"});
    EXPECT_EQ(plain.status, 1);
    EXPECT_TRUE(has(plain.err, "got reference")) << plain.err;
    Result deref = run({"get", "--deref", schema, "/properties/x"});
    EXPECT_EQ(deref.status, 1);
    EXPECT_TRUE(has(deref.err, "error: external references are not supported: http://example.com/s.json#/d "
                               "[KEL_JSON_FEATURE_UNSUPPORTED]")) << deref.err;
}

}  // namespace
