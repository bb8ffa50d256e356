#include "scores/Strain.h"

#include "scores/Sample.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <vector>

using namespace vitrek;
using namespace vitrek::test;

namespace {

const Instant kMorning = at("2025-01-05T09:00:00+01:00");

// A sample `offset` seconds after nine in the morning.
Sample sampleAt(double offset, double load, Heat heat = Heat::cool) {
    return Sample{.date = kMorning + Seconds{offset}, .load = load, .heat = heat};
}

// `count` samples one `step` apart, all at the same load.
std::vector<Sample> steady(int count, double step, double load, Heat heat = Heat::cool) {
    std::vector<Sample> samples;
    for (int i = 0; i < count; ++i) {
        samples.push_back(sampleAt(i * step, load, heat));
    }
    return samples;
}

} // namespace

TEST(StrainTest, LoadHoursWeighsEachIntervalByTheSampleThatClosesIt) {
    struct Case {
        const char* name;
        std::vector<Sample> samples;
        double expected;
    };
    const std::vector<Case> cases{
        {"none", {}, 0},
        {"one sample", {sampleAt(0, 1.0, Heat::critical)}, 0},
        {"a busy minute", {sampleAt(0, 0), sampleAt(60, 1.0)}, 1.0 / 60},
        {"warm adds an eighth", {sampleAt(0, 0), sampleAt(60, 1.0, Heat::warm)}, 1.125 / 60},
        {"hot adds three tenths", {sampleAt(0, 0), sampleAt(60, 1.0, Heat::hot)}, 1.3 / 60},
        {"critical adds a half", {sampleAt(0, 0), sampleAt(60, 1.0, Heat::critical)}, 1.5 / 60},
        {"heat counts even when idle", {sampleAt(0, 0), sampleAt(60, 0, Heat::hot)}, 0.3 / 60},
        {"the opening sample's load and heat do not count",
         {sampleAt(0, 1.0, Heat::critical), sampleAt(60, 0)},
         0},
        {"a gap of two hours stands for five minutes",
         {sampleAt(0, 0), sampleAt(7200, 0.6)},
         300 * 0.6 / 3600},
        {"a gap of exactly five minutes", {sampleAt(0, 0), sampleAt(300, 1.0)}, 300.0 / 3600},
        {"just under five minutes", {sampleAt(0, 0), sampleAt(299, 1.0)}, 299.0 / 3600},
        {"the same moment twice", {sampleAt(60, 0), sampleAt(60, 1.0)}, 0},
        {"out of order",
         {sampleAt(120, 0.5), sampleAt(0, 0), sampleAt(60, 1.0)},
         (60 * 1.0 + 60 * 0.5) / 3600},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_NEAR(Strain::loadHours(c.samples), c.expected, 1e-12);
    }
}

