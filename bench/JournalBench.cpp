// Reading the journal: the power mapping on journalctl's JSON lines, and the whole Linux source on a real
// journal of two months, so journalctl has to seek into a large journal for the last 14 days.
// Run pinned to one core: taskset -c 0 <builddir>/bench/JournalBench
// VITREK_BENCH_JOURNAL=DIR reuses a journal made by `bench/make-journal DIR` (default days and volume)
// instead of making one in a temporary folder, which takes three to four minutes on two cores.

#include "JournalGenerator.h"
#include "linux/JournalSource.h"
#include "linux/PowerLogSource.h"
#include "powerlog/JournalPowerLog.h"
#include "time/Calendar.h"

#include <benchmark/benchmark.h>
#include <sched.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

namespace vitrek {
namespace {

constexpr const char* kJournalRemote = "/lib/systemd/systemd-journal-remote";
constexpr const char* kJournalctl = "/usr/bin/journalctl";
constexpr double kDays = 14;
constexpr std::int64_t kMicrosPerDay = 86'400'000'000;

// Two months of a busy laptop (the generator's defaults): about 2.4 million entries.
const JournalShape kShape{};

Instant endOfJournal() { return fromUnixSeconds(static_cast<double>(kShape.endMicros) / 1e6); }

// MiB/s comes from SetBytesProcessed; the decimal figure is the one the notes quote.
void countBytes(benchmark::State& state, std::size_t bytesPerIteration) {
    const auto bytes = static_cast<std::int64_t>(bytesPerIteration) * state.iterations();
    state.SetBytesProcessed(bytes);
    state.counters["MB/s"] =
        benchmark::Counter(static_cast<double>(bytes) / 1e6, benchmark::Counter::kIsRate);
}

// What journalctl prints for the source's matches: the last 14 days of the power-relevant identifiers.
const std::string& powerJson() {
    static const std::string text = JournalGenerator::jsonLines(
        kShape, kShape.endMicros - static_cast<std::int64_t>(kDays) * kMicrosPerDay);
    return text;
}

// Lets the calling thread, and the threads and processes it starts, run on every core until destroyed:
// the benchmarks run pinned to one core, but the journal is best written on all of them.
class OnEveryCore {
public:
    OnEveryCore() : m_restore(::sched_getaffinity(0, sizeof m_saved, &m_saved) == 0) {
        cpu_set_t every;
        CPU_ZERO(&every);
        const long cores = ::sysconf(_SC_NPROCESSORS_CONF);
        for (long core = 0; core < cores && core < CPU_SETSIZE; ++core) {
            CPU_SET(static_cast<std::size_t>(core), &every);
        }
        ::sched_setaffinity(0, sizeof every, &every);
    }
    ~OnEveryCore() {
        if (m_restore) {
            ::sched_setaffinity(0, sizeof m_saved, &m_saved);
        }
    }
    OnEveryCore(const OnEveryCore&) = delete;
    OnEveryCore& operator=(const OnEveryCore&) = delete;

private:
    cpu_set_t m_saved{};
    bool m_restore = false;
};

// A journal directory written by systemd-journal-remote from the generator's export stream, made once per
// process and removed at exit; absent, with the reason, when it cannot be made.
class JournalDirectory {
public:
    static const JournalDirectory& instance() {
        static const JournalDirectory directory;
        return directory;
    }

    JournalDirectory(const JournalDirectory&) = delete;
    JournalDirectory& operator=(const JournalDirectory&) = delete;

    ~JournalDirectory() {
        if (m_keep || m_scratch.empty()) {
            return;
        }
        std::error_code ignored;
        std::filesystem::remove_all(m_scratch, ignored);
    }

    const std::optional<std::string>& path() const { return m_path; }
    const std::string& problem() const { return m_problem; }
    std::uintmax_t bytes() const { return m_bytes; }
    // An empty folder, so the source finds no battery history of this machine.
    const std::string& noBattery() const { return m_noBattery; }

private:
    JournalDirectory() {
        std::error_code error;
        std::string scratch =
            (std::filesystem::temp_directory_path(error) / "vitrek-journal-bench-XXXXXX").string();
        if (error || ::mkdtemp(scratch.data()) == nullptr) {
            m_problem = "cannot make a temporary folder";
            return;
        }
        m_scratch = scratch;
        m_noBattery = m_scratch + "/no-battery";
        std::filesystem::create_directory(m_noBattery, error);
        if (const char* given = std::getenv("VITREK_BENCH_JOURNAL"); given != nullptr && *given != '\0') {
            m_path = given;
        } else {
            make();
        }
        if (m_path) {
            for (const auto& file : std::filesystem::directory_iterator(*m_path, error)) {
                m_bytes += file.is_regular_file(error) ? file.file_size(error) : 0;
            }
        }
    }

