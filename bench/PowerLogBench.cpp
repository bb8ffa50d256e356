// Throughput of the power log parser and time of the night builder on generated logs of realistic shape.
// Run pinned to one core: taskset -c 0 <builddir>/bench/PowerLogBench

#include "PowerLogGenerator.h"
#include "powerlog/NightBuilder.h"
#include "powerlog/PowerLogParser.h"
#include "time/Calendar.h"
#include "time/Iso8601.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>

namespace vitrek {
namespace {

// Generating 100 MB takes about a second; each size is made once per run, outside every timed loop.
const GeneratedPowerLog& logOfMegabytes(std::size_t megabytes) {
    static std::map<std::size_t, GeneratedPowerLog> logs;
    auto found = logs.find(megabytes);
    if (found == logs.end()) {
        found = logs.emplace(megabytes, PowerLogGenerator::ofBytes(megabytes * 1'000'000)).first;
    }
    return found->second;
}

const GeneratedPowerLog& threeWeeks() {
    static const GeneratedPowerLog log = PowerLogGenerator::ofDays(21);
    return log;
}

// MiB/s comes from SetBytesProcessed; the decimal figure is the one the notes quote.
void countBytes(benchmark::State& state, std::size_t bytesPerIteration) {
    const auto bytes = static_cast<std::int64_t>(bytesPerIteration) * state.iterations();
    state.SetBytesProcessed(bytes);
    state.counters["MB/s"] =
        benchmark::Counter(static_cast<double>(bytes) / 1e6, benchmark::Counter::kIsRate);
}

struct NightInputs {
    Instant now;
    Calendar calendar;
};

// The morning after the last night, in the zone the nights are cut in; absent without the zone database.
std::optional<NightInputs> nightInputs(const GeneratedPowerLog& log) {
    const auto now = parseIso8601(log.suggestedNow);
    auto calendar = Calendar::named("Europe/Berlin");
    if (!now || !calendar) {
        return std::nullopt;
    }
    return NightInputs{*now, *calendar};
}

void BM_Parse(benchmark::State& state, std::size_t megabytes) {
    const auto& log = logOfMegabytes(megabytes);
    for (auto _ : state) {
        PowerLog parsed = PowerLogParser::parse(log.text);
        benchmark::DoNotOptimize(parsed);
    }
    countBytes(state, log.text.size());
    state.counters["days"] = log.days;
}
BENCHMARK_CAPTURE(BM_Parse, 10MB, 10)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Parse, 100MB, 100)->Unit(benchmark::kMillisecond);

void BM_BuildNights_ThreeWeeks(benchmark::State& state) {
    const auto& log = threeWeeks();
    const auto inputs = nightInputs(log);
    if (!inputs) {
        state.SkipWithError("no time-zone data for Europe/Berlin");
        return;
    }
    const PowerLog parsed = PowerLogParser::parse(log.text);
    std::size_t nights = 0;
    for (auto _ : state) {
        auto built = NightBuilder::build(parsed, NightWindow{}, inputs->now, inputs->calendar);
        nights = built.size();
        benchmark::DoNotOptimize(built);
    }
    state.counters["nights"] = static_cast<double>(nights);
}
BENCHMARK(BM_BuildNights_ThreeWeeks)->Unit(benchmark::kMillisecond);

void BM_ParseAndBuild_ThreeWeeks(benchmark::State& state) {
    const auto& log = threeWeeks();
    const auto inputs = nightInputs(log);
    if (!inputs) {
        state.SkipWithError("no time-zone data for Europe/Berlin");
        return;
    }
    for (auto _ : state) {
        const PowerLog parsed = PowerLogParser::parse(log.text);
        auto built = NightBuilder::build(parsed, NightWindow{}, inputs->now, inputs->calendar);
        benchmark::DoNotOptimize(built);
    }
    countBytes(state, log.text.size());
}
BENCHMARK(BM_ParseAndBuild_ThreeWeeks)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vitrek
