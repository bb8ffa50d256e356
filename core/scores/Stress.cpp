#include "scores/Stress.h"

#include "history/History.h"
#include "time/Calendar.h"

#include <cmath>
#include <map>

namespace vitrek::Stress {

std::string_view rawValue(Level level) {
    switch (level) {
    case Level::low: return "Low";
    case Level::medium: return "Medium";
    case Level::high: return "High";
    }
    return "Low";
}

std::vector<Point> curve(std::span<const Sample> samples, double bucket) {
    if (!(bucket > 0)) {
        return {};
    }
    struct Sum {
        double load = 0;
        int count = 0;
    };
    std::map<double, Sum> buckets; // keyed by the bucket's index since the reference epoch
    for (const auto& sample : samples) {
        const double key = std::floor(referenceSeconds(sample.date) / bucket);
        auto& sum = buckets[key];
        sum.load += sample.load;
        ++sum.count;
    }
    std::vector<Point> points;
    points.reserve(buckets.size());
    for (const auto& [key, sum] : buckets) {
        points.push_back({fromReferenceSeconds(bucket * key + bucket * 0.5), sum.load / sum.count});
    }
    return points;
}

std::optional<double> now(std::span<const Sample> samples, Instant at) {
    double total = 0;
    int count = 0;
    for (const auto& sample : samples) {
        const double age = secondsBetween(sample.date, at);
        if (age >= 0 && age <= 600) {
            total += sample.load;
            ++count;
        }
    }
    if (count == 0) {
        return std::nullopt;
    }
    return total / count;
}

Level level(double load) {
    if (load >= high) {
        return Level::high;
    }
    if (load >= 0.25) {
        return Level::medium;
    }
    return Level::low;
}

std::optional<Typical> typical(const History& history, Instant date, const Calendar& calendar) {
    const std::string today = History::dayID(date, calendar);
    const auto weekday = calendar.local(date);

    double othersTotal = 0;
    int others = 0;
    double sameTotal = 0;
    int same = 0;
    for (const auto& day : history.days) {
        if (day.id == today || !day.stress) {
            continue;
        }
        othersTotal += *day.stress;
        ++others;
        const auto start = History::date(day.id, calendar);
        const auto local = start ? calendar.local(*start) : std::nullopt;
        if (weekday && local && local->weekday == weekday->weekday) {
            sameTotal += *day.stress;
            ++same;
        }
    }
    if (same >= 2) {
        return Typical{sameTotal / same, true};
    }
    if (others < 3) {
        return std::nullopt;
    }
    return Typical{othersTotal / others, false};
}

} // namespace vitrek::Stress
