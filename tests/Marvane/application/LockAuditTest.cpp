#include "Marvane/application/LockAudit.h"

#include "FileBytes.h"
#include "TemporaryFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using testsupport::ReadBytes;
using testsupport::WriteBytes;

class LockAuditTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(production / ".marvane");
        fs::create_directories(elsewhere);
    }
    bool Record(std::string& error, const std::string& lock = "{}") const {
        return host::RecordLockBreak(production, production / "Reels" / "Scene 12.mvproj", lock,
                                     "unlock", error);
    }

    const testsupport::TemporaryFolder temporary{"lock-audit"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path elsewhere = temporary.Path() / "elsewhere";
};

TEST_F(LockAuditTest, ALockWhoseBytesAreNotUtf8IsRecordedWithoutThrowing) {
    std::string error;
    ASSERT_TRUE(Record(error, "{\"lockingName\": \"Beno\xEEt\"}")) << error;
    const nlohmann::json line = nlohmann::json::parse(ReadBytes(host::LockAuditFile(production)));
    EXPECT_EQ(line.at("lockBytes"), "{\"lockingName\": \"Beno\\xEEt\"}");
    EXPECT_EQ(line.at("project"), "Reels/Scene 12.mvproj");
}

TEST_F(LockAuditTest, TheRecordIsNeverWrittenThroughALinkedFile) {
    WriteBytes(elsewhere / "victim", "kept\n");
    fs::create_symlink(elsewhere / "victim", host::LockAuditFile(production));
    std::string error;
    EXPECT_FALSE(Record(error));
    EXPECT_NE(error.find("is a symbolic link"), std::string::npos) << error;
    EXPECT_EQ(ReadBytes(elsewhere / "victim"), "kept\n");
}

TEST_F(LockAuditTest, TheRecordIsNeverWrittenIntoAHiddenFolderThatIsALink) {
    fs::remove(production / ".marvane");
    fs::create_directory_symlink(elsewhere, production / ".marvane");
    std::string error;
    EXPECT_FALSE(Record(error));
    EXPECT_NE(error.find(".marvane is a symbolic link"), std::string::npos) << error;
    EXPECT_TRUE(fs::is_empty(elsewhere));
}

TEST_F(LockAuditTest, APipeInTheRecordsPlaceIsRefusedAtOnce) {
    ASSERT_EQ(::mkfifo(host::LockAuditFile(production).c_str(), 0644), 0);
    std::string error;
    EXPECT_FALSE(Record(error));
    EXPECT_FALSE(error.empty());
}

TEST_F(LockAuditTest, AHiddenFolderThatIsALinkDoesNotMakeAProduction) {
    const fs::path reels = production / "Reels";
    fs::create_directories(reels);
    fs::create_directory_symlink(elsewhere, reels / ".marvane");
    EXPECT_EQ(host::AuditProductionFor(reels / "Scene 12.mvproj", {}), production);
}

} // namespace
