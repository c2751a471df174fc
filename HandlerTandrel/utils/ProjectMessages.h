#pragma once
// The host's project messages (opened, closed, read-only changed) all name one project whose
// row a view refreshes.
#include "host/Messaging.h"
#include "host/OpenProjects.h"

namespace HandlerTandrel::Utils {

// The project a message is about, when it is one of the project messages; else null.
const host::ByteString* ProjectPathOfMessage(const host::Message& message);

} // namespace HandlerTandrel::Utils
