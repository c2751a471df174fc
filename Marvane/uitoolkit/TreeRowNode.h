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

    // Cell views by column, made when a row is first drawn; a null entry means the column
    // draws its text.
    using CellViews = std::map<UI_MultiColumnTree::ColumnID, std::unique_ptr<UI_SubView>>;

    UI_TreeRow* self;
    TreeModel* tree = nullptr; // the model the row is in; null when it is in none
    UI_TreeRow* parent = nullptr;
    int index = 0; // among its parent's children
    bool canHaveChildren;
    bool childrenLoaded = false; // children were inserted at least once (maybe none)
    bool customChild = false;
    bool sortKeyValid = false; // whether sortKey is the key of the last sort
    // The children wait for the last sort until their folder opens: rows nobody sees are not
    // asked for keys.
    bool childrenUnsorted = false;
    std::vector<TreeRowPtr> children;
    WideString sortKey;
    WideString name; // the owner's name for the row (a directory view's file name)
    std::unique_ptr<UI_TreeRow::OwnerData> ownerData;
    // Only rows that were drawn have cell views: most rows of a large tree never are.
    std::unique_ptr<CellViews> cells;
};

// Starts loading a row's node ahead of its use. Rows live all over the heap: a walk over many
// of them in order (a relayout asking each row's flags, a sort asking each row's key) would
// otherwise wait for each one in turn.
inline void PrefetchNode(const UI_TreeRow& row) {
#if defined(__GNUC__)
    __builtin_prefetch(&row.Node());
#endif
}

// The same for the characters of a row's name, whose node must have been loaded already.
inline void PrefetchName(const UI_TreeRow& row) {
#if defined(__GNUC__)
    __builtin_prefetch(row.Node().name.data());
#endif
}

} // namespace host
