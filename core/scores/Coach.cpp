#include "scores/Coach.h"

#include "scores/Rounding.h"
#include "scores/VFmt.h"

#include <algorithm>
#include <cctype>

namespace vitrek::Coach {

namespace {

// Far below any real difference of costs (weights are whole numbers, scores a few decimals), far above
// the rounding of one multiplication.
constexpr double kSameCost = 1e-9;

std::string lowercased(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

std::string tipFor(const Factor& factor, const Reading& reading, std::optional<int> wakes) {
    switch (factor.kind) {
    case Factor::Kind::battery:
        return "Battery health is " + factor.value +
               ". Set a charge limit of about 80% in your power settings to slow the wear.";
    case Factor::Kind::storage: {
        const auto freePercent =
            reading.totalBytes < 1 ? 100
                                   : roundHalfAway(static_cast<double>(reading.freeBytes) /
                                                   static_cast<double>(reading.totalBytes) * 100);
        return "Only " + std::to_string(freePercent) +
               "% of your disk is free, which slows updates and builds. Caches and old downloads are the "
               "easy wins.";
    }
    case Factor::Kind::memory:
        return "Memory is tight. Quit apps you're not using, especially browsers with many tabs.";
    case Factor::Kind::heat:
        return "Your computer is running " + lowercased(title(reading.heat.value_or(Heat::cool))) +
               ". Give it some air, or check which app is keeping it busy.";
    case Factor::Kind::uptime:
        return "Restart tonight. It's been " + VFmt::uptime(reading.uptime()) +
               ", and a fresh start clears memory and pending updates.";
    case Factor::Kind::rest:
        if (!wakes || *wakes < 1) {
            return "Your computer didn't rest well last night. Close the lid or let it sleep when you're done.";
        }
        return "Your computer woke " + std::to_string(*wakes) + (*wakes == 1 ? " time" : " times") +
               " last night. Turn off wake-up by USB devices and Wake-on-LAN if you don't need them.";
    }
    return {};
}

} // namespace

std::string tip(const std::vector<Factor>& factors, int /*recovery*/, const Reading& reading,
                std::optional<int> wakes) {
    const Factor* costliest = nullptr;
    double highestCost = 0;
    for (const auto& factor : factors) {
        if (factor.score >= kGoodFraction) {
            continue;
        }
        const double cost = (1 - factor.score) * factor.weight;
        // Costs equal in exact arithmetic keep the earlier factor; doubles differ in their last bits
        // ((1 − 0.8) × 20 is 3.999999999999999, (1 − 0.6) × 10 is 4).
        if (costliest == nullptr || cost > highestCost + kSameCost * std::max(1.0, highestCost)) {
            costliest = &factor;
            highestCost = cost;
        }
    }
    if (costliest == nullptr) {
        return "Everything looks good. Your computer is ready for a heavy day.";
    }
    return tipFor(*costliest, reading, wakes);
}

} // namespace vitrek::Coach
