#pragma once
// The host directory monitor: tells listeners when the entries of a watched folder change.
// Local folders are watched through the operating system's notifications; folders on network
// file systems, where changes made by other machines are never notified, are looked at
// periodically instead. Main thread only.
#include "host/CoreTypes.h"
#include "host/Messaging.h"

#include <string_view>
#include <utility>

namespace host {

// Whether changes under the path can only be seen by polling: it lies on a network or
// user-space file system (or the host is set to poll everything).
bool DoesPathRequirePolling(const WideString& path);

// Starts watching a folder; recursive: its sub-folders too, including those made later.
// reportFileChanges: a change to a file's content counts, not only entries coming and going.
void MonitorDirectory(const WideString& path, bool recursive, bool reportFileChanges);
// Stops watching a folder; recursive: every watched folder below it too.
void StopMonitoringDirectory(const WideString& path, bool recursive);

// Posted on kDirectoryMonitorStation, once for a burst of changes in one folder.
struct DirectoryChangedMessage : Message {
    static constexpr MessageTypeID kTypeID = HashMessageTypeName("DirectoryChangedMessage");
    explicit DirectoryChangedMessage(WideString changedFolder)
        : Message(kTypeID), folder(std::move(changedFolder)) {}
    WideString folder;
};
inline constexpr std::string_view kDirectoryMonitorStation = "zkr.directorymonitor";

} // namespace host
