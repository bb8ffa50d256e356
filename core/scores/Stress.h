#pragma once

#include "scores/Sample.h"
#include "time/Instant.h"

#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace vitrek {

class Calendar;
struct History;

// Today's processor load as the stress monitor shows it.
namespace Stress {

// The load at and above which a sample counts as high stress.
inline constexpr double high = 0.5;

enum class Level { low, medium, high };
// "Low", "Medium", "High".
std::string_view rawValue(Level level);

struct Point {
    Instant date; // the middle of the bucket
    double load = 0;
    bool operator==(const Point&) const = default;
};

struct Typical {
    double seconds = 0; // mean daily seconds of high stress
    bool sameWeekday = false;
    bool operator==(const Typical&) const = default;
};

// Mean loads of buckets of `bucket` seconds counted from 2001-01-01 UTC, ascending; empty buckets give no point.
std::vector<Point> curve(std::span<const Sample> samples, double bucket);
// The mean load of the samples of the last 600 s up to `at`; absent when there are none.
std::optional<double> now(std::span<const Sample> samples, Instant at);
// high from 0.5, medium from 0.25, else low.
Level level(double load);
// The usual daily high-stress time of past days: of the same weekday when two or more have it, else of
// all past days when three or more have it, else absent.
std::optional<Typical> typical(const History& history, Instant date, const Calendar& calendar);

} // namespace Stress
} // namespace vitrek
