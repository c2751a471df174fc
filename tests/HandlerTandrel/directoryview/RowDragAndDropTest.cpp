#include "TandrelDirectoryViewFixture.h"

#include "Inventory.h"
#include "Marvane/application/ProjectImport.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/uiframework/ControlImpl.h"
#include "Marvane/uitoolkit/DragAndDrop.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "TestProjects.h"
#include "base/TandrelIDs.h"
#include "directoryview/RowDragPayload.h"

#include <QDragEnterEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using host::DragCursor;
using host::TreeRowPtr;

struct DragResult {
    bool accepted = false;
    Qt::DropAction action = Qt::IgnoreAction;
};

// Sends a drag that enters at `at`, moves there and, with drop, is released there; answers
// what the last event was told.
DragResult SendDrag(QWidget* target, const QMimeData& mime, QPoint at, bool drop,
                    Qt::KeyboardModifiers keys = Qt::NoModifier,
                    Qt::DropActions possible = Qt::CopyAction | Qt::MoveAction) {
    QDragEnterEvent enter(at, possible, &mime, Qt::LeftButton, keys);
    QApplication::sendEvent(target, &enter);
    QDragMoveEvent move(at, possible, &mime, Qt::LeftButton, keys);
    QApplication::sendEvent(target, &move);
    if (!drop) {
        return {move.isAccepted(), move.dropAction()};
    }
    QDropEvent release(QPointF(at), possible, &mime, Qt::LeftButton, keys);
    QApplication::sendEvent(target, &release);
    return {release.isAccepted(), release.dropAction()};
}

class DragAndDropTest : public testsupport::TandrelDirectoryViewTest {
protected:
    void SetUp() override {
        TandrelDirectoryViewTest::SetUp();
        fs::remove(production / "Scene 12.mvproj.lock"); // the fixture's unreadable lock
        testsupport::WriteProject(production / "Edit" / "Deep" / "Reel 3.mvproj");
        fs::create_directories(Trash());
        OpenPanel(6);
        OpenFolder(production / "Edit", 3);
        OpenFolder(production / "Edit" / "Deep", 1);
    }
    void TearDown() override {
        View().GetDrops().EndRowDrag();
        host::ProjectImport::Instance().Wait(30000);
        host::ProjectImport::Instance().ClearFinished();
        TandrelDirectoryViewTest::TearDown();
    }
    host::UI_MultiColumnTree& Tree() const { return View().GetTree(); }
    QWidget* Viewport() const { return Tree().GetImpl()->view->viewport(); }
    // The middle of a row's name cell, in the viewport.
    QPoint On(const fs::path& path) const {
        const TreeRowPtr row = RowOf(path);
        EXPECT_NE(row, nullptr) << path;
        const QRect rect = Tree().GetImpl()->view->visualRect(Tree().GetImpl()->model.IndexOf(row));
        return rect.center();
    }
    // The top edge of a row: the gap above it.
    QPoint Above(const fs::path& path) const {
        const QRect rect =
            Tree().GetImpl()->view->visualRect(Tree().GetImpl()->model.IndexOf(RowOf(path)));
        return {rect.center().x(), rect.top() + 1};
    }
    QPoint BelowTheRows() const { return {20, Viewport()->height() - 3}; }
    // The data of a drag of these rows from the tree, as its drag start makes it: a drag
    // takes the selected rows.
    std::unique_ptr<QMimeData> RowDrag(const std::vector<fs::path>& paths) {
        std::vector<TreeRowPtr> rows;
        Tree().DeselectAllRows();
        for (const fs::path& path : paths) {
            rows.push_back(RowOf(path));
            Tree().SelectRow(rows.back(), host::RowSelection::kAddRow,
                             host::SelectionNotice::kTell);
        }
        const std::vector<std::uint8_t> bytes = View().GetDrops().BeginRowDrag(rows);
        auto mime = std::make_unique<QMimeData>();
        mime->setData(
            QString::fromLatin1(HandlerTandrel::kRowDragType.data(),
                                static_cast<qsizetype>(HandlerTandrel::kRowDragType.size())),
            QByteArray(reinterpret_cast<const char*>(bytes.data()),
                       static_cast<qsizetype>(bytes.size())));
        return mime;
    }
    static std::unique_ptr<QMimeData> FileDrag(const std::vector<fs::path>& files) {
        auto mime = std::make_unique<QMimeData>();
        QList<QUrl> urls;
        for (const fs::path& file : files) {
            urls.push_back(QUrl::fromLocalFile(QString::fromStdString(file.string())));
        }
        mime->setUrls(urls);
        return mime;
    }
    static std::unique_ptr<QMimeData> ItemsDrag(const fs::path& project,
                                                std::vector<std::string> bins,
                                                std::vector<std::string> sequences) {
        host::DraggedProjectItems items{project.string(), std::move(bins), std::move(sequences)};
        auto mime = std::make_unique<QMimeData>();
        mime->setData(QString::fromLatin1(host::kDataTypeName_ProjectItem),
                      host::EncodeProjectItems(items));
        return mime;
    }
    // The files below the production by content, wherever they are. Lock files are left
    // out: a move locks the destination of a closed project for the rest of the session; so
    // is the host's own folder, where it notes where items put in the trash came from.
    std::map<std::string, int> Contents() const {
        testsupport::Inventory inventory = testsupport::TakeInventory(production);
        std::erase_if(inventory, [](const auto& entry) {
            return host::IsProjectLockFileName(fs::path(entry.first).filename().string()) ||
                   entry.first.rfind(".marvane", 0) == 0;
        });
        return testsupport::ContentCounts(inventory);
    }
};

