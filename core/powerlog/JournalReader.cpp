#include "powerlog/JournalReader.h"

#include "text/Ascii.h"
#include "text/Utf8.h"
#include "time/Iso8601.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace vitrek::JournalReader {

namespace {

constexpr auto npos = std::string_view::npos;
constexpr double kMicrosecondsPerSecond = 1e6;

using Ascii::digits;
using Ascii::isDigit;

std::string_view trimmedEnd(std::string_view text) {
    const auto last = text.find_last_not_of(Ascii::kWhiteSpace);
    return last == npos ? std::string_view{} : text.substr(0, last + 1);
}

// Calls `visit` with each line, without its line feed and a carriage return before it.
template <typename Visit> void forEachLine(std::string_view text, Visit visit) {
    const char* lineStart = text.data();
    const char* const end = text.data() + text.size();
    while (lineStart < end) {
        const auto* lineFeed = static_cast<const char*>(std::memchr(lineStart, '\n', end - lineStart));
        std::string_view line{lineStart, static_cast<std::size_t>((lineFeed ? lineFeed : end) - lineStart)};
        if (line.ends_with('\r')) {
            line.remove_suffix(1);
        }
        visit(line);
        if (!lineFeed) {
            break;
        }
        lineStart = lineFeed + 1;
    }
}

// An upper bound of the records, so the list is allocated once.
std::size_t lineCount(std::string_view text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
}

// Whole seconds and the fraction are added last: summing them earlier would round away microseconds.
Instant instant(std::int64_t seconds, double fraction) {
    return fromUnixSeconds(static_cast<double>(seconds) + fraction);
}

// ---- JSON: a scanner for the flat objects journalctl writes, which decodes only the fields read.

// Deeper nesting is no journal record; the limit keeps hostile input from exhausting the stack.
constexpr int kMaxDepth = 16;

struct Cursor {
    const char* at;
    const char* end;

