#include "Marvane/app/EmergencyStop.h"

#include "Marvane/application/HostSession.h"
#include "Marvane/documents/DocumentManager.h"
#include "Marvane/documents/Recovery.h"
#include "Marvane/projectbackend/LockFiles.h"

#include <algorithm>
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

// What CloseProjectsKeepingChanges does at an orderly stop, less what needs a working event
// loop: nobody is told that the projects closed.
void KeepChangesAndReleaseLocks(std::ostream& err) {
    const RecoveryResult recovery = SaveRecoveryCopies(HostSession::Instance().dataDirectory);
    for (const auto& copy : recovery.written) {
        err << "marvane: unsaved changes were kept in " << copy << "\n";
    }
    for (const OpenProjectPtr& project : DocumentManager::Instance().GetAll()) {
        const bool failed =
            std::any_of(recovery.failed.begin(), recovery.failed.end(),
                        [&](const auto& failure) { return failure.first == project->Path(); });
        if (failed) {
            err << "marvane: the unsaved changes of " << project->Path()
                << " could not be kept; its lock stays in place.\n";
            project->AbandonLock();
        } else {
            project->ReleaseLock();
        }
    }
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
