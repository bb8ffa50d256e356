#pragma once

#include "cli/CommandLine.h"
#include "linux/PowerLogSource.h"
#include "powerlog/NightSource.h"
#include "powerlog/PowerLog.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <iosfwd>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace vitrek::cli {

// The options the terminal commands share; each command accepts the ones its usage names.
struct CommandOptions {
    std::optional<std::string> logPath;     // "-" is standard input; absent reads the system's log
    std::optional<std::string> journalPath; // a recorded journal instead of the system's ("-" as above)
    std::optional<std::string> readingPath; // a stored reading instead of the live machine's
    std::optional<Instant> now;
    std::optional<std::string> zone;
    std::optional<PowerLogParser::SourceChoice> source; // the system's nights from this source alone
    bool json = false;
    bool help = false;
    bool operator==(const CommandOptions&) const = default;
};

// A usage error, worded for "vitrek: " + message.
struct UsageError {
    std::string message;
    bool operator==(const UsageError&) const = default;
};

// `--name value` and `--name=value`; `--reading` only when `acceptsReading`, `--source` only for nights.
std::variant<CommandOptions, UsageError>
parseCommandOptions(std::string_view command, std::span<const std::string> arguments, bool acceptsReading);

// The calendar of `--tz`, else the user's; absent (with the error written) for an unknown zone.
std::optional<Calendar> optionCalendar(const CommandOptions& options, std::string_view command,
                                       std::ostream& err);

// The power log in a file ("-" is `in`); absent (with the error written) when it cannot be read.
std::optional<PowerLog> readLogFile(const std::string& path, std::istream& in, std::ostream& err);

// The nights' log the options name: `--log`, `--journal` (short forms dated by `now` in `calendar`), else
// the system's from `--source` or every source, whose problem (an unreadable journal) is written to
// `context.err` as a hint. Absent, with the error written, when a named file cannot be read.
std::optional<NightLog> loadPowerLog(const CommandOptions& options, CommandContext& context, Instant now,
                                     const Calendar& calendar);

// What the nights were read from, as the JSON documents name it: "log" and "journal" for a recorded file,
// else the system's source ("journal", "vitrek", "journal+vitrek", or "none").
std::string sourceName(const CommandOptions& options, const NightLog& log);

} // namespace vitrek::cli
