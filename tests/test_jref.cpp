// References: resolution, chains with cycle detection, expansion.
#include "test_util.h"

using namespace kel_test;

namespace {

KelJson *get(KelJson *root, const char *ptr)
{
    KelJson *v = kel_json_ptr_get_base(root, ptr, nullptr);
    EXPECT_NE(v, nullptr) << ptr;
    return v;
}

}  // namespace

TEST(JrefResolve, UriFormsFromTheDocumentRoot)
{
    JsonRoot doc(parse(R"({"a": 1, "r": {"$ref": "#/a"}, "in": {"r": {"$ref": "/a"}}})"));
    EXPECT_EQ(kel_json_jref_resolve_base(get(doc, "/r"), nullptr), get(doc, "/a"));
    EXPECT_EQ(kel_json_jref_resolve_base(get(doc, "/in/r"), nullptr), get(doc, "/a"));  // never from the parent
    for (const char *uri : {"#", ""})
        EXPECT_EQ(kel_json_jref_resolve_base(kel_json_obj_put_jref_base(get(doc, "/in"), "top", uri, nullptr), nullptr), doc.get());

    ErrorSlot err;
    EXPECT_EQ(kel_json_jref_resolve_base(kel_json_obj_put_jref_base(doc, "rel", "a", nullptr), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: a");
    err.clear();
    EXPECT_EQ(kel_json_jref_deref_base(kel_json_obj_put_jref_base(doc, "missing", "#/nope", nullptr), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key nope");
    err.clear();
    EXPECT_EQ(kel_json_jref_deref_base(get(doc, "/a"), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "kel_json_jref_deref_base: invalid JSON type for \"/a\": expected reference, got int64");
    // A pending error stops both before the lookup, without a new error.
    EXPECT_EQ(kel_json_jref_resolve_base(get(doc, "/r"), &err), nullptr);
    EXPECT_EQ(kel_json_jref_deref_base(get(doc, "/r"), &err), nullptr);
    EXPECT_EQ(err.length(), 1);

    JsonRoot self(kel_json_jref_new_base("#", nullptr));  // a reference as its own root
    EXPECT_EQ(kel_json_jref_resolve_base(self, nullptr), self.get());
    ErrorSlot circular;
    EXPECT_EQ(kel_json_jref_deref_base(self, &circular), nullptr);
    EXPECT_KEL_ERROR(circular, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"\"");
}

TEST(JrefDeref, ChainsAndCycles)
{
    JsonRoot doc(parse(R"({"r1": {"$ref": "#/r2"}, "r2": {"$ref": "#/x"}, "x": "s"})"));
    EXPECT_EQ(kel_json_jref_resolve_base(get(doc, "/r1"), nullptr), get(doc, "/r2"));
    EXPECT_EQ(kel_json_jref_deref_base(get(doc, "/r1"), nullptr), get(doc, "/x"));
    // The reference met twice need not be the first one.
    const std::pair<const char *, const char *> loops[] = {
        {R"({"r1": {"$ref": "#/r2"}, "r2": {"$ref": "#/r1"}})", "/r1"},
        {R"({"r0": {"$ref": "#/r1"}, "r1": {"$ref": "#/r2"}, "r2": {"$ref": "#/r1"}})", "/r1"}};
    for (const auto &[text, named] : loops) {
        JsonRoot loop(parse(text));
        ErrorSlot err;
        EXPECT_EQ(kel_json_jref_deref_base(get(loop, text[3] == '0' ? "/r0" : "/r1"), &err), nullptr);
        EXPECT_KEL_ERROR(err, KEL_JSON_CIRCULAR_JREF, std::string("Circular reference to JSON element \"") + named + "\"");
    }
    // r0 -> ... -> r39 -> the value, and the same chain closed into a loop:
    // well past the inline entries of the visited list and several doublings.
    JsonRoot chain(kel_json_obj_new_base(FALSE)), loop(kel_json_obj_new_base(FALSE));
    for (int i = 0; i < 40; ++i) {
        const std::string key = "r" + std::to_string(i), next = i < 39 ? "#/r" + std::to_string(i + 1) : "#/end";
        kel_json_obj_put_jref_base(chain, key.c_str(), next.c_str(), nullptr);
        kel_json_obj_put_jref_base(loop, key.c_str(), i < 39 ? next.c_str() : "#/r0", nullptr);
    }
    KelJson *end = kel_json_obj_put_i64_base(chain, "end", 7, nullptr);
    EXPECT_EQ(kel_json_jref_deref_base(get(chain, "/r0"), nullptr), end);
    ErrorSlot err;
    EXPECT_EQ(kel_json_jref_deref_base(get(loop, "/r5"), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/r5\"");
}

TEST(JrefExpand, ReplacesReferencesByIndependentCopies)
{
    JsonRoot doc(parse(R"({"a": {"b": 2}, "c": {"$ref": "#/a"}})"));
    ErrorSlot err;
    EXPECT_TRUE(kel_json_jref_expand(doc, &err));
    EXPECT_FALSE(err);
    KelJson *c = get(doc, "/c");
    EXPECT_EQ(pointer_of(c), "/c");
    kel_json_obj_put_i64_base(c, "b", 3, nullptr);
    EXPECT_EQ(dump(doc), R"({"a":{"b":2},"c":{"b":3}})");
    // Inner references first; each reference to one target gets its own copy.
    JsonRoot many(parse(R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/c"}, "c": [{"$ref": "#/d"}], "d": 1,
                           "e": [{"$ref": "#/c"}, {"$ref": "#/c"}], "x": [{"$ref": "#/y"}], "y": {"z": {"$ref": "#/d"}}})"));
    ASSERT_TRUE(kel_json_jref_expand(many, nullptr));
    EXPECT_EQ(dump(many), R"({"a":[1],"b":[1],"c":[1],"d":1,"e":[[1],[1]],"x":[{"z":1}],"y":{"z":1}})");
    EXPECT_TRUE(get(many, "/e/0") != get(many, "/e/1") && get(many, "/a") != get(many, "/c"));
    EXPECT_EQ(pointer_of(get(many, "/x/0/z")), "/x/0/z");
    // A replaced reference held elsewhere is released by the document only.
    JsonRoot held(parse(R"({"a": 1, "r": {"$ref": "#/a"}})"));
    KelJson *r = get(held, "/r");
    kel_json_ref(r);
    ASSERT_TRUE(kel_json_jref_expand(held, nullptr));
    EXPECT_TRUE(r->parent == nullptr && r->refcount == 1);
    EXPECT_STREQ(kel_json_jref_uri(r), "#/a");
    kel_json_unref(r);
    EXPECT_EQ(dump(held), R"({"a":1,"r":1})");
}

TEST(JrefExpand, FailuresLeaveTheDocumentUnchanged)
{
    const std::tuple<const char *, int, std::string> cases[] = {
        {R"({"a": {"$ref": "#"}})", KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/a\""},
        {R"({"a": {"b": {"$ref": "#/a"}}, "k": {"$ref": "#/n"}, "n": 1})", KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/a/b\""},
        {R"({"l": [1, {"$ref": "#/l"}]})", KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/l/1\""},
        {R"({"a": {"$ref": "#/b"}, "b": 1, "c": [{"$ref": "#/zz"}]})", KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key zz"},
    };
    for (const auto &[text, code, message] : cases) {
        JsonRoot doc(parse(text));
        const std::string before = dump(doc);
        ErrorSlot err;
        EXPECT_FALSE(kel_json_jref_expand(doc, &err)) << text;
        EXPECT_KEL_ERROR(err, code, message);
        EXPECT_EQ(err.length(), 1);
        EXPECT_FALSE(kel_json_jref_expand(doc, nullptr));
        EXPECT_EQ(dump(doc), before);
    }
    // A chain back to itself fails inside chain resolution; which end is met
    // first depends on member order.
    JsonRoot loop(parse(R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/a"}})"));
    ErrorSlot err;
    EXPECT_FALSE(kel_json_jref_expand(loop, &err));
    EXPECT_EQ(err.code(), KEL_JSON_CIRCULAR_JREF);
    EXPECT_TRUE(err.message() == "Circular reference to JSON element \"/a\"" || err.message() == "Circular reference to JSON element \"/b\"");
    EXPECT_EQ(dump(loop), R"({"a":{"$ref":"#/b"},"b":{"$ref":"#/a"}})");
    // A pending error: nothing is done.
    JsonRoot doc(parse(R"({"a": 1, "r": {"$ref": "#/a"}})"));
    EXPECT_FALSE(kel_json_jref_expand(doc, &err));
    EXPECT_EQ(err.length(), 1);
    EXPECT_EQ(dump(doc), R"({"a":1,"r":{"$ref":"#/a"}})");
}

TEST(JrefExpand, CountsSubtreesAndReferenceRoots)
{
    JsonRoot plain(parse(R"({"a": [1, {"b": null}], "s": "x"})")), scalar(kel_json_i64_new_base(3));
    const std::string before = dump(plain);
    EXPECT_TRUE(kel_json_jref_expand(plain, nullptr));
    EXPECT_EQ(dump(plain), before);
    kel_json_ref(plain);  // count 1: the one unref of JsonRoot still frees it
    EXPECT_TRUE(kel_json_jref_expand(plain, nullptr));
    EXPECT_EQ(plain->refcount, 1);
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
