#pragma once

#include "json/Json.h"

#include <optional>
#include <string>

namespace vitrek {

// The summary of one calendar day on which the program ran.
struct Day {
    std::string id; // the day key, "2025-01-05"
    int recovery = 0;
    std::optional<double> strain; // 0–21
    std::optional<int> rest;      // last night's rest score
    std::optional<double> stress; // seconds of high stress
    std::optional<double> ageGap; // years older (positive) or younger than the real age

    bool operator==(const Day&) const = default;
};

// {"id", "recovery", "strain", "rest", "stress", "ageGap"}; the optional members are written only when
// present and read as absent when missing or null. A wrongly typed value, or one outside its range
// (recovery and rest 0…100, strain 0…21, stress 0…90 000 s, age gap within ±100 years), fails the decoding.
Json toJson(const Day& day);
template <>
std::optional<Day> fromJson<Day>(const Json& json);

} // namespace vitrek
