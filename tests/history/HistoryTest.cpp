#include "history/History.h"

#include "history/Day.h"
#include "support/TestSupport.h"
#include "time/Calendar.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace vitrek;
using namespace vitrek::test;

namespace {

// Spelled out in full because designated initializers that skip members trip -Wmissing-field-initializers.
Day dayOf(std::string id, int recovery, std::optional<double> strain = std::nullopt,
          std::optional<int> rest = std::nullopt, std::optional<double> stress = std::nullopt,
          std::optional<double> ageGap = std::nullopt) {
    return Day{std::move(id), recovery, strain, rest, stress, ageGap};
}

std::optional<double> unixOf(std::optional<Instant> instant) {
    if (!instant) {
        return std::nullopt;
    }
    return unixSeconds(*instant);
}

History historyOf(const std::vector<std::string>& ids) {
    History history;
    for (const auto& id : ids) {
        history.days.push_back(dayOf(id, 70));
    }
    return history;
}

History withAgeGaps(const std::vector<std::pair<std::string, std::optional<double>>>& records) {
    History history;
    for (const auto& [id, gap] : records) {
        history.days.push_back(dayOf(id, 70, std::nullopt, std::nullopt, std::nullopt, gap));
    }
    return history;
}

std::vector<std::string> idsOf(const History& history) {
    std::vector<std::string> ids;
    for (const auto& day : history.days) {
        ids.push_back(day.id);
    }
    return ids;
}

} // namespace

// Day keys

TEST(HistoryTest, DayIDFollowsTheCalendarsMidnight) {
    struct Case {
        const char* instant;
        const char* inBerlin;
        const char* inNewYork;
    };
    const std::vector<Case> cases{
        {"2025-01-05T23:30:00+01:00", "2025-01-05", "2025-01-05"},
        {"2025-01-05T23:30:00Z", "2025-01-06", "2025-01-05"},
        {"2025-01-06T04:59:59Z", "2025-01-06", "2025-01-05"},
        {"2025-01-06T05:00:00Z", "2025-01-06", "2025-01-06"},
        {"2024-12-31T23:00:00Z", "2025-01-01", "2024-12-31"},
        // Midnight itself belongs to the new day.
        {"2025-03-31T00:00:00+02:00", "2025-03-31", "2025-03-30"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.instant);
        EXPECT_EQ(History::dayID(at(c.instant), berlin()), c.inBerlin);
        EXPECT_EQ(History::dayID(at(c.instant), newYork()), c.inNewYork);
    }
}

TEST(HistoryTest, DayIDOfAnInstantTheCalendarCannotPlaceIsAllZeros) {
    const Instant nowhere = fromUnixSeconds(std::numeric_limits<double>::quiet_NaN());
    EXPECT_EQ(History::dayID(nowhere, berlin()), "0000-00-00");
}

TEST(HistoryTest, DateReadsKeysBackToTheStartOfTheirDay) {
    struct Case {
        const char* key;
        std::optional<const char*> expected;
    };
    const std::vector<Case> cases{
        {"2025-01-05", "2025-01-05T00:00:00+01:00"},
        {"2025-1-5", "2025-01-05T00:00:00+01:00"},
        {"2025-03-30", "2025-03-30T00:00:00+01:00"},
        {"2025-03-31", "2025-03-31T00:00:00+02:00"},
        // Empty pieces are dropped, wherever the extra hyphens are.
        {"2025--01--05", "2025-01-05T00:00:00+01:00"},
        {"-2025-01-05-", "2025-01-05T00:00:00+01:00"},
        {"+2025-01-+5", "2025-01-05T00:00:00+01:00"},
        // A non-numeric piece is dropped, so it only breaks a key that then lacks a number.
        {"2025-01-xx-05", "2025-01-05T00:00:00+01:00"},
        {"2025-xx-05", std::nullopt},
        {"2025-01-5a", std::nullopt},
        {"2025-01- 5", std::nullopt},
        {"2025-01", std::nullopt},
        {"2025-01-05-07", std::nullopt},
        // A number too large for the date is still a fourth number, not a dropped piece.
        {"2025-01-05-99999999999", std::nullopt},
        {"99999999999-01-05", std::nullopt},
        {"", std::nullopt},
        {"---", std::nullopt},
        {"2025-02-29", std::nullopt},
        {"2025-13-01", std::nullopt},
        {"2025-01-32", std::nullopt},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string("key \"") + c.key + "\"");
        const auto expected = c.expected ? std::optional<double>(unixSeconds(at(*c.expected))) : std::nullopt;
        EXPECT_EQ(unixOf(History::date(c.key, berlin())), expected);
    }
}

