/* pointers.c: JSON pointers, and messages that name values by them */
#include <kel.h>
#include <stdio.h>

int main(void)
{
    KelError *err = NULL;
    KelJson *doc = kel_json_loads("{\"a/b\": {\"list\": [10, 20]}}", 0, &err);

    /* Look up, and put with the containers on the way created. */
    KelJson *twenty = kel_json_ptr_get_base(doc, "/a~1b/list/1", &err);
    kel_json_ptr_put_str_base(doc, "/new/items/-", "first", &err);

    /* Every value knows its pointer ... */
    char *where = NULL;
    kel_json_ptr(twenty, &where);
    printf("%lld is at %s\n", (long long)kel_json_i64_get(twenty), where);
    g_free(where);

    /* ... which the %P conversion prints in messages and errors. */
    KelJson *items = kel_json_ptr_get_base(doc, "/new/items", &err);
    kel_json_set_error(&err, KEL_JSON_INDEX_INVALID, "%P has only %d item", items,
                       kel_json_array_size(items));
    printf("%s\n", err->gerror->message);
    kel_clear_error(&err);

    kel_json_ptr_get_base(doc, "/a~1b/missing", &err);
    printf("%s\n", err->gerror->message);
    kel_clear_error(&err);
    kel_json_unref(doc);
    return 0;
}
