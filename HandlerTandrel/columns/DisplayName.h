#pragma once
#include "host/CoreTypes.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace HandlerTandrel {

// The name the panel shows for a path: a project without its extension, anything else by
// its last component ("/Shows/Pilot/" gives "Pilot").
host::WideString DisplayNameOf(const host::WideString& path);

// How much of a file name (no folder in it) its display name is: the name up to a project's
// extension, or the whole name. None for what is not a plain name (a path, an empty name, a
// name that is only an extension), whose display name DisplayNameOf gives.
std::optional<std::size_t> DisplayNameLength(std::u16string_view name);

} // namespace HandlerTandrel
