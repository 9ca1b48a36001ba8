// Navigation by JSON pointer: lookup, insertion, the typed put family.
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

int chain_length(const ErrorSlot &slot)
{
    int n = 0;
    for (KelError *e = slot.err; e != nullptr; e = e->next)
        ++n;
    return n;
}

gint64 get_i64(KelJson *root, const char *ptr)
{
    ErrorSlot err;
    KelJson *v = kel_json_ptr_get_base(root, ptr, &err);
    EXPECT_NE(v, nullptr) << ptr << ": " << err.message();
    return v ? kel_json_i64_get(v) : -999;
}

// A typed put that must fail; returns the document text after it.
std::string put_i64(KelJson *root, const char *ptr, gint64 value, ErrorSlot &err)
{
    KelJson *v = kel_json_ptr_put_i64_base(root, ptr, value, &err);
    EXPECT_EQ(v, nullptr) << ptr << " was expected to fail";
    return dump(root);
}

// ---- Lookup ---------------------------------------------------------------------

TEST(PtrGet, RootAndFragmentForms)
{
    JsonRoot doc = parse(R"({"a": 1})");
    EXPECT_EQ(kel_json_ptr_get_base(doc, "", nullptr), doc.get());
    EXPECT_EQ(kel_json_ptr_get_base(doc, "#", nullptr), doc.get());
    KelJson *a = kel_json_ptr_get_base(doc, "/a", nullptr);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(kel_json_ptr_get_base(doc, "#/a", nullptr), a);

    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_get_base(doc, "a", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: a");
    err.clear();
    // Only one "#" is skipped; the text shown starts where reading stood.
    EXPECT_EQ(kel_json_ptr_get_base(doc, "##/a", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: #/a");
    err.clear();
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/a%", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key a%");
}

TEST(PtrGet, EscapesInTokens)
{
    JsonRoot doc = parse(R"({"a/b": 1, "m~n": 2, "~1": 3, "x": {"": 4}})");
    EXPECT_EQ(get_i64(doc, "/a~1b"), 1);
    EXPECT_EQ(get_i64(doc, "/m~0n"), 2);
    EXPECT_EQ(get_i64(doc, "/~01"), 3);
    EXPECT_EQ(get_i64(doc, "/x/"), 4);

    struct Case {
        const char *ptr, *shown;
    } cases[] = {
        {"/a~2", "/a~2"}, {"/a~2b", "/a~2"}, {"/a~", "/a~"}, {"/x/a~/b", "/a~/"}, {"/~~0", "/~~"},
    };
    for (const Case &c : cases) {
        ErrorSlot err;
        EXPECT_EQ(kel_json_ptr_get_base(doc, c.ptr, &err), nullptr) << c.ptr;
        EXPECT_KEL_ERROR(err, KEL_JSON_POINTER_INVALID,
                         std::string("Invalid JSON pointer escape sequence: ") + c.shown);
        EXPECT_EQ(err->next, nullptr);
    }
}

TEST(PtrGet, ArrayTokens)
{
    JsonRoot doc = parse("[10, 20, 30]");
    EXPECT_EQ(get_i64(doc, "/0"), 10);
    EXPECT_EQ(get_i64(doc, "/-1"), 30);
    EXPECT_EQ(get_i64(doc, "/0x1"), 20);
    EXPECT_EQ(get_i64(doc, "/02"), 30);           // octal
    EXPECT_EQ(get_i64(doc, "/ 1"), 20);           // blanks before a number
    EXPECT_EQ(get_i64(doc, "/4294967297"), 20);   // low 32 bits
    EXPECT_EQ(get_i64(doc, "/-4294967295"), 20);  // wraps to 1

    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/3", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 3 is out of bounds for JSON array \"\"");
    err.clear();
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/-", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 4 is out of bounds for JSON array \"\"");

    // Not indices: a bad octal digit, trailing text, range errors, nothing.
    for (const char *ptr : {"/x", "/08", "/1a", "/18446744073709551616", "/", "/--"}) {
        err.clear();
        EXPECT_EQ(kel_json_ptr_get_base(doc, ptr, &err), nullptr) << ptr;
        EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "invalid JSON type for \"\": expected object, got array");
    }
}

