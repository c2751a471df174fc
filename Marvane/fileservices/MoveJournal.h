#pragma once
// A record of each copy and move under way, so that one stopped half-way (a crash, kill -9,
// a power cut) is cleaned up at the next start: a partial copy under its private name is
// removed, and an original that was taken aside after its copy was complete is removed too.
// Nothing is removed that has no complete copy elsewhere.
#include <cstddef>
#include <filesystem>

namespace host {

// Where the records are kept (the host's data folder); empty keeps none.
void SetMoveJournalFolder(const std::filesystem::path& folder);

// One copy or move under way, recorded from construction until destruction.
//  copy: the private name the copy is written under before it is renamed into place.
//  aside: the private name the original is renamed to before it is removed (moves only).
//  destination: where the copy goes.
class MoveJournalEntry {
public:
    MoveJournalEntry(const std::filesystem::path& copy, const std::filesystem::path& aside,
                     const std::filesystem::path& source, const std::filesystem::path& destination);
    ~MoveJournalEntry();
    MoveJournalEntry(const MoveJournalEntry&) = delete;
    MoveJournalEntry& operator=(const MoveJournalEntry&) = delete;

private:
    std::filesystem::path mRecord;
};

// Cleans up after copies and moves that a process of this machine, now gone, left half done.
// Returns how many it cleaned up.
std::size_t FinishInterruptedMoves();

} // namespace host
