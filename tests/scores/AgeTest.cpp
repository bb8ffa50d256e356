#include "scores/Age.h"

#include "history/History.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>

namespace vitrek {
namespace {

const Instant kNow = test::at("2025-03-04T07:12:00+01:00");

// The estimate `real` years (of 365.25 days) in for a desktop with a fifth of its disk free, up a day unless
// told otherwise, and a day of history per recovery with the strain at the same place (none if negative).
MacAge estimate(double real, std::optional<BatteryInfo> battery = {}, std::int64_t free = 200,
                std::int64_t total = 1000, const std::vector<double>& recoveries = {},
                const std::vector<double>& strains = {}, double uptime = 86'400) {
    History history;
    for (std::size_t i = 0; i < recoveries.size(); ++i) {
        const auto strain = i < strains.size() && strains[i] >= 0 ? std::optional(strains[i]) : std::nullopt;
        history.days.push_back(Day{"", static_cast<int>(recoveries[i]), strain, {}, {}, {}});
    }
    const Reading reading{kNow, "", battery, free, total, Pressure::normal, 0, {}, kNow - Seconds{uptime}};
    return Age::estimate(reading, kNow - Seconds{real * 31'557'600}, MacAge::Source::setUp, history, kNow);
}

// The years each estimate adds to the real age, to a millionth of a year.
std::vector<double> added(auto estimate, std::initializer_list<std::vector<double>> inputs) {
    std::vector<double> years;
    for (const auto& input : inputs) {
        years.push_back(std::round(estimate(input).difference() * 1e6) / 1e6);
    }
    return years;
}

TEST(AgeTest, CountsFromAPastPurchaseThenTheSetUpMarkerThenFirstJulyOfAStandAloneModelYear) {
    const auto past = test::at("2023-05-10T12:00:00+02:00"), future = test::at("2025-06-01T10:00:00+02:00");
    EXPECT_EQ(Age::start(past, future, "", kNow, test::berlin()), std::pair(past, MacAge::Source::bought));
    EXPECT_EQ(Age::start(future, past, "", kNow, test::berlin()), std::pair(past, MacAge::Source::setUp));
    EXPECT_EQ(Age::start(kNow, kNow, "MacBook Air (M2, 2022)", kNow, test::berlin()),
              std::pair(test::at("2022-07-01T00:00:00+02:00"), MacAge::Source::modelYear));
    // At midnight UTC on 1 July it is already July in Berlin but still June in New York.
    EXPECT_EQ(Age::start({}, {}, "Mac mini (2025)", test::at("2025-07-01T00:00:00Z"), test::berlin()),
              std::pair(test::at("2025-07-01T00:00:00+02:00"), MacAge::Source::modelYear));
    EXPECT_EQ(Age::start({}, {}, "Mac mini (2025)", test::at("2025-07-01T00:00:00Z"), test::newYork()),
              std::nullopt);
    std::string years;
    for (const char* name : {"MacBook Pro (14-inch, M3, 2023)", "2019 and 2020", "Mac Pro 2023-06",
                             "M20234 (2021)", "2099", "x2023", "2023x", "Mac_2023", "Model 2100", ""}) {
        years += std::to_string(Age::modelYear(name).value_or(0)) + " ";
    }
    EXPECT_EQ(years, "2023 2019 2023 2021 2099 0 0 0 0 0 ");
    const auto marker = std::filesystem::path(testing::TempDir()) / "vitrek-age-test-setup-done";
    std::ofstream(marker).put('\n');
    const std::chrono::sys_seconds setUp{std::chrono::seconds{1'667'377'800}};
    std::filesystem::last_write_time(marker, std::chrono::file_clock::from_sys(setUp));
    EXPECT_EQ(Age::setUpDate(marker), test::at("2022-11-02T09:30:00+01:00"));
    std::filesystem::remove(marker);
    EXPECT_EQ(Age::setUpDate(marker), std::nullopt);
}

TEST(AgeTest, EachFactorAddsYearsPastItsThresholdsWithinItsClamps) {
    const auto health = [](auto v) { return estimate(1, BatteryInfo{v[0], int(v[1]), 80, false}); };
    const auto cycles = [](auto v) { return estimate(v[0], BatteryInfo{{}, int(v[1]), 80, false}); };
    const auto disk = [](auto v) { return estimate(2, {}, v[0], v[1]); };
    const auto days = [](auto v) { return estimate(2, {}, 200, 1000, v); };
    const auto strain = [](auto v) { return estimate(2, {}, 200, 1000, std::vector(v.size(), 70.0), v); };
    // A year in with 300 cycles, health is expected at 92 %; it is never expected below 60 %.
    EXPECT_EQ(added(health, {{0.93, 300}, {0.914, 300}, {0.916, 300}, {0.815, 300}, {1, 300}, {0.6, 3000}}),
              (std::vector{-0.1, 0.06, 0.0, 1.0, -0.6, 1.0}));
    EXPECT_EQ(added(cycles, {{0.5, 150}, {0.5, 300}, {1, 0}, {2, 301}, {0.25, 150}, {0.2, 150}}),
              (std::vector{0.0, 0.5, -0.5, -0.249167, 0.5, 0.0}));
    EXPECT_EQ(added(disk, {{50, 1000}, {99, 1000}, {100, 1000}, {300, 1000}, {301, 1000}, {0, 0}}),
              (std::vector{0.4, 0.4, 0.0, 0.0, -0.2, -0.2}));
    EXPECT_EQ(added(days, {{9, 9, 9, 9}, {40, 40, 40, 40, 40}, std::vector(14, 100.0), {68, 69, 69, 68, 69}}),
              (std::vector{0.0, 0.8, -0.6, 0.0}));
    // Only present strains count, and at least five of them.
    EXPECT_EQ(
        added(strain, {{16, 16, 16, 16, 16}, {15, 16, 16, 16, 16}, {3, -1, 3, 3, 3, 3}, {3, -1, 3, 3, 3}}),
        (std::vector{0.4, 0.0, -0.2, 0.0}));
    EXPECT_EQ(estimate(2, {}, 200, 1000, {}, {}, 21 * 86'400).difference(), 0);
}

TEST(AgeTest, FactorsRoundTheirDetailsAndSortByMagnitudeAndTheEstimateStaysAboveATenth) {
    // Health expected at 72 % two years and 1200 cycles in; 4.9 % free; recoveries 62.5 and strain 5.98 on
    // average once the first of fifteen days drops out.
    const auto age = estimate(2, BatteryInfo{0.99, 1200, 80, false}, 49, 1000,
                              {0, 60, 65, 60, 65, 60, 65, 60, 65, 60, 65, 60, 65, 60, 65},
                              {20, 5.9, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6, 6}, 30 * 86'400);
    EXPECT_EQ(age.factors,
              (std::vector<AgeFactor>{{"Free storage", "5% free", 0.8},
                                      {"Battery health", "99%, better than usual for its age and use", -0.6},
                                      {"Charge cycles", "600 a year", 0.5},
                                      {"Average recovery", "63% over 14 days", 0.25},
                                      {"Daily strain", "6.0 on average", -0.2},
                                      {"Restarts", "30 days since the last one", 0.2}}));
    EXPECT_EQ(estimate(1, BatteryInfo{0.85, {}, 80, false}).factors.at(0).detail,
              "85%, worse than usual for its age and use");
    // The real age is never negative, the estimate never below a tenth, and pace is 1 for the youngest.
    EXPECT_EQ(estimate(-1).realYears, 0);
    EXPECT_DOUBLE_EQ(estimate(0.5, {}, 200, 1000, std::vector(14, 100.0)).pace(), 0.1 / 0.5);
    EXPECT_EQ(estimate(0.04, {}, 500).pace(), 1);
}

} // namespace
} // namespace vitrek
