// Typing into the panel's search box on the generated production of 100,000 projects (about
// 131,000 entries), warm cache: the time from the changed text to the result rows drawn, for
// texts that match a few, some thousands and tens of thousands of projects. Measured in the
// same iterations:
//   host_search_ms    the walking search alone, called directly for the same text
//   longest_stall_ms  the longest the main thread did not answer a 1 ms timer while the text
//                     was searched and its rows built and drawn
// The same on the kept productions of 100,000 and 1,000,000 projects (a hundred a folder),
// answered by the production's name index (range(1) = 1) or, as the baseline in the same run,
// by the walk with the index let go (range(1) = 0).
// Run from an optimised build: build/dev/bin/search_typing_benchmark
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionIndex.h"
#include "Marvane/application/ProductionSession.h"
#include "Marvane/core/DefaultExecutor.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "Marvane/uiframework/DockWorkspace.h"
#include "Marvane/uiframework/TabViewImpl.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "ProductionGenerator.h"
#include "WindowlessWorkspace.h"
#include "directoryview/TandrelDirectoryView.h"
#include "host/FileServices.h"
#include "panel/TandrelTabView.h"
#include "search/TandrelSearchResultsView.h"

#include "EventLoopWait.h"

#include <QApplication>
#include <QTimer>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <functional>
#include <optional>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using benchsupport::PaintWatch;
using benchsupport::StallWatch;
using benchsupport::WaitUntil;

constexpr int kProjects = 100'000;

const bench::GeneratedProduction* gProduction = nullptr; // the production typed into

const bench::GeneratedProduction& Production() {
    if (gProduction != nullptr) {
        return *gProduction;
    }
    static const bench::GeneratedProduction production = [] {
        bench::ProductionShape shape;
        shape.projects = kProjects;
        shape.topLevelProjects = 100;
        shape.episodes = 20;
        shape.ordinaryFilesPerFolder = 4;
        return bench::GenerateProduction("typing", shape);
    }();
    return production;
}

