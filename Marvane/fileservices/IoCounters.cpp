#include "Marvane/fileservices/IoCounters.h"

#include <atomic>

namespace host {

namespace {

std::atomic<std::uint64_t> gFileInfoStats{0};
std::atomic<std::uint64_t> gListingStats{0};
std::atomic<std::uint64_t> gParallelListings{0};
std::atomic<std::uint64_t> gFolderSnapshots{0};
std::atomic<std::uint64_t> gFoldersWalked{0};
std::atomic<std::uint64_t> gFileSyncs{0};
std::atomic<std::uint64_t> gFileSystemSyncs{0};

} // namespace

void CountFileInfoStat() {
    gFileInfoStats.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t FileInfoStatCount() {
    return gFileInfoStats.load(std::memory_order_relaxed);
}

void CountListingStat() {
    gListingStats.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t ListingStatCount() {
    return gListingStats.load(std::memory_order_relaxed);
}

void CountParallelListing() {
    gParallelListings.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t ParallelListingCount() {
    return gParallelListings.load(std::memory_order_relaxed);
}

void CountFolderWalked() {
    gFoldersWalked.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t FolderWalkedCount() {
    return gFoldersWalked.load(std::memory_order_relaxed);
}

void CountFolderSnapshot() {
    gFolderSnapshots.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t FolderSnapshotCount() {
    return gFolderSnapshots.load(std::memory_order_relaxed);
}

void CountFileSync() {
    gFileSyncs.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t FileSyncCount() {
    return gFileSyncs.load(std::memory_order_relaxed);
}

void CountFileSystemSync() {
    gFileSystemSyncs.fetch_add(1, std::memory_order_relaxed);
}

std::uint64_t FileSystemSyncCount() {
    return gFileSystemSyncs.load(std::memory_order_relaxed);
}

} // namespace host
