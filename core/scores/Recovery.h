#pragma once

#include "readings/Reading.h"
#include "scores/Factor.h"

#include <optional>
#include <string_view>
#include <vector>

namespace vitrek {

// How ready the machine is today, 0–100 %.
namespace Recovery {

// The factors battery, storage, memory, heat, uptime and rest in that order; battery is left out without
// a known battery health, heat without a readable sensor, rest without last night's rest score.
std::vector<Factor> factors(const Reading& reading, std::optional<int> rest);
// The weighted mean of the factors' scores as a percentage; 0 for no factors.
int score(const std::vector<Factor>& factors);
// good from 67, fair from 34, else poor.
Grade band(int recovery);
// The headline for a recovery percentage.
std::string_view word(int recovery);

} // namespace Recovery
} // namespace vitrek
