/* A program that defines functions and data of its own under names the
 * library also exports. The library's internal calls and reads must still
 * reach its own definitions: these stand-ins only count that they were used
 * and give wrong answers. */
#include <kel.h>
#include <stdio.h>
#include <string.h>

static int stand_in_calls;

void lex_init(KelJsonLexer *lex, KelJsonLexGetFunc get, void *data, KelError **error)
{
    (void)get;
    (void)data;
    (void)error;
    stand_in_calls++;
    memset(lex, 0, sizeof *lex);
}

int utf8_check_string(const char *s, gsize len)
{
    (void)s;
    (void)len;
    stand_in_calls++;
    return 0;
}

/* Same token bytes at [1], other texts. */
const char *const chr_strs[7] = {"<{>", "<}>", "<[>", "<]>", "<:>", "<,>", NULL};

static int fail(const char *what)
{
    fprintf(stderr, "interposition: %s\n", what);
    return 1;
}

int main(void)
{
    KelError *err = NULL;
    KelJson *doc = kel_json_loads("{\"k\": [\"\xc3\xa9\", 1.5, null]}", 0, &err);
    if (doc == NULL)
        return fail(err ? err->gerror->message : "load failed");
    char *text = NULL;
    if (!kel_json_sdump(doc, &text, KEL_JSON_DUMP_REAL_ROUNDTRIP) || strcmp(text, "{\"k\":[\"\xc3\xa9\",1.5,null]}") != 0)
        return fail("dump differs");
    g_free(text);
    kel_json_unref(doc);

    KelJson *s = kel_json_str_new_base("plain", &err);
    if (s == NULL)
        return fail("string constructor refused valid text");
    kel_json_unref(s);

    if (kel_json_loads("[1 2]", 0, &err) != NULL || err == NULL ||
        strcmp(err->gerror->message, "Syntax error: expected ']', got integer") != 0)
        return fail("expected the integer token error");
    kel_clear_error(&err);
    if (kel_json_loads("[1,,]", 0, &err) != NULL || err == NULL ||
        strcmp(err->gerror->message, "Syntax error: unexpected token: ','") != 0)
        return fail(err ? err->gerror->message : "no error");
    kel_clear_error(&err);

    if (stand_in_calls != 0)
        return fail("the library called the program's stand-ins");
    puts("ok");
    return 0;
}
