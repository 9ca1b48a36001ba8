// Number parsing and 128-bit text conversion.
#include <cstring>

#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const guint32 base = data[0] % 40;
    std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    text = text.substr(0, text.find('\0'));

    {
        fuzz::Errors err;
        kel_strtoll(text.c_str(), base, &err);
        kel_strtoull(text.c_str(), base, &err);
        kel_strtod(text.c_str(), &err);
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
