// The compact list of a project's names reads and changes as a vector of strings would.
#include "Marvane/documents/NameList.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

using host::NameList;

TEST(NameListTest, NamesComeBackInOrderExactlyAsGiven) {
    const std::string withNul("Take\0 2", 7);
    NameList names{"Opening", "", withNul, "Sc\xe8ne 7"};
    names.push_back("Chase");
    ASSERT_EQ(names.size(), 5u);
    EXPECT_EQ(names[0], "Opening");
    EXPECT_EQ(names[1], "");
    EXPECT_EQ(names[2], withNul);
    EXPECT_EQ(names[3], "Sc\xe8ne 7");
    EXPECT_EQ(names.back(), "Chase");
    EXPECT_EQ(names.ToVector(),
              (std::vector<std::string>{"Opening", "", withNul, "Sc\xe8ne 7", "Chase"}));
}

TEST(NameListTest, ANameSetInTheMiddleKeepsTheOthersWhole) {
    NameList names{"Opening", "Chase", "Finale"};
    names.Set(1, "The Long Chase Through the Market");
    EXPECT_EQ(names,
              (std::vector<std::string>{"Opening", "The Long Chase Through the Market", "Finale"}));
    names.Set(1, "C");
    EXPECT_EQ(names, (std::vector<std::string>{"Opening", "C", "Finale"}));
    names.Set(0, "");
    EXPECT_EQ(names, (std::vector<std::string>{"", "C", "Finale"}));
}

TEST(NameListTest, ErasingTakesOneNameAndKeepsTheRestInOrder) {
    NameList names{"Opening", "Chase", "Finale", "Credits"};
    const auto next = names.erase(names.begin() + 1);
    EXPECT_EQ(*next, "Finale");
    EXPECT_EQ(names, (std::vector<std::string>{"Opening", "Finale", "Credits"}));
    names.erase(names.end() - 1);
    EXPECT_EQ(names, (std::vector<std::string>{"Opening", "Finale"}));
    names.erase(names.begin());
    names.erase(names.begin());
    EXPECT_TRUE(names.empty());
}

TEST(NameListTest, ListsAreEqualOnlyWithTheSameNamesInTheSameOrder) {
    EXPECT_EQ(NameList({"ab", "c"}), NameList({"ab", "c"}));
    EXPECT_FALSE(NameList({"ab", "c"}) == NameList({"a", "bc"}));
    EXPECT_FALSE(NameList({"ab", "c"}) == NameList({"c", "ab"}));
    EXPECT_FALSE(NameList({"ab"}) == (std::vector<std::string>{"ab", ""}));
}

TEST(NameListTest, TheListWorksWithTheStandardAlgorithmsAndJson) {
    const NameList names{"Opening", "Chase", "Finale"};
    EXPECT_EQ(std::find(names.begin(), names.end(), "Finale") - names.begin(), 2);
    EXPECT_EQ(std::count(names.begin(), names.end(), "Nothing"), 0);
    EXPECT_EQ(nlohmann::json(names), nlohmann::json::parse(R"(["Opening","Chase","Finale"])"));
    const NameList fromVector(std::vector<std::string>{"Opening"});
    EXPECT_EQ(fromVector, NameList({"Opening"}));
}

} // namespace
