#include "cli/CommandOptions.h"

#include "linux/MappedFile.h"
#include "powerlog/JournalPowerLog.h"
#include "powerlog/PowerLogParser.h"
#include "time/Iso8601.h"

#include <charconv>
#include <cmath>
#include <istream>
#include <ostream>
#include <sstream>

namespace vitrek::cli {

namespace {

std::optional<Instant> parseNow(const std::string& text) {
    if (auto instant = parseIso8601(text)) {
        return instant;
    }
    double seconds = 0;
    const char* end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    if (text.empty() || error != std::errc{} || next != end || !std::isfinite(seconds)) {
        return std::nullopt;
    }
    return fromUnixSeconds(seconds);
}

} // namespace

std::variant<CommandOptions, UsageError>
parseCommandOptions(std::string_view command, std::span<const std::string> arguments, bool acceptsReading) {
    const std::string prefix = std::string(command) + ": ";
    CommandOptions options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string name = arguments[i];
        std::optional<std::string> value;
        if (const auto equals = name.find('='); name.starts_with("--") && equals != std::string::npos) {
            value = name.substr(equals + 1);
            name.resize(equals);
        }
        const auto takeValue = [&]() -> std::optional<std::string> {
            if (value) {
                return value;
            }
            if (i + 1 < arguments.size()) {
                return arguments[++i];
            }
            return std::nullopt;
        };
        const auto takeFile = [&](std::optional<std::string>& path,
                                  const char* what) -> std::optional<UsageError> {
            if (path) {
                return UsageError{prefix + name + " given twice"};
            }
            path = takeValue();
            if (!path || path->empty()) {
                return UsageError{prefix + name + " needs " + what};
            }
            return std::nullopt;
        };
        if (name == "--json" && !value) {
            options.json = true;
        } else if ((name == "--help" || name == "-h") && !value) {
            options.help = true;
        } else if (name == "--log") {
            if (auto error = takeFile(options.logPath, "a file (or - for standard input)")) {
                return *error;
            }
        } else if (name == "--journal") {
            if (auto error = takeFile(options.journalPath, "a file (or - for standard input)")) {
                return *error;
            }
        } else if (name == "--reading" && acceptsReading) {
            if (auto error = takeFile(options.readingPath, "a file")) {
                return *error;
            }
        } else if (name == "--now") {
            const auto text = takeValue();
            if (!text) {
                return UsageError{prefix + "--now needs a time"};
            }
            options.now = parseNow(*text);
            if (!options.now) {
                return UsageError{
                    prefix + "--now '" + *text +
                    "' is neither ISO 8601 with an offset (2024-03-05T12:00:00+01:00) nor Unix seconds"};
            }
        } else if (name == "--source" && command == "nights") {
            const auto text = takeValue();
            if (!text) {
                return UsageError{prefix + "--source needs journal or vitrek"};
            }
            options.source = PowerLogParser::sourceChoiceFromName(*text);
            if (!options.source) {
                return UsageError{prefix + "--source '" + *text + "' is neither journal nor vitrek"};
            }
        } else if (name == "--tz") {
            options.zone = takeValue();
            if (!options.zone) {
                return UsageError{prefix + "--tz needs a time-zone name such as Europe/Berlin"};
            }
        } else {
            return UsageError{prefix + "unknown option '" + arguments[i] + "'"};
        }
    }
    if (options.logPath && options.journalPath) {
        return UsageError{prefix + "--log and --journal name two different logs; give one"};
    }
    if (options.source && (options.logPath || options.journalPath)) {
        return UsageError{prefix + "--source chooses among the system's nights; it does not go with --log or --journal"};
    }
    return options;
}

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

// The text of a file ("-" is `in`) handed to `parse`; absent, with the error written, when unreadable.
template <typename Parse>
std::optional<PowerLog> readFile(const std::string& path, std::istream& in, std::ostream& err, Parse parse) {
    if (path == "-") {
        std::ostringstream text;
        text << in.rdbuf();
        return parse(std::move(text).str());
    }
    std::string error;
    const auto file = MappedFile::open(path, error);
    if (!file) {
        err << "vitrek: " << error << "\n";
        return std::nullopt;
    }
    return parse(file->text());
}

} // namespace

std::optional<PowerLog> readLogFile(const std::string& path, std::istream& in, std::ostream& err) {
    return readFile(path, in, err, [](std::string_view text) { return PowerLogParser::parse(text); });
}

std::optional<NightLog> loadPowerLog(const CommandOptions& options, CommandContext& context, Instant now,
                                     const Calendar& calendar) {
    std::optional<PowerLog> file;
    if (options.logPath) {
        file = readLogFile(*options.logPath, context.in, context.err);
    } else if (options.journalPath) {
        file = readFile(*options.journalPath, context.in, context.err,
                        [&](std::string_view text) { return JournalPowerLog::parse(text, now, calendar); });
    } else {
        auto system = context.loadSystemLog(now, options.source.value_or(PowerLogParser::SourceChoice::automatic));
        if (!system.problem.empty()) {
            context.err << "vitrek: " << system.problem << "\n";
        }
        return system;
    }
    if (!file) {
        return std::nullopt;
    }
    return NightSource::merge(std::move(*file), std::nullopt);
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
