// Aligned allocation, directory removal (symbolic links included), the
// process id and string arrays.
#include <glib/gstdio.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <thread>

#include "test_util.h"

using kel_test::LogCapture;

namespace {

bool exists(const std::string &name) { return g_file_test(name.c_str(), G_FILE_TEST_EXISTS); }

std::string make_temp_dir()
{
    g_autofree char *p = g_dir_make_tmp("kel-test-XXXXXX", nullptr);
    return p ? p : "";
}

// A fresh temporary directory; names ending in "/" are made as directories.
struct TempDir {
    const std::string path = make_temp_dir();
    ~TempDir()  // whatever a failed test left, removed without the code under test
    {
        EXPECT_EQ(system(("chmod -R u+rwx '" + path + "' 2>/dev/null; rm -rf '" + path + "'").c_str()), 0);
    }
    std::string operator/(const std::string &rel) const { return path + "/" + rel; }
    void make(std::initializer_list<std::string> names) const
    {
        for (const std::string &name : names)
            ASSERT_TRUE(name.back() == '/' ? g_mkdir((*this / name).c_str(), 0700) == 0
                                           : g_file_set_contents((*this / name).c_str(), "data", -1, nullptr)) << name;
    }
};

// Runs `op` on `path` and checks the GError it reports (code 0: success).
void expect_dir_op(gboolean (*op)(const gchar *, GError **), const std::string &path, int code, const std::string &message = "")
{
    GError *error = nullptr;
    EXPECT_EQ(op(path.c_str(), &error), code == 0) << path;
    EXPECT_EQ(error ? error->code : 0, code) << path;
    EXPECT_TRUE(error == nullptr || error->domain == G_FILE_ERROR) << path;
    EXPECT_EQ(error && !message.empty() ? std::string(error->message) : message, message) << path;  // when one is given
    g_clear_error(&error);
}

std::string removal_message(const std::string &name, int err) { return "Error removing \"" + name + "\": " + g_strerror(err); }

}  // namespace

TEST(AlignedAlloc, AlignedBlocksAndRefusalsInOrder)
{
    for (guint64 alignment : {8u, 64u, 4096u}) {
        void *p = kel_aligned_alloc(alignment, alignment * 3);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % alignment, 0u) << alignment;
        memset(p, 0xa5, alignment * 3);  // the whole block is usable
        kel_aligned_free(p);
    }
    LogCapture log;
    const std::tuple<guint64, guint64, const char *> cases[] = {
        {0, 64, "alignment != 0"}, {24, 8, "(alignment & (alignment - 1)) == 0"},  // checked before the size
        {64, 32, "size >= alignment"}, {64, 96, "size % alignment == 0"},
        {4, 16, nullptr}, {1, 1, nullptr}};  // below the pointer size: the platform's rule, no warning
    for (const auto &[alignment, size, expr] : cases) {
        log.clear();
        EXPECT_EQ(kel_try_aligned_alloc(alignment, size), nullptr);
        EXPECT_EQ(log.messages(), expr ? std::vector<std::string>{std::string("kel_try_aligned_alloc: assertion '") + expr + "' failed"}
                                       : std::vector<std::string>{}) << alignment << "/" << size;
    }
}

TEST(AlignedAllocDeathTest, FailureEndsProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(kel_aligned_free(kel_aligned_alloc(4, 8)), "src/kel_aligned_alloc_common\\.cpp:29: failed to allocate 8 bytes with 4 alignment");
}

TEST(Dirs, RemoveAndEmptyTreesWithoutFollowingLinks)
{
    TempDir tmp;
    tmp.make({"r/", "r/f0", "r/a/", "r/a/f1", "r/a/b/", "r/a/b/.hidden", "r/a/b/c/", "r/a/b/c/f3", "r/empty/", "outside/",
              "outside/precious", "outside/sub/", "e/", "e/a", "e/d/", "e/d/b"});
    for (const auto &[target, link] : {std::pair{tmp / "outside", "r/link"}, {tmp / "outside", "r/a/link"}, {"/nonexistent/target", "r/dangling"},
                                       {tmp / "outside", "top"}})
        ASSERT_EQ(symlink(target.c_str(), (tmp / link).c_str()), 0) << link;
    expect_dir_op(kel_empty_dir, tmp / "top", G_FILE_ERROR_NOTDIR);  // not even the path given is followed
    expect_dir_op(kel_rm_dir, tmp / "r", 0);
    EXPECT_FALSE(exists(tmp / "r"));
    EXPECT_TRUE(exists(tmp / "outside/precious") && exists(tmp / "outside/sub"));  // the links' target survives

    for (const char *not_empty_dir : {"e", "e/a", "missing"})  // a plain file, nothing at all
        EXPECT_FALSE(kel_is_dir_empty((tmp / not_empty_dir).c_str())) << not_empty_dir;
    expect_dir_op(kel_empty_dir, tmp / "e", 0);
    EXPECT_TRUE(kel_is_dir_empty((tmp / "e").c_str()));  // still there, now empty
    expect_dir_op(kel_empty_dir, tmp / "e", 0);         // nothing to do
    expect_dir_op(kel_rm_dir, tmp / "missing", G_FILE_ERROR_NOENT);
    expect_dir_op(kel_empty_dir, tmp / "outside/precious", G_FILE_ERROR_NOTDIR);
    EXPECT_FALSE(kel_rm_dir((tmp / "missing").c_str(), nullptr));

    // rmdir refuses a path ending in "." whoever runs the test, after the
    // contents were removed through it; what was removed stays removed.
    tmp.make({"d/", "d/f"});
    expect_dir_op(kel_rm_dir, tmp / "d/.", G_FILE_ERROR_INVAL, removal_message(tmp / "d/.", EINVAL));
    EXPECT_FALSE(exists(tmp / "d/f"));
}

