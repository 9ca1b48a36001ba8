// Pointer text through get, put (strict, and with a fill) and the typed puts.
#include "fuzz_common.h"

namespace {

constexpr const char *kDefaultDoc =
    R"({"a":{"b":[1,2,{"c":null}],"":{"x~y":"s","p/q":[true]}},"r":{"$ref":"#/a/b"},"n":[]})";

KelJson *document(std::string_view text)
{
    KelJson *doc = fuzz::parse(text);
    return doc ? doc : fuzz::parse(kDefaultDoc);
}

// Every put gets its own copy so that each starts from the same document.
template <typename Put>
void on_copy(KelJson *doc, Put put)
{
    fuzz::Doc copy(kel_json_copy(doc));
    fuzz::Errors err;
    put(copy.json, &err);
    char *text = nullptr;
    if (kel_json_sdump(copy.json, &text, KEL_JSON_DUMP_SORTED))
        g_free(text);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    auto [doc_text, ptr_text] = fuzz::split(data, size);
    fuzz::Doc doc(document(doc_text));
    if (doc.json == nullptr)
        return 0;
    const std::string ptr(ptr_text.substr(0, ptr_text.find('\0')));

    {
        fuzz::Errors err;
        KelJson *found = kel_json_ptr_get_base(doc.json, ptr.c_str(), &err);
        fuzz::must(found != nullptr || err.err != nullptr, "a failed lookup reports why");
        if (found) {
            char *path = nullptr;
            fuzz::must(kel_json_ptr(found, &path) >= 0, "a found value has a pointer");
            g_free(path);
        }
    }
    for (gboolean strict : {TRUE, FALSE}) {
        on_copy(doc.json, [&](KelJson *copy, KelError **err) {
            KelJson *elem = kel_json_i64_new_base(7);
            KelJson *fill = strict ? nullptr : kel_json_null_new_base();
            if (!kel_json_ptr_put_base(copy, ptr.c_str(), elem, strict, fill, err))
                kel_json_unref(elem);  // not placed: still ours
            kel_json_unref(fill);
        });
    }
    on_copy(doc.json, [&](KelJson *c, KelError **e) { kel_json_ptr_put_obj_base(c, ptr.c_str(), e); });
    on_copy(doc.json, [&](KelJson *c, KelError **e) { kel_json_ptr_put_array_base(c, ptr.c_str(), e); });
    on_copy(doc.json, [&](KelJson *c, KelError **e) { kel_json_ptr_put_str_base(c, ptr.c_str(), ptr.c_str(), e); });
    on_copy(doc.json, [&](KelJson *c, KelError **e) { kel_json_ptr_put_jref_base(c, ptr.c_str(), ptr.c_str(), e); });
    on_copy(doc.json, [&](KelJson *c, KelError **e) { kel_json_ptr_put_u128_base(c, ptr.c_str(), KelUint128{1, 2}, e); });
    on_copy(doc.json, [&](KelJson *c, KelError **e) { kel_json_ptr_put_double_base(c, ptr.c_str(), 0.5, e); });
    return 0;
}
