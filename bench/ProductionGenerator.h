#pragma once
// Writes a realistic production for benchmarks: projects at the top and in episode and day
// folders, of varied names and sizes, a share of them locked by other editors, and ordinary
// files (notes, exports) beside them that the panel never lists.
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

struct ProductionShape {
    int projects = 10'000;    // in all, the top level included
    int topLevelProjects = 0; // how many of them sit at the top
    int episodes = 20;        // folders at the top
    int daysPerEpisode = 7;   // folders in each episode; the other projects are spread here
    int lockEvery = 3;        // every n-th project has another editor's lock file (0: none)
    int ordinaryFilesPerFolder = 0;
};

struct GeneratedProduction {
    std::filesystem::path root;
    std::vector<std::filesystem::path> projects;
    int folders = 0;
    int topLevel = 0; // rows at the top: its projects and episode folders
};

GeneratedProduction GenerateProduction(const std::string& name, const ProductionShape& shape);

// A production of `projects` projects, a hundred a folder (days in episodes, a hundred at the
// top), kept in the build folder: written by the first run that asks for it (its time printed),
// found again by later runs. Never changed by a benchmark.
const GeneratedProduction& KeptProduction(int projects);

// `count` projects, all in episode and day folders; every `lockEvery`-th is locked (0: none).
GeneratedProduction GenerateProduction(const std::string& name, int count, int lockEvery);

} // namespace bench
