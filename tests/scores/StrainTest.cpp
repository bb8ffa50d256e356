#include "scores/Strain.h"

#include "history/History.h"
#include "scores/Stress.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <tuple>
#include <vector>

using namespace vitrek;
using namespace vitrek::test;
using enum Heat;

namespace {

Sample sampleAt(double referenceSeconds, double load, Heat heat = cool) {
    return Sample{fromReferenceSeconds(referenceSeconds), load, heat};
}

Stress::Point pointAt(double referenceSeconds, double load) {
    return Stress::Point{fromReferenceSeconds(referenceSeconds), load};
}

Day day(std::string id, std::optional<double> stress) {
    return Day{std::move(id), 70, std::nullopt, std::nullopt, stress, std::nullopt};
}

} // namespace

// Each interval counts at most 300 s, weighted by the sample that closes it.
TEST(StrainTest, LoadHoursAndHeavyTimeWeighEachIntervalByTheSampleThatClosesIt) {
    // clang-format off
    const std::vector<std::tuple<const char*, std::vector<Sample>, double, double>> cases{
        {"heat", {sampleAt(0, 1, critical), sampleAt(60, 1, warm), sampleAt(120, 1, hot)}, 2.425 / 60, 120},
        {"heat alone is no stress", {sampleAt(0, 0), sampleAt(60, 0.2, critical)}, 0.7 / 60, 0},
        {"half load is stress", {sampleAt(0, 0), sampleAt(60, 0.5), sampleAt(120, 0.499)}, 0.999 / 60, 60},
        {"two hours stand for five minutes", {sampleAt(0, 0), sampleAt(7200, 0.6)}, 300 * 0.6 / 3600, 300},
        {"just under five minutes", {sampleAt(0, 0), sampleAt(299, 1.0)}, 299.0 / 3600, 299},
        {"the same moment twice", {sampleAt(60, 0), sampleAt(60, 1.0)}, 0, 0},
        {"out of order", {sampleAt(120, 0.5), sampleAt(0, 0), sampleAt(60, 1.0)}, 90.0 / 3600, 120},
    };
    // clang-format on
    for (const auto& [name, samples, loadHours, heavyTime] : cases) {
        SCOPED_TRACE(name);
        EXPECT_NEAR(Strain::loadHours(samples), loadHours, 1e-12);
        EXPECT_DOUBLE_EQ(Strain::heavyTime(samples), heavyTime);
    }
}

TEST(StrainTest, ScoreNeedsTwoSamplesAndSaturatesTowardTwentyOne) {
    std::vector<Sample> samples{sampleAt(0, 1.0)};
    EXPECT_EQ(Strain::score(samples), std::nullopt);
    EXPECT_EQ(Strain::score(std::vector<Sample>{sampleAt(0, 1.0), sampleAt(0, 1.0)}), 0.0);
    for (int minute = 1; minute <= 60; ++minute) {
        samples.push_back(sampleAt(minute * 60, 1.0));
    }
    EXPECT_EQ(Strain::score(samples), 6.9);
    for (int minute = 61; minute <= 24 * 60; ++minute) {
        samples.push_back(sampleAt(minute * 60, 1.0, critical));
    }
    EXPECT_EQ(Strain::score(samples), 21.0);
}

TEST(StrainTest, WordBandsAtTenFourteenAndEighteen) {
    // clang-format off
    for (const auto& [strain, word] : {std::pair{9.9, "Light"}, {10.0, "Moderate"}, {13.9, "Moderate"},
                                       {14.0, "Strenuous"}, {17.9, "Strenuous"}, {18.0, "All-out"}}) {
        // clang-format on
        EXPECT_EQ(Strain::word(strain), word) << strain;
    }
}

TEST(SampleTest, JSONCountsSecondsFrom2001AndRequiresEveryKey) {
    EXPECT_EQ(compactText(toJson(sampleAt(100.25, 0.375, hot))), R"({"date":100.25,"load":0.375,"heat":2})");
    EXPECT_EQ(fromJsonText<Sample>(R"({"heat":2,"load":0,"date":100})"), sampleAt(100, 0, hot));
    for (const char* text : {R"({"date":1,"load":0.5})", R"({"date":1,"heat":1})", R"({"load":0.5,"heat":1})",
                             R"({"date":1,"load":0.5,"heat":4})", R"({"date":"1","load":0.5,"heat":1})"}) {
        EXPECT_EQ(fromJsonText<Sample>(text), std::nullopt) << text;
    }
}

