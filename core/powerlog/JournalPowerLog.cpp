#include "powerlog/JournalPowerLog.h"

#include "powerlog/PowerCause.h"
#include "text/Ascii.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace vitrek::JournalPowerLog {

namespace {

// A lid, key, idle or battery record this long before a sleep is what caused it; logind acts within a
// second or two, the rest allows for inhibitor delays and slow sessions.
constexpr double kTriggerWindow = 60;
// logind reports the lid or key that woke the machine within seconds of the resume.
constexpr double kCauseWindow = 10;
// A kernel banner this close after a boot already recorded belongs to that boot.
constexpr double kBootBannerGap = 120;
// A failure to sleep reported this soon after the resume undoes the whole attempt…
constexpr double kFailureGap = 5;
// …when the attempt was this short: an s2idle machine with debugging on reports every ordinary wake-up
// as a wakeup "aborting suspend", hours after it went to sleep.
constexpr double kAbortedSleep = 60;

enum class Signal {
    none,
    sleepEntry, // the moment of going to sleep
    entrySide,  // a step on the way to sleep; its stamp may be the resume's
    resume,
    sleepFailed,
    lidClosed,
    lidOpened,
    powerKey,
    sleepKey,
    idle,
    lowBattery,
    request, // logind or systemd carrying out a sleep someone asked for
    shutdown,
    delayLock,
    wakeSource,
    bootBanner,
};

struct Classified {
    Signal signal = Signal::none;
    bool managed = false;      // written by systemd: the sleep went through the service manager
    std::string_view detail{}; // the wakeup source's name
};

bool has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

template <std::size_t N> bool hasAny(std::string_view text, const std::array<std::string_view, N>& parts) {
    return std::any_of(parts.begin(), parts.end(), [&](std::string_view part) { return has(text, part); });
}

// Wording from the kernels and systemd versions in use since 2015; older forms are kept beside newer ones.
constexpr std::array<std::string_view, 3> kKernelEntries{"PM: suspend entry", "hibernation entry",
                                                         "PM: Entering mem sleep"};
constexpr std::array<std::string_view, 10> kKernelEntrySteps{"PM: Syncing filesystems",
                                                             "Filesystems sync:",
                                                             "PM: Preparing system for",
                                                             "PM: Suspending system",
                                                             "Preparing to enter system sleep state",
                                                             "Freezing user space processes",
                                                             "PM: Creating hibernation image",
                                                             "PM: hibernation: Creating image",
                                                             "suspend of devices complete",
                                                             "PM: suspend devices took"};
constexpr std::array<std::string_view, 9> kKernelResumes{
    "PM: suspend exit",     "hibernation exit",          "Waking up from system sleep state",
    "PM: Finishing wakeup", "Restarting tasks ... done", "resume of devices complete",
    "on system resumption", "PM: resume devices took",   "Image restored successfully"};
constexpr std::array<std::string_view, 4> kKernelFailures{"failed to suspend", "aborting suspend",
                                                          "Freezing of tasks failed", "processes failed"};
constexpr std::array<std::string_view, 3> kSystemdSleepUnits{"Suspend", "Hibernate", "Hybrid"};

Classified classifyKernel(std::string_view m) {
    if (m.starts_with("Linux version ")) {
        return {Signal::bootBanner};
    }
    // Most kernel records are driver chatter; everything below mentions one of these.
    if (!has(m, "PM") && !has(m, "ake") && !has(m, "reez") && !has(m, "esum") && !has(m, "ystem") &&
        !has(m, "estart")) {
        return {};
    }
    if (hasAny(m, kKernelFailures)) {
        return {Signal::sleepFailed};
    }
    if (hasAny(m, kKernelEntries)) {
        return {Signal::sleepEntry};
    }
    if (hasAny(m, kKernelResumes)) {
        return {Signal::resume};
    }
    if (hasAny(m, kKernelEntrySteps)) {
        return {Signal::entrySide};
    }
    const std::string lower = Ascii::lowercased(m);
    if (const auto at = lower.find("wakeup source:"); at != std::string::npos) {
        return {Signal::wakeSource, false, Ascii::trimmed(m.substr(at + 14))};
    }
    if (const auto at = lower.find("wakeup from irq"); at != std::string::npos) {
        return {Signal::wakeSource, false, Ascii::trimmed(m.substr(at + 12))};
    }
    return {};
}

Classified classifySleepService(std::string_view m) {
    if (m.starts_with("Failed to ") && (has(m, "sleep") || has(m, "suspend") || has(m, "hibernate"))) {
        return {Signal::sleepFailed, true};
    }
    if (m.starts_with("Entering sleep state") || m.starts_with("Performing sleep operation") ||
        m.starts_with("Suspending system") || m.starts_with("Hibernating system")) {
        return {Signal::sleepEntry, true};
    }
    if (m.starts_with("System returned from sleep") || m.starts_with("System resumed")) {
        return {Signal::resume, true};
    }
    if (m.starts_with("Successfully froze unit")) {
        return {Signal::entrySide, true};
    }
    const std::string lower = Ascii::lowercased(m);
    if (has(lower, "alarm") && (has(lower, "woke") || has(lower, "woken") || has(lower, "wake"))) {
        return {Signal::wakeSource, true, "RTC Alarm"};
    }
    return {};
}

Classified classifyLogind(std::string_view m) {
    if (m == "Lid closed.") {
        return {Signal::lidClosed};
    }
    if (m == "Lid opened.") {
        return {Signal::lidOpened};
    }
    if (m.starts_with("Power key pressed")) {
        return {Signal::powerKey};
    }
    if (m.starts_with("Suspend key pressed") || m.starts_with("Hibernate key pressed")) {
        return {Signal::sleepKey};
    }
    if (m.starts_with("System idle")) {
        return {Signal::idle};
    }
    if (m.starts_with("System is powering down") || m.starts_with("System is rebooting") ||
        m.starts_with("System is halting") || m.starts_with("Powering off") || m.starts_with("Rebooting")) {
        return {Signal::shutdown};
    }
    if (m.starts_with("Delay lock is active")) {
        return {Signal::delayLock};
    }
    if (m.starts_with("Operation '") && m.ends_with("' finished.")) {
        return {Signal::resume, true};
    }
    if (m.starts_with("Suspending") || m.starts_with("Hibernating") || m.starts_with("Hybrid") ||
        (m.starts_with("The system will ") && m.ends_with(" now!"))) {
        return {Signal::request, true};
    }
    return {};
}

// The service manager's own lines, which pasted excerpts often carry.
Classified classifyServiceManager(std::string_view m) {
    const bool sleepUnit = hasAny(m, kSystemdSleepUnits) || has(m, "systemd-suspend") ||
                           has(m, "systemd-hibernate") || has(m, "systemd-hybrid-sleep");
    if ((m.starts_with("Starting ") && sleepUnit) || m.starts_with("Reached target Sleep") ||
        m.starts_with("Reached target sleep")) {
        return {Signal::entrySide, true};
    }
    if ((m.starts_with("Finished ") && sleepUnit) ||
        (m.starts_with("systemd-s") && has(m, ".service: Deactivated successfully") && sleepUnit)) {
        return {Signal::resume, true};
    }
    if (m.starts_with("Reached target System Power Off") || m.starts_with("Reached target System Reboot") ||
        m.starts_with("Reached target Power-Off") || m == "Shutting down.") {
        return {Signal::shutdown};
    }
    return {};
}

bool isLowBattery(std::string_view m) {
    const std::string lower = Ascii::lowercased(m);
    return has(lower, "battery") && (has(lower, "critical") || has(lower, "battery low") ||
                                     has(lower, "low battery") || has(lower, "battery is low"));
}

Classified classify(const JournalRecord& record) {
    const std::string_view id = record.identifier;
    const std::string_view m = record.message;
    if (id == "kernel") {
        return classifyKernel(m);
    }
    if (id == "systemd-sleep") {
        return classifySleepService(m);
    }
    Classified classified;
    if (id == "systemd-logind") {
        classified = classifyLogind(m);
    } else if (id == "systemd") {
        classified = classifyServiceManager(m);
    }
    if (classified.signal == Signal::none && isLowBattery(m)) {
        classified.signal = Signal::lowBattery;
    }
    return classified;
}

using PowerCause::isUserCause;
using PowerCause::rank;
using PowerCause::SleepTrigger;

// "Delay lock is active (UID 1000/alice, PID 1234/gsd-media-keys) but inhibitor timeout is reached."
AssertionRelease delayRelease(std::string_view m, Instant date, double held) {
    AssertionRelease release;
    release.end = date;
    release.duration = held;
    release.type = "PreventSystemSleep";
    release.name = "Delayed sleep past the inhibitor timeout";
    if (const auto at = m.find("PID "); at != std::string_view::npos) {
        const char* begin = m.data() + at + 4;
        const auto [end, error] = std::from_chars(begin, m.data() + m.size(), release.pid);
        const std::string_view rest(end, static_cast<std::size_t>(m.data() + m.size() - end));
        if (error == std::errc{} && rest.starts_with('/')) {
            release.process = std::string(rest.substr(1, rest.find_first_of(")") - 1));
        }
    }
    if (release.process.empty()) {
        release.process = "unknown";
    }
    return release;
}

PowerEvent event(Instant date, PowerEventKind kind, std::string_view raw, std::string cause = {}) {
    PowerEvent made;
    made.date = date;
    made.kind = kind;
    made.raw = std::string(Ascii::trimmed(raw));
    made.cause = std::move(cause);
    return made;
}

// The mapping's state while it walks the records in order.
class Mapper {
public:
    explicit Mapper(PowerLog& log) : m_log(log) {}

