// Reading the journal: the power mapping on journalctl's JSON lines, and the whole Linux source on a real
// journal of two months, so journalctl has to seek into a large journal for the last 14 days.
// Run pinned to one core: taskset -c 0 <builddir>/bench/JournalBench

#include "Replay.h"
#include "linux/JournalSource.h"
#include "linux/ProcessRunner.h"
#include "powerlog/JournalPowerLog.h"
#include "time/Calendar.h"

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace vitrek {
namespace {

constexpr double kDays = 14;
constexpr std::int64_t kMicrosPerDay = 86'400'000'000;

// Two months of a busy laptop (the replay's defaults): about 2.4 million entries.
const Replay::JournalShape kShape{};

Instant endOfJournal() { return fromUnixSeconds(static_cast<double>(kShape.endMicros) / 1e6); }

// What journalctl prints for the source's matches: the last 14 days of the power-relevant identifiers.
const std::string& powerJson() {
    static const std::string text =
        Replay::jsonLines(Replay::recorded("journal.export").value_or(""), kShape,
                          kShape.endMicros - static_cast<std::int64_t>(kDays) * kMicrosPerDay);
    return text;
}

// A journal of two months written by bench/make-journal into a temporary folder, removed at exit unless
// it holds the log of a failure; or the one VITREK_BENCH_JOURNAL names. `problem` says why there is none.
struct JournalDirectory {
    std::string scratch, path, problem;
    std::string noBattery; // an empty folder, so the source finds no battery history of this machine
    std::uintmax_t bytes = 0;

    JournalDirectory() {
        std::error_code error;
        scratch = (std::filesystem::temp_directory_path(error) / "vitrek-journal-bench-XXXXXX").string();
        if (error || ::mkdtemp(scratch.data()) == nullptr) {
            problem = "cannot make a temporary folder";
            scratch.clear();
            return;
        }
        noBattery = scratch + "/no-battery";
        std::filesystem::create_directory(noBattery, error);
        const char* given = std::getenv("VITREK_BENCH_JOURNAL");
        const bool make = given == nullptr || *given == '\0';
        path = make ? scratch + "/journal" : given;
        if (make) {
            std::fprintf(stderr, "JournalBench: writing a journal of %d days into %s (a few minutes)\n",
                         kShape.days, path.c_str());
            // The benchmarks run pinned to one core, but the journal is best written on all of them. The
            // folder comes from mkdtemp under TMPDIR, so quoting it is all the shell needs.
            const std::string command = "taskset -a -c 0-" +
                                        std::to_string(::sysconf(_SC_NPROCESSORS_CONF) - 1) +
                                        " env BUILD_DIR='" VITREK_BUILD_DIR "' '" VITREK_MAKE_JOURNAL "' '" +
                                        path + "' >'" + scratch + "/make-journal.log' 2>&1";
            if (std::system(command.c_str()) != 0) {
                problem = "bench/make-journal failed (it needs systemd-journal-remote); see " + scratch +
                          "/make-journal.log";
                return;
            }
        }
        for (const auto& file : std::filesystem::directory_iterator(path, error)) {
            bytes += file.is_regular_file(error) ? file.file_size(error) : 0;
        }
    }
    ~JournalDirectory() {
        std::error_code ignored;
        if (problem.empty() && !scratch.empty()) {
            std::filesystem::remove_all(scratch, ignored);
        }
    }
    JournalDirectory(const JournalDirectory&) = delete;
    JournalDirectory& operator=(const JournalDirectory&) = delete;

    // Made on first use, so a run of the mapping alone makes none.
    static const JournalDirectory* usable(benchmark::State& state) {
        static const JournalDirectory directory;
        if (!directory.problem.empty()) {
            state.SkipWithError(directory.problem.c_str());
            return nullptr;
        }
        return &directory;
    }
};

// (a) The mapping alone, on what journalctl would print for 14 days.
void BM_JournalPowerLog_Parse14Days(benchmark::State& state) {
    const std::string& text = powerJson();
    const auto calendar = Calendar::named("Europe/Berlin");
    if (!calendar) {
        state.SkipWithError("no time-zone data for Europe/Berlin");
        return;
    }
    std::size_t events = 0;
    for (auto _ : state) {
        PowerLog log = JournalPowerLog::parse(text, endOfJournal(), *calendar);
        events = log.events.size();
        benchmark::DoNotOptimize(log);
    }
    Replay::countBytes(state, text.size());
    state.counters["events"] = static_cast<double>(events);
}
BENCHMARK(BM_JournalPowerLog_Parse14Days)->Unit(benchmark::kMillisecond);

// (b) The whole source: journalctl on a large journal, its output read and mapped, as the app does it.
void BM_JournalSource_Load14Days(benchmark::State& state) {
    const auto* directory = JournalDirectory::usable(state);
    if (directory == nullptr) {
        return;
    }
    JournalSource::Options options;
    options.directory = directory->path;
    options.batteryDirectory = directory->noBattery;
    options.days = kDays;
    std::size_t events = 0;
    for (auto _ : state) {
        auto loaded = JournalSource::load(runProcess, endOfJournal(), options);
        if (!loaded.problem.empty() || loaded.log.events.empty()) {
            state.SkipWithError(loaded.problem.empty() ? "the journal gave no power events"
                                                       : loaded.problem.c_str());
            break;
        }
        events = loaded.log.events.size();
        benchmark::DoNotOptimize(loaded);
    }
    state.counters["events"] = static_cast<double>(events);
    state.counters["journal MB"] = static_cast<double>(directory->bytes) / 1e6;
}
BENCHMARK(BM_JournalSource_Load14Days)->Unit(benchmark::kMillisecond)->UseRealTime();

// (c) journalctl alone, with the source's arguments: what the source costs beyond it.
void BM_Journalctl_Query14Days(benchmark::State& state) {
    const auto* directory = JournalDirectory::usable(state);
    if (directory == nullptr) {
        return;
    }
    const auto arguments =
        JournalSource::arguments(endOfJournal() - Seconds{kDays * 86'400}, directory->path);
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::string output = runProcess("/usr/bin/journalctl", arguments, 30);
        if (output.empty()) {
            state.SkipWithError("journalctl printed nothing");
            break;
        }
        bytes = output.size();
        benchmark::DoNotOptimize(output.data());
    }
    Replay::countBytes(state, bytes);
    state.counters["output MB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_Journalctl_Query14Days)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
} // namespace vitrek
