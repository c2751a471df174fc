#pragma once
// Host path operations. Paths use "/" as separator.
#include "host/CoreTypes.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace host {

// The last component without its extension: "/a/Scene 12.mvproj" gives "Scene 12", and
// "/a/Titles.mvprojd/" gives "Titles" (trailing separators are ignored).
WideString GetFilePart(const WideString& path);
// The last component with its extension: "/a/Scene 12.mvproj" gives "Scene 12.mvproj".
WideString GetFullFilePart(const WideString& path);
// The path without trailing separators; the root "/" stays as it is.
WideString StripTrailingSlash(const WideString& path);

// One spelling for every way of writing the path of one file or folder: made absolute,
// repeated separators collapsed, "." and ".." resolved, no trailing separator, and symbolic
// links resolved for the part of the path that exists.
WideString ToNormalizedPath(const WideString& path);

// ToNormalizedPath for many items that share few folders, as a selection of thousands of
// projects in a few folders does: each folder is normalised once (a wait on the disk each),
// and an item is its folder's normal path and its own name. An item that is itself a symbolic
// link stays the link: moving or copying it moves or copies the link, not what it points to.
// A path without a folder, or ending in "." or "..", is normalised whole, links and all.
class ItemPathNormalizer {
public:
    WideString Normalize(const WideString& path);

private:
    std::unordered_map<WideString, WideString> mFolders;
};

// A folder of the host by name, ending in a separator: "user.profile" is the user's profile
// folder. Empty for an unknown name.
WideString GetDirectory(std::string_view name);

// What the file system says of a file or folder. Times are 100-nanosecond ticks since
// 1970-01-01 UTC; a file system that keeps no creation time reports the last status change.
class FileInfo {
public:
    explicit FileInfo(const WideString& path);
    bool Exists() const { return mExists; }
    std::int64_t Modified() const { return mModified; }
    std::int64_t Created() const { return mCreated; }
    std::uint64_t Size() const { return mSize; }

private:
    bool mExists = false;
    std::int64_t mModified = 0;
    std::int64_t mCreated = 0;
    std::uint64_t mSize = 0;
};

// The last component of a path (trailing separators ignored).
WideString GetPathFileName(const WideString& path);
bool FileOrDirExists(const WideString& path);
bool DirectoryExists(const WideString& path);
// Whether the path itself is a symbolic link (whatever it points to, if anything).
bool IsSymbolicLink(const WideString& path);
// Whether path lies inside directory (at any depth); with includeEqual, the directory itself
// counts as inside too. Both are normalised first.
bool IsPathWithinDirectory(const WideString& path, const WideString& directory, bool includeEqual);
// A path in the same folder whose name nobody uses: "Scene 12.mvproj" becomes
// "Scene 12<separator><n>.mvproj" for the first free n from firstIndex (a folder gets the
// number at the end of its name), avoiding the reserved paths too.
WideString MakeUniqueFilename(const WideString& path, int firstIndex, const WideString& separator,
                              const std::vector<WideString>& reservedPaths);
// Makes the folder and any missing parents; true when it exists afterwards.
bool EnsureDirectoryExists(const WideString& path);
// The characters no file name may hold in the open production, as shown to a user ("/";
// on a Windows share also \ : * ? " < > |). Control characters are never allowed either.
WideString GetIllegalFilenameCharacters();
// Whether a name can be given to a file or folder of the open production: not empty, not "."
// or "..", no illegal or control character, at most 255 bytes in UTF-8; on a Windows share
// also no trailing dot or space and no device name Windows reserves ("CON", "lpt1.txt").
bool IsValidFileName(const WideString& name);
// The most bytes (UTF-8) the name typed for the item at path may take: a folder's whole name;
// a project's name without its extension, leaving room for the extension and for the lock
// file beside it, whose name is longer still.
std::size_t GetLongestTypedNameBytes(const WideString& path);
// The most bytes (UTF-8) a full path may take on this system: what lies deeper can only be
// reached folder by folder.
std::size_t GetLongestPathBytes();

