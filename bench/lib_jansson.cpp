// jansson under the common operations table.
#include <jansson.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "libs.h"
#include "pointer_walk.h"

namespace {

using bench::Doc;

Doc parse(const char *text, std::size_t, std::string *err)
{
    json_error_t error;
    json_t *doc = json_loads(text, 0, &error);
    if (!doc && err) *err = error.text;
    return doc;
}

void *file_open(const char *path)
{
    return std::fopen(path, "rb");
}

Doc file_parse(void *file)
{
    auto *fh = static_cast<FILE *>(file);
    std::rewind(fh);
    json_error_t error;
    return json_loadf(fh, 0, &error);
}

void file_close(void *file)
{
    std::fclose(static_cast<FILE *>(file));
}

void release(Doc doc)
{
    json_decref(static_cast<json_t *>(doc));
}

std::size_t dump(Doc doc, bool pretty_sorted)
{
    std::size_t flags = pretty_sorted ? JSON_SORT_KEYS | JSON_INDENT(2) : JSON_COMPACT;
    char *out = json_dumps(static_cast<json_t *>(doc), flags);
    if (!out) return 0;
    std::size_t len = std::strlen(out);
    std::free(out);
    return len;
}

Doc copy(Doc doc)
{
    return json_deep_copy(static_cast<json_t *>(doc));
}

bool equal(Doc a, Doc b)
{
    return json_equal(static_cast<json_t *>(a), static_cast<json_t *>(b));
}

bool lookup(Doc doc, const char *pointer)
{
    auto step = [](json_t *node, const std::string &token) -> json_t * {
        if (json_is_array(node)) {
            std::size_t index;
            return bench::pointer_index(token, &index) ? json_array_get(node, index) : nullptr;
        }
        return json_object_get(node, token.c_str());
    };
    return bench::pointer_walk(static_cast<json_t *>(doc), pointer, step) != nullptr;
}

}  // namespace

const bench::LibOps bench::jansson_ops = {
    "jansson", parse, file_open, file_parse, file_close, release, dump, copy, equal, lookup,
    "file: json_loadf on a rewound FILE*; compact: JSON_COMPACT; "
    "pretty: JSON_SORT_KEYS|JSON_INDENT(2); pointer: bench-side walk",
};
