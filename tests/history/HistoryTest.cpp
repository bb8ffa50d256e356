#include "history/History.h"

#include "history/Day.h"
#include "history/Milestone.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <vector>

using namespace vitrek;
using namespace vitrek::test;

namespace {

Day dayOf(std::string id, std::optional<double> ageGap = std::nullopt) {
    return Day{std::move(id), 70, std::nullopt, std::nullopt, std::nullopt, ageGap};
}

} // namespace

// Keys split on hyphens; empty and non-numeric pieces are dropped, and exactly three numbers must remain.
TEST(HistoryTest, DateReadsKeysBackToTheStartOfTheirDay) {
    for (const char* key : {"2025-01-05", "2025-1-5", "-2025--01-+5-", "2025-01-xx-05"}) {
        EXPECT_EQ(History::date(key, berlin()), at("2025-01-05T00:00:00+01:00")) << key;
    }
    EXPECT_EQ(History::date("2025-03-31", berlin()), at("2025-03-31T00:00:00+02:00"));
    EXPECT_EQ(History::date("2018-11-04", zone("America/Sao_Paulo")), at("2018-11-04T01:00:00-02:00"));
    for (const char* key : {"2025-xx-05", "2025-01-5a", "2025-01- 5", "2025-01", "2025-01-05-07", "", "---",
                            "2025-01-05-99999999999", "99999999999-01-05", "2025-02-29", "2025-13-01"}) {
        EXPECT_EQ(History::date(key, berlin()), std::nullopt) << key;
    }
    // The key of an instant follows the calendar's midnight; the streak and file tests cover the zones.
    EXPECT_EQ(History::dayID(fromUnixSeconds(NAN), berlin()), "0000-00-00");
}

TEST(HistoryTest, RecordReplacesSortsAndKeepsOnlyTheNewest) {
    History history;
    for (const char* id : {"2025-01-05", "2024-12-31", "2025-01-10", "2025-01-01"}) {
        history.record(dayOf(id), 400);
    }
    const Day replacement{"2025-01-05", 12, std::nullopt, 40, std::nullopt, std::nullopt};
    history.record(replacement, 400);
    EXPECT_EQ(history,
              (History{{dayOf("2024-12-31"), dayOf("2025-01-01"), replacement, dayOf("2025-01-10")}}));
    // A late record older than all others is the one trimmed.
    history.record(dayOf("2023-06-15"), 4);
    EXPECT_EQ(history.days.front().id, "2024-12-31");
    history.record(dayOf("2025-01-11"), 3);
    EXPECT_EQ(history, (History{{replacement, dayOf("2025-01-10"), dayOf("2025-01-11")}}));
    history.record(dayOf("2025-01-12"), 0);
    EXPECT_TRUE(history.days.empty());
}

TEST(HistoryTest, StreakCountsBackFromTodayOrYesterday) {
    const History winter{{dayOf("2024-12-31"), dayOf("2025-01-01"), dayOf("2025-01-02"), dayOf("2025-01-04"),
                          dayOf("2025-01-05")}};
    EXPECT_EQ(winter.streak(at("2025-01-05T12:00:00+01:00"), berlin()), 2);
    EXPECT_EQ(winter.streak(at("2025-01-06T09:00:00+01:00"), berlin()), 2);
    EXPECT_EQ(winter.streak(at("2025-01-07T09:00:00+01:00"), berlin()), 0);
    EXPECT_EQ(winter.streak(at("2025-01-04T00:00:00+01:00"), berlin()), 1);
    EXPECT_EQ(winter.streak(at("2024-12-30T12:00:00+01:00"), berlin()), 0);
    // A list out of order (a hand-edited file) counts the same; a run ends at the first day that fails.
    History shuffled = winter;
    std::reverse(shuffled.days.begin(), shuffled.days.end());
    EXPECT_EQ(shuffled.streak(at("2025-01-05T12:00:00+01:00"), berlin()), 2);
    EXPECT_EQ(shuffled.streak(at("2025-01-02T12:00:00+01:00"), berlin()), 3);
    const auto notNewYear = [](const Day& day) { return day.id != "2025-01-01"; };
    EXPECT_EQ(winter.run(at("2025-01-03T12:00:00+01:00"), berlin(), notNewYear), 1);
    // Runs across the short spring night and the long autumn one, in both zones.
    const History spring{{dayOf("2025-03-08"), dayOf("2025-03-09"), dayOf("2025-03-10"), dayOf("2025-03-29"),
                          dayOf("2025-03-30"), dayOf("2025-03-31")}};
    EXPECT_EQ(spring.streak(at("2025-03-31T00:30:00+02:00"), berlin()), 3);
    EXPECT_EQ(spring.streak(at("2025-03-10T12:00:00-04:00"), newYork()), 3);
    EXPECT_EQ(spring.streak(at("2025-03-10T03:00:00Z"), newYork()), 2);
    EXPECT_EQ(spring.streak(at("2025-03-10T03:00:00Z"), berlin()), 3);
    const History autumn{{dayOf("2025-10-25"), dayOf("2025-10-26"), dayOf("2025-10-27")}};
    EXPECT_EQ(autumn.streak(at("2025-10-27T23:30:00+01:00"), berlin()), 3);
}

