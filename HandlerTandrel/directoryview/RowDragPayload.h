#pragma once
// The data of rows dragged inside the tree: one machine word per row, the row's address, in
// display order. It means something only inside this process, and only to the view that
// started the drag, which keeps the rows themselves and answers an address only with a row
// it still holds: an address is never turned back into a pointer.
#include "host/MultiColumnTree.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace HandlerTandrel {

std::vector<std::uint8_t> EncodeRowPayload(const std::vector<host::TreeRowPtr>& rows);
// The addresses in the payload; nothing when its length is not a whole number of words.
std::optional<std::vector<std::uintptr_t>> DecodeRowPayload(const std::vector<std::uint8_t>& bytes);

// The rows of a drag this view started, kept while the drag runs.
class DraggedRows {
public:
    void Start(const std::vector<host::TreeRowPtr>& rows);
    void End() {
        mRows.clear();
        mMayMove.reset();
    }
    bool IsDragging() const { return !mRows.empty(); }
    // The rows a payload names, in its order; nothing when it names a row this drag does not
    // hold (another view's rows, or a row gone since).
    std::optional<std::vector<host::TreeRowPtr>>
    Resolve(const std::vector<std::uint8_t>& bytes) const;

    // Whether the dragged rows may move at all (locks, the trash itself), as the drag's first
    // look found it: the pointer moves many times a second, and a folder's locks are read
    // through all its sub-folders. A drop looks again.
    const std::optional<bool>& MayMove() const { return mMayMove; }
    void RememberMayMove(bool mayMove) const { mMayMove = mayMove; }

private:
    std::unordered_map<std::uintptr_t, std::weak_ptr<host::UI_TreeRow>> mRows;
    mutable std::optional<bool> mMayMove;
};

} // namespace HandlerTandrel
