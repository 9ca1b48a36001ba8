/* patch.c: JSON Patch, all or nothing, and JSON Merge Patch */
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
    KelJson *doc = kel_json_loads("{\"name\": \"api\", \"ports\": [80, 443], \"debug\": true}", 0, &err);

    /* Operations apply in order, in place; "test" compares numbers by value. */
    KelJson *patch = kel_json_loads("[{\"op\": \"add\", \"path\": \"/ports/-\", \"value\": 8080},"
                                    " {\"op\": \"remove\", \"path\": \"/debug\"},"
                                    " {\"op\": \"test\", \"path\": \"/ports/0\", \"value\": 80.0}]",
                                    0, &err);
    if (kel_json_patch_apply(doc, patch, &err))
        print(doc);

    /* A failing operation undoes the ones before it: "name" stays "api". */
    KelJson *bad = kel_json_loads("[{\"op\": \"replace\", \"path\": \"/name\", \"value\": \"web\"},"
                                  " {\"op\": \"remove\", \"path\": \"/ports/5\"}]",
                                  0, &err);
    if (!kel_json_patch_apply(doc, bad, &err))
        printf("%s\n", err->gerror->message);
    kel_clear_error(&err);
    print(doc);

    /* A merge patch gives a new document; null removes a member. */
    KelJson *changes = kel_json_loads("{\"name\": null, \"tls\": {\"port\": 443}}", 0, &err);
    KelJson *merged = kel_json_merge_patch(doc, changes, &err);
    print(merged);

    kel_json_unref(merged);
    kel_json_unref(changes);
    kel_json_unref(bad);
    kel_json_unref(patch);
    kel_json_unref(doc);
    return 0;
}
