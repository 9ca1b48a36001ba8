// Number parsing and 128-bit text conversion.
#include <cstring>

#include "fuzz_common.h"

namespace {

size_t depth(const KelError *err)
{
    size_t n = 0;
    for (; err; err = err->next)
        n++;
    return n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const guint32 base = data[0] % 40;
    std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    text = text.substr(0, text.find('\0'));

    {
        // A conversion either succeeds silently or returns 0 with one new error;
        // a value that converts reads back from its own decimal text.
        char again[32];
        fuzz::Errors err;
        const gint64 i = kel_strtoll(text.c_str(), base, &err);
        fuzz::must(depth(err.err) == (err.err ? 1 : 0) && (err.err == nullptr || i == 0),
                   "strtoll: a value or one error");
        if (err.err == nullptr) {
            std::snprintf(again, sizeof again, "%" G_GINT64_FORMAT, i);
            fuzz::must(kel_strtoll(again, 10, nullptr) == i, "strtoll reads its own text");
        }
        const size_t before = depth(err.err);
        const guint64 u = kel_strtoull(text.c_str(), base, &err);
        fuzz::must(depth(err.err) == before || (depth(err.err) == before + 1 && u == 0),
                   "strtoull: a value or one error");
        if (depth(err.err) == before) {
            std::snprintf(again, sizeof again, "%" G_GUINT64_FORMAT, u);
            fuzz::must(kel_strtoull(again, 10, nullptr) == u, "strtoull reads its own text");
        }
        const size_t before_d = depth(err.err);
        const double d = kel_strtod(text.c_str(), &err);
        fuzz::must(depth(err.err) == before_d || (depth(err.err) == before_d + 1 && d == 0.0),
                   "strtod: a value or one error");
    }
    KelUint128 value{0, 0};
    if (kel_uint128_from_str(text.c_str(), &value) < 0)
        return 0;
    for (gint32 radix : {2, 8, 10, 16, 36}) {
        char buf[130];
        const gint32 n = kel_uint128_to_str(value, radix, buf, sizeof buf);
        fuzz::must(n > 1 && buf[n - 1] == '\0', "to_str writes digits and a NUL");
        if (radix == 10 || radix == 8 || radix == 16) {
            // Back through from_str, which knows these three radixes by prefix.
            std::string again = radix == 16 ? "0x" + std::string(buf) : radix == 8 ? "0" + std::string(buf) : buf;
            KelUint128 back{0, 0};
            fuzz::must(kel_uint128_from_str(again.c_str(), &back) == 0, "digits read back");
            fuzz::must(back.lo == value.lo && back.hi == value.hi, "text round trip keeps the value");
        }
    }
    return 0;
}
