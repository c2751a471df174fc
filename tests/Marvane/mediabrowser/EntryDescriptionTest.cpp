// Entries described for paths from anywhere in a production, as their folders' listings would
// describe them, looked at in one hand-over from the main thread.
#include "Marvane/application/HostSession.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "TemporaryFolder.h"
#include "TestProjects.h"
#include "host/FileServices.h"
#include "host/MediaBrowser.h"

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using host::WideString;

class EntryDescriptionTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::HostSession::Instance().preferences.locking = {"Ana Ruiz", "suite-1", true};
        testsupport::WriteProject(locked);
        testsupport::LockAsAnotherEditor(locked, "Ben Okafor");
        testsupport::WriteProject(unlocked);
        fs::create_directories(production / "Reels");
        ASSERT_EQ(::mkfifo(pipe.c_str(), 0644), 0);
        fs::create_directories(outside.parent_path());
        std::ofstream(outside) << "made elsewhere, and longer than the others";
        fs::create_symlink(outside, link);
        host::files::GuardFolder(production, std::chrono::milliseconds(2000));
    }
    void TearDown() override {
        host::files::GuardFolder({}, std::chrono::milliseconds(500));
        // Lets a look left waiting on the hanging pipe finish, so that its thread ends.
        const int writer = ::open(hanging.c_str(), O_WRONLY | O_NONBLOCK);
        if (writer >= 0) {
            ::close(writer);
        }
    }
    // A read of a pipe nobody writes to blocks for real: the production stops answering, and
    // is taken for not answering from then on.
    void MakeTheProductionHang() const {
        ASSERT_EQ(::mkfifo(hanging.c_str(), 0644), 0);
        const fs::path fifo = hanging;
        host::files::GuardFolder(production, std::chrono::milliseconds(200));
        ASSERT_FALSE(host::files::RunBounded(fifo, [fifo] {
            const int reader = ::open(fifo.c_str(), O_RDONLY);
            if (reader >= 0) {
                ::close(reader);
            }
        }));
        ASSERT_TRUE(host::files::GuardedFolderIsHung());
    }
    static WideString W(const fs::path& path) { return host::ToUTF16(path.string()); }
    static std::int64_t Number(const host::DirectoryEntry& entry, std::string_view field) {
        std::int64_t value = -1;
        EXPECT_TRUE(host::EntryNumber(entry, field, value)) << field;
        return value;
    }

    const testsupport::TemporaryFolder temporary{"entry-description"};
    const fs::path production = temporary.Path() / "Pilot";
    const fs::path locked = production / "Day 1" / "Scene 12.mvproj";
    const fs::path unlocked = production / "Day 2" / "Interview.mvproj";
    const fs::path pipe = production / "Pipe.mvproj";
    const fs::path outside = temporary.Path() / "Elsewhere" / "Notes.txt";
    const fs::path link = production / "Linked.mvproj";
    const fs::path hanging = production / "Hanging.fifo";
};

