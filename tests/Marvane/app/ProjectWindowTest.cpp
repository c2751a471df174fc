#include "Marvane/app/ProjectWindow.h"
#include "Marvane/app/CommandLine.h"
#include "Marvane/app/HostCommands.h"
#include "Marvane/app/MainWindow.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/uiframework/CommandDispatch.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uitoolkit/DragAndDrop.h"
#include "ProjectOpenings.h"
#include "TestProjects.h"
#include "host/OpenProjects.h"
#include "host/ProjectBackEnd.h"

#include <QAbstractItemModel>
#include <QAccessible>
#include <QCloseEvent>
#include <QLabel>
#include <QListView>
#include <QMimeData>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "FileBytes.h"
#include "GoneProcess.h"
#include <sstream>
#include <unistd.h>

#include "TemporaryFolder.h"
#include "ViewTestSupport.h"

namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;

class ProjectWindowTest : public ::testing::Test {
protected:
    void SetUp() override {
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
    }
    // Opens the project as the window does, in the background, and waits for it; whether it
    // is open.
    bool OpenInWindow(const fs::path& project) {
        return window->OpenProjectFile(project) && testsupport::WaitForOpenings() &&
               host::DocumentManager::Instance().Find(project) != nullptr;
    }
    // Another editor's lock on the scene, as their own copy of the host would leave it: not
    // one that this process gives back when its event loop turns.
    bool LockAs(const std::string& name, const std::string& machine) {
        const host::ProjectLockFilePtr lock =
            host::CreateProjectLockFile(scene.string(), name, machine);
        host::ForgetCreatedLock(scene);
        return lock && lock->IsOwnedByCaller();
    }
    host::ProjectWindow* Page(int index = 0) {
        return dynamic_cast<host::ProjectWindow*>(window->GetProjectTabs()->widget(index));
    }

    // The texts of a list's rows, as its model gives them to the view.
    static QStringList Rows(const QListView* list) {
        QStringList rows;
        const QAbstractItemModel* model = list->model();
        for (int row = 0; row < model->rowCount(); ++row) {
            rows << model->index(row, 0).data().toString();
        }
        return rows;
    }

    const testsupport::TemporaryFolder temporary{"project-window"};
    const fs::path root = temporary.Path();
    fs::path scene;
    std::shared_ptr<host::ScriptedDialogResponder> responder;
    std::unique_ptr<host::MainWindow> window;
};

TEST_F(ProjectWindowTest, AnOpenedProjectGetsATabThatSaysWeHoldTheLock) {
    ASSERT_TRUE(OpenInWindow(scene));
    ASSERT_EQ(window->GetProjectTabs()->count(), 1);
    EXPECT_EQ(window->GetProjectTabs()->tabText(0), QStringLiteral("Scene 12"));
    ASSERT_NE(Page(), nullptr);
    EXPECT_EQ(Page()->ModeText(), QStringLiteral("Read-write: you hold the lock."));
    EXPECT_FALSE(Page()->OutOfDateShown());
}

TEST_F(ProjectWindowTest, AProjectJustOpenedFromThePanelComesToTheFront) {
    const fs::path fine = testsupport::WriteProject(root / "Fine Cut.mvproj");
    const fs::path rough = testsupport::WriteProject(root / "Rough Cut.mvproj");
    // As the panel opens a project on a double-click.
    ASSERT_TRUE(host::OpenProjectInHost(scene.string(), host::kOpenModePlain));
    ASSERT_TRUE(host::OpenProjectInHost(fine.string(), host::kOpenModePlain));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    EXPECT_EQ(window->GetProjectTabs()->tabText(window->GetProjectTabs()->currentIndex()),
              QStringLiteral("Fine Cut"));
    ASSERT_TRUE(host::OpenProjectInHost(rough.string(), host::kOpenModePlain));
    ASSERT_TRUE(testsupport::WaitForOpenings());
    SettleEvents();
    EXPECT_EQ(window->GetProjectTabs()->tabText(window->GetProjectTabs()->currentIndex()),
              QStringLiteral("Rough Cut"));
    const host::OpenProjectPtr active = host::DocumentManager::Instance().GetActive();
    ASSERT_NE(active, nullptr);
    EXPECT_EQ(active->Path().filename(), "Rough Cut.mvproj");
    // Opening one that is open already brings it back to the front.
    ASSERT_TRUE(host::OpenProjectInHost(scene.string(), host::kOpenModePlain));
    SettleEvents();
    EXPECT_EQ(window->GetProjectTabs()->tabText(window->GetProjectTabs()->currentIndex()),
              QStringLiteral("Scene 12"));
}

