#include "powerlog/NightBuilder.h"

#include "powerlog/PowerLogParser.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

using Kind = NightEvent::Kind;

PowerLog logNamed(const std::string& name) {
    return PowerLogParser::parse(test::readTestData("pmset/" + name));
}

std::vector<Night> nightsOf(const std::string& name, const char* now, const Calendar& calendar) {
    return NightBuilder::build(logNamed(name), NightWindow{}, test::at(now), calendar);
}

// What must hold for every night, whatever the log said.
void expectWellFormed(const Night& night) {
    SCOPED_TRACE(night.id);
    const auto& segments = night.segments;
    ASSERT_FALSE(segments.empty());
    EXPECT_EQ(segments.front().start, night.start);
    EXPECT_EQ(segments.back().end, night.end);
    for (std::size_t i = 0; i < segments.size(); ++i) {
        EXPECT_LT(segments[i].start, segments[i].end);
        EXPECT_TRUE(i == 0 || segments[i - 1].end == segments[i].start) << i;
        EXPECT_TRUE(i == 0 || segments[i - 1].state != segments[i].state) << i;
    }
    double total = 0;
    for (const auto state : kAllPowerStates) {
        total += night.time(state);
    }
    EXPECT_NEAR(total, night.duration(), 1e-6);
    const auto notLater = [](const NightEvent& a, const NightEvent& b) { return !(a.date < b.date); };
    EXPECT_EQ(std::adjacent_find(night.events.begin(), night.events.end(), notLater), night.events.end());
}

} // namespace

TEST(NightWindowTest, HoursAndBoundsFollowTheWallClock) {
    EXPECT_EQ((NightWindow{}).hours(), 8);
    EXPECT_EQ((NightWindow{.startHour = 1, .endHour = 6}).hours(), 5);
    EXPECT_EQ((NightWindow{.startHour = 7, .endHour = 7}).hours(), 1);
    const auto berlin = test::berlin();
    const Instant morning = test::at("2024-03-05T12:00:00+01:00");
    EXPECT_EQ((NightWindow{.startHour = 7, .endHour = 7}).bounds(morning, berlin), std::nullopt);
    EXPECT_EQ((NightWindow{.startHour = 1, .endHour = 6}).bounds(morning, berlin),
              std::pair(test::at("2024-03-05T01:00:00+01:00"), test::at("2024-03-05T06:00:00+01:00")));
}

TEST(NightBuilderTest, NightsAcrossADaylightSavingChangeKeepTheirWallClockHours) {
    const auto berlin = nightsOf("dst-berlin-2024.log", "2024-10-28T12:00:00+01:00", test::berlin());
    const auto newYork = nightsOf("dst-new-york-2024.log", "2024-11-04T12:00:00-05:00", test::newYork());
    const std::tuple<const std::vector<Night>*, Calendar, std::string, double, Kind> cases[] = {
        {&berlin, test::berlin(), "2024-03-31", 7, Kind::fellAsleep},
        {&berlin, test::berlin(), "2024-04-01", 8, Kind::awakeAtStart},
        {&berlin, test::berlin(), "2024-10-27", 9, Kind::fellAsleep},
        {&newYork, test::newYork(), "2024-03-10", 7, Kind::awakeAtStart},
        {&newYork, test::newYork(), "2024-11-03", 9, Kind::awakeAtStart},
    };
    for (const auto& [nights, calendar, id, hours, firstKind] : cases) {
        SCOPED_TRACE(id);
        const auto night = std::ranges::find(*nights, id, &Night::id);
        ASSERT_NE(night, nights->end());
        EXPECT_EQ(std::tuple(night->duration(), calendar.local(night->start)->hour,
                             calendar.local(night->end)->hour, night->events.at(0).kind),
                  std::tuple(hours * 3600, 23, 7, firstKind));
        expectWellFormed(*night);
    }
}

