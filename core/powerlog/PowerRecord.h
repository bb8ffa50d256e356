#pragma once

#include "json/Json.h"
#include "time/Instant.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

// What one line of Vitrek's own power record says.
enum class PowerRecordKind {
    start,      // a Vitrek began recording (the record covers the time from here on)
    alive,      // still recording: written now and then so a gap shows when nobody recorded
    boot,       // the kernel started, dated at its boot time
    sleep,      // logind is about to put the machine to sleep
    wake,       // logind reports the machine awake again
    screen,     // the screen saver turned the screen off or on
    inhibitors, // the sleep and idle inhibitors held at that moment (written when they change)
};

// "start", "alive", "boot", "sleep", "wake", "screen", "inhibitors".
std::string_view rawValue(PowerRecordKind kind);
std::optional<PowerRecordKind> powerRecordKindFromRawValue(std::string_view rawValue);

// One lock logind listed: a process that blocks or delays sleep or idleness.
struct HeldInhibitor {
    std::string who;
    std::string why;
    std::string what; // "sleep", "idle", "sleep:idle", …
    std::string mode; // "block" or "delay"
    std::uint32_t pid = 0;
    bool operator==(const HeldInhibitor&) const = default;
};

// One line of the record. Fields that a kind does not use stay absent or empty.
struct PowerRecord {
    Instant date;
    PowerRecordKind kind = PowerRecordKind::alive;
    std::optional<int> charge;     // battery percent at that moment
    std::optional<bool> onBattery; // running on battery rather than mains
    // sleep: what logind and the battery said at the moment of sleep; wake: the lid at the wake.
    std::optional<bool> lidClosed;
    std::optional<bool> idle;      // sleep: every session was idle
    bool batteryCritical = false;  // sleep: the battery reported a critical level
    // wake: seconds the kernel spent suspended since the sleep record, and the wakeup source that fired.
    std::optional<double> slept;
    std::string source;
    // screen: whether it is on; start: its state when a screen saver reports one (absent: unknown).
    std::optional<bool> screenOn;
    std::vector<HeldInhibitor> inhibitors; // inhibitors: every lock held
    std::optional<std::int64_t> pid;       // start: the recording process
    bool operator==(const PowerRecord&) const = default;
};

// A record of `kind` at `date` with nothing else set.
inline PowerRecord powerRecord(Instant date, PowerRecordKind kind) {
    PowerRecord record;
    record.date = date;
    record.kind = kind;
    return record;
}

// The stored form: {"time": Unix seconds, "kind": raw value, then only the fields that are set}. Decoding
// needs "time" (a finite number) and a known "kind"; other keys of the wrong type make the line absent,
// unknown keys are ignored.
Json toJson(const PowerRecord& record);
template <>
std::optional<PowerRecord> fromJson<PowerRecord>(const Json& json);

} // namespace vitrek