    void add(const JournalRecord& record) {
        const Classified c = classify(record);
        const Instant t = record.date;
        const bool newBoot = m_boot && record.boot != *m_boot;
        m_boot = record.boot;
        if (newBoot || c.signal == Signal::bootBanner) {
            // Every boot has its own id; a banner without one counts unless a boot was just recorded.
            if (newBoot || !m_lastBoot || secondsBetween(*m_lastBoot, t) > kBootBannerGap) {
                boot(record);
            }
            if (c.signal == Signal::bootBanner) {
                return;
            }
        }
        switch (c.signal) {
        case Signal::none:
            break;
        case Signal::bootBanner:
            break;
        case Signal::sleepEntry:
        case Signal::entrySide:
            enterSleep(record, c);
            break;
        case Signal::resume:
            resume(record);
            break;
        case Signal::sleepFailed:
            failed(t);
            break;
        case Signal::lidOpened:
        case Signal::powerKey:
            m_lidClosed = m_lidClosed && c.signal != Signal::lidOpened;
            if (!userSign(record, c.signal == Signal::lidOpened ? "Lid Open" : "Power Button") &&
                c.signal == Signal::powerKey) {
                trigger(t, SleepTrigger::powerKey);
            }
            break;
        case Signal::lidClosed:
            m_lidClosed = true;
            trigger(t, SleepTrigger::lid);
            break;
        case Signal::sleepKey:
            trigger(t, SleepTrigger::sleepKey);
            break;
        case Signal::idle:
            trigger(t, SleepTrigger::idle);
            break;
        case Signal::lowBattery:
            m_lowBattery = t;
            break;
        case Signal::request:
            m_request = t;
            break;
        case Signal::shutdown:
            settle(std::nullopt);
            m_phase = Phase::awake;
            display(t, false);
            break;
        case Signal::delayLock: {
            const auto since =
                std::max(m_trigger ? m_trigger->date : Instant{}, m_request.value_or(Instant{}));
            const double held = secondsBetween(since, t);
            m_log.releases.push_back(
                delayRelease(record.message, t, held >= 0 && held <= kTriggerWindow ? held : 0));
            break;
        }
        case Signal::wakeSource:
            wakeSource(record, PowerCause::fromWakeupSource(c.detail));
            break;
        }
    }

