#pragma once
// The host's directory monitor behind host/DirectoryMonitor.h. Main thread only.
#include "host/CoreTypes.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

class QSocketNotifier;
class QTimer;

namespace host {

enum class WatchKind { None, Notified, Polled };

class DirectoryMonitor {
public:
    static DirectoryMonitor& Instance();
    ~DirectoryMonitor();

    // Watches the folder (recursive: its tree too). A request for a folder already watched
    // under a recursive watch adds no walk of its tree: its sub-folders are watched already.
    void Monitor(const std::string& folder, bool recursive, bool reportFileChanges);
    void Stop(const std::string& folder, bool recursive);
    // A recursive watch that outlasts every Stop of the folders in its tree, until Unkeep:
    // the production's name index keeps the whole production watched while the panel starts
    // and stops watching the folders it shows. Keep watches the root (and folders made in
    // the tree from now on); the folders of the tree are given by whoever walks it, in parts
    // (KeepWatching: the main thread never walks a tree that may be a share's). A polled folder
    // given so takes its first look at the next round, without a report. Unkeep stops every
    // watch of the tree.
    void Keep(const std::string& root);
    void KeepWatching(const std::vector<std::string>& folders);
    void Unkeep(const std::string& root);
    // Whether a polled folder at or below root still waits for its first look.
    bool FirstLooksPending(const std::string& root) const;
    // The folders changed whose report waits to be delivered, the notifications the system
    // has for us read first: what a search must take in to see the disk as it is now.
    std::vector<std::string> ChangesNotDeliveredYet();
    // How a folder (as the monitor spells it: normalised, UTF-8) is watched.
    WatchKind KindOf(const std::string& folder) const;
    std::size_t WatchedCount() const { return mWatched.size(); }
    // Lets a test see the fallback when the system has no watches left: after this many
    // notification watches, further folders are polled.
    void LimitNotificationWatches(std::size_t limit) { mNotificationLimit = limit; }
    // Stops everything (at shut-down, and between tests).
    void Reset();
    // A listing of the folder is under way and will be shown (ListingShown): a polled watch
    // added meanwhile takes its first look from it instead of listing the folder too (on a
    // share every listing is a round trip per entry).
    void ListingComing(const WideString& folder);
    // A listing of a polled folder was just shown: later rounds compare with what it saw, so
    // a change made between that listing and the watch's own first look is still reported.
    void ListingShown(const WideString& folder, const std::string& snapshot);
    // How many polling rounds have come back since the monitor was made.
    std::uint64_t RoundsSeen() const { return mRounds; }

private:
    struct Watch {
        WatchKind kind = WatchKind::None;
        int descriptor = -1; // the notification watch
        bool reportFileChanges = false;
        std::string snapshot;         // a polled folder's entries as last seen
        bool snapshotKnown = false;   // false while the first look waits for a listing
        unsigned long long inode = 0; // the folder the notification watch is on
    };

    DirectoryMonitor() = default;
    // trustCoveredWatches: a folder watched under a recursive watch is not walked again.
    void WatchTree(const std::string& folder, bool recursive, bool reportFileChanges,
                   bool trustCoveredWatches);
    // lookNow: a polled folder with no listing coming is looked at now, else at the next round.
    void Add(const std::string& folder, bool reportFileChanges, bool lookNow = true);
    void Remove(const std::string& folder);
    bool EnsureNotifications();
    void ReadNotifications();
    // Polling lists the folders on a worker thread (on a share every call is a round trip)
    // and compares the lists here, on the main thread; one round at a time.
    void Poll();
    void PollSeen(std::uint64_t generation,
                  const std::vector<std::pair<std::string, std::string>>& seen);
    void Changed(const std::string& folder);
    void DeliverChanges();
    bool UnderRecursiveRoot(const std::string& folder) const;
    bool UnderKeptRoot(const std::string& folder) const;

    int mNotifyFd = -1;
    std::unique_ptr<QSocketNotifier> mNotifier;
    std::unique_ptr<QTimer> mPollTimer;
    std::unique_ptr<QTimer> mDeliveryTimer;
    std::map<std::string, Watch> mWatched;
    std::map<int, std::string> mByDescriptor;
    std::set<std::string> mRecursiveRoots;
    std::set<std::string> mKeptRoots;
    std::set<std::string> mPending;
    std::set<std::string> mListingsComing; // as the listings spell them
    std::size_t mNotificationLimit = static_cast<std::size_t>(-1);
    std::size_t mNotificationCount = 0;
    std::uint64_t mGeneration = 0; // a Reset makes rounds still under way void
    bool mPolling = false;
    std::uint64_t mRounds = 0;
};

// File systems whose changes made elsewhere never reach this machine's notifications, and where
// every call is a round trip to a server: network and user-space ones (statfs's f_type).
bool IsRemoteFileSystem(long type);

// Whether a folder, spelled as the monitor spells folders (normalised, UTF-8), is polled: it is
// on a network or user-space file system, or polling is forced.
bool RequiresPolling(const std::string& spelledPath);

// What a polled folder holds, as a comparable text: each entry's name, kind, size and
// modification time, in name order. Empty when the folder cannot be read.
std::string FolderSnapshot(const std::string& folder);
// The same text made from entries already read: each entry's name with what lstat said.
std::string FolderSnapshotOf(std::vector<std::pair<std::string, struct stat>> entries);

} // namespace host
