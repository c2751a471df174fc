#pragma once
// What a tree row holds on the host side: its place in the tree (parent and index, kept up to
// date so that a row finds its model index in constant time), its children, and its cells.
#include "host/MultiColumnTree.h"

#include <map>
#include <memory>
#include <vector>

namespace host {

class TreeModel;

class TreeRowNode {
public:
    explicit TreeRowNode(UI_TreeRow* row, bool folder) : self(row), canHaveChildren(folder) {}

    UI_TreeRow* self;
    TreeModel* tree = nullptr; // the model the row is in; null when it is in none
    UI_TreeRow* parent = nullptr;
    int index = 0; // among its parent's children
    std::vector<TreeRowPtr> children;
    bool canHaveChildren;
    bool childrenLoaded = false; // children were inserted at least once (maybe none)
    bool customChild = false;
    // The key of the last sort, and whether it is still good.
    WideString sortKey;
    bool sortKeyValid = false;
    // Cell views by column; a null entry means the column draws its text.
    std::map<UI_MultiColumnTree::ColumnID, std::unique_ptr<UI_SubView>> cells;
};

} // namespace host
