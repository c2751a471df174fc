// Copy and Paste of items through the Edit menu's commands, in a real main window over a real
// production, with the real clipboard.
#include "Marvane/app/ClipboardCommands.h"
#include "FileBytes.h"
#include "Marvane/app/HostCommands.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "PanelWindow.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QTest>
#include <QTreeView>
#include <QUrl>
#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class ClipboardCommandsTest : public ::testing::Test {
protected:
    // The host's commands are declared before its window builds its menus, as at start.
    static bool DeclareHostCommands() {
        host::DeclareHostCommands(host::ShortcutManager::Instance());
        return true;
    }
    void SetUp() override { QGuiApplication::clipboard()->clear(); }
    void TearDown() override {
        QGuiApplication::clipboard()->clear();
        testsupport::StopProjectImport();
    }

    const bool declared = DeclareHostCommands();
    const testsupport::TemporaryFolder temporary{"clipboard"};
    const fs::path pilot = testsupport::WriteSmallPilot(temporary.Path());
    testsupport::PanelWindow panel{pilot, temporary.Path() / "profile", 3};
};

TEST_F(ClipboardCommandsTest, CopyPutsTheSelectedItemsOnTheClipboardAsFileManagersTakeThem) {
    EXPECT_FALSE(panel.IsEnabled(host::kCmdCopy)) << "nothing is selected";
    panel.Select({pilot / "Scene 4.mvproj", pilot / "Dailies"});
    ASSERT_TRUE(panel.Obey(host::kCmdCopy));
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(data, nullptr);
    QStringList files;
    for (const QUrl& url : data->urls()) {
        files << url.toLocalFile();
    }
    files.sort();
    EXPECT_EQ(files, (QStringList{QString::fromStdString((pilot / "Dailies").string()),
                                  QString::fromStdString((pilot / "Scene 4.mvproj").string())}));
    const QByteArray marker = data->data(QStringLiteral("x-special/gnome-copied-files"));
    EXPECT_TRUE(marker.startsWith("copy\nfile://")) << marker.toStdString();
    EXPECT_EQ(marker.count('\n'), 2);
}

TEST_F(ClipboardCommandsTest, FilesCopiedElsewhereArePastedAsCopiesIntoTheSelectedFolder) {
    EXPECT_FALSE(panel.IsEnabled(host::kCmdPaste)) << "the clipboard holds no files";
    const fs::path outside = testsupport::WriteProject(temporary.Path() / "Desk" / "Promo.mvproj");
    const std::string bytes = testsupport::ReadBytes(outside);
    QGuiApplication::clipboard()->setMimeData(
        host::ClipboardDataForPaths({host::ToUTF16(outside.string())}));
    panel.Select({pilot / "Dailies"});
    panel.responder->AddAnswer(0); // as for a drop of the same files: asked, and copied
    ASSERT_TRUE(panel.Obey(host::kCmdPaste));
    EXPECT_TRUE(panel.Said("Add Projects to Production"));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(testsupport::ReadBytes(pilot / "Dailies" / "Promo.mvproj"), bytes);
    EXPECT_EQ(testsupport::ReadBytes(outside), bytes) << "the original stays where it was";
}

TEST_F(ClipboardCommandsTest, APasteNeverWritesOverAnItemOfTheSameName) {
    const fs::path outside =
        testsupport::WriteProject(temporary.Path() / "Desk" / "Scene 4.mvproj", {"Other cut"});
    const std::string scene = testsupport::ReadBytes(pilot / "Scene 4.mvproj");
    QGuiApplication::clipboard()->setMimeData(
        host::ClipboardDataForPaths({host::ToUTF16(outside.string())}));
    panel.Tree().DeselectAllRows();
    panel.responder->AddAnswer(0);
    ASSERT_TRUE(panel.Obey(host::kCmdPaste)); // to the production's top, where Scene 4 is
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(testsupport::ReadBytes(pilot / "Scene 4.mvproj"), scene);
    // The copy comes in under a name of its own beside it.
    EXPECT_EQ(testsupport::ReadBytes(pilot / "Scene 4_1.mvproj"), testsupport::ReadBytes(outside));
}

TEST_F(ClipboardCommandsTest, TheEditMenusCopyCarriesTheCopyKeyAndCopiesTheItems) {
    panel.Select({pilot / "Scene 4.mvproj"});
    QAction* copy = nullptr;
    for (QAction* action : panel.window->findChildren<QAction*>()) {
        if (action->shortcut() == QKeySequence(QKeySequence::Copy) && action->menu() == nullptr) {
            copy = action;
        }
    }
    ASSERT_NE(copy, nullptr) << "no action of the Copy key";
    copy->trigger();
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(data, nullptr);
    ASSERT_EQ(data->urls().size(), 1);
    EXPECT_EQ(data->urls().front().toLocalFile(),
              QString::fromStdString((pilot / "Scene 4.mvproj").string()));
}

TEST_F(ClipboardCommandsTest, ControlCInTheTreeCopiesTheSelectedItems) {
    panel.Select({pilot / "Scene 4.mvproj"});
    QTreeView& view = *panel.Tree().GetImpl()->view;
    panel.window->activateWindow();
    view.setFocus();
    QTest::keyClick(&view, Qt::Key_C, Qt::ControlModifier);
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(data, nullptr);
    ASSERT_EQ(data->urls().size(), 1);
    EXPECT_EQ(data->urls().front().toLocalFile(),
              QString::fromStdString((pilot / "Scene 4.mvproj").string()));
}

TEST_F(ClipboardCommandsTest, CutThenPasteMovesTheItemsIntoTheSelectedFolderOnce) {
    const std::string scene = testsupport::ReadBytes(pilot / "Scene 4.mvproj");
    panel.Select({pilot / "Scene 4.mvproj"});
    ASSERT_TRUE(panel.Obey(host::kCmdCut));
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    ASSERT_NE(data, nullptr);
    EXPECT_TRUE(
        data->data(QStringLiteral("x-special/gnome-copied-files")).startsWith("cut\nfile://"));
    EXPECT_TRUE(fs::exists(pilot / "Scene 4.mvproj")) << "nothing moves until the paste";
    panel.Select({pilot / "Dailies"});
    ASSERT_TRUE(panel.Obey(host::kCmdPaste));
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(pilot / "Dailies" / "Scene 4.mvproj"); }));
    EXPECT_EQ(testsupport::ReadBytes(pilot / "Dailies" / "Scene 4.mvproj"), scene);
    EXPECT_FALSE(fs::exists(pilot / "Scene 4.mvproj"));
    EXPECT_FALSE(panel.Said("Add Projects to Production")) << "moved, not added as a copy";
    EXPECT_FALSE(panel.IsEnabled(host::kCmdPaste)) << "a cut is pasted once";
}

TEST_F(ClipboardCommandsTest, AnItemAnotherEditorHoldsIsNotCut) {
    testsupport::LockAsAnotherEditor(pilot / "Scene 4.mvproj", "Ben Okafor");
    panel.Select({pilot / "Scene 4.mvproj"});
    ASSERT_TRUE(panel.Obey(host::kCmdCut));
    EXPECT_TRUE(panel.Said("Cannot Cut"));
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    EXPECT_TRUE(data == nullptr || !data->hasUrls()) << "a file manager could move it";
    EXPECT_TRUE(fs::exists(pilot / "Scene 4.mvproj"));
}

} // namespace
