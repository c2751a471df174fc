#include "ProductionGenerator.h"

#include "Marvane/projectbackend/LockFiles.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <map>
#include <unistd.h>

namespace bench {

namespace fs = std::filesystem;

namespace {

void WriteProject(const fs::path& project, const std::string& stem, int index) {
    std::ofstream(project) << R"({"formatVersion":1,"name":")" << stem
                           << R"(","bins":["Footage"],"sequences":[")"
                           << std::string(static_cast<std::size_t>(index % 500), 'x') << "\"]}\n";
}

void WriteOrdinaryFiles(const fs::path& folder, int count) {
    for (int i = 0; i < count; ++i) {
        std::ofstream(folder / ("notes " + std::to_string(i) + (i % 2 == 0 ? ".txt" : ".mov")))
            << "not a project\n";
    }
}

} // namespace

namespace {

// The production of that shape at root: written, or (write false) only its paths made, for a
// production written by an earlier run.
GeneratedProduction Production(const fs::path& root, const ProductionShape& shape, bool write) {
    GeneratedProduction production;
    production.root = root;
    if (write) {
        fs::remove_all(production.root);
        fs::create_directories(production.root);
        WriteOrdinaryFiles(production.root, shape.ordinaryFilesPerFolder);
        for (int episode = 1; episode <= shape.episodes; ++episode) {
            for (int day = 1; day <= shape.daysPerEpisode; ++day) {
                const fs::path folder = production.root / ("Episode " + std::to_string(episode)) /
                                        ("Day " + std::to_string(day));
                fs::create_directories(folder);
                WriteOrdinaryFiles(folder, shape.ordinaryFilesPerFolder);
            }
        }
    }
    production.folders = shape.episodes * (1 + shape.daysPerEpisode);
    production.topLevel = std::min(shape.topLevelProjects, shape.projects) + shape.episodes;
    const std::vector<std::string> kinds = {"Scene", "Shot", "Interview", "Reel", "Promo"};
    production.projects.reserve(static_cast<std::size_t>(shape.projects));
    for (int i = 0; i < shape.projects; ++i) {
        const bool top = i < shape.topLevelProjects;
        // The rest in turn into every day of every episode.
        const int day = (i - shape.topLevelProjects) % (shape.episodes * shape.daysPerEpisode);
        const fs::path folder =
            top ? production.root
                : production.root / ("Episode " + std::to_string(day / shape.daysPerEpisode + 1)) /
                      ("Day " + std::to_string(day % shape.daysPerEpisode + 1));
        const std::string stem = kinds[static_cast<std::size_t>(i) % kinds.size()] + " " +
                                 std::to_string(i) + (i % 3 == 0 ? " v2" : "");
        const fs::path project = folder / (stem + ".mvproj");
        if (write) {
            WriteProject(project, stem, i);
            if (shape.lockEvery > 0 && i % shape.lockEvery == 0) {
                host::LockFileContent lock = host::MakeLockFileContent(
                    "Editor " + std::to_string(i % 9), "suite-" + std::to_string(i % 4));
                std::ofstream(host::LockFilePathFor(project)) << host::SerialiseLockFile(lock);
            }
        }
        production.projects.push_back(project);
    }
    return production;
}

std::string ShapeText(const ProductionShape& shape) {
    // The first number is the layout's: a kept production of an older layout is made again.
    return "2 " + std::to_string(shape.projects) + " " + std::to_string(shape.topLevelProjects) +
           " " + std::to_string(shape.episodes) + " " + std::to_string(shape.daysPerEpisode) + " " +
           std::to_string(shape.lockEvery) + " " + std::to_string(shape.ordinaryFilesPerFolder) +
           "\n";
}

} // namespace

GeneratedProduction GenerateProduction(const std::string& name, const ProductionShape& shape) {
    return Production(fs::temp_directory_path() /
                          ("marvane-bench-" + name + "-" + std::to_string(::getpid())),
                      shape, true);
}

const GeneratedProduction& KeptProduction(int projects) {
    static std::map<int, GeneratedProduction> kept;
    if (const auto found = kept.find(projects); found != kept.end()) {
        return found->second;
    }
    // A hundred projects a folder, as productions are organised: days in episodes.
    ProductionShape shape;
    shape.projects = projects;
    shape.topLevelProjects = 100;
    shape.episodes = std::max(10, projects / 10'000);
    shape.daysPerEpisode = std::max(10, projects / 100 / shape.episodes);
    shape.ordinaryFilesPerFolder = 2;
    const fs::path root =
        fs::path(MARVANE_BENCH_PRODUCTIONS) / ("production-" + std::to_string(projects));
    const fs::path stamp = root.string() + ".made";
    std::string made;
    if (std::ifstream in(stamp); in) {
        std::getline(in, made);
        made += "\n";
    }
    const bool write = made != ShapeText(shape);
    const auto started = std::chrono::steady_clock::now();
    if (write) {
        fs::remove(stamp);
    }
    GeneratedProduction production = Production(root, shape, write);
    if (write) {
        std::ofstream(stamp) << ShapeText(shape);
        std::fprintf(
            stderr, "Generated %d projects in %s in %.1f s (kept for later runs)\n", projects,
            root.c_str(),
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count());
    }
    return kept.emplace(projects, std::move(production)).first->second;
}

GeneratedProduction GenerateProduction(const std::string& name, int count, int lockEvery) {
    ProductionShape shape;
    shape.projects = count;
    shape.lockEvery = lockEvery;
    return GenerateProduction(name, shape);
}

} // namespace bench
