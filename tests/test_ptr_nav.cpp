// Navigation by JSON pointer: lookup, insertion and the typed put family.
#include "test_util.h"

using namespace kel_test;

namespace {

// What a lookup finds (its dump) or the one error it raises.
std::string get(KelJson *root, const char *ptr)
{
    ErrorSlot err;
    KelJson *v = kel_json_ptr_get_base(root, ptr, &err);
    EXPECT_EQ(err.length(), v ? 0 : 1) << ptr;
    return v ? dump(v) : err.pop();
}

// Puts the value 1 at `ptr` (through the typed put when strict without fill):
// the one error raised, if any, then the document.
std::string put(KelJson *root, const char *ptr, gboolean strict = TRUE, KelJson *fill = nullptr)
{
    ErrorSlot err;
    KelJson *elem = strict && fill == nullptr ? nullptr : kel_json_i64_new_base(1);
    const bool ok = elem ? kel_json_ptr_put_base(root, ptr, elem, strict, fill, &err) : kel_json_ptr_put_i64_base(root, ptr, 1, &err) != nullptr;
    if (!ok)
        kel_json_unref(elem);
    EXPECT_EQ(err.length(), ok ? 0 : 1) << ptr;
    return (ok ? "" : err.pop() + " | ") + dump(root);
}

}  // namespace

TEST(PtrGet, FormsEscapesIndicesAndWhereThePathEnds)
{
    JsonRoot doc(parse(R"({"a": 1, "a/b": 1, "m~n": 2, "~1": 3, "x": {"": 4}, "0": 1, "-": 2, "": 5, "l": [[7]],
                         "r": {"$ref": "#/a"}, "s": "x"})"));
    // A reference is a value like any other.
    for (const auto &[ptr, want] : {std::pair{"", doc.get()}, {"#", doc.get()}, {"#/a", member(doc, "a")}, {"/r", member(doc, "r")}})
        EXPECT_EQ(kel_json_ptr_get_base(doc, ptr, nullptr), want) << ptr;
    // Objects take every token as a name; only one "#" is skipped; texts show
    // where reading stood; scalars and references end the path.
    const std::pair<const char *, const char *> cases[] = {
        {"/a~1b", "1"}, {"/m~0n", "2"}, {"/~01", "3"}, {"/x/", "4"}, {"/0", "1"}, {"/-", "2"}, {"/", "5"}, {"/l/0/0", "7"},
        {"a", "-7 Relative JSON pointers are not supported: a"}, {"##/a", "-7 Relative JSON pointers are not supported: #/a"},
        {"/a%", "-3 JSON object \"\" does not have key a%"}, {"/l/0/1", "-4 Index 1 is out of bounds for JSON array \"/l/0\""},
        {"/r/b", "-2 invalid JSON type for \"/r\": expected array or object, got reference"},
        {"/s/0", "-2 invalid JSON type for \"/s\": expected array or object, got string"},
        {"/a~2", "-8 Invalid JSON pointer escape sequence: /a~2"}, {"/a~2b", "-8 Invalid JSON pointer escape sequence: /a~2"},
        {"/a~", "-8 Invalid JSON pointer escape sequence: /a~"}, {"/x/a~/b", "-8 Invalid JSON pointer escape sequence: /a~/"},
        {"/~~0", "-8 Invalid JSON pointer escape sequence: /~~"}};
    for (const auto &[ptr, expected] : cases)
        EXPECT_EQ(get(doc, ptr), expected) << ptr;
    // With an error in the slot: no lookup, no new error; "" still names root.
    ErrorSlot err;
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "earlier");
    for (const char *ptr : {"/a", "/l/0", "/zz"})
        EXPECT_EQ(kel_json_ptr_get_base(doc, ptr, &err), nullptr) << ptr;
    EXPECT_TRUE(kel_json_ptr_get_base(doc, "", &err) == doc.get() && err.length() == 1);

    // Array tokens are read as C integers: hex, octal, blanks, low 32 bits.
    JsonRoot arr(parse("[10, 20, 30]"));
    const std::pair<const char *, const char *> indices[] = {
        {"/0", "10"}, {"/-1", "30"}, {"/0x1", "20"}, {"/02", "30"}, {"/ 1", "20"}, {"/4294967297", "20"}, {"/-4294967295", "20"},
        {"/3", "-4 Index 3 is out of bounds for JSON array \"\""}, {"/-", "-4 Index 4 is out of bounds for JSON array \"\""}};
    for (const auto &[ptr, expected] : indices)
        EXPECT_EQ(get(arr, ptr), expected) << ptr;
    for (const char *ptr : {"/x", "/08", "/1a", "/18446744073709551616", "/", "/--"})
        EXPECT_EQ(get(arr, ptr), "-2 invalid JSON type for \"\": expected object, got array") << ptr;
}

