#include "panel/MoveToTrashTest.h"

#include "host/AsyncCalls.h"
#include "utils/MoveItems.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string_view>

namespace HandlerTandrel {

namespace {

using Clock = std::chrono::steady_clock;

// A kept answer is tested again after this long, or after ten times what the test took when
// that is longer, so that a slow test does not keep a worker busy.
constexpr auto kKeptAtLeast = std::chrono::seconds(2);
constexpr int kKeptTimesTheTest = 10;

// The selection as one number: its size and its paths, hashed.
std::uint64_t KeyOf(const std::vector<host::WideString>& paths) {
    std::uint64_t key = paths.size();
    const std::hash<std::u16string_view> hash;
    for (const host::WideString& path : paths) {
        // Mixed in order (boost's hash_combine), so that the same paths in another order
        // are another selection.
        key ^= hash(path) + 0x9e3779b97f4a7c15ULL + (key << 6U) + (key >> 2U);
    }
    return key;
}

} // namespace

struct MoveToTrashTest::State {
    std::function<void()> answered;
    // The answer kept, and for which selection.
    bool known = false;
    bool answer = false;
    std::uint64_t key = 0;
    bool outdated = false; // something changed after its test began
    Clock::time_point testedAt;
    Clock::duration took{};
    // The test running on a worker.
    bool testing = false;
    std::uint64_t testingKey = 0;
    std::uint64_t changesWhenStarted = 0;
    std::shared_ptr<std::atomic<bool>> stop;
    std::uint64_t changes = 0; // how many times Forget was called
    bool retestQueued = false; // a kept, changed answer waits for the gap to be tested again
};

MoveToTrashTest::MoveToTrashTest(std::function<void()> answered)
    : mState(std::make_shared<State>()) {
    mState->answered = std::move(answered);
}

MoveToTrashTest::~MoveToTrashTest() {
    if (mState->stop) {
        mState->stop->store(true);
    }
}

std::optional<bool> MoveToTrashTest::Answer(const Paths& paths, std::size_t items) {
    State& state = *mState;
    if (std::max(items, paths->size()) <= kTestedAtOnce) {
        if (state.testing) {
            state.stop->store(true); // a big selection's test is of no use now
        }
        return Utils::CanMoveItems(*paths);
    }
    const std::uint64_t key = KeyOf(*paths);
    const bool kept = state.known && state.key == key;
    if (state.testing) {
        if (state.testingKey != key) {
            state.stop->store(true); // its answer would be for another selection: this one next
        }
    } else if (!kept) {
        Start(paths, key);
    } else {
        // A kept answer is tested again once it is old, or once something changed; a test
        // takes a worker, so never sooner than the gap after the last one.
        const Clock::duration gap =
            std::max<Clock::duration>(kKeptAtLeast, state.took * kKeptTimesTheTest);
        const Clock::duration age = Clock::now() - state.testedAt;
        if (age >= gap) {
            Start(paths, key);
        } else if (state.outdated && !state.retestQueued) {
            state.retestQueued = true;
            const std::weak_ptr<State> weakState = mState;
            const auto wait = std::chrono::ceil<std::chrono::milliseconds>(gap - age);
            host::CallAsyncOnMainThread(
                [weakState] {
                    if (const std::shared_ptr<State> later = weakState.lock()) {
                        later->retestQueued = false;
                        if (later->answered) {
                            later->answered(); // whoever shows the answer asks again
                        }
                    }
                },
                static_cast<int>(wait.count()) + 1);
        }
    }
    return kept ? std::optional<bool>(state.answer) : std::nullopt;
}

void MoveToTrashTest::Start(const Paths& paths, std::uint64_t key) {
    State& state = *mState;
    state.testing = true;
    state.testingKey = key;
    state.changesWhenStarted = state.changes;
    state.stop = std::make_shared<std::atomic<bool>>(false);
    const std::weak_ptr<State> weakState = mState;
    host::RunOnDefaultExecutor(
        [weakState, key, paths, stop = state.stop, context = Utils::CurrentMoveTestContext()] {
            const Clock::time_point start = Clock::now();
            std::optional<bool> answer;
            try {
                answer = Utils::CanMoveItemsIn(context, *paths, [&stop] { return !stop->load(); });
            } catch (...) {
                // A test that cannot be made says no, and is not made again before the gap:
                // asking again at once would only fail again. Carrying the command out tests.
                answer = false;
            }
            const Clock::duration took = Clock::now() - start;
            host::CallAsyncOnMainThread([weakState, key, answer, took] {
                const std::shared_ptr<State> kept = weakState.lock();
                if (!kept || !kept->testing || kept->testingKey != key) {
                    return;
                }
                kept->testing = false;
                kept->stop.reset();
                if (answer) {
                    kept->known = true;
                    kept->answer = *answer;
                    kept->key = key;
                    kept->outdated = kept->changes != kept->changesWhenStarted;
                    kept->testedAt = Clock::now();
                    kept->took = took;
                }
                if (kept->answered) {
                    kept->answered();
                }
            });
        });
}

void MoveToTrashTest::Forget() {
    ++mState->changes;
    mState->outdated = true;
}

bool MoveToTrashTest::IsTesting() const {
    return mState->testing;
}

} // namespace HandlerTandrel
