// A big project opens without the window waiting: its page is there at once and shows how far
// the reading got; the project's own page takes its place in the same tab; stopping the
// opening, a damaged file and closing the window while it reads each give the lock back.
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/app/OpeningPage.h"
#include "Marvane/app/ProjectWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/documents/BackgroundOpening.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "ProjectOpenings.h"
#include "TemporaryFolder.h"

#include "TestProjects.h"
#include "ViewTestSupport.h"
#include <QTabWidget>

#include <QCloseEvent>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using host::DocumentManager;

class ProjectOpeningTest : public ::testing::Test {
protected:
    void SetUp() override {
        // About 2 MB, read in some thirty pieces.
        std::vector<std::string> sequences;
        for (int index = 0; index < 55000; ++index) {
            sequences.push_back("Sequence " + std::to_string(index) + " - a long enough name");
        }
        big = testsupport::WriteProject(root / "Feature.mvproj", sequences);
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::DeclareHostCommands(host::ShortcutManager::Instance());
        responder = std::make_shared<host::ScriptedDialogResponder>();
        host::SetDialogResponder(responder);
        window = std::make_unique<host::MainWindow>();
        window->show();
        SettleEvents();
    }
    void TearDown() override {
        host::SetProjectReadHookForTesting({});
        testsupport::CloseAllProjects();
        window.reset();
        host::SetDialogResponder(nullptr);
    }
    // Each piece of the file read takes this long, so that the reading can be watched.
    static void ReadSlowly(int millisecondsPerPiece) {
        host::SetProjectReadHookForTesting([millisecondsPerPiece](std::size_t) {
            std::this_thread::sleep_for(std::chrono::milliseconds(millisecondsPerPiece));
        });
    }
    // The project whose tab is in front, and the one the host works in, is this one.
    void ExpectInFront(const char* tab, const fs::path& project) const {
        QTabWidget& tabs = *window->GetProjectTabs();
        EXPECT_EQ(tabs.tabText(tabs.currentIndex()), QString::fromUtf8(tab));
        EXPECT_EQ(DocumentManager::Instance().GetActive(),
                  DocumentManager::Instance().Find(project));
    }
    host::OpeningPage* OpeningPageAt(int index) const {
        return dynamic_cast<host::OpeningPage*>(window->GetProjectTabs()->widget(index));
    }
    host::ProjectWindow* ProjectPageAt(int index) const {
        return dynamic_cast<host::ProjectWindow*>(window->GetProjectTabs()->widget(index));
    }

    const testsupport::TemporaryFolder temporary{"project-opening"};
    const fs::path root = temporary.Path();
    fs::path big;
    std::shared_ptr<host::ScriptedDialogResponder> responder;
    std::unique_ptr<host::MainWindow> window;
};

TEST_F(ProjectOpeningTest, ABigProjectGetsItsPageAtOnceAndTheWindowAnswersWhileItIsRead) {
    ReadSlowly(30);
    const fs::path small = testsupport::WriteProject(root / "Trailer.mvproj", {"Assembly"});
    ASSERT_TRUE(window->OpenProjectFile(small));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    QElapsedTimer timer;
    timer.start();
    ASSERT_TRUE(window->OpenProjectFile(big));
    // The call came back long before the file was read (thirty pieces of 30 ms).
    EXPECT_LT(timer.elapsed(), 500);
    ASSERT_EQ(window->GetProjectTabs()->count(), 2);
    EXPECT_EQ(window->GetProjectTabs()->tabText(1), QStringLiteral("Feature"));
    ASSERT_NE(OpeningPageAt(1), nullptr);
    EXPECT_EQ(window->GetProjectTabs()->currentIndex(), 1);
    // Taken before the reading, so that nobody saves between our read and our lock.
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(big)));

    // The window keeps answering: a timer of 10 ms fires again and again while the file is
    // read, and the page shows the reading moving on.
    int ticks = 0;
    int shownWhileReading = 0;
    QTimer tick;
    QObject::connect(&tick, &QTimer::timeout, [&] {
        ++ticks;
        if (host::OpeningPage* page = OpeningPageAt(1)) {
            shownWhileReading = std::max(shownWhileReading, page->ShownPermille());
        }
    });
    tick.start(10);
    ASSERT_TRUE(testsupport::WaitForOpenings());
    EXPECT_GT(ticks, 30);
    EXPECT_GT(shownWhileReading, 0);
    EXPECT_LE(shownWhileReading, 1000);

    // The project's page took the opening page's place.
    SettleEvents();
    ASSERT_EQ(window->GetProjectTabs()->count(), 2);
    ASSERT_NE(ProjectPageAt(1), nullptr);
    EXPECT_EQ(window->GetProjectTabs()->tabText(1), QStringLiteral("Feature"));
    EXPECT_EQ(window->GetProjectTabs()->currentIndex(), 1);
    EXPECT_EQ(ProjectPageAt(1)->GetProject()->Content().sequences.size(), 55000u);
    EXPECT_TRUE(ProjectPageAt(1)->GetProject()->HoldsLock());
    EXPECT_TRUE(responder->GetRequests().empty());
}

