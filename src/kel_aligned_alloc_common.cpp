// Aligned allocation, recursive directory removal and the process id.
// These serve the library's callers; nothing else in the library uses them.
// The directory functions report through GLib's GError in the file error
// domain, like the GLib calls they wrap, not through KelError.
#include <dirent.h>
#include <fcntl.h>
#include <glib/gstdio.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

#include "kel_internal.h"

// The fatal message names this unit by a fixed relative name (__FILE__ is
// the absolute build path); __LINE__ is expanded where the macro is used.
#define KEL_ALLOC_WHERE "src/kel_aligned_alloc_common.cpp:" G_STRINGIFY(__LINE__)

extern "C" {

void *kel_aligned_alloc(guint64 alignment, guint64 size)
{
    void *block = kel_try_aligned_alloc(alignment, size);
    if (G_LIKELY(block != nullptr))
        return block;
    // Ends the process like GLib's allocator; callers match line 29: keep it.
    g_error("%s: failed to allocate %lu bytes with %lu alignment", KEL_ALLOC_WHERE, size, alignment);
}

void *kel_try_aligned_alloc(guint64 alignment, guint64 size)
{
    // Alignment 0 passes the power-of-two test and would make the remainder
    // test divide by zero, so it is refused before either, with its own text.
    KEL_RETURN_VAL_IF_FAIL(alignment != 0, nullptr);
    KEL_RETURN_VAL_IF_FAIL((alignment & (alignment - 1)) == 0, nullptr);
    KEL_RETURN_VAL_IF_FAIL(size >= alignment, nullptr);
    KEL_RETURN_VAL_IF_FAIL(size % alignment == 0, nullptr);
    // posix_memalign refuses (EINVAL) alignments that are not a multiple of
    // the pointer size; that is a plain NULL, not a warning. The rule is
    // applied here rather than left to the call so that memory checkers,
    // which report such a call as a bug, see only valid requests.
    if (alignment % sizeof(void *) != 0)
        return nullptr;
    void *block = nullptr;
    if (posix_memalign(&block, alignment, size) != 0)
        return nullptr;
    return block;
}

void kel_aligned_free(void *ptr)
{
    std::free(ptr);  // the block came from posix_memalign, not from GLib
}

}  // extern "C"

namespace {

void set_removal_error(GError **error, const char *name, int saved_errno) noexcept
{
    g_set_error(error, G_FILE_ERROR, g_file_error_from_errno(saved_errno),
                "Error removing \"%s\": %s", name, g_strerror(saved_errno));
}

// The same code and text as a failing g_dir_open, which callers already see
// for a path that is not a directory.
void set_open_error(GError **error, const char *name, int saved_errno) noexcept
{
    g_autofree char *utf8 = g_filename_to_utf8(name, -1, nullptr, nullptr, nullptr);
    g_set_error(error, G_FILE_ERROR, g_file_error_from_errno(saved_errno),
                "Error opening directory \u201c%s\u201d: %s", utf8 ? utf8 : "(null)", g_strerror(saved_errno));
}

struct DirCloser {
    void operator()(DIR *dir) const noexcept { closedir(dir); }
};
using DirHandle = std::unique_ptr<DIR, DirCloser>;

// The walk goes by directory descriptors, never by path: each directory is
// opened relative to its parent's descriptor with O_NOFOLLOW, and entries are
// removed relative to it. Whoever swaps an entry for a symbolic link, at any
// moment, makes the open or the removal fail; the link is never followed, so
// removal cannot reach outside the tree. Full names are built only for the
// messages.
DirHandle open_dir_at(int parent, const char *name, const char *full, GError **error) noexcept
{
    int fd = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    DIR *dir = fd >= 0 ? fdopendir(fd) : nullptr;
    if (dir == nullptr) {
        int saved_errno = errno;
        if (fd >= 0)
            close(fd);
        set_open_error(error, full, saved_errno);
    }
    return DirHandle(dir);
}

bool empty_open_dir(DIR *dir, const char *path, GError **error) noexcept;

// A symbolic link is a plain entry even when it points at a directory: the
// link is unlinked and its target never entered.
bool is_directory_at(int parent, const struct dirent *entry) noexcept
{
    if (entry->d_type != DT_UNKNOWN)
        return entry->d_type == DT_DIR;
    struct stat st;
    return fstatat(parent, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(st.st_mode);
}

bool remove_entry_at(int parent, const struct dirent *entry, const char *path, GError **error) noexcept
{
    g_autofree char *full = g_build_filename(path, entry->d_name, nullptr);
    int flags = 0;
    if (is_directory_at(parent, entry)) {
        DirHandle sub = open_dir_at(parent, entry->d_name, full, error);
        if (!sub || !empty_open_dir(sub.get(), full, error))
            return false;
        flags = AT_REMOVEDIR;
    }
    if (unlinkat(parent, entry->d_name, flags) != 0) {
        set_removal_error(error, full, errno);
        return false;
    }
    return true;
}

// Entries are removed while the directory is read; the reader is not
// restarted. "." and ".." are skipped, as GLib's reader does.
bool empty_open_dir(DIR *dir, const char *path, GError **error) noexcept
{
    int fd = dirfd(dir);
    while (const struct dirent *entry = readdir(dir)) {
        std::string_view name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        if (!remove_entry_at(fd, entry, path, error))
            return false;  // the first failure stops everything
    }
    return true;
}

}  // namespace

extern "C" {

// A NULL path is a caller bug; it warns instead of failing an open of a
// NULL name.
//
// The directory named by the caller is opened without following a final
// symbolic link either: emptying a link's target is never what removing a
// tree means.

gboolean kel_empty_dir(const char *path, GError **error)
{
    KEL_RETURN_VAL_IF_FAIL(path, FALSE);
    DirHandle dir = open_dir_at(AT_FDCWD, path, path, error);
    return dir && empty_open_dir(dir.get(), path, error);
}

gboolean kel_rm_dir(const char *path, GError **error)
{
    KEL_RETURN_VAL_IF_FAIL(path, FALSE);
    if (!kel_empty_dir(path, error))
        return FALSE;
    if (g_rmdir(path) != 0) {
        set_removal_error(error, path, errno);
        return FALSE;
    }
    return TRUE;
}

gboolean kel_is_dir_empty(const char *path)
{
    KEL_RETURN_VAL_IF_FAIL(path, FALSE);
    g_autoptr(GDir) dir = g_dir_open(path, 0, nullptr);
    return dir != nullptr && g_dir_read_name(dir) == nullptr;
}

gint32 kel_getpid(void)
{
    return static_cast<gint32>(getpid());
}

}  // extern "C"
