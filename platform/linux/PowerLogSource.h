#pragma once

#include "files/VitrekFiles.h"
#include "linux/ProcessRunner.h"
#include "powerlog/NightLog.h"
#include "time/Instant.h"


namespace vitrek::PowerLogParser {

// Vitrek's own record in `files` is kept this many days.
inline constexpr int kRecordDays = 15;

// The nights' log of this machine up to `now`: the journal (with the battery history) where this user may
// read it, Vitrek's own record in `files`, merged where both exist. Blocks for as long as journalctl runs;
// call it off the main thread. The problem is the journal's, when it was asked and could not be read, even
// when Vitrek's record stands in for it: the journal alone could show the nights before that record.
NightLog readSystemLog(const VitrekFiles& files, Instant now, NightSourceChoice choice = NightSourceChoice::automatic,
                        const ProcessRunner& runner = runProcess);

} // namespace vitrek::PowerLogParser
