#include "TandrelDirectoryViewFixture.h"

#include "FileBytes.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/uiframework/FailureMessages.h"
#include "Marvane/uitoolkit/TextEdit.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "ReadOnlyMount.h"
#include "TestProjects.h"
#include "base/ProductionCommands.h"
#include "columns/ColumnIDs.h"
#include "directoryview/RenamePaths.h"
#include "host/UIFramework.h"

#include <QApplication>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QTest>
#include <QTimer>
#include <fstream>
#include <iterator>

namespace {

namespace fs = std::filesystem;
using host::TreeRowPtr;
using host::UI_TextEdit;

class InPlaceRenameTest : public testsupport::TandrelDirectoryViewTest {
protected:
    void SetUp() override {
        TandrelDirectoryViewTest::SetUp();
        testsupport::WriteProject(production / "Edit" / "Deep" / "Reel 3.mvproj");
        OpenPanel(5);
    }
    host::UI_MultiColumnTree& Tree() const { return View().GetTree(); }
    // Selects the row and starts renaming it as Return does.
    UI_TextEdit* StartRenaming(const fs::path& path) {
        const TreeRowPtr row = RowOf(path);
        EXPECT_NE(row, nullptr) << path;
        Tree().SelectRow(row, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
        View().InstallNameEditText(row);
        const auto fields = Tree().GetEditFields();
        return fields.size() == 1 ? fields.front() : nullptr;
    }
    static QLineEdit& Line(UI_TextEdit* edit) { return *edit->Impl().line; }
    static void Type(UI_TextEdit* edit, const QString& text) {
        Line(edit).selectAll();
        QTest::keyClicks(&Line(edit), text);
    }
    static void Press(UI_TextEdit* edit, Qt::Key key) { QTest::keyClick(&Line(edit), key); }
    void Rename(const fs::path& path, const QString& newName) {
        UI_TextEdit* edit = StartRenaming(path);
        ASSERT_NE(edit, nullptr);
        Type(edit, newName);
        Press(edit, Qt::Key_Return);
    }
    std::vector<std::string> SelectedNames() const {
        std::vector<std::string> names;
        for (const std::u16string& path : View().GetSelectedPaths()) {
            names.push_back(host::ToUTF8(host::GetFullFilePart(path)));
        }
        return names;
    }
    const std::vector<host::MessageBoxRequest>& Messages() const {
        return responder->GetRequests();
    }
    // Ben opened the project on his machine: his lock stands beside it.
    static void BenOpens(const fs::path& project) {
        host::LockFileContent ben = host::MakeLockFileContent("Ben Okafor", "edit-bay-2");
        ben.hostName = "edit-bay-2";
        ben.bootId = "his boot";
        std::ofstream(host::LockFilePathFor(project)) << host::SerialiseLockFile(ben);
    }
    // Whether another editor could lock the project now, as opening it read-write does.
    static bool AnotherEditorCanLock(const fs::path& project) {
        const auto lock = host::ReadProjectLockFile(project.string(), "Ben Okafor", "edit-bay-2");
        return !fs::exists(host::LockFilePathFor(project)) && lock == nullptr;
    }
};

TEST_F(InPlaceRenameTest, TheEditFieldHoldsTheDisplayNameSelectedOverTheNameCell) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    EXPECT_EQ(edit->GetValue(), u"Promo");
    EXPECT_EQ(Line(edit).selectedText(), QString("Promo"));
    EXPECT_TRUE(edit->IsQuiet());
    EXPECT_TRUE(edit->IsVisible());
    const host::UI_Rect cell = Tree().GetCellFrame(RowOf(production / "Promo.mvproj"),
                                                   HandlerTandrel::Columns::kNameColumn);
    const host::UI_Rect frame = edit->GetFrame();
    // Over the name: right of the picture, inside the row.
    EXPECT_GT(frame.left, cell.left);
    EXPECT_GE(frame.top, cell.top);
    EXPECT_LE(frame.top + frame.height, cell.top + cell.height + 1);
    EXPECT_FALSE(View().AreKeyboardEventsEnabled());
}

TEST_F(InPlaceRenameTest, ReturnOnTheSelectedRowStartsTheRename) {
    Tree().SelectRow(RowOf(production / "Edit"), host::RowSelection::kOnlyRow,
                     host::SelectionNotice::kTell);
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QApplication::sendEvent(Tree().GetImpl()->view, &press);
    ASSERT_EQ(Tree().GetEditFields().size(), 1u);
    EXPECT_EQ(Tree().GetEditFields().front()->GetValue(), u"Edit");
}

TEST_F(InPlaceRenameTest, TheFieldWidensAsTheNameGrows) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    const float before = edit->GetFrame().width;
    QTest::keyClicks(&Line(edit), QString(40, 'w'));
    EXPECT_GT(edit->GetFrame().width, before);
    Press(edit, Qt::Key_Escape);
}

