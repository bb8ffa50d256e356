#include "scores/Strain.h"

#include "scores/Stress.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace vitrek::Strain {

namespace {

double heatExtra(Heat heat) {
    switch (heat) {
    case Heat::cool: return 0;
    case Heat::warm: return 0.25;
    case Heat::hot: return 0.6;
    case Heat::critical: return 1.0;
    }
    return 0;
}

std::vector<Sample> sortedByDate(std::span<const Sample> samples) {
    std::vector<Sample> sorted(samples.begin(), samples.end());
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Sample& a, const Sample& b) { return a.date < b.date; });
    return sorted;
}

// Calls `add(seconds, closing sample)` for each interval between consecutive samples, an interval
// standing for at most maxGap seconds so unmeasured time counts as five minutes at most.
template <class Add>
void forEachInterval(std::span<const Sample> samples, Add add) {
    const auto sorted = sortedByDate(samples);
    for (std::size_t i = 1; i < sorted.size(); ++i) {
        const double dt = secondsBetween(sorted[i - 1].date, sorted[i].date);
        if (dt > 0) {
            add(std::min(dt, maxGap), sorted[i]);
        }
    }
}

} // namespace

double loadHours(std::span<const Sample> samples) {
    double hours = 0;
    forEachInterval(samples, [&](double seconds, const Sample& closing) {
        hours += seconds * (closing.load + 0.5 * heatExtra(closing.heat)) / 3'600;
    });
    return hours;
}

std::optional<double> score(std::span<const Sample> samples) {
    if (samples.size() < 2) {
        return std::nullopt;
    }
    const double strain = 21 * (1 - std::exp(-loadHours(samples) / 2.5));
    return std::round(strain * 10) / 10;
}

double heavyTime(std::span<const Sample> samples) {
    double seconds = 0;
    forEachInterval(samples, [&](double interval, const Sample& closing) {
        if (closing.load >= Stress::high) {
            seconds += interval;
        }
    });
    return seconds;
}

std::string_view word(double strain) {
    if (strain >= 18) {
        return "All-out";
    }
    if (strain >= 14) {
        return "Strenuous";
    }
    if (strain >= 10) {
        return "Moderate";
    }
    return "Light";
}

} // namespace vitrek::Strain
