// Copying and moving files and folders without ever writing over anything, and without
// losing a file when something fails part-way.
#include "Marvane/core/InstalledSource.h"
#include "Marvane/fileservices/AccessDeadline.h"
#include "Marvane/fileservices/CreationRecords.h"
#include "Marvane/fileservices/FailureNotices.h"
#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/FolderMount.h"
#include "Marvane/fileservices/LongWork.h"
#include "Marvane/fileservices/MoveJournal.h"
#include "Marvane/fileservices/MovedItems.h"
#include "Marvane/fileservices/ProjectItemRules.h"
#include "Marvane/fileservices/TreeWalk.h"
#include "host/DebugTrace.h"
#include "host/FileServices.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace host {

namespace fs = std::filesystem;
using files::LongWork;
using files::LongWorkEnd;
using files::RunLongWork;
using files::RunLongWorkStepHook;

namespace {

fs::path Native(const WideString& path) {
    return fs::path(ToUTF8(path));
}

InstalledSource<ProjectItemRules>& Rules() {
    static InstalledSource<ProjectItemRules> rules;
    return rules;
}

// Makes a name just given in a folder lasting (the folder's own entry is synced); the
// system's error when that failed, else 0.
int SyncFolder(const fs::path& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return errno;
    }
    const int error = ::fsync(descriptor) == 0 ? 0 : errno;
    ::close(descriptor);
    return error;
}

// After a project moved, what belongs to its old place follows (its lock there goes).
int Moved(const fs::path& from) {
    const ProjectItemRules rules = Rules().Get();
    if (rules.isProject && rules.isProject(from.string()) && rules.moved) {
        rules.moved(from);
    }
    return 0;
}

} // namespace

void SetProjectItemRules(ProjectItemRules rules) {
    Rules().Install([rules = std::move(rules)] { return rules; });
}

ProjectItemRules CurrentProjectItemRules() {
    return Rules().Get();
}

bool IsProjectItem(const std::string& utf8Path) {
    const ProjectItemRules rules = Rules().Get();
    return rules.isProject && rules.isProject(utf8Path);
}

