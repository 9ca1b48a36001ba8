/* dumping.c: compact, pretty, sorted, and exact numbers */
#include <kel.h>
#include <stdio.h>

int main(void)
{
    KelJson *doc = kel_json_loads("{\"ratio\": 0.1, \"tiny\": 1.5e-7,"
                                  " \"big\": 340282366920938463463374607431768211455,"
                                  " \"list\": [1, true, null]}", 0, NULL);

    /* Doubles exactly: the text reads back to the same value. */
    GString *out = g_string_new(NULL);
    kel_json_sdump_ext(doc, out, KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_REAL_ROUNDTRIP, 0);
    printf("%s\n", out->str);

    /* Without ROUNDTRIP, "%f": six decimals. U128_STR quotes big integers. */
    g_string_truncate(out, 0);
    kel_json_sdump_ext(doc, out, KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_U128_STR, 0);
    printf("%s\n", out->str);
    g_string_free(out, TRUE);

    /* Pretty output straight to a stream. */
    kel_json_fdump(kel_json_obj_get_base(doc, "list", 0, NULL), stdout, KEL_JSON_DUMP_PRETTY, 0);
    printf("\n");
    kel_json_unref(doc);
    return 0;
}
