#pragma once

#include "time/Instant.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

// The machine's state between two power records, from deepest rest to fully in use.
enum class PowerState { asleep, dark, awake, screenOn };

inline constexpr std::array<PowerState, 4> kAllPowerStates{PowerState::asleep, PowerState::dark,
                                                           PowerState::awake, PowerState::screenOn};

// "asleep", "dark", "awake", "screenOn": the stored form.
std::string_view rawValue(PowerState state);
// Exactly the raw values above (letter case included); absent for anything else.
std::optional<PowerState> powerStateFromRawValue(std::string_view rawValue);
// "Asleep", "Dark wake", "Awake, screen off", "Screen on".
std::string_view label(PowerState state);
// 0 (asleep) … 3 (screen on).
constexpr int level(PowerState state) { return static_cast<int>(state); }

// What one state record of the power log says happened.
enum class PowerEventKind { sleep, enterDark, darkWake, wake, darkToFull, boot };

std::string_view rawValue(PowerEventKind kind);
std::optional<PowerEventKind> powerEventKindFromRawValue(std::string_view rawValue);
// The state the machine is in after an event of this kind.
PowerState state(PowerEventKind kind);

// One sleep, wake, dark-wake or start-up record.
struct PowerEvent {
    Instant date;
    PowerEventKind kind = PowerEventKind::wake;
    std::string raw;   // the record's message, trimmed
    std::string cause; // empty when the message names none
    std::optional<bool> onBattery;
    std::optional<int> charge; // percent
    bool operator==(const PowerEvent&) const = default;
};

// One entry of a "Wake Requests" record: a process asking to wake the machine later.
struct WakeRequest {
    Instant logged;
    std::string process; // never empty
    std::string request;
    std::optional<Instant> wakeAt;
    std::string info;
    bool chosen = false; // the power manager picked it as the next wake
    bool operator==(const WakeRequest&) const = default;
};

// A released assertion that kept the machine from sleeping.
struct AssertionRelease {
    Instant end;
    double duration = 0; // seconds held; 0 when the log gives none
    std::int32_t pid = 0;
    std::string process;
    std::string type; // PreventUserIdleSystemSleep, PreventSystemSleep or NoIdleSleepAssertion
    std::string name;

    Instant start() const { return end - Seconds{duration}; }
    bool operator==(const AssertionRelease&) const = default;
};

struct DisplayChange {
    Instant date;
    bool on = false;
    bool operator==(const DisplayChange&) const = default;
};

// What one power log says about a stretch of time. After parsing, each list is sorted stably by its first
// date field (events and display changes by date, requests by `logged`, releases by `end`).
struct PowerLog {
    std::vector<PowerEvent> events;
    std::vector<WakeRequest> requests;
    std::vector<AssertionRelease> releases;
    std::vector<DisplayChange> display;
    std::optional<Instant> firstDate;
    std::int64_t skippedLines = 0; // lines that looked like records but could not be used
    bool operator==(const PowerLog&) const = default;
};

// Sorts each list of the log stably by its first date field, as the night builder needs them; a list
// already in order (the usual case) is left as it is.
void sortByDates(PowerLog& log);

} // namespace vitrek