TEST(PtrGet, ObjectsTakeEveryTokenAsAName)
{
    JsonRoot doc = parse(R"({"0": 1, "-": 2, "": 5, "l": [[7]]})");
    EXPECT_EQ(get_i64(doc, "/0"), 1);
    EXPECT_EQ(get_i64(doc, "/-"), 2);
    EXPECT_EQ(get_i64(doc, "/"), 5);
    EXPECT_EQ(get_i64(doc, "/l/0/0"), 7);
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/l/0/1", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 1 is out of bounds for JSON array \"/l/0\"");
}

TEST(PtrGet, ScalarsAndReferencesEndThePath)
{
    JsonRoot doc = parse(R"({"a": {"b": 1}, "r": {"$ref": "#/a"}, "s": "x"})");
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/r/b", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "invalid JSON type for \"/r\": expected array or object, got reference");
    err.clear();
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/s/0", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "invalid JSON type for \"/s\": expected array or object, got string");
    // The reference itself is a value like any other.
    KelJson *r = kel_json_ptr_get_base(doc, "/r", nullptr);
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->type, KEL_JSON_JREF);
}

TEST(PtrGet, ArgumentsAndPendingErrors)
{
    JsonRoot doc = parse(R"({"a": [1]})");
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_get_base(nullptr, "/a", &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_ptr_get_base: argument check failed: root");
    EXPECT_EQ(kel_json_ptr_get_base(doc, nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_ptr_get_base: argument check failed: ptr");
    ASSERT_EQ(chain_length(err), 2);

    // With an error already in the slot: no lookup, no new error; the empty
    // pointer still names root.
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/a", &err), nullptr);
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/a/0", &err), nullptr);
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/zz", &err), nullptr);
    EXPECT_EQ(kel_json_ptr_get_base(doc, "", &err), doc.get());
    EXPECT_EQ(chain_length(err), 2);
    // A NULL slot only drops the details.
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/zz", nullptr), nullptr);
}

// ---- Insertion ------------------------------------------------------------------

TEST(PtrPut, CreatesMissingContainers)
{
    struct Case {
        const char *ptr, *result;
    } cases[] = {
        {"/a/b", R"({"a":{"b":1}})"},
        {"/a/0", R"({"a":[1]})"},
        {"/a/-", R"({"a":[1]})"},
        {"/a/-/-/x", R"({"a":[[{"x":1}]]})"},
        {"/a/", R"({"a":1})"},
        {"/a//b", R"({"a":1})"},
        {"/", R"({"":1})"},
        {"//x", R"({"":1})"},
        {"/a/4294967296", R"({"a":[1]})"},
        {"/0/-", R"({"0":[1]})"},
    };
    for (const Case &c : cases) {
        JsonRoot doc = parse("{}");
        ErrorSlot err;
        KelJson *v = kel_json_ptr_put_i64_base(doc, c.ptr, 1, &err);
        EXPECT_NE(v, nullptr) << c.ptr << ": " << err.message();
        EXPECT_EQ(dump(doc), c.result) << c.ptr;
        EXPECT_FALSE(err) << c.ptr;
    }
}

TEST(PtrPut, UsesExistingValuesOnThePath)
{
    JsonRoot doc = parse(R"({"a": {"c": 1}, "l": [{"y": 2}], "n": null})");
    ASSERT_NE(kel_json_ptr_put_i64_base(doc, "/a/b", 3, nullptr), nullptr);
    ASSERT_NE(kel_json_ptr_put_i64_base(doc, "/l/0/x", 4, nullptr), nullptr);
    ASSERT_NE(kel_json_ptr_put_i64_base(doc, "/l/-1/z", 5, nullptr), nullptr);
    EXPECT_EQ(dump(doc), R"({"a":{"b":3,"c":1},"l":[{"x":4,"y":2,"z":5}],"n":null})");

    // An existing member of another kind is walked into, and fails there.
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_put_i64_base(doc, "/n/x", 1, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "invalid JSON type for \"/n\": expected object or array, got null");
}

TEST(PtrPut, ReplacesAppendsAndCountsFromTheEnd)
{
    JsonRoot obj = parse(R"({"a": 1})");
    ASSERT_NE(kel_json_ptr_put_i64_base(obj, "/a", 2, nullptr), nullptr);
    EXPECT_EQ(dump(obj), R"({"a":2})");

    JsonRoot arr = parse("[5]");
    ASSERT_NE(kel_json_ptr_put_i64_base(arr, "/0", 6, nullptr), nullptr);
    EXPECT_EQ(dump(arr), "[6]");
    ASSERT_NE(kel_json_ptr_put_i64_base(arr, "/1", 7, nullptr), nullptr);
    EXPECT_EQ(dump(arr), "[6,7]");
    KelJson *last = kel_json_ptr_put_i64_base(arr, "/-1", 8, nullptr);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(dump(arr), "[6,8]");
    EXPECT_EQ(pointer_of(last), "/1");
    ASSERT_NE(kel_json_ptr_put_i64_base(arr, "/-", 9, nullptr), nullptr);
    EXPECT_EQ(dump(arr), "[6,8,9]");
}

TEST(PtrPut, StrictPutLeavesCreatedContainers)
{
    JsonRoot doc = parse("{}");
    ErrorSlot err;
    EXPECT_EQ(put_i64(doc, "/a/2", 1, err), R"({"a":[]})");
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 2 is out of bounds for JSON array \"/a\"");

    // A failure inside the walk: the containers already linked stay.
    err.clear();
    EXPECT_EQ(put_i64(doc, "/b/c/~2/d", 1, err), R"({"a":[],"b":{}})");
    EXPECT_KEL_ERROR(err, KEL_JSON_POINTER_INVALID, "Invalid JSON pointer escape sequence: /~2");

    // A container made for a gap that strict mode refuses is never linked.
    err.clear();
    EXPECT_EQ(put_i64(doc, "/a/3/x", 1, err), R"({"a":[],"b":{}})");
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 3 is out of bounds for JSON array \"/a\"");
    err.clear();
    EXPECT_EQ(put_i64(doc, "/a/-5/x", 1, err), R"({"a":[],"b":{}})");
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index -5 is out of bounds for JSON array \"/a\"");
}

