// Aligned allocation, directory removal (symbolic links included), the
// process id and string arrays.
#include <glib/gstdio.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "test_util.h"

namespace {

bool exists(const std::string &name) { return g_file_test(name.c_str(), G_FILE_TEST_EXISTS); }

// A fresh temporary directory; names ending in "/" are made as directories.
struct TempDir {
    const std::string path{std::unique_ptr<char, decltype(&g_free)>(g_dir_make_tmp("kel-test-XXXXXX", nullptr), g_free).get()};
    // Whatever a failed test left is removed without the code under test.
    ~TempDir() { EXPECT_EQ(system(("chmod -R u+rwx '" + path + "' 2>/dev/null; rm -rf '" + path + "'").c_str()), 0); }
    std::string operator/(const std::string &rel) const { return path + "/" + rel; }
    void make(std::initializer_list<std::string> names) const
    {
        for (const std::string &name : names)
            ASSERT_TRUE(name.back() == '/' ? g_mkdir((*this / name).c_str(), 0700) == 0
                                           : g_file_set_contents((*this / name).c_str(), "data", -1, nullptr)) << name;
    }
};

// Runs `op` on `path` and checks the GError it reports (code 0: success);
// when `failing` is given, the message must name its removal and `err`.
void expect_dir_op(decltype(&kel_rm_dir) op, const std::string &path, int code, const std::string &failing = "", int err = 0)
{
    g_autoptr(GError) error = nullptr;
    EXPECT_EQ(op(path.c_str(), &error), code == 0) << path;
    const std::string message = "Error removing \"" + failing + "\": " + g_strerror(err);
    EXPECT_TRUE(error ? error->domain == G_FILE_ERROR && error->code == code && (failing.empty() || message == error->message) : code == 0)
        << path << ": " << (error ? std::to_string(error->code) + " " + error->message : "no error");
}

}  // namespace

TEST(AlignedAlloc, AlignedBlocksAndRefusalsInOrder)
{
    for (guint64 alignment : {8u, 64u, 4096u}) {
        void *p = kel_aligned_alloc(alignment, alignment * 3);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % alignment, 0u) << alignment;
        kel_aligned_free(memset(p, 0xa5, alignment * 3));  // the whole block is usable
    }
    // The alignment is checked before the size; below the pointer size the
    // platform's rule refuses without a warning.
    const std::tuple<guint64, guint64, const char *> cases[] = {{0, 64, "alignment != 0"}, {24, 8, "(alignment & (alignment - 1)) == 0"},
        {64, 32, "size >= alignment"}, {64, 96, "size % alignment == 0"}, {4, 16, nullptr}, {1, 1, nullptr}};
    for (const auto &[alignment, size, expr] : cases) {
        kel_test::LogCapture log;  // at most one warning: the check returns at once
        EXPECT_EQ(kel_try_aligned_alloc(alignment, size), nullptr);
        EXPECT_EQ(log.last(), expr ? std::string("kel_try_aligned_alloc: assertion '") + expr + "' failed" : "") << alignment << "/" << size;
    }
}

TEST(AlignedAllocDeathTest, FailureEndsProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(kel_aligned_free(kel_aligned_alloc(4, 8)), "src/kel_aligned_alloc_common\\.cpp:29: failed to allocate 8 bytes with 4 alignment");
}

