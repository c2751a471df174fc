// The production tree over generated productions of 10,000 and 100,000 projects (the same top
// level in both: 100 projects, 20 episode folders and a few ordinary files):
// - FirstRows: from the production being opened to its first rows drawn, all folders closed,
//   against listing and stat-ing the top folder alone, measured in the same iterations; the
//   same again through an sshfs mount of the production (FirstRowsOnShare);
// - Expand: opening one day folder for the first time;
// - Resort: re-sorting by size and back by name with one read-then-closed day folder;
// - MemoryPerRow: heap per row with every folder open.
// The counters give, per iteration, the lock-file reads, the stats of the rows' records and
// the stats of directory listings, next to the rows shown: they must follow what is shown.
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/TabViewImpl.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "ProductionGenerator.h"
#include "SshShare.h"
#include "WindowlessWorkspace.h"
#include "columns/ColumnIDs.h"
#include "directoryview/TandrelDirectoryView.h"
#include "panel/TandrelTabView.h"

#include "EventLoopWait.h"

#include <QAbstractItemModel>
#include <QApplication>
#include <QElapsedTimer>
#include <QTreeView>
#include <benchmark/benchmark.h>
#include <chrono>
#include <dirent.h>
#include <functional>
#include <malloc.h>
#include <map>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using host::TreeRowPtr;

constexpr int kTopLevelProjects = 100;
constexpr int kEpisodes = 20;
constexpr int kOrdinaryFiles = 4;

const bench::GeneratedProduction& ProductionOf(int projects) {
    static std::map<int, bench::GeneratedProduction> made;
    auto found = made.find(projects);
    if (found == made.end()) {
        bench::ProductionShape shape;
        shape.projects = projects;
        shape.topLevelProjects = kTopLevelProjects;
        shape.episodes = kEpisodes;
        shape.ordinaryFilesPerFolder = kOrdinaryFiles;
        found = made.emplace(projects,
                             bench::GenerateProduction("tree-" + std::to_string(projects), shape))
                    .first;
    }
    return found->second;
}

void RemoveProductions() {
    for (const int size : {10'000, 100'000}) {
        fs::remove_all(fs::temp_directory_path() / ("marvane-bench-tree-" + std::to_string(size) +
                                                    "-" + std::to_string(::getpid())));
    }
}

using benchsupport::PaintWatch;
using benchsupport::WaitUntil;

// Runs `action`, then the event loop until the tree's rows area has been drawn once after
// `ready` held. `ready` is checked as rows enter the model, change, or are laid out again;
// `readyAt` gets the moment it first held.
bool RunUntilDrawn(QTreeView& view, const std::function<void()>& action,
                   const std::function<bool()>& ready, Clock::time_point* readyAt = nullptr) {
    PaintWatch watch(view.viewport());
    const auto check = [&] {
        if (!watch.armed && ready()) {
            watch.armed = true;
            if (readyAt != nullptr) {
                *readyAt = Clock::now();
            }
        }
    };
    QAbstractItemModel* model = view.model();
    const auto inserted = QObject::connect(model, &QAbstractItemModel::rowsInserted, check);
    const auto laidOut = QObject::connect(model, &QAbstractItemModel::layoutChanged, check);
    const auto changed = QObject::connect(model, &QAbstractItemModel::dataChanged, check);
    action();
    check();
    const bool drawn = WaitUntil([&] { return watch.painted; });
    QObject::disconnect(inserted);
    QObject::disconnect(laidOut);
    QObject::disconnect(changed);
    return drawn;
}

// What listing the production's top folder costs without any view: read it and stat every
// entry, as a file browser would.
int ListAndStatTopFolder(const fs::path& folder) {
    int entries = 0;
    DIR* directory = ::opendir(folder.c_str());
    while (const dirent* item = directory ? ::readdir(directory) : nullptr) {
        const std::string name = item->d_name;
        if (name == "." || name == "..") {
            continue;
        }
        struct stat status {};
        entries += ::stat((folder / name).c_str(), &status) == 0 ? 1 : 0;
    }
    if (directory) {
        ::closedir(directory);
    }
    return entries;
}

