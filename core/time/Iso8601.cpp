#include "time/Iso8601.h"

#include <date/date.h>

#include <charconv>

namespace vitrek {

namespace {

// Reads exactly `count` ASCII digits at `position`.
std::optional<int> digits(std::string_view text, std::size_t position, std::size_t count) {
    if (position + count > text.size()) {
        return std::nullopt;
    }
    int value = 0;
    for (std::size_t i = position; i < position + count; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return std::nullopt;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

bool isAt(std::string_view text, std::size_t position, char expected) {
    return position < text.size() && text[position] == expected;
}

} // namespace

std::optional<Instant> parseIso8601(std::string_view text) {
    const auto year = digits(text, 0, 4);
    const auto month = digits(text, 5, 2);
    const auto day = digits(text, 8, 2);
    const auto hour = digits(text, 11, 2);
    const auto minute = digits(text, 14, 2);
    const auto second = digits(text, 17, 2);
    if (!year || !month || !day || !hour || !minute || !second || !isAt(text, 4, '-') ||
        !isAt(text, 7, '-') || !(isAt(text, 10, 'T') || isAt(text, 10, 't') || isAt(text, 10, ' ')) ||
        !isAt(text, 13, ':') || !isAt(text, 16, ':')) {
        return std::nullopt;
    }
    const date::year_month_day civil{date::year{*year}, date::month{static_cast<unsigned>(*month)},
                                     date::day{static_cast<unsigned>(*day)}};
    if (!civil.ok() || *hour > 23 || *minute > 59 || *second > 60) {
        return std::nullopt;
    }

    std::size_t position = 19;
    double fraction = 0;
    if (isAt(text, position, '.') || isAt(text, position, ',')) {
        const std::size_t begin = position + 1;
        std::size_t end = begin;
        while (end < text.size() && text[end] >= '0' && text[end] <= '9') {
            ++end;
        }
        if (end == begin) {
            return std::nullopt;
        }
        double scale = 0.1;
        for (std::size_t i = begin; i < end; ++i, scale /= 10) {
            fraction += (text[i] - '0') * scale;
        }
        position = end;
    }

    int offset = 0;
    const std::string_view zone = text.substr(position);
    if (zone != "Z" && zone != "z") {
        if (zone.empty() || (zone[0] != '+' && zone[0] != '-')) {
            return std::nullopt;
        }
        const bool colon = zone.size() == 6 && zone[3] == ':';
        if (!colon && zone.size() != 5) {
            return std::nullopt;
        }
        const auto zoneHours = digits(zone, 1, 2);
        const auto zoneMinutes = digits(zone, colon ? 4 : 3, 2);
        if (!zoneHours || !zoneMinutes || *zoneHours > 23 || *zoneMinutes > 59) {
            return std::nullopt;
        }
        offset = (zone[0] == '-' ? -1 : 1) * (*zoneHours * 3600 + *zoneMinutes * 60);
    }
    const auto days = date::sys_days{civil}.time_since_epoch().count();
    return fromUnixSeconds(static_cast<double>(days) * 86400.0 + *hour * 3600.0 + *minute * 60.0 + *second +
                           fraction - offset);
}

} // namespace vitrek
