#include "host/Profiler.h"
#include "Marvane/core/ProfilerReport.h"
#include "TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

std::optional<host::ProfileEntry> FindEntry(const std::string& label) {
    for (const host::ProfileEntry& entry : host::ProfilerSnapshot()) {
        if (entry.label == label) {
            return entry;
        }
    }
    return std::nullopt;
}

class ProfilerTest : public testing::Test {
protected:
    void SetUp() override {
        host::ResetProfiler();
        host::SetProfilerEnabled(true);
    }
    void TearDown() override {
        host::SetProfilerEnabled(false);
        host::ResetProfiler();
    }
};

TEST_F(ProfilerTest, EachScopeAddsOneCall) {
    for (int i = 0; i < 3; ++i) {
        host::ScopedTimer timer("Test/Counted");
    }
    const auto entry = FindEntry("Test/Counted");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->count, 3u);
}

TEST_F(ProfilerTest, TotalIncludesTimeSpentInScope) {
    constexpr auto kSleep = std::chrono::milliseconds(5);
    const auto start = std::chrono::steady_clock::now();
    {
        host::ScopedTimer timer("Test/Sleeping");
        std::this_thread::sleep_for(kSleep);
    }
    {
        host::ScopedTimer timer("Test/Sleeping");
        std::this_thread::sleep_for(kSleep);
    }
    const auto outside = std::chrono::steady_clock::now() - start;
    const auto entry = FindEntry("Test/Sleeping");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->count, 2u);
    EXPECT_GE(entry->totalNanoseconds,
              static_cast<std::uint64_t>(std::chrono::nanoseconds(2 * kSleep).count()));
    EXPECT_LE(entry->totalNanoseconds,
              static_cast<std::uint64_t>(
                  std::chrono::duration_cast<std::chrono::nanoseconds>(outside).count()));
}

TEST_F(ProfilerTest, LabelsWithTheSameTextShareOneEntry) {
    static const char kFirst[] = "Test/Shared";
    const std::string second = "Test/Shared";
    ASSERT_NE(static_cast<const void*>(kFirst), static_cast<const void*>(second.c_str()));
    { host::ScopedTimer timer(kFirst); }
    { host::ScopedTimer timer(second.c_str()); }
    const std::vector<host::ProfileEntry> snapshot = host::ProfilerSnapshot();
    ASSERT_EQ(snapshot.size(), 1u);
    EXPECT_EQ(snapshot[0].label, "Test/Shared");
    EXPECT_EQ(snapshot[0].count, 2u);
}

