#include "host/UsageEvents.h"
#include "Marvane/core/UsageLog.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

TEST(UsageEventsTest, EventsAreKeptInTheOrderReported) {
    host::ClearUsageEvents();
    host::ReportUsageEvent("Zoom", "0.25");
    host::ReportUsageEvent("Zoom", "1");
    const auto events = host::RecentUsageEvents();
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].event, "Zoom");
    EXPECT_EQ(events[0].value, "0.25");
    EXPECT_EQ(events[1].value, "1");
    EXPECT_EQ(host::UsageEventCount(), 2u);
}

TEST(UsageEventsTest, TheLogDropsTheOldestEventsWhenFull) {
    host::ClearUsageEvents();
    for (std::size_t i = 0; i < host::kUsageLogCapacity + 10; ++i) {
        host::ReportUsageEvent("Step", std::to_string(i));
    }
    const auto events = host::RecentUsageEvents();
    ASSERT_EQ(events.size(), host::kUsageLogCapacity);
    EXPECT_EQ(events.front().value, "10");
    EXPECT_EQ(events.back().value, std::to_string(host::kUsageLogCapacity + 9));
    EXPECT_EQ(host::UsageEventCount(), host::kUsageLogCapacity + 10);
}

TEST(UsageEventsTest, EventsFromSeveralThreadsAreAllCounted) {
    host::ClearUsageEvents();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([] {
            for (int i = 0; i < 100; ++i) {
                host::ReportUsageEvent("Thread", "x");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(host::UsageEventCount(), 400u);
    EXPECT_EQ(host::RecentUsageEvents().size(), host::kUsageLogCapacity);
}
