#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vitrek {

// Where a generated power log starts, in which zone it is written, and how long it runs.
struct PowerLogShape {
    int year = 2024; // the first day, wall clock of `zone`
    int month = 3;
    int day = 4;
    std::string zone = "+0100";  // written after every date; fixed, so the log knows no daylight saving
    int days = 21;               // days and nights to write when targetBytes is 0
    std::size_t targetBytes = 0; // when set, whole days are written until the text is at least this long
    std::uint64_t seed = 1;
    bool operator==(const PowerLogShape&) const = default;
};

// A generated log and the dates a caller needs to point the night builder at it.
struct GeneratedPowerLog {
    std::string text;
    int days = 0;             // nights in the log, each ending on the morning of the following day
    std::string firstDate;    // "2024-03-04": the day of the first line
    std::string lastDate;     // the day of the last line, the morning after the last night
    std::string suggestedNow; // noon of lastDate as ISO 8601: every night finished, none in progress
};

// A deterministic imitation of a laptop's power log: days of use with idle breaks, nights of dark wakes
// on battery or mains, wake requests, display changes and, above all, assertion records (about four lines
// in five), in the TAB-separated column layout of real logs. The same shape gives the same bytes on every
// platform and library version.
namespace PowerLogGenerator {

GeneratedPowerLog generate(const PowerLogShape& shape);
// Exactly `days` days and nights from the default start.
GeneratedPowerLog ofDays(int days, std::uint64_t seed = 1);
// Whole days from the default start until the text holds at least `bytes` bytes.
GeneratedPowerLog ofBytes(std::size_t bytes, std::uint64_t seed = 1);

} // namespace PowerLogGenerator
} // namespace vitrek
