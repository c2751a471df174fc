#include "Marvane/projectbackend/LockBreakLine.h"
#include "Marvane/core/TextEscaping.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {

using host::LockBreak;
using host::LockBreakLine;

nlohmann::json Parsed(const std::string& line) {
    EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    return nlohmann::json::parse(line);
}

TEST(LockBreakLineTest, AWholeLockIsCopiedAsTheJsonItHolds) {
    const nlohmann::json line = Parsed(LockBreakLine(
        {"2026-11-23T09:00:00Z", "Ana Ruiz", "edit-bay-9", "unlock", "Reels/Silent.mvproj",
         R"({"lockingName": "Chloe Diaz", "processId": 4242})"}));
    EXPECT_EQ(line.at("by"), "Ana Ruiz");
    EXPECT_EQ(line.at("project"), "Reels/Silent.mvproj");
    EXPECT_FALSE(line.contains("projectBytes"));
    EXPECT_EQ(line.at("lock").at("lockingName"), "Chloe Diaz");
    EXPECT_EQ(line.at("lockSize"), 48);
    EXPECT_EQ(line.at("lockCut"), false);
}

TEST(LockBreakLineTest, NamesAndLocksThatAreNotUtf8AreWrittenEscapedNeverThrown) {
    const LockBreak lockBreak{"2026-11-23T09:00:00Z",
                              "Beno\xEEt",
                              "bay-\xFF",
                              "take over",
                              "Sc\xE8ne 7.mvproj",
                              "{\"lockingName\": \"Beno\xEEt\"}"};
    const nlohmann::json line = Parsed(LockBreakLine(lockBreak));
    EXPECT_EQ(line.at("project"), "Sc\xEF\xBF\xBDne 7.mvproj");
    EXPECT_EQ(host::UnescapeIllFormedBytes(line.at("projectBytes").get<std::string>()),
              lockBreak.project);
    EXPECT_EQ(host::UnescapeIllFormedBytes(line.at("byBytes").get<std::string>()), lockBreak.by);
    EXPECT_EQ(host::UnescapeIllFormedBytes(line.at("byMachineBytes").get<std::string>()),
              lockBreak.byMachine);
    EXPECT_EQ(host::UnescapeIllFormedBytes(line.at("lockBytes").get<std::string>()),
              lockBreak.lock);
}

TEST(LockBreakLineTest, OnlyTheBeginningOfAHugeLockIsCopiedWithItsSize) {
    const std::string huge = std::string(4095, 'x') + "\xC3\xA9" + std::string(100000, 'y');
    const std::string text =
        LockBreakLine({"now", "Ana Ruiz", "here", "unlock --force", "A", huge});
    EXPECT_LT(text.size(), 4300u);
    const nlohmann::json line = Parsed(text);
    // The character the cut would split is left out whole.
    EXPECT_EQ(line.at("lock"), std::string(4095, 'x'));
    EXPECT_FALSE(line.contains("lockBytes"));
    EXPECT_EQ(line.at("lockSize"), huge.size());
    EXPECT_EQ(line.at("lockCut"), true);
}

TEST(LockBreakLineTest, ALockWithANulByteAfterItsJsonIsCopiedWholeAsText) {
    // A reader of JSON would stop at the NUL byte and take the lock for the value before it.
    const std::string lock = std::string(R"("x")") + '\0' + "more of the lock";
    const nlohmann::json line = Parsed(LockBreakLine(
        {"2026-11-26T09:00:00Z", "Ana Ruiz", "bay-9", "unlock", "Reels/A.mvproj", lock}));
    ASSERT_TRUE(line.at("lock").is_string());
    EXPECT_EQ(line.at("lock").get<std::string>(), lock);
    EXPECT_EQ(line.at("lockSize"), lock.size());
    EXPECT_EQ(line.at("lockCut"), false);
}

TEST(LockBreakLineTest, ALockThatIsJsonButNoObjectIsCopiedAsItsText) {
    // A bare JSON string would read back as the text it stands for, not as the lock's bytes.
    const std::string lock = R"("]n")";
    const nlohmann::json line = Parsed(LockBreakLine(
        {"2026-11-26T09:00:00Z", "Ana Ruiz", "bay-9", "unlock", "Reels/A.mvproj", lock}));
    ASSERT_TRUE(line.at("lock").is_string());
    EXPECT_EQ(line.at("lock").get<std::string>(), lock);
}

} // namespace
