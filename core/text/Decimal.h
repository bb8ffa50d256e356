#pragma once

#include "text/Ascii.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace vitrek::Decimal {

// Digits with an optional minus and fraction ("85.000", "-0.5", "3."); no plus, exponent, hexadecimal,
// inf or nan, which from_chars alone would accept.
inline std::optional<double> parse(std::string_view text) {
    const auto unsignedPart = text.starts_with('-') ? text.substr(1) : text;
    const auto digitOrPoint = [](char c) { return Ascii::isDigit(c) || c == '.'; };
    if (std::ranges::count(unsignedPart, '.') > 1 || std::ranges::none_of(unsignedPart, Ascii::isDigit) ||
        !std::ranges::all_of(unsignedPart, digitOrPoint)) {
        return std::nullopt;
    }
    double value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    if (error != std::errc{} || end != text.data() + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

} // namespace vitrek::Decimal
