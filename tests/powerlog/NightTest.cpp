#include "powerlog/Night.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace vitrek {
namespace {

using Kind = NightEvent::Kind;

const Instant kStart = test::at("2024-03-04T23:00:00+01:00");

Instant after(double seconds) {
    return kStart + Seconds{seconds};
}

NightEvent event(Kind kind, double at, double duration, const std::string& label = "") {
    return NightEvent{after(at), kind, label, "", "", duration, {}, {}, {}};
}

// Back-to-back spans from kStart, each opening with the event the builder would give its state.
Night nightOf(const std::vector<std::pair<PowerState, double>>& spans) {
    constexpr Kind kinds[] = {Kind::fellAsleep, Kind::darkWake, Kind::stayedAwake, Kind::screenOn};
    Night night;
    night.id = "2024-03-05";
    night.start = night.end = kStart;
    for (const auto& [state, seconds] : spans) {
        night.segments.push_back(Segment{night.end, night.end + Seconds{seconds}, state});
        night.events.push_back(event(kinds[level(state)], secondsBetween(kStart, night.end), seconds));
        night.end += Seconds{seconds};
    }
    return night;
}

// `count` wakes of `seconds` in `state`, evenly spread over an otherwise sleeping night of `total` seconds.
Night wakes(int count, double seconds, PowerState state = PowerState::dark, double total = 28'800) {
    std::vector<std::pair<PowerState, double>> spans;
    for (int i = 0; i < count; ++i) {
        spans.insert(spans.end(), {{PowerState::asleep, total / count - seconds}, {state, seconds}});
    }
    return nightOf(spans);
}

Night withCharges(Night night, std::vector<int> charges) {
    night.hasBattery = true;
    for (std::size_t i = 0; i < charges.size(); ++i) {
        night.battery.push_back(BatteryPoint{after(100.0 * static_cast<double>(i)), charges[i]});
    }
    return night;
}

TEST(RestScoreTest, PenaltiesAddUpWithinTheirCapsAndTheAsleepShareCapsTheTotal) {
    const auto slept = [](double seconds) { return nightOf({{PowerState::asleep, seconds}}); };
    const auto sleptAll = slept(28'800);
    auto noBatteryFlag = withCharges(sleptAll, {90, 50});
    noBatteryFlag.hasBattery = false;
    const std::pair<Night, int> cases[] = {
        {sleptAll, 100},
        {wakes(10, 60), 86},                             // 100 − 12 − 600 ÷ 28,800 × 80
        {wakes(30, 1), 70},                              // the count costs 30, not 36
        {wakes(6, 1, PowerState::screenOn), 90},         // the count costs 10, not 12
        {nightOf({{PowerState::awake, 28'800}}), 25},    // 60 after the time penalty, capped at 25
        {nightOf({{PowerState::screenOn, 28'800}}), 25}, // 78, capped at 25
        {nightOf({{PowerState::asleep, 10'080}, {PowerState::screenOn, 18'720}}), 63}, // cap 62.5
        {withCharges(sleptAll, {80, 70}), 78},     // 10 % in 8 h: 100 − 22.5
        {withCharges(sleptAll, {80, 60}), 75},     // the charge costs 25 at most
        {withCharges(sleptAll, {80, 78}), 100},    // 2 % in 8 h is below the allowance
        {withCharges(slept(3'600), {50, 49}), 96}, // 1 % in 1 h: 100 − 4.5
        {withCharges(slept(1'800), {50, 49}), 96}, // short nights count as 2 h
        {noBatteryFlag, 100},
        {nightOf({}), 0},
        {nightOf({{PowerState::awake, -60}}), 0},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(RestScore::score(c.first), c.second) << "case " << &c - cases;
    }
    EXPECT_EQ(sleptAll.scoreWord(), "Sound");
}

TEST(RestScoreTest, WordsAndTicksBandTheScore) {
    const std::tuple<int, const char*, int> cases[] = {
        {150, "Sound", 10},      {100, "Sound", 10},     {99, "Sound", 9},        {85, "Sound", 8},
        {84, "Light", 8},        {65, "Light", 6},       {64, "Restless", 6},     {40, "Restless", 4},
        {39, "Barely slept", 3}, {0, "Barely slept", 0}, {-5, "Barely slept", 0}, {-20, "Barely slept", 0}};
    for (const auto& [score, word, ticks] : cases) {
        EXPECT_EQ(RestScore::word(score), word) << score;
        EXPECT_EQ(RestScore::ticks(score), ticks) << score;
    }
}

TEST(NightTest, SegmentsAreHalfOpenExceptAtTheNightsEnd) {
    const auto night = nightOf({{PowerState::asleep, 100}, {PowerState::dark, 100}});
    const std::pair<double, std::optional<PowerState>> cases[] = {
        {-1, std::nullopt},      {0, PowerState::asleep}, {99.5, PowerState::asleep},
        {100, PowerState::dark}, {200, PowerState::dark}, {201, std::nullopt}};
    for (const auto& [at, state] : cases) {
        const auto segment = night.segment(after(at));
        EXPECT_EQ(segment ? std::optional{segment->state} : std::nullopt, state) << at;
    }
    EXPECT_EQ(Night{}.segment(Night{}.end), std::nullopt);
}

TEST(NightTest, ChargesComeFromTheBatteryPointsOnlyWhenTheMachineHasABattery) {
    const auto night = withCharges(nightOf({{PowerState::asleep, 600}}), {80, 75, 77});
    const std::pair<double, int> cases[] = {{-50, 80}, {0, 80}, {150, 75}, {200, 77}, {900, 77}};
    for (const auto& [at, charge] : cases) {
        EXPECT_EQ(night.charge(after(at)), charge) << at;
    }
    EXPECT_EQ(std::tuple(night.startCharge(), night.endCharge(), night.lost()), std::tuple(80, 77, 3));
    EXPECT_EQ(withCharges(nightOf({}), {70, 75}).lost(), 0); // a charge that rose loses nothing
    auto withoutBattery = night;
    withoutBattery.hasBattery = false;
    for (const auto& empty : {withoutBattery, withCharges(nightOf({}), {})}) {
        EXPECT_EQ(std::tuple(empty.charge(after(0)), empty.startCharge(), empty.lost()),
                  std::tuple(std::nullopt, std::nullopt, std::nullopt));
    }
}

TEST(NightTest, CountsAndTheStoryGroupOnlyRunsOfTheSameDarkWake) {
    Night night = nightOf({{PowerState::awake, 60}});
    const std::vector<NightEvent> events = {
        event(Kind::fellAsleep, 60, 10, "Idle"), event(Kind::darkWake, 70, 5, "Wi-Fi"),
        event(Kind::darkWake, 75, 6, "Wi-Fi"),   event(Kind::darkWake, 81, 7, "Wi-Fi"),
        event(Kind::screenOn, 88, 2, "Wi-Fi"),   event(Kind::darkWake, 90, 1, "Wi-Fi"),
        event(Kind::darkWake, 91, 1, "Timer"),   event(Kind::fellAsleep, 92, 1, "Idle"),
        event(Kind::fellAsleep, 93, 1, "Idle")};
    night.events.insert(night.events.end(), events.begin(), events.end());
    EXPECT_EQ(std::tuple(night.darkWakeCount(), night.screenOnCount(), night.upCount(), night.wakeCount()),
              std::tuple(5, 1, 2, 7));
    EXPECT_EQ(night.bedtime(), events[0]);
    EXPECT_EQ(night.wakeMoments().size(), 7u);
    const auto items = Story::items(night);
    // Stayed awake, fell asleep, 3 × Wi-Fi, screen on, Wi-Fi, timer, fell asleep, fell asleep.
    ASSERT_EQ(items.size(), 8u);
    EXPECT_EQ(std::tuple(items[1].isGroup(), items[2].isGroup(), items[4].events.size()),
              std::tuple(false, true, 1u));
    EXPECT_DOUBLE_EQ(items[2].totalDuration(), 18);
    EXPECT_EQ(items[2].id(), events[1].id());
}

TEST(NightTest, EventIdsAreTheShortestUnixSecondsAndTheKind) {
    const std::tuple<double, Kind, const char*> cases[] = {
        {1709614800, Kind::darkWake, "1709614800.0-darkWake"},
        {1709614800.25, Kind::screenOn, "1709614800.25-screenOn"},
        {0.1, Kind::awakeAtStart, "0.1-awakeAtStart"}};
    for (const auto& [seconds, kind, id] : cases) {
        auto moment = event(kind, 0, 0);
        moment.date = fromUnixSeconds(seconds);
        EXPECT_EQ(moment.id(), id);
    }
}

TEST(NightJsonTest, RoundTripsWithOptionalEventFieldsLeftOut) {
    auto night = withCharges(wakes(2, 30), {80, 78});
    night.events[1].charge = 79;
    night.events[1].scheduledBy = "Woken by: Wi-Fi";
    night.events[3].culprit = "backupd";
    night.keptAwake = {{"backupd", "Backup", "PreventSystemSleep", 42.5}};
    night.pluggedIn = night.isDemo = night.inProgress = true;
    const auto json = toJson(night, Epoch::reference);
    EXPECT_EQ(
        compactText(json["events"][0]),
        R"({"date":731282400.0,"kind":"fellAsleep","label":"","symbol":"","raw":"","duration":14370.0})");
    EXPECT_EQ(fromJsonText<Night>(compactText(json)), night);
    // Every key is required except the optional fields of an event.
    for (const std::string_view object : {"", "/segments/0", "/events/1", "/battery/0", "/keptAwake/0"}) {
        const Json::json_pointer pointer{std::string(object)};
        for (const auto& item : json[pointer].items()) {
            auto without = json;
            without[pointer].erase(item.key());
            const bool optional =
                object == "/events/1" && (item.key() == "charge" || item.key() == "scheduledBy");
            EXPECT_EQ(fromJson<Night>(without).has_value(), optional) << object << " without " << item.key();
        }
    }
    const std::pair<const char*, Json> changes[] = {
        {"/segments/0/state", "Asleep"}, {"/events/0/kind", "sleep"},
        {"/battery/0/charge", 80.5},     {"/hasBattery", 1},
        {"/keptAwake", Json::object()},  {"/events/1/charge", "79"}};
    for (const auto& [path, value] : changes) {
        auto changed = json;
        changed[Json::json_pointer(path)] = value;
        EXPECT_EQ(fromJson<Night>(changed), std::nullopt) << path;
    }
}

} // namespace
} // namespace vitrek