// 2 April 2025 in Berlin: the days 6, 7 and 8 before it span the spring change.
TEST(HistoryTest, AgeGapPrefersSevenDaysThenTheOlderNeighbour) {
    const auto lastWeek = [](std::vector<Day> days, const char* now = "2025-04-02T10:00:00+02:00") {
        return History{std::move(days)}.ageGap(at(now), berlin());
    };
    EXPECT_EQ(lastWeek({dayOf("2025-03-25", 8.0), dayOf("2025-03-26", 7.0), dayOf("2025-03-27", 6.0)}), 7.0);
    EXPECT_EQ(lastWeek({dayOf("2025-03-25", 8.0), dayOf("2025-03-27", 6.0)}), 8.0);
    EXPECT_EQ(lastWeek({dayOf("2025-03-24", 9.0), dayOf("2025-03-28", 5.0)}), std::nullopt);
    EXPECT_EQ(lastWeek({dayOf("2025-03-26"), dayOf("2025-03-27", 6.0)}), 6.0);
    EXPECT_EQ(lastWeek({dayOf("2025-03", 1.0), dayOf("2025-3-26", 7.0)}), 7.0);
    // Whole calendar days from the start of today, not hours from now.
    EXPECT_EQ(lastWeek({dayOf("2025-03-24", 9.0)}, "2025-04-02T00:00:00+02:00"), std::nullopt);
    EXPECT_EQ(lastWeek({dayOf("2025-10-24", 5.0)}, "2025-10-29T23:30:00+01:00"), std::nullopt);
}

TEST(HistoryTest, JSONTreatsMissingOrNullOptionalsAsAbsentAndAnyBadValueFailsTheDayAndItsDocument) {
    const Day bare{"d", 72, std::nullopt, std::nullopt, std::nullopt, std::nullopt};
    const char* nulls = R"({"ageGap":null,"stress":null,"rest":null,"strain":null,"recovery":72,"id":"d"})";
    EXPECT_EQ(fromJsonText<Day>(R"({"id":"d","recovery":72})"), bare);
    EXPECT_EQ(fromJsonText<Day>(nulls), bare);
    for (const char* text :
         {R"({"recovery":72})", R"({"id":"d"})", R"({"id":5,"recovery":72})", R"({"id":"d","recovery":72.5})",
          R"({"id":"d","recovery":"72"})", R"({"id":"d","recovery":72,"strain":"x"})",
          R"({"id":"d","recovery":72,"rest":72.5})", R"({"id":"d","recovery":72,"stress":true})"}) {
        EXPECT_EQ(fromJsonText<Day>(text), std::nullopt) << text;
    }
    // A History round-trips, and one bad day fails the whole document.
    const History history{{Day{"a", 61, 9.5, std::nullopt, std::nullopt, std::nullopt}, dayOf("b")}};
    EXPECT_EQ(fromJsonText<History>(compactText(toJson(history))), history);
    for (const char* bad : {R"({})", R"({"days":null})", R"({"days":[1]})", "not json",
                            R"({"days":[{"id":"a","recovery":61},{"id":"b","recovery":"72"}]})"}) {
        EXPECT_EQ(fromJsonText<History>(bad), std::nullopt) << bad;
    }
}

TEST(MilestoneTest, ReachedOnItsDayAndTheNextWithTitlesForWeeksMonthsAndYears) {
    const std::vector<std::pair<int, const char*>> titles{
        {3, "3 days of check-ups"},     {7, "1 week of check-ups"},    {14, "2 weeks of check-ups"},
        {30, "1 month of check-ups"},   {60, "2 months of check-ups"}, {100, "100 days of check-ups"},
        {180, "6 months of check-ups"}, {365, "1 year of check-ups"}};
    for (const auto& [days, title] : titles) {
        EXPECT_TRUE(Milestone::reached(days) == days && Milestone::reached(days + 1) == days) << days;
        EXPECT_EQ(Milestone::next(days - 1), days);
        EXPECT_EQ(Milestone::title(days), title);
    }
    for (const int streak : {-1, 0, 2, 5, 6, 9, 16, 59, 182, 364, 367, 730}) {
        EXPECT_EQ(Milestone::reached(streak), std::nullopt) << streak;
    }
    EXPECT_TRUE(Milestone::next(3) == 7 && !Milestone::next(365)) << "next lies strictly above, up to 365";
    EXPECT_EQ(Milestone::title(45), "45 days of check-ups");
}
