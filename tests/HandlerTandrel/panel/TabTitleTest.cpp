#include "Marvane/core/LocalizerControl.h"
#include "columns/DisplayName.h"
#include "handler/TandrelHandler.h"
#include "panel/TandrelTabView.h"

#include <gtest/gtest.h>

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
    EXPECT_TRUE(HandlerTandrel::GetTandrelManagerFolderPath().empty());
}

TEST(TabView, AnswersThePanelMenuID) {
    const auto tabView = std::make_shared<HandlerTandrel::TandrelTabView>();
    EXPECT_EQ(tabView->GetPanelMenuID(), "HandlerTandrel_Wing_Menu");
}

} // namespace