TEST(NightBuilderTest, KeptAwakeCountsEachProcessOnceAndLeavesOutPowerdAndBriefHolders) {
    const auto nights = nightsOf("kept-awake-assertions.log", "2024-03-05T12:00:00+01:00", test::berlin());
    ASSERT_EQ(nights.size(), 1u);
    const Night& night = nights[0];
    // backupd held 01:00–01:15 and 01:05–01:25: 25 minutes, not 35. cloudd counts only once the machine woke.
    const std::vector<KeptAwake> expected{
        {"backupd", "com.apple.backupd.snapshot", "PreventSystemSleep", 1500},
        {"cloudd", "com.apple.cloudd.sync", "PreventUserIdleSystemSleep", 600},
        {"Music", "com.apple.Music.playback", "PreventUserIdleSystemSleep", 480},
        {"softwareupdated", "com.apple.softwareupdate.check", "NoIdleSleepAssertion", 20},
    };
    EXPECT_EQ(night.keptAwake, expected);
    // The spell that Music kept up names it; the dark wake before it names nobody.
    EXPECT_EQ(std::tuple(night.events.at(1).culprit, night.events.at(2).culprit),
              std::tuple(std::nullopt, "Music"));
}

TEST(NightBuilderTest, AwakeSpellsAreToldByTheirLengthAndASleepAfterALongOneIsToldAgain) {
    // "Asleep since" is told in the calendar the nights are built in, whatever the process's zone says.
    const test::UserZone zone("America/New_York");
    const auto t = [](const char* clock) { return test::at(std::string("2024-03-05T") + clock + "+01:00"); };
    const auto nights = nightsOf("awake-spells.log", "2024-03-05T12:00:00+01:00", test::berlin());
    ASSERT_EQ(nights.size(), 1u);
    const Night& night = nights[0];
    // Every event, in order: the 90-second spell at 00:00 is not told, nor is the sleep after it.
    const std::vector<std::tuple<Instant, Kind, std::string, std::optional<std::string>>> timeline{
        // clang-format off
        {test::at("2024-03-04T23:00:00+01:00"), Kind::fellAsleep, "Already asleep", std::nullopt},
        {t("01:00:00"), Kind::stayedAwake, "Stayed awake with the screen off", "Woken by: You were back"},
        {t("02:00:00"), Kind::stayedAwake, "Stayed awake with the screen off", "Woken by: You were back"},
        {t("03:00:00"), Kind::stayedAwake, "Stayed awake with the screen off", "Woken by: You were back"},
        {t("03:05:00"), Kind::fellAsleep, "Fell asleep after sitting idle", std::nullopt},
        {t("04:00:00"), Kind::screenOn, "You used your computer", "Woken by: You opened the lid"},
        {t("04:06:00"), Kind::fellAsleep, "Lid closed — went to sleep", std::nullopt},
        {t("05:00:01"), Kind::screenOn, "Screen lit up briefly", "Woken by: Power button pressed"},
        {t("05:02:00"), Kind::fellAsleep, "Power button — went to sleep", std::nullopt},
        {t("06:00:00"), Kind::darkWake, "Maintenance / Power Nap", std::nullopt},
        // clang-format on
    };
    std::vector<std::tuple<Instant, Kind, std::string, std::optional<std::string>>> told;
    for (const auto& event : night.events) {
        told.emplace_back(event.date, event.kind, event.label, event.scheduledBy);
    }
    EXPECT_EQ(told, timeline);
    EXPECT_EQ(night.events[0].raw, "Asleep since Mon 4 Mar, 22:40");
    EXPECT_EQ(night.events[1].charge, 89);
    EXPECT_EQ(night.events[7].symbol, "power"); // the wake a second before the display still counts
    expectWellFormed(night);

    EXPECT_EQ(night.battery.size(), 16u);
    EXPECT_EQ(night.battery.front(), (BatteryPoint{night.start, 90}));
    EXPECT_EQ(night.battery.back(), (BatteryPoint{night.end, 85}));
    EXPECT_FALSE(night.pluggedIn);
}

TEST(NightBuilderTest, TheFirstMomentSaysWhetherTheNightBeganInADarkWake) {
    const auto nights =
        nightsOf("dark-wake-at-window-start.log", "2024-03-06T12:00:00+01:00", test::berlin());
    ASSERT_EQ(nights.size(), 2u);
    const auto told = [](const NightEvent& event) {
        return std::tuple{event.kind, event.label, event.symbol, event.raw.empty(), event.scheduledBy};
    };
    // Woken two seconds before the window opened: the wake's own record explains it. Dark since 22:50: too
    // long before the window to name a reason.
    ASSERT_EQ(nights[0].events.size(), 2u);
    EXPECT_EQ(told(nights[0].events[0]),
              std::tuple(Kind::awakeAtStart, "Briefly awake in the dark (maintenance / power nap)",
                         "wrench.and.screwdriver", false, "mDNSResponder · Bonjour keep-alive"));
    EXPECT_EQ(nights[0].events[1].label, "Back to sleep after maintenance");
    ASSERT_EQ(nights[1].events.size(), 2u);
    EXPECT_EQ(told(nights[1].events[0]),
              std::tuple(Kind::awakeAtStart, "Briefly awake in the dark (dark wake)", "moon.haze", true,
                         std::optional<std::string>{}));
    EXPECT_EQ(nights[1].events[1].label, "Back to sleep after a background task");
}

