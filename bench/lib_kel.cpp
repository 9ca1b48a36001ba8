// libkel under the common operations table.
#include <cstdio>
#include <cstring>

#include "kel.h"
#include "libs.h"

namespace {

using bench::Doc;

void store_error(KelError *error, std::string *err)
{
    if (!error) return;
    if (err) *err = error->gerror && error->gerror->message ? error->gerror->message : "unknown error";
    kel_clear_error(&error);
}

Doc parse(const char *text, std::size_t, std::string *err)
{
    if (!err) return kel_json_loads(text, 0, nullptr);
    KelError *error = nullptr;
    Doc doc = kel_json_loads(text, 0, &error);
    store_error(error, err);
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
    return kel_json_loadf(fh, 0, nullptr);
}

void file_close(void *file)
{
    std::fclose(static_cast<FILE *>(file));
}

void release(Doc doc)
{
    kel_json_unref(static_cast<KelJson *>(doc));
}

std::size_t dump_flags(Doc doc, guint32 flags)
{
    char *out = nullptr;
    if (!kel_json_sdump(static_cast<KelJson *>(doc), &out, flags)) return 0;
    std::size_t len = std::strlen(out);
    g_free(out);
    return len;
}

std::size_t dump(Doc doc, bool pretty_sorted)
{
    return dump_flags(doc, pretty_sorted ? KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_PRETTY : 0);
}

std::size_t dump_roundtrip(Doc doc)
{
    return dump_flags(doc, KEL_JSON_DUMP_REAL_ROUNDTRIP);
}

Doc copy(Doc doc)
{
    return kel_json_copy(static_cast<KelJson *>(doc));
}

bool equal(Doc a, Doc b)
{
    return kel_json_subset(static_cast<KelJson *>(a), static_cast<KelJson *>(b),
                           KEL_JSON_SUBSET_EQUAL);
}

bool lookup(Doc doc, const char *pointer)
{
    return kel_json_ptr_get_base(static_cast<KelJson *>(doc), pointer, nullptr) != nullptr;
}

}  // namespace

const bench::LibOps bench::kel_ops = {
    "libkel", parse, file_open, file_parse, file_close, release, dump, copy, equal, lookup,
    "file: kel_json_loadf on a rewound FILE*; equal: kel_json_subset with flags 15; "
    "doubles are written with \"%f\" (REAL_ROUNDTRIP: shortest text that reads back unchanged)",
    dump_roundtrip,
};
