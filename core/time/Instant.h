#pragma once

#include <chrono>

namespace vitrek {

// Durations are seconds as a double; instants are points on the system clock in such seconds.
using Seconds = std::chrono::duration<double>;
using Instant = std::chrono::time_point<std::chrono::system_clock, Seconds>;

// Seconds from 1970-01-01 00:00:00 UTC to 2001-01-01 00:00:00 UTC, the epoch the stored files count from.
inline constexpr double kReferenceEpochOffset = 978'307'200.0;

constexpr Instant fromUnixSeconds(double seconds) { return Instant{Seconds{seconds}}; }
constexpr double unixSeconds(Instant instant) { return instant.time_since_epoch().count(); }

// The one conversion between instants and the stored form (seconds since 2001-01-01 UTC).
constexpr Instant fromReferenceSeconds(double seconds) { return fromUnixSeconds(seconds + kReferenceEpochOffset); }
constexpr double referenceSeconds(Instant instant) { return unixSeconds(instant) - kReferenceEpochOffset; }

// What a JSON form counts its dates from: the stored files from 2001-01-01 UTC, the terminal commands'
// output from 1970, as scripts expect Unix seconds.
enum class Epoch { reference, unixTime };

constexpr double secondsSince(Epoch epoch, Instant instant) {
    return epoch == Epoch::reference ? referenceSeconds(instant) : unixSeconds(instant);
}

// The signed number of seconds from `from` to `to`.
constexpr double secondsBetween(Instant from, Instant to) { return (to - from).count(); }

} // namespace vitrek
