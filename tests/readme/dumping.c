/* dumping.c: compact, pretty, sorted, and exact numbers */
#include <kel.h>
#include <stdio.h>

int main(void)
{
    KelJson *doc = kel_json_loads("{\"ratio\": 0.1, \"big\": 340282366920938463463374607431768211455,"
                                  " \"list\": [1, true, null]}", 0, NULL);

    GString *out = g_string_new(NULL);
    kel_json_sdump_ext(doc, out, KEL_JSON_DUMP_SORTED, 0);
    printf("%s\n", out->str);

    /* Doubles: "%f" by default, the shortest exact text with ROUNDTRIP. */
    g_string_truncate(out, 0);
    kel_json_sdump_ext(doc, out, KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_REAL_ROUNDTRIP |
                                     KEL_JSON_DUMP_U128_STR, 0);
    printf("%s\n", out->str);
    g_string_free(out, TRUE);

    /* Pretty output straight to a stream. */
    kel_json_fdump(kel_json_obj_get_base(doc, "list", 0, NULL), stdout, KEL_JSON_DUMP_PRETTY, 0);
    printf("\n");
    kel_json_unref(doc);
    return 0;
}
