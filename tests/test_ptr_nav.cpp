// Navigation by JSON pointer: lookup, insertion and the typed put family.
#include "test_util.h"

using namespace kel_test;

namespace {

gint64 get_i64(KelJson *root, const char *ptr)
{
    ErrorSlot err;
    KelJson *v = kel_json_ptr_get_base(root, ptr, &err);
    EXPECT_NE(v, nullptr) << ptr << ": " << err.message();
    return v ? kel_json_i64_get(v) : -999;
}

// A lookup that must fail with exactly this error.
void expect_get_fails(KelJson *root, const char *ptr, int code, const std::string &message)
{
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_get_base(root, ptr, &err), nullptr) << ptr;
    EXPECT_KEL_ERROR(err, code, message);
    EXPECT_EQ(err.length(), 1) << ptr;
}

// A strict typed put that must fail with exactly this error; returns the document after it.
std::string put_fails(KelJson *root, const char *ptr, int code, const std::string &message)
{
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_put_i64_base(root, ptr, 1, &err), nullptr) << ptr;
    EXPECT_EQ(err.length(), 1) << ptr;
    EXPECT_EQ(err.code(), code) << ptr;
    EXPECT_EQ(err.message(), message);
    return dump(root);
}

}  // namespace

TEST(PtrGet, FormsEscapesAndIndices)
{
    JsonRoot doc(parse(R"({"a": 1, "a/b": 1, "m~n": 2, "~1": 3, "x": {"": 4}, "0": 1, "-": 2, "": 5, "l": [[7]]})"));
    EXPECT_EQ(kel_json_ptr_get_base(doc, "", nullptr), doc.get());
    EXPECT_EQ(kel_json_ptr_get_base(doc, "#", nullptr), doc.get());
    EXPECT_EQ(kel_json_ptr_get_base(doc, "#/a", nullptr), member(doc, "a"));
    // Objects take every token as a name.
    const std::pair<const char *, gint64> found[] = {
        {"/a~1b", 1}, {"/m~0n", 2}, {"/~01", 3}, {"/x/", 4}, {"/0", 1}, {"/-", 2}, {"/", 5}, {"/l/0/0", 7}};
    for (const auto &[ptr, value] : found)
        EXPECT_EQ(get_i64(doc, ptr), value) << ptr;
    // Only one "#" is skipped; texts show where reading stood.
    expect_get_fails(doc, "a", KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: a");
    expect_get_fails(doc, "##/a", KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: #/a");
    expect_get_fails(doc, "/a%", KEL_JSON_KEY_INVALID, "JSON object \"\" does not have key a%");
    expect_get_fails(doc, "/l/0/1", KEL_JSON_INDEX_INVALID, "Index 1 is out of bounds for JSON array \"/l/0\"");
    const std::pair<const char *, const char *> escapes[] = {
        {"/a~2", "/a~2"}, {"/a~2b", "/a~2"}, {"/a~", "/a~"}, {"/x/a~/b", "/a~/"}, {"/~~0", "/~~"}};
    for (const auto &[ptr, shown] : escapes)
        expect_get_fails(doc, ptr, KEL_JSON_POINTER_INVALID, std::string("Invalid JSON pointer escape sequence: ") + shown);

    // Array tokens are read as C integers: hex, octal, blanks, low 32 bits.
    JsonRoot arr(parse("[10, 20, 30]"));
    const std::pair<const char *, gint64> indices[] = {
        {"/0", 10}, {"/-1", 30}, {"/0x1", 20}, {"/02", 30}, {"/ 1", 20}, {"/4294967297", 20}, {"/-4294967295", 20}};
    for (const auto &[ptr, value] : indices)
        EXPECT_EQ(get_i64(arr, ptr), value) << ptr;
    expect_get_fails(arr, "/3", KEL_JSON_INDEX_INVALID, "Index 3 is out of bounds for JSON array \"\"");
    expect_get_fails(arr, "/-", KEL_JSON_INDEX_INVALID, "Index 4 is out of bounds for JSON array \"\"");
    for (const char *ptr : {"/x", "/08", "/1a", "/18446744073709551616", "/", "/--"})
        expect_get_fails(arr, ptr, KEL_JSON_TYPE_INVALID, "invalid JSON type for \"\": expected object, got array");
}

TEST(PtrGet, ScalarsAndReferencesEndThePathAndPendingErrorsStopIt)
{
    JsonRoot doc(parse(R"({"a": {"b": 1}, "r": {"$ref": "#/a"}, "s": "x"})"));
    expect_get_fails(doc, "/r/b", KEL_JSON_TYPE_INVALID, "invalid JSON type for \"/r\": expected array or object, got reference");
    expect_get_fails(doc, "/s/0", KEL_JSON_TYPE_INVALID, "invalid JSON type for \"/s\": expected array or object, got string");
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/r", nullptr)->type, KEL_JSON_JREF);  // a value like any other
    EXPECT_EQ(kel_json_ptr_get_base(doc, "/zz", nullptr), nullptr);
    // With an error in the slot: no lookup, no new error; "" still names root.
    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "earlier");
    for (const char *ptr : {"/a", "/a/b", "/zz"})
        EXPECT_EQ(kel_json_ptr_get_base(doc, ptr, &err), nullptr) << ptr;
    EXPECT_EQ(kel_json_ptr_get_base(doc, "", &err), doc.get());
    EXPECT_EQ(err.length(), 1);
}

TEST(PtrPut, CreatesMissingContainersAndUsesExistingOnes)
{
    const std::pair<const char *, const char *> cases[] = {
        {"/a/b", R"({"a":{"b":1}})"}, {"/a/0", R"({"a":[1]})"}, {"/a/-", R"({"a":[1]})"}, {"/a/-/-/x", R"({"a":[[{"x":1}]]})"},
        {"/a/", R"({"a":1})"}, {"/a//b", R"({"a":1})"}, {"/", R"({"":1})"}, {"//x", R"({"":1})"},
        {"/a/4294967296", R"({"a":[1]})"}, {"/0/-", R"({"0":[1]})"}};
    for (const auto &[ptr, result] : cases) {
        JsonRoot doc(parse("{}"));
        ErrorSlot err;
        EXPECT_NE(kel_json_ptr_put_i64_base(doc, ptr, 1, &err), nullptr) << ptr << ": " << err.message();
        EXPECT_EQ(dump(doc), result) << ptr;
    }
    JsonRoot doc(parse(R"({"a": {"c": 1}, "l": [{"y": 2}], "n": null})"));
    ASSERT_NE(kel_json_ptr_put_i64_base(doc, "/a/b", 3, nullptr), nullptr);
    ASSERT_NE(kel_json_ptr_put_i64_base(doc, "/l/0/x", 4, nullptr), nullptr);
    ASSERT_NE(kel_json_ptr_put_i64_base(doc, "/l/-1/z", 5, nullptr), nullptr);
    EXPECT_EQ(dump(doc), R"({"a":{"b":3,"c":1},"l":[{"x":4,"y":2,"z":5}],"n":null})");
    put_fails(doc, "/n/x", KEL_JSON_TYPE_INVALID, "invalid JSON type for \"/n\": expected object or array, got null");

    // Replacing, appending, counting from the end.
    JsonRoot arr(parse("[5]"));
    const std::pair<const char *, const char *> steps[] = {{"/0", "[1]"}, {"/1", "[1,1]"}, {"/-1", "[1,1]"}, {"/-", "[1,1,1]"}};
    for (const auto &[ptr, result] : steps) {
        ASSERT_NE(kel_json_ptr_put_i64_base(arr, ptr, 1, nullptr), nullptr) << ptr;
        EXPECT_EQ(dump(arr), result) << ptr;
    }
    EXPECT_EQ(pointer_of(at(arr, 1)), "/1");
}

TEST(PtrPut, FailuresAndWhatTheyLeave)
{
    JsonRoot doc(parse("{}"));
    // Strict: containers linked before the failure stay; one made for a refused gap is never linked.
    EXPECT_EQ(put_fails(doc, "/a/2", KEL_JSON_INDEX_INVALID, "Index 2 is out of bounds for JSON array \"/a\""), R"({"a":[]})");
    EXPECT_EQ(put_fails(doc, "/b/c/~2/d", KEL_JSON_POINTER_INVALID, "Invalid JSON pointer escape sequence: /~2"), R"({"a":[],"b":{}})");
    EXPECT_EQ(put_fails(doc, "/a/3/x", KEL_JSON_INDEX_INVALID, "Index 3 is out of bounds for JSON array \"/a\""), R"({"a":[],"b":{}})");
    EXPECT_EQ(put_fails(doc, "/a/-5/x", KEL_JSON_INDEX_INVALID, "Index -5 is out of bounds for JSON array \"/a\""), R"({"a":[],"b":{}})");

    JsonRoot mixed(parse(R"({"l": [1], "s": "x"})")), arr(parse("[]"));
    const std::pair<const char *, const char *> mismatches[] = {
        {"/l/k/z", "invalid JSON type for \"/l\": expected object, got array"},
        {"/l/k", "invalid JSON type for \"/l\": expected object, got array"},
        {"/s/x", "invalid JSON type for \"/s\": expected object or array, got string"},
        {"/s/x/y", "invalid JSON type for \"/s\": expected object or array, got string"}};
    for (const auto &[ptr, message] : mismatches)
        EXPECT_EQ(put_fails(mixed, ptr, KEL_JSON_TYPE_INVALID, message), R"({"l":[1],"s":"x"})");
    EXPECT_EQ(put_fails(arr, "/", KEL_JSON_TYPE_INVALID, "invalid JSON type for \"\": expected object, got array"), "[]");

    JsonRoot elem(kel_json_i64_new_base(1)), empty(parse("{}"));
    const std::tuple<KelJson *, const char *, KelJson *, int, const char *> args[] = {
        {nullptr, "/a", elem, KEL_JSON_ARG_INVALID, "kel_json_ptr_put_base: argument check failed: root"},
        {empty, nullptr, elem, KEL_JSON_ARG_INVALID, "kel_json_ptr_put_base: argument check failed: ptr"},
        {empty, "/a", nullptr, KEL_JSON_ARG_INVALID, "kel_json_ptr_put_base: argument check failed: elem"},
        {empty, "", elem, KEL_JSON_ARG_INVALID, "kel_json_ptr_put_base: argument check failed: *ptr != '\\0'"},
        {empty, "#/a", elem, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: #/a"},
        {empty, "a/b", elem, KEL_JSON_FEATURE_UNSUPPORTED, "Relative JSON pointers are not supported: a/b"}};
    for (const auto &[root, ptr, value, code, message] : args) {
        ErrorSlot err;
        EXPECT_FALSE(kel_json_ptr_put_base(root, ptr, value, TRUE, nullptr, &err));
        EXPECT_KEL_ERROR(err, code, message);
    }
    EXPECT_EQ(dump(empty), "{}");

    JsonRoot owned(parse(R"({"x": {"y": 1}, "l": []})"));
    KelJson *y = kel_json_ptr_get_base(owned, "/x/y", nullptr);
    for (const auto &[ptr, where] : {std::pair{"/z", ""}, std::pair{"/l/-", "/l"}}) {
        ErrorSlot err;
        EXPECT_FALSE(kel_json_ptr_put_base(owned, ptr, y, TRUE, nullptr, &err));
        EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED, std::string("Cannot add to \"") + where + "\", because value is already a child of \"/x\"");
    }
    EXPECT_EQ(dump(owned), R"({"l":[],"x":{"y":1}})");

    // A pending error stops every insertion before the document is touched.
    JsonRoot pending(parse(R"({"l": []})"));
    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "earlier");
    for (const char *ptr : {"/a", "/l/-", "/new/x"})
        EXPECT_FALSE(kel_json_ptr_put_base(pending, ptr, elem, TRUE, nullptr, &err));
    EXPECT_EQ(kel_json_ptr_put_i64_base(pending, "/l/0", 1, &err), nullptr);
    EXPECT_EQ(kel_json_ptr_put_obj_base(pending, "/o", &err), nullptr);
    EXPECT_EQ(err.length(), 1);
    EXPECT_EQ(dump(pending), R"({"l":[]})");
}

TEST(PtrPut, NonStrictFillsGapsUpToTheLimit)
{
    JsonRoot fill(kel_json_null_new_base());
    JsonRoot doc(parse("{}")), arr(parse("[]")), other(parse("{}"));
    JsonRoot e1(kel_json_i64_new_base(1)), e2(kel_json_i64_new_base(1)), e3(kel_json_i64_new_base(1));
    ErrorSlot err;
    ASSERT_TRUE(kel_json_ptr_put_base(doc, "/a/2/b", e1, FALSE, fill, &err)) << err.message();
    EXPECT_EQ(dump(doc), R"({"a":[{},{},{"b":1}]})");
    EXPECT_EQ(pointer_of(e1), "/a/2/b");
    ASSERT_TRUE(kel_json_ptr_put_base(arr, "/2", e2, FALSE, fill, nullptr));
    EXPECT_EQ(dump(arr), "[null,null,1]");
    // Intermediate gaps are filled when not strict; the final one only with a fill value.
    ASSERT_TRUE(kel_json_ptr_put_base(other, "/a/1/0", e3, FALSE, nullptr, nullptr));
    EXPECT_EQ(dump(other), R"({"a":[[],[1]]})");
    JsonRoot two(kel_json_i64_new_base(2)), three(kel_json_i64_new_base(3));
    EXPECT_FALSE(kel_json_ptr_put_base(other, "/a/0/3", two, FALSE, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 3 is out of bounds for JSON array \"/a/0\"");
    ASSERT_TRUE(kel_json_ptr_put_base(other, "/a/0/1", three, TRUE, fill, nullptr));
    EXPECT_EQ(dump(other), R"({"a":[[null,3],[1]]})");

    // Gaps that would create more than 2^20 values are refused.
    JsonRoot big(parse("{}")), elem(kel_json_i64_new_base(1));
    for (const auto &[ptr, strict, index] : {std::tuple<const char *, gboolean, const char *>{"/a/2147483647/b", FALSE, "2147483647"}, {"/a/1048577", TRUE, "1048577"}}) {
        err.clear();
        EXPECT_FALSE(kel_json_ptr_put_base(big, ptr, elem, strict, fill, &err));
        EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, std::string("Index ") + index + " is out of bounds for JSON array \"/a\"");
        EXPECT_EQ(dump(big), R"({"a":[]})");
    }
    ASSERT_TRUE(kel_json_ptr_put_base(big, "/a/1048576", elem, TRUE, fill, nullptr));
    EXPECT_EQ(kel_json_array_size(member(big, "a")), 1048577);
    EXPECT_EQ(pointer_of(elem), "/a/1048576");
    // The bound counts values: a fill of 1024 values may fill 1024 places, not 1025.
    JsonRoot wide(parse("[]")), sparse(parse("{}")), e4(kel_json_i64_new_base(4)), e5(kel_json_i64_new_base(5));
    for (int i = 1; i < 1024; i++)
        kel_json_array_push_base(wide, kel_json_null_new_base(), nullptr);
    err.clear();
    EXPECT_FALSE(kel_json_ptr_put_base(sparse, "/a/1025", e4, TRUE, wide, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_INDEX_INVALID, "Index 1025 is out of bounds for JSON array \"/a\"");
    ASSERT_TRUE(kel_json_ptr_put_base(sparse, "/a/1024", e5, TRUE, wide, nullptr));
    EXPECT_EQ(kel_json_array_size(member(sparse, "a")), 1025);
}

TEST(PtrPutTyped, EveryKindLandsWhereThePointerSays)
{
    JsonRoot doc(parse("{}"));
    ErrorSlot err;
    KelJson *arr = kel_json_ptr_put_array_base(doc, "/k/arr", &err);
    EXPECT_EQ(arr->refcount, 1);  // owned by the document, borrowed by us
    EXPECT_EQ(pointer_of(kel_json_ptr_put_obj_base(doc, "/k/arr/-", &err)), "/k/arr/0");
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

    // Failures free the new value (the sanitizer build checks the leaks).
    JsonRoot s(parse(R"({"s": "x"})"));
    EXPECT_EQ(kel_json_ptr_put_str_base(s, "/t", "\xC3\x28", &err), nullptr);
    EXPECT_EQ(err.code(), KEL_JSON_ARG_INVALID);
    EXPECT_EQ(err.message().rfind("kel_json_str_new_len_base: Character sequence is not valid UTF-8:", 0), 0u);
    EXPECT_EQ(err.length(), 1);
    err.clear();
    EXPECT_EQ(kel_json_ptr_put_obj_base(s, "/s/x", &err), nullptr);
    EXPECT_EQ(err.code(), KEL_JSON_TYPE_INVALID);
    EXPECT_EQ(dump(s), R"({"s":"x"})");
}
