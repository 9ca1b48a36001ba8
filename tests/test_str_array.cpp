// String arrays: ownership of the copies, negative indexes, sorting and the
// hand-over of the vector.
#include "test_util.h"

using kel_test::LogCapture;

namespace {

struct StrArray {
    KelStrArray *a;
    explicit StrArray(KelStrArray *array) : a(array) {}
    ~StrArray() { kel_str_array_free(a, TRUE); }
    char **vec() const { return reinterpret_cast<char **>(a->data); }
};

}  // namespace

TEST(StrArray, AddCopiesAndStaysTerminated)
{
    StrArray s(kel_str_array_sized_new(4));
    EXPECT_EQ(s.a->len, 0u);
    EXPECT_EQ(s.vec()[0], nullptr);
    EXPECT_EQ(kel_str_array_index(s.a, 0), nullptr);

    char buf[] = "hello";
    kel_str_array_add(s.a, buf);
    buf[0] = 'j';
    EXPECT_STREQ(kel_str_array_index(s.a, 0), "hello");
    for (int i = 0; i < 100; i++)  // well past the reservation
        kel_str_array_add(s.a, "x");
    EXPECT_EQ(s.a->len, 101u);
    EXPECT_EQ(s.vec()[101], nullptr);
}

TEST(StrArray, IndexCountsFromEitherEnd)
{
    const char *strs[] = {"one", "two", "three"};
    StrArray s(kel_str_array_new_strs(strs, 3));
    EXPECT_STREQ(kel_str_array_index(s.a, -1), "three");
    EXPECT_STREQ(kel_str_array_index(s.a, -3), "one");
    EXPECT_EQ(kel_str_array_index(s.a, 1), s.vec()[1]);  // the array's own pointer
    for (gint32 i : {-4, 3, G_MININT32, G_MAXINT32})
        EXPECT_EQ(kel_str_array_index(s.a, i), nullptr) << i;
}

TEST(StrArray, SortByUnsignedBytes)
{
    StrArray s(kel_str_array_sized_new(2));
    for (const char *str : {"b", "a", "\xc3\xa9", "B", "ab"})
        kel_str_array_add(s.a, str);
    kel_str_array_sort(s.a);
    const char *expected[] = {"B", "a", "ab", "b", "\xc3\xa9", nullptr};
    for (guint i = 0; i < 5; i++)
        EXPECT_STREQ(s.vec()[i], expected[i]) << i;
    EXPECT_EQ(s.vec()[5], nullptr);
}

TEST(StrArray, ArgumentChecks)
{
    LogCapture log;
    EXPECT_EQ(kel_str_array_new_strs(nullptr, 0), nullptr);
    EXPECT_EQ(log.last(), "kel_str_array_new_strs: assertion 'strs' failed");
    kel_str_array_add(nullptr, "x");
    EXPECT_EQ(log.last(), "kel_str_array_add: assertion 'array' failed");
    EXPECT_EQ(kel_str_array_index(nullptr, 0), nullptr);
    EXPECT_EQ(log.last(), "kel_str_array_index: assertion 'array' failed");
    kel_str_array_sort(nullptr);
    EXPECT_EQ(log.last(), "kel_str_array_sort: assertion 'array' failed");
    EXPECT_EQ(kel_str_array_free(nullptr, FALSE), nullptr);  // silently
    EXPECT_EQ(log.messages().size(), 4u);

    // A NULL entry is refused by the add check and skipped.
    log.clear();
    const char *holey[] = {"a", nullptr, "c"};
    StrArray s(kel_str_array_new_strs(holey, 3));
    EXPECT_EQ(s.a->len, 2u);
    EXPECT_STREQ(kel_str_array_index(s.a, 1), "c");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kel_str_array_add: assertion 'str' failed"});
    StrArray none(kel_str_array_new_strs(holey, 0));
    EXPECT_EQ(none.a->len, 0u);
}

TEST(StrArray, FreeKeepingSegmentHandsOverVector)
{
    KelStrArray *a = kel_str_array_sized_new(64);
    kel_str_array_add(a, "x");
    kel_str_array_add(a, "y");
    char **vec = kel_str_array_free(a, FALSE);
    EXPECT_EQ(g_strv_length(vec), 2u);
    EXPECT_STREQ(vec[1], "y");
    g_strfreev(vec);  // ASan: nothing left behind

    char **empty = kel_str_array_free(kel_str_array_sized_new(8), FALSE);
    EXPECT_EQ(empty[0], nullptr);
    g_strfreev(empty);

    // Only the lowest byte of free_segment counts.
    a = kel_str_array_sized_new(1);
    kel_str_array_add(a, "kept");
    vec = kel_str_array_free(a, 0x100);
    EXPECT_STREQ(vec[0], "kept");
    g_strfreev(vec);
    a = kel_str_array_sized_new(1);
    kel_str_array_add(a, "gone");
    EXPECT_EQ(kel_str_array_free(a, 0x101), nullptr);
}
