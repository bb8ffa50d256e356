// One scheduled check-up of the Store on a full data folder: a day of samples (1,440 lines) and 400 days of
// History, so the file reading, decoding and rewriting of every minute are all in the figure.
// Run pinned to one core: taskset -c 0 <builddir>/bench/StoreBench

#include "BenchStore.h"
#include "Replay.h"
#include "Store.h"
#include "powerlog/NightBuilder.h"
#include "powerlog/PowerLogParser.h"
#include "time/Calendar.h"
#include "time/Iso8601.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <QCoreApplication>
#include <filesystem>
#include <string>

namespace vitrek {
namespace {

namespace fs = std::filesystem;

// A fresh folder holding a whole day of samples up to `now` and the 400 days of History that end on it.
fs::path filled(const std::string& name, Instant now, const Calendar& calendar) {
    const fs::path dir = fs::temp_directory_path() / (name + std::to_string(::getpid()));
    fs::remove_all(dir);
    const VitrekFiles files{dir};
    const Instant midnight = *calendar.startOfDay(now);
    for (int minute = 0; minute < 1440; ++minute) {
        const double load = 0.05 + 0.6 * static_cast<double>((minute * 7919) % 100) / 100.0;
        files.append(
            Sample{midnight + Seconds{60.0 * minute}, load, minute % 200 < 20 ? Heat::warm : Heat::cool},
            calendar);
    }
    History history;
    for (int back = 399; back >= 0; --back) {
        const Instant day = *calendar.addingDays(now, -back);
        history.record(Day{History::dayID(day, calendar), 40 + back % 60, 8.0 + back % 9, 70 + back % 30,
                           1800.0 + back, 0.1 * (back % 5)},
                       400);
    }
    files.save(history);
    return dir;
}

void BM_StoreTick(benchmark::State& state) {
    const Calendar calendar = *Calendar::named("Europe/Berlin");
    const auto generated = Replay::powerLog(Replay::recorded("power.log").value_or(""), 2);
    const Instant now = *parseIso8601(generated.suggestedNow) + Seconds{12 * 3600 - 30};
    const fs::path dir = filled("vitrek-store-bench-", now, calendar);
    const fs::path samples = dir / ("samples-" + History::dayID(now, calendar) + ".jsonl");
    const auto samplesSize = fs::file_size(samples);

    int argc = 1;
    char name[] = "StoreBench";
    char* argv[] = {name, nullptr};
    QCoreApplication app{argc, argv};
    // The timers are never reached: events are processed only until the night is in.
    Store store{benchEnvironment(
        dir, [now] { return now; }, PowerLogParser::parse(generated.text))};
    store.start();
    while (store.loadingNight()) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }

    for (auto _ : state) {
        store.tick(now);
        state.PauseTiming();
        fs::resize_file(samples, samplesSize); // keep the day at 1,440 samples
        state.ResumeTiming();
    }
    benchmark::DoNotOptimize(store.recovery());
    state.counters["samples"] = static_cast<double>(store.samples().size());
    state.counters["days"] = static_cast<double>(store.history().days.size());
    state.counters["night"] = store.night().has_value() ? 1 : 0;
    fs::remove_all(dir);
}
BENCHMARK(BM_StoreTick)->Unit(benchmark::kMillisecond);

// The History's atomic rewrite alone (two fsyncs): the part of a check-up that waits on the disk.
void BM_SaveHistory(benchmark::State& state) {
    const Calendar calendar = *Calendar::named("Europe/Berlin");
    const Instant now = fromUnixSeconds(1'709'900'000);
    const VitrekFiles files{filled("vitrek-save-bench-", now, calendar)};
    const History history = files.loadHistory(now, calendar).history;
    for (auto _ : state) {
        files.save(history);
    }
    fs::remove_all(files.dir());
}
BENCHMARK(BM_SaveHistory)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vitrek