    bool atEnd() const { return at >= end; }
    bool next(char c) const { return at < end && *at == c; }
    void skipBlanks() {
        while (at < end && (*at == ' ' || *at == '\t' || *at == '\r' || *at == '\n')) {
            ++at;
        }
    }
};

// Moves past the string whose opening quote the cursor is on and returns its raw bytes, escapes
// undecoded; absent when it is not closed.
std::optional<std::string_view> scanString(Cursor& cursor) {
    const char* const start = cursor.at + 1;
    const char* from = start;
    while (from < cursor.end) {
        const auto* quote = static_cast<const char*>(std::memchr(from, '"', cursor.end - from));
        if (!quote) {
            return std::nullopt;
        }
        // The quote closes the string unless an odd run of backslashes escapes it.
        const char* run = quote;
        while (run > start && run[-1] == '\\') {
            --run;
        }
        if ((quote - run) % 2 == 0) {
            cursor.at = quote + 1;
            return std::string_view{start, static_cast<std::size_t>(quote - start)};
        }
        from = quote + 1;
    }
    return std::nullopt;
}

bool isScalarByte(char c) {
    return isDigit(c) || (c >= 'a' && c <= 'z') || c == '-' || c == '+' || c == '.' || c == 'E';
}

// Moves past one value; false when it is not well formed.
bool skipValue(Cursor& cursor, int depth) {
    if (cursor.atEnd() || depth > kMaxDepth) {
        return false;
    }
    const char open = *cursor.at;
    if (open == '"') {
        return scanString(cursor).has_value();
    }
    if (open == '[' || open == '{') {
        const char close = open == '[' ? ']' : '}';
        ++cursor.at;
        cursor.skipBlanks();
        if (cursor.next(close)) {
            ++cursor.at;
            return true;
        }
        while (true) {
            if (open == '{') {
                if (!cursor.next('"') || !scanString(cursor)) {
                    return false;
                }
                cursor.skipBlanks();
                if (!cursor.next(':')) {
                    return false;
                }
                ++cursor.at;
                cursor.skipBlanks();
            }
            if (!skipValue(cursor, depth + 1)) {
                return false;
            }
            cursor.skipBlanks();
            if (cursor.next(close)) {
                ++cursor.at;
                return true;
            }
            if (!cursor.next(',')) {
                return false;
            }
            ++cursor.at;
            cursor.skipBlanks();
        }
    }
    const char* const start = cursor.at;
    while (cursor.at < cursor.end && isScalarByte(*cursor.at)) {
        ++cursor.at;
    }
    const std::string_view scalar{start, static_cast<std::size_t>(cursor.at - start)};
    return scalar == "null" || scalar == "true" || scalar == "false" ||
           (!scalar.empty() && (isDigit(scalar[0]) || scalar[0] == '-'));
}

// The raw values of the fields the reader uses; empty when the line lacks one.
struct JsonFields {
    std::string_view realtime;
    std::string_view message;
    std::string_view boot;
    std::string_view identifier;
    std::string_view command;
    std::string_view transport;
};

std::string_view* slotFor(JsonFields& fields, std::string_view key) {
    switch (key.size()) {
    case 20:
        return key == "__REALTIME_TIMESTAMP" ? &fields.realtime : nullptr;
    case 7:
        return key == "MESSAGE" ? &fields.message : nullptr;
    case 8:
        return key == "_BOOT_ID" ? &fields.boot : nullptr;
    case 17:
        return key == "SYSLOG_IDENTIFIER" ? &fields.identifier : nullptr;
    case 5:
        return key == "_COMM" ? &fields.command : nullptr;
    case 10:
        return key == "_TRANSPORT" ? &fields.transport : nullptr;
    default:
        return nullptr;
    }
}

// One line as an object; false when it is not one. A key given twice keeps its first value.
bool scanObject(std::string_view line, JsonFields& fields) {
    Cursor cursor{line.data(), line.data() + line.size()};
    cursor.skipBlanks();
    if (!cursor.next('{')) {
        return false;
    }
    ++cursor.at;
    cursor.skipBlanks();
    if (cursor.next('}')) {
        ++cursor.at;
    } else {
        while (true) {
            if (!cursor.next('"')) {
                return false;
            }
            const auto key = scanString(cursor);
            cursor.skipBlanks();
            if (!key || !cursor.next(':')) {
                return false;
            }
            ++cursor.at;
            cursor.skipBlanks();
            const char* const valueStart = cursor.at;
            if (!skipValue(cursor, 1)) {
                return false;
            }
            if (auto* slot = slotFor(fields, *key); slot && slot->empty()) {
                *slot = {valueStart, static_cast<std::size_t>(cursor.at - valueStart)};
            }
            cursor.skipBlanks();
            if (cursor.next('}')) {
                ++cursor.at;
                break;
            }
            if (!cursor.next(',')) {
                return false;
            }
            ++cursor.at;
            cursor.skipBlanks();
        }
    }
    cursor.skipBlanks();
    return cursor.atEnd();
}

int hexValue(char c) {
    if (isDigit(c)) {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// The code unit of "\uXXXX" at `at`; -1 when there is none.
long escapedUnit(std::string_view raw, std::size_t at) {
    if (at + 6 > raw.size() || raw[at] != '\\' || raw[at + 1] != 'u') {
        return -1;
    }
    long unit = 0;
    for (std::size_t i = at + 2; i < at + 6; ++i) {
        const int digit = hexValue(raw[i]);
        if (digit < 0) {
            return -1;
        }
        unit = unit * 16 + digit;
    }
    return unit;
}

// The text of a string's raw bytes. A malformed escape or an unpaired surrogate becomes U+FFFD rather than
// losing the record; so do invalid bytes.
std::string decodedString(std::string_view raw) {
    if (std::memchr(raw.data(), '\\', raw.size()) == nullptr) {
        return Utf8::valid(raw);
    }
    std::string text;
    text.reserve(raw.size());
    std::size_t at = 0;
    while (at < raw.size()) {
        const auto backslash = raw.find('\\', at);
        text.append(raw.substr(at, backslash - at));
        if (backslash == npos) {
            break;
        }
        at = backslash + 2;
        const char kind = backslash + 1 < raw.size() ? raw[backslash + 1] : '\0';
        switch (kind) {
        case '"':
        case '\\':
        case '/':
            text.push_back(kind);
            break;
        case 'b':
            text.push_back('\b');
            break;
        case 'f':
            text.push_back('\f');
            break;
        case 'n':
            text.push_back('\n');
            break;
        case 'r':
            text.push_back('\r');
            break;
        case 't':
            text.push_back('\t');
            break;
        case 'u': {
            const long unit = escapedUnit(raw, backslash);
            if (unit < 0) {
                text.append(Utf8::kReplacementCharacter);
                break;
            }
            at = backslash + 6;
            const long low = unit >= 0xD800 && unit <= 0xDBFF ? escapedUnit(raw, at) : -1;
            if (low >= 0xDC00 && low <= 0xDFFF) {
                Utf8::append(text, static_cast<char32_t>(0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00)));
                at += 6;
            } else if (unit >= 0xD800 && unit <= 0xDFFF) {
                text.append(Utf8::kReplacementCharacter);
            } else {
                Utf8::append(text, static_cast<char32_t>(unit));
            }
            break;
        }
        default:
            text.append(Utf8::kReplacementCharacter);
            break;
        }
    }
    // Escapes only ever add whole sequences; raw bytes between them may still be invalid.
    return Utf8::valid(text);
}

// An array of byte values ("[80,77,58]") as text; absent when an element is no integer from 0 to 255.
std::optional<std::string> decodedBytes(std::string_view array) {
    std::string bytes;
    Cursor cursor{array.data() + 1, array.data() + array.size()};
    cursor.skipBlanks();
    while (!cursor.atEnd() && *cursor.at != ']') {
        int value = 0;
        const auto [end, error] = std::from_chars(cursor.at, cursor.end, value);
        if (error != std::errc{} || value < 0 || value > 255) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(value));
        cursor.at = end;
        cursor.skipBlanks();
        if (cursor.next(',')) {
            ++cursor.at;
            cursor.skipBlanks();
        }
    }
    return Utf8::valid(bytes);
}

// The text of a scanned value: a string, bytes, or the first of several values; absent for null.
std::optional<std::string> fieldText(std::string_view value) {
    if (value.starts_with('"')) {
        return decodedString(value.substr(1, value.size() - 2));
    }
    if (!value.starts_with('[')) {
        return std::nullopt;
    }
    Cursor cursor{value.data() + 1, value.data() + value.size()};
    cursor.skipBlanks();
    if (cursor.atEnd() || isDigit(*cursor.at) || *cursor.at == '-') {
        return decodedBytes(value);
    }
    const char* const first = cursor.at;
    if (!skipValue(cursor, 1)) {
        return std::nullopt;
    }
    const std::string_view element{first, static_cast<std::size_t>(cursor.at - first)};
    if (element.starts_with('"')) {
        return decodedString(element.substr(1, element.size() - 2));
    }
    if (element.starts_with('[')) {
        return decodedBytes(element);
    }
    return std::nullopt;
}

// The realtime stamp: microseconds since 1970 as a string of digits (or a bare number).
std::optional<Instant> realtime(std::string_view value) {
    std::string text;
    std::string_view digitsText = value;
    if (value.starts_with('"') && value.find('\\') == npos) {
        digitsText = value.substr(1, value.size() - 2);
    } else if (!value.empty() && !isDigit(value[0])) {
        text = fieldText(value).value_or("");
        digitsText = text;
    }
    std::uint64_t microseconds = 0;
    const auto* end = digitsText.data() + digitsText.size();
    const auto [stop, error] = std::from_chars(digitsText.data(), end, microseconds);
    if (digitsText.empty() || !isDigit(digitsText[0]) || error != std::errc{} || stop != end) {
        return std::nullopt;
    }
    constexpr std::uint64_t perSecond = 1'000'000;
    return instant(static_cast<std::int64_t>(microseconds / perSecond),
                   static_cast<double>(microseconds % perSecond) / kMicrosecondsPerSecond);
}

// Whether every field the reader uses is absent, null, a string or bytes, the values journalctl writes; a
// record with another value in one is damaged, and its message cannot be trusted.
bool hasTextFields(const JsonFields& fields) {
    return std::ranges::all_of(
        std::array{fields.message, fields.boot, fields.identifier, fields.command, fields.transport},
        [](std::string_view value) {
            return value.empty() || value == "null" || value.starts_with('"') ||
                   (value.starts_with('[') && fieldText(value));
        });
}

std::string nonEmptyText(std::string_view value) {
    return value.empty() ? std::string{} : fieldText(value).value_or("");
}

// The syslog identifier; without one, the command, and for the kernel's own records "kernel".
std::string identifierOf(const JsonFields& fields) {
    for (const auto value : {fields.identifier, fields.command}) {
        if (auto text = nonEmptyText(value); !text.empty()) {
            return text;
        }
    }
    return nonEmptyText(fields.transport) == "kernel" ? "kernel" : "";
}

// ---- Text forms

struct MonthName {
    std::string_view name; // lower case, without a trailing dot
    int month = 0;
};

// English and the abbreviations the common European locales print (German, French, Spanish, Italian,
// Portuguese, Dutch). No name means two months; the non-ASCII letters are never initial, so folding
// ASCII letters alone matches the capitalised forms too.
constexpr auto kMonthNames = std::to_array<MonthName>({
    {"jan", 1},  {"janv", 1}, {"ene", 1},  {"gen", 1},  {"feb", 2},  {"févr", 2},  {"fev", 2},  {"mar", 3},
    {"mär", 3},  {"mars", 3}, {"mrt", 3},  {"apr", 4},  {"avr", 4},  {"avril", 4}, {"abr", 4},  {"may", 5},
    {"mai", 5},  {"mag", 5},  {"mei", 5},  {"jun", 6},  {"juin", 6}, {"giu", 6},   {"jul", 7},  {"juil", 7},
    {"lug", 7},  {"aug", 8},  {"août", 8}, {"ago", 8},  {"sep", 9},  {"sept", 9},  {"set", 9},  {"oct", 10},
    {"okt", 10}, {"ott", 10}, {"out", 10}, {"nov", 11}, {"dec", 12}, {"dez", 12},  {"déc", 12}, {"dic", 12},
});

std::optional<int> monthNumber(std::string_view token) {
    if (token.ends_with('.')) {
        token.remove_suffix(1);
    }
    std::array<char, 8> folded{};
    if (token.empty() || token.size() > folded.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < token.size(); ++i) {
        const char c = token[i];
        folded[i] = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    const std::string_view lower{folded.data(), token.size()};
    for (const auto& [name, month] : kMonthNames) {
        if (name == lower) {
            return month;
        }
    }
    return std::nullopt;
}

struct TimeOfDay {
    int hour = 0;
    int minute = 0;
    int second = 0;
    double fraction = 0;
};

bool looksLikeTime(std::string_view token) {
    return token.size() >= 8 && digits(token, 0, 2) && token[2] == ':' && digits(token, 3, 2) &&
           token[5] == ':' && digits(token, 6, 2);
}

// "HH:MM:SS" and an optional fraction of up to nine digits, nothing after.
std::optional<TimeOfDay> timeOfDay(std::string_view token) {
    if (!looksLikeTime(token)) {
        return std::nullopt;
    }
    TimeOfDay time{*digits(token, 0, 2), *digits(token, 3, 2), *digits(token, 6, 2), 0};
    if (time.hour > 23 || time.minute > 59 || time.second > 60) {
        return std::nullopt;
    }
    if (token.size() == 8) {
        return time;
    }
    const auto fraction = token.substr(9);
    if (token[8] != '.' || fraction.empty() || fraction.size() > 9 ||
        !std::ranges::all_of(fraction, isDigit)) {
        return std::nullopt;
    }
    double scale = 1;
    for (std::size_t i = 0; i < fraction.size(); ++i) {
        scale *= 10;
    }
    time.fraction = static_cast<double>(*digits(fraction, 0, fraction.size())) / scale;
    return time;
}

// The next blank-separated token; `text` keeps what follows it, starting with the blank that ended it.
std::string_view nextToken(std::string_view& text) {
    const auto first = std::min(text.find_first_not_of(' '), text.size());
    const auto end = std::min(text.find(' ', first), text.size());
    const auto token = text.substr(first, end - first);
    text.remove_prefix(end);
    return token;
}

// "identifier[pid]" without the pid.
std::string_view withoutPid(std::string_view identifier) {
    if (identifier.ends_with(']')) {
        if (const auto open = identifier.rfind('['); open != npos) {
            return identifier.substr(0, open);
        }
    }
    return identifier;
}

struct TextFields {
    std::string_view identifier;
    std::string_view message;
};

// What follows the date: "host identifier[pid]: message", or without the host when the entry has none.
std::optional<TextFields> textFields(std::string_view rest) {
    auto afterFirst = rest;
    const auto first = nextToken(afterFirst);
    if (first.ends_with(':')) {
        const auto message = afterFirst.substr(std::min<std::size_t>(1, afterFirst.size()));
        return TextFields{withoutPid(first.substr(0, first.size() - 1)), message};
    }
    const auto fields = afterFirst.substr(std::min(afterFirst.find_first_not_of(' '), afterFirst.size()));
    // The identifier ends at the first colon that ends a word; messages hold colons of their own.
    for (auto colon = fields.find(':'); colon != npos; colon = fields.find(':', colon + 1)) {
        if (colon + 1 == fields.size() || fields[colon + 1] == ' ') {
            return TextFields{withoutPid(fields.substr(0, colon)),
                              fields.substr(std::min(colon + 2, fields.size()))};
        }
    }
    return std::nullopt;
}

// Seconds to the microsecond with at least `wholeDigits` before the point: "1700000000.123456", "12.345678".
bool isStamp(std::string_view token, std::size_t wholeDigits) {
    const auto dot = token.find('.');
    return dot != npos && dot >= wholeDigits && token.size() == dot + 7 &&
           std::ranges::all_of(token.substr(0, dot), isDigit) &&
           std::ranges::all_of(token.substr(dot + 1), isDigit);
}

// An entry in one of journalctl's other forms, whose time this reader cannot place: short-unix
// ("1700000000.123456 host …"), short-full ("Tue 2024-11-02 23:10:05 CET host …"), short-monotonic and
// short-delta ("[   12.345678] host …", "[   12.345678 <    0.000123>] host …").
bool isOtherForm(std::string_view line) {
    if (line.starts_with('[')) {
        const auto close = line.find(']');
        auto inside = line.substr(1, close == npos ? 0 : close - 1);
        return close != npos && isStamp(nextToken(inside), 1);
    }
    auto rest = line;
    const auto first = nextToken(rest);
    const auto second = nextToken(rest);
    const auto third = nextToken(rest);
    if (isStamp(first, 9)) {
        return !second.empty();
    }
    return second.size() == 10 && digits(second, 0, 4) && second[4] == '-' && digits(second, 5, 2) &&
           second[7] == '-' && digits(second, 8, 2) && looksLikeTime(third);
}

// A short-form entry waiting for its year, which only the whole text decides.
struct WallClock {
    std::size_t record = 0;
    int yearOffset = 0; // New Years passed since the text's first short-form entry
    int month = 0;
    int day = 0;
    TimeOfDay time;
};

bool isPlausibleDay(int month, int day) {
    constexpr std::array<int, 12> longest{31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return day >= 1 && day <= longest[static_cast<std::size_t>(month - 1)];
}

// Wall-clock readings in a calendar; consecutive entries mostly share their minute, so the last
// conversion is kept.
class WallClockConverter {
public:
    explicit WallClockConverter(const Calendar& calendar) : m_calendar(calendar) {}

    std::optional<Instant> instant(int year, const WallClock& wall) {
        const std::array<int, 5> key{year, wall.month, wall.day, wall.time.hour, wall.time.minute};
        if (!m_minute || key != m_key) {
            m_key = key;
            const auto day = m_calendar.date(year, wall.month, wall.day);
            m_minute = day ? m_calendar.at(*day, wall.time.hour, wall.time.minute) : std::nullopt;
            if (!m_minute) {
                return std::nullopt;
            }
        }
        return *m_minute + Seconds{static_cast<double>(wall.time.second) + wall.time.fraction};
    }

    // The same wall-clock time an hour later, when the clocks were set back and it occurs twice.
    std::optional<Instant> repeated(Instant first, const WallClock& wall) const {
        const auto later = first + Seconds{3'600};
        const auto local = m_calendar.local(later);
        if (local && local->day == wall.day && local->hour == wall.time.hour &&
            local->minute == wall.time.minute) {
            return later;
        }
        return std::nullopt;
    }

private:
    const Calendar& m_calendar;
    std::array<int, 5> m_key{};
    std::optional<Instant> m_minute;
};

// The year of the text's last short-form entry: the latest that does not put it after `now` by more than a
// day (the slack covers a machine whose zone differs from `calendar`).
std::optional<int> lastYear(const WallClock& last, Instant now, const Calendar& calendar,
                            WallClockConverter& converter) {
    const auto nowLocal = calendar.local(now);
    if (!nowLocal) {
        return std::nullopt;
    }
    const auto latest = now + Seconds{86'400};
    // Eight years back always reaches a 29 February.
    for (int year = nowLocal->year + 1; year >= nowLocal->year - 8; --year) {
        if (const auto date = converter.instant(year, last); date && *date <= latest) {
            return year;
        }
    }
    return std::nullopt;
}

class TextReader {
public:
    TextReader(std::string_view text, const Calendar& calendar)
        : m_calendar(calendar), m_converter(calendar) {
        m_result.records.reserve(lineCount(text));
    }

    // A line is shaped like an entry when it starts with an ISO-like date ("2024-…") or with a word, a day of
    // one or two digits and an "HH:MM:SS" time; such a line whose date or fields cannot be read is counted,
    // as is an entry of another of journalctl's forms. Anything else (prose and prompts around a pasted
    // journal, continuation lines of a multi-line message, which start with white space, and "-- … --"
    // markers) is no entry and is not counted.
    void readLine(std::string_view line) {
        if (line.empty() || line[0] == ' ' || line[0] == '\t') {
            return;
        }
        if (line.starts_with("--")) {
            readMarker(Ascii::trimmed(line));
            return;
        }
        auto rest = line;
        const auto first = nextToken(rest);
        std::optional<Instant> date;
        std::optional<WallClock> wall;
        if (digits(first, 0, 4) && first.size() > 4 && first[4] == '-') {
            date = parseIso8601(first);
        } else {
            const auto day = nextToken(rest);
            const auto time = nextToken(rest);
            if (day.empty() || day.size() > 2 || !std::ranges::all_of(day, isDigit) || !looksLikeTime(time)) {
                if (isOtherForm(line)) {
                    ++m_result.skippedLines;
                }
                return;
            }
            wall = shortDate(first, *digits(day, 0, day.size()), time);
        }
        const auto fields = textFields(rest);
        if ((!date && !wall) || !fields) {
            ++m_result.skippedLines;
            return;
        }
        if (wall) {
            wall->record = m_result.records.size();
            m_pending.push_back(*wall);
        }
        m_result.records.push_back(JournalRecord{date.value_or(Instant{}), m_boot,
                                                 Utf8::valid(fields->identifier),
                                                 Utf8::valid(trimmedEnd(fields->message))});
    }

    JournalRecords finish(Instant now) {
        dateShortEntries(now);
        if (!m_result.records.empty()) {
            m_result.firstDate = m_result.records.front().date;
        }
        return std::move(m_result);
    }

private:
    // "-- Boot 0a1b… --" (with the boot's id) and "-- Reboot --"; other markers say nothing about entries.
    void readMarker(std::string_view line) {
        if (line.size() < 4 || !line.ends_with("--")) {
            return;
        }
        auto inner = Ascii::trimmed(line.substr(2, line.size() - 4));
        const bool reboot = inner == "Reboot";
        if (!reboot && !inner.starts_with("Boot ")) {
            return;
        }
        ++m_boots;
        inner.remove_prefix(reboot ? inner.size() : 5);
        const auto id = nextToken(inner);
        m_boot = id.empty() ? "reboot-" + std::to_string(m_boots) : Utf8::valid(id);
    }

    std::optional<WallClock> shortDate(std::string_view monthToken, int day, std::string_view timeToken) {
        const auto month = monthNumber(monthToken);
        const auto time = timeOfDay(timeToken);
        if (!month || !time || !isPlausibleDay(*month, day)) {
            return std::nullopt;
        }
        // The text is in order, so a month that goes back means a New Year has passed.
        if (*month < m_lastMonth) {
            ++m_yearOffset;
        }
        m_lastMonth = *month;
        return WallClock{0, m_yearOffset, *month, day, *time};
    }

    void dateShortEntries(Instant now) {
        if (m_pending.empty()) {
            return;
        }
        const auto last = lastYear(m_pending.back(), now, m_calendar, m_converter);
        std::vector<bool> unreadable(m_result.records.size(), false);
        std::optional<Instant> previous;
        for (const auto& wall : m_pending) {
            auto date = last
                            ? m_converter.instant(*last - m_pending.back().yearOffset + wall.yearOffset, wall)
                            : std::nullopt;
            if (!date) {
                unreadable[wall.record] = true;
                ++m_result.skippedLines;
                continue;
            }
            if (previous && *date < *previous) {
                date = m_converter.repeated(*date, wall).value_or(*date);
            }
            m_result.records[wall.record].date = *date;
            previous = date;
        }
        if (std::ranges::find(unreadable, true) != unreadable.end()) {
            auto& records = m_result.records;
            std::size_t kept = 0;
            for (std::size_t i = 0; i < records.size(); ++i) {
                if (!unreadable[i]) {
                    records[kept++] = std::move(records[i]);
                }
            }
            records.resize(kept);
        }
    }

    JournalRecords m_result;
    const Calendar& m_calendar;
    WallClockConverter m_converter;
    std::vector<WallClock> m_pending;
    std::string m_boot;
    int m_boots = 0;
    int m_lastMonth = 0;
    int m_yearOffset = 0;
};

} // namespace

JournalRecords readJson(std::string_view text) {
    JournalRecords result;
    result.records.reserve(lineCount(text));
    forEachLine(text, [&result](std::string_view line) {
        if (line.find_first_not_of(Ascii::kWhiteSpace) == npos) {
            return;
        }
        JsonFields fields;
        std::optional<Instant> date;
        if (!scanObject(line, fields) || fields.realtime.empty() || !(date = realtime(fields.realtime)) ||
            !hasTextFields(fields)) {
            ++result.skippedLines;
            return;
        }
        auto message = nonEmptyText(fields.message);
        message.erase(trimmedEnd(message).size());
        result.records.push_back(
            JournalRecord{*date, nonEmptyText(fields.boot), identifierOf(fields), std::move(message)});
    });
    if (!result.records.empty()) {
        result.firstDate = result.records.front().date;
    }
    return result;
}

JournalRecords readText(std::string_view text, Instant now, const Calendar& calendar) {
    TextReader reader{text, calendar};
    forEachLine(text, [&reader](std::string_view line) { reader.readLine(line); });
    return reader.finish(now);
}

JournalRecords read(std::string_view text, Instant now, const Calendar& calendar) {
    const auto first = text.find_first_not_of(Ascii::kWhiteSpace);
    if (first != npos && text[first] == '{') {
        return readJson(text);
    }
    return readText(text, now, calendar);
}

} // namespace vitrek::JournalReader
