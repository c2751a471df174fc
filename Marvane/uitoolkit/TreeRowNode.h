#pragma once
// What a tree row holds on the host side: its place in the tree (parent and index, kept up to
// date so that a row finds its model index in constant time), its children, and its cells.
#include "host/MultiColumnTree.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

namespace host {

class TreeModel;

// A row's key in the sort column, kept from the last sort when it is not part of the row's
// name (sorted by name, the default, no row keeps one): one pointer in the row, its length
// and its text in one block when there is a key.
class KeptKey {
public:
    bool empty() const { return !mText; }
    std::u16string_view View() const {
        if (!mText) {
            return {};
        }
        std::uint32_t length = 0;
        std::memcpy(&length, mText.get(), sizeof length);
        return {mText.get() + kHead, length};
    }
    void Set(std::u16string_view key) {
        if (key.empty()) {
            mText.reset();
            return;
        }
        mText = std::make_unique_for_overwrite<char16_t[]>(kHead + key.size());
        const auto length = static_cast<std::uint32_t>(key.size());
        std::memcpy(mText.get(), &length, sizeof length);
        std::copy(key.begin(), key.end(), mText.get() + kHead);
    }
    void Clear() { mText.reset(); }

private:
    static constexpr std::size_t kHead = sizeof(std::uint32_t) / sizeof(char16_t);
    std::unique_ptr<char16_t[]> mText;
};

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
    bool selected = false;
    bool expandBelow = false;        // the folders that come below it open as they come
    bool throughLink = false;        // a link to a folder: "expand all below" does not go into it
    std::uint32_t selectedBelow = 0; // selected rows below this one, at any depth
    std::vector<TreeRowPtr> children;
    KeptKey sortKey;
    WideString name; // the owner's name for the row (a directory view's file name)
    std::unique_ptr<UI_TreeRow::OwnerData> ownerData;
    // Only rows that were drawn have cell views: most rows of a large tree never are.
    std::unique_ptr<CellViews> cells;
};

// How many rows ahead a walk in order starts loading the nodes (and then the names) it reads.
inline constexpr std::size_t kNodesAhead = 8;

// Starts loading a row's node ahead of its use. Rows live all over the heap: a walk over many
// of them in order (a relayout asking each row's flags, a sort asking each row's key) would
// otherwise wait for each one in turn.
inline void PrefetchNode(const UI_TreeRow& row) {
#if defined(__GNUC__)
    // A row's allocation begins anywhere in a cache line (in steps of 16 bytes), so what a
    // layout and a sort read of it (whether it can have children, its children, its index, its
    // kept key) reaches into the next line more often than not. Every field from the first to
    // the kept key lies in the line of the first or in the line of the kept key: both come.
    const TreeRowNode& node = row.Node();
    __builtin_prefetch(&node);
    __builtin_prefetch(&node.sortKey);
#endif
}

// The same for the characters of a row's name, whose node must have been loaded already.
inline void PrefetchName(const UI_TreeRow& row) {
#if defined(__GNUC__)
    __builtin_prefetch(row.Node().name.data());
#endif
}

} // namespace host
