#include "readings/Reader.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

// A machine whose every answer is set by the test.
struct CannedReader final : Reader {
    std::optional<BatteryInfo> cannedBattery;
    std::optional<Instant> cannedBootTime;
    double cannedUptime = 0;

    std::optional<BatteryInfo> battery() const override { return cannedBattery; }
    Storage storage() const override { return {250, 1000}; }
    Memory memory() const override { return {Pressure::warning, 4096}; }
    std::string modelName() const override { return "ThinkPad X1 Carbon Gen 9"; }
    std::optional<Instant> bootTime() const override { return cannedBootTime; }
    std::optional<Heat> heat() const override { return Heat::hot; }
    double uptime() const override { return cannedUptime; }
    CPUTicks cpuTicks() const override { return {}; }
    std::optional<Instant> setUpDate() const override { return std::nullopt; }
};

TEST(ReaderTest, ReadTakesEveryFigureAndFallsBackToTheUptimeForTheBootTime) {
    const auto now = test::at("2024-03-05T12:00:00+01:00");
    CannedReader reader;
    reader.cannedBattery = BatteryInfo{0.9, 312, 57, true};
    reader.cannedBootTime = test::at("2024-03-01T08:00:00+01:00");
    reader.cannedUptime = 90.5;
    EXPECT_EQ(reader.read(now),
              (Reading{now, "ThinkPad X1 Carbon Gen 9", BatteryInfo{0.9, 312, 57, true}, 250, 1000,
                       Pressure::warning, 4096, Heat::hot, *reader.cannedBootTime}));

    reader.cannedBootTime.reset();
    EXPECT_EQ(reader.read(now).bootedAt, now - Seconds{90.5});
}

TEST(ReaderTest, PercentRoundsHalfAwayFromZeroAndKeepsTheRawValueWithoutAMaximum) {
    const std::vector<std::tuple<std::int64_t, std::int64_t, int>> cases = {
        {80, 100, 80}, {4000, 5000, 80}, {1, 200, 1},           {3, 200, 2},
        {57, 0, 57},   {57, -1, 57},     {2713000, 2871000, 94}};
    for (const auto& [current, maximum, percent] : cases) {
        EXPECT_EQ(Reader::batteryPercent(current, maximum), percent) << current << " of " << maximum;
    }
}

TEST(ReaderTest, HealthIsCappedAtOneAndAbsentWithoutAUsableDesignValue) {
    EXPECT_DOUBLE_EQ(*Reader::batteryHealth(2871000, 8509000), 2871000.0 / 8509000.0);
    EXPECT_EQ(Reader::batteryHealth(94860000, 93960000), 1.0);
    EXPECT_EQ(Reader::batteryHealth(0, 100), 0.0);
    EXPECT_EQ(Reader::batteryHealth(5, 0), std::nullopt);
    EXPECT_EQ(Reader::batteryHealth(std::nullopt, 100), std::nullopt);
    EXPECT_EQ(Reader::batteryHealth(100, std::nullopt), std::nullopt);
}

} // namespace
} // namespace vitrek
