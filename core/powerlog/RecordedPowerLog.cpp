#include "powerlog/RecordedPowerLog.h"

#include "powerlog/PowerCause.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <tuple>

namespace vitrek::RecordedPowerLog {

namespace {

// "7 h 02 min", "3 min 20 s", "45 s": how long the kernel was suspended, for the wake's raw text.
std::string sleptText(double seconds) {
    const auto whole = static_cast<long long>(std::llround(std::max(seconds, 0.0)));
    char text[48];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%lld h %02lld min", whole / 3600, whole % 3600 / 60);
    } else if (whole >= 60) {
        std::snprintf(text, sizeof text, "%lld min %lld s", whole / 60, whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%lld s", whole);
    }
    return text;
}

std::string sleepRaw(const PowerRecord& record) {
    std::string facts;
    const auto add = [&](const std::string& fact) { facts += (facts.empty() ? "" : ", ") + fact; };
    if (record.lidClosed) {
        add(*record.lidClosed ? "lid closed" : "lid open");
    }
    if (record.idle) {
        add(*record.idle ? "sessions idle" : "session in use");
    }
    if (record.batteryCritical) {
        add("battery critical");
    }
    if (record.charge) {
        add((record.onBattery.value_or(false) ? "on battery " : "charge ") + std::to_string(*record.charge) + "%");
    }
    return "Going to sleep" + (facts.empty() ? std::string() : " (" + facts + ")");
}

std::string wakeRaw(const PowerRecord& record) {
    std::string raw = record.slept ? "Woke after " + sleptText(*record.slept) : std::string("Woke up");
    if (!record.source.empty()) {
        raw += "; wakeup source " + record.source;
    }
    return raw;
}

// A held lock's identity: the same process holding the same lock for the same reason.
using LockKey = std::tuple<std::string, std::string, std::string, std::string, std::uint32_t>;

LockKey key(const HeldInhibitor& inhibitor) {
    return {inhibitor.who, inhibitor.why, inhibitor.what, inhibitor.mode, inhibitor.pid};
}

// The assertion type a lock stands for; empty for locks that keep nobody awake (delays, shutdown, keys).
std::string lockType(const HeldInhibitor& inhibitor) {
    if (inhibitor.mode != "block") {
        return {};
    }
    std::string_view what = inhibitor.what;
    // "what" is a colon-separated list; match whole entries.
    bool sleep = false;
    bool idle = false;
    while (!what.empty()) {
        const auto colon = what.find(':');
        const auto entry = what.substr(0, colon);
        sleep = sleep || entry == "sleep";
        idle = idle || entry == "idle";
        what = colon == std::string_view::npos ? std::string_view() : what.substr(colon + 1);
    }
    if (sleep) {
        return "PreventSystemSleep";
    }
    return idle ? "PreventUserIdleSystemSleep" : std::string();
}

PowerEvent event(Instant date, PowerEventKind kind, std::string raw, std::string cause, const PowerRecord& at) {
    return PowerEvent{date, kind, std::move(raw), std::move(cause), at.onBattery, at.charge};
}

class Mapper {
public:
    Mapper(Recorded& out, Instant now) : m_out(out), m_log(out.log), m_now(now) {}

    void add(const PowerRecord& record) {
        if (!m_log.firstDate || record.date < *m_log.firstDate) {
            m_log.firstDate = record.date;
        }
        if (record.kind == PowerRecordKind::boot) {
            boot(record);
            return;
        }
        extendCoverage(record);
        switch (record.kind) {
        case PowerRecordKind::start:
            start(record);
            break;
        case PowerRecordKind::alive:
        case PowerRecordKind::boot:
            break;
        case PowerRecordKind::sleep:
            sleep(record);
            break;
        case PowerRecordKind::wake:
            wake(record);
            break;
        case PowerRecordKind::screen:
            screen(record);
            break;
        case PowerRecordKind::inhibitors:
            inhibitors(record);
            break;
        }
    }

    void finish() {
        if (!m_span) {
            return;
        }
        // The recording still runs when its last line is recent: the span reaches now.
        const bool live = secondsBetween(m_span->to, m_now) <= kMaxGap && m_span->to <= m_now;
        closeSpan(live ? m_now : m_span->to);
    }

private:
    struct PendingWake {
        Instant date;
        std::string raw;
        std::string cause;
        PowerRecord record;
    };

    void extendCoverage(const PowerRecord& record) {
        const bool sleepPair = m_asleep && record.kind == PowerRecordKind::wake;
        if (m_span && (sleepPair || secondsBetween(m_span->to, record.date) <= kMaxGap)) {
            m_span->to = std::max(m_span->to, record.date);
            return;
        }
        if (m_span) {
            closeSpan(m_span->to);
        }
        m_span = RecordedSpan{record.date, record.date};
    }

    // Nobody recorded what followed: locks end, a wake with no sleep after it was a full one.
    void closeSpan(Instant end) {
        settle(std::nullopt);
        for (const auto& [lock, held] : m_held) {
            release(held.first, held.second, end);
        }
        m_held.clear();
        m_out.coverage.push_back({m_span->from, end});
        m_span.reset();
        m_screenKnown = false;
    }

    void boot(const PowerRecord& record) {
        // Two Vitreks in one boot both write it.
        for (const auto& each : m_log.events) {
            if (each.kind == PowerEventKind::boot && std::abs(secondsBetween(each.date, record.date)) < 2) {
                return;
            }
        }
        settle(std::nullopt);
        m_log.events.push_back(event(record.date, PowerEventKind::boot, "Kernel booted", {}, record));
        display(record.date, true);
        m_asleep = false;
    }

