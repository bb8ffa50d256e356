#include "readings/Pressure.h"

namespace vitrek {

std::optional<Pressure> pressureFromRawValue(int rawValue) {
    switch (rawValue) {
    case 1: return Pressure::normal;
    case 2: return Pressure::warning;
    case 4: return Pressure::critical;
    default: return std::nullopt;
    }
}

std::string_view title(Pressure pressure) {
    switch (pressure) {
    case Pressure::normal: return "Normal";
    case Pressure::warning: return "Tight";
    case Pressure::critical: return "Critical";
    }
    return "Normal";
}

} // namespace vitrek
