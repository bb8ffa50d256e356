#pragma once

#include "readings/CPUTicks.h"
#include "readings/Heat.h"
#include "readings/Pressure.h"
#include "readings/Reading.h"
#include "time/Instant.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vitrek {

// Reads the running machine. Each operating system supplies the primitive operations; `read` composes them
// the same way everywhere. None of them fails outward: what cannot be read is absent or zero.
class Reader {
public:
    struct Storage {
        std::int64_t freeBytes = 0; // available to the user on the system volume
        std::int64_t totalBytes = 0;
        bool operator==(const Storage&) const = default;
    };
    struct Memory {
        Pressure pressure = Pressure::normal;
        std::int64_t swapBytes = 0; // swap in use
        bool operator==(const Memory&) const = default;
    };

    virtual ~Reader() = default;

    // A complete reading dated `now`; without a boot time, the system started `uptime()` seconds before
    // `now`.
    Reading read(Instant now) const;

    // The machine's own battery; absent without one.
    virtual std::optional<BatteryInfo> battery() const = 0;
    // The system volume; (0, 0) when it cannot be asked.
    virtual Storage storage() const = 0;
    // Normal pressure and no swap when unreadable.
    virtual Memory memory() const = 0;
    // A name a person recognises, else the bare machine identifier; never garbage, possibly empty.
    virtual std::string modelName() const = 0;
    // When the system last started; absent when unknown.
    virtual std::optional<Instant> bootTime() const = 0;
    // The processor's thermal level; absent when no sensor can be read.
    virtual std::optional<Heat> heat() const = 0;
    // Seconds since the system started, by the clock that keeps counting during sleep; 0 when unknown.
    virtual double uptime() const = 0;
    // The cumulative processor counters; both 0 when unreadable.
    virtual CPUTicks cpuTicks() const = 0;
    // The day the operating system was installed; absent when it cannot be told.
    virtual std::optional<Instant> setUpDate() const = 0;

    // Charge in whole percent: current ÷ maximum × 100 rounded half away from zero; when the maximum is not
    // positive, the current value as it is (firmwares that already count in percent report no maximum).
    static int batteryPercent(std::int64_t current, std::int64_t maximum);
    // Full-charge capacity over design capacity, never above 1; absent when either is unknown or the
    // design capacity is below 1.
    static std::optional<double> batteryHealth(std::optional<std::int64_t> full,
                                               std::optional<std::int64_t> design);
};

} // namespace vitrek