TEST_F(ProjectWindowTest, AProjectIsNamedByItsFileNotByTheNameStoredInside) {
    const fs::path file = root / "Trailer B final.mvproj";
    std::ofstream(file) << R"({"formatVersion": 1, "name": "Trailer B", "sequences": []})";
    ASSERT_TRUE(OpenInWindow(file));
    EXPECT_EQ(window->GetProjectTabs()->tabText(0), QStringLiteral("Trailer B final"));
    EXPECT_EQ(Page()->NameText(), QStringLiteral("Trailer B final"));
    host::ProjectContent content = Page()->GetProject()->Content();
    content.sequences.push_back("New");
    Page()->GetProject()->EditContent(content);
    responder->AddAnswer(2); // Cancel
    EXPECT_FALSE(host::DocumentManager::Instance().Close({Page()->GetProject()}));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_NE(responder->GetRequests()[0].text.find("\"Trailer B final\""), std::string::npos)
        << responder->GetRequests()[0].text;
}

TEST_F(ProjectWindowTest, ALongNameIsCutAndNeverWidensTheWindow) {
    const std::string longName(200, 'x');
    const fs::path file = testsupport::WriteProject(root / (longName + ".mvproj"));
    ASSERT_TRUE(OpenInWindow(file));
    SettleEvents();
    EXPECT_LT(window->minimumSizeHint().width(), 1200);
    EXPECT_LE(window->width(), 1600);
    EXPECT_EQ(window->GetProjectTabs()->tabToolTip(0).toStdString().rfind(longName, 0), 0u);
    auto* name = window->findChild<QLabel*>(QStringLiteral("ProjectName"));
    ASSERT_NE(name, nullptr);
    EXPECT_EQ(name->toolTip().toStdString(), longName);
    EXPECT_LE(name->width(), window->width());
}

TEST_F(ProjectWindowTest, TheReloadBannerNamesWhoSavedAndWhen) {
    ASSERT_TRUE(LockAs("Ben Okafor", "elsewhere"));
    ASSERT_TRUE(OpenInWindow(scene));
    ASSERT_TRUE(Page()->GetProject()->IsReadOnly());
    testsupport::WriteProject(scene, {"Assembly", "Ben's Fine Cut"}); // Ben saves
    Page()->Refresh();
    ASSERT_TRUE(Page()->OutOfDateShown());
    const std::string text = Page()->OutOfDateMessage().toStdString();
    EXPECT_EQ(text.rfind("Ben Okafor saved this project at ", 0), 0u) << text;
    EXPECT_NE(text.find(", after you opened it."), std::string::npos) << text;
    EXPECT_NE(text.find(':'), std::string::npos) << text; // a time of day
}

TEST_F(ProjectWindowTest, WhenTheHolderClosesTheProjectTheOtherEditorCanTakeItOverThere) {
    ASSERT_TRUE(LockAs("Ben Okafor", "elsewhere"));
    ASSERT_TRUE(OpenInWindow(scene));
    EXPECT_FALSE(Page()->TakeOverOffered());
    fs::remove(scene.string() + ".lock"); // Ben closes it
    Page()->Refresh();
    EXPECT_TRUE(Page()->TakeOverOffered());
    EXPECT_EQ(Page()->ModeText(),
              QStringLiteral("Read-only: nobody holds the lock now. Take it over to edit the "
                             "project."));
    Page()->TakeOver();
    EXPECT_FALSE(Page()->GetProject()->IsReadOnly());
    EXPECT_FALSE(Page()->TakeOverOffered());
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
}

