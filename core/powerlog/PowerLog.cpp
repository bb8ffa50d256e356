#include "powerlog/PowerLog.h"

#include <algorithm>

namespace vitrek {

namespace {

constexpr std::array<std::string_view, 4> kStateRawValues{"asleep", "dark", "awake", "screenOn"};
constexpr std::array<std::string_view, 4> kStateLabels{"Asleep", "Dark wake", "Awake, screen off",
                                                       "Screen on"};
constexpr std::array<std::string_view, 6> kKindRawValues{"sleep", "enterDark",  "darkWake",
                                                         "wake",  "darkToFull", "boot"};

template <typename T> void sortByDate(std::vector<T>& items, Instant T::*date) {
    const auto earlier = [date](const T& a, const T& b) { return a.*date < b.*date; };
    if (!std::is_sorted(items.begin(), items.end(), earlier)) {
        std::stable_sort(items.begin(), items.end(), earlier);
    }
}

} // namespace

void sortByDates(PowerLog& log) {
    sortByDate(log.events, &PowerEvent::date);
    sortByDate(log.display, &DisplayChange::date);
    sortByDate(log.requests, &WakeRequest::logged);
    sortByDate(log.releases, &AssertionRelease::end);
}

std::string_view rawValue(PowerState state) { return kStateRawValues.at(static_cast<std::size_t>(state)); }

std::optional<PowerState> powerStateFromRawValue(std::string_view rawValue) {
    for (std::size_t i = 0; i < kStateRawValues.size(); ++i) {
        if (kStateRawValues[i] == rawValue) {
            return static_cast<PowerState>(i);
        }
    }
    return std::nullopt;
}

std::string_view label(PowerState state) { return kStateLabels.at(static_cast<std::size_t>(state)); }

std::string_view rawValue(PowerEventKind kind) { return kKindRawValues.at(static_cast<std::size_t>(kind)); }

std::optional<PowerEventKind> powerEventKindFromRawValue(std::string_view rawValue) {
    for (std::size_t i = 0; i < kKindRawValues.size(); ++i) {
        if (kKindRawValues[i] == rawValue) {
            return static_cast<PowerEventKind>(i);
        }
    }
    return std::nullopt;
}

PowerState state(PowerEventKind kind) {
    switch (kind) {
    case PowerEventKind::sleep:
        return PowerState::asleep;
    case PowerEventKind::enterDark:
    case PowerEventKind::darkWake:
        return PowerState::dark;
    case PowerEventKind::wake:
    case PowerEventKind::darkToFull:
    case PowerEventKind::boot:
        break;
    }
    return PowerState::awake;
}

} // namespace vitrek
