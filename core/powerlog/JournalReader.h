#pragma once

#include "time/Calendar.h"
#include "time/Instant.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

// One entry of the system journal, reduced to what the power mapping reads.
struct JournalRecord {
    Instant date;           // the entry's realtime stamp, to the microsecond
    std::string boot;       // the boot it belongs to; empty when the input does not say
    std::string identifier; // the syslog identifier: "kernel", "systemd-logind", "systemd-sleep", …
    std::string message;    // valid UTF-8 (invalid bytes become U+FFFD); empty when the entry has none
    bool operator==(const JournalRecord&) const = default;
};

// The entries of one journal text in the order written, with what `PowerLog` reports about its input.
struct JournalRecords {
    std::vector<JournalRecord> records;
    std::optional<Instant> firstDate; // the first usable entry's date
    // Lines shaped like entries whose date or fields could not be read, and entries in a form it cannot read.
    std::int64_t skippedLines = 0;
    bool operator==(const JournalRecords&) const = default;
};

// Reads the journal as `journalctl` writes it. Never fails: what cannot be read is counted or ignored.
namespace JournalReader {

// `-o json`: one flat JSON object per line. `__REALTIME_TIMESTAMP` (microseconds as a string) dates the
// entry, `_BOOT_ID` names its boot; `MESSAGE` may be a string, an array of byte values or null, and a
// field given several times is an array whose first string counts.
JournalRecords readJson(std::string_view text);

// The text forms, one entry per line after "date host identifier[pid]: message":
// short-iso ("2024-11-02T23:10:05+0100" or "+01:00") and short-iso-precise (with ".123456"), which carry
// their own offset; short and short-precise ("Nov 02 23:10:05[.123456]"), read as wall-clock times in
// `calendar` in the latest year that does not put the text after `now` (a December-to-January step moves
// to the next year). Month names are English or the abbreviations of the common European locales.
// "-- Boot ID --" and "-- Reboot --" lines start a new boot; other "-- … --" lines are ignored.
JournalRecords readText(std::string_view text, Instant now, const Calendar& calendar);

// Either form, told apart by the first character that is not white space ('{' is JSON).
JournalRecords read(std::string_view text, Instant now, const Calendar& calendar);

} // namespace JournalReader
} // namespace vitrek
