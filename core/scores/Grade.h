#pragma once

#include <string_view>

namespace vitrek {

enum class Grade { good, fair, poor };

inline constexpr double kGoodFraction = 0.85;
inline constexpr double kFairFraction = 0.55;

// good from 0.85, fair from 0.55, else poor.
Grade gradeOf(double fraction);
std::string_view rawValue(Grade grade);

} // namespace vitrek
