// A document and a patch: JSON Patch must leave the document exactly as it
// was whenever it fails, and JSON Merge Patch must be idempotent.
#include "fuzz_common.h"

namespace {

std::string text_of(KelJson *json)
{
    char *out = nullptr;
    kel_json_sdump(json, &out, 0);  // member order as stored: any change shows
    std::string s = out != nullptr ? out : "<no dump>";
    g_free(out);
    return s;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    auto [doc_text, patch_text] = fuzz::split(data, size);
    fuzz::Doc doc(fuzz::parse(doc_text));
    fuzz::Doc patch(fuzz::parse(patch_text));
    if (doc.json == nullptr || patch.json == nullptr)
        return 0;

    const std::string before = text_of(doc.json);
    KelJson *first = kel_json_array_get_base(doc.json, 0, 0, nullptr);
    fuzz::Errors err;
    if (!kel_json_patch_apply(doc.json, patch.json, &err)) {
        fuzz::must(err.err != nullptr, "a failed patch reports why");
        fuzz::must(text_of(doc.json) == before, "a failed patch changes nothing");
        fuzz::must(kel_json_array_get_base(doc.json, 0, 0, nullptr) == first,
                   "a failed patch keeps the document's nodes");
    }
    // The document itself (changed or not) as a patch of its own copy.
    fuzz::Doc copy(kel_json_copy(doc.json));
    fuzz::Errors self;
    kel_json_patch_apply(copy.json, doc.json, &self);

    fuzz::Doc once(kel_json_merge_patch(doc.json, patch.json, nullptr));
    fuzz::Doc twice(kel_json_merge_patch(once.json, patch.json, nullptr));
    fuzz::must(kel_json_subset(once.json, twice.json, KEL_JSON_SUBSET_EQUAL) ||
                   !kel_json_subset(once.json, once.json, KEL_JSON_SUBSET_EQUAL),
               "a merge patch applied twice changes nothing more");
    return 0;
}
