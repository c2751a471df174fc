// Where items put in the trash came from, and putting them back.
#include "Marvane/application/TrashRecords.h"
#include "FileBytes.h"
#include "TemporaryFolder.h"
#include "host/FileServices.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

class TrashRecordsTest : public ::testing::Test {
protected:
    TrashRecordsTest() {
        fs::create_directories(production / "Dailies");
        fs::create_directories(trash);
        std::ofstream(production / "Dailies" / "Shot 1.mvproj") << "shot one\n";
    }
    // Moves the item into the trash as the panel does, and records it.
    fs::path Trash(const fs::path& item) const {
        const fs::path inTrash = trash / item.filename();
        fs::rename(item, inTrash);
        EXPECT_TRUE(host::RecordTrashed(production, item, inTrash, "Ana Ruiz"));
        return inTrash;
    }
    void WriteRecord(const std::string& name, const std::string& json) const {
        fs::create_directories(host::TrashRecordFile(production, name).parent_path());
        std::ofstream(host::TrashRecordFile(production, name)) << json;
    }

    const testsupport::TemporaryFolder temporary{"trash-records"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path trash = production / "Trash";
    const fs::path shot = production / "Dailies" / "Shot 1.mvproj";
};

TEST_F(TrashRecordsTest, AnItemPutInTheTrashSaysWhereItCameFromAndWhoPutItThere) {
    Trash(shot);
    const auto record = host::FindTrashRecord(production, "Shot 1.mvproj");
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->from, fs::path("Dailies/Shot 1.mvproj"));
    EXPECT_EQ(record->by, "Ana Ruiz");
    EXPECT_EQ(record->when.size(), 20u) << record->when; // 2026-11-27T11:52:03Z
    EXPECT_EQ(host::FindTrashRecord(production, "Shot 2.mvproj"), std::nullopt);
}

TEST_F(TrashRecordsTest, RestorePutsTheItemBackAndForgetsTheRecord) {
    const fs::path inTrash = Trash(shot);
    const host::TrashRestoreResult result = host::RestoreFromTrash(production, inTrash);
    ASSERT_TRUE(result.restored.has_value()) << result.refusal;
    EXPECT_EQ(*result.restored, shot);
    EXPECT_EQ(testsupport::ReadBytes(shot), "shot one\n");
    EXPECT_FALSE(fs::exists(inTrash));
    EXPECT_FALSE(fs::exists(host::TrashRecordFile(production, "Shot 1.mvproj")));
}

TEST_F(TrashRecordsTest, RestoreNeverReplacesAnItemThatTookTheName) {
    const fs::path inTrash = Trash(shot);
    std::ofstream(shot) << "a new shot one\n";
    const host::TrashRestoreResult result = host::RestoreFromTrash(production, inTrash);
    EXPECT_FALSE(result.restored.has_value());
    EXPECT_EQ(result.refusal, "\"Shot 1.mvproj\" cannot be put back: \"Dailies\" already holds an "
                              "item named \"Shot 1.mvproj\".");
    EXPECT_EQ(testsupport::ReadBytes(shot), "a new shot one\n");
    EXPECT_EQ(testsupport::ReadBytes(inTrash), "shot one\n");
    EXPECT_TRUE(host::FindTrashRecord(production, "Shot 1.mvproj").has_value());
}

TEST_F(TrashRecordsTest, RestoreIntoAFolderThatIsGoneIsRefused) {
    const fs::path inTrash = Trash(shot);
    fs::remove_all(production / "Dailies");
    const host::TrashRestoreResult result = host::RestoreFromTrash(production, inTrash);
    EXPECT_FALSE(result.restored.has_value());
    EXPECT_NE(result.refusal.find("the folder it came from, \"Dailies\", is not there any more"),
              std::string::npos)
        << result.refusal;
    EXPECT_TRUE(fs::exists(inTrash));
    EXPECT_FALSE(fs::exists(production / "Dailies"));
}

TEST_F(TrashRecordsTest, KeepBothPutsTheItemBesideTheOneThatTookItsName) {
    const fs::path inTrash = Trash(shot);
    std::ofstream(shot) << "a new shot one\n";
    const host::TrashRestoreResult taken = host::RestoreFromTrash(production, inTrash);
    EXPECT_EQ(taken.why, host::RestoreRefusal::kNameTaken);
    const host::TrashRestoreResult result =
        host::RestoreFromTrash(production, inTrash, host::RestoreChoice::kKeepBoth);
    ASSERT_TRUE(result.restored.has_value()) << result.refusal;
    EXPECT_EQ(*result.restored, production / "Dailies" / "Shot 1_1.mvproj");
    EXPECT_EQ(testsupport::ReadBytes(production / "Dailies" / "Shot 1_1.mvproj"), "shot one\n");
    EXPECT_EQ(testsupport::ReadBytes(shot), "a new shot one\n");
    EXPECT_FALSE(fs::exists(inTrash));
}

