#pragma once
// What the window does when the production's share stops answering and when it comes back.
// Gone: the panel keeps showing the production as it was last seen (its notifications
// paused, so no row vanishes for a read that failed), the unsaved changes of every open
// project are kept as recovery copies on this machine, and a banner says what happened.
// Back: the banner goes and the production is shown again from scratch, with the panel's
// open folders and selection put back. Nothing is written to the share meanwhile by this.
#include <string>

namespace host {

class MainWindow;

void ProductionReachabilityChanged(MainWindow& window, bool reachable, const std::string& reason);
// A production was opened or closed: whatever an outage of the one before had paused or said is
// over (its own watch tells of the new one).
void ProductionChangedDuringOutage(MainWindow& window);

} // namespace host
