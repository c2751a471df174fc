#include "Marvane/fileservices/TemporaryFiles.h"

#include "Marvane/fileservices/FileCopy.h"
#include "Marvane/fileservices/FileWriting.h"
#include "Marvane/fileservices/ProcessNotes.h"
#include "host/DebugTrace.h"

#include <cerrno>
#include <string>
#include <sys/stat.h>

namespace host {

namespace fs = std::filesystem;

namespace {

ProcessNotes& TheNotes() {
    static ProcessNotes notes("hidden files");
    return notes;
}

// A name this host gives a file before it is put in place: ".mv-<purpose>..." or
// ".<name>.adding.<pid>.<n>". Nothing else is ever removed by the tidy-up.
bool IsHiddenWorkName(const fs::path& path) {
    const std::string name = path.filename().string();
    return name.starts_with(kPrivateNamePrefix) ||
           (name.size() > 1 && name[0] == '.' && name.find(".adding.") != std::string::npos);
}

NoteTidied TidyUp(const std::string& noted, const NoteWriter& /*writer*/) {
    const fs::path path(noted);
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) {
        struct stat folder {};
        // Gone already, in a folder that is there: done. A folder that cannot be reached (a
        // share not mounted now) is looked at again at a later start.
        return errno == ENOENT && ::stat(path.parent_path().c_str(), &folder) == 0
                   ? NoteTidied::NothingThere
                   : NoteTidied::Unreachable;
    }
    if (!IsHiddenWorkName(path)) {
        return NoteTidied::NothingThere;
    }
    RemoveTree(path);
    if (::lstat(path.c_str(), &status) == 0) {
        return NoteTidied::Unreachable;
    }
    Trace("Host", 2, "Removed a hidden file a stopped run left: " + noted);
    return NoteTidied::Removed;
}

} // namespace

void SetTemporaryFilesFolder(const fs::path& folder) {
    TheNotes().SetFolder(folder);
}

TemporaryFileNote::TemporaryFileNote(const fs::path& path) : mPath(path) {
    mNoted = TheNotes().Note(mPath.string());
}

TemporaryFileNote::~TemporaryFileNote() {
    if (mNoted) {
        TheNotes().Done(mPath.string());
    }
}

std::size_t RemoveTemporaryFilesOfGoneProcesses() {
    return TheNotes().TidyUpAfterGoneProcesses(TidyUp);
}

void StartRemovingTemporaryFilesOfGoneProcesses() {
    TheNotes().StartTidyingUp(TidyUp);
}

void StopRemovingTemporaryFilesOfGoneProcesses(std::chrono::milliseconds deadline) {
    TheNotes().StopTidyingUp(deadline);
}

void CloseTemporaryFilesRecord() {
    TheNotes().CloseRecord();
}

} // namespace host