    void finish() { settle(std::nullopt); }

private:
    enum class Phase { unknown, awake, asleep, resumed };

    struct Trigger {
        Instant date;
        SleepTrigger trigger;
    };

    // A resume whose kind (full or dark) is decided by what follows it.
    struct PendingWake {
        Instant date;
        std::string raw;
        std::string cause;
        bool seenByLogind = false;
    };

    void boot(const JournalRecord& record) {
        settle(std::nullopt);
        m_log.events.push_back(event(record.date, PowerEventKind::boot, record.message));
        display(record.date, true);
        m_lastBoot = record.date;
        m_phase = Phase::awake;
        m_lidClosed = false;
        m_trigger.reset();
        m_request.reset();
        m_lowBattery.reset();
        m_sleepingCause.clear();
    }

    void enterSleep(const JournalRecord& record, const Classified& c) {
        if (m_phase == Phase::asleep) {
            // The first step dates the sleep; the record that names it is the better raw text.
            if (c.signal == Signal::sleepEntry && !m_sleepNamed && m_sleepEvent < m_log.events.size()) {
                m_log.events[m_sleepEvent].raw = std::string(Ascii::trimmed(record.message));
                m_sleepNamed = true;
            }
            if (c.managed && m_sleepEvent < m_log.events.size() && m_log.events[m_sleepEvent].cause.empty()) {
                m_log.events[m_sleepEvent].cause = "Software Sleep";
            }
            return;
        }
        if (c.signal == Signal::entrySide && m_resumedAt &&
            secondsBetween(*m_resumedAt, record.date) <= kCauseWindow) {
            return; // the kernel's account of the last sleep, read by the journal after the resume
        }
        const bool afterDark = settle(record.date);
        const Instant t = record.date;
        const auto recent = [&](std::optional<Instant> at) {
            return at && secondsBetween(*at, t) <= kTriggerWindow && (!m_resumedAt || *at >= *m_resumedAt);
        };
        PowerCause::SleepFacts facts;
        facts.lowBattery = recent(m_lowBattery);
        if (m_trigger && recent(m_trigger->date)) {
            facts.trigger = m_trigger->trigger;
        }
        facts.afterDarkWake = afterDark;
        facts.lidClosed = m_lidClosed;
        facts.requested = c.managed || recent(m_request);
        std::string cause = PowerCause::sleepCause(facts);
        m_sleepEvent = m_log.events.size();
        m_log.events.push_back(event(t, PowerEventKind::sleep, record.message, cause));
        m_sleepDisplay = display(t, false);
        m_sleepNamed = c.signal == Signal::sleepEntry;
        m_sleepingCause.clear();
        m_trigger.reset();
        m_phase = Phase::asleep;
    }

