#include "Marvane/documents/DocumentManager.h"
#include "GoneProcess.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/core/ThisMachine.h"
#include "Marvane/documents/PersonQuestions.h"
#include "Marvane/fileservices/FolderMount.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/uiframework/DialogResponder.h"
#include "Marvane/uiframework/MessageBox.h"
#include "ReadOnlyMount.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "TmpfsMount.h"
#include "host/ApplicationLayer.h"
#include "host/UIFramework.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "FileBytes.h"
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using host::DocumentManager;
using testsupport::ReadBytes;

class MessageLog : public host::Listener {
public:
    void ReceiveMessage(const host::Message& message) override {
        types.push_back(message.GetTypeID());
    }
    std::vector<host::MessageTypeID> types;
};

class DocumentManagerTest : public ::testing::Test {
protected:
    void SetUp() override {
        scene = testsupport::WriteProject(root / "Scene 12.mvproj", {"Scene 12 - Edit"});
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
        log = std::make_shared<MessageLog>();
        host::MessageStation::Get(host::kProjectActivationStation)->Subscribe(log);
    }
    void TearDown() override {
        host::SetDialogResponder(nullptr);
        testsupport::CloseAllProjects();
    }
    std::shared_ptr<host::ScriptedDialogResponder> Answer(std::vector<int> answers) {
        auto responder = std::make_shared<host::ScriptedDialogResponder>(std::move(answers));
        host::SetDialogResponder(responder);
        return responder;
    }
    static void LockAsBen(const fs::path& project) {
        const auto lock = host::CreateProjectLockFile(project.string(), "Ben Okafor", "suite-2");
        ASSERT_TRUE(lock && lock->IsOwnedByCaller());
    }
    static host::ProjectContent WithSequence(host::ProjectContent content,
                                             const std::string& name) {
        content.sequences.push_back(name);
        return content;
    }

    const testsupport::TemporaryFolder temporary{"documents"};
    const fs::path root = temporary.Path();
    fs::path scene;
    std::shared_ptr<MessageLog> log;
};

TEST_F(DocumentManagerTest, AProjectNobodyHoldsOpensReadWriteAndLocked) {
    const auto project = testsupport::OpenProject(scene);
    EXPECT_FALSE(project->IsReadOnly());
    EXPECT_TRUE(project->HoldsLock());
    EXPECT_EQ(project->CurrentLockHolder(), "Ana Ruiz");
    EXPECT_EQ(project->Content().sequences, std::vector<std::string>{"Scene 12 - Edit"});
    EXPECT_EQ(host::OpenProjectCount(), 1u);
    EXPECT_EQ(DocumentManager::Instance().GetActive(), project);
    ASSERT_EQ(log->types.size(), 1u);
    EXPECT_EQ(log->types[0], host::ProjectOpenedMessage::kTypeID);
}

TEST_F(DocumentManagerTest, AProjectWhoseNameIsTooLongToLockOpensReadOnlySayingWhy) {
    // 255 bytes, the longest name there is: "<name>.lock" cannot exist beside it.
    const std::string name = std::string(248, 'l') + ".mvproj";
    ASSERT_EQ(name.size(), 255u);
    const fs::path longest = testsupport::WriteProject(scene.parent_path() / name);
    // Nobody holds it: it is not shown as locked by an unknown holder.
    EXPECT_EQ(host::ReadProjectLockFile(longest.string(), "Ana Ruiz", "suite-1"), nullptr);
    const auto project = testsupport::OpenProject(longest);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_FALSE(project->HoldsLock());
    EXPECT_NE(project->ReadOnlyReason().find("is too long for a lock file"), std::string::npos)
        << project->ReadOnlyReason();
    EXPECT_NE(project->ReadOnlyReason().find("Rename the project"), std::string::npos);
    DocumentManager::Instance().Close({project});
}

TEST_F(DocumentManagerTest, AProjectOpenedWithItsLockIsWritableWithNoReasonGiven) {
    const auto project = testsupport::OpenProject(scene);
    EXPECT_FALSE(project->IsReadOnly());
    EXPECT_TRUE(project->ReadOnlyReason().empty());
    DocumentManager::Instance().Close({project});
}

