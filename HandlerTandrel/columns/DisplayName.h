#pragma once
#include "host/CoreTypes.h"

namespace HandlerTandrel {

// The name the panel shows for a path: a project without its extension, anything else by
// its last component ("/Shows/Pilot/" gives "Pilot").
host::WideString DisplayNameOf(const host::WideString& path);

} // namespace HandlerTandrel
