#pragma once

#include "history/Day.h"
#include "json/Json.h"
#include "time/Instant.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

class Calendar;

// The day-by-day record: at most one Day per id, in ascending id (chronological) order.
struct History {
    std::vector<Day> days;

    // The key of the calendar day that contains `date`: "%04d-%02d-%02d".
    static std::string dayID(Instant date, const Calendar& calendar);
    // The start of the day a key names (unpadded numbers are accepted); absent when the key is malformed.
    static std::optional<Instant> date(std::string_view id, const Calendar& calendar);
    // Whether `id` is a key exactly as dayID writes it, "YYYY-MM-DD", naming a real calendar date.
    static bool isDayKey(std::string_view id);

    // Inserts or replaces the record for day.id, keeping the list sorted and only the newest `keep` days.
    void record(Day day, int keep);
    // Consecutive recorded days ending today, or yesterday while today has no record yet.
    int streak(Instant today, const Calendar& calendar) const;
    // Consecutive recorded days that satisfy `holds`, ending today, or yesterday while today has no record.
    int run(Instant today, const Calendar& calendar, const std::function<bool(const Day&)>& holds) const;
    // The age gap recorded 7 days before `now` (or 6 or 8 when there is none); absent when none of them has one.
    std::optional<double> ageGap(Instant now, const Calendar& calendar) const;

    bool operator==(const History&) const = default;
};

// {"days": [Day…]}; the key is required.
Json toJson(const History& history);
template <>
std::optional<History> fromJson<History>(const Json& json);

// A stored History read day by day, so one bad entry costs that day and not the others.
struct HistoryRead {
    History history;
    int dropped = 0; // entries left out
};
// Keeps every entry that decodes as a Day whose id is a real day key no later than `latest` (a day key);
// the others are dropped and counted, and of a repeated id the last entry is kept. Absent when the
// document has no "days" list at all.
std::optional<HistoryRead> readHistory(const Json& json, std::string_view latest);

} // namespace vitrek
