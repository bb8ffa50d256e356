#include "scores/HealthMonitor.h"

#include "scores/Rounding.h"
#include "scores/VFmt.h"

namespace vitrek::HealthMonitor {

std::vector<Vital> vitals(const Reading& reading) {
    std::vector<Vital> result;
    result.reserve(5);

    result.push_back({Vital::Kind::memory, "Memory", "memorychip", std::string(title(reading.pressure)),
                      "Normal pressure", reading.pressure == Pressure::normal});
    result.push_back({Vital::Kind::swap, "Swap", "arrow.left.arrow.right", VFmt::bytes(reading.swapBytes),
                      "Under 8 GB", reading.swapBytes < swapLimit});
    if (reading.heat) {
        result.push_back({Vital::Kind::heat, "Temp", "thermometer.medium", std::string(title(*reading.heat)),
                          "Cool or warm", *reading.heat == Heat::cool || *reading.heat == Heat::warm});
    } else {
        result.push_back({Vital::Kind::heat, "Temp", "thermometer.medium", "–", "Cool or warm", std::nullopt});
    }

    // The badge uses the exact ratio, so 9.96 % free shows "10% free" and is still out of range.
    const bool unknownVolume = reading.totalBytes < 1;
    const double ratio = unknownVolume ? 1.0
                                       : static_cast<double>(reading.freeBytes) /
                                             static_cast<double>(reading.totalBytes);
    const auto freePercent = unknownVolume ? 100 : roundHalfAway(ratio * 100);
    result.push_back({Vital::Kind::storage, "Storage", "internaldrive", std::to_string(freePercent) + "% free",
                      "10% or more free", unknownVolume || ratio >= 0.1});

    if (reading.battery && reading.battery->health) {
        const double health = *reading.battery->health;
        result.push_back({Vital::Kind::battery, "Battery", "battery.75percent",
                          std::to_string(roundHalfAway(health * 100)) + "%", "80% or more", health >= 0.8});
    }
    return result;
}

} // namespace vitrek::HealthMonitor

namespace vitrek {

std::string_view rawValue(Vital::Kind kind) {
    switch (kind) {
    case Vital::Kind::memory: return "memory";
    case Vital::Kind::swap: return "swap";
    case Vital::Kind::heat: return "heat";
    case Vital::Kind::storage: return "storage";
    case Vital::Kind::battery: return "battery";
    }
    return "memory";
}

} // namespace vitrek
