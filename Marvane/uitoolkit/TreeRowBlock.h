#pragma once
// The rows of one folder's listing, made together in one block of memory. A walk over a
// folder's rows in order (Qt laying the tree out again, a sort reading each row's key, the
// sorted order put in place) then reads neighbouring memory. Rows made one by one land wherever
// earlier work left holes in the heap: after a large production was closed, a million rows
// made anew lie scattered over it, and every such walk waits on memory for each row.
//
// The block goes with its last row. A row removed early leaves its place unused until then: at
// most one listing's rows are kept that way.
#include "host/MultiColumnTree.h"

#include <atomic>
#include <cstddef>
#include <memory>

namespace host {

namespace rowblock {

// The shared memory and how many allocations still use it (plus the maker while it makes).
class Block {
public:
    explicit Block(std::size_t slots);
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    // A place of the given size in the block, or null when the block is full or was made for
    // places of another size. Only the thread that makes the rows takes places.
    void* Take(std::size_t size, std::size_t alignment);
    bool Holds(const void* place) const;
    void Retain() { mUsers.fetch_add(1, std::memory_order_relaxed); }
    // Any thread may give back a place: the last one frees the block.
    void Release(const void* place);

    static std::size_t InUse();

private:
    ~Block();

    std::atomic<std::size_t> mUsers{1};
    std::size_t mSlots;
    std::size_t mSlotSize = 0;
    std::size_t mAlignment = 0;
    std::size_t mTaken = 0;
    std::byte* mMemory = nullptr;
};

// Hands out the block's places to what std::allocate_shared makes (the row and its counts, in
// one piece); what does not fit is allocated as usual. Every allocation keeps the block alive.
template <class T> class Allocator {
public:
    using value_type = T;

    explicit Allocator(Block* block) noexcept : mBlock(block) {}
    template <class U>
    Allocator(const Allocator<U>& other) noexcept : mBlock(other.mBlock) {} // NOLINT

    T* allocate(std::size_t count) {
        void* place = count == 1 ? mBlock->Take(sizeof(T), alignof(T)) : nullptr;
        if (!place) {
            place = std::allocator<T>().allocate(count);
            mBlock->Retain();
        }
        return static_cast<T*>(place);
    }
    void deallocate(T* place, std::size_t count) noexcept {
        Block* block = mBlock;
        if (!block->Holds(place)) {
            std::allocator<T>().deallocate(place, count);
        }
        block->Release(place);
    }

    friend bool operator==(const Allocator& a, const Allocator& b) noexcept {
        return a.mBlock == b.mBlock;
    }

private:
    template <class U> friend class Allocator;
    Block* mBlock;
};

} // namespace rowblock

// Makes the rows of one listing in one block of room for `count` rows. Rows beyond the count
// are made one by one.
class TreeRowBlock {
public:
    explicit TreeRowBlock(std::size_t count);
    ~TreeRowBlock();
    TreeRowBlock(const TreeRowBlock&) = delete;
    TreeRowBlock& operator=(const TreeRowBlock&) = delete;

    TreeRowPtr MakeRow(bool canHaveChildren);
    // Blocks of rows that still have rows (or a maker), in the whole process.
    static std::size_t BlocksInUse();

private:
    rowblock::Block* mBlock;
};

} // namespace host