TEST_F(DocumentManagerTest, AProjectHeldByAnotherEditorOpensReadOnlyNamingThem) {
    LockAsBen(scene);
    const auto project = testsupport::OpenProject(scene);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_FALSE(project->HoldsLock());
    EXPECT_EQ(project->CurrentLockHolder(), "Ben Okafor");
    host::DocumentManager::Instance().Close({project});
    EXPECT_TRUE(fs::exists(scene.string() + ".lock")); // Ben's lock is never ours to remove
}

TEST_F(DocumentManagerTest, AProjectOpenInAnotherCopyOfTheSameEditorOpensReadOnly) {
    host::LockFileContent otherCopy = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    otherCopy.processId = ::getppid();
    otherCopy.processStartTicks = host::ProcessStartTicks(::getppid());
    std::ofstream(scene.string() + ".lock") << host::SerialiseLockFile(otherCopy);
    const auto project = testsupport::OpenProject(scene);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_FALSE(project->HoldsLock());
    const auto result = DocumentManager::Instance().SetReadOnly(project, false);
    EXPECT_FALSE(result.changed);
    EXPECT_NE(result.error.find("another copy of Marvane"), std::string::npos) << result.error;
    DocumentManager::Instance().Close({project});
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
}

TEST_F(DocumentManagerTest, OurOwnLockLeftByAStoppedCopyIsTakenOverAndReleased) {
    host::LockFileContent stale = host::MakeLockFileContent("Ana Ruiz", "suite-1");
    const pid_t child = testsupport::PidOfAGoneProcess();
    stale.processId = child;
    std::ofstream(scene.string() + ".lock") << host::SerialiseLockFile(stale);
    const auto project = testsupport::OpenProject(scene);
    EXPECT_FALSE(project->IsReadOnly());
    EXPECT_TRUE(project->HoldsLock());
    host::LockFileContent now;
    ASSERT_EQ(host::ReadLockFile(scene.string() + ".lock", now), host::LockFileState::Valid);
    EXPECT_EQ(now.processId, ::getpid());
    DocumentManager::Instance().Close({project});
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
}

TEST_F(DocumentManagerTest, AProjectWhoseNameIsNotTextIsDamagedAndUnchanged) {
    const fs::path odd = root / "Odd.mvproj";
    const std::string bytes = R"({"formatVersion": 1, "name": 5, "sequences": []})";
    std::ofstream(odd, std::ios::binary) << bytes;
    const auto result = DocumentManager::Instance().Open(odd);
    EXPECT_EQ(result.project, nullptr);
    EXPECT_NE(result.error.find("is damaged"), std::string::npos) << result.error;
    EXPECT_EQ(ReadBytes(odd), bytes);
    EXPECT_FALSE(fs::exists(odd.string() + ".lock"));
}

TEST_F(DocumentManagerTest, AClosedProjectCannotBeSaved) {
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Late"));
    const std::string before = ReadBytes(scene);
    host::DocumentManager::Instance().CloseAllWithoutAsking();
    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(project, error));
    EXPECT_NE(error.find("not open any more"), std::string::npos);
    EXPECT_EQ(ReadBytes(scene), before);
}

TEST_F(DocumentManagerTest, AMovedProjectIsNotSavedUntilItIsLockedAgain) {
    const auto project = testsupport::OpenProject(scene);
    const fs::path moved = root / "Moved.mvproj";
    fs::rename(scene, moved);
    project->SetPath(moved.string());
    project->EditContent(WithSequence(project->Content(), "After the move"));
    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(project, error));
    EXPECT_NE(error.find("not locked at its new place"), std::string::npos) << error;
    project->AttachLockFile(host::CreateProjectLockFile(moved.string(), "Ana Ruiz", "suite-1"));
    EXPECT_TRUE(DocumentManager::Instance().Save(project, error)) << error;
    EXPECT_NE(ReadBytes(moved).find("After the move"), std::string::npos);
}

