// The library's argument-check warning, worded as GLib words it for C code.
#include "kel_internal.h"

namespace kel {

void warn_check_failed(const char *func, const char *expr) noexcept
{
    // NULL log domain: the library logs without a domain of its own.
    g_return_if_fail_warning(nullptr, func, expr);
}

void log_unreachable(const char *file, int line, const char *func) noexcept
{
    g_log(nullptr, G_LOG_LEVEL_CRITICAL, "file %s: line %d (%s): should not be reached",
          file, line, func);
}

}  // namespace kel
