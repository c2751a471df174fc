#pragma once
// An exception that nobody catches ends the run through std::terminate, wherever it was
// thrown (an event handler, a module's callback, a worker). While an EmergencyStop is in
// place, that end still loses nothing and leaves no lock behind where it can: as at a
// termination signal, each modified project's content is written as a recovery copy and
// the locks this process holds are removed (a project whose copy could not be written keeps
// its lock); then the run aborts, so the failure stays visible to whoever started it.
#include <exception>
#include <iosfwd>

namespace host {

class EmergencyStop {
public:
    // err: where the stop is reported.
    explicit EmergencyStop(std::ostream& err);
    ~EmergencyStop();
    EmergencyStop(const EmergencyStop&) = delete;
    EmergencyStop& operator=(const EmergencyStop&) = delete;

private:
    std::terminate_handler mPrevious;
};

} // namespace host
