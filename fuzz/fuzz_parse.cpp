// Parsing from a string and from a stream, with every load flag.
#include <cstring>

#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const int flags = data[0] & 3;
    std::string_view text(reinterpret_cast<const char *>(data + 1), size - 1);

    {
        // The string variant stops at the first NUL byte.
        const std::string copy(text);
        fuzz::Errors err;
        fuzz::Doc doc(kel_json_loads(copy.c_str(), flags, &err));
        fuzz::must(doc.json == nullptr || err.err == nullptr,
                   "a parsed document comes without an error");
        fuzz::must(doc.json != nullptr || err.err != nullptr, "a failed load reports why");
        if (err.err)
            fuzz::must(err.err->gerror != nullptr, "errors carry a GError");
    }
    {
        // The stream sees the embedded NUL bytes too.
        FILE *fh = fmemopen(const_cast<char *>(text.data()), text.size() ? text.size() : 1,
                            "rb");
        if (fh == nullptr)
            return 0;
        if (text.empty())
            fgetc(fh);  // fmemopen refuses size 0: consume the only byte instead.
        fuzz::Errors err;
        fuzz::Doc doc(kel_json_loadf(fh, flags, &err));
        fuzz::must(doc.json != nullptr || err.err != nullptr, "a failed load reports why");
        fclose(fh);
    }
    return 0;
}
