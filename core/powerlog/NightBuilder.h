#pragma once

#include "powerlog/Night.h"
#include "powerlog/PowerLog.h"
#include "time/Calendar.h"

#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vitrek {

// The hours of a night: 23:00 to 07:00 unless told otherwise.
struct NightWindow {
    int startHour = 23;
    int endHour = 7;

    bool crossesMidnight() const { return endHour < startHour; }
    int hours() const;
    // The night that ends on the morning of `morning`'s day, in wall-clock hours of `calendar`;
    // absent when the hours give no interval.
    std::optional<std::pair<Instant, Instant>> bounds(Instant morning, const Calendar& calendar) const;
    bool operator==(const NightWindow&) const = default;
};

// Rebuilds nights from a parsed power log. Every lookup by date bisects the log's sorted lists.
namespace NightBuilder {

// One night per window the log covers, ascending by morning; a window still open at `now` is built up
// to `now` and marked in progress.
std::vector<Night> build(const PowerLog& log, const NightWindow& window, Instant now,
                         const Calendar& calendar);
// One night for [start, end]; `calendar` tells the times in its texts.
Night make(const std::string& id, Instant start, Instant end, const PowerLog& log, bool hasBattery,
           const Calendar& calendar);
// The state segments tiling [start, end]; no two neighbours share a state.
std::vector<Segment> combinedSegments(Instant start, Instant end, const PowerLog& log);
// Whether the log says anything about [start, end] (false when the machine was off across it).
bool isCovered(const PowerLog& log, Instant start, Instant end);
// The state at `t` from the events alone, with the event that set it.
std::pair<PowerState, std::optional<PowerEvent>> systemState(Instant t, const PowerLog& log);
// The display at `t`; on when the log has no display change before it.
bool displayOn(Instant t, const PowerLog& log);
// The processes whose assertions overlapped the awake segments by 20 s or more, most seconds first;
// "powerd" is never listed.
std::vector<KeptAwake> keptAwake(std::span<const AssertionRelease> releases,
                                 std::span<const Segment> segments);
// "process · info" (or "process (request)") of the wake request that explains a scheduled wake.
std::optional<std::string> scheduler(const PowerEvent& event, std::span<const WakeRequest> requests);

} // namespace NightBuilder
} // namespace vitrek