TEST_F(ProjectOpeningTest, StoppingAnOpeningGivesTheLockBackAndLeavesNoPage) {
    ReadSlowly(30);
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_NE(OpeningPageAt(0), nullptr);
    auto* stop = OpeningPageAt(0)->findChild<QPushButton*>(QStringLiteral("OpeningCancel"));
    ASSERT_NE(stop, nullptr);
    stop->click();
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    EXPECT_EQ(window->GetProjectTabs()->count(), 0);
    EXPECT_TRUE(DocumentManager::Instance().GetAll().empty());
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
    // A stop is no failure: nothing to report.
    EXPECT_TRUE(responder->GetRequests().empty());
    // And the project opens again afterwards.
    host::SetProjectReadHookForTesting({});
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    ASSERT_NE(DocumentManager::Instance().Find(big), nullptr);
}

TEST_F(ProjectOpeningTest, ClosingTheOpeningsTabStopsIt) {
    ReadSlowly(30);
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_EQ(window->GetProjectTabs()->count(), 1);
    emit window->GetProjectTabs()->tabCloseRequested(0);
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    EXPECT_EQ(window->GetProjectTabs()->count(), 0);
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
}

TEST_F(ProjectOpeningTest, ADamagedBigProjectIsReportedOnceReadAndItsLockGoes) {
    {
        std::ofstream damaged(big, std::ios::app);
        damaged << "and then some text that is no JSON";
    }
    ReadSlowly(5);
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Cannot Open Project");
    EXPECT_NE(responder->GetRequests()[0].text.find("is damaged"), std::string::npos)
        << responder->GetRequests()[0].text;
    EXPECT_EQ(window->GetProjectTabs()->count(), 0);
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
}

TEST_F(ProjectOpeningTest, ClosingTheWindowWhileAProjectIsReadStopsItAndGivesTheLockBack) {
    ReadSlowly(30);
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_TRUE(fs::exists(host::LockFilePathFor(big)));
    QCloseEvent close;
    QApplication::sendEvent(window.get(), &close);
    EXPECT_TRUE(close.isAccepted());
    // Stopped and waited for before the window went: no worker left, no lock, no project.
    EXPECT_TRUE(DocumentManager::Instance().GetOpenings().empty());
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
    SettleEvents();
    EXPECT_TRUE(DocumentManager::Instance().GetAll().empty());
}

TEST_F(ProjectOpeningTest, OpeningTheSameProjectAgainWhileItIsReadBringsItsPageToTheFront) {
    ReadSlowly(20);
    const fs::path small = testsupport::WriteProject(root / "Trailer.mvproj", {"Assembly"});
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_TRUE(window->OpenProjectFile(small));
    ASSERT_TRUE(WaitUntil([&] { return DocumentManager::Instance().Find(small) != nullptr; }));
    SettleEvents();
    ASSERT_EQ(window->GetProjectTabs()->count(), 2);
    EXPECT_EQ(window->GetProjectTabs()->tabText(window->GetProjectTabs()->currentIndex()),
              QStringLiteral("Trailer"));
    // Asked for again: still one opening, its page in front.
    EXPECT_TRUE(window->OpenProjectFile(big));
    EXPECT_EQ(DocumentManager::Instance().GetOpenings().size(), 1u);
    EXPECT_EQ(window->GetProjectTabs()->count(), 2);
    EXPECT_NE(OpeningPageAt(window->GetProjectTabs()->currentIndex()), nullptr);
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    EXPECT_EQ(DocumentManager::Instance().GetAll().size(), 2u);
    // Asked for last, it is in front once read.
    EXPECT_EQ(window->GetProjectTabs()->tabText(window->GetProjectTabs()->currentIndex()),
              QStringLiteral("Feature"));
}

