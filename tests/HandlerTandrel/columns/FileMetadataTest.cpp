#include "columns/FileMetadata.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "columns/SortString.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel::Columns;

// Sets a file's modification time to seconds + nanoseconds since 1970 (seconds may be below 0).
bool SetModified(const fs::path& file, long long seconds, long nanoseconds) {
    timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(seconds);
    times[1].tv_nsec = nanoseconds;
    return ::utimensat(AT_FDCWD, file.c_str(), times, 0) == 0;
}

class FileMetadataTest : public ::testing::Test {
protected:
    void SetUp() override {
        scene = testsupport::WriteProject(root / "Scene 12.mvproj");
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::HostSession::Instance().userOverride.reset();
    }
    static host::WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }

    const testsupport::TemporaryFolder temporary{"metadata"};
    const fs::path root = temporary.Path();
    fs::path scene;
};

constexpr std::array<ColumnID, 5> kAllColumns = {kNameColumn, kLockColumn, kModifiedColumn,
                                                 kCreatedColumn, kSizeColumn};

TEST_F(FileMetadataTest, ANewRecordHasItsPathAndNothingElse) {
    const FileMetadata record(W(scene));
    EXPECT_EQ(record.path, W(scene));
    EXPECT_TRUE(record.displayName.empty());
    EXPECT_FALSE(record.hasLockFile || record.lockOwnedByCurrentUser || record.hasModifiedTime ||
                 record.hasCreatedTime || record.hasSize);
    EXPECT_EQ(record.size, 0u);
}

TEST_F(FileMetadataTest, ARecordWithAnEmptyPathShowsAndSortsByNothingInEveryColumn) {
    FileMetadata record(u"");
    record.Update(true, kNameColumn);
    for (const ColumnID column : kAllColumns) {
        EXPECT_TRUE(record.GetDisplayString(column).empty()) << column;
        EXPECT_TRUE(record.GetSortString(column).empty()) << column; // no "__UNLOCKED" either
    }
}

TEST_F(FileMetadataTest, AProjectWithoutLockFileSortsAsUnlockedAndShowsNoHolder) {
    FileMetadata record(W(scene));
    record.Update(true, kNameColumn);
    EXPECT_FALSE(record.hasLockFile);
    EXPECT_EQ(record.GetDisplayString(kLockColumn), u"");
    EXPECT_EQ(record.GetSortString(kLockColumn), u"__UNLOCKED");
}

