#include "powerlog/RecordedPowerLog.h"

#include "powerlog/JournalPowerLog.h"
#include "powerlog/NightSource.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

Instant berlin(int day, int hour, int minute, int second = 0) {
    return test::local(test::berlin(), 2026, 11, day, hour, minute, second);
}

// A Vitrek that runs from `from` to `to` writes a line every 4.5 minutes, as the check-ups do.
void alive(std::vector<PowerRecord>& records, Instant from, Instant to) {
    for (Instant t = from; t <= to; t += Seconds{270}) {
        records.push_back(powerRecord(t, PowerRecordKind::alive));
    }
}

PowerRecord screen(Instant date, bool on) {
    auto made = powerRecord(date, PowerRecordKind::screen);
    made.screenOn = on;
    return made;
}

PowerRecord sleep(Instant date, bool lidClosed, int charge) {
    auto made = powerRecord(date, PowerRecordKind::sleep);
    made.lidClosed = lidClosed;
    made.idle = false;
    made.charge = charge;
    made.onBattery = true;
    return made;
}

PowerRecord wake(Instant date, bool lidClosed, std::string source, int charge) {
    auto made = powerRecord(date, PowerRecordKind::wake);
    made.lidClosed = lidClosed;
    made.source = std::move(source);
    made.slept = 3600;
    made.charge = charge;
    made.onBattery = true;
    return made;
}

PowerRecord inhibitors(Instant date, std::vector<HeldInhibitor> held) {
    auto made = powerRecord(date, PowerRecordKind::inhibitors);
    made.inhibitors = std::move(held);
    return made;
}

// The evening of 21 November in Berlin: Vitrek starts at 21:00 with the screen on, the screen saver blanks
// the screen at 23:10, a backup blocks sleep from 23:20 to 23:40, the lid closes at 23:45; an RTC alarm
// wakes the machine at 02:00 for 40 s; the lid opens at 06:30 and the screen is unlocked at 06:31.
std::vector<PowerRecord> lidClosedNight() {
    std::vector<PowerRecord> records;
    auto booted = powerRecord(berlin(21, 18, 2), PowerRecordKind::boot);
    records.push_back(booted);
    auto start = powerRecord(berlin(21, 21, 0), PowerRecordKind::start);
    start.screenOn = true;
    start.pid = 4242;
    records.push_back(start);
    alive(records, berlin(21, 21, 4), berlin(21, 23, 44));
    records.push_back(screen(berlin(21, 23, 10), false));
    const HeldInhibitor backup{"backup-tool", "Backing up your files", "sleep", "block", 777};
    const HeldInhibitor player{"media-player", "Playing", "idle", "delay", 778};
    records.push_back(inhibitors(berlin(21, 23, 20), {backup, player}));
    records.push_back(inhibitors(berlin(21, 23, 40), {player}));
    records.push_back(sleep(berlin(21, 23, 45), true, 80));
    records.push_back(wake(berlin(22, 2, 0), true, "rtc0", 78));
    records.push_back(screen(berlin(22, 2, 0), false));
    records.push_back(sleep(berlin(22, 2, 0, 40), true, 78));
    records.push_back(wake(berlin(22, 6, 30), false, "PNP0C0D:00", 75));
    records.push_back(screen(berlin(22, 6, 30), false));
    records.push_back(screen(berlin(22, 6, 31), true));
    alive(records, berlin(22, 6, 34), berlin(22, 8, 0));
    return records;
}

std::vector<Night> nightsOf(const NightLog& log, Instant now) {
    return NightSource::build(log, NightWindow{}, now, test::berlin());
}

TEST(RecordedPowerLogTest, TellsALidClosedNightWithItsCausesAndCulpritAloneOrMergedWithTheJournal) {
    const Instant now = berlin(22, 8, 0);
    const auto recorded = RecordedPowerLog::fromRecords(lidClosedNight(), now);

    std::vector<std::string> events;
    for (const auto& event : recorded.log.events) {
        events.push_back(std::string(rawValue(event.kind)) + " " + event.cause);
    }
    EXPECT_EQ(events, (std::vector<std::string>{"boot ", "sleep Clamshell Sleep", "darkWake RTC Alarm",
                                                "sleep Clamshell Sleep", "wake Lid Open"}));
    EXPECT_EQ(recorded.coverage, (std::vector<RecordedSpan>{{berlin(21, 21, 0), now}}));

    const auto nights = nightsOf(NightSource::merge(std::nullopt, recorded), now);
    ASSERT_EQ(nights.size(), 1u);
    const Night& night = nights[0];
    EXPECT_EQ(
        std::tuple(night.id, night.darkWakeCount(), night.hasBattery, night.startCharge(), night.endCharge()),
        std::tuple("2026-11-22", 1, true, 80, 75));
    // Only the block lock on sleep kept it up; the delay lock and the idle one in delay mode do not count.
    EXPECT_EQ(night.keptAwake, (std::vector<KeptAwake>{
                                   {"backup-tool", "Backing up your files", "PreventSystemSleep", 20 * 60}}));

    std::vector<std::string> story;
    for (const auto& event : night.events) {
        story.push_back(std::string(rawValue(event.kind)) + ": " + event.label +
                        (event.culprit ? " [" + *event.culprit + "]" : ""));
    }
    EXPECT_EQ(story, (std::vector<std::string>{
                         "awakeAtStart: You were still using your computer",
                         "stayedAwake: Stayed awake with the screen off [backup-tool]",
                         "fellAsleep: Lid closed — went to sleep",
                         "darkWake: Scheduled timer",
                         "screenOn: You used your computer",
                     }));

    // The journal (lines of made-hibernate.txt) saw that night too, and the night before Vitrek ran.
    const auto journal =
        JournalPowerLog::parse(test::readTestData("journal/made-hibernate.txt"), now, test::berlin());
    const auto merged = NightSource::merge(journal, recorded);
    EXPECT_EQ(merged.source, NightSourceKind::both);
    EXPECT_EQ(NightSource::recordedSince(merged), berlin(21, 21, 0));
    // The journal's own night (a sleep and a wake), and Vitrek's four events without the boot before it ran.
    EXPECT_EQ(merged.log.events.size(), 6u);
    const auto told = nightsOf(merged, now);
    ASSERT_EQ(told.size(), 2u); // 21 November (journal), 22 November (both)
    EXPECT_EQ(told[0].id, "2026-11-21");
    ASSERT_EQ(told[1].keptAwake.size(), 1u);

    // Neither record: no source to name.
    EXPECT_EQ(NightSource::merge(std::nullopt, std::nullopt).source, NightSourceKind::none);
}

