#include "directoryview/RowRecords.h"

#include "Marvane/application/HostSession.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "columns/DisplayName.h"
#include "host/ProjectBackEnd.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;
using Outcome = RowRecords::Outcome;

class RowRecordsTest : public ::testing::Test {
protected:
    void SetUp() override {
        scene = W(testsupport::WriteProject(root / "Scene 12.mvproj"));
        fs::create_directories(root / "Edit");
        edit = W(root / "Edit");
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::HostSession::Instance().userOverride.reset();
    }
    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }

    const testsupport::TemporaryFolder temporary{"records"};
    const fs::path root = temporary.Path();
    host::WideString scene;
    host::WideString edit;
    RowRecords records;
    std::shared_ptr<host::UI_TreeRow> sceneRow = std::make_shared<host::UI_TreeRow>(false);
    std::shared_ptr<host::UI_TreeRow> editRow = std::make_shared<host::UI_TreeRow>(true);
};

TEST_F(RowRecordsTest, OnlyProjectRowsHaveARecord) {
    EXPECT_EQ(records.Update(editRow.get(), edit, false, true, Columns::kNameColumn),
              Outcome::kNothing);
    EXPECT_EQ(records.Update(nullptr, scene, false, true, Columns::kNameColumn), Outcome::kNothing);
    EXPECT_FALSE(records.Find(editRow.get(), edit));
    EXPECT_EQ(records.Count(), 0u);
}

TEST_F(RowRecordsTest, AProjectInAnOpenFolderIsReadInFull) {
    EXPECT_EQ(records.Update(sceneRow.get(), scene, false, true, Columns::kNameColumn),
              Outcome::kRead);
    const auto record = records.Find(sceneRow.get(), scene);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->displayName, u"Scene 12");
    EXPECT_TRUE(record->hasSize && record->hasModifiedTime);
    EXPECT_FALSE(record->hasLockFile);
    EXPECT_FALSE(records.IsStale(sceneRow.get()));
}

TEST_F(RowRecordsTest, AProjectUnderAClosedFolderIsOnlyMarkedStale) {
    EXPECT_EQ(records.Update(sceneRow.get(), scene, false, false, Columns::kNameColumn),
              Outcome::kMarkedStale);
    ASSERT_TRUE(records.Find(sceneRow.get(), scene));
    EXPECT_TRUE(records.Find(sceneRow.get(), scene)->displayName.empty()); // nothing read
    EXPECT_TRUE(records.IsStale(sceneRow.get()));
    // Its folder opens: now it is read.
    EXPECT_EQ(records.Update(sceneRow.get(), scene, true, true, Columns::kNameColumn),
              Outcome::kRead);
    EXPECT_FALSE(records.IsStale(sceneRow.get()));
}

TEST_F(RowRecordsTest, ARecordThatIsCurrentIsNotReadAgainWhenOnlyStaleOnesAre) {
    records.Update(sceneRow.get(), scene, false, true, Columns::kNameColumn);
    EXPECT_EQ(records.Update(sceneRow.get(), scene, true, true, Columns::kNameColumn),
              Outcome::kNothing);
    // A new record counts as stale.
    const auto other = std::make_shared<host::UI_TreeRow>(false);
    EXPECT_EQ(records.Update(other.get(), scene, true, true, Columns::kNameColumn), Outcome::kRead);
}

TEST_F(RowRecordsTest, SortingARowNotShownYetReadsOnlyTheSortFieldAndLeavesItStale) {
    const host::WideString key = records.SortKey(sceneRow.get(), scene, Columns::kSizeColumn);
    const auto record = records.Find(sceneRow.get(), scene);
    ASSERT_TRUE(record);
    EXPECT_TRUE(record->hasSize);
    EXPECT_FALSE(record->hasModifiedTime);
    EXPECT_TRUE(record->displayName.empty());
    EXPECT_EQ(key, record->GetSortString(Columns::kSizeColumn));
    EXPECT_TRUE(records.IsStale(sceneRow.get()));
}

TEST_F(RowRecordsTest, SortingAStaleRowByNameReadsItsNameAndLeavesItStale) {
    records.Update(sceneRow.get(), scene, false, false, Columns::kNameColumn);
    const host::WideString key = records.SortKey(sceneRow.get(), scene, Columns::kNameColumn);
    ASSERT_TRUE(records.Find(sceneRow.get(), scene));
    EXPECT_EQ(records.Find(sceneRow.get(), scene)->displayName, DisplayNameOf(scene));
    EXPECT_EQ(key, records.Find(sceneRow.get(), scene)->GetSortString(Columns::kNameColumn));
    EXPECT_FALSE(records.Find(sceneRow.get(), scene)->hasLockFile);
    EXPECT_TRUE(records.IsStale(sceneRow.get()));
}

