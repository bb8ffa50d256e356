#include "scores/Stress.h"

#include "history/History.h"
#include "scores/Sample.h"
#include "support/TestSupport.h"
#include "time/Calendar.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using namespace vitrek;
using namespace vitrek::test;

namespace {

// A sample dated by its seconds since 2001-01-01 UTC, the origin of the chart's buckets.
Sample sampleAtReference(double seconds, double load) {
    return Sample{.date = fromReferenceSeconds(seconds), .load = load, .heat = Heat::cool};
}

Sample sampleAt(Instant date, double load) {
    return Sample{.date = date, .load = load, .heat = Heat::warm};
}

struct Expected {
    double referenceSeconds;
    double load;
};

void expectCurve(const std::vector<Stress::Point>& points, const std::vector<Expected>& expected) {
    ASSERT_EQ(points.size(), expected.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_DOUBLE_EQ(referenceSeconds(points[i].date), expected[i].referenceSeconds);
        EXPECT_NEAR(points[i].load, expected[i].load, 1e-12);
    }
}

Day stressDay(const std::string& id, std::optional<double> stress) {
    return Day{id, 70, std::nullopt, std::nullopt, stress, std::nullopt};
}

} // namespace

TEST(StressTest, CurveAveragesEachBucketAtItsMiddle) {
    const std::vector<Sample> samples{
        sampleAtReference(0, 0.2),
        sampleAtReference(100, 0.4),
        sampleAtReference(599.9, 0.9),
        sampleAtReference(600, 0.5),
        sampleAtReference(1199, 0.7),
        // Nothing between 1200 and 3000: no points there, not zeros.
        sampleAtReference(3000, 1.0),
    };
    expectCurve(Stress::curve(samples, 600), {{300, 0.5}, {900, 0.6}, {3300, 1.0}});
}

TEST(StressTest, CurveIsInAscendingTimeWhateverTheSampleOrder) {
    const std::vector<Sample> samples{
        sampleAtReference(1300, 0.3),
        sampleAtReference(10, 0.1),
        sampleAtReference(1250, 0.5),
    };
    expectCurve(Stress::curve(samples, 600), {{300, 0.1}, {1500, 0.4}});
}

TEST(StressTest, CurveBucketsCountFrom2001NotFrom1970) {
    // 1970 and 2001 are whole multiples of 600 s apart but not of 700 s, so this bucket tells them apart.
    const std::vector<Sample> samples{sampleAtReference(0, 0.4), sampleAtReference(699, 0.6),
                                      sampleAtReference(700, 1.0)};
    expectCurve(Stress::curve(samples, 700), {{350, 0.5}, {1050, 1.0}});
}

TEST(StressTest, CurveFloorsDatesBefore2001) {
    const std::vector<Sample> samples{sampleAtReference(-100, 0.3), sampleAtReference(100, 0.9)};
    expectCurve(Stress::curve(samples, 600), {{-300, 0.3}, {300, 0.9}});
}

TEST(StressTest, CurveOfNoSamplesIsEmpty) {
    EXPECT_TRUE(Stress::curve({}, 600).empty());
}

