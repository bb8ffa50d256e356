#include "history/Milestone.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

using namespace vitrek;

namespace {

constexpr std::optional<int> kNone = std::nullopt;

} // namespace

TEST(MilestoneTest, ReachedOnTheDayAndTheDayAfter) {
    struct Case {
        int streak;
        std::optional<int> expected;
    };
    // clang-format off
    const std::vector<Case> cases{
        {-1, kNone}, {0, kNone},   {2, kNone},    {3, 3},       {4, 3},       {5, kNone},   {6, kNone},
        {7, 7},      {8, 7},       {9, kNone},    {14, 14},     {15, 14},     {16, kNone},  {30, 30},
        {31, 30},    {59, kNone},  {60, 60},      {61, 60},     {99, kNone},  {100, 100},   {101, 100},
        {180, 180},  {181, 180},   {182, kNone},  {364, kNone}, {365, 365},   {366, 365},   {367, kNone},
        {730, kNone},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.streak);
        EXPECT_EQ(Milestone::reached(c.streak), c.expected);
    }
}

TEST(MilestoneTest, NextIsTheFirstMilestoneAboveTheStreak) {
    struct Case {
        int streak;
        std::optional<int> expected;
    };
    // clang-format off
    const std::vector<Case> cases{
        {-5, 3},  {0, 3},    {2, 3},     {3, 7},     {8, 14},      {29, 30},
        {30, 60}, {99, 100}, {100, 180}, {364, 365}, {365, kNone}, {1000, kNone},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.streak);
        EXPECT_EQ(Milestone::next(c.streak), c.expected);
    }
}

TEST(MilestoneTest, TitleNamesWeeksMonthsAndYearsElseTheDayCount) {
    struct Case {
        int days;
        const char* expected;
    };
    const std::vector<Case> cases{
        {3, "3 days of check-ups"},     {7, "1 week of check-ups"},    {14, "2 weeks of check-ups"},
        {30, "1 month of check-ups"},   {60, "2 months of check-ups"}, {100, "100 days of check-ups"},
        {180, "6 months of check-ups"}, {365, "1 year of check-ups"},  {45, "45 days of check-ups"},
        {21, "21 days of check-ups"},   {730, "730 days of check-ups"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.days);
        EXPECT_EQ(Milestone::title(c.days), c.expected);
    }
}
