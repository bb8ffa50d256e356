#include "scores/HealthMonitor.h"

#include <gtest/gtest.h>

namespace vitrek {
namespace {

// Every vital right at the edge of its range; the rounded texts sit on the limits.
const Reading kEdge{{}, "", BatteryInfo{0.8, {}, 0, false}, 1000, 10'000, Pressure::normal, 7'999'999'999,
                    Heat::warm, {}};

// "value in; " or "value out; " for each vital in turn.
std::string summary(const Reading& reading) {
    std::string text;
    for (const auto& vital : HealthMonitor::vitals(reading)) {
        text += vital.value + (!vital.measured() ? " unmeasured; " : vital.within() ? " in; " : " out; ");
    }
    return text;
}

TEST(HealthMonitorTest, VitalsAtTheEdgesOfTheirRangesAreInAndJustPastThemOutThoughTheirTextsMatch) {
    EXPECT_EQ(HealthMonitor::vitals(kEdge),
              (std::vector<Vital>{
                  {Vital::Kind::memory, "Memory", "memorychip", "Normal", "Normal pressure", true},
                  {Vital::Kind::swap, "Swap", "arrow.left.arrow.right", "8.0 GB", "Under 8 GB", true},
                  {Vital::Kind::heat, "Temp", "thermometer.medium", "Warm", "Cool or warm", true},
                  {Vital::Kind::storage, "Storage", "internaldrive", "10% free", "10% or more free", true},
                  {Vital::Kind::battery, "Battery", "battery.75percent", "80%", "80% or more", true}}));
    // Just past the edges they are out, though their rounded texts match.
    const Reading past{{}, "", BatteryInfo{0.795, {}, 0, false}, 996, 10'000, Pressure::warning,
                       8'000'000'000, Heat::hot, {}};
    EXPECT_EQ(summary(past), "Tight out; 8.0 GB out; Hot out; 10% free out; 80% out; ");
    // Without a known battery health there are four vitals; an unknown volume counts as free.
    Reading worst{{}, "", BatteryInfo{{}, 312, 0, false}, 0, 0, Pressure::critical, 12'300'000'000,
                  Heat::critical, {}};
    EXPECT_EQ(summary(worst), "Critical out; 12.3 GB out; Very hot out; 100% free in; ");
    worst.battery.reset();
    EXPECT_EQ(summary(worst), "Critical out; 12.3 GB out; Very hot out; 100% free in; ");
    // No sensor: the row stays, shows a dash and counts neither way.
    worst.heat.reset();
    EXPECT_EQ(summary(worst), "Critical out; 12.3 GB out; – unmeasured; 100% free in; ");
}

} // namespace
} // namespace vitrek
