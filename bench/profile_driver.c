/* kel-profile-driver: parses or dumps one file with libkel, for callgrind.
 *
 *   kel-profile-driver parse|release|dump|dump_pretty FILE [ROUNDS]
 *
 * Each kind of work is done inside its own never-inlined function, so that
 * callgrind can collect just that (--toggle-collect=profile_parse,
 * profile_release or profile_dump) and leave reading the file and building
 * or releasing the tree for other modes out. "parse" and "release" do the
 * same work: parse, then release the tree. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "kel.h"

static char *read_file(const char *path)
{
    FILE *fh = fopen(path, "rb");
    if (!fh) return NULL;
    GString *text = g_string_new(NULL);
    char buf[65536];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, fh)) > 0) g_string_append_len(text, buf, (gssize)n);
    fclose(fh);
    return g_string_free(text, FALSE);
}

__attribute__((noinline)) static KelJson *profile_parse(const char *text)
{
    KelError *err = NULL;
    KelJson *root = kel_json_loads(text, 0, &err);
    if (!root) {
        fprintf(stderr, "parse failed: %s\n",
                err && err->gerror ? err->gerror->message : "no error reported");
        kel_clear_error(&err);
    }
    return root;
}

__attribute__((noinline)) static void profile_release(KelJson *root)
{
    kel_json_unref(root);
}

__attribute__((noinline)) static int profile_dump(KelJson *root, guint32 flags, int rounds)
{
    for (int i = 0; i < rounds; i++) {
        char *out = NULL;
        if (!kel_json_sdump(root, &out, flags)) {
            fprintf(stderr, "dump failed\n");
            return 1;
        }
        g_free(out);
    }
    return 0;
}

int main(int argc, char **argv)
{
    if (argc < 3 || argc > 4) {
        fprintf(stderr, "usage: %s parse|release|dump|dump_pretty FILE [ROUNDS]\n", argv[0]);
        return 2;
    }
    const char *mode = argv[1];
    int rounds = argc == 4 ? atoi(argv[3]) : 1;
    char *text = read_file(argv[2]);
    if (!text) {
        fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[2]);
        return 1;
    }
    int rc = 0;
    if (strcmp(mode, "parse") == 0 || strcmp(mode, "release") == 0) {
        for (int i = 0; i < rounds && rc == 0; i++) {
            KelJson *root = profile_parse(text);
            if (root) profile_release(root);
            else rc = 1;
        }
    } else if (strcmp(mode, "dump") == 0 || strcmp(mode, "dump_pretty") == 0) {
        KelJson *root = profile_parse(text);
        if (root) {
            guint32 flags = strcmp(mode, "dump") == 0 ? 0 : KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_PRETTY;
            rc = profile_dump(root, flags, rounds);
            profile_release(root);
        } else {
            rc = 1;
        }
    } else {
        fprintf(stderr, "%s: unknown mode %s\n", argv[0], mode);
        rc = 2;
    }
    g_free(text);
    return rc;
}