TEST_F(ProjectWindowTest, AboutGivesTheVersion) {
    EXPECT_TRUE(host::CommandDispatcher::Instance().Obey(host::kCmdAbout));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "About Marvane");
    const std::string& text = responder->GetRequests()[0].text;
    EXPECT_NE(text.find(host::VersionText()), std::string::npos) << text;
    EXPECT_EQ(host::VersionText().rfind("marvane ", 0), 0u);
    EXPECT_GT(host::VersionText().size(), std::string("marvane ").size());
}

TEST_F(ProjectWindowTest, TheListsShowTheProjectsBinsAndSequences) {
    ASSERT_TRUE(OpenInWindow(scene));
    EXPECT_EQ(Rows(Page()->BinList()), QStringList{QStringLiteral("Footage")});
    EXPECT_EQ(Rows(Page()->SequenceList()), QStringList{QStringLiteral("Assembly")});
    EXPECT_TRUE(Page()->BinList()->uniformItemSizes());
    EXPECT_TRUE(Page()->SequenceList()->uniformItemSizes());
}

TEST_F(ProjectWindowTest, DraggedSequencesNameTheProjectAndTheItemsInListOrder) {
    const fs::path cut =
        testsupport::WriteProject(root / "Cut.mvproj", {"Opening", "Chase", "End"});
    ASSERT_TRUE(OpenInWindow(cut));
    const QListView* sequences = Page()->SequenceList();
    QAbstractItemModel* model = sequences->model();
    EXPECT_TRUE(model->flags(model->index(1, 0)).testFlag(Qt::ItemIsDragEnabled));
    EXPECT_EQ(sequences->dragDropMode(), QAbstractItemView::DragOnly);
    const std::unique_ptr<QMimeData> data(
        model->mimeData({model->index(2, 0), model->index(0, 0)}));
    ASSERT_NE(data, nullptr);
    const host::DropDataImpl impl(data.get());
    host::DraggedProjectItems items;
    ASSERT_TRUE(host::GetDraggedProjectItems(host::DropData(impl), items));
    EXPECT_EQ(fs::path(items.projectPath), Page()->GetProject()->Path());
    EXPECT_EQ(items.sequences, (std::vector<std::string>{"Opening", "End"}));
    EXPECT_TRUE(items.bins.empty());
}

TEST_F(ProjectWindowTest, DraggedBinsAreBins) {
    ASSERT_TRUE(OpenInWindow(scene));
    QAbstractItemModel* model = Page()->BinList()->model();
    ASSERT_GT(model->rowCount(), 0);
    const std::unique_ptr<QMimeData> data(model->mimeData({model->index(0, 0)}));
    const host::DropDataImpl impl(data.get());
    host::DraggedProjectItems items;
    ASSERT_TRUE(host::GetDraggedProjectItems(host::DropData(impl), items));
    EXPECT_EQ(items.bins.size(), 1u);
    EXPECT_TRUE(items.sequences.empty());
}

