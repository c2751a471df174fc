#pragma once
// Host-internal copying of files and folder trees, shared by the file services and by adding
// projects to a production.
#include "host/FileServices.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <vector>

namespace host {

// Told of each block of bytes copied (fileDone false) and of each file finished (bytes 0,
// fileDone true); answering false cancels the copy.
using CopyProgress = std::function<bool(std::uint64_t bytes, bool fileDone)>;

// The copy was cancelled through its progress callback.
class CopyCancelled : public FileException {
public:
    using FileException::FileException;
};

// Copies a file, link or folder tree to a path where nothing is yet, recording everything it
// made so that a failure can take it away again (RemoveMade). Links are copied as links.
// Throws FileException, or CopyCancelled.
void CopyTree(const std::filesystem::path& from, const std::filesystem::path& to,
              std::vector<std::filesystem::path>& made, const CopyProgress& progress = {});
// Removes what a copy made, deepest first.
void RemoveMade(std::vector<std::filesystem::path>& made);

} // namespace host
