#include "alloc_count.h"

#include <malloc.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

// glibc's real allocator, exported for exactly this kind of forwarding.
extern "C" {
void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *ptr, size_t size);
void *__libc_memalign(size_t alignment, size_t size);
void __libc_free(void *ptr);
}

namespace {

bool counting = false;
bench::HeapCount live;

inline void note_alloc(void *ptr)
{
    if (__builtin_expect(counting, 0) && ptr) {
        live.bytes += static_cast<std::int64_t>(malloc_usable_size(ptr));
        live.blocks++;
    }
}

inline void note_free(void *ptr)
{
    if (__builtin_expect(counting, 0) && ptr) {
        live.bytes -= static_cast<std::int64_t>(malloc_usable_size(ptr));
        live.blocks--;
    }
}

}  // namespace

namespace bench {

void heap_count_start()
{
    live = HeapCount{};
    counting = true;
}

HeapCount heap_count_stop()
{
    counting = false;
    return live;
}

}  // namespace bench

// The replacements glibc documents as the complete set for an interposed
// allocator. When counting is off each costs one predictable branch.
extern "C" {

void *malloc(size_t size)
{
    void *p = __libc_malloc(size);
    note_alloc(p);
    return p;
}

void *calloc(size_t count, size_t size)
{
    void *p = __libc_calloc(count, size);
    note_alloc(p);
    return p;
}

void *realloc(void *ptr, size_t size)
{
    if (!ptr) return malloc(size);
    if (size == 0) {  // glibc frees and returns NULL
        free(ptr);
        return nullptr;
    }
    std::int64_t old_size = counting ? static_cast<std::int64_t>(malloc_usable_size(ptr)) : 0;
    void *p = __libc_realloc(ptr, size);
    if (p && counting) live.bytes += static_cast<std::int64_t>(malloc_usable_size(p)) - old_size;
    return p;
}

void free(void *ptr)
{
    note_free(ptr);
    __libc_free(ptr);
}

void *memalign(size_t alignment, size_t size)
{
    void *p = __libc_memalign(alignment, size);
    note_alloc(p);
    return p;
}

void *aligned_alloc(size_t alignment, size_t size)
{
    return memalign(alignment, size);
}

int posix_memalign(void **out, size_t alignment, size_t size)
{
    if (alignment % sizeof(void *) != 0 || (alignment & (alignment - 1)) != 0) return EINVAL;
    void *p = memalign(alignment, size);
    if (!p) return ENOMEM;
    *out = p;
    return 0;
}

void *valloc(size_t size)
{
    return memalign(static_cast<size_t>(sysconf(_SC_PAGESIZE)), size);
}

void *pvalloc(size_t size)
{
    size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    return memalign(page, (size + page - 1) & ~(page - 1));
}

}  // extern "C"
