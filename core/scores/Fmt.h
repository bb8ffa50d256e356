#pragma once

#include "time/Instant.h"

#include <memory>
#include <string>

namespace vitrek {

class Calendar;

// The date forms the screens show. The core's own is fixed English with a 24-hour clock; the
// application may install a locale-aware one at start-up (before any other thread formats a date).
class DateFormatter {
public:
    virtual ~DateFormatter() = default;
    virtual std::string time(Instant date, const Calendar& calendar) const = 0;      // "07:12"
    virtual std::string hour(Instant date, const Calendar& calendar) const = 0;      // "07"
    virtual std::string clockTime(Instant date, const Calendar& calendar) const = 0; // "07:12"
    virtual std::string day(Instant date, const Calendar& calendar) const = 0;       // "Tue 4 Mar"
    virtual std::string longDay(Instant date, const Calendar& calendar) const = 0;   // "Tuesday 4 March"
    virtual std::string weekdayDay(Instant date, const Calendar& calendar) const = 0; // "Tuesday 4 Mar"
    virtual std::string date(Instant date, const Calendar& calendar) const = 0;      // "4 Mar 2024"
    virtual std::string dayMonth(Instant date, const Calendar& calendar) const = 0;  // "4 Mar"
    virtual std::string weekday(Instant date, const Calendar& calendar) const = 0;   // "Tuesday"
};

// Short text forms of durations, clock readings, percentages and dates.
namespace Fmt {

// "42 s", "17 m", "2 h", "2 h 5 m"; negative input is 0. `isShort` does not change the text.
std::string duration(double seconds, bool isShort = false);
// Hours and minutes, "2:05".
std::string clock(double seconds);
// "Tue 4 Mar, 07:12".
std::string dayTime(Instant date, const Calendar& calendar);
// "82 %" with a narrow no-break space.
std::string percent(int value);
// A drop in percentage points: "0 %" below 1, else "−12 %" with a minus sign.
std::string drop(int value);

std::string time(Instant date, const Calendar& calendar);
std::string hour(Instant date, const Calendar& calendar);
std::string clockTime(Instant date, const Calendar& calendar);
std::string day(Instant date, const Calendar& calendar);
std::string longDay(Instant date, const Calendar& calendar);
std::string weekdayDay(Instant date, const Calendar& calendar);
std::string date(Instant date, const Calendar& calendar);
std::string dayMonth(Instant date, const Calendar& calendar);
std::string weekday(Instant date, const Calendar& calendar);

// The formatter behind the five date forms; the fixed English one until another is installed.
const DateFormatter& dateFormatter();
void setDateFormatter(std::shared_ptr<const DateFormatter> formatter);
std::shared_ptr<const DateFormatter> englishDateFormatter();

// Installs a formatter for as long as it lives, then puts back the one it replaced.
class ScopedDateFormatter {
public:
    explicit ScopedDateFormatter(std::shared_ptr<const DateFormatter> formatter);
    ~ScopedDateFormatter();
    ScopedDateFormatter(const ScopedDateFormatter&) = delete;
    ScopedDateFormatter& operator=(const ScopedDateFormatter&) = delete;

private:
    std::shared_ptr<const DateFormatter> m_previous;
};

} // namespace Fmt
} // namespace vitrek
