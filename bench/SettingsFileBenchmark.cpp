// Loading and storing the panel settings file with 1,000 productions. Each store rewrites the
// whole file; repeated stores of the same states must not make it grow.
#include "Marvane/application/HostSession.h"
#include "state/ProductionSettingsStore.h"

#include <benchmark/benchmark.h>
#include <filesystem>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

constexpr int kProductions = 1'000;

TabViewStateData State(int i) {
    TabViewStateData state;
    const std::u16string base = u"/mnt/shows/Show " + host::ToUTF16(std::to_string(i));
    state.mDirectoryViewData.mOpenFolderPaths = {base + u"/Edit", base + u"/Dailies/Day 1"};
    state.mDirectoryViewData.mSelectedRowPaths = {base + u"/Edit/Scene 12.mvproj"};
    state.mDirectoryViewData.mHeaderRowData.mColumnDataList = {{0x4E616D65u, 240.0f},
                                                               {0x4C6F636Bu, 120.0f},
                                                               {0x4D6F6444u, 160.0f},
                                                               {0x43727444u, 160.0f},
                                                               {0x53697A65u, 80.0f}};
    state.mDirectoryViewData.mHeaderRowData.mSortColumnID = 0x4E616D65u;
    state.mDirectoryViewData.mTopVisibleRowPath = base + u"/Edit";
    state.mZoom = 0.25;
    state.mSearchText = u"scene";
    return state;
}

fs::path Profile() {
    static const fs::path profile = [] {
        const fs::path folder =
            fs::temp_directory_path() / ("marvane-bench-settings-" + std::to_string(::getpid()));
        fs::remove_all(folder);
        fs::create_directories(folder);
        host::HostSession::Instance().profileDirectory = folder;
        ProductionSettingsStore store;
        for (int i = 0; i < kProductions; ++i) {
            store.StoreProductionState(u"/mnt/shows/Show " + host::ToUTF16(std::to_string(i)),
                                       State(i));
        }
        return folder;
    }();
    return profile;
}

void LoadSettings(benchmark::State& state) {
    Profile();
    ProductionSettingsStore store;
    for (auto _ : state) {
        store.LoadProductionSettings();
        benchmark::DoNotOptimize(store.GetStates().size());
    }
    state.counters["productions"] = static_cast<double>(store.GetStates().size());
}

void StoreSettings(benchmark::State& state) {
    const fs::path file = Profile() / "Production Panel Settings";
    ProductionSettingsStore store;
    store.LoadProductionSettings();
    const auto sizeBefore = fs::file_size(file);
    int i = 0;
    for (auto _ : state) {
        store.StoreProductionState(u"/mnt/shows/Show " + host::ToUTF16(std::to_string(i)),
                                   State(i));
        i = (i + 1) % kProductions;
    }
    state.counters["productions"] = static_cast<double>(store.GetStates().size());
    state.counters["file_bytes"] = static_cast<double>(fs::file_size(file));
    state.counters["growth_bytes"] =
        static_cast<double>(fs::file_size(file)) - static_cast<double>(sizeBefore);
}

} // namespace

BENCHMARK(LoadSettings)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreSettings)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