TEST(PtrPut, CreatesMissingContainersUsesExistingOnesOrFails)
{
    const std::tuple<const char *, const char *, const char *> cases[] = {
        {"{}", "/a/b", R"({"a":{"b":1}})"}, {"{}", "/a/0", R"({"a":[1]})"}, {"{}", "/a/-", R"({"a":[1]})"},
        {"{}", "/a/-/-/x", R"({"a":[[{"x":1}]]})"}, {"{}", "/a/", R"({"a":1})"}, {"{}", "/a//b", R"({"a":1})"}, {"{}", "/", R"({"":1})"},
        {"{}", "//x", R"({"":1})"}, {"{}", "/a/4294967296", R"({"a":[1]})"}, {"{}", "/0/-", R"({"0":[1]})"},
        {R"({"a": {"c": 2}})", "/a/b", R"({"a":{"b":1,"c":2}})"}, {R"({"l": [{"y": 2}]})", "/l/0/x", R"({"l":[{"x":1,"y":2}]})"},
        {R"({"l": [{"y": 2}, {}]})", "/l/-2/z", R"({"l":[{"y":2,"z":1},{}]})"},
        // Replacing, appending, counting from the end.
        {"[5]", "/0", "[1]"}, {"[5]", "/1", "[5,1]"}, {"[5, 6]", "/-1", "[5,1]"}, {"[5]", "/-", "[5,1]"},
        {R"({"l": [1], "s": "x"})", "/l/k/z", R"(-2 invalid JSON type for "/l": expected object, got array | {"l":[1],"s":"x"})"},
        {R"({"l": [1], "s": "x"})", "/l/k", R"(-2 invalid JSON type for "/l": expected object, got array | {"l":[1],"s":"x"})"},
        {R"({"l": [1], "s": "x"})", "/s/x", R"(-2 invalid JSON type for "/s": expected object or array, got string | {"l":[1],"s":"x"})"},
        {R"({"l": [1], "s": "x"})", "/s/x/y", R"(-2 invalid JSON type for "/s": expected object or array, got string | {"l":[1],"s":"x"})"},
        {"[]", "/", R"(-2 invalid JSON type for "": expected object, got array | [])"},
        {"{}", "", R"(-1 kel_json_ptr_put_base: argument check failed: *ptr != '\0' | {})"},
        {"{}", "#/a", "-7 Relative JSON pointers are not supported: #/a | {}"}};  // no "#" form here
    for (const auto &[text, ptr, expected] : cases) {
        JsonRoot doc(parse(text));
        EXPECT_EQ(put(doc, ptr), expected) << text << " " << ptr;
    }
    // Strict: containers linked before the failure stay; one made for a refused gap is never linked.
    JsonRoot doc(parse("{}"));
    EXPECT_EQ(put(doc, "/a/2"), R"(-4 Index 2 is out of bounds for JSON array "/a" | {"a":[]})");
    EXPECT_EQ(put(doc, "/b/c/~2/d"), R"(-8 Invalid JSON pointer escape sequence: /~2 | {"a":[],"b":{}})");
    EXPECT_EQ(put(doc, "/a/3/x"), R"(-4 Index 3 is out of bounds for JSON array "/a" | {"a":[],"b":{}})");
    EXPECT_EQ(put(doc, "/a/-5/x"), R"(-4 Index -5 is out of bounds for JSON array "/a" | {"a":[],"b":{}})");
}

TEST(PtrPut, ArgumentsOwnedValuesAndPendingErrors)
{
    JsonRoot owned(parse(R"({"x": {"y": 1}, "l": []})"));
    KelJson *y = kel_json_ptr_get_base(owned, "/x/y", nullptr);
    for (const auto &[ptr, where] : {std::pair{"/z", ""}, std::pair{"/l/-", "/l"}}) {
        ErrorSlot err;
        EXPECT_FALSE(kel_json_ptr_put_base(owned, ptr, y, TRUE, nullptr, &err));
        EXPECT_KEL_ERROR(err, KEL_JSON_CHILD_OWNED, std::string("Cannot add to \"") + where + "\", because value is already a child of \"/x\"");
    }
    EXPECT_EQ(dump(owned), R"({"l":[],"x":{"y":1}})");

    // A pending error (here that of a NULL argument) stops every insertion
    // before the document is touched.
    JsonRoot pending(parse(R"({"l": []})")), elem(kel_json_i64_new_base(1));
    ErrorSlot err;
    EXPECT_FALSE(kel_json_ptr_put_base(pending, "/a", nullptr, TRUE, nullptr, &err));
    EXPECT_KEL_ERROR(err, KEL_JSON_ARG_INVALID, "kel_json_ptr_put_base: argument check failed: elem");
    for (const char *ptr : {"/a", "/l/-", "/new/x"})
        EXPECT_FALSE(kel_json_ptr_put_base(pending, ptr, elem, TRUE, nullptr, &err));
    EXPECT_TRUE(kel_json_ptr_put_i64_base(pending, "/l/0", 1, &err) == nullptr && kel_json_ptr_put_obj_base(pending, "/o", &err) == nullptr);
    EXPECT_TRUE(err.length() == 1 && dump(pending) == R"({"l":[]})");
}

