#include "history/Milestone.h"

#include <algorithm>

namespace vitrek::Milestone {

std::optional<int> reached(int streak) {
    // A milestone counts on the day the streak reaches it and on the day after, so a day missed by the
    // banner is not lost.
    for (auto milestone = days.rbegin(); milestone != days.rend(); ++milestone) {
        if (streak >= *milestone && streak - *milestone < 2) {
            return *milestone;
        }
    }
    return std::nullopt;
}

std::optional<int> next(int streak) {
    const auto found = std::upper_bound(days.begin(), days.end(), streak);
    if (found == days.end()) {
        return std::nullopt;
    }
    return *found;
}

std::string title(int days) {
    switch (days) {
    case 7: return "1 week of check-ups";
    case 14: return "2 weeks of check-ups";
    case 30: return "1 month of check-ups";
    case 60: return "2 months of check-ups";
    case 100: return "100 days of check-ups";
    case 180: return "6 months of check-ups";
    case 365: return "1 year of check-ups";
    default: return std::to_string(days) + " days of check-ups";
    }
}

} // namespace vitrek::Milestone