TEST(NightBuilderTest, SchedulerNamesTheWakeRequestThatExplainsAWake) {
    const auto log = logNamed("wake-requests-scheduler.log");
    // clang-format off
    const std::vector<std::tuple<const char*, const char*, std::optional<std::string>>> cases{
        {"2024-03-05T00:50:00+01:00", "RTC/Maintenance", "dasd · com.apple.dasd:0:com.apple.apsd.apprefresh"},
        {"2024-03-04T23:35:00+01:00", "SPMI", "mDNSResponder · DHCP lease renewal"},
        {"2024-03-05T01:30:00+01:00", "rtc", "mDNSResponder (Maintenance)"},          // the chosen one
        {"2024-03-05T07:29:59+01:00", "SleepService", "mDNSResponder (Maintenance)"},
        {"2024-03-05T07:30:00+01:00", "RTC/Maintenance", std::nullopt},               // six hours on
        {"2024-03-04T22:40:00+01:00", "RTC/Maintenance", std::nullopt},               // before any record
        {"2024-03-05T00:50:00+01:00", "EC.LidOpen/Lid Open", std::nullopt},
    };
    // clang-format on
    for (const auto& [date, cause, expected] : cases) {
        SCOPED_TRACE(std::string(date) + " " + cause);
        const PowerEvent event{test::at(date), PowerEventKind::wake, "", cause, {}, {}};
        EXPECT_EQ(NightBuilder::scheduler(event, log.requests), expected);
    }
}

TEST(NightBuilderTest, NightsAreBuiltOnlyOnceLongEnoughAndWhileTheMachineWasOn) {
    const auto berlin = test::berlin();
    // Switched off at 22:00 and started at 08:30: that night is not built; the next one is.
    EXPECT_TRUE(nightsOf("machine-off-boot-after-window.log", "2024-03-05T12:00:00+01:00", berlin).empty());
    const auto after = nightsOf("machine-off-boot-after-window.log", "2024-03-06T12:00:00+01:00", berlin);
    ASSERT_EQ(after.size(), 1u);
    EXPECT_EQ(after[0].id, "2024-03-06");

    for (const auto& [now, built] : {std::pair{"2024-03-04T23:05:00+01:00", false},
                                     {"2024-03-04T23:10:00+01:00", false},
                                     {"2024-03-04T23:10:01+01:00", true},
                                     {"2024-03-04T23:15:00+01:00", true}}) {
        SCOPED_TRACE(now);
        const auto nights = nightsOf("evening-in-use.log", now, berlin);
        ASSERT_EQ(nights.size(), built ? 1u : 0u);
        if (built) {
            EXPECT_EQ(
                std::tuple(nights[0].id, nights[0].inProgress, nights[0].end, nights[0].events.at(0).label),
                std::tuple("2024-03-05", true, test::at(now), "You were still using your computer"));
        }
    }
}

TEST(NightBuilderTest, StatesAtAnInstantTakeTheLastRecordOfThatInstant) {
    const auto log = logNamed("dell-latitude-5570-2022-hourly-maintenance-darkwake.log");
    const auto [state, event] = NightBuilder::systemState(test::at("2022-11-16T08:16:48+01:00"), log);
    EXPECT_EQ(std::pair(state, event.value().kind), std::pair(PowerState::asleep, PowerEventKind::sleep));
    EXPECT_EQ(NightBuilder::systemState(test::at("2022-11-16T08:16:47+01:00"), log).first, PowerState::awake);
}

