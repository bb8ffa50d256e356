#include "powerlog/PowerLogParser.h"

#include "text/Ascii.h"
#include "text/Decimal.h"
#include "text/Utf8.h"
#include "time/Calendar.h"

#include <date/date.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <span>

namespace vitrek::PowerLogParser {

namespace {

constexpr auto npos = std::string_view::npos;

// The byte patterns every line is tested against; only lines that pass them become strings.
namespace Bytes {
constexpr std::string_view assertions = "Assertions";
constexpr std::string_view sleep = "Sleep";
constexpr std::string_view wake = "Wake";
constexpr std::string_view darkWake = "DarkWake";
constexpr std::string_view start = "Start";
constexpr std::string_view notification = "Notification";
constexpr std::string_view wakeRequests = "Wake Requests";
constexpr std::string_view pid = "PID ";
constexpr std::string_view display = "Display is turned";
constexpr std::string_view created = ") Created ";
} // namespace Bytes

constexpr std::array<std::string_view, 3> kSleepBlockingTypes{"PreventUserIdleSystemSleep",
                                                              "PreventSystemSleep", "NoIdleSleepAssertion"};
constexpr std::array<std::string_view, 4> kEndVerbs{"Released", "TimedOut", "TurnedOff", "ClientDied"};

// Record lines: a 25-byte date, a blank, then the type column from this offset.
constexpr std::size_t kDateLength = 25;
constexpr std::size_t kTypeOffset = 26;
constexpr std::size_t kShortestRecord = 28;

bool oneOf(std::string_view text, std::span<const std::string_view> set) {
    return std::find(set.begin(), set.end(), text) != set.end();
}

bool contains(std::string_view text, std::string_view pattern) { return text.find(pattern) != npos; }

// "SystemSleep" or "NoIdleSleepAssertion" anywhere: one scan for their shared "Sleep", since nearly every
// assertion line of a long log goes through this test.
bool mentionsSleepBlocking(std::string_view text) {
    constexpr std::string_view sleep = "Sleep";
    for (auto at = text.find(sleep, 6); at != npos; at = text.find(sleep, at + 1)) {
        const auto before = text.substr(at - 6, 6);
        if (before == "System" ||
            (before == "NoIdle" && text.substr(at + sleep.size()).starts_with("Assertion"))) {
            return true;
        }
    }
    return false;
}

std::string_view trimBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(' ');
    if (first == npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The next blank-separated word; `text` keeps what follows it, starting with the blank that ended it.
std::string_view nextWord(std::string_view& text) {
    const auto first = std::min(text.find_first_not_of(' '), text.size());
    const auto end = std::min(text.find(' ', first), text.size());
    const auto word = text.substr(first, end - first);
    text.remove_prefix(end);
    return word;
}

// Drops a "+" sign, which the number readers below do not take, unless a second sign follows it.
std::string_view withoutPlus(std::string_view text) {
    return text.starts_with('+') && !text.substr(1).starts_with('-') ? text.substr(1) : text;
}

// A decimal integer with an optional sign that fits T, nothing else.
template <typename T> std::optional<T> decimalInteger(std::string_view text) {
    text = withoutPlus(text);
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

// Digits with an optional sign and fraction ("12", "-0.5", "+3."); no exponent, hexadecimal, inf or nan.
std::optional<double> decimalNumber(std::string_view text) { return Decimal::parse(withoutPlus(text)); }

// Days from 1970-01-01 to a Gregorian date. Counting from the 1st lets a day past the month's end run into
// the next month (31 April is 1 May).
std::int64_t daysFromCivil(int year, int month, int day) {
    return (date::sys_days{date::year{year} / month / 1} + date::days{day - 1}).time_since_epoch().count();
}

// ---- Lines

void noteFirst(PowerLog& log, Instant date) {
    if (!log.firstDate || date < *log.firstDate) {
        log.firstDate = date;
    }
}

bool isInterestingAssertion(std::string_view message) {
    return message.starts_with(Bytes::pid) && mentionsSleepBlocking(message) &&
           !contains(message, Bytes::created);
}

// A line that will become records, found by the first pass. The second pass converts only these, into
// lists reserved to their exact size: growing them instead would touch about as much fresh memory again,
// which costs more than the parsing itself on a long log.
struct Candidate {
    enum class Kind : std::uint8_t { release, state, display, requests };
    std::size_t offset = 0;   // of the line in the text
    std::uint32_t length = 0; // of the line
    Kind kind = Kind::release;
};

struct RecordLine {
    std::string_view type;
    std::string_view message;
};

// The type and message of a line known to have a TAB at or after the type column.
RecordLine recordLine(std::string_view line, std::size_t tab) {
    auto message = line.substr(tab + 1);
    return {trimBlanks(line.substr(kTypeOffset, tab - kTypeOffset)),
            trimBlanks(message.substr(0, message.find('\t')))};
}

struct Counts {
    std::size_t releases = 0;
    std::size_t events = 0;
    std::size_t display = 0;
    std::size_t requests = 0; // an upper bound: the entries' opening brackets
};

// The first pass: decides what each line is, counts what cannot be used and notes the first date, in
// line order, so that the second pass has nothing left to decide.
void classifyLine(std::string_view line, std::size_t offset, PowerLog& log,
                  std::vector<Candidate>& candidates, Counts& counts) {
    if (line.size() < kShortestRecord || line[0] != '2' || line[1] != '0') {
        return;
    }
    const auto tab = line.find('\t', kTypeOffset);
    if (tab == npos) {
        ++log.skippedLines;
        return;
    }
    const auto [type, message] = recordLine(line, tab);
    const auto candidate = [&](Candidate::Kind kind) {
        candidates.push_back(Candidate{offset, static_cast<std::uint32_t>(line.size()), kind});
    };
    const auto dateField = line.substr(0, kDateLength);

    if (type == Bytes::assertions) {
        if (isInterestingAssertion(message) && parseDate(dateField)) {
            candidate(Candidate::Kind::release);
            ++counts.releases;
        }
    } else if (type == Bytes::sleep || type == Bytes::wake || type == Bytes::darkWake ||
               type == Bytes::start) {
        const auto date = parseDate(dateField);
        if (!date) {
            ++log.skippedLines;
            return;
        }
        noteFirst(log, *date);
        candidate(Candidate::Kind::state);
        ++counts.events;
    } else if (type == Bytes::notification) {
        if (message.starts_with(Bytes::display) && parseDate(dateField)) {
            candidate(Candidate::Kind::display);
            ++counts.display;
        }
    } else if (type == Bytes::wakeRequests) {
        if (!parseDate(dateField)) {
            ++log.skippedLines;
            return;
        }
        candidate(Candidate::Kind::requests);
        counts.requests += static_cast<std::size_t>(std::ranges::count(message, '['));
    } else if (!log.firstDate) {
        if (const auto date = parseDate(dateField)) {
            noteFirst(log, *date);
        }
    }
}

void appendWakeRequests(std::string_view message, Instant logged, std::string_view zoneSuffix,
                        std::vector<WakeRequest>& requests);

// The second pass: one candidate line into its records.
void convertLine(std::string_view line, Candidate::Kind kind, PowerLog& log) {
    const auto [type, message] = recordLine(line, line.find('\t', kTypeOffset));
    const Instant date = *parseDate(line.substr(0, kDateLength));
    switch (kind) {
    case Candidate::Kind::release:
        if (auto release = parseRelease(message, date)) {
            log.releases.push_back(std::move(*release));
        }
        break;
    case Candidate::Kind::state:
        log.events.push_back(parseStateEvent(type, message, date));
        break;
    case Candidate::Kind::display:
        log.display.push_back(DisplayChange{date, message.back() == 'n'});
        break;
    case Candidate::Kind::requests:
        // parseDate has checked that the line's zone is one.
        appendWakeRequests(message, date, " " + std::string{line.substr(20, 5)}, log.requests);
        break;
    }
}

// ---- Wake requests

// The value of `key=` ("process=") in an entry: quoted up to the next quote, else up to the next blank.
std::string_view field(std::string_view entry, std::string_view key) {
    const auto at = entry.find(key);
    if (at == npos) {
        return {};
    }
    auto value = entry.substr(at + key.size());
    if (value.starts_with('"')) {
        value.remove_prefix(1);
        return value.substr(0, value.find('"'));
    }
    return value.substr(0, value.find(' '));
}

std::optional<WakeRequest> wakeRequest(std::string_view entry, Instant logged, std::string_view zoneSuffix) {
    const auto process = field(entry, "process=");
    if (process.empty()) {
        return std::nullopt;
    }
    std::optional<Instant> wakeAt;
    constexpr std::string_view wakeAtKey = "wakeAt=";
    if (const auto at = entry.find(wakeAtKey); at != npos) {
        // The entry's clock reading has no zone of its own; it is in the zone of the line.
        const auto clock = entry.substr(at + wakeAtKey.size(), 19);
        std::array<char, 32> date{};
        std::memcpy(date.data(), clock.data(), clock.size());
        std::memcpy(date.data() + clock.size(), zoneSuffix.data(), std::min(zoneSuffix.size(), 12ul));
        wakeAt = parseDate({date.data(), std::min(clock.size() + zoneSuffix.size(), date.size())});
    }
    return WakeRequest{logged,
                       std::string{process},
                       std::string{field(entry, "request=")},
                       wakeAt,
                       std::string{field(entry, "info=")},
                       entry.starts_with('*')};
}

} // namespace

PowerLog parse(std::string_view text) {
    std::string repaired;
    if (const auto invalid = Utf8::firstInvalid(text); invalid < text.size()) {
        repaired = Utf8::repaired(text, invalid);
        text = repaired;
    }
    PowerLog log;
    std::vector<Candidate> candidates;
    Counts counts;
    const char* lineStart = text.data();
    const char* const end = text.data() + text.size();
    while (true) {
        const auto* lineFeed = lineStart < end
                                   ? static_cast<const char*>(std::memchr(lineStart, '\n', end - lineStart))
                                   : nullptr;
        std::string_view line{lineStart, static_cast<std::size_t>((lineFeed ? lineFeed : end) - lineStart)};
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        // A line too long for the candidate's length field is no record any tool writes.
        if (line.size() <= UINT32_MAX) {
            classifyLine(line, static_cast<std::size_t>(lineStart - text.data()), log, candidates, counts);
        }
        if (!lineFeed) {
            break;
        }
        lineStart = lineFeed + 1;
    }

    log.releases.reserve(counts.releases);
    log.events.reserve(counts.events);
    log.display.reserve(counts.display);
    log.requests.reserve(counts.requests);
    for (const auto& candidate : candidates) {
        convertLine(text.substr(candidate.offset, candidate.length), candidate.kind, log);
    }

    sortByDates(log);
    return log;
}

std::optional<Instant> parseDate(std::string_view text) {
    if (text.size() < kDateLength) {
        return std::nullopt;
    }
    if (text[4] != '-' || text[7] != '-' || text[10] != ' ' || text[13] != ':' || text[16] != ':' ||
        (text[20] != '+' && text[20] != '-')) {
        return std::nullopt;
    }
    using Ascii::digits;
    const auto year = digits(text, 0, 4), month = digits(text, 5, 2), day = digits(text, 8, 2);
    const auto hour = digits(text, 11, 2), minute = digits(text, 14, 2), second = digits(text, 17, 2);
    const auto zoneHours = digits(text, 21, 2), zoneMinutes = digits(text, 23, 2);
    if (!year || !month || *month < 1 || *month > 12 || !day || *day < 1 || *day > 31 || !hour ||
        *hour > 23 || !minute || *minute > 59 || !second || *second > 60 || !zoneHours || !zoneMinutes) {
        return std::nullopt;
    }
    const std::int64_t days = daysFromCivil(*year, *month, *day);
    const int sign = text[20] == '-' ? -1 : 1;
    const std::int64_t seconds = days * 86'400 + *hour * 3'600 + *minute * 60 + *second -
                                 sign * (*zoneHours * 3'600 + *zoneMinutes * 60);
    return fromUnixSeconds(static_cast<double>(seconds));
}

PowerEvent parseStateEvent(std::string_view type, std::string_view message, Instant date) {
    const auto [onBattery, charge] = powerSource(message);
    PowerEvent event{date, PowerEventKind::wake, std::string{message}, {}, onBattery, charge};
    if (type == Bytes::start) {
        event.kind = PowerEventKind::boot;
        event.cause = "Mac started up";
    } else if (type == Bytes::sleep) {
        event.kind =
            message.starts_with("Entering DarkWake") ? PowerEventKind::enterDark : PowerEventKind::sleep;
        constexpr std::string_view dueTo = "due to '";
        if (const auto at = message.find(dueTo); at != npos) {
            const auto quoted = message.substr(at + dueTo.size());
            if (const auto close = quoted.find('\''); close != npos) {
                event.cause = quoted.substr(0, close);
            }
        }
    } else {
        if (message.starts_with("DarkWake to FullWake")) {
            event.kind = PowerEventKind::darkToFull;
        } else if (type == Bytes::darkWake || message.starts_with("DarkWake")) {
            event.kind = PowerEventKind::darkWake;
        }
        constexpr std::string_view dueTo = "due to ";
        if (const auto at = message.find(dueTo); at != npos) {
            const auto reason = message.substr(at + dueTo.size());
            event.cause = Ascii::trimmed(reason.substr(0, reason.find(" Using ")));
        }
    }
    return event;
}

std::optional<AssertionRelease> parseRelease(std::string_view message, Instant date) {
    if (!message.starts_with(Bytes::pid)) {
        return std::nullopt;
    }
    const auto text = message.substr(Bytes::pid.size());
    const auto open = text.find('(');
    if (open == npos) {
        return std::nullopt;
    }
    const auto pid = decimalInteger<std::int32_t>(text.substr(0, open));
    const auto close = text.find(") ", open);
    if (!pid || close == npos) {
        return std::nullopt;
    }
    const auto process = text.substr(open + 1, close - open - 1);
    auto rest = text.substr(close + 2);
    const auto verb = nextWord(rest);
    const auto type = nextWord(rest);
    // A third piece needs the blank that ended the type and at least one byte after it.
    if (verb.empty() || type.empty() || rest.size() < 2 || !oneOf(verb, kEndVerbs) ||
        !oneOf(type, kSleepBlockingTypes)) {
        return std::nullopt;
    }
    const auto third = rest.substr(1);

    // Names may contain quotes; the closing one is followed by the end or, blanks aside, the duration.
    std::string_view name;
    std::string_view remainder = third;
    if (third.starts_with('"')) {
        for (auto quote = third.find('"', 1); quote != npos; quote = third.find('"', quote + 1)) {
            const auto next = third.find_first_not_of(' ', quote + 1);
            if (next == npos || Ascii::isDigit(third[next])) {
                name = third.substr(1, quote - 1);
                remainder = third.substr(quote + 1);
                break;
            }
        }
    }
    const double duration = parseDuration(nextWord(remainder));
    return AssertionRelease{date, duration, *pid, std::string{process}, std::string{type}, std::string{name}};
}

std::vector<WakeRequest> parseWakeRequests(std::string_view message, Instant logged, std::string_view zone,
                                           const Calendar& calendar) {
    std::vector<WakeRequest> requests;
    appendWakeRequests(message, logged, " " + (isZone(zone) ? std::string{zone} : logZone(logged, calendar)),
                       requests);
    return requests;
}

namespace {

// `zoneSuffix` is " +0100": what the entries' clock readings lack to be dates.
void appendWakeRequests(std::string_view message, Instant logged, std::string_view zoneSuffix,
                        std::vector<WakeRequest>& requests) {
    std::size_t from = 0;
    while (true) {
        const auto open = message.find('[', from);
        if (open == npos) {
            break;
        }
        const auto body = message.substr(open + 1);
        auto end = std::min(body.find(']'), body.size());
        // A quoted info value may itself hold "]"; the entry then ends at the first "]" after its close.
        constexpr std::string_view quotedInfo = "info=\"";
        if (const auto info = body.find(quotedInfo); info != npos && info < end) {
            if (const auto quote = body.find('"', info + quotedInfo.size()); quote != npos) {
                end = std::min(body.find(']', quote + 1), body.size());
            }
        }
        if (auto request = wakeRequest(body.substr(0, end), logged, zoneSuffix)) {
            requests.push_back(std::move(*request));
        }
        if (end == body.size()) {
            break;
        }
        from = open + 1 + end + 1;
    }
}

} // namespace

std::pair<std::optional<bool>, std::optional<int>> powerSource(std::string_view text) {
    constexpr std::string_view using_ = "Using ";
    const auto at = text.find(using_);
    if (at == npos) {
        return {};
    }
    const auto source = text.substr(at + using_.size());
    std::optional<bool> onBattery;
    if (source.starts_with("Batt")) {
        onBattery = true;
    } else if (source.starts_with("AC")) {
        onBattery = false;
    }
    std::optional<int> charge;
    constexpr std::string_view chargeKey = "Charge:";
    if (const auto key = source.find(chargeKey); key != npos) {
        const auto number = source.substr(key + chargeKey.size());
        const auto run = std::find_if_not(number.begin(), number.end(), Ascii::isDigit) - number.begin();
        if (run > 0) {
            charge = decimalInteger<int>(number.substr(0, static_cast<std::size_t>(run)));
        }
    }
    return {onBattery, charge};
}

double parseDuration(std::string_view text) {
    std::array<double, 3> parts{};
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const auto colon = text.find(':');
        // The last piece must run to the end; the others must end at a colon.
        if ((i < 2) == (colon == npos)) {
            return 0;
        }
        const auto number = decimalNumber(text.substr(0, colon));
        if (!number || *number < 0) {
            return 0;
        }
        parts[i] = *number;
        text = colon == npos ? std::string_view{} : text.substr(colon + 1);
    }
    // Hundreds of digits read as a number but overflow; that is no usable duration either.
    const double seconds = parts[0] * 3'600 + parts[1] * 60 + parts[2];
    return std::isfinite(seconds) ? seconds : 0;
}

bool isZone(std::string_view text) {
    return text.size() == 5 && (text[0] == '+' || text[0] == '-') && Ascii::digits(text, 1, 4).has_value();
}

std::string logZone(Instant date, const Calendar& calendar) {
    // The offset is the wall-clock reading taken as UTC minus the instant itself.
    std::int64_t offset = 0;
    if (const auto local = calendar.local(date)) {
        const std::int64_t wall = daysFromCivil(local->year, local->month, local->day) * 86'400 +
                                  local->hour * 3'600 + local->minute * 60 + local->second;
        offset = wall - static_cast<std::int64_t>(std::floor(unixSeconds(date)));
    }
    const std::int64_t magnitude = offset < 0 ? -offset : offset;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%c%02d%02d", offset < 0 ? '-' : '+',
                  static_cast<int>(magnitude / 3'600), static_cast<int>(magnitude % 3'600 / 60));
    return text.data();
}

} // namespace vitrek::PowerLogParser
