#include "host/FileServices.h"

#include "Marvane/fileservices/AccessDeadline.h"
#include "TemporaryFolder.h"
#include "host/CoreTypes.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

host::WideString W(const fs::path& path) {
    return host::ToUTF16(path.string());
}

class ItemPathNormalizerTest : public ::testing::Test {
protected:
    void SetUp() override {
        root = fs::canonical(folder.Path());
        fs::create_directories(root / "Real");
        fs::create_directory_symlink(root / "Real", root / "Link");
        // As under an open production: each access there is a wait of the main thread.
        host::files::GuardFolder(root, std::chrono::milliseconds(2000));
    }
    void TearDown() override { host::files::GuardFolder({}, std::chrono::milliseconds(2000)); }
    testsupport::TemporaryFolder folder{"normalizer"};
    fs::path root;
    host::ItemPathNormalizer normalizer;
};

TEST_F(ItemPathNormalizerTest, AnItemIsWhereItsFolderLeadsWithItsOwnName) {
    EXPECT_EQ(normalizer.Normalize(W(root / "Link" / "Take 1.mvproj")),
              W(root / "Real" / "Take 1.mvproj"));
    // The link itself stays the link.
    EXPECT_EQ(normalizer.Normalize(W(root / "Link")), W(root / "Link"));
}

TEST_F(ItemPathNormalizerTest, DotsAndTrailingSlashesGoAway) {
    EXPECT_EQ(normalizer.Normalize(W(root / "Real" / ".." / "Take 2.mvproj")),
              W(root / "Take 2.mvproj"));
    EXPECT_EQ(normalizer.Normalize(W(root / "Real") + u"/"), W(root / "Real"));
    EXPECT_EQ(normalizer.Normalize(W(root / "Real" / ".")), W(root / "Real"));
    EXPECT_EQ(normalizer.Normalize(W(root / "Real" / "..")), W(root));
    EXPECT_EQ(normalizer.Normalize(u""), u"");
    EXPECT_EQ(normalizer.Normalize(u"/no such item//"), u"/no such item");
}

TEST_F(ItemPathNormalizerTest, ANameSpelledByItsBytesIsSpelledAsAWholePathWouldBe) {
    // The bytes C3 A8 given one by one (as a name that is not UTF-8 is kept) are "è" in UTF-8.
    const host::WideString bytes = W(root / "Link") + u"/Sc\xDCC3\xDCA8ne.mvproj";
    EXPECT_EQ(normalizer.Normalize(bytes), host::ToNormalizedPath(bytes));
    EXPECT_EQ(normalizer.Normalize(bytes), W(root / "Real") + u"/Sc\u00E8ne.mvproj");
    // A byte that makes no UTF-8 stays as it was given.
    const host::WideString latin1 = W(root / "Real") + u"/Sc\xDCE8ne.mvproj";
    EXPECT_EQ(normalizer.Normalize(latin1), latin1);
}

TEST_F(ItemPathNormalizerTest, EachFolderWaitsOnTheDiskOnce) {
    const std::uint64_t before = host::files::BoundedAccessCount();
    for (int number = 0; number < 50; ++number) {
        const std::string name = "Take " + std::to_string(number) + ".mvproj";
        EXPECT_EQ(normalizer.Normalize(W(root / "Link" / name)), W(root / "Real" / name));
    }
    EXPECT_EQ(host::files::BoundedAccessCount() - before, 1u);
}

} // namespace
