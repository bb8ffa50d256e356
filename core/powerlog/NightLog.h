#pragma once

#include "powerlog/PowerLog.h"
#include "powerlog/RecordedPowerLog.h"
#include "time/Instant.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

// Where the nights came from.
enum class NightSourceKind { none, journal, vitrek, both };

// "none", "journal", "vitrek", "journal+vitrek".
std::string_view rawValue(NightSourceKind kind);

// Which source the nights are read from: the journal and Vitrek's own record together, or one alone.
enum class NightSourceChoice { automatic, journal, vitrek };

// "journal" and "vitrek"; absent for anything else.
std::optional<NightSourceChoice> nightSourceChoice(std::string_view name);

// The log the nights are built from, with what each source can vouch for.
struct NightLog {
    PowerLog log;
    std::string problem; // what kept a source from being read, as one sentence with the fix; empty if none
    NightSourceKind source = NightSourceKind::none;
    std::vector<RecordedSpan> recorded;  // when Vitrek's own record took part: the times it was recording
    std::optional<Instant> journalFrom;  // when the journal took part: the earliest time it covers
    bool operator==(const NightLog&) const = default;
};

} // namespace vitrek
