#pragma once

#include <string>
#include <string_view>

namespace vitrek::Ascii {

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
