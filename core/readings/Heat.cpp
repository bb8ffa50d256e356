#include "readings/Heat.h"

namespace vitrek {

std::optional<Heat> heatFromRawValue(int rawValue) {
    if (rawValue < 0 || rawValue > 3) {
        return std::nullopt;
    }
    return static_cast<Heat>(rawValue);
}

Heat heatFromThermalState(int thermalState) { return heatFromRawValue(thermalState).value_or(Heat::cool); }

std::string_view title(Heat heat) {
    switch (heat) {
    case Heat::cool: return "Cool";
    case Heat::warm: return "Warm";
    case Heat::hot: return "Hot";
    case Heat::critical: return "Very hot";
    }
    return "Cool";
}

} // namespace vitrek
