#include "cli/CommandOptions.h"

#include "linux/MappedFile.h"
#include "powerlog/JournalPowerLog.h"
#include "powerlog/PowerLogParser.h"

#include <cstdio>
#include <istream>
#include <ostream>

namespace vitrek::cli {

bool isPlausibleDate(Instant date) {
    // 2001-01-01 and 2201-01-01, 00:00 UTC.
    constexpr double first = 978'307'200;
    constexpr double end = 7'289'654'400;
    const double seconds = unixSeconds(date);
    return seconds >= first && seconds < end;
}

std::string mebibytes(std::size_t bytes) { return std::to_string(bytes >> 20) + " MiB"; }

std::optional<Calendar> optionCalendar(const CommandOptions& options, std::string_view command,
                                       std::ostream& err) {
    if (!options.zone) {
        return Calendar::current();
    }
    auto named = Calendar::named(*options.zone);
    if (!named) {
        err << "vitrek: " << command << ": unknown time zone '" << *options.zone << "'\n";
    }
    return named;
}

namespace {

std::string inputName(const std::string& path) { return path == "-" ? "standard input" : path; }

// `in` up to its end, or a chunk past `limit` bytes or past a line longer than `lineLimit`, whichever comes
// first: an endless stream without line feeds stops early.
std::string readUpTo(std::istream& in, std::size_t limit, std::size_t lineLimit) {
    std::string text;
    std::size_t lineStart = 0;
    char chunk[1 << 16];
    while (text.size() <= limit && text.size() - lineStart <= lineLimit && in) {
        in.read(chunk, sizeof chunk);
        const std::string_view block(chunk, static_cast<std::size_t>(in.gcount()));
        if (const auto lineFeed = block.rfind('\n'); lineFeed != std::string_view::npos) {
            lineStart = text.size() + lineFeed + 1;
        }
        text.append(block);
    }
    return text;
}

// The number (from 1) of the first line longer than `limit` bytes; absent when there is none.
std::optional<std::size_t> overlongLine(std::string_view text, std::size_t limit) {
    std::size_t number = 1;
    for (std::size_t start = 0;; ++number) {
        const auto lineFeed = text.find('\n', start);
        if ((lineFeed == std::string_view::npos ? text.size() : lineFeed) - start > limit) {
            return number;
        }
        if (lineFeed == std::string_view::npos) {
            return std::nullopt;
        }
        start = lineFeed + 1;
    }
}

// The text of a recorded log ("-" is `in`) handed to `parse`; absent, with the error written, when it cannot
// be read or is larger than a log may be. Only a bounded amount is read, so an endless input stops there.
template <typename Parse>
std::optional<PowerLog> readLog(const std::string& path, CommandContext& context, std::string_view command,
                                Parse parse) {
    std::optional<MappedFile> file;
    std::string input;
    std::string_view text;
    if (path == "-") {
        input = readUpTo(context.in, kMaxLogBytes, kMaxLogLine);
        text = input;
    } else {
        std::string error;
        file = MappedFile::open(path, error, kMaxLogBytes + 1);
        if (!file) {
            context.err << "vitrek: " << error << "\n";
            return std::nullopt;
        }
        text = file->text();
    }
    const std::string name = inputName(path);
    if (text.size() > kMaxLogBytes) {
        context.err << "vitrek: " << command << ": " << name << " is over " << mebibytes(kMaxLogBytes)
                    << ", the most a log may hold\n";
        return std::nullopt;
    }
    if (const auto line = overlongLine(text, kMaxLogLine)) {
        context.err << "vitrek: " << command << ": line " << *line << " of " << name << " is over "
                    << mebibytes(kMaxLogLine) << ", the most a log's line may hold\n";
        return std::nullopt;
    }
    return parse(text);
}

// The last moment the log tells anything about; after it, every night would only repeat its last state.
std::optional<Instant> lastRecord(const PowerLog& log) {
    std::optional<Instant> last = log.firstDate;
    const auto note = [&last](Instant date) {
        if (!last || date > *last) {
            last = date;
        }
    };
    // Each list is sorted by date.
    if (!log.events.empty()) {
        note(log.events.back().date);
    }
    if (!log.display.empty()) {
        note(log.display.back().date);
    }
    if (!log.releases.empty()) {
        note(log.releases.back().end);
    }
    if (!log.requests.empty()) {
        note(log.requests.back().logged);
    }
    return last;
}

// "2024-03-05 07:00" in `calendar`'s zone.
std::string minuteText(Instant date, const Calendar& calendar) {
    const auto local = calendar.local(date);
    if (!local) {
        return "?";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d", local->year, local->month, local->day,
                  local->hour, local->minute);
    return text;
}

} // namespace

std::optional<NightLog> loadPowerLog(const CommandOptions& options, CommandContext& context, Instant now,
                                     const Calendar& calendar, std::string_view command) {
    std::optional<PowerLog> file;
    if (options.logPath) {
        file = readLog(*options.logPath, context, command,
                       [](std::string_view text) { return PowerLogParser::parse(text); });
        if (!file) {
            return std::nullopt;
        }
    } else if (options.journalPath) {
        file = readLog(*options.journalPath, context, command,
                       [&](std::string_view text) { return JournalPowerLog::parse(text, now, calendar); });
        if (!file) {
            return std::nullopt;
        }
    }
    // A recorded log ends at its last record; the system's runs up to the present.
    const auto end = file ? lastRecord(*file) : std::optional<Instant>(context.now());
    if (options.now && end && secondsBetween(*end, now) > kMaxDaysAfterLog * 86'400.0) {
        const auto days = static_cast<long long>(secondsBetween(*end, now) / 86'400);
        context.err << "vitrek: " << command << ": --now is " << days;
        if (file) {
            context.err << " days after the last power record of "
                        << inputName(options.logPath ? *options.logPath : *options.journalPath) << " ("
                        << minuteText(*end, calendar) << "); give a time at most " << kMaxDaysAfterLog
                        << " days after it\n";
        } else {
            context.err << " days in the future (it is " << minuteText(*end, calendar)
                        << "); give a time at most " << kMaxDaysAfterLog << " days ahead\n";
        }
        return std::nullopt;
    }
    if (file) {
        return NightSource::merge(std::move(*file), std::nullopt);
    }
    auto system =
        context.loadSystemLog(now, options.source.value_or(NightSourceChoice::automatic));
    if (!system.problem.empty()) {
        context.err << "vitrek: " << system.problem << "\n";
    }
    return system;
}

std::string sourceName(const CommandOptions& options, const NightLog& log) {
    if (options.logPath) {
        return "log";
    }
    if (options.journalPath) {
        return "journal";
    }
    return std::string(rawValue(log.source));
}

} // namespace vitrek::cli
