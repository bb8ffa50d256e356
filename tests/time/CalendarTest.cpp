#include "time/Calendar.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

using namespace vitrek;
using namespace vitrek::test;

namespace vitrek {
// Lets a failed comparison print the fields rather than raw bytes.
void PrintTo(const LocalDateTime& time, std::ostream* out) {
    *out << time.year << "-" << time.month << "-" << time.day << " weekday " << time.weekday << " "
         << time.hour << ":" << time.minute << ":" << time.second;
}
} // namespace vitrek

namespace {

// Instants compare as Unix seconds so a failure prints readable numbers.
std::optional<double> unixOf(std::optional<Instant> instant) {
    if (!instant) {
        return std::nullopt;
    }
    return unixSeconds(*instant);
}

double unixOf(std::string_view iso) {
    return unixSeconds(at(iso));
}

// Sao Paulo skipped the midnight of 4 November 2018: the day began at 01:00.
Calendar saoPaulo() {
    return zone("America/Sao_Paulo");
}
// Santiago moves its clocks at midnight: 2023-09-03 began at 01:00, and 23:00 on 2024-04-06 came twice.
Calendar santiago() {
    return zone("America/Santiago");
}

const Instant kNotANumber = fromUnixSeconds(std::numeric_limits<double>::quiet_NaN());
const Instant kInfinity = fromUnixSeconds(std::numeric_limits<double>::infinity());

} // namespace

TEST(CalendarTest, NamedZonesAreFoundAndUnknownOnesAreAbsent) {
    const auto berlinCalendar = Calendar::named("Europe/Berlin");
    ASSERT_TRUE(berlinCalendar.has_value());
    EXPECT_EQ(berlinCalendar->zoneName(), "Europe/Berlin");
    EXPECT_EQ(*berlinCalendar, berlin());
    EXPECT_FALSE(*berlinCalendar == newYork());

    EXPECT_FALSE(Calendar::named("Not/AZone").has_value());
    EXPECT_FALSE(Calendar::named("").has_value());
    EXPECT_EQ(Calendar{}, Calendar::utc());
}

TEST(CalendarTest, LocalGivesWallClockAndSundayFirstWeekday) {
    struct Case {
        Calendar calendar;
        const char* instant;
        LocalDateTime expected;
    };
    const std::vector<Case> cases{
        // The last second before the spring gap and the first one after it.
        {berlin(), "2025-03-30T01:59:59+01:00", {2025, 3, 30, 1, 1, 59, 59}},
        {berlin(), "2025-03-30T03:00:00+02:00", {2025, 3, 30, 1, 3, 0, 0}},
        // Both passes through the repeated autumn hour read 02:30.
        {berlin(), "2025-10-26T02:30:00+02:00", {2025, 10, 26, 1, 2, 30, 0}},
        {berlin(), "2025-10-26T02:30:00+01:00", {2025, 10, 26, 1, 2, 30, 0}},
        {newYork(), "2025-01-04T12:00:00Z", {2025, 1, 4, 7, 7, 0, 0}},
        {newYork(), "2025-03-09T07:00:00Z", {2025, 3, 9, 1, 3, 0, 0}},
        {Calendar::utc(), "2024-02-29T23:59:59Z", {2024, 2, 29, 5, 23, 59, 59}},
        // Fractions of a second never round up into the next day.
        {berlin(), "2025-01-05T23:59:59.75+01:00", {2025, 1, 5, 1, 23, 59, 59}},
        // Before 1970 the second still rounds down, not toward zero.
        {Calendar::utc(), "1969-12-31T23:59:59.5Z", {1969, 12, 31, 4, 23, 59, 59}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.instant);
        EXPECT_EQ(c.calendar.local(at(c.instant)), c.expected);
    }
}

TEST(CalendarTest, InstantsThatAreNotFiniteGiveAbsent) {
    const auto calendar = berlin();
    for (const Instant instant : {kNotANumber, kInfinity}) {
        EXPECT_FALSE(calendar.local(instant).has_value());
        EXPECT_FALSE(calendar.startOfDay(instant).has_value());
        EXPECT_FALSE(calendar.addingDays(instant, 1).has_value());
        EXPECT_FALSE(calendar.at(instant, 12).has_value());
        EXPECT_FALSE(calendar.daysBetween(instant, at("2025-01-05T12:00:00Z")).has_value());
        EXPECT_FALSE(calendar.daysBetween(at("2025-01-05T12:00:00Z"), instant).has_value());
    }
}

