#include "Marvane/fileservices/FileNameRules.h"
#include "host/FileServices.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using host::FileNameRule;

struct NameCase {
    std::u16string name;
    bool validOnOrdinaryFolder;
    bool validOnWindowsShare;
};

const std::vector<NameCase>& NameTable() {
    static const std::vector<NameCase> table{
        {u"", false, false},
        {u"a/b", false, false},
        {u".", false, false},
        {u"..", false, false},
        {u"Day\u00011", false, false},
        {u"tab\there", false, false},
        {std::u16string(u"nul\0inside", 10), false, false},
        {u"a:b", true, false},
        {u"back\\slash", true, false},
        {u"why?", true, false},
        {u"star*", true, false},
        {u"\"quoted\"", true, false},
        {u"<angle>", true, false},
        {u"pipe|d", true, false},
        {u"ends with dot.", true, false},
        {u"ends with space ", true, false},
        {u"CON", true, false},
        {u"con.txt", true, false},
        {u"lpt1", true, false},
        {u"COM9.mvproj", true, false},
        {u"console", true, true},
        {u"COM0", true, true},
        {u"Scene 4", true, true},
        {u"Sc\u00e8ne \u00e9t\u00e9 \u30b7\u30fc\u30f3", true, true},
        {u".hidden", true, true},
        {std::u16string(255, u'x'), true, true},
        {std::u16string(256, u'x'), false, false},
        // 128 two-byte characters are 256 bytes: too long, though only 128 code units.
        {std::u16string(128, u'\u00e9'), false, false},
    };
    return table;
}

TEST(FileNameRulesTest, TheTableOfNamesOnAnOrdinaryFolderAndOnAWindowsShare) {
    for (const NameCase& entry : NameTable()) {
        const std::string shown = host::ToUTF8(entry.name);
        EXPECT_EQ(host::IsValidFileNameUnder(entry.name, FileNameRule::Posix),
                  entry.validOnOrdinaryFolder)
            << "\"" << shown << "\" on an ordinary folder";
        EXPECT_EQ(host::IsValidFileNameUnder(entry.name, FileNameRule::Windows),
                  entry.validOnWindowsShare)
            << "\"" << shown << "\" on a Windows share";
    }
}

TEST(FileNameRulesTest, SharesOfWindowsAreKnownByTheirFileSystemTypeName) {
    for (const char* type : {"cifs", "CIFS", "smb3", "smb2", "smbfs", "smb"}) {
        EXPECT_EQ(host::FileNameRuleForFileSystemType(type), FileNameRule::Windows) << type;
    }
    for (const char* type :
         {"ext4", "xfs", "btrfs", "tmpfs", "nfs", "fuse", "fuse.sshfs", "overlay", "unknown", ""}) {
        EXPECT_EQ(host::FileNameRuleForFileSystemType(type), FileNameRule::Posix) << type;
    }
}

TEST(FileNameRulesTest, TheMessageListsTheCharactersOfTheRuleInForce) {
    EXPECT_EQ(host::IllegalFilenameCharactersUnder(FileNameRule::Posix), u"/");
    EXPECT_EQ(host::IllegalFilenameCharactersUnder(FileNameRule::Windows), u"/ \\ : * ? \" < > |");
}

TEST(FileNameRulesTest, TheRuleInForceIsThatOfTheFolderSet) {
    testsupport::TemporaryFolder folder("name-rule");
    host::SetFileNameRuleFolder(folder.Path());
    // The test machine's temporary folder is never a Windows share.
    EXPECT_NE(host::FileSystemTypeName(folder.Path()), "unknown");
    EXPECT_EQ(host::CurrentFileNameRule(), FileNameRule::Posix);
    EXPECT_TRUE(host::IsValidFileName(u"a:b"));
    EXPECT_FALSE(host::IsValidFileName(u"a/b"));
    EXPECT_EQ(host::GetIllegalFilenameCharacters(), u"/");
    host::SetFileNameRuleFolder({});
    EXPECT_EQ(host::CurrentFileNameRule(), FileNameRule::Posix);
}