TEST(PtrPut, NonStrictFillsGaps)
{
    JsonRoot fill(kel_json_null_new_base());
    {
        JsonRoot doc = parse("{}");
        JsonRoot elem(kel_json_i64_new_base(1));
        ErrorSlot err;
        ASSERT_TRUE(kel_json_ptr_put_base(doc, "/a/2/b", elem, FALSE, fill, &err)) << err.message();
        EXPECT_EQ(dump(doc), R"({"a":[{},{},{"b":1}]})");
        EXPECT_EQ(pointer_of(elem), "/a/2/b");
    }
    {
        JsonRoot doc = parse("[]");
        JsonRoot elem(kel_json_i64_new_base(1));
        ASSERT_TRUE(kel_json_ptr_put_base(doc, "/2", elem, FALSE, fill, nullptr));
        EXPECT_EQ(dump(doc), "[null,null,1]");
    }
    {
        // Intermediate gaps are filled only when not strict; the final one
        // only with a fill value.
        JsonRoot doc = parse("{}");
        JsonRoot elem(kel_json_i64_new_base(1));
        ASSERT_TRUE(kel_json_ptr_put_base(doc, "/a/1/0", elem, FALSE, nullptr, nullptr));
        EXPECT_EQ(dump(doc), R"({"a":[[],[1]]})");
        JsonRoot elem2(kel_json_i64_new_base(2));
        ErrorSlot err;
        EXPECT_FALSE(kel_json_ptr_put_base(doc, "/a/0/3", elem2, FALSE, nullptr, &err));
        EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 3 is out of bounds for JSON array \"/a/0\"");
        JsonRoot elem3(kel_json_i64_new_base(3));
        ASSERT_TRUE(kel_json_ptr_put_base(doc, "/a/0/1", elem3, TRUE, fill, nullptr));
        EXPECT_EQ(dump(doc), R"({"a":[[null,3],[1]]})");
    }
}

