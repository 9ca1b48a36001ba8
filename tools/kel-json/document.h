// Reading documents from files or standard input, and writing them with the
// library's serializer to standard output or, atomically, to a file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "args.h"
#include "diagnostics.h"

namespace kj {

// How a FILE operand is named in messages ("-" is "<stdin>").
std::string display_name(const std::string &path);

// Loads FILE ("-" for standard input) through the library's stream loader.
// Returns nothing and fills the chain on failure: the parser's errors, a
// KEL_IO_FAIL error when the file cannot be opened or read.
JsonPtr load_document(const std::string &path, int load_flags, KelError **err);

// Loads a document given as text (set's VALUE).
JsonPtr load_text(const std::string &text, int load_flags, KelError **err);

// Options of every subcommand that reads documents.
const std::vector<OptionSpec> &input_option_specs();
int load_flags(const Args &args);

// What the subcommands that print a document share.
struct OutputOptions {
    guint32 dump_flags = 0;
    int indent_step = 2;     // blanks per nesting level in pretty output
    std::string path;        // empty: standard output
};
const std::vector<OptionSpec> &output_option_specs();

// Reads the output options; returns a usage error message on a bad value.
std::optional<std::string> read_output_options(const Args &args, OutputOptions &out);

// Serializes value (any value, not only a root) and writes it followed by a
// line feed. With a path the file is replaced atomically: the text goes to a
// temporary file in the same directory, which is renamed over the target
// only once it has been written completely.
bool write_document(KelJson *value, const OutputOptions &options, KelError **err);

// write_document with the options given on the command line (already
// validated); reports a failure itself. Returns the exit status.
int print_document(KelJson *value, const Args &args);

}  // namespace kj
