#pragma once
// What a file operation asked for by a module could not do, kept for the person who asked:
// one sentence each, naming the item, the place and the system's reason. The window takes
// them (uiframework/MessageBox.cpp): as the details of the next warning it shows, or in a
// message of their own once the event loop turns. Every notice is traced as well.
#include <functional>
#include <string>
#include <vector>

namespace host::files {

// Keeps a notice; thread-safe. Only the latest few hundred are kept until taken.
void NoteFailure(const std::string& sentence);
// The notices kept so far, oldest first; none are kept afterwards.
std::vector<std::string> TakeFailures();
// Called (on the thread that noted it) when a notice arrives while none was waiting; empty
// to stop. Returns the previous listener.
std::function<void()> SetFailureListener(std::function<void()> listener);

} // namespace host::files
