/* kel-profile-driver: runs one of libkel's document operations on one file,
 * for callgrind or perf.
 *
 *   kel-profile-driver MODE FILE [ROUNDS]
 *   MODE: parse release dump dump_rt dump_pretty copy equal pointer=PTR
 *
 * Each kind of work is done inside its own never-inlined function, so that
 * callgrind can collect just that (--toggle-collect=profile_parse,
 * profile_release, profile_dump, profile_copy, profile_equal or
 * profile_lookup) and leave reading the file and building or releasing the
 * tree for other modes out. "parse" and "release" do the same work: parse,
 * then release the tree. "copy" copies and releases the copy, "equal"
 * compares the tree with a deep copy of it, "pointer" looks PTR up. */
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

__attribute__((noinline)) static void profile_copy(KelJson *root, int rounds)
{
    for (int i = 0; i < rounds; i++) kel_json_unref(kel_json_copy(root));
}

__attribute__((noinline)) static int profile_equal(KelJson *a, KelJson *b, int rounds)
{
    int same = 1;
    for (int i = 0; i < rounds; i++) same &= kel_json_subset(a, b, KEL_JSON_SUBSET_EQUAL) != 0;
    return same;
}

__attribute__((noinline)) static int profile_lookup(KelJson *root, const char *ptr, int rounds)
{
    int found = 1;
    for (int i = 0; i < rounds; i++) found &= kel_json_ptr_get_base(root, ptr, NULL) != NULL;
    return found;
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
        fprintf(stderr, "usage: %s parse|release|dump|dump_rt|dump_pretty|copy|equal|pointer=PTR "
                        "FILE [ROUNDS]\n", argv[0]);
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
    } else if (strncmp(mode, "dump", 4) == 0 || strcmp(mode, "copy") == 0 ||
               strcmp(mode, "equal") == 0 || strncmp(mode, "pointer=", 8) == 0) {
        KelJson *root = profile_parse(text);
        if (!root) {
            rc = 1;
        } else if (strcmp(mode, "copy") == 0) {
            profile_copy(root, rounds);
        } else if (strcmp(mode, "equal") == 0) {
            KelJson *copy = kel_json_copy(root);
            rc = !profile_equal(root, copy, rounds);
            kel_json_unref(copy);
        } else if (strncmp(mode, "pointer=", 8) == 0) {
            rc = !profile_lookup(root, mode + 8, rounds);
        } else {
            guint32 flags = strcmp(mode, "dump") == 0      ? 0
                            : strcmp(mode, "dump_rt") == 0 ? KEL_JSON_DUMP_REAL_ROUNDTRIP
                                                           : KEL_JSON_DUMP_SORTED | KEL_JSON_DUMP_PRETTY;
            rc = profile_dump(root, flags, rounds);
        }
        if (root) profile_release(root);
    } else {
        fprintf(stderr, "%s: unknown mode %s\n", argv[0], mode);
        rc = 2;
    }
    g_free(text);
    return rc;
}
