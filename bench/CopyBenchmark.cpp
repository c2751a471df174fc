// Copying a folder of 1,000 projects (2,000 files: each project and its search index) with the
// host's copy, against `cp -a` followed by one sync of the file system (the same durability)
// and `cp -a` followed by an fsync of every file, in the same rounds; and moving such a folder
// from another file system (a tmpfs, so the move copies, verifies and removes) against `mv`
// followed by one sync. A build machine's disk may throttle after a burst of writes: every
// timed step starts after a sync of everything, and the first round, unthrottled, is given
// beside the median of all rounds.
#include "host/FileServices.h"

#include <QCoreApplication>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kProjects = 1'000;

fs::path Root() {
    static const fs::path root =
        fs::temp_directory_path() / ("marvane-bench-copy-" + std::to_string(::getpid()));
    return root;
}

// Another file system than the root's, for moves that must copy: a tmpfs where there is one.
fs::path OtherFileSystem() {
    static const fs::path other = [] {
        struct stat here {};
        struct stat shm {};
        if (::stat(fs::temp_directory_path().c_str(), &here) == 0 &&
            ::stat("/dev/shm", &shm) == 0 && here.st_dev != shm.st_dev &&
            ::access("/dev/shm", W_OK) == 0) {
            return fs::path("/dev/shm") / ("marvane-bench-copy-" + std::to_string(::getpid()));
        }
        return fs::path();
    }();
    return other;
}

// Ten day folders of 100 projects each, every project with its search index beside it.
void MakeFolder(const fs::path& folder) {
    for (int i = 0; i < kProjects; ++i) {
        const fs::path day = folder / ("Day " + std::to_string(i % 10 + 1));
        fs::create_directories(day);
        const std::string name = "Scene " + std::to_string(i) + ".mvproj";
        std::ofstream(day / name) << R"({"formatVersion":1,"name":"Scene )" << i
                                  << R"(","bins":["Footage","Audio"],"sequences":[")"
                                  << std::string(static_cast<std::size_t>(200 + i % 800), 'x')
                                  << "\"]}\n";
        std::ofstream(day / ("." + name + ".mvindex"))
            << R"({"bins":["Footage","Audio"],"sequences":["Scene )" << i << "\"]}\n";
    }
}

std::string Quoted(const fs::path& path) {
    return "'" + path.string() + "'";
}

// Runs a shell command, timed; a negative time when it failed.
double TimedCommand(const std::string& command) {
    const auto start = Clock::now();
    if (std::system(command.c_str()) != 0) {
        return -1;
    }
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Times per step, in milliseconds, round by round.
class Rounds {
public:
    void Add(const std::string& step, double milliseconds) { mTimes[step].push_back(milliseconds); }
    void Report(benchmark::State& state) const {
        for (const auto& [step, times] : mTimes) {
            state.counters[step + "_first_ms"] = times.empty() ? 0 : times.front();
            state.counters[step + "_median_ms"] = Median(times);
        }
    }

private:
    std::map<std::string, std::vector<double>> mTimes;
};

void BM_CopyFolder(benchmark::State& state) {
    const fs::path source = Root() / "Source";
    MakeFolder(source);
    Rounds rounds;
    int round = 0;
    for (auto _ : state) {
        const fs::path copy = Root() / ("Copy " + std::to_string(round));
        const fs::path cpSynced = Root() / ("cp sync " + std::to_string(round));
        const fs::path cpFsynced = Root() / ("cp fsync " + std::to_string(round));
        ++round;
        ::sync();
        const auto start = Clock::now();
        host::Copy(host::ToUTF16(source.string()), host::ToUTF16(copy.string()));
        const double copied =
            std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        state.SetIterationTime(copied / 1000.0);
        rounds.Add("copy", copied);
        ::sync();
        const double synced = TimedCommand("cp -a " + Quoted(source) + " " + Quoted(cpSynced) +
                                           " && sync -f " + Quoted(cpSynced));
        ::sync();
        const double fsynced =
            TimedCommand("cp -a " + Quoted(source) + " " + Quoted(cpFsynced) + " && find " +
                         Quoted(cpFsynced) + " -type f -exec sync {} +");
        if (synced < 0 || fsynced < 0) {
            state.SkipWithError("cp failed");
            return;
        }
        rounds.Add("cp_sync", synced);
        rounds.Add("cp_fsync", fsynced);
        for (const fs::path& made : {copy, cpSynced, cpFsynced}) {
            fs::remove_all(made);
        }
    }
    rounds.Report(state);
}

void BM_MoveFolderAcrossFileSystems(benchmark::State& state) {
    if (OtherFileSystem().empty()) {
        state.SkipWithError("no second file system (/dev/shm) to move from");
        return;
    }
    Rounds rounds;
    int round = 0;
    for (auto _ : state) {
        const fs::path from = OtherFileSystem() / ("Source " + std::to_string(round));
        const fs::path fromForMv = OtherFileSystem() / ("mv source " + std::to_string(round));
        const fs::path moved = Root() / ("Moved " + std::to_string(round));
        const fs::path mvMoved = Root() / ("mv moved " + std::to_string(round));
        ++round;
        MakeFolder(from);
        MakeFolder(fromForMv);
        ::sync();
        const auto start = Clock::now();
        const int result = host::Move(host::ToUTF16(from.string()), host::ToUTF16(moved.string()));
        const double took = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        if (result != 0 || fs::exists(from)) {
            state.SkipWithError("the move failed");
            return;
        }
        state.SetIterationTime(took / 1000.0);
        rounds.Add("move", took);
        ::sync();
        const double mv = TimedCommand("mv " + Quoted(fromForMv) + " " + Quoted(mvMoved) +
                                       " && sync -f " + Quoted(mvMoved));
        if (mv < 0) {
            state.SkipWithError("mv failed");
            return;
        }
        rounds.Add("mv_sync", mv);
        fs::remove_all(moved);
        fs::remove_all(mvMoved);
    }
    rounds.Report(state);
}

BENCHMARK(BM_CopyFolder)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);
BENCHMARK(BM_MoveFolderAcrossFileSystems)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    fs::remove_all(Root());
    fs::create_directories(Root());
    if (!OtherFileSystem().empty()) {
        fs::remove_all(OtherFileSystem());
        fs::create_directories(OtherFileSystem());
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fs::remove_all(Root());
    if (!OtherFileSystem().empty()) {
        fs::remove_all(OtherFileSystem());
    }
    return 0;
}
