#include "scores/VFmt.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <type_traits>

namespace vitrek {
namespace {

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
