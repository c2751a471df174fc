// Project files and lock files as text: however deeply a file someone else wrote nests, it is
// refused before it can exhaust the stack and is left as it was, and projects are written
// compactly, so a save never grows with the depth of what the project holds.
#include "FileBytes.h"
#include "Marvane/application/HostSession.h"
#include "Marvane/core/JsonNesting.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/ProjectContent.h"
#include "Marvane/projectbackend/LockFileText.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "host/Json.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using host::DocumentManager;
using testsupport::ReadBytes;
using testsupport::WriteBytes;

// An array nested `depth` levels deep: "[[[...]]]".
std::string NestedArray(int depth) {
    return std::string(static_cast<std::size_t>(depth), '[') +
           std::string(static_cast<std::size_t>(depth), ']');
}

// Objects nested `depth` levels deep, the innermost holding a number: {"a":{"a":...7...}}.
std::string NestedObject(int depth) {
    std::string text;
    for (int level = 0; level < depth; ++level) {
        text += "{\"a\":";
    }
    text += "7";
    text.append(static_cast<std::size_t>(depth), '}');
    return text;
}

// A compact project whose one unknown member nests `depth` levels below the project itself.
std::string ProjectWithDeepMember(int depth) {
    return R"({"formatVersion":1,"name":"Deep","bins":["Footage"],"sequences":["Cut"],"deep":)" +
           NestedObject(depth) + "}";
}

