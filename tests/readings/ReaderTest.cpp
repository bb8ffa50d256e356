#include "readings/Reader.h"

#include "support/FakeReader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <tuple>
#include <vector>

namespace vitrek {
namespace {

// The boot time's fallback to the uptime is LinuxReaderTest's, through a real reader.
TEST(ReaderTest, ReadTakesEveryFigure) {
    const auto now = test::at("2024-03-05T12:00:00+01:00");
    test::FakeReader reader;
    reader.ram = {Pressure::warning, 4096};
    reader.warmth = Heat::hot;
    EXPECT_EQ(reader.read(now),
              (Reading{now, "ThinkPad X1 Carbon Gen 9", BatteryInfo{0.97, 120, 80, true}, 400'000'000'000,
                       1'000'000'000'000, Pressure::warning, 4096, Heat::hot, *reader.boot}));
}

// The recorded batteries in LinuxReaderTest cover the ordinary ratios and the cap at one.
TEST(ReaderTest, PercentRoundsHalfAwayAndHealthNeedsAUsableDesignValue) {
    const std::vector<std::tuple<std::int64_t, std::int64_t, int>> cases = {
        {80, 100, 80}, {1, 200, 1}, {3, 200, 2}, {57, 0, 57}, {57, -1, 57}};
    for (const auto& [current, maximum, percent] : cases) {
        EXPECT_EQ(Reader::batteryPercent(current, maximum), percent) << current << " of " << maximum;
    }
    EXPECT_EQ(Reader::batteryHealth(0, 100), 0.0);
    EXPECT_EQ(Reader::batteryHealth(5, 0), std::nullopt);
    EXPECT_EQ(Reader::batteryHealth(std::nullopt, 100), std::nullopt);
}

} // namespace
} // namespace vitrek
