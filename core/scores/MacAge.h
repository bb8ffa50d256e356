#pragma once

#include "time/Instant.h"

#include <string>
#include <string_view>
#include <vector>

namespace vitrek {

// One adjustment of the age estimate.
struct AgeFactor {
    std::string title; // also its identity
    std::string detail;
    double years = 0; // positive adds age
    const std::string& id() const { return title; }
    bool operator==(const AgeFactor&) const = default;
};

// The machine's real age plus or minus years for how it has been treated.
struct MacAge {
    enum class Source { bought, setUp, modelYear };

    double realYears = 0; // never negative
    Source source = Source::bought;
    Instant since;
    std::vector<AgeFactor> factors; // largest |years| first

    // The estimated age, never below 0.1 years.
    double vitrekYears() const;
    // vitrekYears − realYears; positive means older than its real age.
    double difference() const;
    // How many times faster than the calendar it ages; 1 while younger than 0.05 years.
    double pace() const;

    bool operator==(const MacAge&) const = default;
};

std::string_view rawValue(MacAge::Source source);

} // namespace vitrek
