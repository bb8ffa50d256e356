#include "screens/ScreenTexts.h"

#include "card/ShareCard.h"
#include "scores/Fmt.h"
#include "support/TestSupport.h"
#include "time/Calendar.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

using test::at;
using test::berlin;
using Role = Theme::Role;

constexpr double kMonth = 1.0 / 12.0;

// The expected texts use the core's fixed English date forms, whatever another test installed; the
// guard puts back the earlier formatter when the test ends.
using EnglishDates = Fmt::ScopedDateFormatter;

Night nightWith(int darkWakes, int stayedAwake, std::vector<int> charges, bool pluggedIn) {
    Night night;
    night.start = at("2024-03-04T23:00:00+01:00");
    night.end = at("2024-03-05T07:00:00+01:00");
    night.segments = {Segment{night.start, night.end, PowerState::asleep}};
    for (int i = 0; i < darkWakes + stayedAwake; ++i) {
        NightEvent event;
        event.date = night.start + Seconds{3600.0 * (i + 1)};
        event.kind = i < darkWakes ? NightEvent::Kind::darkWake : NightEvent::Kind::stayedAwake;
        night.events.push_back(event);
    }
    for (const int charge : charges) {
        night.battery.push_back(BatteryPoint{night.start, charge});
    }
    night.hasBattery = !charges.empty();
    night.pluggedIn = pluggedIn;
    return night;
}

// An age whose Vitrek Age differs from the real one by `adjustment` years.
MacAge ageOf(double realYears, double adjustment, MacAge::Source source = MacAge::Source::bought) {
    MacAge age;
    age.realYears = realYears;
    age.source = source;
    age.since = at("2024-03-04T12:00:00+01:00");
    if (adjustment != 0) {
        age.factors = {AgeFactor{"Treatment", "", adjustment}};
    }
    return age;
}

Vital vital(const char* title, const char* range, std::optional<bool> inRange) {
    return Vital{Vital::Kind::memory, title, "memorychip", "62%", range, inRange};
}

TEST(ScreenTextsDialsTest, RecoveryBandsChooseColourAndWordAt67And34) {
    const std::tuple<int, Role, const char*> rows[] = {
        {100, Role::good, "Ready for a heavy day"}, {67, Role::good, "Ready for a heavy day"},
        {66, Role::fair, "Take it easy today"},     {34, Role::fair, "Take it easy today"},
        {33, Role::poor, "Needs some care"},        {0, Role::poor, "Needs some care"},
    };
    for (const auto& [recovery, color, sub] : rows) {
        EXPECT_EQ(Texts::recoveryDial(true, recovery),
                  (Texts::Dial{recovery / 100.0, std::to_string(recovery) + "%", color, "Recovery", sub}));
    }
}

TEST(ScreenTextsDialsTest, StrainSaysSinceWhenUntilTwoHoursOfMeasuring) {
    const EnglishDates english(Fmt::englishDateFormatter());
    const auto reading = at("2024-03-05T11:13:00+01:00");
    const std::pair<std::optional<Instant>, const char*> lines[] = {
        {at("2024-03-05T09:14:00+01:00"), "Light · since 09:14"}, // 1 h 59 min
        {at("2024-03-05T09:13:00+01:00"), "Light · 2 h 5 min busy"},
        {std::nullopt, "Light · 2 h 5 min busy"},
    };
    for (const auto& [since, line] : lines) {
        EXPECT_EQ(Texts::strainLine(4.2, since, reading, 7500, berlin()), line);
    }
    EXPECT_EQ(Texts::strainLine(4.2, at("2024-03-05T10:00:00+01:00"), std::nullopt, 7500, berlin()),
              "Light · 2 h 5 min busy");
    // The dial carries the line; the words' edges are the core's.
    EXPECT_EQ(Texts::strainDial(10.5, std::nullopt, std::nullopt, 2700, berlin()),
              (Texts::Dial{0.5, "10.5", Role::strain, "Strain", "Moderate · 45 min busy"}));
}

