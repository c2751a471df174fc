#include "utils/CopyFiles.h"

#include "ProductionFixture.h"

#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel::Utils;
using testsupport::TakeInventory;

class CopyFilesTest : public testsupport::ProductionFixture {
protected:
    void SetUp() override {
        ProductionFixture::SetUp();
        edit = production / "Edit";
        archive = production / "Archive";
        Write(edit / "Scene 12.mvproj", "scene twelve");
        Write(edit / "notes.txt", "notes");
        Write(edit / "Reels" / "Reel 1.mvproj", "reel one");
        fs::create_directories(archive);
    }
    std::size_t Boxes() const { return responder->GetRequests().size(); }
    fs::path edit;
    fs::path archive;
};

TEST_F(CopyFilesTest, AnEmptyListDoesNothingAndSucceeds) {
    const auto before = TakeInventory(production);
    EXPECT_TRUE(CopyFiles({}, W(archive), Transfer::kCopy, TakenName::kRefuse));
    EXPECT_EQ(TakeInventory(production), before);
    EXPECT_EQ(Boxes(), 0u);
}

TEST_F(CopyFilesTest, CopiesFilesAndFoldersUnderTheirOwnNames) {
    EXPECT_TRUE(CopyFiles(Ws({edit / "notes.txt", edit / "Reels"}), W(archive), Transfer::kCopy,
                          TakenName::kRefuse));
    EXPECT_EQ(testsupport::ReadBytes(archive / "notes.txt"), "notes");
    EXPECT_EQ(testsupport::ReadBytes(archive / "Reels" / "Reel 1.mvproj"), "reel one");
    EXPECT_TRUE(fs::exists(edit / "Reels" / "Reel 1.mvproj")); // a copy leaves the source
}

TEST_F(CopyFilesTest, AnItemCopiedIntoItsOwnFolderIsSkippedSilently) {
    const auto before = TakeInventory(production);
    EXPECT_TRUE(CopyFiles(Ws({edit / "notes.txt"}), W(edit), Transfer::kCopy, TakenName::kRefuse));
    // The same check comes before unique names, so a unique copy is not made either.
    EXPECT_TRUE(
        CopyFiles(Ws({edit / "notes.txt"}), W(edit), Transfer::kMove, TakenName::kMakeUnique));
    EXPECT_EQ(TakeInventory(production), before);
    EXPECT_EQ(Boxes(), 0u);
}

TEST_F(CopyFilesTest, AnItemInItsOwnFolderSpelledInOtherAsciiCaseIsSkipped) {
    // The folder's name differs from the one given in A-Z case only: the same path for the rule.
    Write(production / "EDIT2" / "take.txt", "take");
    fs::create_directories(production / "edit2");
    Write(production / "edit2" / "take.txt", "other take");
    const auto before = TakeInventory(production);
    EXPECT_TRUE(CopyFiles(Ws({production / "EDIT2" / "take.txt"}), W(production / "edit2"),
                          Transfer::kCopy, TakenName::kRefuse));
    EXPECT_EQ(TakeInventory(production), before);
    EXPECT_EQ(Boxes(), 0u);
}

