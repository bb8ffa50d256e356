#include "scores/Recovery.h"

#include "scores/Factor.h"
#include "scores/Grade.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

using test::at;

constexpr double kDay = 86'400;
constexpr std::int64_t kTerabyte = 1'000'000'000'000;

// A laptop in good shape, so each test moves only the value it is about.
Reading laptop() {
    Reading reading;
    reading.date = at("2025-03-04T07:12:00+01:00");
    reading.model = "MacBook Air (M2, 2022)";
    reading.battery = BatteryInfo{0.95, 312, 80, false};
    reading.freeBytes = 300'000'000'000;
    reading.totalBytes = kTerabyte;
    reading.pressure = Pressure::normal;
    reading.swapBytes = 0;
    reading.heat = Heat::cool;
    reading.bootedAt = reading.date - Seconds{kDay};
    return reading;
}

std::optional<Factor> factorOf(const std::vector<Factor>& factors, Factor::Kind kind) {
    const auto found =
        std::find_if(factors.begin(), factors.end(), [&](const Factor& f) { return f.kind == kind; });
    if (found == factors.end()) {
        return std::nullopt;
    }
    return *found;
}

Factor onlyFactor(const Reading& reading, Factor::Kind kind) {
    const auto factor = factorOf(Recovery::factors(reading, 80), kind);
    if (!factor) {
        ADD_FAILURE() << "no " << rawValue(kind) << " factor";
        return {};
    }
    return *factor;
}

std::vector<Factor::Kind> kindsOf(const std::vector<Factor>& factors) {
    std::vector<Factor::Kind> kinds;
    for (const auto& factor : factors) {
        kinds.push_back(factor.kind);
    }
    return kinds;
}

double weightOf(const std::vector<Factor>& factors) {
    double sum = 0;
    for (const auto& factor : factors) {
        sum += factor.weight;
    }
    return sum;
}

Factor weighted(double score, double weight) {
    return Factor{Factor::Kind::storage, "Free storage", "", "", score, weight};
}

TEST(RecoveryTest, AllSixFactorsComeInFixedOrderWithTheirTitlesAndWeights) {
    const auto factors = Recovery::factors(laptop(), 82);
    ASSERT_EQ(factors.size(), 6u);
    const std::vector<std::string> titles = {"Battery health", "Free storage",       "Memory pressure",
                                             "Temperature",    "Since last restart", "Last night's rest"};
    const std::vector<double> weights = {20, 25, 20, 15, 10, 10};
    for (std::size_t i = 0; i < factors.size(); ++i) {
        EXPECT_EQ(factors[i].kind, Factor::kAllKinds[i]);
        EXPECT_EQ(factors[i].title, titles[i]);
        EXPECT_DOUBLE_EQ(factors[i].weight, weights[i]) << titles[i];
    }
    EXPECT_EQ(factors[0].id(), "battery");
    EXPECT_EQ(factors[5].id(), "rest");
}

TEST(RecoveryTest, BatteryAndRestAreLeftOutWhenUnknown) {
    using K = Factor::Kind;
    auto noBattery = laptop();
    noBattery.battery.reset();
    auto unknownHealth = laptop();
    unknownHealth.battery = BatteryInfo{std::nullopt, 312, 80, false};

    struct Case {
        Reading reading;
        std::optional<int> rest;
        std::vector<K> kinds;
        double weight;
    };
    const std::vector<Case> cases = {
        {laptop(), 82, {K::battery, K::storage, K::memory, K::heat, K::uptime, K::rest}, 100},
        {laptop(), std::nullopt, {K::battery, K::storage, K::memory, K::heat, K::uptime}, 90},
        {noBattery, 82, {K::storage, K::memory, K::heat, K::uptime, K::rest}, 80},
        {unknownHealth, 82, {K::storage, K::memory, K::heat, K::uptime, K::rest}, 80},
        {noBattery, std::nullopt, {K::storage, K::memory, K::heat, K::uptime}, 70},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto factors = Recovery::factors(cases[i].reading, cases[i].rest);
        EXPECT_EQ(kindsOf(factors), cases[i].kinds) << "case " << i;
        EXPECT_DOUBLE_EQ(weightOf(factors), cases[i].weight) << "case " << i;
    }
}

TEST(RecoveryTest, BatteryScoreFallsFromNinetyPercentHealthAndBottomsOut) {
    struct Case {
        double health;
        double score;
        const char* value;
    };
    const std::vector<Case> cases = {
        {1.0, 1.0, "100%"},     {0.95, 1.0, "95%"},   {0.9, 1.0, "90%"},  {0.89, 0.955, "89%"},
        {0.875, 0.8875, "88%"}, {0.85, 0.775, "85%"}, {0.8, 0.55, "80%"}, {0.79, 0.52, "79%"},
        {0.7, 0.25, "70%"},     {0.6, 0.15, "60%"},   {0.5, 0.15, "50%"}, {0.0, 0.15, "0%"},
    };
    for (const auto& c : cases) {
        auto reading = laptop();
        reading.battery->health = c.health;
        const auto factor = onlyFactor(reading, Factor::Kind::battery);
        EXPECT_NEAR(factor.score, c.score, 1e-9) << c.health;
        EXPECT_EQ(factor.value, c.value) << c.health;
    }
}

