// Edit > Undo and Redo of the panel's organising steps, in a real main window over a real
// production: each step taken through the panel's own commands, keys and edit field.
#include "FileBytes.h"
#include "Marvane/app/HostCommands.h"
#include "Marvane/application/OrganisingHistory.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/application/TrashRecords.h"
#include "Marvane/uitoolkit/TextEdit.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "PanelWindow.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "base/ProductionCommands.h"

#include <QApplication>
#include <QClipboard>
#include <QGuiApplication>
#include <QLineEdit>
#include <QTest>
#include <QTreeView>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

class UndoCommandsTest : public ::testing::Test {
protected:
    // With the production's own folder, where the trash keeps its records.
    static fs::path Production(const testsupport::TemporaryFolder& folder) {
        const fs::path pilot = testsupport::WriteSmallPilot(folder.Path());
        fs::create_directories(pilot / ".marvane");
        return pilot;
    }
    static bool DeclareHostCommands() {
        host::DeclareHostCommands(host::ShortcutManager::Instance());
        host::OrganisingHistory::Instance().Clear();
        return true;
    }
    void TearDown() override {
        QGuiApplication::clipboard()->clear();
        host::OrganisingHistory::Instance().Clear();
    }
    std::string Label(host::CommandID id) const {
        return host::CommandDispatcher::Instance().FindStatus(id).label;
    }
    // Cuts the items and pastes them into the folder, as Ctrl+X and Ctrl+V do.
    void CutAndPaste(const std::vector<fs::path>& items, const fs::path& folder) {
        panel.Select(items);
        ASSERT_TRUE(panel.Obey(host::kCmdCut));
        panel.Select({folder});
        ASSERT_TRUE(panel.Obey(host::kCmdPaste));
        ASSERT_TRUE(WaitUntil([&] { return fs::exists(folder / items.front().filename()); }));
    }
    void PressInTree(Qt::Key key, Qt::KeyboardModifiers modifiers) {
        QTreeView& view = *panel.Tree().GetImpl()->view;
        panel.window->activateWindow();
        view.setFocus();
        QTest::keyClick(&view, key, modifiers);
    }

    const bool declared = DeclareHostCommands();
    const testsupport::TemporaryFolder temporary{"undo"};
    const fs::path pilot = Production(temporary);
    const fs::path scene = pilot / "Scene 4.mvproj";
    const fs::path movedScene = pilot / "Dailies" / "Scene 4.mvproj";
    testsupport::PanelWindow panel{pilot, temporary.Path() / "profile", 3};
};

TEST_F(UndoCommandsTest, UndoIsOffAndPlainWhileNothingWasDone) {
    EXPECT_FALSE(panel.IsEnabled(host::kCmdUndo));
    EXPECT_FALSE(panel.IsEnabled(host::kCmdRedo));
    EXPECT_EQ(Label(host::kCmdUndo), "Undo");
}

TEST_F(UndoCommandsTest, ControlZPutsAMovedProjectBackAndRedoMovesItAgain) {
    const std::string bytes = testsupport::ReadBytes(scene);
    CutAndPaste({scene}, pilot / "Dailies");
    ASSERT_FALSE(fs::exists(scene));
    EXPECT_EQ(Label(host::kCmdUndo), "Undo Move of \"Scene 4\"");

    PressInTree(Qt::Key_Z, Qt::ControlModifier);
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(scene); }));
    EXPECT_EQ(testsupport::ReadBytes(scene), bytes);
    EXPECT_FALSE(fs::exists(movedScene));
    EXPECT_EQ(Label(host::kCmdRedo), "Redo Move of \"Scene 4\"");

    PressInTree(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(movedScene); }));
    EXPECT_FALSE(fs::exists(scene));
    EXPECT_FALSE(panel.Said("Cannot Undo"));
}

