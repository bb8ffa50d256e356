#pragma once

#include "StoreEnvironment.h"
#include "readings/Reader.h"
#include "time/Calendar.h"

#include <filesystem>
#include <functional>
#include <memory>

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

// The Store's machine for the benchmarks: the bench reader, a processor a quarter busy, files in `dir`, the
// clock `now` in Berlin, and check-ups only when the benchmark asks for them.
inline StoreEnvironment benchEnvironment(const std::filesystem::path& dir, std::function<Instant()> now,
                                         PowerLog log = {}) {
    StoreEnvironment env;
    env.reader = std::make_shared<BenchReader>();
    env.cpuTicks = [ticks = CPUTicks{1'000'000, 4'000'000}]() mutable {
        ticks.busy += 1500;
        ticks.total += 6000;
        return ticks;
    };
    env.files = VitrekFiles{dir};
    env.now = std::move(now);
    env.calendar = [calendar = *Calendar::named("Europe/Berlin")] { return calendar; };
    env.setUpDate = [] { return std::optional{fromUnixSeconds(1'640'000'000)}; };
    env.loadPowerLog = [log = std::move(log)] {
        NightLog system;
        system.log = log;
        return system;
    };
    env.firstCheckUp = env.secondCheckUp = env.period = std::chrono::hours{24};
    return env;
}

} // namespace vitrek
