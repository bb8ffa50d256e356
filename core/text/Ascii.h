#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vitrek::Ascii {

// Only the ASCII digits: std::isdigit depends on the C locale.
constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }

// Exactly `count` ASCII digits at `at` as a number; absent when the text is shorter or another byte is
// there. `count` is at most 9, so the number fits.
constexpr std::optional<int> digits(std::string_view text, std::size_t at, std::size_t count) {
    if (at > text.size() || count > text.size() - at) {
        return std::nullopt;
    }
    int value = 0;
    for (std::size_t i = at; i < at + count; ++i) {
        if (!isDigit(text[i])) {
            return std::nullopt;
        }
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

// The log's vocabulary is ASCII, so folding only ASCII letters finds exactly what a full Unicode
// lower-casing would, and never disturbs the bytes of other characters.
inline std::string lowercased(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return lower;
}

inline constexpr std::string_view kWhiteSpace = " \t\n\v\f\r";

// Without ASCII white space at either end.
inline std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

} // namespace vitrek::Ascii
