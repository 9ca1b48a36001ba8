// References: resolution, chains with cycle detection, expansion.
#include "test_util.h"

using namespace kel_test;

namespace {

KelJson *get(KelJson *root, const char *ptr) { return kel_json_ptr_get_base(root, ptr, nullptr); }

// Where one step (resolve) or the whole chain (deref) from `ref` leads: "-> "
// and the target's pointer, or the one error raised.
std::string follow(KelJson *ref, bool chain)
{
    ErrorSlot err;
    KelJson *to = chain ? kel_json_jref_deref_base(ref, &err) : kel_json_jref_resolve_base(ref, &err);
    EXPECT_EQ(err.length(), to == nullptr ? 1 : 0);
    return to != nullptr ? "-> " + pointer_of(to) : err.pop();
}

}  // namespace

TEST(JrefFollow, FromTheDocumentRootThroughChainsAndLoops)
{
    JsonRoot doc(parse(R"({"a": 1, "r": {"$ref": "#/a"}, "in": {"r": {"$ref": "/a"}, "top": {"$ref": "#"}, "top2": {"$ref": ""}},
        "rel": {"$ref": "a"}, "missing": {"$ref": "#/nope"}, "r1": {"$ref": "#/r2"}, "r2": {"$ref": "#/x"}, "x": "s",
        "c0": {"$ref": "#/c1"}, "c1": {"$ref": "#/c2"}, "c2": {"$ref": "#/c1"}})"));
    // k0 -> ... -> k39 -> /a, and l0 -> ... -> l39 -> l0: well past the inline
    // entries of the visited list and several doublings.
    for (int i = 0; i < 40; ++i) {
        const std::string n = std::to_string(i), next = std::to_string(i + 1);
        kel_json_obj_put_jref_base(doc, ("k" + n).c_str(), i < 39 ? ("#/k" + next).c_str() : "#/a", nullptr);
        kel_json_obj_put_jref_base(doc, ("l" + n).c_str(), ("#/l" + (i < 39 ? next : "0")).c_str(), nullptr);
    }
    // A pending error stops them all before the lookup, without a new error
    // (the cases below show that expanding changed nothing).
    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "earlier");
    EXPECT_TRUE(kel_json_jref_resolve_base(get(doc, "/r"), &err) == nullptr && kel_json_jref_deref_base(get(doc, "/r"), &err) == nullptr);
    EXPECT_TRUE(!kel_json_jref_expand(doc, &err) && err.length() == 1);
    // A reference resolves from the document root, never from its parent.
    const std::tuple<const char *, bool, std::string> cases[] = {
        {"/r", false, "-> /a"}, {"/in/r", false, "-> /a"}, {"/in/top", false, "-> "}, {"/in/top2", false, "-> "},
        {"/r1", false, "-> /r2"}, {"/r1", true, "-> /x"}, {"/k0", true, "-> /a"},
        {"/l5", true, "-5 Circular reference to JSON element \"/l5\""},
        {"/rel", false, "-7 Relative JSON pointers are not supported: a"}, {"/missing", true, "-3 JSON object \"\" does not have key nope"},
        {"/a", true, "-2 kel_json_jref_deref_base: invalid JSON type for \"/a\": expected reference, got int64"},
        {"/none", false, "-2 kel_json_jref_resolve_base: invalid JSON type for \"\": expected reference, got <none>"},  // NULL
        {"/none", true, "-2 kel_json_jref_deref_base: invalid JSON type for \"\": expected reference, got <none>"},
        // The reference met twice need not be the first one.
        {"/c1", true, "-5 Circular reference to JSON element \"/c1\""}, {"/c0", true, "-5 Circular reference to JSON element \"/c1\""}};
    for (const auto &[ptr, chain, expected] : cases)
        EXPECT_EQ(follow(get(doc, ptr), chain), expected) << ptr;

    JsonRoot self(kel_json_jref_new_base("#", nullptr));  // a reference as its own root
    EXPECT_EQ(follow(self, false), "-> ");
    EXPECT_EQ(follow(self, true), "-5 Circular reference to JSON element \"\"");
}