TEST_F(ProjectOpeningTest, AProjectReadAfterAnotherWasAskedForStaysBehindIt) {
    ReadSlowly(20);
    const fs::path small = testsupport::WriteProject(root / "Trailer.mvproj", {"Assembly"});
    // The big one asked for first, the small one last: the small one is read first.
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_TRUE(window->OpenProjectFile(small));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    ASSERT_EQ(window->GetProjectTabs()->count(), 2);
    ExpectInFront("Trailer", small);
}

TEST_F(ProjectOpeningTest, AProjectAskedForBeforeARefusedOneComesToTheFrontOnceRead) {
    const fs::path small = testsupport::WriteProject(root / "Trailer.mvproj", {"Assembly"});
    ASSERT_TRUE(window->OpenProjectFile(small));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    ReadSlowly(20);
    ASSERT_TRUE(window->OpenProjectFile(big));
    // Then a file that is no project: refused at once, it leaves the big one the last asked for.
    std::ofstream(root / "notes.txt") << "not a project";
    EXPECT_FALSE(window->OpenProjectFile(root / "notes.txt"));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    ExpectInFront("Feature", big);
}

TEST_F(ProjectOpeningTest, ARefusedFileLeavesTheFrontToTheLatestProjectAskedForBeforeIt) {
    ReadSlowly(20);
    const fs::path small = testsupport::WriteProject(root / "Trailer.mvproj", {"Assembly"});
    // The big one first, the small one after it, then a file that is no project.
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_TRUE(window->OpenProjectFile(small));
    std::ofstream(root / "notes.txt") << "not a project";
    EXPECT_FALSE(window->OpenProjectFile(root / "notes.txt"));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    // The big one, read last, stays behind the small one asked for after it.
    ASSERT_EQ(window->GetProjectTabs()->count(), 2);
    ExpectInFront("Trailer", small);
}

TEST_F(ProjectOpeningTest, AProjectChosenWhileAnotherIsReadKeepsTheFront) {
    const fs::path small = testsupport::WriteProject(root / "Trailer.mvproj", {"Assembly"});
    const fs::path other = testsupport::WriteProject(root / "Teaser.mvproj", {"Assembly"});
    ASSERT_TRUE(window->OpenProjectFile(small));
    ASSERT_TRUE(window->OpenProjectFile(other));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    ReadSlowly(20);
    ASSERT_TRUE(window->OpenProjectFile(big));
    // While the big one is read, the person picks the Trailer's tab to work in.
    QTabWidget& tabs = *window->GetProjectTabs();
    for (int index = 0; index < tabs.count(); ++index) {
        if (tabs.tabText(index) == QStringLiteral("Trailer")) {
            tabs.setCurrentIndex(index);
        }
    }
    ASSERT_EQ(DocumentManager::Instance().GetActive(), DocumentManager::Instance().Find(small));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    ExpectInFront("Trailer", small);
    EXPECT_NE(DocumentManager::Instance().Find(big), nullptr);
}

TEST_F(ProjectOpeningTest, AStopThatCannotWaitRemovesTheLockOfAProjectBeingRead) {
    ReadSlowly(30);
    ASSERT_TRUE(window->OpenProjectFile(big));
    ASSERT_TRUE(fs::exists(host::LockFilePathFor(big)));
    DocumentManager::Instance().ReleaseOpeningLocks();
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
    // The opening was told to stop: it ends without a project and without a message.
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    EXPECT_TRUE(DocumentManager::Instance().GetAll().empty());
    EXPECT_TRUE(responder->GetRequests().empty());
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(big)));
}

TEST_F(ProjectOpeningTest, AFileThatIsNoProjectIsRefusedAtOnceWithNoPage) {
    const fs::path notes = root / "Notes.txt";
    std::ofstream(notes) << "{}";
    EXPECT_FALSE(window->OpenProjectFile(notes));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Cannot Open Project");
    EXPECT_EQ(window->GetProjectTabs()->count(), 0);
    EXPECT_TRUE(DocumentManager::Instance().GetOpenings().empty());
}

} // namespace
