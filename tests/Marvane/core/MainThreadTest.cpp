#include "Marvane/core/MainThread.h"
#include "Marvane/core/ExceptionLogAccess.h"
#include "TestSupport.h"
#include "host/Messaging.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

using host::test::ProcessEventsUntil;

TEST(MainThreadTest, TestThreadIsTheMainThread) {
    EXPECT_TRUE(host::CurrentThreadIsMainThread());
}

TEST(MainThreadTest, WorkerThreadIsNotTheMainThread) {
    std::atomic<int> answer{-1};
    std::thread worker([&answer] { answer = host::CurrentThreadIsMainThread() ? 1 : 0; });
    worker.join();
    EXPECT_EQ(answer.load(), 0);
}

TEST(MainThreadTest, QueuedCallRunsFromEventLoopNotInline) {
    bool ran = false;
    host::QueueOnMainThread([&ran] { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_TRUE(ProcessEventsUntil([&ran] { return ran; }));
}

TEST(MainThreadTest, CallQueuedFromWorkerRunsOnMainThread) {
    std::atomic<bool> ran{false};
    std::atomic<bool> ranOnMainThread{false};
    std::thread worker([&] {
        host::QueueOnMainThread([&] {
            ranOnMainThread = host::CurrentThreadIsMainThread();
            ran = true;
        });
    });
    worker.join();
    ASSERT_TRUE(ProcessEventsUntil([&ran] { return ran.load(); }));
    EXPECT_TRUE(ranOnMainThread.load());
}

TEST(MainThreadTest, ExceptionEscapingQueuedCallIsLogged) {
    host::ClearRecentExceptions();
    bool laterCallRan = false;
    host::QueueOnMainThread([] { throw std::runtime_error("queued failure"); });
    host::QueueOnMainThread([&laterCallRan] { laterCallRan = true; });
    ASSERT_TRUE(ProcessEventsUntil([&laterCallRan] { return laterCallRan; }));
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].place, "host::QueueOnMainThread");
    EXPECT_EQ(entries[0].message, "queued failure");
}

TEST(MainThreadTest, EmptyCallIsIgnored) {
    host::ClearRecentExceptions();
    bool marker = false;
    host::QueueOnMainThread({});
    host::QueueOnMainThread([&marker] { marker = true; });
    ASSERT_TRUE(ProcessEventsUntil([&marker] { return marker; }));
    EXPECT_TRUE(host::RecentExceptions().empty());
}

} // namespace
