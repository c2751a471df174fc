// Emptying the production's trash: for good, but never a project someone holds.
#include "Marvane/application/TrashEmptying.h"
#include "FileBytes.h"
#include "Marvane/application/TrashRecords.h"
#include "Marvane/fileservices/CreationRecords.h"
#include "TemporaryFolder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class TrashEmptyingTest : public ::testing::Test {
protected:
    const testsupport::TemporaryFolder temporary{"trash-emptying"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path trash = production / "Trash";
};

TEST_F(TrashEmptyingTest, EverythingGoesButHeldProjectsAndWhatLinksLeadTo) {
    fs::create_directories(trash / "Reel" / "Cuts");
    fs::create_directories(trash / "Loose");
    fs::create_directories(temporary.Path() / "Outside");
    std::ofstream(trash / "Old Cut.mvproj") << "old\n";
    std::ofstream(trash / "Held.mvproj") << "held\n";
    std::ofstream(trash / "Held.mvproj.lock") << "Ben Okafor\n";
    std::ofstream(trash / "Reel" / "Cuts" / "Inner.mvproj") << "inner\n";
    std::ofstream(trash / "Reel" / "Cuts" / "Inner.mvproj.lock") << "Ben Okafor\n";
    std::ofstream(trash / "Loose" / "notes.txt") << "notes\n";
    std::ofstream(temporary.Path() / "Outside" / "Keep.mvproj") << "keep\n";
    fs::create_directory_symlink(temporary.Path() / "Outside", trash / "Link");
    ASSERT_TRUE(host::RecordTrashed(production, production / "Old Cut.mvproj",
                                    trash / "Old Cut.mvproj", "Ana Ruiz"));

    EXPECT_EQ(host::TrashItems(production).size(), 6u);
    host::EmptyTrashResult result = host::EmptyTrash(production);
    std::sort(result.keptLocked.begin(), result.keptLocked.end());
    EXPECT_EQ(result.removed, 3u); // Old Cut, Loose, Link
    EXPECT_EQ(result.keptLocked, (std::vector<std::string>{"Held.mvproj", "Reel"}));
    EXPECT_TRUE(result.failed.empty());
    EXPECT_FALSE(fs::exists(trash / "Old Cut.mvproj"));
    EXPECT_FALSE(fs::exists(trash / "Loose"));
    EXPECT_FALSE(fs::exists(fs::symlink_status(trash / "Link")));
    EXPECT_EQ(testsupport::ReadBytes(temporary.Path() / "Outside" / "Keep.mvproj"), "keep\n");
    EXPECT_TRUE(fs::exists(trash / "Held.mvproj.lock"));
    EXPECT_TRUE(fs::exists(trash / "Reel" / "Cuts" / "Inner.mvproj"));
    EXPECT_EQ(host::FindTrashRecord(production, "Old Cut.mvproj"), std::nullopt);
}

TEST_F(TrashEmptyingTest, TheTrashsRecordOfCreationTimesIsNoItemAndGoesWithTheLastOne) {
    fs::create_directories(trash);
    std::ofstream(trash / "Old Cut.mvproj") << "old\n";
    std::ofstream(trash / host::kCreationRecordName)
        << "marvane-created 1\n1 2 3 4 5 Old Cut.mvproj\n";
    EXPECT_EQ(host::TrashItems(production), std::vector<fs::path>{trash / "Old Cut.mvproj"});
    EXPECT_EQ(host::EmptyTrash(production).removed, 1u);
    EXPECT_TRUE(fs::is_empty(trash));
}

TEST_F(TrashEmptyingTest, ATrashThatIsALinkIsNotEmptiedThrough) {
    fs::create_directories(production);
    fs::create_directories(temporary.Path() / "Elsewhere");
    std::ofstream(temporary.Path() / "Elsewhere" / "Scene.mvproj") << "scene\n";
    fs::create_directory_symlink(temporary.Path() / "Elsewhere", trash);
    EXPECT_TRUE(host::TrashItems(production).empty());
    EXPECT_EQ(host::EmptyTrash(production).removed, 0u);
    EXPECT_TRUE(fs::exists(temporary.Path() / "Elsewhere" / "Scene.mvproj"));
}

} // namespace
