#include "scores/Strain.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <tuple>
#include <vector>

using namespace vitrek;
using enum Heat;

namespace {

Sample sampleAt(double referenceSeconds, double load, Heat heat = cool) {
    return Sample{fromReferenceSeconds(referenceSeconds), load, heat};
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
