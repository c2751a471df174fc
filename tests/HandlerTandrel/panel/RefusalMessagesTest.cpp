// What the panel could not do is said in the window, with the item, the place and the reason:
// a read-only production, a full disk, a full Trash on another disk. Real folders, made
// read-only by a read-only mount or full by a small disk of their own (both need root).
#include "FileBytes.h"
#include "Marvane/application/ProjectImport.h"
#include "PanelWindow.h"
#include "ReadOnlyMount.h"
#include "TemporaryFolder.h"
#include "TmpfsMount.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <optional>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

constexpr std::string_view kNotDoneTitle = "Not Everything Was Done";

bool Holds(const std::string& text, std::string_view part) {
    return text.find(part) != std::string::npos;
}

void WriteBytes(const fs::path& file, std::size_t size) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << std::string(size, 'x');
}

// Nothing hidden that a copy or a move was made under is left behind.
std::vector<std::string> HiddenLeftovers(const fs::path& folder) {
    std::vector<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.rfind(".mv-", 0) == 0 || Holds(name, ".adding.")) {
            found.push_back(entry.path().string());
        }
    }
    return found;
}

class RefusalMessagesTest : public ::testing::Test {
protected:
    host::ScriptedDialogResponder& Responder() const { return *panel->responder; }
    void OpenPanel() {
        panel = std::make_unique<testsupport::PanelWindow>(pilot, temporary.Path() / "profile",
                                                           topRows);
    }
    // The first box shown with this title, once the event loop had a chance to show it (a
    // copy: the responder's list grows as boxes come).
    std::optional<host::MessageBoxRequest> Box(std::string_view title) const {
        std::optional<host::MessageBoxRequest> found;
        WaitUntil([&] {
            for (const host::MessageBoxRequest& request : Responder().GetRequests()) {
                if (request.title == title) {
                    found = request;
                    return true;
                }
            }
            return false;
        });
        return found;
    }
    void TearDown() override {
        testsupport::StopProjectImport();
        host::ProjectImport::Instance().ClearFinished();
    }

    const testsupport::TemporaryFolder temporary{"refusals"};
    const fs::path pilot = testsupport::WriteSmallPilot(temporary.Path());
    int topRows = 3;
    std::unique_ptr<testsupport::PanelWindow> panel;
};

TEST_F(RefusalMessagesTest, NewFolderInAFolderThatCannotBeWrittenSaysWhy) {
    OpenPanel();
    const testsupport::ReadOnlyMount readOnly(pilot);
    if (!readOnly.Mounted()) {
        GTEST_SKIP() << "a read-only bind mount needs root and the mount command";
    }
    Responder().AddText("Music");
    ASSERT_TRUE(panel->Obey(kCmdNewFolder));
    const std::optional<host::MessageBoxRequest> box = Box(kNotDoneTitle);
    ASSERT_TRUE(box.has_value()) << "nothing was said";
    EXPECT_EQ(box->text,
              "\"Music\" could not be made in \"" + pilot.string() + "\": Read-only file system.");
    EXPECT_FALSE(fs::exists(pilot / "Music"));
}

TEST_F(RefusalMessagesTest, MoveToTrashOnAReadOnlyProductionSaysWhyAndMovesNothing) {
    OpenPanel();
    const testsupport::ReadOnlyMount readOnly(pilot);
    if (!readOnly.Mounted()) {
        GTEST_SKIP() << "a read-only bind mount needs root and the mount command";
    }
    panel->Select({pilot / "Scene 4.mvproj", pilot / "Dailies"});
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    // The project's lock cannot be made: the message stays as editors know it, the cause is
    // below it, with the folder that could not move either.
    const std::optional<host::MessageBoxRequest> box = Box("Unable to Lock Project");
    ASSERT_TRUE(box.has_value());
    EXPECT_EQ(box->text, "Unable to create a lock file for the project " +
                             (pilot / "Scene 4.mvproj").string() + ". Please try again.");
    EXPECT_TRUE(Holds(box->details, "Scene 4")) << box->details;
    EXPECT_TRUE(Holds(box->details, ": Read-only file system\n")) << box->details;
    EXPECT_TRUE(Holds(box->details, "\"Dailies\" could not be moved into \"" +
                                        (pilot / "Trash").string() + "\": Read-only file system."))
        << box->details;
    EXPECT_TRUE(fs::exists(pilot / "Scene 4.mvproj"));
    EXPECT_TRUE(fs::exists(pilot / "Dailies" / "Shot 1.mvproj"));
}

