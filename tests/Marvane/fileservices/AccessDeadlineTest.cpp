// The main thread's accesses under a folder that stops answering come back by a deadline, and
// once one missed it the rest are refused without touching the folder, until it answers again.
// A pipe nobody writes to stands for the folder that hangs: opening it blocks for real.
#include "Marvane/fileservices/AccessDeadline.h"

#include "TemporaryFolder.h"

#include <QCoreApplication>
#include <atomic>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace host;

class AccessDeadlineTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(production);
        ASSERT_EQ(::mkfifo(hanging.c_str(), 0644), 0);
        files::GuardFolder(production, std::chrono::milliseconds(200));
        files::SetNotAnsweringHandler([this](const std::string& why) {
            ++told;
            reason = why;
        });
    }
    void TearDown() override {
        files::GuardFolder({}, std::chrono::milliseconds(500));
        files::SetNotAnsweringHandler({});
        // Lets a read left waiting on the pipe finish, so that its thread ends.
        const int writer = ::open(hanging.c_str(), O_WRONLY | O_NONBLOCK);
        if (writer >= 0) {
            ::close(writer);
        }
    }
    // Opens the pipe for reading: it blocks until someone opens it for writing.
    bool OpenThePipe() {
        const fs::path pipe = hanging;
        return files::RunBounded(pipe, [pipe] {
            const int reader = ::open(pipe.c_str(), O_RDONLY);
            if (reader >= 0) {
                ::close(reader);
            }
        });
    }
    void HandleQueuedCalls() {
        for (int round = 0; round < 5; ++round) {
            QCoreApplication::processEvents();
        }
    }

    const testsupport::TemporaryFolder temporary{"access-deadline"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path hanging = production / "Scene 1.mvproj.lock";
    int told = 0;
    std::string reason;
};

TEST_F(AccessDeadlineTest, AnAccessThatHangsComesBackUnfinished) {
    EXPECT_FALSE(OpenThePipe());
    EXPECT_TRUE(files::GuardedFolderIsHung());
}

TEST_F(AccessDeadlineTest, AccessesThatFinishInTimeGiveTheirResult) {
    const std::optional<int> answer = files::Bounded<int>(production / "a", [] { return 42; });
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ(*answer, 42);
    EXPECT_FALSE(files::GuardedFolderIsHung());
}

TEST_F(AccessDeadlineTest, AfterAMissedDeadlineAccessesAreRefusedWithoutTouchingTheFolder) {
    ASSERT_FALSE(OpenThePipe());
    const std::uint64_t failuresBefore = files::BoundedAccessFailures();
    std::atomic<int> ran{0};
    EXPECT_FALSE(files::RunBounded(production / "Scene 2.mvproj", [&ran] { ++ran; }));
    EXPECT_FALSE(files::Bounded<bool>(production, [&ran] { return ++ran > 0; }).has_value());
    EXPECT_EQ(ran.load(), 0);
    EXPECT_EQ(files::BoundedAccessFailures(), failuresBefore + 2);
}

TEST_F(AccessDeadlineTest, TheHandlerIsToldOnceOnTheMainThreadAfterTheAccess) {
    ASSERT_FALSE(OpenThePipe());
    EXPECT_EQ(told, 0); // never from inside the access
    EXPECT_FALSE(OpenThePipe());
    HandleQueuedCalls();
    EXPECT_EQ(told, 1);
    EXPECT_NE(reason.find("did not answer within 200 ms"), std::string::npos) << reason;
}

TEST_F(AccessDeadlineTest, AFolderThatAnswersAgainLetsAccessesThrough) {
    ASSERT_FALSE(OpenThePipe());
    files::FolderAnswersAgain();
    EXPECT_FALSE(files::GuardedFolderIsHung());
    std::atomic<int> ran{0};
    EXPECT_TRUE(files::RunBounded(production / "Scene 2.mvproj", [&ran] { ++ran; }));
    EXPECT_EQ(ran.load(), 1);
}

