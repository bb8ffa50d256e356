#include "scores/Age.h"

#include "history/History.h"
#include "scores/MacAge.h"
#include "support/TestSupport.h"
#include "time/Calendar.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

using test::at;
using test::local;

constexpr double kYear = 31'557'600; // 365.25 days
constexpr double kDay = 86'400;
const Instant kNow = at("2025-03-04T07:12:00+01:00");

// No battery, a fifth of the disk free and a restart yesterday: a reading that adds no factor.
Reading desktop() {
    Reading reading;
    reading.date = kNow;
    reading.model = "Mac mini (2023)";
    reading.freeBytes = 200'000'000'000;
    reading.totalBytes = 1'000'000'000'000;
    reading.bootedAt = kNow - Seconds{kDay};
    return reading;
}

Reading withBattery(std::optional<double> health, std::optional<int> cycles) {
    auto reading = desktop();
    reading.battery = BatteryInfo{health, cycles, 80, false};
    return reading;
}

MacAge estimateAt(const Reading& reading, double realYears, const History& history = {}) {
    return Age::estimate(reading, kNow - Seconds{realYears * kYear}, MacAge::Source::setUp, history, kNow);
}

std::optional<AgeFactor> factorTitled(const MacAge& age, std::string_view title) {
    for (const auto& factor : age.factors) {
        if (factor.title == title) {
            return factor;
        }
    }
    return std::nullopt;
}

// Consecutive days from 1 January; a strain of -1 stands for a day without one.
History historyOf(const std::vector<int>& recoveries, const std::vector<double>& strains = {}) {
    History history;
    for (std::size_t i = 0; i < recoveries.size(); ++i) {
        char id[32];
        std::snprintf(id, sizeof id, "2025-%02d-%02d", 1 + static_cast<int>(i) / 28,
                      1 + static_cast<int>(i) % 28);
        Day day;
        day.id = id;
        day.recovery = recoveries[i];
        if (i < strains.size() && strains[i] >= 0) {
            day.strain = strains[i];
        }
        history.days.push_back(day);
    }
    return history;
}

std::vector<int> repeated(int value, std::size_t count) {
    return std::vector<int>(count, value);
}