// Vitrek recorded 20:00–21:00 and 23:00–24:00; the journal starts later than Vitrek's first line and has an
// event between the two spans, after Vitrek's first: the merge must interleave them by date.
TEST(RecordedPowerLogTest, AMergedLogTakesEachSpanFromVitrekTheRestFromTheJournalInDateOrder) {
    const auto event = [](Instant date, std::string cause) {
        return PowerEvent{date, PowerEventKind::sleep, "", std::move(cause), std::nullopt, std::nullopt};
    };
    PowerLog journal;
    journal.firstDate = berlin(21, 20, 30);
    journal.events = {event(berlin(21, 20, 40), "journal, in a span"), event(berlin(21, 22, 0), "journal")};
    journal.requests = {WakeRequest{berlin(21, 22, 0), "backup", "wake", berlin(22, 3, 0), "", true}};
    RecordedPowerLog::Recorded recorded;
    recorded.log.firstDate = berlin(21, 20, 0);
    recorded.log.events = {event(berlin(21, 20, 45), "vitrek"), event(berlin(21, 23, 30), "vitrek, later")};
    recorded.coverage = {{berlin(21, 20, 0), berlin(21, 21, 0)}, {berlin(21, 23, 0), berlin(22, 0, 0)}};

    NightLog expected;
    expected.log.events = {recorded.log.events[0], journal.events[1], recorded.log.events[1]};
    expected.log.requests = journal.requests;
    expected.log.firstDate = berlin(21, 20, 0);
    expected.source = NightSourceKind::both;
    expected.recorded = recorded.coverage;
    expected.journalFrom = journal.firstDate;
    const NightLog merged = NightSource::merge(journal, recorded);
    EXPECT_EQ(merged, expected);
    EXPECT_EQ(NightSource::recordedSince(merged), berlin(21, 20, 0));
}

TEST(RecordedPowerLogTest, NoNightIsMadeUpForTimeNobodyRecorded) {
    // Vitrek quit at 01:00; the record's last state (asleep) says nothing about the rest of the night.
    auto records = lidClosedNight();
    std::erase_if(records, [](const PowerRecord& r) { return r.date > berlin(22, 1, 0); });
    records.push_back(powerRecord(berlin(22, 9, 0), PowerRecordKind::start));
    const Instant now = berlin(22, 9, 5);
    const auto recorded = RecordedPowerLog::fromRecords(records, now);
    ASSERT_EQ(recorded.coverage.size(), 2u);
    EXPECT_EQ(recorded.coverage[0].to, berlin(21, 23, 45));
    EXPECT_TRUE(nightsOf(NightSource::merge(std::nullopt, recorded), now).empty());
    // A program only starts on a machine that is awake: the restart ends the sleep the record left open.
    EXPECT_EQ(std::pair(recorded.log.events.back().kind, recorded.log.events.back().date),
              std::pair(PowerEventKind::wake, berlin(22, 9, 0)));
}

TEST(RecordedPowerLogTest, WithoutAScreenSaverAFullWakeLightsTheScreenAndTwoRecordersCountOnce) {
    std::vector<PowerRecord> records;
    records.push_back(powerRecord(berlin(21, 22, 0), PowerRecordKind::start));
    alive(records, berlin(21, 22, 4), berlin(21, 23, 30));
    // A second Vitrek on the same folder writes the same moments again.
    for (int copy = 0; copy < 2; ++copy) {
        records.push_back(sleep(berlin(21, 23, 30, copy), false, 90));
        records.push_back(wake(berlin(22, 6, 50, copy), false, "PNP0C0C:00", 88));
    }
    alive(records, berlin(22, 6, 54), berlin(22, 7, 30));
    const auto recorded = RecordedPowerLog::fromRecords(records, berlin(22, 7, 30));
    ASSERT_EQ(recorded.log.events.size(), 2u);
    EXPECT_EQ(std::pair(recorded.log.events[1].kind, recorded.log.events[1].cause),
              std::pair(PowerEventKind::wake, std::string{"Power Button"}));
    EXPECT_EQ(recorded.log.display.back(), (DisplayChange{berlin(22, 6, 50), true}));
}

TEST(RecordedPowerLogTest, StoredLinesReadBackAndBadOnesAreRefused) {
    auto records = lidClosedNight();
    for (const auto& each : records) {
        EXPECT_EQ(fromJsonText<PowerRecord>(compactText(toJson(each))), each);
    }
    for (const char* bad :
         {R"({"kind":"sleep"})", R"({"time":1,"kind":"nap"})", R"({"time":"1","kind":"wake"})",
          R"({"time":1,"kind":"inhibitors","held":[{"who":"x"}]})", R"([1,2])", "not json"}) {
        EXPECT_FALSE(fromJsonText<PowerRecord>(bad)) << bad;
    }
}

} // namespace
} // namespace vitrek