TEST(ScreenTextsDialsTest, RestLineCountsWakesThenBatteryOrChargerButTheCardNeverSaysPluggedIn) {
    const std::tuple<std::optional<Night>, const char*, const char*> rows[] = {
        {nightWith(2, 1, {80, 76}, false), "3 wakes · −4% battery", "3 wakes · −4% battery"},
        {nightWith(1, 0, {}, true), "1 wake · plugged in", "1 wake"},
        {nightWith(0, 1, {}, false), "1 wake", "1 wake"},
        {nightWith(0, 0, {}, false), "0 wakes", "0 wakes"},
        // A known loss wins over the charger.
        {nightWith(0, 2, {90, 91}, true), "2 wakes · −0% battery", "2 wakes · −0% battery"},
        {std::nullopt, "No night recorded yet", "No night yet"},
    };
    for (const auto& [night, line, card] : rows) {
        EXPECT_EQ(Texts::restLine({}, night), line);
        EXPECT_EQ(Texts::restLine({}, night, Texts::RestLinePlace::card), card);
    }
    EXPECT_TRUE(Texts::restDial({}, nightWith(1, 0, {}, true)).fraction.has_value());
}

TEST(ScreenTextsDialsTest, WithoutANightRestSaysWhyAndWhereTheNightsComeFrom) {
    const EnglishDates english(Fmt::englishDateFormatter());
    using enum NightSourceKind;
    const std::string problem = "The system journal is not readable by mira: join the systemd-journal group.";
    const std::string fromNow = "Vitrek records nights from now on";
    const char* wake = "1 wake · plugged in";
    const auto now = at("2024-11-20T12:00:00+01:00");
    const auto november = at("2024-11-12T09:00:00+01:00");
    const auto lastYear = at("2023-11-12T09:00:00+01:00");
    const std::string since = "Recorded by Vitrek since 12 Nov";
    const std::optional<Night> night = nightWith(1, 0, {}, true);
    const std::tuple<Texts::NightStatus, std::optional<Night>, std::string, std::string> rows[] = {
        {{true, true, none, {}, ""}, night, "Reading last night…", fromNow},
        // Recording, the next night will be there: no alarm even though the journal failed.
        {{false, true, none, {}, problem}, {}, fromNow, fromNow + ". " + problem},
        {{false, false, none, {}, problem}, {}, "Can't read nights · see Health", problem},
        {{false, false, none, {}, ""}, {}, "No night recorded yet", ""},
        {{false, true, vitrek, november, problem}, night, wake, since + ". " + problem},
        {{false, true, vitrek, november, ""}, {}, fromNow, since},
        {{false, false, vitrek, lastYear, ""}, night, wake, since + " 2023"},
        {{false, true, both, november, ""},
         night,
         wake,
         "Nights from the system journal and recorded by Vitrek since 12 Nov"},
        {{false, false, journal, {}, ""}, {}, "No night recorded yet", "Nights read from the system journal"},
    };
    for (const auto& [status, shown, sub, source] : rows) {
        EXPECT_EQ(Texts::restLine(status, shown), sub) << source;
        EXPECT_EQ(Texts::nightSourceLine(status, now, berlin()), source) << sub;
    }
}

// The header's model and date are checked in the window's tests.
TEST(ScreenTextsMilestoneTest, StreakFromTwoDaysBannerUntilDismissedAndDetailNamingTheNextOne) {
    EXPECT_FALSE(Texts::showsStreak(1));
    EXPECT_TRUE(Texts::showsStreak(2));
    EXPECT_EQ(Texts::streakHelp(2), "2 days in a row");
    const std::pair<int, const char*> details[] = {
        {15, "Vitrek has checked your computer 15 days in a row. Next: 1 month in 15 days."},
        {29, "Vitrek has checked your computer 29 days in a row. Next: 1 month in 1 day."},
        {2, "Vitrek has checked your computer 2 days in a row. Next: 3 days in 1 day."},
        {365, "Vitrek has checked your computer 365 days in a row."},
    };
    for (const auto& [streak, detail] : details) {
        EXPECT_EQ(Texts::milestoneDetail(streak), detail);
    }
    // Streak, milestone already seen, the banner's milestone.
    const std::tuple<int, int, std::optional<int>> banners[] = {
        {7, 3, 7}, {8, 3, 7}, {7, 7, std::nullopt}, {9, 3, std::nullopt}, {3, 7, 3}, {1, 0, std::nullopt}};
    for (const auto& [streak, seen, shown] : banners) {
        EXPECT_EQ(Texts::bannerMilestone(streak, seen), shown) << streak;
    }
}

