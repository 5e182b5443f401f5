#include "kvsetup/manual_commands.h"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "kvsetup/console.h"

namespace {

// What troff would take for a request or an escape.
std::string Roff(const std::string& text) {
    std::string result;
    bool atStart = true;
    for (const char c : text) {
        if (atStart && (c == '.' || c == '\'')) result += "\\&";
        if (c == '\\' || c == '-') result += '\\';
        result += c == '\\' ? 'e' : c;
        atStart = c == '\n';
    }
    return result;
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
    std::vector<const CLI::App*> commands;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!command->get_group().empty()) commands.push_back(command);
    }
    return commands;
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app) {
    std::vector<const CLI::Option*> options;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_group().empty()) options.push_back(option);
    }
    return options;
}

void PrintOptions(const CLI::App& app) {
    for (const CLI::Option* option : OptionsOf(app)) {
        const bool takesValue = option->get_items_expected_max() > 0 && !option->get_positional();
        std::cout << ".TP\n.B "
                  << Roff(option->get_positional() ? option->get_name(true) : option->get_name(false, true));
        if (takesValue) std::cout << " \\fIVALUE\\fR";
        std::cout << '\n' << Roff(option->get_description()) << (option->get_required() ? " (required)" : "") << '\n';
    }
}

void PrintCommand(const CLI::App& command, const std::string& path) {
    std::cout << ".SS " << Roff(path) << '\n' << Roff(command.get_description()) << '\n';
    if (CommandsOf(command).empty()) PrintOptions(command);
    for (const CLI::App* below : CommandsOf(command)) PrintCommand(*below, path + ' ' + below->get_name());
}

int Manual(const CLI::App& app) {
    std::cout << ".TH KVSETUP 1 \"\" \"" << kVersion << "\" \"Setups\"\n"
              << ".SH NAME\nkvsetup \\- install, show and remove the products of the family\n"
              << ".SH SYNOPSIS\n.B kvsetup\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR ...\n"
              << ".SH DESCRIPTION\n"
              << Roff(app.get_description()) << '\n'
              << ".SH OPTIONS\nThey may also stand behind a command.\n";
    PrintOptions(app);
    std::cout << ".SH COMMANDS\n";
    for (const CLI::App* command : CommandsOf(app)) PrintCommand(*command, command->get_name());
    std::cout << ".SH EXIT STATUS\n" << Roff(app.get_footer()) << '\n' << std::flush;
    return std::cout ? kDone : kFailed;
}

// "install uninstall --machine --wait": what may follow the command.
std::string WordsOf(const CLI::App& app, const CLI::App& top) {
    std::string words;
    for (const CLI::App* command : CommandsOf(app)) words += command->get_name() + ' ';
    for (const CLI::App* owner : {&app, &top}) {
        for (const CLI::Option* option : OptionsOf(*owner)) {
            for (const std::string& name : option->get_lnames()) words += "--" + name + ' ';
        }
        if (&app == &top) break;
    }
    if (!words.empty()) words.pop_back();
    return words;
}

void PrintCases(const CLI::App& app, const CLI::App& top, const std::string& path) {
    std::cout << "        '" << path << "') words='" << WordsOf(app, top) << "' ;;\n";
    for (const CLI::App* command : CommandsOf(app))
        PrintCases(*command, top, path.empty() ? command->get_name() : path + ' ' + command->get_name());
}

// Bash's own; zsh takes it with bashcompinit.
int Completions(const CLI::App& app) {
    std::cout << "# Completions of kvsetup for bash, and for zsh behind `autoload bashcompinit; bashcompinit`.\n"
                 "_kvsetup() {\n"
                 "    local word=${COMP_WORDS[COMP_CWORD]} path='' words='' i\n"
                 "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
                 "        case ${COMP_WORDS[i]} in\n"
                 "        -*) ;;\n"
                 "        *) case \" $(_kvsetup_words \"$path\") \" in *\" ${COMP_WORDS[i]} \"*) "
                 "path=\"${path:+$path }${COMP_WORDS[i]}\" ;; esac ;;\n"
                 "        esac\n"
                 "    done\n"
                 "    words=$(_kvsetup_words \"$path\")\n"
                 "    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
                 "    [ ${#COMPREPLY[@]} -ne 0 ] || COMPREPLY=($(compgen -f -- \"$word\"))\n"
                 "}\n"
                 "_kvsetup_words() {\n"
                 "    local words=''\n"
                 "    case $1 in\n";
    PrintCases(app, app, "");
    std::cout << "    esac\n    echo \"$words\"\n}\ncomplete -o filenames -F _kvsetup kvsetup\n" << std::flush;
    return std::cout ? kDone : kFailed;
}

}  // namespace

void AddManualCommands(CLI::App& app, Options& options, std::function<int(const Options&)>& run) {
    const auto add = [&](const char* name, const char* help, int (*command)(const CLI::App&)) {
        app.add_subcommand(name, help)->callback([&app, &options, &run, command] {
            options.needsMachine = false;
            run = [&app, command](const Options&) { return command(app); };
        });
    };
    add("manual", "print the man page (kvsetup manual | man -l -)", Manual);
    add("completions", "print what bash completes (source <(kvsetup completions))", Completions);
}
