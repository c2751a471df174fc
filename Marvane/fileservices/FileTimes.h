#pragma once
// File times as the host hands them on: 100-nanosecond ticks since 1970.
#include <cstdint>
#include <limits>
#include <sys/stat.h>

namespace host {

inline constexpr std::int64_t kTicksPerSecond = 10'000'000;

// Saturates instead of overflowing for times beyond what 64-bit ticks can hold.
inline std::int64_t TicksOf(const struct statx_timestamp& time) {
    std::int64_t ticks = 0;
    if (__builtin_mul_overflow(static_cast<std::int64_t>(time.tv_sec), kTicksPerSecond, &ticks) ||
        __builtin_add_overflow(ticks, static_cast<std::int64_t>(time.tv_nsec / 100), &ticks)) {
        return time.tv_sec < 0 ? std::numeric_limits<std::int64_t>::min()
                               : std::numeric_limits<std::int64_t>::max();
    }
    return ticks;
}

// When a file was made: its birth time where the file system keeps one, else the last change
// of its status.
inline std::int64_t CreatedTicksOf(const struct statx& status) {
    return (status.stx_mask & STATX_BTIME) != 0 ? TicksOf(status.stx_btime)
                                                : TicksOf(status.stx_ctime);
}

} // namespace host