TEST_F(DocumentManagerTest, ASaveThatCannotBeWrittenLeavesTheFileAndSaysWhy) {
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Nowhere"));
    const std::string before = ReadBytes(scene);
    // The project's folder is replaced by a file: nothing can be written there.
    const fs::path folder = root / "Gone";
    const auto elsewhere = testsupport::WriteProject(folder / "Far.mvproj");
    const auto far = testsupport::OpenProject(elsewhere);
    far->EditContent(WithSequence(far->Content(), "Lost?"));
    fs::remove_all(folder);
    std::ofstream(folder) << "a file now";
    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(far, error));
    EXPECT_NE(error.find("could not be saved"), std::string::npos) << error;
    EXPECT_TRUE(far->IsModified());
    EXPECT_EQ(ReadBytes(scene), before);
}

TEST_F(DocumentManagerTest, TheReadOnlyOpenModeLeavesTheLockAlone) {
    const auto project = testsupport::OpenProject(scene, host::OpenMode::ReadOnly);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
}

TEST_F(DocumentManagerTest, WithLockingOffProjectsOpenReadWriteWithoutALock) {
    host::HostSession::Instance().preferences.locking.enabled = false;
    const auto project = testsupport::OpenProject(scene);
    EXPECT_FALSE(project->IsReadOnly());
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
}

TEST_F(DocumentManagerTest, ClosingRemovesOurLockAndTellsTheStation) {
    const auto project = testsupport::OpenProject(scene);
    ASSERT_TRUE(fs::exists(scene.string() + ".lock"));
    EXPECT_TRUE(DocumentManager::Instance().Close({project}));
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(host::OpenProjectCount(), 0u);
    EXPECT_EQ(log->types.back(), host::ProjectClosedMessage::kTypeID);
}

TEST_F(DocumentManagerTest, ADamagedProjectGivesAClearMessageAndStaysByteForByteUnchanged) {
    const fs::path damaged = root / "Damaged.mvproj";
    const std::string bytes = "{\"formatVersion\": 1, \"name\": \"Dam";
    std::ofstream(damaged, std::ios::binary) << bytes;
    const auto result = DocumentManager::Instance().Open(damaged);
    EXPECT_EQ(result.project, nullptr);
    EXPECT_NE(result.error.find("\"" + damaged.string() + "\" is damaged"), std::string::npos)
        << result.error;
    EXPECT_EQ(ReadBytes(damaged), bytes);
    EXPECT_FALSE(fs::exists(damaged.string() + ".lock"));
    EXPECT_TRUE(log->types.empty());
}

TEST_F(DocumentManagerTest, AProjectOfANewerFormatIsRefusedAndUnchanged) {
    const fs::path newer = root / "Newer.mvproj";
    const std::string bytes = R"({"formatVersion": 9, "name": "Newer"})";
    std::ofstream(newer, std::ios::binary) << bytes;
    const auto result = DocumentManager::Instance().Open(newer);
    EXPECT_EQ(result.project, nullptr);
    EXPECT_NE(result.error.find("newer version"), std::string::npos) << result.error;
    EXPECT_EQ(ReadBytes(newer), bytes);
}

TEST_F(DocumentManagerTest, AFileThatIsNotAProjectIsRefused) {
    std::ofstream(root / "Notes.txt") << "notes";
    const auto result = DocumentManager::Instance().Open(root / "Notes.txt");
    EXPECT_EQ(result.project, nullptr);
    EXPECT_NE(result.error.find("is not a project"), std::string::npos);
}

