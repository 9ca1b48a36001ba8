// Aligned allocation, directory removal and the process id.
#include <cstdint>
#include <string>
#include <unistd.h>

#include <glib/gstdio.h>

#include "test_util.h"

using kel_test::LogCapture;

namespace {

bool exists(const std::string &name) { return g_file_test(name.c_str(), G_FILE_TEST_EXISTS); }

// A fresh temporary directory in which tests build trees from a compact
// description: names ending in "/" are directories, others files.
class TempDir {
public:
    TempDir()
    {
        char *p = g_dir_make_tmp("kel-test-XXXXXX", nullptr);
        path_ = p ? p : "";
        g_free(p);
    }
    ~TempDir()
    {
        // Whatever a failed test left behind, removed without the code under test.
        std::string cmd = "chmod -R u+rwx '" + path_ + "' 2>/dev/null; rm -rf '" + path_ + "'";
        EXPECT_EQ(system(cmd.c_str()), 0);
    }
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;

    const std::string &path() const { return path_; }
    std::string operator/(const std::string &rel) const { return path_ + "/" + rel; }

    void make(std::initializer_list<const char *> names) const
    {
        for (std::string name : names) {
            const std::string full = *this / name;
            if (name.back() == '/')
                ASSERT_EQ(g_mkdir(full.c_str(), 0700), 0) << full;
            else
                ASSERT_TRUE(g_file_set_contents(full.c_str(), "data", -1, nullptr)) << full;
        }
    }

private:
    std::string path_;
};

std::string removal_message(const std::string &name, int err)
{
    return "Error removing \"" + name + "\": " + g_strerror(err);
}

}  // namespace

TEST(AlignedAlloc, ReturnsAlignedBlocks)
{
    for (guint64 alignment : {8u, 64u, 4096u}) {
        void *p = kel_aligned_alloc(alignment, alignment * 3);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % alignment, 0u) << alignment;
        memset(p, 0xa5, alignment * 3);  // the whole block is usable
        kel_aligned_free(p);
    }
    kel_aligned_free(nullptr);
}

TEST(AlignedAlloc, RefusalsInOrder)
{
    LogCapture log;
    struct Case {
        guint64 alignment, size;
        const char *expr;  // nullptr: refused without a warning
    };
    const Case cases[] = {
        {0, 64, "alignment != 0"},
        {24, 8, "(alignment & (alignment - 1)) == 0"},  // checked before the size
        {64, 32, "size >= alignment"},
        {64, 96, "size % alignment == 0"},
        {4, 16, nullptr},  // below the pointer size: the platform's rule
        {1, 1, nullptr},
    };
    for (const Case &c : cases) {
        log.clear();
        EXPECT_EQ(kel_try_aligned_alloc(c.alignment, c.size), nullptr);
        std::vector<std::string> expected;
        if (c.expr)
            expected.push_back(std::string("kel_try_aligned_alloc: assertion '") + c.expr + "' failed");
        EXPECT_EQ(log.messages(), expected) << c.alignment << "/" << c.size;
    }
}

TEST(AlignedAllocDeathTest, FailureEndsProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(kel_aligned_alloc(4, 8),
                 "src/kel_aligned_alloc_common\\.cpp:29: failed to allocate 8 bytes with 4 alignment");
}

