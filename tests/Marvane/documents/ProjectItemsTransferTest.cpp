#include "Marvane/documents/ProjectItemsTransfer.h"

#include <gtest/gtest.h>

TEST(ProjectItemsTransferTest, ANameTheListHoldsGetsTheNextFreeNumber) {
    EXPECT_EQ(host::FreeItemName({}, "Chase"), "Chase");
    EXPECT_EQ(host::FreeItemName({"Chase"}, "Chase"), "Chase 2");
    EXPECT_EQ(host::FreeItemName({"Chase", "Chase 2", "Chase 3"}, "Chase"), "Chase 4");
    EXPECT_EQ(host::FreeItemName({"Chase 2"}, "Chase"), "Chase");
}