TEST_F(DragAndDropTest, DraggingAFolderOntoItsOwnSubFolderIsRefused) {
    const auto mime = RowDrag({production / "Edit"});
    const DragResult result = SendDrag(Viewport(), *mime, On(production / "Edit" / "Deep"), false);
    EXPECT_FALSE(result.accepted);
    EXPECT_EQ(Tree().GetDragCursor(), DragCursor::FistNo);
    EXPECT_FALSE(Tree().IsShowingDragFeedback());
    const DragResult onItself = SendDrag(Viewport(), *mime, On(production / "Edit"), true);
    EXPECT_FALSE(onItself.accepted);
    EXPECT_TRUE(fs::is_directory(production / "Edit" / "Deep"));
}

TEST_F(DragAndDropTest, DraggingAProjectOntoTheFolderThatHoldsItIsRefused) {
    const auto mime = RowDrag({production / "Edit" / "Reel 1.mvproj"});
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Edit"), false).accepted);
    // Onto a project beside it: the same folder.
    EXPECT_FALSE(
        SendDrag(Viewport(), *mime, On(production / "Edit" / "Reel 2.mvproj"), false).accepted);
    EXPECT_FALSE(
        SendDrag(Viewport(), *mime, Above(production / "Edit" / "Reel 2.mvproj"), true).accepted);
    EXPECT_TRUE(fs::exists(production / "Edit" / "Reel 1.mvproj"));
}

TEST_F(DragAndDropTest, DraggingAProjectLockedByAnotherEditorIsRefusedEverywhereAlsoOntoTheTrash) {
    LockAs(production / "Promo.mvproj", "Ben Okafor");
    const auto mime = RowDrag({production / "Promo.mvproj"});
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Edit"), false).accepted);
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(Trash()), true).accepted);
    QWidget& button = panel->GetTrashButton()->GetImpl()->Widget();
    EXPECT_FALSE(SendDrag(&button, *mime, button.rect().center(), true).accepted);
    EXPECT_EQ(panel->GetTrashButton()->GetDragCursor(), DragCursor::FistNo);
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(production / "Promo.mvproj")));
}

