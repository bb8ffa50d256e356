#include "cli/CommandTable.h"

#include "time/Iso8601.h"

#include <QCommandLineParser>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <vector>

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

template <std::optional<std::string> CommandOptions::*field>
std::optional<std::string> setText(CommandOptions& options, const std::string& value) {
    options.*field = value;
    return std::nullopt;
}

template <bool CommandOptions::*field>
std::optional<std::string> setSwitch(CommandOptions& options, const std::string&) {
    options.*field = true;
    return std::nullopt;
}

std::optional<std::string> setNow(CommandOptions& options, const std::string& text) {
    options.now = parseNow(text);
    if (!options.now) {
        return "--now '" + text +
               "' is neither ISO 8601 with an offset (2024-03-05T12:00:00+01:00) nor Unix seconds";
    }
    if (!isPlausibleDate(*options.now)) {
        return "--now '" + text + "' is not " + kPlausibleYears;
    }
    return std::nullopt;
}

std::optional<std::string> setSource(CommandOptions& options, const std::string& text) {
    options.source = nightSourceChoice(text);
    if (!options.source) {
        return "--source '" + text + "' is neither journal nor vitrek";
    }
    return std::nullopt;
}

std::optional<std::string> setOnly(CommandOptions& options, const std::string& text) {
    if (text != "light" && text != "dark") {
        return "--only takes light or dark, not '" + text + "'";
    }
    options.only = text;
    return std::nullopt;
}

constexpr Option withHelp(Option option, const char* help) {
    option.help = help;
    return option;
}

constexpr const char* kInput = "a file (or - for standard input)";

constexpr Option kReading{
    "reading", "FILE", "a file",
    "a stored reading (the \"reading\" of report's JSON) instead of this machine's; its "
    "age then counts from the model's year alone; figures no machine reports are refused",
    setText<&CommandOptions::readingPath>};
constexpr Option kJournal{"journal", "FILE", kInput,
                          "read a recorded journal instead (- reads standard input): journalctl's -o json, "
                          "short-iso or short-iso-precise (the short forms take their year from --now)",
                          setText<&CommandOptions::journalPath>};
constexpr Option kLog{"log", "FILE", kInput,
                      "read a recorded power log instead (- reads standard input), in the text format that "
                      "macOS's pmset -g log writes; a journal or log holds at most 256 MiB, in lines of at "
                      "most 1 MiB",
                      setText<&CommandOptions::logPath>};
constexpr Option kNow{
    "now", "TIME", "a time",
    "the current time: ISO 8601 with an offset (2024-03-05T12:00:00+01:00) or Unix seconds, "
    "in the years 2001 to 2200; at most 3 days after the last power record of --journal or "
    "--log (else after the present)",
    setNow};
constexpr Option kTz{"tz", "ZONE", "a time-zone name such as Europe/Berlin",
                     "the time zone, an IANA name (Europe/Berlin); default the system's",
                     setText<&CommandOptions::zone>};
constexpr Option kJson{"json", nullptr, "", "print one JSON document instead of the check-up",
                       setSwitch<&CommandOptions::json>};

constexpr const char* kNowOfReading =
    "the current time, by default the reading's: ISO 8601 with an offset (2024-03-05T12:00:00+01:00) or Unix "
    "seconds, in the years 2001 to 2200; at most 3 days after the last power record of --journal or --log "
    "(else after the present)";

constexpr Option kReportOptions[] = {kReading, kJournal, kLog, withHelp(kNow, kNowOfReading), kTz, kJson};

constexpr Option kNightsOptions[] = {
    {"source", "NAME", "journal or vitrek",
     "read the system's nights from one source: journal, or vitrek (Vitrek's own record)", setSource},
    kJournal,
    kLog,
    kNow,
    withHelp(kTz, "the time zone of the nights, an IANA name (Europe/Berlin); default the system's"),
    withHelp(kJson, "print one JSON document instead of the story"),
};

