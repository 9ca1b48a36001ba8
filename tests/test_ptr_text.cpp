// Pointer text of values (escaping, levels, roots, builders; deep trees are in
// test_deep), the %P formatter and kel_json_set_error.
#include <deque>

#include "test_util.h"

using namespace kel_test;

namespace {

// Nodes laid out by hand: the pointer walk reads only kind, parent and
// key/index, so trees of any shape and depth need no container code.
struct FakeTree {
    std::deque<KelJson> nodes;
    KelJson *node(KelJsonType type, KelJson *parent = nullptr, const char *key = nullptr, int index = 0)
    {
        KelJson &n = nodes.emplace_back();
        n.type = static_cast<guint16>(type);
        n.parent = parent;
        if (key)
            n.key = const_cast<char *>(key);
        else
            n.index = index;
        return &n;
    }
};

std::string ptr_ext(const KelJson *json, const char *prefix)
{
    GString *s = g_string_new(prefix);
    EXPECT_TRUE(kel_json_ptr_ext(json, s));
    std::string text(s->str);
    g_string_free(s, TRUE);
    return text;
}

// kel_json_ptr_printf into a fresh string; the returned count must be its length.
template <typename... Args>
std::string fmt(const char *format, Args... args)
{
    GString *s = g_string_new(nullptr);
    const gint32 count = kel_json_ptr_printf(s, format, args...);
    std::string text(s->str, s->len);
    g_string_free(s, TRUE);
    EXPECT_EQ(count, static_cast<gint32>(text.size())) << format;
    return text;
}

}  // namespace

TEST(PtrText, EscapingLevelsAndOddLinks)
{
    FakeTree t;
    KelJson *root = t.node(KEL_JSON_OBJECT);
    char *out = nullptr;
    EXPECT_EQ(kel_json_ptr(root, &out), 0);
    EXPECT_STREQ(out, "");
    g_free(out);
    EXPECT_EQ(ptr_ext(root, "keep"), "keep");
    KelJson *xy = t.node(KEL_JSON_OBJECT, root, "x~y"), *list = t.node(KEL_JSON_ARRAY, root, "list");
    EXPECT_EQ(pointer_of(t.node(KEL_JSON_INT64, xy, "a/b")), "/x~0y/a~1b");
    EXPECT_EQ(pointer_of(t.node(KEL_JSON_STRING, list, nullptr, 2)), "/list/2");
    // Only "~" and "/" are touched, and "~1" in a key becomes "~01".
    EXPECT_EQ(pointer_of(t.node(KEL_JSON_NULL, root, "\"\\\t\xC3\xA9~1//")), "/\"\\\t\xC3\xA9~01~1~1");
    KelJson *e1 = t.node(KEL_JSON_OBJECT, root, "");
    EXPECT_EQ(pointer_of(t.node(KEL_JSON_NULL, e1, "")), "//");
    // A member without key contributes nothing, the levels above it do.
    KelJson *nokey = t.node(KEL_JSON_OBJECT, t.node(KEL_JSON_OBJECT, root, "a"), nullptr);
    nokey->key = nullptr;
    EXPECT_EQ(pointer_of(t.node(KEL_JSON_NULL, nokey, "b")), "/a/b");
    // Below a scalar (corrupt links) the walk ends: nothing above it is visited.
    KelJson *s = t.node(KEL_JSON_STRING, root, "s");
    KelJson *x = t.node(KEL_JSON_OBJECT, s, "x");
    EXPECT_EQ(pointer_of(x), "");
    EXPECT_EQ(pointer_of(t.node(KEL_JSON_NULL, t.node(KEL_JSON_ARRAY, s, "arr"), nullptr, 3)), "/3");
    EXPECT_EQ(pointer_of(t.node(KEL_JSON_NULL, t.node(KEL_JSON_OBJECT, t.node(KEL_JSON_ARRAY, x, "q"), nullptr, 1), "z")), "/q/1/z");
    // Values in a borrowing array keep their own pointer.
    JsonRoot doc(parse(R"({"m": 1})")), lone(kel_json_i64_new_base(1)), borrow(kel_json_array_new_base(2, TRUE));
    kel_json_ref(lone);
    kel_json_array_push_base(borrow, lone, nullptr);
    kel_json_array_push_base(borrow, member(doc, "m"), nullptr);
    EXPECT_EQ(pointer_of(lone), "");
    EXPECT_EQ(pointer_of(member(doc, "m")), "/m");
}

