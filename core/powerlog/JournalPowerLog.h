#pragma once

#include "powerlog/JournalReader.h"
#include "powerlog/PowerLog.h"

#include <span>

namespace vitrek {

// The power log of a Linux machine, told by its journal: sleeps, wakes, dark wakes and boots as
// `PowerEvent`s, the display inferred from them, and the sleep delays logind reports as releases.
//
// - Sleep: the first record of a trip to sleep (systemd-sleep's "Entering sleep state", the kernel's
//   "PM: suspend entry" or "hibernation entry", or an earlier step) dates it; kernel records of the same
//   trip that the journal only reads after the resume change nothing. The cause is the last logind record
//   within a minute before it: "Lid closed." → "Clamshell Sleep", the power key → "Power Button", the
//   suspend or hibernate key → "Sleep Key", "System idle" → "Idle Sleep"; a critical battery anywhere
//   beats them all ("Low Power Sleep"). Back to sleep after a dark wake it is "Clamshell Sleep" while the
//   lid is closed, else "Maintenance Sleep"; any other sleep systemd carried out is "Software Sleep", and
//   one only the kernel recorded has no cause. A failure to sleep within a minute undoes the trip.
// - Wake: the first resume record. Its cause is what logind saw within 10 s ("Lid Open", "Power Button"),
//   else the kernel's wakeup source ("RTC Alarm", "USB (1-4)", "Keyboard", "WLAN (…)", "Wake on LAN",
//   "Bluetooth", or the name as given, an interrupt number last); else none.
// - Dark wake: a resume nobody caused (no lid, key or input device) that is back asleep within two
//   minutes. If logind later sees the lid or the power key before the next sleep, the dark wake becomes a
//   full one then (`darkToFull`).
// - Display: the journal does not record it, so a full wake (and a boot) turns it on, a sleep or a
//   power-off turns it off, and a dark wake leaves it off.
// - Boot: the first record of each new boot id, or a kernel "Linux version" banner; a power-off is not a
//   sleep, so a night switched off stays a gap.
namespace JournalPowerLog {

// The mapping of the records (in journal order) into a PowerLog; pure, never fails.
PowerLog fromRecords(const JournalRecords& records);

// `JournalReader::read` followed by `fromRecords`.
PowerLog parse(std::string_view text, Instant now, const Calendar& calendar);

} // namespace JournalPowerLog
} // namespace vitrek