TEST_F(DragAndDropTest, AFolderHoldingAProjectLockedByAnotherEditorIsRefused) {
    LockAs(production / "Edit" / "Deep" / "Reel 3.mvproj", "Ben Okafor");
    const auto mime = RowDrag({production / "Edit"});
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(Trash()), true).accepted);
    EXPECT_TRUE(fs::exists(production / "Edit" / "Deep" / "Reel 3.mvproj"));
}

TEST_F(DragAndDropTest, DraggingTheTrashFolderItselfIsRefused) {
    const auto mime = RowDrag({Trash()});
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Edit"), true).accepted);
    EXPECT_TRUE(fs::is_directory(Trash()));
}

TEST_F(DragAndDropTest, RowsDroppedOnAFolderMoveThereWithTheirLocksAndNothingIsLost) {
    const fs::path promo = production / "Promo.mvproj";
    const auto project = testsupport::OpenProject(promo);
    ASSERT_TRUE(fs::exists(host::LockFilePathFor(promo)));
    const auto before = Contents();
    const auto mime = RowDrag({promo, production / "Scene 12.mvproj"});
    const DragResult over = SendDrag(Viewport(), *mime, On(production / "Edit" / "Deep"), false);
    EXPECT_TRUE(over.accepted);
    EXPECT_EQ(over.action, Qt::MoveAction);
    EXPECT_EQ(Tree().GetDragCursor(), DragCursor::Fist);
    EXPECT_TRUE(Tree().IsShowingDragFeedback());
    const DragResult dropped = SendDrag(Viewport(), *mime, On(production / "Edit" / "Deep"), true);
    EXPECT_TRUE(dropped.accepted);
    EXPECT_EQ(dropped.action, Qt::MoveAction);
    EXPECT_FALSE(Tree().IsShowingDragFeedback());
    const fs::path moved = production / "Edit" / "Deep" / "Promo.mvproj";
    EXPECT_TRUE(fs::exists(moved));
    EXPECT_TRUE(fs::exists(production / "Edit" / "Deep" / "Scene 12.mvproj"));
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(moved)));
    EXPECT_FALSE(fs::exists(promo));
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(promo)));
    EXPECT_EQ(Contents(), before); // every file once, none lost, none doubled
    EXPECT_TRUE(WaitUntil([&] { return RowOf(moved) != nullptr; }));
}

TEST_F(DragAndDropTest, ClosedProjectsDroppedOnAFolderKeepNoLockOnceTheDropIsDone) {
    const fs::path promo = production / "Promo.mvproj";
    const auto project = testsupport::OpenProject(promo);
    const auto mime = RowDrag({promo, production / "Scene 12.mvproj"});
    ASSERT_TRUE(SendDrag(Viewport(), *mime, On(production / "Edit" / "Deep"), true).accepted);
    const fs::path scene = production / "Edit" / "Deep" / "Scene 12.mvproj";
    ASSERT_TRUE(fs::exists(scene));
    // Another editor can open the closed project read-write once the drop is done; the open
    // project keeps its lock at its new place.
    EXPECT_TRUE(WaitUntil([&] { return !fs::exists(host::LockFilePathFor(scene)); }));
    EXPECT_TRUE(
        host::CreateProjectLockFile(scene.string(), "Ben Okafor", "edit-bay-2")->IsOwnedByCaller());
    EXPECT_TRUE(fs::exists(host::LockFilePathFor(production / "Edit" / "Deep" / "Promo.mvproj")));
    EXPECT_EQ(project->Path(), production / "Edit" / "Deep" / "Promo.mvproj");
}

