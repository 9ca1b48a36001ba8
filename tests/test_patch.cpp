// JSON Patch and JSON Merge Patch: the examples of both RFCs, the failures
// that matter, and that a failed patch leaves the document as it was.
#include <algorithm>

#include "test_util.h"

namespace {

using namespace kel_test;

bool equal(KelJson *a, KelJson *b) { return kel_json_subset(a, b, KEL_JSON_SUBSET_EQUAL) && kel_json_subset(b, a, KEL_JSON_SUBSET_EQUAL); }

// Every node of a tree, in walk order (object members in their own order).
std::vector<KelJson *> nodes(KelJson *json)
{
    std::vector<KelJson *> out;
    KelJsonVisitor v{};
    v.on_value = [](KelJson *n, gpointer d) { return static_cast<std::vector<KelJson *> *>(d)->push_back(n), 0; };
    EXPECT_TRUE(kel_json_visit(json, &v, &out));
    return out;
}

struct Example { const char *doc, *patch, *result; };

// RFC 6902 appendix A, where the successful prefix of the failure test below
// does not already cover it (A.13's duplicate "op" is a parse matter, covered
// by the command line), then cases of our own.
const Example kPatchExamples[] = {
    {R"({"foo":["all","grass","cows","eat"]})", R"([{"op":"move","from":"/foo/1","path":"/foo/3"}])", R"({"foo":["all","cows","eat","grass"]})"},
    {R"({"baz":"qux","foo":["a",2,"c"]})", R"([{"op":"test","path":"/baz","value":"qux"},{"op":"test","path":"/foo/1","value":2}])",
     R"({"baz":"qux","foo":["a",2,"c"]})"},
    {R"({"foo":"bar"})", R"([{"op":"add","path":"/baz","value":"qux","xyz":123}])", R"({"foo":"bar","baz":"qux"})"},
    {R"({"/":9,"~1":10})", R"([{"op":"test","path":"/~01","value":10}])", R"({"/":9,"~1":10})"},
    // Numbers by value, references as plain values, the whole document.
    {R"({"n":1,"r":{"$ref":"#/n"}})", R"([{"op":"test","path":"/n","value":1.0},{"op":"test","path":"/r","value":{"$ref":"#/n"}},
       {"op":"copy","from":"/r","path":"/s"},{"op":"remove","path":"/r"}])", R"({"n":1,"s":{"$ref":"#/n"}})"},
    {R"({"a":{"b":1}})", R"([{"op":"move","from":"/a","path":""},{"op":"copy","from":"","path":"/c"}])", R"({"b":1,"c":{"b":1}})"},
    {R"([1,2])", R"([{"op":"replace","path":"","value":[3]},{"op":"add","path":"/0","value":0},{"op":"copy","from":"/1","path":"/-"}])", "[0,3,3]"},
    {R"({"a":[1],"b":{}})", R"([{"op":"move","from":"/a","path":"/a"},{"op":"move","from":"/a/0","path":"/b/~1"},{"op":"replace","path":"/b/~1","value":null}])",
     R"({"a":[],"b":{"/":null}})"},
};

TEST(Patch, RfcExamplesAndOwnCases)
{
    for (const Example &e : kPatchExamples) {
        JsonRoot doc(parse(e.doc)), patch(parse(e.patch)), expected(parse(e.result));
        EXPECT_TRUE(kel_json_patch_apply(doc, patch, nullptr)) << e.patch;
        EXPECT_TRUE(equal(doc, expected)) << e.patch << " gave " << dump(doc);
    }
}

// Every failure below comes after a run of successful operations of every
// kind (the whole document included), so that undoing them is tested too:
// the document must keep its text, member order and very nodes.
const char *const kBase = R"({"a":{"b":[1,2,3],"c":"x"},"d":[{"e":1}],"f":true,"g":null,"r":{"$ref":"#/a"}})";
const char *const kPrefix = R"({"op":"remove","path":"/a/c"},{"op":"move","from":"/f","path":"/d/0/f"},
    {"op":"add","path":"/a/b/1","value":9},{"op":"replace","path":"/g","value":{"n":1}},{"op":"copy","from":"/a","path":"/d/-"},
    {"op":"remove","path":"/a/b/0"},{"op":"replace","path":"/a/b/0","value":5},{"op":"add","path":"","value":{"z":1}},
    {"op":"move","from":"/z","path":"/y"},{"op":"replace","path":"","value":{"a":{"b":[5,2,3]},"d":[{"e":1,"f":true},{}],"r":{"$ref":"#/a"}}})";

struct Failure { const char *op; int code; const char *message; };  // op: the operation after the prefix, "/10"

