#include "columns/NameCellView.h"

#include "Marvane/fileservices/AccessDeadline.h"
#include "ProductionFixture.h"
#include "ViewTestSupport.h"
#include "host/ApplicationLayer.h"

namespace {

namespace fs = std::filesystem;
using HandlerTandrel::Columns::NameCellKind;
using HandlerTandrel::Columns::NameCellView;

class NameCellViewTest : public testsupport::ProductionFixture {
protected:
    void SetUp() override {
        ProductionFixture::SetUp();
        scene = testsupport::WriteProject(production / "Scene 12.mvproj");
    }
    // The picture the cell hands to its image, and the request flags it set.
    static std::string PictureOf(const NameCellView& cell, std::uint32_t* flags = nullptr) {
        const host::UI_Picture picture = cell.Image().RequestPicture(24, 24, 1);
        if (flags != nullptr) {
            *flags = cell.Image().GetLastRequestFlags();
        }
        if (!picture) {
            return "none";
        }
        if (picture == HandlerTandrel::Columns::SharedFolderPicture()) {
            return "folder";
        }
        return "badge";
    }
    fs::path scene;
};

TEST_F(NameCellViewTest, ACellFortyHighHasATwentyFourPictureAtEightAndTextAtThirtyFour) {
    NameCellView cell(W(scene), false, false);
    cell.BoundsChanged({0, 0, 300, 40});
    EXPECT_EQ(cell.Image().GetBounds(), (host::UI_Rect{0, 8, 24, 24}));
    EXPECT_EQ(cell.Text().GetBounds(), (host::UI_Rect{34, 0, 266, 40}));
    EXPECT_FLOAT_EQ(cell.Text().GetFontSize(), 20.0f);
    EXPECT_TRUE(cell.Text().IsVisible());
    EXPECT_EQ(cell.Text().GetValue(), u"Scene 12");
}

TEST_F(NameCellViewTest, TheTrailingWidthIsWhatTheNameLeavesOfItsArea) {
    NameCellView cell(W(scene), false, false);
    cell.BoundsChanged({0, 0, 300, 40});
    const float nameWidth = cell.Text().MeasureValueWidth();
    ASSERT_GT(nameWidth, 0.0f);
    EXPECT_FLOAT_EQ(cell.GetTrailingWidth(), 266.0f - nameWidth);
    // A wider column leaves that much more unused.
    cell.BoundsChanged({0, 0, 400, 40});
    EXPECT_FLOAT_EQ(cell.GetTrailingWidth(), 366.0f - nameWidth);
}

TEST_F(NameCellViewTest, ANameCutToFitLeavesNoTrailingWidth) {
    NameCellView cell(W(scene), false, false);
    cell.BoundsChanged({0, 0, 34 + 12, 40}); // room for a letter or two of "Scene 12"
    ASSERT_TRUE(cell.Text().IsVisible());
    EXPECT_FLOAT_EQ(cell.GetTrailingWidth(), 0.0f);
}

TEST_F(NameCellViewTest, AHiddenNameLeavesEverythingAfterThePictureUnused) {
    NameCellView cell(W(scene), false, false);
    cell.BoundsChanged({0, 0, 40, 40});
    ASSERT_FALSE(cell.Text().IsVisible());
    EXPECT_FLOAT_EQ(cell.GetTrailingWidth(), 40.0f - 24.0f);
}

TEST_F(NameCellViewTest, ABoldOrLargerNameMeasuresWider) {
    host::UI_StaticText text;
    text.SetValue(u"Scene 12 final final");
    text.SetFontSize(20);
    const float regular = text.MeasureValueWidth();
    text.SetFontStyle("Bold");
    EXPECT_GT(text.MeasureValueWidth(), regular);
    text.SetFontSize(40);
    EXPECT_GT(text.MeasureValueWidth(), regular * 1.5f);
}

TEST_F(NameCellViewTest, ThePictureOffsetIsMeasuredFromTheCellsOwnOrigin) {
    NameCellView cell(W(scene), false, false);
    cell.BoundsChanged({5, 100, 300, 40});
    EXPECT_EQ(cell.Image().GetBounds(), (host::UI_Rect{5, 8, 24, 24}));
    // The text width takes the left edge off too: 300 - (10 + 24 + 5).
    EXPECT_EQ(cell.Text().GetBounds(), (host::UI_Rect{39, 100, 261, 40}));
}

TEST_F(NameCellViewTest, ANarrowColumnHidesTheNameButKeepsThePicture) {
    NameCellView cell(W(scene), false, false);
    cell.BoundsChanged({0, 0, 24 + 10 + 9.5f, 40});
    EXPECT_FALSE(cell.Text().IsVisible());
    EXPECT_TRUE(cell.Image().IsVisible());
    cell.BoundsChanged({0, 0, 24 + 10 + 10, 40});
    EXPECT_TRUE(cell.Text().IsVisible());
}

TEST_F(NameCellViewTest, AClosedProjectLockedByUsShowsTheSameBadgeAsOneLockedByOthers) {
    EXPECT_EQ(NameCellView(W(scene), true, true).GetKind(), NameCellKind::ProjectClosedLocked);
    EXPECT_EQ(NameCellView(W(scene), false, true).GetKind(), NameCellKind::ProjectClosedLocked);
    EXPECT_EQ(NameCellView(W(scene), false, false).GetKind(), NameCellKind::ProjectClosedNoLock);
}

TEST_F(NameCellViewTest, AnOpenProjectWithoutALockFileShowsOpenNoLockWhateverTheOwnerFlag) {
    testsupport::OpenProject(scene, host::OpenMode::ReadOnly);
    EXPECT_EQ(NameCellView(W(scene), true, false).GetKind(), NameCellKind::ProjectOpenNoLock);
    EXPECT_EQ(NameCellView(W(scene), true, true).GetKind(), NameCellKind::ProjectOpenEditable);
    EXPECT_EQ(NameCellView(W(scene), false, true).GetKind(),
              NameCellKind::ProjectOpenLockedByOther);
}

TEST_F(NameCellViewTest, TheTrashGetsTheDeleteBadgeNeverTheFolderIcon) {
    fs::create_directories(Trash());
    const NameCellView trash(W(Trash()), false, false);
    EXPECT_EQ(trash.GetKind(), NameCellKind::Trash);
    EXPECT_EQ(PictureOf(trash), "badge");
    fs::create_directories(production / "Reels");
    const NameCellView folder(W(production / "Reels"), false, false);
    EXPECT_EQ(folder.GetKind(), NameCellKind::Folder);
    EXPECT_EQ(PictureOf(folder), "folder");
}

// A cell is made at every paint of its row: on a share, a look at the disk for each folder row
// shown would be a round trip each time.
TEST_F(NameCellViewTest, AFolderCellIsMadeWithoutALookAtTheDisk) {
    fs::create_directories(production / "Reels");
    fs::create_directories(production / "Reels" / "Trash");
    fs::create_directories(Trash());
    const std::uint64_t before = host::files::BoundedAccessCount();
    EXPECT_EQ(NameCellView(W(production / "Reels"), false, false).GetKind(), NameCellKind::Folder);
    EXPECT_EQ(host::files::BoundedAccessCount(), before);
    // A folder named like the trash but elsewhere is a folder.
    EXPECT_EQ(NameCellView(W(production / "Reels" / "Trash"), false, false).GetKind(),
              NameCellKind::Folder);
    EXPECT_EQ(NameCellView(W(Trash()), false, false).GetKind(), NameCellKind::Trash);
    EXPECT_EQ(NameCellView(W(scene), false, false).GetKind(), NameCellKind::ProjectClosedNoLock);
}

TEST_F(NameCellViewTest, AFolderThatCannotBeReadHasAPictureOfItsOwn) {
    fs::create_directories(production / "Reels");
    const NameCellView folder(W(production / "Reels"), false, false, true);
    EXPECT_EQ(folder.GetKind(), NameCellKind::FolderUnreadable);
    EXPECT_EQ(PictureOf(folder), "badge"); // drawn, and not the ordinary folder
    // The trash stays the trash, and a project is judged by its lock.
    fs::create_directories(Trash());
    EXPECT_EQ(NameCellView(W(Trash()), false, false, true).GetKind(), NameCellKind::Trash);
    EXPECT_EQ(NameCellView(W(scene), false, false, true).GetKind(),
              NameCellKind::ProjectClosedNoLock);
}

TEST_F(NameCellViewTest, AnEmptyPathIsAFolderWithoutABadge) {
    const NameCellView cell(u"", false, false);
    EXPECT_EQ(cell.GetKind(), NameCellKind::Folder);
    EXPECT_EQ(PictureOf(cell), "folder");
}

TEST_F(NameCellViewTest, SupplyingThePictureSetsTheCellBitAndKeepsTheOthers) {
    const NameCellView cell(W(scene), false, false);
    std::uint32_t flags = 0;
    EXPECT_EQ(PictureOf(cell, &flags), "badge");
    EXPECT_EQ(flags, 1u | NameCellView::kCellPictureFlag);
}

TEST_F(NameCellViewTest, TheNodeIDNamesThePath) {
    const NameCellView cell(W(scene), false, false);
    EXPECT_EQ(cell.GetNodeID(), "Tandrel.NameCellView." + scene.string());
}

TEST_F(NameCellViewTest, AnOpenReadOnlyProjectChangedOnDiskIsShownInItalics) {
    testsupport::OpenProject(scene, host::OpenMode::ReadOnly);
    EXPECT_EQ(NameCellView(W(scene), false, false).Text().GetFontStyle(), "Regular");
    testsupport::WriteProject(scene, {"Changed elsewhere"});
    EXPECT_EQ(NameCellView(W(scene), false, false).Text().GetFontStyle(), "Italic");
}

TEST_F(NameCellViewTest, EveryProjectKindHasItsOwnBadgePicture) {
    for (const NameCellKind kind :
         {NameCellKind::Trash, NameCellKind::ProjectClosedNoLock, NameCellKind::ProjectClosedLocked,
          NameCellKind::ProjectOpenNoLock, NameCellKind::ProjectOpenLockedByOther,
          NameCellKind::ProjectOpenEditable}) {
        const auto badge = HandlerTandrel::Columns::BadgeResourceOf(kind);
        EXPECT_NE(host::MakeIconSetImageHandler(std::string(badge)), nullptr) << badge;
    }
    EXPECT_TRUE(HandlerTandrel::Columns::BadgeResourceOf(NameCellKind::Folder).empty());
}

} // namespace
