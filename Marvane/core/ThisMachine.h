#pragma once
// Who we are on this machine, and whether another process is still the one it was: what a
// lock file records so that a lock left behind by a crash can be told from a live one.
#include <string>

namespace host {

// The machine's host name (empty when the system cannot say).
std::string ThisHostName();
// Changes at every start of the machine ("/proc/sys/kernel/random/boot_id").
std::string ThisBootId();
// Stays the same across restarts of this machine ("/etc/machine-id"); empty when unknown.
std::string ThisMachineId();
// When the process started, in clock ticks since the machine started; 0 when there is no
// such process. A pid reused by an unrelated process has another start time.
long long ProcessStartTicks(long long processId);
// This process's start time, read once per process (a forked child reads its own).
long long ThisProcessStartTicks();
// Whether a process that recorded these facts of itself ran on this machine and has stopped
// since, or the machine was restarted since. A process of another machine is never gone here.
bool RecordedProcessIsGone(const std::string& hostName, const std::string& bootId,
                           long long processId, long long startTicks);

} // namespace host