const Failure kFailures[] = {  // after 'Patch operation "/10": ' unless the text names the function
    {R"({"op":"test","path":"/a/b","value":[5,2]})", KEL_JSON_ARG_INVALID, R"(test failed: the value at "/a/b" is not equal to the expected value)"},
    {R"({"op":"move","from":"/a","path":"/a/b/0"})", KEL_JSON_ARG_INVALID, R"(cannot move "/a" into its own child "/a/b/0")"},
    {R"({"op":"remove","path":"/a/c"})", KEL_JSON_KEY_INVALID, R"(path "/a/c" does not exist: JSON object "/a" does not have key c)"},
    {R"({"op":"copy","from":"/nope","path":"/x"})", KEL_JSON_KEY_INVALID, R"(from "/nope" does not exist: JSON object "" does not have key nope)"},
    {R"({"op":"add","path":"/a/b/4","value":0})", KEL_JSON_INDEX_INVALID, R"(path "/a/b/4" does not exist: index 4 is out of bounds for JSON array "/a/b")"},
    {R"({"op":"remove","path":"/d/2"})", KEL_JSON_INDEX_INVALID, R"(path "/d/2" does not exist: index 2 is out of bounds for JSON array "/d")"},
    {R"({"op":"add","path":"/d/0/e/x","value":1})", KEL_JSON_TYPE_INVALID, R"(path "/d/0/e/x" does not exist: "/d/0/e" is of type int64)"},
    {R"({"op":"test","path":"/r/b","value":1})", KEL_JSON_TYPE_INVALID, R"(path "/r/b" does not exist: "/r" is of type reference)"},
    {R"({"op":"replace","path":"/a/b/-","value":0})", KEL_JSON_POINTER_INVALID, R"(path "/a/b/-" is not a valid JSON pointer: "-" is not an array index)"},
    {R"({"op":"remove","path":"/a/b/01"})", KEL_JSON_POINTER_INVALID, R"(path "/a/b/01" is not a valid JSON pointer: "01" is not an array index)"},
    {R"({"op":"move","from":"/a/b/-1","path":"/x"})", KEL_JSON_POINTER_INVALID, R"(from "/a/b/-1" is not a valid JSON pointer: "-1" is not an array index)"},
    {R"({"op":"remove","path":"#/a"})", KEL_JSON_POINTER_INVALID, R"(path "#/a" is not a valid JSON pointer: it must be empty or begin with "/")"},
    {R"({"op":"remove","path":"/a~2"})", KEL_JSON_POINTER_INVALID, R"(path "/a~2" is not a valid JSON pointer: "~" must be followed by "0" or "1")"},
    {R"({"op":"remove","path":"/a~"})", KEL_JSON_POINTER_INVALID, R"(path "/a~" is not a valid JSON pointer: "~" must be followed by "0" or "1")"},
    {R"({"op":"add","path":"/x"})", KEL_JSON_ARG_INVALID, R"(missing member value)"},
    {R"({"path":"/x"})", KEL_JSON_ARG_INVALID, R"(missing member op)"},
    {R"({"op":"merge","path":"/x"})", KEL_JSON_ARG_INVALID, R"(unknown operation merge)"},
    {R"({"op":"remove","path":["a"]})", KEL_JSON_ARG_INVALID, R"(member path is not a string)"},
    {"5", KEL_JSON_TYPE_INVALID, R"(kel_json_patch_apply: invalid JSON type for "/10": expected object, got int64)"},
    {R"({"op":"remove","path":""})", KEL_JSON_ARG_INVALID, R"(cannot remove the whole document)"},
    {R"({"op":"replace","path":"","value":[1]})", KEL_JSON_TYPE_INVALID,
     R"(the whole document (object) can only be replaced by an object or array of the same type, not array)"},
};

TEST(Patch, FailuresNameTheOperationAndLeaveTheDocumentAsItWas)
{
    for (const Failure &f : kFailures) {
        JsonRoot doc(parse(kBase)), patch(parse(("[" + std::string(kPrefix) + "," + f.op + "]").c_str()));
        const auto before = std::pair(dump(doc, 0), nodes(doc));
        ErrorSlot err;
        EXPECT_FALSE(kel_json_patch_apply(doc, patch, &err)) << f.op;
        EXPECT_EQ(err.pop(), std::to_string(f.code) + (std::string_view(f.message).starts_with("kel_") ? " " : " Patch operation \"/10\": ") + f.message);
        EXPECT_TRUE(std::pair(dump(doc, 0), nodes(doc)) == before) << f.op << " left " << dump(doc, 0);
    }
    // Without the failing operation the prefix applies.
    JsonRoot doc(parse(kBase)), patch(parse(("[" + std::string(kPrefix) + "]").c_str()));
    ASSERT_TRUE(kel_json_patch_apply(doc, patch, nullptr));
    EXPECT_EQ(dump(doc), R"({"a":{"b":[5,2,3]},"d":[{"e":1,"f":true},{}],"r":{"$ref":"#/a"}})");
}

TEST(Patch, ArgumentsUntouchedNodesAndThePatchInsideTheDocument)
{
    ErrorSlot err;
    JsonRoot doc(parse(R"({"keep":{"x":[1]},"p":[{"op":"remove","path":"/p"},{"op":"add","path":"/q","value":1}]})"));
    EXPECT_FALSE(kel_json_patch_apply(doc, nullptr, &err) || kel_json_patch_apply(doc, doc, &err));
    EXPECT_EQ(err.pop(), R"(-2 kel_json_patch_apply: invalid JSON type for "": expected array, got object)");
    EXPECT_EQ(err.pop(), "-1 kel_json_patch_apply: argument check failed: patch");

    // A patch held by the document may remove itself; nodes it does not
    // touch are the same nodes afterwards.
    KelJson *keep = member(doc, "keep");
    ASSERT_TRUE(kel_json_patch_apply(doc, member(doc, "p"), &err)) << err.message();
    EXPECT_TRUE(dump(doc) == R"({"keep":{"x":[1]},"q":1})" && member(doc, "keep") == keep) << dump(doc);
}

TEST(Patch, CopiesAreBoundedByTheBudget)
{
    // Each copy of the whole array into itself doubles it: 2^20 values
    // would be made by the 19th copy.
    std::string ops = "[";
    for (int i = 0; i < 30; i++)
        ops += std::string(i ? "," : "") + R"({"op":"copy","from":"","path":"/-"})";
    JsonRoot doc(parse("[1]")), patch(parse((ops + "]").c_str()));
    ErrorSlot err;
    EXPECT_FALSE(kel_json_patch_apply(doc, patch, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED, R"(Patch operation "/18": the patch would create more than 1000000 values)");
    EXPECT_EQ(dump(doc), "[1]");
}

// RFC 7386 appendix A.
const Example kMergeExamples[] = {
    {R"({"a":"b"})", R"({"a":"c"})", R"({"a":"c"})"}, {R"({"a":"b"})", R"({"b":"c"})", R"({"a":"b","b":"c"})"},
    {R"({"a":"b"})", R"({"a":null})", "{}"}, {R"({"a":"b","b":"c"})", R"({"a":null})", R"({"b":"c"})"},
    {R"({"a":["b"]})", R"({"a":"c"})", R"({"a":"c"})"}, {R"({"a":"c"})", R"({"a":["b"]})", R"({"a":["b"]})"},
    {R"({"a":{"b":"c"}})", R"({"a":{"b":"d","c":null}})", R"({"a":{"b":"d"}})"}, {R"({"a":[{"b":"c"}]})", R"({"a":[1]})", R"({"a":[1]})"},
    {R"(["a","b"])", R"(["c","d"])", R"(["c","d"])"}, {R"({"a":"b"})", R"(["c"])", R"(["c"])"}, {R"({"a":"foo"})", "null", "null"},
    {R"({"a":"foo"})", R"("bar")", R"("bar")"}, {R"({"e":null})", R"({"a":1})", R"({"e":null,"a":1})"},
    {R"([1,2])", R"({"a":"b","c":null})", R"({"a":"b"})"}, {"{}", R"({"a":{"bb":{"ccc":null}}})", R"({"a":{"bb":{}}})"},
};

TEST(MergePatch, RfcExamplesGiveNewTreesSharingNothing)
{
    for (const Example &e : kMergeExamples) {
        JsonRoot target(parse(e.doc)), patch(parse(e.patch)), expected(parse(e.result));
        const std::string before = dump(target) + dump(patch);
        JsonRoot result(kel_json_merge_patch(target, patch, nullptr));
        EXPECT_TRUE(equal(result, expected)) << e.patch << " gave " << dump(result);
        for (KelJson *n : nodes(result))  // no node of the target or the patch
            EXPECT_EQ(std::ranges::count(nodes(target), n) + std::ranges::count(nodes(patch), n), 0) << e.patch;
        EXPECT_EQ(dump(target) + dump(patch), before);
    }
    ErrorSlot err;
    JsonRoot one(parse("{}"));
    EXPECT_TRUE(kel_json_merge_patch(one, nullptr, &err) == nullptr && err.pop() == "-1 kel_json_merge_patch: argument check failed: patch");
    // Nesting deeper than any stack allows.
    JsonRoot deep(deep_chain(true, 100000)), merged(kel_json_merge_patch(one, deep, nullptr));
    EXPECT_TRUE(equal(merged, deep));
}

}  // namespace
