// kel-json end to end: the built tool runs on files in a temporary directory;
// its output, messages and exit statuses are checked. Number forms, pointer
// lookups, merges and patches are the library's and tested on it; here only
// what the tool adds: commands, options, exit statuses and its own messages.
#include <sys/wait.h>

#include "test_util.h"

namespace {

using Args = std::vector<std::string>;

Args operator+(Args a, const Args &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct Result {
    int status = -1;  // exit status, or 128 + signal number
    std::string out, err;
};

bool has(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

// A failed run: `status`, nothing on standard output, and `expected` on
// standard error: all of it when `expected` ends in a line feed, else a part.
::testing::AssertionResult fails_with(const Result &r, const std::string &expected, int status = 1)
{
    const bool err_ok = expected.ends_with('\n') ? r.err == expected : has(r.err, expected);
    if (r.status == status && r.out.empty() && err_ok)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "status " << r.status << ", out '" << r.out << "', err '" << r.err << "'";
}

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
        g_file_set_contents(path(name).c_str(), text.data(), static_cast<gssize>(text.size()), nullptr);
        return path(name);
    }
    std::string slurp(const std::string &file) { return shell("cat \"$1\"", {file}).out; }
    std::string listing() { return shell("LC_ALL=C ls -A").out; }  // temporary files start with a dot

    // Runs `script` with /bin/sh in the temporary directory, $0 naming the
    // tool and `args` the positional parameters.
    Result shell(const std::string &script, const Args &args = {})
    {
        Args words = Args{"/bin/sh", "-c", script, KEL_JSON_EXE} + args;
        std::vector<char *> argv;
        for (std::string &w : words)
            argv.push_back(w.data());
        argv.push_back(nullptr);
        char *out = nullptr, *err = nullptr;
        int ws = 0;
        const bool spawned = g_spawn_sync(dir_.c_str(), argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out, &err, &ws, nullptr);
        EXPECT_TRUE(spawned) << script;
        Result r{!spawned ? -1 : WIFEXITED(ws) ? WEXITSTATUS(ws) : 128 + WTERMSIG(ws), out ? out : "", err ? err : ""};
        g_free(out);
        g_free(err);
        // Under the sanitizers a finding fails the test whatever the status.
        EXPECT_FALSE(has(r.err, "Sanitizer") || has(r.err, "runtime error:")) << r.err;
        return r;
    }

    // Runs kel-json with `args`, standard input from `input`.
    Result run(const Args &args, const std::string &input = "/dev/null")
    {
        return shell("in=$1; shift; exec \"$0\" \"$@\" < \"$in\"", Args{input} + args);
    }

    // The standard output of a successful, silent run, else what went wrong.
    std::string ok(const Args &args, const std::string &input = "/dev/null")
    {
        Result r = run(args, input);
        return r.status == 0 && r.err.empty() ? r.out : "status " + std::to_string(r.status) + ": " + r.err;
    }

    std::string dir_;
};

TEST_F(Cli, UsageErrorsExitWithTwoAndPointToTheHelp)
{
    const std::pair<Args, const char *> cases[] = {
        {{}, "missing command"}, {{"frobnicate"}, "unknown command 'frobnicate'"}, {{"check"}, "missing operand"},
        {{"fmt", "--pretty"}, "unknown option '--pretty'"}, {{"get", "-x", "a.json", "/"}, "unknown option '-x'"},
        {{"get", "a.json"}, "missing operand (expected FILE POINTER)"}, {{"fmt", "--indent"}, "option '--indent' needs a value (N)"},
        {{"expand", "a.json", "b.json"}, "too many operands (expected FILE)"}, {{"merge", "-", "-"}, "standard input can be read only once"},
        {{"fmt", "--indent", "x", "a.json"}, "invalid --indent value 'x'"}, {{"fmt", "--indent=33", "a.json"}, "invalid --indent value '33'"},
        {{"fmt", "--compact=yes"}, "option '--compact' takes no value"}, {{"check", "-o", "out.json", "a.json"}, "unknown option '-o'"},
        {{"fmt", "--compact", "--indent", "4"}, "--indent and --compact exclude each other"},  // check above writes nothing
        {{"merge", "--prefer", "middle", "a.json", "b.json"}, "--prefer takes 'left' or 'right'"}};
    for (const auto &[args, message] : cases) {
        const Result r = run(args);
        EXPECT_TRUE(fails_with(r, message, 2) && has(r.err, "Try 'kel-json")) << r.err;
    }
}

TEST_F(Cli, EveryCommandHasHelp)
{
    const std::string top = ok({"--help"});
    for (std::string cmd : {"check", "fmt", "get", "set", "expand", "merge", "contains", "patch", "merge-patch"})
        EXPECT_TRUE(has(top, "  " + cmd + " ") && ok({cmd, "--help"}).starts_with("Usage: kel-json " + cmd + " ")) << cmd;
    EXPECT_TRUE(has(ok({"get", "-h"}), "--deref") && ok({"--version"}).starts_with("kel-json "));
}

TEST_F(Cli, CheckReportsTheCauseOrWithVerboseTheWholeChain)
{
    std::string good = write("good.json", "{\"a\": [1, 2.5, \"x\"]}\n");
    std::string bad = write("bad.json", "[1 #]"), later = write("later.json", "[1,\n  #");
    const std::string lexer = ": error: Unexpected character in input stream: '#' [KEL_JSON_PARSE_ERROR]\n";
    EXPECT_TRUE(fails_with(run({"check", good, bad, later}), bad + ":1:4" + lexer + later + ":2:3" + lexer));
    // Newest first: the parser's report, then the lexer's cause.
    EXPECT_TRUE(fails_with(run({"check", "--verbose", good, bad, later}),
                           bad + ":1:4: error: Syntax error: expected ']', got <invalid> [KEL_JSON_PARSE_ERROR]\n" + bad + ":1:4" +
                               lexer + later + ":2:3: error: Syntax error: unexpected token: <invalid> [KEL_JSON_PARSE_ERROR]\n" +
                               later + ":2:3" + lexer));
    std::string dup = write("dup.json", "{\"a\": 1, \"a\": 2}");
    EXPECT_EQ(ok({"check", "-"}, dup), "");
    EXPECT_TRUE(fails_with(run({"check", "--reject-duplicates", "-"}, dup),
                           "<stdin>:1:12: error: Syntax error: duplicate key 'a' [KEL_JSON_PARSE_ERROR]\n"));
}

TEST_F(Cli, UnreadableInputsAreReportedWithTheIoCode)
{
    std::string missing = path("missing.json");
    EXPECT_TRUE(fails_with(run({"check", missing}), missing + ": error: cannot open: No such file or directory [KEL_IO_FAIL]\n"));
    EXPECT_TRUE(fails_with(run({"check", dir_}), dir_ + ": error: cannot read: Is a directory [KEL_IO_FAIL]\n"));
    // Every command loads through the same reader; a pair's second operand, and contains' status, are its own.
    EXPECT_TRUE(fails_with(run({"merge", write("a.json", "{}"), dir_}), "[KEL_IO_FAIL]"));
    EXPECT_TRUE(fails_with(run({"contains", missing, path("a.json")}), "[KEL_IO_FAIL]", 2));  // 1 would mean "no"
}

TEST_F(Cli, FmtWritesPrettyCompactAndIndentedForms)
{
    // Doubles are written exactly unless --fixed asks for "%f"; large integers as numbers unless --u128-str.
    std::string doc = write("doc.json", "{\"b\": [0.1, 18446744073709551616], \"a\": {}}");
    const std::pair<Args, const char *> cases[] = {
        {{"--compact"}, "{\"b\":[0.1,18446744073709551616],\"a\":{}}\n"},  // the document's order unless sorted
        {{"--compact", "--fixed", "--u128-str"}, "{\"b\":[0.100000,\"18446744073709551616\"],\"a\":{}}\n"},
        {{"--sort"}, "{\n  \"a\": {\n  },\n  \"b\": [\n    0.1,\n    18446744073709551616\n  ]\n}\n"},
        {{"--sort", "--indent", "4"}, "{\n    \"a\": {\n    },\n    \"b\": [\n        0.1,\n        18446744073709551616\n    ]\n}\n"},
        {{"--sort", "--indent=0"}, "{\n\"a\": {\n},\n\"b\": [\n0.1,\n18446744073709551616\n]\n}\n"}};
    for (const auto &[options, expected] : cases)
        EXPECT_EQ(ok(Args{"fmt", doc} + options), expected);
    // Standard input without FILE and with "-"; escaped line feeds are not indentation.
    std::string text = write("text.json", "[\"line\\n  not indentation\"]");
    EXPECT_EQ(ok({"fmt", "--indent", "3"}, text), "[\n   \"line\\n  not indentation\"\n]\n");
    EXPECT_EQ(ok({"fmt", "--compact", "-"}, text), "[\"line\\n  not indentation\"]\n");
}

// -o replaces its file whole, keeping the file's mode and a link to it; a
// failed run leaves it as it was and no temporary file behind.
TEST_F(Cli, OutputFileIsReplacedWholeOrNotAtAll)
{
    std::string doc = write("doc.json", "{\"a\": [1, 2]}");
    std::string out = write("out.json", "old contents that are longer than the new ones......");
    shell("chmod 640 out.json");
    EXPECT_EQ(ok({"fmt", "--compact", doc, "-o", out}), "");
    EXPECT_EQ(slurp(out), "{\"a\":[1,2]}\n");
    EXPECT_EQ(shell("stat -c %a out.json").out, "640\n");
    // In place: the input is read completely before the output replaces it.
    EXPECT_EQ(ok({"set", "--compact", doc, "/a/-", "3", "--output=" + doc}), "");
    EXPECT_EQ(slurp(doc), "{\"a\":[1,2,3]}\n");
    shell("ln -s doc.json link.json");
    EXPECT_EQ(ok({"fmt", "--compact", doc, "-o" + path("link.json")}), "");
    EXPECT_EQ(shell("readlink link.json").out, "doc.json\n");  // still a link
    EXPECT_EQ(run({"fmt", write("bad.json", "{\"a\": "), "-o", out}).status, 1);
    EXPECT_EQ(run({"get", doc, "/missing", "-o", out}).status, 1);
    shell("mkdir sub");
    EXPECT_TRUE(fails_with(run({"fmt", doc, "-o", path("sub")}), "cannot write " + path("sub") + ": "));
    EXPECT_TRUE(fails_with(run({"fmt", doc, "-o", path("nowhere/out.json")}), "cannot create a temporary file"));
    // The write fails halfway (file-size limit of one 512-byte block): the
    // original survives and no temporary file is left behind.
    write("big.json", "[\"" + std::string(2000, 'x') + "\"]");
    EXPECT_TRUE(fails_with(shell("ulimit -f 1 && exec \"$0\" fmt big.json -o out.json"),
                           "cannot write out.json: File too large [KEL_IO_FAIL]"));
    EXPECT_EQ(slurp(out), "{\"a\":[1,2]}\n");
    EXPECT_EQ(listing(), "bad.json\nbig.json\ndoc.json\nlink.json\nout.json\nsub\n");
    EXPECT_TRUE(fails_with(shell("exec \"$0\" fmt doc.json > /dev/full"), "cannot write to standard output: No space left on device"));
}

TEST_F(Cli, GetPrintsTheValueAtAPointerOrSaysWhyNot)
{
    std::string doc = write("doc.json", "{\"a\": {\"b\": [10, 20, {\"c\": \"x\"}]}, \"k/~\": 5, \"\": 6}");
    const std::pair<const char *, const char *> found[] = {
        {"/a/b/0", "10\n"}, {"/a/b/-1", "{\"c\":\"x\"}\n"}, {"#/a/b/2/c", "\"x\"\n"}, {"/k~1~0", "5\n"}, {"/", "6\n"},
        {"", "{\"a\":{\"b\":[10,20,{\"c\":\"x\"}]},\"k/~\":5,\"\":6}\n"}};
    for (const auto &[ptr, value] : found)
        for (const Args &deref : {Args{}, Args{"--deref"}})  // the tool's own step-by-step walk must agree
            EXPECT_EQ(ok(Args{"get", "--compact", doc, ptr} + deref), value) << ptr;
    // The tool's line names the pointer, the library's says why; both carry its code.
    EXPECT_TRUE(fails_with(run({"get", doc, "a"}), doc + ": error: no value at \"a\" [KEL_JSON_FEATURE_UNSUPPORTED]\n" + doc +
                                                       ": error: Relative JSON pointers are not supported: a [KEL_JSON_FEATURE_UNSUPPORTED]\n"));
}

// Without --deref a reference on the way ends the lookup; --keep-refs reads
// "$ref" members (schema references) as plain objects.
TEST_F(Cli, GetDerefFollowsReferencesAndKeepRefsReadsThemAsObjects)
{
    std::string doc = write("doc.json", "{\"t\": {\"v\": 1}, \"r1\": {\"$ref\": \"#/r2\"}, \"r2\": {\"$ref\": \"#/t\"}, "
                                        "\"loop\": {\"$ref\": \"#/loop\"}, \"x\": {\"$ref\": \"http://example.com/s.json#/d\"}}");
    EXPECT_EQ(ok({"get", "--compact", doc, "/r1"}), "{\"$ref\":\"#/r2\"}\n");
    EXPECT_EQ(ok({"get", "--compact", "--deref", doc, "/r1"}), "{\"v\":1}\n");
    EXPECT_TRUE(fails_with(run({"get", doc, "/r1/v"}), "expected array or object, got reference"));
    EXPECT_EQ(ok({"get", "--deref", doc, "#/r1/v"}), "1\n");
    EXPECT_TRUE(fails_with(run({"get", "--deref", doc, "/loop"}),
                           doc + ": error: no value at \"/loop\" [KEL_JSON_CIRCULAR_JREF]\n" + doc +
                               ": error: Circular reference to JSON element \"/loop\" [KEL_JSON_CIRCULAR_JREF]\n"));
    EXPECT_EQ(ok({"get", "--keep-refs", doc, "/x/$ref"}), "\"http://example.com/s.json#/d\"\n");
    EXPECT_TRUE(fails_with(run({"get", "--deref", doc, "/x"}),
                           "error: external references are not supported: http://example.com/s.json#/d [KEL_JSON_FEATURE_UNSUPPORTED]"));
}

TEST_F(Cli, SetPutsValuesCreatesContainersOrSaysWhyNot)
{
    std::string doc = write("doc.json", "{\"a\": {\"list\": [1]}, \"s\": \"x\"}");
    const std::pair<Args, const char *> puts[] = {
        {{"/a/list/0", "{\"x\": [true]}"}, "{\"a\":{\"list\":[{\"x\":[true]}]},\"s\":\"x\"}\n"}, {{"", "[1, 2]"}, "[1,2]\n"},
        {{"/a/new/deep/0", "null"}, "{\"a\":{\"list\":[1],\"new\":{\"deep\":[null]}},\"s\":\"x\"}\n"},
        {{"/", "7"}, "{\"\":7,\"a\":{\"list\":[1]},\"s\":\"x\"}\n"}, {{"#/b", "\"s\""}, "{\"a\":{\"list\":[1]},\"b\":\"s\",\"s\":\"x\"}\n"},
        {{"--no-create", "/a/list/1", "2.5"}, "{\"a\":{\"list\":[1,2.5]},\"s\":\"x\"}\n"}};
    for (const auto &[extra, expected] : puts)
        EXPECT_EQ(ok(Args{"set", "--compact", "--sort", doc} + extra), expected);
    EXPECT_EQ(slurp(doc), "{\"a\": {\"list\": [1]}, \"s\": \"x\"}");  // untouched without -o
    const std::pair<Args, std::string> cases[] = {
        {{"--no-create", doc, "/a/b/c", "1"},
         doc + ": error: cannot set \"/a/b/c\": its container \"/a/b\" does not exist (--no-create) [KEL_JSON_KEY_INVALID]\n" +
             doc + ": error: JSON object \"/a\" does not have key b [KEL_JSON_KEY_INVALID]\n"},
        {{doc, "/a/x", "[1,"}, "VALUE:1:3: error: Syntax error: expected ']', got EOF [KEL_JSON_PARSE_ERROR]\n"},
        {{doc, "/s/x", "1"}, doc + ": error: cannot set \"/s/x\" [KEL_JSON_TYPE_INVALID]\n" + doc +
                                 ": error: invalid JSON type for \"/s\": expected object or array, got string [KEL_JSON_TYPE_INVALID]\n"},
        {{doc, "/a/list/5", "1"}, "Index 5 is out of bounds for JSON array \"/a/list\" [KEL_JSON_INDEX_INVALID]"},  // no gap
        {{doc, "/a//b", "1"}, "an empty member name can only be set directly below the root"}, {{doc, "/a/", "1"}, "directly below the root"}};
    for (const auto &[extra, err] : cases)
        EXPECT_TRUE(fails_with(run(Args{"set"} + extra), err));
}

TEST_F(Cli, ExpandReplacesReferencesByCopies)
{
    std::string doc = write("doc.json", "{\"x\": [{\"$ref\": \"#/y\"}], \"y\": {\"z\": {\"$ref\": \"#/w\"}}, \"w\": 3}");
    EXPECT_EQ(ok({"expand", "--compact", "--sort", doc}), "{\"w\":3,\"x\":[{\"z\":3}],\"y\":{\"z\":3}}\n");
    std::string loop = write("loop.json", "{\"a\": {\"b\": {\"$ref\": \"#/a\"}}}");
    EXPECT_TRUE(fails_with(run({"expand", loop}), loop + ": error: cannot expand the references [KEL_JSON_CIRCULAR_JREF]\n" + loop +
                                                      ": error: Circular reference to JSON element \"/a/b\" [KEL_JSON_CIRCULAR_JREF]\n"));
}

TEST_F(Cli, MergeUnitesDocumentsAndNamesConflicts)
{
    std::string left = write("l.json", "{\"a\": 1, \"b\": {\"x\": 1}}"), right = write("r.json", "{\"b\": {\"y\": 2}, \"c\": 3}");
    std::string a = write("a.json", "[1, 2]"), b = write("b.json", "[3, 4]");  // arrays pair their elements unless concatenated
    std::string c = write("c.json", "[{\"k\": 1}]"), d = write("d.json", "[{\"j\": 2}]");
    std::string l2 = write("l2.json", "{\"a\": {\"n\": 1}}"), r2 = write("r2.json", "{\"a\": {\"n\": 2}}");
    const std::pair<Args, const char *> cases[] = {
        {{left, right}, "{\"a\":1,\"b\":{\"x\":1,\"y\":2},\"c\":3}\n"}, {{"--append-primitives", a, b}, "[1,2,3,4]\n"},
        {{"--append-primitives", c, d}, "[{\"j\":2,\"k\":1}]\n"}, {{"--append-containers", c, d}, "[{\"k\":1},{\"j\":2}]\n"},
        {{"--prefer", "left", l2, r2}, "{\"a\":{\"n\":1}}\n"}, {{"--prefer=right", l2, r2}, "{\"a\":{\"n\":2}}\n"}};
    for (const auto &[args, expected] : cases)
        EXPECT_EQ(ok(Args{"merge", "--compact", "--sort"} + args), expected);
    EXPECT_TRUE(fails_with(run({"merge", a, b}), "Cannot union differing array elements /0 and /0"));
    EXPECT_TRUE(fails_with(run({"merge", l2, r2}), "kel-json: error: cannot merge " + l2 + " and " + r2 +
                                                       " [KEL_JSON_ARG_INVALID]\nkel-json: error: Cannot union values from /a/n "
                                                       "and /a/n; primitives are not equal [KEL_JSON_ARG_INVALID]\n"));
}

// Each option in a row where it changes the answer, and in one where it does not.
TEST_F(Cli, ContainsAnswersWithItsExitStatus)
{
    std::string small = write("small.json", "{\"a\": [1, 3]}"), big = write("big.json", "{\"a\": [1, 2, 3], \"b\": 2.0}");
    std::string part = write("run.json", "[2, 3]"), prefix = write("prefix.json", "[1, 2]"), all = write("all.json", "[1, 2, 3]");
    const std::pair<Args, int> cases[] = {
        {{small, big}, 0}, {{big, small}, 1}, {{"--run", small, big}, 1}, {{"--run", part, all}, 0}, {{"--same-size", small, big}, 1},
        {{"--equal", small, big}, 1}, {{"--equal", big, big}, 0}, {{"--prefix", part, all}, 1}, {{"--prefix", prefix, all}, 0},
        {{"--length", prefix, all}, 1}, {{"--length", all, all}, 0}};
    for (const auto &[args, status] : cases) {
        Result r = run(Args{"contains"} + args);
        EXPECT_EQ(r.status, status) << args[0];
        EXPECT_EQ(r.out + r.err, "");
    }
}

TEST_F(Cli, PatchAndMergePatchApplyThePatchFile)
{
    std::string doc = write("doc.json", "{\"foo\": \"bar\"}\n");
    EXPECT_EQ(ok({"patch", "--compact", doc, write("p1.json", R"([{"op":"move","from":"/foo","path":"/qux"}])")}), "{\"qux\":\"bar\"}\n");
    EXPECT_EQ(ok({"merge-patch", "--compact", doc, write("p2.json", R"({"foo":null,"a":{"b":"d","c":null}})")}), "{\"a\":{\"b\":\"d\"}}\n");
    // A failing patch names the operation, prints nothing and leaves -o's file
    // (here the input itself) untouched; a repeated member makes the patch invalid.
    const char *failing = R"([{"op":"add","path":"/x","value":1},{"op":"add","path":"/baz/bat","value":"qux"}])";
    EXPECT_TRUE(fails_with(run({"patch", doc, write("p.json", failing), "-o", doc}),
                           doc + ": error: cannot apply the patch " + path("p.json") + " [KEL_JSON_KEY_INVALID]\n" + doc +
                               ": error: Patch operation \"/1\": path \"/baz/bat\" does not exist: JSON object \"\" does not "
                               "have key baz [KEL_JSON_KEY_INVALID]\n"));
    EXPECT_EQ(slurp(doc), "{\"foo\": \"bar\"}\n");
    EXPECT_TRUE(fails_with(run({"patch", doc, write("dup.json", R"([{"op":"add","path":"/baz","value":"qux","op":"remove"}])")}),
                           "duplicate key 'op' [KEL_JSON_PARSE_ERROR]"));
}

TEST_F(Cli, ByteOrderMarkIsNamedForWhatItIs)
{
    std::string marked = write("bom.json", "\xEF\xBB\xBF{}");
    const std::string line = ":1:1: error: UTF-8 byte order mark is not allowed at the start of JSON text [KEL_JSON_PARSE_ERROR]\n";
    EXPECT_TRUE(fails_with(run({"check", "--verbose", marked}), marked + line));  // the whole report
    EXPECT_TRUE(fails_with(run({"fmt", "-"}, marked), "<stdin>" + line));
    // Other input that starts with the same byte gets the parser's report.
    EXPECT_TRUE(fails_with(run({"check", write("ef.json", "\xEF\xA0\x80")}), ":1:1: error: Unexpected character in input stream:"));
}

}  // namespace
