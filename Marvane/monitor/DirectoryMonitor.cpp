// Watching folders: inotify for local folders, polling for network file systems and for the
// folders left over when the system has no watches to give.
#include "Marvane/core/InstalledSource.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"

#include "host/AsyncCalls.h"

#include "Marvane/fileservices/FileSystemTypes.h"
#include "Marvane/fileservices/FolderEntries.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/monitor/PollingSettings.h"
#include "host/DebugTrace.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <functional>
#include <mutex>
#include <string>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <vector>

namespace host {

namespace {

// Changes in one folder that arrive within this time are reported once.
constexpr int kCoalesceMs = 100;

constexpr std::uint32_t kEntryEvents =
    IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ATTRIB;
constexpr std::uint32_t kContentEvents = IN_MODIFY | IN_CLOSE_WRITE;

std::string Spelling(const WideString& path) {
    return ToUTF8(ToNormalizedPath(path));
}

bool IsBelow(const std::string& path, const std::string& folder) {
    return path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
           (folder == "/" || path[folder.size()] == '/');
}

std::vector<std::string> SubFolders(const std::string& folder) {
    std::vector<std::string> found;
    for (const WideString& path :
         FindFilesOrDirectories(ToUTF16(folder), true, FindFilter::Directories)) {
        found.push_back(ToUTF8(path));
    }
    return found;
}

} // namespace

std::string FolderSnapshot(const std::string& folder) {
    CountFolderSnapshot();
    std::vector<std::pair<std::string, struct stat>> entries;
    const bool read = ForEachFolderEntry(
        folder, [&entries](const std::string& name, const std::string& path, unsigned char) {
            struct stat status {};
            if (::lstat(path.c_str(), &status) == 0) {
                entries.emplace_back(name, status);
            }
        });
    if (!read) {
        return {};
    }
    return FolderSnapshotOf(std::move(entries));
}

std::string FolderSnapshotOf(std::vector<std::pair<std::string, struct stat>> entries) {
    std::vector<std::string> lines;
    lines.reserve(entries.size());
    for (const auto& [name, status] : entries) {
        lines.push_back(name + '\0' + std::to_string(status.st_mode) + ':' +
                        std::to_string(status.st_size) + ':' +
                        std::to_string(status.st_mtim.tv_sec) + '.' +
                        std::to_string(status.st_mtim.tv_nsec) + '\n');
    }
    std::sort(lines.begin(), lines.end());
    std::string snapshot = "+";
    for (const std::string& line : lines) {
        snapshot += line;
    }
    return snapshot;
}

DirectoryMonitor& DirectoryMonitor::Instance() {
    static DirectoryMonitor monitor;
    return monitor;
}

DirectoryMonitor::~DirectoryMonitor() {
    Reset();
}

void DirectoryMonitor::Reset() {
    mNotifier.reset();
    mPollTimer.reset();
    mDeliveryTimer.reset();
    if (mNotifyFd >= 0) {
        ::close(mNotifyFd);
        mNotifyFd = -1;
    }
    mWatched.clear();
    mByDescriptor.clear();
    mRecursiveRoots.clear();
    mKeptRoots.clear();
    mPending.clear();
    mListingsComing.clear();
    mNotificationCount = 0;
    mNotificationLimit = static_cast<std::size_t>(-1);
    ++mGeneration;
    mPolling = false;
}

void DirectoryMonitor::Monitor(const std::string& folder, bool recursive, bool reportFileChanges) {
    WatchTree(folder, recursive, reportFileChanges, true);
}

void DirectoryMonitor::WatchTree(const std::string& folder, bool recursive, bool reportFileChanges,
                                 bool trustCoveredWatches) {
    struct stat status {};
    if (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return;
    }
    // A folder under a recursive watch already has its sub-folders watched, those made later
    // too: watching it recursively again need not walk its tree (a tree watched folder by
    // folder would be walked once per level).
    const bool covered =
        trustCoveredWatches && !reportFileChanges && mWatched.count(folder) != 0 &&
        std::any_of(mRecursiveRoots.begin(), mRecursiveRoots.end(),
                    [&folder](const std::string& root) { return IsBelow(folder, root); });
    Add(folder, reportFileChanges);
    if (recursive) {
        mRecursiveRoots.insert(folder);
        if (!covered) {
            for (const std::string& sub : SubFolders(folder)) {
                Add(sub, reportFileChanges);
            }
        }
    }
}

void DirectoryMonitor::Stop(const std::string& folder, bool recursive) {
    std::vector<std::string> gone = {folder};
    if (recursive) {
        for (const auto& [path, watch] : mWatched) {
            if (IsBelow(path, folder)) {
                gone.push_back(path);
            }
        }
        std::erase_if(mRecursiveRoots, [&](const std::string& root) {
            return (root == folder || IsBelow(root, folder)) && !mKeptRoots.contains(root);
        });
    } else if (!mKeptRoots.contains(folder)) {
        mRecursiveRoots.erase(folder);
    }
    for (const std::string& path : gone) {
        if (!UnderKeptRoot(path)) {
            Remove(path);
        }
    }
}

void DirectoryMonitor::Keep(const std::string& root) {
    Add(root, false);
    mRecursiveRoots.insert(root);
    mKeptRoots.insert(root);
}

void DirectoryMonitor::KeepWatching(const std::vector<std::string>& folders) {
    for (const std::string& folder : folders) {
        if (UnderKeptRoot(folder) && mWatched.count(folder) == 0) {
            Add(folder, false, false);
        }
    }
}

bool DirectoryMonitor::FirstLooksPending(const std::string& root) const {
    return std::any_of(mWatched.begin(), mWatched.end(), [&root](const auto& watched) {
        return watched.second.kind == WatchKind::Polled && !watched.second.snapshotKnown &&
               (watched.first == root || IsBelow(watched.first, root));
    });
}

void DirectoryMonitor::Unkeep(const std::string& root) {
    if (mKeptRoots.erase(root) != 0) {
        Stop(root, true);
    }
}

std::vector<std::string> DirectoryMonitor::ChangesNotDeliveredYet() {
    if (mNotifyFd >= 0) {
        ReadNotifications();
    }
    return {mPending.begin(), mPending.end()};
}

bool DirectoryMonitor::UnderKeptRoot(const std::string& folder) const {
    return std::any_of(mKeptRoots.begin(), mKeptRoots.end(), [&](const std::string& root) {
        return root == folder || IsBelow(folder, root);
    });
}

WatchKind DirectoryMonitor::KindOf(const std::string& folder) const {
    const auto found = mWatched.find(folder);
    return found == mWatched.end() ? WatchKind::None : found->second.kind;
}

void DirectoryMonitor::Add(const std::string& folder, bool reportFileChanges, bool lookNow) {
    auto [entry, added] = mWatched.try_emplace(folder);
    Watch& watch = entry->second;
    if (!added && (watch.reportFileChanges || !reportFileChanges)) {
        return;
    }
    watch.reportFileChanges = watch.reportFileChanges || reportFileChanges;
    // Asked once: on a share the question is a round trip to the server.
    const bool remote = RequiresPolling(folder);
    if (!remote && mNotificationCount < mNotificationLimit && EnsureNotifications()) {
        const std::uint32_t events = kEntryEvents | (watch.reportFileChanges ? kContentEvents : 0);
        const int descriptor = ::inotify_add_watch(mNotifyFd, folder.c_str(), events);
        if (descriptor >= 0) {
            // The system hands out one watch per folder: a name it is already known by is
            // stale (the folder was renamed behind our back) and gives it up.
            if (const auto known = mByDescriptor.find(descriptor);
                known != mByDescriptor.end() && known->second != folder) {
                const std::string stale = known->second;
                mByDescriptor.erase(known);
                if (const auto old = mWatched.find(stale); old != mWatched.end()) {
                    mWatched.erase(old);
                    --mNotificationCount;
                }
            }
            if (watch.descriptor < 0) {
                ++mNotificationCount;
            }
            struct stat status {};
            watch.inode = ::stat(folder.c_str(), &status) == 0 ? status.st_ino : 0;
            watch.kind = WatchKind::Notified;
            watch.descriptor = descriptor;
            mByDescriptor[descriptor] = folder;
            return;
        }
        if (errno != ENOSPC) {
            Remove(folder);
            return; // gone or unreadable: nothing to watch
        }
    }
    if (watch.kind != WatchKind::Polled && !remote) {
        Trace("Host", 2, "No folder watches left; watching " + folder + " by polling instead");
    }
    const bool wasPolled = watch.kind == WatchKind::Polled;
    watch.kind = WatchKind::Polled;
    if (!wasPolled) {
        // A listing under way gives the first look (the view's own, shown in a moment);
        // without one the folder is looked at now, so a change made from now on is reported.
        watch.snapshotKnown = lookNow && mListingsComing.count(folder) == 0;
        watch.snapshot = watch.snapshotKnown ? FolderSnapshot(folder) : std::string();
    }
    if (!mPollTimer) {
        mPollTimer = std::make_unique<QTimer>();
        QObject::connect(mPollTimer.get(), &QTimer::timeout, [this] { Poll(); });
    }
    if (!mPollTimer->isActive()) {
        mPollTimer->start(std::max(50, CurrentPollingSettings().pollIntervalMs));
    }
}

void DirectoryMonitor::ListingComing(const WideString& folder) {
    mListingsComing.insert(ToUTF8(folder));
}

void DirectoryMonitor::ListingShown(const WideString& folder, const std::string& snapshot) {
    const std::string spelled = ToUTF8(folder);
    mListingsComing.erase(spelled);
    // Listings spell folders as the monitor does; only another spelling needs the disk.
    auto watch = mWatched.find(spelled);
    if (watch == mWatched.end()) {
        watch = mWatched.find(Spelling(folder));
    }
    if (watch == mWatched.end() || watch->second.kind != WatchKind::Polled) {
        return;
    }
    if (!snapshot.empty()) {
        watch->second.snapshot = snapshot;
        watch->second.snapshotKnown = true;
    }
}

void DirectoryMonitor::Remove(const std::string& folder) {
    const auto found = mWatched.find(folder);
    if (found == mWatched.end()) {
        return;
    }
    if (found->second.descriptor >= 0) {
        ::inotify_rm_watch(mNotifyFd, found->second.descriptor);
        mByDescriptor.erase(found->second.descriptor);
        --mNotificationCount;
    }
    mWatched.erase(found);
}

bool DirectoryMonitor::EnsureNotifications() {
    if (mNotifyFd >= 0) {
        return true;
    }
    mNotifyFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (mNotifyFd < 0) {
        Trace("Host", 2, "Folder notifications are not available; folders will be polled");
        return false;
    }
    mNotifier = std::make_unique<QSocketNotifier>(mNotifyFd, QSocketNotifier::Read);
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, [this] { ReadNotifications(); });
    return true;
}