TEST_F(EntryDescriptionTest, EachPathIsDescribedAsItsFileAndLockReadOnTheirOwnDescribeIt) {
    const std::vector<WideString> paths = {
        W(locked), W(unlocked), W(production / "Reels"), W(production / "Gone.mvproj"),
        W(pipe),   W(link)};
    const host::DirectoryContent entries = host::DescribeEntries(paths);
    ASSERT_EQ(entries.size(), paths.size());
    for (std::size_t index = 0; index < paths.size(); ++index) {
        EXPECT_EQ(host::EntryPath(entries[index]), paths[index]); // in the order asked
    }
    // A project with another editor's lock: its dates and size as the file gives them, and
    // the lock as read for this editor.
    const host::FileInfo file(W(locked));
    EXPECT_FALSE(host::EntryIsDirectory(entries[0]));
    EXPECT_EQ(Number(entries[0], host::kSizeField), static_cast<std::int64_t>(file.Size()));
    EXPECT_EQ(Number(entries[0], host::kModifiedField), file.Modified());
    EXPECT_EQ(Number(entries[0], host::kCreatedField), file.Created());
    EXPECT_TRUE(host::EntryFlag(entries[0], host::kLockListedField));
    const host::ProjectLockFilePtr* lock = host::EntryLock(entries[0]);
    ASSERT_NE(lock, nullptr);
    ASSERT_NE(*lock, nullptr);
    EXPECT_EQ((*lock)->GetOwnerName(), "Ben Okafor");
    EXPECT_FALSE((*lock)->IsOwnedByCaller());
    // A project without a lock says it has none, read.
    EXPECT_FALSE(host::EntryFlag(entries[1], host::kLockListedField));
    ASSERT_NE(host::EntryLock(entries[1]), nullptr);
    EXPECT_EQ(*host::EntryLock(entries[1]), nullptr);
    // A folder has no lock; a path that is not there has nothing but its path.
    EXPECT_TRUE(host::EntryIsDirectory(entries[2]));
    EXPECT_EQ(host::EntryLock(entries[2]), nullptr);
    EXPECT_EQ(entries[3].fields.size(), 1u);
    // A pipe named like a project is looked at without being opened, and has no lock.
    EXPECT_FALSE(host::EntryIsDirectory(entries[4]));
    EXPECT_EQ(Number(entries[4], host::kSizeField), 0);
    EXPECT_FALSE(host::EntryFlag(entries[4], host::kLockListedField));
    // A link is described as what it points to, as a listing does.
    const host::FileInfo target(W(outside));
    EXPECT_EQ(Number(entries[5], host::kSizeField),
              static_cast<std::int64_t>(fs::file_size(outside)));
    EXPECT_EQ(Number(entries[5], host::kModifiedField), target.Modified());
    EXPECT_FALSE(host::EntryFlag(entries[5], host::kLockListedField));
}

TEST_F(EntryDescriptionTest, OnTheMainThreadEveryPathIsLookedAtInOneHandOver) {
    std::vector<WideString> paths;
    for (int index = 0; index < 12; ++index) {
        paths.push_back(W(index % 2 == 0 ? locked : unlocked));
    }
    std::uint64_t before = host::files::BoundedAccessCount();
    EXPECT_EQ(host::DescribeEntries(paths).size(), paths.size());
    EXPECT_EQ(host::files::BoundedAccessCount() - before, 1u);
    // Looked at one by one, each path is a hand-over of its own.
    before = host::files::BoundedAccessCount();
    for (const WideString& path : paths) {
        EXPECT_TRUE(host::FileInfo(path).Exists());
    }
    EXPECT_EQ(host::files::BoundedAccessCount() - before, paths.size());
    // Nothing asked, nothing looked at.
    before = host::files::BoundedAccessCount();
    EXPECT_TRUE(host::DescribeEntries({}).empty());
    EXPECT_EQ(host::files::BoundedAccessCount(), before);
}

TEST_F(EntryDescriptionTest, AProductionTakenForNotAnsweringLeavesEachEntryWithItsPathAlone) {
    MakeTheProductionHang();
    const std::uint64_t failures = host::files::BoundedAccessFailures();
    const host::DirectoryContent entries = host::DescribeEntries({W(locked), W(unlocked)});
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(host::EntryPath(entries[0]), W(locked));
    EXPECT_EQ(host::EntryPath(entries[1]), W(unlocked));
    EXPECT_EQ(entries[0].fields.size(), 1u);
    EXPECT_EQ(entries[1].fields.size(), 1u);
    EXPECT_EQ(host::files::BoundedAccessFailures(), failures + 1);
}

TEST_F(EntryDescriptionTest, PathsOutsideTheProductionAreLookedAtWithoutItsBounds) {
    const std::uint64_t before = host::files::BoundedAccessCount();
    host::DirectoryContent entries = host::DescribeEntries({W(outside), W(locked), W(unlocked)});
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(host::files::BoundedAccessCount() - before, 1u); // the two inside, together
    EXPECT_EQ(host::EntryPath(entries[0]), W(outside));
    EXPECT_EQ(Number(entries[0], host::kSizeField),
              static_cast<std::int64_t>(fs::file_size(outside)));
    EXPECT_TRUE(host::EntryFlag(entries[1], host::kLockListedField));
    // With the production taken for not answering, what lies outside it is still looked at.
    MakeTheProductionHang();
    entries = host::DescribeEntries({W(locked), W(outside)});
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(entries[0].fields.size(), 1u);
    EXPECT_EQ(Number(entries[1], host::kSizeField),
              static_cast<std::int64_t>(fs::file_size(outside)));
}

} // namespace
