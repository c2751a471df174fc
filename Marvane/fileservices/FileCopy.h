#pragma once
// Host-internal copying of files and folder trees, shared by the file services and by adding
// projects to a production.
#include "Marvane/fileservices/ProjectItemRules.h"
#include "host/FileServices.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace host {

// Told of each block of bytes copied (fileDone false) and of each file finished (bytes 0,
// fileDone true); answering false cancels the copy.
using CopyProgress = std::function<bool(std::uint64_t bytes, bool fileDone)>;

// The copy was cancelled through its progress callback.
class CopyCancelled : public FileException {
public:
    using FileException::FileException;
};

// What a copy saw of a file as it read it: the number and hash (ContentHash) of its bytes, and
// the original's identity then (inode, modification time, size), so that the copy can be
// checked by reading the copy alone and a look at the original.
struct FileDigest {
    std::uint64_t size = 0;
    std::uint64_t hash = 0;
    std::uint64_t sourceInode = 0;
    std::int64_t sourceModifiedSeconds = 0;
    std::int64_t sourceModifiedNanoseconds = 0;
    std::int64_t sourceSize = 0;
};
// Digests by the path below the copy's top ("" for a copy of one file).
using CopyDigests = std::unordered_map<std::string, FileDigest>;

// The hash a digest holds, of bytes given in any pieces: 8-byte words, each multiplied,
// rotated and multiplied into the hash, the length and a final mix at the end, so that every
// bit of the bytes reaches every bit of the value.
class ContentHash {
public:
    void Add(const char* bytes, std::size_t count);
    std::uint64_t Value() const;

private:
    void AddWord(std::uint64_t word);

    std::uint64_t mHash = 0x27d4eb2f165667c5ull;
    std::uint64_t mLength = 0;
    std::uint64_t mPending = 0; // bytes not yet making a whole word, lowest first
    unsigned mPendingCount = 0;
};

// The digest of a file's bytes as they are on disk now; false when it cannot be read.
bool DigestOfFile(const std::filesystem::path& path, FileDigest& digest);

// Copies a file, link or folder tree to a path where nothing is yet, recording the top it made
// (everything below it was made by the copy) so that a failure can take it away again
// (RemoveMade). Links are copied as links. The tree is walked by folder descriptors, so a
// tree deeper than the longest path the system takes is copied whole.
// The copy is on disk for good when this returns. Each of its first few files is synced on its
// own; on local disks a larger copy is then made lasting by one sync of the file system at the
// end (which reports any write that failed since the copy began), on network and user-space
// file systems by a sync of every file, the only sync they pass on to their server. Within a
// file system the data is cloned or copied by the kernel where it can be; with digests given,
// every file's bytes pass through here and their digest is kept (for a check of a copy to
// another file system). Throws FileException, or CopyCancelled.
// A move keeps the folders' records of when their files were first made; a copy is made anew
// (newItems), and its folders' records stay behind.
void CopyTree(const std::filesystem::path& from, const std::filesystem::path& to,
              std::vector<std::filesystem::path>& made, const CopyProgress& progress = {},
              CopyDigests* digests = nullptr, bool newItems = false);
// Whether a copy made with digests (to) holds what it read of from: every original is still the
// very file that was read (inode, modification time and size, asked of the file's server where
// it has one), every copied file has the size read, and projects (every file of a project
// folder), whose bytes matter most, read back to the hash taken while copying. Only the copy
// is read again; anything added to the original since, or missing from the copy, fails.
bool CopyHoldsWhatWasRead(const std::filesystem::path& from, const std::filesystem::path& to,
                          const ProjectItemRules& rules, const CopyDigests& digests);
// Whether copies into the folder end with one sync of its file system (a local disk on a
// kernel that reports failed writes to it) rather than a sync of each file.
bool SyncsWholeFileSystem(const std::filesystem::path& folder);
// Removes what a copy made, the last made first.
void RemoveMade(std::vector<std::filesystem::path>& made);
// Removes a file, a link (never what it leads to) or a whole folder tree that a copy made,
// read-only folders too, walking it by folder descriptors.
void RemoveTree(const std::filesystem::path& path);

} // namespace host
