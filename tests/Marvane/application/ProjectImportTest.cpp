#include "Marvane/application/ProjectImport.h"
#include "host/ApplicationLayer.h"

#include <QCoreApplication>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

#include "Inventory.h"
#include "Marvane/fileservices/FolderMount.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "TmpfsMount.h"

namespace {

namespace fs = std::filesystem;
using host::ImportProgress;
using host::ProjectImport;

class ProjectImportTest : public ::testing::Test {
protected:
    void SetUp() override {
        Write(root / "Outside" / "Promo.mvproj", std::string(3000, 'p'));
        Write(root / "Outside" / "Titles.mvprojd" / "project.json", std::string(500, 't'));
        Write(root / "Outside" / "Titles.mvprojd" / "media" / "still.png", std::string(200, 's'));
        fs::create_directories(root / "Production" / "Incoming");
    }
    void TearDown() override { testsupport::StopProjectImport(); }
    static void Write(const fs::path& file, const std::string& text) {
        testsupport::WriteBytes(file, text);
    }
    fs::path Incoming() const { return root / "Production" / "Incoming"; }
    const testsupport::TemporaryFolder temporary{"import"};
    const fs::path root = temporary.Path();
};

// The production is the folder a share is mounted on, and the mount went away: nothing is
// copied beneath it, not even for a moment.
TEST_F(ProjectImportTest, NothingIsCopiedBeneathAProductionWhoseMountWentAway) {
    const fs::path production = root / "Production";
    testsupport::TmpfsMount share(production);
    if (const std::string why = share.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    host::KeepFolderMount(production);
    ASSERT_TRUE(share.Unmount());
    fs::remove_all(production / "Incoming");
    ProjectImport::Instance().Add({root / "Outside" / "Promo.mvproj"}, production);
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    const ImportProgress progress = ProjectImport::Instance().Progress();
    host::KeepFolderMount({});
    EXPECT_EQ(progress.bytesDone, 0u);
    ASSERT_EQ(progress.failures.size(), 1u);
    EXPECT_NE(progress.failures[0].find("mounted on the folder is gone"), std::string::npos)
        << progress.failures[0];
    EXPECT_TRUE(fs::is_empty(production));
}

TEST_F(ProjectImportTest, ProjectFilesAndFoldersAreCopiedWithFilesAndBytesCounted) {
    ProjectImport::Instance().Add(
        {root / "Outside" / "Promo.mvproj", root / "Outside" / "Titles.mvprojd"}, Incoming());
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    const ImportProgress progress = ProjectImport::Instance().Progress();
    EXPECT_EQ(progress.state, ImportProgress::State::Finished);
    EXPECT_EQ(progress.projectsDone, 2u);
    EXPECT_EQ(progress.projectsTotal, 2u);
    EXPECT_EQ(progress.filesTotal, 3u);
    EXPECT_EQ(progress.filesDone, 3u);
    EXPECT_EQ(progress.bytesTotal, 3700u);
    EXPECT_EQ(progress.bytesDone, 3700u);
    EXPECT_TRUE(progress.failures.empty());
    EXPECT_EQ(testsupport::TakeInventory(Incoming() / "Titles.mvprojd"),
              testsupport::TakeInventory(root / "Outside" / "Titles.mvprojd"));
    EXPECT_EQ(fs::file_size(Incoming() / "Promo.mvproj"), 3000u);
}

TEST_F(ProjectImportTest, TakenNamesGetFreshOnesAndNothingIsWrittenOver) {
    Write(Incoming() / "Promo.mvproj", "theirs");
    ProjectImport::Instance().Add(
        {root / "Outside" / "Promo.mvproj", root / "Outside" / "Promo.mvproj"}, Incoming());
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    EXPECT_EQ(testsupport::ReadBytes(Incoming() / "Promo.mvproj"), "theirs");
    EXPECT_EQ(fs::file_size(Incoming() / "Promo_1.mvproj"), 3000u);
    EXPECT_EQ(fs::file_size(Incoming() / "Promo_2.mvproj"), 3000u);
    EXPECT_EQ(ProjectImport::Instance().Progress().added.size(), 2u);
}

TEST_F(ProjectImportTest, ACancelledCopyLeavesNoHalfWrittenProject) {
    // Big enough that the cancel arrives while the copy is under way.
    Write(root / "Outside" / "Feature.mvprojd" / "project.json", "{}");
    for (int reel = 0; reel < 40; ++reel) {
        Write(root / "Outside" / "Feature.mvprojd" / "media" / ("reel" + std::to_string(reel)),
              std::string(1 << 20, 'm'));
    }
    // Cancelled from the first block copied on: the copy is surely under way then.
    ProjectImport::Instance().SetCopyHookForTesting([] { ProjectImport::Instance().Cancel(); });
    ProjectImport::Instance().Add({root / "Outside" / "Feature.mvprojd"}, Incoming());
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    ProjectImport::Instance().SetCopyHookForTesting({});
    const ImportProgress progress = ProjectImport::Instance().Progress();
    ASSERT_EQ(progress.state, ImportProgress::State::Cancelled);
    EXPECT_LT(progress.bytesDone, progress.bytesTotal);
    EXPECT_TRUE(fs::is_empty(Incoming())) << "nothing half-copied, not even hidden";
}

TEST_F(ProjectImportTest, AProjectThatCannotBeReadIsReportedAndTheOthersAreAdded) {
    ProjectImport::Instance().Add(
        {root / "Outside" / "Missing.mvproj", root / "Outside" / "Promo.mvproj"}, Incoming());
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    const ImportProgress progress = ProjectImport::Instance().Progress();
    EXPECT_EQ(progress.projectsDone, 1u);
    ASSERT_EQ(progress.failures.size(), 1u);
    EXPECT_NE(progress.failures[0].find("Missing.mvproj"), std::string::npos);
    EXPECT_TRUE(fs::exists(Incoming() / "Promo.mvproj"));
    EXPECT_FALSE(fs::exists(Incoming() / "Missing.mvproj"));
}

TEST_F(ProjectImportTest, AProjectGivenThroughALinkIsCopiedItself) {
    fs::create_symlink(root / "Outside" / "Promo.mvproj", root / "Promo link.mvproj");
    ProjectImport::Instance().Add({root / "Promo link.mvproj"}, Incoming());
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    EXPECT_FALSE(fs::is_symlink(Incoming() / "Promo.mvproj"));
    EXPECT_EQ(fs::file_size(Incoming() / "Promo.mvproj"), 3000u);
}

TEST_F(ProjectImportTest, WorkAddedAfterACancelIsNotCancelled) {
    // The first batch is cancelled from inside its copy; the second comes afterwards.
    ProjectImport::Instance().SetCopyHookForTesting([] { ProjectImport::Instance().Cancel(); });
    ProjectImport::Instance().Add({root / "Outside" / "Titles.mvprojd"}, Incoming());
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    ProjectImport::Instance().SetCopyHookForTesting({});
    QCoreApplication::processEvents(); // the next command comes at a later turn
    ProjectImport::Instance().Add({root / "Outside" / "Promo.mvproj"}, Incoming());
    ASSERT_TRUE(ProjectImport::Instance().Wait(30000));
    EXPECT_TRUE(fs::exists(Incoming() / "Promo.mvproj"));
    EXPECT_FALSE(fs::exists(Incoming() / "Titles.mvprojd"));
    EXPECT_EQ(ProjectImport::Instance().Progress().state, ImportProgress::State::Finished);
}

TEST_F(ProjectImportTest, ACopyPathIsFreshAndAvoidsTheReservedOnes) {
    const std::u16string promo = host::ToUTF16((root / "Outside" / "Promo.mvproj").string());
    const std::u16string first = host::GetMvProductionItemCopyPath(promo, {});
    EXPECT_EQ(host::ToUTF8(first), (root / "Outside" / "Promo_1.mvproj").string());
    EXPECT_EQ(host::ToUTF8(host::GetMvProductionItemCopyPath(promo, {first})),
              (root / "Outside" / "Promo_2.mvproj").string());
}

} // namespace
