#pragma once
// Runs the real marvane executable with a clean display environment and captures its output.
#include <filesystem>
#include <string>
#include <vector>

struct ProcessResult {
    int exitCode = -1;
    std::string out;
    std::string err;
};

ProcessResult RunMarvane(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& environment = {});
