#pragma once

#include "powerlog/PowerLog.h"
#include "powerlog/PowerRecord.h"
#include "time/Instant.h"

#include <span>
#include <vector>

namespace vitrek {

// A stretch of time during which Vitrek was recording the machine's power events.
struct RecordedSpan {
    Instant from;
    Instant to;
    bool operator==(const RecordedSpan&) const = default;
};

// Vitrek's own record of sleep and wake, told as a power log the night builder reads like any other.
//
// - Sleep: each sleep record is a `sleep` event whose cause comes from the facts written with it, named as
//   the journal names them: a critical battery, else the lid closed, else every session idle, else back to
//   sleep after a dark wake, else a sleep someone asked for.
// - Wake: each wake record that follows a sleep. Its cause is the lid when it was closed at the sleep and
//   is open at the wake, else the kernel's wakeup source that fired. A wake nobody caused that is back
//   asleep within two minutes, with the screen staying off, is a dark wake, by the journal's rule.
// - Display: from the screen saver's records where a screen saver reported; without one, the journal's
//   rule holds (a full wake or a boot turns the screen on, a sleep turns it off).
// - Inhibitors: each block lock on sleep or idle is held from the first snapshot that lists it to the
//   first that does not (or the end of the recording), and becomes a release: who is the process, why is
//   the name.
// - Coverage: lines no more than `kMaxGap` apart, and a sleep with its wake however long it lasted, make
//   one span; the last span stays open up to `now` while its last line is recent.
namespace RecordedPowerLog {

// The recorder writes a line at least this often while it runs.
inline constexpr double kAliveEvery = 300;
// Lines further apart than this (a sleep and its wake excepted) leave a gap nobody recorded.
inline constexpr double kMaxGap = 420;

struct Recorded {
    PowerLog log;
    std::vector<RecordedSpan> coverage; // ascending and disjoint
    bool operator==(const Recorded&) const = default;
};

// The mapping of the records (in any order; equal dates keep their order); pure, never fails.
Recorded fromRecords(std::span<const PowerRecord> records, Instant now);

// Whether the spans cover [from, to], allowing `kMaxGap` at either end.
bool covers(std::span<const RecordedSpan> coverage, Instant from, Instant to);

} // namespace RecordedPowerLog
} // namespace vitrek
