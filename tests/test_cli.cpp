// End-to-end tests of kel-json: the built executable is run on files in a
// temporary directory and its output, messages and exit statuses checked.
#include "test_util.h"

#include <fcntl.h>
#include <ftw.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

extern char **environ;

namespace {

using kel_test::ErrorSlot;
using kel_test::JsonRoot;

struct Result {
    int status = -1;  // exit status, or 128 + signal number
    std::string out;
    std::string err;
};

std::string slurp(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

int remove_entry(const char *path, const struct stat *, int, struct FTW *)
{
    return ::remove(path);
}

// True when both texts parse to deeply equal documents.
bool same_json(const std::string &a, const std::string &b)
{
    JsonRoot x(kel_json_loads(a.c_str(), 0, nullptr));
    JsonRoot y(kel_json_loads(b.c_str(), 0, nullptr));
    return x.get() && y.get() && kel_json_subset(x, y, KEL_JSON_SUBSET_EQUAL);
}

class Cli : public ::testing::Test {
protected:
    void SetUp() override
    {
        GError *error = nullptr;
        char *dir = g_dir_make_tmp("kel-cli-XXXXXX", &error);
        ASSERT_NE(dir, nullptr) << error->message;
        dir_ = dir;
        g_free(dir);
    }
    void TearDown() override { ::nftw(dir_.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS); }

    std::string path(const std::string &name) const { return dir_ + "/" + name; }

    std::string write(const std::string &name, const std::string &text) const
    {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

    // Names in the temporary directory other than the run's own capture files.
    std::vector<std::string> entries() const
    {
        std::vector<std::string> names;
        GDir *d = g_dir_open(dir_.c_str(), 0, nullptr);
        while (const char *n = g_dir_read_name(d)) {
            if (std::string(n).rfind("capture.", 0) != 0)
                names.emplace_back(n);
        }
        g_dir_close(d);
        std::sort(names.begin(), names.end());
        return names;
    }

    // Runs kel-json with args, standard input from stdin_path.
    Result run(const std::vector<std::string> &args, const std::string &stdin_path = "/dev/null")
    {
        std::vector<std::string> argv = {KEL_JSON_EXE};
        argv.insert(argv.end(), args.begin(), args.end());
        return spawn(argv, stdin_path);
    }

    // Runs a shell script in the temporary directory, with $KJ naming the tool.
    Result shell(const std::string &script)
    {
        std::string full = "cd '" + dir_ + "' && KJ='" KEL_JSON_EXE "' && " + script;
        return spawn({"/bin/sh", "-c", full}, "/dev/null");
    }

    std::string dir_;

private:
    Result spawn(const std::vector<std::string> &argv, const std::string &stdin_path)
    {
        std::string out_path = path("capture.out"), err_path = path("capture.err");
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, stdin_path.c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, out_path.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        posix_spawn_file_actions_addopen(&actions, 2, err_path.c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0644);
        std::vector<char *> cargv;
        for (const std::string &a : argv)
            cargv.push_back(const_cast<char *>(a.c_str()));
        cargv.push_back(nullptr);

        Result r;
        pid_t pid;
        int rc = posix_spawn(&pid, cargv[0], &actions, nullptr, cargv.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        EXPECT_EQ(rc, 0) << "cannot run " << cargv[0];
        if (rc != 0)
            return r;
        int wstatus = 0;
        waitpid(pid, &wstatus, 0);
        r.status = WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
        r.out = slurp(out_path);
        r.err = slurp(err_path);
        ::unlink(out_path.c_str());
        ::unlink(err_path.c_str());
        // Under the sanitizers a finding must fail the test whatever the status.
        EXPECT_EQ(r.err.find("Sanitizer"), std::string::npos) << r.err;
        EXPECT_EQ(r.err.find("runtime error:"), std::string::npos) << r.err;
        return r;
    }
};

// ---- Usage -----------------------------------------------------------------

TEST_F(Cli, UsageErrorsExitWithTwoAndPointToTheHelp)
{
    struct Case {
        std::vector<std::string> args;
        const char *message;
    } cases[] = {
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
    for (const Case &c : cases) {
        Result r = run(c.args);
        EXPECT_EQ(r.status, 2) << c.message;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("Try 'kel-json"), std::string::npos) << r.err;
        EXPECT_EQ(r.out, "");
    }
}

TEST_F(Cli, EveryCommandHasHelp)
{
    Result top = run({"--help"});
    EXPECT_EQ(top.status, 0);
    for (const char *cmd : {"check", "fmt", "get", "set", "expand", "merge", "contains"}) {
        EXPECT_NE(top.out.find(std::string("  ") + cmd + " "), std::string::npos) << cmd;
        Result r = run({cmd, "--help"});
        EXPECT_EQ(r.status, 0) << cmd;
        EXPECT_EQ(r.out.rfind(std::string("Usage: kel-json ") + cmd + " ", 0), 0u) << r.out;
        EXPECT_NE(r.out.find("--reject-duplicates"), std::string::npos) << cmd;
        EXPECT_NE(r.out.find("-h, --help"), std::string::npos) << cmd;
    }
    EXPECT_NE(run({"get", "-h"}).out.find("--deref"), std::string::npos);
    EXPECT_NE(run({"fmt", "--help"}).out.find("-o, --output FILE"), std::string::npos);
    EXPECT_EQ(run({"--version"}).out.rfind("kel-json ", 0), 0u);
}

// ---- check -------------------------------------------------------------------

TEST_F(Cli, CheckReportsEveryErrorOfTheChainWithItsPosition)
{
    std::string good = write("good.json", "{\"a\": [1, 2.5, \"x\"]}\n");
    std::string bad = write("bad.json", "[1 #]");
    std::string later = write("later.json", "[1,\n  #");

    Result ok = run({"check", good});
    EXPECT_EQ(ok.status, 0);
    EXPECT_EQ(ok.out + ok.err, "");

    // Newest first: the parser's error, then the lexer's below it.
    Result r = run({"check", good, bad, later});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err,
              bad + ":1:4: error: Syntax error: expected ']', got <invalid> [KEL_JSON_PARSE_ERROR]\n" +
              bad + ":1:4: error: Unexpected character in input stream: '#' [KEL_JSON_PARSE_ERROR]\n" +
              later + ":2:3: error: Syntax error: unexpected token: <invalid> [KEL_JSON_PARSE_ERROR]\n" +
              later + ":2:3: error: Unexpected character in input stream: '#' [KEL_JSON_PARSE_ERROR]\n");
}

TEST_F(Cli, CheckReadsStandardInputAndHonoursRejectDuplicates)
{
    std::string dup = write("dup.json", "{\"a\": 1, \"a\": 2}");
    EXPECT_EQ(run({"check", "-"}, dup).status, 0);

    Result r = run({"check", "--reject-duplicates", "-"}, dup);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err.rfind("<stdin>:1:", 0), 0u) << r.err;
    EXPECT_NE(r.err.find("error: Syntax error: duplicate key 'a' [KEL_JSON_PARSE_ERROR]"),
              std::string::npos)
        << r.err;

    Result empty = run({"check", write("empty.json", "")});
    EXPECT_EQ(empty.status, 1);
    EXPECT_NE(empty.err.find("Syntax error: unexpected token: EOF"), std::string::npos);
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

    // The same goes for every command that reads a document.
    EXPECT_EQ(run({"fmt", dir_}).status, 1);
    EXPECT_EQ(run({"get", missing, "/a"}).status, 1);
    EXPECT_EQ(run({"merge", write("a.json", "{}"), dir_}).status, 1);
    EXPECT_EQ(run({"contains", missing, path("a.json")}).status, 2);

    if (geteuid() != 0) {  // root reads files whatever their mode
        std::string locked = write("locked.json", "{}");
        ::chmod(locked.c_str(), 0);
        Result l = run({"check", locked});
        EXPECT_EQ(l.status, 1);
        EXPECT_NE(l.err.find("cannot open: Permission denied [KEL_IO_FAIL]"), std::string::npos);
    }
}

// ---- fmt -----------------------------------------------------------------------

TEST_F(Cli, FmtWritesPrettyCompactAndIndentedForms)
{
    std::string doc = write("doc.json", "{\"b\": [1, true, null], \"a\": {}, \"c\": \"x\"}");
    Result pretty = run({"fmt", "--sort", doc});
    EXPECT_EQ(pretty.status, 0);
    EXPECT_EQ(pretty.out,
              "{\n  \"a\": {\n  },\n  \"b\": [\n    1,\n    true,\n    null\n  ],\n"
              "  \"c\": \"x\"\n}\n");
    EXPECT_EQ(run({"fmt", "--sort", "--compact", doc}).out,
              "{\"a\":{},\"b\":[1,true,null],\"c\":\"x\"}\n");
    EXPECT_EQ(run({"fmt", "--sort", "--indent", "4", doc}).out,
              "{\n    \"a\": {\n    },\n    \"b\": [\n        1,\n        true,\n        null\n"
              "    ],\n    \"c\": \"x\"\n}\n");
    EXPECT_EQ(run({"fmt", "--sort", "--indent=0", doc}).out,
              "{\n\"a\": {\n},\n\"b\": [\n1,\ntrue,\nnull\n],\n\"c\": \"x\"\n}\n");

    // Without FILE, and with "-", the document comes from standard input;
    // escaped line feeds in strings do not confuse the re-indentation.
    std::string text = write("text.json", "[\"line\\n  not indentation\"]");
    EXPECT_EQ(run({"fmt", "--indent", "3"}, text).out, "[\n   \"line\\n  not indentation\"\n]\n");
    EXPECT_EQ(run({"fmt", "--compact", "-"}, text).out, "[\"line\\n  not indentation\"]\n");
}

TEST_F(Cli, FmtNeverChangesANumber)
{
    const char *numbers =
        "[0.1, 1e-7, 123456.789012345, 1e300, -0.0, 2.5, 1.0, 2.2250738585072014e-308, "
        "1.7976931348623157e308, 0.30000000000000004, 9223372036854775807, "
        "-9223372036854775808, 18446744073709551615, 1267650600228229401496703205376]";
    std::string doc = write("numbers.json", numbers);
    Result r = run({"fmt", "--compact", doc});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out,
              "[0.1,1e-07,123456.789012345,1e+300,-0.0,2.5,1.0,2.2250738585072014e-308,"
              "1.7976931348623157e+308,0.30000000000000004,9223372036854775807,"
              "-9223372036854775808,18446744073709551615,1267650600228229401496703205376]\n");
    EXPECT_TRUE(same_json(r.out, numbers));

    // --fixed is the serializer's "%f" form, which does lose digits.
    Result fixed = run({"fmt", "--compact", "--fixed", write("f.json", "[0.1, 1e-7, 2]")});
    EXPECT_EQ(fixed.out, "[0.100000,0.000000,2]\n");
    EXPECT_EQ(run({"fmt", "--compact", "--u128-str", write("u.json", "[18446744073709551616]")}).out,
              "[\"18446744073709551616\"]\n");
}

TEST_F(Cli, IntegersTheLibraryWouldChangeAreRefused)
{
    // Integers below -2^63 or from 2^128 on have no exact kind: the parser
    // refuses them rather than let fmt print another number.
    std::string low = write("low.json", "{\"ok\": [\"-99999999999999999999\", -1e30],\n"
                                        " \"n\": -9223372036854775809}");
    Result r = run({"fmt", low});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find(low + ":2:26: error: Not a valid uint128 value: -9223372036854775809"),
              std::string::npos) << r.err;

