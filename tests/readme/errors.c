/* errors.c: errors stack into chains, newest first */
#include <kel.h>
#include <stdio.h>

/* A domain of the application's own, with names for its codes. */
enum { APP_BAD_CONFIG = 1 };
static GQuark app_domain(void) { return g_quark_from_static_string("app-error"); }
static const char *app_code_name(GQuark domain, gint code)
{
    (void)domain;
    return code == APP_BAD_CONFIG ? "APP_BAD_CONFIG" : "<unknown>";
}

/* Each layer adds its context on top of the failure below it. */
static gint64 read_port(const char *text, KelError **err)
{
    KelError *below = *err;
    gint64 port = kel_strtoll(text, 10, err);
    if (*err != below)
        kel_set_error(err, app_domain(), APP_BAD_CONFIG, "bad port in the configuration");
    return port;
}

int main(void)
{
    kel_error_register_code_to_name(app_domain(), app_code_name);

    KelError *err = NULL;
    printf("port %lld\n", (long long)read_port("8080", &err));
    read_port("80a", &err);
    for (const KelError *e = err; e != NULL; e = e->next)
        printf("%s: %s\n", kel_error_code_to_name(e->gerror->domain, e->gerror->code),
               e->gerror->message);

    /* Undo everything stacked on top of a known error (here: all of it). */
    kel_clear_error_until(&err, NULL);
    printf("cleared: %s\n", err == NULL ? "yes" : "no");
    return 0;
}
