// Pointer text of values (escaping, levels, roots, builders; deep trees are in
// test_deep), the %P formatter and kel_json_set_error.
#include <deque>
#include <functional>

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
        key ? void(n.key = const_cast<char *>(key)) : void(n.index = index);
        return &n;
    }
};

// What `append` leaves in a string that held `prefix`, marked when it returns FALSE.
std::string appended(const char *prefix, const std::function<gboolean(GString *)> &append)
{
    GString *s = g_string_new(prefix);
    const std::string text = std::string(append(s) ? "" : "FALSE ") + s->str;
    g_string_free(s, TRUE);
    return text;
}

// A string handed over by the library, freed.
std::string taken(char *text) { const std::string s = text ? text : "<NULL>"; return g_free(text), s; }

// kel_json_ptr_printf into a fresh string, marked unless it returns the length.
const auto fmt = [](const char *format, auto... args) {
    return appended("", [&](GString *s) { return kel_json_ptr_printf(s, format, args...) == static_cast<gint32>(s->len); });
};

}  // namespace

TEST(PtrText, EscapingLevelsAndOddLinks)
{
    FakeTree t;
    KelJson *root = t.node(KEL_JSON_OBJECT);
    EXPECT_EQ(appended("keep", [&](GString *s) { return kel_json_ptr_ext(root, s); }), "keep");
    KelJson *xy = t.node(KEL_JSON_OBJECT, root, "x~y"), *list = t.node(KEL_JSON_ARRAY, root, "list");
    KelJson *nokey = t.node(KEL_JSON_OBJECT, t.node(KEL_JSON_OBJECT, root, "a"));  // its key is NULL
    KelJson *s = t.node(KEL_JSON_STRING, root, "s"), *x = t.node(KEL_JSON_OBJECT, s, "x");
    // Only "~" and "/" are touched, and "~1" in a key becomes "~01". A member
    // without key contributes nothing, the levels above it do. Below a scalar
    // (corrupt links) the walk ends: nothing above it is visited.
    const std::pair<KelJson *, const char *> cases[] = {
        {root, ""}, {t.node(KEL_JSON_INT64, xy, "a/b"), "/x~0y/a~1b"}, {t.node(KEL_JSON_STRING, list, nullptr, 2), "/list/2"},
        {t.node(KEL_JSON_NULL, root, "\"\\\t\xC3\xA9~1//"), "/\"\\\t\xC3\xA9~01~1~1"}, {t.node(KEL_JSON_NULL, nokey, "b"), "/a/b"},
        {t.node(KEL_JSON_NULL, t.node(KEL_JSON_OBJECT, root, ""), ""), "//"}, {x, ""},
        {t.node(KEL_JSON_NULL, t.node(KEL_JSON_ARRAY, s, "arr"), nullptr, 3), "/3"},
        {t.node(KEL_JSON_NULL, t.node(KEL_JSON_OBJECT, t.node(KEL_JSON_ARRAY, x, "q"), nullptr, 1), "z"), "/q/1/z"}};
    for (const auto &[node, expected] : cases)
        EXPECT_EQ(pointer_of(node), expected);
}

TEST(PtrText, AddKeyAndBuilders)
{
    EXPECT_EQ(taken(kel_json_ptr_add_key("/a", "~")), "/a/~0");
    EXPECT_EQ(taken(kel_json_ptr_add_key(nullptr, "")), "/");
    EXPECT_EQ(appended("/x", [](GString *s) { return kel_json_ptr_add_key_ext(s, "a/b~c"); }), "/x/a~1b~0c");

    LogCapture log;  // no warnings, also for the refusals
    EXPECT_EQ(appended("/x", [](GString *s) { return kel_json_ptr_add_key_ext(s, nullptr); }), "FALSE /x");
    EXPECT_TRUE(!kel_json_ptr_add_key_ext(nullptr, "k") && kel_json_ptr_add_key("/a", nullptr) == nullptr);
    JsonRoot root(parse(R"({"l/st": [null, null], "o": {}})")), empty(parse("[]"));
    EXPECT_EQ(appended("", [&](GString *s) { return kel_json_ptr_build_array(member(root, "l/st"), s); }), "/l~1st/2");
    EXPECT_EQ(appended("", [&](GString *s) { return kel_json_ptr_build_array(empty, s); }), "/0");
    EXPECT_EQ(appended("=", [&](GString *s) { return kel_json_ptr_build_array(root, s); }), "FALSE =");
    EXPECT_EQ(appended("=", [&](GString *s) { return kel_json_ptr_build_obj(member(root, "l/st"), "k", s); }), "FALSE =");
    // The key goes in unescaped.
    EXPECT_EQ(appended("", [&](GString *s) { return kel_json_ptr_build_obj(member(root, "o"), "a/b~", s); }), "/o/a/b~");
    EXPECT_TRUE(log.messages().empty());
}

