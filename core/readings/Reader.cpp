#include "readings/Reader.h"

#include "scores/Rounding.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vitrek {

Reading Reader::read(Instant now) const {
    const Storage volume = storage();
    const Memory memoryState = memory();
    auto model = modelName();
    auto ownBattery = battery();
    const auto thermal = heat();
    const auto booted = bootTime();
    const Instant bootedAt = booted ? *booted : now - Seconds{uptime()};
    return Reading{now,
                   std::move(model),
                   ownBattery,
                   volume.freeBytes,
                   volume.totalBytes,
                   memoryState.pressure,
                   memoryState.swapBytes,
                   thermal,
                   bootedAt};
}

int Reader::batteryPercent(std::int64_t current, std::int64_t maximum) {
    constexpr auto kLowest = static_cast<std::int64_t>(std::numeric_limits<int>::min());
    constexpr auto kHighest = static_cast<std::int64_t>(std::numeric_limits<int>::max());
    const std::int64_t percent =
        maximum > 0 ? roundHalfAway(static_cast<double>(current) / static_cast<double>(maximum) * 100)
                    : current;
    return static_cast<int>(std::clamp(percent, kLowest, kHighest));
}

std::optional<double> Reader::batteryHealth(std::optional<std::int64_t> full,
                                            std::optional<std::int64_t> design) {
    if (!full || !design || *design < 1) {
        return std::nullopt;
    }
    return std::min(static_cast<double>(*full) / static_cast<double>(*design), 1.0);
}

} // namespace vitrek
