// Which context menu the tree shows for what the selection holds.
#include "directoryview/ContextMenus.h"

#include "utils/MoveItems.h"

#include <gtest/gtest.h>

namespace {

using HandlerTandrel::ContextMenuForSelection;
using namespace HandlerTandrel::Utils;

TEST(ContextMenus, TheTrashFolderAmongTheItemsShowsTheTrashMenuWhateverElseIsSelected) {
    EXPECT_EQ(ContextMenuForSelection(kItemTrashFolder), "HandlerTandrel_Context_Menu_Trash");
    EXPECT_EQ(ContextMenuForSelection(kItemTrashFolder | kItemFile),
              "HandlerTandrel_Context_Menu_Trash");
    EXPECT_EQ(ContextMenuForSelection(kItemTrashFolder | kItemInTrash | kItemFolder),
              "HandlerTandrel_Context_Menu_Trash");
}

TEST(ContextMenus, AnythingInsideTheTrashShowsNoMenuEvenWithOrdinaryProjects) {
    EXPECT_EQ(ContextMenuForSelection(kItemInTrash), "");
    EXPECT_EQ(ContextMenuForSelection(kItemInTrash | kItemFile), "");
    EXPECT_EQ(ContextMenuForSelection(kItemInTrash | kItemFile | kItemFolder), "");
}

TEST(ContextMenus, ProjectsWithFoldersShowTheMixedMenu) {
    EXPECT_EQ(ContextMenuForSelection(kItemFile | kItemFolder),
              "HandlerTandrel_Context_Menu_MixedSelection");
}

TEST(ContextMenus, ProjectsAloneShowTheProjectMenuAndFoldersAloneTheFolderMenu) {
    EXPECT_EQ(ContextMenuForSelection(kItemFile), "HandlerTandrel_Context_Menu_Project");
    EXPECT_EQ(ContextMenuForSelection(kItemFolder), "HandlerTandrel_Context_Menu_Folder");
}

TEST(ContextMenus, NothingClassifiedShowsNoMenu) {
    EXPECT_EQ(ContextMenuForSelection(0), "");
}

} // namespace