TEST(StrainTest, ScoreSaturatesTowardTwentyOne) {
    struct Case {
        const char* name;
        std::vector<Sample> samples;
        double expected;
    };
    const std::vector<Case> cases{
        {"idle", steady(10, 60, 0), 0.0},
        {"one busy hour", steady(61, 60, 1.0), 6.9},
        // Five-minute steps at full load add one twelfth of an hour each.
        {"2.5 load-hours", steady(31, 300, 1.0), 13.3},
        {"5 load-hours", steady(61, 300, 1.0), 18.2},
        {"10 load-hours", steady(121, 300, 1.0), 20.6},
        {"a full day flat out and critical", steady(24 * 60 + 1, 60, 1.0, Heat::critical), 21.0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto score = Strain::score(c.samples);
        ASSERT_TRUE(score.has_value());
        EXPECT_DOUBLE_EQ(*score, c.expected);
    }
}

TEST(StrainTest, ScoreNeedsTwoSamples) {
    EXPECT_EQ(Strain::score({}), std::nullopt);
    const std::vector<Sample> one{sampleAt(0, 1.0)};
    EXPECT_EQ(Strain::score(one), std::nullopt);
    // Two samples at the same moment are enough to have a score, even though it is zero.
    const std::vector<Sample> twin{sampleAt(0, 1.0), sampleAt(0, 1.0)};
    EXPECT_EQ(Strain::score(twin), 0.0);
}

TEST(StrainTest, HeavyTimeCountsIntervalsClosedAtHalfLoadOrMore) {
    struct Case {
        const char* name;
        std::vector<Sample> samples;
        double expected;
    };
    const std::vector<Case> cases{
        {"none", {}, 0},
        {"one busy sample", {sampleAt(0, 1.0)}, 0},
        {"exactly half", {sampleAt(0, 0), sampleAt(60, 0.5)}, 60},
        {"just under half", {sampleAt(0, 0), sampleAt(60, 0.499)}, 0},
        {"the opening sample does not count", {sampleAt(0, 0.9), sampleAt(60, 0.1)}, 0},
        {"heat alone is not stress", {sampleAt(0, 0), sampleAt(60, 0.2, Heat::critical)}, 0},
        {"a long gap counts five minutes", {sampleAt(0, 0), sampleAt(3600, 0.8)}, 300},
        {"the same moment twice", {sampleAt(60, 0), sampleAt(60, 1.0)}, 0},
        {"out of order", {sampleAt(180, 0.7), sampleAt(0, 0), sampleAt(60, 0.6), sampleAt(120, 0.2)}, 120},
        {"an hour flat out", steady(61, 60, 1.0), 3600},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_DOUBLE_EQ(Strain::heavyTime(c.samples), c.expected);
    }
}

TEST(StrainTest, WordBandsAtTenFourteenAndEighteen) {
    struct Case {
        double strain;
        const char* expected;
    };
    const std::vector<Case> cases{
        {0, "Light"},      {9.9, "Light"},      {10, "Moderate"}, {13.9, "Moderate"},
        {14, "Strenuous"}, {17.9, "Strenuous"}, {18, "All-out"},  {21, "All-out"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.strain);
        EXPECT_EQ(Strain::word(c.strain), c.expected);
    }
}

TEST(SampleTest, EncodesTheDateAsSecondsSince2001) {
    const Sample sample{.date = at("2001-01-01T00:01:40.25Z"), .load = 0.375, .heat = Heat::hot};
    // One line of a day's sample file: members in writing order, heat as its raw integer.
    EXPECT_EQ(compactText(toJson(sample)), R"({"date":100.25,"load":0.375,"heat":2})");
}

TEST(SampleTest, RoundTripsThroughText) {
    const std::vector<Sample> samples{
        {.date = at("2025-01-05T09:00:00.5+01:00"), .load = 0.4221, .heat = Heat::cool},
        {.date = at("2025-01-05T09:01:00+01:00"), .load = 1.0, .heat = Heat::critical},
        {.date = at("1999-12-31T23:59:00Z"), .load = 0, .heat = Heat::warm},
    };
    for (const auto& sample : samples) {
        const auto decoded = fromJsonText<Sample>(compactText(toJson(sample)));
        ASSERT_TRUE(decoded.has_value());
        EXPECT_NEAR(referenceSeconds(decoded->date), referenceSeconds(sample.date), 1e-6);
        EXPECT_DOUBLE_EQ(decoded->load, sample.load);
        EXPECT_EQ(decoded->heat, sample.heat);
    }
}

TEST(SampleTest, DecodesKeysInAnyOrderAndAnyNumber) {
    const Sample expected{.date = fromReferenceSeconds(757'382'400), .load = 0.5, .heat = Heat::warm};
    for (const char* text :
         {R"({"date":757382400,"load":0.5,"heat":1})", R"({"heat":1,"load":0.5,"date":757382400.0})",
          R"({"load":0.5,"heat":1,"date":7.573824e8})"}) {
        SCOPED_TRACE(text);
        EXPECT_EQ(fromJsonText<Sample>(text), expected);
    }
    // An idle minute may be written as an integer load.
    EXPECT_EQ(fromJsonText<Sample>(R"({"date":0,"load":0,"heat":0})"),
              (Sample{.date = fromReferenceSeconds(0), .load = 0, .heat = Heat::cool}));
}

TEST(SampleTest, MissingOrInvalidMembersFail) {
    const std::vector<const char*> texts{
        R"({"date":100,"load":0.5})",
        R"({"date":100,"heat":1})",
        R"({"load":0.5,"heat":1})",
        R"({"date":100,"load":0.5,"heat":4})",
        R"({"date":100,"load":0.5,"heat":-1})",
        R"({"date":100,"load":0.5,"heat":"warm"})",
        R"({"date":100,"load":0.5,"heat":null})",
        R"({"date":"2025-01-05","load":0.5,"heat":1})",
        R"({"date":100,"load":"0.5","heat":1})",
        R"({"date":100,"load":0.5,"heat":1)",
        "",
    };
    for (const char* text : texts) {
        SCOPED_TRACE(text);
        EXPECT_EQ(fromJsonText<Sample>(text), std::nullopt);
    }
}
