// Pointer text of values: escaping, levels, roots, deep trees, builders.
#include <deque>
#include <string>

#include "test_util.h"

using kel_test::JsonRoot;
using kel_test::pointer_of;

namespace {

// Nodes laid out by hand: the pointer walk reads only kind, parent and
// key/index, so trees of any shape (and depth) can be built without the
// container code, and released by simply dropping the storage.
struct FakeTree {
    std::deque<KelJson> nodes;

    KelJson *node(KelJsonType type, KelJson *parent = nullptr)
    {
        KelJson &n = nodes.emplace_back();
        n.type = static_cast<guint16>(type);
        n.parent = parent;
        return &n;
    }
    KelJson *member(KelJsonType type, KelJson *parent, const char *key)
    {
        KelJson *n = node(type, parent);
        n->key = const_cast<char *>(key);
        return n;
    }
    KelJson *element(KelJsonType type, KelJson *parent, int index)
    {
        KelJson *n = node(type, parent);
        n->index = index;
        return n;
    }
};

std::string ptr_ext(const KelJson *json, const char *prefix = "")
{
    GString *s = g_string_new(prefix);
    EXPECT_TRUE(kel_json_ptr_ext(json, s));
    char *raw = g_string_free(s, FALSE);
    std::string text(raw);
    g_free(raw);
    return text;
}

TEST(PtrText, RootsHaveTheEmptyPointer)
{
    FakeTree t;
    KelJson *root = t.node(KEL_JSON_OBJECT);
    char *out = nullptr;
    EXPECT_EQ(kel_json_ptr(root, &out), 0);
    ASSERT_NE(out, nullptr);
    EXPECT_STREQ(out, "");
    g_free(out);
    EXPECT_EQ(ptr_ext(root, "keep"), "keep");
}

TEST(PtrText, KeysAreEscapedAndIndicesWrittenInDecimal)
{
    FakeTree t;
    KelJson *root = t.node(KEL_JSON_OBJECT);
    KelJson *xy = t.member(KEL_JSON_OBJECT, root, "x~y");
    KelJson *ab = t.member(KEL_JSON_INT64, xy, "a/b");
    EXPECT_EQ(pointer_of(ab), "/x~0y/a~1b");

    KelJson *list = t.member(KEL_JSON_ARRAY, root, "list");
    KelJson *third = t.element(KEL_JSON_STRING, list, 2);
    EXPECT_EQ(pointer_of(third), "/list/2");

    // Only "~" and "/" are touched; quotes, backslashes, control bytes and
    // UTF-8 pass unchanged, and "~1" in a key is escaped as "~01".
    KelJson *odd = t.member(KEL_JSON_NULL, root, "\"\\\t\xC3\xA9~1//");
    EXPECT_EQ(pointer_of(odd), "/\"\\\t\xC3\xA9~01~1~1");
}

TEST(PtrText, EmptyKeysAndNullKeys)
{
    FakeTree t;
    KelJson *root = t.node(KEL_JSON_OBJECT);
    KelJson *e1 = t.member(KEL_JSON_OBJECT, root, "");
    KelJson *e2 = t.member(KEL_JSON_NULL, e1, "");
    EXPECT_EQ(pointer_of(e1), "/");
    EXPECT_EQ(pointer_of(e2), "//");

    // A member without key contributes nothing, but the levels above it do.
    KelJson *a = t.member(KEL_JSON_OBJECT, root, "a");
    KelJson *nokey = t.member(KEL_JSON_OBJECT, a, nullptr);
    KelJson *b = t.member(KEL_JSON_NULL, nokey, "b");
    EXPECT_EQ(pointer_of(b), "/a/b");
}

TEST(PtrText, NonContainerParentEndsTheWalk)
{
    FakeTree t;
    KelJson *root = t.node(KEL_JSON_OBJECT);
    KelJson *s = t.member(KEL_JSON_STRING, root, "s");
    // Corrupt links below a scalar: the value under it contributes nothing,
    // and nothing above it is visited.
    KelJson *x = t.member(KEL_JSON_OBJECT, s, "x");
    EXPECT_EQ(pointer_of(x), "");
    KelJson *arr = t.member(KEL_JSON_ARRAY, s, "arr");
    KelJson *y = t.element(KEL_JSON_NULL, arr, 3);
    EXPECT_EQ(pointer_of(y), "/3");
    KelJson *z = t.member(KEL_JSON_NULL, t.element(KEL_JSON_OBJECT, t.member(KEL_JSON_ARRAY, x, "q"), 1), "z");
    EXPECT_EQ(pointer_of(z), "/q/1/z");
}

TEST(PtrText, AMillionLevelsDoNotExhaustTheStack)
{
    constexpr int kDepth = 1000000;
    FakeTree t;
    KelJson *v = t.node(KEL_JSON_ARRAY);
    // Arrays and objects alternate: /1/o/3/o/5/...
    for (int i = 1; i < kDepth; ++i) {
        if (v->type == KEL_JSON_ARRAY)
            v = t.element(KEL_JSON_OBJECT, v, i % 10);
        else
            v = t.member(KEL_JSON_ARRAY, v, "o");
    }
    KelJson *leaf = t.member(KEL_JSON_NULL, v, "k");

    char *out = nullptr;
    gint32 len = kel_json_ptr(leaf, &out);
    ASSERT_NE(out, nullptr);
    std::string text(out);
    g_free(out);
    ASSERT_EQ(len, static_cast<gint32>(text.size()));
    ASSERT_EQ(text.size(), 2u * (kDepth - 1) + 2);
    EXPECT_EQ(text.substr(0, 8), "/1/o/3/o");
    EXPECT_EQ(text.substr(text.size() - 6), "/o/9/k");
}

TEST(PtrText, RejectedArgumentsAreSilent)
{
    kel_test::LogCapture log;
    FakeTree t;
    KelJson *root = t.node(KEL_JSON_ARRAY);
    char *out = reinterpret_cast<char *>(0x1);
    EXPECT_EQ(kel_json_ptr(nullptr, &out), -1);
    EXPECT_EQ(out, reinterpret_cast<char *>(0x1));
    EXPECT_EQ(kel_json_ptr(root, nullptr), -1);

    GString *s = g_string_new("x");
    EXPECT_FALSE(kel_json_ptr_ext(nullptr, s));
    EXPECT_FALSE(kel_json_ptr_ext(root, nullptr));
    EXPECT_FALSE(kel_json_ptr_add_key_ext(s, nullptr));
    EXPECT_STREQ(s->str, "x");
    g_string_free(s, TRUE);
    EXPECT_EQ(kel_json_ptr_add_key("/a", nullptr), nullptr);
    EXPECT_TRUE(log.messages().empty());
}

TEST(PtrText, AddKey)
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
    g_string_free(s, TRUE);
}