TEST(PtrPut, HugeGapsAreRefused)
{
    JsonRoot fill(kel_json_null_new_base());
    JsonRoot doc = parse("{}");
    JsonRoot elem(kel_json_i64_new_base(1));
    ErrorSlot err;
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "/a/2147483647/b", elem, FALSE, fill, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 2147483647 is out of bounds for JSON array \"/a\"");
    EXPECT_EQ(dump(doc), R"({"a":[]})");

    err.clear();
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "/a/1048577", elem, TRUE, fill, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 1048577 is out of bounds for JSON array \"/a\"");
    EXPECT_EQ(dump(doc), R"({"a":[]})");

    // The largest gap that is still filled: 2^20 copies.
    ASSERT_TRUE(kel_json_ptr_put_base(doc, "/a/1048576", elem, TRUE, fill, nullptr));
    KelJson *a = kel_json_ptr_get_base(doc, "/a", nullptr);
    EXPECT_EQ(kel_json_array_size(a), 1048577);
    EXPECT_EQ(pointer_of(elem), "/a/1048576");
}

TEST(PtrPut, ArrayAndScalarMismatches)
{
    JsonRoot doc = parse(R"({"l": [1], "s": "x"})");
    ErrorSlot err;
    EXPECT_EQ(put_i64(doc, "/l/k/z", 1, err), R"({"l":[1],"s":"x"})");
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "invalid JSON type for \"/l\": expected object, got array");
    err.clear();
    put_i64(doc, "/l/k", 1, err);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "invalid JSON type for \"/l\": expected object, got array");
    err.clear();
    EXPECT_EQ(put_i64(doc, "/s/x", 1, err), R"({"l":[1],"s":"x"})");
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "invalid JSON type for \"/s\": expected object or array, got string");
    err.clear();
    put_i64(doc, "/s/x/y", 1, err);
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID,
                     "invalid JSON type for \"/s\": expected object or array, got string");

    JsonRoot arr = parse("[]");
    err.clear();
    EXPECT_EQ(put_i64(arr, "/", 1, err), "[]");
    EXPECT_KEL_ERROR(err, KEL_JSON_TYPE_INVALID, "invalid JSON type for \"\": expected object, got array");
}

TEST(PtrPut, ArgumentsAndPointerForms)
{
    JsonRoot doc = parse("{}");
    JsonRoot elem(kel_json_i64_new_base(1));
    ErrorSlot err;
    struct Case {
        KelJson *root;
        const char *ptr;
        KelJson *elem;
        const char *arg;
    } cases[] = {
        {nullptr, "/a", elem, "root"},
        {doc, nullptr, elem, "ptr"},
        {doc, "/a", nullptr, "elem"},
        {doc, "", elem, "*ptr != '\\0'"},
    };
    for (const Case &c : cases) {
        err.clear();
        EXPECT_FALSE(kel_json_ptr_put_base(c.root, c.ptr, c.elem, TRUE, nullptr, &err));
        EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID,
                         std::string("kel_json_ptr_put_base: argument check failed: ") + c.arg);
    }
    err.clear();
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "#/a", elem, TRUE, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: #/a");
    err.clear();
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "a/b", elem, TRUE, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: a/b");
    EXPECT_EQ(dump(doc), "{}");
}

TEST(PtrPut, ElementWithAParentIsRefused)
{
    JsonRoot doc = parse(R"({"x": {"y": 1}, "l": []})");
    KelJson *y = kel_json_ptr_get_base(doc, "/x/y", nullptr);
    ErrorSlot err;
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "/z", y, TRUE, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED, "Cannot add to \"\", because value is already a child of \"/x\"");
    err.clear();
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "/l/-", y, TRUE, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED,
                     "Cannot add to \"/l\", because value is already a child of \"/x\"");
    EXPECT_EQ(dump(doc), R"({"l":[],"x":{"y":1}})");
}

