// The serializer's fixed point: a sorted dump parses back and dumps the same.
#include <cstdlib>
#include <cstring>

#include "fuzz_common.h"

namespace {

void check_fixed_point(KelJson *doc, guint32 flags)
{
    char *first = nullptr;
    if (!kel_json_sdump(doc, &first, flags))
        return;  // e.g. a member name that is not valid UTF-8
    fuzz::Errors err;
    fuzz::Doc again(kel_json_loads(first, 0, &err));
    fuzz::must(again.json != nullptr, "dumped text parses");
    char *second = nullptr;
    fuzz::must(kel_json_sdump(again.json, &second, flags), "reparsed document dumps");
    fuzz::must(std::strcmp(first, second) == 0, "dump, parse, dump is a fixed point");

    // The stream sink writes the same text as the string sink.
    char *streamed = nullptr;
    size_t streamed_len = 0;
    FILE *fh = open_memstream(&streamed, &streamed_len);
    fuzz::must(fh != nullptr, "memory stream");
    const gboolean ok = kel_json_fdump(doc, fh, flags, 0);
    std::fclose(fh);
    fuzz::must(ok, "a document that dumps to a string dumps to a stream");
    fuzz::must(std::string_view(streamed, streamed_len) == first, "both sinks agree");
    std::free(streamed);
    g_free(first);
    g_free(second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Doc doc(fuzz::parse(std::string_view(reinterpret_cast<const char *>(data), size)));
    if (doc.json == nullptr)
        return 0;
    check_fixed_point(doc.json, KEL_JSON_DUMP_SORTED);
    check_fixed_point(doc.json, KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_PRETTY);
    check_fixed_point(doc.json, KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_REAL_ROUNDTRIP);
    return 0;
}
