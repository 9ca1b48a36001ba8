// Aligned allocation, recursive directory removal and the process id.
//
// These helpers serve the library's callers; nothing else in the library uses
// them. The directory functions report through GLib's own GError in the file
// error domain, like the GLib calls they wrap, not through KelError.
#include <cerrno>
#include <cstdlib>
#include <unistd.h>

#include <glib/gstdio.h>

#include "kel_internal.h"

// The fatal message names this unit by a fixed relative name: __FILE__ would
// be the absolute build path, which differs from one checkout to the next.
// __LINE__ is expanded where the macro is used.
#define KEL_ALLOC_WHERE "src/kel_aligned_alloc_common.cpp:" G_STRINGIFY(__LINE__)

extern "C" {

void *kel_aligned_alloc(guint64 alignment, guint64 size)
{
    void *block = kel_try_aligned_alloc(alignment, size);
    if (G_LIKELY(block != nullptr))
        return block;
    // Allocation failure ends the process, as GLib's allocator does. The
    // message names this line, and callers match it: the call below must
    // stay on line 29 of this file.
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

// A symbolic link counts as a plain entry even when it points at a
// directory: the link is unlinked and its target never entered, so removal
// cannot leave the tree it was asked to remove. G_FILE_TEST_IS_DIR follows
// links, hence the link test first.
bool is_real_directory(const char *name) noexcept
{
    return !g_file_test(name, G_FILE_TEST_IS_SYMLINK) && g_file_test(name, G_FILE_TEST_IS_DIR);
}

bool remove_entry(const char *name, GError **error) noexcept
{
    if (is_real_directory(name))
        return kel_rm_dir(name, error);
    if (g_unlink(name) != 0) {
        set_removal_error(error, name, errno);
        return false;
    }
    return true;
}

}  // namespace

extern "C" {

// A NULL path is a caller bug; it warns instead of reaching GLib's own
// check inside g_dir_open, whose text would name GLib's function.

gboolean kel_empty_dir(const char *path, GError **error)
{
    KEL_RETURN_VAL_IF_FAIL(path, FALSE);
    g_autoptr(GDir) dir = g_dir_open(path, 0, error);
    if (dir == nullptr)
        return FALSE;
    // Entries are removed while the directory is read; GLib's reader never
    // yields "." or "..".
    while (const char *entry = g_dir_read_name(dir)) {
        g_autofree char *name = g_build_filename(path, entry, nullptr);
        if (!remove_entry(name, error))
            return FALSE;  // the first failure stops everything
    }
    return TRUE;
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
