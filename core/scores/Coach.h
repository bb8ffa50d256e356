#pragma once

#include "readings/Reading.h"
#include "scores/Factor.h"

#include <optional>
#include <string>
#include <vector>

namespace vitrek {

// The day's one piece of advice.
namespace Coach {

// Advice aimed at the factor that costs the recovery most ((1 − score) × weight, the earlier on ties);
// `recovery` does not change the choice. `wakes` is last night's wake count, absent without a night.
std::string tip(const std::vector<Factor>& factors, int recovery, const Reading& reading,
                std::optional<int> wakes);

} // namespace Coach
} // namespace vitrek