TEST(Dirs, RemoveAndEmptyTreesWithoutFollowingLinksStoppingAtFailures)
{
    TempDir tmp;
    tmp.make({"r/", "r/f0", "r/a/", "r/a/f1", "r/a/b/", "r/a/b/.hidden", "r/a/b/c/", "r/a/b/c/f3", "r/empty/", "outside/",
              "outside/precious", "outside/sub/", "e/", "e/a", "e/d/", "e/d/b", "d/", "d/f", "locked/", "locked/stuck"});
    for (const auto &[target, link] : {std::pair{tmp / "outside", "r/link"}, {tmp / "outside", "r/a/link"}, {"/nonexistent/target", "r/dangling"},
                                       {tmp / "outside", "top"}})
        ASSERT_EQ(symlink(target.c_str(), (tmp / link).c_str()), 0) << link;
    auto is_empty = [&](const char *rel) { return kel_is_dir_empty((tmp / rel).c_str()); };
    EXPECT_FALSE(is_empty("e") || is_empty("e/a") || is_empty("missing"));  // contents, a plain file, nothing at all
    // Not even the path given is followed; emptying an empty directory has
    // nothing to do.
    const std::tuple<decltype(&kel_rm_dir), const char *, int> ops[] = {{kel_empty_dir, "top", G_FILE_ERROR_NOTDIR}, {kel_rm_dir, "r", 0},
        {kel_empty_dir, "e", 0}, {kel_empty_dir, "e", 0}, {kel_rm_dir, "missing", G_FILE_ERROR_NOENT},
        {kel_empty_dir, "outside/precious", G_FILE_ERROR_NOTDIR}, {kel_rm_dir, "r", G_FILE_ERROR_NOENT}};  // "r" is gone
    for (const auto &[op, path, code] : ops)
        expect_dir_op(op, tmp / path, code);
    // rmdir refuses a path ending in "." whoever runs the test, after the
    // contents were removed through it; what was removed stays removed.
    expect_dir_op(kel_rm_dir, tmp / "d/.", G_FILE_ERROR_INVAL, tmp / "d/.", EINVAL);
    // The links' target survives; "e" is still there, now empty.
    EXPECT_TRUE(exists(tmp / "outside/precious") && exists(tmp / "outside/sub") && is_empty("e") && !exists(tmp / "d/f"));
    if (geteuid() == 0)
        return;  // permissions do not stop root
    // An unlink that fails in a subdirectory (readable, not writable) stops the removal.
    ASSERT_EQ(g_chmod((tmp / "locked").c_str(), 0500), 0);
    expect_dir_op(kel_rm_dir, tmp.path, G_FILE_ERROR_ACCES, tmp / "locked/stuck", EACCES);
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
        auto at = [&](const char *kind, unsigned k) { return t + kind + std::to_string(k % kPairs); };  // "/s": directory, "l": link
        for (int k = 0; k < kPairs; k++)
            ASSERT_TRUE(g_mkdir_with_parents(at("/s", k).c_str(), 0700) == 0 && symlink((tmp / "outside").c_str(), at("l", k).c_str()) == 0);
        std::jthread swapper([&](std::stop_token stop) {  // stopped and joined at the end of the iteration
            for (unsigned n = 0; !stop.stop_requested(); n++)
                renameat2(AT_FDCWD, at("/s", n).c_str(), AT_FDCWD, at("l", n).c_str(), RENAME_EXCHANGE);
        });
        g_autoptr(GError) error = nullptr;  // failures are allowed, and their messages made
        kel_rm_dir(t.c_str(), &error);
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
    // Counted from the end; index 1 is lent out as the array's own pointer.
    EXPECT_TRUE(std::string(kel_str_array_index(a, -106)) == "hello" && kel_str_array_index(a, 1) == reinterpret_cast<char **>(a->data)[1]);
    for (gint32 i : {-107, 106, G_MININT32, G_MAXINT32})
        EXPECT_EQ(kel_str_array_index(a, i), nullptr) << i;
    kel_str_array_sort(a);  // by unsigned bytes
    g_auto(GStrv) vec = kel_str_array_free(a, 0x100);  // only the lowest byte counts: hands the vector over
    EXPECT_EQ(std::vector<std::string>(vec, vec + 6), (std::vector<std::string>{"B", "a", "ab", "b", "hello", "~"}));
    EXPECT_TRUE(g_strv_length(vec) == 106u && std::string(vec[105]) == "\xc3\xa9");
}

TEST(StrArray, NewStrsSkipsNullEntriesWithTheAddWarning)
{
    kel_test::LogCapture log;
    const char *holey[] = {"a", nullptr, "c"};
    g_auto(GStrv) vec = kel_str_array_free(kel_str_array_new_strs(holey, 3), FALSE);
    g_auto(GStrv) none = kel_str_array_free(kel_str_array_new_strs(holey, 0), FALSE);
    EXPECT_EQ(std::vector<std::string>(vec, vec + g_strv_length(vec)), (std::vector<std::string>{"a", "c"}));
    EXPECT_EQ(none[0], nullptr);
    EXPECT_EQ(log.messages(), std::vector<std::string>{"kel_str_array_add: assertion 'str' failed"});
}

// Freeing with the segment (any value whose lowest byte is set) releases the
// strings too. The plain build sees a leak as growth of the heap in use.
TEST(StrArray, FreeWithSegmentReleasesTheStrings)
{
    const std::string text(100, 's');
    const std::vector<const char *> strs(5000, text.c_str());
    size_t before = 0;  // measured once round 0 has warmed up
    for (int round = 0; round < 5; round++, before = before ? before : kel_test::heap_in_use())
        EXPECT_EQ(kel_str_array_free(kel_str_array_new_strs(strs.data(), strs.size()), round % 2 ? TRUE : 0x101), nullptr);
    EXPECT_LE(kel_test::heap_in_use(), before + 64 * 1024);
}
