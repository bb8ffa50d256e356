#include "scores/VFmt.h"

#include "scores/Rounding.h"

#include <algorithm>
#include <cmath>

namespace vitrek::VFmt {

std::string age(double years) {
    if (years >= 1.0) {
        return printfText("%.1f years", years);
    }
    const auto months = roundHalfAway(years * 12);
    return std::to_string(std::max<std::int64_t>(months, 1)) + (months >= 2 ? " months" : " month");
}

std::string ageDifference(double years) {
    if (std::fabs(years) < 1.0 / 12.0) {
        return "Right on its age";
    }
    return age(std::fabs(years)) + (years < 0 ? " younger" : " older");
}

std::string hours(double seconds) {
    const auto minutes = truncated(seconds / 60);
    if (minutes < 60) {
        return std::to_string(minutes) + " min";
    }
    return std::to_string(minutes / 60) + " h " + std::to_string(minutes % 60) + " min";
}

std::string bytes(std::int64_t bytes) {
    const double gigabytes = static_cast<double>(bytes) / 1'000'000'000.0;
    if (gigabytes >= 100) {
        return std::to_string(roundHalfAway(gigabytes)) + " GB";
    }
    if (gigabytes >= 1) {
        return printfText("%.1f GB", gigabytes);
    }
    return std::to_string(roundHalfAway(static_cast<double>(bytes) / 1'000'000.0)) + " MB";
}

std::string uptime(double seconds) {
    const auto days = truncated(seconds / 86'400);
    if (days >= 1) {
        return std::to_string(days) + (days == 1 ? " day" : " days");
    }
    const auto hours = truncated(seconds / 3'600);
    if (hours < 1) {
        return "Just now";
    }
    return std::to_string(hours) + (hours == 1 ? " hour" : " hours");
}

} // namespace vitrek::VFmt