    std::string high = write("high.json", "340282366920938463463374607431768211456");
    EXPECT_EQ(run({"check", high}).status, 1);

    // The ends of the range, and everything inside strings, stay as they are.
    std::string edges = "[-9223372036854775808,340282366920938463463374607431768211455,"
                        "\"-9223372036854775809\",-1e+30]";
    Result ok = run({"fmt", "--compact", write("edges.json", edges)});
    EXPECT_EQ(ok.status, 0) << ok.err;
    EXPECT_EQ(ok.out, edges + "\n");
}

TEST_F(Cli, FmtRoundTripsTheCorpus)
{
    std::string corpus = std::string(KEL_TEST_SHARED_DIR) + "/corpus";
    if (!g_file_test(corpus.c_str(), G_FILE_TEST_IS_DIR))
        GTEST_SKIP() << "no corpus at " << corpus;
    int files = 0;
    GDir *d = g_dir_open(corpus.c_str(), 0, nullptr);
    while (const char *name = g_dir_read_name(d)) {
        if (!g_str_has_suffix(name, ".json"))
            continue;
        ++files;
        std::string source = corpus + "/" + name;
        for (const char *style : {"--sort", "--compact"}) {
            std::string out = path("out.json");
            Result r = run({"fmt", style, source, "-o", out});
            ASSERT_EQ(r.status, 0) << name << ": " << r.err;
            FILE *a = fopen(source.c_str(), "rb");
            FILE *b = fopen(out.c_str(), "rb");
            JsonRoot original(kel_json_loadf(a, 0, nullptr));
            JsonRoot again(kel_json_loadf(b, 0, nullptr));
            fclose(a);
            fclose(b);
            ASSERT_TRUE(original.get() && again.get()) << name;
            EXPECT_TRUE(kel_json_subset(original, again, KEL_JSON_SUBSET_EQUAL)) << name << style;
        }
    }
    g_dir_close(d);
    if (files == 0)
        GTEST_SKIP() << "no corpus files";
}

