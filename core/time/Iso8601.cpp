#include "time/Iso8601.h"

#include "text/Ascii.h"

#include <date/date.h>

#include <algorithm>
#include <cstdint>

namespace vitrek {

namespace {

bool isAt(std::string_view text, std::size_t position, char expected) {
    return position < text.size() && text[position] == expected;
}

// Digits beyond nanoseconds are read but dropped: an instant's double holds less.
constexpr std::size_t kFractionDigits = 9;

} // namespace

std::optional<Instant> parseIso8601(std::string_view text) {
    using Ascii::digits;
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
        while (end < text.size() && Ascii::isDigit(text[end])) {
            ++end;
        }
        if (end == begin) {
            return std::nullopt;
        }
        // One division of a whole number rounds once, where adding up tenths would round at every digit.
        const std::size_t kept = std::min(end - begin, kFractionDigits);
        double scale = 1;
        for (std::size_t i = 0; i < kept; ++i) {
            scale *= 10;
        }
        fraction = *digits(text, begin, kept) / scale;
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
    const std::int64_t days = date::sys_days{civil}.time_since_epoch().count();
    // Whole seconds and the fraction are added last: summing them earlier would round away microseconds.
    const std::int64_t seconds = days * 86'400 + *hour * 3'600 + *minute * 60 + *second - offset;
    return fromUnixSeconds(static_cast<double>(seconds) + fraction);
}

} // namespace vitrek