TEST_F(TrashRecordsTest, AFolderThatIsGoneIsMadeAgainOnlyWhenAskedAndNeverOverAFile) {
    const fs::path inTrash = Trash(shot);
    fs::remove_all(production / "Dailies");
    std::ofstream(production / "Dailies") << "a file took the folder's name\n";
    EXPECT_EQ(host::RestoreFromTrash(production, inTrash, host::RestoreChoice::kMakeTheFolder).why,
              host::RestoreRefusal::kFolderGone);
    EXPECT_EQ(testsupport::ReadBytes(production / "Dailies"), "a file took the folder's name\n");
    fs::remove(production / "Dailies");
    EXPECT_EQ(host::RestoreFromTrash(production, inTrash).why, host::RestoreRefusal::kFolderGone);
    const host::TrashRestoreResult result =
        host::RestoreFromTrash(production, inTrash, host::RestoreChoice::kMakeTheFolder);
    ASSERT_TRUE(result.restored.has_value()) << result.refusal;
    EXPECT_EQ(testsupport::ReadBytes(shot), "shot one\n");
}

TEST_F(TrashRecordsTest, EveryMoveIntoAProductionsTrashIsRecordedAndEveryMoveOutForgotten) {
    fs::create_directories(production / ".marvane");
    const auto move = [](const fs::path& from, const fs::path& to) {
        return host::Move(host::ToUTF16(from.string()), host::ToUTF16(to.string()));
    };
    ASSERT_GE(move(shot, trash / "Shot 1.mvproj"), 0);
    const auto record = host::FindTrashRecord(production, "Shot 1.mvproj");
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(record->from, fs::path("Dailies/Shot 1.mvproj"));
    ASSERT_GE(move(trash / "Shot 1.mvproj", production / "Shot 1.mvproj"), 0);
    EXPECT_EQ(host::FindTrashRecord(production, "Shot 1.mvproj"), std::nullopt);
    // A folder named Trash that is no production's trash keeps no records.
    const fs::path loose = temporary.Path() / "Loose";
    fs::create_directories(loose / "Trash");
    std::ofstream(loose / "Take.mvproj") << "take\n";
    ASSERT_GE(move(loose / "Take.mvproj", loose / "Trash" / "Take.mvproj"), 0);
    EXPECT_FALSE(fs::exists(loose / ".marvane"));
}

TEST_F(TrashRecordsTest, AnItemWithoutARecordOrLockedStaysInTheTrash) {
    std::ofstream(trash / "Old Cut.mvproj") << "old\n";
    const host::TrashRestoreResult unknown =
        host::RestoreFromTrash(production, trash / "Old Cut.mvproj");
    EXPECT_FALSE(unknown.restored.has_value());
    EXPECT_NE(unknown.refusal.find("no record of where it came from"), std::string::npos);
    const fs::path inTrash = Trash(shot);
    std::ofstream(trash / "Shot 1.mvproj.lock") << "Ben Okafor\n";
    const host::TrashRestoreResult locked = host::RestoreFromTrash(production, inTrash);
    EXPECT_FALSE(locked.restored.has_value());
    EXPECT_NE(locked.refusal.find("while someone holds its lock"), std::string::npos);
    EXPECT_FALSE(fs::exists(shot));
}

TEST_F(TrashRecordsTest, ARecordThatLeadsOutOfTheProductionOrNamesAnotherItemIsNotTaken) {
    std::ofstream(trash / "Escape.mvproj") << "x\n";
    for (const std::string& from :
         {std::string("../outside/Escape.mvproj"), std::string("Dailies/../../Escape.mvproj"),
          std::string("/etc/Escape.mvproj"), std::string("")}) {
        WriteRecord("Escape.mvproj",
                    R"({"name": "Escape.mvproj", "from": ")" + from + R"(", "by": "x"})");
        EXPECT_EQ(host::FindTrashRecord(production, "Escape.mvproj"), std::nullopt) << from;
        EXPECT_FALSE(host::RestoreFromTrash(production, trash / "Escape.mvproj").restored) << from;
    }
    WriteRecord("Escape.mvproj", R"({"name": "Other.mvproj", "from": "Escape.mvproj"})");
    EXPECT_EQ(host::FindTrashRecord(production, "Escape.mvproj"), std::nullopt);
    WriteRecord("Escape.mvproj", "not json at all");
    EXPECT_EQ(host::FindTrashRecord(production, "Escape.mvproj"), std::nullopt);
    EXPECT_FALSE(fs::exists(temporary.Path() / "outside"));
    EXPECT_TRUE(fs::exists(trash / "Escape.mvproj"));
}

TEST_F(TrashRecordsTest, NoRecordIsWrittenThroughALinkedProductionFolder) {
    const fs::path elsewhere = temporary.Path() / "Elsewhere";
    fs::create_directories(elsewhere);
    fs::create_directory_symlink(elsewhere, production / ".marvane");
    fs::rename(shot, trash / "Shot 1.mvproj");
    EXPECT_FALSE(host::RecordTrashed(production, shot, trash / "Shot 1.mvproj", "Ana Ruiz"));
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

} // namespace