constexpr Option kCardOptions[] = {
    {"out", "FILE", "a file (or - for standard output)",
     "where to write it (- for standard output); default \"Vitrek YYYY-MM-DD.png\" here",
     setText<&CommandOptions::out>},
    {"demo", nullptr, "", "the demo machine's card instead of this machine's",
     setSwitch<&CommandOptions::demo>},
    kReading,
    kJournal,
    kLog,
    withHelp(kNow, kNowOfReading),
    kTz,
};

constexpr Option kMetricsOptions[] = {kReading, kJournal, kLog, withHelp(kNow, kNowOfReading), kTz};

constexpr Option kHeadlessOptions[] = {
    {"metrics-dir", "DIR", "a folder",
     "after every check-up, also write it for Prometheus's node_exporter textfile collector, as "
     "DIR/vitrek-USER.prom",
     setText<&CommandOptions::metricsDir>},
};

constexpr Option kSnapshotOptions[] = {
    {"only", "light|dark", "light or dark", "render only that appearance (05 and 06 are always made)",
     setOnly},
};

constexpr Command kCommands[] = {
    {"report", "take one check-up of this machine and print it",
     "[--reading FILE] [--journal FILE|- | --log FILE|-] [--now TIME] [--tz ZONE] [--json]",
     "Takes one check-up of this machine and prints it. It writes nothing: today's samples and the History "
     "are read from the data folder, last night from the system journal and Vitrek's own record.",
     kReportOptions, nullptr},
    {"nights", "rebuild each night from the power log and print its rest score and story",
     "[--source journal|vitrek | --journal FILE|- | --log FILE|-] [--now TIME] [--tz ZONE] [--json]",
     "Rebuilds each night (23:00 to 07:00) of the last two weeks and prints its rest score and story. The "
     "nights come from the system journal where you may read it and from Vitrek's own record of sleep and "
     "wake, merged where both exist.",
     kNightsOptions, nullptr},
    {"metrics", "take one check-up and print it for Prometheus",
     "[--reading FILE] [--journal FILE|- | --log FILE|-] [--now TIME] [--tz ZONE]",
     "Takes one check-up like vitrek report and prints it in Prometheus's text exposition format, every "
     "figure labelled with your user name: the text the check-up loop writes for node_exporter's textfile "
     "collector. It writes nothing.",
     kMetricsOptions, nullptr},
    {"card", "write today's share card as a PNG image",
     "[--out FILE] [--demo] [--reading FILE] [--journal FILE|- | --log FILE|-] [--now TIME] [--tz ZONE]",
     "Writes today's share card, a 1080\u00a0×\u00a01350 PNG, without opening a window. It records nothing. "
     "Without --demo, the other options choose the check-up as for vitrek report.",
     kCardOptions, nullptr},
    {"selftest",
     "check the program on the demo machine and write a report",
     "DIR",
     "Checks the program on the demo machine: the scores, the Health Monitor, the streak, the share card and "
     "the sample files. Prints the report, writes it to DIR/selftest.txt with DIR/card.png and DIR/data, and "
     "exits with 0 when everything passed, 1 otherwise. Your own data is not touched.",
     {},
     "DIR"},
    {"snapshot", "render the screens on the demo machine to PNG files", "DIR [--only light|dark]",
     "Renders the screens on the demo machine to PNG files in DIR: the main window (01, 02), the tray panel "
     "(03), Settings (04), Health (07) and Settings on a desktop without a tray (08) in the light and dark "
     "appearances, the share card (05) and a day that needs care (06). Your own data is not touched.",
     kSnapshotOptions, "DIR"},
    {"--headless",
     "take a check-up every minute without a window, until interrupted",
     "[--metrics-dir DIR]",
     "Takes a check-up every minute without a window or tray icon, records it in the data folder like the "
     "window does and prints a line for each (time, recovery, strain and load), until Ctrl-C or SIGTERM.",
     kHeadlessOptions,
     nullptr},
};

// Help lines are at most this wide.
constexpr std::size_t kWidth = 100;

