#pragma once

#include "json/Json.h"
#include "readings/Heat.h"
#include "time/Instant.h"

#include <optional>

namespace vitrek {

// The processor load over the last interval and the thermal level, recorded once a minute.
struct Sample {
    Instant date;
    double load = 0; // 0…1 of all processors
    Heat heat = Heat::cool;
    bool operator==(const Sample&) const = default;
};

// {"date": seconds since 2001-01-01 UTC, "load": 0…1, "heat": 0…3}; all three keys are required, and a
// load outside 0…1 (not one the program can measure) fails the decoding.
Json toJson(const Sample& sample);
// The load when it lies in 0…1, else absent.
std::optional<double> loadIfPossible(double load);
template <>
std::optional<Sample> fromJson<Sample>(const Json& json);

} // namespace vitrek
