/* A C11 program that uses the public headers unchanged. */
#include <kel.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    KelError *err = NULL;
    kel_set_error(&err, kel_error_domain(), KEL_ARG_INVALID, "first %d", 1);
    kel_set_error(&err, kel_json_error_domain(), KEL_JSON_PARSE_ERROR, "second");
    if (err == NULL || err->next == NULL || err->gerror->code != KEL_JSON_PARSE_ERROR)
        return 1;
    kel_clear_error(&err);

    KelJson *obj = kel_json_obj_new_base(FALSE);
    KelJson *list = kel_json_obj_put_array_base(obj, "list", NULL);
    KelJson *one = kel_json_array_push_i64_base(list, 1, NULL);
    char *path = NULL;
    if (kel_json_ptr(one, &path) != 7 || strcmp(path, "/list/0") != 0)
        return 2;
    g_free(path);
    if (one->i64 != 1 || one->parent != list || one->index != 0 || list->key == NULL)
        return 3;
    KelUint24 u = kel_uint24_init(0x12345678u);
    if (u.b0 != 0x78 || u.bytes[2] != 0x34)
        return 4;
    kel_json_unref(obj);
    puts("ok");
    return 0;
}
