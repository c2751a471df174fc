// A pipe where the host expects a file (a project, the preferences, the panel's settings, a
// recovery record) is refused at once: reading it never waits for a writer that never comes.
#include "Marvane/application/Preferences.h"
#include "Marvane/application/TuningStore.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/fileservices/FileReading.h"
#include "host/FileServices.h"

#include "TemporaryFolder.h"

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

class PipeInPlaceTest : public ::testing::Test {
protected:
    fs::path Pipe(const std::string& name) const {
        const fs::path path = root / name;
        EXPECT_EQ(::mkfifo(path.c_str(), 0644), 0);
        return path;
    }

    const testsupport::TemporaryFolder temporary{"pipes"};
    const fs::path root = temporary.Path();
};

TEST_F(PipeInPlaceTest, ReadingAPipeIsRefusedAtOnce) {
    std::string bytes = "left as it was";
    int error = 0;
    EXPECT_FALSE(host::ReadRegularFile(Pipe("notes.txt"), bytes, error));
    EXPECT_EQ(error, EINVAL);
    EXPECT_EQ(bytes, "left as it was");
    EXPECT_TRUE(host::ReadJsonFile(root / "notes.txt").is_discarded());
    fs::create_directories(root / "folder.json");
    EXPECT_FALSE(host::ReadRegularFile(root / "folder.json", bytes, error));
    EXPECT_EQ(error, EISDIR);
}

TEST_F(PipeInPlaceTest, AProjectThatIsAPipeIsRefusedAndLeavesNoLock) {
    const fs::path project = Pipe("Scene 12.mvproj");
    const host::OpenResult result = host::DocumentManager::Instance().Open(project);
    EXPECT_EQ(result.project, nullptr);
    EXPECT_NE(result.error.find("cannot be read"), std::string::npos) << result.error;
    EXPECT_FALSE(fs::exists(project.string() + ".lock"));
}

TEST_F(PipeInPlaceTest, ThePanelSettingsFileAsAPipeReadsAsNoSettings) {
    std::string bytes;
    EXPECT_FALSE(
        host::ReadWholeFile(host::ToUTF16(Pipe("Production Panel Settings").string()), bytes));
}

TEST_F(PipeInPlaceTest, PreferencesAndTuningAsPipesGiveTheDefaults) {
    Pipe("preferences.json");
    Pipe("tuning.json");
    const host::Preferences preferences = host::LoadPreferences(root);
    EXPECT_TRUE(preferences.lastProduction.empty());
    host::LoadTuningStore(root);
    // Saving keeps the pipe aside instead of writing through it.
    ASSERT_TRUE(host::SavePreferences(root, preferences));
    struct stat status {};
    ASSERT_EQ(::lstat((root / "preferences.json").c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
}

} // namespace
