// References: resolution, chains with cycle detection, expansion.
#include <string>

#include "test_util.h"

using kel_test::dump;
using kel_test::ErrorSlot;
using kel_test::JsonRoot;
using kel_test::pointer_of;

namespace {

JsonRoot parse(const char *text)
{
    KelJson *json = kel_json_loads(text, 0, nullptr);
    EXPECT_NE(json, nullptr) << text;
    return JsonRoot(json);
}

KelJson *at(KelJson *root, const char *ptr)
{
    KelJson *v = kel_json_ptr_get_base(root, ptr, nullptr);
    EXPECT_NE(v, nullptr) << ptr;
    return v;
}

int chain_length(const ErrorSlot &slot)
{
    int n = 0;
    for (KelError *e = slot.err; e != nullptr; e = e->next)
        ++n;
    return n;
}

// ---- Resolution -----------------------------------------------------------------

TEST(JrefResolve, UriFormsFromTheDocumentRoot)
{
    JsonRoot doc = parse(R"({"a": 1, "r": {"$ref": "#/a"}, "in": {"r": {"$ref": "/a"}}})");
    KelJson *r = at(doc, "/r");
    KelJson *one = kel_json_jref_resolve_base(r, nullptr);
    ASSERT_NE(one, nullptr);
    EXPECT_EQ(one->type, KEL_JSON_INT64);
    EXPECT_EQ(one, at(doc, "/a"));
    // Resolved from the document root, never from the reference's parent.
    EXPECT_EQ(kel_json_jref_resolve_base(at(doc, "/in/r"), nullptr), one);

    KelJson *top = kel_json_obj_put_jref_base(at(doc, "/in"), "top", "#", nullptr);
    EXPECT_EQ(kel_json_jref_resolve_base(top, nullptr), doc.get());
    KelJson *empty = kel_json_obj_put_jref_base(at(doc, "/in"), "empty", "", nullptr);
    EXPECT_EQ(kel_json_jref_resolve_base(empty, nullptr), doc.get());

    ErrorSlot err;
    KelJson *rel = kel_json_obj_put_jref_base(doc, "rel", "a", nullptr);
    EXPECT_EQ(kel_json_jref_resolve_base(rel, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: a");
    err.clear();
    KelJson *missing = kel_json_obj_put_jref_base(doc, "missing", "#/nope", nullptr);
    EXPECT_EQ(kel_json_jref_deref_base(missing, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key nope");
}

TEST(JrefResolve, TypeFailuresAndPendingErrors)
{
    JsonRoot doc = parse(R"({"n": 5, "r": {"$ref": "#/n"}})");
    ErrorSlot err;
    EXPECT_EQ(kel_json_jref_resolve_base(nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_jref_resolve_base: invalid JSON type for \"\": expected reference, got <none>");
    EXPECT_EQ(kel_json_jref_deref_base(at(doc, "/n"), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "kel_json_jref_deref_base: invalid JSON type for \"/n\": expected reference, got int64");
    ASSERT_EQ(chain_length(err), 2);
    // A pending error stops both before the lookup, without a new error.
    EXPECT_EQ(kel_json_jref_resolve_base(at(doc, "/r"), &err), nullptr);
    EXPECT_EQ(kel_json_jref_deref_base(at(doc, "/r"), &err), nullptr);
    EXPECT_EQ(chain_length(err), 2);
}

TEST(JrefResolve, ReferenceAsItsOwnRoot)
{
    JsonRoot self(kel_json_jref_new_base("#", nullptr));
    EXPECT_EQ(kel_json_jref_resolve_base(self, nullptr), self.get());
    ErrorSlot err;
    EXPECT_EQ(kel_json_jref_deref_base(self, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"\"");
}

TEST(JrefDeref, ChainsAndCycles)
{
    JsonRoot doc = parse(R"({"r1": {"$ref": "#/r2"}, "r2": {"$ref": "#/x"}, "x": "s"})");
    KelJson *r1 = at(doc, "/r1");
    EXPECT_EQ(kel_json_jref_resolve_base(r1, nullptr), at(doc, "/r2"));
    KelJson *s = kel_json_jref_deref_base(r1, nullptr);
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s->str, "s");

    JsonRoot loop = parse(R"({"r1": {"$ref": "#/r2"}, "r2": {"$ref": "#/r1"}})");
    ErrorSlot err;
    EXPECT_EQ(kel_json_jref_deref_base(at(loop, "/r1"), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/r1\"");
    // The reference met a second time need not be the first one.
    JsonRoot tail = parse(R"({"r0": {"$ref": "#/r1"}, "r1": {"$ref": "#/r2"}, "r2": {"$ref": "#/r1"}})");
    err.clear();
    EXPECT_EQ(kel_json_jref_deref_base(at(tail, "/r0"), nullptr), nullptr);
    EXPECT_EQ(kel_json_jref_deref_base(at(tail, "/r0"), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/r1\"");
}

TEST(JrefDeref, LongChainsOutgrowTheInlineList)
{
    // r0 -> r1 -> ... -> r39 -> the value, and the same chain closed into a
    // loop, well past the three inline entries and several doublings.
    constexpr int kLen = 40;
    JsonRoot doc(kel_json_obj_new_base(FALSE));
    JsonRoot loop(kel_json_obj_new_base(FALSE));
    for (int i = 0; i < kLen; ++i) {
        std::string key = "r" + std::to_string(i);
        std::string next = i + 1 < kLen ? "#/r" + std::to_string(i + 1) : "#/end";
        ASSERT_NE(kel_json_obj_put_jref_base(doc, key.c_str(), next.c_str(), nullptr), nullptr);
        std::string back = i + 1 < kLen ? next : "#/r0";
        ASSERT_NE(kel_json_obj_put_jref_base(loop, key.c_str(), back.c_str(), nullptr), nullptr);
    }
    KelJson *end = kel_json_obj_put_i64_base(doc, "end", 7, nullptr);
    EXPECT_EQ(kel_json_jref_deref_base(at(doc, "/r0"), nullptr), end);
    EXPECT_EQ(kel_json_jref_deref_base(at(doc, "/r39"), nullptr), end);

    ErrorSlot err;
    EXPECT_EQ(kel_json_jref_deref_base(at(loop, "/r5"), &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_CIRCULAR_JREF, "Circular reference to JSON element \"/r5\"");
}

// ---- Expansion ------------------------------------------------------------------

TEST(JrefExpand, ReplacesReferencesByCopies)
{
    JsonRoot doc = parse(R"({"a": {"b": 2}, "c": {"$ref": "#/a"}})");
    ErrorSlot err;
    EXPECT_TRUE(kel_json_jref_expand(doc, &err));
    EXPECT_FALSE(err);
    EXPECT_EQ(dump(doc), R"({"a":{"b":2},"c":{"b":2}})");
    KelJson *c = at(doc, "/c");
    EXPECT_NE(c, at(doc, "/a"));
    EXPECT_EQ(pointer_of(c), "/c");
    ASSERT_NE(kel_json_obj_put_i64_base(c, "b", 3, nullptr), nullptr);
    EXPECT_EQ(dump(doc), R"({"a":{"b":2},"c":{"b":3}})");
    EXPECT_EQ(doc->refcount, 0);
}

TEST(JrefExpand, InnerReferencesAreReplacedFirst)
{
    JsonRoot doc = parse(R"({"x": [{"$ref": "#/y"}], "y": {"z": {"$ref": "#/w"}}, "w": 3})");
    ASSERT_TRUE(kel_json_jref_expand(doc, nullptr));
    EXPECT_EQ(dump(doc), R"({"w":3,"x":[{"z":3}],"y":{"z":3}})");
    EXPECT_EQ(pointer_of(at(doc, "/x/0/z")), "/x/0/z");

    // Chains, and one target reached through several references: each
    // reference gets its own copy.
    JsonRoot many = parse(R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/c"}, "c": [{"$ref": "#/d"}], "d": 1,
                              "e": [{"$ref": "#/c"}, {"$ref": "#/c"}]})");
    ASSERT_TRUE(kel_json_jref_expand(many, nullptr));
    EXPECT_EQ(dump(many), R"({"a":[1],"b":[1],"c":[1],"d":1,"e":[[1],[1]]})");
    EXPECT_NE(at(many, "/e/0"), at(many, "/e/1"));
    EXPECT_NE(at(many, "/a"), at(many, "/c"));
}

TEST(JrefExpand, CyclesFailAndLeaveTheDocumentUnchanged)
{
    struct Case {
        const char *doc, *named;
    } cases[] = {
        {R"({"a": {"$ref": "#"}})", "/a"},
        {R"({"a": {"b": {"$ref": "#/a"}}, "k": {"$ref": "#/n"}, "n": 1})", "/a/b"},
        {R"({"l": [1, {"$ref": "#/l"}]})", "/l/1"},
    };
    for (const Case &c : cases) {
        JsonRoot doc = parse(c.doc);
        std::string before = dump(doc);
        ErrorSlot err;
        EXPECT_FALSE(kel_json_jref_expand(doc, &err)) << c.doc;
        EXPECT_KEL_ERROR(err, KEL_JSON_CIRCULAR_JREF,
                         std::string("Circular reference to JSON element \"") + c.named + "\"");
        EXPECT_EQ(chain_length(err), 1);
        EXPECT_EQ(dump(doc), before);
        EXPECT_EQ(doc->refcount, 0);
        // Without an error slot the answer is the same.
        EXPECT_FALSE(kel_json_jref_expand(doc, nullptr));
        EXPECT_EQ(dump(doc), before);
    }

    // A chain that returns to itself fails inside chain resolution; which
    // of the two is met first depends on member order.
    JsonRoot loop = parse(R"({"a": {"$ref": "#/b"}, "b": {"$ref": "#/a"}})");
    ErrorSlot err;
    EXPECT_FALSE(kel_json_jref_expand(loop, &err));
    EXPECT_EQ(err.code(), KEL_JSON_CIRCULAR_JREF);
    EXPECT_TRUE(err.message() == "Circular reference to JSON element \"/a\"" ||
                err.message() == "Circular reference to JSON element \"/b\"")
        << err.message();
    EXPECT_EQ(dump(loop), R"({"a":{"$ref":"#/b"},"b":{"$ref":"#/a"}})");
}

TEST(JrefExpand, UnresolvableReferenceFailsBeforeAnyChange)
{
    JsonRoot doc = parse(R"({"a": {"$ref": "#/b"}, "b": 1, "c": [{"$ref": "#/zz"}]})");
    ErrorSlot err;
    EXPECT_FALSE(kel_json_jref_expand(doc, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key zz");
    EXPECT_EQ(dump(doc), R"({"a":{"$ref":"#/b"},"b":1,"c":[{"$ref":"#/zz"}]})");
}

TEST(JrefExpand, DocumentsWithoutReferencesAndCounts)
{
    JsonRoot doc = parse(R"({"a": [1, {"b": null}], "s": "x"})");
    std::string before = dump(doc);
    EXPECT_TRUE(kel_json_jref_expand(doc, nullptr));
    EXPECT_EQ(dump(doc), before);
    EXPECT_EQ(doc->refcount, 0);
    kel_json_ref(doc);  // count 1: the one unref of JsonRoot still frees it
    EXPECT_TRUE(kel_json_jref_expand(doc, nullptr));
    EXPECT_EQ(doc->refcount, 1);

    JsonRoot scalar(kel_json_i64_new_base(3));
    EXPECT_TRUE(kel_json_jref_expand(scalar, nullptr));
    EXPECT_EQ(scalar->refcount, 0);
}

TEST(JrefExpand, ReplacedReferencesAreReleased)
{
    JsonRoot doc = parse(R"({"a": 1, "r": {"$ref": "#/a"}})");
    KelJson *r = at(doc, "/r");
    kel_json_ref(r);  // kept beyond its place in the document
    ASSERT_TRUE(kel_json_jref_expand(doc, nullptr));
    EXPECT_EQ(r->parent, nullptr);
    EXPECT_EQ(r->refcount, 1);
    EXPECT_STREQ(kel_json_jref_uri(r), "#/a");
    kel_json_unref(r);
    EXPECT_EQ(dump(doc), R"({"a":1,"r":1})");
}

TEST(JrefExpand, SubtreesAndReferenceRoots)
{
    // Targets outside the expanded subtree have their references replaced
    // where they stand; the rest of the document is left alone.
    JsonRoot doc = parse(R"({"in": {"p": {"$ref": "#/out"}}, "out": {"q": {"$ref": "#/v"}}, "v": 1,
                             "other": {"$ref": "#/v"}})");
    ASSERT_TRUE(kel_json_jref_expand(at(doc, "/in"), nullptr));
    EXPECT_EQ(dump(doc), R"({"in":{"p":{"q":1}},"other":{"$ref":"#/v"},"out":{"q":1},"v":1})");

    // A reference as the root of expansion stays a reference.
    JsonRoot doc2 = parse(R"({"a": {"b": {"$ref": "#/c"}}, "c": 1, "r": {"$ref": "#/a"}})");
    KelJson *r = at(doc2, "/r");
    ASSERT_TRUE(kel_json_jref_expand(r, nullptr));
    EXPECT_EQ(dump(doc2), R"({"a":{"b":1},"c":1,"r":{"$ref":"#/a"}})");
    EXPECT_EQ(r->refcount, 1);
}

TEST(JrefExpand, ArgumentsAndPendingErrors)
{
    ErrorSlot err;
    EXPECT_FALSE(kel_json_jref_expand(nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_jref_expand: argument check failed: root");

    JsonRoot doc = parse(R"({"a": 1, "r": {"$ref": "#/a"}})");
    EXPECT_FALSE(kel_json_jref_expand(doc, &err));
    EXPECT_EQ(chain_length(err), 1);
    EXPECT_EQ(dump(doc), R"({"a":1,"r":{"$ref":"#/a"}})");
    EXPECT_EQ(doc->refcount, 0);
}

}  // namespace
