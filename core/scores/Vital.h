#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vitrek {

// One row of the health monitor.
struct Vital {
    enum class Kind { memory, swap, heat, storage, battery };

    Kind kind = Kind::memory; // also its identity
    std::string title;
    std::string symbol; // name of the row's icon
    std::string value;
    std::string range; // the healthy range in words
    std::optional<bool> inRange; // absent when nothing was measured, which counts neither way

    bool measured() const { return inRange.has_value(); }
    bool within() const { return inRange.value_or(false); }

    Kind id() const { return kind; }
    bool operator==(const Vital&) const = default;
};

std::string_view rawValue(Vital::Kind kind);

} // namespace vitrek
