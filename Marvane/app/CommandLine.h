#pragma once
// marvane [--production FOLDER] [--user NAME] [--profile DIR] [--plugins DIR]
//         [--list-commands] [--screenshot FILE.png] [--script] [--demo-editor] [--help]
//         [--version]
//         [FOLDER] [PROJECT ...]
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct CommandLineOptions {
    std::optional<std::filesystem::path> production;
    std::optional<std::string> user;
    std::optional<std::filesystem::path> profile;
    std::optional<std::filesystem::path> plugins;
    std::optional<std::filesystem::path> screenshot;
    // Opened after the production; a folder that is not a project is taken as the production.
    std::vector<std::filesystem::path> projects;
    bool listCommands = false;
    bool demoEditor = false; // on the demo production, a second editor holds a project
    bool script = false;
    bool help = false;
    bool version = false;
};

struct CommandLineResult {
    CommandLineOptions options;
    std::string error; // empty when the arguments were understood
};

CommandLineResult ParseCommandLine(const std::vector<std::string>& arguments);
std::string UsageText();
// "marvane 0.1.0": the name and version, as --version and Help > About give them.
std::string VersionText();

} // namespace host
