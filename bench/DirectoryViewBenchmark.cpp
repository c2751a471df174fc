// The production tree over generated productions of 10,000 and 100,000 projects (the same top
// level in both: 100 projects, 20 episode folders and a few ordinary files):
// - FirstRows: from the production being opened to its first rows drawn, all folders closed,
//   against two baselines measured in the same iterations: listing and stat-ing the top folder
//   alone, and a plain QTreeView over a QStandardItemModel doing the same listing, stats, lock
//   reads and first paint; the same again through an sshfs mount of the production
//   (FirstRowsOnShare), where the figure is the records read against the listing;
// - Expand: opening one day folder for the first time;
// - Resort: re-sorting by size and back by name with one read-then-closed day folder;
// - ResortAllOpen: re-sorting by name with every folder open, against a stable sort of the same
//   names with the same comparison, folder by folder, in the same iterations; stall_ms is the
//   longest the main thread was held;
// - MemoryPerRow: heap and resident memory per row with every folder open;
// - SelectAll, CommandStatusWithEveryRowSelected and ContextClickWithEveryRowSelected: Select
//   All, the panel's commands asked for their status, and a right-click, with every row
//   selected, against Qt's own selection selecting every row, with the main thread's waits on
//   the disk; the kept productions (a hundred projects a folder, 10,000 to 1,000,000) for
//   memory, opening every folder, Select All and re-sorting as they grow.
// The counters give, per iteration, the lock-file reads, the stats of the rows' records and
// the stats of directory listings, next to the rows shown: they must follow what is shown.
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionIndex.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/TabViewImpl.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "ProductionGenerator.h"
#include "SshShare.h"
#include "WindowlessWorkspace.h"
#include "base/ProductionCommands.h"
#include "columns/ColumnIDs.h"
#include "directoryview/TandrelDirectoryView.h"
#include "panel/TandrelTabView.h"

#include "EventLoopWait.h"

#include "columns/DisplayName.h"
#include "columns/SortString.h"
#include "host/TextCompare.h"

#include <QAbstractItemModel>
#include <QApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QItemSelectionModel>
#include <QKeyEvent>
#include <QLocale>
#include <QStandardItemModel>
#include <QTreeView>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <malloc.h>
#include <map>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using host::TreeRowPtr;

constexpr int kTopLevelProjects = 100;
constexpr int kEpisodes = 20;
constexpr int kOrdinaryFiles = 4;

// The benchmarks' production of `projects` projects; every `lockEvery`-th holds another
// editor's lock (0: nobody else holds one).
std::map<std::pair<int, int>, bench::GeneratedProduction>& MadeProductions() {
    static std::map<std::pair<int, int>, bench::GeneratedProduction> made;
    return made;
}

const bench::GeneratedProduction& ProductionOf(int projects, int lockEvery = 3) {
    auto& made = MadeProductions();
    auto found = made.find({projects, lockEvery});
    if (found == made.end()) {
        bench::ProductionShape shape;
        shape.projects = projects;
        shape.topLevelProjects = kTopLevelProjects;
        shape.episodes = kEpisodes;
        shape.ordinaryFilesPerFolder = kOrdinaryFiles;
        shape.lockEvery = lockEvery;
        const std::string name = "tree-" + std::to_string(projects) +
                                 (lockEvery == 3 ? "" : "-locks-" + std::to_string(lockEvery));
        found = made.emplace(std::make_pair(projects, lockEvery),
                             bench::GenerateProduction(name, shape))
                    .first;
    }
    return found->second;
}

