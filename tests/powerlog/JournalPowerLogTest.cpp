#include "powerlog/JournalPowerLog.h"

#include "powerlog/NightBuilder.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

// "sleep 22:41:08.153221 Clamshell Sleep": an event as the tests expect it, wall-clock in Berlin.
std::vector<std::string> describe(const PowerLog& log) {
    const Calendar berlin = test::berlin();
    std::vector<std::string> lines;
    for (const auto& event : log.events) {
        const auto local = *berlin.local(event.date);
        const double fraction = unixSeconds(event.date) - std::floor(unixSeconds(event.date));
        char time[32];
        std::snprintf(time, sizeof time, "%02d %02d:%02d:%02d.%06d", local.day, local.hour, local.minute,
                      local.second, static_cast<int>(std::lround(fraction * 1e6)) % 1'000'000);
        lines.push_back(std::string(rawValue(event.kind)) + " " + time +
                        (event.cause.empty() ? "" : " " + event.cause));
    }
    return lines;
}

PowerLog recording(const std::string& name, const char* now = "2026-11-23T12:00:00+01:00") {
    return JournalPowerLog::parse(test::readTestData("journal/" + name), test::at(now), test::berlin());
}

const std::vector<std::string> kLidNight{
    "boot 19 18:02:11.482913",
    "sleep 19 22:41:08.153221 Clamshell Sleep",
    "darkWake 20 01:12:03.512114",
    "sleep 20 01:12:34.811406 Clamshell Sleep",
    "darkWake 20 04:30:00.290565 RTC Alarm",
    "sleep 20 04:30:31.904313 Clamshell Sleep",
    "wake 20 07:12:45.007233 Lid Open",
};

TEST(JournalPowerLogTest, ALidClosedNightWithTwoDarkWakes) {
    const PowerLog log = recording("made-lid-close-two-dark-wakes.json");
    EXPECT_EQ(describe(log), kLidNight);
    EXPECT_EQ(log.firstDate, test::at("2026-11-19T18:02:11.482913+01:00"));
    // The screen follows the person: on at boot, off at the first sleep, on again only in the morning.
    ASSERT_EQ(log.display.size(), 3u);
    EXPECT_EQ(log.display[1], (DisplayChange{test::at("2026-11-19T22:41:08.153221+01:00"), false}));
    EXPECT_EQ(log.display[2], (DisplayChange{test::at("2026-11-20T07:12:45.007233+01:00"), true}));
}

TEST(JournalPowerLogTest, ANightSwitchedOffIsNotANight) {
    const PowerLog log = recording("made-switched-off.txt");
    EXPECT_EQ(describe(log), (std::vector<std::string>{"boot 16 08:05:02.000000", "boot 17 07:31:40.000000",
                                                       "boot 18 00:30:10.000000"}));
    ASSERT_EQ(log.display.size(), 5u); // on, off at each power-off, on at each boot
    EXPECT_FALSE(log.display[1].on);
    const auto nights =
        NightBuilder::build(log, NightWindow{}, test::at("2026-11-18T12:00:00+01:00"), test::berlin());
    // Off from 22:47 to 07:31: no night. The next one was on until midnight and booted again at 00:30.
    ASSERT_EQ(nights.size(), 1u);
    EXPECT_EQ(nights[0].id, "2026-11-18");
}

TEST(JournalPowerLogTest, HibernateAFailedAttemptAndAnInhibitorDelay) {
    const PowerLog log = recording("made-hibernate.txt");
    EXPECT_EQ(describe(log), (std::vector<std::string>{
                                 "sleep 20 23:20:11.004507 Power Button",
                                 "wake 21 06:55:31.702118",
                                 "sleep 21 23:10:06.512207 Clamshell Sleep",
                                 "wake 22 07:02:50.118004 Lid Open",
                             }));
    EXPECT_EQ(log.events[0].raw, "Entering sleep state 'hibernate'...");
    // The idle sleep that a device refused left nothing behind but the lock that delayed it.
    ASSERT_EQ(log.releases.size(), 1u);
    const auto& lock = log.releases[0];
    EXPECT_EQ(std::tuple(lock.process, lock.pid, std::lround(lock.duration * 1e6), lock.type),
              std::tuple("gsd-media-keys", 2218, 5'000'387, "PreventSystemSleep"));
}

