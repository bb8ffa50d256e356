#include "scores/Fmt.h"

#include "scores/VFmt.h"
#include "support/TestSupport.h"
#include "time/Calendar.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <type_traits>

namespace vitrek {
namespace {

// The forms that show the clock or the long day; dayTime covers day.
std::string forms(Instant date, const Calendar& zone) {
    return Fmt::time(date, zone) + "|" + Fmt::hour(date, zone) + "|" + Fmt::clockTime(date, zone) + "|" +
           Fmt::longDay(date, zone) + "|" + Fmt::dayTime(date, zone);
}

struct LabelFormatter : DateFormatter {
    std::string time(Instant, const Calendar& zone) const override { return "time@" + zone.zoneName(); }
    std::string hour(Instant, const Calendar&) const override { return "hour"; }
    std::string clockTime(Instant, const Calendar&) const override { return "clockTime"; }
    std::string day(Instant, const Calendar&) const override { return "day"; }
    std::string longDay(Instant, const Calendar&) const override { return "longDay"; }
    std::string weekdayDay(Instant, const Calendar&) const override { return "weekdayDay"; }
    std::string date(Instant, const Calendar&) const override { return "date"; }
    std::string dayMonth(Instant, const Calendar&) const override { return "dayMonth"; }
    std::string weekday(Instant, const Calendar&) const override { return "weekday"; }
};

TEST(FmtTest, NumbersRoundHalfAwayIntoTheirShortForms) {
    const std::pair<std::string, const char*> cases[] = {
        {Fmt::duration(-5), "0 s"},   {Fmt::duration(2.5), "3 s"},      {Fmt::duration(59.4, true), "59 s"},
        {Fmt::duration(59.5), "1 m"}, {Fmt::duration(150), "3 m"},      {Fmt::duration(3569, true), "59 m"},
        {Fmt::duration(3570), "1 h"}, {Fmt::duration(3900), "1 h 5 m"}, {Fmt::percent(82), "82\u202F%"},
        {Fmt::clock(-60), "0:00"},    {Fmt::clock(30), "0:01"},         {Fmt::clock(3599), "1:00"}};
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(text, expected);
    }
    EXPECT_EQ(Fmt::drop(0) + " " + Fmt::drop(-3) + " " + Fmt::drop(1) + " " + Fmt::drop(12),
              "0\u202F% 0\u202F% \u22121\u202F% \u221212\u202F%");
}

TEST(FmtTest, DateFormsFollowTheZoneThroughWhicheverFormatterIsInstalled) {
    {
        const Fmt::ScopedDateFormatter labels(std::make_shared<LabelFormatter>());
        EXPECT_EQ(forms(test::at("2025-03-04T06:12:00Z"), test::berlin()),
                  "time@Europe/Berlin|hour|clockTime|longDay|day, time@Europe/Berlin");
    }
    // Gone with its scope: the English forms are back.
    const char* cases[][3] = {
        {"2025-03-04T06:12:00Z", "Europe/Berlin", "07:12|07|07:12|Tuesday 4 March|Tue 4 Mar, 07:12"},
        {"2025-03-04T02:05:00Z", "America/New_York", "21:05|21|21:05|Monday 3 March|Mon 3 Mar, 21:05"},
        {"2025-07-20T23:30:00Z", "Europe/Berlin", "01:30|01|01:30|Monday 21 July|Mon 21 Jul, 01:30"},
        {"2025-07-20T23:30:00Z", "America/New_York", "19:30|19|19:30|Sunday 20 July|Sun 20 Jul, 19:30"},
        {"2025-12-31T23:00:00Z", "Europe/Berlin", "00:00|00|00:00|Thursday 1 January|Thu 1 Jan, 00:00"}};
    for (const auto& c : cases) {
        EXPECT_EQ(forms(test::at(c[0]), test::zone(c[1])), c[2]) << c[0] << " in " << c[1];
    }
}

// The texts of each input in turn, joined by "|".
template <class Input>
std::string texts(std::string (*format)(Input), std::type_identity_t<std::initializer_list<Input>> inputs) {
    std::string joined;
    for (const Input input : inputs) {
        joined += (joined.empty() ? "" : "|") + format(input);
    }
    return joined;
}

TEST(VFmtTest, AgesAreWholeMonthsBelowAYearAndRightOnWithinAMonth) {
    EXPECT_EQ(texts(VFmt::age, {0, 1.0 / 12, 0.125, 0.375, 0.99, 1.0, 12.96}),
              "1 month|1 month|2 months|5 months|12 months|1.0 years|13.0 years");
    EXPECT_EQ(
        texts(VFmt::ageDifference, {0.08, -0.08, 1.0 / 12, -1.0 / 12, -0.5, 1.3, -2}),
        "Right on its age|Right on its age|1 month older|1 month younger|6 months younger|1.3 years older|"
        "2.0 years younger");
}

TEST(VFmtTest, HoursAndUptimesTruncateToWholeUnits) {
    EXPECT_EQ(texts(VFmt::hours, {59.9, 3599, 3600, 7500, 10799, 90000}),
              "0 min|59 min|1 h 0 min|2 h 5 min|2 h 59 min|25 h 0 min");
    EXPECT_EQ(texts(VFmt::uptime, {3599, 3600, 7199, 7200, 86399, 86400, 172799, 172800}),
              "Just now|1 hour|1 hour|2 hours|23 hours|1 day|1 day|2 days");
}

TEST(VFmtTest, BytesRoundHalfAwayInDecimalUnitsWithOneDecimalBelowAHundredGigabytes) {
    EXPECT_EQ(
        texts(VFmt::bytes, {0, 499'999, 500'000, 999'999'999, 1'000'000'000, 99'949'999'999, 99'960'000'000}),
        "0 MB|0 MB|1 MB|1000 MB|1.0 GB|99.9 GB|100.0 GB");
    EXPECT_EQ(texts(VFmt::bytes, {100'000'000'000, 100'500'000'000, 512'110'190'592}),
              "100 GB|101 GB|512 GB");
}

} // namespace
} // namespace vitrek
