#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace vitrek {

// The machine a generated journal describes and how much it says. The defaults are a laptop whose
// journal holds two months, about as busy as a desktop session with Wi-Fi, a browser and timers.
struct JournalShape {
    std::int64_t endMicros =
        1'732'186'800'000'000;  // the last instant, µs since 1970 UTC (2024-11-21 12:00 +0100)
    int days = 60;              // the journal starts this many days before the end
    int entriesPerDay = 40'000; // on average, every source together
    int utcOffsetMinutes = 60;  // the owner's wall clock, which sets the day's rhythm
    std::uint64_t seed = 1;
    bool operator==(const JournalShape&) const = default;
};

// One field of an entry other than its dates and boot.
struct JournalField {
    std::string_view name;
    std::string_view value;
};

// One generated entry. The views stay valid only during the call that receives the entry.
struct JournalEntry {
    std::int64_t realtime = 0;            // µs since 1970 UTC
    std::int64_t monotonic = 0;           // µs since its boot, time asleep not counted
    std::string_view boot;                // 32 lower-case hex digits
    std::string_view identifier;          // SYSLOG_IDENTIFIER, repeated from `fields`
    std::string_view message;             // MESSAGE, repeated from `fields`
    std::string_view transport;           // _TRANSPORT, repeated from `fields`
    std::span<const JournalField> fields; // the trusted and user fields, in the order they are written
    bool user = false; // from the owner's session, which journald keeps in user-1000.journal
};

// Which entries an export stream holds: journald writes the owner's session to a file of its own.
enum class JournalPart { whole, system, user };

// What a generated journal holds.
struct JournalSummary {
    std::int64_t entries = 0;
    std::int64_t firstMicros = 0;
    std::int64_t lastMicros = 0;
    int boots = 0;
    int sleeps = 0;    // suspends, dark wakes' included
    int darkWakes = 0; // resumes that went back to sleep without the lid being opened
    bool operator==(const JournalSummary&) const = default;
};

// A deterministic imitation of a laptop's systemd journal: many services chattering while it is awake;
// each evening a suspend (lid, idle, power key or menu) and each morning a resume as Linux logs them,
// with the kernel's lines of the sleep stamped at the resume; dark wakes on some nights; a restart or an
// evening power-off every few days, each boot opening with the kernel's start-up lines. The same shape
// gives the same entries on every platform and library version.
namespace JournalGenerator {

// The identifiers of the entries the power log is built from.
inline constexpr std::array<std::string_view, 4> kPowerIdentifiers{"kernel", "systemd-logind",
                                                                   "systemd-sleep", "upowerd"};

// Hands every entry to `visit`, in the order of their realtime stamps.
JournalSummary generate(const JournalShape& shape, const std::function<void(const JournalEntry&)>& visit);

// Appends the entry in journal export format (text fields only), followed by the blank line that ends it.
void appendExport(std::string& out, const JournalEntry& entry);

// Appends the entry as `journalctl -o json` prints it when asked for SYSLOG_IDENTIFIER, MESSAGE and
// _TRANSPORT (it adds the cursor, both timestamps and the boot), and a newline. Like journalctl, which
// prints from a hash table, the order of the fields changes from entry to entry. `sequence` numbers the
// fake cursor.
void appendJson(std::string& out, const JournalEntry& entry, std::uint64_t sequence);

// The export stream of the journal or of one part, handed to `write` in chunks of about a megabyte; stops
// early and returns false when `write` does. The summary counts every entry of the journal.
bool writeExport(const JournalShape& shape, JournalPart part,
                 const std::function<bool(std::string_view)>& write, JournalSummary* summary = nullptr);

// The JSON lines of the entries from `sinceMicros` on whose identifier is one of `identifiers` (every
// entry when it is empty), as journalctl prints them for such a query. The summary counts every entry.
std::string jsonLines(const JournalShape& shape, std::int64_t sinceMicros,
                      std::span<const std::string_view> identifiers = kPowerIdentifiers,
                      JournalSummary* summary = nullptr);

} // namespace JournalGenerator
} // namespace vitrek
