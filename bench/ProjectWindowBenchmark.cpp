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
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
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
    for (int i = 0; i < bins; ++i) {
        content.bins.push_back("Day " + std::to_string(i / 40 + 1) + " – Camera " +
                               std::string(1, static_cast<char>('A' + i % 4)) + " Roll " +
                               std::to_string(i % 40 + 1));
    }
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

using benchsupport::StallWatch;
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

// Opens the project in the window and waits until its own page is in view (it takes the place
// of the page shown while the project is read); nothing when it did not open.
host::ProjectWindow* OpenAndWait(host::MainWindow& window, const fs::path& project) {
    const auto current = [&window] {
        return dynamic_cast<host::ProjectWindow*>(window.GetProjectTabs()->currentWidget());
    };
    if (!window.OpenProjectFile(project) || !WaitUntil([&] { return current() != nullptr; })) {
        return nullptr;
    }
    return current();
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
    double longestStall = 0;
    for (auto _ : state) {
        if (!TimeLoading(project, state, loadSeconds)) {
            return;
        }
        StallWatch stalls;
        auto start = Clock::now();
        QPointer<QWidget> page = OpenAndWait(window, project);
        if (page.isNull()) {
            state.SkipWithError("the project did not open");
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
        longestStall = std::max(longestStall, stalls.LongestMs());

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
    state.counters["stall_ms"] = longestStall;
}

void BM_Poll(benchmark::State& state) {
    const int items = static_cast<int>(state.range(0));
    const fs::path& project = ProjectOf(items);
    host::MainWindow window;
    window.show();
    host::ProjectWindow* page = OpenAndWait(window, project);
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

// The resident size of this process, or its peak so far ("VmRSS:", "VmHWM:"), in bytes.
long long StatusBytes(const char* field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field, 0) == 0) {
            return std::atoll(line.c_str() + std::strlen(field)) * 1024LL;
        }
    }
    return 0;
}

// Run as "project_window_benchmark --peak-of reading|tree FILE": reads the project in this
// fresh process, the host's way or into one JSON tree, and prints the most memory that took
// at once (the peak resident size above the size before).
int PrintPeakOf(const std::string& how, const fs::path& project) {
    const long long before = StatusBytes("VmRSS:");
    if (how == "reading") {
        host::ProjectContent content;
        std::string error;
        benchmark::DoNotOptimize(host::LoadProjectContent(project, content, error));
    } else {
        std::ifstream file(project, std::ios::binary);
        const std::string text((std::istreambuf_iterator<char>(file)),
                               std::istreambuf_iterator<char>());
        const nlohmann::json json = nlohmann::json::parse(text);
        benchmark::DoNotOptimize(json.size());
    }
    std::printf("%lld\n", StatusBytes("VmHWM:") - before);
    return 0;
}

// The peak that reading the project takes in a process of its own; zero when unknown.
long long PeakBytesOf(const std::string& how, const fs::path& project) {
    const std::string command = "'/proc/" + std::to_string(::getpid()) + "/exe' --peak-of " + how +
                                " '" + project.string() + "'";
    FILE* output = ::popen(command.c_str(), "r");
    if (output == nullptr) {
        return 0;
    }
    long long peak = 0;
    if (std::fscanf(output, "%lld", &peak) != 1) {
        peak = 0;
    }
    ::pclose(output);
    return peak;
}

// The memory reading a project takes at its peak, per byte of its file, against reading the
// same file and parsing it into one JSON tree (the plain way).
void BM_PeakMemoryOfReading(benchmark::State& state) {
    const fs::path& project = ProjectOf(static_cast<int>(state.range(0)));
    const double fileBytes = static_cast<double>(fs::file_size(project));
    long long reading = 0;
    long long tree = 0;
    for (auto _ : state) {
        reading = PeakBytesOf("reading", project);
        tree = PeakBytesOf("tree", project);
    }
    if (reading <= 0 || tree <= 0) {
        state.SkipWithError("the peak memory could not be measured");
        return;
    }
    state.counters["file_mb"] = fileBytes / 1e6;
    state.counters["peak_per_file_byte"] = static_cast<double>(reading) / fileBytes;
    state.counters["tree_peak_per_file_byte"] = static_cast<double>(tree) / fileBytes;
}

BENCHMARK(BM_PeakMemoryOfReading)->Arg(1'000'000)->Arg(4'000'000)->Iterations(1);

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
    ->Arg(4'000'000)
    ->Iterations(3)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

BENCHMARK(BM_Poll)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Iterations(5)->UseManualTime()->Unit(
    benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::string(argv[1]) == "--peak-of") {
        return PrintPeakOf(argv[2], argv[3]);
    }
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
