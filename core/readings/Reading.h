#pragma once

#include "json/Json.h"
#include "readings/Heat.h"
#include "readings/Pressure.h"
#include "time/Instant.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vitrek {

struct BatteryInfo {
    std::optional<double> health; // full-charge capacity ÷ design capacity, 0…1
    std::optional<int> cycles;
    int percent = 0; // current charge, 0…100
    bool onAC = false;
    bool operator==(const BatteryInfo&) const = default;
};

// One snapshot of the machine's state.
struct Reading {
    Instant date;
    std::string model;
    std::optional<BatteryInfo> battery; // absent without an internal battery
    std::int64_t freeBytes = 0;         // available on the startup volume
    std::int64_t totalBytes = 0;
    Pressure pressure = Pressure::normal;
    std::int64_t swapBytes = 0;
    std::optional<Heat> heat;           // absent when no sensor can be read
    Instant bootedAt;

    // free ÷ total, 0…1; an unknown volume (total below 1 byte) counts as entirely free.
    double freeShare() const;
    // Seconds since the system started; never negative.
    double uptime() const;

    bool operator==(const Reading&) const = default;
};

// JSON forms with the field names as keys; dates in seconds from `epoch` (decoding reads the stored
// form, from 2001). "battery", "health" and "cycles" are omitted when absent, "heat" is null without a
// sensor; those four are optional on decoding, every other key is required.
Json toJson(const BatteryInfo& battery);
Json toJson(const Reading& reading, Epoch epoch);
template <>
std::optional<BatteryInfo> fromJson<BatteryInfo>(const Json& json);
template <>
std::optional<Reading> fromJson<Reading>(const Json& json);

} // namespace vitrek