TEST_F(DragAndDropTest, ARowDraggedWithTheCopyKeyHeldMovesAsEveryRowDragDoes) {
    const fs::path reel = production / "Edit" / "Reel 2.mvproj";
    const auto mime = RowDrag({reel});
    const DragResult over =
        SendDrag(Viewport(), *mime, On(production / "Edit" / "Deep"), false, Qt::ControlModifier);
    EXPECT_EQ(over.action, Qt::MoveAction);
    EXPECT_EQ(Tree().GetDragCursor(), DragCursor::Fist);
    const DragResult dropped =
        SendDrag(Viewport(), *mime, On(production / "Edit" / "Deep"), true, Qt::ControlModifier);
    EXPECT_EQ(dropped.action, Qt::MoveAction);
    const fs::path moved = production / "Edit" / "Deep" / "Reel 2.mvproj";
    EXPECT_TRUE(fs::exists(moved));
    EXPECT_FALSE(fs::exists(reel));
    EXPECT_TRUE(WaitUntil([&] { return !fs::exists(host::LockFilePathFor(moved)); }));
}

TEST_F(DragAndDropTest, AClosedProjectDroppedOnTheTrashButtonKeepsNoLock) {
    const auto mime = RowDrag({production / "Edit" / "Reel 2.mvproj"});
    QWidget& button = panel->GetTrashButton()->GetImpl()->Widget();
    ASSERT_TRUE(WaitUntil([&] { return panel->GetTrashButton()->IsEnabled(); }));
    ASSERT_TRUE(SendDrag(&button, *mime, button.rect().center(), true).accepted);
    const fs::path trashed = Trash() / "Reel 2.mvproj";
    ASSERT_TRUE(fs::exists(trashed));
    EXPECT_TRUE(WaitUntil([&] { return !fs::exists(host::LockFilePathFor(trashed)); }));
    EXPECT_FALSE(fs::exists(host::LockFilePathFor(production / "Edit" / "Reel 2.mvproj")));
}

TEST_F(DragAndDropTest, RowsDroppedOnTheTrashFolderGoToTheTrash) {
    const auto mime = RowDrag({production / "Edit" / "Reel 2.mvproj"});
    EXPECT_TRUE(SendDrag(Viewport(), *mime, On(Trash()), true).accepted);
    EXPECT_TRUE(fs::exists(Trash() / "Reel 2.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Edit" / "Reel 2.mvproj"));
}

TEST_F(DragAndDropTest, RowsDroppedOnTheTrashButtonGoToTheTrash) {
    const auto before = Contents();
    const auto mime = RowDrag({production / "Edit" / "Deep"});
    QWidget& button = panel->GetTrashButton()->GetImpl()->Widget();
    // The button follows the selection, which a drag is made of.
    ASSERT_TRUE(WaitUntil([&] { return panel->GetTrashButton()->IsEnabled(); }));
    const DragResult over = SendDrag(&button, *mime, button.rect().center(), false);
    EXPECT_TRUE(over.accepted);
    EXPECT_EQ(over.action, Qt::MoveAction);
    EXPECT_EQ(panel->GetTrashButton()->GetDragCursor(), DragCursor::Fist);
    EXPECT_TRUE(SendDrag(&button, *mime, button.rect().center(), true).accepted);
    EXPECT_TRUE(fs::exists(Trash() / "Deep" / "Reel 3.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Edit" / "Deep"));
    EXPECT_EQ(Contents(), before);
}

TEST_F(DragAndDropTest, TheTrashButtonRefusesRowsAlreadyInTheTrashAndFilesFromOutside) {
    testsupport::WriteProject(Trash() / "Old.mvproj");
    OpenFolder(Trash(), 1);
    QWidget& button = panel->GetTrashButton()->GetImpl()->Widget();
    const auto inTrash = RowDrag({Trash() / "Old.mvproj"});
    // A row the button would take is selected, so that the button is on and asked.
    Tree().SelectRow(RowOf(production / "Promo.mvproj"), host::RowSelection::kOnlyRow,
                     host::SelectionNotice::kTell);
    ASSERT_TRUE(WaitUntil([&] { return panel->GetTrashButton()->IsEnabled(); }));
    EXPECT_FALSE(SendDrag(&button, *inTrash, button.rect().center(), true).accepted);
    const auto files = FileDrag({production / "Promo.mvproj"});
    EXPECT_FALSE(SendDrag(&button, *files, button.rect().center(), true).accepted);
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
    EXPECT_TRUE(fs::exists(Trash() / "Old.mvproj"));
    EXPECT_FALSE(fs::exists(Trash() / "Old_1.mvproj"));
}