TEST_F(AccessDeadlineTest, PathsOutsideTheFolderAreAccessedDirectly) {
    ASSERT_FALSE(OpenThePipe());
    std::atomic<int> ran{0};
    // A sibling whose name only begins like the folder's is outside it.
    EXPECT_TRUE(
        files::RunBounded(temporary.Path() / "Pilot 2" / "Scene.mvproj", [&ran] { ++ran; }));
    EXPECT_TRUE(files::RunBounded(temporary.Path(), [&ran] { ++ran; }));
    EXPECT_EQ(ran.load(), 2);
}

TEST_F(AccessDeadlineTest, OtherThreadsAccessDirectly) {
    ASSERT_FALSE(OpenThePipe());
    std::atomic<int> ran{0};
    std::thread worker(
        [&] { EXPECT_TRUE(files::RunBounded(production / "Scene 2.mvproj", [&ran] { ++ran; })); });
    worker.join();
    EXPECT_EQ(ran.load(), 1);
}

TEST_F(AccessDeadlineTest, NoFolderGuardedMeansNoDeadline) {
    files::GuardFolder({}, std::chrono::milliseconds(200));
    std::atomic<int> ran{0};
    EXPECT_TRUE(files::RunBounded(production / "Scene 2.mvproj", [&ran] { ++ran; }));
    EXPECT_EQ(ran.load(), 1);
}

TEST_F(AccessDeadlineTest, AnAccessThatKeepsMovingIsWaitedForPastTheDeadline) {
    // Ten steps of 60 ms: three times the deadline in all, never a deadline without a step.
    std::atomic<int> steps{0};
    EXPECT_TRUE(files::RunBoundedWhileMoving(
        production / "Big.mvproj", [&steps](std::atomic<std::uint64_t>& progress) {
            for (int step = 1; step <= 10; ++step) {
                std::this_thread::sleep_for(std::chrono::milliseconds(60));
                progress.store(static_cast<unsigned>(step));
                ++steps;
            }
        }));
    EXPECT_EQ(steps.load(), 10);
    EXPECT_FALSE(files::GuardedFolderIsHung());
}

TEST_F(AccessDeadlineTest, AnAccessThatStopsMovingIsTakenForAFolderThatDoesNotAnswer) {
    EXPECT_FALSE(files::RunBoundedWhileMoving(
        production / "Big.mvproj", [](std::atomic<std::uint64_t>& progress) {
            progress.store(1);
            std::this_thread::sleep_for(std::chrono::milliseconds(600));
            progress.store(2);
        }));
    EXPECT_TRUE(files::GuardedFolderIsHung());
}

TEST_F(AccessDeadlineTest, LookingAgainLetsAccessesThroughWhenTheFolderAnswers) {
    EXPECT_TRUE(files::LookAgainIfNotAnswering()); // nothing to do
    ASSERT_FALSE(OpenThePipe());
    ASSERT_TRUE(files::GuardedFolderIsHung());
    // The folder itself answers: only one file in it hung.
    EXPECT_TRUE(files::LookAgainIfNotAnswering());
    EXPECT_FALSE(files::GuardedFolderIsHung());
    std::atomic<int> ran{0};
    EXPECT_TRUE(files::RunBounded(production / "Scene 2.mvproj", [&ran] { ++ran; }));
    EXPECT_EQ(ran.load(), 1);
}

TEST_F(AccessDeadlineTest, LookingAgainAtAFolderThatCannotBeOpenedKeepsRefusing) {
    // The pipe stands for the guarded folder: it is no folder that can be opened.
    files::GuardFolder(hanging, std::chrono::milliseconds(200));
    ASSERT_FALSE(OpenThePipe());
    ASSERT_TRUE(files::GuardedFolderIsHung());
    EXPECT_FALSE(files::LookAgainIfNotAnswering());
    EXPECT_TRUE(files::GuardedFolderIsHung());
}

} // namespace
