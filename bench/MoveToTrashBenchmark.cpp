// Moving a folder of 1,000 locked projects to the production trash, against `mv` of the same
// kind of folder on the same file system in the same run. The trash move includes the checks
// the panel makes first, the folder watch being stopped and its 100 ms settle; on one file
// system it must stay a rename (the counter same_inode is 1 when it did). Batch names are
// unique in the process, so the benchmark can be repeated (--benchmark_repetitions).
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "utils/MoveItems.h"

#include <QCoreApplication>
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kProjects = 1'000;

fs::path Root() {
    static const fs::path root =
        fs::temp_directory_path() / ("marvane-bench-trash-" + std::to_string(::getpid()));
    return root;
}

// A folder of projects in two levels, each with a lock file of this editor.
void MakeBatch(const fs::path& folder) {
    for (int i = 0; i < kProjects; ++i) {
        const fs::path day = folder / ("Day " + std::to_string(i % 10 + 1));
        fs::create_directories(day);
        const fs::path project = day / ("Scene " + std::to_string(i) + ".mvproj");
        std::ofstream(project) << R"({"formatVersion":1,"name":"Scene","bins":[],"sequences":[]})";
        std::ofstream(host::LockFilePathFor(project))
            << host::SerialiseLockFile(host::MakeLockFileContent("Bench", "bench"));
    }
}

// A name no batch of this process had before, in this benchmark or a repetition of it.
std::string NextBatchName() {
    static int made = 0;
    return "Batch " + std::to_string(made++);
}

ino_t InodeOf(const fs::path& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

void BM_MoveFolderToTrash(benchmark::State& state) {
    const fs::path production = Root() / "Production";
    bool renamed = true;
    for (auto _ : state) {
        state.PauseTiming();
        const fs::path batch = production / NextBatchName();
        MakeBatch(batch);
        const ino_t before = InodeOf(batch);
        const std::vector<host::WideString> items = {host::ToUTF16(batch.string())};
        state.ResumeTiming();
        if (HandlerTandrel::Utils::CanMoveItems(items)) {
            HandlerTandrel::Utils::MoveToTrash(items, false, true);
        }
        state.PauseTiming();
        const fs::path moved = production / "Trash" / batch.filename();
        if (fs::exists(batch) || InodeOf(moved) != before) {
            renamed = false;
        }
        state.ResumeTiming();
    }
    state.counters["same_inode"] = renamed ? 1 : 0;
}

void BM_MvBaseline(benchmark::State& state) {
    const fs::path from = Root() / "Plain";
    const fs::path to = Root() / "Moved";
    fs::create_directories(to);
    for (auto _ : state) {
        state.PauseTiming();
        const fs::path batch = from / NextBatchName();
        MakeBatch(batch);
        const std::string command = "mv '" + batch.string() + "' '" + to.string() + "/'";
        state.ResumeTiming();
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("mv failed");
            break;
        }
    }
}

BENCHMARK(BM_MoveFolderToTrash)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_MvBaseline)->Unit(benchmark::kMillisecond)->Iterations(10);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    fs::remove_all(Root());
    fs::create_directories(Root() / "Production");
    host::HostSession::Instance().preferences.locking = {"Bench", "bench", true};
    if (!host::ProductionSession::Instance().Open(Root() / "Production").empty()) {
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    host::ProductionSession::Instance().Close();
    fs::remove_all(Root());
    return 0;
}
