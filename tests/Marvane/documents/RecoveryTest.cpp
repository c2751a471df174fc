#include "Marvane/documents/Recovery.h"
#include "Marvane/application/HostSession.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <regex>
#include <unistd.h>

#include "FileBytes.h"

namespace {

namespace fs = std::filesystem;

class RecoveryTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        host::HostSession::Instance().userOverride.reset();
    }
    void TearDown() override { testsupport::CloseAllProjects(); }
    const testsupport::TemporaryFolder temporary{"recovery"};
    const fs::path root = temporary.Path();
};

TEST_F(RecoveryTest, OnlyModifiedProjectsAreCopiedAndTheProjectsStayAsTheyWere) {
    const auto edited = testsupport::WriteProject(root / "Shows" / "Edited.mvproj");
    const auto untouched = testsupport::WriteProject(root / "Shows" / "Untouched.mvproj");
    const std::string before = testsupport::ReadBytes(edited);
    auto project = testsupport::OpenProject(edited);
    testsupport::OpenProject(untouched);
    host::ProjectContent content = project->Content();
    content.sequences.push_back("Unsaved");
    project->EditContent(content);

    const host::RecoveryResult result = host::SaveRecoveryCopies(root / "data");
    ASSERT_EQ(result.written.size(), 1u);
    EXPECT_TRUE(result.failed.empty());
    EXPECT_EQ(result.written[0].parent_path(), root / "data" / "Recovery");
    EXPECT_NE(testsupport::ReadBytes(result.written[0]).find("Unsaved"), std::string::npos);
    EXPECT_EQ(testsupport::ReadBytes(edited), before);

    const auto found = host::FindRecoveredCopies(root / "data");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].copy, result.written[0]);
    EXPECT_EQ(found[0].original, edited);
    host::MarkRecoveredCopyOffered(found[0]);
    EXPECT_TRUE(host::FindRecoveredCopies(root / "data").empty());
    EXPECT_TRUE(fs::exists(result.written[0]));
}

TEST_F(RecoveryTest, ACopyWhoseOriginIsNestedTooDeeplyIsOfferedWithoutAnOriginal) {
    const fs::path folder = root / "data" / "Recovery";
    const fs::path copy = testsupport::WriteProject(folder / "Scene (recovered).mvproj");
    const std::string marker = R"({"original": "/shows/Scene.mvproj", "x": )" +
                               std::string(70000, '[') + std::string(70000, ']') + "}";
    testsupport::WriteBytes(copy.string() + ".origin", marker);

    const auto found = host::FindRecoveredCopies(root / "data");

    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].copy, copy);
    EXPECT_TRUE(found[0].original.empty());
    EXPECT_EQ(testsupport::ReadBytes(copy.string() + ".origin"), marker);
}

TEST_F(RecoveryTest, AProjectNameNeverLeadsTheCopyOutOfTheRecoveryFolder) {
    const auto path = testsupport::WriteProject(root / "Odd.mvproj");
    auto project = testsupport::OpenProject(path);
    host::ProjectContent content = project->Content();
    content.name = "../../" + std::string(300, 'x') + "/evil";
    content.sequences.push_back("Unsaved");
    project->EditContent(content);
    const host::RecoveryResult result = host::SaveRecoveryCopies(root / "data");
    ASSERT_EQ(result.written.size(), 1u);
    EXPECT_EQ(result.written[0].parent_path(), root / "data" / "Recovery");
    EXPECT_LE(result.written[0].filename().string().size(), 180u);
}

TEST_F(RecoveryTest, TwoCopiesOfTheSameProjectInOneSecondBothSurvive) {
    const auto path = testsupport::WriteProject(root / "Twice.mvproj");
    auto project = testsupport::OpenProject(path);
    host::ProjectContent content = project->Content();
    content.sequences.push_back("Unsaved");
    project->EditContent(content);
    const auto first = host::SaveRecoveryCopies(root / "data");
    const auto second = host::SaveRecoveryCopies(root / "data");
    ASSERT_EQ(first.written.size(), 1u);
    ASSERT_EQ(second.written.size(), 1u);
    EXPECT_NE(first.written[0], second.written[0]);
    EXPECT_TRUE(fs::exists(first.written[0]));
}

TEST_F(RecoveryTest, SafeFileNamesKeepWholeCharacters) {
    EXPECT_EQ(host::SafeFileName("Scene/12"), "Scene_12");
    // Nothing a Windows share refuses in a name.
    EXPECT_EQ(host::SafeFileName("Cut: \"A\" or <B>? *|\\"), "Cut_ _A_ or _B__ ___");
    EXPECT_EQ(host::SafeFileName("..hidden"), "hidden");
    EXPECT_EQ(host::SafeFileName(""), "Project");
    const std::string accents(200, 'a');
    EXPECT_EQ(host::SafeFileName(accents + "é").size(), 120u);
    const std::string name = std::string(119, 'a') + "é";
    EXPECT_EQ(host::SafeFileName(name), std::string(119, 'a'));
}

} // namespace

