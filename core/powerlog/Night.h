#pragma once

#include "json/Json.h"
#include "powerlog/PowerLog.h"
#include "time/Instant.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

// A span of one machine state.
struct Segment {
    Instant start;
    Instant end;
    PowerState state = PowerState::asleep;

    double seconds() const { return secondsBetween(start, end); }
    bool operator==(const Segment&) const = default;
};

struct BatteryPoint {
    Instant date;
    int charge = 0; // percent
    bool operator==(const BatteryPoint&) const = default;
};

// A process that held a sleep-preventing assertion while the machine was awake.
struct KeptAwake {
    std::string process; // also the identity
    std::string detail;  // the name of its longest assertion
    std::string type;    // that assertion's type
    double seconds = 0;  // of the night's awake time

    const std::string& id() const { return process; }
    bool operator==(const KeptAwake&) const = default;
};

// One moment of a night's timeline.
struct NightEvent {
    enum class Kind { awakeAtStart, fellAsleep, darkWake, stayedAwake, screenOn };

    Instant date; // the start of the moment's segment
    Kind kind = Kind::fellAsleep;
    std::string label;
    std::string symbol;
    std::string raw;     // the power log's own text, shown as detail
    double duration = 0; // seconds
    std::optional<int> charge;
    std::optional<std::string> scheduledBy;
    std::optional<std::string> culprit;

    // Unix seconds in shortest round-trip form ("1709614800.0", "1709614800.25"), "-", the kind.
    std::string id() const;
    bool operator==(const NightEvent&) const = default;
};

std::string_view rawValue(NightEvent::Kind kind);
std::optional<NightEvent::Kind> nightEventKindFromRawValue(std::string_view rawValue);

// One night of the machine: its window, states, timeline, battery and who kept it awake.
struct Night {
    std::string id; // "yyyy-MM-dd" of the morning
    Instant start;
    Instant end;
    std::vector<Segment> segments; // tile [start, end]
    std::vector<NightEvent> events;
    std::vector<BatteryPoint> battery;
    bool hasBattery = false;
    bool pluggedIn = false;
    std::vector<KeptAwake> keptAwake; // most seconds first
    bool isDemo = false;
    bool inProgress = false;

    double duration() const { return secondsBetween(start, end); }
    // Seconds spent in `state`.
    double time(PowerState state) const;
    double asleep() const { return time(PowerState::asleep); }
    double darkTime() const { return time(PowerState::dark); }
    double awakeTime() const { return time(PowerState::awake); }
    double screenTime() const { return time(PowerState::screenOn); }

    int darkWakeCount() const;
    int screenOnCount() const;
    int upCount() const; // stretches awake with the screen off or on
    int wakeCount() const { return darkWakeCount() + upCount(); }

    // Absent without a battery or battery points.
    std::optional<int> startCharge() const;
    std::optional<int> endCharge() const;
    std::optional<int> lost() const; // never below 0

    std::optional<NightEvent> bedtime() const;   // the first fellAsleep event
    std::vector<NightEvent> wakeMoments() const; // dark wakes, stayed awake and screen on, in order
    // The segment holding `t` (the last one at exactly `end`).
    std::optional<Segment> segment(Instant t) const;
    // The charge at `t`: the last point at or before it, else the first point.
    std::optional<int> charge(Instant t) const;

    int score() const;
    std::string_view scoreWord() const;

    bool operator==(const Night&) const = default;
};

// One line of a night's story: a single event, or a run of identical dark wakes.
struct StoryItem {
    std::vector<NightEvent> events; // never empty

    const NightEvent& first() const { return events.front(); }
    std::string id() const { return first().id(); }
    bool isGroup() const { return events.size() > 1; }
    double totalDuration() const;
    bool operator==(const StoryItem&) const = default;
};

// How well the machine slept, 0–100.
namespace RestScore {
int score(const Night& night);
// "Sound" (85+), "Light" (65+), "Restless" (40+), "Barely slept".
std::string_view word(int score);
// 0…10 filled ticks of a ten-tick gauge.
int ticks(int score);
} // namespace RestScore

namespace Story {
std::vector<StoryItem> items(const Night& night);
} // namespace Story

// Dates in seconds from `epoch`, optional members omitted when absent. Decoding reads the stored form,
// from 2001.
Json toJson(const Segment& segment, Epoch epoch);
Json toJson(const BatteryPoint& point, Epoch epoch);
Json toJson(const KeptAwake& keptAwake);
Json toJson(const NightEvent& event, Epoch epoch);
Json toJson(const Night& night, Epoch epoch);
template <> std::optional<Night> fromJson<Night>(const Json& json);

} // namespace vitrek