void RemoveProductions() {
    for (const auto& [shape, production] : MadeProductions()) {
        fs::remove_all(production.root);
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

// The plain tree a file browser would make for the same top folder: the same listing, a stat
// of every entry (birth time included), a read of each project's lock file where there is one
// to read, the five columns' texts, and its first paint. Made once, filled per iteration.
class PlainTree {
public:
    PlainTree() {
        mView.setModel(&mModel);
        mView.setUniformRowHeights(true);
        mView.resize(900, 600);
        mView.show();
        QApplication::processEvents();
    }

    // Fills the tree from the folder and waits for its first paint; whether it was drawn.
    bool Show(const fs::path& folder) {
        mModel.clear();
        QApplication::processEvents();
        PaintWatch watch(mView.viewport());
        watch.armed = true;
        mModel.setHorizontalHeaderLabels({QStringLiteral("Name"), QStringLiteral("Project Locked"),
                                          QStringLiteral("Date Modified"),
                                          QStringLiteral("Date Created"), QStringLiteral("Size")});
        DIR* directory = ::opendir(folder.c_str());
        std::vector<std::pair<QString, QList<QStandardItem*>>> rows;
        while (const dirent* item = directory ? ::readdir(directory) : nullptr) {
            const std::string name = item->d_name;
            if (name.empty() || name[0] == '.') {
                continue;
            }
            const fs::path path = folder / name;
            struct statx status {};
            if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) {
                continue;
            }
            const bool isFolder = S_ISDIR(status.stx_mode);
            const bool isProject =
                !isFolder && name.size() > 7 && name.compare(name.size() - 7, 7, ".mvproj") == 0;
            if (!isFolder && !isProject) {
                continue;
            }
            QList<QStandardItem*> cells;
            const QString shown =
                QString::fromStdString(isProject ? name.substr(0, name.size() - 7) : name);
            cells.append(new QStandardItem(shown));
            if (isProject) {
                cells.append(new QStandardItem(LockHolder(path.string() + ".lock")));
                cells.append(new QStandardItem(Date(status.stx_mtime.tv_sec)));
                cells.append(new QStandardItem(Date(status.stx_btime.tv_sec)));
                cells.append(new QStandardItem(mLocale.formattedDataSize(
                    static_cast<qint64>(status.stx_size), 2, QLocale::DataSizeTraditionalFormat)));
            }
            rows.emplace_back(shown, cells);
        }
        if (directory) {
            ::closedir(directory);
        }
        std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
            const auto view = [](const QString& text) {
                return std::u16string_view(reinterpret_cast<const char16_t*>(text.utf16()),
                                           static_cast<std::size_t>(text.size()));
            };
            return host::CompareNaturalNoCase(view(a.first), view(b.first)) < 0;
        });
        for (auto& row : rows) {
            mModel.appendRow(row.second);
        }
        return WaitUntil([&] { return watch.painted; });
    }

private:
    QString Date(std::int64_t seconds) const {
        return mLocale.toString(QDateTime::fromSecsSinceEpoch(seconds), QLocale::ShortFormat);
    }
    static QString LockHolder(const std::string& lockPath) {
        std::ifstream lock(lockPath);
        if (!lock) {
            return {};
        }
        const nlohmann::json content = nlohmann::json::parse(lock, nullptr, false);
        return content.is_object() && content.contains("lockingName")
                   ? QString::fromStdString(content["lockingName"].get<std::string>())
                   : QStringLiteral("Unknown");
    }

    QStandardItemModel mModel;
    QTreeView mView;
    QLocale mLocale;
};

struct IoSnapshot {
    std::uint64_t lockReads = host::LockFileReadCount();
    std::uint64_t recordStats = host::FileInfoStatCount();
    std::uint64_t listingStats = host::ListingStatCount();
    std::uint64_t parallelListings = host::ParallelListingCount();
};

