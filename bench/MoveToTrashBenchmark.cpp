// Moving a folder of 1,000 locked projects to the production trash, against `mv` of the same
// kind of folder on the same file system in the same run. The trash move includes the checks
// the panel makes first, the folder watch being stopped and its 100 ms settle; on one file
// system it must stay a rename (the counter same_inode is 1 when it did). Batch names are
// unique in the process, so the benchmark can be repeated (--benchmark_repetitions).
// MoveManyProjectsToTrash moves 1,000 projects selected one by one, as the panel's command
// does: stall_ms is the longest the main thread did not answer a 1 ms timer meanwhile, with the
// window's long-work view installed (/1) and without it (/0: the command as it ran before it
// turned the window between items), against renaming the same files plainly (rename_ms, the
// floor).
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "utils/MoveItems.h"

#include "Marvane/app/LongWorkDialog.h"
#include "Marvane/fileservices/LongWork.h"
#include "host/FileServices.h"

#include "EventLoopWait.h"

#include <QApplication>
#include <benchmark/benchmark.h>
#include <cstdio>
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
            HandlerTandrel::Utils::MoveToTrash(items, HandlerTandrel::Utils::UnsavedChanges::kAsk,
                                               HandlerTandrel::Utils::ApplyToAll::kOffer);
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

// The projects of a batch, one by one.
std::vector<host::WideString> ProjectsOf(const fs::path& batch) {
    std::vector<host::WideString> projects;
    for (const auto& entry : fs::recursive_directory_iterator(batch)) {
        if (entry.path().extension() == ".mvproj") {
            projects.push_back(host::ToUTF16(entry.path().string()));
        }
    }
    return projects;
}

void BM_MoveManyProjectsToTrash(benchmark::State& state) {
    const bool turning = state.range(0) == 1;
    host::files::LongWorkView* const installed = host::files::CurrentLongWorkView();
    if (!turning) {
        host::files::SetLongWorkView(nullptr);
    }
    const fs::path production = Root() / "Production";
    double longestStall = 0;
    double renameSeconds = 0;
    for (auto _ : state) {
        state.PauseTiming();
        const fs::path batch = production / NextBatchName();
        MakeBatch(batch);
        const std::vector<host::WideString> items = ProjectsOf(batch);
        state.ResumeTiming();
        {
            benchsupport::StallWatch stalls;
            host::ItemByItemWork work("Moving to the Trash", items.size() * 3);
            if (HandlerTandrel::Utils::CanMoveItems(items, &work)) {
                HandlerTandrel::Utils::MoveToTrash(
                    items, HandlerTandrel::Utils::UnsavedChanges::kAsk,
                    HandlerTandrel::Utils::ApplyToAll::kOffer, &work);
            }
            longestStall = std::max(longestStall, stalls.LongestMs());
        }
        state.PauseTiming();
        // The locks taken for the moves go at the next turn of the event loop: here, outside
        // the figures, whether the command turned the window or not.
        QApplication::processEvents();
        if (!ProjectsOf(batch).empty()) {
            state.SkipWithError("not every project moved");
            break;
        }
        // The floor: the same files renamed plainly, project and lock.
        const fs::path plain = Root() / "Plain" / NextBatchName();
        MakeBatch(plain);
        const std::vector<host::WideString> again = ProjectsOf(plain);
        const fs::path to = Root() / "Moved" / plain.filename();
        fs::create_directories(to);
        const auto start = std::chrono::steady_clock::now();
        int index = 0;
        for (const host::WideString& project : again) {
            const fs::path from = host::ToUTF8(project);
            const fs::path into = to / (std::to_string(index++) + ".mvproj");
            std::rename(from.c_str(), into.c_str());
            std::rename(host::LockFilePathFor(from).c_str(), host::LockFilePathFor(into).c_str());
        }
        renameSeconds +=
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.ResumeTiming();
    }
    host::files::SetLongWorkView(installed);
    state.counters["projects"] = kProjects;
    state.counters["stall_ms"] = longestStall;
    state.counters["rename_ms"] =
        benchmark::Counter(renameSeconds * 1000.0, benchmark::Counter::kAvgIterations);
}

BENCHMARK(BM_MoveManyProjectsToTrash)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_MoveFolderToTrash)->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(BM_MvBaseline)->Unit(benchmark::kMillisecond)->Iterations(10);

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    // The window's view of long work: what the main thread does item by item turns the
    // event loop now and then, as it does under the window.
    host::LongWorkDialog view(nullptr);
    host::files::SetLongWorkView(&view);
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
    host::files::SetLongWorkView(nullptr);
    fs::remove_all(Root());
    return 0;
}
