#pragma once
// What the file services could not do for a module (fileservices/FailureNotices.h), told in
// the window: as the details of the next warning shown, else in a message of its own.

namespace host {

// Shows the notices waiting, if any, in one warning.
void ShowFileFailures();
// From now on (or no longer), notices are shown when the event loop next turns.
void ShowFileFailuresInTheWindow(bool show);

} // namespace host
