// Node memory: small fixed-size blocks from per-thread pages.
//
// A parsed document is mostly small nodes of a handful of sizes, made and
// released in bulk, and a general-purpose allocator spends a large share of
// parsing and releasing on them. Here every block size up to kMaxPooled (in
// steps of 8 bytes) is cut from pages of its own: 64 KiB, aligned to their
// size, so that a block finds its page by masking its address. A page
// belongs to one thread, which hands its blocks out and takes them back
// without locking; a block released on another thread goes onto the page's
// atomic list of remote releases, which the owner collects when it looks for
// room. A thread that ends leaves its pages to the next thread that needs a
// page of their size.
//
// Blocks come back onto their own page, and a page hands out its lowest free
// block first (a bitmap marks the free ones), so a tree built after many
// others were released lies on few pages in address order, as on a fresh
// heap: a free list would hand blocks out in the order they were released
// and scatter a new tree over memory, which makes every later walk of it
// slower. Pages are kept for
// reuse for the life of the process, as a general allocator keeps its arenas.
//
// Sanitizer builds take every block from the general allocator instead, so
// that use-after-free and leaks of single nodes stay visible to them.
#include "kel_internal.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define KEL_POOL_DISABLED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define KEL_POOL_DISABLED 1
#endif
#endif

namespace kel {

#ifdef KEL_POOL_DISABLED

void *node_alloc(std::size_t size) noexcept { return g_malloc(size); }
void node_free(void *block, std::size_t) noexcept { g_free(block); }

#else

namespace {

constexpr std::size_t kStep = 8;
constexpr std::size_t kClasses = kMaxPooled / kStep + 1;
constexpr std::size_t kPageBytes = 64 * 1024;
constexpr int kRemoteScan = 8;  // owned pages checked for remote releases per page wanted

struct Block {
    Block *next;  // remote releases only
};

struct Heap;

// Bitmap words for a page of the smallest blocks.
constexpr std::size_t kWords = (kPageBytes / kJsonHeaderSize + 63) / 64;

struct Page {
    std::atomic<Heap *> owner;    // NULL while the page waits to be adopted
    std::atomic<Block *> remote;  // released by other threads, not yet collected
    guint64 free_bits[kWords];    // bit i: block i is free
    guint32 first_word;           // no free bit below this word
    guint32 free_count;
    guint32 size;
    guint32 inverse;  // ceil(2^32 / size): turns a block's offset into its index
    Page *next;       // the owner's list of pages with room, or the list of orphans
    Page *next_all;   // every page of the owner, of this size
    bool listed;      // the owner's current page or on its list of pages with room
};

constexpr std::size_t kPageHeader = (sizeof(Page) + 63) & ~std::size_t{63};

inline char *first_block(Page *p) noexcept { return reinterpret_cast<char *>(p) + kPageHeader; }

struct Heap {
    Page *current[kClasses];
    Page *room[kClasses];  // pages with room besides the current one
    Page *all[kClasses];
    Page *scan[kClasses];  // where the next search for remote releases starts
    bool exit_registered;
};

// Plain data, zero-initialised: reading it costs no more than a global.
thread_local Heap t_heap __attribute__((tls_model("initial-exec")));

// Pages of ended threads per size, and every page ever made (so that the
// blocks stay reachable for leak checkers).
GMutex g_orphans_lock;
Page *g_orphans[kClasses];
GSList *g_pages;

// Blocks smaller than a node (short member names) share the node-header size.
constexpr std::size_t class_of(std::size_t size) noexcept
{
    return size <= kJsonHeaderSize ? kJsonHeaderSize / kStep : (size + kStep - 1) / kStep;
}

inline Page *page_of(void *block) noexcept
{
    return reinterpret_cast<Page *>(reinterpret_cast<std::uintptr_t>(block) & ~(kPageBytes - 1));
}

inline bool has_room(const Page *p) noexcept { return p->free_count != 0; }

// The page's lowest free block.
inline void *take(Page *p) noexcept
{
    guint32 w = p->first_word;
    while (p->free_bits[w] == 0)
        w++;
    const guint64 bits = p->free_bits[w];
    p->free_bits[w] = bits & (bits - 1);
    p->first_word = w;
    p->free_count--;
    const auto index = w * 64 + static_cast<guint32>(__builtin_ctzll(bits));
    return first_block(p) + static_cast<std::size_t>(index) * p->size;
}

inline void give_back(Page *p, void *block) noexcept
{
    const auto offset = static_cast<guint64>(static_cast<char *>(block) - first_block(p));
    // Exact: the offset is a multiple of the size, below 2^16.
    const auto index = static_cast<guint32>((offset * p->inverse) >> 32);
    const guint32 w = index / 64;
    p->free_bits[w] |= guint64{1} << (index % 64);
    p->free_count++;
    if (w < p->first_word)
        p->first_word = w;
}

// Takes the page's remote releases back.
void collect(Page *p) noexcept
{
    Block *b = p->remote.exchange(nullptr, std::memory_order_acquire);
    while (b != nullptr) {
        Block *next = b->next;
        give_back(p, b);
        b = next;
    }
}

void own(Heap &h, std::size_t cls, Page *p) noexcept
{
    p->owner.store(&h, std::memory_order_relaxed);
    p->listed = false;
    p->next_all = h.all[cls];
    h.all[cls] = p;
}

Page *new_page(std::size_t cls) noexcept
{
    void *mem = std::aligned_alloc(kPageBytes, kPageBytes);
    if (mem == nullptr)
        g_error("%s: failed to allocate %zu bytes", G_STRLOC, kPageBytes);
    auto *p = new (mem) Page{};
    p->size = static_cast<guint32>(cls * kStep);
    p->inverse = static_cast<guint32>(((guint64{1} << 32) + p->size - 1) / p->size);
    const auto blocks = static_cast<guint32>((kPageBytes - kPageHeader) / p->size);
    g_assert(blocks <= kWords * 64);
    for (guint32 i = 0; i < blocks; i++)
        p->free_bits[i / 64] |= guint64{1} << (i % 64);
    p->free_count = blocks;
    g_mutex_lock(&g_orphans_lock);
    g_pages = g_slist_prepend(g_pages, mem);
    g_mutex_unlock(&g_orphans_lock);
    return p;
}

// The ending thread's pages become orphans, for other threads to adopt.
struct HeapReleaser {
    ~HeapReleaser()
    {
        Heap &h = t_heap;
        g_mutex_lock(&g_orphans_lock);
        for (std::size_t cls = 0; cls < kClasses; cls++) {
            for (Page *p = h.all[cls]; p != nullptr;) {
                Page *next = p->next_all;
                p->owner.store(nullptr, std::memory_order_relaxed);
                p->next = g_orphans[cls];
                g_orphans[cls] = p;
                p = next;
            }
            h.current[cls] = h.room[cls] = h.all[cls] = h.scan[cls] = nullptr;
        }
        g_mutex_unlock(&g_orphans_lock);
    }
};

void register_exit(Heap &h) noexcept
{
    thread_local HeapReleaser releaser;
    (void)releaser;
    h.exit_registered = true;
}

// A page with room for the thread: one that got blocks back, one whose
// blocks other threads released, an orphan, or a new page.
Page *find_page(Heap &h, std::size_t cls) noexcept
{
    while (Page *p = h.room[cls]) {
        h.room[cls] = p->next;
        collect(p);
        if (has_room(p))
            return p;
        p->listed = false;
    }
    // Remote releases reach pages that are not listed; look at a few of
    // them, round robin, so that the search stays short on a large heap.
    Page *p = h.scan[cls];
    for (int i = 0; i < kRemoteScan; i++, p = p->next_all) {
        if (p == nullptr && (p = h.all[cls]) == nullptr)
            break;
        if (!p->listed && p->remote.load(std::memory_order_relaxed) != nullptr) {
            collect(p);
            h.scan[cls] = p->next_all;
            return p;
        }
    }
    h.scan[cls] = p;
    for (;;) {
        g_mutex_lock(&g_orphans_lock);
        Page *orphan = g_orphans[cls];
        if (orphan != nullptr)
            g_orphans[cls] = orphan->next;
        g_mutex_unlock(&g_orphans_lock);
        if (orphan == nullptr)
            break;
        own(h, cls, orphan);
        collect(orphan);
        if (has_room(orphan))
            return orphan;
    }
    Page *fresh = new_page(cls);
    own(h, cls, fresh);
    return fresh;
}

G_GNUC_NO_INLINE void *alloc_slow(std::size_t cls) noexcept
{
    Heap &h = t_heap;
    if (!h.exit_registered)
        register_exit(h);
    if (Page *p = h.current[cls]) {
        collect(p);
        if (has_room(p))
            return take(p);
        p->listed = false;
    }
    Page *p = find_page(h, cls);
    p->listed = true;
    h.current[cls] = p;
    return take(p);
}

}  // namespace

void *node_alloc(std::size_t size) noexcept
{
    if (size > kMaxPooled)
        return g_malloc(size);
    const std::size_t cls = class_of(size);
    Page *p = t_heap.current[cls];
    if (G_LIKELY(p != nullptr && has_room(p)))
        return take(p);
    return alloc_slow(cls);
}

void node_free(void *block, std::size_t size) noexcept
{
    if (size > kMaxPooled) {
        g_free(block);
        return;
    }
    Page *p = page_of(block);
    auto *b = static_cast<Block *>(block);
    Heap &h = t_heap;
    if (p->owner.load(std::memory_order_relaxed) == &h) {
        give_back(p, b);
        if (G_UNLIKELY(!p->listed)) {
            p->listed = true;
            const std::size_t cls = p->size / kStep;
            p->next = h.room[cls];
            h.room[cls] = p;
        }
        return;
    }
    Block *head = p->remote.load(std::memory_order_relaxed);
    do {
        b->next = head;
    } while (!p->remote.compare_exchange_weak(head, b, std::memory_order_release,
                                              std::memory_order_relaxed));
}

#endif

}  // namespace kel
