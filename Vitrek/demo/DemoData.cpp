#include "demo/DemoData.h"

#include "Store.h"
#include "history/Day.h"

#include <QtGlobal>

#include <algorithm>
#include <array>
#include <cmath>

namespace vitrek::DemoData {

namespace {

constexpr double kDay = 86'400;
constexpr double kWorkingDay = 8 * 3'600.0;
constexpr double kMinute = 60;
constexpr double kYearsOld = 88'361'280; // 2.8 years of 365.2 days
constexpr double kNightLength = 28'800;  // 23:00 to 07:00
constexpr double kFallingAsleep = 1'200;
constexpr double kDarkWake = 45;
constexpr std::array<double, 3> kDarkWakesAfter{2.1 * 3'600, 3.9 * 3'600, 5.4 * 3'600};
constexpr std::array<int, 15> kRecovery{80, 78, 82, 71, 64, 58, 69, 74, 88, 91, 85, 62, 49, 72, 86};
constexpr double kHeavyStress = 11'160;

bool isBusyHour(int hour) { return hour == 11 || hour == 12 || hour == 15; }

} // namespace

bool isActive() {
    // The self-test runs on the demo machine too: checking the program must not write into the user's
    // History or today's samples.
    static const bool active = qEnvironmentVariableIsSet("VITREK_SNAPSHOT_DIR") ||
                               qEnvironmentVariableIsSet("VITREK_DEMO_DIR") ||
                               qEnvironmentVariableIsSet("VITREK_SELFTEST");
    return active;
}

Reading reading(Instant now) {
    Reading reading;
    reading.date = now;
    reading.model = "ThinkPad X1 Carbon Gen 11 (2023)";
    reading.battery = BatteryInfo{0.91, 412, 76, false};
    reading.freeBytes = 41'300'000'000;
    reading.totalBytes = 494'000'000'000;
    reading.pressure = Pressure::normal;
    reading.swapBytes = 600'000'000;
    reading.heat = Heat::cool;
    reading.bootedAt = now - Seconds(9 * kDay);
    return reading;
}

Reading needsCareReading(Instant now) {
    Reading care = reading(now);
    care.freeBytes = 9'000'000'000;
    care.pressure = Pressure::warning;
    care.heat = Heat::hot;
    care.bootedAt = now - Seconds(23 * kDay);
    return care;
}

Instant setUp(Instant now) { return now - Seconds(kYearsOld); }

std::vector<Sample> samples(Instant now, const Calendar& calendar) {
    const Instant start = calendar.at(now, 9).value_or(now - Seconds(kWorkingDay));
    // The demo day always has a working day of samples, even when it is opened before 17:00.
    const Instant end = std::max(now, start + Seconds(kWorkingDay));
    std::vector<Sample> result;
    result.reserve(static_cast<std::size_t>(secondsBetween(start, end) / kMinute) + 1);
    for (int i = 0;; ++i) {
        const Instant date = start + Seconds(i * kMinute);
        if (date > end) {
            break;
        }
        const auto local = calendar.local(date);
        const bool busy = local && isBusyHour(local->hour);
        const double load = busy ? std::sin(i / 5.0) * 0.2 + 0.62 : std::sin(i / 9.0) * 0.05 + 0.08;
        const Heat heat = busy && i % 7 == 0 ? Heat::warm : Heat::cool;
        result.push_back(Sample{date, std::clamp(load, 0.0, 1.0), heat});
    }
    return result;
}

History history(Instant now, const Calendar& calendar) {
    History history;
    for (int i = 0; i < 15; ++i) {
        const Instant day = calendar.addingDays(now, i - 14).value_or(now);
        // Today and the same weekday one and two weeks ago were heavy, so the week comparisons have
        // something to say.
        const double stress = (14 - i) % 7 == 0 ? kHeavyStress : 4'200 + 60.0 * ((37 * i) % 120);
        history.record(Day{History::dayID(day, calendar), kRecovery[static_cast<std::size_t>(i)],
                           8.0 + (7 * i) % 11, 70 + (3 * i) % 25, stress, -0.3 - 0.012 * i},
                       400);
    }
    return history;
}

Night night(Instant now, const Calendar& calendar) {
    const Instant wake = calendar.at(now, 7).value_or(now);
    const Instant start = wake - Seconds(kNightLength);
    const Instant asleep = start + Seconds(kFallingAsleep);

    Night night;
    night.id = History::dayID(wake, calendar);
    night.start = start;
    night.end = wake;
    night.segments.push_back(Segment{start, asleep, PowerState::screenOn});
    night.events.push_back(NightEvent{asleep, NightEvent::Kind::fellAsleep, "Lid closed", "moon", "", 0,
                                      std::nullopt, std::nullopt, std::nullopt});
    Instant previous = asleep;
    for (const double after : kDarkWakesAfter) {
        const Instant darkWake = asleep + Seconds(after);
        night.segments.push_back(Segment{previous, darkWake, PowerState::asleep});
        night.segments.push_back(Segment{darkWake, darkWake + Seconds(kDarkWake), PowerState::dark});
        night.events.push_back(NightEvent{darkWake, NightEvent::Kind::darkWake, "Wi-Fi keep-alive", "wifi", "",
                                          kDarkWake, std::nullopt, std::nullopt, std::nullopt});
        previous = darkWake + Seconds(kDarkWake);
    }
    night.segments.push_back(Segment{previous, wake, PowerState::asleep});
    night.battery = {BatteryPoint{start, 82}, BatteryPoint{wake, 80}};
    night.hasBattery = true;
    night.pluggedIn = false;
    night.isDemo = true;
    night.inProgress = false;
    return night;
}

void fill(Store& store) {
    const Instant now = store.environment().now();
    const Calendar calendar = store.environment().calendar();
    store.setDemoSetUp(setUp(now));
    store.setHistory(history(now, calendar));
    store.setLoadingNight(false);
    store.apply(reading(now), samples(now, calendar), night(now, calendar), false);
}

void fillNeedsCare(Store& store) {
    const Instant now = store.environment().now();
    store.setHistory(history(now, store.environment().calendar()));
    store.setLoadingNight(false);
    store.apply(needsCareReading(now), {}, std::nullopt, false);
}

} // namespace vitrek::DemoData
