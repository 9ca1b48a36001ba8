// The keyed hash of object tables (and of anything else a document chooses).
#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "kel_internal.h"

namespace kel {

namespace {

// A string hash whose output an attacker can predict lets a document pick
// member names that all land in one bucket, turning parsing quadratic. The
// tables therefore hash names with SipHash (a keyed pseudo-random function
// designed against exactly this), keyed once per process with random bits.
// SipHash-1-3 (one compression round, three finalisation rounds) keeps the
// security margin that hash tables need at about half the cost of 2-4.
struct SipKey {
    guint64 k0;
    guint64 k1;
};

SipKey random_key() noexcept
{
    SipKey key{};
    auto *out = reinterpret_cast<unsigned char *>(&key);
    std::size_t got = 0;
    while (got < sizeof key) {
        const ssize_t n = getrandom(out + got, sizeof key - got, 0);
        if (n > 0)
            got += static_cast<std::size_t>(n);
        else if (n < 0 && errno != EINTR)
            break;
    }
    if (got < sizeof key) {
        // No kernel source of randomness (a very old kernel or a seccomp
        // filter): fall back to bits that still differ between processes.
        key.k0 ^= static_cast<guint64>(g_get_real_time()) * 0x9E3779B97F4A7C15ULL;
        key.k1 ^= static_cast<guint64>(getpid()) ^ reinterpret_cast<guintptr>(&key);
    }
    return key;
}

// Made on first use; C++ guarantees that concurrent first calls initialise
// it exactly once.
const SipKey &process_key() noexcept
{
    static const SipKey key = random_key();
    return key;
}

constexpr guint64 rotl(guint64 x, int b) noexcept { return (x << b) | (x >> (64 - b)); }

struct SipState {
    guint64 v0, v1, v2, v3;

    void round() noexcept
    {
        v0 += v1; v1 = rotl(v1, 13); v1 ^= v0; v0 = rotl(v0, 32);
        v2 += v3; v3 = rotl(v3, 16); v3 ^= v2;
        v0 += v3; v3 = rotl(v3, 21); v3 ^= v0;
        v2 += v1; v1 = rotl(v1, 17); v1 ^= v2; v2 = rotl(v2, 32);
    }
};

inline guint64 load_le64(const unsigned char *p) noexcept
{
    guint64 w;
    std::memcpy(&w, p, sizeof w);
    return GUINT64_FROM_LE(w);
}

}  // namespace

template <int C, int D>
guint64 siphash(const void *data, gsize len, guint64 k0, guint64 k1) noexcept
{
    SipState s{k0 ^ 0x736f6d6570736575ULL, k1 ^ 0x646f72616e646f6dULL,
               k0 ^ 0x6c7967656e657261ULL, k1 ^ 0x7465646279746573ULL};
    const auto *p = static_cast<const unsigned char *>(data);
    const unsigned char *end = p + (len & ~gsize{7});
    for (; p != end; p += 8) {
        const guint64 m = load_le64(p);
        s.v3 ^= m;
        for (int i = 0; i < C; i++)
            s.round();
        s.v0 ^= m;
    }
    guint64 last = static_cast<guint64>(len) << 56;
    for (gsize i = 0; i < (len & 7); i++)
        last |= static_cast<guint64>(p[i]) << (8 * i);
    s.v3 ^= last;
    for (int i = 0; i < C; i++)
        s.round();
    s.v0 ^= last;
    s.v2 ^= 0xff;
    for (int i = 0; i < D; i++)
        s.round();
    return s.v0 ^ s.v1 ^ s.v2 ^ s.v3;
}

template guint64 siphash<1, 3>(const void *, gsize, guint64, guint64) noexcept;
template guint64 siphash<2, 4>(const void *, gsize, guint64, guint64) noexcept;

guint64 json_hash_bytes(const void *data, gsize len) noexcept
{
    const SipKey &key = process_key();
    return siphash<1, 3>(data, len, key.k0, key.k1);
}

guint json_key_hash(gconstpointer key) noexcept
{
    const auto *text = static_cast<const char *>(key);
    const guint64 h = json_hash_bytes(text, std::strlen(text));
    return static_cast<guint>(h ^ (h >> 32));
}

}  // namespace kel
