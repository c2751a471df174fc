#include "Marvane/application/HostSession.h"
#include "host/FileServices.h"
#include "state/ProductionSettingsFile.h"
#include "state/ProductionSettingsStore.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <unistd.h>

#include "FileBytes.h"
#include "TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;
using namespace HandlerTandrel;

TabViewStateData FullState(const std::u16string& marker) {
    TabViewStateData state;
    state.mDirectoryViewData.mOpenFolderPaths = {u"/shows/" + marker + u"/Edit", u"/shows/Dailies"};
    state.mDirectoryViewData.mSelectedRowPaths = {u"/shows/" + marker + u"/Edit/Scene 12.mvproj"};
    state.mDirectoryViewData.mHeaderRowData.mColumnDataList = {
        {0x53697A65u, 80.5f}, {0x4E616D65u, 240.0f}, {0x4C6F636Bu, 120.0f}};
    state.mDirectoryViewData.mHeaderRowData.mSortColumnID = 0x4D6F6444u;
    state.mDirectoryViewData.mHeaderRowData.mSortAscending = false;
    state.mDirectoryViewData.mTopVisibleRowPath = u"/shows/" + marker + u"/Edit";
    state.mZoom = 0.75;
    state.mDockedInMainWindow = false;
    state.mFloatingWindowGlobalRect = {-120, 40, 800, 600};
    state.mSearchText = u"sc\u00e8ne " + marker;
    return state;
}

void ExpectSameState(const TabViewStateData& a, const TabViewStateData& b) {
    EXPECT_EQ(a.mDirectoryViewData.mOpenFolderPaths, b.mDirectoryViewData.mOpenFolderPaths);
    EXPECT_EQ(a.mDirectoryViewData.mSelectedRowPaths, b.mDirectoryViewData.mSelectedRowPaths);
    EXPECT_EQ(a.mDirectoryViewData.mTopVisibleRowPath, b.mDirectoryViewData.mTopVisibleRowPath);
    const auto& ah = a.mDirectoryViewData.mHeaderRowData;
    const auto& bh = b.mDirectoryViewData.mHeaderRowData;
    ASSERT_EQ(ah.mColumnDataList.size(), bh.mColumnDataList.size());
    for (std::size_t i = 0; i < ah.mColumnDataList.size(); ++i) {
        EXPECT_EQ(ah.mColumnDataList[i].mColumnID, bh.mColumnDataList[i].mColumnID);
        EXPECT_FLOAT_EQ(ah.mColumnDataList[i].mWidth, bh.mColumnDataList[i].mWidth);
    }
    EXPECT_EQ(ah.mSortColumnID, bh.mSortColumnID);
    EXPECT_EQ(ah.mSortAscending, bh.mSortAscending);
    EXPECT_DOUBLE_EQ(a.mZoom, b.mZoom);
    EXPECT_EQ(a.mDockedInMainWindow, b.mDockedInMainWindow);
    EXPECT_EQ(a.mFloatingWindowGlobalRect.left, b.mFloatingWindowGlobalRect.left);
    EXPECT_EQ(a.mFloatingWindowGlobalRect.top, b.mFloatingWindowGlobalRect.top);
    EXPECT_EQ(a.mFloatingWindowGlobalRect.width, b.mFloatingWindowGlobalRect.width);
    EXPECT_EQ(a.mFloatingWindowGlobalRect.height, b.mFloatingWindowGlobalRect.height);
    EXPECT_EQ(a.mSearchText, b.mSearchText);
}

// One production's state as the file holds it, with one member replaced or left out.
std::string StateJson(const std::string& sortAscending = "true", bool withSearchText = true) {
    std::string text =
        R"({"mDirectoryViewData":{"mOpenFolderPaths":["/a"],"mSelectedRowPaths":[],)"
        R"("mHeaderRowData":{"mColumnDataList":[{"mColumnID":1315007845,"mWidth":200.0}],)"
        R"("mSortColumnID":1315007845,"mSortAscending":)" +
        sortAscending +
        R"(},"mTopVisibleRowPath":""},"mZoom":0.5,"mDockedInMainWindow":true,)"
        R"("mFloatingWindowGlobalRect":{"topleft":{"x":1,"y":2},"size":{"x":3,"y":4}})";
    if (withSearchText) {
        text += R"(,"mSearchText":"find me")";
    }
    return text + "}";
}

class ProductionSettingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        fs::create_directories(profile / "shows" / "Pilot");
        host::HostSession::Instance().profileDirectory = profile;
    }
    void TearDown() override { host::HostSession::Instance().profileDirectory.clear(); }
    fs::path File() const { return profile / "Production Panel Settings"; }
    void WriteFile(const std::string& bytes) const {
        std::ofstream(File(), std::ios::binary) << bytes;
    }
    std::size_t Loaded() {
        store.LoadProductionSettings();
        return store.GetStates().size();
    }

    const testsupport::TemporaryFolder temporary{"settings"};
    const fs::path profile = temporary.Path();
    ProductionSettingsStore store;
};

TEST_F(ProductionSettingsTest, TheFileLivesInTheProfileFolderUnderItsOwnName) {
    EXPECT_EQ(host::ToUTF8(ProductionSettingsFilePath()), File().string());
}

TEST_F(ProductionSettingsTest, SeveralProductionsWithOddPathsAndEveryFieldRoundTrip) {
    const std::vector<std::u16string> paths = {
        host::ToUTF16((profile / "shows" / "Pilot").string()), u"/Volumes/Share/\u00c9t\u00e9 2026",
        u"/net/server/shows/\u65e5\u672c \"quoted\" \\ back", u"/tmp/emoji \U0001F3AC"};
    for (std::size_t i = 0; i < paths.size(); ++i) {
        store.StoreProductionState(paths[i], FullState(std::u16string(1, char16_t(u'A' + i))));
    }
    ProductionSettingsStore reloaded;
    reloaded.LoadProductionSettings();
    ASSERT_EQ(reloaded.GetStates().size(), paths.size());
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const auto state = reloaded.FindProductionState(paths[i]);
        ASSERT_TRUE(state.has_value()) << host::ToUTF8(paths[i]);
        ExpectSameState(*state, FullState(std::u16string(1, char16_t(u'A' + i))));
    }
}

TEST_F(ProductionSettingsTest, TheFileIsCompactWithMembersInRecordOrder) {
    TabViewStateData state;
    state.mDirectoryViewData.mHeaderRowData.mColumnDataList = {{0x4E616D65u, 200.0f}};
    state.mDirectoryViewData.mHeaderRowData.mSortColumnID = 0x4E616D65u;
    state.mFloatingWindowGlobalRect = {1, 2, 3, 4};
    store.StoreProductionState(host::ToUTF16("/p"), state);
    const std::string expected =
        R"({"/p":{"mDirectoryViewData":{"mOpenFolderPaths":[],"mSelectedRowPaths":[],)"
        R"("mHeaderRowData":{"mColumnDataList":[{"mColumnID":1315007845,"mWidth":200.0}],)"
        R"("mSortColumnID":1315007845,"mSortAscending":true},"mTopVisibleRowPath":""},)"
        R"("mZoom":0.0,"mDockedInMainWindow":true,"mFloatingWindowGlobalRect":)"
        R"({"topleft":{"x":1,"y":2},"size":{"x":3,"y":4}},"mSearchText":""}})";
    EXPECT_EQ(testsupport::ReadBytes(File()), expected);
}

TEST_F(ProductionSettingsTest, MembersAreWrittenInAscendingPathOrder) {
    store.StoreProductionState(u"/b", {});
    store.StoreProductionState(u"/a", {});
    const std::string text = testsupport::ReadBytes(File());
    EXPECT_LT(text.find("\"/a\""), text.find("\"/b\""));
}

TEST_F(ProductionSettingsTest, AFileWhoseOnlyMemberLacksSearchTextLoadsNothing) {
    WriteFile(R"({"/p":)" + StateJson("true", false) + "}");
    EXPECT_EQ(Loaded(), 0u);
    WriteFile(R"({"/p":)" + StateJson("true", true) + "}");
    EXPECT_EQ(Loaded(), 1u); // the same file with the key loads
}

TEST_F(ProductionSettingsTest, OneIncompleteProductionDropsTheWholeFile) {
    WriteFile(R"({"/good":)" + StateJson() + R"(,"/bad":)" + StateJson("true", false) + "}");
    EXPECT_EQ(Loaded(), 0u);
}

