#pragma once

#include "time/Instant.h"

#include <optional>
#include <string>
#include <string_view>

namespace date {
class time_zone;
}

namespace vitrek {

// A calendar date and wall-clock time in one time zone.
struct LocalDateTime {
    int year = 0;
    int month = 0;   // 1…12
    int day = 0;     // 1…31
    int weekday = 0; // 1 = Sunday … 7 = Saturday
    int hour = 0;
    int minute = 0;
    int second = 0;
    bool operator==(const LocalDateTime&) const = default;
};

// The Gregorian calendar in one IANA time zone. Every calendar-dependent operation of the core takes one,
// so results never depend on the machine's zone. Operations that can fail (an instant or a date outside
// the supported range, or not finite) return absent; none throws.
class Calendar {
public:
    // UTC.
    Calendar();

    // The zone with that IANA name (e.g. "Europe/Berlin"); absent when the time-zone database lacks it.
    static std::optional<Calendar> named(std::string_view zoneName);
    // The user's zone: `TZ` when it names a known zone, else the system's zone, else UTC.
    static Calendar current();
    static Calendar utc() { return Calendar{}; }

    std::string zoneName() const;

    // The date and wall-clock time of an instant in this zone.
    std::optional<LocalDateTime> local(Instant instant) const;
    // The first instant of the calendar day that contains `instant`.
    std::optional<Instant> startOfDay(Instant instant) const;
    // The same wall-clock time `days` calendar days later (earlier when negative).
    std::optional<Instant> addingDays(Instant instant, int days) const;
    // The start of the day year-month-day; absent when that is not a real date.
    std::optional<Instant> date(int year, int month, int day) const;
    // The instant at hour:minute on the day that contains `day`.
    std::optional<Instant> at(Instant day, int hour, int minute = 0) const;
    // Whole calendar days from `from` to `to`: positive when `to` is later; a partial day does not count.
    std::optional<int> daysBetween(Instant from, Instant to) const;

    // Wall-clock times that do not exist (the hour skipped in spring) resolve to the next existing
    // time; times that occur twice (the hour repeated in autumn) resolve to the first.

    bool operator==(const Calendar& other) const { return m_zone == other.m_zone; }

private:
    explicit Calendar(const date::time_zone* zone) : m_zone(zone) {}

    const date::time_zone* m_zone = nullptr; // nullptr is UTC without the database
};

} // namespace vitrek
