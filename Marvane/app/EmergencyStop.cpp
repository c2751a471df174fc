#include "Marvane/app/EmergencyStop.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/projectbackend/LockFiles.h"

#include <atomic>
#include <cstdlib>
#include <ostream>
#include <string>

namespace host {

namespace {

std::ostream* gReport = nullptr;
std::atomic<bool> gStopping{false};

std::string DescribeCurrentException() {
    const std::exception_ptr current = std::current_exception();
    if (!current) {
        return "std::terminate was called";
    }
    try {
        std::rethrow_exception(current);
    } catch (const std::exception& error) {
        return std::string("uncaught exception: ") + error.what();
    } catch (...) {
        return "uncaught exception of an unknown type";
    }
}

// What an orderly stop does, less what needs a working event loop: the projects are not
// closed (nobody is told), only their locks are let go.
void KeepChangesAndReleaseLocks(std::ostream& err) {
    KeepChangesBeforeStopping(HostSession::Instance().dataDirectory, err);
    for (const OpenProjectPtr& project : DocumentManager::Instance().GetAll()) {
        project->ReleaseLock(); // one that must keep its lock holds none any more
    }
    DocumentManager::Instance().ReleaseOpeningLocks(); // projects still being read
    ReleaseCreatedLocks();
}

[[noreturn]] void StopOnUncaughtException() {
    // A second failure during the stop (or on another thread meanwhile) ends the run at once.
    if (gStopping.exchange(true) || gReport == nullptr) {
        std::abort();
    }
    std::ostream& err = *gReport;
    err << "marvane: stopping after an unexpected error (" << DescribeCurrentException() << ").\n";
    try {
        KeepChangesAndReleaseLocks(err);
    } catch (...) {
        err << "marvane: not everything could be kept before stopping.\n";
    }
    err.flush();
    std::abort();
}

} // namespace

EmergencyStop::EmergencyStop(std::ostream& err) {
    gReport = &err;
    mPrevious = std::set_terminate(StopOnUncaughtException);
}

EmergencyStop::~EmergencyStop() {
    std::set_terminate(mPrevious);
    gReport = nullptr;
}

} // namespace host
