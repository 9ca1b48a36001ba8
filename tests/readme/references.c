/* references.c: "$ref" values, followed on request and expanded */
#include <kel.h>
#include <stdio.h>

static void print(KelJson *json)
{
    char *text = NULL;
    kel_json_sdump(json, &text, KEL_JSON_DUMP_SORTED);
    printf("%s\n", text);
    g_free(text);
}

int main(void)
{
    KelError *err = NULL;
    KelJson *doc = kel_json_loads(
        "{\"limits\": {\"cpu\": 2}, \"api\": {\"limits\": {\"$ref\": \"#/limits\"}}}", 0, &err);
    KelJson *api = kel_json_obj_get_obj_base(doc, "api", &err);

    /* deref 0 gives the reference itself, 1 the value it names. */
    printf("%s\n", kel_json_jref_uri(kel_json_obj_get_base(api, "limits", 0, &err)));
    print(kel_json_obj_get_base(api, "limits", 1, &err));

    /* Expansion replaces every reference by a copy of its target. */
    kel_json_jref_expand(doc, &err);
    print(doc);
    kel_json_unref(doc);

    /* A reference that contains itself cannot be expanded. */
    doc = kel_json_loads("{\"a\": {\"b\": {\"$ref\": \"#/a\"}}}", 0, &err);
    if (!kel_json_jref_expand(doc, &err))
        printf("%s: %s\n", kel_error_code_to_name(err->gerror->domain, err->gerror->code),
               err->gerror->message);
    kel_clear_error(&err);
    kel_json_unref(doc);
    return 0;
}