// ---- -o -------------------------------------------------------------------------

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
    struct stat lst;
    ASSERT_EQ(::lstat(path("link.json").c_str(), &lst), 0);
    EXPECT_TRUE(S_ISLNK(lst.st_mode));
    EXPECT_EQ(entries(), (std::vector<std::string>{"doc.json", "link.json", "out.json"}));
}

TEST_F(Cli, FailedRunsNeverTouchTheOutputFile)
{
    std::string doc = write("doc.json", "{\"a\": 1}");
    std::string bad = write("bad.json", "{\"a\": ");
    std::string out = write("out.json", "original\n");

    // The input is invalid: nothing is written.
    EXPECT_EQ(run({"fmt", bad, "-o", out}).status, 1);
    EXPECT_EQ(run({"get", doc, "/missing", "-o", out}).status, 1);
    EXPECT_EQ(slurp(out), "original\n");

    // The target cannot be replaced (it is a directory, or its directory is missing).
    ASSERT_EQ(::mkdir(path("sub").c_str(), 0755), 0);
    Result isdir = run({"fmt", doc, "-o", path("sub")});
    EXPECT_EQ(isdir.status, 1);
    EXPECT_NE(isdir.err.find("cannot write " + path("sub") + ": "), std::string::npos) << isdir.err;
    EXPECT_NE(isdir.err.find("[KEL_IO_FAIL]"), std::string::npos) << isdir.err;
    Result nodir = run({"fmt", doc, "-o", path("nowhere/out.json")});
    EXPECT_EQ(nodir.status, 1);
    EXPECT_NE(nodir.err.find("cannot create a temporary file"), std::string::npos) << nodir.err;

    // The write itself fails halfway (file-size limit of one 512-byte block):
    // the original survives and no temporary file is left behind.
    std::string big = "[";
    for (int i = 0; i < 400; ++i)
        big += (i ? "," : "") + std::to_string(i * 1000);
    write("big.json", big + "]");
    Result full = shell("ulimit -f 1 && exec \"$KJ\" fmt big.json -o out.json");
    EXPECT_EQ(full.status, 1) << full.err;
    EXPECT_NE(full.err.find("cannot write out.json: File too large [KEL_IO_FAIL]"),
              std::string::npos)
        << full.err;
    EXPECT_EQ(slurp(out), "original\n");
    EXPECT_EQ(entries(),
              (std::vector<std::string>{"bad.json", "big.json", "doc.json", "out.json", "sub"}));

    Result devfull = shell("exec \"$KJ\" fmt doc.json > /dev/full");
    EXPECT_EQ(devfull.status, 1);
    EXPECT_NE(devfull.err.find("cannot write to standard output: No space left on device"),
              std::string::npos)
        << devfull.err;
}