TEST_F(ProductionSettingsTest, AUtf16LittleEndianFileStartingWithABraceLoads) {
    const std::string utf8 = R"({"/p\u00e9":)" + StateJson() + "}";
    const std::u16string text = host::ToUTF16(utf8);
    std::string bytes;
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<char>(unit & 0xFF));
        bytes.push_back(static_cast<char>(unit >> 8));
    }
    WriteFile(bytes);
    EXPECT_EQ(Loaded(), 1u);
    EXPECT_EQ(store.GetStates().begin()->first, u"/p\u00e9");
    // The same text with a byte-order mark in front is read as UTF-8 and fails.
    WriteFile(std::string("\xFF\xFE", 2) + bytes);
    EXPECT_EQ(Loaded(), 0u);
}

TEST_F(ProductionSettingsTest, SortAscendingIsReadLeniently) {
    WriteFile(R"({"/p":)" + StateJson("\"false\"") + "}");
    ASSERT_EQ(Loaded(), 1u);
    EXPECT_FALSE(
        store.GetStates().begin()->second.mDirectoryViewData.mHeaderRowData.mSortAscending);
    WriteFile(R"({"/p":)" + StateJson("0") + "}");
    ASSERT_EQ(Loaded(), 1u);
    EXPECT_FALSE(
        store.GetStates().begin()->second.mDirectoryViewData.mHeaderRowData.mSortAscending);
    WriteFile(R"({"/p":)" + StateJson("7") + "}");
    ASSERT_EQ(Loaded(), 1u);
    EXPECT_TRUE(store.GetStates().begin()->second.mDirectoryViewData.mHeaderRowData.mSortAscending);
    WriteFile(R"({"/p":)" + StateJson("\"no\"") + "}");
    EXPECT_EQ(Loaded(), 0u);
}

TEST_F(ProductionSettingsTest, IntegersMustBeIntegers) {
    std::string text = StateJson();
    text.replace(text.find("\"x\":1"), 5, "\"x\":1.5");
    WriteFile(R"({"/p":)" + text + "}");
    EXPECT_EQ(Loaded(), 0u);
    std::string id = StateJson();
    id.replace(id.find("\"mColumnID\":1315007845"), 22, "\"mColumnID\":\"Name\"");
    WriteFile(R"({"/p":)" + id + "}");
    EXPECT_EQ(Loaded(), 0u);
}

TEST_F(ProductionSettingsTest, UnknownKeysAreIgnored) {
    std::string text = StateJson();
    text.insert(1, R"("mFutureSetting":[1,2,3],)");
    WriteFile(R"({"/p":)" + text + R"(,"/q":)" + StateJson() + "}");
    EXPECT_EQ(Loaded(), 2u);
}

std::string WithNumberForPath() {
    std::string text = StateJson();
    text.replace(text.find("[\"/a\"]"), 6, "[7]");
    return text;
}

struct Malformed {
    const char* name;
    std::string bytes;
};

class MalformedSettingsTest : public ProductionSettingsTest,
                              public ::testing::WithParamInterface<Malformed> {};

TEST_P(MalformedSettingsTest, LoadsNothingAndNeverThrows) {
    store.StoreProductionState(u"/kept", {}); // something in the store before
    WriteFile(GetParam().bytes);
    EXPECT_NO_THROW(store.LoadProductionSettings());
    EXPECT_TRUE(store.GetStates().empty());
}

INSTANTIATE_TEST_SUITE_P(
    SettingsFiles, MalformedSettingsTest,
    ::testing::Values(Malformed{"Empty", ""}, Malformed{"NotJson", "production settings"},
                      Malformed{"Truncated", R"({"/p":)" + StateJson().substr(0, 60)},
                      Malformed{"RootIsArray", "[1,2]"}, Malformed{"RootIsString", "\"x\""},
                      Malformed{"StateIsNumber", R"({"/p":5})"},
                      Malformed{"PathsNotStrings", R"({"/p":)" + WithNumberForPath() + "}"},
                      Malformed{"NulBytes", std::string("{\0\0\0", 4)}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(ProductionSettingsTest, AnUnreadableFileIsKeptAsideBeforeTheNextSaveWritesOverIt) {
    const std::string damaged = R"({"/p":)" + StateJson("\"no\"") + "}";
    WriteFile(damaged);
    EXPECT_EQ(Loaded(), 0u);
    store.StoreProductionState(u"/new", FullState(u"n"));
    EXPECT_EQ(testsupport::ReadBytes(profile / "Production Panel Settings.unreadable"), damaged);
    ProductionSettingsStore reloaded;
    reloaded.LoadProductionSettings();
    EXPECT_EQ(reloaded.GetStates().size(), 1u);
    // Only once: the next save does not replace the kept copy with the new file.
    store.StoreProductionState(u"/newer", FullState(u"m"));
    EXPECT_EQ(testsupport::ReadBytes(profile / "Production Panel Settings.unreadable"), damaged);
}

TEST_F(ProductionSettingsTest, NumbersOutOfRangeAbandonTheRead) {
    for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
             {"\"mWidth\":200.0", "\"mWidth\":1e39"},
             {"\"x\":1", "\"x\":2147483648"},
             {"\"mColumnID\":1315007845", "\"mColumnID\":4294967296"},
             {"\"mColumnID\":1315007845", "\"mColumnID\":-1"}}) {
        std::string text = StateJson();
        text.replace(text.find(from), from.size(), to);
        WriteFile(R"({"/p":)" + text + "}");
        EXPECT_EQ(Loaded(), 0u) << to;
    }
}

