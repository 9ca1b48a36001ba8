/* kel-demo: how libkel reports failures. Every JSON value knows its place in
 * its document, so messages name JSON pointers; errors stack into chains so
 * that each layer can add context on top of the failure below it. */
#include <kel.h>
#include <stdio.h>

static const char *document =
    "{\n"
    "  \"services\": {\n"
    "    \"api\": {\"port\": 8080, \"routes\": [\"/cart\", \"/orders\"]},\n"
    "    \"worker\": {\"port\": \"none\"}\n"
    "  }\n"
    "}\n";

/* Prints a chain newest first, with code names and parse positions. */
static void print_chain(const KelError *err)
{
    for (const KelError *e = err; e != NULL; e = e->next) {
        printf("  [%s] %s", kel_error_code_to_name(e->gerror->domain, e->gerror->code),
               e->gerror->message);
        for (const KelErrorData *item = e->data; item != NULL; item = item->next) {
            if (item->domain == kel_json_error_domain() &&
                item->type == KEL_JSON_ERROR_DATA_POSITION) {
                const KelJsonErrorDataPosition *pos = (const KelJsonErrorDataPosition *)item;
                printf(" (line %u, column %u)", (unsigned)pos->line, (unsigned)pos->column);
            }
        }
        printf("\n");
    }
}

/* Reads the port of one service; on failure adds what it was doing. */
static gint64 service_port(KelJson *doc, const char *service, KelError **err)
{
    KelJson *services = kel_json_obj_get_obj_base(doc, "services", err);
    KelJson *entry = services ? kel_json_obj_get_obj_base(services, service, err) : NULL;
    gint64 port = entry ? kel_json_obj_get_i64_base(entry, "port", err) : 0;
    if (err != NULL && *err != NULL)
        kel_set_error(err, kel_error_domain(), KEL_ARG_INVALID,
                      "cannot find the port of service '%s'", service);
    return port;
}

int main(void)
{
    KelError *err = NULL;
    KelJson *doc = kel_json_loads(document, 0, &err);
    if (doc == NULL) {
        print_chain(err);
        kel_clear_error(&err);
        return 1;
    }

    /* 1. A value found deep inside the document prints its own pointer. */
    KelJson *route = kel_json_ptr_get_base(doc, "/services/api/routes/1", &err);
    char *where = NULL;
    kel_json_ptr(route, &where);
    printf("the route \"%s\" is at %s\n", route->str, where);
    g_free(where);

    /* 2. A lookup that works, then two that fail, each with its chain. */
    printf("api listens on port %lld\n", (long long)service_port(doc, "api", &err));
    const char *broken[] = {"worker", "billing"};
    for (int i = 0; i < 2; i++) {
        service_port(doc, broken[i], &err);
        printf("%s:\n", broken[i]);
        print_chain(err);
        kel_clear_error(&err);
    }

    /* 3. A parse error carries the line and column where reading stopped;
     * the lexer's error sits below the parser's. */
    KelJson *bad = kel_json_loads("{\"port\": 80#80}", 0, &err);
    printf("parsing {\"port\": 80#80}: %s\n", bad ? "ok" : "failed");
    print_chain(err);
    kel_clear_error(&err);

    kel_json_unref(doc);
    return 0;
}
