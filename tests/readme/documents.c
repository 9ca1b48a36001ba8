/* documents.c: build, read and write a document */
#include <kel.h>
#include <stdio.h>

int main(void)
{
    /* New values start with no owner; a container owns what is put in it. */
    KelJson *doc = kel_json_obj_new_base(FALSE);
    kel_json_obj_put_str_base(doc, "name", "shop", NULL);
    kel_json_obj_put_i64_base(doc, "port", 8080, NULL);
    KelJson *routes = kel_json_obj_put_array_base(doc, "routes", NULL);
    kel_json_array_push_str_base(routes, "/cart", NULL);
    kel_json_array_push_str_base(routes, "/orders", NULL);

    /* Typed reads accept any number kind whose value fits exactly. */
    KelError *err = NULL;
    double port = kel_json_obj_get_double_base(doc, "port", &err);
    printf("port as a double: %.1f, routes: %d\n", port, kel_json_array_size(routes));
    kel_json_obj_get_bool_base(doc, "name", &err);
    printf("%s\n", err->gerror->message);
    kel_clear_error(&err);

    char *text = NULL;
    kel_json_sdump(doc, &text, KEL_JSON_DUMP_SORTED);
    printf("%s\n", text);
    g_free(text);
    kel_json_unref(doc); /* releases the whole tree */

    /* Parsing: integers beyond int64 become uint128, "$ref" objects references. */
    doc = kel_json_loads("[1, 18446744073709551616, 2.5, {\"$ref\": \"#/0\"}]", 0, &err);
    for (int i = 0; i < kel_json_array_size(doc); i++) {
        KelJson *item = kel_json_array_get_base(doc, i, 0, NULL);
        printf("%s%s", i ? ", " : "", kel_json_type_string(item, TRUE));
    }
    printf("\n");
    kel_json_unref(doc);
    return 0;
}
