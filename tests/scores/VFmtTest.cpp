#include "scores/VFmt.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vitrek {
namespace {

struct NumberCase {
    double input;
    const char* text;
};

TEST(VFmtTest, AgeIsMonthsBelowOneYearAndYearsWithOneDecimalFromThere) {
    const std::vector<NumberCase> cases = {
        {0, "1 month"}, // a brand-new machine still shows a month
        {0.02, "1 month"},   {1.0 / 12.0, "1 month"}, {0.125, "2 months"}, // 1.5 months round up
        {0.375, "5 months"},                                               // 4.5 months round up
        {0.5, "6 months"},   {0.99, "12 months"},     {1.0, "1.0 years"},
        {1.04, "1.0 years"}, {3.4, "3.4 years"},      {12.96, "13.0 years"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(VFmt::age(c.input), c.text) << c.input;
    }
}

TEST(VFmtTest, AgeDifferenceIsRightOnWithinAMonthElseYoungerOrOlder) {
    const std::vector<NumberCase> cases = {
        {0, "Right on its age"},       {0.08, "Right on its age"},       {-0.08, "Right on its age"},
        {1.0 / 12.0, "1 month older"}, {-1.0 / 12.0, "1 month younger"}, {-0.34, "4 months younger"},
        {-0.5, "6 months younger"},    {1.3, "1.3 years older"},         {-2.0, "2.0 years younger"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(VFmt::ageDifference(c.input), c.text) << c.input;
    }
}

TEST(VFmtTest, HoursTruncatesToWholeMinutes) {
    const std::vector<NumberCase> cases = {
        {0, "0 min"},          {59.9, "0 min"},      {2700, "45 min"},
        {3599, "59 min"},      {3600, "1 h 0 min"},  {7500, "2 h 5 min"},
        {10799, "2 h 59 min"}, {10800, "3 h 0 min"}, {90000, "25 h 0 min"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(VFmt::hours(c.input), c.text) << c.input;
    }
}

TEST(VFmtTest, BytesUseDecimalGigabytesAndMegabytes) {
    struct Case {
        std::int64_t bytes;
        const char* text;
    };
    const std::vector<Case> cases = {
        {0, "0 MB"},
        {499'999, "0 MB"},
        {500'000, "1 MB"},
        {640'000'000, "640 MB"},
        {999'999'999, "1000 MB"}, // still below one gigabyte
        {1'000'000'000, "1.0 GB"},
        {23'400'000'000, "23.4 GB"},
        {99'949'999'999, "99.9 GB"},
        {99'960'000'000, "100.0 GB"}, // one decimal below 100 before rounding
        {100'000'000'000, "100 GB"},
        {100'500'000'000, "101 GB"},
        {512'110'190'592, "512 GB"},
        {2'000'000'000'000, "2000 GB"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(VFmt::bytes(c.bytes), c.text) << c.bytes;
    }
}

TEST(VFmtTest, UptimeIsWholeDaysThenWholeHoursThenJustNow) {
    const std::vector<NumberCase> cases = {
        {0, "Just now"},     {3599, "Just now"}, {3600, "1 hour"},  {7199, "1 hour"},   {7200, "2 hours"},
        {86399, "23 hours"}, {86400, "1 day"},   {172799, "1 day"}, {172800, "2 days"}, {777605, "9 days"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(VFmt::uptime(c.input), c.text) << c.input;
    }
}

} // namespace
} // namespace vitrek