template <class T> std::vector<T> joined(std::vector<T> first, const std::vector<T>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Either no factor of that title, or one with these years and detail.
struct Expected {
    std::optional<double> years;
    std::string detail;
};

void expectFactor(const MacAge& age, std::string_view title, const Expected& expected,
                  const std::string& label) {
    const auto factor = factorTitled(age, title);
    if (!expected.years) {
        EXPECT_FALSE(factor.has_value()) << label << ": unexpected " << title << " " << factor->years;
        return;
    }
    ASSERT_TRUE(factor.has_value()) << label << ": no " << title;
    EXPECT_NEAR(factor->years, *expected.years, 1e-9) << label;
    EXPECT_EQ(factor->detail, expected.detail) << label;
}

TEST(AgeTest, StartPrefersThePurchaseThenTheSetUpThenTheModelYear) {
    const auto calendar = test::berlin();
    const auto bought = at("2023-05-10T12:00:00+02:00");
    const auto setUp = at("2022-11-02T09:30:00+01:00");
    const auto future = at("2025-06-01T10:00:00+02:00");
    const auto july2022 = local(calendar, 2022, 7, 1);
    using S = MacAge::Source;
    using Start = std::optional<std::pair<Instant, S>>;

    struct Case {
        const char* why;
        std::optional<Instant> bought;
        std::optional<Instant> setUp;
        const char* model;
        Start start;
    };
    const std::vector<Case> cases = {
        {"purchase date first", bought, setUp, "MacBook Air (M2, 2022)", Start{{bought, S::bought}}},
        {"future purchase ignored", future, setUp, "MacBook Air (M2, 2022)", Start{{setUp, S::setUp}}},
        {"purchase now is not earlier", kNow, setUp, "MacBook Air (M2, 2022)", Start{{setUp, S::setUp}}},
        {"no purchase date", std::nullopt, setUp, "MacBook Air (M2, 2022)", Start{{setUp, S::setUp}}},
        {"both in the future", future, future, "MacBook Air (M2, 2022)", Start{{july2022, S::modelYear}}},
        {"model year only", std::nullopt, std::nullopt, "MacBook Air (M2, 2022)",
         Start{{july2022, S::modelYear}}},
        {"model year still ahead", std::nullopt, std::nullopt, "Mac mini (2025)", std::nullopt},
        {"identifier without a year", std::nullopt, std::nullopt, "Mac16,1", std::nullopt},
        {"nothing usable", future, future, "MacBookPro18,3", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Age::start(c.bought, c.setUp, c.model, kNow, calendar), c.start) << c.why;
    }
}

TEST(AgeTest, ModelYearStartsAtMidnightOnFirstJulyInTheCalendarsZone) {
    const auto model = "MacBook Pro (14-inch, M3, 2023)";
    const auto berlin = Age::start(std::nullopt, std::nullopt, model, kNow, test::berlin());
    const auto newYork = Age::start(std::nullopt, std::nullopt, model, kNow, test::newYork());
    ASSERT_TRUE(berlin && newYork);
    EXPECT_EQ(berlin->first, at("2023-07-01T00:00:00+02:00"));
    EXPECT_EQ(newYork->first, at("2023-07-01T00:00:00-04:00"));

    // At 00:00 UTC on 1 July it is already July in Berlin but still June in New York.
    const auto midsummer = at("2025-07-01T00:00:00Z");
    const auto model2025 = "MacBook Air (13-inch, M4, 2025)";
    EXPECT_NE(Age::start(std::nullopt, std::nullopt, model2025, midsummer, test::berlin()), std::nullopt);
    EXPECT_EQ(Age::start(std::nullopt, std::nullopt, model2025, midsummer, test::newYork()), std::nullopt);
}

TEST(AgeTest, ModelYearIsTheFirstStandAloneYearOfThisCentury) {
    const std::vector<std::pair<const char*, std::optional<int>>> cases = {
        {"MacBook Pro (14-inch, M3, 2023)", 2023},
        {"MacBook Air (M2, 2022)", 2022},
        {"MacBook Pro (Retina, 13-inch, Late 2013)", 2013},
        {"iMac (24-inch, 2021)", 2021},
        {"2019 and 2020", 2019},
        {"Mac Pro 2023-06", 2023},
        {"M20234 (2021)", 2021},
        {"2099", 2099},
        {"M20234", std::nullopt},
        {"x2023", std::nullopt},
        {"2023x", std::nullopt},
        {"Mac_2023", std::nullopt},
        {"PowerBook G4 (1999)", std::nullopt},
        {"Model 2100", std::nullopt},
        {"Mac14,2", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [name, year] : cases) {
        EXPECT_EQ(Age::modelYear(name), year) << name;
    }
}

TEST(AgeTest, SetUpDateIsTheMarkerFilesModificationTime) {
    namespace fs = std::filesystem;
    const auto marker = fs::path(testing::TempDir()) / "vitrek-age-test-setup-done";
    std::ofstream(marker).put('\n');
    const auto setUp = at("2022-11-02T09:30:00+01:00");
    const auto system = std::chrono::time_point_cast<std::chrono::system_clock::duration>(setUp);
    std::error_code error;
    fs::last_write_time(marker, std::chrono::file_clock::from_sys(system), error);
    ASSERT_FALSE(error) << error.message();

    const auto date = Age::setUpDate(marker);
    ASSERT_TRUE(date.has_value());
    EXPECT_NEAR(unixSeconds(*date), unixSeconds(setUp), 1e-3);

    fs::remove(marker, error);
    EXPECT_EQ(Age::setUpDate(marker), std::nullopt);
}

TEST(AgeTest, RealAgeCountsYearsOfAQuarterDayMoreThan365) {
    const auto since = kNow - Seconds{2 * kYear};
    const auto age = Age::estimate(desktop(), since, MacAge::Source::bought, History{}, kNow);
    EXPECT_NEAR(age.realYears, 2.0, 1e-12);
    EXPECT_EQ(age.source, MacAge::Source::bought);
    EXPECT_EQ(age.since, since);
    EXPECT_TRUE(age.factors.empty());

    const auto notYet =
        Age::estimate(desktop(), kNow + Seconds{kDay}, MacAge::Source::modelYear, History{}, kNow);
    EXPECT_DOUBLE_EQ(notYet.realYears, 0.0);
    EXPECT_DOUBLE_EQ(notYet.vitrekYears(), 0.1);
}

TEST(AgeTest, BatteryHealthIsJudgedAgainstWhatIsUsualForItsAgeAndCycles) {
    struct Case {
        double health;
        std::optional<int> cycles;
        double realYears;
        Expected expected;
    };
    const std::string worse = ", worse than usual for its age and use";
    const std::string better = ", better than usual for its age and use";
    const std::vector<Case> cases = {
        {0.85, 300, 2, {0.5, "85%" + worse}},            // expects 0.90
        {0.99, std::nullopt, 1, {-0.1, "99%" + better}}, // expects 0.98
        {0.974, std::nullopt, 1, {0.06, "97%" + worse}},
        {0.976, std::nullopt, 1, {std::nullopt, ""}}, // 0.04 is too small to show
        {1.0, std::nullopt, 0, {std::nullopt, ""}},
        {0.875, std::nullopt, 1, {1.0, "88%" + worse}}, // 1.05 capped
        {0.5, std::nullopt, 1, {1.0, "50%" + worse}},
        {1.0, std::nullopt, 10, {-0.6, "100%" + better}}, // −2.0 capped
        {0.6, 5000, 5, {std::nullopt, ""}},               // never expects less than 60 %
        {0.55, 5000, 5, {0.5, "55%" + worse}},
    };
    for (const auto& c : cases) {
        const auto age = estimateAt(withBattery(c.health, c.cycles), c.realYears);
        expectFactor(age, "Battery health", c.expected,
                     std::to_string(c.health) + " at " + std::to_string(c.realYears));
    }
    EXPECT_FALSE(factorTitled(estimateAt(withBattery(std::nullopt, 300), 1), "Battery health"));
}

TEST(AgeTest, ChargeCyclesAreJudgedAgainstThreeHundredAYear) {
    struct Case {
        int cycles;
        double realYears;
        Expected expected;
    };
    const std::vector<Case> cases = {
        {150, 0.5, {std::nullopt, ""}}, // exactly 300 a year
        {300, 0.5, {0.5, "600 a year"}},        {0, 0.5, {-0.5, "0 a year"}},
        {3000, 1, {1.0, "3000 a year"}}, // 4.5 capped
        {310, 1, {std::nullopt, ""}},           {336, 1, {0.06, "336 a year"}},
        {301, 2, {-149.5 / 600, "151 a year"}},                                 // 150.5 rounds up
        {100, 0.25, {1.0 / 6, "400 a year"}},   {100, 0.2, {std::nullopt, ""}}, // too young to judge
        {0, 0.1, {std::nullopt, ""}},
    };
    for (const auto& c : cases) {
        // Health unknown: the cycle count is judged on its own.
        const auto age = estimateAt(withBattery(std::nullopt, c.cycles), c.realYears);
        expectFactor(age, "Charge cycles", c.expected,
                     std::to_string(c.cycles) + " in " + std::to_string(c.realYears));
    }
    EXPECT_FALSE(factorTitled(estimateAt(withBattery(0.9, std::nullopt), 2), "Charge cycles"));
}

TEST(AgeTest, AFullDiskAddsAgeAndARoomyOneTakesSomeAway) {
    struct Case {
        std::int64_t freeBytes;
        std::int64_t totalBytes;
        Expected expected;
    };
    const std::vector<Case> cases = {
        {0, 1000, {0.8, "0% free"}},     {49, 1000, {0.8, "5% free"}},    {50, 1000, {0.4, "5% free"}},
        {99, 1000, {0.4, "10% free"}},   {100, 1000, {std::nullopt, ""}}, {200, 1000, {std::nullopt, ""}},
        {300, 1000, {std::nullopt, ""}}, {301, 1000, {-0.2, "30% free"}}, {310, 1000, {-0.2, "31% free"}},
        {0, 0, {-0.2, "100% free"}}, // an unknown volume counts as free
    };
    for (const auto& c : cases) {
        auto reading = desktop();
        reading.freeBytes = c.freeBytes;
        reading.totalBytes = c.totalBytes;
        expectFactor(estimateAt(reading, 2), "Free storage", c.expected,
                     std::to_string(c.freeBytes) + " of " + std::to_string(c.totalBytes));
    }
}

TEST(AgeTest, AverageRecoveryOfTheLastFourteenDays) {
    struct Case {
        const char* why;
        std::vector<int> recoveries;
        Expected expected;
    };
    const std::vector<Case> cases = {
        {"four days are too few", repeated(10, 4), {std::nullopt, ""}},
        {"five days", repeated(40, 5), {0.8, "40% over 5 days"}},                  // 1.0 capped
        {"fourteen perfect days", repeated(100, 14), {-0.6, "100% over 14 days"}}, // −1.0 capped
        {"usual recovery", repeated(70, 7), {std::nullopt, ""}},
        {"68.6 is within 0.05 years", {68, 69, 69, 68, 69}, {std::nullopt, ""}},
        {"good fortnight", repeated(76, 14), {-0.2, "76% over 14 days"}},
        {"62.5 shows as 63", {60, 65, 60, 65, 60, 65}, {0.25, "63% over 6 days"}},
        {"older days do not count", joined(repeated(0, 6), repeated(85, 14)), {-0.5, "85% over 14 days"}},
    };
    for (const auto& c : cases) {
        expectFactor(estimateAt(desktop(), 2, historyOf(c.recoveries)), "Average recovery", c.expected,
                     c.why);
    }
}

TEST(AgeTest, DailyStrainNeedsFivePresentValuesAmongTheSameDays) {
    constexpr double none = -1;
    struct Case {
        const char* why;
        std::vector<double> strains;
        Expected expected;
    };
    const std::vector<Case> cases = {
        {"hard days", {16, 16, 16, 16, 16}, {0.4, "16.0 on average"}},
        {"just under hard", {15.9, 16, 16, 16, 16}, {std::nullopt, ""}},
        {"mixed hard days", {10, 20, 18, 17, 16.3}, {0.4, "16.3 on average"}},
        {"easy days", {6, 6, 6, 6, 6}, {-0.2, "6.0 on average"}},
        {"5.98 shows as 6.0", {5.9, 6, 6, 6, 6}, {-0.2, "6.0 on average"}},
        {"just over easy", {6.1, 6.1, 6.1, 6.1, 6.1}, {std::nullopt, ""}},
        {"ordinary days", {10, 10, 10, 10, 10}, {std::nullopt, ""}},
        {"four days are too few", {20, 20, 20, 20}, {std::nullopt, ""}},
        {"four values among seven days", {20, none, 20, none, 20, none, 20}, {std::nullopt, ""}},
        {"five values among seven days", {3, none, 3, 3, none, 3, 3}, {-0.2, "3.0 on average"}},
        {"older days do not count",
         joined(std::vector<double>(6, 21), std::vector<double>(14, 3)),
         {-0.2, "3.0 on average"}},
        {"older values do not fill a sparse fortnight",
         joined(std::vector<double>(6, 20),
                joined(std::vector<double>(4, 20), std::vector<double>(10, none))),
         {std::nullopt, ""}},
    };
    for (const auto& c : cases) {
        const auto history = historyOf(repeated(70, c.strains.size()), c.strains);
        expectFactor(estimateAt(desktop(), 2, history), "Daily strain", c.expected, c.why);
    }
}

TEST(AgeTest, ThreeWeeksWithoutARestartAddAFifthOfAYear) {
    const std::vector<std::pair<double, Expected>> cases = {
        {-3600, {std::nullopt, ""}},
        {kDay, {std::nullopt, ""}},
        {21 * kDay, {std::nullopt, ""}},
        {21 * kDay + 1, {0.2, "21 days since the last one"}},
        {25 * kDay + 5 * 3600, {0.2, "25 days since the last one"}},
    };
    for (const auto& [uptime, expected] : cases) {
        auto reading = desktop();
        reading.bootedAt = kNow - Seconds{uptime};
        expectFactor(estimateAt(reading, 2), "Restarts", expected, std::to_string(uptime));
    }
}

TEST(AgeTest, FactorsAreSortedByMagnitudeKeepingTheirOrderOnTies) {
    auto reading = withBattery(0.85, std::nullopt); // expects 0.96: +1.1, capped at +1.0
    reading.freeBytes = 500'000'000'000;            // −0.2
    reading.bootedAt = kNow - Seconds{30 * kDay};   // +0.2
    const auto history = historyOf(repeated(100, 14), std::vector<double>(14, 3)); // −0.6 and −0.2

    const auto age = estimateAt(reading, 2, history);
    std::vector<std::string> titles;
    for (const auto& factor : age.factors) {
        titles.push_back(factor.title);
    }
    const std::vector<std::string> expected = {"Battery health", "Average recovery", "Free storage",
                                               "Daily strain", "Restarts"};
    EXPECT_EQ(titles, expected);
    EXPECT_NEAR(age.vitrekYears(), 2.0 + 1.0 - 0.6 - 0.2 - 0.2 + 0.2, 1e-9);
    EXPECT_NEAR(age.difference(), 0.2, 1e-9);
}

TEST(AgeTest, AYoungWellTreatedMacIsNeverYoungerThanATenthOfAYear) {
    auto reading = desktop();
    reading.freeBytes = 500'000'000'000;
    const auto history = historyOf(repeated(100, 14), std::vector<double>(14, 3));
    const auto age = estimateAt(reading, 0.3, history); // 0.3 − 1.0 would be negative
    EXPECT_NEAR(age.vitrekYears(), 0.1, 1e-12);
    EXPECT_NEAR(age.difference(), -0.2, 1e-9);
    EXPECT_NEAR(age.pace(), 0.1 / 0.3, 1e-9);
}

TEST(MacAgeTest, VitrekYearsDifferenceAndPace) {
    struct Case {
        double realYears;
        std::vector<double> adjustments;
        double vitrekYears;
        double difference;
        double pace;
    };
    const std::vector<Case> cases = {
        {2, {0.5, -0.3}, 2.2, 0.2, 1.1},
        {3, {}, 3, 0, 1},
        {0.5, {-0.6, -0.2}, 0.1, -0.4, 0.2},
        {0.1, {0.1}, 0.2, 0.1, 2},
        {0, {}, 0.1, 0.1, 1},
        {0.05, {0.8}, 0.85, 0.8, 1}, // too young for a meaningful pace
        {0.04, {}, 0.1, 0.06, 1},
    };
    for (const auto& c : cases) {
        MacAge age;
        age.realYears = c.realYears;
        for (const double years : c.adjustments) {
            age.factors.push_back(AgeFactor{"factor " + std::to_string(age.factors.size()), "", years});
        }
        EXPECT_NEAR(age.vitrekYears(), c.vitrekYears, 1e-9) << c.realYears;
        EXPECT_NEAR(age.difference(), c.difference, 1e-9) << c.realYears;
        EXPECT_NEAR(age.pace(), c.pace, 1e-9) << c.realYears;
    }
}

} // namespace
} // namespace vitrek