namespace {

// Copies from into a new private name beside to, then renames the complete copy into place, so
// that nothing partial ever carries a real name, even when the process is killed half-way.
// A move checks its copy (verify) and keeps what its folders record of their files; a copy's
// items are new. Throws FileException; -EEXIST-like refusal is a FileException too.
void CopyIntoPlace(const fs::path& from, const fs::path& to, const fs::path& aside, bool verify,
                   const CopyProgress& progress) {
    if (const std::string gone = MountGoneUnder(to); !gone.empty()) {
        throw FileException("Cannot copy to " + to.string() + ": " + gone, ENOTCONN);
    }
    const fs::path copy = PrivateName(to.parent_path(), "copy");
    const MoveJournalEntry record(copy, aside, from, to);
    std::vector<fs::path> made;
    CopyDigests digests;
    try {
        CopyTree(from, copy, made, progress, verify ? &digests : nullptr, !verify);
    } catch (...) {
        RemoveMade(made);
        throw;
    }
    if (verify && !CopyHoldsWhatWasRead(from, copy, Rules().Get(), digests)) {
        RemoveMade(made);
        throw FileException("The copy of " + from.string() + " does not match it", EIO);
    }
    if (const int error = RenameNoReplace(copy, to); error != 0) {
        RemoveMade(made);
        throw FileException(
            "Cannot put the copy in place at " + to.string() + ": " + std::strerror(error), error);
    }
    // In place for good before anything happens to the original. When that cannot be made
    // sure, the complete copy stays where it is and the original is left alone.
    if (const int error = SyncFolder(to.parent_path()); error != 0) {
        throw FileException("The copy at " + to.string() +
                                " may not be on disk yet: " + std::strerror(error),
                            error);
    }
}

// Counts what a copy is about to go through, each entry a step, so that even the walk shows
// that the work moves.
class Measuring : public TreeVisitor {
public:
    explicit Measuring(LongWork& work) : mWork(work) {}
    WalkStep Enter(const TreeWalkEntry& entry) override {
        if (mWork.StopRequested()) {
            return WalkStep::kStop;
        }
        ++mWork.steps;
        if (S_ISREG(entry.status.st_mode)) {
            mWork.total += static_cast<std::uint64_t>(entry.status.st_size);
        }
        return WalkStep::kContinue;
    }
    WalkStep Failed(const TreeWalkEntry&, int) override { return WalkStep::kContinue; }

private:
    LongWork& mWork;
};

void Measure(const fs::path& path, LongWork& work) {
    Measuring measuring(work);
    WalkTree(path, measuring);
}

// The copy's steps reported to the work, which stops the copy when asked to.
CopyProgress StepsOf(LongWork& work) {
    return [&work](std::uint64_t bytes, bool) {
        work.done += bytes;
        ++work.steps;
        RunLongWorkStepHook();
        return !work.StopRequested();
    };
}

// Across file systems: a verified copy is put in place, then the original is taken aside
// under a private name in its own folder and removed, so that an interrupted removal never
// leaves half a folder under the real name. 0 when it moved.
int MoveAcrossNow(const fs::path& from, const fs::path& to, LongWork& work) {
    const fs::path aside = PrivateName(from.parent_path(), "moving");
    Measure(from, work);
    try {
        CopyIntoPlace(from, to, aside, true, StepsOf(work));
    } catch (const CopyCancelled&) {
        return -ECANCELED;
    } catch (const FileException& failure) {
        Trace("Host", 2, std::string("Move failed: ") + failure.what());
        return failure.ErrorNumber() != 0 ? -failure.ErrorNumber() : -EIO;
    }
    const MoveJournalEntry record({}, aside, from, to);
    if (::rename(from.c_str(), aside.c_str()) != 0) {
        // The verified copy is the item now; the original stays where it was as a second copy.
        Trace("Host", 2,
              "Moved " + from.string() + " to " + to.string() +
                  " but could not remove the original: " + std::strerror(errno));
        return 0;
    }
    RemoveTree(aside);
    if (struct stat left{}; ::lstat(aside.c_str(), &left) == 0) {
        Trace("Host", 2,
              "Moved " + from.string() + " to " + to.string() +
                  " but could not remove all of the original, kept as " + aside.string());
    }
    return 0;
}

// What long work on the item is shown as: "Dailies" → "Trash".
std::string WorkTitle(const fs::path& from, const fs::path& to) {
    return "\"" + from.filename().string() + "\" \u2192 \"" + to.parent_path().filename().string() +
           "\"";
}

// The move to another disk runs as long work: the window stays drawn and offers Cancel, and
// a disk that stops answering ends it (-ETIMEDOUT) rather than the window.
int MoveAcrossFileSystems(const fs::path& from, const fs::path& to) {
    {
        struct stat status {};
        if (::lstat(to.c_str(), &status) == 0) {
            return -EEXIST;
        }
    }
    auto work = std::make_shared<LongWork>();
    work->title = WorkTitle(from, to);
    auto result = std::make_shared<std::atomic<int>>(-EIO);
    const LongWorkEnd end = RunLongWork(work, [from, to, result](LongWork& running) {
        *result = MoveAcrossNow(from, to, running);
    });
    if (end == LongWorkEnd::Stalled) {
        return -ETIMEDOUT;
    }
    return result->load() == 0 ? Moved(from) : result->load();
}

// A copy runs as long work too; its failure is thrown here.
void CopyAsLongWork(const fs::path& source, const fs::path& target) {
    auto work = std::make_shared<LongWork>();
    work->title = WorkTitle(source, target);
    auto failure = std::make_shared<std::exception_ptr>();
    const LongWorkEnd end = RunLongWork(work, [source, target, failure](LongWork& running) {
        try {
            Measure(source, running);
            CopyIntoPlace(source, target, {}, false, StepsOf(running));
        } catch (...) {
            *failure = std::current_exception();
        }
    });
    if (end == LongWorkEnd::Stalled) {
        throw FileException("Cannot copy " + source.string() + ": nothing moved for a while",
                            ETIMEDOUT);
    }
    if (*failure) {
        std::rethrow_exception(*failure);
    }
}

} // namespace

WideString GetPathFileName(const WideString& path) {
    return GetFullFilePart(StripTrailingSlash(path));
}

bool FileOrDirExists(const WideString& path) {
    const std::string utf8 = ToUTF8(path);
    return files::Bounded<bool>(utf8,
                                [utf8] {
                                    struct stat status {};
                                    return ::lstat(utf8.c_str(), &status) == 0;
                                })
        .value_or(false);
}

