// The full path of a folder nested 600 deep (under the system's path limit), normalised as the
// panel and the directory monitor normalise every path they keep: through the host (one walk
// of the path by the kernel), against resolving it part by part as the standard library does
// (what the host did before), and against one stat of the same path (the floor), all in the
// same run. Normalising each folder of a deep tree part by part made Make a Copy and Move to
// Trash of a chain 1,000 deep wait seconds.
#include "host/FileServices.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

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
