#include "ProductionGenerator.h"

#include "Marvane/projectbackend/LockFiles.h"

#include <fstream>
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

GeneratedProduction GenerateProduction(const std::string& name, const ProductionShape& shape) {
    GeneratedProduction production;
    production.root =
        fs::temp_directory_path() / ("marvane-bench-" + name + "-" + std::to_string(::getpid()));
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
    production.folders = shape.episodes * (1 + shape.daysPerEpisode);
    const std::vector<std::string> kinds = {"Scene", "Shot", "Interview", "Reel", "Promo"};
    for (int i = 0; i < shape.projects; ++i) {
        const bool top = i < shape.topLevelProjects;
        const fs::path folder = top ? production.root
                                    : production.root /
                                          ("Episode " + std::to_string(i % shape.episodes + 1)) /
                                          ("Day " + std::to_string(i % shape.daysPerEpisode + 1));
        const std::string stem = kinds[static_cast<std::size_t>(i) % kinds.size()] + " " +
                                 std::to_string(i) + (i % 3 == 0 ? " v2" : "");
        const fs::path project = folder / (stem + ".mvproj");
        WriteProject(project, stem, i);
        if (shape.lockEvery > 0 && i % shape.lockEvery == 0) {
            host::LockFileContent lock = host::MakeLockFileContent(
                "Editor " + std::to_string(i % 9), "suite-" + std::to_string(i % 4));
            std::ofstream(host::LockFilePathFor(project)) << host::SerialiseLockFile(lock);
        }
        production.projects.push_back(project);
    }
    return production;
}

GeneratedProduction GenerateProduction(const std::string& name, int count, int lockEvery) {
    ProductionShape shape;
    shape.projects = count;
    shape.lockEvery = lockEvery;
    return GenerateProduction(name, shape);
}

} // namespace bench