TEST(PtrPut, NonStrictFillsGapsUpToTheLimit)
{
    JsonRoot fill(kel_json_null_new_base()), doc(parse("{}")), arr(parse("[]")), other(parse("{}"));
    EXPECT_EQ(put(doc, "/a/2/b", FALSE, fill), R"({"a":[{},{},{"b":1}]})");
    EXPECT_EQ(pointer_of(kel_json_ptr_get_base(doc, "/a/2/b", nullptr)), "/a/2/b");
    EXPECT_EQ(put(arr, "/2", FALSE, fill), "[null,null,1]");
    // Intermediate gaps are filled when not strict; the final one only with a fill value.
    EXPECT_EQ(put(other, "/a/1/0", FALSE), R"({"a":[[],[1]]})");
    EXPECT_EQ(put(other, "/a/0/3", FALSE), R"(-4 Index 3 is out of bounds for JSON array "/a/0" | {"a":[[],[1]]})");
    EXPECT_EQ(put(other, "/a/0/1", TRUE, fill), R"({"a":[[null,1],[1]]})");

    // Gaps that would create more than 2^20 values are refused.
    JsonRoot big(parse("{}")), elem(kel_json_i64_new_base(1));
    EXPECT_EQ(put(big, "/a/2147483647/b", FALSE, fill), R"(-4 Index 2147483647 is out of bounds for JSON array "/a" | {"a":[]})");
    EXPECT_EQ(put(big, "/a/1048577", TRUE, fill), R"(-4 Index 1048577 is out of bounds for JSON array "/a" | {"a":[]})");
    ASSERT_TRUE(kel_json_ptr_put_base(big, "/a/1048576", elem, TRUE, fill, nullptr));
    EXPECT_EQ(pointer_of(elem), "/a/1048576");
    // The bound counts values: a fill of 1024 values may fill 1024 places, not 1025.
    JsonRoot wide(parse("[]")), sparse(parse("{}")), e5(kel_json_i64_new_base(5));
    for (int i = 1; i < 1024; i++)
        kel_json_array_push_base(wide, kel_json_null_new_base(), nullptr);
    EXPECT_EQ(put(sparse, "/a/1025", TRUE, wide), R"(-4 Index 1025 is out of bounds for JSON array "/a" | {"a":[]})");
    ASSERT_TRUE(kel_json_ptr_put_base(sparse, "/a/1024", e5, TRUE, wide, nullptr));
    EXPECT_EQ(kel_json_array_size(member(sparse, "a")), 1025);
}

TEST(PtrPutTyped, EveryKindLandsWhereThePointerSays)
{
    JsonRoot doc(parse("{}"));
    ErrorSlot err;
    EXPECT_EQ(kel_json_ptr_put_array_base(doc, "/k/arr", &err)->refcount, 1);  // owned by the document, borrowed by us
    EXPECT_EQ(pointer_of(kel_json_ptr_put_obj_base(doc, "/k/arr/-", &err)), "/k/arr/0");
    EXPECT_TRUE(kel_json_ptr_put_bool_base(doc, "/k/b", 5, &err) && kel_json_ptr_put_double_base(doc, "/k/d", 0.5, &err) &&
                kel_json_ptr_put_u64_base(doc, "/k/u", G_MAXUINT64, &err) && kel_json_ptr_put_i64_base(doc, "/k/i", G_MININT64, &err) &&
                kel_json_ptr_put_u128_base(doc, "/k/w", KelUint128{1, 2}, &err) && kel_json_ptr_put_str_base(doc, "/k/s", "t", &err) &&
                kel_json_ptr_put_jref_base(doc, "/k/r", "#/k/i", &err) && !err);
    // Failures insert nothing and free the new value (the sanitizer build checks the leaks).
    EXPECT_EQ(kel_json_ptr_put_str_base(doc, "/k/t", "\xC3\x28", &err), nullptr);
    EXPECT_EQ(err.pop().rfind("-1 kel_json_str_new_len_base: Character sequence is not valid UTF-8:", 0), 0u);
    EXPECT_EQ(kel_json_ptr_put_obj_base(doc, "/k/s/x", &err), nullptr);
    EXPECT_EQ(err.code(), KEL_JSON_TYPE_INVALID);
    EXPECT_EQ(dump(doc), R"({"k":{"arr":[{}],"b":true,"d":0.500000,"i":-9223372036854775808,)"
                         R"("r":{"$ref":"#/k/i"},"s":"t","u":18446744073709551615,"w":36893488147419103233}})");
}
