#include "host/ExceptionLog.h"
#include "Marvane/core/ExceptionLogAccess.h"
#include "Marvane/core/TraceConfiguration.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

struct TraceLine {
    std::string category;
    int level;
    std::string text;
};

class ExceptionLogTest : public testing::Test {
protected:
    void SetUp() override { host::ClearRecentExceptions(); }
    void TearDown() override {
        host::SetTraceSink({});
        host::ConfigureTrace("");
        host::ClearRecentExceptions();
    }
};

TEST_F(ExceptionLogTest, LogExceptionRecordsPlaceAndMessage) {
    host::LogException("Module::Panel::OnCommand", std::runtime_error("disk full"));
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].place, "Module::Panel::OnCommand");
    EXPECT_EQ(entries[0].message, "disk full");
}

TEST_F(ExceptionLogTest, LogUnknownExceptionRecordsPlace) {
    host::LogUnknownException("Module::Panel::Refresh");
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].place, "Module::Panel::Refresh");
    EXPECT_EQ(entries[0].message, "Unknown exception");
}

TEST_F(ExceptionLogTest, EntriesAreKeptOldestFirst) {
    host::LogException("First", std::runtime_error("one"));
    host::LogUnknownException("Second");
    host::LogException("Third", std::logic_error("three"));
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0].place, "First");
    EXPECT_EQ(entries[1].place, "Second");
    EXPECT_EQ(entries[2].place, "Third");
    EXPECT_EQ(entries[2].message, "three");
}

TEST_F(ExceptionLogTest, LogWritesOneLineToStandardError) {
    testing::internal::CaptureStderr();
    host::LogException("Module::Save", std::runtime_error("no space"));
    host::LogUnknownException("Module::Load");
    const std::string output = testing::internal::GetCapturedStderr();
    EXPECT_EQ(output, "Exception in Module::Save: no space\n"
                      "Unknown exception in Module::Load\n");
}

TEST_F(ExceptionLogTest, LogGoesToTraceCategoryExceptionsAtLevelOne) {
    std::vector<TraceLine> lines;
    host::SetTraceSink([&lines](std::string_view category, int level, std::string_view text) {
        lines.push_back({std::string(category), level, std::string(text)});
    });
    host::ConfigureTrace("Exceptions=1");
    testing::internal::CaptureStderr();
    host::LogException("Module::Save", std::runtime_error("no space"));
    host::LogUnknownException("Module::Load");
    testing::internal::GetCapturedStderr();

    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].category, "Exceptions");
    EXPECT_EQ(lines[0].level, 1);
    EXPECT_EQ(lines[0].text, "Exception in Module::Save: no space");
    EXPECT_EQ(lines[1].category, "Exceptions");
    EXPECT_EQ(lines[1].level, 1);
    EXPECT_EQ(lines[1].text, "Unknown exception in Module::Load");
}

TEST_F(ExceptionLogTest, NothingIsTracedWhileExceptionsCategoryIsOff) {
    int traced = 0;
    host::SetTraceSink([&traced](std::string_view, int, std::string_view) { ++traced; });
    host::ConfigureTrace("Other=9");
    testing::internal::CaptureStderr();
    host::LogException("Module::Save", std::runtime_error("no space"));
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(traced, 0);
    EXPECT_EQ(host::RecentExceptions().size(), 1u);
}

TEST_F(ExceptionLogTest, LogKeepsOnlyTheLatestHundredEntries) {
    testing::internal::CaptureStderr();
    for (int i = 0; i < 150; ++i) {
        host::LogException("Loop", std::runtime_error("error " + std::to_string(i)));
    }
    testing::internal::GetCapturedStderr();
    const std::vector<host::ExceptionLogEntry> entries = host::RecentExceptions();
    ASSERT_EQ(entries.size(), host::kRecentExceptionLimit);
    ASSERT_EQ(entries.size(), 100u);
    EXPECT_EQ(entries.front().message, "error 50");
    EXPECT_EQ(entries.back().message, "error 149");
}

TEST_F(ExceptionLogTest, ClearRecentExceptionsEmptiesTheLog) {
    host::LogException("Place", std::runtime_error("x"));
    ASSERT_FALSE(host::RecentExceptions().empty());
    host::ClearRecentExceptions();
    EXPECT_TRUE(host::RecentExceptions().empty());
}

TEST_F(ExceptionLogTest, LoggingFromManyThreadsKeepsEveryEntry) {
    testing::internal::CaptureStderr();
    std::vector<std::thread> workers;
    for (int t = 0; t < 4; ++t) {
        workers.emplace_back([] {
            for (int i = 0; i < 20; ++i) {
                host::LogException("Worker", std::runtime_error("busy"));
            }
        });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(host::RecentExceptions().size(), 80u);
}

} // namespace
