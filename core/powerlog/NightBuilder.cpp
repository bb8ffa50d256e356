#include "powerlog/NightBuilder.h"

#include "powerlog/WakeReason.h"
#include "scores/Fmt.h"
#include "text/Ascii.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <string_view>

namespace vitrek {

namespace {

constexpr double kSecondsPerDay = 86'400;
// A night shorter than this is not worth a record (a window that has only just opened).
constexpr double kShortestNight = 600;
// An event counts for a segment only when it was logged this close before the segment begins.
constexpr double kEventReach = 5;
// Awake spells shorter than this are not told, unless they open the night.
constexpr double kShortestStayedAwake = 120;
// A spell this long (or any screen-on spell) makes the next sleep worth telling again.
constexpr double kLongAwake = 300;
constexpr double kShortestKeptAwake = 20;
constexpr double kLongestSchedulerReach = 21'600;
// 0001-01-01 00:00:00 UTC: a wake request without a time counts as asked for the distant past.
constexpr double kDistantPast = -62'135'596'800;

const auto byEventDate = [](Instant t, const PowerEvent& event) { return t < event.date; };
const auto byDisplayDate = [](Instant t, const DisplayChange& change) { return t < change.date; };
const auto byLogged = [](Instant t, const WakeRequest& request) { return t < request.logged; };
const auto byReleaseEnd = [](Instant t, const AssertionRelease& release) { return t < release.end; };

// Index of the first event dated after `t`: the number of events at or before it.
std::size_t eventsThrough(const PowerLog& log, Instant t) {
    return static_cast<std::size_t>(std::upper_bound(log.events.begin(), log.events.end(), t, byEventDate) -
                                    log.events.begin());
}

std::size_t displayThrough(const PowerLog& log, Instant t) {
    return static_cast<std::size_t>(
        std::upper_bound(log.display.begin(), log.display.end(), t, byDisplayDate) - log.display.begin());
}

// The last event at or before `t` (the last of several at the same instant).
const PowerEvent* lastEvent(const PowerLog& log, Instant t) {
    const auto count = eventsThrough(log, t);
    return count == 0 ? nullptr : &log.events[count - 1];
}

PowerState stateAt(Instant t, const PowerLog& log) {
    if (const auto* event = lastEvent(log, t); event != nullptr && state(event->kind) != PowerState::awake) {
        return state(event->kind);
    }
    return NightBuilder::displayOn(t, log) ? PowerState::screenOn : PowerState::awake;
}

bool isAwake(PowerState state) { return state == PowerState::dark || state == PowerState::awake; }

// The longest assertion of the log bounds how far past a night a release can end and still overlap it.
double longestRelease(const PowerLog& log) {
    double longest = 0;
    for (const auto& release : log.releases) {
        longest = std::max(longest, release.duration);
    }
    return longest;
}

// The releases overlapping [start, end]. Releases are sorted by `end`, and one ending `longest` or more
// after `end` began at or after it, so both ends of the range are found by bisection.
std::span<const AssertionRelease> releasesOverlapping(std::span<const AssertionRelease> releases,
                                                      Instant start, Instant end, double longest) {
    const auto first = std::upper_bound(releases.begin(), releases.end(), start, byReleaseEnd);
    const Instant reach = end + Seconds{longest};
    const auto last =
        std::lower_bound(first, releases.end(), reach,
                         [](const AssertionRelease& release, Instant t) { return release.end < t; });
    return {first, last};
}

std::string dayID(Instant day, const Calendar& calendar) {
    const auto local = calendar.local(day);
    if (!local) {
        return {};
    }
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", local->year, local->month, local->day);
    return buffer;
}

// "Asleep since Tue 4 Mar, 23:12" for the sleep that the night began in, told in the calendar the nights
// are built in.
std::optional<std::string> asleepSince(const PowerLog& log, Instant nightStart, const Calendar& calendar) {
    for (auto i = eventsThrough(log, nightStart); i > 0; --i) {
        const auto& event = log.events[i - 1];
        if (event.kind == PowerEventKind::sleep) {
            return "Asleep since " + Fmt::day(event.date, calendar) + ", " + Fmt::time(event.date, calendar);
        }
    }
    return std::nullopt;
}

// Tells each segment as at most one moment of the night.
std::vector<NightEvent> timeline(std::span<const Segment> segments, const PowerLog& log, Instant nightStart,
                                 std::span<const AssertionRelease> releases, double longestRelease,
                                 const Calendar& calendar) {
    std::vector<NightEvent> events;
    bool hasFallenAsleep = false;
    for (std::size_t k = 0; k < segments.size(); ++k) {
        const auto& segment = segments[k];
        const PowerEvent* ev = lastEvent(log, segment.start);
        if (ev != nullptr && !(ev->date > segment.start - Seconds{kEventReach})) {
            ev = nullptr;
        }
        NightEvent event{
            .date = segment.start,
            .kind = NightEvent::Kind::fellAsleep,
            .label = {},
            .symbol = {},
            .raw = ev != nullptr ? ev->raw : std::string{},
            .duration = segment.seconds(),
            .charge = ev != nullptr ? ev->charge : std::nullopt,
            .scheduledBy = std::nullopt,
            .culprit = std::nullopt,
        };
        const auto reason = [&]() -> std::optional<WakeReason> {
            if (ev == nullptr) {
                return std::nullopt;
            }
            return WakeReason::classify(ev->cause, ev->kind);
        };
        switch (segment.state) {
        case PowerState::asleep: {
            const bool first = k == 0;
            if (!first && hasFallenAsleep) {
                const auto& previous = segments[k - 1];
                const bool worthTelling =
                    previous.state == PowerState::screenOn ||
                    (previous.state == PowerState::awake && previous.seconds() >= kLongAwake);
                if (!worthTelling) {
                    continue;
                }
            }
            hasFallenAsleep = true;
            event.kind = NightEvent::Kind::fellAsleep;
            event.symbol = "moon.zzz";
            if (first) {
                event.label = "Already asleep";
                if (auto since = asleepSince(log, nightStart, calendar)) {
                    event.raw = std::move(*since);
                }
            } else {
                event.label = WakeReason::sleepLabel(ev != nullptr ? ev->cause : std::string_view{});
            }
            break;
        }
        case PowerState::dark: {
            const auto wakeReason =
                reason().value_or(WakeReason{.label = "Dark wake", .symbol = "moon.haze", .isYou = false});
            if (k == 0) {
                event.kind = NightEvent::Kind::awakeAtStart;
                event.label = "Briefly awake in the dark (" + Ascii::lowercased(wakeReason.label) + ")";
            } else {
                event.kind = NightEvent::Kind::darkWake;
                event.label = wakeReason.label;
            }
            event.symbol = wakeReason.symbol;
            if (ev != nullptr) {
                event.scheduledBy = NightBuilder::scheduler(*ev, log.requests);
            }
            break;
        }
        case PowerState::screenOn: {
            const auto wakeReason = reason();
            if (k == 0) {
                event.kind = NightEvent::Kind::awakeAtStart;
                event.label = "You were still using your computer";
            } else {
                event.kind = NightEvent::Kind::screenOn;
                event.label = segment.seconds() >= kLongAwake ? "You used your computer" : "Screen lit up briefly";
            }
            event.symbol = wakeReason ? wakeReason->symbol : "display";
            if (event.raw.empty()) {
                event.raw = "Display is turned on";
            }
            if (wakeReason) {
                event.scheduledBy = "Woken by: " + wakeReason->label;
            }
            break;
        }
        case PowerState::awake: {
            if (k != 0 && segment.seconds() < kShortestStayedAwake) {
                continue;
            }
            event.kind = k == 0 ? NightEvent::Kind::awakeAtStart : NightEvent::Kind::stayedAwake;
            event.label = k == 0 ? "Awake, screen off" : "Stayed awake with the screen off";
            event.symbol = "eye.slash";
            if (event.raw.empty()) {
                event.raw = "Display off while the system stayed awake";
            }
            if (const auto wakeReason = reason()) {
                event.scheduledBy = "Woken by: " + wakeReason->label;
            }
            // Only releases that can overlap this segment; the rest would be filtered out anyway.
            const auto candidates = releasesOverlapping(releases, segment.start, segment.end, longestRelease);
            const auto holders = NightBuilder::keptAwake(candidates, std::span{&segment, 1});
            if (!holders.empty()) {
                event.culprit = holders.front().process;
            }
            break;
        }
        }
        events.push_back(std::move(event));
    }
    return events;
}

std::vector<BatteryPoint> batteryPoints(const PowerLog& log, Instant start, Instant end) {
    std::vector<BatteryPoint> points;
    const auto first = eventsThrough(log, start);
    if (first > 0 && log.events[first - 1].charge) {
        points.push_back(BatteryPoint{.date = start, .charge = *log.events[first - 1].charge});
    }
    const auto last = eventsThrough(log, end);
    for (auto i = first; i < last; ++i) {
        if (const auto& event = log.events[i]; event.charge) {
            points.push_back(BatteryPoint{.date = event.date, .charge = *event.charge});
        }
    }
    if (!points.empty() && points.back().date < end) {
        points.push_back(BatteryPoint{.date = end, .charge = points.back().charge});
    }
    return points;
}

bool isPluggedIn(const PowerLog& log, Instant start, Instant end) {
    const auto first = std::lower_bound(log.events.begin(), log.events.end(), start,
                                        [](const PowerEvent& event, Instant t) { return event.date < t; });
    const auto last = std::upper_bound(first, log.events.end(), end, byEventDate);
    if (std::any_of(first, last, [](const PowerEvent& event) { return event.onBattery == false; })) {
        return true;
    }
    const auto* before = lastEvent(log, start);
    return before != nullptr && before->onBattery == false;
}

Night makeNight(const std::string& id, Instant start, Instant end, const PowerLog& log, bool hasBattery,
                double longest, const Calendar& calendar) {
    Night night;
    night.id = id;
    night.start = start;
    night.end = end;
    night.segments = NightBuilder::combinedSegments(start, end, log);
    const auto candidates = releasesOverlapping(log.releases, start, end, longest);
    std::vector<AssertionRelease> releases;
    std::copy_if(candidates.begin(), candidates.end(), std::back_inserter(releases),
                 [&](const AssertionRelease& release) { return release.start() < end; });
    night.keptAwake = NightBuilder::keptAwake(releases, night.segments);
    night.events = timeline(night.segments, log, start, releases, longest, calendar);
    if (hasBattery) {
        night.battery = batteryPoints(log, start, end);
    }
    night.hasBattery = hasBattery;
    night.pluggedIn = isPluggedIn(log, start, end);
    night.isDemo = false;
    night.inProgress = false;
    return night;
}

} // namespace

int NightWindow::hours() const {
    if (crossesMidnight()) {
        return 24 - startHour + endHour;
    }
    return std::max(endHour - startHour, 1);
}

std::optional<std::pair<Instant, Instant>> NightWindow::bounds(Instant morning,
                                                               const Calendar& calendar) const {
    const auto end = calendar.at(morning, endHour);
    if (!end) {
        return std::nullopt;
    }
    const Instant baseDay = crossesMidnight() ? calendar.addingDays(morning, -1).value_or(morning) : morning;
    const Instant start = calendar.at(baseDay, startHour).value_or(*end - Seconds{hours() * 3600.0});
    if (!(start < *end)) {
        return std::nullopt;
    }
    return std::pair{start, *end};
}

namespace NightBuilder {

std::vector<Night> build(const PowerLog& log, const NightWindow& window, Instant now,
                         const Calendar& calendar) {
    std::optional<Instant> first = log.firstDate;
    if (!first && !log.events.empty()) {
        first = log.events.front().date;
    }
    if (!first) {
        return {};
    }
    const bool hasBattery = std::any_of(log.events.begin(), log.events.end(), [](const PowerEvent& event) {
        return event.onBattery == true || event.charge.value_or(0) > 0;
    });
    const double longest = longestRelease(log);
    auto day = calendar.startOfDay(*first);
    const auto today = calendar.startOfDay(now);
    if (!day || !today) {
        return {};
    }
    const Instant last = *today + Seconds{kSecondsPerDay};

    std::vector<Night> nights;
    while (*day <= last) {
        if (const auto bounds = window.bounds(*day, calendar)) {
            const auto [start, end] = *bounds;
            if (start >= *first && start < now) {
                const Instant effectiveEnd = std::min(now, end);
                if (secondsBetween(start, effectiveEnd) > kShortestNight &&
                    isCovered(log, start, effectiveEnd)) {
                    Night night =
                        makeNight(dayID(*day, calendar), start, effectiveEnd, log, hasBattery, longest, calendar);
                    // A window that has not closed yet is built up to now and replaced on a later run.
                    night.inProgress = end > now;
                    nights.push_back(std::move(night));
                }
            }
        }
        auto next = calendar.addingDays(*day, 1);
        if (!next || *next <= *day) {
            next = *day + Seconds{kSecondsPerDay};
        }
        day = next;
    }
    return nights;
}

Night make(const std::string& id, Instant start, Instant end, const PowerLog& log, bool hasBattery,
           const Calendar& calendar) {
    return makeNight(id, start, end, log, hasBattery, longestRelease(log), calendar);
}

std::vector<Segment> combinedSegments(Instant start, Instant end, const PowerLog& log) {
    // Cut at every event and display change strictly inside the interval, from the two sorted sub-ranges.
    std::vector<Instant> cuts{start};
    auto event = std::upper_bound(log.events.begin(), log.events.end(), start, byEventDate);
    auto change = std::upper_bound(log.display.begin(), log.display.end(), start, byDisplayDate);
    while (true) {
        const bool hasEvent = event != log.events.end() && event->date < end;
        const bool hasChange = change != log.display.end() && change->date < end;
        if (!hasEvent && !hasChange) {
            break;
        }
        Instant t;
        if (hasEvent && (!hasChange || event->date <= change->date)) {
            t = (event++)->date;
        } else {
            t = (change++)->date;
        }
        if (cuts.back() < t) {
            cuts.push_back(t);
        }
    }

    std::vector<Segment> segments;
    for (std::size_t i = 0; i < cuts.size(); ++i) {
        const Instant next = i + 1 < cuts.size() ? cuts[i + 1] : end;
        const PowerState state = stateAt(cuts[i], log);
        if (!segments.empty() && segments.back().state == state) {
            segments.back().end = next;
        } else {
            segments.push_back(Segment{.start = cuts[i], .end = next, .state = state});
        }
    }
    return segments;
}

bool isCovered(const PowerLog& log, Instant start, Instant end) {
    const Instant before = start - Seconds{1};
    const auto i = eventsThrough(log, before);
    if (i < log.events.size() && log.events[i].date <= end) {
        return true;
    }
    const auto j = displayThrough(log, before);
    if (j < log.display.size() && log.display[j].date <= end) {
        return true;
    }
    if (i > 0) {
        // A start-up as the next record means the machine was off across the interval.
        return i == log.events.size() || log.events[i].kind != PowerEventKind::boot;
    }
    return false;
}

std::pair<PowerState, std::optional<PowerEvent>> systemState(Instant t, const PowerLog& log) {
    const auto* event = lastEvent(log, t);
    if (event == nullptr) {
        return {PowerState::awake, std::nullopt};
    }
    return {state(event->kind), *event};
}

bool displayOn(Instant t, const PowerLog& log) {
    const auto count = displayThrough(log, t);
    return count == 0 || log.display[count - 1].on;
}

std::vector<KeptAwake> keptAwake(std::span<const AssertionRelease> releases,
                                 std::span<const Segment> segments) {
    std::vector<Segment> awake;
    std::copy_if(segments.begin(), segments.end(), std::back_inserter(awake),
                 [](const Segment& segment) { return isAwake(segment.state); });
    if (awake.empty()) {
        return {};
    }
    const Instant from = awake.front().start;
    const Instant to = awake.back().end;

    std::vector<const AssertionRelease*> held;
    for (const auto& release : releases) {
        if (release.end > from && release.start() < to && release.process != "powerd") {
            held.push_back(&release);
        }
    }
    // Grouped by process, each group in order of start; equal starts keep the log's order.
    std::stable_sort(held.begin(), held.end(), [](const AssertionRelease* a, const AssertionRelease* b) {
        if (a->process != b->process) {
            return a->process < b->process;
        }
        return a->start() < b->start();
    });

    std::vector<KeptAwake> result;
    for (auto group = held.begin(); group != held.end();) {
        const auto groupEnd = std::find_if(group, held.end(), [&](const AssertionRelease* release) {
            return release->process != (*group)->process;
        });
        double seconds = 0;
        const AssertionRelease* longest = *group;
        // Overlapping releases are merged first so that time held twice counts once.
        std::size_t firstSegment = 0;
        auto addOverlap = [&](Instant intervalStart, Instant intervalEnd) {
            while (firstSegment < awake.size() && awake[firstSegment].end <= intervalStart) {
                ++firstSegment;
            }
            for (auto s = firstSegment; s < awake.size() && awake[s].start < intervalEnd; ++s) {
                if (awake[s].end > intervalStart) {
                    seconds += secondsBetween(std::max(awake[s].start, intervalStart),
                                              std::min(awake[s].end, intervalEnd));
                }
            }
        };
        Instant intervalStart = (*group)->start();
        Instant intervalEnd = (*group)->end;
        for (auto it = group; it != groupEnd; ++it) {
            const auto* release = *it;
            if (release->duration > longest->duration) {
                longest = release;
            }
            if (it == group) {
                continue;
            }
            if (release->start() > intervalEnd) {
                addOverlap(intervalStart, intervalEnd);
                intervalStart = release->start();
                intervalEnd = release->end;
            } else {
                intervalEnd = std::max(intervalEnd, release->end);
            }
        }
        addOverlap(intervalStart, intervalEnd);
        if (seconds >= kShortestKeptAwake) {
            result.push_back(KeptAwake{.process = longest->process,
                                       .detail = longest->name,
                                       .type = longest->type,
                                       .seconds = seconds});
        }
        group = groupEnd;
    }
    std::sort(result.begin(), result.end(), [](const KeptAwake& a, const KeptAwake& b) {
        if (a.seconds != b.seconds) {
            return a.seconds > b.seconds;
        }
        return a.process < b.process;
    });
    return result;
}

std::optional<std::string> scheduler(const PowerEvent& event, std::span<const WakeRequest> requests) {
    const auto cause = Ascii::lowercased(event.cause);
    const bool isScheduled =
        cause.find("rtc") != std::string::npos || cause.find("sleepservice") != std::string::npos ||
        cause.find("maintenance") != std::string::npos || cause.find("spmi") != std::string::npos;
    if (!isScheduled) {
        return std::nullopt;
    }
    const auto batchEnd = std::upper_bound(requests.begin(), requests.end(), event.date, byLogged);
    if (batchEnd == requests.begin()) {
        return std::nullopt;
    }
    const Instant logged = std::prev(batchEnd)->logged;
    if (secondsBetween(logged, event.date) >= kLongestSchedulerReach) {
        return std::nullopt;
    }
    // The batch is the one "Wake Requests" record: every entry logged at that same instant.
    auto batchStart = std::prev(batchEnd);
    while (batchStart != requests.begin() && std::prev(batchStart)->logged == logged) {
        --batchStart;
    }
    auto picked =
        std::find_if(batchStart, batchEnd, [](const WakeRequest& request) { return request.chosen; });
    if (picked == batchEnd) {
        picked = batchStart;
        double nearest = std::numeric_limits<double>::infinity();
        for (auto it = batchStart; it != batchEnd; ++it) {
            const Instant wakeAt = it->wakeAt.value_or(fromUnixSeconds(kDistantPast));
            const double distance = std::fabs(secondsBetween(event.date, wakeAt));
            if (distance < nearest) {
                nearest = distance;
                picked = it;
            }
        }
    }
    if (!picked->info.empty()) {
        return picked->process + " · " + picked->info;
    }
    return picked->process + " (" + picked->request + ")";
}

} // namespace NightBuilder
} // namespace vitrek