void DirectoryMonitor::ReadNotifications() {
    alignas(inotify_event) char buffer[16 * 1024];
    for (;;) {
        const ssize_t length = ::read(mNotifyFd, buffer, sizeof(buffer));
        if (length <= 0) {
            return;
        }
        for (ssize_t offset = 0; offset < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer + offset);
            offset += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if ((event->mask & IN_Q_OVERFLOW) != 0) {
                // Events were lost: every watched folder may have changed.
                for (const auto& [watched, watch] : mWatched) {
                    Changed(watched);
                }
                continue;
            }
            const auto found = mByDescriptor.find(event->wd);
            if (found == mByDescriptor.end()) {
                continue;
            }
            const std::string folder = found->second;
            if ((event->mask & (IN_DELETE_SELF | IN_MOVE_SELF)) != 0) {
                // The folder is gone from this name, unless its watch already follows it
                // under the new one (made when the parent reported the new name).
                struct stat status {};
                const auto watch = mWatched.find(folder);
                const bool followed =
                    (event->mask & IN_MOVE_SELF) != 0 && watch != mWatched.end() &&
                    ::stat(folder.c_str(), &status) == 0 && status.st_ino == watch->second.inode;
                if (!followed) {
                    Changed(folder);
                    Remove(folder);
                }
                continue;
            }
            if ((event->mask & IN_IGNORED) != 0) {
                // The folder went away: its watch is gone with it.
                mByDescriptor.erase(found);
                if (const auto watch = mWatched.find(folder); watch != mWatched.end()) {
                    watch->second.descriptor = -1;
                    --mNotificationCount;
                    mWatched.erase(watch);
                }
                continue;
            }
            if ((event->mask & IN_ISDIR) != 0 && (event->mask & (IN_CREATE | IN_MOVED_TO)) != 0 &&
                event->len > 0) {
                const std::string made = folder + "/" + event->name;
                const auto parent = mWatched.find(folder);
                if (parent != mWatched.end() && UnderRecursiveRoot(made)) {
                    // Walked even when watched already: folders made in it before its
                    // watch existed are found only so.
                    WatchTree(made, true, parent->second.reportFileChanges, false);
                    // Entries made in it before its watch existed are reported with it.
                    Changed(made);
                }
            }
            Changed(folder);
        }
    }
}

