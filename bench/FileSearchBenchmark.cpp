// The production's search for projects by name, on the generated production of 100,000
// projects (about 131,000 entries) with a warm cache, against what the same walk costs by
// other means in the same run:
//   RawWalk       a single-thread getdents64 walk written here, matching nothing: the floor
//   Find          find <root> -iname '*text*' (a separate process, output thrown away)
//   StdFilesystem a std::filesystem::recursive_directory_iterator walk with the same match
//   Plocate       plocate -i over a database updatedb made of that tree alone, in this run:
//                 what an index answers in, the bar a name index of the production aims at
// and the same search over 10,000 projects through an sshfs mount (our own SSH server on the
// loopback), against find through the same mount.
// Run from an optimised build: build/dev/bin/file_search_benchmark
#include "Marvane/fileservices/NameIndex.h"
#include "ProductionGenerator.h"
#include "SshShare.h"
#include "host/FileServices.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr int kProjects = 100'000;
const char* const kText = "shot 1";

const bench::GeneratedProduction& Production() {
    static const bench::GeneratedProduction production = [] {
        bench::ProductionShape shape;
        shape.projects = kProjects;
        shape.topLevelProjects = 100;
        shape.episodes = 20;
        shape.ordinaryFilesPerFolder = 4;
        return bench::GenerateProduction("search", shape);
    }();
    return production;
}

// Every entry of the tree read once with getdents64, folders opened relative to their parent;
// nothing matched, nothing kept: what any search must at least do.
std::size_t RawWalk(int folder) {
    constexpr std::size_t kBufferBytes = 64 * 1024;
    static thread_local char buffer[kBufferBytes];
    std::size_t entries = 0;
    std::vector<std::string> folders;
    for (long read = 0; (read = ::syscall(SYS_getdents64, folder, buffer, kBufferBytes)) > 0;) {
        for (long offset = 0; offset < read;) {
            const char* entry = buffer + offset;
            unsigned short length = 0;
            std::memcpy(&length, entry + 16, sizeof(length));
            const char* name = entry + 19;
            if (name[0] != '.' && static_cast<unsigned char>(entry[18]) == DT_DIR) {
                folders.emplace_back(name);
            }
            ++entries;
            offset += length;
        }
    }
    for (const std::string& name : folders) {
        const int child = ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (child >= 0) {
            entries += RawWalk(child);
            ::close(child);
        }
    }
    return entries;
}

void BM_HostSearch(benchmark::State& state) {
    const fs::path root = Production().root;
    const host::WideString folder = host::ToUTF16(root.string());
    std::size_t found = 0;
    for (auto _ : state) {
        found = host::FindFilesOrDirectories(folder, {u".mvproj"}, host::ToUTF16(kText)).size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
}

void BM_RawWalk(benchmark::State& state) {
    const fs::path root = Production().root;
    std::size_t entries = 0;
    for (auto _ : state) {
        const int folder = ::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        entries = RawWalk(folder);
        ::close(folder);
        benchmark::DoNotOptimize(entries);
    }
    state.counters["entries"] = static_cast<double>(entries);
}

void BM_Find(benchmark::State& state) {
    const std::string command = "find '" + Production().root.string() + "' -iname '*" +
                                std::string(kText) + "*' > /dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("find failed");
            return;
        }
    }
}

// plocate's database of the generated tree, made once before any timing; empty when plocate
// is not installed.
fs::path PlocateDatabase() {
    static const fs::path database = [] {
        const fs::path root = Production().root;
        const fs::path made = root.parent_path() / (root.filename().string() + ".plocate.db");
        // Nothing pruned: the tree may lie under a folder the system's settings leave out.
        const std::string command = "updatedb --require-visibility 0 --prunepaths '' "
                                    "--prunefs '' --prunenames '' --database-root '" +
                                    root.string() + "' --output '" + made.string() + "'";
        return std::system(command.c_str()) == 0 ? made : fs::path();
    }();
    return database;
}

void BM_Plocate(benchmark::State& state) {
    const fs::path database = PlocateDatabase();
    if (database.empty()) {
        state.SkipWithError("plocate or its updatedb is not installed");
        return;
    }
    const std::string command = "plocate --database '" + database.string() + "' -i '" +
                                std::string(kText) + "' > /dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("plocate failed");
            return;
        }
    }
}

