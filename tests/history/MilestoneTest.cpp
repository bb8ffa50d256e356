#include "history/Milestone.h"

#include <gtest/gtest.h>

#include <vector>

using namespace vitrek;

TEST(MilestoneTest, ReachedOnItsDayAndTheNextWithTitlesForWeeksMonthsAndYears) {
    const std::vector<std::pair<int, const char*>> titles{
        {3, "3 days of check-ups"},     {7, "1 week of check-ups"},    {14, "2 weeks of check-ups"},
        {30, "1 month of check-ups"},   {60, "2 months of check-ups"}, {100, "100 days of check-ups"},
        {180, "6 months of check-ups"}, {365, "1 year of check-ups"}};
    for (const auto& [days, title] : titles) {
        EXPECT_TRUE(Milestone::reached(days) == days && Milestone::reached(days + 1) == days) << days;
        EXPECT_EQ(Milestone::next(days - 1), days);
        EXPECT_EQ(Milestone::title(days), title);
    }
    for (const int streak : {-1, 0, 2, 5, 6, 9, 16, 59, 182, 364, 367, 730}) {
        EXPECT_EQ(Milestone::reached(streak), std::nullopt) << streak;
    }
    EXPECT_TRUE(Milestone::next(3) == 7 && !Milestone::next(365)) << "next lies strictly above, up to 365";
    EXPECT_EQ(Milestone::title(45), "45 days of check-ups");
}
