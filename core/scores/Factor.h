#pragma once

#include "scores/Grade.h"

#include <array>
#include <string>
#include <string_view>

namespace vitrek {

// One weighted part of the recovery score.
struct Factor {
    enum class Kind { battery, storage, memory, heat, uptime, rest };
    static constexpr std::array<Kind, 6> kAllKinds{Kind::battery, Kind::storage, Kind::memory,
                                                   Kind::heat,    Kind::uptime,  Kind::rest};

    Kind kind = Kind::battery;
    std::string title;
    std::string value;
    std::string detail; // empty when there is none
    double score = 0;   // 0…1, higher is better
    double weight = 0;

    std::string_view id() const;
    Grade grade() const { return gradeOf(score); }

    bool operator==(const Factor&) const = default;
};

std::string_view rawValue(Factor::Kind kind);

} // namespace vitrek
