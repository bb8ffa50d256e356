#include "demo/DemoData.h"

#include "Store.h"
#include "support/ScratchDirectory.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace vitrek {
namespace {

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
