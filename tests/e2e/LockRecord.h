#pragma once
// The record of broken locks that marvane keeps in a production, one JSON object a line.
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace e2e {

inline std::vector<nlohmann::json> LockRecord(const std::filesystem::path& production) {
    std::vector<nlohmann::json> lines;
    std::ifstream in(production / ".marvane" / "lock-breaks.log");
    for (std::string line; std::getline(in, line);) {
        lines.push_back(nlohmann::json::parse(line));
    }
    return lines;
}

} // namespace e2e