TEST(Dirs, UnlinkFailureStopsRemoval)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop root";
    TempDir tmp;
    tmp.make({"locked/", "locked/stuck"});
    ASSERT_EQ(g_chmod((tmp / "locked").c_str(), 0500), 0);  // readable, not writable
    expect_dir_op(kel_rm_dir, tmp.path, G_FILE_ERROR_ACCES, removal_message(tmp / "locked/stuck", EACCES));
    EXPECT_TRUE(exists(tmp / "locked/stuck"));
}

// While the tree is removed, a second thread keeps exchanging its
// subdirectories with links, kept beside the tree, to a directory outside
// it. Removal may fail, but it must never empty the links' target.
TEST(Dirs, RemovalRacingLinkSwapsStaysInsideTree)
{
    constexpr int kPairs = 4;
    TempDir tmp;
    tmp.make({"outside/", "outside/sentinel"});
    for (int i = 0; i < 100; i++) {
        const std::string t = tmp / ("t" + std::to_string(i));
        ASSERT_EQ(g_mkdir(t.c_str(), 0700), 0);
        for (int k = 0; k < kPairs; k++)
            ASSERT_TRUE(g_mkdir((t + "/s" + std::to_string(k)).c_str(), 0700) == 0 && symlink((tmp / "outside").c_str(), (t + "l" + std::to_string(k)).c_str()) == 0);
        std::atomic<bool> stop{false};
        std::thread swapper([&] {
            for (unsigned n = 0; !stop.load(std::memory_order_relaxed); n++) {
                const std::string k = std::to_string(n % kPairs);
                renameat2(AT_FDCWD, (t + "/s" + k).c_str(), AT_FDCWD, (t + "l" + k).c_str(), RENAME_EXCHANGE);
            }
        });
        GError *error = nullptr;
        kel_rm_dir(t.c_str(), &error);
        stop = true;
        swapper.join();
        EXPECT_TRUE(error == nullptr || error->domain == G_FILE_ERROR);
        g_clear_error(&error);
        ASSERT_TRUE(exists(tmp / "outside/sentinel")) << "iteration " << i;
    }
}

TEST(Process, GetPid) { EXPECT_EQ(kel_getpid(), static_cast<gint32>(getpid())); }

TEST(StrArray, CopiesIndicesSortAndHandOver)
{
    KelStrArray *a = kel_str_array_sized_new(4);
    EXPECT_TRUE(a->len == 0 && reinterpret_cast<char **>(a->data)[0] == nullptr && kel_str_array_index(a, 0) == nullptr);
    char buf[] = "hello";
    kel_str_array_add(a, buf);
    buf[0] = 'j';  // the array holds its own copy
    for (const char *s : {"b", "a", "\xc3\xa9", "B", "ab"})
        kel_str_array_add(a, s);
    for (int i = 0; i < 100; i++)  // well past the reservation
        kel_str_array_add(a, "~");
    EXPECT_TRUE(a->len == 106u && reinterpret_cast<char **>(a->data)[106] == nullptr);
    EXPECT_STREQ(kel_str_array_index(a, -106), "hello");
    EXPECT_EQ(kel_str_array_index(a, 1), reinterpret_cast<char **>(a->data)[1]);  // the array's own pointer
    for (gint32 i : {-107, 106, G_MININT32, G_MAXINT32})
        EXPECT_EQ(kel_str_array_index(a, i), nullptr) << i;
    kel_str_array_sort(a);  // by unsigned bytes
    char **vec = kel_str_array_free(a, FALSE);  // hands the vector over
    EXPECT_EQ(std::vector<std::string>(vec, vec + 6), (std::vector<std::string>{"B", "a", "ab", "b", "hello", "~"}));
    EXPECT_TRUE(g_strv_length(vec) == 106u && std::string(vec[105]) == "\xc3\xa9");
    g_strfreev(vec);
}

TEST(StrArray, NewStrsSkipsNullEntriesWithTheAddWarning)
{
    LogCapture log;
    const char *holey[] = {"a", nullptr, "c"};
    KelStrArray *a = kel_str_array_new_strs(holey, 3);
    EXPECT_TRUE(a->len == 2 && std::string(kel_str_array_index(a, 1)) == "c");
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kel_str_array_add: assertion 'str' failed"});
    kel_str_array_free(a, TRUE);
    char **empty = kel_str_array_free(kel_str_array_new_strs(holey, 0), FALSE);
    EXPECT_EQ(empty[0], nullptr);
    g_strfreev(empty);
}

TEST(StrArray, OnlyTheLowestByteOfFreeSegmentCounts)
{
    for (gboolean free_segment : {0x100, 0x101}) {
        KelStrArray *a = kel_str_array_sized_new(1);
        kel_str_array_add(a, "kept");
        char **vec = kel_str_array_free(a, free_segment);
        EXPECT_EQ(vec != nullptr && std::string(vec[0]) == "kept", free_segment == 0x100);
        g_strfreev(vec);
    }
}
