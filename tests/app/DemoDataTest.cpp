#include "Store.h"
#include "demo/DemoData.h"
#include "history/Milestone.h"
#include "support/ScratchDirectory.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace vitrek {
namespace {

TEST(DemoDataSamples, CoverTheWorkingDayEvenBeforeNineAndRunOnUntilNow) {
    const Calendar berlin = test::berlin();
    const auto early = DemoData::samples(test::local(berlin, 2026, 11, 24, 7, 15), berlin);
    ASSERT_EQ(early.size(), 481u); // 09:00 to 17:00 inclusive, once a minute
    EXPECT_EQ(early.front().date, test::local(berlin, 2026, 11, 24, 9));
    EXPECT_EQ(early.back().date, test::local(berlin, 2026, 11, 24, 17));

    const Instant evening = test::local(berlin, 2026, 11, 24, 19, 30, 30);
    const auto late = DemoData::samples(evening, berlin);
    EXPECT_EQ(late.back().date, test::local(berlin, 2026, 11, 24, 19, 30));
    EXPECT_LE(late.back().date, evening);

    // Busy at 11, 12 and 15 o'clock, with every seventh of those minutes warm; quiet and cool otherwise.
    for (std::size_t i = 0; i < late.size(); ++i) {
        const int hour = berlin.local(late[i].date)->hour;
        const bool busy = hour == 11 || hour == 12 || hour == 15;
        EXPECT_GE(late[i].load, 0.0);
        EXPECT_LE(late[i].load, 1.0);
        if (busy) {
            EXPECT_GE(late[i].load, 0.42) << i;
            EXPECT_EQ(late[i].heat, i % 7 == 0 ? Heat::warm : Heat::cool) << i;
        } else {
            EXPECT_LE(late[i].load, 0.13) << i;
            EXPECT_EQ(late[i].heat, Heat::cool) << i;
        }
    }
}

TEST(DemoDataHistory, FifteenDaysWithHeavyStressTodayAndOnTheSameWeekdayBefore) {
    const Calendar berlin = test::berlin();
    const Instant now = test::local(berlin, 2026, 11, 24, 14, 30);
    const History history = DemoData::history(now, berlin);
    ASSERT_EQ(history.days.size(), 15u);
    EXPECT_EQ(history.days.front().id, "2026-11-10");
    EXPECT_EQ(history.days.back().id, "2026-11-24");
    for (std::size_t i = 0; i < history.days.size(); ++i) {
        const Day& day = history.days[i];
        if (i == 0 || i == 7 || i == 14) {
            EXPECT_EQ(day.stress, 11'160.0) << day.id;
        } else {
            EXPECT_NE(day.stress, 11'160.0) << day.id;
        }
    }
    EXPECT_EQ(history.days[3], (Day{"2026-11-13", 71, 8 + 21 % 11, 79, 4'200 + 60.0 * 111, -0.3 - 0.012 * 3}));
    EXPECT_EQ(history.streak(now, berlin), 15);
    EXPECT_EQ(Milestone::reached(15), 14);
    EXPECT_TRUE(history.ageGap(now, berlin).has_value());
}

TEST(DemoDataNight, ThreeShortDarkWakesInAWindowFromElevenToSeven) {
    const Calendar berlin = test::berlin();
    const Night night = DemoData::night(test::local(berlin, 2026, 11, 24, 14, 30), berlin);
    EXPECT_EQ(night.id, "2026-11-24");
    EXPECT_EQ(night.start, test::local(berlin, 2026, 11, 23, 23));
    EXPECT_EQ(night.end, test::local(berlin, 2026, 11, 24, 7));
    ASSERT_EQ(night.segments.size(), 8u);
    EXPECT_EQ(night.segments.front().state, PowerState::screenOn);
    EXPECT_EQ(night.segments.front().seconds(), 1'200);
    // The segments tile the night without a gap.
    for (std::size_t i = 1; i < night.segments.size(); ++i) {
        EXPECT_EQ(night.segments[i].start, night.segments[i - 1].end);
    }
    EXPECT_EQ(night.segments.back().end, night.end);

    EXPECT_EQ(night.darkWakeCount(), 3);
    EXPECT_EQ(night.upCount(), 0);
    EXPECT_EQ(night.darkTime(), 135);
    ASSERT_EQ(night.events.size(), 4u);
    EXPECT_EQ(night.events[0].kind, NightEvent::Kind::fellAsleep);
    EXPECT_EQ(night.events[0].label, "Lid closed");
    const Instant asleep = night.start + Seconds(1'200);
    const double hours[] = {2.1, 3.9, 5.4};
    for (int i = 0; i < 3; ++i) {
        const NightEvent& wake = night.events[static_cast<std::size_t>(i + 1)];
        EXPECT_EQ(wake.kind, NightEvent::Kind::darkWake);
        EXPECT_EQ(wake.label, "Wi-Fi keep-alive");
        EXPECT_EQ(wake.symbol, "wifi");
        EXPECT_EQ(wake.duration, 45);
        EXPECT_DOUBLE_EQ(secondsBetween(asleep, wake.date), hours[i] * 3'600);
    }
    EXPECT_EQ(night.lost(), 2);
    EXPECT_TRUE(night.isDemo);
    EXPECT_FALSE(night.inProgress);
    EXPECT_FALSE(night.pluggedIn);
}

class NoMachine final : public Reader {
public:
    std::optional<BatteryInfo> battery() const override { return std::nullopt; }
    Storage storage() const override { return Storage{}; }
    Memory memory() const override { return Memory{}; }
    std::string modelName() const override { return "The real machine"; }
    std::optional<Instant> bootTime() const override { return std::nullopt; }
    std::optional<Heat> heat() const override { return Heat::cool; }
    double uptime() const override { return 0; }
    CPUTicks cpuTicks() const override { return {}; }
    std::optional<Instant> setUpDate() const override { return std::nullopt; }
};

TEST(DemoDataFill, GivesTheFiguresTheSelfTestExpectsAndRecordsNothing) {
    test::ScratchDirectory data;
    StoreEnvironment env;
    env.reader = std::make_shared<const NoMachine>();
    env.files = VitrekFiles{data.path()};
    env.now = [] { return test::at("2026-11-24T14:30:00+01:00"); };
    env.calendar = [] { return test::berlin(); };
    env.isDemo = [] { return true; };
    env.demoFill = [](Store& store) { DemoData::fill(store); };
    Store store(env);
    store.start();
    store.refresh();

    EXPECT_EQ(store.reading()->model, "ThinkPad X1 Carbon Gen 11 (2023)");
    EXPECT_FALSE(store.loadingNight());
    EXPECT_EQ(store.factors().size(), 6u);
    EXPECT_GE(store.recovery(), 34);
    ASSERT_TRUE(store.strain().has_value());
    EXPECT_GT(*store.strain(), 0);
    ASSERT_TRUE(store.age().has_value());
    EXPECT_NEAR(store.age()->realYears, 2.8, 0.01);
    EXPECT_LT(store.age()->vitrekYears(), store.age()->realYears);
    const auto inRange = std::count_if(store.vitals().begin(), store.vitals().end(),
                                       [](const Vital& vital) { return vital.within(); });
    EXPECT_EQ(store.vitals().size(), 5u);
    EXPECT_EQ(inRange, 4);
    EXPECT_EQ(store.streak(), 15);
    EXPECT_TRUE(store.typicalStress().has_value());

    DemoData::fillNeedsCare(store);
    EXPECT_EQ(store.reading()->freeBytes, 9'000'000'000);
    EXPECT_EQ(store.reading()->heat, Heat::hot);
    EXPECT_FALSE(store.night().has_value());
    EXPECT_FALSE(store.strain().has_value());
    EXPECT_LT(store.recovery(), 67);
    EXPECT_TRUE(std::filesystem::is_empty(data.path()));
}

} // namespace
} // namespace vitrek
