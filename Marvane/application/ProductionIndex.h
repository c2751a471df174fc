#pragma once
// The open production's name index, kept as the disk is: built on a thread of its own when the
// production opens (the window never waits for it), then every folder the directory monitor says
// changed is read again on that thread (inotify on local disks, polling on shares). The search
// answers from it once it is complete, and walks the disk until then.
#include "Marvane/fileservices/NameIndex.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>

namespace host {

class ProductionIndex {
public:
    static ProductionIndex& Instance();
    ~ProductionIndex();

    // Main thread. Keeps the folder's whole tree watched and starts building its index (the
    // previous production's goes).
    void Open(const std::filesystem::path& root);
    // Main thread. Stops watching and lets the index go; waits for its thread at most the
    // deadline (a share that does not answer leaves the thread to end on its own).
    void Close(std::chrono::milliseconds deadline = std::chrono::seconds(3));

    // The index being kept, complete or not; null when no production is open.
    std::shared_ptr<const NameIndex> Index() const;
    // Whether the index is complete, every folder of the production is watched, and every
    // change the monitor told so far is in the index.
    bool IsCurrent() const;
    // How many folders were read again since the production opened.
    std::uint64_t RefreshCount() const;

    // What the index's thread shares with the main thread (defined where it is used).
    struct Keeper;
    struct Source;

private:
    ProductionIndex() = default;
    std::shared_ptr<Keeper> mKeeper;
    std::shared_ptr<Source> mSource; // installed for the search at the first opening
};

} // namespace host
