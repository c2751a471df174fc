// Asking for the project the user works in, as the panel does for every command's status and
// every drawn row: the host's answer (host::GetActiveProject) against copying the shared
// pointer the document manager keeps (the floor), with one project open. The answer once went
// through a table of functions installed at load time, copied on every call.
#include "Marvane/application/HostSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "host/OpenProjects.h"

#include <benchmark/benchmark.h>
#include <memory>

namespace {

struct OneOpenProject {
    OneOpenProject() {
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        project = host::DocumentManager::Instance()
                      .Open(testsupport::WriteProject(folder.Path() / "Scene 12.mvproj"))
                      .project;
    }
    ~OneOpenProject() { host::DocumentManager::Instance().CloseAll(); }
    const testsupport::TemporaryFolder folder{"bench-open-projects"};
    host::OpenProjectPtr project;
};

OneOpenProject& Open() {
    static OneOpenProject open;
    return open;
}

void BM_GetActiveProject(benchmark::State& state) {
    if (!Open().project) {
        state.SkipWithError("the project did not open");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(host::GetActiveProject());
    }
}

void BM_CopySharedPointer(benchmark::State& state) {
    const std::shared_ptr<host::IProject> kept = Open().project;
    for (auto _ : state) {
        std::shared_ptr<host::IProject> copy = kept;
        benchmark::DoNotOptimize(copy);
    }
}

BENCHMARK(BM_GetActiveProject)->Unit(benchmark::kNanosecond);
BENCHMARK(BM_CopySharedPointer)->Unit(benchmark::kNanosecond);

} // namespace

BENCHMARK_MAIN();