// The columns `text` takes: UTF-8 continuation bytes take none.
std::size_t columns(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

// `text`, starting at `column`, broken at spaces into lines of at most kWidth columns, each after the first
// indented by `indent`. A bracketed group of a usage line stays whole.
std::string wrap(std::string_view text, std::size_t column, std::size_t indent) {
    std::vector<std::string_view> words;
    int depth = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        depth += text[i] == '[' ? 1 : text[i] == ']' ? -1 : 0;
        if (text[i] == ' ' && depth == 0) {
            words.push_back(text.substr(start, i - start));
            start = i + 1;
        }
    }
    words.push_back(text.substr(start));
    std::string lines;
    for (std::size_t i = 0; i < words.size(); ++i) {
        const auto word = words[i];
        if (i > 0) {
            if (column + 1 + columns(word) > kWidth) {
                lines += '\n' + std::string(indent, ' ');
                column = indent;
            } else {
                lines += ' ';
                ++column;
            }
        }
        lines += word;
        column += columns(word);
    }
    return lines;
}

// The option of `command` called `name`; null when it has none.
const Option* findOption(const Command& command, std::string_view name) {
    const auto found = std::find_if(command.options.begin(), command.options.end(),
                                    [name](const Option& option) { return option.name == name; });
    return found == command.options.end() ? nullptr : &*found;
}

// Arguments go through the parser as Latin-1, one character per byte, so a file name that is no UTF-8
// comes back unchanged.
QString latin1(std::string_view text) {
    return QString::fromLatin1(text.data(), static_cast<qsizetype>(text.size()));
}
std::string bytes(const QString& text) { return text.toLatin1().toStdString(); }

// The parser stops at the first value it cannot take: a value option last, with nothing after it
// ("--log"), or a switch given a value ("--json=yes").
std::string valueMistake(const Command& command, std::span<const std::string> arguments,
                         const QCommandLineParser& parser) {
    const auto optionOf = [&command](std::string_view argument) {
        return argument.starts_with("--") ? findOption(command, argument.substr(2, argument.find('=') - 2))
                                          : nullptr;
    };
    if (!arguments.empty()) {
        const auto* option = optionOf(arguments.back());
        if (option && option->value && arguments.back().find('=') == std::string::npos) {
            return std::string("--") + option->name + " needs " + option->needs;
        }
    }
    for (const auto& argument : arguments) {
        if (const auto* option = optionOf(argument); option && !option->value) {
            return std::string("--") + option->name + " takes no value";
        }
    }
    return bytes(parser.errorText());
}

// Options that each make sense but not together.
std::optional<std::string> conflict(const CommandOptions& options) {
    if (options.logPath && options.journalPath) {
        return "--log and --journal name two different logs; give one";
    }
    if (options.source && (options.logPath || options.journalPath)) {
        return "--source chooses among the system's nights; it does not go with --log or --journal";
    }
    if (options.demo && (options.readingPath || options.logPath || options.journalPath)) {
        return "--demo draws the demo machine and reads no other input";
    }
    return std::nullopt;
}

std::optional<std::string> readOptions(const Command& command, const QCommandLineParser& parser,
                                       CommandOptions& options) {
    for (const auto& option : command.options) {
        const QString name = QString::fromLatin1(option.name);
        if (!parser.isSet(name)) {
            continue;
        }
        const auto dashed = std::string("--") + option.name;
        const QStringList values = option.value ? parser.values(name) : QStringList{QString()};
        if (values.size() > 1) {
            return dashed + " given twice";
        }
        const std::string value = bytes(values.constFirst());
        if (option.value && value.empty()) {
            return dashed + " needs " + option.needs;
        }
        if (auto error = option.set(options, value)) {
            return error;
        }
    }
    const QStringList rest = parser.positionalArguments();
    if (!command.folder) {
        if (!rest.isEmpty()) {
            return "unexpected argument '" + bytes(rest.constFirst()) + "'";
        }
    } else if (rest.size() > 1) {
        return std::string("one ") + command.folder + " only, got '" + bytes(rest[0]) + "' and '" +
               bytes(rest[1]) + "'";
    } else if (rest.isEmpty() || rest.constFirst().isEmpty()) {
        return std::string("needs ") + command.folder + " (vitrek " + command.name + " " + command.usage +
               ")";
    } else {
        options.folder = bytes(rest.constFirst());
    }
    return conflict(options);
}

} // namespace

