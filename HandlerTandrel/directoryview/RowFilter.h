#pragma once
// Which folders of the production are listed, which of their entries become rows, and which
// rows can be opened. The tree shows the projects the production supports and the folders it
// does not leave out (names starting with a dot, names of locks); a folder project is a row of
// its own, never a folder whose content is shown.
#include "host/CoreTypes.h"
#include "host/MediaBrowser.h"

namespace HandlerTandrel {

// Whether a folder's entries are shown at all: not for a folder the production leaves out, nor
// for a folder project.
bool IsFolderListed(const host::ByteString& folderPath);
// Whether an entry of a listed folder becomes a row: a supported project, or a folder that is
// not left out.
bool IsEntryShown(const host::DirectoryEntry& entry);
// The entries that become rows, in the order given.
host::DirectoryContent ShownEntries(const host::DirectoryContent& content);
// Whether an entry's row can be opened: folders can, folder projects cannot.
bool CanRowOpen(const host::DirectoryEntry& entry);

} // namespace HandlerTandrel