// ---- get -----------------------------------------------------------------------

TEST_F(Cli, GetPrintsTheValueAtAPointer)
{
    std::string doc = write("doc.json",
                            "{\"a\": {\"b\": [10, 20, {\"c\": \"x\"}]}, \"k/~\": 5, \"\": 6}");
    auto get = [&](const std::string &ptr) { return run({"get", "--compact", doc, ptr}); };
    EXPECT_EQ(get("/a/b/0").out, "10\n");
    EXPECT_EQ(get("/a/b/-1").out, "{\"c\":\"x\"}\n");
    EXPECT_EQ(get("#/a/b/2/c").out, "\"x\"\n");
    EXPECT_EQ(get("/k~1~0").out, "5\n");
    EXPECT_EQ(get("/").out, "6\n");
    EXPECT_TRUE(same_json(get("").out, slurp(doc)));
    EXPECT_EQ(run({"get", doc, "/a/b"}).out, "[\n  10,\n  20,\n  {\n    \"c\": \"x\"\n  }\n]\n");
}

TEST_F(Cli, GetReportsMissingPathsAndBadPointers)
{
    std::string doc = write("doc.json", "{\"a\": {\"b\": [10, 20]}, \"s\": \"text\"}");
    struct Case {
        const char *pointer;
        const char *code;
        const char *library_message;
    } cases[] = {
        {"/a/x", "KEL_JSON_KEY_INVALID", "JSON object \"/a\" does not have key x"},
        {"/a/b/2", "KEL_JSON_INDEX_INVALID", "Index 2 is out of bounds for JSON array \"/a/b\""},
        {"/a/b/x", "KEL_JSON_TYPE_INVALID",
         "invalid JSON type for \"/a/b\": expected object, got array"},
        {"/s/0", "KEL_JSON_TYPE_INVALID",
         "invalid JSON type for \"/s\": expected array or object, got string"},
        {"a", "KEL_JSON_FEATURE_UNSUPPORTED", "Relative JSON pointers are not supported: a"},
        {"/a~2", "KEL_JSON_POINTER_INVALID", "Invalid JSON pointer escape sequence: /a~2"},
    };
    for (const Case &c : cases) {
        Result r = run({"get", doc, c.pointer});
        EXPECT_EQ(r.status, 1) << c.pointer;
        EXPECT_EQ(r.out, "");
        EXPECT_EQ(r.err, doc + ": error: no value at \"" + c.pointer + "\" [" + c.code + "]\n" +
                             doc + ": error: " + c.library_message + " [" + c.code + "]\n");
    }
}

