#pragma once
// How many file-system calls the host made, by kind: for the tests and benchmarks that check
// that the work of showing a production follows what is shown, not how big the production is.
#include <cstdint>

namespace host {

// A file object (size, dates) was read from disk: one stat call.
void CountFileInfoStat();
std::uint64_t FileInfoStatCount();

// A directory listing looked at one entry: one stat call.
void CountListingStat();
std::uint64_t ListingStatCount();

// A listing asked for its entries several at a time (a folder of many entries on a share).
void CountParallelListing();
std::uint64_t ParallelListingCount();

// The directory monitor listed a folder to know what it holds (its snapshot).
void CountFolderSnapshot();
std::uint64_t FolderSnapshotCount();

// A walk of a tree read one folder's entries.
void CountFolderWalked();
std::uint64_t FolderWalkedCount();
// A copied file was synced to disk on its own (fsync).
void CountFileSync();
std::uint64_t FileSyncCount();

// A whole file system was synced to disk (syncfs), as a copy on a local disk ends.
void CountFileSystemSync();
std::uint64_t FileSystemSyncCount();

} // namespace host
