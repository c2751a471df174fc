#pragma once
// The hidden files this process writes beside their targets before putting them in place
// (".mv-write...", a project being added, a lock taken aside). Each is noted in a small record
// of this process in the data folder while it exists under its hidden name, so that the next
// start removes what a process killed half-way (kill -9, a crash, a power cut) left behind,
// on local folders and on shares alike. Nothing that carries a real name is ever removed.
#include <chrono>
#include <cstddef>
#include <filesystem>

namespace host {

// Where the records are kept ("<data folder>/Temporary"); empty keeps none (tests, tools).
void SetTemporaryFilesFolder(const std::filesystem::path& folder);

// One hidden file, noted from construction until destruction (it was put in place, renamed
// away or removed by then). Cheap: one short write to a local file, no sync; the record is
// emptied whenever no hidden file of this process is left.
class TemporaryFileNote {
public:
    explicit TemporaryFileNote(const std::filesystem::path& path);
    ~TemporaryFileNote();
    TemporaryFileNote(const TemporaryFileNote&) = delete;
    TemporaryFileNote& operator=(const TemporaryFileNote&) = delete;

private:
    std::filesystem::path mPath;
    bool mNoted = false;
};

// Removes the hidden files that processes of this machine, now gone, noted and left behind,
// and their records. A file whose folder cannot be reached now (a share not mounted) stays
// noted for a later start. Returns how many files it removed.
std::size_t RemoveTemporaryFilesOfGoneProcesses();

// The same on a thread of its own, so that a share that does not answer never holds up the
// start; the stop waits for it at most the deadline, and a thread still held by such a share
// is left to end with the process.
void StartRemovingTemporaryFilesOfGoneProcesses();
void StopRemovingTemporaryFilesOfGoneProcesses(std::chrono::milliseconds deadline);

// Forgets this process's record (a clean stop: every note is closed by then).
void CloseTemporaryFilesRecord();

} // namespace host