TEST(ScreenTextsAgeTest, MiniCardTellsTheGapTintAndPaceAndThePaceScaleItsTicksAndAmounts) {
    const std::pair<std::optional<MacAge>, Texts::AgeMini> rows[] = {
        {std::nullopt, {"–", "Not known yet", Role::ink3, "Set its date in Settings"}},
        {ageOf(3.0, 0.2), {"3.2", "2 months older", Role::poor, "Ageing at 1.1× pace"}},
        {ageOf(3.0, 0.08), {"3.1", "Right on its age", Role::ink2, "Ageing at 1.0× pace"}},
        {ageOf(3.0, -0.08), {"2.9", "Right on its age", Role::ink2, "Ageing at 1.0× pace"}},
        {ageOf(3.0, -1.3), {"1.7", "1.3 years younger", Role::good, "Ageing at 0.6× pace"}},
        // Exactly a month apart is no longer right on.
        {ageOf(kMonth, kMonth), {"0.2", "1 month older", Role::poor, "Ageing at 2.0× pace"}},
        {ageOf(0.2, -kMonth), {"0.1", "1 month younger", Role::good, "Ageing at 0.6× pace"}},
        // A real age of 0.05 year or less counts as none.
        {ageOf(0.05, 0.54), {"0.6", "6 months older", Role::poor, "Ageing at 1.0× pace"}},
        {ageOf(0.06, 0.54), {"0.6", "6 months older", Role::poor, "Ageing at 10.0× pace"}},
    };
    for (const auto& [age, expected] : rows) {
        EXPECT_EQ(Texts::ageMini(age), expected) << expected.line;
        EXPECT_EQ(Texts::ageTint(age), expected.lineTint);
    }
    EXPECT_EQ(Texts::paceValue(Texts::pace(ageOf(0.05, 2))), "1.0×");
    EXPECT_DOUBLE_EQ(Texts::paceTickX(0, 202), 1);
    EXPECT_DOUBLE_EQ(Texts::paceTickX(20, 202), 101);
    EXPECT_DOUBLE_EQ(Texts::paceTickX(40, 202), 201);
    EXPECT_EQ(Texts::paceValue(0.96), "1.0×");
    EXPECT_EQ(Texts::paceValue(std::nullopt), "–");
    EXPECT_EQ(Texts::paceAccessibleName(1.24), "Ageing at 1.2 times the usual pace");
    EXPECT_EQ(Texts::paceAccessibleName(std::nullopt), "Pace unknown");
    EXPECT_EQ(Texts::ageFactorAmount(-0.33), "−4 months");
    EXPECT_EQ(Texts::ageFactorAmount(1.3), "+1.3 years");
}

TEST(ScreenTextsAgeTest, OrbPillColourOutsideAMonthOrbNameAndRealLineNamingWhereTheAgeComesFrom) {
    const QColor younger = Texts::orbPillColor(-kMonth);
    const QColor older = Texts::orbPillColor(kMonth);
    EXPECT_GT(younger.green(), younger.red());
    EXPECT_GT(older.red(), older.blue());
    EXPECT_EQ(Texts::orbPillColor(kMonth - 0.01), Texts::orbPillColor(std::nullopt));
    EXPECT_EQ(Texts::orbPill(std::nullopt), "");
    EXPECT_EQ(Texts::orbAccessibleName(3.4, -0.5), "Vitrek Age 3.4 years, 6 months younger");
    EXPECT_EQ(Texts::orbAccessibleName(3.4, std::nullopt), "Vitrek Age 3.4 years");
    EXPECT_EQ(Texts::orbAccessibleName(std::nullopt, 0.5), "Vitrek Age unknown");
    const EnglishDates english(Fmt::englishDateFormatter());
    EXPECT_EQ(Texts::realLine(ageOf(3.4, 0), berlin()), "Real age 3.4 years, since you got it on 4 Mar 2024");
    EXPECT_EQ(Texts::realLine(ageOf(0.5, 0, MacAge::Source::setUp), berlin()),
              "Real age 6 months, set up 4 Mar 2024");
    EXPECT_EQ(Texts::realLine(ageOf(3.0, 0, MacAge::Source::modelYear), berlin()),
              "Real age about 3.0 years, from its model year");
}

