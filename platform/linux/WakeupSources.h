#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace vitrek {

// One of the kernel's wakeup sources: a device or timer that may wake the machine, with its counters.
struct WakeupSource {
    std::string name;              // the `name` file, trimmed ("PNP0C0D:00", "1-4", "alarmtimer.0.auto")
    std::int64_t eventCount = 0;   // events signalled, awake or asleep
    std::int64_t wakeupCount = 0;  // events that aborted or ended a sleep
    std::int64_t lastChangeMs = 0; // monotonic milliseconds of the last change
    bool operator==(const WakeupSource&) const = default;
};

namespace WakeupSources {

// Every source below <root>/sys/class/wakeup, in folder-name order (wakeup10 before wakeup2); unreadable
// counts read as 0, a folder without a name is skipped; empty when the class is missing (kernels before
// 5.4, or sysfs not mounted).
std::vector<WakeupSource> read(const std::filesystem::path& root = "/");

// The sources whose counts grew between two readings, as `after` has them, the likeliest waker first:
// those whose wakeup_count grew before those where only event_count grew, then the earliest
// last_change_ms (the first to fire after the resume), then name. Sources are matched by name and, since
// a device may register more than one source under its name, by their order among namesakes; one missing
// from `before` counts from zero. Empty when none moved.
std::vector<WakeupSource> moved(std::span<const WakeupSource> before, std::span<const WakeupSource> after);

} // namespace WakeupSources
} // namespace vitrek