TEST(CalendarTest, StartOfDayIsTheFirstInstantOfTheLocalDay) {
    struct Case {
        Calendar calendar;
        const char* instant;
        const char* expected;
    };
    const std::vector<Case> cases{
        {berlin(), "2025-03-30T15:00:00+02:00", "2025-03-30T00:00:00+01:00"},
        {berlin(), "2025-10-26T23:59:59+01:00", "2025-10-26T00:00:00+02:00"},
        {berlin(), "2025-01-06T00:00:00+01:00", "2025-01-06T00:00:00+01:00"},
        {berlin(), "2025-01-05T23:59:59.5+01:00", "2025-01-05T00:00:00+01:00"},
        {newYork(), "2025-11-02T23:00:00-05:00", "2025-11-02T00:00:00-04:00"},
        // The same instant lies on different days in the two zones.
        {berlin(), "2025-01-05T23:30:00Z", "2025-01-06T00:00:00+01:00"},
        {newYork(), "2025-01-05T23:30:00Z", "2025-01-05T00:00:00-05:00"},
        // Days whose midnight never happened start at the first existing time.
        {saoPaulo(), "2018-11-04T12:00:00-02:00", "2018-11-04T01:00:00-02:00"},
        {santiago(), "2023-09-03T12:00:00-03:00", "2023-09-03T01:00:00-03:00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.calendar.zoneName()) + " " + c.instant);
        EXPECT_EQ(unixOf(c.calendar.startOfDay(at(c.instant))), unixOf(c.expected));
    }
}

TEST(CalendarTest, AddingDaysKeepsTheWallClockAcrossChanges) {
    struct Case {
        Calendar calendar;
        const char* instant;
        int days;
        const char* expected;
    };
    const std::vector<Case> cases{
        // A 23-hour and a 25-hour day.
        {berlin(), "2025-03-29T12:00:00+01:00", 1, "2025-03-30T12:00:00+02:00"},
        {berlin(), "2025-10-27T12:00:00+01:00", -2, "2025-10-25T12:00:00+02:00"},
        {newYork(), "2025-03-08T00:00:00-05:00", 2, "2025-03-10T00:00:00-04:00"},
        {newYork(), "2025-03-10T00:00:00-04:00", -1, "2025-03-09T00:00:00-05:00"},
        {Calendar::utc(), "2024-12-31T10:00:00Z", 1, "2025-01-01T10:00:00Z"},
        {Calendar::utc(), "2024-02-28T10:00:00Z", 1, "2024-02-29T10:00:00Z"},
        {Calendar::utc(), "2025-03-01T10:00:00Z", -365, "2024-03-01T10:00:00Z"},
        {berlin(), "2025-06-01T08:15:00+02:00", 0, "2025-06-01T08:15:00+02:00"},
        // Into the skipped hour: the next time that exists.
        {berlin(), "2025-03-29T02:00:00+01:00", 1, "2025-03-30T03:00:00+02:00"},
        {saoPaulo(), "2018-11-03T00:00:00-03:00", 1, "2018-11-04T01:00:00-02:00"},
        // Into the repeated hour: its first pass.
        {berlin(), "2025-10-25T02:30:00+02:00", 1, "2025-10-26T02:30:00+02:00"},
        {newYork(), "2025-11-03T01:30:00-05:00", -1, "2025-11-02T01:30:00-04:00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.calendar.zoneName()) + " " + c.instant + " + " + std::to_string(c.days));
        EXPECT_EQ(unixOf(c.calendar.addingDays(at(c.instant), c.days)), unixOf(c.expected));
    }
}

TEST(CalendarTest, DateIsTheStartOfARealDay) {
    EXPECT_EQ(unixOf(berlin().date(2025, 3, 30)), unixOf("2025-03-30T00:00:00+01:00"));
    EXPECT_EQ(unixOf(berlin().date(2025, 10, 27)), unixOf("2025-10-27T00:00:00+01:00"));
    EXPECT_EQ(unixOf(newYork().date(2025, 11, 2)), unixOf("2025-11-02T00:00:00-04:00"));
    EXPECT_EQ(unixOf(Calendar::utc().date(2024, 2, 29)), unixOf("2024-02-29T00:00:00Z"));
    EXPECT_EQ(unixOf(saoPaulo().date(2018, 11, 4)), unixOf("2018-11-04T01:00:00-02:00"));
    EXPECT_EQ(unixOf(santiago().date(2023, 9, 3)), unixOf("2023-09-03T01:00:00-03:00"));
}

TEST(CalendarTest, DateRejectsComponentsOutsideTheCalendar) {
    struct Case {
        int year, month, day;
    };
    const std::vector<Case> cases{
        {2025, 2, 29}, {2025, 13, 1}, {2025, 1, 32}, {2025, 0, 1}, {2025, 1, 0}, {2025, 4, 31}, {2025, -1, 5},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.year) + "-" + std::to_string(c.month) + "-" + std::to_string(c.day));
        EXPECT_FALSE(berlin().date(c.year, c.month, c.day).has_value());
    }
}