TEST(NightBuilderTest, ADesktopHasNoBatteryPoints) {
    // A desktop reports "Using AC (Charge:0%)" throughout.
    const auto desktop = nightsOf("hackintosh-desktop-2022-software-sleep-pwrb-wake.log",
                                  "2022-02-24T12:00:00+08:00", test::zone("Asia/Shanghai"));
    ASSERT_FALSE(desktop.empty());
    EXPECT_TRUE(std::all_of(desktop.begin(), desktop.end(), [](const Night& night) {
        return !night.hasBattery && night.battery.empty() && night.pluggedIn;
    }));
}

// Asleep on battery from 22:00; a charger attached at 03:00 wakes it briefly, in records that give no charge.
TEST(NightBuilderTest, AChargerAttachedInTheNightCountsAndRecordsWithoutAChargeAddNoPoint) {
    const auto event = [](const char* date, PowerEventKind kind, bool onBattery, std::optional<int> charge) {
        return PowerEvent{test::at(date), kind, "", "", onBattery, charge};
    };
    PowerLog log;
    log.firstDate = test::at("2024-03-04T21:00:00+01:00");
    log.events = {event("2024-03-04T22:00:00+01:00", PowerEventKind::sleep, true, 80),
                  event("2024-03-05T03:00:00+01:00", PowerEventKind::darkWake, false, std::nullopt),
                  event("2024-03-05T03:01:00+01:00", PowerEventKind::sleep, false, std::nullopt)};
    const auto nights =
        NightBuilder::build(log, NightWindow{}, test::at("2024-03-05T12:00:00+01:00"), test::berlin());
    ASSERT_EQ(nights.size(), 1u);
    EXPECT_TRUE(nights[0].pluggedIn);
    EXPECT_EQ(nights[0].battery, (std::vector<BatteryPoint>{{nights[0].start, 80}, {nights[0].end, 80}}));
}

// Published excerpts of real logs: most are minutes long, so the nights after them are told from their last
// record. Three were pasted without the TAB after the type column, so every record is skipped; one holds only
// notifications and assertions, which give no date to start from.
TEST(NightBuilderTest, EveryRecordedLogBuildsWellFormedNights) {
    // clang-format off
    const std::vector<std::tuple<std::string, std::string, std::size_t>> cases{
        {"amd-ryzen-5500u-laptop-2024-darkwake-battery-drain.log", "Asia/Kolkata", 4},
        {"dell-latitude-5570-2022-hourly-maintenance-darkwake.log", "Europe/Berlin", 3},
        {"dell-precision-m3800-2021-clamshell-ac.log", "Europe/Berlin", 3},
        {"dell-t3610-desktop-2021-sleep-sections.log", "America/Los_Angeles", 0},
        {"gigabyte-z490-desktop-2024-random-darkwake.log", "Europe/Moscow", 0},
        {"hackintosh-atheros-desktop-2019-wol-instant-wake.log", "Europe/Berlin", 0},
        {"hackintosh-desktop-2022-software-sleep-pwrb-wake.log", "Asia/Shanghai", 5},
        {"hackintosh-desktop-2025-idle-sleep.log", "Asia/Shanghai", 0},
        {"intel-nuc8i5beh-2021-software-sleep-wake-requests.log", "Europe/Berlin", 3},
        {"msi-b660m-desktop-2023-sleep-wake-grep.log", "Asia/Bangkok", 3},
        {"ryzen-desktop-2021-resumes-immediately.log", "Asia/Shanghai", 3},
        {"thinkpad-t480-2020-clamshell-battery-overnight.log", "Asia/Shanghai", 3},
        {"xiaomi-mi-notebook-14-2021-idle-sleep-battery.log", "Asia/Kolkata", 3},
    };
    // clang-format on
    for (const auto& [file, zoneName, count] : cases) {
        SCOPED_TRACE(file);
        const auto calendar = test::zone(zoneName);
        const auto log = logNamed(file);
        // Noon three days after the last record, so that no night is still in progress.
        const Instant last = std::max(log.events.empty() ? Instant{} : log.events.back().date,
                                      log.display.empty() ? Instant{} : log.display.back().date);
        const Instant now = *calendar.at(*calendar.addingDays(last, 3), 12);
        const auto nights = NightBuilder::build(log, NightWindow{}, now, calendar);
        EXPECT_EQ(nights.size(), count);
        for (const auto& night : nights) {
            expectWellFormed(night);
        }
    }
}

} // namespace vitrek
