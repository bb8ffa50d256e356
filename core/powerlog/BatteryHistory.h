#pragma once

#include "powerlog/PowerLog.h"
#include "time/Instant.h"

#include <optional>
#include <string_view>
#include <vector>

namespace vitrek {

// One line of a battery history file: the charge (or the rate) at a moment, with the charging state.
struct BatteryHistoryEntry {
    Instant date;
    double value = 0;               // percent in a charge file, watts in a rate file
    std::optional<bool> onBattery;  // from the state word; absent for "unknown" and words not known
    bool operator==(const BatteryHistoryEntry&) const = default;
};

// The charge and rate history of one battery, each list sorted by date.
struct BatteryHistory {
    std::vector<BatteryHistoryEntry> charge;
    std::vector<BatteryHistoryEntry> rate;
    bool operator==(const BatteryHistory&) const = default;
};

namespace BatteryHistoryFile {

// The lines "unix-seconds<TAB>value<TAB>state" of a history file, sorted stably by date; lines that do
// not have that shape are left out. States: "discharging", "empty" and "pending-discharge" are on battery;
// "charging", "fully-charged" and "pending-charge" are on mains.
std::vector<BatteryHistoryEntry> parse(std::string_view text);

// Sets each event's `charge` (rounded percent) and `onBattery` from the last entry at or before it:
// the charge from the charge list, the power source from whichever list has the later entry that names
// one. Events before the first entry are left alone, as is everything when the history is empty.
void annotate(PowerLog& log, const BatteryHistory& history);

} // namespace BatteryHistoryFile
} // namespace vitrek