bool DirectoryExists(const WideString& path) {
    const fs::path folder = Native(path);
    return files::Bounded<bool>(folder,
                                [folder] {
                                    std::error_code error;
                                    return fs::is_directory(folder, error);
                                })
        .value_or(false);
}

bool IsPathWithinDirectory(const WideString& path, const WideString& directory, bool includeEqual) {
    const WideString inner = ToNormalizedPath(path);
    WideString outer = ToNormalizedPath(directory);
    if (inner.empty() || outer.empty()) {
        return false;
    }
    if (inner == outer) {
        return includeEqual;
    }
    if (outer.back() != u'/') {
        outer += u'/';
    }
    return inner.compare(0, outer.size(), outer) == 0;
}

namespace {

// The bytes a name takes on disk (UTF-8).
std::size_t Utf8Length(std::u16string_view text) {
    std::size_t bytes = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char16_t unit = text[at];
        if (unit < 0x80) {
            bytes += 1;
        } else if (unit < 0x800) {
            bytes += 2;
        } else if (unit >= 0xD800 && unit <= 0xDBFF && at + 1 < text.size() &&
                   text[at + 1] >= 0xDC00 && text[at + 1] <= 0xDFFF) {
            bytes += 4; // a pair: one character
            ++at;
        } else {
            bytes += 3;
        }
    }
    return bytes;
}

// The stem, shortened by whole characters until it takes at most `room` bytes.
WideString StemThatFits(WideString stem, std::size_t room) {
    while (!stem.empty() && Utf8Length(stem) > room) {
        stem.pop_back();
        if (!stem.empty() && stem.back() >= 0xD800 && stem.back() <= 0xDBFF) {
            stem.pop_back(); // the first half of a pair whose second half went
        }
    }
    return stem;
}

// The longest name a file system here takes, in bytes.
constexpr std::size_t kLongestName = 255;

} // namespace

WideString MakeUniqueFilename(const WideString& path, int firstIndex, const WideString& separator,
                              const std::vector<WideString>& reservedPaths) {
    const WideString clean = StripTrailingSlash(path);
    const std::size_t slash = clean.rfind(u'/');
    const WideString folder = slash == WideString::npos ? WideString() : clean.substr(0, slash + 1);
    const WideString name = clean.substr(folder.size());
    // Files and project folders keep their extension at the end; other folders are numbered
    // at the end of their whole name.
    std::size_t dot = name.rfind(u'.');
    const bool plainFolder = DirectoryExists(clean) && !IsProjectItem(ToUTF8(clean));
    if (dot == WideString::npos || dot == 0 || plainFolder) {
        dot = name.size();
    }
    const WideString stem = name.substr(0, dot);
    const WideString extension = name.substr(dot);
    // Each path compared once, however many numbers are tried; the reserved paths are mostly
    // in this folder (the copies of a selection), which is normalised once.
    ItemPathNormalizer normalizer;
    std::vector<WideString> reserved;
    reserved.reserve(reservedPaths.size());
    for (const WideString& taken : reservedPaths) {
        reserved.push_back(normalizer.Normalize(taken));
    }
    // A project leaves room for the lock file beside it.
    const std::size_t longest =
        kLongestName -
        (IsProjectItem(ToUTF8(clean)) ? CurrentProjectItemRules().besideNameBytes : std::size_t{0});
    for (int index = firstIndex;; ++index) {
        // A name near the longest a file system takes gives up the end of its stem to its
        // number, rather than being a name no file can have.
        const WideString suffix = separator + ToUTF16(std::to_string(index)) + extension;
        const std::size_t suffixBytes = Utf8Length(suffix);
        const WideString fitting = Utf8Length(stem) + suffixBytes > longest && suffixBytes < longest
                                       ? StemThatFits(stem, longest - suffixBytes)
                                       : stem;
        const WideString candidate = folder + fitting + suffix;
        const WideString normal = reserved.empty() ? WideString() : normalizer.Normalize(candidate);
        const bool isReserved =
            std::find(reserved.begin(), reserved.end(), normal) != reserved.end();
        if (!isReserved && !FileOrDirExists(candidate)) {
            return candidate;
        }
    }
}

