// Two documents through subset, union (new and in place), copy and expansion.
#include "fuzz_common.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    auto [left_text, right_text] = fuzz::split(data, size);
    fuzz::Doc left(fuzz::parse(left_text));
    fuzz::Doc right(fuzz::parse(right_text));
    if (left.json == nullptr || right.json == nullptr)
        return 0;

    for (guint flags = 0; flags < 16; flags++) {
        kel_json_subset(left.json, right.json, flags);
        fuzz::must(kel_json_subset(left.json, left.json, flags), "a value contains itself");
    }
    {
        fuzz::Doc copy(kel_json_copy(left.json));
        fuzz::must(kel_json_subset(left.json, copy.json, KEL_JSON_SUBSET_EQUAL) ||
                       !kel_json_subset(left.json, left.json, KEL_JSON_SUBSET_EQUAL),
                   "a copy equals its source");
    }
    if (left.json->type == KEL_JSON_OBJECT || left.json->type == KEL_JSON_ARRAY) {
        // A container merged with an equal copy of itself is that container again.
        for (guint flags : {0u, guint(KEL_JSON_UNION_IN_PLACE)}) {
            fuzz::Doc copy(kel_json_copy(left.json));
            fuzz::Errors err;
            KelJson *merged = flags ? kel_json_union(copy.json, left.json, flags, &err)
                                    : kel_json_union(left.json, copy.json, flags, &err);
            fuzz::must(merged != nullptr, "a union with an equal value succeeds");
            fuzz::must(!flags || merged == copy.json, "an in-place union returns its left");
            fuzz::must(kel_json_subset(merged, left.json, KEL_JSON_SUBSET_EQUAL),
                       "a union with an equal value changes nothing");
            if (merged != copy.json)
                kel_json_unref(merged);
        }
        KelJson *first = left.json->type == KEL_JSON_ARRAY
                             ? kel_json_array_get_base(left.json, 0, 0, nullptr)
                             : nullptr;
        if (first)
            fuzz::must(kel_json_array_find(left.json, first) != nullptr, "find sees an element");
    }
    for (guint flags = 0; flags < 32; flags++) {
        fuzz::Doc target(flags & KEL_JSON_UNION_IN_PLACE ? kel_json_copy(left.json) : nullptr);
        fuzz::Errors err;
        KelJson *result = kel_json_union(target.json ? target.json : left.json, right.json, flags, &err);
        fuzz::must(result != nullptr || err.err != nullptr, "a failed union reports why");
        if (result && result != target.json)
            kel_json_unref(result);
    }
    for (KelJson *side : {left.json, right.json}) {
        fuzz::Doc copy(kel_json_copy(side));
        fuzz::Errors err;
        const int before = copy.json->refcount;
        kel_json_jref_expand(copy.json, &err);
        fuzz::must(copy.json->refcount == before, "expansion gives its hold back");
    }
    return 0;
}
