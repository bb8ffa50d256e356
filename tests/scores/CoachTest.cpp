#include "scores/Coach.h"

#include "scores/Recovery.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

using test::at;
using K = Factor::Kind;

constexpr double kDay = 86'400;

const std::string kAllGood = "Everything looks good. Your Mac is ready for a heavy day.";
const std::string kMemoryTip =
    "Memory is tight. Quit apps you're not using, especially browsers with many tabs.";
const std::string kRestlessTip =
    "Your Mac didn't rest well last night. Close the lid or let it sleep when you're done.";

std::string storageTip(int percent) {
    return "Only " + std::to_string(percent) +
           "% of your disk is free, which slows updates and builds. Caches and old downloads are the easy "
           "wins.";
}

std::string heatTip(const std::string& word) {
    return "Your Mac is running " + word + ". Give it some air, or check which app is keeping it busy.";
}

std::string uptimeTip(const std::string& uptime) {
    return "Restart tonight. It's been " + uptime + ", and a fresh start clears memory and pending updates.";
}

std::string wakesTip(int wakes) {
    return "Your Mac woke " + std::to_string(wakes) +
           " times last night. Turn off Wake for network access if you don't need it.";
}

// 7 % free, hot, up for twelve days: numbers the tips must quote from the reading.
Reading laptop() {
    Reading reading;
    reading.date = at("2025-03-04T07:12:00+01:00");
    reading.model = "MacBook Air (M2, 2022)";
    reading.battery = BatteryInfo{0.95, 312, 80, false};
    reading.freeBytes = 70'000'000'000;
    reading.totalBytes = 1'000'000'000'000;
    reading.pressure = Pressure::warning;
    reading.heat = Heat::hot;
    reading.bootedAt = reading.date - Seconds{12 * kDay + 3 * 3600};
    return reading;
}

double weightOf(K kind) {
    switch (kind) {
    case K::battery:
        return 20;
    case K::storage:
        return 25;
    case K::memory:
        return 20;
    case K::heat:
        return 15;
    case K::uptime:
    case K::rest:
        return 10;
    }
    return 0;
}

Factor factor(K kind, double score, std::string value = "") {
    return Factor{kind, std::string(rawValue(kind)), std::move(value), "", score, weightOf(kind)};
}

TEST(CoachTest, EverythingLooksGoodWhenNoFactorIsBelowGood) {
    const std::vector<Factor> factors = {factor(K::battery, 0.85), factor(K::storage, 1.0),
                                         factor(K::memory, 0.85),  factor(K::heat, 1.0),
                                         factor(K::uptime, 0.85),  factor(K::rest, 0.9)};
    for (const int recovery : {0, 12, 95}) {
        EXPECT_EQ(Coach::tip(factors, recovery, laptop(), 3), kAllGood) << recovery;
    }
    EXPECT_EQ(Coach::tip({}, 50, laptop(), std::nullopt), kAllGood);
}

TEST(CoachTest, AimsAtTheWeakFactorThatCostsTheMost) {
    struct Case {
        const char* why;
        std::vector<Factor> factors;
        std::string tip;
    };
    const std::vector<Case> cases = {
        {"cost 14.5 beats 10", {factor(K::storage, 0.42), factor(K::memory, 0.5)}, storageTip(7)},
        {"weight counts, not only the score",
         {factor(K::storage, 0.42), factor(K::heat, 0.1)},
         storageTip(7)},
        {"a later factor wins when it costs more",
         {factor(K::rest, 0.3), factor(K::memory, 0.5)},
         kMemoryTip},
        {"good factors never compete, however heavy",
         {factor(K::storage, 0.85), factor(K::rest, 0.7)},
         kRestlessTip},
        {"just below good counts", {factor(K::battery, 1.0), factor(K::uptime, 0.849)}, uptimeTip("12 days")},
        {"a tie at 9.0 goes to the earlier factor",
         {factor(K::battery, 0.55, "81%"), factor(K::uptime, 0.1)},
         "Battery health is 81%. Keep Optimized Battery Charging on in Battery settings to slow the wear."},
        {"a tie at 10 goes to the earlier factor",
         {factor(K::memory, 0.5), factor(K::uptime, 0.0)},
         kMemoryTip},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Coach::tip(c.factors, 60, laptop(), std::nullopt), c.tip) << c.why;
    }
}

TEST(CoachTest, TipsQuoteTheFactorsValueAndTheReadingsNumbers) {
    auto eighthFree = laptop();
    eighthFree.freeBytes = 1;
    eighthFree.totalBytes = 8; // 12.5 % rounds up
    auto unknownVolume = laptop();
    unknownVolume.totalBytes = 0;
    auto veryHot = laptop();
    veryHot.heat = Heat::critical;
    auto warm = laptop();
    warm.heat = Heat::warm;
    auto oneDay = laptop();
    oneDay.bootedAt = oneDay.date - Seconds{kDay + 60};

    struct Case {
        Factor weakest;
        Reading reading;
        std::string tip;
    };
    const std::vector<Case> cases = {
        // The reading's health is 95 %; the tip repeats the factor's text, not the reading.
        {factor(K::battery, 0.4, "78%"), laptop(),
         "Battery health is 78%. Keep Optimized Battery Charging on in Battery settings to slow the wear."},
        {factor(K::storage, 0.4), laptop(), storageTip(7)},
        {factor(K::storage, 0.4), eighthFree, storageTip(13)},
        {factor(K::storage, 0.4), unknownVolume, storageTip(100)},
        {factor(K::memory, 0.15), laptop(), kMemoryTip},
        {factor(K::heat, 0.35), laptop(), heatTip("hot")},
        // The heat tip names the reading's level even when the factor was scored from another.
        {factor(K::heat, 0.35), veryHot, heatTip("very hot")},
        {factor(K::heat, 0.7), warm, heatTip("warm")},
        {factor(K::uptime, 0.4), laptop(), uptimeTip("12 days")},
        {factor(K::uptime, 0.4), oneDay, uptimeTip("1 day")},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Coach::tip({c.weakest}, 40, c.reading, std::nullopt), c.tip) << rawValue(c.weakest.kind);
    }
}

TEST(CoachTest, RestTipCountsLastNightsWakes) {
    const std::vector<std::pair<std::optional<int>, std::string>> cases = {
        {std::nullopt, kRestlessTip},
        {-1, kRestlessTip},
        {0, kRestlessTip},
        {1, wakesTip(1)},
        {4, wakesTip(4)},
        {12, wakesTip(12)},
    };
    for (const auto& [wakes, tip] : cases) {
        EXPECT_EQ(Coach::tip({factor(K::rest, 0.3)}, 70, laptop(), wakes), tip) << wakes.value_or(-99);
    }
}

TEST(CoachTest, DesktopFactorsFromRecoveryGetTheSameAdvice) {
    auto desktop = laptop();
    desktop.battery.reset();
    desktop.pressure = Pressure::normal;
    desktop.heat = Heat::cool;
    desktop.bootedAt = desktop.date - Seconds{kDay};
    const auto factors = Recovery::factors(desktop, std::nullopt);
    EXPECT_EQ(Coach::tip(factors, Recovery::score(factors), desktop, std::nullopt), storageTip(7));

    desktop.freeBytes = 400'000'000'000;
    const auto healthy = Recovery::factors(desktop, 90);
    EXPECT_EQ(Coach::tip(healthy, Recovery::score(healthy), desktop, 0), kAllGood);
}

} // namespace
} // namespace vitrek
