#include "Marvane/app/CommandLine.h"

namespace host {

CommandLineResult ParseCommandLine(const std::vector<std::string>& arguments) {
    CommandLineResult result;
    CommandLineOptions& options = result.options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        const auto value = [&](const char* what) -> std::optional<std::string> {
            if (i + 1 >= arguments.size() || arguments[i + 1].empty()) {
                result.error = argument + " needs " + what;
                return std::nullopt;
            }
            return arguments[++i];
        };
        if (argument == "--production") {
            if (auto folder = value("a folder")) {
                options.production = *folder;
            }
        } else if (argument == "--user") {
            if (auto name = value("a name")) {
                options.user = *name;
            }
        } else if (argument == "--profile") {
            if (auto folder = value("a folder")) {
                options.profile = *folder;
            }
        } else if (argument == "--plugins") {
            if (auto folder = value("a folder")) {
                options.plugins = *folder;
            }
        } else if (argument == "--screenshot") {
            if (auto file = value("a file name")) {
                options.screenshot = *file;
            }
        } else if (argument == "--list-commands") {
            options.listCommands = true;
        } else if (argument == "--help" || argument == "-h") {
            options.help = true;
        } else {
            result.error = "unknown argument \"" + argument + "\"";
        }
        if (!result.error.empty()) {
            break;
        }
    }
    return result;
}

std::string UsageText() {
    return "Usage: marvane [options]\n"
           "  --production FOLDER   open FOLDER as the production\n"
           "  --user NAME           lock projects under NAME (another editor on this machine)\n"
           "  --profile DIR         keep preferences and panel settings in DIR\n"
           "  --plugins DIR         load modules from DIR instead of the plugins folder\n"
           "  --list-commands       print every command context with its commands and exit\n"
           "  --screenshot FILE.png render the main window to FILE.png once the production\n"
           "                        is shown, then exit (works without a display)\n"
           "Without --production the last production opens, or the demo production.\n";
}

} // namespace host
