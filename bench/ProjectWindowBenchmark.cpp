// The project window over generated projects of 10,000, 100,000 and 1,000,000 items (one bin
// for every nine sequences, names as editors give them), in the main window on the offscreen
// platform:
// - open: from the project being opened to its bins and sequences drawn in its tab;
// - close: from the project being closed to its tab and window gone;
// each against reading the same project file alone (load_ms), measured in the same iterations,
// so that open_per_load and close_per_load compare machines. The time reported is open plus
// close. BM_Poll times one round of the window's poll (every second while it is open) when
// nothing changed, against the same reading of the file.
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/app/ProjectWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/uiframework/DialogResponder.h"

#include "EventLoopWait.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QListView>
#include <QPointer>
#include <QTabWidget>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

fs::path Folder() {
    return fs::temp_directory_path() /
           ("marvane-bench-project-window-" + std::to_string(::getpid()));
}

// A project file of `items` bins and sequences in all, written once per size.
const fs::path& ProjectOf(int items) {
    static std::map<int, fs::path> made;
    auto found = made.find(items);
    if (found != made.end()) {
        return found->second;
    }
    host::ProjectContent content;
    content.name = "Feature " + std::to_string(items);
    const int bins = items / 10;
    content.bins.reserve(static_cast<std::size_t>(bins));
    for (int i = 0; i < bins; ++i) {
        content.bins.push_back("Day " + std::to_string(i / 40 + 1) + " – Camera " +
                               std::string(1, static_cast<char>('A' + i % 4)) + " Roll " +
                               std::to_string(i % 40 + 1));
    }
    content.sequences.reserve(static_cast<std::size_t>(items - bins));
    for (int i = 0; i < items - bins; ++i) {
        content.sequences.push_back(
            "Reel " + std::to_string(i / 5000 + 1) + " Scene " + std::to_string(i / 50 % 100 + 1) +
            " – Take " + std::to_string(i % 50 + 1) + " (v" + std::to_string(i % 7 + 1) + ")");
    }
    fs::create_directories(Folder());
    const fs::path path = Folder() / ("Feature " + std::to_string(items) + ".mvproj");
    std::string error;
    if (!host::SaveProjectContent(path, content, error)) {
        std::fprintf(stderr, "cannot write %s: %s\n", path.c_str(), error.c_str());
        std::exit(1);
    }
    return made.emplace(items, path).first->second;
}

using benchsupport::WaitUntil;

// Sees the first paint of each of a set of widgets.
class PaintWatch : public QObject {
public:
    explicit PaintWatch(std::vector<QWidget*> widgets) : mWidgets(std::move(widgets)) {
        for (QWidget* widget : mWidgets) {
            widget->installEventFilter(this);
        }
    }
    ~PaintWatch() override {
        for (QWidget* widget : mWidgets) {
            widget->removeEventFilter(this);
        }
    }
    PaintWatch(const PaintWatch&) = delete;
    PaintWatch& operator=(const PaintWatch&) = delete;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            mPainted.emplace(watched, true);
        }
        return false;
    }
    bool AllPainted() const { return mPainted.size() == mWidgets.size(); }

private:
    std::vector<QWidget*> mWidgets;
    std::map<QObject*, bool> mPainted;
};

double Seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The baseline of both benchmarks: reading and parsing the project file alone, added to
// loadSeconds. False (and the benchmark skipped) when the project cannot be read.
bool TimeLoading(const fs::path& project, benchmark::State& state, double& loadSeconds) {
    const auto start = Clock::now();
    host::ProjectContent content;
    std::string error;
    if (!host::LoadProjectContent(project, content, error)) {
        state.SkipWithError(error.c_str());
        return false;
    }
    loadSeconds += Seconds(start);
    benchmark::DoNotOptimize(content);
    return true;
}