TEST(JournalPowerLogTest, PublishedExcerpts) {
    struct Case {
        const char* file;
        std::vector<std::string> events;
        std::int64_t skipped = 0;
    };
    // Their times are printed without a year; the real excerpts span 2015 to 2025 and are read as this year.
    const std::vector<Case> cases{
        {"popos-6.9-2024-deep-s3-suspend-entry.log", {"sleep 01 20:50:01.000000 Software Sleep"}},
        {"manjaro-2015-suspending-system-9min-gap.log", {"sleep 20 14:42:15.000000 Software Sleep"}},
        {"ubuntu-16.04-2016-old-pm-format-suspend-grep.log",
         {"sleep 11 22:13:20.000000", "wake 11 22:13:51.000000"}},
        // The kernel's account of the sleep is read after systemd-sleep's "returned": still one wake.
        {"bazzite-fedora-2025-es-locale-suspend-exit-audit.log", {"wake 06 18:50:51.000000"}},
        {"amd-laptop-2025-suspend-then-hibernate.log",
         {"sleep 03 11:06:08.000000 Software Sleep", "wake 03 11:06:24.000000"}},
        {"thinkpad-x260-2022-fr-locale-resume-lid-opened.log", {"wake 12 07:39:20.000000 Lid Open"}},
        {"nixos-2015-old-kernel-s3-resume.log", {"wake 08 17:10:11.000000"}},
        {"surface-book-1-2021-de-locale-s2idle-networkmanager.log", {}},
        {"dell-laptop-2017-logind-boot-lid-switch.log", {}},
        {"arch-laptop-2020-ml-locale-s3-suspend-resume.log", {}, 22}, // a month name no table knows
    };
    const Instant now = test::at("2026-12-31T12:00:00+01:00");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const PowerLog log =
            JournalPowerLog::parse(test::readTestData(std::string{"journal/"} + c.file), now, test::berlin());
        EXPECT_EQ(describe(log), c.events);
        EXPECT_EQ(log.skippedLines, c.skipped);
    }
}

TEST(JournalPowerLogTest, CausesOfSleepAndWake) {
    struct Case {
        const char* name;
        std::vector<std::string> lines;
        std::vector<std::string> events;
    };
    const std::vector<Case> cases{
        {"critical battery beats the lid",
         {"01:00:00 upowerd: Battery is critical, doing action", "01:00:01 systemd-logind: Lid closed.",
          "01:00:02 systemd-sleep: Entering sleep state 'hibernate'..."},
         {"sleep 20 01:00:02.000000 Low Power Sleep"}},
        {"a trigger from before the last resume is stale",
         {"01:00:00 systemd-logind: Suspend key pressed.",
          "01:00:01 systemd-sleep: Entering sleep state 'suspend'...", "01:00:30 kernel: PM: suspend exit",
          "01:00:40 systemd-sleep: Entering sleep state 'suspend'..."},
         {"sleep 20 01:00:01.000000 Sleep Key", "darkWake 20 01:00:30.000000",
          "sleep 20 01:00:40.000000 Maintenance Sleep"}},
        {"a person arriving during a dark wake",
         {"02:00:00 kernel: PM: suspend entry (s2idle)", "03:00:00 kernel: PM: active wakeup source: rtc0",
          "03:00:00 kernel: PM: suspend exit", "03:05:00 systemd-logind: Lid opened."},
         {"sleep 20 02:00:00.000000", "darkWake 20 03:00:00.000000 RTC Alarm",
          "darkToFull 20 03:05:00.000000 Lid Open"}},
        {"a named source beats an interrupt, the power key beats both",
         {"02:00:00 kernel: PM: suspend entry (s2idle)", "03:00:00 kernel: PM: Triggering wakeup from IRQ 1",
          "03:00:00 kernel: PM: last active wakeup source: i8042", "03:00:00 kernel: PM: suspend exit",
          "03:00:02 systemd-logind: Power key pressed short."},
         {"sleep 20 02:00:00.000000", "wake 20 03:00:00.000000 Power Button"}},
        {"an unexplained wake that stays up is a full wake",
         {"02:00:00 kernel: PM: suspend entry (deep)", "03:00:00 kernel: PM: suspend exit",
          "03:10:00 systemd-sleep: Entering sleep state 'suspend'..."},
         {"sleep 20 02:00:00.000000", "wake 20 03:00:00.000000", "sleep 20 03:10:00.000000 Software Sleep"}},
        {"a machine that never resumed sleeps until the next boot",
         {"02:00:00 kernel: PM: suspend entry (deep)", "-- Boot 1234 --",
          "08:00:00 kernel: Linux version 6.1.0-27-amd64"},
         {"sleep 20 02:00:00.000000", "boot 20 08:00:00.000000"}},
        {"wake-on-LAN and wireless sources",
         {"02:00:00 kernel: PM: suspend entry (deep)", "03:00:00 kernel: PM: active wakeup source: enp3s0",
          "03:00:00 kernel: PM: suspend exit", "03:00:20 kernel: PM: suspend entry (deep)",
          "04:00:00 kernel: PM: active wakeup source: phy0 iwlwifi", "04:00:00 kernel: PM: suspend exit"},
         {"sleep 20 02:00:00.000000", "darkWake 20 03:00:00.000000 Wake on LAN",
          "sleep 20 03:00:20.000000 Maintenance Sleep", "wake 20 04:00:00.000000 WLAN (phy0 iwlwifi)"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        // "HH:MM:SS identifier: message" on 20 November in Berlin; "-- Boot … --" passes through as it is.
        std::string text;
        for (const auto& line : c.lines) {
            text +=
                (line.starts_with("--") ? line : "Nov 20 " + line.substr(0, 9) + "host " + line.substr(9)) +
                "\n";
        }
        EXPECT_EQ(
            describe(JournalPowerLog::parse(text, test::at("2026-11-23T12:00:00+01:00"), test::berlin())),
            c.events);
    }
}

} // namespace
} // namespace vitrek
