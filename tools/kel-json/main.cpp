// kel-json: validate, format, query, edit, expand, merge, patch and compare JSON
// documents with libkel.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include "args.h"
#include "commands.h"
#include "diagnostics.h"
#include "document.h"

namespace {

using namespace kj;

const OptionSpec kHelpOption = {"help", 'h', nullptr, "show this help and exit"};

std::vector<Command> all_commands()
{
    std::vector<Command> list = document_commands();
    for (Command &c : pair_commands())
        list.push_back(std::move(c));
    return list;
}

// The subcommand's own options, then the shared groups, then --help.
std::vector<OptionSpec> option_specs(const Command &cmd)
{
    std::vector<OptionSpec> options = cmd.options;
    const auto &in = input_option_specs();
    options.insert(options.end(), in.begin(), in.end());
    if (cmd.prints_document) {
        const auto &out = output_option_specs();
        options.insert(options.end(), out.begin(), out.end());
    }
    options.push_back(kHelpOption);
    return options;
}

void print_program_help(const std::vector<Command> &commands)
{
    std::printf("Usage: %s COMMAND [options] [operands]\n\n"
                "Validates, formats, queries, edits, expands, merges, patches and compares\n"
                "JSON documents. FILE may be \"-\" for standard input.\n\n"
                "Commands:\n",
                kProgram);
    for (const Command &c : commands)
        std::printf("  %-11s %s\n", c.name, c.summary);
    std::printf("\nRun '%s COMMAND --help' for the options of a command.\n"
                "Exit status: 0 success, 1 failure (invalid input, missing path...), 2 usage "
                "error.\n",
                kProgram);
}

void print_command_help(const Command &cmd)
{
    std::printf("Usage: %s %s %s [options]\n\n%s\n\nOptions:\n%s", kProgram, cmd.name,
                cmd.operands, cmd.description, format_options(option_specs(cmd)).c_str());
}

int run(int argc, char **argv)
{
    const std::vector<Command> commands = all_commands();
    if (argc < 2)
        return usage_error("", "missing command");
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        print_program_help(commands);
        return kExitOk;
    }
    if (name == "--version") {
        std::printf("%s %s\n", kProgram, KEL_JSON_VERSION);
        return kExitOk;
    }
    auto cmd = std::find_if(commands.begin(), commands.end(),
                            [&](const Command &c) { return name == c.name; });
    if (cmd == commands.end())
        return usage_error("", "unknown command '" + name + "'");

    Args args;
    std::vector<std::string> words(argv + 2, argv + argc);
    if (auto problem = parse_args(option_specs(*cmd), words, args))
        return usage_error(cmd->name, *problem);
    if (args.has("help")) {
        print_command_help(*cmd);
        return kExitOk;
    }

    set_verbose_errors(args.has("verbose"));
    const auto &operands = args.operands();
    if (operands.size() < cmd->min_operands)
        return usage_error(cmd->name, "missing operand (expected " + std::string(cmd->operands) +
                                          ")");
    if (operands.size() > cmd->max_operands)
        return usage_error(cmd->name, "too many operands (expected " +
                                          std::string(cmd->operands) + ")");
    // Only FILE operands may name standard input (get's POINTER and set's
    // POINTER and VALUE are text).
    bool one_file = name == "get" || name == "set";
    size_t files = one_file ? 1 : operands.size();
    if (std::count(operands.begin(), operands.begin() + files, "-") > 1)
        return usage_error(cmd->name, "standard input can be read only once");
    if (cmd->prints_document) {
        OutputOptions options;
        if (auto problem = read_output_options(args, options))
            return usage_error(cmd->name, *problem);
    }
    return cmd->run(args);
}

}  // namespace

int main(int argc, char **argv)
{
    // A write beyond the file-size limit must fail like any other write
    // error (the temporary file is removed and the target left alone)
    // instead of killing the process halfway.
    std::signal(SIGXFSZ, SIG_IGN);
    return run(argc, argv);
}