TEST_F(InPlaceRenameTest, RenamingAProjectMovesItAndKeepsItSelected) {
    Rename(production / "Promo.mvproj", "Teaser");
    EXPECT_TRUE(Tree().GetEditFields().empty());
    EXPECT_TRUE(View().AreKeyboardEventsEnabled());
    EXPECT_TRUE(fs::exists(production / "Teaser.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Promo.mvproj"));
    ASSERT_TRUE(WaitUntil([&] { return RowOf(production / "Teaser.mvproj") != nullptr; }));
    EXPECT_TRUE(
        WaitUntil([&] { return SelectedNames() == std::vector<std::string>{"Teaser.mvproj"}; }));
    EXPECT_EQ(RowOf(production / "Promo.mvproj"), nullptr);
}

TEST_F(InPlaceRenameTest, ANameTypedWithoutTheExtensionKeepsTheProjectExtension) {
    Rename(production / "Promo.mvproj", "Promo 2");
    EXPECT_TRUE(fs::exists(production / "Promo 2.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Promo 2"));
}

TEST_F(InPlaceRenameTest, ANameTypedWithTheExtensionDoesNotGetItTwice) {
    Rename(production / "Promo.mvproj", "Promo 3.mvproj");
    EXPECT_TRUE(fs::exists(production / "Promo 3.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Promo 3.mvproj.mvproj"));
}

TEST_F(InPlaceRenameTest, ANameTypedWithADotKeepsItAndGetsTheExtension) {
    Rename(production / "Promo.mvproj", "Promo v2.1");
    EXPECT_TRUE(fs::exists(production / "Promo v2.1.mvproj"));
}

TEST_F(InPlaceRenameTest, RenamingAnOpenProjectMovesItsLockWithIt) {
    const fs::path scene = production / "Scene 12.mvproj";
    fs::remove(production / "Scene 12.mvproj.lock");
    const auto project = testsupport::OpenProject(scene);
    ASSERT_TRUE(fs::exists(host::LockFilePathFor(scene)));
    Rename(scene, "Scene 20");
    const fs::path moved = production / "Scene 20.mvproj";
    EXPECT_TRUE(fs::exists(moved));
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(moved)));
    EXPECT_FALSE(fs::exists(scene));
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(scene)));
    EXPECT_EQ(project->Path(), moved);
}

TEST_F(InPlaceRenameTest, AProjectIsNeverRenamedOverAnother) {
    const std::string promoBefore = testsupport::ReadBytes(production / "Promo.mvproj");
    Rename(production / "Scene 12.mvproj", "Promo");
    EXPECT_TRUE(fs::exists(production / "Scene 12.mvproj"));
    EXPECT_EQ(testsupport::ReadBytes(production / "Promo.mvproj"), promoBefore);
}

TEST_F(InPlaceRenameTest, ChangingOnlyTheCaseOfAProjectNameDoesNothing) {
    Rename(production / "Promo.mvproj", "PROMO");
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
    EXPECT_FALSE(fs::exists(production / "PROMO.mvproj"));
    EXPECT_TRUE(Messages().empty());
}

TEST_F(InPlaceRenameTest, ChangingOnlyTheCaseOfAFolderNameDoesNothing) {
    Rename(production / "Edit", "edit");
    SettleEvents(300);
    EXPECT_TRUE(fs::is_directory(production / "Edit"));
    EXPECT_FALSE(fs::exists(production / "edit"));
}