TEST_F(RowRecordsTest, OtherRowsSortByTheirNameAndByNothingInOtherColumns) {
    EXPECT_EQ(records.SortKey(editRow.get(), edit, Columns::kNameColumn), u"Edit");
    EXPECT_EQ(records.SortKey(editRow.get(), edit, Columns::kSizeColumn), u"");
    EXPECT_EQ(records.Count(), 0u);
}

TEST_F(RowRecordsTest, ARecordUpToDateGivesEveryKeyWithoutItsPath) {
    ASSERT_EQ(records.Update(sceneRow.get(), scene, false, true, Columns::kNameColumn),
              Outcome::kRead);
    for (const Columns::ColumnID column : {Columns::kLockColumn, Columns::kModifiedColumn,
                                           Columns::kCreatedColumn, Columns::kSizeColumn}) {
        const auto known = records.KnownSortKey(sceneRow.get(), column);
        ASSERT_TRUE(known) << column;
        EXPECT_EQ(*known, records.SortKey(sceneRow.get(), scene, column)) << column;
    }
    EXPECT_EQ(*records.KnownSortKey(sceneRow.get(), Columns::kLockColumn),
              host::WideString(Columns::kUnlockedSortKey));
    EXPECT_EQ(*records.KnownSortKey(sceneRow.get(), Columns::kSizeColumn),
              host::ToUTF16(std::to_string(fs::file_size(root / "Scene 12.mvproj"))));
    // The Name column has its own key; rows without a record, or with one that is stale, are
    // left to SortKey, which reads what they need.
    EXPECT_FALSE(records.KnownSortKey(sceneRow.get(), Columns::kNameColumn));
    EXPECT_FALSE(records.KnownSortKey(editRow.get(), Columns::kSizeColumn));
    const auto stale = std::make_shared<host::UI_TreeRow>(false);
    records.Update(stale.get(), scene, false, false, Columns::kNameColumn);
    ASSERT_TRUE(records.IsStale(stale.get()));
    EXPECT_FALSE(records.KnownSortKey(stale.get(), Columns::kSizeColumn));
}

TEST_F(RowRecordsTest, AForgottenRowHasNoRecordAndClearingForgetsEveryRow) {
    records.Update(sceneRow.get(), scene, false, true, Columns::kNameColumn);
    const auto other = std::make_shared<host::UI_TreeRow>(false);
    records.Update(other.get(), scene, false, false, Columns::kNameColumn);
    records.Forget(sceneRow.get());
    EXPECT_FALSE(records.Find(sceneRow.get(), scene));
    EXPECT_TRUE(records.Find(other.get(), scene));
    records.Clear();
    EXPECT_EQ(records.Count(), 0u);
    EXPECT_FALSE(records.IsStale(other.get()));
}

TEST_F(RowRecordsTest, SortingByNameReadsNothingAndMakesNoRecord) {
    EXPECT_EQ(records.NameKey(sceneRow.get(), u"Scene 12.mvproj"), u"Scene 12");
    EXPECT_EQ(records.NameKey(editRow.get(), u"Edit"), u"Edit");
    EXPECT_EQ(records.Count(), 0u);
}

TEST_F(RowRecordsTest, AHolderNamedOnManyRecordsIsKeptOnceAndEveryRecordGivesItBack) {
    std::vector<std::shared_ptr<host::UI_TreeRow>> rows;
    std::vector<host::WideString> paths;
    for (int i = 0; i < 3; ++i) {
        const fs::path project = root / ("Reel " + std::to_string(i) + ".mvproj");
        testsupport::WriteProject(project);
        const auto lock = host::CreateProjectLockFile(project.string(), "Ben Okafor", "elsewhere");
        ASSERT_NE(lock, nullptr);
        rows.push_back(std::make_shared<host::UI_TreeRow>(false));
        paths.push_back(W(project));
        EXPECT_EQ(
            records.Update(rows.back().get(), paths.back(), false, true, Columns::kNameColumn),
            Outcome::kRead);
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const auto record = records.Find(rows[i].get(), paths[i]);
        ASSERT_TRUE(record);
        EXPECT_EQ(record->lockOwner, u"Ben Okafor");
        EXPECT_TRUE(record->hasLockFile);
        EXPECT_FALSE(record->lockOwnedByCurrentUser);
        EXPECT_EQ(record->path, paths[i]);
        EXPECT_TRUE(records.HasLockFile(rows[i].get()));
        EXPECT_FALSE(records.IsLockOwnedByCurrentUser(rows[i].get()));
    }
    // Its project read again without the lock: nobody holds it, the others keep theirs.
    fs::remove(host::ToUTF8(paths[1]) + ".lock");
    records.Update(rows[1].get(), paths[1], false, true, Columns::kNameColumn);
    EXPECT_TRUE(records.Find(rows[1].get(), paths[1])->lockOwner.empty());
    EXPECT_EQ(records.Find(rows[2].get(), paths[2])->lockOwner, u"Ben Okafor");
}

} // namespace