    void start(const PowerRecord& record) {
        // A program only starts on a machine that is awake, whatever the record last said.
        if (m_asleep) {
            m_log.events.push_back(event(record.date, PowerEventKind::wake, "Vitrek started recording", {}, record));
            m_asleep = false;
            if (!record.screenOn) {
                display(record.date, true);
            }
        }
        m_screenKnown = record.screenOn.has_value();
        if (record.screenOn) {
            display(record.date, *record.screenOn);
        }
    }

    void sleep(const PowerRecord& record) {
        if (m_asleep) {
            return; // a second recorder's copy
        }
        const bool afterDark = settle(record.date);
        PowerCause::SleepFacts facts;
        facts.lowBattery = record.batteryCritical;
        if (record.lidClosed.value_or(false)) {
            facts.trigger = PowerCause::SleepTrigger::lid;
        } else if (record.idle.value_or(false)) {
            facts.trigger = PowerCause::SleepTrigger::idle;
        }
        facts.afterDarkWake = afterDark;
        facts.lidClosed = record.lidClosed.value_or(false);
        // Every sleep logind announces is one it carries out at someone's request.
        facts.requested = true;
        m_log.events.push_back(
            event(record.date, PowerEventKind::sleep, sleepRaw(record), PowerCause::sleepCause(facts), record));
        display(record.date, false);
        m_asleep = true;
        m_lidAtSleep = record.lidClosed;
    }

    void wake(const PowerRecord& record) {
        if (!m_asleep) {
            return; // a second recorder's copy, or a wake whose sleep nobody saw
        }
        std::string cause;
        if (m_lidAtSleep.value_or(false) && record.lidClosed == false) {
            cause = "Lid Open";
        } else if (!record.source.empty()) {
            cause = PowerCause::fromWakeupSource(record.source);
        }
        m_pending = PendingWake{record.date, wakeRaw(record), std::move(cause), record};
        m_asleep = false;
    }

    void screen(const PowerRecord& record) {
        if (!record.screenOn) {
            return;
        }
        m_screenKnown = true;
        if (*record.screenOn && m_pending) {
            settle(std::nullopt); // a person is at the screen: it was a full wake
        }
        display(record.date, *record.screenOn);
    }

    void inhibitors(const PowerRecord& record) {
        std::map<LockKey, std::pair<Instant, HeldInhibitor>> now;
        for (const auto& inhibitor : record.inhibitors) {
            if (lockType(inhibitor).empty()) {
                continue;
            }
            const auto lock = key(inhibitor);
            const auto held = m_held.find(lock);
            now.emplace(lock, held != m_held.end() ? held->second : std::pair{record.date, inhibitor});
        }
        for (const auto& [lock, held] : m_held) {
            if (!now.contains(lock)) {
                release(held.first, held.second, record.date);
            }
        }
        m_held = std::move(now);
    }

    void release(Instant since, const HeldInhibitor& inhibitor, Instant end) {
        if (end <= since) {
            return;
        }
        m_log.releases.push_back(AssertionRelease{end, secondsBetween(since, end),
                                                  static_cast<std::int32_t>(inhibitor.pid), inhibitor.who,
                                                  lockType(inhibitor), inhibitor.why});
    }

    // Decides the pending wake, given when the machine next went to sleep (absent: it did not, or nobody
    // knows). Returns whether it was a dark wake.
    bool settle(std::optional<Instant> nextSleep) {
        if (!m_pending) {
            return false;
        }
        const bool dark =
            nextSleep && PowerCause::isDarkWake(m_pending->cause, secondsBetween(m_pending->date, *nextSleep));
        m_log.events.push_back(event(m_pending->date, dark ? PowerEventKind::darkWake : PowerEventKind::wake,
                                     std::move(m_pending->raw), std::move(m_pending->cause), m_pending->record));
        // Without a screen saver to ask, a wake for a person turns the screen on, as the journal's rule has it.
        if (!dark && !m_screenKnown) {
            display(m_pending->date, true);
        }
        m_pending.reset();
        return dark;
    }

    void display(Instant date, bool on) {
        if (!m_log.display.empty() && m_log.display.back().on == on) {
            return;
        }
        m_log.display.push_back({date, on});
    }

    Recorded& m_out;
    PowerLog& m_log;
    Instant m_now;
    std::optional<RecordedSpan> m_span;
    std::optional<PendingWake> m_pending;
    std::map<LockKey, std::pair<Instant, HeldInhibitor>> m_held;
    std::optional<bool> m_lidAtSleep;
    bool m_asleep = false;
    bool m_screenKnown = false;
};

} // namespace

Recorded fromRecords(std::span<const PowerRecord> records, Instant now) {
    std::vector<const PowerRecord*> ordered;
    ordered.reserve(records.size());
    for (const auto& record : records) {
        ordered.push_back(&record);
    }
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const PowerRecord* a, const PowerRecord* b) { return a->date < b->date; });
    Recorded recorded;
    Mapper mapper(recorded, now);
    for (const auto* record : ordered) {
        mapper.add(*record);
    }
    mapper.finish();
    sortByDates(recorded.log);
    return recorded;
}

bool covers(std::span<const RecordedSpan> coverage, Instant from, Instant to) {
    return std::any_of(coverage.begin(), coverage.end(), [&](const RecordedSpan& span) {
        return secondsBetween(span.from, from) >= -kMaxGap && secondsBetween(to, span.to) >= -kMaxGap;
    });
}

} // namespace vitrek::RecordedPowerLog