TEST_F(InPlaceRenameTest, AForbiddenCharacterShowsTheMessageListingTheForbiddenCharacters) {
    Rename(production / "Promo.mvproj", "Pro/mo");
    ASSERT_EQ(Messages().size(), 1u);
    EXPECT_EQ(Messages()[0].title, "Invalid Name");
    EXPECT_EQ(Messages()[0].text, "A valid name cannot be empty and cannot contain any of the "
                                  "following characters:\n/");
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
    EXPECT_TRUE(Tree().GetEditFields().empty());
}

TEST_F(InPlaceRenameTest, AfterTheInvalidNameMessageTheKeyboardWorksInTheTreeAgain) {
    // The real message box this time, closed as a person would once it shows.
    const auto scripted = host::SetDialogResponder(nullptr);
    struct Restore {
        std::shared_ptr<host::DialogResponder> responder;
        ~Restore() { host::SetDialogResponder(responder); }
    } restore{scripted};
    QWidget& tree = *View().GetTree().GetImpl()->view;
    tree.window()->activateWindow();
    tree.setFocus(Qt::OtherFocusReason);
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    Line(edit).setFocus(Qt::OtherFocusReason);
    ASSERT_TRUE(WaitUntil([&] { return Line(edit).hasFocus(); }));
    QString shown;
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            shown = box->windowTitle();
            box->accept();
        }
    });
    closer.start(50);
    Type(edit, "Pro/mo");
    Press(edit, Qt::Key_Return);
    closer.stop();
    EXPECT_EQ(shown.toStdString(), "Invalid Name");
    EXPECT_TRUE(Tree().GetEditFields().empty()); // the edit is not opened again
    // Where the window sends the keys once it is active again.
    const QWidget* focus = tree.window()->focusWidget();
    EXPECT_EQ(focus, &tree) << "keys go to "
                            << (focus != nullptr ? focus->metaObject()->className() : "nothing");
}

TEST_F(InPlaceRenameTest, AControlCharacterIsRefusedWithTheSameMessage) {
    UI_TextEdit* edit = StartRenaming(production / "Edit");
    ASSERT_NE(edit, nullptr);
    Line(edit).setText(QString("Ed") + QChar(0x07) + "it");
    Press(edit, Qt::Key_Return);
    ASSERT_EQ(Messages().size(), 1u);
    EXPECT_EQ(Messages()[0].title, "Invalid Name");
    SettleEvents(300);
    EXPECT_TRUE(fs::is_directory(production / "Edit"));
}

TEST_F(InPlaceRenameTest, AnEmptyNameShowsTheSameMessage) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    Line(edit).clear();
    Press(edit, Qt::Key_Return);
    ASSERT_EQ(Messages().size(), 1u);
    EXPECT_EQ(Messages()[0].title, "Invalid Name");
    EXPECT_EQ(Messages()[0].text, "A valid name cannot be empty and cannot contain any of the "
                                  "following characters:\n/");
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
}

TEST_F(InPlaceRenameTest, EscapeCancelsAndRenamesNothing) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    Type(edit, "Teaser");
    Press(edit, Qt::Key_Escape);
    EXPECT_TRUE(Tree().GetEditFields().empty());
    EXPECT_TRUE(View().AreKeyboardEventsEnabled());
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Teaser.mvproj"));
    EXPECT_TRUE(Messages().empty());
}

TEST_F(InPlaceRenameTest, ClickingElsewhereInTheWindowCommitsTheName) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    Type(edit, "Teaser");
    QFocusEvent out(QEvent::FocusOut, Qt::MouseFocusReason);
    QApplication::sendEvent(&Line(edit), &out);
    EXPECT_TRUE(fs::exists(production / "Teaser.mvproj"));
}

TEST_F(InPlaceRenameTest, SwitchingToAnotherWindowLeavesTheEditOpen) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    QFocusEvent out(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
    QApplication::sendEvent(&Line(edit), &out);
    EXPECT_EQ(Tree().GetEditFields().size(), 1u);
    EXPECT_FALSE(edit->HasEnded());
    Press(edit, Qt::Key_Escape);
}

