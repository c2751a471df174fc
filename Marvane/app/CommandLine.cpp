#include "Marvane/app/CommandLine.h"

#include "host/ProjectBackEnd.h"

#include <array>
#include <filesystem>

namespace host {

namespace {

// Options that take a value: the option, what the value is, and where it goes.
struct ValueOption {
    const char* name;
    const char* valueDescription;
    void (*store)(CommandLineOptions&, const std::string&);
};

const std::array<ValueOption, 5> kValueOptions{{
    {"--production", "a folder",
     [](CommandLineOptions& o, const std::string& v) { o.production = v; }},
    {"--user", "a name", [](CommandLineOptions& o, const std::string& v) { o.user = v; }},
    {"--profile", "a folder", [](CommandLineOptions& o, const std::string& v) { o.profile = v; }},
    {"--plugins", "a folder", [](CommandLineOptions& o, const std::string& v) { o.plugins = v; }},
    {"--screenshot", "a file name",
     [](CommandLineOptions& o, const std::string& v) { o.screenshot = v; }},
}};

// A folder named without --production that is not a project (as a file manager opens a folder
// with marvane) is the production to open: one at most, and not beside --production.
void TakeProductionFolder(CommandLineResult& result) {
    std::vector<std::filesystem::path> projects;
    for (std::filesystem::path& argument : result.options.projects) {
        std::error_code ignored;
        if (!std::filesystem::is_directory(argument, ignored) ||
            IsMarvaneProjectFile(argument.string())) {
            projects.push_back(std::move(argument));
            continue;
        }
        if (result.options.production) {
            result.error = "one production at a time: \"" + result.options.production->string() +
                           "\" and \"" + argument.string() + "\" were both given";
            return;
        }
        result.options.production = std::move(argument);
    }
    result.options.projects = std::move(projects);
}

} // namespace

CommandLineResult ParseCommandLine(const std::vector<std::string>& arguments) {
    CommandLineResult result;
    for (std::size_t i = 0; i < arguments.size() && result.error.empty(); ++i) {
        const std::string& argument = arguments[i];
        if (argument == "--list-commands") {
            result.options.listCommands = true;
            continue;
        }
        if (argument == "--help" || argument == "-h") {
            result.options.help = true;
            continue;
        }
        if (argument == "--version") {
            result.options.version = true;
            continue;
        }
        if (argument == "--script") {
            result.options.script = true;
            continue;
        }
        if (argument == "--demo-editor") {
            result.options.demoEditor = true;
            continue;
        }
        if (!argument.empty() && argument[0] != '-') {
            result.options.projects.emplace_back(argument);
            continue;
        }
        const ValueOption* option = nullptr;
        for (const ValueOption& candidate : kValueOptions) {
            if (argument == candidate.name) {
                option = &candidate;
            }
        }
        if (option == nullptr) {
            result.error = "unknown argument \"" + argument + "\"";
        } else if (i + 1 >= arguments.size() || arguments[i + 1].empty()) {
            result.error = argument + " needs " + option->valueDescription;
        } else {
            option->store(result.options, arguments[++i]);
        }
    }
    if (result.error.empty()) {
        TakeProductionFolder(result);
    }
    // A profile is a folder the host keeps its files in: a file there is a mistake to say, not
    // to write beside.
    if (result.error.empty() && result.options.profile) {
        std::error_code error;
        const auto status = std::filesystem::status(*result.options.profile, error);
        if (std::filesystem::exists(status) && !std::filesystem::is_directory(status)) {
            result.error = "--profile names \"" + result.options.profile->string() +
                           "\", which is not a folder";
        }
    }
    return result;
}

std::string VersionText() {
    return std::string("marvane ") + MARVANE_VERSION;
}

std::string UsageText() {
    return "Usage: marvane [options] [FOLDER] [PROJECT ...]\n"
           "  --production FOLDER   open FOLDER as the production\n"
           "  --user NAME           lock projects under NAME (another editor on this machine)\n"
           "  --profile DIR         keep preferences and panel settings in DIR\n"
           "  --plugins DIR         load modules from DIR instead of the plugins folder\n"
           "  --list-commands       print every command context with its commands and exit\n"
           "  --screenshot FILE.png render the main window to FILE.png once the production\n"
           "                        is shown, then exit (works without a display)\n"
           "  --script              take commands from standard input, one a line, and\n"
           "                        answer each with a line (\"help\" lists the commands)\n"
           "  --demo-editor         on the demo production, start a second editor, with no\n"
           "                        window, that holds a project while this run lasts\n"
           "  --help                show this text\n"
           "  --version             show the version\n"
           "A FOLDER given without --production is the production to open.\n"
           "Without either the last production opens, or the demo production.\n"
           "PROJECT files (.mvproj) or folders (.mvprojd) open once the production is shown.\n"
           "\n"
           "       marvane locks [--json] [--user NAME] [--profile DIR] [PRODUCTION]\n"
           "lists every lock of the production: holder, machine, since, last seen, state.\n"
           "       marvane unlock [--force] [--user NAME] [--profile DIR] PROJECT\n"
           "removes an abandoned or silent lock (any lock with --force), and records it.\n";
}

} // namespace host
