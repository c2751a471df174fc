#pragma once
// Changes of every kind that another process makes to a production at random: projects made,
// renamed, moved between folders and removed; folders made (with projects), renamed, moved
// and removed with all they hold. For checks that something kept of the disk stays true to it.
#include "FileBytes.h"

#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace testsupport {

// Makes `count` random changes below root in a child process (seeded, so a failure can be
// repeated) and returns the folders they touched once it has ended; `tag` keeps the names of
// one call apart from another's. Empty when the child failed, or none of its changes could be
// made.
inline std::set<std::string> MakeRandomChanges(const std::filesystem::path& root, unsigned seed,
                                               int count, int tag) {
    namespace fs = std::filesystem;
    int touched[2];
    if (::pipe(touched) != 0) {
        return {};
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(touched[0]);
        const std::vector<std::string> stems = {"Shot", "shot", "Scene", "Promo", "scène", "Reel"};
        std::mt19937 changes(seed);
        const auto told = [&](const fs::path& folder) {
            const std::string line = folder.string() + "\n";
            (void)!::write(touched[1], line.data(), line.size());
        };
        const auto anyFolder = [&] {
            std::vector<fs::path> all{root};
            for (const auto& entry : fs::recursive_directory_iterator(root)) {
                if (entry.is_directory() && !entry.is_symlink() &&
                    entry.path().extension() != ".mvproj") {
                    all.push_back(entry.path());
                }
            }
            return all[changes() % all.size()];
        };
        const auto anyProject = [&]() -> fs::path {
            std::vector<fs::path> all;
            for (const auto& entry : fs::recursive_directory_iterator(root)) {
                if (entry.path().extension() == ".mvproj") {
                    all.push_back(entry.path());
                }
            }
            return all.empty() ? fs::path() : all[changes() % all.size()];
        };
        for (int change = 0; change < count; ++change) {
            try {
                std::error_code ignored;
                const fs::path folder = anyFolder();
                const std::string name = stems[changes() % stems.size()] + " " +
                                         std::to_string(1000 + tag * 100 + change);
                switch (changes() % 7) {
                case 0: // a project made
                    WriteBytes(folder / (name + ".mvproj"), "{}");
                    told(folder);
                    break;
                case 1: // a project renamed
                    if (const fs::path project = anyProject(); !project.empty()) {
                        fs::rename(project, project.parent_path() / (name + ".MVPROJ"), ignored);
                        told(project.parent_path());
                    }
                    break;
                case 2: // a project moved to another folder
                    if (const fs::path project = anyProject(); !project.empty()) {
                        fs::rename(project, folder / project.filename(), ignored);
                        told(project.parent_path());
                        told(folder);
                    }
                    break;
                case 3: // a project removed
                    if (const fs::path project = anyProject(); !project.empty()) {
                        fs::remove(project, ignored);
                        told(project.parent_path());
                    }
                    break;
                case 4: // a folder made, with projects
                    fs::create_directories(folder / name / "Inner", ignored);
                    WriteBytes(folder / name / ("In " + name + ".mvproj"), "{}");
                    WriteBytes(folder / name / "Inner" / ("Shot " + name + ".mvproj"), "{}");
                    told(folder);
                    break;
                case 5: // a folder renamed, or moved into another
                    if (folder != root) {
                        const fs::path to =
                            changes() % 2 == 0 ? folder.parent_path() / name : anyFolder() / name;
                        fs::rename(folder, to, ignored); // refused into itself
                        told(folder.parent_path());
                        told(to.parent_path());
                    }
                    break;
                case 6: // a folder removed with all it holds
                    if (folder != root) {
                        fs::remove_all(folder, ignored);
                        told(folder.parent_path());
                    }
                    break;
                }
            } catch (const std::exception&) {
                // A change that could not be made (a name taken by a folder, say) is skipped, as
                // another process's would fail; the folders it touched were told already.
            }
        }
        ::close(touched[1]);
        ::_exit(0);
    }
    ::close(touched[1]);
    std::string lines;
    char buffer[4096];
    for (ssize_t got = 0; (got = ::read(touched[0], buffer, sizeof buffer)) > 0;) {
        lines.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(touched[0]);
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        return {};
    }
    std::set<std::string> folders;
    for (std::size_t start = 0, end = 0; (end = lines.find('\n', start)) != std::string::npos;
         start = end + 1) {
        folders.insert(lines.substr(start, end - start));
    }
    return folders;
}

// A production of `folders` nested folders and `projects` projects spread over them at random.
inline void MakeRandomProduction(const std::filesystem::path& root, unsigned seed, int folders,
                                 int projects) {
    std::mt19937 random(seed);
    const std::vector<std::string> stems = {"Shot", "shot", "Scene", "Promo", "scène", "Reel"};
    std::vector<std::filesystem::path> made{root};
    std::filesystem::create_directories(root);
    for (int i = 0; i < folders; ++i) {
        made.push_back(made[random() % made.size()] / ("Day " + std::to_string(i)));
        std::filesystem::create_directories(made.back());
    }
    for (int i = 0; i < projects; ++i) {
        WriteBytes(made[random() % made.size()] /
                       (stems[random() % stems.size()] + " " + std::to_string(i) + ".mvproj"),
                   "{}");
    }
}

} // namespace testsupport
