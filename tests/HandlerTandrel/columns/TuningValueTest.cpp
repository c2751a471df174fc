#include "columns/TuningValue.h"
#include "Marvane/application/TuningStore.h"

#include <gtest/gtest.h>

namespace {

using namespace HandlerTandrel::Columns;

class TuningValueTest : public ::testing::Test {
protected:
    void TearDown() override { host::SetTuningValues({}); }
};

TEST_F(TuningValueTest, WithoutAnEntryTheDefaultsApply) {
    host::SetTuningValues({});
    EXPECT_FLOAT_EQ(ColumnWidth().Get(), 200.0f);
    EXPECT_FLOAT_EQ(NameColumnMinimumWidth().Get(), 70.0f);
    EXPECT_FLOAT_EQ(OtherColumnMinimumWidth().Get(), 50.0f);
}

TEST_F(TuningValueTest, OneEntryOverridesBothMinimumWidths) {
    host::SetTuningValues({{"Tandrel.Columns.MinWidth", "33.5"}});
    EXPECT_FLOAT_EQ(NameColumnMinimumWidth().Get(), 33.5f);
    EXPECT_FLOAT_EQ(OtherColumnMinimumWidth().Get(), 33.5f);
    EXPECT_FLOAT_EQ(ColumnWidth().Get(), 200.0f);
}

TEST_F(TuningValueTest, AChangeInTheStoreIsSeenAtTheNextRead) {
    host::SetTuningValues({{"Tandrel.Columns.Width", "240"}});
    EXPECT_FLOAT_EQ(ColumnWidth().Get(), 240.0f);
    host::SetTuningValues({{"Tandrel.Columns.Width", "180"}});
    EXPECT_FLOAT_EQ(ColumnWidth().Get(), 180.0f);
    host::SetTuningValues({});
    EXPECT_FLOAT_EQ(ColumnWidth().Get(), 200.0f);
}

TEST_F(TuningValueTest, TextThatIsNotANumberBecomesZero) {
    host::SetTuningValues({{"Tandrel.Columns.Width", "wide"}});
    EXPECT_FLOAT_EQ(ColumnWidth().Get(), 0.0f);
}

} // namespace
