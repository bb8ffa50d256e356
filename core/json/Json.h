#pragma once

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace vitrek {

// The core's JSON value: objects keep their members in insertion order, so the stored forms list their
// keys in the documented order.
using Json = nlohmann::ordered_json;

// Decoding of the core's JSON forms. Specialised beside each type that has one; returns absent when a
// required key is missing or a value has the wrong type, and never throws.
template <class T>
std::optional<T> fromJson(const Json& json);

// Parses `text` and decodes it; absent when the text is not JSON or does not decode.
template <class T>
std::optional<T> fromJsonText(std::string_view text);

// Compact text (no spaces, no line breaks) of a JSON value.
std::string compactText(const Json& json);

} // namespace vitrek
