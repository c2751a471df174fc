#pragma once
// Host-internal access to the command registry.
#include <cstddef>

namespace host {
// Calls every context declarer that modules registered and that has not run yet.
void DeclareRegisteredCommandContexts();
// How many declarers modules have registered so far.
std::size_t RegisteredCommandDeclarerCount();
} // namespace host