namespace {

// "<name>" <what happened> "<folder>": <reason>. The item by its name, the place in full: a
// production holds many folders of one name.
std::string FailureSentence(const fs::path& item, const std::string& happened,
                            const fs::path& folder, const std::string& reason) {
    return "\"" + item.filename().string() + "\" " + happened + " \"" + folder.string() +
           "\": " + reason + ".";
}

// The system's reason, in the person's words where the system's would mislead.
std::string ReasonOf(int errorNumber) {
    switch (errorNumber) {
    case EEXIST:
        return "something there has its name already";
    case ETIMEDOUT:
        return "the disk stopped answering, so it was given up (the item is still where it was)";
    default:
        return std::strerror(errorNumber);
    }
}

int MoveOrNote(const fs::path& from, const fs::path& to) {
    // A rename that never replaces what is at the destination.
    const int error = RenameNoReplace(from, to);
    if (error == 0) {
        return Moved(from);
    }
    const int result = error == EXDEV ? MoveAcrossFileSystems(from, to) : -error;
    if (result < 0 && result != -ECANCELED) { // a move the person stopped needs no word
        files::NoteFailure(
            FailureSentence(from, "could not be moved into", to.parent_path(), ReasonOf(-result)));
    }
    return result;
}

} // namespace

bool EnsureDirectoryExists(const WideString& path) {
    const fs::path folder = Native(StripTrailingSlash(path));
    if (const std::string gone = MountGoneUnder(folder); !gone.empty()) {
        // It would be made beneath the production's lost mount.
        files::NoteFailure(
            FailureSentence(folder, "could not be made in", folder.parent_path(), gone));
        return false;
    }
    std::error_code error;
    fs::create_directories(folder, error);
    if (DirectoryExists(path)) {
        return true;
    }
    files::NoteFailure(FailureSentence(folder, "could not be made in", folder.parent_path(),
                                       error ? error.message() : "something else has its name"));
    return false;
}

void Copy(const WideString& from, const WideString& to) {
    const fs::path source = Native(StripTrailingSlash(from));
    const fs::path target = Native(StripTrailingSlash(to));
    if (FileOrDirExists(to)) {
        throw FileException("Cannot copy to " + target.string() + ": it exists already");
    }
    if (IsPathWithinDirectory(to, from, true)) {
        // A folder copied into itself would copy its own copy without end.
        throw FileException("Cannot copy " + source.string() + " into itself");
    }
    try {
        CopyAsLongWork(source, target);
    } catch (const CopyCancelled&) {
        throw; // the person stopped it: nothing to tell them
    } catch (const FileException& failure) {
        // The copy's own message names the private name it was made under; the person
        // gets the item, the place and the reason.
        files::NoteFailure(FailureSentence(source, "could not be copied into", target.parent_path(),
                                           failure.ErrorNumber() != 0
                                               ? ReasonOf(failure.ErrorNumber())
                                               : std::string(failure.what())));
        throw;
    }
}

int Move(const WideString& source, const WideString& destination) {
    const fs::path from = Native(StripTrailingSlash(source));
    const fs::path to = Native(StripTrailingSlash(destination));
    const int result = MoveOrNote(from, to);
    if (result >= 0) {
        // A file's creation time kept in its folder's record goes with it (a folder's record
        // goes with the folder).
        CarryCreationRecord(from, to);
        TellMoved(from, to);
    }
    return result;
}

Directory::Directory(WideString path) : mPath(StripTrailingSlash(path)) {}

void Directory::Rename(const WideString& newName) {
    const fs::path from = Native(mPath);
    if (!IsValidFileName(newName)) {
        throw FileException("Cannot rename " + from.string() + " to \"" + ToUTF8(newName) +
                                "\": not a valid name",
                            EINVAL);
    }
    std::error_code error;
    if (!fs::is_directory(fs::symlink_status(from, error))) {
        throw FileException("Cannot rename " + from.string() + ": not a folder", ENOTDIR);
    }
    const fs::path to = from.parent_path() / Native(newName);
    if (const int failure = RenameNoReplace(from, to); failure != 0) {
        files::NoteFailure("\"" + from.filename().string() + "\" could not be renamed \"" +
                           to.filename().string() + "\": " +
                           (failure == EEXIST ? std::string("something there has that name")
                                              : std::string(std::strerror(failure))) +
                           ".");
        throw FileException("Cannot rename " + from.string() + " to " + to.filename().string() +
                                ": " + std::strerror(failure),
                            failure);
    }
    mPath = ToUTF16(to.string());
}

} // namespace host
