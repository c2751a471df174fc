// The one loop over a folder's entries reads what the kernel hands over: every entry once,
// however many reads that takes, links as themselves, and a clear refusal of what is not a
// folder, without waiting for a pipe's writer.
#include "Marvane/fileservices/FolderEntries.h"

#include "TemporaryFolder.h"

#include <cerrno>
#include <dirent.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

struct Seen {
    std::string path;
    unsigned char type = DT_UNKNOWN;
    int times = 0;
};

std::map<std::string, Seen> ListOf(const fs::path& folder, bool& read) {
    std::map<std::string, Seen> seen;
    read = host::ForEachFolderEntry(
        folder.string(), [&](const std::string& name, const std::string& path, unsigned char type) {
            Seen& entry = seen[name];
            entry.path = path;
            entry.type = type;
            ++entry.times;
        });
    return seen;
}

TEST(FolderEntriesTest, AFolderTooBigForOneReadGivesEveryEntryOnce) {
    const testsupport::TemporaryFolder folder("folder-entries");
    // Long names, so that the entries take several of the kernel's reads.
    const std::string padding(120, 'x');
    constexpr int kFiles = 1500;
    for (int index = 0; index < kFiles; ++index) {
        std::ofstream(folder.Path() /
                      ("Shot " + std::to_string(index) + " " + padding + ".mvproj"));
    }
    fs::create_directory(folder.Path() / "Reels");
    bool read = false;
    const std::map<std::string, Seen> seen = ListOf(folder.Path(), read);
    EXPECT_TRUE(read);
    ASSERT_EQ(seen.size(), static_cast<std::size_t>(kFiles + 1));
    EXPECT_EQ(seen.count("."), 0u);
    EXPECT_EQ(seen.count(".."), 0u);
    for (const auto& [name, entry] : seen) {
        EXPECT_EQ(entry.times, 1) << name;
        EXPECT_EQ(entry.path, (folder.Path() / name).string());
    }
    EXPECT_EQ(seen.at("Reels").type, DT_DIR);
    EXPECT_EQ(seen.at("Shot 7 " + padding + ".mvproj").type, DT_REG);
}

TEST(FolderEntriesTest, LinksAreListedAsThemselves) {
    const testsupport::TemporaryFolder folder("folder-entries");
    fs::create_directory(folder.Path() / "Reels");
    fs::create_directory_symlink(folder.Path() / "Reels", folder.Path() / "Link");
    fs::create_symlink(folder.Path() / "Nowhere", folder.Path() / "Dangling");
    bool read = false;
    const std::map<std::string, Seen> seen = ListOf(folder.Path(), read);
    EXPECT_TRUE(read);
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_EQ(seen.at("Link").type, DT_LNK);
    EXPECT_EQ(seen.at("Dangling").type, DT_LNK);
}

TEST(FolderEntriesTest, AnEmptyFolderIsReadWithNothingInIt) {
    const testsupport::TemporaryFolder folder("folder-entries");
    bool read = false;
    EXPECT_TRUE(ListOf(folder.Path(), read).empty());
    EXPECT_TRUE(read);
}

TEST(FolderEntriesTest, WhatIsNotAFolderIsNotReadAndSaysWhy) {
    const testsupport::TemporaryFolder folder("folder-entries");
    std::ofstream(folder.Path() / "Scene 1.mvproj") << "{}";
    ASSERT_EQ(::mkfifo((folder.Path() / "Pipe").c_str(), 0644), 0);
    bool read = true;
    EXPECT_TRUE(ListOf(folder.Path() / "Scene 1.mvproj", read).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(errno, ENOTDIR);
    // A pipe is refused at once: nothing waits for a writer.
    read = true;
    EXPECT_TRUE(ListOf(folder.Path() / "Pipe", read).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(errno, ENOTDIR);
    read = true;
    EXPECT_TRUE(ListOf(folder.Path() / "Gone", read).empty());
    EXPECT_FALSE(read);
    EXPECT_EQ(errno, ENOENT);
}

} // namespace
