#pragma once

#include "powerlog/JournalReader.h"
#include "powerlog/PowerLog.h"

#include <span>

namespace vitrek {

// The power log of a Linux machine, told by its journal: sleeps, wakes, dark wakes and boots as
// `PowerEvent`s, the display inferred from them, and the sleep delays logind reports as releases.
namespace JournalPowerLog {

// The mapping of the records (in journal order) into a PowerLog; pure, never fails.
PowerLog fromRecords(const JournalRecords& records);

// `JournalReader::read` followed by `fromRecords`.
PowerLog parse(std::string_view text, Instant now, const Calendar& calendar);

} // namespace JournalPowerLog
} // namespace vitrek
