#pragma once

#include "scores/Sample.h"

#include <optional>
#include <span>
#include <string_view>

namespace vitrek {

// How hard the machine worked today, 0–21.
namespace Strain {

// The longest interval, in seconds, one sample may stand for.
inline constexpr double maxGap = 300;

// The day's busy hours, heat included: each interval between consecutive samples (at most 300 s) weighted
// by the load and heat of the sample that closes it.
double loadHours(std::span<const Sample> samples);
// 21 × (1 − e^(−loadHours ÷ 2.5)) to one decimal; absent with fewer than 2 samples.
std::optional<double> score(std::span<const Sample> samples);
// Seconds of high stress: intervals (at most 300 s) closed by a sample whose load is at least 0.5.
double heavyTime(std::span<const Sample> samples);
// "All-out", "Strenuous", "Moderate" or "Light".
std::string_view word(double strain);

} // namespace Strain
} // namespace vitrek
