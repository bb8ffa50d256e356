#pragma once

#include "cli/CommandLine.h"
#include "powerlog/NightLog.h"
#include "powerlog/NightSource.h"
#include "powerlog/PowerLog.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>

namespace vitrek::cli {

// The options of every terminal command; each command accepts the ones its table (CommandTable) names.
struct CommandOptions {
    std::optional<std::string> logPath;     // "-" is standard input; absent reads the system's log
    std::optional<std::string> journalPath; // a recorded journal instead of the system's ("-" as above)
    std::optional<std::string> readingPath; // a stored reading instead of the live machine's
    std::optional<Instant> now;
    std::optional<std::string> zone;
    std::optional<NightSourceChoice> source; // the system's nights from this source alone
    bool json = false;
    bool help = false;
    std::optional<std::string> out;    // where the card goes; "-" is standard output
    bool demo = false;                 // the demo machine's card
    std::optional<std::string> only;   // the one appearance to snapshot: "light" or "dark"
    std::optional<std::string> folder; // the folder a harness command writes into
    std::optional<std::string> metricsDir; // where --headless also writes the metrics for a collector
    bool operator==(const CommandOptions&) const = default;
};

// A recorded log or journal holds at most this many bytes, and no line longer than the second: real logs of
// two weeks hold a few MiB, so anything larger is no log, and reading it whole would only exhaust memory.
inline constexpr std::size_t kMaxLogBytes = std::size_t{256} << 20;
inline constexpr std::size_t kMaxLogLine = std::size_t{1} << 20;
// A stored reading is one small JSON object.
inline constexpr std::size_t kMaxReadingBytes = std::size_t{1} << 20;
// How far `--now` may lie past the end of the nights' log (a recorded file's last power record, else the
// present): the log says nothing about later nights, and building them all would repeat its last state
// night after night.
inline constexpr int kMaxDaysAfterLog = 3;

// A time in the years 2001 to 2200: the span within which a clock or a stored reading can be believed.
bool isPlausibleDate(Instant date);
inline constexpr const char* kPlausibleYears = "a time in the years 2001 to 2200";

// "256 MiB".
std::string mebibytes(std::size_t bytes);

// The calendar of `--tz`, else the user's; absent (with the error written) for an unknown zone.
std::optional<Calendar> optionCalendar(const CommandOptions& options, std::string_view command,
                                       std::ostream& err);

// The nights' log the options name: `--log`, `--journal` (short forms dated by `now` in `calendar`), else
// the system's from `--source` or every source, whose problem (an unreadable journal) is written to
// `context.err` as a hint. Absent, with the error written, when a named file cannot be read or is larger
// than a log may be, or when `--now` lies more than kMaxDaysAfterLog days past the log's end.
std::optional<NightLog> loadPowerLog(const CommandOptions& options, CommandContext& context, Instant now,
                                     const Calendar& calendar, std::string_view command);

// What the nights were read from, as the JSON documents name it: "log" and "journal" for a recorded file,
// else the system's source ("journal", "vitrek", "journal+vitrek", or "none").
std::string sourceName(const CommandOptions& options, const NightLog& log);

} // namespace vitrek::cli