TEST_F(InPlaceRenameTest, RenamingAFolderKeepsItsOpenSubFoldersOpenAndSelectsItsNewPath) {
    OpenFolder(production / "Edit", 3);
    OpenFolder(production / "Edit" / "Deep", 1);
    Rename(production / "Edit", "Cut");
    ASSERT_TRUE(WaitUntil([&] {
        const TreeRowPtr deep = RowOf(production / "Cut" / "Deep");
        return deep && Tree().IsRowOpen(deep) && Tree().IsRowOpen(RowOf(production / "Cut")) &&
               RowOf(production / "Cut" / "Deep" / "Reel 3.mvproj") != nullptr;
    }));
    EXPECT_TRUE(fs::exists(production / "Cut" / "Deep" / "Reel 3.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Edit"));
    EXPECT_EQ(RowOf(production / "Edit"), nullptr);
    EXPECT_TRUE(WaitUntil([&] { return SelectedNames() == std::vector<std::string>{"Cut"}; }));
    EXPECT_FALSE(View().GetStateAfterListing().has_value());
}

TEST_F(InPlaceRenameTest, ASiblingStartingWithTheOldNameKeepsItsPath) {
    HandlerTandrel::DirectoryViewStateData state;
    const std::u16string edit = W(production / "Edit");
    state.mOpenFolderPaths = {edit, edit + u"/Deep", edit + u" extra"};
    state.mSelectedRowPaths = {edit + u" extra/Reel.mvproj", edit};
    state.mTopVisibleRowPath = edit + u"/Deep/Reel 3.mvproj";
    HandlerTandrel::MoveFolderInState(state, edit, W(production / "Cut"));
    const std::u16string cut = W(production / "Cut");
    EXPECT_EQ(state.mOpenFolderPaths,
              (std::vector<std::u16string>{cut, cut + u"/Deep", edit + u" extra"}));
    EXPECT_EQ(state.mSelectedRowPaths,
              (std::vector<std::u16string>{edit + u" extra/Reel.mvproj", cut}));
    EXPECT_EQ(state.mTopVisibleRowPath, cut + u"/Deep/Reel 3.mvproj");
}

TEST_F(InPlaceRenameTest, AFolderRenameWaitsForTheMainThreadAndRunsAfterTheEditEnded) {
    Rename(production / "Edit", "Cut");
    // The edit has ended; the folder is renamed a moment later.
    EXPECT_TRUE(fs::exists(production / "Edit"));
    EXPECT_TRUE(WaitUntil([&] { return fs::exists(production / "Cut"); }));
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Cut") != nullptr; }));
}

TEST_F(InPlaceRenameTest, AFolderRenamedToATakenNameStaysAsItWasAndIsStillWatched) {
    fs::create_directories(production / "Taken");
    Write(production / "Taken" / "keep.txt", "keep");
    ASSERT_TRUE(WaitUntil([&] { return RowOf(production / "Taken") != nullptr; }));
    Rename(production / "Edit", "Taken");
    SettleEvents(400);
    EXPECT_TRUE(fs::exists(production / "Edit" / "Reel 1.mvproj"));
    EXPECT_TRUE(fs::exists(production / "Taken" / "keep.txt"));
    EXPECT_FALSE(fs::exists(production / "Taken" / "Reel 1.mvproj"));
    EXPECT_TRUE(Messages().empty());
    // Still watched: a project made inside it afterwards shows.
    OpenFolder(production / "Edit", 3);
    testsupport::WriteProject(production / "Edit" / "Reel 4.mvproj");
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Edit" / "Reel 4.mvproj") != nullptr; }));
}

TEST_F(InPlaceRenameTest, AFolderInWhichAnotherEditorOpenedAProjectMeanwhileIsNotRenamed) {
    UI_TextEdit* edit = StartRenaming(production / "Edit");
    ASSERT_NE(edit, nullptr);
    // Ben opens a project inside while Ana types the new name.
    const fs::path reel = production / "Edit" / "Reel 1.mvproj";
    BenOpens(reel);
    const std::string hisLock = testsupport::ReadBytes(host::LockFilePathFor(reel));
    Type(edit, "Edit 2");
    Press(edit, Qt::Key_Return);
    ASSERT_TRUE(WaitUntil([&] { return !Messages().empty(); }));
    EXPECT_EQ(Messages().back().title, "Cannot Rename");
    EXPECT_NE(Messages().back().text.find("\"Edit\" was not renamed"), std::string::npos)
        << Messages().back().text;
    SettleEvents(300);
    EXPECT_TRUE(fs::exists(reel));
    EXPECT_EQ(testsupport::ReadBytes(host::LockFilePathFor(reel)), hisLock);
    EXPECT_FALSE(fs::exists(production / "Edit 2"));
}

