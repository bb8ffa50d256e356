#include "scores/Fmt.h"

#include "support/TestSupport.h"
#include "time/Calendar.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vitrek {
namespace {

using test::at;

TEST(FmtTest, DurationRoundsToTheLargestUnitThatFits) {
    struct Case {
        double seconds;
        const char* text;
    };
    const std::vector<Case> cases = {
        {0, "0 s"},        {-5, "0 s"},   {42, "42 s"},      {59.4, "59 s"},
        {59.5, "1 m"}, // rounds to 60 s, which is no longer seconds
        {59.6, "1 m"},     {89.9, "1 m"}, {90, "2 m"},       {1020, "17 m"},
        {3569, "59 m"},    {3570, "1 h"}, // 59.5 minutes round to a whole hour
        {3900, "1 h 5 m"}, {7200, "2 h"}, {7500, "2 h 5 m"}, {172800, "48 h"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Fmt::duration(c.seconds), c.text) << c.seconds;
        EXPECT_EQ(Fmt::duration(c.seconds, true), c.text) << c.seconds << " short";
    }
}

TEST(FmtTest, ClockShowsRoundedMinutesAsHoursAndMinutes) {
    struct Case {
        double seconds;
        const char* text;
    };
    const std::vector<Case> cases = {
        {0, "0:00"},    {-60, "0:00"},  {20, "0:00"},     {30, "0:01"},
        {3599, "1:00"}, {7500, "2:05"}, {39540, "10:59"}, {90000, "25:00"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Fmt::clock(c.seconds), c.text) << c.seconds;
    }
}

TEST(FmtTest, PercentAndDropUseNarrowSpaceAndMinusSign) {
    EXPECT_EQ(Fmt::percent(82), "82\u202F%");
    EXPECT_EQ(Fmt::percent(0), "0\u202F%");
    EXPECT_EQ(Fmt::percent(100), "100\u202F%");

    EXPECT_EQ(Fmt::drop(0), "0\u202F%");
    EXPECT_EQ(Fmt::drop(-3), "0\u202F%");
    EXPECT_EQ(Fmt::drop(1), "\u22121\u202F%");
    EXPECT_EQ(Fmt::drop(12), "\u221212\u202F%");
}

TEST(FmtTest, DateFormsFollowTheCalendarsZone) {
    struct Case {
        const char* instant;
        const char* zone;
        const char* time;
        const char* hour;
        const char* day;
        const char* longDay;
    };
    const std::vector<Case> cases = {
        {"2025-03-04T07:12:00+01:00", "Europe/Berlin", "07:12", "07", "Tue 4 Mar", "Tuesday 4 March"},
        {"2025-03-04T07:12:00+01:00", "America/New_York", "01:12", "01", "Tue 4 Mar", "Tuesday 4 March"},
        // Late evening in New York is already the next day in Berlin.
        {"2025-03-04T03:05:00+01:00", "Europe/Berlin", "03:05", "03", "Tue 4 Mar", "Tuesday 4 March"},
        {"2025-03-04T03:05:00+01:00", "America/New_York", "21:05", "21", "Mon 3 Mar", "Monday 3 March"},
        // Summer time in both zones.
        {"2025-07-20T23:30:00Z", "Europe/Berlin", "01:30", "01", "Mon 21 Jul", "Monday 21 July"},
        {"2025-07-20T23:30:00Z", "America/New_York", "19:30", "19", "Sun 20 Jul", "Sunday 20 July"},
        // Midnight is hour 00 of the new day and year.
        {"2025-12-31T23:00:00Z", "Europe/Berlin", "00:00", "00", "Thu 1 Jan", "Thursday 1 January"},
        {"2025-12-31T23:00:00Z", "America/New_York", "18:00", "18", "Wed 31 Dec", "Wednesday 31 December"},
    };
    for (const auto& c : cases) {
        const auto calendar = test::zone(c.zone);
        const auto date = at(c.instant);
        SCOPED_TRACE(std::string(c.instant) + " in " + c.zone);
        EXPECT_EQ(Fmt::time(date, calendar), c.time);
        EXPECT_EQ(Fmt::clockTime(date, calendar), c.time);
        EXPECT_EQ(Fmt::hour(date, calendar), c.hour);
        EXPECT_EQ(Fmt::day(date, calendar), c.day);
        EXPECT_EQ(Fmt::longDay(date, calendar), c.longDay);
        EXPECT_EQ(Fmt::dayTime(date, calendar), std::string(c.day) + ", " + c.time);
    }
}

class LabelFormatter : public DateFormatter {
public:
    std::string time(Instant, const Calendar& calendar) const override {
        return "time@" + calendar.zoneName();
    }
    std::string hour(Instant, const Calendar&) const override { return "hour"; }
    std::string clockTime(Instant, const Calendar&) const override { return "clockTime"; }
    std::string day(Instant, const Calendar&) const override { return "day"; }
    std::string longDay(Instant, const Calendar&) const override { return "longDay"; }
};

// Puts the English formatter back even when an expectation fails, so later tests see the default.
struct FormatterRestorer {
    ~FormatterRestorer() { Fmt::setDateFormatter(Fmt::englishDateFormatter()); }
};

TEST(FmtTest, AnInstalledFormatterIsUsedUntilTheEnglishOneIsRestored) {
    const auto date = at("2025-03-04T07:12:00+01:00");
    const auto calendar = test::berlin();
    {
        FormatterRestorer restorer;
        const auto installed = std::make_shared<LabelFormatter>();
        Fmt::setDateFormatter(installed);
        EXPECT_EQ(&Fmt::dateFormatter(), installed.get());
        EXPECT_EQ(Fmt::time(date, calendar), "time@Europe/Berlin");
        EXPECT_EQ(Fmt::hour(date, calendar), "hour");
        EXPECT_EQ(Fmt::clockTime(date, calendar), "clockTime");
        EXPECT_EQ(Fmt::day(date, calendar), "day");
        EXPECT_EQ(Fmt::longDay(date, calendar), "longDay");
        EXPECT_EQ(Fmt::dayTime(date, calendar), "day, time@Europe/Berlin");
    }
    EXPECT_EQ(Fmt::dayTime(date, calendar), "Tue 4 Mar, 07:12");
}

} // namespace
} // namespace vitrek
