// json-c under the common operations table.
#include <fcntl.h>
#include <json-c/json.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "libs.h"
#include "pointer_walk.h"

namespace {

using bench::Doc;

Doc parse(const char *text, std::size_t len, std::string *err)
{
    json_tokener *tok = json_tokener_new();
    json_object *doc = json_tokener_parse_ex(tok, text, static_cast<int>(len));
    json_tokener_error code = json_tokener_get_error(tok);
    if (code != json_tokener_success) {
        if (err) *err = json_tokener_error_desc(code);
        json_object_put(doc);
        doc = nullptr;
    }
    json_tokener_free(tok);
    return doc;
}

// json-c reads files through a descriptor; the handle is the descriptor
// itself, kept in the pointer.
void *file_open(const char *path)
{
    int fd = open(path, O_RDONLY);
    return fd < 0 ? nullptr : reinterpret_cast<void *>(static_cast<intptr_t>(fd) + 1);
}

int descriptor(void *file)
{
    return static_cast<int>(reinterpret_cast<intptr_t>(file) - 1);
}

Doc file_parse(void *file)
{
    int fd = descriptor(file);
    lseek(fd, 0, SEEK_SET);
    return json_object_from_fd(fd);
}

void file_close(void *file)
{
    close(descriptor(file));
}

void release(Doc doc)
{
    json_object_put(static_cast<json_object *>(doc));
}

// The text is owned by the object (a buffer kept on the root and reused by
// the next call), so there is nothing to free here. JSON_C_TO_STRING_
// NOSLASHESCAPE keeps json-c from writing "/" as "\/", which no other
// library here does.
std::size_t dump(Doc doc, bool pretty_sorted)
{
    int flags = JSON_C_TO_STRING_NOSLASHESCAPE |
                (pretty_sorted ? JSON_C_TO_STRING_PRETTY : JSON_C_TO_STRING_PLAIN);
    std::size_t len = 0;
    const char *out = json_object_to_json_string_length(static_cast<json_object *>(doc), flags, &len);
    return out ? len : 0;
}

Doc copy(Doc doc)
{
    json_object *dst = nullptr;
    if (json_object_deep_copy(static_cast<json_object *>(doc), &dst, nullptr) != 0) return nullptr;
    return dst;
}

bool equal(Doc a, Doc b)
{
    return json_object_equal(static_cast<json_object *>(a), static_cast<json_object *>(b));
}

bool lookup(Doc doc, const char *pointer)
{
    auto step = [](json_object *node, const std::string &token) -> json_object * {
        if (json_object_is_type(node, json_type_array)) {
            std::size_t index;
            if (!bench::pointer_index(token, &index)) return nullptr;
            return json_object_array_get_idx(node, index);
        }
        json_object *child = nullptr;
        return json_object_object_get_ex(node, token.c_str(), &child) ? child : nullptr;
    };
    return bench::pointer_walk(static_cast<json_object *>(doc), pointer, step) != nullptr;
}

}  // namespace

const bench::LibOps bench::jsonc_ops = {
    "json-c", parse, file_open, file_parse, file_close, release, dump, copy, equal, lookup,
    "parse: json_tokener_parse_ex; file: json_object_from_fd on a rewound descriptor; "
    "dump: output buffer kept on the root and reused, parsed doubles written back from "
    "their source text (no number formatting); pretty output is NOT sorted "
    "(json-c cannot sort keys); pointer: bench-side walk",
};