void BM_OpenAndClose(benchmark::State& state) {
    const int items = static_cast<int>(state.range(0));
    const fs::path& project = ProjectOf(items);
    host::MainWindow window;
    window.show();
    QApplication::processEvents();
    double loadSeconds = 0;
    double openSeconds = 0;
    double closeSeconds = 0;
    for (auto _ : state) {
        if (!TimeLoading(project, state, loadSeconds)) {
            return;
        }
        auto start = Clock::now();
        if (!window.OpenProjectFile(project)) {
            state.SkipWithError("the project did not open");
            return;
        }
        QPointer<QWidget> page = window.GetProjectTabs()->currentWidget();
        if (page.isNull()) {
            state.SkipWithError("the project has no tab");
            return;
        }
        std::vector<QWidget*> lists;
        for (QListView* list : page->findChildren<QListView*>()) {
            lists.push_back(list->viewport());
        }
        if (const PaintWatch watch(lists);
            lists.empty() || !WaitUntil([&] { return watch.AllPainted(); })) {
            state.SkipWithError("the project's lists were not drawn");
            return;
        }
        const double opened = Seconds(start);
        openSeconds += opened;

        start = Clock::now();
        const std::vector<host::OpenProjectPtr> open = host::DocumentManager::Instance().GetAll();
        if (!host::DocumentManager::Instance().Close(open)) {
            state.SkipWithError("the project did not close");
            return;
        }
        if (!WaitUntil([&] {
                QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
                return page.isNull();
            })) {
            state.SkipWithError("the project's window stayed");
            return;
        }
        const double closed = Seconds(start);
        closeSeconds += closed;
        state.SetIterationTime(opened + closed);
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["items"] = items;
    state.counters["load_ms"] = loadSeconds * 1000.0 / iterations;
    state.counters["open_ms"] = openSeconds * 1000.0 / iterations;
    state.counters["close_ms"] = closeSeconds * 1000.0 / iterations;
    state.counters["open_per_load"] = openSeconds / loadSeconds;
    state.counters["close_per_load"] = closeSeconds / loadSeconds;
}

void BM_Poll(benchmark::State& state) {
    const int items = static_cast<int>(state.range(0));
    const fs::path& project = ProjectOf(items);
    host::MainWindow window;
    window.show();
    if (!window.OpenProjectFile(project)) {
        state.SkipWithError("the project did not open");
        return;
    }
    QApplication::processEvents();
    auto* page = dynamic_cast<host::ProjectWindow*>(window.GetProjectTabs()->currentWidget());
    if (page == nullptr) {
        state.SkipWithError("the project has no tab");
        return;
    }
    double loadSeconds = 0;
    double pollSeconds = 0;
    for (auto _ : state) {
        if (!TimeLoading(project, state, loadSeconds)) {
            return;
        }
        const auto start = Clock::now();
        page->Refresh();
        const double polled = Seconds(start);
        pollSeconds += polled;
        state.SetIterationTime(polled);
    }
    const double iterations = static_cast<double>(state.iterations());
    state.counters["items"] = items;
    state.counters["load_ms"] = loadSeconds * 1000.0 / iterations;
    state.counters["poll_per_load"] = pollSeconds / loadSeconds;
    host::DocumentManager::Instance().CloseAllWithoutAsking();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

BENCHMARK(BM_OpenAndClose)
    ->Arg(10'000)
    ->Iterations(20)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenAndClose)
    ->Arg(100'000)
    ->Iterations(10)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_OpenAndClose)
    ->Arg(1'000'000)
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(BM_Poll)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Iterations(5)->UseManualTime()->Unit(
    benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    setenv("MARVANE_LANGUAGE", "en", 0);
    QApplication application(argc, argv);
    host::HostSession::Instance().preferences.locking = {"Bench", "bench", true};
    host::DeclareHostCommands(host::ShortcutManager::Instance());
    // A question the window might ask (none is expected) is answered with its default.
    host::SetDialogResponder(std::make_shared<host::ScriptedDialogResponder>());
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    host::DocumentManager::Instance().CloseAllWithoutAsking();
    host::SetDialogResponder(nullptr);
    fs::remove_all(Folder());
    return 0;
}
