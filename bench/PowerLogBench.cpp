// Throughput of the power log parser and time of the night builder on recorded days, replayed to size.
// Run pinned to one core: taskset -c 0 <builddir>/bench/PowerLogBench

#include "Replay.h"
#include "powerlog/NightBuilder.h"
#include "powerlog/PowerLogParser.h"
#include "time/Calendar.h"
#include "time/Iso8601.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace vitrek {
namespace {

using Log = Replay::PowerLogReplay;

// Each size is made once per run, outside every timed loop.
const Log& replayed(int days, std::size_t megabytes) {
    static const std::string recorded = Replay::recorded("power.log").value_or("");
    static std::map<std::pair<int, std::size_t>, Log> logs;
    const auto [found, made] = logs.try_emplace({days, megabytes});
    if (made) {
        found->second = Replay::powerLog(recorded, days, megabytes * 1'000'000);
    }
    return found->second;
}

// The morning after the last night, in the zone the nights are cut in; absent without the zone database.
std::optional<std::pair<Instant, Calendar>> nightInputs(const Log& log) {
    const auto now = parseIso8601(log.suggestedNow);
    const auto calendar = Calendar::named("Europe/Berlin");
    return now && calendar ? std::optional{std::pair{*now, *calendar}} : std::nullopt;
}

void BM_Parse(benchmark::State& state, std::size_t megabytes) {
    const auto& log = replayed(0, megabytes);
    for (auto _ : state) {
        PowerLog parsed = PowerLogParser::parse(log.text);
        benchmark::DoNotOptimize(parsed);
    }
    Replay::countBytes(state, log.text.size());
    state.counters["days"] = log.days;
}
BENCHMARK_CAPTURE(BM_Parse, 10MB, 10)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Parse, 100MB, 100)->Unit(benchmark::kMillisecond);

void BM_BuildNights_ThreeWeeks(benchmark::State& state) {
    const auto& log = replayed(21, 0);
    const auto inputs = nightInputs(log);
    if (!inputs) {
        state.SkipWithError("no time-zone data for Europe/Berlin");
        return;
    }
    const PowerLog parsed = PowerLogParser::parse(log.text);
    std::size_t nights = 0;
    for (auto _ : state) {
        auto built = NightBuilder::build(parsed, NightWindow{}, inputs->first, inputs->second);
        nights = built.size();
        benchmark::DoNotOptimize(built);
    }
    state.counters["nights"] = static_cast<double>(nights);
}
BENCHMARK(BM_BuildNights_ThreeWeeks)->Unit(benchmark::kMillisecond);

void BM_ParseAndBuild_ThreeWeeks(benchmark::State& state) {
    const auto& log = replayed(21, 0);
    const auto inputs = nightInputs(log);
    if (!inputs) {
        state.SkipWithError("no time-zone data for Europe/Berlin");
        return;
    }
    for (auto _ : state) {
        const PowerLog parsed = PowerLogParser::parse(log.text);
        auto built = NightBuilder::build(parsed, NightWindow{}, inputs->first, inputs->second);
        benchmark::DoNotOptimize(built);
    }
    Replay::countBytes(state, log.text.size());
}
BENCHMARK(BM_ParseAndBuild_ThreeWeeks)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vitrek
