// Shared pieces of the fuzz targets.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "kel.h"

namespace fuzz {

// Owns a document for the duration of one input.
struct Doc {
    KelJson *json = nullptr;
    explicit Doc(KelJson *j = nullptr) : json(j) {}
    ~Doc() { kel_json_unref(json); }
    Doc(const Doc &) = delete;
    Doc &operator=(const Doc &) = delete;
};

struct Errors {
    KelError *err = nullptr;
    ~Errors() { kel_clear_error(&err); }
    KelError **operator&() { return &err; }
};

// Parses a NUL-free copy of the bytes as a document; NULL when they do not parse.
inline KelJson *parse(std::string_view text, int flags = 0)
{
    std::string copy(text);
    Errors err;
    return kel_json_loads(copy.c_str(), flags, &err);
}

// Splits the input at the first NUL byte: the document before it, the rest after.
inline std::pair<std::string_view, std::string_view> split(const uint8_t *data, size_t size)
{
    std::string_view all(reinterpret_cast<const char *>(data), size);
    size_t cut = all.find('\0');
    if (cut == std::string_view::npos)
        return {all, std::string_view()};
    return {all.substr(0, cut), all.substr(cut + 1)};
}

inline void must(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "invariant broken: %s\n", what);
        __builtin_trap();
    }
}

}  // namespace fuzz
