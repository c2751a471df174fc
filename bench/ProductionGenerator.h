#pragma once
// Writes a realistic production for benchmarks: folders at two levels holding project files
// of varied names and sizes, a share of them locked by other editors.
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

struct GeneratedProduction {
    std::filesystem::path root;
    std::vector<std::filesystem::path> projects;
};

// Makes `count` projects under a fresh folder in the temporary directory; every `lockEvery`-th
// project gets a lock file of another editor (0: none).
GeneratedProduction GenerateProduction(const std::string& name, int count, int lockEvery);

} // namespace bench