TEST(HistoryTest, DateOfADayWithoutMidnightIsItsFirstInstant) {
    EXPECT_EQ(unixOf(History::date("2018-11-04", zone("America/Sao_Paulo"))),
              unixSeconds(at("2018-11-04T01:00:00-02:00")));
}

// Recording

TEST(HistoryTest, RecordReplacesTheDayWithTheSameID) {
    History history = historyOf({"2025-01-03", "2025-01-04", "2025-01-05"});
    history.record(dayOf("2025-01-04", 12, std::nullopt, 40), 400);

    EXPECT_EQ(idsOf(history), (std::vector<std::string>{"2025-01-03", "2025-01-04", "2025-01-05"}));
    EXPECT_EQ(history.days[1], dayOf("2025-01-04", 12, std::nullopt, 40));
}

TEST(HistoryTest, RecordKeepsTheListInKeyOrder) {
    History history;
    for (const char* id : {"2025-01-05", "2024-12-31", "2025-01-10", "2025-01-01", "2023-06-15"}) {
        history.record(dayOf(id, 50), 400);
    }
    EXPECT_EQ(idsOf(history), (std::vector<std::string>{"2023-06-15", "2024-12-31", "2025-01-01",
                                                        "2025-01-05", "2025-01-10"}));
}

TEST(HistoryTest, RecordDropsTheOldestBeyondKeep) {
    const Calendar calendar = Calendar::utc();
    const Instant first = at("2024-01-01T12:00:00Z");
    History history;
    for (int i = 0; i < 401; ++i) {
        history.record(dayOf(History::dayID(*calendar.addingDays(first, i), calendar), 60), 400);
    }
    ASSERT_EQ(history.days.size(), 400u);
    EXPECT_EQ(history.days.front().id, "2024-01-02");
    EXPECT_EQ(history.days.back().id, "2025-02-04");

    // A late record for a day older than all others is the oldest, so it is the one trimmed.
    history.record(dayOf("2023-12-31", 60), 400);
    EXPECT_EQ(history.days.size(), 400u);
    EXPECT_EQ(history.days.front().id, "2024-01-02");

    // With room to spare the old day stays and goes first.
    history.record(dayOf("2023-12-31", 60), 401);
    EXPECT_EQ(history.days.size(), 401u);
    EXPECT_EQ(history.days.front().id, "2023-12-31");
}

TEST(HistoryTest, RecordWithKeepZeroLeavesNothing) {
    History history = historyOf({"2025-01-03", "2025-01-04"});
    history.record(dayOf("2025-01-05", 50), 0);
    EXPECT_TRUE(history.days.empty());
}

// Streaks

