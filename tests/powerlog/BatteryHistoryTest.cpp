#include "powerlog/BatteryHistory.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace vitrek {
namespace {

constexpr double kStart = 1'700'000'000;

Instant second(double offset) { return fromUnixSeconds(kStart + offset); }

BatteryHistoryEntry entry(double offset, double value, std::optional<bool> onBattery) {
    return {second(offset), value, onBattery};
}

PowerEvent eventAt(double offset, std::optional<int> charge = std::nullopt,
                   std::optional<bool> onBattery = std::nullopt) {
    return {second(offset), PowerEventKind::wake, "Wake", "", onBattery, charge};
}

TEST(BatteryHistoryFileTest, ParseKeepsOnlyWholeLinesSortedAndReadsTheSourceFromTheStateWord) {
    const struct {
        std::string line;
        std::optional<BatteryHistoryEntry> expected;
    } cases[] = {
        {"1700000000\t85.000\tdischarging", entry(0, 85, true)},
        {"1700000000\t0.000\tempty", entry(0, 0, true)},
        {"1700000000\t12.5\tpending-discharge", entry(0, 12.5, true)},
        {"1700000000\t63.000\tcharging", entry(0, 63, false)},
        {"1700000000\t100.000\tfully-charged", entry(0, 100, false)},
        {"1700000000\t80.000\tpending-charge", entry(0, 80, false)},
        {"1700000000\t80.000\tunknown", entry(0, 80, std::nullopt)},
        {"1700000000\t-1.250\tcharging\r", entry(0, -1.25, false)},
        {"", std::nullopt},
        {"1700000000\t85.000", std::nullopt},
        {"1700000000\t85.000\t", std::nullopt},
        {"1700000000\t\tdischarging", std::nullopt},
        {"1700000000 85.000 discharging", std::nullopt},
        {"1700000000\t70.0001700000060\t69.000\tdischarging", std::nullopt}, // two writes run together
        {"-1700000000\t85.000\tdischarging", std::nullopt},
        {"1.7e9\t85.000\tdischarging", std::nullopt},
        {"1700000000\tnan\tdischarging", std::nullopt},
        {"99999999999999999999\t85.000\tdischarging", std::nullopt},
    };
    for (const auto& row : cases) {
        const auto parsed = BatteryHistoryFile::parse(row.line + "\n");
        const auto expected = row.expected ? std::vector{*row.expected} : std::vector<BatteryHistoryEntry>{};
        EXPECT_EQ(parsed, expected) << row.line;
    }
    // Sorted by date, in file order within a second.
    const auto parsed = BatteryHistoryFile::parse("1700000600\t80.000\tdischarging\n"
                                                  "garbage\n"
                                                  "1700000000\t85.000\tdischarging\n"
                                                  "1700000600\t79.000\tunknown\n"
                                                  "1700000300\t83.000\tcharging\n"
                                                  "1700000900\t7");
    EXPECT_EQ(parsed, (std::vector{entry(0, 85, true), entry(300, 83, false), entry(600, 80, true),
                                   entry(600, 79, std::nullopt)}));
}

TEST(BatteryHistoryFileTest, EachEventTakesTheLastEntryAtOrBeforeIt) {
    const BatteryHistory history{
        {entry(0, 84.5, true), entry(600, 63.4, std::nullopt), entry(1200, 104.2, false),
         entry(1800, -0.6, std::nullopt)},
        {entry(0, 9.8, false), entry(900, 35.2, false), entry(1500, 0, std::nullopt), entry(1700, 8.1, true)},
    };
    const struct {
        const char* what;
        PowerEvent event;
        std::optional<int> charge;
        std::optional<bool> onBattery;
    } cases[] = {
        {"before the history, left alone", eventAt(-1, 50, false), 50, false},
        {"exactly at the first entry; the charge file wins the same second", eventAt(0), 85, true},
        {"just before the second entry, half rounds up", eventAt(599), 85, true},
        {"an unknown state keeps the earlier source", eventAt(600, std::nullopt, false), 63, true},
        {"the rate file names a later source", eventAt(1000), 63, false},
        {"above 100 is clamped", eventAt(1200), 100, false},
        {"an unknown rate entry keeps the charge file's source", eventAt(1600), 100, false},
        {"the later rate entry wins again", eventAt(1700), 100, true},
        {"below 0 is clamped, long after the last entry", eventAt(86'400), 0, true},
    };
    for (const auto& row : cases) {
        PowerLog log;
        log.events = {row.event};
        BatteryHistoryFile::annotate(log, history);
        EXPECT_EQ(log.events[0].charge, row.charge) << row.what;
        EXPECT_EQ(log.events[0].onBattery, row.onBattery) << row.what;
    }
}

} // namespace
} // namespace vitrek