TEST_F(InPlaceRenameTest, AProjectAnotherEditorHasOpenKeepsItsNameAndTheMessageSaysWho) {
    const fs::path promo = production / "Promo.mvproj";
    UI_TextEdit* edit = StartRenaming(promo);
    ASSERT_NE(edit, nullptr);
    BenOpens(promo); // after the rename was allowed, before the name is done
    const std::string hisLock = testsupport::ReadBytes(host::LockFilePathFor(promo));
    Type(edit, "Teaser");
    Press(edit, Qt::Key_Return);
    ASSERT_TRUE(WaitUntil([&] { return !Messages().empty(); })) << "nothing was said";
    EXPECT_EQ(Messages().back().title, "Cannot Rename");
    EXPECT_EQ(Messages().back().text,
              "\"Promo\" was not renamed: Ben Okafor has it open. Try again once they have "
              "closed it.");
    EXPECT_TRUE(fs::exists(promo));
    EXPECT_FALSE(fs::exists(production / "Teaser.mvproj"));
    EXPECT_EQ(testsupport::ReadBytes(host::LockFilePathFor(promo)), hisLock);
}

TEST_F(InPlaceRenameTest, AFolderThatCannotBeRenamedSaysWhy) {
    host::ShowFileFailuresInTheWindow(true);
    struct Quiet {
        ~Quiet() { host::ShowFileFailuresInTheWindow(false); }
    } quiet;
    UI_TextEdit* edit = StartRenaming(production / "Edit");
    ASSERT_NE(edit, nullptr);
    const testsupport::ReadOnlyMount readOnly(production);
    if (!readOnly.Mounted()) {
        GTEST_SKIP() << "a read-only bind mount needs root and the mount command";
    }
    Type(edit, "Edit 2");
    Press(edit, Qt::Key_Return);
    ASSERT_TRUE(WaitUntil([&] { return !Messages().empty(); })) << "nothing was said";
    EXPECT_EQ(Messages().back().title, "Not Everything Was Done");
    EXPECT_EQ(Messages().back().text,
              "\"Edit\" could not be renamed \"Edit 2\": Read-only file system.");
    EXPECT_TRUE(fs::exists(production / "Edit" / "Reel 1.mvproj"));
}

TEST_F(InPlaceRenameTest, AClosedProjectRenamedKeepsNoLockOnceTheRenameIsDone) {
    Rename(production / "Promo.mvproj", "Teaser");
    const fs::path teaser = production / "Teaser.mvproj";
    ASSERT_TRUE(fs::exists(teaser));
    EXPECT_TRUE(WaitUntil([&] { return AnotherEditorCanLock(teaser); }));
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(production / "Promo.mvproj")));
}

TEST_F(InPlaceRenameTest, ARenameRefusedForATakenNameLeavesNoLockOnTheOtherProject) {
    fs::remove(production / "Scene 12.mvproj.lock");
    Rename(production / "Scene 12.mvproj", "Promo");
    EXPECT_TRUE(fs::exists(production / "Scene 12.mvproj"));
    EXPECT_TRUE(WaitUntil([&] { return AnotherEditorCanLock(production / "Promo.mvproj"); }));
    EXPECT_TRUE(AnotherEditorCanLock(production / "Scene 12.mvproj"));
}

TEST_F(InPlaceRenameTest, ChangesOnDiskWhileTheFieldIsOpenWaitUntilTheRenameIsOver) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    testsupport::WriteProject(production / "Trailer.mvproj");
    SettleEvents(600);
    EXPECT_EQ(RowOf(production / "Trailer.mvproj"), nullptr);
    EXPECT_FALSE(View().GetPendingPaths().empty());
    Press(edit, Qt::Key_Escape);
    EXPECT_TRUE(WaitUntil([&] { return RowOf(production / "Trailer.mvproj") != nullptr; }));
}

