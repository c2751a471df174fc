#include "Marvane/documents/Recovery.h"
#include "Marvane/application/HostSession.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"

#include <filesystem>
#include <gtest/gtest.h>
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
    EXPECT_EQ(host::SafeFileName("..hidden"), "hidden");
    EXPECT_EQ(host::SafeFileName(""), "Project");
    const std::string accents(200, 'a');
    EXPECT_EQ(host::SafeFileName(accents + "é").size(), 120u);
    const std::string name = std::string(119, 'a') + "é";
    EXPECT_EQ(host::SafeFileName(name), std::string(119, 'a'));
}

} // namespace
