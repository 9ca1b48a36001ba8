// Command-line parsing for kel-json: options are declared per subcommand as
// a table; the parser accepts them anywhere among the operands.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kj {

struct OptionSpec {
    const char *name;       // long name without the dashes: "indent"
    char short_name;        // 0 when there is none
    const char *value_name; // nullptr for a switch, else shown in the help: "N"
    const char *help;
};

class Args {
public:
    bool has(const std::string &name) const { return values_.count(name) != 0; }
    // The value of an option that takes one, or nothing when it was not given.
    std::optional<std::string> value(const std::string &name) const;
    const std::vector<std::string> &operands() const { return operands_; }

    void set(const std::string &name, std::string value) { values_[name] = std::move(value); }
    void add_operand(std::string word) { operands_.push_back(std::move(word)); }

private:
    std::map<std::string, std::string> values_;
    std::vector<std::string> operands_;
};

// Parses the words that follow the subcommand against options. Returns a
// message for the user on a usage error, nothing on success.
//
// "--" ends the options; "-" is an operand (standard input), and so is a word
// made of "-" and a digit or a dot, so that `set FILE /n -1` works. Long
// options take their value as "--name=value" or as the next word, "-o" as
// "-oFILE" or the next word. A repeated option keeps its last value.
std::optional<std::string> parse_args(const std::vector<OptionSpec> &options,
                                      const std::vector<std::string> &words, Args &out);

// The "Options:" lines of a help text, one per option.
std::string format_options(const std::vector<OptionSpec> &options);

}  // namespace kj