TEST_F(InPlaceRenameTest, ARowWhoseItemVanishedRenamesNothingSilently) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    fs::remove(production / "Promo.mvproj");
    Type(edit, "Teaser");
    Press(edit, Qt::Key_Return);
    EXPECT_FALSE(fs::exists(production / "Teaser.mvproj"));
    EXPECT_TRUE(Messages().empty());
    EXPECT_TRUE(Tree().GetEditFields().empty());
}

// Answers the invalid-name box by ending another edit: that completion arrives while the
// first one still runs.
class ReenteringResponder : public host::ScriptedDialogResponder {
public:
    std::function<void()> duringBox;
    int AnswerMessageBox(const host::MessageBoxRequest& request) override {
        if (duringBox) {
            duringBox();
        }
        return ScriptedDialogResponder::AnswerMessageBox(request);
    }
};

// A rename of Promo whose name is refused: the invalid-name box is up when Return is pressed.
class InvalidNameBoxTest : public InPlaceRenameTest {
protected:
    void SetUp() override {
        InPlaceRenameTest::SetUp();
        host::SetDialogResponder(reentering);
        edit = StartRenaming(production / "Promo.mvproj");
        ASSERT_NE(edit, nullptr);
        Type(edit, "bad/name");
    }
    const std::shared_ptr<ReenteringResponder> reentering = std::make_shared<ReenteringResponder>();
    UI_TextEdit* edit = nullptr;
};

TEST_F(InvalidNameBoxTest, ACompletionArrivingWhileOneRunsIsIgnored) {
    const TreeRowPtr promo = RowOf(production / "Promo.mvproj");
    bool reentered = false;
    reentering->duringBox = [&] {
        reentered = true;
        Line(edit).setText("Teaser");
        View().OnRowRenameComplete(promo, &Tree(), UI_TextEdit::kEndCommitted, edit);
    };
    Press(edit, Qt::Key_Return);
    EXPECT_TRUE(reentered);
    EXPECT_EQ(reentering->GetRequests().size(), 1u);
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Teaser.mvproj"));
    EXPECT_TRUE(Tree().GetEditFields().empty());
}

TEST_F(InvalidNameBoxTest, ThePanelClosingWhileTheBoxShowsEndsTheRenameWhole) {
    const std::weak_ptr<HandlerTandrel::TandrelDirectoryView> view = panel->GetDirectoryView();
    bool closed = false;
    reentering->duringBox = [&] {
        // The panel lets go of its tree while the box is up, as closing its tab does.
        panel->RemoveUI();
        closed = true;
        // The rename under way still holds the view it edits a name in.
        EXPECT_FALSE(view.expired());
    };
    Press(edit, Qt::Key_Return);
    EXPECT_TRUE(closed);
    EXPECT_EQ(reentering->GetRequests().size(), 1u);
    SettleEvents();
    // Once the rename is over, nothing keeps the view, and nothing was renamed.
    EXPECT_TRUE(view.expired());
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
}

TEST_F(InPlaceRenameTest, TheRenameCommandEditsTheSelectedRow) {
    Tree().SelectRow(RowOf(production / "Scene 12.mvproj"), host::RowSelection::kOnlyRow,
                     host::SelectionNotice::kTell);
    EXPECT_TRUE(
        panel->ObeyCommand({HandlerTandrel::kCmdRenameItem, "cmd.mvproductionfolder.renameitem"}));
    ASSERT_EQ(Tree().GetEditFields().size(), 1u);
    EXPECT_EQ(Tree().GetEditFields().front()->GetValue(), u"Scene 12");
    Press(Tree().GetEditFields().front(), Qt::Key_Escape);
}

TEST_F(InPlaceRenameTest, StartingAgainWhileANameIsEditedKeepsThatEdit) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    Type(edit, "Teas");
    View().InstallNameEditText(RowOf(production / "Edit"));
    ASSERT_EQ(Tree().GetEditFields().size(), 1u);
    EXPECT_EQ(Tree().GetEditFields().front(), edit);
    EXPECT_EQ(edit->GetValue(), u"Teas");
    Press(edit, Qt::Key_Escape);
}