TEST(RecoveryTest, BatteryDetailNamesTheCyclesOnlyWhenKnown) {
    auto reading = laptop();
    EXPECT_EQ(onlyFactor(reading, Factor::Kind::battery).detail, "312 cycles");
    reading.battery->cycles.reset();
    EXPECT_EQ(onlyFactor(reading, Factor::Kind::battery).detail, "");
}

TEST(RecoveryTest, StorageScoreFallsBelowTwentyPercentFreeAndDropsUnderFive) {
    struct Case {
        std::int64_t freeBytes;
        std::int64_t totalBytes;
        double score;
        const char* value;
        const char* detail;
    };
    const std::vector<Case> cases = {
        {300'000'000'000, kTerabyte, 1.0, "300 GB", "30% left"},
        {200'000'000'000, kTerabyte, 1.0, "200 GB", "20% left"},
        {150'000'000'000, kTerabyte, 0.8, "150 GB", "15% left"},
        {1, 8, 0.7, "0 MB", "13% left"}, // 12.5 % rounds up
        {100'000'000'000, kTerabyte, 0.6, "100 GB", "10% left"},
        {70'000'000'000, kTerabyte, 0.42, "70.0 GB", "7% left"},
        {50'000'000'000, kTerabyte, 0.3, "50.0 GB", "5% left"},
        {49'000'000'000, kTerabyte, 0.1, "49.0 GB", "5% left"},
        {40'000'000'000, kTerabyte, 0.1, "40.0 GB", "4% left"},
        {0, kTerabyte, 0.1, "0 MB", "0% left"},
        {0, 0, 1.0, "0 MB", "100% left"}, // an unknown volume counts as free
    };
    for (const auto& c : cases) {
        auto reading = laptop();
        reading.freeBytes = c.freeBytes;
        reading.totalBytes = c.totalBytes;
        const auto factor = onlyFactor(reading, Factor::Kind::storage);
        EXPECT_NEAR(factor.score, c.score, 1e-9) << c.freeBytes << " of " << c.totalBytes;
        EXPECT_EQ(factor.value, c.value) << c.freeBytes << " of " << c.totalBytes;
        EXPECT_EQ(factor.detail, c.detail) << c.freeBytes << " of " << c.totalBytes;
    }
}

TEST(RecoveryTest, MemoryScoreFollowsPressureAndLosesAFifthOverFourGigabytesOfSwap) {
    struct Case {
        Pressure pressure;
        std::int64_t swapBytes;
        double score;
        const char* value;
        const char* detail;
    };
    const std::vector<Case> cases = {
        {Pressure::normal, 0, 1.0, "Normal", ""},
        {Pressure::warning, 0, 0.5, "Tight", ""},
        {Pressure::critical, 0, 0.15, "Critical", ""},
        {Pressure::normal, 1'000'000'000, 1.0, "Normal", ""},
        {Pressure::normal, 1'000'000'001, 1.0, "Normal", "1.0 GB swap"},
        {Pressure::normal, 4'000'000'000, 1.0, "Normal", "4.0 GB swap"},
        {Pressure::normal, 4'000'000'001, 0.8, "Normal", "4.0 GB swap"},
        {Pressure::normal, 5'000'000'000, 0.8, "Normal", "5.0 GB swap"},
        {Pressure::warning, 5'000'000'000, 0.3, "Tight", "5.0 GB swap"},
        {Pressure::critical, 5'000'000'000, 0.15, "Critical", "5.0 GB swap"},
        {Pressure::normal, 123'400'000'000, 0.8, "Normal", "123 GB swap"},
    };
    for (const auto& c : cases) {
        auto reading = laptop();
        reading.pressure = c.pressure;
        reading.swapBytes = c.swapBytes;
        const auto factor = onlyFactor(reading, Factor::Kind::memory);
        EXPECT_NEAR(factor.score, c.score, 1e-9) << c.value << " " << c.swapBytes;
        EXPECT_EQ(factor.value, c.value);
        EXPECT_EQ(factor.detail, c.detail) << c.swapBytes;
    }
}

TEST(RecoveryTest, TemperatureScoresEachHeatLevel) {
    const std::vector<std::pair<Heat, double>> scores = {
        {Heat::cool, 1.0}, {Heat::warm, 0.7}, {Heat::hot, 0.35}, {Heat::critical, 0.1}};
    const std::vector<const char*> values = {"Cool", "Warm", "Hot", "Very hot"};
    for (std::size_t i = 0; i < scores.size(); ++i) {
        auto reading = laptop();
        reading.heat = scores[i].first;
        const auto factor = onlyFactor(reading, Factor::Kind::heat);
        EXPECT_DOUBLE_EQ(factor.score, scores[i].second) << values[i];
        EXPECT_EQ(factor.value, values[i]);
        EXPECT_EQ(factor.detail, "");
    }
}

TEST(RecoveryTest, UptimeScoreStepsDownAfterThreeSevenAndFourteenDays) {
    struct Case {
        double seconds;
        double score;
        const char* value;
    };
    const std::vector<Case> cases = {
        {-3600, 1.0, "Just now"}, // booted after the reading was taken
        {0, 1.0, "Just now"},           {5 * 3600, 1.0, "5 hours"},      {3 * kDay, 1.0, "3 days"},
        {3 * kDay + 1, 0.85, "3 days"}, {7 * kDay, 0.85, "7 days"},      {7 * kDay + 1, 0.6, "7 days"},
        {14 * kDay, 0.6, "14 days"},    {14 * kDay + 1, 0.4, "14 days"}, {40 * kDay, 0.4, "40 days"},
    };
    for (const auto& c : cases) {
        auto reading = laptop();
        reading.bootedAt = reading.date - Seconds{c.seconds};
        const auto factor = onlyFactor(reading, Factor::Kind::uptime);
        EXPECT_DOUBLE_EQ(factor.score, c.score) << c.seconds;
        EXPECT_EQ(factor.value, c.value) << c.seconds;
        EXPECT_EQ(factor.detail, "");
    }
}

TEST(RecoveryTest, RestIsLastNightsScoreAsAShare) {
    for (const int rest : {0, 1, 82, 100}) {
        const auto factor = factorOf(Recovery::factors(laptop(), rest), Factor::Kind::rest);
        ASSERT_TRUE(factor.has_value());
        EXPECT_DOUBLE_EQ(factor->score, rest / 100.0);
        EXPECT_EQ(factor->value, std::to_string(rest) + "%");
        EXPECT_EQ(factor->detail, "");
    }
}

TEST(RecoveryTest, ScoreIsTheWeightedMeanOverThePresentFactors) {
    struct Case {
        std::vector<Factor> factors;
        int score;
    };
    const std::vector<Case> cases = {
        {{}, 0},
        {{weighted(0.7, 0), weighted(0.9, 0)}, 0},
        {{weighted(1.0, 25), weighted(1.0, 20), weighted(1.0, 15), weighted(1.0, 10)}, 100},
        {{weighted(0.0, 25), weighted(0.0, 20)}, 0},
        // Four factors weigh 70 together; dividing by 100 instead would give 51.
        {{weighted(0.8, 25), weighted(0.5, 20), weighted(1.0, 15), weighted(0.6, 10)}, 73},
        {{weighted(0.125, 10)}, 13}, // 12.5 rounds away from zero, not to even
        {{weighted(0.25, 10), weighted(0.0, 10)}, 13},
        {{weighted(0.994, 100)}, 99},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(Recovery::score(cases[i].factors), cases[i].score) << "case " << i;
    }
}

TEST(RecoveryTest, ReadingThatScoresSixtySixAndAHalfRoundsUpToGood) {
    auto reading = laptop();
    reading.freeBytes = 50'000'000'000;                  // 0.3
    reading.pressure = Pressure::warning;                // 0.5
    reading.heat = Heat::warm;                           // 0.7
    reading.bootedAt = reading.date - Seconds{5 * kDay}; // 0.85
    const auto recovery = Recovery::score(Recovery::factors(reading, 100));
    EXPECT_EQ(recovery, 67);
    EXPECT_EQ(Recovery::band(recovery), Grade::good);
}

TEST(RecoveryTest, BandAndHeadlineChangeAtSixtySevenAndThirtyFour) {
    struct Case {
        int recovery;
        Grade band;
        const char* word;
    };
    const std::vector<Case> cases = {
        {100, Grade::good, "Ready for a heavy day"}, {67, Grade::good, "Ready for a heavy day"},
        {66, Grade::fair, "Take it easy today"},     {34, Grade::fair, "Take it easy today"},
        {33, Grade::poor, "Needs some care"},        {0, Grade::poor, "Needs some care"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Recovery::band(c.recovery), c.band) << c.recovery;
        EXPECT_EQ(Recovery::word(c.recovery), c.word) << c.recovery;
    }
}

TEST(GradeTest, GoodFromEightyFivePercentAndFairFromFiftyFive) {
    const std::vector<std::pair<double, Grade>> cases = {
        {1.0, Grade::good},  {0.85, Grade::good},  {0.849, Grade::fair},
        {0.55, Grade::fair}, {0.549, Grade::poor}, {0.0, Grade::poor},
    };
    for (const auto& [fraction, grade] : cases) {
        EXPECT_EQ(gradeOf(fraction), grade) << fraction;
        EXPECT_EQ(weighted(fraction, 10).grade(), grade) << fraction;
    }
    EXPECT_EQ(rawValue(Grade::good), "good");
    EXPECT_EQ(rawValue(Grade::fair), "fair");
    EXPECT_EQ(rawValue(Grade::poor), "poor");
}

} // namespace
} // namespace vitrek
