#include "scores/Recovery.h"

#include "scores/Rounding.h"
#include "scores/VFmt.h"

#include <algorithm>

namespace vitrek::Recovery {

namespace {

constexpr std::int64_t kSwapPenaltyBytes = 4'000'000'000;
constexpr std::int64_t kSwapShownBytes = 1'000'000'001;

double batteryScore(double health) {
    if (health >= 0.9) {
        return 1.0;
    }
    if (health >= 0.8) {
        return 0.55 + (health - 0.8) * 4.5;
    }
    return std::max(0.15, 0.55 - (0.8 - health) * 3);
}

double storageScore(double share) {
    if (share >= 0.2) {
        return 1.0;
    }
    if (share >= 0.1) {
        return 0.6 + (share - 0.1) * 4;
    }
    if (share >= 0.05) {
        return 0.3 + (share - 0.05) * 6;
    }
    return 0.1;
}

double pressureScore(Pressure pressure) {
    switch (pressure) {
    case Pressure::normal: return 1.0;
    case Pressure::warning: return 0.5;
    case Pressure::critical: return 0.15;
    }
    return 0.15;
}

double heatScore(Heat heat) {
    switch (heat) {
    case Heat::cool: return 1.0;
    case Heat::warm: return 0.7;
    case Heat::hot: return 0.35;
    case Heat::critical: return 0.1;
    }
    return 0.1;
}

double uptimeScore(double seconds) {
    if (seconds < 0) {
        return 1.0;
    }
    const double days = seconds / 86'400;
    if (days <= 3) {
        return 1.0;
    }
    if (days <= 7) {
        return 0.85;
    }
    if (days <= 14) {
        return 0.6;
    }
    return 0.4;
}

std::string wholePercent(double fraction) { return std::to_string(roundHalfAway(fraction * 100)) + "%"; }

} // namespace

std::vector<Factor> factors(const Reading& reading, std::optional<int> rest) {
    std::vector<Factor> result;
    result.reserve(6);

    if (reading.battery && reading.battery->health) {
        const double health = *reading.battery->health;
        const auto& cycles = reading.battery->cycles;
        result.push_back({Factor::Kind::battery, "Battery health", wholePercent(health),
                          cycles ? std::to_string(*cycles) + " cycles" : std::string{}, batteryScore(health),
                          20});
    }

    const double share = reading.freeShare();
    result.push_back({Factor::Kind::storage, "Free storage", VFmt::bytes(reading.freeBytes),
                      std::to_string(roundHalfAway(share * 100)) + "% left", storageScore(share), 25});

    double memory = pressureScore(reading.pressure);
    if (reading.swapBytes > kSwapPenaltyBytes) {
        memory = std::max(memory - 0.2, 0.15);
    }
    result.push_back({Factor::Kind::memory, "Memory pressure", std::string(title(reading.pressure)),
                      reading.swapBytes >= kSwapShownBytes ? VFmt::bytes(reading.swapBytes) + " swap"
                                                           : std::string{},
                      memory, 20});

    // Without a sensor there is nothing to judge; a made-up "Cool" would be a false reading.
    if (reading.heat) {
        result.push_back({Factor::Kind::heat, "Temperature", std::string(title(*reading.heat)), {},
                          heatScore(*reading.heat), 15});
    }

    const double sinceBoot = secondsBetween(reading.bootedAt, reading.date);
    result.push_back({Factor::Kind::uptime, "Since last restart", VFmt::uptime(std::max(sinceBoot, 0.0)), {},
                      uptimeScore(sinceBoot), 10});

    if (rest) {
        result.push_back({Factor::Kind::rest, "Last night's rest", std::to_string(*rest) + "%", {},
                          static_cast<double>(*rest) / 100.0, 10});
    }
    return result;
}

int score(const std::vector<Factor>& factors) {
    double weights = 0;
    double weighted = 0;
    for (const auto& factor : factors) {
        weights += factor.weight;
        weighted += factor.score * factor.weight;
    }
    if (factors.empty() || !(weights > 0)) {
        return 0;
    }
    return static_cast<int>(roundHalfAway(weighted / weights * 100));
}

Grade band(int recovery) {
    if (recovery >= 67) {
        return Grade::good;
    }
    if (recovery >= 34) {
        return Grade::fair;
    }
    return Grade::poor;
}

std::string_view word(int recovery) {
    switch (band(recovery)) {
    case Grade::good: return "Ready for a heavy day";
    case Grade::fair: return "Take it easy today";
    case Grade::poor: return "Needs some care";
    }
    return "Needs some care";
}

} // namespace vitrek::Recovery