TEST_F(Cli, GetDerefFollowsReferences)
{
    std::string doc = write("doc.json",
                            "{\"t\": {\"v\": 1}, \"r1\": {\"$ref\": \"#/r2\"}, "
                            "\"r2\": {\"$ref\": \"#/t\"}, \"loop\": {\"$ref\": \"#/loop\"}, "
                            "\"dangling\": {\"$ref\": \"#/nothing\"}}");
    EXPECT_EQ(run({"get", "--compact", doc, "/r1"}).out, "{\"$ref\":\"#/r2\"}\n");
    EXPECT_EQ(run({"get", "--compact", "--deref", doc, "/r1"}).out, "{\"v\":1}\n");
    EXPECT_EQ(run({"get", "--compact", "--deref", doc, "/t/v"}).out, "1\n");
    // Without --deref a reference on the way ends the lookup; with it, it is followed.
    Result through = run({"get", doc, "/r1/v"});
    EXPECT_EQ(through.status, 1);
    EXPECT_NE(through.err.find("expected array or object, got reference"), std::string::npos);
    EXPECT_EQ(run({"get", "--deref", doc, "#/r1/v"}).out, "1\n");

    Result loop = run({"get", "--deref", doc, "/loop"});
    EXPECT_EQ(loop.status, 1);
    EXPECT_EQ(loop.err,
              doc + ": error: no value at \"/loop\" [KEL_JSON_CIRCULAR_JREF]\n" +
              doc + ": error: Circular reference to JSON element \"/loop\" [KEL_JSON_CIRCULAR_JREF]\n");
    Result dangling = run({"get", "--deref", doc, "/dangling"});
    EXPECT_EQ(dangling.status, 1);
    EXPECT_NE(dangling.err.find("JSON object \"\" does not have key nothing"), std::string::npos)
        << dangling.err;
}

// ---- set -----------------------------------------------------------------------

TEST_F(Cli, SetPutsValuesAndCreatesContainers)
{
    std::string doc = write("doc.json", "{\"a\": {\"list\": [1]}}");
    auto set = [&](std::vector<std::string> extra) {
        std::vector<std::string> args = {"set", "--compact", "--sort", doc};
        args.insert(args.end(), extra.begin(), extra.end());
        return run(args);
    };
    EXPECT_EQ(set({"/a/list/0", "{\"x\": [true]}"}).out, "{\"a\":{\"list\":[{\"x\":[true]}]}}\n");
    EXPECT_EQ(set({"/a/list/-", "-1"}).out, "{\"a\":{\"list\":[1,-1]}}\n");
    EXPECT_EQ(set({"/a/new/deep/0", "null"}).out,
              "{\"a\":{\"list\":[1],\"new\":{\"deep\":[null]}}}\n");
    EXPECT_EQ(set({"#/b", "\"s\""}).out, "{\"a\":{\"list\":[1]},\"b\":\"s\"}\n");
    EXPECT_EQ(set({"/r", "{\"$ref\": \"#/a\"}"}).out,
              "{\"a\":{\"list\":[1]},\"r\":{\"$ref\":\"#/a\"}}\n");
    EXPECT_EQ(set({"", "[1, 2]"}).out, "[1,2]\n");
    EXPECT_EQ(set({"--no-create", "/a/list/1", "2.5"}).out, "{\"a\":{\"list\":[1,2.5]}}\n");
    // The file itself is left alone without -o.
    EXPECT_EQ(slurp(doc), "{\"a\": {\"list\": [1]}}");
}

