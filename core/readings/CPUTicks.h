#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vitrek {

// Processor time counters, cumulative since the system started and summed over all processors.
struct CPUTicks {
    std::uint64_t busy = 0;  // user, nice, system, interrupt and stolen time
    std::uint64_t total = 0; // busy plus idle and waiting for I/O

    // The share of ticks, 0…1, that were busy between two readings; 0 when the total did not grow or the
    // busy counter went back (a reset).
    static double load(const CPUTicks& from, const CPUTicks& to);

    // The running machine's counters; both 0 when they cannot be read. Defined by the platform layer.
    static CPUTicks now();

    // The counters of the first "cpu " line of the kernel's /proc/stat text; absent without that line or
    // with fewer than the four columns every kernel prints.
    static std::optional<CPUTicks> fromProcStat(std::string_view text);

    bool operator==(const CPUTicks&) const = default;
};

} // namespace vitrek
