#include "scores/HealthMonitor.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

using test::at;
using K = Vital::Kind;

Reading laptop() {
    Reading reading;
    reading.date = at("2025-03-04T07:12:00+01:00");
    reading.model = "MacBook Pro (14-inch, M3, 2023)";
    reading.battery = BatteryInfo{0.87, 312, 80, false};
    reading.freeBytes = 300'000'000'000;
    reading.totalBytes = 1'000'000'000'000;
    reading.pressure = Pressure::normal;
    reading.swapBytes = 2'300'000'000;
    reading.heat = Heat::cool;
    reading.bootedAt = at("2025-03-01T09:00:00+01:00");
    return reading;
}

Vital vitalOf(const Reading& reading, K kind) {
    for (const auto& vital : HealthMonitor::vitals(reading)) {
        if (vital.kind == kind) {
            return vital;
        }
    }
    ADD_FAILURE() << "no " << rawValue(kind) << " vital";
    return {};
}

std::vector<K> kindsOf(const std::vector<Vital>& vitals) {
    std::vector<K> kinds;
    for (const auto& vital : vitals) {
        kinds.push_back(vital.kind);
    }
    return kinds;
}

TEST(HealthMonitorTest, HealthyLaptopShowsFiveVitalsInRange) {
    const std::vector<Vital> expected = {
        {K::memory, "Memory", "memorychip", "Normal", "Normal pressure", true},
        {K::swap, "Swap", "arrow.left.arrow.right", "2.3 GB", "Under 8 GB", true},
        {K::heat, "Temp", "thermometer.medium", "Cool", "Cool or warm", true},
        {K::storage, "Storage", "internaldrive", "30% free", "10% or more free", true},
        {K::battery, "Battery", "battery.75percent", "87%", "80% or more", true},
    };
    EXPECT_EQ(HealthMonitor::vitals(laptop()), expected);
}

TEST(HealthMonitorTest, BatteryVitalNeedsAKnownHealth) {
    auto desktop = laptop();
    desktop.battery.reset();
    auto unknownHealth = laptop();
    unknownHealth.battery = BatteryInfo{std::nullopt, 312, 80, true};
    const std::vector<K> four = {K::memory, K::swap, K::heat, K::storage};
    EXPECT_EQ(kindsOf(HealthMonitor::vitals(desktop)), four);
    EXPECT_EQ(kindsOf(HealthMonitor::vitals(unknownHealth)), four);
}

TEST(HealthMonitorTest, MemoryIsInRangeOnlyAtNormalPressure) {
    const std::vector<std::tuple<Pressure, const char*, bool>> cases = {
        {Pressure::normal, "Normal", true},
        {Pressure::warning, "Tight", false},
        {Pressure::critical, "Critical", false}};
    for (const auto& [pressure, value, inRange] : cases) {
        auto reading = laptop();
        reading.pressure = pressure;
        const auto vital = vitalOf(reading, K::memory);
        EXPECT_EQ(vital.value, value);
        EXPECT_EQ(vital.inRange, inRange) << value;
    }
}

TEST(HealthMonitorTest, SwapIsInRangeBelowEightDecimalGigabytes) {
    EXPECT_EQ(HealthMonitor::swapLimit, 8'000'000'000);
    const std::vector<std::tuple<std::int64_t, const char*, bool>> cases = {
        {0, "0 MB", true},
        {7'999'999'999, "8.0 GB", true}, // shows 8.0 GB yet is still under the limit
        {8'000'000'000, "8.0 GB", false},
        {8'589'934'592, "8.6 GB", false}, // 8 binary gigabytes are well over
        {12'300'000'000, "12.3 GB", false},
    };
    for (const auto& [swap, value, inRange] : cases) {
        auto reading = laptop();
        reading.swapBytes = swap;
        const auto vital = vitalOf(reading, K::swap);
        EXPECT_EQ(vital.value, value) << swap;
        EXPECT_EQ(vital.inRange, inRange) << swap;
    }
}

TEST(HealthMonitorTest, TemperatureIsInRangeWhenCoolOrWarm) {
    const std::vector<std::tuple<Heat, const char*, bool>> cases = {{Heat::cool, "Cool", true},
                                                                    {Heat::warm, "Warm", true},
                                                                    {Heat::hot, "Hot", false},
                                                                    {Heat::critical, "Very hot", false}};
    for (const auto& [heat, value, inRange] : cases) {
        auto reading = laptop();
        reading.heat = heat;
        const auto vital = vitalOf(reading, K::heat);
        EXPECT_EQ(vital.value, value);
        EXPECT_EQ(vital.inRange, inRange) << value;
    }
}

TEST(HealthMonitorTest, StorageRangeUsesTheExactShareNotTheRoundedText) {
    const std::vector<std::tuple<std::int64_t, std::int64_t, const char*, bool>> cases = {
        {996, 10'000, "10% free", false}, // 9.96 % shows as 10 %
        {1'000, 10'000, "10% free", true}, {999, 10'000, "10% free", false}, {1, 8, "13% free", true},
        {0, 10'000, "0% free", false},     {0, 0, "100% free", true}, // an unknown volume counts as free
    };
    for (const auto& [freeBytes, totalBytes, value, inRange] : cases) {
        auto reading = laptop();
        reading.freeBytes = freeBytes;
        reading.totalBytes = totalBytes;
        const auto vital = vitalOf(reading, K::storage);
        EXPECT_EQ(vital.value, value) << freeBytes << " of " << totalBytes;
        EXPECT_EQ(vital.inRange, inRange) << freeBytes << " of " << totalBytes;
    }
}

TEST(HealthMonitorTest, BatteryIsInRangeFromEightyPercentHealth) {
    const std::vector<std::tuple<double, const char*, bool>> cases = {
        {1.0, "100%", true}, {0.8, "80%", true}, {0.795, "80%", false}, {0.5, "50%", false}};
    for (const auto& [health, value, inRange] : cases) {
        auto reading = laptop();
        reading.battery->health = health;
        const auto vital = vitalOf(reading, K::battery);
        EXPECT_EQ(vital.value, value) << health;
        EXPECT_EQ(vital.inRange, inRange) << health;
    }
}

} // namespace
} // namespace vitrek
