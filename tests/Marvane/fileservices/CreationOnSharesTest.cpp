// "Date Created" of a project saved again and again on the tests' real shares (sshfs over our
// own SSH server, SMB from our own Samba server through a user-space client), neither of which
// keeps extended attributes: the first creation time stays, in the folder's record, for this
// editor and for another one reading the share afresh.
#include "Marvane/fileservices/CreationRecords.h"
#include "Marvane/fileservices/FileTimes.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/KeptCreation.h"
#include "Marvane/mediabrowser/EntryStats.h"
#include "host/FileServices.h"

#include "Shares.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

host::WideString W(const fs::path& path) {
    return host::ToUTF16(path.string());
}

// The creation time as the panel's folder listing gives it.
std::int64_t ListedCreation(const fs::path& file) {
    const std::vector<host::EntryStatus> listed =
        host::StatEntries({file.string()}, host::Asking::OneAfterTheOther);
    EXPECT_TRUE(listed.front().known) << file;
    return listed.front().keptCreated.value_or(host::CreatedTicksOf(listed.front().status));
}

class CreationOnSharesTest : public testsupport::ShareTest {
protected:
    void SetUp() override {
        testsupport::ShareTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        host::ForgetReadCreationRecords();
        project = mount / "Act 1" / "Scene 12.mvproj";
        fs::create_directories(project.parent_path());
        std::ofstream(project) << "first\n";
        made = host::FileInfo(W(project)).Created();
        ASSERT_NE(made, 0);
    }
    void TearDown() override {
        host::ForgetReadCreationRecords();
        testsupport::ShareTest::TearDown();
    }
    // Saves as the document manager does, a second later: these shares give times in seconds.
    void SaveLater(const std::string& text) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        std::string error;
        ASSERT_TRUE(host::ReplaceFile(project, text, error)) << error;
    }

    fs::path project; // on the share, once it is mounted
    std::int64_t made = 0;
};

TEST_P(CreationOnSharesTest, ASavedProjectKeepsItsFirstCreationTimeAcrossSaves) {
    for (int save = 1; save <= 3; ++save) {
        SaveLater("save " + std::to_string(save) + "\n");
        EXPECT_EQ(ListedCreation(project), made) << "after save " << save;
    }
    EXPECT_EQ(host::KeptCreatedTicks(project.string()), std::nullopt)
        << "the share kept the attribute: the record was not needed";
    EXPECT_TRUE(fs::is_regular_file(exported / "Act 1" / host::kCreationRecordName));
    // Another editor's copy, which has read nothing yet, reads the same.
    host::ForgetReadCreationRecords();
    EXPECT_EQ(host::FileInfo(W(project)).Created(), made);
    EXPECT_EQ(ListedCreation(project), made);
}

TEST_P(CreationOnSharesTest, AProjectMovedOrRenamedOnTheShareKeepsItsCreationTime) {
    SaveLater("saved\n");
    fs::create_directories(mount / "Act 2");
    const fs::path renamed = mount / "Act 1" / "Scene 12 final.mvproj";
    ASSERT_EQ(host::Move(W(project), W(renamed)), 0);
    EXPECT_EQ(host::FileInfo(W(renamed)).Created(), made);
    const fs::path moved = mount / "Act 2" / "Scene 12 final.mvproj";
    ASSERT_EQ(host::Move(W(renamed), W(moved)), 0);
    host::ForgetReadCreationRecords();
    EXPECT_EQ(host::FileInfo(W(moved)).Created(), made);
    // A folder renamed takes its record along.
    project = moved;
    SaveLater("saved in act 2\n");
    ASSERT_EQ(host::Move(W(mount / "Act 2"), W(mount / "Act Two")), 0);
    host::ForgetReadCreationRecords();
    EXPECT_EQ(host::FileInfo(W(mount / "Act Two" / "Scene 12 final.mvproj")).Created(), made);
}

TEST_P(CreationOnSharesTest, AProjectWrittenByAnotherProgramShowsItsOwnTimeAgain) {
    SaveLater("saved\n");
    ASSERT_EQ(host::FileInfo(W(project)).Created(), made);
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    // Written on the server, not by a save of ours.
    std::ofstream(exported / "Act 1" / "Scene 12.mvproj", std::ios::trunc)
        << "written by another program\n";
    std::this_thread::sleep_for(std::chrono::milliseconds(1100)); // the kernel's view of it
    host::ForgetReadCreationRecords();
    EXPECT_NE(host::FileInfo(W(project)).Created(), made);
}

INSTANTIATE_TEST_SUITE_P(Shares, CreationOnSharesTest,
                         ::testing::ValuesIn(testsupport::ShareKinds()),
                         testsupport::ShareParamName());

} // namespace