TEST_F(DragAndDropTest, ALockTakenWhileTheRowsAreDraggedIsSeenAtTheDrop) {
    const auto mime = RowDrag({production / "Promo.mvproj"});
    EXPECT_TRUE(SendDrag(Viewport(), *mime, On(production / "Edit"), false).accepted);
    LockAs(production / "Promo.mvproj", "Ben Okafor"); // Ben opens it meanwhile
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Edit"), true).accepted);
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
    EXPECT_FALSE(fs::exists(production / "Edit" / "Promo.mvproj"));
}

TEST_F(DragAndDropTest, APipeNamedLikeAProjectDroppedFromTheDesktopNeverHangsAndAddsNothing) {
    fs::create_directories(root / "Elsewhere");
    ASSERT_EQ(::mkfifo((root / "Elsewhere" / "Pipe.mvproj").c_str(), 0644), 0);
    const auto mime = FileDrag({root / "Elsewhere" / "Pipe.mvproj"});
    responder->AddAnswer(0); // Copy, if asked
    SendDrag(Viewport(), *mime, On(production / "Edit"), true);
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_FALSE(fs::exists(production / "Edit" / "Pipe.mvproj"));
}

TEST_F(DragAndDropTest, ADropBetweenRowsGoesIntoTheFolderOfTheRowAfterTheGap) {
    const auto mime = RowDrag({production / "Promo.mvproj"});
    // The gap above Reel 1: among the rows of Edit.
    EXPECT_TRUE(
        SendDrag(Viewport(), *mime, Above(production / "Edit" / "Reel 1.mvproj"), true).accepted);
    EXPECT_TRUE(fs::exists(production / "Edit" / "Promo.mvproj"));
}

TEST_F(DragAndDropTest, ADropBelowTheLastRowGoesToTheProductionFolder) {
    const auto mime = RowDrag({production / "Edit" / "Deep" / "Reel 3.mvproj"});
    EXPECT_TRUE(SendDrag(Viewport(), *mime, BelowTheRows(), true).accepted);
    EXPECT_TRUE(fs::exists(production / "Reel 3.mvproj"));
}

TEST_F(DragAndDropTest, ANameTakenInTheTargetIsNeverWrittenOver) {
    testsupport::WriteProject(production / "Edit" / "Deep" / "Promo.mvproj", {"Other cut"});
    ASSERT_TRUE(
        WaitUntil([&] { return RowOf(production / "Edit" / "Deep" / "Promo.mvproj") != nullptr; }));
    const auto before = Contents();
    const auto mime = RowDrag({production / "Promo.mvproj"});
    SendDrag(Viewport(), *mime, On(production / "Edit" / "Deep"), true);
    EXPECT_EQ(Contents(), before);
}

TEST_F(DragAndDropTest, RowsThisViewDidNotSendAreRefused) {
    const auto mime = RowDrag({production / "Promo.mvproj"});
    View().GetDrops().EndRowDrag(); // the drag that made the data is over
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Edit"), true).accepted);
    auto torn = std::make_unique<QMimeData>();
    torn->setData(QString::fromLatin1(HandlerTandrel::kRowDragType.data(),
                                      static_cast<qsizetype>(HandlerTandrel::kRowDragType.size())),
                  QByteArray("abc"));
    EXPECT_FALSE(SendDrag(Viewport(), *torn, On(production / "Edit"), true).accepted);
    EXPECT_TRUE(fs::exists(production / "Promo.mvproj"));
}

