#pragma once

#include "readings/Reading.h"
#include "scores/Vital.h"

#include <cstdint>
#include <vector>

namespace vitrek {

namespace HealthMonitor {

// Swap use below which the swap vital is in range (decimal bytes).
inline constexpr std::int64_t swapLimit = 8'000'000'000;

// Memory, swap, heat and storage, then battery when its health is known. Heat without a readable sensor
// shows "–" and is neither within nor outside its range.
std::vector<Vital> vitals(const Reading& reading);

} // namespace HealthMonitor
} // namespace vitrek
