#include "readings/Reading.h"

#include "readings/CPUTicks.h"
#include "readings/Heat.h"
#include "readings/Pressure.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vitrek {
namespace {

using test::at;

Reading laptop() {
    Reading reading;
    reading.date = at("2025-03-04T07:12:00+01:00");
    reading.model = "MacBook Pro (14-inch, M3, 2023)";
    reading.battery = BatteryInfo{0.87, 312, 64, true};
    reading.freeBytes = 123'456'789'012;
    reading.totalBytes = 494'384'795'648;
    reading.pressure = Pressure::critical;
    reading.swapBytes = 2'300'000'000;
    reading.heat = Heat::critical;
    reading.bootedAt = at("2025-02-27T18:00:30+01:00");
    return reading;
}

// One line as the sample files store it: dates in seconds since 2001, no battery on a desktop.
constexpr const char* kDesktopLine =
    R"json({"date":762761520,"model":"Mac mini (2023)","freeBytes":250000000000,)json"
    R"json("totalBytes":1000000000000,"pressure":2,"swapBytes":0,"heat":1,"bootedAt":762675120})json";

TEST(ReadingTest, FreeShareCountsAnUnknownVolumeAsEntirelyFree) {
    struct Case {
        std::int64_t freeBytes;
        std::int64_t totalBytes;
        double share;
    };
    const std::vector<Case> cases = {
        {250, 1000, 0.25}, {0, 1000, 0.0}, {1, 1, 1.0}, {0, 0, 1.0}, {500, 0, 1.0}, {5, -1, 1.0},
    };
    for (const auto& c : cases) {
        Reading reading;
        reading.freeBytes = c.freeBytes;
        reading.totalBytes = c.totalBytes;
        EXPECT_DOUBLE_EQ(reading.freeShare(), c.share) << c.freeBytes << " of " << c.totalBytes;
    }
}

TEST(ReadingTest, UptimeIsNeverNegative) {
    Reading reading;
    reading.date = at("2025-03-04T07:12:00+01:00");

    reading.bootedAt = at("2025-03-04T06:12:00+01:00");
    EXPECT_DOUBLE_EQ(reading.uptime(), 3600.0);

    reading.bootedAt = reading.date;
    EXPECT_DOUBLE_EQ(reading.uptime(), 0.0);

    // A clock set back after the boot must not produce a negative uptime.
    reading.bootedAt = at("2025-03-04T07:12:01+01:00");
    EXPECT_DOUBLE_EQ(reading.uptime(), 0.0);
}

TEST(PressureTest, OnlyTheSystemLevelsOneTwoAndFourExist) {
    EXPECT_EQ(pressureFromRawValue(1), Pressure::normal);
    EXPECT_EQ(pressureFromRawValue(2), Pressure::warning);
    EXPECT_EQ(pressureFromRawValue(4), Pressure::critical);
    for (const int raw : {-1, 0, 3, 5, 8}) {
        EXPECT_EQ(pressureFromRawValue(raw), std::nullopt) << raw;
    }
    EXPECT_EQ(rawValue(Pressure::critical), 4);
    EXPECT_LT(Pressure::normal, Pressure::warning);
    EXPECT_LT(Pressure::warning, Pressure::critical);
}

TEST(HeatTest, RawValuesRunFromZeroToThreeInOrder) {
    for (int raw = 0; raw < 4; ++raw) {
        ASSERT_EQ(heatFromRawValue(raw), kAllHeats[static_cast<std::size_t>(raw)]);
        EXPECT_EQ(rawValue(kAllHeats[static_cast<std::size_t>(raw)]), raw);
    }
    EXPECT_EQ(kAllHeats.front(), Heat::cool);
    EXPECT_EQ(kAllHeats.back(), Heat::critical);
    EXPECT_EQ(heatFromRawValue(-1), std::nullopt);
    EXPECT_EQ(heatFromRawValue(4), std::nullopt);
    EXPECT_LT(Heat::warm, Heat::hot);
}

TEST(HeatTest, ThermalStatesOutsideTheKnownFourCountAsCool) {
    EXPECT_EQ(heatFromThermalState(0), Heat::cool);
    EXPECT_EQ(heatFromThermalState(1), Heat::warm);
    EXPECT_EQ(heatFromThermalState(2), Heat::hot);
    EXPECT_EQ(heatFromThermalState(3), Heat::critical);
    for (const int state : {-1, 4, 99}) {
        EXPECT_EQ(heatFromThermalState(state), Heat::cool) << state;
    }
}

TEST(CPUTicksTest, LoadIsTheBusyShareOfTheTicksBetweenTwoReadings) {
    struct Case {
        CPUTicks from;
        CPUTicks to;
        double load;
    };
    const std::vector<Case> cases = {
        {{100, 1000}, {150, 1100}, 0.5},         {{100, 1000}, {100, 1100}, 0.0},
        {{100, 1000}, {200, 1100}, 1.0},         {{0, 0}, {3, 12}, 0.25},
        {{100, 1000}, {100, 1000}, 0.0}, // nothing elapsed
        {{100, 1000}, {150, 1000}, 0.0}, // busy grew but the total did not
        {{100, 1000}, {150, 900}, 0.0},  // the total went back
        {{100, 1000}, {50, 1100}, 0.0},  // a counter reset
        {{100, 1000}, {400, 1100}, 1.0}, // busy grew more than the total
        {{0, 0}, {UINT64_MAX, UINT64_MAX}, 1.0},
    };
    for (const auto& c : cases) {
        EXPECT_DOUBLE_EQ(CPUTicks::load(c.from, c.to), c.load)
            << c.from.busy << "/" << c.from.total << " → " << c.to.busy << "/" << c.to.total;
    }
}

TEST(ReadingJsonTest, EncodesTheFieldNamesWithDatesSince2001AndLevelsAsNumbers) {
    const auto json = toJson(laptop());
    std::vector<std::string> keys;
    for (const auto& [key, value] : json.items()) {
        keys.push_back(key);
    }
    const std::vector<std::string> fieldOrder = {
        "date", "model", "battery", "freeBytes", "totalBytes", "pressure", "swapBytes", "heat", "bootedAt"};
    EXPECT_EQ(keys, fieldOrder);
    EXPECT_DOUBLE_EQ(json.at("date").get<double>(), 762761520.0);
    EXPECT_DOUBLE_EQ(json.at("bootedAt").get<double>(), 762368430.0);
    EXPECT_EQ(json.at("model"), "MacBook Pro (14-inch, M3, 2023)");
    EXPECT_EQ(json.at("freeBytes"), 123'456'789'012);
    EXPECT_EQ(json.at("totalBytes"), 494'384'795'648);
    EXPECT_EQ(json.at("swapBytes"), 2'300'000'000);
    EXPECT_EQ(json.at("pressure"), 4);
    EXPECT_EQ(json.at("heat"), 3);
    EXPECT_EQ(compactText(json.at("battery")), R"({"health":0.87,"cycles":312,"percent":64,"onAC":true})");
}

TEST(ReadingJsonTest, RoundTripsWithAndWithoutOptionalParts) {
    std::vector<Reading> readings;
    readings.push_back(laptop());
    auto desktop = laptop();
    desktop.battery.reset();
    readings.push_back(desktop);
    auto unknownHealth = laptop();
    unknownHealth.battery = BatteryInfo{std::nullopt, std::nullopt, 100, false};
    readings.push_back(unknownHealth);
    auto fractionalDate = laptop();
    fractionalDate.date = at("2025-03-04T07:12:00.25+01:00");
    readings.push_back(fractionalDate);

    for (const auto& reading : readings) {
        const auto json = toJson(reading);
        EXPECT_EQ(fromJson<Reading>(json), reading) << json.dump();
        EXPECT_EQ(fromJsonText<Reading>(json.dump()), reading) << json.dump();
    }
}

TEST(ReadingJsonTest, OmitsAbsentBatteryHealthAndCycles) {
    auto reading = laptop();
    reading.battery.reset();
    EXPECT_FALSE(toJson(reading).contains("battery"));

    reading.battery = BatteryInfo{std::nullopt, std::nullopt, 100, false};
    const auto battery = toJson(reading).at("battery");
    EXPECT_EQ(compactText(battery), R"({"percent":100,"onAC":false})");
    EXPECT_EQ(fromJsonText<BatteryInfo>(R"({"percent":100,"onAC":false})"), reading.battery);
}

TEST(ReadingJsonTest, DecodesAStoredLineWithoutABattery) {
    const auto reading = fromJsonText<Reading>(kDesktopLine);
    ASSERT_TRUE(reading.has_value());
    EXPECT_EQ(reading->date, at("2025-03-04T07:12:00+01:00"));
    EXPECT_EQ(reading->bootedAt, at("2025-03-03T07:12:00+01:00"));
    EXPECT_EQ(reading->model, "Mac mini (2023)");
    EXPECT_EQ(reading->battery, std::nullopt);
    EXPECT_EQ(reading->freeBytes, 250'000'000'000);
    EXPECT_EQ(reading->pressure, Pressure::warning);
    EXPECT_EQ(reading->heat, Heat::warm);
    EXPECT_DOUBLE_EQ(reading->freeShare(), 0.25);
}

TEST(ReadingJsonTest, EveryKeyButBatteryIsRequired) {
    const auto line = Json::parse(kDesktopLine);
    for (const auto& key :
         {"date", "model", "freeBytes", "totalBytes", "pressure", "swapBytes", "heat", "bootedAt"}) {
        auto json = line;
        json.erase(key);
        EXPECT_EQ(fromJson<Reading>(json), std::nullopt) << "without " << key;
    }
    EXPECT_EQ(fromJsonText<BatteryInfo>(R"({"health":0.9,"onAC":false})"), std::nullopt);
    EXPECT_EQ(fromJsonText<BatteryInfo>(R"({"health":0.9,"percent":80})"), std::nullopt);
}

TEST(ReadingJsonTest, WronglyTypedValuesAndUnknownLevelsFailTheWholeReading) {
    const auto line = Json::parse(kDesktopLine);
    const std::vector<std::pair<const char*, Json>> changes = {
        {"pressure", 3},
        {"pressure", 0},
        {"pressure", "normal"},
        {"heat", 4},
        {"heat", -1},
        {"heat", "hot"},
        {"model", 2023},
        {"freeBytes", "250000000000"},
        {"date", "2025-03-04T07:12:00+01:00"},
        {"bootedAt", nullptr},
        {"battery", "none"},
        {"battery", Json::parse(R"({"percent":"80","onAC":true})")},
        {"battery", Json::parse(R"({"percent":80,"onAC":"yes"})")},
        {"battery", Json::parse(R"({"health":"0.9","percent":80,"onAC":true})")},
        {"battery", Json::parse(R"({"cycles":"312","percent":80,"onAC":true})")},
    };
    for (const auto& [key, value] : changes) {
        auto json = line;
        json[key] = value;
        EXPECT_EQ(fromJson<Reading>(json), std::nullopt) << json.dump();
    }
    EXPECT_EQ(fromJsonText<Reading>("{\"date\":"), std::nullopt);
    EXPECT_EQ(fromJsonText<Reading>("[]"), std::nullopt);
}

} // namespace
} // namespace vitrek