TEST_F(CopyFilesTest, ANameTakenInAnotherCaseOfAnAccentedLetterIsACollision) {
    Write(production / u8"ÉCLAIR" / "take.txt", "take");
    Write(production / u8"éclair" / "take.txt", "other take");
    const auto before = TakeInventory(production);
    EXPECT_TRUE(CopyFiles(Ws({production / u8"ÉCLAIR" / "take.txt"}), W(production / u8"éclair"),
                          Transfer::kCopy, TakenName::kRefuse));
    ASSERT_EQ(Boxes(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "File Exists");
    EXPECT_EQ(TakeInventory(production), before);
}

TEST_F(CopyFilesTest, ATakenNameRefusesTheWholeBatchWithOneMessage) {
    Write(archive / "notes.txt", "older notes");
    const auto before = TakeInventory(production);
    // The first item could go, but the batch is checked whole before anything is done.
    EXPECT_TRUE(CopyFiles(Ws({edit / "Reels", edit / "notes.txt"}), W(archive), Transfer::kMove,
                          TakenName::kRefuse));
    ASSERT_EQ(Boxes(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "File Exists");
    EXPECT_EQ(responder->GetRequests()[0].text, "File already exists");
    EXPECT_EQ(responder->GetRequests()[0].iconKind, 0);
    EXPECT_EQ(TakeInventory(production), before);
}

TEST_F(CopyFilesTest, ATakenNameGetsANumberWhenUniqueNamesAreAsked) {
    Write(archive / "notes.txt", "older notes");
    Write(archive / "Scene 12.mvproj", "older scene");
    EXPECT_TRUE(CopyFiles(Ws({edit / "notes.txt", edit / "Scene 12.mvproj"}), W(archive),
                          Transfer::kCopy, TakenName::kMakeUnique));
    EXPECT_EQ(testsupport::ReadBytes(archive / "notes_1.txt"), "notes");
    EXPECT_EQ(testsupport::ReadBytes(archive / "Scene 12_1.mvproj"), "scene twelve");
    EXPECT_EQ(testsupport::ReadBytes(archive / "notes.txt"), "older notes");
    EXPECT_EQ(Boxes(), 0u);
}

TEST_F(CopyFilesTest, AFolderIsNotCopiedIntoItsOwnSubFolder) {
    const auto before = TakeInventory(production);
    EXPECT_TRUE(CopyFiles(Ws({edit}), W(edit / "Reels"), Transfer::kCopy, TakenName::kRefuse));
    ASSERT_EQ(Boxes(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Copying to Sub-Directory");
    EXPECT_EQ(responder->GetRequests()[0].text,
              "Can't copy a folder to one of its sub-directories");
    EXPECT_EQ(TakeInventory(production), before);
}

TEST_F(CopyFilesTest, AFolderIsNotCopiedIntoItself) {
    const auto before = TakeInventory(production);
    EXPECT_TRUE(CopyFiles(Ws({edit}), W(edit), Transfer::kCopy, TakenName::kMakeUnique));
    ASSERT_EQ(Boxes(), 1u);
    EXPECT_EQ(responder->GetRequests()[0].title, "Copying to Sub-Directory");
    EXPECT_EQ(TakeInventory(production), before);
}

TEST_F(CopyFilesTest, WithUniqueNamesAFolderWhoseNameIsTakenInItsSubFolderIsNotRefused) {
    Write(edit / "Reels" / "Edit" / "older.txt", "older");
    const auto before = TakeInventory(production);
    // The name is taken there, so the sub-folder rule is never asked: the move is tried and
    // fails on disk (a folder cannot go into itself), losing nothing.
    EXPECT_TRUE(CopyFiles(Ws({edit}), W(edit / "Reels"), Transfer::kMove, TakenName::kMakeUnique));
    EXPECT_EQ(Boxes(), 0u);
    EXPECT_EQ(TakeInventory(production), before);
    // A copy is refused by the file services instead of copying its own copy without end.
    EXPECT_FALSE(CopyFiles(Ws({edit}), W(edit / "Reels"), Transfer::kCopy, TakenName::kMakeUnique));
    EXPECT_EQ(TakeInventory(production), before);
}

TEST_F(CopyFilesTest, TwoSourcesOfOneNamePlanOneDestinationAndTheSecondMeetsTheFirst) {
    Write(production / "B" / "take.txt", "from b");
    Write(production / "A" / "take.txt", "from a");
    // Given b first, but carried out in path order: a's copy is made, b's meets it on disk.
    EXPECT_FALSE(CopyFiles(Ws({production / "B" / "take.txt", production / "A" / "take.txt"}),
                           W(archive), Transfer::kCopy, TakenName::kRefuse));
    EXPECT_EQ(testsupport::ReadBytes(archive / "take.txt"), "from a");
    EXPECT_EQ(ExceptionPlaces(), std::vector<std::string>{"HandlerTandrel::Utils::CopyFiles"});
    EXPECT_EQ(Boxes(), 0u);
}

TEST_F(CopyFilesTest, ASourceNamedTwiceIsCopiedOnce) {
    EXPECT_TRUE(CopyFiles(Ws({edit / "notes.txt", production / "Edit" / "." / "notes.txt"}),
                          W(archive), Transfer::kCopy, TakenName::kMakeUnique));
    EXPECT_TRUE(fs::exists(archive / "notes.txt"));
    EXPECT_FALSE(fs::exists(archive / "notes_1.txt"));
}

TEST_F(CopyFilesTest, ABatchOfFiveWhoseThirdFailsKeepsTheFirstTwoAndStops) {
    const fs::path batch = production / "Batch";
    for (const char* name : {"a1", "a2", "a4", "a5"}) {
        Write(batch / name / "take.txt", name);
    }
    fs::create_directories(batch / "a3");
    // A pipe cannot be copied: the third copy fails part-way.
    ASSERT_EQ(::mkfifo((batch / "a3" / "pipe").c_str(), 0644), 0);
    const auto sourceBefore = TakeInventory(batch);
    // Given in another order; done in path order.
    EXPECT_FALSE(
        CopyFiles(Ws({batch / "a5", batch / "a3", batch / "a1", batch / "a4", batch / "a2"}),
                  W(archive), Transfer::kCopy, TakenName::kRefuse));
    EXPECT_TRUE(fs::exists(archive / "a1" / "take.txt"));
    EXPECT_TRUE(fs::exists(archive / "a2" / "take.txt"));
    EXPECT_FALSE(fs::exists(archive / "a3")); // what the failed copy made is gone
    EXPECT_FALSE(fs::exists(archive / "a4"));
    EXPECT_FALSE(fs::exists(archive / "a5"));
    EXPECT_EQ(TakeInventory(batch), sourceBefore);
    EXPECT_EQ(ExceptionPlaces(), std::vector<std::string>{"HandlerTandrel::Utils::CopyFiles"});
}

TEST_F(CopyFilesTest, LinksInACopiedFolderStayLinks) {
    fs::create_symlink("/etc", edit / "Reels" / "outside");
    EXPECT_TRUE(CopyFiles(Ws({edit / "Reels"}), W(archive), Transfer::kCopy, TakenName::kRefuse));
    EXPECT_TRUE(fs::is_symlink(archive / "Reels" / "outside"));
    EXPECT_EQ(fs::read_symlink(archive / "Reels" / "outside"), fs::path("/etc"));
}

TEST_F(CopyFilesTest, CopyDirectoryTreeMakesTheFoldersOnly) {
    Write(edit / "Reels" / "Day 1" / "Cam A" / "clip.txt", "clip");
    fs::create_directories(edit / "Empty");
    CopyDirectoryTree(W(edit), W(archive / "Skeleton"));
    EXPECT_TRUE(fs::is_directory(archive / "Skeleton" / "Reels" / "Day 1" / "Cam A"));
    EXPECT_TRUE(fs::is_directory(archive / "Skeleton" / "Empty"));
    EXPECT_FALSE(fs::exists(archive / "Skeleton" / "Reels" / "Reel 1.mvproj"));
    EXPECT_FALSE(fs::exists(archive / "Skeleton" / "Reels" / "Day 1" / "Cam A" / "clip.txt"));
    EXPECT_FALSE(fs::exists(archive / "Skeleton" / "notes.txt"));
}

TEST_F(CopyFilesTest, CopyDirectoryTreeLogsAFolderItCannotMakeAndGoesOn) {
    fs::create_directories(edit / "Blocked");
    fs::create_directories(edit / "Open");
    Write(archive / "Skeleton" / "Blocked", "a file where the folder should go");
    CopyDirectoryTree(W(edit), W(archive / "Skeleton"));
    EXPECT_TRUE(fs::is_directory(archive / "Skeleton" / "Open"));
    EXPECT_TRUE(fs::is_directory(archive / "Skeleton" / "Reels"));
    EXPECT_EQ(ExceptionPlaces(),
              std::vector<std::string>{"HandlerTandrel::`anonymous-namespace'::CopyDirectoryTree"});
}

} // namespace
