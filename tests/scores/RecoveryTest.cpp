#include "scores/Recovery.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

namespace vitrek {
namespace {

const Reading kLaptop{test::at("2025-03-04T07:12:00Z"), "MacBook Air (M2, 2022)",
                      BatteryInfo{0.95, 312, 80, false}, 300'000'000'000, 1'000'000'000'000, Pressure::normal,
                      2'300'000'000, Heat::cool, test::at("2025-03-03T07:12:00Z")};

// "value|detail|score" of the factor at `index` for each input that `set` puts into the laptop.
template <class Input, class Set>
std::string shown(std::size_t index, Set set, std::initializer_list<Input> inputs) {
    std::ostringstream text;
    for (const Input& input : inputs) {
        auto reading = kLaptop;
        set(reading, input);
        const auto f = Recovery::factors(reading, 82).at(index);
        text << (&input == inputs.begin() ? "" : "; ") << f.value << "|" << f.detail << "|" << f.score;
    }
    return text.str();
}

TEST(RecoveryTest, FactorsComeInFixedOrderLeavingOutWhatIsUnknown) {
    const std::vector<Factor> all = {
        {Factor::Kind::battery, "Battery health", "95%", "312 cycles", 1, 20},
        {Factor::Kind::storage, "Free storage", "300 GB", "30% left", 1, 25},
        {Factor::Kind::memory, "Memory pressure", "Normal", "2.3 GB swap", 1, 20},
        {Factor::Kind::heat, "Temperature", "Cool", "", 1, 15},
        {Factor::Kind::uptime, "Since last restart", "1 day", "", 1, 10},
        {Factor::Kind::rest, "Last night's rest", "82%", "", 0.82, 10}};
    EXPECT_EQ(Recovery::factors(kLaptop, 82), all);
    EXPECT_EQ(Recovery::factors(kLaptop, std::nullopt), std::vector<Factor>(all.begin(), all.end() - 1));
    auto desktop = kLaptop;
    desktop.battery->health.reset();
    EXPECT_EQ(Recovery::factors(desktop, 82), std::vector<Factor>(all.begin() + 1, all.end()));
    desktop.battery.reset();
    EXPECT_EQ(Recovery::factors(desktop, std::nullopt), std::vector<Factor>(all.begin() + 1, all.end() - 1));
    auto noSensor = kLaptop;
    noSensor.heat.reset();
    auto withoutHeat = all;
    withoutHeat.erase(withoutHeat.begin() + 3);
    EXPECT_EQ(Recovery::factors(noSensor, 82), withoutHeat);
}

TEST(RecoveryTest, EachFactorsScoreBendsAtItsEdges) {
    const auto health = [](Reading& r, double health) { r.battery = BatteryInfo{health, {}, 80, true}; };
    const auto free = [](Reading& r, std::int64_t gigabytes) { r.freeBytes = gigabytes * 1'000'000'000; };
    const auto swap = [](Reading& r, std::int64_t swap) { r.swapBytes = swap; };
    const auto pressure = [](Reading& r, Pressure p) { r.pressure = p, r.swapBytes = 5'000'000'000; };
    const auto heat = [](Reading& r, Heat heat) { r.heat = heat; };
    const auto days = [](Reading& r, double days) { r.bootedAt = r.date - Seconds{days * 86'400}; };
    EXPECT_EQ(shown<double>(0, health, {0.9, 0.89, 0.8, 0.79, 0.7, 0.6}),
              "90%||1; 89%||0.955; 80%||0.55; 79%||0.52; 70%||0.25; 60%||0.15");
    EXPECT_EQ(shown<std::int64_t>(1, free, {200, 150, 125, 100, 70, 50, 49}),
              "200 GB|20% left|1; 150 GB|15% left|0.8; 125 GB|13% left|0.7; 100 GB|10% left|0.6; "
              "70.0 GB|7% left|0.42; 50.0 GB|5% left|0.3; 49.0 GB|5% left|0.1");
    EXPECT_EQ(shown<std::int64_t>(2, swap, {1'000'000'000, 1'000'000'001, 4'000'000'000, 4'000'000'001}),
              "Normal||1; Normal|1.0 GB swap|1; Normal|4.0 GB swap|1; Normal|4.0 GB swap|0.8");
    EXPECT_EQ(shown<Pressure>(2, pressure, {Pressure::warning, Pressure::critical}),
              "Tight|5.0 GB swap|0.3; Critical|5.0 GB swap|0.15");
    EXPECT_EQ(shown<Heat>(3, heat, {Heat::warm, Heat::hot, Heat::critical}),
              "Warm||0.7; Hot||0.35; Very hot||0.1");
    EXPECT_EQ(shown<double>(4, days, {-0.1, 3, 3.00001, 7, 7.00001, 14, 14.00001}),
              "Just now||1; 3 days||1; 3 days||0.85; 7 days||0.85; 7 days||0.6; 14 days||0.6; 14 days||0.4");
}

TEST(RecoveryTest, ScoreRoundsTheMeanOfPresentWeightsHalfAwayAndBandsAndGradesChangeAtTheirEdges) {
    const auto f = [](double score, double weight) { return Factor{{}, "", "", "", score, weight}; };
    EXPECT_EQ(Recovery::score({}), 0);
    EXPECT_EQ(Recovery::score({f(0.125, 10)}), 13);
    // 71.4 over the weights present, not 50 over 100.
    EXPECT_EQ(Recovery::score({f(0.8, 25), f(0.5, 20), f(1, 15), f(0.5, 10)}), 71);
    // A full battery, an unknown volume, tight memory, very hot, up 10 days and 40 % rest: 66.5.
    const Reading tight{kLaptop.date, "", BatteryInfo{1, {}, 0, false}, 0, 0, Pressure::warning, 0,
                        Heat::critical, kLaptop.date - Seconds{864'000}};
    EXPECT_EQ(Recovery::factors(tight, 40).at(1).detail, "100% left");
    EXPECT_EQ(Recovery::score(Recovery::factors(tight, 40)), 67);
    const std::tuple<int, Grade, const char*> bands[] = {
        {100, Grade::good, "Ready for a heavy day"}, {67, Grade::good, "Ready for a heavy day"},
        {66, Grade::fair, "Take it easy today"},     {34, Grade::fair, "Take it easy today"},
        {33, Grade::poor, "Needs some care"},        {0, Grade::poor, "Needs some care"}};
    for (const auto& [recovery, band, word] : bands) {
        EXPECT_EQ(Recovery::band(recovery), band) << recovery;
        EXPECT_EQ(Recovery::word(recovery), word) << recovery;
    }
    EXPECT_EQ(std::vector({gradeOf(0.85), gradeOf(0.849), gradeOf(0.55), gradeOf(0.549)}),
              std::vector({Grade::good, Grade::fair, Grade::fair, Grade::poor}));
}

} // namespace
} // namespace vitrek