TEST(Dirs, RmDirRemovesDeepTree)
{
    TempDir tmp;
    tmp.make({"r/", "r/f0", "r/a/", "r/a/f1", "r/a/b/", "r/a/b/.hidden", "r/a/b/c/", "r/a/b/c/f3",
              "r/empty/"});
    GError *error = nullptr;
    EXPECT_TRUE(kel_rm_dir((tmp / "r").c_str(), &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(kel_is_dir_empty(tmp.path().c_str()));
}

TEST(Dirs, SymlinksAreNotFollowed)
{
    TempDir tmp;
    tmp.make({"outside/", "outside/precious", "outside/sub/", "r/", "r/inner/"});
    const std::string outside = tmp / "outside";
    ASSERT_EQ(symlink(outside.c_str(), (tmp / "r/link").c_str()), 0);
    ASSERT_EQ(symlink(outside.c_str(), (tmp / "r/inner/link").c_str()), 0);
    ASSERT_EQ(symlink("/nonexistent/target", (tmp / "r/dangling").c_str()), 0);

    GError *error = nullptr;
    EXPECT_TRUE(kel_rm_dir((tmp / "r").c_str(), &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_FALSE(exists(tmp / "r"));
    EXPECT_TRUE(exists(tmp / "outside/precious"));  // the links' target survives
    EXPECT_TRUE(exists(tmp / "outside/sub"));
}

TEST(Dirs, EmptyDirAndIsDirEmpty)
{
    TempDir tmp;
    EXPECT_TRUE(kel_is_dir_empty(tmp.path().c_str()));
    EXPECT_TRUE(kel_empty_dir(tmp.path().c_str(), nullptr));  // nothing to do
    tmp.make({"a", "d/", "d/b"});
    EXPECT_FALSE(kel_is_dir_empty(tmp.path().c_str()));
    EXPECT_FALSE(kel_is_dir_empty((tmp / "a").c_str()));  // a plain file
    EXPECT_FALSE(kel_is_dir_empty((tmp / "missing").c_str()));

    GError *error = nullptr;
    EXPECT_TRUE(kel_empty_dir(tmp.path().c_str(), &error));
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(kel_is_dir_empty(tmp.path().c_str()));  // still there, now empty
}

TEST(Dirs, OpenFailuresReportGlibError)
{
    TempDir tmp;
    tmp.make({"plain"});
    GError *error = nullptr;
    EXPECT_FALSE(kel_rm_dir((tmp / "missing").c_str(), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain, G_FILE_ERROR);
    EXPECT_EQ(error->code, G_FILE_ERROR_NOENT);
    g_clear_error(&error);

    EXPECT_FALSE(kel_empty_dir((tmp / "plain").c_str(), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code, G_FILE_ERROR_NOTDIR);
    g_clear_error(&error);
    EXPECT_TRUE(exists(tmp / "plain"));
    EXPECT_FALSE(kel_rm_dir((tmp / "missing").c_str(), nullptr));
}

TEST(Dirs, RmdirFailureAfterEmptying)
{
    // rmdir refuses a path ending in "." whoever runs the test, after the
    // contents were removed through that same path.
    TempDir tmp;
    tmp.make({"d/", "d/f"});
    const std::string dot = tmp / "d/.";
    GError *error = nullptr;
    EXPECT_FALSE(kel_rm_dir(dot.c_str(), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain, G_FILE_ERROR);
    EXPECT_EQ(error->code, G_FILE_ERROR_INVAL);
    EXPECT_EQ(error->message, removal_message(dot, EINVAL));
    g_clear_error(&error);
    EXPECT_FALSE(exists(tmp / "d/f"));  // what was removed stays removed
}

TEST(Dirs, UnlinkFailureStopsRemoval)
{
    if (geteuid() == 0)
        GTEST_SKIP() << "permissions do not stop root";
    TempDir tmp;
    tmp.make({"locked/", "locked/stuck"});
    ASSERT_EQ(g_chmod((tmp / "locked").c_str(), 0500), 0);  // readable, not writable
    GError *error = nullptr;
    EXPECT_FALSE(kel_rm_dir(tmp.path().c_str(), &error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code, G_FILE_ERROR_ACCES);
    EXPECT_EQ(error->message, removal_message(tmp / "locked/stuck", EACCES));
    g_clear_error(&error);
    EXPECT_TRUE(exists(tmp / "locked/stuck"));
}

TEST(Process, GetPid)
{
    EXPECT_EQ(kel_getpid(), static_cast<gint32>(getpid()));
}
