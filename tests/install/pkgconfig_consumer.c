/* Built against the installed tree through `pkg-config --cflags --libs kel`. */
#include <kel.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    KelError *err = NULL;
    KelJson *doc = kel_json_loads("{\"list\": [1, 2]}", 0, &err);
    if (doc == NULL)
        return 1;
    kel_json_ptr_put_i64_base(doc, "/list/-", 3, &err);
    char *text = NULL;
    if (!kel_json_sdump(doc, &text, KEL_JSON_DUMP_SORTED) || strcmp(text, "{\"list\":[1,2,3]}") != 0)
        return 2;
    printf("%s\n", text);
    g_free(text);

    kel_json_ptr_get_base(doc, "/missing", &err);
    if (err == NULL || strcmp(kel_error_code_to_name(err->gerror->domain, err->gerror->code),
                              "KEL_JSON_KEY_INVALID") != 0)
        return 3;
    printf("%s\n", err->gerror->message);
    kel_clear_error(&err);
    kel_json_unref(doc);
    return 0;
}