void BM_StdFilesystem(benchmark::State& state) {
    const fs::path root = Production().root;
    std::size_t found = 0;
    for (auto _ : state) {
        found = 0;
        std::error_code error;
        for (fs::recursive_directory_iterator it(root, error), end; !error && it != end;
             it.increment(error)) {
            const std::string name = it->path().filename().string();
            if (name.front() == '.') {
                if (it->is_directory(error)) {
                    it.disable_recursion_pending();
                }
                continue;
            }
            std::string folded = name;
            for (char& c : folded) {
                c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
            }
            const bool match = folded.size() > 7 && folded.ends_with(".mvproj") &&
                               folded.substr(0, folded.size() - 7).find(kText) != std::string::npos;
            found += match ? 1u : 0u;
        }
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
}

const bench::GeneratedProduction& SmallProduction() {
    static const bench::GeneratedProduction production = [] {
        bench::ProductionShape shape;
        shape.projects = 10'000;
        shape.topLevelProjects = 100;
        shape.episodes = 20;
        shape.ordinaryFilesPerFolder = 4;
        return bench::GenerateProduction("search-share", shape);
    }();
    return production;
}

// The host search (range 0) or find (range 1) through the mount.
void BM_SearchOnShare(benchmark::State& state) {
    if (const std::string why = testsupport::SshShare::WhyUnavailable(); !why.empty()) {
        state.SkipWithError(why.c_str());
        return;
    }
    const fs::path root = SmallProduction().root;
    const fs::path work = root.parent_path() / (root.filename().string() + "-share");
    testsupport::SshShare share;
    if (const std::string failed = share.Start(root, work / "mount", work / "ssh");
        !failed.empty()) {
        fs::remove_all(work);
        state.SkipWithError(failed.c_str());
        return;
    }
    const fs::path mount = work / "mount";
    const std::string command =
        "find '" + mount.string() + "' -iname '*" + std::string(kText) + "*' > /dev/null";
    std::size_t found = 0;
    for (auto _ : state) {
        if (state.range(0) == 0) {
            found = host::FindFilesOrDirectories(host::ToUTF16(mount.string()), {u".mvproj"},
                                                 host::ToUTF16(kText))
                        .size();
        } else if (std::system(command.c_str()) != 0) {
            state.SkipWithError("find failed");
            break;
        }
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
    share.Stop();
    fs::remove_all(work);
}

// The name index against plocate and the walk, on the kept productions of 10,000, 100,000
// and 1,000,000 projects: range(0) the production, range(1) the query (kQueries).
const std::vector<std::string> kQueries = {"scene 1005", "shot"}; // a few dozen; a fifth of all

const host::NameIndex& IndexOf(int projects, double* buildMs = nullptr) {
    static std::map<int, std::pair<std::unique_ptr<host::NameIndex>, double>> indexes;
    auto& [index, ms] = indexes[projects];
    if (!index) {
        index = std::make_unique<host::NameIndex>(bench::KeptProduction(projects).root,
                                                  std::vector<host::WideString>{u".mvproj"});
        const auto started = std::chrono::steady_clock::now();
        index->Build();
        ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - started)
                 .count();
    }
    if (buildMs != nullptr) {
        *buildMs = ms;
    }
    return *index;
}

void BM_IndexSearch(benchmark::State& state) {
    const auto projects = static_cast<int>(state.range(0));
    double buildMs = 0;
    const host::NameIndex& index = IndexOf(projects, &buildMs);
    const std::string& query = kQueries[static_cast<std::size_t>(state.range(1))];
    std::size_t found = 0;
    for (auto _ : state) {
        found = index.Find(query).size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
    state.counters["build_ms"] = buildMs;
    const double count = static_cast<double>(index.ProjectCount());
    state.counters["bytes_per_project"] = static_cast<double>(index.MemoryBytes()) / count;
    state.counters["bytes_per_project_beyond_names"] =
        static_cast<double>(index.MemoryBytes() - index.NameBytes()) / count;
}

// A keystroke more: "shot 1" after "shot", the second search alone timed (a fifth of the
// projects narrowed to a fiftieth); examined: the names looked at.
void BM_IndexNarrowing(benchmark::State& state) {
    const host::NameIndex& index = IndexOf(static_cast<int>(state.range(0)));
    std::size_t found = 0;
    for (auto _ : state) {
        state.PauseTiming();
        index.Find("shot");
        state.ResumeTiming();
        found = index.Find("shot 1").size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
    state.counters["examined"] = static_cast<double>(index.LastExamined());
}

void BM_WalkSearch(benchmark::State& state) {
    const fs::path root = bench::KeptProduction(static_cast<int>(state.range(0))).root;
    const std::string& query = kQueries[static_cast<std::size_t>(state.range(1))];
    std::size_t found = 0;
    for (auto _ : state) {
        found = host::FindFilesOrDirectories(host::ToUTF16(root.string()), {u".mvproj"},
                                             host::ToUTF16(query))
                    .size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["found"] = static_cast<double>(found);
}

void BM_PlocateKept(benchmark::State& state) {
    const fs::path root = bench::KeptProduction(static_cast<int>(state.range(0))).root;
    const fs::path database = root.string() + ".plocate.db";
    std::error_code error;
    if (!fs::exists(database, error) ||
        fs::last_write_time(database, error) < fs::last_write_time(root.string() + ".made")) {
        const std::string command = "updatedb --require-visibility 0 --prunepaths '' "
                                    "--prunefs '' --prunenames '' --database-root '" +
                                    root.string() + "' --output '" + database.string() + "'";
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("plocate or its updatedb is not installed");
            return;
        }
    }
    const std::string& query = kQueries[static_cast<std::size_t>(state.range(1))];
    const std::string command =
        "plocate --database '" + database.string() + "' -i '" + query + "' > /dev/null";
    for (auto _ : state) {
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("plocate failed");
            return;
        }
    }
}

void KeptSizes(benchmark::internal::Benchmark* benchmark) {
    for (const long projects : {10'000L, 100'000L, 1'000'000L}) {
        for (long query = 0; query < 2; ++query) {
            benchmark->Args({projects, query});
        }
    }
}

} // namespace

BENCHMARK(BM_SearchOnShare)
    ->ArgName("find")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
BENCHMARK(BM_RawWalk)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_HostSearch)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_Find)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_StdFilesystem)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_Plocate)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_IndexSearch)->Apply(KeptSizes)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_PlocateKept)->Apply(KeptSizes)->Unit(benchmark::kMillisecond)->MinTime(0.5);
BENCHMARK(BM_IndexNarrowing)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(0.5);
BENCHMARK(BM_WalkSearch)->Apply(KeptSizes)->Unit(benchmark::kMillisecond)->MinTime(0.5);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    Production(); // written before any timing starts
    PlocateDatabase();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    fs::remove_all(Production().root);
    if (!PlocateDatabase().empty()) {
        fs::remove(PlocateDatabase());
    }
    fs::remove_all(SmallProduction().root);
    return 0;
}