TEST_F(RefusalMessagesTest, MakeACopyOnAReadOnlyProductionSaysTheCopyFailedAndWhy) {
    OpenPanel();
    const testsupport::ReadOnlyMount readOnly(pilot);
    if (!readOnly.Mounted()) {
        GTEST_SKIP() << "a read-only bind mount needs root and the mount command";
    }
    panel->Select({pilot / "Scene 4.mvproj", pilot / "Dailies"});
    ASSERT_TRUE(panel->Obey(kCmdMakeACopy));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    const host::ImportProgress progress = host::ProjectImport::Instance().Progress();
    ASSERT_EQ(progress.failures.size(), 1u);
    EXPECT_EQ(progress.failures[0], "\"Scene 4.mvproj\" could not be copied into \"" +
                                        pilot.string() + "\": Read-only file system.");
    // The folder's copy could not even be made.
    const std::optional<host::MessageBoxRequest> box = Box(kNotDoneTitle);
    ASSERT_TRUE(box.has_value());
    EXPECT_EQ(box->text, "\"Dailies_1\" could not be made in \"" + pilot.string() +
                             "\": Read-only file system.");
    for (const host::MessageBoxRequest& request : Responder().GetRequests()) {
        EXPECT_NE(request.title, "Cannot Make a New Project");
    }
}

TEST_F(RefusalMessagesTest, NewProjectThatCannotBeWrittenNamesTheProjectNotAPrivateFile) {
    OpenPanel();
    const testsupport::ReadOnlyMount readOnly(pilot);
    if (!readOnly.Mounted()) {
        GTEST_SKIP() << "a read-only bind mount needs root and the mount command";
    }
    Responder().AddText("Untitled Project");
    ASSERT_TRUE(panel->Obey(kCmdNewProject));
    const std::optional<host::MessageBoxRequest> box = Box("Cannot Make a New Project");
    ASSERT_TRUE(box.has_value());
    EXPECT_EQ(box->text, "A new project could not be made in \"" + pilot.string() + "\" (" +
                             (pilot / "Untitled Project.mvproj").string() +
                             ": Read-only file system).");
}

TEST_F(RefusalMessagesTest, MakeACopyOnAFullDiskTellsWhichCopiesFailedAndLeavesNothingHalfMade) {
    testsupport::TmpfsMount disk(pilot);
    if (const std::string why = disk.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    // 16 MB: room for one more copy of these, not three.
    for (const char* name : {"Reel 1.mvproj", "Reel 2.mvproj", "Reel 3.mvproj"}) {
        WriteBytes(pilot / name, 3500 * 1024);
    }
    fs::create_directories(pilot / "Trash");
    topRows = 4;
    OpenPanel();
    panel->Select({pilot / "Reel 1.mvproj", pilot / "Reel 2.mvproj", pilot / "Reel 3.mvproj"});
    ASSERT_TRUE(panel->Obey(kCmdMakeACopy));
    ASSERT_TRUE(host::ProjectImport::Instance().Wait(30000));
    // One copy fits; the command's three copies are one round of progress.
    int copies = 0;
    for (const char* name : {"Reel 1_1.mvproj", "Reel 2_1.mvproj", "Reel 3_1.mvproj"}) {
        copies += fs::exists(pilot / name) ? 1 : 0;
    }
    EXPECT_EQ(copies, 1);
    const host::ImportProgress progress = host::ProjectImport::Instance().Progress();
    EXPECT_EQ(progress.added.size(), 1u);
    ASSERT_EQ(progress.failures.size(), 2u) << "nothing was said";
    for (const std::string& failure : progress.failures) {
        EXPECT_TRUE(Holds(failure, "could not be copied into \"" + pilot.string() +
                                       "\": No space left on device."))
            << failure;
        EXPECT_FALSE(Holds(failure, ".adding")) << failure;
    }
    EXPECT_EQ(HiddenLeftovers(pilot), std::vector<std::string>{});
}

TEST_F(RefusalMessagesTest, MoveToAFullTrashOnAnotherDiskSaysWhyAndKeepsTheFolderWhole) {
    testsupport::TmpfsMount trash(pilot / "Trash");
    if (const std::string why = trash.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    WriteBytes(pilot / "Trash" / "Old Reel.mvproj", 15 * 1024 * 1024);
    WriteBytes(pilot / "Dailies" / "Camera A" / "clip.mov", 2 * 1024 * 1024);
    OpenPanel();
    panel->Select({pilot / "Dailies"});
    ASSERT_TRUE(panel->Obey(kCmdMoveToTrash));
    const std::optional<host::MessageBoxRequest> box = Box(kNotDoneTitle);
    ASSERT_TRUE(box.has_value()) << "nothing was said";
    EXPECT_EQ(box->text, "\"Dailies\" could not be moved into \"" + (pilot / "Trash").string() +
                             "\": No space left on device.");
    EXPECT_EQ(fs::file_size(pilot / "Dailies" / "Camera A" / "clip.mov"), 2u * 1024 * 1024);
    EXPECT_TRUE(fs::exists(pilot / "Dailies" / "Shot 1.mvproj"));
    EXPECT_FALSE(fs::exists(pilot / "Trash" / "Dailies"));
    EXPECT_EQ(HiddenLeftovers(pilot / "Trash"), std::vector<std::string>{});
}

} // namespace
