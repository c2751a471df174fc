#pragma once
// The lock commands of marvane, run without a window:
//   marvane locks [--json] [--user NAME] [--profile DIR] [PRODUCTION]
//       every lock of the production (the last one opened when none is named): project,
//       holder, second locking string, machine, process, since, last seen, state
//   marvane unlock [--force] [--user NAME] [--profile DIR] PROJECT
//       removes an abandoned or silent lock; a live, yours or unreadable one only with
//       --force. Every removal is recorded in the production's lock record.
#include <iosfwd>
#include <string>
#include <vector>

namespace host {

// Whether the arguments name a lock command (its first argument is "locks" or "unlock").
bool IsLockCommand(const std::vector<std::string>& arguments);
// Runs it; the exit status: 0 done, 1 refused (unlock), 2 not understood or not possible.
int RunLockCommand(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err);

} // namespace host