TEST_F(UndoCommandsTest, UndoOfAMoveToTrashPutsTheItemsBackAndForgetsTheirRecords) {
    panel.Select({scene, pilot / "Dailies"});
    panel.responder->AddAnswer(0); // the question before items go to the trash
    ASSERT_TRUE(panel.Obey(kCmdMoveToTrash));
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(pilot / "Trash" / "Scene 4.mvproj"); }));
    ASSERT_TRUE(host::FindTrashRecord(pilot, "Scene 4.mvproj").has_value());
    EXPECT_EQ(Label(host::kCmdUndo), "Undo Move to Trash of 2 Items");

    ASSERT_TRUE(panel.Obey(host::kCmdUndo));
    EXPECT_TRUE(fs::exists(scene));
    EXPECT_TRUE(fs::exists(pilot / "Dailies" / "Shot 1.mvproj"));
    EXPECT_FALSE(fs::exists(pilot / "Trash" / "Scene 4.mvproj"));
    EXPECT_FALSE(host::FindTrashRecord(pilot, "Scene 4.mvproj").has_value());
}

TEST_F(UndoCommandsTest, UndoOfARenameGivesTheProjectItsNameBack) {
    panel.Select({scene});
    panel.View().InstallNameEditText(panel.Row(scene));
    const auto fields = panel.Tree().GetEditFields();
    ASSERT_EQ(fields.size(), 1u);
    QLineEdit& line = *fields.front()->Impl().line;
    line.selectAll();
    QTest::keyClicks(&line, QStringLiteral("Opening"));
    QTest::keyClick(&line, Qt::Key_Return);
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(pilot / "Opening.mvproj"); }));
    EXPECT_EQ(Label(host::kCmdUndo), "Undo Rename of \"Scene 4\"");

    ASSERT_TRUE(panel.Obey(host::kCmdUndo));
    EXPECT_TRUE(fs::exists(scene));
    EXPECT_FALSE(fs::exists(pilot / "Opening.mvproj"));
}

TEST_F(UndoCommandsTest, UndoOfANewFolderTakesAwayTheEmptyFolder) {
    panel.responder->AddText("Music");
    ASSERT_TRUE(panel.Obey(kCmdNewFolder));
    ASSERT_TRUE(fs::is_directory(pilot / "Music"));
    EXPECT_EQ(Label(host::kCmdUndo), "Undo New Folder \"Music\"");
    ASSERT_TRUE(panel.Obey(host::kCmdUndo));
    EXPECT_FALSE(fs::exists(pilot / "Music"));
}

TEST_F(UndoCommandsTest, UndoOfMakeACopyPutsTheCopyInTheTrashAndRedoBringsItBack) {
    panel.Select({scene});
    ASSERT_TRUE(panel.Obey(kCmdMakeACopy));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    const fs::path copy = pilot / "Scene 4_1.mvproj";
    ASSERT_TRUE(fs::exists(copy));
    const std::string bytes = testsupport::ReadBytes(copy);
    EXPECT_EQ(Label(host::kCmdUndo), "Undo Copy of \"Scene 4_1\"");

    ASSERT_TRUE(panel.Obey(host::kCmdUndo));
    EXPECT_FALSE(fs::exists(copy));
    EXPECT_EQ(testsupport::ReadBytes(pilot / "Trash" / "Scene 4_1.mvproj"), bytes)
        << "a copy taken back is kept in the trash, never removed";
    EXPECT_TRUE(fs::exists(scene));

    ASSERT_TRUE(panel.Obey(host::kCmdRedo));
    EXPECT_EQ(testsupport::ReadBytes(copy), bytes);
    EXPECT_FALSE(fs::exists(pilot / "Trash" / "Scene 4_1.mvproj"));
    testsupport::StopProjectImport();
}

TEST_F(UndoCommandsTest, UndoIsRefusedWithTheReasonWhileAnotherEditorHoldsTheProject) {
    CutAndPaste({scene}, pilot / "Dailies");
    testsupport::LockAsAnotherEditor(movedScene, "Ben Okafor");
    ASSERT_TRUE(panel.Obey(host::kCmdUndo));
    EXPECT_TRUE(panel.Said("Cannot Undo"));
    EXPECT_EQ(panel.responder->GetRequests().back().text, "\"Scene 4\" is open by Ben Okafor.");
    EXPECT_TRUE(fs::exists(movedScene));
    EXPECT_FALSE(fs::exists(scene));
    EXPECT_TRUE(panel.IsEnabled(host::kCmdUndo)) << "the step waits until Ben lets go";
}

} // namespace