TEST_F(DocumentManagerTest, SavingReplacesTheFileAndKeepsMembersThisHostDoesNotKnow) {
    std::ofstream(scene, std::ios::binary)
        << R"({"formatVersion": 1, "name": "Scene 12", "bins": [], "sequences": [],
              "colourTags": {"Scene 12": "red"}})";
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "New Cut"));
    EXPECT_TRUE(project->IsModified());
    std::string error;
    ASSERT_TRUE(DocumentManager::Instance().Save(project, error)) << error;
    EXPECT_FALSE(project->IsModified());
    const std::string saved = ReadBytes(scene);
    EXPECT_NE(saved.find("\"New Cut\""), std::string::npos);
    EXPECT_NE(saved.find("\"colourTags\""), std::string::npos);
    int leftovers = 0;
    for (const auto& entry : fs::directory_iterator(root)) {
        leftovers += entry.path().filename().string().find(".saving") != std::string::npos;
    }
    EXPECT_EQ(leftovers, 0);
}

TEST_F(DocumentManagerTest, AReadOnlyProjectCannotBeChangedOrSaved) {
    LockAsBen(scene);
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Mine"));
    EXPECT_FALSE(project->IsModified());
    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(project, error));
    EXPECT_NE(error.find("read-only"), std::string::npos);
}

TEST_F(DocumentManagerTest, AReadOnlyProjectIsOutOfDateOnceItsFileChanges) {
    LockAsBen(scene);
    const auto project = testsupport::OpenProject(scene);
    EXPECT_FALSE(project->IsOutOfDate());
    testsupport::WriteProject(scene, {"Ben's new cut"});
    EXPECT_TRUE(project->IsOutOfDate());
    std::string error;
    ASSERT_TRUE(DocumentManager::Instance().Reload(project, error)) << error;
    EXPECT_FALSE(project->IsOutOfDate());
    EXPECT_EQ(project->Content().sequences, std::vector<std::string>{"Ben's new cut"});
}

TEST_F(DocumentManagerTest, SwitchingToReadOnlyReleasesOurLock) {
    const auto project = testsupport::OpenProject(scene);
    const auto result = DocumentManager::Instance().SetReadOnly(project, true);
    EXPECT_TRUE(result.changed);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_FALSE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(log->types.back(), host::ProjectReadOnlyChangedMessage::kTypeID);
}

TEST_F(DocumentManagerTest, SwitchingToReadOnlyWithUnsavedChangesIsRefused) {
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Unsaved"));
    const auto result = DocumentManager::Instance().SetReadOnly(project, true);
    EXPECT_FALSE(result.changed);
    EXPECT_FALSE(result.error.empty());
    EXPECT_FALSE(project->IsReadOnly());
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
}

TEST_F(DocumentManagerTest, SwitchingToReadWriteTakesTheLockAndSaysWhenToReload) {
    const auto project = testsupport::OpenProject(scene, host::OpenMode::ReadOnly);
    testsupport::WriteProject(scene, {"Changed meanwhile"});
    const auto result = DocumentManager::Instance().SetReadOnly(project, false);
    EXPECT_TRUE(result.changed);
    EXPECT_TRUE(result.needsReload);
    EXPECT_FALSE(project->IsReadOnly());
    EXPECT_TRUE(project->HoldsLock());
    EXPECT_EQ(project->CurrentLockHolder(), "Ana Ruiz");
}

TEST_F(DocumentManagerTest, SwitchingToReadWriteIsRefusedWhileAnotherEditorHoldsTheLock) {
    LockAsBen(scene);
    const auto project = testsupport::OpenProject(scene);
    const auto result = DocumentManager::Instance().SetReadOnly(project, false);
    EXPECT_FALSE(result.changed);
    EXPECT_NE(result.error.find("is locked by Ben Okafor"), std::string::npos) << result.error;
    EXPECT_TRUE(project->IsReadOnly());
}

TEST_F(DocumentManagerTest, ClosingAModifiedProjectAsksAndSavesWhenTold) {
    const auto responder = Answer({0});
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Keep me"));
    EXPECT_TRUE(DocumentManager::Instance().Close({project}));
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].buttons.size(), 3u);
    EXPECT_NE(ReadBytes(scene).find("Keep me"), std::string::npos);
}