void DirectoryMonitor::Poll() {
    if (mPolling) {
        return; // the last round is still listing
    }
    std::vector<std::string> folders;
    for (const auto& [folder, watch] : mWatched) {
        if (watch.kind == WatchKind::Polled) {
            folders.push_back(folder);
        }
    }
    if (folders.empty()) {
        return;
    }
    mPolling = true;
    const std::uint64_t generation = mGeneration;
    RunOnDefaultExecutor([folders = std::move(folders), generation] {
        std::vector<std::pair<std::string, std::string>> seen;
        seen.reserve(folders.size());
        for (const std::string& folder : folders) {
            seen.emplace_back(folder, FolderSnapshot(folder));
        }
        CallAsyncOnMainThread([seen = std::move(seen), generation] {
            DirectoryMonitor::Instance().PollSeen(generation, seen);
        });
    });
}

void DirectoryMonitor::PollSeen(std::uint64_t generation,
                                const std::vector<std::pair<std::string, std::string>>& seen) {
    if (generation != mGeneration) {
        return;
    }
    mPolling = false;
    ++mRounds;
    std::vector<std::string> changed;
    for (const auto& [folder, now] : seen) {
        const auto watch = mWatched.find(folder);
        // A folder no longer polled, or given up, while the round was listing.
        if (watch == mWatched.end() || watch->second.kind != WatchKind::Polled) {
            continue;
        }
        if (!watch->second.snapshotKnown) {
            // Its first look had not arrived: this round is the first look.
            watch->second.snapshot = now;
            watch->second.snapshotKnown = true;
        } else if (now != watch->second.snapshot) {
            watch->second.snapshot = now;
            changed.push_back(folder);
        }
    }
    for (const std::string& folder : changed) {
        if (UnderRecursiveRoot(folder)) {
            for (const std::string& sub : SubFolders(folder)) {
                const auto parent = mWatched.find(folder);
                if (mWatched.find(sub) == mWatched.end()) {
                    Add(sub, parent != mWatched.end() && parent->second.reportFileChanges);
                }
            }
        }
        Changed(folder);
    }
}