TEST(PtrText, BuildersForTheNextPosition)
{
    kel_test::LogCapture log;
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *list = kel_json_obj_put_array_base(root, "l/st", nullptr);
    ASSERT_NE(list, nullptr);
    kel_json_array_push_base(list, kel_json_null_new_base(), nullptr);
    kel_json_array_push_base(list, kel_json_null_new_base(), nullptr);

    GString *s = g_string_new(nullptr);
    EXPECT_TRUE(kel_json_ptr_build_array(list, s));
    EXPECT_STREQ(s->str, "/l~1st/2");

    g_string_truncate(s, 0);
    JsonRoot empty(kel_json_array_new_base(0, FALSE));
    EXPECT_TRUE(kel_json_ptr_build_array(empty, s));
    EXPECT_STREQ(s->str, "/0");

    g_string_assign(s, "=");
    EXPECT_FALSE(kel_json_ptr_build_array(root, s));
    EXPECT_FALSE(kel_json_ptr_build_array(nullptr, s));
    EXPECT_FALSE(kel_json_ptr_build_obj(list, "k", s));
    EXPECT_FALSE(kel_json_ptr_build_obj(nullptr, "k", s));
    EXPECT_FALSE(kel_json_ptr_build_array(empty, nullptr));
    EXPECT_STREQ(s->str, "=");

    g_string_truncate(s, 0);
    KelJson *inner = kel_json_obj_put_obj_base(root, "o", nullptr);
    EXPECT_TRUE(kel_json_ptr_build_obj(inner, "a/b~", s));
    EXPECT_STREQ(s->str, "/o/a/b~");  // the key goes in unescaped
    g_string_free(s, TRUE);
    EXPECT_TRUE(log.messages().empty());
}

TEST(PtrText, BorrowedValuesKeepTheirOwnPointer)
{
    JsonRoot root(kel_json_obj_new_base(FALSE));
    KelJson *member = kel_json_obj_put_i64_base(root, "m", 1, nullptr);
    JsonRoot lone(kel_json_i64_new_base(1));
    kel_json_ref(lone);  // the borrowing array's release must not free it
    JsonRoot borrow(kel_json_array_new_base(2, TRUE));
    ASSERT_TRUE(kel_json_array_push_base(borrow, lone, nullptr));
    ASSERT_TRUE(kel_json_array_push_base(borrow, member, nullptr));
    EXPECT_EQ(pointer_of(lone), "");
    EXPECT_EQ(pointer_of(member), "/m");
}

}  // namespace