    void make() {
        if (::access(kJournalRemote, X_OK) != 0) {
            m_problem = std::string{kJournalRemote} + " is missing (Debian package systemd-journal-remote)";
            return;
        }
        const std::string journal = m_scratch + "/journal";
        std::error_code error;
        std::filesystem::create_directory(journal, error);
        std::fprintf(stderr, "JournalBench: writing a journal of %d days into %s (a few minutes)\n",
                     kShape.days, journal.c_str());
        // As journald does, the owner's session goes to a file of its own; writing the two files at once
        // also halves the wait, since systemd-journal-remote takes minutes for two million entries.
        const OnEveryCore everyCore;
        bool userWritten = false;
        std::thread user{
            [&] { userWritten = importPart(JournalPart::user, journal + "/user-1000.journal"); }};
        const bool systemWritten = importPart(JournalPart::system, journal + "/system.journal");
        user.join();
        if (!systemWritten || !userWritten) {
            m_problem = std::string{kJournalRemote} + " failed; see " + m_scratch + "/*.log";
            m_keep = true;
            return;
        }
        m_path = journal;
    }

    // Pipes one part of the export stream into systemd-journal-remote writing `file`.
    bool importPart(JournalPart part, const std::string& file) const {
        const std::string log = m_scratch + (part == JournalPart::user ? "/user.log" : "/system.log");
        // The folder comes from mkdtemp under TMPDIR, so quoting it is all the shell needs.
        const std::string command =
            std::string{kJournalRemote} + " '--output=" + file + "' --split-mode=none - 2>'" + log + "'";
        std::FILE* remote = ::popen(command.c_str(), "w");
        if (remote == nullptr) {
            return false;
        }
        const bool written = JournalGenerator::writeExport(kShape, part, [remote](std::string_view chunk) {
            return std::fwrite(chunk.data(), 1, chunk.size(), remote) == chunk.size();
        });
        return ::pclose(remote) == 0 && written;
    }

    std::string m_scratch; // removed at exit, unless it holds the log of a failure
    bool m_keep = false;
    std::optional<std::string> m_path;
    std::string m_problem;
    std::string m_noBattery;
    std::uintmax_t m_bytes = 0;
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
    countBytes(state, text.size());
    state.counters["events"] = static_cast<double>(events);
}
BENCHMARK(BM_JournalPowerLog_Parse14Days)->Unit(benchmark::kMillisecond);

// (b) The whole source: journalctl on a large journal, its output read and mapped, as the app does it.
void BM_JournalSource_Load14Days(benchmark::State& state) {
    const auto& directory = JournalDirectory::instance();
    if (!directory.path()) {
        state.SkipWithError(directory.problem().c_str());
        return;
    }
    JournalSource::Options options;
    options.directory = directory.path();
    options.batteryDirectory = directory.noBattery();
    options.days = kDays;
    std::size_t events = 0;
    for (auto _ : state) {
        auto loaded = JournalSource::load(PowerLogParser::run, endOfJournal(), options);
        if (!loaded.problem.empty() || loaded.log.events.empty()) {
            state.SkipWithError(loaded.problem.empty() ? "the journal gave no power events"
                                                       : loaded.problem.c_str());
            break;
        }
        events = loaded.log.events.size();
        benchmark::DoNotOptimize(loaded);
    }
    if (state.error_occurred()) {
        return;
    }
    state.counters["events"] = static_cast<double>(events);
    state.counters["journal MB"] = static_cast<double>(directory.bytes()) / 1e6;
}
BENCHMARK(BM_JournalSource_Load14Days)->Unit(benchmark::kMillisecond)->UseRealTime();

// (c) journalctl alone, with the source's arguments: what the source costs beyond it.
void BM_Journalctl_Query14Days(benchmark::State& state) {
    const auto& directory = JournalDirectory::instance();
    if (!directory.path()) {
        state.SkipWithError(directory.problem().c_str());
        return;
    }
    const auto since = endOfJournal() - Seconds{kDays * 86'400};
    const auto arguments = JournalSource::arguments(since, directory.path());
    std::size_t bytes = 0;
    for (auto _ : state) {
        const std::string output = PowerLogParser::run(kJournalctl, arguments, 30);
        if (output.empty()) {
            state.SkipWithError("journalctl printed nothing");
            break;
        }
        bytes = output.size();
        benchmark::DoNotOptimize(output.data());
    }
    if (state.error_occurred()) {
        return;
    }
    countBytes(state, bytes);
    state.counters["output MB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_Journalctl_Query14Days)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
} // namespace vitrek