TEST(HistoryTest, StreakCountsBackFromTodayOrYesterday) {
    struct Case {
        const char* name;
        std::vector<std::string> ids;
        const char* today;
        int expected;
    };
    const std::vector<Case> cases{
        {"empty", {}, "2025-01-06T12:00:00+01:00", 0},
        {"today and three before",
         {"2025-01-03", "2025-01-04", "2025-01-05", "2025-01-06"},
         "2025-01-06T12:00:00+01:00",
         4},
        {"no record yet today", {"2025-01-04", "2025-01-05"}, "2025-01-06T12:00:00+01:00", 2},
        {"only the day before yesterday", {"2025-01-04"}, "2025-01-06T12:00:00+01:00", 0},
        {"gap ends the run",
         {"2025-01-01", "2025-01-02", "2025-01-03", "2025-01-05"},
         "2025-01-06T09:00:00+01:00",
         1},
        {"two days without a record",
         {"2025-01-01", "2025-01-02", "2025-01-03", "2025-01-05"},
         "2025-01-07T09:00:00+01:00",
         0},
        {"just after midnight", {"2025-01-05", "2025-01-06"}, "2025-01-06T00:00:00+01:00", 2},
        {"just before midnight", {"2025-01-05", "2025-01-06"}, "2025-01-06T23:59:59+01:00", 2},
        {"future records do not count", {"2025-01-05", "2025-01-07"}, "2025-01-06T12:00:00+01:00", 1},
        {"across the year",
         {"2024-12-30", "2024-12-31", "2025-01-01", "2025-01-02"},
         "2025-01-02T20:00:00+01:00",
         4},
        {"across February", {"2024-02-28", "2024-02-29", "2024-03-01"}, "2024-03-01T20:00:00+01:00", 3},
        // The days after the short spring night and the long autumn one.
        {"after spring forward", {"2025-03-29", "2025-03-30", "2025-03-31"}, "2025-03-31T00:30:00+02:00", 3},
        {"after spring forward, today unrecorded",
         {"2025-03-29", "2025-03-30"},
         "2025-03-31T23:30:00+02:00",
         2},
        {"after fall back", {"2025-10-25", "2025-10-26", "2025-10-27"}, "2025-10-27T23:30:00+01:00", 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(historyOf(c.ids).streak(at(c.today), berlin()), c.expected);
    }
}

TEST(HistoryTest, StreakUsesTheCalendarsDays) {
    const History history = historyOf({"2025-03-08", "2025-03-09", "2025-03-10"});
    // At 03:00 UTC on the 10th it is still the 9th in New York, so the record of the 10th lies ahead.
    EXPECT_EQ(history.streak(at("2025-03-10T12:00:00+01:00"), berlin()), 3);
    EXPECT_EQ(history.streak(at("2025-03-10T12:00:00-04:00"), newYork()), 3);
    EXPECT_EQ(history.streak(at("2025-03-10T03:00:00Z"), newYork()), 2);
}

// Last week's age gap

TEST(HistoryTest, AgeGapPrefersSevenDaysThenTheOlderNeighbour) {
    const Instant now = at("2025-01-15T10:00:00+01:00");
    struct Case {
        const char* name;
        History history;
        std::optional<double> expected;
    };
    const std::vector<Case> cases{
        {"empty", {}, std::nullopt},
        {"seven days", withAgeGaps({{"2025-01-07", 8.0}, {"2025-01-08", 7.0}, {"2025-01-09", 6.0}}), 7.0},
        {"six and eight: eight wins", withAgeGaps({{"2025-01-07", 8.0}, {"2025-01-09", 6.0}}), 8.0},
        {"six only", withAgeGaps({{"2025-01-09", 6.0}, {"2025-01-14", 1.0}}), 6.0},
        {"five and nine are too far", withAgeGaps({{"2025-01-06", 9.0}, {"2025-01-10", 5.0}}), std::nullopt},
        {"seven without a gap is skipped", withAgeGaps({{"2025-01-08", std::nullopt}, {"2025-01-09", 6.0}}),
         6.0},
        {"only records without a gap",
         withAgeGaps({{"2025-01-07", std::nullopt}, {"2025-01-08", std::nullopt}}), std::nullopt},
        {"malformed key is skipped", withAgeGaps({{"2025-01", 1.0}, {"2025-01-09", 6.0}}), 6.0},
        {"unpadded key counts", withAgeGaps({{"2025-1-8", 7.0}, {"2025-01-09", 6.0}}), 7.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.history.ageGap(now, berlin()), c.expected);
    }
}

TEST(HistoryTest, AgeGapCountsCalendarDaysNotHours) {
    // Eight days before 2 April 2025 span the 23-hour day of the spring change.
    const History spring = withAgeGaps({{"2025-03-25", 8.0}, {"2025-03-26", 7.0}});
    EXPECT_EQ(spring.ageGap(at("2025-04-02T10:00:00+02:00"), berlin()), 7.0);
    EXPECT_EQ(spring.ageGap(at("2025-04-02T23:59:00+02:00"), berlin()), 7.0);
    EXPECT_EQ(withAgeGaps({{"2025-03-24", 9.0}}).ageGap(at("2025-04-02T00:00:00+02:00"), berlin()),
              std::nullopt);

    const History autumn = withAgeGaps({{"2025-10-22", 7.0}, {"2025-10-23", 6.0}});
    EXPECT_EQ(autumn.ageGap(at("2025-10-29T00:00:00+01:00"), berlin()), 7.0);
    EXPECT_EQ(withAgeGaps({{"2025-10-24", 5.0}}).ageGap(at("2025-10-29T23:30:00+01:00"), berlin()),
              std::nullopt);
}

// JSON forms

TEST(DayTest, EncodesKeysInFieldOrderAndOmitsAbsentOnes) {
    const Day full = dayOf("2025-01-05", 72, 12.5, 80, 1800.5, -1.25);
    const std::string text = compactText(toJson(full));
    const std::vector<std::string> keys{"\"id\"",   "\"recovery\"", "\"strain\"",
                                        "\"rest\"", "\"stress\"",   "\"ageGap\""};
    std::size_t previous = 0;
    for (const auto& key : keys) {
        const std::size_t position = text.find(key);
        ASSERT_NE(position, std::string::npos) << key << " in " << text;
        EXPECT_GE(position, previous) << key << " out of order in " << text;
        previous = position;
    }

    EXPECT_EQ(compactText(toJson(dayOf("2025-01-05", 72))), R"({"id":"2025-01-05","recovery":72})");
    EXPECT_EQ(compactText(toJson(dayOf("2025-01-05", 72, std::nullopt, 80))),
              R"({"id":"2025-01-05","recovery":72,"rest":80})");
}

TEST(DayTest, RoundTripsThroughText) {
    const std::vector<Day> days{
        dayOf("2025-01-05", 72, 12.5, 80, 1800.5, -1.25),
        dayOf("2025-01-06", 0),
        dayOf("2025-01-07", 100, 0.0, std::nullopt, std::nullopt, 0.0),
    };
    for (const auto& day : days) {
        SCOPED_TRACE(day.id);
        EXPECT_EQ(fromJsonText<Day>(compactText(toJson(day))), day);
    }
}

TEST(DayTest, MissingOrNullOptionalsDecodeAbsent) {
    EXPECT_EQ(fromJsonText<Day>(R"({"id":"2025-01-05","recovery":72})"), dayOf("2025-01-05", 72));
    EXPECT_EQ(
        fromJsonText<Day>(
            R"({"ageGap":null,"stress":null,"rest":null,"strain":null,"recovery":72,"id":"2025-01-05"})"),
        dayOf("2025-01-05", 72));
    // A whole number is a valid double.
    EXPECT_EQ(fromJsonText<Day>(R"({"id":"2025-01-05","recovery":72,"strain":12,"stress":600})"),
              dayOf("2025-01-05", 72, 12.0, std::nullopt, 600.0));
}

TEST(DayTest, MissingRequiredOrWronglyTypedValuesFail) {
    const std::vector<const char*> texts{
        R"({"recovery":72})",
        R"({"id":"2025-01-05"})",
        R"({"id":null,"recovery":72})",
        R"({"id":20250105,"recovery":72})",
        R"({"id":"2025-01-05","recovery":"72"})",
        R"({"id":"2025-01-05","recovery":72.5})",
        R"({"id":"2025-01-05","recovery":72,"strain":"x"})",
        R"({"id":"2025-01-05","recovery":72,"rest":72.5})",
        R"({"id":"2025-01-05","recovery":72,"rest":"80"})",
        R"({"id":"2025-01-05","recovery":72,"stress":true})",
        R"({"id":"2025-01-05","recovery":72,"ageGap":[1]})",
        R"(["2025-01-05",72])",
        R"({"id":"2025-01-05","recovery":72)",
    };
    for (const char* text : texts) {
        SCOPED_TRACE(text);
        EXPECT_EQ(fromJsonText<Day>(text), std::nullopt);
    }
}

TEST(HistoryTest, JSONRoundTripsAndKeepsTheListOrder) {
    const History history{{
        dayOf("2025-01-04", 61, 9.5),
        dayOf("2025-01-05", 72, 12.5, 80, 1800.0, 0.75),
    }};
    const std::string text = compactText(toJson(history));
    EXPECT_EQ(text.rfind(R"({"days":[{"id":"2025-01-04")", 0), 0u) << text;
    EXPECT_EQ(fromJsonText<History>(text), history);

    EXPECT_EQ(compactText(toJson(History{})), R"({"days":[]})");
    EXPECT_EQ(fromJsonText<History>(R"({"days":[]})"), History{});
}

TEST(HistoryTest, OneBadDayFailsTheWholeDocument) {
    const std::vector<const char*> texts{
        R"({})",
        R"({"day":[]})",
        R"({"days":null})",
        R"({"days":{}})",
        R"({"days":[{"id":"2025-01-04","recovery":61},{"id":"2025-01-05","recovery":"72"}]})",
        R"({"days":[{"id":"2025-01-04","recovery":61},{"id":"2025-01-05","recovery":72,"strain":"x"}]})",
        R"({"days":[{"id":"2025-01-04","recovery":61,"rest":72.5}]})",
        R"({"days":[{"recovery":61}]})",
        R"({"days":[1]})",
        "",
        "not json",
    };
    for (const char* text : texts) {
        SCOPED_TRACE(text);
        EXPECT_EQ(fromJsonText<History>(text), std::nullopt);
    }
}