TEST_F(DragAndDropTest, ProjectFilesFromTheDesktopAreAddedAsCopies) {
    const fs::path outside = root / "Elsewhere" / "Trailer.mvproj";
    testsupport::WriteProject(outside);
    const auto mime = FileDrag({outside});
    const DragResult over = SendDrag(Viewport(), *mime, On(production / "Edit"), false);
    EXPECT_TRUE(over.accepted);
    EXPECT_EQ(over.action, Qt::CopyAction);
    EXPECT_EQ(Tree().GetDragCursor(), DragCursor::FistAdd);
    responder->AddAnswer(0); // Copy
    EXPECT_TRUE(SendDrag(Viewport(), *mime, On(production / "Edit"), true).accepted);
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(testsupport::ReadBytes(production / "Edit" / "Trailer.mvproj"),
              testsupport::ReadBytes(outside));
    EXPECT_TRUE(fs::exists(outside));
}

TEST_F(DragAndDropTest, AProjectAndATextFileShowCanOnlyDropProjectsAndAddNothing) {
    const fs::path outside = root / "Elsewhere" / "Trailer.mvproj";
    testsupport::WriteProject(outside);
    Write(root / "Elsewhere" / "notes.txt", "notes");
    const auto before = Contents();
    const auto mime = FileDrag({outside, root / "Elsewhere" / "notes.txt"});
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Edit"), false).accepted);
    EXPECT_EQ(Tree().GetDragCursor(), DragCursor::FistNo);
    SendDrag(Viewport(), *mime, On(production / "Edit"), true);
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Can Only Drop Projects");
    EXPECT_EQ(responder->GetRequests()[0].text, "You can only drop projects into this panel.");
    EXPECT_TRUE(host::ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(Contents(), before);
}

TEST_F(DragAndDropTest, AnEmptyFileListShowsTheSameMessage) {
    auto mime = std::make_unique<QMimeData>();
    mime->setData(QString::fromLatin1(host::kFilesType), QByteArray());
    SendDrag(Viewport(), *mime, On(production / "Edit"), true);
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Can Only Drop Projects");
}

TEST_F(DragAndDropTest, ProjectItemsMoveIntoAnOpenProjectAndLeaveTheirOwn) {
    const auto target = testsupport::OpenProject(production / "Promo.mvproj");
    host::ProjectContent empty = target->Content();
    empty.bins.clear();
    empty.sequences.clear();
    target->EditContent(empty);
    const auto source = testsupport::OpenProject(production / "Scene 12.mvproj");
    host::ProjectContent content = source->Content();
    content.sequences = {"Opening", "Chase"};
    content.bins = {"Rushes"};
    source->EditContent(content);
    const auto mime = ItemsDrag(production / "Scene 12.mvproj", {"Rushes"}, {"Chase"});
    const DragResult over = SendDrag(Viewport(), *mime, On(production / "Promo.mvproj"), false);
    EXPECT_TRUE(over.accepted);
    EXPECT_EQ(over.action, Qt::MoveAction);
    EXPECT_EQ(Tree().GetDragCursor(), DragCursor::Fist);
    EXPECT_TRUE(SendDrag(Viewport(), *mime, On(production / "Promo.mvproj"), true).accepted);
    EXPECT_EQ(target->Content().bins, std::vector<std::string>{"Rushes"});
    EXPECT_EQ(target->Content().sequences, std::vector<std::string>{"Chase"});
    EXPECT_EQ(source->Content().sequences, std::vector<std::string>{"Opening"});
    EXPECT_TRUE(source->Content().bins.empty());
}

TEST_F(DragAndDropTest, ProjectItemsWithTheCopyKeyAreCopiedAndKeepTheirNamesUnique) {
    const auto target = testsupport::OpenProject(production / "Promo.mvproj");
    host::ProjectContent mine = target->Content();
    mine.sequences = {"Chase"};
    target->EditContent(mine);
    const auto source = testsupport::OpenProject(production / "Scene 12.mvproj");
    host::ProjectContent content = source->Content();
    content.sequences = {"Chase"};
    source->EditContent(content);
    const auto mime = ItemsDrag(production / "Scene 12.mvproj", {}, {"Chase"});
    const DragResult over =
        SendDrag(Viewport(), *mime, On(production / "Promo.mvproj"), false, Qt::ControlModifier);
    EXPECT_EQ(over.action, Qt::CopyAction);
    EXPECT_EQ(Tree().GetDragCursor(), DragCursor::FistAdd);
    EXPECT_TRUE(
        SendDrag(Viewport(), *mime, On(production / "Promo.mvproj"), true, Qt::ControlModifier)
            .accepted);
    EXPECT_EQ(target->Content().sequences, (std::vector<std::string>{"Chase", "Chase 2"}));
    EXPECT_EQ(source->Content().sequences, std::vector<std::string>{"Chase"});
}

TEST_F(DragAndDropTest, ProjectItemsAreRefusedByAReadOnlyProjectAFolderAndTheirOwnProject) {
    const auto readOnly =
        testsupport::OpenProject(production / "Promo.mvproj", host::OpenMode::ReadOnly);
    const host::ProjectContent before = readOnly->Content();
    const auto source = testsupport::OpenProject(production / "Scene 12.mvproj");
    const auto mime = ItemsDrag(production / "Scene 12.mvproj", {"Rushes"}, {});
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Promo.mvproj"), true).accepted);
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Edit"), true).accepted);
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Scene 12.mvproj"), true).accepted);
    // A project that is not open takes nothing.
    EXPECT_FALSE(
        SendDrag(Viewport(), *mime, On(production / "Edit" / "Reel 1.mvproj"), true).accepted);
    const auto none = ItemsDrag(production / "Scene 12.mvproj", {}, {});
    EXPECT_FALSE(SendDrag(Viewport(), *none, On(production / "Promo.mvproj"), true).accepted);
    EXPECT_EQ(readOnly->Content(), before);
}

TEST_F(DragAndDropTest, ItemsOfAReadOnlyProjectCanOnlyBeCopied) {
    const auto target = testsupport::OpenProject(production / "Promo.mvproj");
    host::ProjectContent empty = target->Content();
    empty.bins.clear();
    target->EditContent(empty);
    const auto source =
        testsupport::OpenProject(production / "Scene 12.mvproj", host::OpenMode::ReadOnly);
    const auto mime = ItemsDrag(production / "Scene 12.mvproj", {"Rushes"}, {});
    EXPECT_FALSE(SendDrag(Viewport(), *mime, On(production / "Promo.mvproj"), false).accepted);
    EXPECT_TRUE(
        SendDrag(Viewport(), *mime, On(production / "Promo.mvproj"), true, Qt::ControlModifier)
            .accepted);
    EXPECT_EQ(target->Content().bins, std::vector<std::string>{"Rushes"});
}

TEST_F(DragAndDropTest, TheRowPayloadIsOneWordPerRowInOrder) {
    const TreeRowPtr a = RowOf(production / "Promo.mvproj");
    const TreeRowPtr b = RowOf(production / "Edit");
    const auto bytes = HandlerTandrel::EncodeRowPayload({a, b});
    ASSERT_EQ(bytes.size(), 2 * sizeof(std::uintptr_t));
    const auto words = HandlerTandrel::DecodeRowPayload(bytes);
    ASSERT_TRUE(words.has_value());
    EXPECT_EQ((*words)[0], reinterpret_cast<std::uintptr_t>(a.get()));
    EXPECT_EQ((*words)[1], reinterpret_cast<std::uintptr_t>(b.get()));
    EXPECT_FALSE(HandlerTandrel::DecodeRowPayload({1, 2, 3}).has_value());
}

} // namespace