TEST_F(Cli, SetReportsWhatItCannotDo)
{
    std::string doc = write("doc.json", "{\"a\": {\"list\": [1]}, \"s\": \"x\"}");
    Result nocreate = run({"set", "--no-create", doc, "/a/b/c", "1"});
    EXPECT_EQ(nocreate.status, 1);
    EXPECT_EQ(nocreate.err,
              doc + ": error: cannot set \"/a/b/c\": its container \"/a/b\" does not exist "
                    "(--no-create) [KEL_JSON_KEY_INVALID]\n" +
              doc + ": error: JSON object \"/a\" does not have key b [KEL_JSON_KEY_INVALID]\n");

    Result value = run({"set", doc, "/a/x", "[1,"});
    EXPECT_EQ(value.status, 1);
    EXPECT_EQ(value.err, "VALUE:1:3: error: Syntax error: expected ']', got EOF [KEL_JSON_PARSE_ERROR]\n");

    Result scalar = run({"set", doc, "/s/x", "1"});
    EXPECT_EQ(scalar.status, 1);
    EXPECT_EQ(scalar.err,
              doc + ": error: cannot set \"/s/x\" [KEL_JSON_TYPE_INVALID]\n" + doc +
                  ": error: invalid JSON type for \"/s\": expected object or array, got string "
                  "[KEL_JSON_TYPE_INVALID]\n");

    Result gap = run({"set", doc, "/a/list/5", "1"});
    EXPECT_EQ(gap.status, 1);
    EXPECT_NE(gap.err.find("Index 5 is out of bounds for JSON array \"/a/list\" "
                           "[KEL_JSON_INDEX_INVALID]"),
              std::string::npos)
        << gap.err;

    for (const char *ptr : {"/a//b", "/a/"}) {
        Result empty = run({"set", doc, ptr, "1"});
        EXPECT_EQ(empty.status, 1) << ptr;
        EXPECT_NE(empty.err.find("[KEL_JSON_POINTER_INVALID]"), std::string::npos) << empty.err;
    }
    Result relative = run({"set", doc, "a", "1"});
    EXPECT_EQ(relative.status, 1);
    EXPECT_NE(relative.err.find("Relative JSON pointers are not supported: a"), std::string::npos);
}

// ---- expand ----------------------------------------------------------------------

TEST_F(Cli, ExpandReplacesReferencesByCopies)
{
    std::string doc = write("doc.json",
                            "{\"x\": [{\"$ref\": \"#/y\"}], \"y\": {\"z\": {\"$ref\": \"#/w\"}}, "
                            "\"w\": 3}");
    Result r = run({"expand", "--compact", "--sort", doc});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "{\"w\":3,\"x\":[{\"z\":3}],\"y\":{\"z\":3}}\n");

    std::string plain = write("plain.json", "{\"a\": [1, {\"b\": null}]}");
    EXPECT_TRUE(same_json(run({"expand", plain}).out, slurp(plain)));
}

TEST_F(Cli, ExpandReportsCircularAndDanglingReferences)
{
    std::string loop = write("loop.json", "{\"a\": {\"b\": {\"$ref\": \"#/a\"}}}");
    Result r = run({"expand", loop});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err,
              loop + ": error: cannot expand the references [KEL_JSON_CIRCULAR_JREF]\n" + loop +
                  ": error: Circular reference to JSON element \"/a/b\" [KEL_JSON_CIRCULAR_JREF]\n");

    std::string dangling = write("dangling.json", "{\"a\": {\"$ref\": \"#/b/0\"}, \"b\": []}");
    Result d = run({"expand", dangling});
    EXPECT_EQ(d.status, 1);
    EXPECT_NE(d.err.find("Index 0 is out of bounds for JSON array \"/b\""), std::string::npos)
        << d.err;
}

// ---- merge -----------------------------------------------------------------------

