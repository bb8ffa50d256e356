#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string>

namespace vitrek {

// Conversions to integers. Callers pass finite values well inside the 64-bit range; anything else is
// clamped (NaN becomes 0) instead of being undefined behaviour.
inline std::int64_t clampToInt64(double value) {
    constexpr double limit = 9.2e18; // just inside ±2^63
    if (std::isnan(value)) {
        return 0;
    }
    if (value >= limit) {
        return static_cast<std::int64_t>(limit);
    }
    if (value <= -limit) {
        return -static_cast<std::int64_t>(limit);
    }
    return static_cast<std::int64_t>(value);
}

// Rounds half away from zero: 2.5 → 3, −2.5 → −3.
inline std::int64_t roundHalfAway(double value) { return clampToInt64(std::round(value)); }

// Truncates toward zero.
inline std::int64_t truncated(double value) { return clampToInt64(std::trunc(value)); }

// The text C's printf gives for one double under `format`.
inline std::string printfText(const char* format, double value) {
    char buffer[64];
    const int length = std::snprintf(buffer, sizeof buffer, format, value);
    if (length < 0) {
        return {};
    }
    if (static_cast<std::size_t>(length) < sizeof buffer) {
        return std::string(buffer, static_cast<std::size_t>(length));
    }
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), format, value);
    text.pop_back();
    return text;
}

} // namespace vitrek
