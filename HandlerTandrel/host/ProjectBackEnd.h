#pragma once
// The host project back end: project file tests and project messages. Main thread only.
#include "host/CoreTypes.h"
#include "host/Messaging.h"

#include <string_view>

namespace host {

// Whether a path names a project by its extension: a project file ".mvproj" or a project
// folder ".mvprojd" (when the host's folder format is switched on).
bool IsMarvaneProjectFile(const ByteString& utf8Path);

// Sent on kProjectActivationStation after a project has been closed.
struct ProjectClosedMessage : Message {
    HOST_DECLARE_MESSAGE_TYPE(ProjectClosedMessage)
};
inline constexpr std::string_view kProjectActivationStation = "zkr.projectactivation";

} // namespace host
