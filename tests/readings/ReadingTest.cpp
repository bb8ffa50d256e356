#include "readings/Reading.h"

#include "readings/CPUTicks.h"
#include "readings/Reader.h"
#include "support/FakeReader.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

const Reading kLaptop{test::at("2001-01-01T01:00:00.5Z"), "Mac", BatteryInfo{0.87, {}, 64, true}, 250, 1000,
                      Pressure::critical, 0, Heat::critical, test::at("2001-01-01T00:00:00Z")};

TEST(ReadingTest, UnknownVolumesCountAsFreeAndOutOfRangeInputsFallBack) {
    Reading reading;
    for (const auto& [freeBytes, totalBytes, share] :
         std::vector<std::tuple<int, int, double>>{{250, 1000, 0.25}, {0, 1, 0}, {0, 0, 1}, {5, -1, 1}}) {
        reading.freeBytes = freeBytes;
        reading.totalBytes = totalBytes;
        EXPECT_DOUBLE_EQ(reading.freeShare(), share) << freeBytes << " of " << totalBytes;
    }
    reading.bootedAt = reading.date + Seconds{1};
    EXPECT_DOUBLE_EQ(reading.uptime(), 0);
    EXPECT_EQ(heatFromThermalState(4), Heat::cool);
}

TEST(CPUTicksTest, LoadIsTheBusyShareCappedAtOneAndZeroAfterAReset) {
    const std::vector<std::tuple<CPUTicks, CPUTicks, double>> cases = {
        {{1, 10}, {6, 20}, 0.5}, {{1, 10}, {6, 10}, 0},  {{1, 10}, {6, 9}, 0},
        {{5, 10}, {1, 20}, 0},   {{1, 10}, {40, 20}, 1}, {{0, 0}, {UINT64_MAX, UINT64_MAX}, 1}};
    for (const auto& [from, to, load] : cases) {
        EXPECT_DOUBLE_EQ(CPUTicks::load(from, to), load) << to.busy << "/" << to.total;
    }
}

TEST(ReadingJsonTest, EncodesInFieldOrderOmittingAbsentPartsAndRoundTrips) {
    EXPECT_EQ(compactText(toJson(kLaptop, Epoch::reference)),
              R"({"date":3600.5,"model":"Mac","battery":{"health":0.87,"percent":64,"onAC":true},)"
              R"("freeBytes":250,"totalBytes":1000,"pressure":4,"swapBytes":0,"heat":3,"bootedAt":0.0})");
    EXPECT_EQ(fromJsonText<Reading>(compactText(toJson(kLaptop, Epoch::reference))), kLaptop);
    EXPECT_EQ(compactText(toJson(Reading{}, Epoch::unixTime)),
              R"({"date":0.0,"model":"","freeBytes":0,"totalBytes":0,"pressure":1,"swapBytes":0,"heat":null,)"
              R"("bootedAt":0.0})");
    const BatteryInfo unknownHealth{std::nullopt, 312, 100, false};
    EXPECT_EQ(compactText(toJson(unknownHealth)), R"({"cycles":312,"percent":100,"onAC":false})");
    EXPECT_EQ(fromJson<BatteryInfo>(toJson(unknownHealth)), unknownHealth);
}

TEST(ReadingJsonTest, EveryKeyButBatteryAndHeatIsRequiredAndAWrongTypeFailsTheWholeReading) {
    const auto line = toJson(kLaptop, Epoch::reference);
    for (const auto& item : line.items()) {
        auto json = line;
        json.erase(item.key());
        const bool optional = item.key() == "battery" || item.key() == "heat";
        EXPECT_EQ(fromJson<Reading>(json).has_value(), optional) << "without " << item.key();
    }
    auto unmeasured = line;
    unmeasured["heat"] = nullptr;
    EXPECT_EQ(fromJson<Reading>(unmeasured).value().heat, std::nullopt);
    for (const auto* change : {R"({"pressure":3})", R"({"heat":4})", R"({"heat":"hot"})", R"({"model":2023})",
                               R"({"bootedAt":null})", R"({"battery":{"onAC":true}})",
                               R"({"battery":{"health":"0.9","percent":80,"onAC":true}})"}) {
        auto json = line;
        json.update(Json::parse(change));
        EXPECT_EQ(fromJson<Reading>(json), std::nullopt) << json.dump();
    }
}

// user nice system idle iowait irq softirq steal guest guest_nice
TEST(CPUTicksTest, ProcStatCountsInterruptsAndStolenTimeAsBusyButNotGuestTimeTwiceInKernelsOfAnyAge) {
    const std::vector<std::pair<std::string, std::optional<CPUTicks>>> cases = {
        {"cpu  100 20 30 1000 5 1 2 3 50 10\n", CPUTicks{156, 1161}},
        {"cpu  100 20 30 1000\n", CPUTicks{150, 1150}},     // 2.4: no iowait and later columns
        {"cpu  100 20 30 1000 5 1 2", CPUTicks{153, 1158}}, // 2.6.0: no steal, no final newline
        {"intr 5 6\ncpu0 1 1 1 1\ncpu  2 0 0 8\n",
         CPUTicks{2, 10}}, // the summed line, not the first processor
        {"cpu  1 2 3\n", std::nullopt},
        {"cpu  1 x 3 4\n", std::nullopt},
        {"cpu0 1 2 3 4\n", std::nullopt},
        {"", std::nullopt}};
    for (const auto& [text, ticks] : cases) {
        EXPECT_EQ(CPUTicks::fromProcStat(text), ticks) << text;
    }
}

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
