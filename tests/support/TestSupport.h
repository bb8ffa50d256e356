#pragma once

#include "time/Calendar.h"
#include "time/Instant.h"

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace vitrek::test {

// The calendar of a named zone; fails the test (and returns UTC) when the zone is unknown.
Calendar zone(std::string_view name);
inline Calendar berlin() { return zone("Europe/Berlin"); }
inline Calendar newYork() { return zone("America/New_York"); }

// An instant from an ISO 8601 text with an explicit offset, "2025-03-30T01:30:00+01:00" or "…Z";
// fractional seconds are allowed. Aborts the test on a malformed text.
Instant at(std::string_view iso);

// The wall-clock instant year-month-day hour:minute:second in a zone (the first when it occurs twice).
Instant local(const Calendar& calendar, int year, int month, int day, int hour = 0, int minute = 0,
              int second = 0);

// Sets an environment variable for one test (nullptr unsets it) and restores it afterwards.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name)) {
            m_old = old;
        }
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedVariable() { m_old ? setenv(m_name, m_old->c_str(), 1) : unsetenv(m_name); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

// Sets the user's zone (TZ) for one test, so it can differ from the calendar the code is given.
struct UserZone {
    explicit UserZone(const char* zone) : variable(std::in_place, "TZ", zone) { tzset(); }
    ~UserZone() {
        variable.reset();
        tzset();
    }
    static void set(const char* zone) {
        zone ? setenv("TZ", zone, 1) : unsetenv("TZ");
        tzset();
    }
    std::optional<ScopedVariable> variable;
};

// The contents of a file under tests/data.
std::string readTestData(std::string_view relativePath);

} // namespace vitrek::test