namespace CommandTable {

std::span<const Command> commands() { return kCommands; }

const Command* find(std::string_view name) {
    const auto found = std::find_if(std::begin(kCommands), std::end(kCommands),
                                    [name](const Command& command) { return command.name == name; });
    return found == std::end(kCommands) ? nullptr : found;
}

std::variant<CommandOptions, UsageError> parse(const Command& command,
                                               std::span<const std::string> arguments) {
    const QString help = QStringLiteral("help");
    QCommandLineParser parser;
    parser.addOption(QCommandLineOption(QStringList{QStringLiteral("h"), help}));
    for (const auto& option : command.options) {
        parser.addOption(option.value ? QCommandLineOption(QString::fromLatin1(option.name), QString(),
                                                           QString::fromLatin1(option.value))
                                      : QCommandLineOption(QString::fromLatin1(option.name)));
    }
    // The parser skips the first argument, the program's name.
    QStringList list{QString::fromLatin1(command.name)};
    for (const auto& argument : arguments) {
        list << latin1(argument);
    }
    const bool parsed = parser.parse(list);

    CommandOptions options;
    const auto mistake = [&command](const std::string& message) {
        return UsageError{command.name + std::string(": ") + message};
    };
    if (parser.isSet(help)) {
        options.help = true;
        return options;
    }
    if (!parser.unknownOptionNames().isEmpty()) {
        // The parser keeps the name without its dashes; a one-letter name came with one dash.
        const QString name = parser.unknownOptionNames().constFirst();
        return mistake("unknown option '" + std::string(name.size() == 1 ? "-" : "--") + bytes(name) + "'");
    }
    if (!parsed) {
        return mistake(valueMistake(command, arguments, parser));
    }
    if (auto error = readOptions(command, parser, options)) {
        return mistake(*error);
    }
    return options;
}

std::string help(const Command& command) {
    const std::string start = std::string("usage: vitrek ") + command.name;
    std::string text = start;
    if (*command.usage != '\0') {
        text += ' ' + wrap(command.usage, columns(start) + 1, columns(start) + 1);
    }
    text += "\n\n" + wrap(command.about, 0, 0) + "\n\n";

    const auto left = [](const Option& option) {
        return std::string("--") + option.name + (option.value ? std::string(" ") + option.value : "");
    };
    const std::string helpLeft = "-h, --help";
    std::size_t width = helpLeft.size();
    for (const auto& option : command.options) {
        width = std::max(width, left(option).size());
    }
    const auto line = [&text, width](const std::string& name, const char* description) {
        text += "  " + name + std::string(width - name.size() + 2, ' ') +
                wrap(description, width + 4, width + 4) + "\n";
    };
    for (const auto& option : command.options) {
        line(left(option), option.help);
    }
    line(helpLeft, "print this help");
    return text;
}

std::string usage() {
    std::string text =
        "usage: vitrek [COMMAND] [OPTIONS]\n"
        "       vitrek --headless\n"
        "\n"
        "Without a command, vitrek opens its window and tray icon (or prints a check-up when there is no\n"
        "display).\n"
        "\n"
        "Commands:\n";
    const auto line = [&text](const std::string& name, const char* summary) {
        text += "  " + name + std::string(12 - name.size(), ' ') + summary + "\n";
    };
    for (const auto& command : kCommands) {
        line(command.name, command.summary);
    }
    line("--version", "print the version");
    text += "\nRun vitrek COMMAND --help for the options of a command.\n";
    return text;
}

} // namespace CommandTable

} // namespace vitrek::cli
