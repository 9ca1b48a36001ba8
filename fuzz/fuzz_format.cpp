// Pointer text of fuzzed keys, %P formatting of the values, and key escaping.
#include <cstring>

#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    // The input is a list of keys separated by NUL bytes, nested one inside the other.
    std::string all(reinterpret_cast<const char *>(data), size);
    fuzz::Doc root(kel_json_obj_new_base(FALSE));
    KelJson *current = root.json;
    std::string expected;
    size_t start = 0;
    int depth = 0;
    while (start <= all.size() && depth < 64) {
        size_t end = all.find('\0', start);
        if (end == std::string::npos)
            end = all.size();
        std::string key = all.substr(start, end - start);
        KelJson *next = (depth % 2) ? kel_json_array_push_obj_base(kel_json_obj_put_array_base(current, key.c_str(), nullptr), nullptr)
                                    : kel_json_obj_put_obj_base(current, key.c_str(), nullptr);
        if (next == nullptr)
            break;
        char *escaped = kel_json_ptr_add_key(expected.c_str(), key.c_str());
        expected = escaped;
        g_free(escaped);
        if (depth % 2)
            expected += "/0";
        current = next;
        depth++;

        char *json_escaped = kel_json_escape_str(key.c_str());
        fuzz::must(json_escaped != nullptr || !utf8_check_string(key.data(), key.size()),
                   "valid UTF-8 always escapes");
        g_free(json_escaped);
        start = end + 1;
    }
    char *path = nullptr;
    fuzz::must(kel_json_ptr(current, &path) == (gint32)expected.size(), "pointer length");
    fuzz::must(expected == path, "pointer text matches the keys");
    GString *formatted = g_string_new(nullptr);
    const gint32 n = kel_json_ptr_printf(formatted, "at %P (%s)", current, path);
    fuzz::must(n == (gint32)formatted->len, "formatter counts its bytes");
    g_string_free(formatted, TRUE);
    g_free(path);
    return 0;
}