TEST(JrefExpand, ReplacesReferencesByIndependentCopies)
{
    // Inner references first; each reference to one target gets its own copy.
    JsonRoot many(parse(R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/c"}, "c": [{"$ref": "#/d"}], "d": 1,
                           "e": [{"$ref": "#/c"}, {"$ref": "#/c"}], "x": [{"$ref": "#/y"}], "y": {"z": {"$ref": "#/d"}}})"));
    ErrorSlot err;
    ASSERT_TRUE(kel_json_jref_expand(many, &err) && !err) << err.message();
    EXPECT_EQ(dump(many), R"({"a":[1],"b":[1],"c":[1],"d":1,"e":[[1],[1]],"x":[{"z":1}],"y":{"z":1}})");
    EXPECT_TRUE(get(many, "/e/0") != get(many, "/e/1") && get(many, "/a") != get(many, "/c"));
    EXPECT_EQ(pointer_of(get(many, "/x/0/z")), "/x/0/z");
    // A replaced reference held elsewhere is released by the document only.
    JsonRoot held(parse(R"({"a": 1, "r": {"$ref": "#/a"}})"));
    KelJson *r = get(held, "/r");
    kel_json_ref(r);
    ASSERT_TRUE(kel_json_jref_expand(held, nullptr));
    EXPECT_TRUE(r->parent == nullptr && r->refcount == 1 && g_strcmp0(kel_json_jref_uri(r), "#/a") == 0);
    kel_json_unref(r);
    EXPECT_EQ(dump(held), R"({"a":1,"r":1})");
}

TEST(JrefExpand, FailuresLeaveTheDocumentUnchanged)
{
    const std::tuple<const char *, int, std::string> cases[] = {  // text NULL: no document
        {nullptr, KEL_JSON_ARG_INVALID, "kel_json_jref_expand: argument check failed: root"},
        {R"({"a": {"$ref": "#"}})", KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/a\""},
        {R"({"a": {"b": {"$ref": "#/a"}}, "k": {"$ref": "#/n"}, "n": 1})", KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/a/b\""},
        {R"({"l": [1, {"$ref": "#/l"}]})", KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/l/1\""},
        {R"({"a": {"$ref": "#/b"}, "b": 1, "c": [{"$ref": "#/zz"}]})", KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key zz"},
        // A chain back to itself fails inside chain resolution.
        {R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/a"}})", KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/a\""},
    };
    for (const auto &[text, code, message] : cases) {
        JsonRoot doc(text ? parse(text) : nullptr);
        const std::string before = doc ? dump(doc) : "";
        ErrorSlot err;
        EXPECT_FALSE(kel_json_jref_expand(doc, &err)) << text;
        EXPECT_KEL_ERROR(err, code, message);
        EXPECT_EQ(err.length(), 1);
        EXPECT_FALSE(kel_json_jref_expand(doc, nullptr));
        EXPECT_EQ(doc ? dump(doc) : "", before);
    }
}

TEST(JrefExpand, CountsSubtreesAndReferenceRoots)
{
    JsonRoot plain(parse(R"({"a": [1, {"b": null}], "s": "x"})")), scalar(kel_json_i64_new_base(3));
    EXPECT_TRUE(kel_json_jref_expand(plain, nullptr));  // a new root of count 0 is not released
    kel_json_ref(plain);  // count 1: the one unref of JsonRoot still frees it
    EXPECT_TRUE(kel_json_jref_expand(plain, nullptr));
    EXPECT_EQ(plain->refcount, 1);
    EXPECT_EQ(dump(plain), R"({"a":[1,{"b":null}],"s":"x"})");
    EXPECT_TRUE(kel_json_jref_expand(scalar, nullptr));

    // Targets outside the subtree have their references replaced where they
    // stand; the rest of the document is left alone.
    JsonRoot doc(parse(R"({"in": {"p": {"$ref": "#/out"}}, "out": {"q": {"$ref": "#/v"}}, "v": 1, "other": {"$ref": "#/v"}})"));
    ASSERT_TRUE(kel_json_jref_expand(get(doc, "/in"), nullptr));
    EXPECT_EQ(dump(doc), R"({"in":{"p":{"q":1}},"other":{"$ref":"#/v"},"out":{"q":1},"v":1})");
    // A reference as the root of expansion stays a reference.
    JsonRoot doc2(parse(R"({"a": {"b": {"$ref": "#/c"}}, "c": 1, "r": {"$ref": "#/a"}})"));
    ASSERT_TRUE(kel_json_jref_expand(get(doc2, "/r"), nullptr));
    EXPECT_EQ(dump(doc2), R"({"a":{"b":1},"c":1,"r":{"$ref":"#/a"}})");
    EXPECT_EQ(get(doc2, "/r")->refcount, 1);
}
