// One table of operations per JSON library, so that every benchmark runs the
// same code around each library and only the calls inside differ.
#pragma once

#include <cstddef>
#include <string>

namespace bench {

using Doc = void *;

struct LibOps {
    const char *name;
    // Text (NUL-terminated, len bytes) to a full DOM; NULL on failure, with a
    // message in *err when err is not NULL.
    Doc (*parse)(const char *text, std::size_t len, std::string *err);
    // A library-specific handle on an open file, and a parse from its start;
    // all three NULL when the library cannot parse from a file.
    void *(*file_open)(const char *path);
    Doc (*file_parse)(void *file);
    void (*file_close)(void *file);
    void (*release)(Doc doc);
    // Serialises and frees the text; returns its length (0 on failure).
    std::size_t (*dump)(Doc doc, bool pretty_sorted);
    Doc (*copy)(Doc doc);
    bool (*equal)(Doc a, Doc b);
    // Looks up a JSON pointer (RFC 6901) and returns whether it was found.
    bool (*lookup)(Doc doc, const char *pointer);
    // What differs from the common definition of each operation.
    const char *notes;
    // A compact dump that writes doubles so that they read back unchanged;
    // NULL when the plain compact dump already does.
    std::size_t (*dump_roundtrip)(Doc doc) = nullptr;
};

extern const LibOps kel_ops;
extern const LibOps jansson_ops;
extern const LibOps jsonc_ops;
extern const LibOps jsonglib_ops;
extern const LibOps cjson_ops;
extern const LibOps rapidjson_ops;

}  // namespace bench
