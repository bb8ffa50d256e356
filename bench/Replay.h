#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

// Recorded days of a laptop's logs (bench/data/), replayed one after the other with their dates moved on,
// to any length. The same arguments give the same bytes on every run.
namespace vitrek::Replay {

// The text of a file under bench/data/; absent when it cannot be read.
std::optional<std::string> recorded(std::string_view name);

struct PowerLogReplay {
    std::string text;
    int days = 0;             // nights in the log; each recorded day runs from noon to the next noon
    std::string firstDate;    // "2024-03-09": the day of the first line
    std::string lastDate;     // the morning after the last night
    std::string suggestedNow; // noon of lastDate as ISO 8601: every night finished, none in progress
};

// `days` recorded days (power.log), or whole days until the text holds at least `bytes` bytes.
PowerLogReplay powerLog(std::string_view recordedLog, int days, std::size_t bytes = 0);

struct JournalShape {
    std::int64_t endMicros = 1'732'186'800'000'000; // the last instant (2024-11-21 12:00 +0100)
    int days = 60;                                  // the journal starts this many days before the end
    int entriesPerDay = 40'000;                     // on average, every source together
};

// Which entries an export stream holds: journald writes the owner's session to a file of its own.
enum class JournalPart { whole, system, user };

// The recorded journal (journal.export) replayed to `shape`, as the export stream systemd-journal-remote
// reads, handed to `write` in chunks of about a megabyte; stops early and returns false when `write` does.
bool writeExport(std::string_view recordedJournal, const JournalShape& shape, JournalPart part,
                 const std::function<bool(std::string_view)>& write);

// The same journal as `journalctl -o json` prints the entries from `sinceMicros` on of the kernel,
// systemd-logind, systemd-sleep and upowerd.
std::string jsonLines(std::string_view recordedJournal, const JournalShape& shape, std::int64_t sinceMicros);

// A benchmark's throughput on replayed text: MiB/s from SetBytesProcessed, and the decimal MB/s the notes
// quote. A template, so the replay itself needs no benchmark library.
template <class State> void countBytes(State& state, std::size_t bytesPerIteration) {
    using Counter = typename decltype(state.counters)::mapped_type;
    const auto bytes = static_cast<std::int64_t>(bytesPerIteration) * state.iterations();
    state.SetBytesProcessed(bytes);
    state.counters["MB/s"] = Counter(static_cast<double>(bytes) / 1e6, Counter::kIsRate);
}

} // namespace vitrek::Replay
