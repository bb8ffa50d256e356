#pragma once

#include "time/Instant.h"

#include <optional>
#include <string_view>

namespace vitrek {

// "2024-03-05T12:00:00+01:00", with optional fractional seconds and a "Z", "+hh:mm" or "+hhmm" offset;
// absent for anything else, including a time without an offset (it would mean a different instant in
// every zone).
std::optional<Instant> parseIso8601(std::string_view text);

} // namespace vitrek