// The Production panel, shown on the offscreen platform, over the generated production.
class Panel {
public:
    // withIndex: the search answers from the production's name index once it is built; else
    // the index is let go and the search walks.
    explicit Panel(bool withIndex = true) {
        mPanel = std::make_shared<HandlerTandrel::TandrelTabView>();
        mPanel->PostSharedPtrInit();
        mPanel->Create(1, "Production", nullptr, 0);
        mPanel->GetImpl()->content->resize(1100, 700);
        mPanel->GetImpl()->content->show();
        host::ProductionSession::Instance().Open(Production().root);
        WaitUntil([&] { return mPanel->GetDirectoryView()->GetTree().GetTopLevelRowCount() > 0; });
        if (withIndex) {
            WaitUntil([] { return host::ProductionIndex::Instance().IsCurrent(); });
        } else {
            host::ProductionIndex::Instance().Close();
        }
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

    HandlerTandrel::TandrelSearchResultsView& Results() const {
        return *mPanel->GetSearchResultsView();
    }
    // Types the text and runs the event loop until its rows were drawn; false on a time-out.
    // `looked` is called at each look meanwhile.
    bool TypeUntilDrawn(const std::u16string& text, const std::function<void()>& looked = {}) {
        QWidget* rows = Results().GetTree().GetImpl()->view->viewport();
        PaintWatch watch(rows);
        mPanel->GetSearchBox()->SetValue(text, true);
        return WaitUntil([&] {
            if (looked) {
                looked();
            }
            if (!watch.armed && !Results().IsSearching()) {
                watch.armed = true;
                rows->update();
            }
            return watch.painted;
        });
    }
    void Clear() { mPanel->GetSearchBox()->SetValue({}, true); }

private:
    std::shared_ptr<HandlerTandrel::TandrelTabView> mPanel;
};

// One typing measured: the text typed until its rows were drawn (the iteration's time), the
// longest stall and how long until the first rows showed. False when the rows never came.
struct Typed {
    double longestStallMs = 0;
    double firstRowsMs = 0;
    double longestClearMs = 0; // the text emptied: the results of the last typing go
    std::size_t rows = 0;
};
bool TypeOnce(benchmark::State& state, Panel& panel, const std::u16string& text, Typed& typed) {
    const auto clearing = Clock::now();
    panel.Clear();
    typed.longestClearMs =
        std::max(typed.longestClearMs,
                 std::chrono::duration<double, std::milli>(Clock::now() - clearing).count());
    QApplication::processEvents();
    StallWatch stalls;
    const auto start = Clock::now();
    std::optional<Clock::time_point> firstSeen;
    if (!panel.TypeUntilDrawn(text, [&] {
            if (!firstSeen && panel.Results().GetRowCount() > 0) {
                firstSeen = Clock::now();
            }
        })) {
        state.SkipWithError("the rows were never drawn");
        return false;
    }
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    typed.longestStallMs = std::max(typed.longestStallMs, stalls.LongestMs());
    typed.rows = static_cast<std::size_t>(panel.Results().GetRowCount());
    typed.firstRowsMs +=
        std::chrono::duration<double, std::milli>(firstSeen.value_or(Clock::now()) - start).count();
    return true;
}

void Report(benchmark::State& state, const Typed& typed) {
    state.counters["rows"] = static_cast<double>(typed.rows);
    state.counters["longest_stall_ms"] = typed.longestStallMs;
    state.counters["longest_clear_ms"] = typed.longestClearMs;
    state.counters["first_rows_ms"] =
        benchmark::Counter(typed.firstRowsMs, benchmark::Counter::kAvgIterations);
}

void BM_TypeUntilRowsDrawn(benchmark::State& state, const char* text) {
    Panel panel;
    const std::u16string wide = host::ToUTF16(text);
    double hostSearch = 0;
    Typed typed;
    for (auto _ : state) {
        if (!TypeOnce(state, panel, wide, typed)) {
            break;
        }
        const auto searchStart = Clock::now();
        const std::size_t found = host::FindFilesOrDirectories(
                                      host::ToUTF16(Production().root.string()), {u".mvproj"}, wide)
                                      .size();
        hostSearch += std::chrono::duration<double, std::milli>(Clock::now() - searchStart).count();
        if (found != typed.rows) {
            state.SkipWithError("the panel shows other rows than the search finds");
            break;
        }
    }
    Report(state, typed);
    state.counters["host_search_ms"] =
        benchmark::Counter(hostSearch, benchmark::Counter::kAvgIterations);
}

// range(0): the kept production's projects; range(1): 1 with the index, 0 walking.
void BM_TypeOnKeptProduction(benchmark::State& state, const char* text) {
    gProduction = &bench::KeptProduction(static_cast<int>(state.range(0)));
    {
        Panel panel(state.range(1) == 1);
        const std::u16string wide = host::ToUTF16(text);
        Typed typed;
        for (auto _ : state) {
            if (!TypeOnce(state, panel, wide, typed)) {
                break;
            }
        }
        Report(state, typed);
    }
    gProduction = nullptr;
}

// The kept production opened until its name index holds it and watches every folder, with the
// longest the main thread did not answer meanwhile; first_rows_ms: until the panel's first rows.
void BM_OpenUntilIndexed(benchmark::State& state) {
    gProduction = &bench::KeptProduction(static_cast<int>(state.range(0)));
    double longestStall = 0;
    double firstRows = 0;
    for (auto _ : state) {
        StallWatch stalls;
        const auto start = Clock::now();
        auto panel = std::make_shared<HandlerTandrel::TandrelTabView>();
        panel->PostSharedPtrInit();
        panel->Create(1, "Production", nullptr, 0);
        panel->GetImpl()->content->resize(1100, 700);
        panel->GetImpl()->content->show();
        host::ProductionSession::Instance().Open(Production().root);
        WaitUntil([&] { return panel->GetDirectoryView()->GetTree().GetTopLevelRowCount() > 0; });
        firstRows += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
        WaitUntil([] { return host::ProductionIndex::Instance().IsCurrent(); }, 600'000);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        longestStall = std::max(longestStall, stalls.LongestMs());
        host::ProductionSession::Instance().Close();
        panel.reset();
        host::WaitForDefaultExecutor(60'000);
        host::DirectoryMonitor::Instance().Reset();
        QApplication::processEvents();
    }
    state.counters["first_rows_ms"] =
        benchmark::Counter(firstRows, benchmark::Counter::kAvgIterations);
    state.counters["longest_stall_ms"] = longestStall;
    gProduction = nullptr;
}
BENCHMARK(BM_OpenUntilIndexed)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(2);

void KeptSizes(benchmark::internal::Benchmark* benchmark) {
    for (const long projects : {100'000L, 1'000'000L}) {
        benchmark->Args({projects, 1})->Args({projects, 0});
    }
}

BENCHMARK_CAPTURE(BM_TypeOnKeptProduction, few, "scene 1005")
    ->Apply(KeptSizes)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_TypeOnKeptProduction, a_fifth, "shot")
    ->Apply(KeptSizes)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

BENCHMARK_CAPTURE(BM_TypeUntilRowsDrawn, few, "scene 1005")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
BENCHMARK_CAPTURE(BM_TypeUntilRowsDrawn, thousands, "shot 1")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
BENCHMARK_CAPTURE(BM_TypeUntilRowsDrawn, tens_of_thousands, "shot")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK_CAPTURE(BM_TypeUntilRowsDrawn, most, "e")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    host::HostSession::Instance().preferences.locking = {"Bench", "bench", true};
    testsupport::WindowlessWorkspace workspace;
    host::SetCurrentWorkspace(&workspace);
    benchmark::Initialize(&argc, argv);
    Production(); // written before any timing starts
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    host::SetCurrentWorkspace(nullptr);
    fs::remove_all(Production().root);
    return 0;
}
