#include "powerlog/BatteryHistory.h"

#include "scores/Rounding.h"
#include "text/Ascii.h"
#include "text/Decimal.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <iterator>

namespace vitrek::BatteryHistoryFile {

namespace {

// Unix seconds as the daemon writes them: unsigned decimal digits, nothing else.
std::optional<std::int64_t> unixTime(std::string_view text) {
    if (text.empty() || !std::ranges::all_of(text, Ascii::isDigit)) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}


// Whether the battery was powering the machine in this state; absent when the word does not say.
std::optional<bool> onBatteryFromState(std::string_view state) {
    if (state == "discharging" || state == "empty" || state == "pending-discharge") {
        return true;
    }
    if (state == "charging" || state == "fully-charged" || state == "pending-charge") {
        return false;
    }
    return std::nullopt;
}

std::optional<BatteryHistoryEntry> parseLine(std::string_view line) {
    const auto firstTab = line.find('\t');
    if (firstTab == std::string_view::npos) {
        return std::nullopt;
    }
    const auto secondTab = line.find('\t', firstTab + 1);
    if (secondTab == std::string_view::npos) {
        return std::nullopt;
    }
    // Trimming the state also takes the CR of a file that passed through a Windows editor.
    const auto state = Ascii::trimmed(line.substr(secondTab + 1));
    if (state.empty() || state.find_first_of(Ascii::kWhiteSpace) != std::string_view::npos) {
        return std::nullopt;
    }
    const auto seconds = unixTime(line.substr(0, firstTab));
    const auto value = Decimal::parse(line.substr(firstTab + 1, secondTab - firstTab - 1));
    if (!seconds || !value) {
        return std::nullopt;
    }
    return BatteryHistoryEntry{fromUnixSeconds(static_cast<double>(*seconds)), *value,
                               onBatteryFromState(state)};
}

// Where `list` stands at `date`: the last entry at or before it, or end() when the list starts later.
template <typename List> auto lastAtOrBefore(const List& list, Instant date) {
    const auto after = std::upper_bound(list.begin(), list.end(), date,
                                        [](Instant when, const auto& entry) { return when < entry.date; });
    return after == list.begin() ? list.end() : std::prev(after);
}

struct SourceMark {
    Instant date;
    bool onBattery = false;
};

} // namespace

std::vector<BatteryHistoryEntry> parse(std::string_view text) {
    std::vector<BatteryHistoryEntry> entries;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        if (auto entry = parseLine(text.substr(0, end))) {
            entries.push_back(*entry);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    std::ranges::stable_sort(entries, {}, &BatteryHistoryEntry::date);
    return entries;
}

void annotate(PowerLog& log, const BatteryHistory& history) {
    // An "unknown" state says nothing about the adapter, so the source comes from the last entry of either
    // list that names one. Rate entries go first so that, at the same second, the charge list's word wins.
    std::vector<SourceMark> sources;
    const auto addSources = [&sources](const std::vector<BatteryHistoryEntry>& list) {
        for (const auto& entry : list) {
            if (entry.onBattery) {
                sources.push_back(SourceMark{entry.date, *entry.onBattery});
            }
        }
    };
    addSources(history.rate);
    addSources(history.charge);
    std::ranges::stable_sort(sources, {}, &SourceMark::date);

    for (auto& event : log.events) {
        if (const auto entry = lastAtOrBefore(history.charge, event.date); entry != history.charge.end()) {
            event.charge = static_cast<int>(std::clamp<std::int64_t>(roundHalfAway(entry->value), 0, 100));
        }
        if (const auto mark = lastAtOrBefore(sources, event.date); mark != sources.end()) {
            event.onBattery = mark->onBattery;
        }
    }
}

} // namespace vitrek::BatteryHistoryFile
