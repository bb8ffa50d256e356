#include "Replay.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <vector>

namespace vitrek::Replay {
namespace {

using namespace std::chrono;

constexpr std::int64_t kMicrosPerDay = 86'400'000'000;
constexpr std::size_t kChunkBytes = 1 << 20;

std::int64_t integer(std::string_view text) {
    std::int64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

// Days since 1970 of a "2024-03-09" at `at`, or absent.
std::optional<int> dayAt(std::string_view text, std::size_t at) {
    constexpr std::string_view kPattern = "dddd-dd-dd";
    if (at + kPattern.size() > text.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < kPattern.size(); ++i) {
        const char c = text[at + i];
        if (kPattern[i] == 'd' ? c < '0' || c > '9' : c != '-') {
            return std::nullopt;
        }
    }
    const auto part = [&](std::size_t from, std::size_t count) {
        return integer(text.substr(at + from, count));
    };
    const year_month_day date{year{int(part(0, 4))}, month{unsigned(part(5, 2))}, day{unsigned(part(8, 2))}};
    return sys_days{date}.time_since_epoch().count();
}

std::string dateText(int days) {
    const year_month_day date{sys_days{std::chrono::days{days}}};
    std::array<char, 16> buffer{};
    std::snprintf(buffer.data(), buffer.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return buffer.data();
}

// One entry of the recorded journal: its stamps, and its other fields as recorded around the one that
// moves with the realtime stamp.
struct Entry {
    std::int64_t realtime = 0;
    std::int64_t monotonic = 0;
    std::string_view boot;
    std::string_view before; // the fields up to _SOURCE_REALTIME_TIMESTAMP=, or all of them
    std::int64_t sourceRealtime = 0;
    std::string_view after; // the fields after it
    std::string_view identifier, message, transport;
    bool user = false;
    bool power = false;    // from the identifiers the power log is read from
    bool once = false;     // played once; the rest of the journal is scaled to the volume asked for
    std::int64_t room = 0; // µs until the next entry, during which copies of this one may be played
};

std::vector<Entry> parseJournal(std::string_view text) {
    std::vector<Entry> entries;
    constexpr std::array<std::string_view, 4> kPower{"kernel", "systemd-logind", "systemd-sleep", "upowerd"};
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find("\n\n", start), text.size());
        Entry entry;
        std::size_t fields = std::string_view::npos;
        for (std::size_t line = start; line < end;) {
            const std::size_t next = std::min(text.find('\n', line), end);
            const std::string_view field = text.substr(line, next - line);
            const std::size_t equals = field.find('=');
            const std::string_view name = field.substr(0, equals);
            const std::string_view value = field.substr(equals + 1);
            if (name == "__REALTIME_TIMESTAMP") {
                entry.realtime = integer(value);
            } else if (name == "__MONOTONIC_TIMESTAMP") {
                entry.monotonic = integer(value);
            } else if (name == "_BOOT_ID") {
                entry.boot = value;
                fields = next + 1;
            } else if (name == "_SOURCE_REALTIME_TIMESTAMP") {
                entry.before = text.substr(fields, line + equals + 1 - fields);
                entry.sourceRealtime = integer(value);
                fields = next;
            } else if (name == "SYSLOG_IDENTIFIER") {
                entry.identifier = value;
            } else if (name == "MESSAGE") {
                entry.message = value;
            } else if (name == "_TRANSPORT") {
                entry.transport = value;
            } else if (name == "_UID") {
                entry.user = integer(value) >= 1000;
            }
            line = next + 1;
        }
        const std::string_view rest = text.substr(fields, end + 1 - fields);
        (entry.before.empty() ? entry.before : entry.after) = rest;
        entry.power = std::find(kPower.begin(), kPower.end(), entry.identifier) != kPower.end();
        entries.push_back(entry);
        start = end + 2;
    }
    // What the machine says as it starts, suspends and resumes is said once whatever the volume; the
    // kernel's other lines are chatter like the services'.
    std::vector<std::int64_t> sleeps;
    for (const Entry& entry : entries) {
        if (entry.identifier == "systemd-sleep") {
            sleeps.push_back(entry.realtime);
        }
    }
    for (Entry& entry : entries) {
        const auto near = std::lower_bound(sleeps.begin(), sleeps.end(), entry.realtime - 60'000'000);
        entry.once = entry.power && (entry.identifier != "kernel" || entry.monotonic < 120'000'000 ||
                                     (near != sleeps.end() && *near <= entry.realtime + 60'000'000));
    }
    for (std::size_t i = 0; i + 1 < entries.size(); ++i) {
        const Entry& next = entries[i + 1];
        // Time asleep passes for the realtime clock only, and a boot may follow a machine switched off:
        // copies must land in neither.
        const std::int64_t awake =
            next.boot == entries[i].boot ? next.monotonic - entries[i].monotonic : 60'000'000;
        entries[i].room = std::clamp<std::int64_t>(next.realtime - entries[i].realtime, 0,
                                                   std::max<std::int64_t>(awake, 0));
    }
    return entries;
}

// The boot of a replay gets an id of its own: the recorded one with the replay in its last eight digits.
std::string bootId(std::string_view recordedId, std::int64_t replay) {
    std::array<char, 9> low{};
    std::snprintf(low.data(), low.size(), "%08llx", static_cast<unsigned long long>(replay));
    return std::string{recordedId.substr(0, 24)} + low.data();
}

struct Played {
    const Entry& entry;
    std::int64_t realtime;
    std::int64_t monotonic;
    std::string boot;
    std::int64_t sequence;
    std::int64_t shift; // how far the replay moved the recording
};

// Every entry of the journal `shape` asks for, in realtime order, with replays of the recording moved on
// by whole days so the day's rhythm stays where it was recorded.
template <class Visit> void replay(std::string_view text, const JournalShape& shape, Visit visit) {
    const std::vector<Entry> entries = parseJournal(text);
    if (entries.empty()) {
        return;
    }
    std::int64_t sequence = 0;
    // One replay moves the recording on by the whole days it spans.
    const std::int64_t last = entries.back().realtime;
    const std::int64_t days = (last - entries.front().realtime) / kMicrosPerDay + 1;
    const std::int64_t once =
        std::count_if(entries.begin(), entries.end(), [](const Entry& e) { return e.once; });
    const auto chatter = static_cast<std::int64_t>(entries.size()) - once;
    const std::int64_t wanted = shape.entriesPerDay * days - once;
    const std::int64_t copies =
        chatter == 0 ? 1 : std::max<std::int64_t>(1, (wanted + chatter / 2) / chatter);
    const std::int64_t from = shape.endMicros - std::int64_t{shape.days} * kMicrosPerDay;
    const std::int64_t replays = shape.days / days + 2;
    // The last replay ends on the day of the end.
    const std::int64_t lastShift = (shape.endMicros - last) / kMicrosPerDay * kMicrosPerDay;
    for (std::int64_t r = 0; r < replays; ++r) {
        const std::int64_t shift = lastShift - (replays - 1 - r) * days * kMicrosPerDay;
        if (last + shift < from) {
            continue;
        }
        for (const Entry& entry : entries) {
            const std::int64_t times = entry.once ? 1 : copies;
            for (std::int64_t copy = 0; copy < times; ++copy) {
                const std::int64_t offset = entry.room * copy / times;
                const std::int64_t realtime = entry.realtime + shift + offset;
                if (realtime < from || realtime > shape.endMicros) {
                    continue;
                }
                visit(Played{entry, realtime, entry.monotonic + offset, bootId(entry.boot, r), ++sequence,
                             shift + offset});
            }
        }
    }
}

void appendExport(std::string& out, const Played& played) {
    out += "__REALTIME_TIMESTAMP=" + std::to_string(played.realtime);
    out += "\n__MONOTONIC_TIMESTAMP=" + std::to_string(played.monotonic);
    out += "\n_BOOT_ID=" + played.boot + '\n';
    out += played.entry.before;
    if (!played.entry.after.empty()) {
        out += std::to_string(played.entry.sourceRealtime + played.shift);
        out += played.entry.after;
    }
    out += '\n';
}

std::string quoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        // The export text format holds no line breaks, and the recording no other control characters.
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        out += c;
    }
    return out + '"';
}