class Counters {
public:
    void Add(const IoSnapshot& before) {
        const IoSnapshot after;
        mLockReads += static_cast<double>(after.lockReads - before.lockReads);
        mRecordStats += static_cast<double>(after.recordStats - before.recordStats);
        mListingStats += static_cast<double>(after.listingStats - before.listingStats);
        mParallelListings += static_cast<double>(after.parallelListings - before.parallelListings);
    }
    void Report(benchmark::State& state, double rowsShown) const {
        const auto perIteration = benchmark::Counter::kAvgIterations;
        state.counters["lock_reads"] = benchmark::Counter(mLockReads, perIteration);
        state.counters["record_stats"] = benchmark::Counter(mRecordStats, perIteration);
        state.counters["listing_stats"] = benchmark::Counter(mListingStats, perIteration);
        // Listings that asked several entries at a time because the kernel had to ask the server.
        state.counters["parallel_listings"] = benchmark::Counter(mParallelListings, perIteration);
        state.counters["rows_shown"] = rowsShown;
    }

private:
    double mLockReads = 0;
    double mRecordStats = 0;
    double mListingStats = 0;
    double mParallelListings = 0;
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
    HandlerTandrel::TandrelTabView& TabView() const { return *mPanel; }
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
            [&] { return Tree().GetTopLevelRowCount() == topRows && TopRecordsRead(topRows); },
            rowsIn);
        return opened && drawn;
    }
    void Close() {
        mReadUpTo = 0;
        host::ProductionSession::Instance().Close();
        WaitUntil([&] { return Tree().GetTopLevelRowCount() == 0; });
        host::WaitForDefaultExecutor(60'000);
    }
    // Whether every top project's record is read. Records once read stay read while the
    // production is open (and rows sorted by name keep their places), so each call goes on
    // from the first row not read at the last one: the check costs one look per row in all,
    // not one per row at every signal.
    bool TopRecordsRead(int topRows) {
        const int rows = Tree().GetTopLevelRowCount();
        if (rows != topRows) {
            return false;
        }
        for (; mReadUpTo < rows; ++mReadUpTo) {
            const TreeRowPtr row = Tree().GetTopLevelRow(mReadUpTo);
            if (row->CanHaveChildren()) {
                continue; // a folder: no record
            }
            if (!View().GetRowMetadata(row) || View().IsRowMetadataStale(row)) {
                return false;
            }
        }
        return true;
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
    int mReadUpTo = 0;
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
    PlainTree plain;
    Counters counters;
    double baselineSeconds = 0;
    double plainSeconds = 0;
    double rowsSeconds = 0;
    for (auto _ : state) {
        panel.Close();
        const auto listStart = Clock::now();
        benchmark::DoNotOptimize(ListAndStatTopFolder(folder));
        baselineSeconds += std::chrono::duration<double>(Clock::now() - listStart).count();
        const auto plainStart = Clock::now();
        if (!plain.Show(folder)) {
            state.SkipWithError("the plain tree was not drawn");
            return;
        }
        plainSeconds += std::chrono::duration<double>(Clock::now() - plainStart).count();
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
    state.counters["plain_tree_ms"] = plainSeconds * 1000.0 / iterations;
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

// Opens every folder of the production in the panel and waits until all its rows are there.
bool OpenEveryFolder(Panel& panel, const bench::GeneratedProduction& production, int size) {
    for (int e = 1; e <= kEpisodes; ++e) {
        const fs::path episode = production.root / ("Episode " + std::to_string(e));
        if (!panel.Expand(episode, 7)) {
            return false;
        }
        for (int d = 1; d <= 7; ++d) {
            panel.Tree().OpenRow(panel.Row(episode / ("Day " + std::to_string(d))), true);
        }
    }
    const std::size_t rows = static_cast<std::size_t>(size) + 7u * kEpisodes + kEpisodes;
    if (!WaitUntil([&] { return panel.Tree().GetOpenedRows().size() == rows; })) {
        return false;
    }
    host::WaitForDefaultExecutor(60'000);
    QApplication::processEvents();
    return true;
}

std::size_t ResidentBytes() {
    std::ifstream statm("/proc/self/statm");
    std::size_t pages = 0;
    std::size_t resident = 0;
    statm >> pages >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

// Opens every folder of a production level by level (the folders of one level at once, then
// the folders among their rows) and waits until every row is in the tree; whether they all came.
bool OpenEveryFolderLevelByLevel(Panel& panel, const bench::GeneratedProduction& production) {
    std::vector<TreeRowPtr> level;
    for (int index = 0; index < panel.Tree().GetTopLevelRowCount(); ++index) {
        level.push_back(panel.Tree().GetTopLevelRow(index));
    }
    while (!level.empty()) {
        std::vector<TreeRowPtr> folders;
        for (const TreeRowPtr& row : level) {
            if (row->CanHaveChildren()) {
                panel.Tree().OpenRow(row, true);
                // The generated folders all hold rows; the production's trash is empty.
                std::error_code error;
                if (!fs::is_empty(host::ToUTF8(panel.View().GetRowPath(row)), error)) {
                    folders.push_back(row);
                }
            }
        }
        if (!WaitUntil([&] {
                return std::all_of(folders.begin(), folders.end(), [](const TreeRowPtr& folder) {
                    return folder->GetChildCount() > 0;
                });
            })) {
            return false;
        }
        level.clear();
        for (const TreeRowPtr& folder : folders) {
            for (int index = 0; index < folder->GetChildCount(); ++index) {
                level.push_back(folder->GetChild(index));
            }
        }
    }
    const std::size_t rows =
        production.projects.size() + static_cast<std::size_t>(production.folders);
    if (!WaitUntil([&] { return panel.Tree().GetOpenedRows().size() == rows; })) {
        return false;
    }
    host::WaitForDefaultExecutor(60'000);
    QApplication::processEvents();
    return true;
}

// The benchmark's production: the kept one of a hundred projects a folder when `kept`, else
// the one of 140 day folders; and its opening with every folder open.
const bench::GeneratedProduction& ProductionFor(const benchmark::State& state, bool kept,
                                                int lockEvery = 3) {
    const int size = static_cast<int>(state.range(0));
    return kept ? bench::KeptProduction(size) : ProductionOf(size, lockEvery);
}

bool OpenWithEveryFolder(Panel& panel, const bench::GeneratedProduction& production, bool kept) {
    if (!panel.Open(production.root, kept ? production.topLevel : TopRows())) {
        return false;
    }
    return kept ? OpenEveryFolderLevelByLevel(panel, production)
                : OpenEveryFolder(panel, production, static_cast<int>(production.projects.size()));
}

void MeasureMemoryPerRow(benchmark::State& state, bool kept) {
    const bench::GeneratedProduction& production = ProductionFor(state, kept);
    for (auto _ : state) {
        Panel panel;
        ::malloc_trim(0);
        const std::size_t heapBefore = ::mallinfo2().uordblks;
        const std::size_t residentBefore = ResidentBytes();
        if (!OpenWithEveryFolder(panel, production, kept)) {
            state.SkipWithError("not every row appeared");
            return;
        }
        ::malloc_trim(0);
        const double rows = static_cast<double>(panel.Tree().GetOpenedRows().size());
        const std::size_t heapAfter = ::mallinfo2().uordblks;
        const std::size_t residentAfter = ResidentBytes();
        // The production's name index is built meanwhile, on its own thread: its part, as far
        // as it is built at this moment, is given apart.
        const auto index = host::ProductionIndex::Instance().Index();
        const double indexBytes = index ? static_cast<double>(index->MemoryBytes()) : 0.0;
        state.counters["rows"] = rows;
        state.counters["bytes_per_row"] = static_cast<double>(heapAfter - heapBefore) / rows;
        state.counters["index_bytes_per_row"] = indexBytes / rows;
        state.counters["tree_bytes_per_row"] =
            (static_cast<double>(heapAfter - heapBefore) - indexBytes) / rows;
        state.counters["resident_bytes_per_row"] =
            static_cast<double>(residentAfter - residentBefore) / rows;
    }
}

void BM_MemoryPerRow(benchmark::State& state) {
    MeasureMemoryPerRow(state, false);
}

void BM_MemoryPerRowKept(benchmark::State& state) {
    MeasureMemoryPerRow(state, true);
}

// Opening every folder of the kept production, level by level, until every row is in the
// tree; the longest main-thread stall meanwhile.
void BM_OpenEveryFolderKept(benchmark::State& state) {
    const bench::GeneratedProduction& production = ProductionFor(state, true);
    Panel panel;
    double longestStall = 0;
    for (auto _ : state) {
        panel.Close();
        if (!panel.Open(production.root, production.topLevel)) {
            state.SkipWithError("the production's rows did not appear");
            return;
        }
        benchsupport::StallWatch stalls;
        const auto start = Clock::now();
        if (!OpenEveryFolderLevelByLevel(panel, production)) {
            state.SkipWithError("not every row appeared");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        longestStall = std::max(longestStall, stalls.LongestMs());
    }
    state.counters["rows"] = static_cast<double>(panel.Tree().GetOpenedRows().size());
    state.counters["stall_ms"] = longestStall;
}

// "Expand all below" (the keypad's `*`) on the first episode of the kept production, timed
// until every day folder of it is open with its rows; first_rows_ms is when the first day's
// rows were there, stall_ms the longest the main thread was held meanwhile.
void BM_ExpandAllBelowKept(benchmark::State& state) {
    const bench::GeneratedProduction& production = ProductionFor(state, true);
    Panel panel;
    double longestStall = 0;
    double firstRows = 0;
    std::size_t days = 0;
    for (auto _ : state) {
        panel.Close();
        if (!panel.Open(production.root, production.topLevel)) {
            state.SkipWithError("the production's rows did not appear");
            return;
        }
        const TreeRowPtr episode = panel.Row(production.root / "Episode 1");
        if (!episode) {
            state.SkipWithError("no first episode");
            return;
        }
        panel.Tree().SelectRow(episode, host::RowSelection::kOnlyRow,
                               host::SelectionNotice::kQuiet);
        QTreeView& view = *panel.Tree().GetImpl()->view;
        benchsupport::StallWatch stalls;
        const auto start = Clock::now();
        QKeyEvent key(QEvent::KeyPress, Qt::Key_Asterisk, Qt::KeypadModifier, QStringLiteral("*"));
        QApplication::sendEvent(&view, &key);
        bool sawFirst = false;
        const auto everyDayOpen = [&] {
            if (episode->GetChildCount() == 0) {
                return false;
            }
            bool all = true;
            for (int index = 0; index < episode->GetChildCount(); ++index) {
                const TreeRowPtr day = episode->GetChild(index);
                if (!day->CanHaveChildren()) {
                    continue;
                }
                const bool shown = panel.Tree().IsRowOpen(day) && day->GetChildCount() > 0;
                if (shown && !sawFirst) {
                    sawFirst = true;
                    firstRows =
                        std::chrono::duration<double, std::milli>(Clock::now() - start).count();
                }
                all = all && shown;
            }
            return all;
        };
        if (!WaitUntil(everyDayOpen)) {
            state.SkipWithError("not every day folder opened");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        longestStall = std::max(longestStall, stalls.LongestMs());
        days = static_cast<std::size_t>(episode->GetChildCount());
    }
    state.counters["days"] = static_cast<double>(days);
    state.counters["first_rows_ms"] = firstRows;
    state.counters["stall_ms"] = longestStall;
}

// The display names of the tree's rows, folder by folder, each folder in its order now.
std::vector<std::vector<host::WideString>> NamesByFolder(Panel& panel) {
    std::vector<std::vector<host::WideString>> folders;
    std::vector<TreeRowPtr> parents = {nullptr};
    for (std::size_t next = 0; next < parents.size(); ++next) {
        std::vector<host::WideString> names;
        const TreeRowPtr parent = parents[next];
        const int count = parent ? parent->GetChildCount() : panel.Tree().GetTopLevelRowCount();
        for (int index = 0; index < count; ++index) {
            const TreeRowPtr row =
                parent ? parent->GetChild(index) : panel.Tree().GetTopLevelRow(index);
            names.push_back(HandlerTandrel::DisplayNameOf(panel.View().GetRowPath(row)));
            if (row->GetChildCount() > 0) {
                parents.push_back(row);
            }
        }
        folders.push_back(std::move(names));
    }
    return folders;
}

// Opens the benchmark's production with every folder open; false (the benchmark skipped) when
// not every row appeared.
bool ShowEveryRow(benchmark::State& state, Panel& panel, int lockEvery = 3, bool kept = false) {
    const bench::GeneratedProduction& production = ProductionFor(state, kept, lockEvery);
    panel.Close();
    if (!OpenWithEveryFolder(panel, production, kept)) {
        state.SkipWithError("not every row appeared");
        return false;
    }
    return true;
}

// Re-sorting by name with every folder open, timed from the call to the rows drawn in their
// new order, against sorting the same names with the same comparison folder by folder in the
// same iterations; and the longest the window went without answering meanwhile (a big tree is
// sorted on worker threads, then its rows change places, and Qt lays them out again).
void MeasureResortAllOpen(benchmark::State& state, bool kept, bool everyRowSelected = false) {
    Panel panel;
    if (!ShowEveryRow(state, panel, 3, kept)) {
        return;
    }
    // The production opens with the selection it was left with (a benchmark before may have
    // selected every row): the figure is taken from a selection chosen here.
    if (everyRowSelected) {
        panel.View().SelectAll();
    } else {
        panel.View().DeselectAll();
    }
    QApplication::processEvents();
    auto& header = panel.View().GetHeaderRow();
    const host::TreeModel& model = panel.Tree().GetImpl()->model;
    double baselineSeconds = 0;
    double callSeconds = 0;
    double longestStall = 0;
    for (auto _ : state) {
        header.SetSortColumn(HandlerTandrel::Columns::kSizeColumn);
        panel.Tree().Resort();
        if (!WaitUntil([&] { return !model.IsSorting(); })) {
            state.SkipWithError("the sort by size did not end");
            return;
        }
        QApplication::processEvents();
        // The names as the tree shows them now, folder by folder, for the baseline.
        std::vector<std::vector<host::WideString>> shuffled = NamesByFolder(panel);
        const auto baselineStart = Clock::now();
        for (auto& names : shuffled) {
            std::stable_sort(names.begin(), names.end(), HandlerTandrel::Columns::SortStringIsLess);
        }
        baselineSeconds += std::chrono::duration<double>(Clock::now() - baselineStart).count();
        benchmark::DoNotOptimize(shuffled.data());
        header.SetSortColumn(HandlerTandrel::Columns::kNameColumn);
        benchsupport::StallWatch stalls;
        const auto start = Clock::now();
        if (!RunUntilDrawn(
                *panel.Tree().GetImpl()->view,
                [&] {
                    const auto callStart = Clock::now();
                    panel.Tree().Resort();
                    callSeconds += std::chrono::duration<double>(Clock::now() - callStart).count();
                },
                [&] { return !model.IsSorting(); })) {
            state.SkipWithError("the tree was not drawn");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        longestStall = std::max(longestStall, stalls.LongestMs());
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["rows"] = static_cast<double>(panel.Tree().GetOpenedRows().size());
    state.counters["per_folder_sort_ms"] = baselineSeconds * 1000.0 / iterations;
    // The longest stall of the window from the call to the rows drawn.
    state.counters["stall_ms"] = longestStall;
    // The call itself: the whole sort for a small tree, starting the workers for a big one.
    state.counters["sort_call_ms"] = callSeconds * 1000.0 / iterations;
}

void BM_ResortAllOpen(benchmark::State& state) {
    MeasureResortAllOpen(state, false);
}

void BM_ResortAllOpenKept(benchmark::State& state) {
    MeasureResortAllOpen(state, true);
}

// The same with every row selected.
void BM_ResortAllOpenAllSelectedKept(benchmark::State& state) {
    MeasureResortAllOpen(state, true, true);
}

// Qt's tree view laying out every shown row again, as it does after each re-sort: the part of
// a re-sort's stall the model can only make cheaper, by answering each row's questions (its
// index, its flags, whether it has children) quickly.
void BM_RelayoutAllOpenKept(benchmark::State& state) {
    Panel panel;
    if (!ShowEveryRow(state, panel, 3, true)) {
        return;
    }
    QTreeView& view = *panel.Tree().GetImpl()->view;
    for (auto _ : state) {
        const auto start = Clock::now();
        view.doItemsLayout();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    state.counters["rows"] = static_cast<double>(panel.Tree().GetOpenedRows().size());
}

// Qt's own selection selecting every shown row as Qt's tree view asks it to (one range of whole
// rows per run of rows of a folder, ClearAndSelect | Rows), timed: the scale the panel's work
// with every row selected is measured against. The tree's own selection is not Qt's, so a
// selection model of Qt's is made over the same rows for it.
double ViewSelectAllSeconds(QTreeView& view) {
    QAbstractItemModel& model = *view.model();
    QItemSelection every;
    std::vector<QModelIndex> folders = {QModelIndex()};
    for (std::size_t next = 0; next < folders.size(); ++next) {
        const QModelIndex folder = folders[next];
        const int rows = model.rowCount(folder);
        if (rows == 0) {
            continue;
        }
        every.append(
            QItemSelectionRange(model.index(0, 0, folder),
                                model.index(rows - 1, model.columnCount(folder) - 1, folder)));
        for (int row = 0; row < rows; ++row) {
            const QModelIndex child = model.index(row, 0, folder);
            if (view.isExpanded(child) && model.rowCount(child) > 0) {
                folders.push_back(child);
            }
        }
    }
    QItemSelectionModel qtSelection(&model);
    const auto start = Clock::now();
    qtSelection.select(every, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The counters both benchmarks with every row selected give, per iteration.
void CountPerIteration(benchmark::State& state, double baselineSeconds, double diskWaits) {
    const double iterations = static_cast<double>(state.iterations());
    state.counters["view_select_all_ms"] = baselineSeconds * 1000.0 / iterations;
    state.counters["main_thread_disk_waits"] = diskWaits / iterations;
}

// Select All with every folder open, timed until the rows are drawn selected, against Qt's
// own selection selecting every row in the same iterations; and how many times the main
// thread waited on the disk for it. The second argument says how often
// a project is locked by another editor (0: none is, so no selected item stops the panel's
// test of whether the selection may go to the trash early).
void MeasureSelectAll(benchmark::State& state, bool kept) {
    Panel panel;
    if (!ShowEveryRow(state, panel, kept ? 3 : static_cast<int>(state.range(1)), kept)) {
        return;
    }
    QTreeView& view = *panel.Tree().GetImpl()->view;
    double baselineSeconds = 0;
    double diskWaits = 0;
    double callSeconds = 0;
    std::size_t selected = 0;
    for (auto _ : state) {
        panel.View().DeselectAll();
        QApplication::processEvents();
        baselineSeconds += ViewSelectAllSeconds(view);
        panel.View().DeselectAll();
        QApplication::processEvents();
        const std::uint64_t waitsBefore = host::files::BoundedAccessCount();
        const auto start = Clock::now();
        if (!RunUntilDrawn(
                view,
                [&] {
                    const auto callStart = Clock::now();
                    panel.View().SelectAll();
                    callSeconds += std::chrono::duration<double>(Clock::now() - callStart).count();
                },
                [] { return true; })) {
            state.SkipWithError("the tree was not drawn");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        diskWaits += static_cast<double>(host::files::BoundedAccessCount() - waitsBefore);
        selected = panel.View().GetSelectedPaths().size();
    }
    state.counters["selected"] = static_cast<double>(selected);
    // The part of the figure in the panel's Select All itself; the rest is the panel hearing
    // of it and the rows drawn.
    state.counters["call_ms"] = callSeconds * 1000.0 / static_cast<double>(state.iterations());
    CountPerIteration(state, baselineSeconds, diskWaits);
}

void BM_SelectAll(benchmark::State& state) {
    MeasureSelectAll(state, false);
}

// The same over the kept productions (a hundred projects a folder, a project in three locked).
void BM_SelectAllKept(benchmark::State& state) {
    MeasureSelectAll(state, true);
}

// Times `action` with every row selected, against Qt's own selection of every row in the same
// iterations, and counts the main thread's waits on the disk; an action that fails (false)
// ends the benchmark with an error.
void TimeWithEveryRowSelected(benchmark::State& state, Panel& panel,
                              const std::function<bool()>& action) {
    QTreeView& view = *panel.Tree().GetImpl()->view;
    double baselineSeconds = 0;
    double diskWaits = 0;
    for (auto _ : state) {
        baselineSeconds += ViewSelectAllSeconds(view);
        panel.View().SelectAll();
        QApplication::processEvents();
        const std::uint64_t waitsBefore = host::files::BoundedAccessCount();
        const auto start = Clock::now();
        const bool done = action();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        diskWaits += static_cast<double>(host::files::BoundedAccessCount() - waitsBefore);
        if (!done) {
            state.SkipWithError("the action failed");
            break;
        }
    }
    CountPerIteration(state, baselineSeconds, diskWaits);
}

// With every row selected, the status of each of the panel's commands, asked as the main
// window asks it several times a second to keep its menus and shortcuts right; against the
// Qt's own selection of every row, in the same iterations, for scale. The second
// argument as for BM_SelectAll; the third, how many projects are open (the last ones of the
// production: commands about open projects look through the selection for them).
void BM_CommandStatusWithEveryRowSelected(benchmark::State& state) {
    Panel panel;
    if (!ShowEveryRow(state, panel, static_cast<int>(state.range(1)))) {
        return;
    }
    const bench::GeneratedProduction& production =
        ProductionOf(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const auto toOpen = static_cast<std::size_t>(state.range(2));
    for (std::size_t opened = 0; opened < toOpen && opened < production.projects.size(); ++opened) {
        const fs::path& project = production.projects[production.projects.size() - 1 - opened];
        if (!host::DocumentManager::Instance().Open(project).project) {
            state.SkipWithError("a project did not open");
            break; // the loop below then runs no iteration, and what opened is closed
        }
    }
    double enabled = 0;
    TimeWithEveryRowSelected(state, panel, [&] {
        enabled = 0;
        for (const HandlerTandrel::ProductionCommand& command :
             HandlerTandrel::ProductionCommandTable()) {
            host::CommandStatus status;
            panel.TabView().FindCommandStatus(
                host::Command{command.id, host::ByteString(command.name)}, status);
            enabled += status.enabled ? 1 : 0;
        }
        return true;
    });
    state.counters["enabled_commands"] = enabled;
    const std::vector<host::OpenProjectPtr> open = host::DocumentManager::Instance().GetAll();
    host::DocumentManager::Instance().Close(open);
}

// With every row selected, a right-click on a selected row until its menu is about to show
// (the menu is then dismissed); against Qt's own selection of every row, in
// the same iterations, for scale; and how many times the main thread waited on the disk.
void BM_ContextClickWithEveryRowSelected(benchmark::State& state) {
    Panel panel;
    if (!ShowEveryRow(state, panel)) {
        return;
    }
    auto responder = std::make_shared<host::ScriptedDialogResponder>();
    const std::shared_ptr<host::DialogResponder> previous = host::SetDialogResponder(responder);
    const host::TreeRowPtr clicked = panel.Tree().GetTopLevelRow(0)->GetChild(0);
    TimeWithEveryRowSelected(state, panel,
                             [&] { return !panel.View().ContextClick(clicked).empty(); });
    state.counters["menus_asked"] = static_cast<double>(responder->GetMenuRequests().size());
    host::SetDialogResponder(previous);
}

// Both production sizes, with a project in three locked by another editor and with none,
// timed by the benchmark itself, three times each.
void AtBothSizesWithAndWithoutLocks(benchmark::internal::Benchmark* run) {
    for (const int lockEvery : {3, 0}) {
        for (const int size : {10'000, 100'000}) {
            run->Args({size, lockEvery});
        }
    }
    run->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
}

// As AtBothSizesWithAndWithoutLocks, no project open; and with two open at 100,000 rows.
void AtBothSizesWithAndWithoutOpenProjects(benchmark::internal::Benchmark* run) {
    for (const int lockEvery : {3, 0}) {
        for (const int size : {10'000, 100'000}) {
            run->Args({size, lockEvery, 0});
        }
    }
    run->Args({100'000, 0, 2});
    run->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);
}

// Both production sizes, timed by the benchmark itself.
void AtBothSizes(benchmark::internal::Benchmark* run) {
    run->Arg(10'000)->Arg(100'000)->UseManualTime()->Unit(benchmark::kMillisecond);
}

// The kept productions of 10,000, 100,000 and 1,000,000 projects, a hundred a folder.
void AtThreeKeptSizes(benchmark::internal::Benchmark* run) {
    run->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
}

// Memory first, in a process that has shown no production yet: what the host keeps of a
// production outside the panel (caches by path) is counted, as a user opening it pays it.
BENCHMARK(BM_MemoryPerRow)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_FirstRows)->Apply(AtBothSizes)->Iterations(20);
BENCHMARK(BM_FirstRowsOnShare)->Apply(AtBothSizes)->Iterations(20);
BENCHMARK(BM_Expand)->Apply(AtBothSizes)->Iterations(10);
BENCHMARK(BM_Resort)->Apply(AtBothSizes)->Iterations(20);
BENCHMARK(BM_ResortAllOpen)->Apply(AtBothSizes)->Iterations(10);
BENCHMARK(BM_SelectAll)->Apply(AtBothSizesWithAndWithoutLocks);
BENCHMARK(BM_CommandStatusWithEveryRowSelected)->Apply(AtBothSizesWithAndWithoutOpenProjects);
BENCHMARK(BM_ContextClickWithEveryRowSelected)->Apply(AtBothSizes)->Iterations(3);
BENCHMARK(BM_MemoryPerRowKept)->Apply(AtThreeKeptSizes)->Iterations(1);
BENCHMARK(BM_OpenEveryFolderKept)->Apply(AtThreeKeptSizes)->UseManualTime()->Iterations(1);
BENCHMARK(BM_ExpandAllBelowKept)->Apply(AtThreeKeptSizes)->UseManualTime()->Iterations(2);
BENCHMARK(BM_SelectAllKept)->Apply(AtThreeKeptSizes)->UseManualTime()->Iterations(2);
BENCHMARK(BM_ResortAllOpenKept)->Apply(AtThreeKeptSizes)->UseManualTime()->Iterations(2);
BENCHMARK(BM_RelayoutAllOpenKept)->Apply(AtThreeKeptSizes)->UseManualTime()->Iterations(20);
BENCHMARK(BM_ResortAllOpenAllSelectedKept)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(2);

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
