#include "host/AsyncCalls.h"
#include "Marvane/core/ExceptionLogAccess.h"
#include "TestSupport.h"
#include "host/Messaging.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using host::test::ProcessEventsUntil;
using Clock = std::chrono::steady_clock;

TEST(AsyncCallsTest, CallRunsLaterNotInline) {
    int runs = 0;
    host::CallAsyncOnMainThread([&runs] { ++runs; });
    EXPECT_EQ(runs, 0);
    ASSERT_TRUE(ProcessEventsUntil([&runs] { return runs > 0; }));
    EXPECT_EQ(runs, 1);
}

TEST(AsyncCallsTest, CallsWithoutDelayRunInQueueOrder) {
    std::vector<int> order;
    for (int i = 0; i < 10; ++i) {
        host::CallAsyncOnMainThread([&order, i] { order.push_back(i); });
    }
    ASSERT_TRUE(ProcessEventsUntil([&order] { return order.size() == 10; }));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(AsyncCallsTest, CallsWithEqualDelayRunInQueueOrder) {
    std::vector<int> order;
    for (int i = 0; i < 10; ++i) {
        host::CallAsyncOnMainThread([&order, i] { order.push_back(i); }, 20);
    }
    ASSERT_TRUE(ProcessEventsUntil([&order] { return order.size() == 10; }));
    EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(AsyncCallsTest, ShorterDelayRunsBeforeLongerDelay) {
    std::vector<char> order;
    host::CallAsyncOnMainThread([&order] { order.push_back('L'); }, 80);
    host::CallAsyncOnMainThread([&order] { order.push_back('S'); }, 10);
    host::CallAsyncOnMainThread([&order] { order.push_back('N'); });
    ASSERT_TRUE(ProcessEventsUntil([&order] { return order.size() == 3; }));
    EXPECT_EQ(order, (std::vector<char>{'N', 'S', 'L'}));
}

TEST(AsyncCallsTest, DelayedCallWaitsAtLeastTheDelay) {
    constexpr auto kDelay = std::chrono::milliseconds(60);
    const auto start = Clock::now();
    Clock::time_point ranAt{};
    bool ran = false;
    host::CallAsyncOnMainThread(
        [&] {
            ranAt = Clock::now();
            ran = true;
        },
        static_cast<int>(kDelay.count()));
    ASSERT_TRUE(ProcessEventsUntil([&ran] { return ran; }));
    EXPECT_GE(ranAt - start, kDelay);
}

TEST(AsyncCallsTest, CallQueuedFromWorkerThreadRunsOnMainThread) {
    std::atomic<bool> ran{false};
    std::atomic<bool> onMainThread{false};
    const std::thread::id mainThread = std::this_thread::get_id();
    std::atomic<bool> sameThreadId{false};
    std::thread worker([&] {
        host::CallAsyncOnMainThread([&] {
            onMainThread = host::CurrentThreadIsMainThread();
            sameThreadId = std::this_thread::get_id() == mainThread;
            ran = true;
        });
    });
    worker.join();
    ASSERT_TRUE(ProcessEventsUntil([&ran] { return ran.load(); }));
    EXPECT_TRUE(onMainThread.load());
    EXPECT_TRUE(sameThreadId.load());
}

TEST(AsyncCallsTest, DelayedCallQueuedFromWorkerThreadWaitsAndRunsOnMainThread) {
    constexpr auto kDelay = std::chrono::milliseconds(40);
    std::atomic<bool> ran{false};
    std::atomic<bool> onMainThread{false};
    Clock::time_point queuedAt{};
    Clock::time_point ranAt{};
    std::thread worker([&] {
        queuedAt = Clock::now();
        host::CallAsyncOnMainThread(
            [&] {
                ranAt = Clock::now();
                onMainThread = host::CurrentThreadIsMainThread();
                ran = true;
            },
            static_cast<int>(kDelay.count()));
    });
    worker.join();
    ASSERT_TRUE(ProcessEventsUntil([&ran] { return ran.load(); }));
    EXPECT_TRUE(onMainThread.load());
    EXPECT_GE(ranAt - queuedAt, kDelay);
}

TEST(AsyncCallsTest, CallsFromManyThreadsAllRun) {
    constexpr int kThreads = 4;
    constexpr int kCallsPerThread = 50;
    std::atomic<int> runs{0};
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([&runs] {
            for (int i = 0; i < kCallsPerThread; ++i) {
                host::CallAsyncOnMainThread([&runs] { ++runs; }, i % 3);
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    ASSERT_TRUE(ProcessEventsUntil([&runs] { return runs.load() == kThreads * kCallsPerThread; }));
    host::test::ProcessEventsFor(std::chrono::milliseconds(20));
    EXPECT_EQ(runs.load(), kThreads * kCallsPerThread);
}

TEST(AsyncCallsTest, ExceptionEscapingCallIsLoggedAndLaterCallsStillRun) {
    host::ClearRecentExceptions();
    bool laterCallRan = false;
    host::CallAsyncOnMainThread([] { throw std::runtime_error("async failure"); });
    host::CallAsyncOnMainThread([] { throw 42; });
    host::CallAsyncOnMainThread([&laterCallRan] { laterCallRan = true; });
    ASSERT_TRUE(ProcessEventsUntil([&laterCallRan] { return laterCallRan; }));
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].place, "host::CallAsyncOnMainThread");
    EXPECT_EQ(entries[0].message, "async failure");
    EXPECT_EQ(entries[1].place, "host::CallAsyncOnMainThread");
    EXPECT_EQ(entries[1].message, "Unknown exception");
}

TEST(AsyncCallsTest, ExceptionFromDelayedCallIsLogged) {
    host::ClearRecentExceptions();
    bool thrown = false;
    host::CallAsyncOnMainThread(
        [&thrown] {
            thrown = true;
            throw std::logic_error("late failure");
        },
        5);
    ASSERT_TRUE(ProcessEventsUntil([&thrown] { return thrown; }));
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].place, "host::CallAsyncOnMainThread");
    EXPECT_EQ(entries[0].message, "late failure");
}

} // namespace
