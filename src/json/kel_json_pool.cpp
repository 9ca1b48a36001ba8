// Node memory: small fixed-size blocks from per-thread caches.
//
// A parsed document is mostly small nodes of a handful of sizes, made and
// released in bulk, and a general-purpose allocator spends a large share of
// parsing and releasing on them. Here every block size up to kMaxPooled (in
// steps of 8 bytes) has its own free list per thread. Released blocks are
// gathered into batches as they come (a batch is closed when it is full,
// without walking it); a thread keeps a few full batches and hands the rest
// to a process-wide depot, and a list that runs dry takes a batch back from
// its own stock, from the depot, or cuts a new chunk. A block may be released on any
// thread (it joins that thread's list: blocks of one size are
// interchangeable), and a thread that ends gives its lists to the depot.
// Chunks are kept for reuse for the life of the process, as a general
// allocator keeps its arenas.
//
// Sanitizer builds take every block from the general allocator instead, so
// that use-after-free and leaks of single nodes stay visible to them.
#include "kel_internal.h"

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
constexpr guint kBatch = 256;    // blocks per batch moved between a thread and the depot
constexpr guint kKeptBatches = 3;  // full batches a thread keeps per size
constexpr std::size_t kChunkBytes = 64 * 1024;

struct Block {
    Block *next;        // next free block of the list
    Block *next_batch;  // first block of a batch: first block of the next batch
    guint count;        // first block of a batch: blocks in the batch
};
static_assert(sizeof(Block) <= kJsonHeaderSize, "the smallest node must hold a Block");

struct ThreadLists {
    Block *head[kClasses];  // the list blocks are taken from and released to
    guint count[kClasses];
    Block *full[kClasses];  // full batches, linked by next_batch
    guint nfull[kClasses];
    bool flush_registered;
    bool gone;  // the thread is ending: releases go straight to the depot
};

// Plain data, zero-initialised: reading it costs no more than a global.
thread_local ThreadLists t_lists __attribute__((tls_model("initial-exec")));

// The depot: batches of free blocks per size, and every chunk ever cut (so
// that the blocks stay reachable for leak checkers).
GMutex g_depot_lock;
Block *g_depot[kClasses];
GSList *g_chunks;

// Blocks smaller than a node (short member names) share the node-header size.
constexpr std::size_t class_of(std::size_t size) noexcept
{
    return size <= kJsonHeaderSize ? kJsonHeaderSize / kStep : (size + kStep - 1) / kStep;
}

// Pushes a list of `count` blocks to the depot as one batch.
void depot_put(std::size_t cls, Block *first, guint count) noexcept
{
    first->count = count;
    g_mutex_lock(&g_depot_lock);
    first->next_batch = g_depot[cls];
    g_depot[cls] = first;
    g_mutex_unlock(&g_depot_lock);
}

Block *depot_take(std::size_t cls) noexcept
{
    g_mutex_lock(&g_depot_lock);
    Block *batch = g_depot[cls];
    if (batch != nullptr)
        g_depot[cls] = batch->next_batch;
    g_mutex_unlock(&g_depot_lock);
    return batch;
}

// A new chunk cut into blocks of class `cls`, linked into one list.
Block *cut_chunk(std::size_t cls, guint *count) noexcept
{
    const std::size_t size = cls * kStep;
    auto *chunk = static_cast<char *>(g_malloc(kChunkBytes));
    g_mutex_lock(&g_depot_lock);
    g_chunks = g_slist_prepend(g_chunks, chunk);
    g_mutex_unlock(&g_depot_lock);
    const std::size_t n = kChunkBytes / size;
    for (std::size_t i = 0; i + 1 < n; i++)
        reinterpret_cast<Block *>(chunk + i * size)->next = reinterpret_cast<Block *>(chunk + (i + 1) * size);
    reinterpret_cast<Block *>(chunk + (n - 1) * size)->next = nullptr;
    *count = static_cast<guint>(n);
    return reinterpret_cast<Block *>(chunk);
}

// Gives every list of the ending thread to the depot.
struct ListsFlusher {
    ~ListsFlusher()
    {
        ThreadLists &lists = t_lists;
        lists.gone = true;
        for (std::size_t cls = 0; cls < kClasses; cls++) {
            if (lists.head[cls] != nullptr)
                depot_put(cls, lists.head[cls], lists.count[cls]);
            for (Block *batch = lists.full[cls]; batch != nullptr;) {
                Block *next = batch->next_batch;
                depot_put(cls, batch, batch->count);
                batch = next;
            }
            lists.head[cls] = lists.full[cls] = nullptr;
            lists.count[cls] = lists.nfull[cls] = 0;
        }
    }
};

void register_flush() noexcept
{
    thread_local ListsFlusher flusher;
    (void)flusher;
    t_lists.flush_registered = true;
}

// The list of class `cls` is empty: takes a batch (the thread's own, the
// depot's or a new chunk) and hands out its first block.
G_GNUC_NO_INLINE void *refill(std::size_t cls) noexcept
{
    ThreadLists &lists = t_lists;
    if (!lists.flush_registered)
        register_flush();
    Block *batch = lists.full[cls];
    guint n = 0;
    if (batch != nullptr) {
        lists.full[cls] = batch->next_batch;
        lists.nfull[cls]--;
        n = batch->count;
    } else if ((batch = depot_take(cls)) != nullptr) {
        n = batch->count;
    } else {
        batch = cut_chunk(cls, &n);
    }
    lists.head[cls] = batch->next;
    lists.count[cls] = n - 1;
    return batch;
}

// The list of class `cls` is full: closes it as a batch. A thread that then
// holds more than kKeptBatches gives one to the depot: the second newest, as
// the newest one's blocks are the warmest.
G_GNUC_NO_INLINE void close_batch(std::size_t cls) noexcept
{
    ThreadLists &lists = t_lists;
    Block *batch = lists.head[cls];
    batch->count = lists.count[cls];
    batch->next_batch = lists.full[cls];
    lists.full[cls] = batch;
    lists.head[cls] = nullptr;
    lists.count[cls] = 0;
    if (++lists.nfull[cls] > kKeptBatches) {
        Block *second = batch->next_batch;
        batch->next_batch = second->next_batch;
        lists.nfull[cls]--;
        depot_put(cls, second, second->count);
    }
}

}  // namespace

void *node_alloc(std::size_t size) noexcept
{
    if (size > kMaxPooled)
        return g_malloc(size);
    const std::size_t cls = class_of(size);
    ThreadLists &lists = t_lists;
    Block *b = lists.head[cls];
    if (G_LIKELY(b != nullptr)) {
        lists.head[cls] = b->next;
        lists.count[cls]--;
        return b;
    }
    return refill(cls);
}

void node_free(void *block, std::size_t size) noexcept
{
    if (size > kMaxPooled) {
        g_free(block);
        return;
    }
    const std::size_t cls = class_of(size);
    ThreadLists &lists = t_lists;
    auto *b = static_cast<Block *>(block);
    if (G_UNLIKELY(lists.gone)) {
        b->next = nullptr;
        depot_put(cls, b, 1);
        return;
    }
    b->next = lists.head[cls];
    lists.head[cls] = b;
    if (G_UNLIKELY(++lists.count[cls] >= kBatch))
        close_batch(cls);
}

#endif

}  // namespace kel