TEST_F(DocumentManagerTest, CancellingTheSavePromptKeepsTheProjectOpenAndLocked) {
    Answer({2});
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Not yet"));
    EXPECT_FALSE(DocumentManager::Instance().Close({project}));
    EXPECT_EQ(host::OpenProjectCount(), 1u);
    EXPECT_TRUE(fs::exists(scene.string() + ".lock"));
    EXPECT_EQ(ReadBytes(scene).find("Not yet"), std::string::npos);
}

TEST_F(DocumentManagerTest, TheSaveQuestionGoesToWhatTheWindowLayerInstalled) {
    std::vector<std::string> asked;
    host::SetPersonQuestion([&asked](const host::ByteString& title, const host::ByteString&,
                                     const std::vector<host::ByteString>& buttons, host::Telling,
                                     int) {
        asked.push_back(title + " / " + std::to_string(buttons.size()));
        return 1; // Don't Save
    });
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Discard"));
    EXPECT_TRUE(DocumentManager::Instance().Close({project}));
    // Back to the message box, as the window layer installs it.
    host::SetPersonQuestion(&host::AskWithMessageBox);
    EXPECT_EQ(asked, std::vector<std::string>{"Save Changes? / 3"});
    EXPECT_EQ(ReadBytes(scene).find("Discard"), std::string::npos);
}

TEST_F(DocumentManagerTest, DontSaveClosesWithoutWriting) {
    Answer({1});
    const auto project = testsupport::OpenProject(scene);
    project->EditContent(WithSequence(project->Content(), "Discard"));
    EXPECT_TRUE(DocumentManager::Instance().Close({project}));
    EXPECT_EQ(ReadBytes(scene).find("Discard"), std::string::npos);
}

TEST_F(DocumentManagerTest, ABatchCloseOffersToApplyTheAnswerToAll) {
    const auto responder = Answer({3}); // "Save All"
    const auto second = testsupport::WriteProject(root / "Scene 13.mvproj");
    const auto a = testsupport::OpenProject(scene);
    const auto b = testsupport::OpenProject(second);
    a->EditContent(WithSequence(a->Content(), "A change"));
    b->EditContent(WithSequence(b->Content(), "B change"));
    EXPECT_TRUE(DocumentManager::Instance().CloseAll());
    ASSERT_EQ(responder->GetRequests().size(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].buttons.size(), 5u);
    EXPECT_NE(ReadBytes(scene).find("A change"), std::string::npos);
    EXPECT_NE(ReadBytes(second).find("B change"), std::string::npos);
    EXPECT_EQ(host::OpenProjectCount(), 0u);
}

TEST_F(DocumentManagerTest, ANewProjectUnderATakenNameReplacesNothing) {
    const std::string before = ReadBytes(scene);
    const auto taken =
        DocumentManager::Instance().CreateNewProject(scene.parent_path(), scene.stem().string());
    EXPECT_EQ(taken.project, nullptr);
    EXPECT_TRUE(taken.nameTaken);
    EXPECT_EQ(ReadBytes(scene), before);
    // A lock with no project beside it: the name is someone's project on its way.
    std::ofstream(root / "Opening.mvproj.lock") << "Ben Okafor\n";
    const auto locked = DocumentManager::Instance().CreateNewProject(root, "Opening");
    EXPECT_TRUE(locked.nameTaken);
    EXPECT_FALSE(fs::exists(root / "Opening.mvproj"));
    EXPECT_EQ(DocumentManager::OfferedNewProjectName(root), "Untitled Project");
    const auto made = DocumentManager::Instance().CreateNewProject(root, "Titles");
    ASSERT_NE(made.project, nullptr) << made.error;
    EXPECT_EQ(made.project->Path(), root / "Titles.mvproj");
    EXPECT_EQ(made.project->Content().name, "Titles");
}

TEST_F(DocumentManagerTest, ANewProjectTakesTheNextFreeName) {
    testsupport::WriteProject(root / "Untitled Project.mvproj");
    const auto result = DocumentManager::Instance().CreateNewProject(root);
    ASSERT_NE(result.project, nullptr) << result.error;
    EXPECT_EQ(result.project->Path(), root / "Untitled Project 2.mvproj");
    EXPECT_FALSE(result.project->IsReadOnly());
    EXPECT_TRUE(fs::exists(root / "Untitled Project 2.mvproj.lock"));
}