    void resume(const JournalRecord& record) {
        if (m_phase != Phase::asleep && m_phase != Phase::unknown) {
            return; // the later lines of a resume already counted
        }
        m_pending = PendingWake{record.date, std::string(Ascii::trimmed(record.message)), m_sleepingCause, false};
        m_resumedAt = record.date;
        m_sleepingCause.clear();
        m_phase = Phase::resumed;
    }

    // A failed attempt leaves no sleep behind; the machine simply stayed up.
    void failed(Instant t) {
        const bool justResumed =
            m_phase == Phase::resumed && m_pending && secondsBetween(m_pending->date, t) <= kFailureGap;
        const bool attempt = m_sleepEvent < m_log.events.size() &&
                             secondsBetween(m_log.events[m_sleepEvent].date, t) <= kAbortedSleep;
        if ((m_phase != Phase::asleep && !justResumed) || !attempt) {
            return;
        }
        if (m_sleepEvent + 1 == m_log.events.size()) {
            m_log.events.pop_back();
            if (m_sleepDisplay && *m_sleepDisplay + 1 == m_log.display.size()) {
                m_log.display.pop_back();
            }
        }
        m_sleepEvent = SIZE_MAX;
        m_pending.reset();
        m_phase = Phase::awake;
    }

    void wakeSource(const JournalRecord& record, std::string cause) {
        if (m_phase == Phase::asleep) {
            if (rank(cause) > rank(m_sleepingCause)) {
                m_sleepingCause = std::move(cause);
            }
        } else if (m_pending && secondsBetween(m_pending->date, record.date) <= kCauseWindow &&
                   rank(cause) > rank(m_pending->cause)) {
            m_pending->cause = std::move(cause);
        }
    }

