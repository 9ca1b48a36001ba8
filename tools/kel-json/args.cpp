#include "args.h"

#include <algorithm>
#include <cctype>

namespace kj {

std::optional<std::string> Args::value(const std::string &name) const
{
    auto it = values_.find(name);
    if (it == values_.end())
        return std::nullopt;
    return it->second;
}

namespace {

const OptionSpec *find_long(const std::vector<OptionSpec> &options, const std::string &name)
{
    auto it = std::find_if(options.begin(), options.end(),
                           [&](const OptionSpec &s) { return name == s.name; });
    return it == options.end() ? nullptr : &*it;
}

const OptionSpec *find_short(const std::vector<OptionSpec> &options, char c)
{
    auto it = std::find_if(options.begin(), options.end(),
                           [&](const OptionSpec &s) { return s.short_name == c; });
    return it == options.end() ? nullptr : &*it;
}

bool is_operand(const std::string &w)
{
    if (w.size() < 2 || w[0] != '-')
        return true;  // "", "-" and everything without a leading dash
    return std::isdigit(static_cast<unsigned char>(w[1])) || w[1] == '.';
}

}  // namespace

std::optional<std::string> parse_args(const std::vector<OptionSpec> &options,
                                      const std::vector<std::string> &words, Args &out)
{
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string &w = words[i];
        if (w == "--") {
            for (++i; i < words.size(); ++i)
                out.add_operand(words[i]);
            break;
        }
        if (is_operand(w)) {
            out.add_operand(w);
            continue;
        }

        const OptionSpec *option = nullptr;
        std::optional<std::string> inline_value;
        std::string shown;  // the option as the user wrote it, for messages
        if (w[1] == '-') {
            std::string name = w.substr(2);
            if (auto eq = name.find('='); eq != std::string::npos) {
                inline_value = name.substr(eq + 1);
                name.resize(eq);
            }
            option = find_long(options, name);
            shown = "--" + name;
        } else {
            option = find_short(options, w[1]);
            shown = w.substr(0, 2);
            if (w.size() > 2)
                inline_value = w.substr(2);
        }
        if (option == nullptr)
            return "unknown option '" + shown + "'";

        if (option->value_name == nullptr) {
            if (inline_value)
                return "option '" + shown + "' takes no value";
            out.set(option->name, "");
            continue;
        }
        if (!inline_value) {
            if (i + 1 == words.size())
                return "option '" + shown + "' needs a value (" + option->value_name + ")";
            inline_value = words[++i];
        }
        out.set(option->name, *inline_value);
    }
    return std::nullopt;
}

std::string format_options(const std::vector<OptionSpec> &options)
{
    std::vector<std::pair<std::string, std::string>> rows;
    size_t width = 0;
    for (const OptionSpec &s : options) {
        std::string left = "  ";
        left += s.short_name ? std::string("-") + s.short_name + ", " : "    ";
        left += std::string("--") + s.name;
        if (s.value_name)
            left += std::string(" ") + s.value_name;
        width = std::max(width, left.size());
        rows.emplace_back(left, s.help);
    }
    std::string text;
    for (auto &[left, help] : rows)
        text += left + std::string(width - left.size() + 2, ' ') + help + "\n";
    return text;
}

}  // namespace kj