// The recovery dial is the window's own; the others and the pill have forms of the card's.
TEST(CardTexts, DialsAgePillAndHeaderInTheCardsForms) {
    EXPECT_EQ(CardTexts::strainDial(std::nullopt, 5'000).sub, "Not measured yet");
    EXPECT_EQ(CardTexts::strainDial(8.44, 7'500),
              (Texts::Dial{8.44 / 21, "8.4", Role::strain, "Strain", "2 h 5 min busy"}));
    EXPECT_EQ(CardTexts::restDial(91, "1 wake"), (Texts::Dial{0.91, "91%", Role::rest, "Rest", "1 wake"}));
    EXPECT_EQ(CardTexts::restDial(std::nullopt, "No night yet").value, "–");
    EXPECT_EQ(CardTexts::ageYears(ageOf(2.8, -0.34)), "2.5 years");
    EXPECT_EQ(CardTexts::agePill(ageOf(2.8, 0.08)).text, "Right on its age");
    EXPECT_EQ(CardTexts::agePill(ageOf(2.8, -0.34)),
              (CardTexts::Pill{"4 months younger", Theme::color(Role::good, Theme::Appearance::dark)}));
    EXPECT_EQ(CardTexts::agePill(ageOf(2.8, 1.3)).color, Theme::color(Role::poor, Theme::Appearance::dark));
    // The header shouts the day of the card's zone, not of UTC, where it is still Monday, and the model.
    EXPECT_EQ(CardTexts::headerDate(test::at("2026-11-24T00:30:00+01:00"), test::berlin()), "TUESDAY 24 NOV");
    EXPECT_EQ(CardTexts::headerDate(test::at("2026-11-23T23:30:00Z"), test::berlin()), "TUESDAY 24 NOV");
    EXPECT_EQ(CardTexts::modelName("ThinkPad X1 Carbon Gen 11 (2023)"), "THINKPAD X1 CARBON GEN 11 (2023)");
    EXPECT_EQ(CardTexts::modelName(""), "YOUR COMPUTER");
}

TEST(ScreenTextsAgeTest, WeekLineComparesTodaysGapWithLastWeeks) {
    const auto age = ageOf(3.0, 0.2);
    const std::pair<std::optional<double>, std::optional<std::string>> lines[] = {
        {std::nullopt, std::nullopt},
        {0.15, "No change vs last week"},
        {0.5, "4 months younger than last week"},
        {-0.3, "6 months older than last week"},
        {-1.0, "1.2 years older than last week"},
    };
    for (const auto& [lastWeek, line] : lines) {
        EXPECT_EQ(Texts::weekLine(age, lastWeek), line);
    }
    EXPECT_EQ(Texts::weekLine(std::nullopt, 0.1), std::nullopt);
}

TEST(ScreenTextsHealthTest, AllInRangeOrSomeToCheckAndTileTexts) {
    const std::vector<Vital> allIn{vital("Memory", "Normal pressure", true),
                                   vital("Swap", "Under 8 GB", true)};
    EXPECT_EQ(Texts::healthMini(allIn), (Texts::HealthMini{"Within range", Role::good, "2/2 metrics"}));
    EXPECT_EQ(Texts::healthFooter(allIn), "2/2 within range");
    EXPECT_EQ(Texts::outOfRangeLine(allIn), "");

    const std::vector<Vital> twoOut{vital("Memory", "Normal pressure", false),
                                    vital("Swap", "Under 8 GB", true), vital("Temp", "Cool or warm", true),
                                    vital("Storage", "10% or more free", false),
                                    vital("Battery", "80% or more", true)};
    EXPECT_EQ(Texts::healthMini(twoOut), (Texts::HealthMini{"2 to check", Role::fair, "3/5 metrics"}));
    EXPECT_EQ(Texts::healthFooter(twoOut), "3/5 within range");
    EXPECT_EQ(Texts::outOfRangeLine(twoOut),
              "Memory: healthy is normal pressure · Storage: healthy is 10% or more free");

    EXPECT_EQ(Texts::vitalHelp(vital("Swap", "Under 8 GB", true)), "Swap: 62%. Healthy range: Under 8 GB.");
    EXPECT_EQ(Texts::vitalAccessibleName(vital("Swap", "Under 8 GB", true)), "Swap 62%, within range");
    EXPECT_EQ(Texts::vitalAccessibleName(vital("Swap", "Under 8 GB", false)), "Swap 62%, outside range");

    // A vital nobody could measure counts neither way.
    const auto noSensor = vital("Temp", "Cool or warm", std::nullopt);
    const std::vector<Vital> oneUnmeasured{vital("Memory", "Normal pressure", true), noSensor,
                                           vital("Storage", "10% or more free", false)};
    EXPECT_EQ(Texts::healthMini(oneUnmeasured), (Texts::HealthMini{"1 to check", Role::fair, "1/2 metrics"}));
    EXPECT_EQ(Texts::healthFooter(oneUnmeasured), "1/2 within range");
    EXPECT_EQ(Texts::outOfRangeLine(oneUnmeasured), "Storage: healthy is 10% or more free");
    EXPECT_EQ(Texts::vitalAccessibleName(noSensor), "Temp, not measured");
    EXPECT_EQ(Texts::vitalHelp(noSensor),
              "Temp: not measured on this computer. Healthy range: Cool or warm.");
}

TEST(ScreenTextsStressTest, MiniCardLevelsNowLineAndClock) {
    const std::pair<std::optional<double>, Texts::StressMini> rows[] = {
        {std::nullopt, {"–", "Measuring", Role::strain, "45 min high today"}},
        {0.124, {"12%", "Low", Role::strain, "45 min high today"}},
        {0.25, {"25%", "Medium", Role::strain, "45 min high today"}},
        {0.499, {"50%", "Medium", Role::strain, "45 min high today"}},
        {0.5, {"50%", "High", Role::fair, "45 min high today"}},
    };
    for (const auto& [now, expected] : rows) {
        EXPECT_EQ(Texts::stressMini(now, 2700), expected) << expected.value;
    }
    EXPECT_EQ(Texts::stressNowLine(0.42), "Now: Medium · 42% busy");
    EXPECT_EQ(Texts::stressNowLine(std::nullopt), std::nullopt);
    // The clock counts whole minutes.
    const std::pair<double, const char*> clocks[] = {{0, "0:00"},    {59.9, "0:00"},   {3599, "0:59"},
                                                     {5400, "1:30"}, {7199.9, "1:59"}, {36000, "10:00"}};
    for (const auto& [seconds, text] : clocks) {
        EXPECT_EQ(StressFmt::clock(seconds), text) << seconds;
    }
}

TEST(ScreenTextsStressTest, ComparisonWithATypicalDay) {
    const EnglishDates english(Fmt::englishDateFormatter());
    const auto tuesday = at("2024-03-05T12:00:00+01:00");
    using Typical = Stress::Typical;
    using Comparison = Texts::StressComparison;
    const std::tuple<double, std::optional<Typical>, std::optional<Comparison>> rows[] = {
        {3600, Typical{3600, true}, Comparison{false, "0 min less than a typical Tuesday"}},
        {5400, Typical{2700, false}, Comparison{true, "45 min more than a typical day"}},
        {0, Typical{7500, false}, Comparison{false, "2 h 5 min less than a typical day"}},
        {3600, std::nullopt, std::nullopt},
    };
    for (const auto& [heavy, typical, expected] : rows) {
        EXPECT_EQ(Texts::stressComparison(heavy, typical, tuesday, berlin()), expected) << heavy;
    }
}

TEST(ScreenTextsHistoryTest, ShowsTheLastFourteenDaysTheirIntegerAverageAndEachBarsHeightAndHelp) {
    History history;
    for (int i = 1; i <= 20; ++i) {
        history.days.push_back(Day{"2024-03-" + std::to_string(10 + i), 50 + i, {}, {}, {}, {}});
    }
    // Which days show is checked on the window's bars.
    EXPECT_EQ(Texts::averageRecovery(Texts::shownDays(history)), "63%"); // 889 / 14 = 63.5, truncated

    history.days.resize(1);
    EXPECT_EQ(Texts::shownDays(history).size(), 1u);
    EXPECT_EQ(Texts::averageRecovery({}), "–");

    const std::pair<int, double> heights[] = {{0, 6}, {4, 6}, {5, 6}, {72, 86.4}, {100, 120}};
    for (const auto& [recovery, height] : heights) {
        EXPECT_DOUBLE_EQ(Texts::barHeight(recovery), height) << recovery;
    }
    Day day{"2026-11-16", 72, 8.44, {}, {}, {}};
    EXPECT_EQ(Texts::dayHelp(day), "2026-11-16: recovery 72%, strain 8.4");
    day.strain.reset();
    EXPECT_EQ(Texts::dayHelp(day), "2026-11-16: recovery 72%");
}

TEST(ScreenTextsStressChartTest, SpanCoversSixHoursAndEveryPointInWholeLocalHours) {
    // Times of 2024-03-05 in the row's zone: zone, its offset, now, the points, the span's start and end.
    using Times = std::vector<const char*>;
    const std::tuple<const char*, const char*, const char*, Times, const char*, const char*> rows[] = {
        {"Europe/Berlin", "+01:00", "14:20", {}, "08:00", "15:00"},
        {"Europe/Berlin", "+01:00", "14:20", {"06:05", "15:05"}, "06:00", "16:00"},
        {"Europe/Berlin", "+01:00", "14:20", {"12:05"}, "08:00", "15:00"},
        {"Europe/Berlin", "+01:00", "15:00", {"09:00"}, "09:00", "16:00"},
        // A half-hour offset: floored in local time, not in UTC.
        {"Asia/Kolkata", "+05:30", "14:20", {}, "08:00", "15:00"},
    };
    for (const auto& [zone, offset, now, times, start, end] : rows) {
        const auto time = [offset = offset](const char* hm) {
            return at(std::string("2024-03-05T") + hm + ":00" + offset);
        };
        std::vector<Stress::Point> points;
        for (const char* hm : times) {
            points.push_back(Stress::Point{time(hm), 0.4});
        }
        EXPECT_EQ(StressChartModel::span(points, time(now), test::zone(zone)),
                  (StressChartModel::Span{time(start), time(end)}))
            << zone << " " << now;
    }
}

TEST(ScreenTextsStressChartTest, HourMarksAreLabelledEveryThirdLocalHour) {
    const auto labelledHours = [](const Calendar& calendar, const char* now) {
        std::string hours;
        const auto span = StressChartModel::span({}, at(now), calendar);
        for (const auto& mark : StressChartModel::hourMarks(span, calendar)) {
            hours += std::to_string(calendar.local(mark.date)->hour) + (mark.labelled ? "* " : " ");
        }
        return hours;
    };
    EXPECT_EQ(labelledHours(test::zone("Asia/Kolkata"), "2024-03-05T14:20:00+05:30"),
              "8 9* 10 11 12* 13 14 15* ");
    // The autumn night repeats 2 o'clock: every real hour gets its mark.
    EXPECT_EQ(labelledHours(berlin(), "2024-10-27T04:10:00+01:00"), "23 0* 1 2 2 3* 4 5 ");
}

TEST(ScreenTextsStressChartTest, LineBreaksWhereNeighboursAreMoreThanHalfAnHourApart) {
    const auto base = at("2024-03-05T08:00:00+01:00");
    std::vector<Stress::Point> points;
    for (const double offset : {0.0, 600.0, 1200.0, 3001.0, 4801.0}) {
        points.push_back(Stress::Point{base + Seconds{offset}, 0.3});
    }
    const auto runs = StressChartModel::runs(points);
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_EQ(runs[0].size(), 3u);
    EXPECT_EQ(runs[1].size(), 2u);
    EXPECT_TRUE(StressChartModel::runs({}).empty());
}

} // namespace
} // namespace vitrek
