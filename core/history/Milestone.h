#pragma once

#include <array>
#include <optional>
#include <string>

namespace vitrek {

// Streak lengths worth celebrating.
namespace Milestone {

inline constexpr std::array<int, 8> days{3, 7, 14, 30, 60, 100, 180, 365};

// The milestone a streak has just reached (on the day it equals it or the day after); absent otherwise.
std::optional<int> reached(int streak);
// The next milestone above the streak; absent from 365 on.
std::optional<int> next(int streak);
// "1 week of check-ups", "45 days of check-ups", …
std::string title(int days);

} // namespace Milestone
} // namespace vitrek