TEST(Format, Directives)
{
    JsonRoot root(parse(R"({"a": [], "b": {}, "%d~/": {}})"));
    KelJson *a = member(root, "a");
    const std::pair<std::string, std::string> cases[] = {
        // %P ignores flags and width.
        {fmt("Index %d is out of bounds for JSON array %P", 7, a), "Index 7 is out of bounds for JSON array \"/a\""},
        {fmt("%P", root.get()), "\"\""}, {fmt("[%P]", static_cast<KelJson *>(nullptr)), "[\"\"]"}, {fmt("%-10P|", a), "\"/a\"|"},
        {fmt("%P %d", member(root, "%d~/"), 3), "\"/%d~0~1\" 3"}, {fmt("%5d", 42), "   42"}, {fmt("%-3s|", "x"), "x  |"},
        {fmt("%05d|%+d|% d", -42, 7, 7), "-0042|+7| 7"}, {fmt("%.2s%s", "abcdef", ""), "ab"}, {fmt("%d", G_MININT32), "-2147483648"},
        {fmt("100%%"), "100%"}, {fmt("%5%"), "%"}, {fmt("%-#%x"), "%x"}, {fmt("50%"), "50%"}, {fmt("%-5"), "%-5"}, {fmt("%"), "%"},
        // Other conversions are copied without taking an argument; letters
        // outside the delimiting set belong to the directive; a length
        // modifier on %d or %s is not forwarded, but the argument is taken.
        {fmt("%u %x %d", 9), "%u %x 9"}, {fmt("%i%o%X%e%E%f%F%g%G%a%A%c%p"), "%i%o%X%e%E%f%F%g%G%a%A%c%p"},
        {fmt("%08.3f|%s", "s"), "%08.3f|s"}, {fmt("%kP", static_cast<KelJson *>(nullptr)), "\"\""},
        {fmt("%ld|%*s|%d", 1, "x", 2), "%ld|%*s|2"}};
    for (const auto &[got, expected] : cases)
        EXPECT_EQ(got, expected);
    // The result counts only the appended bytes.
    EXPECT_EQ(appended("prefix:", [&](GString *s) { return kel_json_ptr_printf(s, "%P", member(root, "b")) == 4; }), "prefix:\"/b\"");
    char *out = nullptr;
    EXPECT_EQ(kel_json_ptr_aprintf(&out, "%s=%d", "n", 12), 4);
    EXPECT_EQ(taken(out), "n=12");
}

TEST(Format, SetErrorPushesFormattedJsonErrorsOnce)
{
    ErrorSlot err;
    JsonRoot root(parse(R"({"a": [], "100%s%n": {}})"));
    kel_json_set_error(&err, KEL_JSON_INDEX_INVALID, "Index %d is out of bounds for JSON array %P", 3, member(root, "a"));
    kel_json_set_error(&err, KEL_JSON_KEY_INVALID, "JSON object %P does not have key %s", root.get(), "k");
    kel_json_set_error(&err, KEL_JSON_TYPE_INVALID, "%s: bad %P (%s)", "op%d", member(root, "100%s%n"), "%%");
    EXPECT_TRUE(err.length() == 3 && err.domain() == kel_json_error_domain() && err->data == nullptr);
    EXPECT_EQ(err.pop(), "-2 op%d: bad \"/100%s%n\" (%%)");  // not formatted twice
    EXPECT_EQ(err.pop(), "-3 JSON object \"\" does not have key k");
    EXPECT_EQ(err.pop(), "-4 Index 3 is out of bounds for JSON array \"/a\"");
    // Without a slot nothing is formatted: the bogus %s argument would crash.
    kel_json_set_error(nullptr, KEL_JSON_ARG_INVALID, "%s", reinterpret_cast<const char *>(0x8));
}