TEST_F(Cli, MergeUnitesDocuments)
{
    std::string left = write("l.json", "{\"a\": 1, \"b\": {\"x\": 1}, \"list\": [1, 2]}");
    std::string right = write("r.json", "{\"b\": {\"y\": 2}, \"c\": 3, \"list\": [1, 2, 3]}");
    Result r = run({"merge", "--compact", "--sort", left, right});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "{\"a\":1,\"b\":{\"x\":1,\"y\":2},\"c\":3,\"list\":[1,2,3]}\n");

    // Arrays pair their elements: equal scalars, merged containers...
    std::string a = write("a.json", "[1, 2]");
    std::string b = write("b.json", "[3, 4]");
    Result differ = run({"merge", a, b});
    EXPECT_EQ(differ.status, 1);
    EXPECT_NE(differ.err.find("Cannot union differing array elements /0 and /0"),
              std::string::npos)
        << differ.err;
    EXPECT_EQ(run({"merge", "--compact", "--append-primitives", a, b}).out, "[1,2,3,4]\n");

    // ... unless they are concatenated.
    std::string c = write("c.json", "[{\"k\": 1}]");
    std::string d = write("d.json", "[{\"j\": 2}]");
    EXPECT_EQ(run({"merge", "--compact", "--sort", "--append-primitives", c, d}).out,
              "[{\"j\":2,\"k\":1}]\n");
    EXPECT_EQ(run({"merge", "--compact", "--append-containers", c, d}).out,
              "[{\"k\":1},{\"j\":2}]\n");
}

TEST_F(Cli, MergeConflictsNameBothPaths)
{
    std::string left = write("l.json", "{\"a\": {\"n\": 1}}");
    std::string right = write("r.json", "{\"a\": {\"n\": 2}}");
    Result r = run({"merge", left, right});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "kel-json: error: cannot merge " + left + " and " + right +
                         " [KEL_JSON_ARG_INVALID]\n"
                         "kel-json: error: Cannot union values from /a/n and /a/n; primitives "
                         "are not equal [KEL_JSON_ARG_INVALID]\n");
    EXPECT_EQ(run({"merge", "--compact", "--prefer", "left", left, right}).out, "{\"a\":{\"n\":1}}\n");
    EXPECT_EQ(run({"merge", "--compact", "--prefer=right", left, right}).out, "{\"a\":{\"n\":2}}\n");

    Result kinds = run({"merge", write("o.json", "{}"), write("arr.json", "[]")});
    EXPECT_EQ(kinds.status, 1);
    EXPECT_NE(kinds.err.find("Cannot union object with array [KEL_JSON_TYPE_INVALID]"),
              std::string::npos)
        << kinds.err;
    Result scalar = run({"merge", write("n.json", "1"), write("m.json", "1")});
    EXPECT_NE(scalar.err.find("Cannot union primitive type integer"), std::string::npos);
}

// ---- contains ---------------------------------------------------------------------

TEST_F(Cli, ContainsAnswersWithItsExitStatus)
{
    std::string small = write("small.json", "{\"a\": [1, 3]}");
    std::string big = write("big.json", "{\"a\": [1, 2, 3], \"b\": 2.0}");
    auto contains = [&](std::vector<std::string> args) {
        args.insert(args.begin(), "contains");
        Result r = run(args);
        EXPECT_EQ(r.out + r.err, "");
        return r.status;
    };
    EXPECT_EQ(contains({small, big}), 0);
    EXPECT_EQ(contains({big, small}), 1);
    EXPECT_EQ(contains({"--run", small, big}), 1);
    EXPECT_EQ(contains({"--same-size", small, big}), 1);
    EXPECT_EQ(contains({"--equal", big, big}), 0);
    EXPECT_EQ(contains({"--equal", write("int.json", "{\"a\":[1,2,3],\"b\":2}"), big}), 0);

    std::string run_of = write("run.json", "[2, 3]");
    std::string prefix = write("prefix.json", "[1, 2]");
    std::string all = write("all.json", "[1, 2, 3]");
    EXPECT_EQ(contains({"--run", run_of, all}), 0);
    EXPECT_EQ(contains({"--prefix", run_of, all}), 1);
    EXPECT_EQ(contains({"--prefix", prefix, all}), 0);
    EXPECT_EQ(contains({"--length", prefix, all}), 1);
    EXPECT_EQ(contains({"--length", all, all}), 0);

    Result bad = run({"contains", write("bad.json", "{"), all});
    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("[KEL_JSON_PARSE_ERROR]"), std::string::npos);
}

}  // namespace
