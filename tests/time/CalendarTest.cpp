#include "time/Calendar.h"

#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using namespace vitrek;
using namespace vitrek::test;

namespace {

std::optional<double> unixOf(std::optional<Instant> instant) {
    return instant ? std::optional<double>(unixSeconds(*instant)) : std::nullopt;
}

} // namespace

TEST(CalendarTest, UnknownZoneNamesAreAbsentAndCurrentFollowsOnlyAKnownTZ) {
    EXPECT_FALSE(Calendar::named("Not/AZone").has_value());
    const UserZone zone{"America/New_York"};
    EXPECT_EQ(Calendar::current(), newYork());
    UserZone::set("Not/AZone");
    const Calendar unknown = Calendar::current();
    UserZone::set(nullptr);
    EXPECT_EQ(unknown, Calendar::current());
}

TEST(CalendarTest, LocalGivesWallClockAndSundayFirstWeekday) {
    // Either side of the skipped spring hour, then both passes through the repeated autumn one.
    EXPECT_EQ(berlin().local(at("2025-03-30T01:59:59+01:00")), (LocalDateTime{2025, 3, 30, 1, 1, 59, 59}));
    EXPECT_EQ(berlin().local(at("2025-03-30T03:00:00+02:00")), (LocalDateTime{2025, 3, 30, 1, 3, 0, 0}));
    EXPECT_EQ(berlin().local(at("2025-10-26T02:30:00+02:00")), (LocalDateTime{2025, 10, 26, 1, 2, 30, 0}));
    EXPECT_EQ(berlin().local(at("2025-10-26T02:30:00+01:00")), (LocalDateTime{2025, 10, 26, 1, 2, 30, 0}));
    // Fractions of a second round down, before 1970 too.
    EXPECT_EQ(berlin().local(at("2024-02-29T23:59:59.75Z")), (LocalDateTime{2024, 3, 1, 6, 0, 59, 59}));
    EXPECT_EQ(berlin().local(at("1969-12-31T23:59:59.5Z")), (LocalDateTime{1970, 1, 1, 5, 0, 59, 59}));
}

TEST(CalendarTest, InputsOutsideTheCalendarGiveAbsent) {
    const Instant noon = at("2025-01-05T12:00:00Z");
    for (const Instant bad : {fromUnixSeconds(NAN), fromUnixSeconds(INFINITY)}) {
        EXPECT_FALSE(berlin().local(bad) || berlin().startOfDay(bad) || berlin().addingDays(bad, 1) ||
                     berlin().at(bad, 12) || berlin().daysBetween(bad, noon) ||
                     berlin().daysBetween(noon, bad));
    }
    EXPECT_FALSE(berlin().date(2025, 2, 29) || berlin().date(2025, 13, 1) || berlin().date(2025, 1, 32) ||
                 berlin().date(2025, 0, 1) || berlin().date(2025, 1, 0) || berlin().date(2025, 4, 31));
}

// Skipped wall-clock times resolve to the next existing one, repeated ones to their first pass.
TEST(CalendarTest, DayStartsAndWallClockTimesFollowTheZonesChanges) {
    const Calendar saoPaulo = zone("America/Sao_Paulo"); // 4 November 2018 had no midnight
    const std::vector<std::pair<std::optional<Instant>, const char*>> cases{
        {berlin().startOfDay(at("2025-03-30T15:00:00+02:00")), "2025-03-30T00:00:00+01:00"},
        {berlin().startOfDay(at("2025-10-26T23:59:59+01:00")), "2025-10-26T00:00:00+02:00"},
        {berlin().startOfDay(at("2025-01-05T23:30:00Z")), "2025-01-06T00:00:00+01:00"},
        {newYork().startOfDay(at("2025-01-05T23:30:00Z")), "2025-01-05T00:00:00-05:00"},
        {saoPaulo.startOfDay(at("2018-11-04T12:00:00-02:00")), "2018-11-04T01:00:00-02:00"},
        {saoPaulo.date(2018, 11, 4), "2018-11-04T01:00:00-02:00"},
        {berlin().date(2025, 3, 31), "2025-03-31T00:00:00+02:00"},
        {berlin().addingDays(at("2025-03-29T12:00:00+01:00"), 1), "2025-03-30T12:00:00+02:00"},
        {berlin().addingDays(at("2025-10-27T12:00:00+01:00"), -2), "2025-10-25T12:00:00+02:00"},
        {berlin().addingDays(at("2025-03-29T02:00:00+01:00"), 1), "2025-03-30T03:00:00+02:00"},
        {newYork().addingDays(at("2025-11-03T01:30:00-05:00"), -1), "2025-11-02T01:30:00-04:00"},
        {newYork().at(at("2025-01-05T23:30:00Z"), 23), "2025-01-05T23:00:00-05:00"},
        {berlin().at(at("2025-03-30T12:00:00+02:00"), 2), "2025-03-30T03:00:00+02:00"},
        {berlin().at(at("2025-03-30T12:00:00+02:00"), 2, 30), "2025-03-30T03:00:00+02:00"},
        {berlin().at(at("2025-10-26T12:00:00+01:00"), 2, 30), "2025-10-26T02:30:00+02:00"},
        {zone("America/Santiago").at(at("2024-04-06T12:00:00-03:00"), 23), "2024-04-06T23:00:00-03:00"},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(testing::Message() << "row " << i << ", expected " << cases[i].second);
        EXPECT_EQ(unixOf(cases[i].first), unixOf(at(cases[i].second)));
    }
}

TEST(CalendarTest, DaysBetweenCountsWholeCalendarDays) {
    const auto days = [](auto cal, auto from, auto to) { return cal.daysBetween(at(from), at(to)); };
    EXPECT_EQ(days(berlin(), "2025-01-05T12:00:00+01:00", "2025-01-06T11:59:00+01:00"), 0);
    EXPECT_EQ(days(berlin(), "2025-01-05T12:00:00+01:00", "2025-01-06T12:00:00+01:00"), 1);
    EXPECT_EQ(days(berlin(), "2025-01-06T12:00:00+01:00", "2025-01-04T12:01:00+01:00"), -1);
    // Midnight to midnight across the 23-hour day is two days.
    EXPECT_EQ(days(berlin(), "2025-03-29T00:00:00+01:00", "2025-03-31T00:00:00+02:00"), 2);
    EXPECT_EQ(days(berlin(), "2025-03-31T00:00:00+02:00", "2025-03-29T00:00:00+01:00"), -2);
    EXPECT_EQ(days(berlin(), "2025-10-25T00:00:00+02:00", "2025-10-27T00:00:00+01:00"), 2);
    EXPECT_EQ(days(newYork(), "2025-03-08T00:00:00-05:00", "2025-03-15T00:00:00-04:00"), 7);
}
