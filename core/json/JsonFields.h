#pragma once

// Strict field access for the core's decoders. The accessors throw DecodeError, which each fromJson
// catches at its boundary; nothing escapes the core.

#include "json/Json.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

namespace vitrek::json {

struct DecodeError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline const Json& member(const Json& object, const char* key) {
    if (!object.is_object()) {
        throw DecodeError("not an object");
    }
    const auto found = object.find(key);
    if (found == object.end()) {
        throw DecodeError(std::string("missing ") + key);
    }
    return *found;
}

// Absent when the key is missing or null.
inline const Json* optionalMember(const Json& object, const char* key) {
    if (!object.is_object()) {
        throw DecodeError("not an object");
    }
    const auto found = object.find(key);
    if (found == object.end() || found->is_null()) {
        return nullptr;
    }
    return &*found;
}

inline double asDouble(const Json& value) {
    if (!value.is_number()) {
        throw DecodeError("not a number");
    }
    return value.get<double>();
}

// Accepts JSON integers and numbers with an integral value (72.0) inside the target's range.
template <class Integer>
Integer asInteger(const Json& value) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(std::numeric_limits<Integer>::max())) {
            throw DecodeError("integer out of range");
        }
        return static_cast<Integer>(number);
    }
    if (value.is_number_integer()) {
        const auto number = value.get<std::int64_t>();
        if (number < static_cast<std::int64_t>(std::numeric_limits<Integer>::min()) ||
            number > static_cast<std::int64_t>(std::numeric_limits<Integer>::max())) {
            throw DecodeError("integer out of range");
        }
        return static_cast<Integer>(number);
    }
    if (value.is_number_float()) {
        const double number = value.get<double>();
        // The bounds are exact powers of two for 32- and 64-bit integers, so the comparison is exact.
        const double lower = static_cast<double>(std::numeric_limits<Integer>::min());
        const double upper = -lower;
        if (std::trunc(number) != number || number < lower || number >= upper) {
            throw DecodeError("not an integer");
        }
        return static_cast<Integer>(number);
    }
    throw DecodeError("not an integer");
}

inline bool asBool(const Json& value) {
    if (!value.is_boolean()) {
        throw DecodeError("not a boolean");
    }
    return value.get<bool>();
}

inline std::string asString(const Json& value) {
    if (!value.is_string()) {
        throw DecodeError("not a string");
    }
    return value.get<std::string>();
}

// The value of an optional that the format requires, such as a known raw value of an enumeration.
template <class T>
T required(std::optional<T> value, const char* what) {
    if (!value) {
        throw DecodeError(what);
    }
    return *value;
}

template <class Decode>
auto optionalValue(const Json& object, const char* key, Decode decode)
    -> std::optional<decltype(decode(object))> {
    if (const auto* value = optionalMember(object, key)) {
        return decode(*value);
    }
    return std::nullopt;
}

// Runs a throwing decoder and turns every failure into absent.
template <class Decode>
auto guarded(Decode decode) noexcept -> std::optional<decltype(decode())> {
    try {
        return decode();
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

// Parses text without exceptions; a discarded value when it is not JSON.
inline Json parse(std::string_view text) {
    return Json::parse(text.begin(), text.end(), nullptr, false);
}

} // namespace vitrek::json
