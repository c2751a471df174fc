// What clicks, keys and drops on the tree ask for, as tables: each row an input and the intent
// it must give.
#include "directoryview/TreeIntents.h"

#include "host/MultiColumnTree.h"
#include "host/OpenProjects.h"
#include "host/UITimers.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace {

using namespace HandlerTandrel;

constexpr std::uint32_t kNoModifier = 0;
constexpr std::uint32_t kAlt = host::kModifierAlternative;
constexpr std::uint32_t kCtrl = host::kModifierControl;
constexpr std::uint32_t kShift = host::kModifierShift;

TEST(TreeIntentsTest, ADoubleClickTogglesAFolderAndOpensAProjectOutsideTheTrash) {
    struct Row {
        RowKind row;
        std::uint32_t modifiers;
        Intent expected;
    };
    const std::vector<Row> table = {
        {RowKind::kFolder, kNoModifier, Intent::kToggleFolder},
        {RowKind::kFolder, kAlt, Intent::kToggleFolder},
        {RowKind::kFolder, kCtrl | kShift, Intent::kToggleFolder},
        {RowKind::kProject, kNoModifier, Intent::kOpenProject},
        {RowKind::kProject, kCtrl, Intent::kOpenProject},
        {RowKind::kProject, kShift, Intent::kOpenProject},
        {RowKind::kProject, kAlt, Intent::kOpenProjectAlternative},
        {RowKind::kProject, kAlt | kShift, Intent::kOpenProjectAlternative},
        {RowKind::kProjectInTrash, kNoModifier, Intent::kNothing},
        {RowKind::kProjectInTrash, kAlt, Intent::kNothing},
        {RowKind::kGone, kNoModifier, Intent::kNothing},
        {RowKind::kGone, kAlt, Intent::kNothing},
    };
    for (std::size_t index = 0; index < table.size(); ++index) {
        EXPECT_EQ(IntentOfDoubleClick(table[index].row, table[index].modifiers),
                  table[index].expected)
            << "row " << index;
    }
}

TEST(TreeIntentsTest, OnlyTheIntentsToOpenAProjectHaveAnOpeningMode) {
    EXPECT_EQ(OpenModeOf(Intent::kOpenProject), host::kOpenModePlain);
    EXPECT_EQ(OpenModeOf(Intent::kOpenProjectAlternative), host::kOpenModeAlternative);
    for (const Intent other : {Intent::kNothing, Intent::kToggleFolder, Intent::kSelectAll,
                               Intent::kStartRename, Intent::kLeaveToTree}) {
        EXPECT_EQ(OpenModeOf(other), std::nullopt);
    }
}

TEST(TreeIntentsTest, CtrlASelectsAllARenameKeyRenamesAndEveryOtherKeyIsTheTrees) {
    const int a = host::KeyCodeOfLetter('A');
    struct Row {
        int keyCode;
        std::uint32_t modifiers;
        bool renameKey;
        Intent expected;
    };
    const std::vector<Row> table = {
        {a, kCtrl, false, Intent::kSelectAll},
        {a, kCtrl | kShift, false, Intent::kLeaveToTree},
        {a, kNoModifier, false, Intent::kLeaveToTree}, // typing to find a row
        {a, kAlt, false, Intent::kLeaveToTree},
        {host::KeyCodeOfLetter('B'), kCtrl, false, Intent::kLeaveToTree},
        // Whether Return or Enter is a rename key now is the rename trigger's to say (see its
        // own tests); a rename key renames, and is used up even when no row can be renamed.
        {host::kKeyCodeReturn, kNoModifier, true, Intent::kStartRename},
        {host::kKeyCodeEnter, kNoModifier, true, Intent::kStartRename},
        {host::kKeyCodeReturn, kNoModifier, false, Intent::kLeaveToTree},
    };
    for (std::size_t index = 0; index < table.size(); ++index) {
        const Row& row = table[index];
        EXPECT_EQ(IntentOfKey(row.keyCode, row.modifiers, row.renameKey), row.expected)
            << "row " << index;
    }
}

TEST(TreeIntentsTest, ARightClickClearsOnNoRowTakesAnUnselectedRowAloneAndKeepsASelectedOne) {
    struct Row {
        bool onRow;
        bool rowSelected;
        MenuSelection expected;
    };
    const std::vector<Row> table = {
        {false, false, MenuSelection::kClear},
        {true, false, MenuSelection::kOnlyThisRow},
        {true, true, MenuSelection::kKeep},
    };
    for (std::size_t index = 0; index < table.size(); ++index) {
        EXPECT_EQ(SelectionOfContextClick(table[index].onRow, table[index].rowSelected),
                  table[index].expected)
            << "row " << index;
    }
}

TEST(TreeIntentsTest, ADropGoesIntoAFolderRowBesideAProjectAfterAGapOrIntoTheProduction) {
    struct Row {
        std::u16string rowPath;
        bool rowIsFolder;
        std::u16string rowAfterGap;
        std::u16string expected;
    };
    const std::u16string production = u"/work/Pilot";
    const std::vector<Row> table = {
        {u"/work/Pilot/Dailies", true, u"", u"/work/Pilot/Dailies"},
        {u"/work/Pilot/Dailies/Day 2", true, u"", u"/work/Pilot/Dailies/Day 2"},
        {u"/work/Pilot/Dailies/Shot 1.mvproj", false, u"", u"/work/Pilot/Dailies"},
        {u"/work/Pilot/Scene 1.mvproj", false, u"", u"/work/Pilot"},
        {u"", false, u"/work/Pilot/Dailies/Shot 2.mvproj", u"/work/Pilot/Dailies"},
        {u"", false, u"/work/Pilot/Music", u"/work/Pilot"},
        {u"", false, u"", u"/work/Pilot"},
    };
    for (std::size_t index = 0; index < table.size(); ++index) {
        DropPlaceFacts place;
        place.production = production + u"/";
        place.rowPath = table[index].rowPath;
        place.rowIsFolder = table[index].rowIsFolder;
        place.rowAfterGap = table[index].rowAfterGap;
        EXPECT_EQ(FolderOfDrop(place), table[index].expected) << "row " << index;
    }
}

} // namespace