TEST(PtrPut, PendingErrorStopsInsertion)
{
    JsonRoot doc = parse(R"({"l": []})");
    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "earlier");
    JsonRoot elem(kel_json_i64_new_base(1));
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "/a", elem, TRUE, nullptr, &err));
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "/l/-", elem, TRUE, nullptr, &err));
    EXPECT_FALSE(kel_json_ptr_put_base(doc, "/new/x", elem, TRUE, nullptr, &err));
    EXPECT_EQ(chain_length(err), 1);
    EXPECT_EQ(dump(doc), R"({"l":[]})");
    // The typed puts give up before touching the document.
    EXPECT_EQ(kel_json_ptr_put_i64_base(doc, "/l/0", 1, &err), nullptr);
    EXPECT_EQ(kel_json_ptr_put_obj_base(doc, "/o", &err), nullptr);
    EXPECT_EQ(chain_length(err), 1);
    EXPECT_EQ(dump(doc), R"({"l":[]})");
}

// ---- Typed puts -----------------------------------------------------------------

TEST(PtrPutTyped, EveryKindLandsWhereThePointerSays)
{
    JsonRoot doc = parse("{}");
    ErrorSlot err;
    KelJson *arr = kel_json_ptr_put_array_base(doc, "/k/arr", &err);
    ASSERT_NE(arr, nullptr);
    EXPECT_EQ(arr->refcount, 1);  // owned by the document, borrowed by us
    KelJson *obj = kel_json_ptr_put_obj_base(doc, "/k/arr/-", &err);
    EXPECT_EQ(pointer_of(obj), "/k/arr/0");
    EXPECT_NE(kel_json_ptr_put_bool_base(doc, "/k/b", 5, &err), nullptr);
    EXPECT_NE(kel_json_ptr_put_double_base(doc, "/k/d", 0.5, &err), nullptr);
    EXPECT_NE(kel_json_ptr_put_u64_base(doc, "/k/u", G_MAXUINT64, &err), nullptr);
    EXPECT_NE(kel_json_ptr_put_i64_base(doc, "/k/i", G_MININT64, &err), nullptr);
    EXPECT_NE(kel_json_ptr_put_u128_base(doc, "/k/w", KelUint128{1, 2}, &err), nullptr);
    EXPECT_NE(kel_json_ptr_put_str_base(doc, "/k/s", "t", &err), nullptr);
    EXPECT_NE(kel_json_ptr_put_jref_base(doc, "/k/r", "#/k/i", &err), nullptr);
    EXPECT_FALSE(err);
    EXPECT_EQ(dump(doc), R"({"k":{"arr":[{}],"b":true,"d":0.500000,"i":-9223372036854775808,)"
                         R"("r":{"$ref":"#/k/i"},"s":"t","u":18446744073709551615,"w":36893488147419103233}})");
}

TEST(PtrPutTyped, FailuresFreeTheNewValue)
{
    JsonRoot doc = parse(R"({"s": "x"})");
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_put_str_base(doc, "/t", "\xC3\x28", &err), nullptr);
    EXPECT_EQ(err.code(), KEL_JSON_ARG_INVALID);
    EXPECT_EQ(err.message().rfind("kel_json_str_new_len_base: Character sequence is not valid UTF-8:", 0), 0u);
    EXPECT_EQ(chain_length(err), 1);
    err.clear();
    EXPECT_EQ(kel_json_ptr_put_jref_base(doc, "/t", nullptr, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_jref_new_base: argument check failed: uri");
    err.clear();
    // Made, refused by the put, freed (the sanitizer build checks the leak).
    EXPECT_EQ(kel_json_ptr_put_obj_base(doc, "/s/x", &err), nullptr);
    EXPECT_EQ(err.code(), KEL_JSON_TYPE_INVALID);
    err.clear();
    EXPECT_EQ(kel_json_ptr_put_u128_base(nullptr, "/x", KelUint128{1, 1}, &err), nullptr);
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_ptr_put_base: argument check failed: root");
    EXPECT_EQ(dump(doc), R"({"s":"x"})");
}

}  // namespace
