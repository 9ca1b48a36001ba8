// Heap accounting for the DOM-size figures: the benchmark binary defines the
// malloc family itself (forwarding to glibc's own entry points), so every
// library in the process -- GLib, jansson, json-c, json-glib, libkel -- is
// counted by the same rule without LD_PRELOAD or allocator-specific hooks.
#pragma once

#include <cstdint>

namespace bench {

struct HeapCount {
    std::int64_t bytes = 0;   // sum of malloc_usable_size of live blocks
    std::int64_t blocks = 0;  // number of live blocks
};

// Counting is off by default and must only be switched on around
// single-threaded code: the counters are plain integers.
void heap_count_start();
HeapCount heap_count_stop();

}  // namespace bench