// As journalctl prints it when asked for SYSLOG_IDENTIFIER, MESSAGE and _TRANSPORT; it prints from a hash
// table, so the order of the fields changes from entry to entry.
void appendJson(std::string& out, const Played& played) {
    std::array<std::string, 7> fields;
    std::array<char, 200> cursor{};
    std::snprintf(cursor.data(), cursor.size(),
                  "\"__CURSOR\":\"s=49680c841625445091701cbe9569b417;i=%llx;b=%s;m=%llx;t=%llx\"",
                  static_cast<unsigned long long>(played.sequence), played.boot.c_str(),
                  static_cast<unsigned long long>(played.monotonic),
                  static_cast<unsigned long long>(played.realtime));
    fields[0] = cursor.data();
    fields[1] = "\"__REALTIME_TIMESTAMP\":\"" + std::to_string(played.realtime) + '"';
    fields[2] = "\"__MONOTONIC_TIMESTAMP\":\"" + std::to_string(played.monotonic) + '"';
    fields[3] = "\"_BOOT_ID\":\"" + played.boot + '"';
    fields[4] = "\"SYSLOG_IDENTIFIER\":" + quoted(played.entry.identifier);
    fields[5] = "\"_TRANSPORT\":" + quoted(played.entry.transport);
    fields[6] = "\"MESSAGE\":" + quoted(played.entry.message);
    const auto first = static_cast<std::size_t>(played.sequence * 2654435761 % 7);
    out += '{';
    for (std::size_t i = 0; i < fields.size(); ++i) {
        out += i > 0 ? "," : "";
        out += fields[(first + i) % fields.size()];
    }
    out += "}\n";
}

} // namespace

