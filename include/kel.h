/* libkel: the whole public interface. */
/**
 * @file kel.h
 * @brief The whole public interface: includes the three headers below.
 *
 * @mainpage libkel reference
 * libkel is a C-ABI library on GLib 2: error chains, small utilities and a
 * JSON DOM. Programs include kel.h and link libkel.so
 * (`pkg-config --cflags --libs kel`, or CMake's `kel::kel`).
 *
 * - kel_error.h: error chains (KelError), the error slot every fallible
 *   function takes, the error domains and their codes, the registry.
 * - kel_util.h: string arrays, strict number parsing, 128-bit integers,
 *   aligned memory, directory removal.
 * - kel_json.h: JSON values and documents. Its opening note explains the
 *   ownership model (a new value has count 0; containers own their members;
 *   lookups borrow), which functions give up when the error slot already
 *   holds an error, the naming scheme (`_base`, `_ext`, `getd`, the put and
 *   push families), member order, number output, threads and limits.
 *
 * Every declaration states what may be NULL, whether a reference or
 * ownership passes (and how to free what is returned) and which error codes
 * it pushes. Functions whose result must be released are marked with GLib's
 * `G_GNUC_WARN_UNUSED_RESULT`.
 */
#ifndef KEL_H
#define KEL_H

#include "kel_error.h"
#include "kel_util.h"
#include "kel_json.h"

#endif /* KEL_H */
