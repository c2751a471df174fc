#pragma once
// Work the main thread has to wait for that may take long: a copy to another disk. With a
// view installed (the window's), it runs on a thread of its own while the view keeps the
// window drawn, shows how far it got once it has run for a moment, and offers Cancel; work
// whose progress stands still for the stall limit (a share that stopped answering) is given
// up, so the caller gets on, and the work, told to stop, cleans up behind itself whenever its
// disk answers again. Without a view (no window), or off the main thread, it runs where it is
// called, as before.
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace host::files {

struct LongWork {
    std::string title;                   // what is done, in the person's words
    std::atomic<std::uint64_t> done{0};  // bytes so far
    std::atomic<std::uint64_t> total{0}; // bytes in all, once known
    std::atomic<std::uint64_t> steps{0}; // anything done: a file, a folder, a piece
    std::atomic<bool> cancelled{false};  // the person asked it to stop
    std::atomic<bool> givenUp{false};    // it stood still too long
    std::atomic<bool> finished{false};
    bool countsItems = false; // done and total count items, not bytes
    bool StopRequested() const { return cancelled.load() || givenUp.load(); }
};

enum class LongWorkEnd { Finished, Cancelled, Stalled };

class LongWorkView {
public:
    virtual ~LongWorkView() = default;
    virtual void Begin(LongWork& work) = 0;
    // Lets the window turn for about `slice`; sets work.cancelled when the person cancels.
    virtual void Turn(LongWork& work, std::chrono::milliseconds slice) = 0;
    virtual void End(LongWork& work) = 0;
};

// The view for work from now on (none: nullptr). Returns the previous one.
LongWorkView* SetLongWorkView(LongWorkView* view);

inline constexpr std::chrono::milliseconds kStallLimit{5000};
// A shorter limit for tests (zero: kStallLimit again).
void SetStallLimitForTesting(std::chrono::milliseconds limit);
// The view installed now; none without a window.
LongWorkView* CurrentLongWorkView();
// Whether the main thread is in the middle of long work, turning the window while it waits
// or between items: what is to be shown once the work is over waits until then.
bool LongWorkUnderWay();
// Counts long work begun and ended under the view (ItemByItemWork and RunLongWork).
void NoteLongWorkBegun();
void NoteLongWorkEnded();

// Called by the work at every step it reports, on the thread it runs on (tests only).
void SetLongWorkStepHookForTesting(std::function<void()> hook);
void RunLongWorkStepHook();
// Called on the main thread for each item of work done item by item (tests only).
void SetItemDoneHookForTesting(std::function<void()> hook);
void RunItemDoneHook();
// How many threads of long work are still running (given-up work runs on until its disk
// answers); tests see them all end.
std::size_t LongWorkThreadsRunning();

// Runs body as described above. body checks work.StopRequested() between its steps and
// reports them through work.steps (and the bytes through work.done). Finished also when body ran
// where it was called.
LongWorkEnd RunLongWork(const std::shared_ptr<LongWork>& work, std::function<void(LongWork&)> body);

} // namespace host::files
