// Built against the installed tree through find_package(kel) and kel::kel.
#include <kel.h>

#include <cstdio>
#include <memory>
#include <string>

int main()
{
    std::unique_ptr<KelJson, void (*)(KelJson *)> doc(kel_json_obj_new_base(FALSE), kel_json_unref);
    KelJson *list = kel_json_obj_put_array_base(doc.get(), "list", nullptr);
    KelJson *item = kel_json_array_push_str_base(list, "x", nullptr);

    char *where = nullptr;
    kel_json_ptr(item, &where);
    std::string pointer = where;
    g_free(where);
    if (pointer != "/list/0")
        return 1;

    char *text = nullptr;
    if (!kel_json_sdump(doc.get(), &text, 0))
        return 2;
    std::string dumped = text;
    g_free(text);
    if (dumped != "{\"list\":[\"x\"]}")
        return 3;
    std::printf("%s at %s\n", dumped.c_str(), pointer.c_str());
    return 0;
}