    // A lid opened or a key pressed: the cause of a fresh resume, or a person arriving during a dark
    // wake. Returns whether the record was used so.
    bool userSign(const JournalRecord& record, std::string_view cause) {
        if (!m_pending) {
            return false;
        }
        if (secondsBetween(m_pending->date, record.date) <= kCauseWindow) {
            // What logind saw the person do is more direct than the device the kernel names.
            if (!m_pending->seenByLogind) {
                m_pending->cause = std::string(cause);
                m_pending->seenByLogind = true;
            }
            return true;
        }
        // A power key pressed while up asks for sleep; only an opened lid shows a person arriving.
        if (isUserCause(m_pending->cause) || cause != "Lid Open") {
            return false;
        }
        emit(PowerEventKind::darkWake, false);
        m_log.events.push_back(
            event(record.date, PowerEventKind::darkToFull, record.message, std::string(cause)));
        display(record.date, true);
        m_phase = Phase::awake;
        return true;
    }

    void trigger(Instant t, SleepTrigger trigger) { m_trigger = Trigger{t, trigger}; }

    // Decides the pending resume, given when the machine next went to sleep (absent: it did not).
    // Returns whether it was a dark wake.
    bool settle(std::optional<Instant> nextSleep) {
        if (!m_pending) {
            return false;
        }
        const bool dark =
            nextSleep && PowerCause::isDarkWake(m_pending->cause, secondsBetween(m_pending->date, *nextSleep));
        emit(dark ? PowerEventKind::darkWake : PowerEventKind::wake, !dark);
        m_phase = Phase::awake;
        return dark;
    }

    void emit(PowerEventKind kind, bool screenOn) {
        m_log.events.push_back(event(m_pending->date, kind, m_pending->raw, std::move(m_pending->cause)));
        if (screenOn) {
            // The journal does not record the display: a wake for a person turns it on, as sleep turns it
            // off.
            display(m_pending->date, true);
        }
        m_pending.reset();
    }

    // Appends a change of the display unless it is already in that state; returns the index of the
    // change appended.
    std::optional<std::size_t> display(Instant t, bool on) {
        if (!m_log.display.empty() && m_log.display.back().on == on) {
            return std::nullopt;
        }
        m_log.display.push_back({t, on});
        return m_log.display.size() - 1;
    }

    PowerLog& m_log;
    Phase m_phase = Phase::unknown;
    std::optional<std::string> m_boot;
    std::optional<Instant> m_lastBoot;
    std::optional<Trigger> m_trigger;
    std::optional<Instant> m_request;
    std::optional<Instant> m_lowBattery;
    std::optional<Instant> m_resumedAt;
    std::optional<PendingWake> m_pending;
    std::string m_sleepingCause;
    std::size_t m_sleepEvent = SIZE_MAX;
    std::optional<std::size_t> m_sleepDisplay;
    bool m_sleepNamed = false;
    bool m_lidClosed = false;
};

} // namespace

PowerLog fromRecords(const JournalRecords& records) {
    PowerLog log;
    log.firstDate = records.firstDate;
    log.skippedLines = records.skippedLines;

    // Journal order is arrival order; kernel records read late can trail others by a moment.
    std::vector<const JournalRecord*> ordered;
    ordered.reserve(records.records.size());
    for (const auto& record : records.records) {
        ordered.push_back(&record);
    }
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const JournalRecord* a, const JournalRecord* b) { return a->date < b->date; });

    Mapper mapper(log);
    for (const auto* record : ordered) {
        mapper.add(*record);
    }
    mapper.finish();
    sortByDates(log);
    return log;
}

PowerLog parse(std::string_view text, Instant now, const Calendar& calendar) {
    return fromRecords(JournalReader::read(text, now, calendar));
}

} // namespace vitrek::JournalPowerLog
