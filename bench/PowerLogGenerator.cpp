#include "PowerLogGenerator.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace vitrek::PowerLogGenerator {

namespace {

// Wall-clock seconds since 1970-01-01 00:00 in the log's zone; the log never needs the instant itself.
using Wall = std::int64_t;

constexpr Wall kMinute = 60;
constexpr Wall kHour = 3'600;
constexpr Wall kDay = 86'400;
constexpr Wall kNever = std::numeric_limits<Wall>::max();

constexpr std::size_t kTypeWidth = 20;     // the record-type column, padded before its TAB
constexpr std::size_t kMessageWidth = 75;  // the message column of records that have further columns
constexpr std::size_t kDurationWidth = 10; // "3600 secs " and the blank duration column
constexpr std::string_view kEmptyColumn = "          ";

// splitmix64: a fixed sequence for a seed on every platform, which std distributions do not promise.
class Random {
public:
    explicit Random(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next() {
        std::uint64_t z = (m_state += 0x9e37'79b9'7f4a'7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58'476d'1ce4'e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d0'49bb'1331'11ebULL;
        return z ^ (z >> 31);
    }
    // low … high, both included.
    std::int64_t between(std::int64_t low, std::int64_t high) {
        return low + static_cast<std::int64_t>(next() % static_cast<std::uint64_t>(high - low + 1));
    }
    bool chance(int percent) { return between(0, 99) < percent; }
    // An index drawn with the given weights.
    template <std::size_t N> std::size_t weighted(const std::array<int, N>& weights) {
        int total = 0;
        for (const int weight : weights) {
            total += weight;
        }
        auto roll = static_cast<int>(between(0, total - 1));
        for (std::size_t i = 0; i < N; ++i) {
            if (roll < weights[i]) {
                return i;
            }
            roll -= weights[i];
        }
        return N - 1;
    }

private:
    std::uint64_t m_state;
};

// Days since 1970-01-01 of a Gregorian date and back (Howard Hinnant's civil-calendar algorithms).
std::int64_t daysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146'097 + dayOfEra - 719'468;
}

struct CivilDate {
    std::int64_t year = 1970;
    std::int64_t month = 1;
    std::int64_t day = 1;
};

CivilDate civilFromDays(std::int64_t days) {
    days += 719'468;
    const std::int64_t era = (days >= 0 ? days : days - 146'096) / 146'097;
    const std::int64_t dayOfEra = days - era * 146'097;
    const std::int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1'460 + dayOfEra / 36'524 - dayOfEra / 146'096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t shiftedMonth = (5 * dayOfYear + 2) / 153;
    const std::int64_t day = dayOfYear - (153 * shiftedMonth + 2) / 5 + 1;
    const std::int64_t month = shiftedMonth < 10 ? shiftedMonth + 3 : shiftedMonth - 9;
    return CivilDate{yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

// Appending by hand instead of through streams or printf keeps 100 MB of output to about a second.
void appendNumber(std::string& out, std::int64_t value) {
    std::array<char, 24> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    out.append(buffer.data(), result.ptr);
}

void appendTwoDigits(std::string& out, std::int64_t value) {
    if (value < 10) {
        out += '0';
    }
    appendNumber(out, value);
}

void appendHex(std::string& out, std::uint64_t value, bool upper = false) {
    std::array<char, 24> buffer{};
    const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, 16);
    for (const char* c = buffer.data(); c != result.ptr; ++c) {
        out += upper && *c >= 'a' ? static_cast<char>(*c - 'a' + 'A') : *c;
    }
}

// Blanks until the text written since `from` is `width` bytes wide.
void padFrom(std::string& out, std::size_t from, std::size_t width) {
    const std::size_t written = out.size() - from;
    if (written < width) {
        out.append(width - written, ' ');
    }
}

// "hh:mm:ss", as assertion records give how long they were held.
void appendHeld(std::string& out, Wall seconds) {
    seconds = std::max<Wall>(seconds, 0);
    appendTwoDigits(out, seconds / kHour);
    out += ':';
    appendTwoDigits(out, seconds / kMinute % 60);
    out += ':';
    appendTwoDigits(out, seconds % 60);
}

// The processes that hold assertions; their ids change at every start-up.
enum class Process {
    coreaudiod,
    hidd,
    powerd,
    mDNSResponder,
    windowServer,
    loginwindow,
    backupd,
    apsd,
    cloudd,
    sharingd,
    softwareupdated,
    nsurlsessiond,
    cloudphotosd,
    chromeHelper,
    caffeinate,
};
constexpr std::size_t kProcessCount = 15;
constexpr std::array<std::string_view, kProcessCount> kProcessNames{
    "coreaudiod",      "hidd",          "powerd",       "mDNSResponder",    "WindowServer",
    "loginwindow",     "backupd",       "apsd",         "cloudd",           "sharingd",
    "softwareupdated", "nsurlsessiond", "cloudphotosd", "Google Chrome He", "caffeinate"};

constexpr std::string_view kUserIdleSystem = "PreventUserIdleSystemSleep";
constexpr std::string_view kUserIdleDisplay = "PreventUserIdleDisplaySleep";
constexpr std::string_view kSystemSleep = "PreventSystemSleep";
constexpr std::string_view kNoIdle = "NoIdleSleepAssertion";
constexpr std::string_view kUserActive = "UserIsActive";
constexpr std::string_view kInternal = "InternalPreventSleep";
constexpr std::string_view kMaintenance = "MaintenanceWake";
constexpr std::string_view kNetwork = "NetworkClientActive";
constexpr std::string_view kBackground = "BackgroundTask";

constexpr std::string_view kKeyboardTickle = "com.apple.iohideventsystem.queue.tickle serviceID:1000004fb "
                                             "name:AppleUserHIDEventSe product:Apple Internal Keyboard / "
                                             "Trackpad eventType:17";
constexpr std::string_view kTrackpadTickle =
    "com.apple.iohideventsystem.queue.tickle serviceID:100000539 "
    "service:AppleMultitouchDevice product:Magic Trackpad eventType:3";

// The leading digits of an assertion id, which the power manager derives from the assertion's type.
std::uint64_t idClass(std::string_view type) {
    if (type == kUserIdleDisplay) {
        return 0x5;
    }
    if (type == kUserActive) {
        return 0x9;
    }
    if (type == kInternal || type == kMaintenance) {
        return 0xd;
    }
    if (type == kNetwork) {
        return 0x11;
    }
    if (type == kBackground) {
        return 0xb;
    }
    if (type == kNoIdle) {
        return 0x2;
    }
    if (type == kSystemSleep) {
        return 0x3;
    }
    return 0x1;
}

// An assertion created and not yet released.
struct Held {
    Process process = Process::powerd;
    std::int64_t pid = 0;
    std::string_view type;
    std::string name;
    Wall created = 0;
    Wall until = 0; // when it is released or times out
    std::uint64_t id = 0;
    std::string_view endVerb = "Released";
};

// Why the machine woke in the dark, what it said when it went back to sleep, and which wake request
// (an index into kRequests) scheduled it.
struct DarkCause {
    std::string_view cause;
    std::string_view backToSleep;
    std::size_t request = 0;
};
constexpr std::array<DarkCause, 8> kDarkCauses{{
    {"RTC/Maintenance", "Maintenance Sleep", 0},
    {"EC.RTC/Maintenance", "Maintenance Sleep", 0},
    {"NUB.SPMISw3IRQ/ rtc/SleepService", "Sleep Service Back to Sleep", 1},
    {"RTC/SleepService", "Sleep Service Back to Sleep", 1},
    {"ARPT/ wifibt", "Maintenance Sleep", 5},
    {"NUB.SPMISw3IRQ/ Notification", "Notification Wake Back to Sleep", 2},
    {"SMC.OutboxNotEmpty smc.70070000 wifibt SMC.OutboxNotEmpty/", "Maintenance Sleep", 5},
    {"XHC1/ usb", "Maintenance Sleep", 3},
}};
constexpr std::array<int, 8> kDarkCauseWeights{22, 12, 25, 8, 14, 8, 6, 5};

// "process=… request=…" of the wake requests the power manager lists before each sleep; the info of
// the calendar entry holds a "]" inside its quotes, as event titles sometimes do.
struct Request {
    std::string_view process;
    std::string_view request;
    std::string_view info; // empty: the entry has no info field
};
constexpr std::array<Request, 7> kRequests{{
    {"mDNSResponder", "Maintenance", "DHCP lease renewal"},
    {"dasd", "SleepService", "com.apple.dasd:0:com.apple.apsd.apprefresh"},
    {"dasd", "TimerPlugin", "com.apple.dasd:501:com.apple.suggestions.harvest"},
    {"powerd", "CSPNEvaluation", ""},
    {"powerd", "UserWake",
     "com.apple.alarm.user-invisible-com.apple.calaccessd.travelEngine.periodicRefreshTimer,372"},
    {"apsd", "Maintenance", "com.apple.apsd.keepalive"},
    {"com.apple.CalendarAgent", "TimerPlugin", "Alarm [Dentist] 09:00"},
}};

// One wake inside a stretch of sleep: in the dark, and sometimes continuing into a full wake.
struct PlannedWake {
    Wall at = 0;
    std::size_t cause = 0; // into kDarkCauses
    Wall darkLength = 0;   // seconds in the dark before sleeping again or waking fully
    Wall fullLength = 0;   // seconds fully awake afterwards; 0 when it stays dark
};

// A pause in the day: the display goes off, the machine sleeps and the user wakes it; or a restart.
struct Break {
    Wall displayOff = 0;
    Wall sleep = 0; // the shutdown of a restart
    Wall wake = 0;  // the start-up of a restart
    bool restart = false;
};

struct DayPlan {
    Wall wake = 0; // the morning
    std::vector<Break> breaks;
    Wall eveningOff = 0;
    Wall eveningSleep = 0;

    Wall firstStop() const { return breaks.empty() ? eveningSleep : breaks.front().sleep; }
};

class Simulator {
public:
    Simulator(const PowerLogShape& shape, std::string& out)
        : m_shape(shape), m_out(out), m_random(shape.seed),
          m_firstDay(daysFromCivil(shape.year, shape.month, shape.day)) {
        if (m_shape.zone.size() != 5) {
            m_shape.zone = "+0000";
        }
    }

    // Writes whole days until the shape is satisfied; returns the number of nights written.
    int run() {
        header(std::nullopt);
        DayPlan today = planDay(0);
        m_now = today.wake;
        boot(today.wake);
        int nights = 0;
        while (true) {
            const DayPlan tomorrow = planDay(nights + 1);
            liveDay(today, tomorrow.wake);
            ++nights;
            if (finished(nights)) {
                // The log ends on the last morning, awake, so its final wake gives no duration.
                morningWake(tomorrow.wake, std::nullopt);
                awake(tomorrow.wake + m_random.between(20, 50) * kMinute);
                return nights;
            }
            morningWake(tomorrow.wake, tomorrow.firstStop());
            today = tomorrow;
        }
    }

    std::string dateText(Wall t) const {
        std::string text;
        appendDate(text, t);
        return text;
    }

private:
    bool finished(int nights) const {
        if (m_shape.targetBytes > 0) {
            return m_out.size() >= m_shape.targetBytes;
        }
        return nights >= std::max(m_shape.days, 1);
    }

    DayPlan planDay(int index) {
        const Wall base = (m_firstDay + index) * kDay;
        DayPlan plan;
        plan.wake = base + m_random.between(6 * kHour + 40 * kMinute, 8 * kHour + 30 * kMinute);
        plan.eveningSleep = base + m_random.between(22 * kHour + 15 * kMinute, 25 * kHour + 15 * kMinute);
        plan.eveningOff = plan.eveningSleep - m_random.between(1, 8) * kMinute;
        Wall cursor = plan.wake + kHour;
        const auto pauses = m_random.between(0, 3);
        for (std::int64_t i = 0; i < pauses; ++i) {
            Break pause;
            pause.displayOff = cursor + m_random.between(0, 5 * kHour);
            pause.sleep = pause.displayOff + m_random.between(4, 12) * kMinute;
            pause.wake = pause.sleep + m_random.between(12, 130) * kMinute;
            if (pause.wake + kHour > plan.eveningOff) {
                break;
            }
            plan.breaks.push_back(pause);
            cursor = pause.wake + kHour;
        }
        // Every ninth day or so the machine restarts for an update.
        if (index % 9 == 5) {
            Break restart;
            restart.restart = true;
            restart.displayOff = cursor + m_random.between(10, 60) * kMinute;
            restart.sleep = restart.displayOff;
            restart.wake = restart.sleep + m_random.between(60, 150);
            if (restart.wake + kHour < plan.eveningOff) {
                plan.breaks.push_back(restart);
            }
        }
        return plan;
    }

    // From the wake that began the day to the last sleep record before the next morning's wake.
    void liveDay(const DayPlan& day, Wall nextMorning) {
        for (std::size_t i = 0; i < day.breaks.size(); ++i) {
            const Break& pause = day.breaks[i];
            const Wall nextStop = i + 1 < day.breaks.size() ? day.breaks[i + 1].sleep : day.eveningSleep;
            awake(pause.displayOff);
            if (pause.restart) {
                releaseAll(pause.sleep);
                boot(pause.wake);
                continue;
            }
            display(pause.displayOff, false);
            awake(pause.sleep);
            sleepStretch(pause.sleep, "Idle Sleep", pause.wake, false);
            dayWake(pause.wake, nextStop);
        }
        awake(day.eveningOff);
        display(day.eveningOff, false);
        inactivityWindow(day.eveningOff, nextMorning);
        if (!m_onAC && (m_charge < 45 || m_random.chance(35))) {
            m_onAC = true; // plugged in for the night
        }
        awake(day.eveningSleep);
        const std::array<int, 3> causeWeights{45, 35, 20};
        switch (m_random.weighted(causeWeights)) {
        case 0:
            sleepStretch(day.eveningSleep, "Clamshell Sleep", nextMorning, true);
            break;
        case 1:
            sleepStretch(day.eveningSleep, "Idle Sleep", nextMorning, true);
            break;
        default: {
            std::string cause = "Software Sleep pid=";
            appendNumber(cause, pid(Process::loginwindow));
            sleepStretch(day.eveningSleep, cause, nextMorning, true);
        }
        }
    }

    // The plan of the dark wakes between falling asleep at `from` and the user's wake at `until`.
    std::vector<PlannedWake> planWakes(Wall from, Wall until, bool night) {
        std::vector<PlannedWake> wakes;
        Wall t = from;
        while (true) {
            PlannedWake wake;
            wake.at = t + (m_onAC ? m_random.between(4, 20) : m_random.between(10, 40)) * kMinute;
            wake.cause = m_random.weighted(kDarkCauseWeights);
            wake.darkLength = m_random.chance(15) ? 0 : m_random.between(8, 75);
            // Now and then someone checks the machine in the middle of the night.
            if (night && m_random.chance(3)) {
                wake.darkLength = m_random.between(3, 15);
                wake.fullLength = m_random.between(4, 25) * kMinute;
            }
            const Wall back = wake.at + wake.darkLength + wake.fullLength;
            if (back + 10 * kMinute > until) {
                return wakes;
            }
            wakes.push_back(wake);
            t = back;
        }
    }

    // Sleep at `from` until the user wakes the machine at `until`, with the dark wakes in between.
    void sleepStretch(Wall from, std::string_view cause, Wall until, bool night) {
        const auto wakes = planWakes(from, until, night);
        Wall asleepAt = from;
        // A lid closed while a backup still runs first enters the dark, then sleeps properly.
        if (night && cause == "Clamshell Sleep" && m_random.chance(10)) {
            const Wall dark = m_random.between(40, 120);
            sleepRecord(from, cause, from + dark, true, std::nullopt);
            darkAssertions(from, from + dark);
            asleepAt = from + dark;
            cause = "Sleep Service Back to Sleep";
        }
        for (const PlannedWake& wake : wakes) {
            sleepRecord(asleepAt, cause, wake.at, false, wake.cause);
            darkWake(wake);
            if (wake.fullLength > 0) {
                const Wall full = wake.at + wake.darkLength;
                const Wall back = full + wake.fullLength;
                wakeRecord(full, "Wake", "DarkWake to FullWake from Deep Idle [CDNVA] : due to HID Activity",
                           back - full);
                display(full, true);
                awake(back - 2 * kMinute);
                display(back - 2 * kMinute, false);
                awake(back);
                asleepAt = back;
                cause = "Idle Sleep";
            } else {
                asleepAt = wake.at + wake.darkLength;
                cause = kDarkCauses[wake.cause].backToSleep;
            }
        }
        sleepRecord(asleepAt, cause, until, false, std::nullopt);
    }

    void darkWake(const PlannedWake& wake) {
        advance(wake.at);
        m_state = State::dark;
        std::string& out = record(wake.at, "DarkWake");
        out += "DarkWake from ";
        out += wake.at - m_asleepSince > 3 * kHour ? "Deep Idle" : "Normal Sleep";
        out += " [CDN] : due to ";
        out += kDarkCauses[wake.cause].cause;
        out += ' ';
        powerText(true);
        durationColumn(wake.darkLength);
        endLine();
        darkAssertions(wake.at, wake.at + wake.darkLength);
    }

    // What background work records while the machine is up in the dark.
    void darkAssertions(Wall from, Wall to) {
        if (to - from < 3) {
            return;
        }
        // Everything starts in the first two seconds and ends later, so the records stay in date order.
        hold(from, Process::powerd, kInternal, "PM configd - Wait for Device enumeration", from + 2,
             "Released");
        hold(from + 1, Process::mDNSResponder, kMaintenance, "mDNSResponder:maintenance", to - 1, "Released");
        if (m_random.chance(60)) {
            hold(from + 1, Process::apsd, kUserIdleSystem, "com.apple.apsd-keepalive-push.apple.com",
                 std::min(to - 1, from + 1 + m_random.between(1, 6)), "Released");
        }
        if (m_random.chance(30)) {
            hold(from + 1, Process::cloudd, kNoIdle, "com.apple.cloudkit.sync", to - 1, "Released");
        }
        if (m_onAC && m_random.chance(20)) {
            hold(from + 1, Process::backupd, kUserIdleSystem, "Backup to \"TM Disk\"", to - 1, "Released");
        }
        if (to - from >= 16) {
            hold(from + 1, Process::powerd, kInternal, "com.apple.powermanagement.darkwakelinger", from + 16,
                 "TimedOut");
        }
        if (m_random.chance(25)) {
            systemSummary(from + 1);
        }
        releaseDue(to);
    }

    void sleepRecord(Wall at, std::string_view cause, Wall nextWake, bool intoDark,
                     std::optional<std::size_t> nextCause) {
        releaseAll(at);
        advance(at);
        if (m_screenOn) {
            display(at, false);
        }
        m_state = intoDark ? State::dark : State::asleep;
        m_asleepSince = at;
        std::string& out = record(at, "Sleep");
        out += intoDark ? "Entering DarkWake state due to '" : "Entering Sleep state due to '";
        out += cause;
        out += m_random.chance(85) ? "':TCPKeepAlive=active " : "': ";
        powerText(false);
        durationColumn(nextWake - at);
        endLine();
        if (intoDark) {
            return;
        }
        wakeRequests(at + m_random.between(1, 2), nextWake, nextCause);
        if (m_random.chance(40)) {
            std::string& acks = record(at + 2, "PM Client Acks");
            acks += "Delays to Sleep notifications: [com.apple.apsd is slow(";
            appendNumber(acks, m_random.between(1'000, 2'500));
            acks += " ms)]";
            if (m_random.chance(30)) {
                acks += " [com.apple.bluetooth.sleep is slow(";
                appendNumber(acks, m_random.between(1'000, 2'000));
                acks += " ms)]";
            }
            acks += ' ';
            acks += kEmptyColumn;
            endLine();
        }
        if (m_random.chance(5)) {
            std::string& stats = record(at + 2, "HibernateStats");
            stats += "hibmode=3 standbydelaylow=10800 standbydelayhigh=86400";
            padMessage();
            stats += kEmptyColumn;
            stats += '\t';
            const std::size_t delayStart = stats.size();
            appendNumber(stats, m_random.between(100, 400));
            padFrom(stats, delayStart, kDurationWidth);
            endLine();
        }
    }

    // The requests the power manager will wake for; the chosen one ("*") is the next dark wake.
    void wakeRequests(Wall at, Wall nextWake, std::optional<std::size_t> nextCause) {
        // The calendar alarm (the last request) is rare; the others are drawn from every time.
        std::array<std::size_t, kRequests.size() - 1> pool{};
        for (std::size_t i = 0; i < pool.size(); ++i) {
            pool[i] = i;
        }
        const std::size_t chosenRequest =
            nextCause ? kDarkCauses[*nextCause].request : static_cast<std::size_t>(m_random.between(0, 4));
        const Wall chosenAt = nextCause ? nextWake : nextWake + m_random.between(5, 120) * kMinute;
        std::swap(pool[0], pool[chosenRequest]);
        const auto drawn = m_random.between(2, 5);
        for (std::int64_t i = 1; i < drawn; ++i) {
            const auto other = m_random.between(i, static_cast<std::int64_t>(pool.size()) - 1);
            std::swap(pool[static_cast<std::size_t>(i)], pool[static_cast<std::size_t>(other)]);
        }
        // The chosen entry stands anywhere in the list, as in real records.
        std::swap(pool[0], pool[static_cast<std::size_t>(m_random.between(0, drawn - 1))]);
        std::vector<std::size_t> order(pool.begin(), pool.begin() + drawn);
        if (m_random.chance(3)) {
            order.push_back(kRequests.size() - 1);
        }

        std::string& out = record(at, "Wake Requests");
        for (std::size_t i = 0; i < order.size(); ++i) {
            const Request& entry = kRequests[order[i]];
            const bool chosen = order[i] == chosenRequest;
            const Wall wakeAt = chosen ? chosenAt : chosenAt + m_random.between(3, 600) * kMinute;
            if (i > 0) {
                out += ' ';
            }
            out += chosen ? "[*process=" : "[process=";
            out += entry.process;
            out += " request=";
            out += entry.request;
            out += " deltaSecs=";
            appendNumber(out, wakeAt - at);
            out += " wakeAt=";
            appendDate(out, wakeAt);
            if (!entry.info.empty()) {
                out += " info=\"";
                out += entry.info;
                out += '"';
            }
            out += ']';
        }
        out += ' ';
        out += kEmptyColumn;
        endLine();
    }

    void morningWake(Wall at, std::optional<Wall> nextStop) {
        const std::array<int, 4> weights{55, 20, 15, 10};
        const std::optional<Wall> awakeFor = nextStop ? std::optional<Wall>{*nextStop - at} : std::nullopt;
        if (m_onAC && m_charge > 80 && m_random.chance(60)) {
            m_onAC = false; // unplugged and carried off
        }
        switch (m_random.weighted(weights)) {
        case 0:
            wakeRecord(at, "Wake", "Wake from Deep Idle [CDNVA] : due to EC.LidOpen/Lid Open", awakeFor);
            break;
        case 1: {
            const Wall dark = m_random.between(2, 6);
            advance(at);
            m_state = State::dark;
            std::string& out = record(at, "DarkWake");
            out += "DarkWake from Deep Idle [CDN] : due to NUB.SPMISw3IRQ/ Notification ";
            powerText(true);
            durationColumn(dark);
            endLine();
            wakeRecord(at + dark, "Wake", "DarkWake to FullWake from Deep Idle [CDNVA] : due to HID Activity",
                       awakeFor ? std::optional<Wall>{*awakeFor - dark} : std::nullopt);
            at += dark;
            break;
        }
        case 2:
            wakeRecord(at, "Wake", "Wake from Normal Sleep [CDNVA] : due to PWRB/User", awakeFor);
            break;
        default:
            wakeRecord(at, "Wake", "Wake from Deep Idle [CDNVA] : due to UserActivity Assertion", awakeFor);
        }
        afterFullWake(at);
    }

    void dayWake(Wall at, Wall nextStop) {
        const std::array<int, 4> weights{40, 30, 10, 20};
        switch (m_random.weighted(weights)) {
        case 0:
            wakeRecord(at, "Wake", "Wake from Normal Sleep [CDNVA] : due to HID Activity", nextStop - at);
            break;
        case 1:
            wakeRecord(at, "Wake", "Wake from Normal Sleep [CDNVA] : due to EC.LidOpen/Lid Open",
                       nextStop - at);
            break;
        case 2:
            wakeRecord(at, "Wake", "Wake from Normal Sleep [CDNVA] : due to UserActivity Assertion",
                       nextStop - at);
            break;
        default: {
            advance(at);
            m_state = State::dark;
            std::string& out = record(at, "DarkWake");
            out += "DarkWake from Normal Sleep [CDN] : due to /HID Activity ";
            powerText(true);
            durationColumn(2);
            endLine();
            at += 2;
            wakeRecord(at, "Wake", "DarkWake to FullWake from Normal Sleep [CDNVA] : due to HID Activity",
                       nextStop - at);
        }
        }
        afterFullWake(at);
    }

    void wakeRecord(Wall at, std::string_view type, std::string_view message, std::optional<Wall> awakeFor) {
        advance(at);
        m_state = State::awake;
        std::string& out = record(at, type);
        out += message;
        out += ' ';
        powerText(true);
        durationColumn(awakeFor);
        endLine();
    }

    void afterFullWake(Wall at) {
        if (m_random.chance(15)) {
            std::string& out = record(at, "Kernel Client Acks");
            out += "Delays to Wake notifications: [AppleIntelFramebuffer driver is slow(msg: SetState to 1)(";
            appendNumber(out, m_random.between(400, 1'600));
            out += " ms)] ";
            out += kEmptyColumn;
            endLine();
        }
        display(at, true);
        if (m_random.chance(50)) {
            kernelPreventers(at);
        }
        hold(at, Process::hidd, kUserActive, std::string{kKeyboardTickle}, at + 10 * kMinute, "TimedOut");
    }

    void boot(Wall at) {
        advance(at);
        m_held.clear();
        m_screenOn = false;
        m_bootedAt = at;
        std::int64_t nextPid = m_random.between(50, 90);
        for (auto& processId : m_pids) {
            processId = nextPid;
            nextPid += m_random.between(1, 40);
        }
        header(at);
        m_state = State::awake;
        std::string& out = record(at, "Start");
        out += "powerd process is started";
        padMessage();
        out += kEmptyColumn;
        endLine();
        systemSummary(at);
        display(at, true);
        kernelPreventers(at + m_random.between(2, 8));
    }

    // The column heading that opens the log and every start-up section.
    void header(std::optional<Wall> bootedAt) {
        if (bootedAt) {
            m_out += "Sleep/Wakes since boot at ";
            appendDate(m_out, *bootedAt);
            m_out += ' ';
            m_out += m_shape.zone;
            m_out += " :0   Dark Wake Count in this sleep cycle:0\n\n";
        }
        std::size_t start = m_out.size();
        m_out += "Time stamp                Domain              \tMessage";
        padFrom(m_out, start + 47, kMessageWidth);
        m_out += "\tDuration  \tDelay     \n";
        start = m_out.size();
        m_out += "==========                ======              \t=======";
        padFrom(m_out, start + 47, kMessageWidth);
        m_out += "\t========  \t=====     \nUUID: ";
        if (bootedAt) {
            m_out += "(null)\n";
            return;
        }
        for (const int width : {8, 4, 4, 4, 12}) {
            if (width != 8) {
                m_out += '-';
            }
            for (int i = 0; i < width; ++i) {
                appendHex(m_out, static_cast<std::uint64_t>(m_random.between(0, 15)), true);
            }
        }
        m_out += '\n';
    }

    // Assertion records between now and `to`, with the machine up: dense with the screen on, sparse
    // with it off. The screen also dims now and then while the user reads.
    void awake(Wall to) {
        if (!m_onAC && m_charge < 20) {
            m_onAC = true;
        } else if (m_onAC && m_charge >= 98 && m_random.chance(30)) {
            m_onAC = false;
        }
        Wall next = m_now + gap();
        Wall dimmedUntil = kNever;
        while (true) {
            const Wall due = earliestRelease();
            const Wall at = std::min({next, due, dimmedUntil});
            if (at >= to) {
                break;
            }
            if (at == dimmedUntil) {
                advance(at);
                display(at, true);
                dimmedUntil = kNever;
            } else if (due <= next) {
                releaseDue(due);
            } else {
                advance(at);
                if (m_screenOn && dimmedUntil == kNever && m_random.chance(4)) {
                    display(at, false);
                    dimmedUntil = at + m_random.between(20, 240);
                } else {
                    burst(at);
                }
                next = at + gap();
            }
        }
        // A screen still dimmed at `to` stays off: what follows turns it off or wakes it anyway.
        advance(to);
    }

    // Seconds to the next burst of assertion records: about three minutes on average with the screen on,
    // eight with it off.
    Wall gap() { return m_screenOn ? m_random.between(10, 350) : m_random.between(60, 900); }

    void burst(Wall at) {
        const std::array<int, 16> screenOn{14, 9, 4, 6, 4, 4, 2, 4, 1, 8, 2, 3, 5, 4, 2, 3};
        const std::array<int, 16> screenOff{2, 2, 2, 6, 4, 0, 1, 4, 0, 0, 1, 3, 5, 4, 2, 0};
        switch (m_random.weighted(m_screenOn ? screenOn : screenOff)) {
        case 0: {
            const auto held = std::find_if(m_held.begin(), m_held.end(),
                                           [](const Held& h) { return h.process == Process::hidd; });
            if (held == m_held.end()) {
                hold(at, Process::hidd, kUserActive, std::string{kKeyboardTickle}, at + 10 * kMinute,
                     "TimedOut");
            } else {
                assertionRecord(at, *held, "Summary");
            }
            break;
        }
        case 1: {
            if (count(Process::coreaudiod) >= 6) {
                systemSummary(at);
                break;
            }
            const auto context = m_random.between(60, 260);
            const Wall until =
                at + (m_random.chance(70) ? m_random.between(20, 600) : m_random.between(600, 2'700));
            std::string name = "com.apple.audio.context";
            appendNumber(name, context);
            hold(at, Process::coreaudiod, kUserIdleSystem, name + ".preventuseridlesleep", until, "Released");
            hold(at, Process::coreaudiod, kUserIdleDisplay, name + ".preventuseridledisplaysleep", until,
                 "Released");
            break;
        }
        case 2: {
            std::string& out = record(at, "Assertions");
            out += "PID ";
            appendNumber(out, pid(Process::powerd));
            out += "(powerd) Summary ExternalMedia \"com.apple.powermanagement.externalmediamounted\" ";
            appendHeld(out, at - m_bootedAt);
            assertionTail(static_cast<std::uint64_t>(m_random.between(0x8000, 0x8fff)), 0x8);
            break;
        }
        case 3:
            systemSummary(at);
            break;
        case 4:
            hold(at, Process::powerd, kInternal, "com.apple.powermanagement.wakeschedule", at, "Released");
            releaseDue(at);
            break;
        case 5:
            if (count(Process::chromeHelper) == 0) {
                // Separate statements: the order in which arguments are evaluated differs between compilers.
                const Wall until = at + m_random.between(1, 50) * kMinute;
                hold(at, Process::chromeHelper, kUserIdleDisplay, "Video Wake Lock", until,
                     m_random.chance(15) ? "ClientDied" : "Released");
            }
            break;
        case 6:
            if (count(Process::backupd) == 0) {
                hold(at, Process::backupd, kUserIdleSystem, "Backup to \"TM Disk\"",
                     at + m_random.between(2, 25) * kMinute, "Released");
            }
            break;
        case 7: {
            const std::array<int, 3> which{5, 3, 2};
            switch (m_random.weighted(which)) {
            case 0:
                hold(at, Process::cloudd, kNoIdle, "com.apple.cloudkit.sync", at + m_random.between(5, 480),
                     "Released");
                break;
            case 1:
                hold(at, Process::sharingd, kNoIdle, "com.apple.sharingd.AirDrop",
                     at + m_random.between(5, 300), "Released");
                break;
            default:
                hold(at, Process::softwareupdated, kNoIdle, "Software Update Check",
                     at + m_random.between(30, 480), "Released");
            }
            break;
        }
        case 8:
            if (count(Process::caffeinate) == 0) {
                hold(at, Process::caffeinate, kSystemSleep, "caffeinate command-line tool",
                     at + m_random.between(5, 60) * kMinute, "Released");
            }
            break;
        case 9:
            hold(at, Process::windowServer, kUserActive, std::string{kTrackpadTickle}, at, "Released");
            releaseDue(at);
            break;
        case 10:
            kernelPreventers(at);
            break;
        case 11:
            hold(at, Process::mDNSResponder, kMaintenance, "mDNSResponder:maintenance", at, "Released");
            releaseDue(at);
            break;
        case 12:
            hold(at, Process::apsd, kUserIdleSystem, "com.apple.apsd-keepalive-push.apple.com",
                 at + m_random.between(1, 6), "Released");
            break;
        case 13:
            hold(at, Process::nsurlsessiond, kNetwork, "com.apple.nsurlsessiond.background-download",
                 at + m_random.between(2, 240), "Released");
            break;
        case 14:
            hold(at, Process::cloudphotosd, kBackground, "com.apple.cloudphotosd.darkwake.sync",
                 at + m_random.between(10, 300), "Released");
            break;
        default:
            hold(at, Process::loginwindow, kUserActive, "Loginwindow User Activity", at, "Released");
            releaseDue(at);
        }
    }

    std::size_t count(Process process) const {
        return static_cast<std::size_t>(
            std::count_if(m_held.begin(), m_held.end(), [&](const Held& h) { return h.process == process; }));
    }

    std::int64_t pid(Process process) {
        if (process == Process::caffeinate || process == Process::chromeHelper) {
            return m_random.between(2'000, 60'000); // short-lived: a new process every time
        }
        return m_pids[static_cast<std::size_t>(process)];
    }

    // Creates an assertion, writes its "Created" record and remembers when it ends.
    void hold(Wall at, Process process, std::string_view type, std::string name, Wall until,
              std::string_view endVerb) {
        m_held.push_back(Held{process, pid(process), type, std::move(name), at, until, m_nextId++, endVerb});
        assertionRecord(at, m_held.back(), "Created");
    }

    Wall earliestRelease() const {
        Wall earliest = kNever;
        for (const Held& held : m_held) {
            earliest = std::min(earliest, held.until);
        }
        return earliest;
    }

    // Writes the end of every assertion due at or before `at`, in order of their ends.
    void releaseDue(Wall at) {
        while (!m_held.empty()) {
            const auto next = std::min_element(
                m_held.begin(), m_held.end(), [](const Held& a, const Held& b) { return a.until < b.until; });
            if (next->until > at) {
                return;
            }
            const Held held = *next;
            m_held.erase(next);
            assertionRecord(std::max(held.until, m_now), held, held.endVerb);
        }
    }

    // Everything still held ends when the machine sleeps or shuts down.
    void releaseAll(Wall at) {
        releaseDue(at);
        while (!m_held.empty()) {
            Held held = m_held.front();
            m_held.erase(m_held.begin());
            held.until = at;
            assertionRecord(at, held, held.endVerb == "TimedOut" ? "Released" : held.endVerb);
        }
    }

    void assertionRecord(Wall at, const Held& held, std::string_view verb) {
        std::string& out = record(at, "Assertions");
        out += "PID ";
        appendNumber(out, held.pid);
        out += '(';
        out += kProcessNames[static_cast<std::size_t>(held.process)];
        out += ") ";
        out += verb;
        out += ' ';
        out += held.type;
        out += " \"";
        out += held.name;
        out += "\" ";
        appendHeld(out, verb == "Created" ? 0 : at - held.created);
        assertionTail(held.id, idClass(held.type));
    }

    // "  id:0x0x…  [System: …]" and the padding that close every assertion record.
    void assertionTail(std::uint64_t id, std::uint64_t idClassDigits) {
        m_out += "  id:0x0x";
        appendHex(m_out, idClassDigits);
        m_out += "0000";
        appendHex(m_out, id);
        m_out += ' ';
        systemFlags();
        m_out += kEmptyColumn;
        endLine();
    }

    void systemFlags() {
        bool prevIdle = false;
        bool prevDisplay = false;
        bool background = false;
        bool internal = false;
        bool network = false;
        for (const Held& held : m_held) {
            prevIdle =
                prevIdle || held.type == kUserIdleSystem || held.type == kNoIdle || held.type == kSystemSleep;
            prevDisplay = prevDisplay || held.type == kUserIdleDisplay;
            background = background || held.type == kBackground;
            internal = internal || held.type == kInternal || held.type == kMaintenance;
            network = network || held.type == kNetwork;
        }
        const bool user = m_state == State::awake;
        if (!(prevIdle || prevDisplay || background || internal || network || user)) {
            m_out += "[System: No Assertions]";
            return;
        }
        m_out += "[System:";
        m_out += prevIdle ? " PrevIdle" : "";
        m_out += prevDisplay ? " PrevDisp" : "";
        m_out += user ? " DeclUser" : "";
        m_out += background ? " BGTask" : "";
        m_out += internal ? " SRPrevSleep" : "";
        m_out += network ? " NetAcc" : "";
        m_out += internal || network ? " kCPU" : "";
        m_out += user ? " kDisp]" : "]";
    }

    void systemSummary(Wall at) {
        std::string& out = record(at, "Assertions");
        out += "Summary- ";
        systemFlags();
        out += m_onAC ? " Using AC" : " Using Batt";
        out += kEmptyColumn;
        endLine();
    }

    void kernelPreventers(Wall at) {
        std::string& out = record(at, "Assertions");
        out += m_screenOn ? "Kernel Idle sleep preventers: IODisplayWrangler"
                          : "Kernel Idle sleep preventers: -None-";
        out += kEmptyColumn;
        endLine();
    }

    void display(Wall at, bool on) {
        if (on == m_screenOn) {
            return;
        }
        m_screenOn = on;
        std::string& out = record(at, "Notification");
        out += on ? "Display is turned on" : "Display is turned off";
        padMessage();
        out += kEmptyColumn;
        endLine();
    }

    void inactivityWindow(Wall at, Wall nextMorning) {
        for (const std::string_view which : {"immediate", "largest"}) {
            std::string& out = record(at, "Notification");
            out += "Next ";
            out += which;
            out += " inactivity window start:'";
            appendDate(out, at + 20 * kMinute);
            out += ' ';
            out += m_shape.zone;
            out += "' end:'";
            appendDate(out, nextMorning - 30 * kMinute);
            out += ' ';
            out += m_shape.zone;
            out += '\'';
            endLine();
        }
    }

    // The battery drains on battery (fast with the screen on, slowly asleep) and charges on mains.
    void advance(Wall to) {
        const double hours = static_cast<double>(std::max<Wall>(to - m_now, 0)) / kHour;
        double rate = 0; // percent per hour
        if (m_onAC) {
            rate = 35;
        } else if (m_state == State::asleep) {
            rate = -0.7;
        } else if (m_state == State::dark) {
            rate = -4;
        } else {
            rate = m_screenOn ? -9 : -5;
        }
        m_charge = std::clamp(m_charge + rate * hours, 1.0, 100.0);
        m_now = std::max(m_now, to);
        if (!m_onAC && m_charge < 15 && m_state == State::awake) {
            m_onAC = true; // the user reaches for the charger
        }
    }

    // "Using BATT (Charge:62%)": wakes write the source in capitals, sleeps do not.
    void powerText(bool capitals) {
        m_out += m_onAC ? "Using AC (Charge:" : capitals ? "Using BATT (Charge:" : "Using Batt (Charge:";
        appendNumber(m_out, static_cast<std::int64_t>(m_charge));
        m_out += "%)";
    }

    // " 3600 secs ", or blanks when the record's duration is unknown.
    void durationColumn(std::optional<Wall> seconds) {
        m_out += ' ';
        const std::size_t start = m_out.size();
        if (seconds) {
            appendNumber(m_out, *seconds);
            m_out += " secs";
        }
        padFrom(m_out, start, kDurationWidth);
    }

    // Starts a record: date, zone, and the type padded to its column and closed by a TAB.
    std::string& record(Wall at, std::string_view type) {
        appendDate(m_out, at);
        m_out += ' ';
        m_out += m_shape.zone;
        m_out += ' ';
        const std::size_t typeStart = m_out.size();
        m_out += type;
        padFrom(m_out, typeStart, kTypeWidth);
        m_out += '\t';
        m_messageStart = m_out.size();
        return m_out;
    }

    // Pads the message to its column and opens the next one.
    void padMessage() {
        padFrom(m_out, m_messageStart, kMessageWidth);
        m_out += '\t';
    }

    void endLine() { m_out += '\n'; }

    // "2024-03-04 23:30:00"; the day part is cached since most lines share it.
    void appendDate(std::string& out, Wall at) const {
        const Wall day = at >= 0 ? at / kDay : (at - kDay + 1) / kDay;
        if (day != m_cachedDay) {
            const CivilDate date = civilFromDays(day);
            m_cachedDayText.clear();
            appendNumber(m_cachedDayText, date.year);
            m_cachedDayText += '-';
            appendTwoDigits(m_cachedDayText, date.month);
            m_cachedDayText += '-';
            appendTwoDigits(m_cachedDayText, date.day);
            m_cachedDayText += ' ';
            m_cachedDay = day;
        }
        out += m_cachedDayText;
        const Wall second = at - day * kDay;
        appendTwoDigits(out, second / kHour);
        out += ':';
        appendTwoDigits(out, second / kMinute % 60);
        out += ':';
        appendTwoDigits(out, second % 60);
    }

    enum class State { asleep, dark, awake };

    PowerLogShape m_shape;
    std::string& m_out;
    Random m_random;
    std::int64_t m_firstDay = 0;
    std::size_t m_messageStart = 0;
    mutable std::int64_t m_cachedDay = -1'000'000;
    mutable std::string m_cachedDayText;

    Wall m_now = 0;
    Wall m_bootedAt = 0;
    Wall m_asleepSince = 0;
    State m_state = State::awake;
    bool m_screenOn = false;
    bool m_onAC = false;
    double m_charge = 92;
    std::array<std::int64_t, kProcessCount> m_pids{};
    std::vector<Held> m_held;
    std::uint64_t m_nextId = 0x8000;
};

} // namespace

GeneratedPowerLog generate(const PowerLogShape& shape) {
    GeneratedPowerLog log;
    // Most of a day's bytes are assertion records; reserving avoids copying 100 MB while it grows.
    log.text.reserve(shape.targetBytes > 0 ? shape.targetBytes + (1u << 20)
                                           : static_cast<std::size_t>(std::max(shape.days, 1) + 1) * 200'000);
    Simulator simulator{shape, log.text};
    log.days = simulator.run();

    const std::int64_t firstDay = daysFromCivil(shape.year, shape.month, shape.day);
    log.firstDate = simulator.dateText(firstDay * kDay).substr(0, 10);
    log.lastDate = simulator.dateText((firstDay + log.days) * kDay).substr(0, 10);
    const std::string zone = shape.zone.size() == 5 ? shape.zone : "+0000";
    log.suggestedNow = log.lastDate + "T12:00:00" + zone.substr(0, 3) + ":" + zone.substr(3, 2);
    return log;
}

GeneratedPowerLog ofDays(int days, std::uint64_t seed) {
    PowerLogShape shape;
    shape.days = days;
    shape.seed = seed;
    return generate(shape);
}

GeneratedPowerLog ofBytes(std::size_t bytes, std::uint64_t seed) {
    PowerLogShape shape;
    shape.targetBytes = bytes;
    shape.seed = seed;
    return generate(shape);
}

} // namespace vitrek::PowerLogGenerator
