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

// Every typed lookup of the value under its name in its parent object (they
// follow references), and the reference calls on the value itself.
void typed_lookups(KelJson *found)
{
    fuzz::Errors err;
    kel_json_jref_deref_base(found, &err);
    kel_json_jref_resolve_base(found, &err);
    KelJson *parent = found->parent;
    if (parent == nullptr || parent->type != KEL_JSON_OBJECT)
        return;
    const std::string key = found->key;  // a replacement could free the stored key
    kel_json_obj_get_base(parent, key.c_str(), 1, &err);
    kel_json_obj_get_obj_base(parent, key.c_str(), &err);
    kel_json_obj_get_array_base(parent, key.c_str(), &err);
    kel_json_obj_get_str_base(parent, key.c_str(), &err);
    kel_json_obj_get_jref_base(parent, key.c_str(), &err);
    kel_json_obj_get_i64_base(parent, key.c_str(), &err);
    kel_json_obj_get_u64_base(parent, key.c_str(), &err);
    kel_json_obj_get_u128_base(parent, key.c_str(), &err);
    kel_json_obj_get_double_base(parent, key.c_str(), &err);
    kel_json_obj_get_bool_base(parent, key.c_str(), &err);
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
            // The pointer text of a value leads back to that very value.
            fuzz::Errors again;
            fuzz::must(kel_json_ptr_get_base(doc.json, path, &again) == found,
                       "a value's pointer finds the value");
            g_free(path);
            typed_lookups(found);
        }
    }
    {
        // Tree surgery at the place named: orphan the value, or swap in another.
        fuzz::Doc copy(kel_json_copy(doc.json));
        KelJson *target = kel_json_ptr_get_base(copy.json, ptr.c_str(), nullptr);
        if (target && target != copy.json) {
            KelJson *fresh = kel_json_str_new_base("swapped", nullptr);
            fuzz::Errors err;
            if (kel_json_swap_child_base(target, fresh, &err))
                kel_json_unref(target);  // swapped out: the caller's now
            else
                kel_json_unref(fresh);  // not placed: still ours
            if (KelJson *again = kel_json_ptr_get_base(copy.json, ptr.c_str(), nullptr);
                again && again != copy.json && kel_json_make_orphan_base(again))
                kel_json_unref(again);
            char *text = nullptr;
            if (kel_json_sdump(copy.json, &text, KEL_JSON_DUMP_SORTED))
                g_free(text);
        }
    }
    for (gboolean strict : {gboolean(TRUE), gboolean(FALSE)}) {
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
