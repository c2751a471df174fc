#pragma once
// The host media browser's directory view: a multi-column tree of a folder whose directories
// are read on a worker thread and delivered on the main thread, with the maps between rows and
// paths. A directory is read when its row opens, and read again when the directory monitor
// reports a change; a re-read keeps the rows that are still there, so open folders and the
// selection stay as they were. Main thread only, except where a function says otherwise.
#include "host/CoreTypes.h"
#include "host/Messaging.h"
#include "host/MultiColumnTree.h"
#include "host/ProjectBackEnd.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

namespace host {

// One entry of a directory as read: named fields. kPathField holds the entry's full path as
// a WideString; kIsDirectoryField a bool (a link to a folder counts as a folder); kSizeField,
// kModifiedField and kCreatedField numbers (bytes; 100-nanosecond ticks since 1970: the birth
// time where the file system keeps one, else the last change of status), each present only
// when the entry could be looked at. A link's are those of what it points to. A project's
// entry has kLockListedField (a bool: whether its lock file is in the same listing) and, when
// the folder was shown as it was read, kLockField: its lock file as ReadProjectLockFile gave it
// for the current locking identity (null when it was gone by then). Locks are read off the
// main thread, several at a time.
using DirectoryEntryField = std::variant<WideString, bool, std::int64_t, ProjectLockFilePtr>;
struct DirectoryEntry {
    std::map<std::string, DirectoryEntryField, std::less<>> fields;
};
inline constexpr std::string_view kPathField = "path";
inline constexpr std::string_view kIsDirectoryField = "isDirectory";
inline constexpr std::string_view kSizeField = "size";
inline constexpr std::string_view kModifiedField = "modified";
inline constexpr std::string_view kCreatedField = "created";
inline constexpr std::string_view kLockListedField = "lockListed";
inline constexpr std::string_view kLockField = "lock";
using DirectoryContent = std::vector<DirectoryEntry>;

// The entry's path; throws std::logic_error when the path field is missing or not a WideString.
const WideString& EntryPath(const DirectoryEntry& entry);
bool EntryIsDirectory(const DirectoryEntry& entry);
// A number field of the entry; false when it has none.
bool EntryNumber(const DirectoryEntry& entry, std::string_view field, std::int64_t& value);
// A flag field of the entry; false when it has none.
bool EntryFlag(const DirectoryEntry& entry, std::string_view field);
// The lock the listing read for a project's entry; null when it read none.
const ProjectLockFilePtr* EntryLock(const DirectoryEntry& entry);

// The entries of these paths, one for each and in their order, with the fields a listing of
// their folders gives them and, for projects, their locks read for the current locking identity
// (kLockListedField tells whether there is one). On the main thread, under the open production,
// every path is looked at in one hand-over to the thread that bounds its accesses, where
// reading each record on its own waits several times for each: a screenful of rows from all
// over the production costs one wait. An entry that could not be looked at has its path alone.
DirectoryContent DescribeEntries(const std::vector<WideString>& paths);

class MediaBrowserDirectoryView : public UI_SubView,
                                  public Listener,
                                  public std::enable_shared_from_this<MediaBrowserDirectoryView> {
public:
    explicit MediaBrowserDirectoryView(const ByteString& treeNodeID);
    ~MediaBrowserDirectoryView() override;

    // Subscribes to the directory monitor; call once the view is held by a shared pointer.
    void StartListening();

    UI_MultiColumnTree& GetTree() { return *mTree; }
    const UI_MultiColumnTree& GetTree() const { return *mTree; }

    // The folder whose content forms the top level ("" for none), kept normalised so that
    // its rows are spelled as the directory monitor spells folders. Forgets the rows and the
    // watches of the previous root.
    void SetRootPath(const WideString& path);
    const WideString& GetRootPath() const { return mRootPath; }

    // Reads the directory on a worker thread; InsertDirectoryContent gets the entries later,
    // on the main thread. row is null for the root. A directory that cannot be read delivers
    // no entries. A folder row's directory is watched from its first read until its row
    // leaves the tree (the root is watched by the owner).
    void RequestDirectoryContent(const TreeRowPtr& row, const ByteString& directoryPath);
    // Makes rows for the entries under row (null: the top level), keeping the rows of paths
    // that are still there and removing those that are gone. While a folder that is still
    // there could not be read (a share that failed, a folder no longer readable), its rows
    // stay as they were: nothing seems to vanish because of an error.
    virtual void InsertDirectoryContent(const TreeRowPtr& row, const ByteString& directoryPath,
                                        const DirectoryContent& content);
    // Whether the content being delivered now comes from a read that failed while the folder
    // is still there (its rows stay as they were); false outside a delivery.
    bool IsDeliveringAFailedRead() const { return mDeliveringFailedRead; }
    // The directory changed on disk: read it again, if it is shown.
    virtual void OnDirectoryChanged(const ByteString& directoryPath);
    // A folder row was opened or closed; an unread folder is read when it opens.
    virtual void RowDisclosureChanged(const TreeRowPtr& row, bool open);
    // Whether an entry's row can be opened; by default every directory's can.
    virtual bool RowCanHaveChildren(const DirectoryEntry& entry) const;

    // A row's path is made when asked, from the root and the names of the row and the rows
    // above it; empty for a row that is not in the tree (never inserted, or removed).
    WideString GetRowPath(const TreeRowPtr& row) const;
    TreeRowPtr GetRowForPath(const WideString& path) const;
    // Names the row after the last part of path and finds it by that path from now on; the row
    // goes into the folder that holds path (the root's rows into the top level).
    void AddRowToMaps(const TreeRowPtr& row, const WideString& path);
    virtual void RemoveRowFromMaps(const TreeRowPtr& row);
    std::vector<WideString> GetSelectedPaths() const;
    // The height of every row reachable through open folders.
    float GetExactOpenedHeight() const;
    // Why the folder (a row's path) could not be read the last time it was, in the system's
    // words ("Permission denied"); empty when it was read, or never.
    WideString GetReadFailure(const WideString& folder) const;
    // How many directory reads were requested since the view was made.
    std::uint64_t GetDirectoryReadCount() const { return mReads; }
    // The folders under the root that this view watches.
    const std::set<WideString>& GetWatchedFolders() const { return mWatchedFolders; }

    void ReceiveMessage(const Message& message) override;

private:
    void RemoveRowAndChildrenFromMaps(const TreeRowPtr& row);
    // Keeps whether a folder row's directory could be read (error: errno, 0 for read), and
    // redraws the row when that changed.
    void NoteReadOutcome(const TreeRowPtr& folder, int error);
    // A shown folder whose read failed is read again a while later, and again after longer
    // while it fails, so that what it shows does not stay old for ever.
    void ReadAgainLater(const WideString& folder);
    void StopWatchingFolders();

    std::unique_ptr<UI_MultiColumnTree> mTree;
    WideString mRootPath;
    // Rows by the hash of their path: a path is kept once, in the rows' names, and a hash
    // that two paths share is told apart by making the candidates' paths.
    std::unordered_multimap<std::size_t, std::weak_ptr<UI_TreeRow>> mRowsByPathHash;
    std::set<WideString> mWatchedFolders;
    std::unordered_map<WideString, WideString> mReadFailures; // folder path: the reason
    std::uint64_t mReads = 0;
    bool mListening = false;
    bool mDeliveringFailedRead = false;
    // Folders whose read failed with their rows kept, and how long until they are read again
    // (doubling up to a minute while they keep failing).
    std::unordered_map<WideString, int> mRetryDelaysMs;
};

} // namespace host