TEST_F(DocumentManagerTest, AFolderProjectOpensFromItsFolder) {
    const auto titles = testsupport::WriteProject(root / "Titles.mvprojd", {"Opening Titles"});
    const auto project = testsupport::OpenProject(titles.string() + "/");
    EXPECT_EQ(project->Path(), titles);
    EXPECT_EQ(project->Content().sequences, std::vector<std::string>{"Opening Titles"});
    EXPECT_TRUE(fs::exists(root / "Titles.mvprojd.lock"));
}

} // namespace

namespace {

using testsupport::ReadOnlyMount;

TEST_F(DocumentManagerTest, AProjectWhoseFolderCannotBeWrittenSaysWhyItStaysReadOnly) {
    const fs::path edit = root / "Edit";
    const fs::path reel = testsupport::WriteProject(edit / "Reel 1.mvproj", {"Reel 1 - Edit"});
    const ReadOnlyMount readOnly(edit);
    if (!readOnly.Mounted()) {
        GTEST_SKIP() << "a read-only bind mount needs root and the mount command";
    }
    const auto project = testsupport::OpenProject(reel);
    ASSERT_TRUE(project);
    EXPECT_TRUE(project->IsReadOnly());
    EXPECT_EQ(project->ReadOnlyReason(),
              "\"Reel 1\" stays read-only: its lock file could not be created because the "
              "folder \"Edit\" is on a file system that cannot be written.");
    const auto result = DocumentManager::Instance().SetReadOnly(project, false);
    EXPECT_FALSE(result.changed);
    EXPECT_EQ(result.error, project->ReadOnlyReason());
    EXPECT_FALSE(fs::exists(edit / "Reel 1.mvproj.lock"));
}

// The production is the folder a share is mounted on, and the share's client ended: the file
// would land beneath the mount, where the share never sees it and the next mount hides it.
TEST_F(DocumentManagerTest, ASaveAfterTheProductionsMountWentAwayWritesNothingBeneathIt) {
    const fs::path production = root / "Pilot";
    fs::create_directories(production);
    testsupport::TmpfsMount share(production, root / "Server");
    if (const std::string why = share.Mount(); !why.empty()) {
        GTEST_SKIP() << why;
    }
    const fs::path reel = testsupport::WriteProject(production / "Reel 1.mvproj", {"Reel 1"});
    host::KeepFolderMount(production);
    const auto project = testsupport::OpenProject(reel);
    ASSERT_TRUE(project->HoldsLock());
    const std::string before = ReadBytes(root / "Server" / "Reel 1.mvproj");
    project->EditContent(WithSequence(project->Content(), "Cut as the share went"));
    ASSERT_TRUE(share.Unmount());
    std::string error;
    EXPECT_FALSE(DocumentManager::Instance().Save(project, error));
    EXPECT_NE(error.find("mounted on the folder is gone"), std::string::npos) << error;
    EXPECT_TRUE(fs::is_empty(production));
    EXPECT_TRUE(project->IsModified());
    EXPECT_EQ(ReadBytes(root / "Server" / "Reel 1.mvproj"), before);
    // An old copy of the project left beneath, without our lock beside it: the lock is not
    // taken for lost, and the project stays ours.
    std::ofstream(production / "Reel 1.mvproj") << before;
    EXPECT_FALSE(project->LockWasTakenAway());
    EXPECT_TRUE(DocumentManager::Instance().Heartbeat().empty());
    EXPECT_FALSE(project->IsReadOnly());
    fs::remove(production / "Reel 1.mvproj");
    // Mounted again: the save goes where it belongs.
    ASSERT_EQ(share.Mount(), "");
    EXPECT_TRUE(DocumentManager::Instance().Save(project, error)) << error;
    EXPECT_NE(ReadBytes(root / "Server" / "Reel 1.mvproj").find("Cut as the share went"),
              std::string::npos);
    host::KeepFolderMount({});
}

} // namespace
