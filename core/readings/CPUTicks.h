#pragma once

#include <cstdint>

namespace vitrek {

// Processor time counters, cumulative since the system started and summed over all processors.
struct CPUTicks {
    std::uint64_t busy = 0;  // user, system and nice
    std::uint64_t total = 0; // busy plus idle

    // The share of ticks, 0…1, that were busy between two readings; 0 when the total did not grow or the
    // busy counter went back (a reset).
    static double load(const CPUTicks& from, const CPUTicks& to);

    bool operator==(const CPUTicks&) const = default;
};

} // namespace vitrek
