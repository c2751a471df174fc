#pragma once
// One line of the record of broken locks, apart from the file: what RecordLockBreak appends.
// No file system is involved, so the fuzz target writes lines from arbitrary bytes.
//
// The line is one JSON object ending in a line feed: "when", "by", "byMachine", "how",
// "project" and "lock". Names need not be UTF-8: a text field whose bytes are not
// well-formed UTF-8 shows U+FFFD in their place, and a field of the same name with "Bytes"
// after it ("projectBytes") holds them escaped as EscapeIllFormedBytes writes them, so the
// exact bytes can be got back. Of the lock, at most kLockBreakCopiedBytes are copied: as the
// JSON it holds when it is a whole lock, else as text; "lockSize" gives its whole size and
// "lockCut" says whether only its beginning was copied.
#include <cstddef>
#include <string>

namespace host {

inline constexpr std::size_t kLockBreakCopiedBytes = 4096;

struct LockBreak {
    std::string when;
    std::string by;
    std::string byMachine;
    std::string how;
    std::string project; // relative to the production
    std::string lock;    // the broken lock's bytes, all of them
};

// Never throws on any bytes.
std::string LockBreakLine(const LockBreak& lockBreak);

} // namespace host
