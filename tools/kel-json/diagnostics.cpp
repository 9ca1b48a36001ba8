#include "diagnostics.h"

#include <cstdio>

namespace kj {

void push_io_error(KelError **err, const std::string &message)
{
    kel_set_error(err, kel_error_domain(), KEL_IO_FAIL, "%s", message.c_str());
}

void push_context(KelError **err, const std::string &message)
{
    GQuark domain = kel_error_domain();
    gint code = KEL_ARG_INVALID;
    if (*err != nullptr) {
        domain = (*err)->gerror->domain;
        code = (*err)->gerror->code;
    }
    kel_set_error(err, domain, code, "%s", message.c_str());
}

std::string code_name(const KelError *error)
{
    const GError *g = error->gerror;
    if (const char *name = kel_error_code_to_name(g->domain, g->code))
        return name;
    const char *domain = g_quark_to_string(g->domain);
    return std::string(domain ? domain : "?") + ":" + std::to_string(g->code);
}

namespace {

// The parser's position item of one error, if it has one.
const KelJsonErrorDataPosition *position_of(const KelError *error)
{
    for (const KelErrorData *item = error->data; item != nullptr; item = item->next) {
        if (item->domain == kel_json_error_domain() && item->type == KEL_JSON_ERROR_DATA_POSITION)
            return reinterpret_cast<const KelJsonErrorDataPosition *>(item);
    }
    return nullptr;
}

}  // namespace

namespace {
bool verbose_errors = false;
}  // namespace

void set_verbose_errors(bool verbose) { verbose_errors = verbose; }

void print_errors(const std::string &where, const KelError *chain)
{
    for (const KelError *e = chain; e != nullptr; e = e->next) {
        std::string place = where;
        const KelJsonErrorDataPosition *pos = position_of(e);
        // One parse failure is a run of positioned errors: the parser's
        // on top ("unexpected token: <invalid>"), the lexer's reason at the
        // bottom. Like a compiler, say only the most specific one.
        if (pos != nullptr && !verbose_errors && e->next != nullptr && position_of(e->next) != nullptr)
            continue;
        if (pos != nullptr)
            place += ":" + std::to_string(pos->line) + ":" + std::to_string(pos->column);
        std::fprintf(stderr, "%s: error: %s [%s]\n", place.c_str(), e->gerror->message,
                     code_name(e).c_str());
    }
}

int usage_error(const std::string &command, const std::string &message)
{
    std::string help = std::string(kProgram) + (command.empty() ? "" : " " + command) + " --help";
    std::fprintf(stderr, "%s: %s\nTry '%s'.\n", kProgram, message.c_str(), help.c_str());
    return kExitUsage;
}

}  // namespace kj
