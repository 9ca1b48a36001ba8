// cJSON under the common operations table.
#include <cjson/cJSON.h>

#include <cstdlib>
#include <cstring>

#include "libs.h"
#include "pointer_walk.h"

namespace {

using bench::Doc;

Doc parse(const char *text, std::size_t len, std::string *err)
{
    cJSON *doc = cJSON_ParseWithLength(text, len);
    if (!doc && err) {
        const char *at = cJSON_GetErrorPtr();
        *err = at ? "syntax error at offset " + std::to_string(at - text) : "parse failed";
    }
    return doc;
}

void release(Doc doc)
{
    cJSON_Delete(static_cast<cJSON *>(doc));
}

// cJSON has no sorted output (its utilities sort a tree in place, which a
// dump must not do), so the pretty row is unsorted.
std::size_t dump(Doc doc, bool pretty_sorted)
{
    auto *root = static_cast<cJSON *>(doc);
    char *out = pretty_sorted ? cJSON_Print(root) : cJSON_PrintUnformatted(root);
    if (!out) return 0;
    std::size_t len = std::strlen(out);
    cJSON_free(out);
    return len;
}

Doc copy(Doc doc)
{
    return cJSON_Duplicate(static_cast<cJSON *>(doc), 1);
}

bool equal(Doc a, Doc b)
{
    return cJSON_Compare(static_cast<cJSON *>(a), static_cast<cJSON *>(b), 1);
}

bool lookup(Doc doc, const char *pointer)
{
    auto step = [](cJSON *node, const std::string &token) -> cJSON * {
        if (cJSON_IsArray(node)) {
            std::size_t index;
            if (!bench::pointer_index(token, &index) || index > INT32_MAX) return nullptr;
            return cJSON_GetArrayItem(node, static_cast<int>(index));
        }
        return cJSON_GetObjectItemCaseSensitive(node, token.c_str());
    };
    return bench::pointer_walk(static_cast<cJSON *>(doc), pointer, step) != nullptr;
}

}  // namespace

const bench::LibOps bench::cjson_ops = {
    "cJSON", parse, nullptr, nullptr, nullptr, release, dump, copy, equal, lookup,
    "parse: cJSON_ParseWithLength; no parse from a file; compact: cJSON_PrintUnformatted; "
    "pretty: cJSON_Print, NOT sorted; copy: cJSON_Duplicate; equal: cJSON_Compare "
    "(case-sensitive); pointer: bench-side walk (arrays are linked lists)",
};
