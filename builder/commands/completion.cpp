#include "builder/commands/completion.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

namespace wbtables {
namespace {

constexpr const char *kHelp =
    R"(Prints a script that lets a shell complete the commands and options of wbtables. For a shell that runs:

  bash:  source <(wbtables completion bash)
  zsh:   source <(wbtables completion zsh)      after compinit

Example: wbtables completion bash >> ~/.bashrc
makes    bash know it from the next shell on

Exit status: 0 done; 2 wrong usage; 4 standard output cannot be written.
)";

// What completes a value, as the shells say it, by the name that the help gives the value.
struct ValueRow {
    std::string_view name;
    std::string_view bash;
    std::string_view zsh;
};
constexpr ValueRow kValues[] = {
    {"CMD", "-c", "_command_names -e"}, {"DIR", "-d", "_files -/"}, {"FILE", "-f", "_files"}, {"LIB", "-f", "_files"},
    {"MANIFEST", "-f", "_files"},       {"PATH", "-f", "_files"},
};

struct Value {
    explicit Value(const CLI::Option &option)
        : name(option.get_positional() ? option.get_single_name() : option.get_type_name()) {
        // So the help writes the values of an option that takes one of a set.
        const std::string type = option.get_type_name();
        const std::size_t open = type.find('{');
        if (open != std::string::npos) {
            std::string words = type.substr(open + 1, type.find('}') - open - 1);
            std::replace(words.begin(), words.end(), ',', ' ');
            bash = fmt::format("-W '{}'", words);
            zsh = fmt::format("({})", words);
        } else if (const auto *const row =
                       std::find_if(std::begin(kValues), std::end(kValues),
                                    [this](const ValueRow &candidate) { return candidate.name == name; });
                   row != std::end(kValues)) {
            bash = row->bash;
            zsh = row->zsh;
        }
        name.resize(std::min(name.find(":{"), name.size()));
    }

    std::string name;
    std::string bash = "-W ''"; // nothing
    std::string zsh = " ";
};

std::vector<std::string> spellings(const CLI::Option &option) {
    std::vector<std::string> all;
    for (const std::string &name : option.get_snames()) {
        all.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        all.push_back("--" + name);
    }
    return all;
}

bool takes_value(const CLI::Option &option) {
    return option.get_items_expected_max() != 0;
}

std::vector<const CLI::App *> subcommands(const CLI::App &app) {
    return app.get_subcommands([](const CLI::App *command) { return !command->get_name().empty(); });
}

std::vector<const CLI::Option *> options_of(const CLI::App &command) {
    return command.get_options([](const CLI::Option *option) { return !option->get_positional(); });
}

std::vector<const CLI::Option *> positionals_of(const CLI::App &command) {
    return command.get_options([](const CLI::Option *option) { return option->get_positional(); });
}

// What stands in front of the colon in the bash script's cases: nothing while there is no command.
std::string bash_name(const CLI::App &root, const CLI::App &command) {
    return &root == &command ? "" : command.get_name();
}

// "build:-o | build:--output"
std::string bash_pattern(const std::string &command, const CLI::Option &option) {
    std::string pattern;
    for (const std::string &spelling : spellings(option)) {
        pattern.append(fmt::format("{}{}:{}", pattern.empty() ? "" : " | ", command, spelling));
    }
    return pattern;
}

// The branches for one command: values of options, what stands at each place, and else its options.
std::string bash_branches(const CLI::App &root, const CLI::App &command) {
    const std::string name = bash_name(root, command);
    std::string branches;
    std::string words;
    for (const CLI::Option *option : options_of(command)) {
        words.append(fmt::format("{} ", fmt::join(spellings(*option), " ")));
        if (takes_value(*option)) {
            branches.append(fmt::format("        {}) how=({}) ;;\n", bash_pattern(name, *option), Value(*option).bash));
        }
    }
    std::size_t place = 0;
    for (const CLI::Option *positional : positionals_of(command)) {
        branches.append(fmt::format("        {}:{}) how=({}) ;;\n", name, place++, Value(*positional).bash));
    }
    return branches.append(fmt::format("        {}:*) how=(-W '{}') ;;\n", name, words));
}

std::string bash_script(const CLI::App &app) {
    std::string valued;
    std::string names;
    std::string branches;
    for (const CLI::App *command : subcommands(app)) {
        names.append(command->get_name()).append(" ");
        branches.append(bash_branches(app, *command));
        for (const CLI::Option *option : options_of(*command)) {
            if (takes_value(*option)) {
                valued.append(valued.empty() ? "" : " | ").append(bash_pattern(command->get_name(), *option));
            }
        }
    }
    return fmt::format(R"(# Completion of {0} for bash. Made by: {0} completion bash
_{0}() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} command='' place=0 how=(-W '') i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case $command:${{COMP_WORDS[i]}} in
        {1}) ((++i)) ;;
        *:-*) ;;
        :*) command=${{COMP_WORDS[i]}} ;;
        *) ((++place)) ;;
        esac
    done
    if ((i > COMP_CWORD)); then
        place=${{COMP_WORDS[COMP_CWORD - 1]}}
    elif [[ $word == -* ]]; then
        place=-
    fi
    case $command:$place in
        :0) how=(-W '{2}') ;;
{3}{4}    esac
    case ${{how[0]}} in
        -f | -d) compopt -o filenames 2>/dev/null ;;
    esac
    mapfile -t COMPREPLY < <(compgen "${{how[@]}}" -- "$word")
}}
complete -F _{0} {0}
)",
                       app.get_name(), valued, names, bash_branches(app, app), branches);
}

