#include "Marvane/core/LocalizerControl.h"
#include "Marvane/projectbackend/ProjectFormats.h"
#include "columns/DisplayName.h"
#include "host/ProjectBackEnd.h"
#include "panel/TandrelTabView.h"
#include "utils/ProductionItems.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace {

using HandlerTandrel::DisplayNameOf;
using HandlerTandrel::TabTitleFor;

TEST(DisplayName, AProjectIsShownWithoutItsExtension) {
    EXPECT_EQ(DisplayNameOf(u"/shows/Pilot/Scene 12.mvproj"), u"Scene 12");
    EXPECT_EQ(DisplayNameOf(u"/shows/Pilot/Titles.mvprojd"), u"Titles");
    EXPECT_EQ(DisplayNameOf(u"/shows/Pilot/Titles.mvprojd/"), u"Titles");
}

TEST(DisplayName, FoldersAndOtherFilesKeepTheirFullName) {
    EXPECT_EQ(DisplayNameOf(u"/shows/Pilot/"), u"Pilot");
    EXPECT_EQ(DisplayNameOf(u"/shows/Pilot/Notes.txt"), u"Notes.txt");
    EXPECT_EQ(DisplayNameOf(u"/shows/v1.5 Final"), u"v1.5 Final");
}

TEST(DisplayName, AnEmptyPathHasAnEmptyName) {
    EXPECT_EQ(DisplayNameOf(u""), u"");
}

// A row sorted by name is sorted by the start of its file name, as long as DisplayNameOf says.
TEST(DisplayName, TheStartOfAFileNameThatIsItsDisplayNameIsAsLongAsDisplayNameOfSays) {
    const bool wasEnabled = host::IsFolderProjectFormatEnabled();
    for (const bool folderFormat : {true, false}) {
        host::SetFolderProjectFormatEnabled(folderFormat);
        for (const std::u16string name :
             {u"Scene 12.mvproj", u"Scene 12.MVPROJ", u"Titles.mvprojd", u"v1.5 Final",
              u"Notes.txt", u"Cut.v2.mvproj", u"Trash", u"Pilot", u"a", u".hidden"}) {
            SCOPED_TRACE(std::string(name.begin(), name.end()));
            const std::optional<std::size_t> length = HandlerTandrel::DisplayNameLength(name);
            ASSERT_TRUE(length.has_value());
            EXPECT_EQ(name.substr(0, *length), DisplayNameOf(name));
        }
    }
    host::SetFolderProjectFormatEnabled(wasEnabled);
    EXPECT_EQ(HandlerTandrel::DisplayNameLength(u"Scene 12.mvproj"), 8u);
    EXPECT_EQ(HandlerTandrel::DisplayNameLength(u"Pilot"), 5u);
}

TEST(DisplayName, WhatIsNotAPlainFileNameHasNoLengthToSortBy) {
    EXPECT_FALSE(HandlerTandrel::DisplayNameLength(u"").has_value());
    EXPECT_FALSE(HandlerTandrel::DisplayNameLength(u"/shows/Pilot").has_value());
    EXPECT_FALSE(HandlerTandrel::DisplayNameLength(u"Pilot/").has_value());
    EXPECT_FALSE(HandlerTandrel::DisplayNameLength(u".mvproj").has_value());
}

TEST(TabTitle, APathEndingInPilotAndASeparatorGivesProductionPilot) {
    EXPECT_EQ(TabTitleFor(u"/shows/Pilot/"), "Production: Pilot");
}

TEST(TabTitle, WithNoProductionTheTitleIsProductionWithoutAColon) {
    EXPECT_EQ(TabTitleFor(u""), "Production");
}

TEST(TabTitle, TheNameIsAppendedToTheTranslatedPrefix) {
    host::SetLanguage("de");
    EXPECT_EQ(TabTitleFor(u"/shows/Étude"), "Produktion: Étude");
    host::SetLanguage("en");
    EXPECT_EQ(TabTitleFor(u"/shows/Étude"), "Production: Étude");
}

TEST(TabTitle, NoProductionIsOpenWhenTheHostHasNone) {
    EXPECT_TRUE(HandlerTandrel::Utils::OpenProductionFolder().empty());
}

TEST(TabView, AnswersThePanelMenuID) {
    const auto tabView = std::make_shared<HandlerTandrel::TandrelTabView>();
    EXPECT_EQ(tabView->GetPanelMenuID(), "HandlerTandrel_Wing_Menu");
}

} // namespace
