#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace vitrek {

// The system's thermal level; ordered, stored as its raw value.
enum class Heat { cool = 0, warm = 1, hot = 2, critical = 3 };

inline constexpr std::array<Heat, 4> kAllHeats{Heat::cool, Heat::warm, Heat::hot, Heat::critical};

constexpr int rawValue(Heat heat) { return static_cast<int>(heat); }
// Absent for raw values outside 0…3.
std::optional<Heat> heatFromRawValue(int rawValue);
// The process thermal state nominal/fair/serious/critical (0…3); anything else is cool.
Heat heatFromThermalState(int thermalState);
// "Cool", "Warm", "Hot", "Very hot".
std::string_view title(Heat heat);

} // namespace vitrek
