#pragma once

#include <optional>
#include <string_view>

namespace vitrek {

// Memory pressure as the system reports it (there is no level 3); ordered by raw value.
enum class Pressure { normal = 1, warning = 2, critical = 4 };

constexpr int rawValue(Pressure pressure) { return static_cast<int>(pressure); }
// Absent for anything but 1, 2 and 4.
std::optional<Pressure> pressureFromRawValue(int rawValue);
// "Normal", "Tight", "Critical".
std::string_view title(Pressure pressure);

} // namespace vitrek
