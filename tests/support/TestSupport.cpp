#include "support/TestSupport.h"

#include "support/ScratchDirectory.h"
#include "time/Iso8601.h"

#include <gtest/gtest.h>

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
    const auto instant = parseIso8601(iso);
    if (!instant) {
        throw std::invalid_argument("malformed instant " + std::string(iso));
    }
    return *instant;
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
    const auto path = std::filesystem::path(VITREK_TEST_DATA) / relativePath;
    if (!std::filesystem::is_regular_file(path)) {
        throw std::runtime_error("missing test data " + std::string(relativePath));
    }
    return readFile(path);
}

} // namespace vitrek::test
