#pragma once

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
    bool inRange = false;

    Kind id() const { return kind; }
    bool operator==(const Vital&) const = default;
};

std::string_view rawValue(Vital::Kind kind);

} // namespace vitrek
