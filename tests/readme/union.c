/* union.c: recursive union, and structural containment */
#include <kel.h>
#include <stdio.h>

int main(void)
{
    KelError *err = NULL;
    KelJson *base = kel_json_loads("{\"a\": 1, \"b\": {\"x\": 1}, \"tags\": [\"x\"]}", 0, &err);
    KelJson *more = kel_json_loads("{\"b\": {\"y\": 2}, \"tags\": [\"x\", \"y\"]}", 0, &err);

    KelJson *all = kel_json_union(base, more, 0, &err); /* a new tree */
    char *text = NULL;
    kel_json_sdump(all, &text, KEL_JSON_DUMP_SORTED);
    printf("%s\n", text);
    g_free(text);

    /* Subset: base's members are all in the union; equality needs flags 15. */
    printf("contained: %d, equal: %d\n", kel_json_subset(base, all, 0),
           kel_json_subset(base, all, KEL_JSON_SUBSET_EQUAL));

    /* Unequal values under one name are a conflict unless a side is preferred. */
    KelJson *other = kel_json_loads("{\"a\": 2}", 0, &err);
    if (kel_json_union(base, other, 0, &err) == NULL)
        printf("%s\n", err->gerror->message);
    kel_clear_error(&err);
    KelJson *right = kel_json_union(base, other,
                                    KEL_JSON_UNION_RESOLVE | KEL_JSON_UNION_PREFER_RIGHT, &err);
    printf("a = %lld\n", (long long)kel_json_obj_get_i64_base(right, "a", &err));

    kel_json_unref(right);
    kel_json_unref(other);
    kel_json_unref(all);
    kel_json_unref(more);
    kel_json_unref(base);
    return 0;
}