TEST_F(FileMetadataTest, EveryFieldIsFilledFromDiskAndTheLockFile) {
    ASSERT_TRUE(
        host::CreateProjectLockFile(scene.string(), "Ben Okafor", "suite-2")->IsOwnedByCaller());
    ASSERT_TRUE(SetModified(scene, 1'700'000'000, 0));
    FileMetadata record(W(scene));
    record.Update(true, kNameColumn);
    EXPECT_EQ(record.GetDisplayString(kNameColumn), u"Scene 12");
    EXPECT_EQ(record.GetSortString(kNameColumn), u"Scene 12");
    EXPECT_TRUE(record.hasLockFile);
    EXPECT_FALSE(record.lockOwnedByCurrentUser);
    EXPECT_EQ(record.GetDisplayString(kLockColumn), u"Ben Okafor");
    EXPECT_EQ(record.GetSortString(kLockColumn), u"Ben Okafor");
    EXPECT_EQ(record.modifiedTime, 1'700'000'000);
    EXPECT_EQ(record.GetSortString(kModifiedColumn), u"1700000000");
    EXPECT_FALSE(record.GetDisplayString(kModifiedColumn).empty());
    EXPECT_TRUE(record.hasCreatedTime);
    EXPECT_EQ(record.size, fs::file_size(scene));
    EXPECT_EQ(record.GetSortString(kSizeColumn),
              host::ToUTF16(std::to_string(fs::file_size(scene))));
    EXPECT_EQ(record.GetDisplayString(kSizeColumn),
              host::ToUTF16(std::to_string(fs::file_size(scene)) + " bytes"));
}

TEST_F(FileMetadataTest, OurOwnLockIsOwnedByTheCurrentUser) {
    ASSERT_TRUE(
        host::CreateProjectLockFile(scene.string(), "Ana Ruiz", "suite-1")->IsOwnedByCaller());
    FileMetadata record(W(scene));
    record.Update(true, kNameColumn);
    EXPECT_TRUE(record.hasLockFile);
    EXPECT_TRUE(record.lockOwnedByCurrentUser);
    EXPECT_EQ(record.lockOwner, u"Ana Ruiz");
}

TEST_F(FileMetadataTest, ADeletedProjectStillRefreshesNameAndLockAndKeepsItsLastDatesAndSize) {
    FileMetadata record(W(scene));
    record.Update(true, kNameColumn);
    const auto size = record.size;
    const auto modified = record.modifiedTime;
    ASSERT_TRUE(
        host::CreateProjectLockFile(scene.string(), "Ben Okafor", "suite-2")->IsOwnedByCaller());
    fs::remove(scene);
    record.Update(true, kNameColumn);
    EXPECT_EQ(record.displayName, u"Scene 12");
    EXPECT_EQ(record.lockOwner, u"Ben Okafor");
    EXPECT_TRUE(record.hasSize);
    EXPECT_EQ(record.size, size);
    EXPECT_EQ(record.modifiedTime, modified);
}

TEST_F(FileMetadataTest, TimesAreTruncatedTowardZero) {
    ASSERT_TRUE(SetModified(scene, 1, 999'999'900)); // 1.9999999 s
    FileMetadata record(W(scene));
    record.Update(false, kModifiedColumn);
    EXPECT_EQ(record.modifiedTime, 1);
    ASSERT_TRUE(SetModified(scene, -3, 500'000'000)); // -2.5 s
    record.Update(false, kModifiedColumn);
    EXPECT_EQ(record.modifiedTime, -2);
    EXPECT_EQ(record.GetSortString(kModifiedColumn), u"-2");
}

TEST_F(FileMetadataTest, SortingBySizePutsNineBytesBeforeTen) {
    const auto nine = root / "Nine.mvproj";
    const auto ten = root / "Ten.mvproj";
    std::ofstream(nine) << std::string(9, 'x');
    std::ofstream(ten) << std::string(10, 'x');
    FileMetadata small(W(nine));
    FileMetadata large(W(ten));
    small.Update(false, kSizeColumn);
    large.Update(false, kSizeColumn);
    EXPECT_TRUE(
        SortStringIsLess(small.GetSortString(kSizeColumn), large.GetSortString(kSizeColumn)));
    EXPECT_FALSE(
        SortStringIsLess(large.GetSortString(kSizeColumn), small.GetSortString(kSizeColumn)));
}

TEST_F(FileMetadataTest, AHiddenRowSortedByDateCreatedRefreshesOnlyThatField) {
    FileMetadata record(W(scene));
    record.Update(false, kCreatedColumn);
    EXPECT_TRUE(record.hasCreatedTime);
    EXPECT_FALSE(record.hasModifiedTime);
    EXPECT_FALSE(record.hasSize);
    EXPECT_TRUE(record.displayName.empty());
    // The file and its lock change; only the created time is read again, and no lock file.
    ASSERT_TRUE(
        host::CreateProjectLockFile(scene.string(), "Ben Okafor", "suite-2")->IsOwnedByCaller());
    const std::uint64_t readsBefore = host::LockFileReadCount();
    record.Update(false, kCreatedColumn);
    EXPECT_EQ(host::LockFileReadCount(), readsBefore);
    EXPECT_FALSE(record.hasLockFile);
    EXPECT_EQ(record.GetDisplayString(kLockColumn), u"");
    EXPECT_FALSE(record.hasModifiedTime);
}

TEST_F(FileMetadataTest, APerColumnRefreshOfDatesOrSizeReadsNoLockFile) {
    FileMetadata record(W(scene));
    const std::uint64_t before = host::LockFileReadCount();
    for (const ColumnID column : {kModifiedColumn, kCreatedColumn, kSizeColumn, kNameColumn}) {
        record.Update(false, column);
    }
    EXPECT_EQ(host::LockFileReadCount(), before);
    record.Update(false, kLockColumn);
    EXPECT_EQ(host::LockFileReadCount(), before + 1);
}

TEST_F(FileMetadataTest, AnUnknownColumnHasNoText) {
    FileMetadata record(W(scene));
    record.Update(true, kNameColumn);
    EXPECT_TRUE(record.GetDisplayString(host::FourCharCode("Zzzz")).empty());
    EXPECT_TRUE(record.GetSortString(host::FourCharCode("Zzzz")).empty());
}

TEST(ColumnIDs, AreFourCharacterCodesPackedBigEndian) {
    EXPECT_EQ(kNameColumn, 0x4E616D65u);
    EXPECT_EQ(kLockColumn, 0x4C6F636Bu);
    EXPECT_EQ(kModifiedColumn, 0x4D6F6444u);
    EXPECT_EQ(kCreatedColumn, 0x43727444u);
    EXPECT_EQ(kSizeColumn, 0x53697A65u);
}

TEST(SortStringIsLess, ShotTwoComesBeforeShotTenAndCaseDoesNotCount) {
    EXPECT_TRUE(SortStringIsLess(u"Shot 2", u"Shot 10"));
    EXPECT_FALSE(SortStringIsLess(u"Shot 10", u"Shot 2"));
    EXPECT_FALSE(SortStringIsLess(u"alpha", u"Alpha"));
    EXPECT_FALSE(SortStringIsLess(u"Alpha", u"alpha"));
}

TEST(SortStringIsLess, FoldersAndProjectsMixByNameAlone) {
    std::vector<host::WideString> keys = {u"Scene 2", u"Edit", u"Audio", u"Scene 10"};
    std::sort(keys.begin(), keys.end(), SortStringIsLess);
    EXPECT_EQ(keys, (std::vector<host::WideString>{u"Audio", u"Edit", u"Scene 2", u"Scene 10"}));
}

TEST(SortStringIsLess, TheTrashComesLastWhateverItsAsciiCase) {
    EXPECT_FALSE(SortStringIsLess(u"Trash", u"Zebra"));
    EXPECT_TRUE(SortStringIsLess(u"Zebra", u"TRASH"));
    EXPECT_FALSE(SortStringIsLess(u"tRaSh", u"Trash"));
    EXPECT_FALSE(SortStringIsLess(u"Trash", u"trash"));
    EXPECT_TRUE(SortStringIsLess(u"", u"Trash"));
}

TEST(SortStringIsLess, ANameDifferingFromTheTrashOnlyInANonAsciiLetterIsNotTheTrash) {
    // "Trásh" is not the trash: it sorts by the natural comparison, before "Zebra".
    EXPECT_TRUE(SortStringIsLess(u"Tr\u00e1sh", u"Zebra"));
    EXPECT_TRUE(SortStringIsLess(u"Tr\u00e1sh", u"Trash"));
}

TEST(SortStringIsLess, UnlockedProjectsSortAmongHoldersAsOneKey) {
    std::vector<host::WideString> keys = {u"Zoe", u"__UNLOCKED", u"Ana Ruiz", u"__UNLOCKED"};
    std::sort(keys.begin(), keys.end(), SortStringIsLess);
    // Letters compare as lower case, and "_" comes before "a": the unlocked block comes first.
    EXPECT_EQ(keys,
              (std::vector<host::WideString>{u"__UNLOCKED", u"__UNLOCKED", u"Ana Ruiz", u"Zoe"}));
    EXPECT_FALSE(SortStringIsLess(u"__UNLOCKED", u"__unlocked"));
}

TEST(SortStringIsLess, AnEmptyKeySortsBeforeEveryOther) {
    EXPECT_TRUE(SortStringIsLess(u"", u"0"));
    EXPECT_FALSE(SortStringIsLess(u"", u""));
}

} // namespace

#include "Marvane/core/ProfilerReport.h"

namespace {

TEST(HotPaths, SortingAndRefreshingAreTimedUnderTheirNames) {
    host::ResetProfiler();
    host::SetProfilerEnabled(true);
    HandlerTandrel::Columns::SortStringIsLess(u"a", u"b");
    HandlerTandrel::Columns::FileMetadata record(u"/nonexistent/Scene.mvproj");
    record.Update(true, HandlerTandrel::Columns::kNameColumn);
    host::SetProfilerEnabled(false);
    std::vector<std::string> labels;
    for (const auto& entry : host::ProfilerSnapshot()) {
        labels.push_back(entry.label);
    }
    host::ResetProfiler();
    EXPECT_NE(
        std::find(labels.begin(), labels.end(), "HandlerTandrel::Columns::SortStringIsLess()"),
        labels.end());
    EXPECT_NE(std::find(labels.begin(), labels.end(),
                        "HandlerTandrel::Columns::FileMetadata::FileMetadata()"),
              labels.end());
}

TEST_F(FileMetadataTest, AListingGivesDatesAndSizeAndALockNotListedIsNone) {
    FileMetadata record(W(scene));
    FileMetadata::Listed listed;
    listed.modifiedTicks = 19'999'999; // 1.9999999 s: 1
    listed.createdTicks = -25'000'000; // -2.5 s: -2, toward zero
    listed.size = 4'321;
    listed.lockListed = false;
    // A lock made since the listing is not looked for: the listing said there was none.
    ASSERT_NE(host::CreateProjectLockFile(scene.string(), "Ben Okafor", "elsewhere"), nullptr);
    record.UpdateFromListing(listed);
    EXPECT_EQ(record.displayName, u"Scene 12");
    EXPECT_FALSE(record.hasLockFile);
    EXPECT_TRUE(record.lockOwner.empty());
    EXPECT_EQ(record.modifiedTime, 1);
    EXPECT_EQ(record.createdTime, -2);
    EXPECT_EQ(record.size, 4'321u);
    EXPECT_TRUE(record.hasModifiedTime && record.hasCreatedTime && record.hasSize);
    // Listed: it is read.
    listed.lockListed = true;
    record.UpdateFromListing(listed);
    EXPECT_TRUE(record.hasLockFile);
    EXPECT_EQ(record.lockOwner, u"Ben Okafor");
    EXPECT_FALSE(record.lockOwnedByCurrentUser);
}

TEST_F(FileMetadataTest, ALockListedButGoneSinceIsNone) {
    FileMetadata record(W(scene));
    FileMetadata::Listed listed;
    listed.lockListed = true;
    record.UpdateFromListing(listed);
    EXPECT_FALSE(record.hasLockFile);
    EXPECT_TRUE(record.lockOwner.empty());
}

} // namespace
