#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

// Repair of UTF-8 read from logs, which are raw tool output and may hold any bytes.
namespace vitrek::Utf8 {

inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

struct Step {
    std::size_t length; // bytes of the sequence, or of its maximal invalid prefix (at least 1)
    bool valid;
};

// One sequence at `bytes` (`size` > 0); an invalid one covers its longest prefix that could still have been
// valid, so each such prefix becomes exactly one U+FFFD.
inline Step step(const unsigned char* bytes, std::size_t size) {
    const unsigned lead = bytes[0];
    if (lead < 0x80) {
        return {1, true};
    }
    std::size_t trailing = 0;
    unsigned low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        trailing = 1;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        trailing = 2;
        low = lead == 0xE0 ? 0xA0 : low;   // overlong
        high = lead == 0xED ? 0x9F : high; // surrogates
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        trailing = 3;
        low = lead == 0xF0 ? 0x90 : low;   // overlong
        high = lead == 0xF4 ? 0x8F : high; // beyond U+10FFFF
    } else {
        return {1, false};
    }
    for (std::size_t i = 1; i <= trailing; ++i) {
        if (i >= size || bytes[i] < low || bytes[i] > high) {
            return {i, false};
        }
        low = 0x80;
        high = 0xBF;
    }
    return {trailing + 1, true};
}

// Offset of the first invalid sequence, or the size when the text is valid. ASCII runs go 8 bytes a step.
inline std::size_t firstInvalid(std::string_view text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    const std::size_t size = text.size();
    std::size_t at = 0;
    while (at < size) {
        if (size - at >= 8) {
            std::uint64_t word = 0;
            std::memcpy(&word, bytes + at, 8);
            if ((word & 0x8080'8080'8080'8080ULL) == 0) {
                at += 8;
                continue;
            }
        }
        const auto next = step(bytes + at, size - at);
        if (!next.valid) {
            return at;
        }
        at += next.length;
    }
    return size;
}

// The text with each invalid sequence replaced by U+FFFD; `invalid` is the first one's offset.
inline std::string repaired(std::string_view text, std::size_t invalid) {
    std::string result;
    // Each invalid byte grows to at most three; reserving that bound (address space, not touched memory)
    // spares a reallocation that would copy a long log again.
    result.reserve(invalid + (text.size() - invalid) * kReplacementCharacter.size());
    while (invalid < text.size()) {
        result.append(text.substr(0, invalid));
        result.append(kReplacementCharacter);
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data()) + invalid;
        text.remove_prefix(invalid + step(bytes, text.size() - invalid).length);
        invalid = firstInvalid(text);
    }
    result.append(text);
    return result;
}

// The text as valid UTF-8: a copy when it already is, else repaired.
inline std::string valid(std::string_view text) {
    const auto invalid = firstInvalid(text);
    return invalid == text.size() ? std::string{text} : repaired(text, invalid);
}

// Appends a code point (at most U+10FFFF, no surrogate) in UTF-8.
inline void append(std::string& text, char32_t point) {
    if (point < 0x80) {
        text.push_back(static_cast<char>(point));
    } else if (point < 0x800) {
        text.push_back(static_cast<char>(0xC0 | point >> 6));
        text.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else if (point < 0x10000) {
        text.push_back(static_cast<char>(0xE0 | point >> 12));
        text.push_back(static_cast<char>(0x80 | (point >> 6 & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else {
        text.push_back(static_cast<char>(0xF0 | point >> 18));
        text.push_back(static_cast<char>(0x80 | (point >> 12 & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (point >> 6 & 0x3F)));
        text.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    }
}

} // namespace vitrek::Utf8
