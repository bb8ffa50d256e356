#pragma once

#include "readings/Reader.h"

namespace vitrek {

// A laptop with fixed readings, so the benchmarks time and measure the same machine on every run.
class BenchReader final : public Reader {
public:
    std::optional<BatteryInfo> battery() const override { return BatteryInfo{0.87, 412, 64, false}; }
    Storage storage() const override { return {180'000'000'000, 512'000'000'000}; }
    Memory memory() const override { return {Pressure::normal, 1'200'000'000}; }
    std::string modelName() const override { return "ThinkPad X1 Carbon Gen 9 2021"; }
    std::optional<Instant> bootTime() const override { return fromUnixSeconds(1'709'280'000); }
    std::optional<Heat> heat() const override { return Heat::cool; }
    double uptime() const override { return 0; }
    CPUTicks cpuTicks() const override { return {}; }
    std::optional<Instant> setUpDate() const override { return fromUnixSeconds(1'640'000'000); }
};

} // namespace vitrek
