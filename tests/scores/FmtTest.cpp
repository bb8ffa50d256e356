#include "scores/Fmt.h"

#include "support/TestSupport.h"
#include "time/Calendar.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace vitrek
