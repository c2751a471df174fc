#pragma once
// Host-internal access to the command registry.
namespace host {
// Calls every context declarer that modules registered and that has not run yet.
void DeclareRegisteredCommandContexts();
} // namespace host