TEST(PtrText, AddKeyAndBuilders)
{
    char *p = kel_json_ptr_add_key("/a", "~");
    EXPECT_STREQ(p, "/a/~0");
    g_free(p);
    p = kel_json_ptr_add_key(nullptr, "");
    EXPECT_STREQ(p, "/");
    g_free(p);
    GString *s = g_string_new("/x");
    EXPECT_TRUE(kel_json_ptr_add_key_ext(s, "a/b~c"));
    EXPECT_STREQ(s->str, "/x/a~1b~0c");

    LogCapture log;
    JsonRoot root(parse(R"({"l/st": [null, null], "o": {}})")), empty(parse("[]"));
    g_string_truncate(s, 0);
    EXPECT_TRUE(kel_json_ptr_build_array(member(root, "l/st"), s));
    EXPECT_STREQ(s->str, "/l~1st/2");
    g_string_truncate(s, 0);
    EXPECT_TRUE(kel_json_ptr_build_array(empty, s));
    EXPECT_STREQ(s->str, "/0");
    g_string_assign(s, "=");
    EXPECT_FALSE(kel_json_ptr_build_array(root, s) || kel_json_ptr_build_obj(member(root, "l/st"), "k", s));
    EXPECT_STREQ(s->str, "=");
    g_string_truncate(s, 0);
    EXPECT_TRUE(kel_json_ptr_build_obj(member(root, "o"), "a/b~", s));
    EXPECT_STREQ(s->str, "/o/a/b~");  // the key goes in unescaped
    g_string_free(s, TRUE);
    EXPECT_TRUE(log.messages().empty());
}

TEST(Format, Directives)
{
    JsonRoot root(parse(R"({"a": [], "b": {}, "%d~/": {}})"));
    KelJson *a = member(root, "a");
    const std::pair<std::string, std::string> cases[] = {
        {fmt("Index %d is out of bounds for JSON array %P", 7, a), "Index 7 is out of bounds for JSON array \"/a\""},
        {fmt("%P", root.get()), "\"\""},
        {fmt("[%P]", static_cast<KelJson *>(nullptr)), "[\"\"]"},
        {fmt("%-10P|", a), "\"/a\"|"},  // flags and width ignored
        {fmt("%P %d", member(root, "%d~/"), 3), "\"/%d~0~1\" 3"},
        {fmt("%5d", 42), "   42"}, {fmt("%-3s|", "x"), "x  |"}, {fmt("%05d|%+d|% d", -42, 7, 7), "-0042|+7| 7"},
        {fmt("%.2s%s", "abcdef", ""), "ab"}, {fmt("%d", G_MININT32), "-2147483648"},
        {fmt("100%%"), "100%"}, {fmt("%5%"), "%"}, {fmt("%-#%x"), "%x"}, {fmt("50%"), "50%"}, {fmt("%-5"), "%-5"}, {fmt("%"), "%"},
        // Other conversions are copied without taking an argument; letters
        // outside the delimiting set belong to the directive; a length
        // modifier on %d or %s is not forwarded, but the argument is taken.
        {fmt("%u %x %d", 9), "%u %x 9"}, {fmt("%i%o%X%e%E%f%F%g%G%a%A%c%p"), "%i%o%X%e%E%f%F%g%G%a%A%c%p"},
        {fmt("%08.3f|%s", "s"), "%08.3f|s"}, {fmt("%kP", static_cast<KelJson *>(nullptr)), "\"\""},
        {fmt("%ld|%*s|%d", 1, "x", 2), "%ld|%*s|2"}};
    for (const auto &[got, expected] : cases)
        EXPECT_EQ(got, expected);
    GString *s = g_string_new("prefix:");  // the result counts only appended bytes
    EXPECT_EQ(kel_json_ptr_printf(s, "%P", member(root, "b")), 4);
    EXPECT_EQ(kel_json_ptr_printf(s, ""), 0);
    EXPECT_STREQ(s->str, "prefix:\"/b\"");
    g_string_free(s, TRUE);
    char *out = nullptr;
    EXPECT_EQ(kel_json_ptr_aprintf(&out, "%s=%d", "n", 12), 4);
    EXPECT_STREQ(out, "n=12");
    g_free(out);
    LogCapture log;  // a rejected format still hands out an (empty) string
    EXPECT_EQ(kel_json_ptr_aprintf(&out, nullptr), -1);
    EXPECT_STREQ(out, "");
    g_free(out);
}

TEST(Format, SetErrorPushesFormattedJsonErrorsOnce)
{
    ErrorSlot err;
    JsonRoot root(parse(R"({"a": [], "100%s%n": {}})"));
    kel_json_set_error(&err, KEL_JSON_INDEX_INVALID, "Index %d is out of bounds for JSON array %P", 3, member(root, "a"));
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "JSON object %P does not have key %s", root.get(), "k");
    kel_json_set_error(&err, KEL_JSON_TYPE_INVALID, "%s: bad %P (%s)", "op%d", member(root, "100%s%n"), "%%");
    EXPECT_EQ(err.domain(), kel_json_error_domain());
    EXPECT_EQ(err->data, nullptr);
    EXPECT_EQ(err.pop(), "-2 op%d: bad \"/100%s%n\" (%%)");  // not formatted twice
    EXPECT_EQ(err.domain(), kel_json_error_domain());
    EXPECT_EQ(err.pop(), "-3 JSON object \"\" does not have key k");
    EXPECT_EQ(err.pop(), "-4 Index 3 is out of bounds for JSON array \"/a\"");
    EXPECT_FALSE(err);
    // Without a slot nothing is formatted: the bogus %s argument would crash.
    kel_json_set_error(nullptr, KEL_JSON_ARG_INVALID, "%s", reinterpret_cast<const char *>(0x8));
}