long CountLineBreaks(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

class ProjectAndLockTextTest : public ::testing::Test {
protected:
    void SetUp() override {
        auto& session = host::HostSession::Instance();
        session.preferences.locking = {"Ana Ruiz", "suite-1", true};
        session.userOverride.reset();
    }
    void TearDown() override { testsupport::CloseAllProjects(); }

    const testsupport::TemporaryFolder temporary{"project-text"};
    const fs::path root = temporary.Path();
};

TEST_F(ProjectAndLockTextTest, AProjectNestedTooDeeplyIsRefusedAndLeftAsItWas) {
    // About 70,000 levels, 140 KB: the depth at which writing the project's unknown members
    // used to exhaust the stack while opening it.
    const fs::path deep = root / "Deep.mvproj";
    const std::string bytes =
        R"({"formatVersion":1,"name":"Deep","bins":[],"sequences":[],"deep":)" +
        NestedArray(70000) + "}";
    WriteBytes(deep, bytes);
    const fs::path other = testsupport::WriteProject(root / "Other.mvproj");

    const auto result = DocumentManager::Instance().Open(deep);

    EXPECT_EQ(result.project, nullptr);
    EXPECT_NE(result.error.find("\"" + deep.string() + "\" cannot be read"), std::string::npos)
        << result.error;
    EXPECT_NE(result.error.find(std::to_string(host::kMaximumJsonNesting)), std::string::npos)
        << result.error;
    EXPECT_EQ(ReadBytes(deep), bytes);
    EXPECT_FALSE(fs::exists(deep.string() + ".lock"));
    // The host carries on: other projects open and lock as usual.
    const auto opened = DocumentManager::Instance().Open(other);
    ASSERT_NE(opened.project, nullptr) << opened.error;
    EXPECT_FALSE(opened.project->IsReadOnly());
}

TEST_F(ProjectAndLockTextTest, AProjectJustWithinTheNestingLimitOpensAndOneLevelMoreDoesNot) {
    // The project's own object is the first level.
    const fs::path within = root / "Within.mvproj";
    WriteBytes(within, ProjectWithDeepMember(host::kMaximumJsonNesting - 1));
    const fs::path beyond = root / "Beyond.mvproj";
    const std::string beyondBytes = ProjectWithDeepMember(host::kMaximumJsonNesting);
    WriteBytes(beyond, beyondBytes);

    const auto opened = DocumentManager::Instance().Open(within);
    const auto refused = DocumentManager::Instance().Open(beyond);

    ASSERT_NE(opened.project, nullptr) << opened.error;
    EXPECT_EQ(opened.project->Content().sequences, std::vector<std::string>{"Cut"});
    EXPECT_EQ(refused.project, nullptr);
    EXPECT_NE(refused.error.find("\"" + beyond.string() + "\""), std::string::npos)
        << refused.error;
    EXPECT_EQ(ReadBytes(beyond), beyondBytes);
    EXPECT_FALSE(fs::exists(beyond.string() + ".lock"));
}

TEST_F(ProjectAndLockTextTest, AProjectSavedStaysTheSameSizeWhateverItsDepth) {
    const fs::path project = root / "Deep.mvproj";
    const std::string bytes = ProjectWithDeepMember(400);
    WriteBytes(project, bytes);
    const auto opened = testsupport::OpenProject(project);
    host::ProjectContent content = opened->Content();
    content.sequences.push_back("Cut 2");
    opened->EditContent(content);

    std::string error;
    ASSERT_TRUE(DocumentManager::Instance().Save(opened, error)) << error;

    const std::string saved = ReadBytes(project);
    // Written with two spaces of indent per level, this member alone took about 320 KB.
    EXPECT_LT(saved.size(), bytes.size() + 64)
        << "the saved file has " << saved.size() << " bytes for " << bytes.size() << " read";
    EXPECT_EQ(CountLineBreaks(saved), 1);
    EXPECT_EQ(saved.back(), '\n');
    // The member this host does not know is kept exactly.
    const auto before = nlohmann::json::parse(bytes);
    const auto after = nlohmann::json::parse(saved);
    EXPECT_EQ(after.at("deep"), before.at("deep"));
    EXPECT_EQ(after.at("sequences"), (nlohmann::json{"Cut", "Cut 2"}));
}

TEST_F(ProjectAndLockTextTest, AProjectWrittenFromAnIndentedFileIsNoBiggerThanIt) {
    const fs::path project = root / "Indented.mvproj";
    const std::string bytes = nlohmann::json::parse(ProjectWithDeepMember(40)).dump(2) + "\n";
    WriteBytes(project, bytes);
    const auto opened = testsupport::OpenProject(project);

    const std::string written = host::SerialiseProjectContent(opened->Content());

    EXPECT_LT(written.size(), bytes.size() / 4);
    EXPECT_EQ(CountLineBreaks(written), 1);
    host::ProjectContent again;
    std::string error;
    ASSERT_TRUE(host::ParseProjectContent(written, project, again, error)) << error;
    EXPECT_EQ(again, opened->Content());
}

TEST_F(ProjectAndLockTextTest, AFormatNumberBelowOneIsDamagedAndOneTooBigForAnyIntegerIsNewer) {
    const fs::path project = root / "Odd.mvproj";
    host::ProjectContent content;
    std::string error;

    EXPECT_FALSE(host::ParseProjectContent(R"({"formatVersion":0})", project, content, error));
    EXPECT_NE(error.find("is damaged"), std::string::npos) << error;
    EXPECT_FALSE(host::ParseProjectContent(R"({"formatVersion":-3})", project, content, error));
    EXPECT_NE(error.find("is damaged"), std::string::npos) << error;
    EXPECT_FALSE(host::ParseProjectContent(R"({"formatVersion":18446744073709551615})", project,
                                           content, error));
    EXPECT_NE(error.find("newer version (format 18446744073709551615)"), std::string::npos)
        << error;
    ASSERT_TRUE(host::ParseProjectContent(R"({"formatVersion":1})", project, content, error))
        << error;
    EXPECT_EQ(content.formatVersion, 1);
    EXPECT_EQ(content.name, "Odd");
}

TEST_F(ProjectAndLockTextTest, ALockNestedTooDeeplyIsNoLockAndOneWithinTheLimitIs) {
    const std::string holder = R"({"lockingName":"Ben Okafor","secondLockingString":"suite-2",)";
    host::LockFileContent content;
    content.lockingName = "as it was";

    EXPECT_FALSE(host::DecodeLockFileText(holder + R"("x":)" + NestedArray(30000) + "}", content));
    EXPECT_FALSE(host::DecodeLockFileText(
        holder + R"("x":)" + NestedArray(host::kMaximumJsonNesting) + "}", content));
    EXPECT_EQ(content.lockingName, "as it was");

    ASSERT_TRUE(host::DecodeLockFileText(
        holder + R"("x":)" + NestedArray(host::kMaximumJsonNesting - 1) + R"(,"processId":12})",
        content));
    EXPECT_EQ(content.lockingName, "Ben Okafor");
    EXPECT_EQ(content.secondLockingString, "suite-2");
    EXPECT_EQ(content.processId, 12);
}

TEST_F(ProjectAndLockTextTest, AProjectWhoseLockIsNestedTooDeeplyCountsAsSomeoneElses) {
    const fs::path project = testsupport::WriteProject(root / "Scene 12.mvproj");
    const fs::path lock = host::LockFilePathFor(project);
    const std::string bytes = R"({"lockingName":"Ana Ruiz","secondLockingString":"suite-1","x":)" +
                              NestedArray(30000) + "}";
    WriteBytes(lock, bytes);
    host::LockFileContent content;

    EXPECT_EQ(host::ReadLockFile(lock, content), host::LockFileState::Unreadable);

    const auto opened = DocumentManager::Instance().Open(project);
    ASSERT_NE(opened.project, nullptr) << opened.error;
    EXPECT_TRUE(opened.project->IsReadOnly());
    EXPECT_EQ(ReadBytes(lock), bytes);
}

TEST_F(ProjectAndLockTextTest, ALockWithoutAHolderIsNoLock) {
    host::LockFileContent content;
    EXPECT_FALSE(
        host::DecodeLockFileText(R"({"lockingName":"","secondLockingString":"s"})", content));
    EXPECT_FALSE(host::DecodeLockFileText(R"({"lockingName":"Ana Ruiz"})", content));
    EXPECT_FALSE(
        host::DecodeLockFileText(R"({"lockingName":5,"secondLockingString":"s"})", content));
    EXPECT_FALSE(host::DecodeLockFileText(R"(["Ana Ruiz","s"])", content));
    EXPECT_FALSE(host::DecodeLockFileText(R"({"lockingName":"Ana Ru)", content));
    EXPECT_TRUE(content.lockingName.empty());
}

TEST_F(ProjectAndLockTextTest, ALockWithANulByteAfterItsJsonIsNoLock) {
    host::LockFileContent content;
    const std::string whole = R"({"lockingName":"Ana Ruiz","secondLockingString":"s"})";
    ASSERT_TRUE(host::DecodeLockFileText(whole, content));
    EXPECT_FALSE(host::DecodeLockFileText(whole + '\0' + "anything", content));
}

TEST_F(ProjectAndLockTextTest, AProjectWithANulByteAfterItsJsonIsDamagedAndLeftAsItWas) {
    const fs::path project = root / "Tail.mvproj";
    std::string bytes = R"({"formatVersion":1,"name":"Tail","bins":[],"sequences":[]})";
    bytes += '\0';
    bytes += "half of another save";
    WriteBytes(project, bytes);
    const auto result = DocumentManager::Instance().Open(project);
    EXPECT_EQ(result.project, nullptr);
    EXPECT_NE(result.error.find("is damaged"), std::string::npos) << result.error;
    EXPECT_EQ(ReadBytes(project), bytes);
    EXPECT_FALSE(fs::exists(project.string() + ".lock"));
}

TEST_F(ProjectAndLockTextTest, TextWithANulByteIsNeverJson) {
    EXPECT_TRUE(host::ParseUntrustedJson("{}").is_object());
    EXPECT_TRUE(host::ParseUntrustedJson(std::string("{}") + '\0' + "x").is_discarded());
    EXPECT_TRUE(host::ParseUntrustedJson(std::string("{}") + '\0').is_discarded());
    std::string error;
    EXPECT_FALSE(host::ParseJson(std::string("{}") + '\0' + "x", &error).has_value());
    EXPECT_EQ(error, "JSON text holds a NUL byte");
}

} // namespace
