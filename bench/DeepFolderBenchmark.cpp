// The full path of a folder nested 600 deep (under the system's path limit), normalised as the
// panel and the directory monitor normalise every path they keep: through the host (one walk
// of the path by the kernel), against resolving it part by part as the standard library does
// (what the host did before), and against one stat of the same path (the floor), all in the
// same run. Normalising each folder of a deep tree part by part made Make a Copy and Move to
// Trash of a chain 1,000 deep wait seconds.
//
// And a copy of a chain of folders (1,000 deep, and 4,000 deep: past the longest path the
// system takes) against a copy of as many folders side by side in one folder: copied folder by
// folder through descriptors, the depth costs nothing (walked by whole paths, each level cost
// a walk of every level above it, and past the limit the copy failed).
#include "Marvane/fileservices/FileCopy.h"
#include "host/FileServices.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int kDepth = 600;

const fs::path& DeepFolder() {
    static const fs::path deep = [] {
        fs::path path = fs::temp_directory_path() /
                        ("marvane-bench-deep-" + std::to_string(::getpid())) / "Chain";
        fs::create_directories(path);
        for (int level = 0; level < kDepth; ++level) {
            path /= "Level";
        }
        fs::create_directories(path);
        return path;
    }();
    return deep;
}

void BM_HostNormalizesDeepPath(benchmark::State& state) {
    const host::WideString path = host::ToUTF16(DeepFolder().string());
    for (auto _ : state) {
        benchmark::DoNotOptimize(host::ToNormalizedPath(path));
    }
}

void BM_PartByPartCanonical(benchmark::State& state) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(fs::weakly_canonical(DeepFolder()));
    }
}

void BM_StatDeepPath(benchmark::State& state) {
    struct stat status {};
    for (auto _ : state) {
        benchmark::DoNotOptimize(::stat(DeepFolder().c_str(), &status));
    }
}

// A fresh folder of the benchmark's own, with `count` folders named "Level" one inside the
// other (deep) or side by side ("Level 1", "Level 2", ...).
fs::path FolderOfLevels(const std::string& name, int count, bool deep) {
    const fs::path top =
        fs::temp_directory_path() / ("marvane-bench-copy-" + std::to_string(::getpid())) / name;
    fs::create_directories(top);
    int folder = ::open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int level = 0; level < count && folder >= 0; ++level) {
        const std::string levelName = deep ? "Level" : "Level " + std::to_string(level);
        ::mkdirat(folder, levelName.c_str(), 0755);
        if (deep) {
            const int inner = ::openat(folder, levelName.c_str(), O_RDONLY | O_DIRECTORY);
            ::close(folder);
            folder = inner;
        }
    }
    if (folder >= 0) {
        ::close(folder);
    }
    return top;
}

void CopyLevels(benchmark::State& state, bool deep) {
    const int count = static_cast<int>(state.range(0));
    const fs::path from = FolderOfLevels(deep ? "Chain" : "Side by side", count, deep);
    const fs::path to = from.parent_path() / "Copy";
    for (auto _ : state) {
        std::vector<fs::path> made;
        host::CopyTree(from, to, made);
        state.PauseTiming();
        host::RemoveMade(made);
        state.ResumeTiming();
    }
    host::RemoveTree(from);
    state.counters["folders"] = count;
}

void BM_CopyDeepChain(benchmark::State& state) {
    CopyLevels(state, true);
}

void BM_CopyFoldersSideBySide(benchmark::State& state) {
    CopyLevels(state, false);
}

BENCHMARK(BM_CopyDeepChain)->Arg(1000)->Arg(4000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CopyFoldersSideBySide)->Arg(1000)->Arg(4000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_HostNormalizesDeepPath)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PartByPartCanonical)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_StatDeepPath)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    fs::remove_all(
        DeepFolder().parent_path().string().substr(0, DeepFolder().string().find("/Chain")),
        ignored);
    return 0;
}