TEST_F(ProfilerTest, SnapshotListsLongestTotalFirst) {
    { host::ScopedTimer timer("Test/Short"); }
    {
        host::ScopedTimer timer("Test/Long");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    {
        host::ScopedTimer timer("Test/Middle");
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    const std::vector<host::ProfileEntry> snapshot = host::ProfilerSnapshot();
    ASSERT_EQ(snapshot.size(), 3u);
    EXPECT_EQ(snapshot[0].label, "Test/Long");
    EXPECT_EQ(snapshot[1].label, "Test/Middle");
    EXPECT_EQ(snapshot[2].label, "Test/Short");
    EXPECT_TRUE(std::is_sorted(snapshot.begin(), snapshot.end(),
                               [](const host::ProfileEntry& a, const host::ProfileEntry& b) {
                                   return a.totalNanoseconds > b.totalNanoseconds;
                               }));
}

TEST_F(ProfilerTest, TimersOnManyThreadsAddUp) {
    constexpr int kThreads = 4;
    constexpr int kScopes = 250;
    std::vector<std::thread> workers;
    for (int t = 0; t < kThreads; ++t) {
        workers.emplace_back([] {
            for (int i = 0; i < kScopes; ++i) {
                host::ScopedTimer timer("Test/Threaded");
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    const auto entry = FindEntry("Test/Threaded");
    ASSERT_TRUE(entry.has_value());
    EXPECT_EQ(entry->count, static_cast<std::uint64_t>(kThreads * kScopes));
}

TEST_F(ProfilerTest, ReportHasHeadingAndOneRowPerLabel) {
    { host::ScopedTimer timer("Test/ReportedA"); }
    for (int i = 0; i < 4; ++i) {
        host::ScopedTimer timer("Test/ReportedLongerLabel");
    }
    const std::string report = host::ProfilerReport();
    EXPECT_NE(report.find("Label"), std::string::npos);
    EXPECT_NE(report.find("Calls"), std::string::npos);
    EXPECT_NE(report.find("Total ms"), std::string::npos);
    EXPECT_NE(report.find("Mean us"), std::string::npos);
    EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 3);

    const std::size_t row = report.find("Test/ReportedLongerLabel");
    ASSERT_NE(row, std::string::npos);
    const std::string line = report.substr(row, report.find('\n', row) - row);
    // The calls column follows the label: "Test/ReportedLongerLabel    4    ...".
    const std::string afterLabel = line.substr(std::string("Test/ReportedLongerLabel").size());
    EXPECT_EQ(afterLabel.find_first_not_of(' '), afterLabel.find('4'));
    EXPECT_NE(report.find("Test/ReportedA"), std::string::npos);
}

TEST_F(ProfilerTest, ReportShowsMillisecondsAndMeanMicroseconds) {
    {
        host::ScopedTimer timer("Test/Timed");
        std::this_thread::sleep_for(std::chrono::milliseconds(4));
    }
    const auto entry = FindEntry("Test/Timed");
    ASSERT_TRUE(entry.has_value());
    char total[64];
    std::snprintf(total, sizeof total, "%.3f",
                  static_cast<double>(entry->totalNanoseconds) / 1.0e6);
    char mean[64];
    std::snprintf(mean, sizeof mean, "%.3f", static_cast<double>(entry->totalNanoseconds) / 1.0e3);
    const std::string report = host::ProfilerReport();
    EXPECT_NE(report.find(total), std::string::npos) << report;
    EXPECT_NE(report.find(mean), std::string::npos) << report;
}

TEST_F(ProfilerTest, ResetForgetsEveryLabel) {
    { host::ScopedTimer timer("Test/Forgotten"); }
    ASSERT_FALSE(host::ProfilerSnapshot().empty());
    host::ResetProfiler();
    EXPECT_TRUE(host::ProfilerSnapshot().empty());
    EXPECT_EQ(host::ProfilerReport().find("Test/Forgotten"), std::string::npos);
}

TEST_F(ProfilerTest, ReportIsRequestedWhenEnvironmentSaysSo) {
    {
        host::test::EnvironmentVariable unset("MARVANE_PROFILE_REPORT", nullptr);
        EXPECT_FALSE(host::ProfilerReportRequested());
    }
    {
        host::test::EnvironmentVariable zero("MARVANE_PROFILE_REPORT", "0");
        EXPECT_FALSE(host::ProfilerReportRequested());
    }
    {
        host::test::EnvironmentVariable empty("MARVANE_PROFILE_REPORT", "");
        EXPECT_FALSE(host::ProfilerReportRequested());
    }
    {
        host::test::EnvironmentVariable one("MARVANE_PROFILE_REPORT", "1");
        EXPECT_TRUE(host::ProfilerReportRequested());
    }
    {
        host::test::EnvironmentVariable yes("MARVANE_PROFILE_REPORT", "yes");
        EXPECT_TRUE(host::ProfilerReportRequested());
    }
}

} // namespace

namespace {

TEST(ProfilerSwitch, TimersRecordNothingWhileTheProfilerIsOff) {
    host::ResetProfiler();
    host::SetProfilerEnabled(false);
    { host::ScopedTimer timer("Test/WhileOff"); }
    EXPECT_TRUE(host::ProfilerSnapshot().empty());
    host::SetProfilerEnabled(true);
    { host::ScopedTimer timer("Test/WhileOn"); }
    ASSERT_EQ(host::ProfilerSnapshot().size(), 1u);
    EXPECT_EQ(host::ProfilerSnapshot()[0].label, "Test/WhileOn");
    host::SetProfilerEnabled(false);
    host::ResetProfiler();
}

} // namespace