TEST_F(InPlaceRenameTest, ANameTooLongWithItsExtensionIsRefusedAndNothingMoves) {
    const std::string onDisk = testsupport::ReadBytes(production / "Promo.mvproj");
    // Set whole, past what typing allows: 257 bytes with ".mvproj".
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    Line(edit).setText(QString(250, 'p'));
    Press(edit, Qt::Key_Return);
    EXPECT_EQ(testsupport::ReadBytes(production / "Promo.mvproj"), onDisk);
    EXPECT_EQ(Messages().size(), 1u); // the move says it could not be done
    EXPECT_TRUE(Tree().GetEditFields().empty());
    // The lock the move took stays ours until the host stops, and goes then.
    host::LockFileContent lock;
    if (host::ReadLockFile(host::LockFilePathFor(production / "Promo.mvproj"), lock) ==
        host::LockFileState::Valid) {
        EXPECT_TRUE(host::IsWrittenByThisProcess(lock));
    }
    host::ReleaseCreatedLocks();
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(production / "Promo.mvproj")));
}

TEST_F(InPlaceRenameTest, TypingPastTheLongestNameStopsAndTheProjectKeepsRoomForItsLock) {
    UI_TextEdit* edit = StartRenaming(production / "Promo.mvproj");
    ASSERT_NE(edit, nullptr);
    Type(edit, QString(300, 'p'));
    // 255 bytes for the lock's name: the name, ".mvproj" and ".lock".
    const std::string typed = host::ToUTF8(edit->GetValue());
    EXPECT_EQ(typed.size(), 255u - 7u - 5u);
    // Characters of two bytes count as two.
    Line(edit).selectAll();
    Line(edit).del();
    for (int character = 0; character < 200; ++character) {
        Line(edit).insert(QString(QChar(0xE9))); // as typing does, one at a time
    }
    EXPECT_EQ(host::ToUTF8(edit->GetValue()).size(), 242u);
    Type(edit, QString(300, 'p'));
    Press(edit, Qt::Key_Return);
    const fs::path renamed = production / (typed + ".mvproj");
    ASSERT_TRUE(WaitUntil([&] { return fs::exists(renamed); })) << Messages().size();
    EXPECT_TRUE(Messages().empty());
    EXPECT_FALSE(fs::exists(production / "Promo.mvproj"));
    // Its lock fits beside it: once the rename let go of the lock it moved the project
    // under, another editor's marvane can lock it.
    host::ReleaseCreatedLocks();
    ASSERT_FALSE(fs::exists(host::LockFilePathFor(renamed)));
    const auto lock = host::CreateProjectLockFile(renamed.string(), "Ben Okafor", "suite-2");
    ASSERT_TRUE(lock && lock->IsOwnedByCaller());
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(renamed)));
    host::ReleaseCreatedLocks();
}

TEST_F(InPlaceRenameTest, AFolderNameStopsAtTheLongestNameTheDiskTakes) {
    UI_TextEdit* edit = StartRenaming(production / "Edit");
    ASSERT_NE(edit, nullptr);
    Type(edit, QString(300, 'f'));
    EXPECT_EQ(host::ToUTF8(edit->GetValue()).size(), 255u);
    Press(edit, Qt::Key_Escape);
}