TEST(CalendarTest, AtSetsTheWallClockOnTheSameDay) {
    struct Case {
        Calendar calendar;
        const char* day;
        int hour;
        int minute;
        const char* expected;
    };
    const std::vector<Case> cases{
        {berlin(), "2025-01-05T23:30:00+01:00", 7, 0, "2025-01-05T07:00:00+01:00"},
        {berlin(), "2025-01-05T00:00:00+01:00", 23, 45, "2025-01-05T23:45:00+01:00"},
        {newYork(), "2025-01-05T23:30:00Z", 23, 0, "2025-01-05T23:00:00-05:00"},
        // Spring forward: the skipped hour resolves to the next time that exists.
        {berlin(), "2025-03-30T12:00:00+02:00", 2, 0, "2025-03-30T03:00:00+02:00"},
        {berlin(), "2025-03-30T12:00:00+02:00", 1, 30, "2025-03-30T01:30:00+01:00"},
        {berlin(), "2025-03-30T12:00:00+02:00", 3, 0, "2025-03-30T03:00:00+02:00"},
        {newYork(), "2025-03-09T12:00:00-04:00", 2, 0, "2025-03-09T03:00:00-04:00"},
        {saoPaulo(), "2018-11-04T12:00:00-02:00", 0, 0, "2018-11-04T01:00:00-02:00"},
        // Fall back: the repeated hour resolves to its first pass.
        {berlin(), "2025-10-26T12:00:00+01:00", 2, 30, "2025-10-26T02:30:00+02:00"},
        {berlin(), "2025-10-26T12:00:00+01:00", 3, 0, "2025-10-26T03:00:00+01:00"},
        {newYork(), "2025-11-02T12:00:00-05:00", 1, 30, "2025-11-02T01:30:00-04:00"},
        {santiago(), "2024-04-06T12:00:00-03:00", 23, 0, "2024-04-06T23:00:00-03:00"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.calendar.zoneName()) + " " + c.day + " at " + std::to_string(c.hour) +
                     ":" + std::to_string(c.minute));
        EXPECT_EQ(unixOf(c.calendar.at(at(c.day), c.hour, c.minute)), unixOf(c.expected));
    }
}

TEST(CalendarTest, DaysBetweenCountsWholeCalendarDays) {
    struct Case {
        Calendar calendar;
        const char* from;
        const char* to;
        int expected;
    };
    const std::vector<Case> cases{
        {berlin(), "2025-01-05T12:00:00+01:00", "2025-01-05T23:59:00+01:00", 0},
        {berlin(), "2025-01-05T12:00:00+01:00", "2025-01-06T11:59:00+01:00", 0},
        {berlin(), "2025-01-05T12:00:00+01:00", "2025-01-06T12:00:00+01:00", 1},
        {berlin(), "2025-01-06T12:00:00+01:00", "2025-01-04T12:00:00+01:00", -2},
        // A partial day does not count going backwards either.
        {berlin(), "2025-01-06T12:00:00+01:00", "2025-01-04T12:01:00+01:00", -1},
        // Midnight to midnight across the short spring day is 47 hours but two days.
        {berlin(), "2025-03-29T00:00:00+01:00", "2025-03-31T00:00:00+02:00", 2},
        {berlin(), "2025-03-31T00:00:00+02:00", "2025-03-29T00:00:00+01:00", -2},
        {berlin(), "2025-03-29T12:00:00+01:00", "2025-03-30T12:00:00+02:00", 1},
        {berlin(), "2025-10-25T00:00:00+02:00", "2025-10-27T00:00:00+01:00", 2},
        {newYork(), "2025-03-08T00:00:00-05:00", "2025-03-15T00:00:00-04:00", 7},
        {Calendar::utc(), "2024-12-31T00:00:00Z", "2025-12-31T00:00:00Z", 365},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.calendar.zoneName()) + " " + c.from + " to " + c.to);
        EXPECT_EQ(c.calendar.daysBetween(at(c.from), at(c.to)), c.expected);
    }
}

namespace {

// Sets TZ for one test and puts the previous value back, so other tests see the machine as before.
class CalendarCurrentTest : public testing::Test {
protected:
    void SetUp() override {
        if (const char* value = std::getenv("TZ")) {
            m_saved = value;
        }
    }
    void TearDown() override {
        if (m_saved) {
            setenv("TZ", m_saved->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    static void setZone(const char* name) {
        setenv("TZ", name, 1);
        tzset();
    }
    static void clearZone() {
        unsetenv("TZ");
        tzset();
    }

private:
    std::optional<std::string> m_saved;
};

} // namespace

TEST_F(CalendarCurrentTest, FollowsAKnownZoneInTZ) {
    setZone("America/New_York");
    EXPECT_EQ(Calendar::current().zoneName(), "America/New_York");
    // Read afresh on every call, not remembered from the first one.
    setZone("Europe/Berlin");
    EXPECT_EQ(Calendar::current().zoneName(), "Europe/Berlin");
    EXPECT_EQ(Calendar::current(), berlin());
}

TEST_F(CalendarCurrentTest, IgnoresAnUnknownZoneInTZ) {
    clearZone();
    const Calendar system = Calendar::current();
    setZone("Not/AZone");
    EXPECT_EQ(Calendar::current(), system);
}
