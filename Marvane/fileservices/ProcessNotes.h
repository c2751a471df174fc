#pragma once
// A small record this process keeps in a folder of the data folder of what it has under way on
// disk (hidden files it is writing, locks it made for a move), so that the next start can put
// right what a process killed half-way (kill -9, a crash, a power cut) left behind. Each record
// names its writer (host, boot, pid and start time) in its first line, then holds a line per
// note, "+" and the note as JSON when it is made and "-" when it is done. No sync: a kill leaves
// the page cache to the kernel, and a power cut restarts the machine, which every record of the
// boot before outlives.
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace host {

// The process that wrote a record, as it described itself.
struct NoteWriter {
    std::string hostName;
    std::string bootId;
    long long processId = 0;
    long long processStartTicks = 0;
};

// What became of one note of a gone process when the next start looked at it.
enum class NoteTidied {
    Removed,      // what it noted was put right
    NothingThere, // nothing was left to put right
    Unreachable,  // its folder cannot be reached now (a share not mounted): kept for later
};

using NoteTidyUp = std::function<NoteTidied(const std::string& note, const NoteWriter& writer)>;

class ProcessNotes {
public:
    // "what" names the records in the trace ("hidden files", "locks of moves").
    explicit ProcessNotes(std::string what);
    ~ProcessNotes();
    ProcessNotes(const ProcessNotes&) = delete;
    ProcessNotes& operator=(const ProcessNotes&) = delete;

    // Where the records are kept; empty keeps none (tests, tools). A record of this process
    // kept elsewhere until now is forgotten.
    void SetFolder(const std::filesystem::path& folder);

    // Notes one more of this thing under way; false when it could not be noted. Cheap: one
    // short write to a local file. The record is emptied whenever nothing is under way.
    bool Note(const std::string& note);
    // One of it is done (as many Done as Note).
    void Done(const std::string& note);
    // The notes not done yet by this process.
    std::size_t OpenNotes() const;

    // Hands every note still open in the records of processes of this machine that are gone
    // to tidyUp, and keeps those it could not reach for a later start; a record left with
    // nothing goes. Returns how many tidyUp put right.
    std::size_t TidyUpAfterGoneProcesses(const NoteTidyUp& tidyUp);
    // The same on a thread of its own, so that a share that does not answer never holds up the
    // start; Stop waits for it at most the deadline, and a thread still held by such a share
    // is left to end with the process.
    void StartTidyingUp(NoteTidyUp tidyUp);
    void StopTidyingUp(std::chrono::milliseconds deadline);

    // Forgets this process's record at a clean stop; it stays when notes are still open, for
    // the next start to finish.
    void CloseRecord();

private:
    bool EnsureOpen();

    const std::string mWhat;
    mutable std::mutex mMutex;
    std::filesystem::path mFolder;
    std::filesystem::path mFile;
    int mDescriptor = -1;
    long mHeaderSize = 0;
    std::map<std::string, int> mOpen; // note -> times noted and not done yet
    struct Tidying;
    std::unique_ptr<Tidying> mTidying;
};

} // namespace host
