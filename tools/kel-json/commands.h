// The subcommands of kel-json. Each one is described by a table entry that
// main() uses for parsing, operand counts and --help.
#pragma once

#include <vector>

#include "args.h"

namespace kj {

struct Command {
    const char *name;
    const char *operands;     // "FILE POINTER", shown in the usage line
    const char *summary;      // one line for `kel-json --help`
    const char *description;  // the body of `kel-json NAME --help`
    std::vector<OptionSpec> options;  // the subcommand's own options
    bool prints_document;     // takes the output options (-o, --compact, ...)
    size_t min_operands;
    size_t max_operands;
    int (*run)(const Args &args);
};

// check, fmt, get, set, expand: one document in.
std::vector<Command> document_commands();
// merge, contains, patch, merge-patch: two documents in.
std::vector<Command> pair_commands();

}  // namespace kj