// For zsh's _arguments, inside single quotes.
std::string zsh_text(std::string_view text) {
    std::string out;
    for (const char c : text) {
        if (c == '\'') {
            out.append("'\\''");
        } else {
            out.append(std::string_view("[]:\\").find(c) == std::string_view::npos ? "" : "\\").append(1, c);
        }
    }
    return out;
}

std::string zsh_value(const CLI::Option &option) {
    const Value value(option);
    return fmt::format(":{}:{}", zsh_text(value.name), value.zsh);
}

// What zsh is to know of the options and places of a command.
std::string zsh_arguments(const CLI::App &command) {
    std::string out;
    for (const CLI::Option *option : options_of(command)) {
        for (const std::string &spelling : spellings(*option)) {
            const bool many = option->get_items_expected_max() > 1;
            const std::string others = many ? "*" : fmt::format("({})", fmt::join(spellings(*option), " "));
            out.append(fmt::format(" \\\n            '{}{}[{}]{}'", others, spelling,
                                   zsh_text(option->get_description()),
                                   takes_value(*option) ? zsh_value(*option) : ""));
        }
    }
    std::size_t place = 1;
    for (const CLI::Option *positional : positionals_of(command)) {
        out.append(fmt::format(" \\\n            '{}{}'", place++, zsh_value(*positional)));
    }
    return out;
}

std::string zsh_script(const CLI::App &app) {
    std::string names;
    std::string branches;
    for (const CLI::App *command : subcommands(app)) {
        names.append(fmt::format("            '{}:{}'\n", command->get_name(), zsh_text(command->get_description())));
        branches.append(fmt::format("        {}) _arguments{} ;;\n", command->get_name(), zsh_arguments(*command)));
    }
    return fmt::format(R"(#compdef {0}
# Completion of {0} for zsh. Made by: {0} completion zsh
_{0}() {{
    local curcontext=$curcontext context state line
    typeset -A opt_args
    _arguments -C{1} \
            '1:command:->command' '*::argument:->argument'
    case $state in
    command)
        local -a commands=(
{2}        )
        _describe command commands ;;
    argument)
        case $words[1] in
{3}        esac ;;
    esac
}}
if [[ $funcstack[1] == _{0} ]]; then
    _{0} "$@"
else
    compdef _{0} {0}
fi
)",
                       app.get_name(), zsh_arguments(app), names, branches);
}

} // namespace

void add_completion_command(CLI::App &app, std::function<void()> &run) {
    const auto shell = std::make_shared<std::string>();
    CLI::App *const completion = app.add_subcommand("completion", "Print a shell's completion script for wbtables");
    completion->add_option("SHELL", *shell, "bash or zsh")->check(CLI::IsMember({"bash", "zsh"}))->required();
    completion->footer(kHelp);
    completion->callback([shell, &app, &run] {
        run = [shell, &app] { fmt::print("{}", *shell == "bash" ? bash_script(app) : zsh_script(app)); };
    });
}

} // namespace wbtables
