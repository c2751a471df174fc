#include "Marvane/app/ProjectWindow.h"
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "TestProjects.h"

#include <QCloseEvent>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "FileBytes.h"
#include <sstream>
#include <unistd.h>

#include "ViewTestSupport.h"

namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;

class ProjectWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = fs::temp_directory_path() / ("marvane-project-window-" + std::to_string(::getpid()));
        fs::remove_all(root);
        scene = testsupport::WriteProject(root / "Scene 12.mvproj", {"Assembly"});
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::HostSession::Instance().userOverride.reset();
        host::DeclareHostCommands(host::ShortcutManager::Instance());
        responder = std::make_shared<host::ScriptedDialogResponder>();
        host::SetDialogResponder(responder);
        window = std::make_unique<host::MainWindow>();
        window->show();
        SettleEvents();
    }
    void TearDown() override {
        testsupport::CloseAllProjects();
        window.reset();
        host::SetDialogResponder(nullptr);
        fs::remove_all(root);
    }
    host::ProjectWindow* Page(int index = 0) {
        return dynamic_cast<host::ProjectWindow*>(window->GetProjectTabs()->widget(index));
    }

    fs::path root;
    fs::path scene;
    std::shared_ptr<host::ScriptedDialogResponder> responder;
    std::unique_ptr<host::MainWindow> window;
};

TEST_F(ProjectWindowTest, AnOpenedProjectGetsATabThatSaysWeHoldTheLock) {
    ASSERT_TRUE(window->OpenProjectFile(scene));
    ASSERT_EQ(window->GetProjectTabs()->count(), 1);
    EXPECT_EQ(window->GetProjectTabs()->tabText(0), QStringLiteral("Scene 12"));
    ASSERT_NE(Page(), nullptr);
    EXPECT_EQ(Page()->ModeText(), QStringLiteral("Read-write: you hold the lock."));
    EXPECT_FALSE(Page()->OutOfDateShown());
}

TEST_F(ProjectWindowTest, AddingASequenceAndSavingWritesTheProject) {
    ASSERT_TRUE(window->OpenProjectFile(scene));
    responder->AddText("Fine Cut");
    Page()->AddSequence();
    ASSERT_EQ(responder->GetTextRequests().size(), 1u);
    EXPECT_EQ(responder->GetTextRequests()[0].title, "Add Sequence");
    EXPECT_TRUE(Page()->GetProject()->IsModified());
    Page()->Save();
    EXPECT_FALSE(Page()->GetProject()->IsModified());
    EXPECT_NE(ReadBytes(scene).find("Fine Cut"), std::string::npos);
}

TEST_F(ProjectWindowTest, AnotherEditorsProjectShowsTheHolderAndWhenItIsOutOfDate) {
    ASSERT_TRUE(
        host::CreateProjectLockFile(scene.string(), "Ben Okafor", "suite-2")->IsOwnedByCaller());
    ASSERT_TRUE(window->OpenProjectFile(scene));
    EXPECT_EQ(Page()->ModeText(), QStringLiteral("Read-only: locked by Ben Okafor."));
    EXPECT_FALSE(Page()->OutOfDateShown());
    testsupport::WriteProject(scene, {"Assembly", "Ben's Cut"});
    Page()->Refresh();
    EXPECT_TRUE(Page()->OutOfDateShown());
    Page()->Reload();
    EXPECT_FALSE(Page()->OutOfDateShown());
    EXPECT_EQ(Page()->GetProject()->Content().sequences.size(), 2u);
}

TEST_F(ProjectWindowTest, ADamagedProjectIsReportedInAMessageBox) {
    std::ofstream(root / "Damaged.mvproj") << "not json";
    EXPECT_FALSE(window->OpenProjectFile(root / "Damaged.mvproj"));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Cannot Open Project");
    EXPECT_EQ(window->GetProjectTabs()->count(), 0);
}

TEST_F(ProjectWindowTest, ClosingTheWindowAsksToSaveAndACancelKeepsEverything) {
    ASSERT_TRUE(window->OpenProjectFile(scene));
    responder->AddText("Unsaved");
    Page()->AddSequence();
    responder->AddAnswer(2); // Cancel
    QCloseEvent event;
    QApplication::sendEvent(window.get(), &event);
    EXPECT_FALSE(event.isAccepted());
    EXPECT_EQ(host::DocumentManager::Instance().GetAll().size(), 1u);
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
    responder->AddAnswer(0); // Save
    QCloseEvent again;
    QApplication::sendEvent(window.get(), &again);
    EXPECT_TRUE(again.isAccepted());
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_NE(ReadBytes(scene).find("Unsaved"), std::string::npos);
}

TEST_F(ProjectWindowTest, SwitchingAFreeProjectToReadOnlyAndBackMovesTheLock) {
    ASSERT_TRUE(window->OpenProjectFile(scene));
    Page()->ToggleReadOnly();
    EXPECT_TRUE(Page()->GetProject()->IsReadOnly());
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(Page()->ModeText(), QStringLiteral("Read-only."));
    Page()->ToggleReadOnly();
    EXPECT_FALSE(Page()->GetProject()->IsReadOnly());
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
}

} // namespace