TEST_F(ProductionSettingsTest, DockedIsReadLenientlyToo) {
    std::string text = StateJson();
    text.replace(text.find("\"mDockedInMainWindow\":true"), 26,
                 "\"mDockedInMainWindow\":\"false\"");
    WriteFile(R"({"/p":)" + text + "}");
    ASSERT_EQ(Loaded(), 1u);
    EXPECT_FALSE(store.GetStates().begin()->second.mDockedInMainWindow);
}

TEST_F(ProductionSettingsTest, ValuesThatJsonCannotHoldAreWrittenAsZero) {
    TabViewStateData state = FullState(u"x");
    state.mZoom = std::numeric_limits<double>::quiet_NaN();
    state.mDirectoryViewData.mHeaderRowData.mColumnDataList[0].mWidth =
        std::numeric_limits<float>::infinity();
    store.StoreProductionState(u"/p", state);
    ProductionSettingsStore reloaded;
    reloaded.LoadProductionSettings();
    ASSERT_EQ(reloaded.GetStates().size(), 1u);
    EXPECT_EQ(reloaded.GetStates().begin()->second.mZoom, 0.0);
}

TEST_F(ProductionSettingsTest, AMissingFileLoadsNothing) {
    store.StoreProductionState(u"/kept", {});
    fs::remove(File());
    EXPECT_EQ(Loaded(), 0u);
}

TEST_F(ProductionSettingsTest, PathsThatNormaliseAlikeShareOneEntry) {
    const std::string pilot = (profile / "shows" / "Pilot").string();
    store.StoreProductionState(host::ToUTF16(pilot), FullState(u"one"));
    store.StoreProductionState(host::ToUTF16(pilot + "//"), FullState(u"two"));
    store.StoreProductionState(
        host::ToUTF16((profile / "shows" / "." / "x" / ".." / "Pilot").string()),
        FullState(u"three"));
    fs::create_directory_symlink(profile / "shows", profile / "link to shows");
    store.StoreProductionState(host::ToUTF16((profile / "link to shows" / "Pilot").string()),
                               FullState(u"four"));
    ASSERT_EQ(store.GetStates().size(), 1u);
    ExpectSameState(*store.FindProductionState(host::ToUTF16(pilot + "/")), FullState(u"four"));
}

TEST_F(ProductionSettingsTest, StoringAProductionWithAnEmptyPathWritesNothing) {
    store.StoreProductionState(u"", FullState(u"x"));
    EXPECT_FALSE(fs::exists(File()));
    EXPECT_TRUE(store.GetStates().empty());
    EXPECT_FALSE(store.FindProductionState(u"").has_value());
}

TEST_F(ProductionSettingsTest, ASaveReplacesTheOldFileWholeAndLeavesNothingBeside) {
    store.StoreProductionState(u"/a", FullState(u"a"));
    store.StoreProductionState(u"/a", FullState(u"b"));
    int files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(profile)) {
        ++files;
    }
    EXPECT_EQ(files, 2); // the settings file and the shows folder
    ProductionSettingsStore reloaded;
    reloaded.LoadProductionSettings();
    ExpectSameState(*reloaded.FindProductionState(u"/a"), FullState(u"b"));
}

TEST_F(ProductionSettingsTest, RepeatedSavesDoNotGrowTheFile) {
    store.StoreProductionState(u"/a", FullState(u"a"));
    const auto size = fs::file_size(File());
    for (int i = 0; i < 20; ++i) {
        store.StoreProductionState(u"/a", FullState(u"a"));
    }
    EXPECT_EQ(fs::file_size(File()), size);
}

} // namespace