TEST_F(ProjectWindowTest, AProjectOfFiftyThousandSequencesHasARowForEach) {
    std::vector<std::string> sequences;
    for (int i = 1; i <= 50'000; ++i) {
        sequences.push_back("Scene " + std::to_string(i) + " – Take " + std::to_string(i % 9 + 1));
    }
    const fs::path big = testsupport::WriteProject(root / "Feature.mvproj", sequences);
    ASSERT_TRUE(OpenInWindow(big));
    SettleEvents();
    const QAbstractItemModel* rows = Page()->SequenceList()->model();
    ASSERT_EQ(rows->rowCount(), 50'000);
    EXPECT_EQ(rows->index(0, 0).data().toString(), QStringLiteral("Scene 1 – Take 2"));
    EXPECT_EQ(rows->index(24'999, 0).data().toString(), QStringLiteral("Scene 25000 – Take 8"));
    EXPECT_EQ(rows->index(49'999, 0).data().toString(), QStringLiteral("Scene 50000 – Take 6"));
    EXPECT_FALSE(rows->index(50'000, 0).data().isValid());
    EXPECT_EQ(Page()->BinList()->model()->rowCount(), 1);
}

TEST_F(ProjectWindowTest, RenamingTheCurrentSequenceKeepsItCurrent) {
    testsupport::WriteProject(scene, {"Assembly", "Rough Cut", "Fine Cut"});
    ASSERT_TRUE(OpenInWindow(scene));
    QListView* list = Page()->SequenceList();
    list->setCurrentIndex(list->model()->index(1, 0));
    responder->AddText("Rough Cut 2");
    Page()->RenameSequence();
    ASSERT_EQ(responder->GetTextRequests().size(), 1u);
    EXPECT_EQ(responder->GetTextRequests()[0].title, "Rename Sequence");
    EXPECT_EQ(Rows(list), (QStringList{QStringLiteral("Assembly"), QStringLiteral("Rough Cut 2"),
                                       QStringLiteral("Fine Cut")}));
    EXPECT_EQ(list->currentIndex().row(), 1);
    EXPECT_EQ(Page()->GetProject()->Content().sequences[1], "Rough Cut 2");
}

TEST_F(ProjectWindowTest, WhenTheListGetsShorterTheLastRowBecomesCurrent) {
    testsupport::WriteProject(scene, {"Assembly", "Rough Cut", "Fine Cut"});
    ASSERT_TRUE(LockAs("Ben Okafor", "suite-2"));
    ASSERT_TRUE(OpenInWindow(scene));
    QListView* list = Page()->SequenceList();
    list->setCurrentIndex(list->model()->index(2, 0));
    testsupport::WriteProject(scene, {"Assembly"});
    Page()->Reload();
    EXPECT_EQ(Rows(list), QStringList{QStringLiteral("Assembly")});
    EXPECT_EQ(list->currentIndex().row(), 0);
}

TEST_F(ProjectWindowTest, AddingASequenceAndSavingWritesTheProject) {
    ASSERT_TRUE(OpenInWindow(scene));
    responder->AddText("Fine Cut");
    Page()->AddSequence();
    ASSERT_EQ(responder->GetTextRequests().size(), 1u);
    EXPECT_EQ(responder->GetTextRequests()[0].title, "Add Sequence");
    EXPECT_TRUE(Page()->GetProject()->IsModified());
    EXPECT_EQ(Rows(Page()->SequenceList()),
              (QStringList{QStringLiteral("Assembly"), QStringLiteral("Fine Cut")}));
    Page()->Save();
    EXPECT_FALSE(Page()->GetProject()->IsModified());
    EXPECT_NE(ReadBytes(scene).find("Fine Cut"), std::string::npos);
}

TEST_F(ProjectWindowTest, AnotherEditorsProjectShowsTheHolderAndWhenItIsOutOfDate) {
    ASSERT_TRUE(LockAs("Ben Okafor", "suite-2"));
    ASSERT_TRUE(OpenInWindow(scene));
    EXPECT_EQ(Page()->ModeText(), QStringLiteral("Read-only: locked by Ben Okafor."));
    EXPECT_FALSE(Page()->OutOfDateShown());
    testsupport::WriteProject(scene, {"Assembly", "Ben's Cut"});
    Page()->Refresh();
    EXPECT_TRUE(Page()->OutOfDateShown());
    Page()->Reload();
    EXPECT_FALSE(Page()->OutOfDateShown());
    EXPECT_EQ(Page()->GetProject()->Content().sequences.size(), 2u);
}

TEST_F(ProjectWindowTest, AHolderNamedInMarkupIsShownAsTheLiteralText) {
    const std::string holder = "<h1 style='color:red'>click Break Lock now</h1>";
    ASSERT_TRUE(LockAs(holder, "suite-2"));
    ASSERT_TRUE(OpenInWindow(scene));
    const QString expected = QString::fromStdString("Read-only: locked by " + holder + ".");
    ASSERT_EQ(Page()->ModeText(), expected);
    QLabel* mode = nullptr;
    for (QLabel* label : Page()->findChildren<QLabel*>()) {
        mode = label->text() == expected ? label : mode;
    }
    ASSERT_NE(mode, nullptr);
    EXPECT_EQ(mode->textFormat(), Qt::PlainText);
    // What the label shows, as a screen reader is told it: the markup itself.
    QAccessibleInterface* shown = QAccessible::queryAccessibleInterface(mode);
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->text(QAccessible::Name), expected);
}

TEST_F(ProjectWindowTest, ATakeOverThatCannotBeRecordedStillTakesTheProjectAndSaysSo) {
    host::LockFileContent ben = host::MakeLockFileContent("Ben Okafor", "suite-2");
    ben.processId = testsupport::PidOfAGoneProcess();
    std::ofstream(scene.string() + ".lock") << host::SerialiseLockFile(ben);
    // The production's hidden folder is a link: the record is never written through it.
    const fs::path elsewhere = root / "elsewhere";
    fs::create_directories(elsewhere);
    fs::create_directory_symlink(elsewhere, root / ".marvane");
    ASSERT_TRUE(OpenInWindow(scene));
    ASSERT_TRUE(Page()->TakeOverOffered());
    Page()->TakeOver();
    EXPECT_FALSE(Page()->GetProject()->IsReadOnly());
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Lock Break Not Recorded");
    EXPECT_NE(responder->GetRequests()[0].text.find("is a symbolic link"), std::string::npos)
        << responder->GetRequests()[0].text;
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(ProjectWindowTest, ADamagedProjectIsReportedInAMessageBox) {
    std::ofstream(root / "Damaged.mvproj") << "not json";
    EXPECT_FALSE(OpenInWindow(root / "Damaged.mvproj"));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Cannot Open Project");
    EXPECT_EQ(window->GetProjectTabs()->count(), 0);
}

TEST_F(ProjectWindowTest, ClosingTheWindowAsksToSaveAndACancelKeepsEverything) {
    ASSERT_TRUE(OpenInWindow(scene));
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
    ASSERT_TRUE(OpenInWindow(scene));
    Page()->ToggleReadOnly();
    EXPECT_TRUE(Page()->GetProject()->IsReadOnly());
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(Page()->ModeText(), QStringLiteral("Read-only."));
    Page()->ToggleReadOnly();
    EXPECT_FALSE(Page()->GetProject()->IsReadOnly());
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
}

} // namespace

#include "Marvane/documents/Recovery.h"

#include <QPushButton>

namespace {

TEST_F(ProjectWindowTest, ARecoveryCopyOffersToRestoreIntoItsProjectAfterAConfirmation) {
    auto project = host::DocumentManager::Instance().Open(scene).project;
    ASSERT_TRUE(project);
    host::ProjectContent content = project->Content();
    content.sequences.push_back("Recovered cut");
    project->EditContent(content);
    const auto written = host::SaveRecoveryCopies(root / "data").written;
    ASSERT_EQ(written.size(), 1u);
    testsupport::CloseAllProjects();

    ASSERT_TRUE(OpenInWindow(written[0]));
    auto* restore = Page()->findChild<QPushButton*>(QStringLiteral("RestoreRecovered"));
    ASSERT_NE(restore, nullptr);
    EXPECT_TRUE(restore->isVisibleTo(Page()));
    EXPECT_EQ(restore->text().toStdString(), "Restore into Scene 12");

    // Cancel first: nothing happens.
    responder->AddAnswer(1);
    restore->click();
    EXPECT_EQ(ReadBytes(scene).find("Recovered cut"), std::string::npos);
    // Then Restore, and the report that follows.
    responder->AddAnswer(0);
    responder->AddAnswer(0);
    restore->click();
    EXPECT_NE(ReadBytes(scene).find("Recovered cut"), std::string::npos);
    ASSERT_EQ(responder->GetRequests().size(), 3u);
    EXPECT_NE(responder->GetRequests()[2].text.find("What it held before is kept in"),
              std::string::npos)
        << responder->GetRequests()[2].text;
}

TEST_F(ProjectWindowTest, AnOrdinaryProjectOffersNoRestore) {
    ASSERT_TRUE(OpenInWindow(scene));
    auto* restore = Page()->findChild<QPushButton*>(QStringLiteral("RestoreRecovered"));
    ASSERT_NE(restore, nullptr);
    EXPECT_FALSE(restore->isVisibleTo(Page()));
}

} // namespace
