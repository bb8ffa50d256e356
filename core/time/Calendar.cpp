#include "time/Calendar.h"

#include <date/date.h>
#include <date/tz.h>

#include <cmath>
#include <cstdlib>
#include <exception>

namespace vitrek {

namespace {

using std::chrono::seconds;
using LocalSeconds = date::local_time<seconds>;
using SysSeconds = date::sys_time<seconds>;

// date's civil arithmetic is exact within ±32767 years; keep well inside it so conversions never overflow.
constexpr double kLimitSeconds = 1.0e12; // about 31,700 years either side of 1970
constexpr int kMinYear = -30000;
constexpr int kMaxYear = 30000;

std::optional<SysSeconds> wholeSeconds(Instant instant, double& fraction) {
    const double value = unixSeconds(instant);
    if (!std::isfinite(value) || std::fabs(value) > kLimitSeconds) {
        return std::nullopt;
    }
    const double floored = std::floor(value);
    fraction = value - floored;
    return SysSeconds{seconds{static_cast<long long>(floored)}};
}

Instant toInstant(SysSeconds time, double fraction = 0) {
    return fromUnixSeconds(static_cast<double>(time.time_since_epoch().count()) + fraction);
}

// A wall-clock time that is skipped resolves to the moment the clocks jump (the next existing time); one
// that occurs twice resolves to its first occurrence.
SysSeconds resolve(const date::time_zone* zone, LocalSeconds wall) {
    if (zone == nullptr) {
        return SysSeconds{wall.time_since_epoch()};
    }
    const auto info = zone->get_info(wall);
    if (info.result == date::local_info::nonexistent) {
        return info.first.end;
    }
    return SysSeconds{wall.time_since_epoch()} - info.first.offset;
}

LocalSeconds toLocal(const date::time_zone* zone, SysSeconds time) {
    if (zone == nullptr) {
        return LocalSeconds{time.time_since_epoch()};
    }
    return zone->to_local(time);
}

const date::time_zone* findZone(std::string_view name) {
    try {
        return date::locate_zone(name);
    } catch (const std::exception&) {
        return nullptr;
    }
}

} // namespace

Calendar::Calendar() : m_zone(findZone("UTC")) {}

std::optional<Calendar> Calendar::named(std::string_view zoneName) {
    if (const auto* zone = findZone(zoneName)) {
        return Calendar{zone};
    }
    return std::nullopt;
}

Calendar Calendar::current() {
    if (const char* tz = std::getenv("TZ"); tz != nullptr && *tz != '\0') {
        std::string_view name = tz;
        // POSIX allows ":Zone" and a path into the zoneinfo folder.
        if (name.front() == ':') {
            name.remove_prefix(1);
        }
        constexpr std::string_view zoneinfo = "/usr/share/zoneinfo/";
        if (name.starts_with(zoneinfo)) {
            name.remove_prefix(zoneinfo.size());
        }
        if (const auto* zone = findZone(name)) {
            return Calendar{zone};
        }
    }
    try {
        if (const auto* zone = date::current_zone()) {
            return Calendar{zone};
        }
    } catch (const std::exception&) {
    }
    return Calendar{};
}

std::string Calendar::zoneName() const { return m_zone == nullptr ? "UTC" : m_zone->name(); }

std::optional<LocalDateTime> Calendar::local(Instant instant) const {
    double fraction = 0;
    const auto time = wholeSeconds(instant, fraction);
    if (!time) {
        return std::nullopt;
    }
    try {
        const auto wall = toLocal(m_zone, *time);
        const auto dayPoint = date::floor<date::days>(wall);
        const date::year_month_day ymd{dayPoint};
        const date::hh_mm_ss clock{wall - dayPoint};
        return LocalDateTime{
            .year = static_cast<int>(ymd.year()),
            .month = static_cast<int>(static_cast<unsigned>(ymd.month())),
            .day = static_cast<int>(static_cast<unsigned>(ymd.day())),
            .weekday = static_cast<int>(date::weekday{dayPoint}.c_encoding()) + 1,
            .hour = static_cast<int>(clock.hours().count()),
            .minute = static_cast<int>(clock.minutes().count()),
            .second = static_cast<int>(clock.seconds().count()),
        };
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<Instant> Calendar::startOfDay(Instant instant) const { return at(instant, 0, 0); }

std::optional<Instant> Calendar::addingDays(Instant instant, int days) const {
    double fraction = 0;
    const auto time = wholeSeconds(instant, fraction);
    if (!time) {
        return std::nullopt;
    }
    try {
        const auto wall = toLocal(m_zone, *time) + date::days{days};
        const auto dayPoint = date::floor<date::days>(wall);
        const int year = static_cast<int>(date::year_month_day{dayPoint}.year());
        if (year < kMinYear || year > kMaxYear) {
            return std::nullopt;
        }
        return toInstant(resolve(m_zone, wall), fraction);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<Instant> Calendar::date(int year, int month, int day) const {
    if (year < kMinYear || year > kMaxYear || month < 1 || month > 12 || day < 1 || day > 31) {
        return std::nullopt;
    }
    const date::year_month_day ymd{date::year{year}, date::month{static_cast<unsigned>(month)},
                                   date::day{static_cast<unsigned>(day)}};
    if (!ymd.ok()) {
        return std::nullopt;
    }
    try {
        return toInstant(resolve(m_zone, LocalSeconds{date::local_days{ymd}.time_since_epoch()}));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<Instant> Calendar::at(Instant day, int hour, int minute) const {
    double fraction = 0;
    const auto time = wholeSeconds(day, fraction);
    if (!time || hour < 0 || hour > 23 || minute < 0 || minute > 59) {
        return std::nullopt;
    }
    try {
        const auto dayPoint = date::floor<date::days>(toLocal(m_zone, *time));
        const LocalSeconds wall = dayPoint + std::chrono::hours{hour} + std::chrono::minutes{minute};
        return toInstant(resolve(m_zone, wall));
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<int> Calendar::daysBetween(Instant from, Instant to) const {
    double fromFraction = 0;
    double toFraction = 0;
    const auto fromTime = wholeSeconds(from, fromFraction);
    const auto toTime = wholeSeconds(to, toFraction);
    if (!fromTime || !toTime) {
        return std::nullopt;
    }
    try {
        const auto fromWall = toLocal(m_zone, *fromTime);
        const auto toWall = toLocal(m_zone, *toTime);
        const auto fromDay = date::floor<date::days>(fromWall);
        const auto toDay = date::floor<date::days>(toWall);
        auto days = static_cast<int>((toDay - fromDay).count());
        // Only whole days count: 10:00 to 09:00 the next day is 0 days, as on a wall calendar.
        const double fromClock = static_cast<double>((fromWall - fromDay).count()) + fromFraction;
        const double toClock = static_cast<double>((toWall - toDay).count()) + toFraction;
        if (days > 0 && toClock < fromClock) {
            --days;
        } else if (days < 0 && toClock > fromClock) {
            ++days;
        }
        return days;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace vitrek