TEST(StressTest, CurveAveragesBucketsCountedFrom2001AtTheirMiddles) {
    // Loads are binary fractions so the means compare exactly.
    const std::vector<Sample> samples{sampleAt(1199, 0.75), sampleAt(0, 0.25),   sampleAt(599.9, 0.75),
                                      sampleAt(600, 0.5),   sampleAt(3000, 1.0), sampleAt(-100, 0.25)};
    EXPECT_EQ(Stress::curve(samples, 600),
              (std::vector<Stress::Point>{pointAt(-300, 0.25), pointAt(300, 0.5), pointAt(900, 0.625),
                                          pointAt(3300, 1.0)}));
    // 1970 and 2001 lie a whole number of 600 s buckets apart, but not of 700 s ones.
    const std::vector<Sample> odd{sampleAt(0, 0.25), sampleAt(699, 0.75), sampleAt(700, 1.0)};
    EXPECT_EQ(Stress::curve(odd, 700), (std::vector<Stress::Point>{pointAt(350, 0.5), pointAt(1050, 1.0)}));
    EXPECT_TRUE(Stress::curve({}, 600).empty());
}

TEST(StressTest, NowAveragesTheLastTenMinutesUpToNow) {
    const auto now = [](const std::vector<Sample>& s) { return Stress::now(s, fromReferenceSeconds(0)); };
    EXPECT_EQ(now({}), std::nullopt);
    EXPECT_EQ(now({sampleAt(-601, 0.75)}), std::nullopt);
    EXPECT_EQ(now({sampleAt(-600, 0.75)}), 0.75);
    EXPECT_EQ(now({sampleAt(1, 1.0)}), std::nullopt);
    EXPECT_EQ(now({sampleAt(-900, 1.0), sampleAt(-540, 0.25), sampleAt(0, 0.75), sampleAt(30, 1.0)}), 0.5);
}

TEST(StressTest, LevelBandsAtAQuarterAndAHalf) {
    // clang-format off
    for (const auto& [load, raw] : {std::pair{0.0, "Low"}, {0.249, "Low"}, {0.25, "Medium"},
                                    {0.499, "Medium"}, {0.5, "High"}, {1.0, "High"}}) {
        // clang-format on
        EXPECT_EQ(Stress::rawValue(Stress::level(load)), raw) << load;
    }
}

// 2025-03-12 is a Wednesday; 5 March and 26 February are the Wednesdays before it.
TEST(StressTest, TypicalComparesWithTheSameWeekdayElseAllPastDays) {
    const auto typical = [](std::vector<Day> days) {
        return Stress::typical(History{std::move(days)}, at("2025-03-12T15:00:00+01:00"), berlin());
    };
    // Days without stress do not count.
    EXPECT_EQ(typical({day("2025-03-05", 600), day("2025-03-10", 1200), day("2025-03-11", std::nullopt)}),
              std::nullopt);
    EXPECT_EQ(typical({day("2025-03-05", 600), day("2025-03-09", 900), day("2025-03-10", 1500)}),
              (Stress::Typical{1000, false}));
    // A key naming no date cannot match the weekday but counts among all days; an unpadded one matches.
    EXPECT_EQ(typical({day("2025-03-05", 600), day("2025-03-10", 900), day("later", 1500)}),
              (Stress::Typical{1000, false}));
    EXPECT_EQ(typical({day("2025-3-5", 600), day("2025-02-26", 1000), day("2025-03-10", 9000)}),
              (Stress::Typical{800, true}));
    // 02:00 UTC on Thursday 13 March is still Wednesday in New York, whose own record never counts.
    const History history{{day("2025-03-05", 600), day("2025-03-06", 1200), day("2025-02-26", 1000),
                           day("2025-02-27", 1400), day("2025-03-12", 5000)}};
    EXPECT_EQ(Stress::typical(history, at("2025-03-13T02:00:00Z"), newYork()), (Stress::Typical{800, true}));
    EXPECT_EQ(Stress::typical(history, at("2025-03-13T02:00:00Z"), berlin()), (Stress::Typical{1300, true}));
}
