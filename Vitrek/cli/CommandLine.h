#pragma once

#include "linux/PowerLogSource.h"
#include "powerlog/PowerLog.h"
#include "time/Instant.h"

#include <functional>
#include <iosfwd>
#include <span>
#include <string>

namespace vitrek::cli {

// What a terminal command may touch; tests replace the clock, the system's log and the streams.
struct CommandContext {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    std::function<Instant()> now;
    // The system's nights up to `now`: the journal and Vitrek's own record, or the one chosen.
    std::function<PowerLogParser::SystemLog(Instant now, PowerLogParser::SourceChoice choice)> loadSystemLog;
};

// Usage errors and unreadable inputs: one line on stderr, exit status 2.
inline constexpr int kUsageError = 2;

// Runs `vitrek <arguments…>` (the program name excluded) and returns the exit status.
int run(std::span<const std::string> arguments, CommandContext& context);

// Whether the arguments ask for a command that runs and ends (everything but the check-up loop).
bool isCommand(std::span<const std::string> arguments);

} // namespace vitrek::cli
