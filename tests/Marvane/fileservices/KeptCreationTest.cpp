// A file's "Date Created" across the saves that replace it.
#include "Marvane/fileservices/KeptCreation.h"
#include "Marvane/fileservices/FileWriting.h"
#include "TemporaryFolder.h"
#include "host/FileServices.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

std::int64_t BirthTicks(const fs::path& file) {
    struct statx status {};
    EXPECT_EQ(::statx(AT_FDCWD, file.c_str(), 0, STATX_BTIME, &status), 0);
    return static_cast<std::int64_t>(status.stx_btime.tv_sec) * 10'000'000 +
           status.stx_btime.tv_nsec / 100;
}

class KeptCreationTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::ofstream(file) << "first\n";
        if (::setxattr(file.c_str(), "user.probe", "1", 1, 0) != 0) {
            GTEST_SKIP() << "the test folder's file system keeps no extended attributes";
        }
        ::removexattr(file.c_str(), "user.probe");
    }
    static host::WideString Wide(const fs::path& path) { return host::ToUTF16(path.string()); }

    const testsupport::TemporaryFolder temporary{"kept-creation"};
    const fs::path file = temporary.Path() / "Scene 12.mvproj";
};

TEST_F(KeptCreationTest, AReplacedFileKeepsTheCreationTimeOfTheFirst) {
    const std::int64_t made = host::FileInfo(Wide(file)).Created();
    ASSERT_EQ(made, BirthTicks(file));
    for (int save = 1; save <= 3; ++save) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::string error;
        ASSERT_TRUE(host::ReplaceFile(file, "save " + std::to_string(save) + "\n", error)) << error;
        EXPECT_NE(BirthTicks(file), made) << "the save made a new file";
        EXPECT_EQ(host::FileInfo(Wide(file)).Created(), made) << "after save " << save;
        EXPECT_EQ(host::KeptCreatedTicks(file.string()), made);
    }
}

TEST_F(KeptCreationTest, AFileNeverReplacedShowsItsBirthTime) {
    EXPECT_EQ(host::KeptCreatedTicks(file.string()), std::nullopt);
    EXPECT_EQ(host::FileInfo(Wide(file)).Created(), BirthTicks(file));
}

TEST_F(KeptCreationTest, AnAttributeThatIsNotATimeIsNotTakenForOne) {
    for (const std::string& text :
         {std::string("yesterday"), std::string("12x"), std::string("99999999999999999999999")}) {
        ASSERT_EQ(::setxattr(file.c_str(), host::kCreatedAttribute, text.data(), text.size(), 0),
                  0);
        EXPECT_EQ(host::KeptCreatedTicks(file.string()), std::nullopt) << text;
        EXPECT_EQ(host::FileInfo(Wide(file)).Created(), BirthTicks(file)) << text;
    }
}

TEST_F(KeptCreationTest, NothingIsCarriedFromAFileThatIsNotThereOrNotAFile) {
    const fs::path replacement = temporary.Path() / "new";
    std::ofstream(replacement) << "new\n";
    EXPECT_FALSE(host::CarryCreation((temporary.Path() / "gone").string(), replacement.string()));
    fs::create_directory(temporary.Path() / "folder");
    EXPECT_FALSE(host::CarryCreation((temporary.Path() / "folder").string(), replacement.string()));
    EXPECT_EQ(host::KeptCreatedTicks(replacement.string()), std::nullopt);
}

} // namespace
