#pragma once
// A multi-column tree of one Name column over rows that are only names, sorted by plain
// comparison, shown on the offscreen platform: the tree's own behaviour, with no owner behind.
#include "Marvane/uitoolkit/TreeView.h"
#include "ViewTestSupport.h"
#include "host/MultiColumnTree.h"

#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace testsupport {

// Sorts the header ascending by `column`, comparing keys as they are.
inline void SortAscendingBy(host::UI_MultiColumnTreeHeaderRow& header,
                            host::UI_MultiColumnTree::ColumnID column) {
    header.SetSortColumn(column);
    header.SetSortDirection(true);
    header.SetStringSortingCallback(
        [](std::u16string_view a, std::u16string_view b) { return a < b; });
}

class NamedRowsTree : public ::testing::Test {
protected:
    static constexpr host::UI_MultiColumnTree::ColumnID kName = 1;

    void SetUp() override {
        header.AppendColumn("Name", kName);
        SortAscendingBy(header, kName);
        tree.SetHeaderRow(&header);
        tree.SetSortDataCallback([this](const host::TreeRowPtr& row,
                                        host::UI_MultiColumnTree::ColumnID) { return Name(row); });
        tree.SetCellTextCallback([this](const host::TreeRowPtr& row,
                                        host::UI_MultiColumnTree::ColumnID) { return Name(row); });
        tree.SetRowHeight(20);
    }
    // Shows the tree once the test set its callbacks.
    void Show() {
        view()->resize(400, 300);
        view()->show();
        SettleEvents();
    }
    QTreeView* view() const { return tree.GetImpl()->view.data(); }
    std::u16string Name(const host::TreeRowPtr& row) const { return names.at(row.get()); }
    host::TreeRowPtr Row(const std::u16string& name, bool folder = false) {
        auto row = std::make_shared<host::UI_TreeRow>(folder);
        names[row.get()] = name;
        return row;
    }

    host::UI_MultiColumnTreeHeaderRow header;
    host::UI_MultiColumnTree tree{"Test.NamedRows"};
    std::map<const host::UI_TreeRow*, std::u16string> names;
};

} // namespace testsupport
