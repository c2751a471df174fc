// The media browser's directory view: directories read off the main thread, rows kept in step
// with the disk.
#include "Marvane/application/HostSession.h"
#include "Marvane/application/ProductionWatch.h"
#include "Marvane/fileservices/FileTimes.h"
#include "Marvane/fileservices/FolderEntries.h"
#include "Marvane/fileservices/IoCounters.h"
#include "Marvane/mediabrowser/EntryStats.h"
#include "Marvane/mediabrowser/ListedLocks.h"
#include "Marvane/mediabrowser/ShownDirectoryViews.h"
#include "Marvane/monitor/DirectoryMonitorImpl.h"
#include "Marvane/projectbackend/LockFiles.h"
#include "Marvane/projectbackend/LockStates.h"
#include "Marvane/uitoolkit/TreeRowBlock.h"
#include "Marvane/uitoolkit/TreeView.h"
#include "host/ApplicationLayer.h"
#include "host/AsyncCalls.h"
#include "host/DebugTrace.h"
#include "host/DirectoryMonitor.h"
#include "host/FileServices.h"
#include "host/Localizer.h"
#include "host/MediaBrowser.h"
#include "host/ProjectBackEnd.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unordered_map>

namespace host {

namespace {

// An entry that is a link (to whatever it leads to): only this view reads it.
constexpr std::string_view kIsLinkField = "isLink";

struct Listing {
    DirectoryContent content;
    std::string snapshot; // as the directory monitor compares a polled folder; empty: unread
    int error = 0;        // why the folder could not be read (errno); 0 when it was
    bool gone = false;    // it could not be read because it is no folder there any more
};

// Whose locks a listing reads: the locking identity when the listing was asked for.
struct LockReading {
    bool wanted = false;
    ByteString name;
    ByteString second;
};

// What the monitor's snapshot keeps of an entry: the kind, size and time lstat would give.
struct stat AsStat(const struct statx& status) {
    struct stat plain {};
    plain.st_mode = status.stx_mode;
    plain.st_size = static_cast<off_t>(status.stx_size);
    plain.st_mtim.tv_sec = status.stx_mtime.tv_sec;
    plain.st_mtim.tv_nsec = status.stx_mtime.tv_nsec;
    return plain;
}

// Reads the projects' lock files that the listing holds, several at a time: on a share each
// read waits for the server, and waiting side by side costs one wait instead of one per lock.
// A lock file the listing holds, and what it saw of it.
struct ListedLock {
    std::size_t entry; // the project's entry in the listing
    LockFileSeen seen;
};

void ReadListedLocks(DirectoryContent& content, const std::vector<ListedLock>& projects,
                     const LockReading& locks) {
    constexpr std::size_t kMostReaders = 8;
    constexpr std::size_t kFewestForReaders = 4; // fewer reads are not worth starting threads
    std::vector<ProjectLockFilePtr> read(projects.size());
    std::vector<std::size_t> unread;
    for (std::size_t index = 0; index < projects.size(); ++index) {
        std::optional<ProjectLockFilePtr> kept =
            KeptListedLock(ToUTF8(EntryPath(content[projects[index].entry])), projects[index].seen,
                           locks.name, locks.second);
        if (kept) {
            read[index] = std::move(*kept);
        } else {
            unread.push_back(index);
        }
    }
    std::vector<char> done(projects.size(), 0); // one flag per read, each set by one reader
    for (std::size_t index = 0; index < projects.size(); ++index) {
        done[index] = std::find(unread.begin(), unread.end(), index) == unread.end() ? 1 : 0;
    }
    std::atomic<std::size_t> next{0};
    const auto readSome = [&] {
        for (std::size_t at = next++; at < unread.size(); at = next++) {
            const std::size_t index = unread[at];
            try {
                read[index] = ReadListedLock(ToUTF8(EntryPath(content[projects[index].entry])),
                                             projects[index].seen, locks.name, locks.second);
                done[index] = 1;
            } catch (const std::exception& error) {
                // Left unread: the panel reads that lock itself.
                Trace("Host", 2, std::string("A listed lock could not be read: ") + error.what());
            }
        }
    };
    std::vector<std::thread> readers;
    if (unread.size() >= kFewestForReaders) {
        try {
            for (std::size_t count = std::min(kMostReaders, unread.size()); count > 1; --count) {
                readers.emplace_back(readSome);
            }
        } catch (const std::system_error&) {
            // No more threads to be had: the ones started and this one share the reads.
        }
    }
    readSome();
    for (std::thread& reader : readers) {
        reader.join();
    }
    for (std::size_t index = 0; index < projects.size(); ++index) {
        if (done[index] != 0) {
            content[projects[index].entry].fields.emplace(std::string(kLockField),
                                                          std::move(read[index]));
        }
    }
}

// Runs on a worker thread, after a folder's read said it is not there (ENOENT, ENOTDIR):
// whether its parent, read now, confirms that no folder stands under its name. A share whose
// server went away may say "not there" of everything; then the parent cannot be read either,
// and nothing is taken as gone.
bool ParentConfirmsGone(const std::string& folder) {
    const std::filesystem::path path(folder);
    const std::string name = path.filename().string();
    bool listed = false;
    bool isFolder = false;
    const bool read = ForEachFolderEntry(
        path.parent_path().string(),
        [&](const std::string& entry, const std::string& entryPath, unsigned char type) {
            if (entry != name) {
                return;
            }
            listed = true;
            struct stat status {};
            isFolder = type == DT_DIR ||
                       ((type == DT_LNK || type == DT_UNKNOWN) &&
                        ::stat(entryPath.c_str(), &status) == 0 && S_ISDIR(status.st_mode));
        });
    return read && (!listed || !isFolder);
}

// Runs on a worker thread: everything in the folder with its kind, size and times (a link's
// as its target's), and the monitor's snapshot of the same moment. One call per entry gives
// all of it, birth time included, so that a record can be made from the listing alone; each
// project says whether its lock file is in the folder too, and, when asked, what it holds.
Listing ReadDirectory(const std::string& folder, const LockReading& locks) {
    Listing listing;
    std::vector<std::pair<std::string, struct stat>> seen;
    std::unordered_map<std::string, LockFileSeen> names; // what was seen of each entry
    std::vector<std::string> entryNames;
    std::vector<std::string> paths;
    std::vector<bool> links;
    const bool read = ForEachFolderEntry(
        folder, [&](const std::string& name, const std::string& path, unsigned char type) {
            entryNames.push_back(name);
            paths.push_back(path);
            links.push_back(type == DT_LNK);
        });
    if (!read) {
        listing.error = errno != 0 ? errno : EIO;
        return listing;
    }
    const std::vector<EntryStatus> statuses = StatFolderEntries(folder, paths);
    listing.content.reserve(paths.size());
    for (std::size_t index = 0; index < paths.size(); ++index) {
        const EntryStatus& found = statuses[index];
        names.emplace(entryNames[index],
                      found.listed ? LockFileSeen::Of(found.own) : LockFileSeen());
        if (found.listed) {
            seen.emplace_back(entryNames[index], AsStat(found.own));
        }
        const struct statx& status = found.status;
        DirectoryEntry entry;
        entry.fields.emplace(std::string(kPathField), ToUTF16(paths[index]));
        entry.fields.emplace(std::string(kIsDirectoryField),
                             found.known && S_ISDIR(status.stx_mode));
        if (links[index]) {
            entry.fields.emplace(std::string(kIsLinkField), true);
        }
        if (found.known) {
            entry.fields.emplace(std::string(kSizeField),
                                 static_cast<std::int64_t>(status.stx_size));
            entry.fields.emplace(std::string(kModifiedField), TicksOf(status.stx_mtime));
            entry.fields.emplace(std::string(kCreatedField),
                                 found.keptCreated.value_or(CreatedTicksOf(status)));
        }
        listing.content.push_back(std::move(entry));
    }
    std::vector<ListedLock> lockedProjects;
    for (std::size_t index = 0; index < listing.content.size(); ++index) {
        DirectoryEntry& entry = listing.content[index];
        const std::string path = ToUTF8(EntryPath(entry));
        if (!IsMarvaneProjectFile(path)) {
            continue;
        }
        const auto lock = names.find(LockFilePathFor(path).filename().string());
        entry.fields.emplace(std::string(kLockListedField), lock != names.end());
        if (lock != names.end() && locks.wanted) {
            lockedProjects.push_back({index, lock->second});
        }
    }
    ReadListedLocks(listing.content, lockedProjects, locks);
    listing.snapshot = FolderSnapshotOf(std::move(seen));
    return listing;
}

} // namespace

const WideString& EntryPath(const DirectoryEntry& entry) {
    const auto found = entry.fields.find(kPathField);
    if (found == entry.fields.end() || !std::holds_alternative<WideString>(found->second)) {
        throw std::logic_error("a directory entry without a text path field");
    }
    return std::get<WideString>(found->second);
}

bool EntryNumber(const DirectoryEntry& entry, std::string_view field, std::int64_t& value) {
    const auto found = entry.fields.find(field);
    if (found == entry.fields.end() || !std::holds_alternative<std::int64_t>(found->second)) {
        return false;
    }
    value = std::get<std::int64_t>(found->second);
    return true;
}

bool EntryFlag(const DirectoryEntry& entry, std::string_view field) {
    const auto found = entry.fields.find(field);
    return found != entry.fields.end() && std::holds_alternative<bool>(found->second) &&
           std::get<bool>(found->second);
}

const ProjectLockFilePtr* EntryLock(const DirectoryEntry& entry) {
    const auto found = entry.fields.find(kLockField);
    return found != entry.fields.end() ? std::get_if<ProjectLockFilePtr>(&found->second) : nullptr;
}

bool EntryIsDirectory(const DirectoryEntry& entry) {
    const auto found = entry.fields.find(kIsDirectoryField);
    return found != entry.fields.end() && std::holds_alternative<bool>(found->second) &&
           std::get<bool>(found->second);
}

MediaBrowserDirectoryView::MediaBrowserDirectoryView(const ByteString& treeNodeID)
    : mTree(std::make_unique<UI_MultiColumnTree>(treeNodeID)) {
    NoteDirectoryViewMade(this);
    mTree->SetDisclosureChangedCallback(
        [this](const TreeRowPtr& row, bool open) { RowDisclosureChanged(row, open); });
    // A project's lock, in words: who holds it, since when they were seen, whether anyone
    // still does. Read when the pointer rests on the row.
    mTree->SetToolTipCallback([this](const TreeRowPtr& row, UI_MultiColumnTree::ColumnID) {
        const WideString rowPath = GetRowPath(row);
        if (const WideString failure = GetReadFailure(rowPath); !failure.empty()) {
            if (row->GetChildCount() > 0) {
                return ToUTF16(Localize("$$$/Marvane/Host/Folder/UnreadableNow=This folder cannot "
                                        "be read now (@0): what it held when it was last read "
                                        "is shown.",
                                        {ToUTF8(failure)}));
            }
            return ToUTF16(Localize("$$$/Marvane/Host/Folder/Unreadable=This folder cannot be "
                                    "read (@0), so what it holds is not shown.",
                                    {ToUTF8(failure)}));
        }
        const std::string path = ToUTF8(rowPath);
        LockReport lock;
        if (path.empty() || !IsMarvaneProjectFile(path) ||
            !InspectLock(
                path, std::chrono::seconds(HostSession::Instance().preferences.silentLockSeconds),
                lock)) {
            return WideString();
        }
        return ToUTF16(DescribeLock(lock));
    });
}

MediaBrowserDirectoryView::~MediaBrowserDirectoryView() {
    NoteDirectoryViewGone(this);
    StopWatchingFolders();
    if (mListening) {
        MessageStation::Get(kDirectoryMonitorStation)->Unsubscribe(this);
    }
}

void MediaBrowserDirectoryView::StartListening() {
    if (!mListening) {
        MessageStation::Get(kDirectoryMonitorStation)->Subscribe(weak_from_this());
        mListening = true;
    }
}

void MediaBrowserDirectoryView::SetRootPath(const WideString& path) {
    StopWatchingFolders();
    mRowsByPathHash.clear();
    mReadFailures.clear();
    mRetryDelaysMs.clear();
    mRootPath = path.empty() ? WideString() : ToNormalizedPath(path);
}

void MediaBrowserDirectoryView::StopWatchingFolders() {
    for (const WideString& folder : mWatchedFolders) {
        StopMonitoringDirectory(folder, false);
    }
    mWatchedFolders.clear();
}

void MediaBrowserDirectoryView::RequestDirectoryContent(const TreeRowPtr& row,
                                                        const ByteString& directoryPath) {
    ++mReads;
    // A polled folder's watch takes its first look from this listing instead of its own.
    DirectoryMonitor::Instance().ListingComing(ToUTF16(directoryPath));
    // The locks of a folder that is shown are read with its listing, off the main thread.
    LockReading locks;
    locks.wanted = row == nullptr || mTree->IsRowOpen(row);
    if (locks.wanted) {
        GetProjectLockingPrefs(locks.name, locks.second);
    }
    if (row != nullptr) {
        // Changes to a folder that was shown once are followed, whether it is open or not.
        if (const WideString folder = ToUTF16(directoryPath);
            mWatchedFolders.insert(folder).second) {
            MonitorDirectory(folder, false, false);
        }
    }
    const std::weak_ptr<MediaBrowserDirectoryView> self = weak_from_this();
    const std::weak_ptr<UI_TreeRow> target = row;
    const bool forRoot = row == nullptr;
    RunOnDefaultExecutor([self, target, forRoot, directoryPath, locks] {
        Listing listing;
        try {
            listing = ReadDirectory(directoryPath, locks);
        } catch (const std::exception& error) {
            // Told as a folder that could not be read; the monitor still hears of the listing.
            Trace("Host", 2, "Cannot list " + directoryPath + ": " + error.what());
            listing = Listing();
            listing.error = EIO;
        }
        if (listing.error == ENOENT || listing.error == ENOTDIR) {
            listing.gone = ParentConfirmsGone(directoryPath);
        }
        CallAsyncOnMainThread([self, target, forRoot, directoryPath, listing = std::move(listing)] {
            // A polled folder is compared from now on with what is about to be shown (or
            // with what was read, when nothing is shown after all).
            DirectoryMonitor::Instance().ListingShown(ToUTF16(directoryPath), listing.snapshot);
            const auto view = self.lock();
            const TreeRowPtr folder = target.lock();
            // The view went, or the row left the tree while its folder was read.
            if (!view || (!forRoot && (!folder || view->GetRowPath(folder).empty()))) {
                return;
            }
            if (!forRoot) {
                view->NoteReadOutcome(folder, listing.error);
            }
            // A folder that is gone, or is no folder now, has nothing left to show; any other
            // failure says nothing of what the folder holds.
            const bool failed = listing.error != 0 && !listing.gone;
            view->mDeliveringFailedRead = failed;
            try {
                view->InsertDirectoryContent(folder, directoryPath, listing.content);
            } catch (...) {
                view->mDeliveringFailedRead = false;
                throw;
            }
            view->mDeliveringFailedRead = false;
            if (!forRoot && failed) {
                view->ReadAgainLater(view->GetRowPath(folder));
            }
        });
    });
}

bool MediaBrowserDirectoryView::RowCanHaveChildren(const DirectoryEntry& entry) const {
    return EntryIsDirectory(entry);
}

void MediaBrowserDirectoryView::InsertDirectoryContent(const TreeRowPtr& row, const ByteString&,
                                                       const DirectoryContent& content) {
    std::set<WideString> present;
    for (const DirectoryEntry& entry : content) {
        present.insert(EntryPath(entry));
    }
    // Rows of entries that are gone leave; rows still there stay as they are.
    std::vector<TreeRowPtr> existing;
    const int count = row ? row->GetChildCount() : mTree->GetTopLevelRowCount();
    for (int index = 0; index < count; ++index) {
        existing.push_back(row ? row->GetChild(index) : mTree->GetTopLevelRow(index));
    }
    std::set<WideString> kept;
    for (const TreeRowPtr& child : existing) {
        const WideString path = GetRowPath(child);
        if (present.count(path) == 0 && !mDeliveringFailedRead) {
            RemoveRowAndChildrenFromMaps(child);
            mTree->RemoveRow(child);
        } else {
            kept.insert(path);
        }
    }
    std::vector<const DirectoryEntry*> added;
    for (const DirectoryEntry& entry : content) {
        if (kept.count(EntryPath(entry)) == 0) {
            added.push_back(&entry);
        }
    }
    // The new rows of a listing are made together: a walk over a folder's rows in order then
    // reads neighbouring memory.
    TreeRowBlock rows(added.size());
    std::vector<TreeRowPtr> fresh;
    for (const DirectoryEntry* entry : added) {
        const WideString& path = EntryPath(*entry);
        TreeRowPtr child = rows.MakeRow(RowCanHaveChildren(*entry));
        // A link to a folder can lead back up the tree: opening everything below stops there.
        child->Node().throughLink = EntryFlag(*entry, kIsLinkField);
        AddRowToMaps(child, path);
        fresh.push_back(std::move(child));
    }
    mTree->InsertRows(row, fresh);
}

void MediaBrowserDirectoryView::OnDirectoryChanged(const ByteString& directoryPath) {
    const WideString path = ToUTF16(directoryPath);
    if (!mRootPath.empty() && path == mRootPath) {
        RequestDirectoryContent(nullptr, directoryPath);
        return;
    }
    const TreeRowPtr row = GetRowForPath(path);
    // A folder never read is read when it opens; one read before is kept up to date.
    if (row &&
        (row->GetChildCount() > 0 || mTree->IsRowOpen(row) || mTree->RowHasCustomChild(row))) {
        RequestDirectoryContent(row, directoryPath);
    }
}

void MediaBrowserDirectoryView::RowDisclosureChanged(const TreeRowPtr& row, bool open) {
    if (open && row && row->GetChildCount() == 0 && !mTree->RowHasCustomChild(row)) {
        RequestDirectoryContent(row, ToUTF8(GetRowPath(row)));
    }
}

void MediaBrowserDirectoryView::NoteReadOutcome(const TreeRowPtr& folder, int error) {
    const WideString path = GetRowPath(folder);
    const auto known = mReadFailures.find(path);
    if (error == 0 && known == mReadFailures.end()) {
        return;
    }
    if (error == 0) {
        mReadFailures.erase(known);
        mRetryDelaysMs.erase(path);
    } else {
        const WideString reason = ToUTF16(std::strerror(error));
        if (known != mReadFailures.end() && known->second == reason) {
            return;
        }
        mReadFailures[path] = reason;
    }
    mTree->RefreshRow(folder); // its picture and tooltip say it now
}

void MediaBrowserDirectoryView::ReadAgainLater(const WideString& folder) {
    constexpr int kFirstDelayMs = 2000;
    constexpr int kLongestDelayMs = 60000;
    const auto [entry, added] = mRetryDelaysMs.try_emplace(folder, kFirstDelayMs);
    const int delay = entry->second;
    entry->second = std::min(delay * 2, kLongestDelayMs);
    const std::weak_ptr<MediaBrowserDirectoryView> self = weak_from_this();
    CallAsyncOnMainThread(
        [self, folder] {
            const auto view = self.lock();
            // Read again only while it still fails and is still shown.
            if (!view || view->GetReadFailure(folder).empty() || !view->GetRowForPath(folder)) {
                return;
            }
            view->OnDirectoryChanged(ToUTF8(folder));
        },
        delay);
}

WideString MediaBrowserDirectoryView::GetReadFailure(const WideString& folder) const {
    const auto found = mReadFailures.find(folder);
    return found == mReadFailures.end() ? WideString() : found->second;
}

WideString MediaBrowserDirectoryView::GetRowPath(const TreeRowPtr& row) const {
    if (!mTree->HoldsRow(row.get())) {
        return {};
    }
    // The names from the row up to the top, then written out from the top down.
    const UI_TreeRow* chain[64];
    std::vector<const UI_TreeRow*> deeper;
    std::size_t depth = 0;
    std::size_t length = mRootPath.size();
    for (const UI_TreeRow* at = row.get(); at != nullptr; at = at->GetParent()) {
        if (depth < std::size(chain)) {
            chain[depth] = at;
        } else {
            deeper.push_back(at);
        }
        ++depth;
        length += 1 + at->GetName().size();
    }
    WideString path;
    path.reserve(length);
    path = mRootPath;
    for (std::size_t level = depth; level-- > 0;) {
        const UI_TreeRow* at =
            level < std::size(chain) ? chain[level] : deeper[level - std::size(chain)];
        if (path.empty() || path.back() != u'/') {
            path += u'/';
        }
        path += at->GetName();
    }
    return path;
}

TreeRowPtr MediaBrowserDirectoryView::GetRowForPath(const WideString& path) const {
    const auto [first, last] = mRowsByPathHash.equal_range(std::hash<WideString>{}(path));
    for (auto candidate = first; candidate != last; ++candidate) {
        TreeRowPtr row = candidate->second.lock();
        if (row && GetRowPath(row) == path) {
            return row;
        }
    }
    return nullptr;
}

void MediaBrowserDirectoryView::AddRowToMaps(const TreeRowPtr& row, const WideString& path) {
    const std::size_t slash = path.rfind(u'/');
    row->SetName(slash == WideString::npos ? path : path.substr(slash + 1));
    const std::size_t hash = std::hash<WideString>{}(path);
    const auto [first, last] = mRowsByPathHash.equal_range(hash);
    for (auto entry = first; entry != last; ++entry) {
        if (entry->second.expired()) {
            entry->second = row; // a row gone without a word takes no room for long
            return;
        }
    }
    mRowsByPathHash.emplace(hash, row);
}

void MediaBrowserDirectoryView::RemoveRowFromMaps(const TreeRowPtr& row) {
    const WideString path = GetRowPath(row);
    if (path.empty()) {
        return;
    }
    if (mWatchedFolders.erase(path) != 0) {
        StopMonitoringDirectory(path, false);
    }
    mReadFailures.erase(path);
    const auto [first, last] = mRowsByPathHash.equal_range(std::hash<WideString>{}(path));
    for (auto entry = first; entry != last; ++entry) {
        if (entry->second.lock() == row) {
            mRowsByPathHash.erase(entry);
            return;
        }
    }
}

void MediaBrowserDirectoryView::RemoveRowAndChildrenFromMaps(const TreeRowPtr& row) {
    for (int index = 0; index < row->GetChildCount(); ++index) {
        RemoveRowAndChildrenFromMaps(row->GetChild(index));
    }
    RemoveRowFromMaps(row);
}

std::vector<WideString> MediaBrowserDirectoryView::GetSelectedPaths() const {
    const std::vector<TreeRowPtr> rows = mTree->GetSelectedRows();
    std::vector<WideString> paths;
    paths.reserve(rows.size());
    for (const TreeRowPtr& row : rows) {
        paths.push_back(GetRowPath(row));
    }
    return paths;
}

float MediaBrowserDirectoryView::GetExactOpenedHeight() const {
    return static_cast<float>(mTree->GetOpenedRows().size()) * mTree->GetRowHeight();
}

void MediaBrowserDirectoryView::ReceiveMessage(const Message& message) {
    if (message.GetTypeID() == DirectoryChangedMessage::kTypeID) {
        OnDirectoryChanged(ToUTF8(static_cast<const DirectoryChangedMessage&>(message).folder));
    } else if (message.GetTypeID() == ProductionReachabilityMessage::kTypeID) {
        // The rows stay as they were last seen, with the reason over them.
        const auto& reachability = static_cast<const ProductionReachabilityMessage&>(message);
        mTree->SetOverlayText(
            reachability.reachable
                ? WideString()
                : ToUTF16(Localize("$$$/Marvane/Host/Production/Unreachable=The production "
                                   "cannot be reached (@0). What you see is how it was; "
                                   "unsaved changes are kept as recovery copies. It comes "
                                   "back by itself when the share answers again.",
                                   {reachability.reason})));
    }
}

} // namespace host
