#pragma once
// Every item Move moved is told to one listener, after the move, on the thread that moved it:
// the layer above keeps the record of where each item put in the trash came from.
#include <filesystem>
#include <functional>

namespace host {

using MovedListener =
    std::function<void(const std::filesystem::path& from, const std::filesystem::path& to)>;

// Installs the listener (empty: none).
void SetMovedListener(MovedListener listener);
// Tells the listener that an item moved; a listener that throws is not heard.
void TellMoved(const std::filesystem::path& from, const std::filesystem::path& to);

} // namespace host
