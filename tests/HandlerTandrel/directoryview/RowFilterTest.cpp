#include "directoryview/RowFilter.h"

#include "Marvane/projectbackend/ProjectFormats.h"
#include "host/ProjectBackEnd.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace HandlerTandrel;

host::DirectoryEntry Entry(const std::string& path, bool isDirectory) {
    host::DirectoryEntry entry;
    entry.fields[std::string(host::kPathField)] = host::ToUTF16(path);
    entry.fields[std::string(host::kIsDirectoryField)] = isDirectory;
    return entry;
}

class RowFilterTest : public ::testing::Test {
protected:
    void SetUp() override {
        wasEnabled = host::IsFolderProjectFormatEnabled();
        host::SetFolderProjectFormatEnabled(true);
    }
    void TearDown() override { host::SetFolderProjectFormatEnabled(wasEnabled); }
    bool wasEnabled = false;
};

TEST_F(RowFilterTest, ProjectsAndFoldersAreShownAndPlainFilesAreNot) {
    EXPECT_TRUE(IsEntryShown(Entry("/shows/Pilot/Scene 12.mvproj", false)));
    EXPECT_TRUE(IsEntryShown(Entry("/shows/Pilot/Edit", true)));
    EXPECT_TRUE(IsEntryShown(Entry("/shows/Pilot/Titles.mvprojd", true)));
    EXPECT_FALSE(IsEntryShown(Entry("/shows/Pilot/notes.txt", false)));
    EXPECT_FALSE(IsEntryShown(Entry("/shows/Pilot/cut.mvproj.bak", false)));
}

TEST_F(RowFilterTest, FoldersNamedWithALeadingDotOrLikeALockAreLeftOut) {
    EXPECT_FALSE(IsEntryShown(Entry("/shows/Pilot/.cache", true)));
    EXPECT_FALSE(IsEntryShown(Entry("/shows/Pilot/Scene 12.mvproj.lock", true)));
    EXPECT_FALSE(IsEntryShown(Entry("/shows/Pilot/Scene 12.mvproj.lock", false)));
}

TEST_F(RowFilterTest, TheShownEntriesKeepTheirOrder) {
    const host::DirectoryContent content = {
        Entry("/p/Zebra.mvproj", false), Entry("/p/notes.txt", false), Entry("/p/Alpha", true),
        Entry("/p/.hidden", true), Entry("/p/Middle.mvproj", false)};
    std::vector<host::WideString> paths;
    for (const host::DirectoryEntry& entry : ShownEntries(content)) {
        paths.push_back(host::EntryPath(entry));
    }
    EXPECT_EQ(paths, (std::vector<host::WideString>{u"/p/Zebra.mvproj", u"/p/Alpha",
                                                    u"/p/Middle.mvproj"}));
}

TEST_F(RowFilterTest, AFolderProjectIsARowThatNeverOpensAndIsNeverListed) {
    EXPECT_FALSE(CanRowOpen(Entry("/shows/Pilot/Titles.mvprojd", true)));
    EXPECT_FALSE(IsFolderListed("/shows/Pilot/Titles.mvprojd"));
    EXPECT_TRUE(CanRowOpen(Entry("/shows/Pilot/Edit", true)));
    EXPECT_TRUE(IsFolderListed("/shows/Pilot/Edit"));
    EXPECT_FALSE(CanRowOpen(Entry("/shows/Pilot/Scene 12.mvproj", false)));
}

TEST_F(RowFilterTest, WithTheFolderFormatOffAFolderProjectIsAPlainFolder) {
    host::SetFolderProjectFormatEnabled(false);
    EXPECT_TRUE(CanRowOpen(Entry("/shows/Pilot/Titles.mvprojd", true)));
    EXPECT_TRUE(IsFolderListed("/shows/Pilot/Titles.mvprojd"));
}

TEST_F(RowFilterTest, AFolderLeftOutOfTheProductionIsNotListed) {
    EXPECT_FALSE(IsFolderListed("/shows/Pilot/.cache"));
}

} // namespace