#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/RecoveryRestore.h"
#include "host/ProjectBackEnd.h"

namespace {

class RestoreTest : public RecoveryTest {
protected:
    // A recovery copy of Scene 2 holding an unsaved sequence, the project closed since.
    fs::path RecoverScene() {
        scene = testsupport::WriteProject(root / "Shows" / "Scene 2.mvproj", {"On disk"});
        auto project = testsupport::OpenProject(scene);
        host::ProjectContent content = project->Content();
        content.sequences.push_back("Recovered cut");
        project->EditContent(content);
        const host::RecoveryResult result = host::SaveRecoveryCopies(root / "data");
        EXPECT_EQ(result.written.size(), 1u);
        testsupport::CloseAllProjects();
        return result.written.empty() ? fs::path() : result.written[0];
    }
    fs::path scene;
};

TEST_F(RestoreTest, ARecoveryCopyKnowsItsOriginalAndIsNamedAfterIt) {
    const fs::path copy = RecoverScene();
    EXPECT_EQ(host::RecoveredFrom(copy), scene);
    // "Scene 2 (recovered 21 Nov 14.02).mvproj": the day, the month and the time, in a name
    // every share takes.
    EXPECT_TRUE(std::regex_match(
        copy.filename().string(),
        std::regex(R"(Scene 2 \(recovered [0-9]{1,2} \S+ [0-9]{2}\.[0-9]{2}\)\.mvproj)")))
        << copy;
    host::MarkRecoveredCopyOffered(host::FindRecoveredCopies(root / "data").at(0));
    EXPECT_EQ(host::RecoveredFrom(copy), scene); // still known once offered
    EXPECT_EQ(host::RecoveredFrom(scene), std::nullopt);
}

TEST_F(RestoreTest, RestoringPutsTheChangesIntoTheProjectAndKeepsWhatItHeld) {
    const fs::path copy = RecoverScene();
    const std::string before = testsupport::ReadBytes(scene);
    const auto recovered = testsupport::OpenProject(copy);
    const host::RestoreResult result = host::RestoreRecoveredCopy(*recovered, scene);
    ASSERT_TRUE(result.restored) << result.error;
    EXPECT_NE(testsupport::ReadBytes(scene).find("Recovered cut"), std::string::npos);
    EXPECT_EQ(result.backup.parent_path(), copy.parent_path());
    EXPECT_TRUE(std::regex_match(
        result.backup.filename().string(),
        std::regex(R"(Scene 2 \(replaced [0-9]{1,2} \S+ [0-9]{2}\.[0-9]{2}\)\.mvproj)")))
        << result.backup;
    EXPECT_EQ(testsupport::ReadBytes(result.backup), before);
    // The project is open, locked for us and saved.
    const auto restored = host::DocumentManager::Instance().Find(scene);
    ASSERT_TRUE(restored);
    EXPECT_FALSE(restored->IsModified());
    EXPECT_TRUE(restored->HoldsLock());
}

TEST_F(RestoreTest, RestoringIsRefusedWhileAnotherEditorHoldsTheProjectAndWritesNothing) {
    const fs::path copy = RecoverScene();
    const std::string before = testsupport::ReadBytes(scene);
    const auto lock = host::CreateProjectLockFile(scene.string(), "Ben Okafor", "suite-2");
    ASSERT_TRUE(lock && lock->IsOwnedByCaller());
    const auto recovered = testsupport::OpenProject(copy);
    const host::RestoreResult result = host::RestoreRecoveredCopy(*recovered, scene);
    EXPECT_FALSE(result.restored);
    EXPECT_NE(result.error.find("Ben Okafor"), std::string::npos) << result.error;
    EXPECT_EQ(testsupport::ReadBytes(scene), before);
    EXPECT_TRUE(result.backup.empty());
    for (const auto& entry : fs::directory_iterator(copy.parent_path())) {
        EXPECT_EQ(entry.path().filename().string().find("(replaced"), std::string::npos)
            << entry.path();
    }
}

TEST_F(RestoreTest, RestoringIntoAProjectWithChangesOfItsOwnIsRefused) {
    const fs::path copy = RecoverScene();
    const auto original = testsupport::OpenProject(scene);
    host::ProjectContent content = original->Content();
    content.sequences.push_back("Made since");
    original->EditContent(content);
    const auto recovered = testsupport::OpenProject(copy);
    const host::RestoreResult result = host::RestoreRecoveredCopy(*recovered, scene);
    EXPECT_FALSE(result.restored);
    EXPECT_NE(result.error.find("changes of its own"), std::string::npos) << result.error;
    EXPECT_EQ(original->Content().sequences.back(), "Made since");
}

} // namespace
