#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vitrek::test {

Calendar zone(std::string_view name) {
    auto calendar = Calendar::named(name);
    if (!calendar) {
        ADD_FAILURE() << "unknown time zone " << name;
        return Calendar::utc();
    }
    return *calendar;
}

Instant at(std::string_view iso) {
    int year = 0, month = 0, day = 0, hour = 0, minute = 0;
    double second = 0;
    int consumed = 0;
    const std::string text(iso);
    if (std::sscanf(text.c_str(), "%d-%d-%dT%d:%d:%lf%n", &year, &month, &day, &hour, &minute, &second,
                    &consumed) != 6) {
        throw std::invalid_argument("malformed instant " + text);
    }
    const std::string zonePart = text.substr(static_cast<std::size_t>(consumed));
    int offsetSeconds = 0;
    if (zonePart != "Z") {
        int offsetHours = 0, offsetMinutes = 0;
        char sign = 0;
        if (std::sscanf(zonePart.c_str(), "%c%d:%d", &sign, &offsetHours, &offsetMinutes) != 3 ||
            (sign != '+' && sign != '-')) {
            throw std::invalid_argument("instant without an offset " + text);
        }
        offsetSeconds = (sign == '-' ? -1 : 1) * (offsetHours * 3600 + offsetMinutes * 60);
    }
    const auto days = std::chrono::sys_days{std::chrono::year{year} / month / day}.time_since_epoch().count();
    const double unix =
        static_cast<double>(days) * 86400.0 + hour * 3600.0 + minute * 60.0 + second - offsetSeconds;
    return fromUnixSeconds(unix);
}

Instant local(const Calendar& calendar, int year, int month, int day, int hour, int minute, int second) {
    const auto start = calendar.date(year, month, day);
    if (!start) {
        throw std::invalid_argument("no such date");
    }
    const auto wall = calendar.at(*start, hour, minute);
    if (!wall) {
        throw std::invalid_argument("no such time");
    }
    return *wall + Seconds{static_cast<double>(second)};
}

std::string readTestData(std::string_view relativePath) {
    std::ifstream file(std::string(VITREK_TEST_DATA) + "/" + std::string(relativePath), std::ios::binary);
    if (!file) {
        throw std::runtime_error("missing test data " + std::string(relativePath));
    }
    std::ostringstream contents;
    contents << file.rdbuf();
    return contents.str();
}

} // namespace vitrek::test