bool DirectoryMonitor::UnderRecursiveRoot(const std::string& folder) const {
    return std::any_of(
        mRecursiveRoots.begin(), mRecursiveRoots.end(),
        [&](const std::string& root) { return root == folder || IsBelow(folder, root); });
}

void DirectoryMonitor::Changed(const std::string& folder) {
    mPending.insert(folder);
    if (!mDeliveryTimer) {
        mDeliveryTimer = std::make_unique<QTimer>();
        mDeliveryTimer->setSingleShot(true);
        QObject::connect(mDeliveryTimer.get(), &QTimer::timeout, [this] { DeliverChanges(); });
    }
    if (!mDeliveryTimer->isActive()) {
        mDeliveryTimer->start(kCoalesceMs);
    }
}

void DirectoryMonitor::DeliverChanges() {
    std::set<std::string> folders;
    folders.swap(mPending);
    const auto station = MessageStation::Get(kDirectoryMonitorStation);
    for (const std::string& folder : folders) {
        station->Broadcast(DirectoryChangedMessage(ToUTF16(folder)));
    }
}

namespace {

InstalledSource<PollingSettings>& PollingSource() {
    static InstalledSource<PollingSettings> source;
    return source;
}

} // namespace

void SetPollingSettingsSource(std::function<PollingSettings()> source) {
    PollingSource().Install(std::move(source));
}

PollingSettings CurrentPollingSettings() {
    return PollingSource().Get();
}

bool IsRemoteFileSystem(long type) {
    switch (static_cast<unsigned long>(type) & 0xFFFFFFFFul) {
    case 0x6969ul:     // NFS
    case 0x517Bul:     // SMB
    case 0xFF534D42ul: // CIFS
    case 0xFE534D42ul: // SMB2
    case 0x65735546ul: // FUSE (sshfs and others)
    case 0x73757245ul: // Coda
    case 0x5346414Ful: // AFS
    case 0x00C36400ul: // Ceph
    case 0x01021997ul: // 9P
    case 0x564Cul:     // NCP
    case 0x7461636Ful: // OCFS2
    case 0x01161970ul: // GFS2
        return true;
    default:
        return false;
    }
}

bool DoesPathRequirePolling(const WideString& path) {
    return RequiresPolling(Spelling(path));
}

bool RequiresPolling(const std::string& spelledPath) {
    if (CurrentPollingSettings().forcePolling) {
        return true;
    }
    // The nearest part of the path that exists decides.
    std::string probe = spelledPath;
    while (!probe.empty()) {
        if (const std::optional<long> type = FileSystemTypeOf(probe)) {
            return IsRemoteFileSystem(*type);
        }
        const std::size_t slash = probe.rfind('/');
        probe = slash == 0 ? (probe == "/" ? std::string() : std::string("/"))
                           : probe.substr(0, slash == std::string::npos ? 0 : slash);
    }
    return false;
}

void MonitorDirectory(const WideString& path, bool recursive, bool reportFileChanges) {
    DirectoryMonitor::Instance().Monitor(Spelling(path), recursive, reportFileChanges);
}

void StopMonitoringDirectory(const WideString& path, bool recursive) {
    DirectoryMonitor::Instance().Stop(Spelling(path), recursive);
}

} // namespace host
