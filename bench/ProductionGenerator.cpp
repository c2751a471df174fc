#include "ProductionGenerator.h"

#include "Marvane/projectbackend/LockFiles.h"

#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace bench {

namespace fs = std::filesystem;

GeneratedProduction GenerateProduction(const std::string& name, int count, int lockEvery) {
    GeneratedProduction production;
    production.root =
        fs::temp_directory_path() / ("marvane-bench-" + name + "-" + std::to_string(::getpid()));
    fs::remove_all(production.root);
    const std::vector<std::string> kinds = {"Scene", "Shot", "Interview", "Reel", "Promo"};
    for (int i = 0; i < count; ++i) {
        const fs::path folder = production.root / ("Episode " + std::to_string(i % 20 + 1)) /
                                ("Day " + std::to_string(i % 7 + 1));
        fs::create_directories(folder);
        const std::string stem = kinds[static_cast<std::size_t>(i) % kinds.size()] + " " +
                                 std::to_string(i) + (i % 3 == 0 ? " v2" : "");
        const fs::path project = folder / (stem + ".mvproj");
        std::ofstream(project) << R"({"formatVersion":1,"name":")" << stem
                               << R"(","bins":["Footage"],"sequences":[")"
                               << std::string(static_cast<std::size_t>(i % 500), 'x') << "\"]}\n";
        if (lockEvery > 0 && i % lockEvery == 0) {
            host::LockFileContent lock = host::MakeLockFileContent(
                "Editor " + std::to_string(i % 9), "suite-" + std::to_string(i % 4));
            std::ofstream(host::LockFilePathFor(project)) << host::SerialiseLockFile(lock);
        }
        production.projects.push_back(project);
    }
    return production;
}

} // namespace bench
