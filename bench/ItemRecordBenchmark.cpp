// Refreshing item records: every field against one column's field, over 10,000 projects of
// which a third carry another editor's lock file. A refresh of a date or size column must
// read no lock file.
#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "ProductionGenerator.h"
#include "columns/FileMetadata.h"

#include <benchmark/benchmark.h>
#include <filesystem>

namespace {

using namespace HandlerTandrel::Columns;

constexpr int kProjects = 10'000;

const bench::GeneratedProduction& Production() {
    static const bench::GeneratedProduction production =
        bench::GenerateProduction("records", kProjects, 3);
    return production;
}

std::vector<FileMetadata> Records() {
    std::vector<FileMetadata> records;
    records.reserve(Production().projects.size());
    for (const auto& project : Production().projects) {
        records.emplace_back(host::ToUTF16(project.string()));
    }
    return records;
}

void UpdateAll(benchmark::State& state, bool all, ColumnID column) {
    host::HostSession::Instance().preferences.locking = {"Bench", "bench", true};
    std::vector<FileMetadata> records = Records();
    std::uint64_t lockReads = 0;
    for (auto _ : state) {
        const std::uint64_t before = host::LockFileReadCount();
        for (FileMetadata& record : records) {
            record.Update(all, column);
        }
        lockReads = host::LockFileReadCount() - before;
        benchmark::DoNotOptimize(records.data());
    }
    state.counters["records"] = static_cast<double>(records.size());
    state.counters["lock_reads_per_pass"] = static_cast<double>(lockReads);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(records.size()));
}

void UpdateEveryField(benchmark::State& state) {
    UpdateAll(state, true, kNameColumn);
}
void UpdateModifiedOnly(benchmark::State& state) {
    UpdateAll(state, false, kModifiedColumn);
}
void UpdateSizeOnly(benchmark::State& state) {
    UpdateAll(state, false, kSizeColumn);
}
void UpdateLockOnly(benchmark::State& state) {
    UpdateAll(state, false, kLockColumn);
}

} // namespace

BENCHMARK(UpdateEveryField)->Unit(benchmark::kMillisecond);
BENCHMARK(UpdateModifiedOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(UpdateSizeOnly)->Unit(benchmark::kMillisecond);
BENCHMARK(UpdateLockOnly)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
