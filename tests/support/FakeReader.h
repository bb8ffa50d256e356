#pragma once

#include "readings/Reader.h"
#include "support/TestSupport.h"

namespace vitrek::test {

// A healthy machine whose every reading is a field the test may change.
struct FakeReader final : Reader {
    std::optional<BatteryInfo> batteryInfo = BatteryInfo{0.97, 120, 80, true};
    Storage disk{400'000'000'000, 1'000'000'000'000};
    Memory ram{};
    std::string model = "ThinkPad X1 Carbon Gen 9";
    std::optional<Instant> boot = at("2024-03-05T08:00:00+01:00");
    std::optional<Heat> warmth = Heat::cool;
    std::optional<Instant> setUp = at("2022-06-01T00:00:00Z");

    std::optional<BatteryInfo> battery() const override { return batteryInfo; }
    Storage storage() const override { return disk; }
    Memory memory() const override { return ram; }
    std::string modelName() const override { return model; }
    std::optional<Instant> bootTime() const override { return boot; }
    std::optional<Heat> heat() const override { return warmth; }
    double uptime() const override { return 0; }
    CPUTicks cpuTicks() const override { return {}; }
    std::optional<Instant> setUpDate() const override { return setUp; }
};

} // namespace vitrek::test
