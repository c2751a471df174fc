#pragma once
// Copying or moving a batch of production items into one folder: the whole batch is checked
// first and refused with one message, or carried out item by item.
#include "host/CoreTypes.h"
#include "host/FileServices.h"

#include <cstdint>
#include <vector>

namespace HandlerTandrel::Utils {

enum class Transfer : std::uint8_t { kCopy, kMove };
// What a name already taken in the destination folder does.
enum class TakenName : std::uint8_t {
    kRefuse,     // the whole batch is refused ("File Exists")
    kMakeUnique, // the item takes a free name, with "_1", "_2", ...
};

// Copies or moves each source into the destination folder under its own name. A name that is
// taken refuses the batch or is made unique (see TakenName); an item already in that folder
// is skipped. A folder is never put into
// itself or its own sub-folder ("Copying to Sub-Directory"). Items are carried out in the
// order of their paths, not the order given, and a source named twice is done once.
// Returns false only when a file error stopped the batch part-way (what was done stays done);
// a refusal also returns true, after the user saw why. work, when given, counts each item
// planned and each item carried out; once the person stops it, nothing more is done (what was
// done stays done).
bool CopyFiles(const std::vector<host::WideString>& sources,
               const host::WideString& destinationFolder, Transfer transfer, TakenName taken,
               host::ItemByItemWork* work = nullptr);

// Moves one item to the destination path as a batch moves it: a project with its lock and side
// data, a folder with the projects open inside it. True when the item is there now.
bool MoveOneItem(const host::WideString& source, const host::WideString& destination);

// Makes, under destinationFolder, every folder found below sourceFolder (folders only, no
// files). A folder that cannot be made is logged and the rest are still made.
void CopyDirectoryTree(const host::WideString& sourceFolder,
                       const host::WideString& destinationFolder);

// Equal when they differ at most in the letter case of A-Z.
bool EqualsIgnoringAsciiCase(const host::WideString& a, const host::WideString& b);

} // namespace HandlerTandrel::Utils
