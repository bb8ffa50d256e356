#include "scores/Fmt.h"

#include "scores/Rounding.h"
#include "time/Calendar.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace vitrek {

namespace {

constexpr std::string_view kNarrowSpace = "\u202F";
constexpr std::string_view kMinus = "\u2212";

constexpr std::array<std::string_view, 12> kMonths{"January", "February", "March",     "April",
                                                   "May",     "June",     "July",      "August",
                                                   "September", "October", "November", "December"};
constexpr std::array<std::string_view, 7> kWeekdays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                    "Thursday", "Friday", "Saturday"};

std::string twoDigits(int value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%02d", value);
    return buffer;
}

// Fixed English forms with a 24-hour clock, the same whatever the machine's locale.
class EnglishDateFormatter final : public DateFormatter {
public:
    std::string time(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        return local ? twoDigits(local->hour) + ":" + twoDigits(local->minute) : std::string{};
    }
    std::string hour(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        return local ? twoDigits(local->hour) : std::string{};
    }
    std::string clockTime(Instant date, const Calendar& calendar) const override {
        return time(date, calendar);
    }
    std::string day(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        if (!local) {
            return {};
        }
        return std::string(weekday(*local).substr(0, 3)) + " " + std::to_string(local->day) + " " +
               std::string(month(*local).substr(0, 3));
    }
    std::string longDay(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        if (!local) {
            return {};
        }
        return std::string(weekday(*local)) + " " + std::to_string(local->day) + " " +
               std::string(month(*local));
    }
    std::string weekdayDay(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        if (!local) {
            return {};
        }
        return std::string(weekday(*local)) + " " + std::to_string(local->day) + " " +
               std::string(month(*local).substr(0, 3));
    }

    std::string date(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        if (!local) {
            return {};
        }
        return std::to_string(local->day) + " " + std::string(month(*local).substr(0, 3)) + " " +
               std::to_string(local->year);
    }
    std::string dayMonth(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        if (!local) {
            return {};
        }
        return std::to_string(local->day) + " " + std::string(month(*local).substr(0, 3));
    }
    std::string weekday(Instant date, const Calendar& calendar) const override {
        const auto local = calendar.local(date);
        return local ? std::string(weekday(*local)) : std::string{};
    }

private:
    static std::string_view weekday(const LocalDateTime& local) {
        return kWeekdays[static_cast<std::size_t>(std::clamp(local.weekday, 1, 7) - 1)];
    }
    static std::string_view month(const LocalDateTime& local) {
        return kMonths[static_cast<std::size_t>(std::clamp(local.month, 1, 12) - 1)];
    }
};

std::shared_ptr<const DateFormatter>& installedFormatter() {
    static std::shared_ptr<const DateFormatter> formatter = Fmt::englishDateFormatter();
    return formatter;
}

} // namespace

namespace Fmt {

std::string duration(double seconds, bool /*isShort*/) {
    const double s = std::max(seconds, 0.0);
    const auto n = roundHalfAway(s);
    if (n <= 59) {
        return std::to_string(n) + " s";
    }
    const auto minutes = roundHalfAway(s / 60);
    if (minutes <= 59) {
        return std::to_string(minutes) + " m";
    }
    const auto hours = minutes / 60;
    const auto rest = minutes % 60;
    if (rest == 0) {
        return std::to_string(hours) + " h";
    }
    return std::to_string(hours) + " h " + std::to_string(rest) + " m";
}

std::string clock(double seconds) {
    const auto minutes = roundHalfAway(std::max(seconds, 0.0) / 60);
    char buffer[48];
    std::snprintf(buffer, sizeof buffer, "%lld:%02lld", static_cast<long long>(minutes / 60),
                  static_cast<long long>(minutes % 60));
    return buffer;
}

std::string dayTime(Instant date, const Calendar& calendar) {
    return day(date, calendar) + ", " + time(date, calendar);
}

std::string percent(int value) { return std::to_string(value) + std::string(kNarrowSpace) + "%"; }

std::string drop(int value) {
    if (value < 1) {
        // Appended, not concatenated to a literal: g++ 12 at -O3 sees a false overlap in "0" + string.
        std::string text = "0";
        text += kNarrowSpace;
        text += "%";
        return text;
    }
    return std::string(kMinus) + std::to_string(value) + std::string(kNarrowSpace) + "%";
}

std::string time(Instant date, const Calendar& calendar) { return dateFormatter().time(date, calendar); }
std::string hour(Instant date, const Calendar& calendar) { return dateFormatter().hour(date, calendar); }
std::string clockTime(Instant date, const Calendar& calendar) {
    return dateFormatter().clockTime(date, calendar);
}
std::string day(Instant date, const Calendar& calendar) { return dateFormatter().day(date, calendar); }
std::string longDay(Instant date, const Calendar& calendar) {
    return dateFormatter().longDay(date, calendar);
}
std::string weekdayDay(Instant date, const Calendar& calendar) {
    return dateFormatter().weekdayDay(date, calendar);
}
std::string date(Instant date, const Calendar& calendar) { return dateFormatter().date(date, calendar); }
std::string dayMonth(Instant date, const Calendar& calendar) {
    return dateFormatter().dayMonth(date, calendar);
}
std::string weekday(Instant date, const Calendar& calendar) {
    return dateFormatter().weekday(date, calendar);
}

const DateFormatter& dateFormatter() { return *installedFormatter(); }

void setDateFormatter(std::shared_ptr<const DateFormatter> formatter) {
    installedFormatter() = formatter ? std::move(formatter) : englishDateFormatter();
}

std::shared_ptr<const DateFormatter> englishDateFormatter() {
    static const auto english = std::make_shared<const EnglishDateFormatter>();
    return english;
}

ScopedDateFormatter::ScopedDateFormatter(std::shared_ptr<const DateFormatter> formatter)
    : m_previous(installedFormatter()) {
    setDateFormatter(std::move(formatter));
}

ScopedDateFormatter::~ScopedDateFormatter() { installedFormatter() = std::move(m_previous); }

} // namespace Fmt
} // namespace vitrek