TEST(StressTest, NowAveragesTheLastTenMinutes) {
    const Instant now = at("2025-01-05T15:00:00+01:00");
    const auto ago = [&](double seconds) { return now - Seconds{seconds}; };
    struct Case {
        const char* name;
        std::vector<Sample> samples;
        std::optional<double> expected;
    };
    const std::vector<Case> cases{
        {"none", {}, std::nullopt},
        {"only one 601 s old", {sampleAt(ago(601), 0.8)}, std::nullopt},
        {"one exactly 600 s old", {sampleAt(ago(600), 0.8)}, 0.8},
        {"one taken right now", {sampleAt(now, 0.3)}, 0.3},
        {"a future sample is ignored", {sampleAt(ago(-30), 1.0), sampleAt(ago(60), 0.2)}, 0.2},
        {"only a future sample", {sampleAt(ago(-1), 1.0)}, std::nullopt},
        {"mean of the recent ones",
         {sampleAt(ago(900), 1.0), sampleAt(ago(540), 0.2), sampleAt(ago(60), 0.6)},
         0.4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto result = Stress::now(c.samples, now);
        ASSERT_EQ(result.has_value(), c.expected.has_value());
        if (result) {
            EXPECT_NEAR(*result, *c.expected, 1e-12);
        }
    }
}

TEST(StressTest, LevelBandsAtAQuarterAndAHalf) {
    struct Case {
        double load;
        Stress::Level expected;
        const char* raw;
    };
    const std::vector<Case> cases{
        {0, Stress::Level::low, "Low"},          {0.249, Stress::Level::low, "Low"},
        {0.25, Stress::Level::medium, "Medium"}, {0.499, Stress::Level::medium, "Medium"},
        {0.5, Stress::Level::high, "High"},      {1.0, Stress::Level::high, "High"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.load);
        EXPECT_EQ(Stress::level(c.load), c.expected);
        EXPECT_EQ(Stress::rawValue(Stress::level(c.load)), c.raw);
    }
}

// 2025-03-12 is a Wednesday; 5 March and 26 February are the Wednesdays before it.
TEST(StressTest, TypicalComparesWithTheSameWeekdayOrAllPastDays) {
    const Instant today = at("2025-03-12T15:00:00+01:00");
    struct Case {
        const char* name;
        std::vector<Day> days;
        std::optional<Stress::Typical> expected;
    };
    const std::vector<Case> cases{
        {"empty", {}, std::nullopt},
        {"one same weekday and one other",
         {stressDay("2025-03-05", 600), stressDay("2025-03-10", 1200)},
         std::nullopt},
        {"one same weekday and two others",
         {stressDay("2025-03-05", 600), stressDay("2025-03-09", 900), stressDay("2025-03-10", 1500)},
         Stress::Typical{1000, false}},
        {"two same weekdays among ten",
         {stressDay("2025-02-25", 100), stressDay("2025-02-26", 1200), stressDay("2025-02-27", 3000),
          stressDay("2025-02-28", 3000), stressDay("2025-03-01", 3000), stressDay("2025-03-02", 3000),
          stressDay("2025-03-03", 3000), stressDay("2025-03-04", 3000), stressDay("2025-03-05", 1800),
          stressDay("2025-03-06", 3000)},
         Stress::Typical{1500, true}},
        {"today's own record does not count",
         {stressDay("2025-03-05", 600), stressDay("2025-03-11", 900), stressDay("2025-03-12", 5000)},
         std::nullopt},
        {"days without stress do not count",
         {stressDay("2025-02-26", std::nullopt), stressDay("2025-03-05", 600), stressDay("2025-03-09", 900),
          stressDay("2025-03-10", std::nullopt)},
         std::nullopt},
        {"no same weekday, three others",
         {stressDay("2025-03-08", 0), stressDay("2025-03-09", 300), stressDay("2025-03-10", 600)},
         Stress::Typical{300, false}},
        // A key that names no date cannot match the weekday but still counts among all past days.
        {"malformed key counts only among all days",
         {stressDay("2025-03-05", 600), stressDay("2025-03-10", 900), stressDay("yesterday", 1500)},
         Stress::Typical{1000, false}},
        {"unpadded key matches the weekday",
         {stressDay("2025-3-5", 600), stressDay("2025-02-26", 1000), stressDay("2025-03-10", 9000)},
         Stress::Typical{800, true}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto result = Stress::typical(History{c.days}, today, berlin());
        ASSERT_EQ(result.has_value(), c.expected.has_value());
        if (result) {
            EXPECT_NEAR(result->seconds, c.expected->seconds, 1e-9);
            EXPECT_EQ(result->sameWeekday, c.expected->sameWeekday);
        }
    }
}

TEST(StressTest, TypicalTakesTodayAndItsWeekdayFromTheCalendar) {
    // 02:00 UTC on Thursday 13 March is still Wednesday evening in New York.
    const Instant instant = at("2025-03-13T02:00:00Z");
    const History history{{stressDay("2025-03-05", 600), stressDay("2025-03-06", 1200),
                           stressDay("2025-02-26", 1000), stressDay("2025-02-27", 1400),
                           stressDay("2025-03-12", 5000)}};

    const auto inNewYork = Stress::typical(history, instant, newYork());
    ASSERT_TRUE(inNewYork.has_value());
    EXPECT_EQ(*inNewYork, (Stress::Typical{800, true}));

    // In Berlin it is already Thursday, so the Thursdays are compared.
    const auto inBerlin = Stress::typical(history, instant, berlin());
    ASSERT_TRUE(inBerlin.has_value());
    EXPECT_EQ(*inBerlin, (Stress::Typical{1300, true}));
}