TEST_F(InPlaceRenameTest, AFolderWhoseNameIsNotValidUtf8LosesNothingWhenRenamed) {
    const fs::path odd = production / std::string("Day \xff 1");
    fs::create_directories(odd);
    testsupport::WriteProject(odd / "Shot.mvproj");
    ASSERT_TRUE(WaitUntil([&] { return Tree().GetTopLevelRowCount() == 6; }));
    TreeRowPtr row;
    for (int index = 0; index < Tree().GetTopLevelRowCount(); ++index) {
        const TreeRowPtr candidate = Tree().GetTopLevelRow(index);
        if (host::ToUTF8(View().GetRowPath(candidate)).find("Day ") != std::string::npos) {
            row = candidate;
        }
    }
    ASSERT_NE(row, nullptr);
    Tree().SelectRow(row, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    View().InstallNameEditText(row);
    ASSERT_EQ(Tree().GetEditFields().size(), 1u);
    Type(Tree().GetEditFields().front(), "Day 1");
    Press(Tree().GetEditFields().front(), Qt::Key_Return);
    SettleEvents(400);
    // Renamed, or left as it was: the project is in one of the two, once.
    const bool renamed = fs::exists(production / "Day 1" / "Shot.mvproj");
    const bool kept = fs::exists(odd / "Shot.mvproj");
    EXPECT_NE(renamed, kept);
}

// Presses and releases the left button at point of the tree's rows, as a hand does.
void ClickTreeAt(host::UI_MultiColumnTree& tree, QPoint point) {
    QWidget* viewport = tree.GetImpl()->view->viewport();
    QTest::mousePress(viewport, Qt::LeftButton, Qt::NoModifier, point);
    QTest::mouseRelease(viewport, Qt::LeftButton, Qt::NoModifier, point);
}

TEST_F(InPlaceRenameTest, TheTrashGetsNoNameEditHoweverTheRenameStarts) {
    testsupport::WriteProject(Trash() / "Old.mvproj");
    ASSERT_TRUE(WaitUntil([&] { return RowOf(Trash()) != nullptr; }));
    EXPECT_EQ(StartRenaming(Trash()), nullptr);
    EXPECT_TRUE(View().AreKeyboardEventsEnabled());
    // A slow second click past its name, which renames any other folder.
    const TreeRowPtr trash = RowOf(Trash());
    const host::UI_Rect size = Tree().GetCellFrame(trash, HandlerTandrel::Columns::kSizeColumn);
    const QPoint past(static_cast<int>(size.left) + 5,
                      static_cast<int>(size.top + size.height / 2));
    ClickTreeAt(Tree(), past);
    SettleEvents(800);
    EXPECT_TRUE(Tree().GetEditFields().empty());
    EXPECT_TRUE(fs::is_directory(Trash()));
}

TEST_F(InPlaceRenameTest, ARenameCommittedOnTheTrashRowLeavesTheTrashAsItIs) {
    testsupport::WriteProject(Trash() / "Old.mvproj");
    ASSERT_TRUE(WaitUntil([&] { return RowOf(Trash()) != nullptr; }));
    UI_TextEdit* edit = StartRenaming(production / "Edit");
    ASSERT_NE(edit, nullptr);
    Line(edit).setText("Bin");
    View().OnRowRenameComplete(RowOf(Trash()), &Tree(), UI_TextEdit::kEndCommitted, edit);
    SettleEvents(400);
    EXPECT_TRUE(fs::exists(Trash() / "Old.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Bin"));
    EXPECT_TRUE(fs::is_directory(production / "Edit"));
}

TEST_F(InPlaceRenameTest, AClickOnTheTriangleOfTheSelectedFolderOpensItAndRenamesNothing) {
    const TreeRowPtr edit = RowOf(production / "Edit");
    ASSERT_NE(edit, nullptr);
    Tree().SelectRow(edit, host::RowSelection::kOnlyRow, host::SelectionNotice::kTell);
    SettleEvents();
    ASSERT_FALSE(Tree().IsRowOpen(edit));
    // The triangle is drawn left of the name cell, in the strip of the row's indentation.
    const host::UI_Rect name = Tree().GetCellFrame(edit, HandlerTandrel::Columns::kNameColumn);
    const int indentation = Tree().GetImpl()->view->indentation();
    ASSERT_GE(static_cast<int>(name.left), indentation);
    const QPoint triangle(static_cast<int>(name.left) - indentation / 2,
                          static_cast<int>(name.top + name.height / 2));
    ClickTreeAt(Tree(), triangle);
    EXPECT_TRUE(WaitUntil([&] { return Tree().IsRowOpen(edit); }));
    EXPECT_FALSE(View().IsRenameTimerInstalled());
    SettleEvents(800);
    EXPECT_TRUE(Tree().GetEditFields().empty());
    // Clicked again, it closes, and still renames nothing.
    ClickTreeAt(Tree(), triangle);
    SettleEvents(800);
    EXPECT_FALSE(Tree().IsRowOpen(edit));
    EXPECT_TRUE(Tree().GetEditFields().empty());
    EXPECT_TRUE(fs::is_directory(production / "Edit"));
}

TEST_F(InPlaceRenameTest, NoEditStartsWithoutAProduction) {
    const TreeRowPtr promo = RowOf(production / "Promo.mvproj");
    host::ProductionSession::Instance().Close();
    View().InstallNameEditText(promo);
    EXPECT_TRUE(Tree().GetEditFields().empty());
    EXPECT_TRUE(View().AreKeyboardEventsEnabled());
}

} // namespace
