#include "Marvane/fileservices/LongWork.h"

#include "host/DebugTrace.h"
#include "host/Messaging.h"

#include <mutex>
#include <thread>

namespace host::files {

namespace {

constexpr std::chrono::milliseconds kSlice{20};

std::atomic<LongWorkView*> gView{nullptr};
std::atomic<std::int64_t> gStallLimitMs{0};
std::mutex gHookMutex;
std::function<void()> gStepHook;
std::function<void()> gItemDoneHook;

void RunHook(const std::function<void()>& kept) {
    std::function<void()> hook;
    {
        const std::lock_guard guard(gHookMutex);
        hook = kept;
    }
    if (hook) {
        hook();
    }
}
std::atomic<std::size_t> gThreadsRunning{0};
std::atomic<int> gUnderWay{0};

std::chrono::milliseconds StallLimit() {
    const std::int64_t limit = gStallLimitMs.load();
    return limit > 0 ? std::chrono::milliseconds(limit) : kStallLimit;
}

} // namespace

LongWorkView* SetLongWorkView(LongWorkView* view) {
    return gView.exchange(view);
}

LongWorkView* CurrentLongWorkView() {
    return gView.load();
}

bool LongWorkUnderWay() {
    return gUnderWay.load() > 0;
}

void NoteLongWorkBegun() {
    ++gUnderWay;
}

void NoteLongWorkEnded() {
    --gUnderWay;
}

void SetStallLimitForTesting(std::chrono::milliseconds limit) {
    gStallLimitMs = limit.count();
}

void SetLongWorkStepHookForTesting(std::function<void()> hook) {
    const std::lock_guard guard(gHookMutex);
    gStepHook = std::move(hook);
}

void RunLongWorkStepHook() {
    RunHook(gStepHook);
}

void SetItemDoneHookForTesting(std::function<void()> hook) {
    const std::lock_guard guard(gHookMutex);
    gItemDoneHook = std::move(hook);
}

void RunItemDoneHook() {
    RunHook(gItemDoneHook);
}

std::size_t LongWorkThreadsRunning() {
    return gThreadsRunning.load();
}

LongWorkEnd RunLongWork(const std::shared_ptr<LongWork>& work,
                        std::function<void(LongWork&)> body) {
    LongWorkView* view = gView.load();
    if (view == nullptr || !CurrentThreadIsMainThread()) {
        body(*work);
        work->finished = true;
        return LongWorkEnd::Finished;
    }
    // The thread owns what it uses: given up, it may run on after this returns.
    ++gThreadsRunning;
    std::thread worker([work, body = std::move(body)] {
        body(*work);
        work->finished = true;
        --gThreadsRunning;
    });
    NoteLongWorkBegun();
    view->Begin(*work);
    std::uint64_t lastSteps = work->steps.load();
    auto lastMove = std::chrono::steady_clock::now();
    while (!work->finished.load()) {
        view->Turn(*work, kSlice);
        const std::uint64_t steps = work->steps.load();
        const auto now = std::chrono::steady_clock::now();
        if (steps != lastSteps) {
            lastSteps = steps;
            lastMove = now;
        } else if (!work->finished.load() && now - lastMove >= StallLimit()) {
            work->givenUp = true;
            Trace("Host", 2, "Given up, nothing moved for a while: " + work->title);
            break;
        }
    }
    view->End(*work);
    NoteLongWorkEnded();
    if (!work->finished.load()) {
        worker.detach();
        return LongWorkEnd::Stalled;
    }
    worker.join();
    return work->cancelled.load() ? LongWorkEnd::Cancelled : LongWorkEnd::Finished;
}

} // namespace host::files
