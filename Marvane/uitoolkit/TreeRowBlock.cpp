#include "TreeRowBlock.h"

#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
// A place given back, or not taken yet, reads as freed memory to the address sanitizer, as a
// row allocated on its own would.
#define MARVANE_POISON(place, size) ASAN_POISON_MEMORY_REGION(place, size)
#define MARVANE_UNPOISON(place, size) ASAN_UNPOISON_MEMORY_REGION(place, size)
#else
#define MARVANE_POISON(place, size) ((void)(place), (void)(size))
#define MARVANE_UNPOISON(place, size) ((void)(place), (void)(size))
#endif

namespace host {

namespace rowblock {

namespace {

std::atomic<std::size_t> gBlocksInUse{0};

} // namespace

Block::Block(std::size_t slots) : mSlots(slots) {
    gBlocksInUse.fetch_add(1, std::memory_order_relaxed);
}

std::size_t Block::InUse() {
    return gBlocksInUse.load(std::memory_order_relaxed);
}

void* Block::Take(std::size_t size, std::size_t alignment) {
    if (mTaken == mSlots) {
        return nullptr;
    }
    if (!mMemory) {
        // The size is known at the first row: it is that of the row with its counts.
        mAlignment = alignment;
        mSlotSize = (size + alignment - 1) / alignment * alignment;
        const std::size_t bytes = mSlots * mSlotSize;
        mMemory = static_cast<std::byte*>(::operator new(bytes, std::align_val_t(mAlignment)));
        MARVANE_POISON(mMemory, bytes);
    }
    if (size > mSlotSize || alignment > mAlignment) {
        return nullptr;
    }
    std::byte* place = mMemory + mTaken * mSlotSize;
    ++mTaken;
    MARVANE_UNPOISON(place, mSlotSize);
    Retain();
    return place;
}

bool Block::Holds(const void* place) const {
    const auto* byte = static_cast<const std::byte*>(place);
    return mMemory && byte >= mMemory && byte < mMemory + mSlotSize * mSlots;
}

void Block::Release(const void* place) {
    if (Holds(place)) {
        MARVANE_POISON(const_cast<void*>(place), mSlotSize);
    }
    if (mUsers.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete this;
    }
}

Block::~Block() {
    gBlocksInUse.fetch_sub(1, std::memory_order_relaxed);
    if (mMemory) {
        MARVANE_UNPOISON(mMemory, mSlotSize * mSlots);
        ::operator delete(mMemory, std::align_val_t(mAlignment));
    }
}

} // namespace rowblock

TreeRowBlock::TreeRowBlock(std::size_t count) : mBlock(new rowblock::Block(count)) {}

TreeRowBlock::~TreeRowBlock() {
    // The rows made keep the block as long as they live.
    mBlock->Release(nullptr);
}

std::size_t TreeRowBlock::BlocksInUse() {
    return rowblock::Block::InUse();
}

TreeRowPtr TreeRowBlock::MakeRow(bool canHaveChildren) {
    return std::allocate_shared<UI_TreeRow>(rowblock::Allocator<UI_TreeRow>(mBlock),
                                            canHaveChildren);
}

} // namespace host
