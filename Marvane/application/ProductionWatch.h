#pragma once
// Whether the open production's folder answers. A worker looks at it every few seconds (the
// file system's status and the first entry of a listing); a look that fails, or that does not
// come back within the deadline (a share that stopped answering blocks), makes the
// production unreachable until a look succeeds again. Each change is announced on the main
// thread with a ProductionReachabilityMessage on the panel framework's station. The main
// thread's own accesses under the folder are bounded in time while it is watched.
#include "host/Messaging.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace host {

struct ProductionReachabilityMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ProductionReachabilityMessage)
    ProductionReachabilityMessage(bool isReachable, std::string why)
        : Message(kTypeID), reachable(isReachable), reason(std::move(why)) {}
    bool reachable = true;
    std::string reason; // why it cannot be reached, in the system's words
};

// How long the main thread waits for one access to the production's folder.
inline constexpr std::chrono::milliseconds kMainThreadAccessDeadline{500};

// What a look at a folder found: why it cannot be used (empty when it can), and the type of the
// file system it is on (statfs's f_type; 0 when not known).
struct FolderLook {
    std::string why;
    long fileSystemType = 0;
};

// The look at a folder about to be opened as a production: its file system, and whether it
// can be opened for listing (refused when it cannot be read). Its entries are not read: the
// panel lists them next. Nothing when it was late.
FolderLook LookAtFolderToOpen(const std::filesystem::path& folder);
std::optional<FolderLook> LookAtFolderToOpenWithin(const std::filesystem::path& folder,
                                                   std::chrono::milliseconds deadline);
// One look at a folder: empty when it answers, else why not.
std::string LookAtFolder(const std::filesystem::path& folder);
// The same look, given up after the deadline (a share that hangs): nothing when it was late.
// A late look finishes on its own thread.
std::optional<std::string> LookAtFolderWithin(const std::filesystem::path& folder,
                                              std::chrono::milliseconds deadline);

class ProductionWatch {
public:
    static ProductionWatch& Instance();
    ~ProductionWatch();

    // Watches the folder (the previous one no more), looking at it every interval from one
    // interval on: whoever starts the watch has just looked at the folder. Main thread.
    void Start(const std::filesystem::path& folder, std::chrono::milliseconds interval,
               std::chrono::milliseconds deadline);
    void Stop();
    bool IsReachable() const;
    std::string Reason() const;

    // What the watch shares with its worker (defined where it is used).
    struct State;

private:
    ProductionWatch() = default;
    std::shared_ptr<State> mState;
};

} // namespace host