std::optional<std::string> recorded(std::string_view name) {
    std::ifstream file{std::string{VITREK_BENCH_DATA} + '/' + std::string{name}, std::ios::binary};
    if (!file) {
        return std::nullopt;
    }
    std::ostringstream text;
    text << file.rdbuf();
    return std::move(text).str();
}

PowerLogReplay powerLog(std::string_view recordedLog, int days, std::size_t bytes) {
    // Where each recorded day begins (its first line from noon on) and where its dates are.
    struct Stamp {
        std::size_t at;
        int day;
    };
    std::vector<Stamp> stamps;
    std::vector<std::size_t> dayStarts;
    std::optional<int> first;
    for (std::size_t line = 0; line < recordedLog.size();) {
        const std::size_t end = std::min(recordedLog.find('\n', line), recordedLog.size());
        if (const auto day = dayAt(recordedLog, line); day && recordedLog.substr(line + 11, 2) >= "12") {
            first = first.value_or(*day);
            while (static_cast<int>(dayStarts.size()) <= *day - *first) {
                dayStarts.push_back(line);
            }
        }
        for (std::size_t at = line; at + 10 <= end; ++at) {
            if (const auto day = dayAt(recordedLog, at)) {
                stamps.push_back({at, *day});
                at += 9;
            }
        }
        line = end + 1;
    }
    PowerLogReplay log;
    if (!first || dayStarts.empty()) {
        return log;
    }
    dayStarts.push_back(recordedLog.size());
    const auto recordedDays = static_cast<int>(dayStarts.size()) - 1;
    log.text.reserve(bytes > 0 ? bytes + 300'000 : static_cast<std::size_t>(days) * 220'000);
    while (bytes > 0 ? log.text.size() < bytes : log.days < days) {
        const int recordedDay = log.days % recordedDays;
        const int shift = log.days - recordedDay;
        const std::size_t from = dayStarts[static_cast<std::size_t>(recordedDay)];
        const std::size_t to = dayStarts[static_cast<std::size_t>(recordedDay) + 1];
        const std::size_t base = log.text.size();
        log.text += recordedLog.substr(from, to - from);
        auto stamp = std::lower_bound(stamps.begin(), stamps.end(), from,
                                      [](const Stamp& s, std::size_t at) { return s.at < at; });
        for (; stamp != stamps.end() && stamp->at < to; ++stamp) {
            log.text.replace(base + stamp->at - from, 10, dateText(stamp->day + shift));
        }
        ++log.days;
    }
    log.firstDate = dateText(*first);
    log.lastDate = dateText(*first + log.days);
    const std::string_view zone = recordedLog.substr(20, 5); // "+0100" after the first line's date
    log.suggestedNow =
        log.lastDate + "T12:00:00" + std::string{zone.substr(0, 3)} + ":" + std::string{zone.substr(3, 2)};
    return log;
}

bool writeExport(std::string_view recordedJournal, const JournalShape& shape, JournalPart part,
                 const std::function<bool(std::string_view)>& write) {
    std::string chunk;
    bool ok = true;
    replay(recordedJournal, shape, [&](const Played& played) {
        if (!ok || (part == JournalPart::system && played.entry.user) ||
            (part == JournalPart::user && !played.entry.user)) {
            return;
        }
        appendExport(chunk, played);
        if (chunk.size() >= kChunkBytes) {
            ok = write(chunk);
            chunk.clear();
        }
    });
    ok = ok && (chunk.empty() || write(chunk));
    return ok;
}

std::string jsonLines(std::string_view recordedJournal, const JournalShape& shape, std::int64_t sinceMicros) {
    std::string out;
    replay(recordedJournal, shape, [&](const Played& played) {
        if (played.realtime >= sinceMicros && played.entry.power) {
            appendJson(out, played);
        }
    });
    return out;
}

} // namespace vitrek::Replay
