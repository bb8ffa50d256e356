#pragma once

#include "files/VitrekFiles.h"
#include "linux/ProcessRunner.h"
#include "powerlog/NightLog.h"
#include "time/Instant.h"

#include <optional>
#include <string_view>

namespace vitrek::PowerLogParser {

// The machine's nights' log with where it came from and what kept a source from being read (one sentence
// with the fix; empty when nothing did).
using SystemLog = NightLog;

// Which source the nights are read from: the journal and Vitrek's own record together, or one alone.
enum class SourceChoice { automatic, journal, vitrek };

// "journal" and "vitrek"; absent for anything else.
std::optional<SourceChoice> sourceChoiceFromName(std::string_view name);

// Vitrek's own record in `files` is kept this many days.
inline constexpr int kRecordDays = 15;

// The nights' log of this machine up to `now`: the journal (with the battery history) where this user may
// read it, Vitrek's own record in `files`, merged where both exist. Blocks for as long as journalctl runs;
// call it off the main thread. The problem is the journal's, when it was asked and could not be read, even
// when Vitrek's record stands in for it: the journal alone could show the nights before that record.
SystemLog readSystemLog(const VitrekFiles& files, Instant now, SourceChoice choice = SourceChoice::automatic,
                        const ProcessRunner& runner = runProcess);

} // namespace vitrek::PowerLogParser