struct IoSnapshot {
    std::uint64_t lockReads = host::LockFileReadCount();
    std::uint64_t recordStats = host::FileInfoStatCount();
    std::uint64_t listingStats = host::ListingStatCount();
};

class Counters {
public:
    void Add(const IoSnapshot& before) {
        const IoSnapshot after;
        mLockReads += static_cast<double>(after.lockReads - before.lockReads);
        mRecordStats += static_cast<double>(after.recordStats - before.recordStats);
        mListingStats += static_cast<double>(after.listingStats - before.listingStats);
    }
    void Report(benchmark::State& state, double rowsShown) const {
        const auto perIteration = benchmark::Counter::kAvgIterations;
        state.counters["lock_reads"] = benchmark::Counter(mLockReads, perIteration);
        state.counters["record_stats"] = benchmark::Counter(mRecordStats, perIteration);
        state.counters["listing_stats"] = benchmark::Counter(mListingStats, perIteration);
        state.counters["rows_shown"] = rowsShown;
    }

private:
    double mLockReads = 0;
    double mRecordStats = 0;
    double mListingStats = 0;
};

// The Production panel, shown on the offscreen platform, with no production open.
class Panel {
public:
    Panel() {
        host::ProductionSession::Instance().Close();
        mPanel = std::make_shared<HandlerTandrel::TandrelTabView>();
        mPanel->PostSharedPtrInit();
        mPanel->Create(1, "Production", nullptr, 0);
        mPanel->GetImpl()->content->resize(900, 600);
        mPanel->GetImpl()->content->show();
        QApplication::processEvents();
    }
    ~Panel() {
        host::ProductionSession::Instance().Close();
        mPanel.reset();
        host::WaitForDefaultExecutor(60'000);
        host::DirectoryMonitor::Instance().Reset();
        QApplication::processEvents();
    }
    Panel(const Panel&) = delete;
    Panel& operator=(const Panel&) = delete;

    HandlerTandrel::TandrelDirectoryView& View() const { return *mPanel->GetDirectoryView(); }
    host::UI_MultiColumnTree& Tree() const { return View().GetTree(); }

    // Opens the production and waits until the event loop has drawn its top rows. `rowsIn`,
    // when given, is when they were all in the tree with their records (lock state, dates and
    // size) read.
    bool Open(const fs::path& root, int topRows, Clock::time_point* rowsIn = nullptr) {
        bool opened = true;
        const bool drawn = RunUntilDrawn(
            *Tree().GetImpl()->view,
            [&] {
                const auto start = Clock::now();
                opened = host::ProductionSession::Instance().Open(root).empty();
                openCallSeconds += std::chrono::duration<double>(Clock::now() - start).count();
            },
            [&] { return Tree().GetTopLevelRowCount() == topRows && TopRecordsRead(); }, rowsIn);
        return opened && drawn;
    }
    void Close() {
        host::ProductionSession::Instance().Close();
        WaitUntil([&] { return Tree().GetTopLevelRowCount() == 0; });
        host::WaitForDefaultExecutor(60'000);
    }
    bool TopRecordsRead() const {
        int read = 0;
        for (int index = 0; index < Tree().GetTopLevelRowCount(); ++index) {
            const TreeRowPtr row = Tree().GetTopLevelRow(index);
            read += View().GetRowMetadata(row) && !View().IsRowMetadataStale(row) ? 1 : 0;
        }
        return read == kTopLevelProjects;
    }
    TreeRowPtr Row(const fs::path& path) const {
        return View().GetRowForPath(host::ToUTF16(path.string()));
    }
    // Opens a folder row and waits until its rows are there and drawn.
    bool Expand(const fs::path& folder, int children) {
        const TreeRowPtr row = Row(folder);
        if (!row) {
            return false;
        }
        return RunUntilDrawn(
            *Tree().GetImpl()->view, [&] { Tree().OpenRow(row, true); },
            [&] { return row->GetChildCount() == children; });
    }

    double openCallSeconds = 0;

private:
    std::shared_ptr<HandlerTandrel::TandrelTabView> mPanel;
};

int TopRows() {
    return kTopLevelProjects + kEpisodes;
}

int ProjectsPerDay(int projects) {
    // Projects past the top are spread round-robin over the 140 day folders; Day 1 of
    // Episode 1 gets those whose index is 0 modulo 140.
    int count = 0;
    for (int i = kTopLevelProjects; i < projects; ++i) {
        count += (i % kEpisodes == 0 && i % 7 == 0) ? 1 : 0;
    }
    return count;
}

// Opens the production at `folder` once per iteration, timed to its first rows drawn, and
// lists and stats its top folder in the same iterations for comparison.
void MeasureFirstRows(benchmark::State& state, const fs::path& folder) {
    Panel panel;
    Counters counters;
    double baselineSeconds = 0;
    double rowsSeconds = 0;
    for (auto _ : state) {
        panel.Close();
        const auto listStart = Clock::now();
        benchmark::DoNotOptimize(ListAndStatTopFolder(folder));
        baselineSeconds += std::chrono::duration<double>(Clock::now() - listStart).count();
        const IoSnapshot before;
        Clock::time_point rowsIn;
        const auto start = Clock::now();
        if (!panel.Open(folder, TopRows(), &rowsIn)) {
            state.SkipWithError("the production's rows did not appear");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        rowsSeconds += std::chrono::duration<double>(rowsIn - start).count();
        counters.Add(before);
    }
    counters.Report(state, TopRows());
    const double iterations = static_cast<double>(state.iterations());
    state.counters["list_stat_ms"] = baselineSeconds * 1000.0 / iterations;
    state.counters["records_in_ms"] = rowsSeconds * 1000.0 / iterations;
    state.counters["open_call_ms"] = panel.openCallSeconds * 1000.0 / iterations;
}

void BM_FirstRows(benchmark::State& state) {
    MeasureFirstRows(state, ProductionOf(static_cast<int>(state.range(0))).root);
}

// The same over the production served by our own SSH server and mounted with sshfs, where
// every call crosses the network (here the loopback) as on a shared drive.
void BM_FirstRowsOnShare(benchmark::State& state) {
    const bench::GeneratedProduction& production = ProductionOf(static_cast<int>(state.range(0)));
    if (const std::string why = testsupport::SshShare::WhyUnavailable(); !why.empty()) {
        state.SkipWithError(why.c_str());
        return;
    }
    const fs::path work =
        production.root.parent_path() / (production.root.filename().string() + "-share");
    testsupport::SshShare share;
    if (const std::string failed = share.Start(production.root, work / "mount", work / "ssh");
        !failed.empty()) {
        fs::remove_all(work);
        state.SkipWithError(failed.c_str());
        return;
    }
    MeasureFirstRows(state, work / "mount");
    share.Stop();
    fs::remove_all(work);
}

void BM_Expand(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const bench::GeneratedProduction& production = ProductionOf(size);
    const fs::path episode = production.root / "Episode 1";
    const fs::path day = episode / "Day 1";
    const int shown = ProjectsPerDay(size);
    Panel panel;
    Counters counters;
    for (auto _ : state) {
        panel.Close();
        if (!panel.Open(production.root, TopRows()) || !panel.Expand(episode, 7)) {
            state.SkipWithError("the production's rows did not appear");
            return;
        }
        const IoSnapshot before;
        const auto start = Clock::now();
        if (!panel.Expand(day, shown)) {
            state.SkipWithError("the day folder's rows did not appear");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        counters.Add(before);
    }
    counters.Report(state, shown);
}

void BM_Resort(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const bench::GeneratedProduction& production = ProductionOf(size);
    const fs::path episode = production.root / "Episode 1";
    const fs::path day = episode / "Day 1";
    Panel panel;
    panel.Close();
    if (!panel.Open(production.root, TopRows()) || !panel.Expand(episode, 7) ||
        !panel.Expand(day, ProjectsPerDay(size))) {
        state.SkipWithError("the production's rows did not appear");
        return;
    }
    // Closed again: its rows stay in the tree, their records stale until it opens.
    panel.Tree().OpenRow(panel.Row(day), false);
    auto& header = panel.View().GetHeaderRow();
    Counters counters;
    const std::uint64_t asked = panel.Tree().GetSortDataRequestCount();
    bool bySize = false;
    for (auto _ : state) {
        bySize = !bySize;
        header.SetSortColumn(bySize ? HandlerTandrel::Columns::kSizeColumn
                                    : HandlerTandrel::Columns::kNameColumn);
        const IoSnapshot before;
        const auto start = Clock::now();
        if (!RunUntilDrawn(
                *panel.Tree().GetImpl()->view, [&] { panel.Tree().Resort(); },
                [] { return true; })) {
            state.SkipWithError("the tree was not drawn");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        counters.Add(before);
    }
    const double iterations = static_cast<double>(state.iterations());
    counters.Report(state, TopRows() + 7);
    state.counters["rows_asked"] =
        static_cast<double>(panel.Tree().GetSortDataRequestCount() - asked) / iterations;
    header.SetSortColumn(HandlerTandrel::Columns::kNameColumn);
}

void BM_MemoryPerRow(benchmark::State& state) {
    const int size = static_cast<int>(state.range(0));
    const bench::GeneratedProduction& production = ProductionOf(size);
    for (auto _ : state) {
        Panel panel;
        ::malloc_trim(0);
        const std::size_t heapBefore = ::mallinfo2().uordblks;
        if (!panel.Open(production.root, TopRows())) {
            state.SkipWithError("the production's rows did not appear");
            return;
        }
        for (int e = 1; e <= kEpisodes; ++e) {
            const fs::path episode = production.root / ("Episode " + std::to_string(e));
            if (!panel.Expand(episode, 7)) {
                state.SkipWithError("an episode's rows did not appear");
                return;
            }
            for (int d = 1; d <= 7; ++d) {
                const fs::path dayFolder = episode / ("Day " + std::to_string(d));
                const TreeRowPtr row = panel.Row(dayFolder);
                panel.Tree().OpenRow(row, true);
            }
        }
        const std::size_t rows = static_cast<std::size_t>(size) + 7u * kEpisodes + kEpisodes;
        if (!WaitUntil([&] { return panel.Tree().GetOpenedRows().size() == rows; })) {
            state.SkipWithError("not every row appeared");
            return;
        }
        host::WaitForDefaultExecutor(60'000);
        QApplication::processEvents();
        const std::size_t heapAfter = ::mallinfo2().uordblks;
        state.counters["rows"] = static_cast<double>(rows);
        state.counters["bytes_per_row"] =
            static_cast<double>(heapAfter - heapBefore) / static_cast<double>(rows);
    }
}

// Both production sizes, timed by the benchmark itself.
void AtBothSizes(benchmark::internal::Benchmark* run) {
    run->Arg(10'000)->Arg(100'000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_FirstRows)->Apply(AtBothSizes)->Iterations(20);
BENCHMARK(BM_FirstRowsOnShare)->Apply(AtBothSizes)->Iterations(20);
BENCHMARK(BM_Expand)->Apply(AtBothSizes)->Iterations(10);
BENCHMARK(BM_Resort)->Apply(AtBothSizes)->Iterations(20);
BENCHMARK(BM_MemoryPerRow)->Arg(100'000)->Unit(benchmark::kMillisecond)->Iterations(1);

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    host::HostSession::Instance().preferences.locking = {"Bench", "bench", true};
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    host::SetCurrentWorkspace(nullptr);
    RemoveProductions();
    return 0;
}