// A command that works through many items on the main thread (testing and moving a big
// selection) keeps the window drawn while it runs: between two items the window turns now and
// then, shows how far the command got once it has run for a moment, and offers Cancel.
class ItemByItemWork {
public:
    ItemByItemWork(const ByteString& title, std::size_t items);
    ~ItemByItemWork();
    ItemByItemWork(const ItemByItemWork&) = delete;
    ItemByItemWork& operator=(const ItemByItemWork&) = delete;
    // One more item done. False once the person asked to stop: the command stops before its
    // next item.
    bool ItemDone();

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

// A folder on disk, by its full path.
class Directory {
public:
    explicit Directory(WideString path);
    // Gives the folder a new name in the same parent. Never replaces what is there: a name
    // in use, or any other failure, throws FileException and leaves the folder as it was.
    void Rename(const WideString& newName);
    const WideString& FullPath() const { return mPath; }

private:
    WideString mPath;
};

// A file operation failed; what() names the paths and the reason, and ErrorNumber() gives the
// system's error number when one is known (else 0).
class FileException : public std::runtime_error {
public:
    explicit FileException(const std::string& what, int errorNumber = 0)
        : std::runtime_error(what), mErrorNumber(errorNumber) {}
    int ErrorNumber() const { return mErrorNumber; }

private:
    int mErrorNumber = 0;
};
// Copies a file, or a folder with everything in it, to a path where nothing is yet. Symbolic
// links are copied as links. Nothing is ever written over; on failure what was copied so far
// is removed again and FileException is thrown.
void Copy(const WideString& from, const WideString& to);
// Moves a file or folder to a path where nothing is yet: a rename on one file system; across
// file systems a copy that is verified (sizes, and content of project files) before the
// source is removed, so a failure part-way leaves the source complete. Symbolic links move
// as links. Returns 0, or a negative error number (-EEXIST when the destination is taken).
int Move(const WideString& source, const WideString& destination);

// What FindFilesOrDirectories lists.
enum class FindFilter : int { Files = 1, Directories = 2, FilesAndDirectories = 3 };
// The paths of the entries below a folder, folders before their contents, each folder's
// entries in name order. recursive: sub-folders too. Symbolic links are listed as files and
// never followed; "." and ".." never appear. An unreadable folder lists nothing.
std::vector<WideString> FindFilesOrDirectories(const WideString& folder, bool recursive,
                                               FindFilter filter);

// The production's search: every project below a folder whose name ends in one of the
// extensions (".mvproj"; ASCII letters in either case) and whose name without the extension
// contains nameFilter as one run, ASCII letters compared in either case and every other
// character exactly (an empty filter keeps every project). Files, links and, for an extension
// that names a project folder, folders match; no other folder's name ever does. Symbolic links
// are never followed into, names starting with a dot are passed over, and folders that cannot
// be read are left out (with a trace line). Paths in the order met.
std::vector<WideString> FindFilesOrDirectories(const WideString& folder,
                                               const std::vector<WideString>& extensions,
                                               const WideString& nameFilter);

// A search running on a worker thread; its results arrive on the main thread. Cancelling it,
// or letting the last handle go, means no results arrive.
class FileSearch {
public:
    virtual ~FileSearch() = default;
    virtual void Cancel() = 0;
    // False once the results were delivered or the search was cancelled.
    virtual bool IsRunning() const = 0;
};
using FileSearchPtr = std::shared_ptr<FileSearch>;
// Starts the search above on a worker; done gets the paths on the main thread, unless the
// search was cancelled or its handle released first. arrange, when given, runs on the worker
// with the paths found, before they travel (to put them in order there, say); it must touch
// nothing that the main thread uses. progress, when given, is told on the main thread what
// was found since it was last told (in the order found), every tenth of a second or so while
// the search runs; done still gets every path.
FileSearchPtr
StartFileSearch(const WideString& folder, const std::vector<WideString>& extensions,
                const WideString& nameFilter,
                std::function<void(std::vector<WideString> paths)> done,
                std::function<void(std::vector<WideString>& paths)> arrange = {},
                std::function<void(std::vector<WideString> foundSince)> progress = {});

// Reads a whole file; false when it cannot be opened or read completely.
bool ReadWholeFile(const WideString& path, std::string& bytes);
// Replaces a file's content in one step (written beside it, then renamed over it): a failure
// leaves the old content.
bool ReplaceWholeFile(const WideString& path, const std::string& bytes);

} // namespace host