// A production's file system is known from the look taken when it opens: the rule follows it
// without asking the share again.
TEST(FileNameRulesTest, AFileSystemAlreadyKnownDecidesTheRuleWithoutAsking) {
    constexpr long kSmb2 = static_cast<long>(0xFE534D42ul);
    constexpr long kExt4 = 0xEF53;
    EXPECT_EQ(host::FileSystemTypeNameOf(kSmb2), "smb2");
    EXPECT_EQ(host::FileSystemTypeNameOf(kExt4), "ext4");
    EXPECT_EQ(host::FileSystemTypeNameOf(0), "unknown");
    // The folder need not be asked: one that does not exist takes the rule of the type given.
    host::SetFileNameRuleFolder("/no/such/share", kSmb2);
    EXPECT_EQ(host::CurrentFileNameRule(), FileNameRule::Windows);
    EXPECT_FALSE(host::IsValidFileName(u"a:b"));
    host::SetFileNameRuleFolder("/no/such/share", kExt4);
    EXPECT_EQ(host::CurrentFileNameRule(), FileNameRule::Posix);
    host::SetFileNameRuleFolder({}, kSmb2);
    EXPECT_EQ(host::CurrentFileNameRule(), FileNameRule::Posix);
}

TEST(FileNameRulesTest, AFolderThatCannotBeAskedHasNoTypeName) {
    EXPECT_EQ(host::FileSystemTypeName("/no/such/folder/anywhere"), "unknown");
}

class DirectoryRenameTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(root / "Edit" / "Reels");
        std::ofstream(root / "Edit" / "Reels" / "Reel 1.mvproj") << "reel";
        fs::create_directories(root / "Taken");
    }
    std::u16string W(const fs::path& path) const { return host::ToUTF16(path.string()); }

    testsupport::TemporaryFolder folder{"directory-rename"};
    fs::path root = folder.Path();
};

TEST_F(DirectoryRenameTest, RenamingMovesTheFolderWithEverythingInIt) {
    host::Directory directory(W(root / "Edit") + u"/");
    directory.Rename(u"Cut");
    EXPECT_EQ(directory.FullPath(), W(root / "Cut"));
    EXPECT_FALSE(fs::exists(root / "Edit"));
    EXPECT_TRUE(fs::exists(root / "Cut" / "Reels" / "Reel 1.mvproj"));
}

TEST_F(DirectoryRenameTest, ANameInUseIsNeverReplaced) {
    std::ofstream(root / "Taken" / "keep.txt") << "keep";
    host::Directory directory(W(root / "Edit"));
    EXPECT_THROW(directory.Rename(u"Taken"), host::FileException);
    EXPECT_EQ(directory.FullPath(), W(root / "Edit"));
    EXPECT_TRUE(fs::exists(root / "Edit" / "Reels" / "Reel 1.mvproj"));
    EXPECT_TRUE(fs::exists(root / "Taken" / "keep.txt"));
}

TEST_F(DirectoryRenameTest, AnInvalidNameIsRefusedBeforeTheDiskIsTouched) {
    host::Directory directory(W(root / "Edit"));
    EXPECT_THROW(directory.Rename(u"a/b"), host::FileException);
    EXPECT_THROW(directory.Rename(u".."), host::FileException);
    EXPECT_TRUE(fs::is_directory(root / "Edit"));
}

TEST_F(DirectoryRenameTest, AFileIsNotRenamedAsAFolder) {
    host::Directory directory(W(root / "Edit" / "Reels" / "Reel 1.mvproj"));
    EXPECT_THROW(directory.Rename(u"Reel 2.mvproj"), host::FileException);
    EXPECT_TRUE(fs::exists(root / "Edit" / "Reels" / "Reel 1.mvproj"));
}

TEST_F(DirectoryRenameTest, AVanishedFolderThrows) {
    host::Directory directory(W(root / "Gone"));
    EXPECT_THROW(directory.Rename(u"Here"), host::FileException);
    EXPECT_FALSE(fs::exists(root / "Here"));
}

} // namespace
