#include "powerlog/Night.h"

#include "json/JsonFields.h"
#include "scores/Rounding.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <initializer_list>
#include <iterator>

namespace vitrek {

namespace {

constexpr std::array<std::string_view, 5> kKindRawValues{"awakeAtStart", "fellAsleep", "darkWake",
                                                         "stayedAwake", "screenOn"};

using Kind = NightEvent::Kind;

bool isOneOf(Kind kind, std::initializer_list<Kind> kinds) {
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

int countOf(const std::vector<NightEvent>& events, std::initializer_list<Kind> kinds) {
    return static_cast<int>(
        std::count_if(events.begin(), events.end(), [&](const auto& e) { return isOneOf(e.kind, kinds); }));
}

// The shortest decimal that reads back to the same double, always with a fraction ("12.0", "12.25").
std::string shortestFixed(double value) {
    std::array<char, 400> buffer{}; // room for the longest fixed form of any double
    const auto [end, error] =
        std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, std::chars_format::fixed);
    std::string text(buffer.data(), error == std::errc{} ? end : buffer.data());
    if (std::isfinite(value) && text.find('.') == std::string::npos) {
        text += ".0";
    }
    return text;
}

} // namespace

std::string NightEvent::id() const {
    return shortestFixed(unixSeconds(date)) + "-" + std::string(rawValue(kind));
}

std::string_view rawValue(NightEvent::Kind kind) { return kKindRawValues.at(static_cast<std::size_t>(kind)); }

std::optional<NightEvent::Kind> nightEventKindFromRawValue(std::string_view rawValue) {
    for (std::size_t i = 0; i < kKindRawValues.size(); ++i) {
        if (kKindRawValues[i] == rawValue) {
            return static_cast<NightEvent::Kind>(i);
        }
    }
    return std::nullopt;
}

double Night::time(PowerState state) const {
    double seconds = 0;
    for (const auto& segment : segments) {
        if (segment.state == state) {
            seconds += segment.seconds();
        }
    }
    return seconds;
}

int Night::darkWakeCount() const { return countOf(events, {Kind::darkWake}); }

int Night::screenOnCount() const { return countOf(events, {Kind::screenOn}); }

int Night::upCount() const { return countOf(events, {Kind::stayedAwake, Kind::screenOn}); }

std::optional<int> Night::startCharge() const {
    if (!hasBattery || battery.empty()) {
        return std::nullopt;
    }
    return battery.front().charge;
}

std::optional<int> Night::endCharge() const {
    if (!hasBattery || battery.empty()) {
        return std::nullopt;
    }
    return battery.back().charge;
}

std::optional<int> Night::lost() const {
    if (!hasBattery || battery.empty()) {
        return std::nullopt;
    }
    return std::max(battery.front().charge - battery.back().charge, 0);
}

std::optional<NightEvent> Night::bedtime() const {
    const auto found =
        std::find_if(events.begin(), events.end(), [](const auto& e) { return e.kind == Kind::fellAsleep; });
    if (found == events.end()) {
        return std::nullopt;
    }
    return *found;
}

std::vector<NightEvent> Night::wakeMoments() const {
    std::vector<NightEvent> moments;
    std::copy_if(events.begin(), events.end(), std::back_inserter(moments), [](const auto& e) {
        return isOneOf(e.kind, {Kind::darkWake, Kind::stayedAwake, Kind::screenOn});
    });
    return moments;
}

std::optional<Segment> Night::segment(Instant t) const {
    for (const auto& segment : segments) {
        if (segment.start <= t && t < segment.end) {
            return segment;
        }
    }
    // The half-open spans leave the night's last instant uncovered; it belongs to the last segment.
    if (t == end && !segments.empty()) {
        return segments.back();
    }
    return std::nullopt;
}

std::optional<int> Night::charge(Instant t) const {
    if (!hasBattery || battery.empty()) {
        return std::nullopt;
    }
    int charge = battery.front().charge;
    for (const auto& point : battery) {
        if (point.date <= t) {
            charge = point.charge;
        }
    }
    return charge;
}

int Night::score() const { return RestScore::score(*this); }

std::string_view Night::scoreWord() const { return RestScore::word(score()); }

double StoryItem::totalDuration() const {
    double total = 0;
    for (const auto& event : events) {
        total += event.duration;
    }
    return total;
}

namespace RestScore {

int score(const Night& night) {
    const double length = night.duration();
    if (!(length > 0)) {
        return 0;
    }
    double s =
        100 - std::min(1.2 * night.darkWakeCount(), 30.0) - std::min(2.0 * night.screenOnCount(), 10.0);
    s -= std::min((night.darkTime() + night.awakeTime()) / length * 80, 40.0);
    s -= std::min(night.screenTime() / length * 40, 20.0);
    if (const auto lost = night.lost()) {
        // Percent lost per eight hours beyond 2.5; a night shorter than two hours counts as two.
        const double excess = *lost / std::max(length / 28'800, 0.25) - 2.5;
        if (excess >= 0) {
            s -= std::min(3 * excess, 25.0);
        }
    }
    // A night asleep for 70 % of its window may reach 100; one never asleep stays at 25 or below.
    const double cap = std::min(night.asleep() / length / 0.7, 1.0) * 75 + 25;
    return static_cast<int>(std::clamp<std::int64_t>(roundHalfAway(std::min(cap, s)), 0, 100));
}

std::string_view word(int score) {
    if (score >= 85) {
        return "Sound";
    }
    if (score >= 65) {
        return "Light";
    }
    if (score >= 40) {
        return "Restless";
    }
    return "Barely slept";
}

int ticks(int score) {
    if (score >= 100) {
        return 10;
    }
    if (score < -9) {
        return 0;
    }
    return score / 10;
}

} // namespace RestScore

namespace Story {

std::vector<StoryItem> items(const Night& night) {
    std::vector<StoryItem> items;
    for (const auto& event : night.events) {
        // Runs of the same dark wake (a network keep-alive every few minutes) read as one line.
        if (event.kind == Kind::darkWake && !items.empty() && items.back().first().kind == Kind::darkWake &&
            items.back().first().label == event.label) {
            items.back().events.push_back(event);
        } else {
            items.push_back(StoryItem{{event}});
        }
    }
    return items;
}

} // namespace Story

Json toJson(const Segment& segment, Epoch epoch) {
    auto json = Json::object();
    json["start"] = secondsSince(epoch, segment.start);
    json["end"] = secondsSince(epoch, segment.end);
    json["state"] = rawValue(segment.state);
    return json;
}

Json toJson(const BatteryPoint& point, Epoch epoch) {
    auto json = Json::object();
    json["date"] = secondsSince(epoch, point.date);
    json["charge"] = point.charge;
    return json;
}

Json toJson(const KeptAwake& keptAwake) {
    auto json = Json::object();
    json["process"] = keptAwake.process;
    json["detail"] = keptAwake.detail;
    json["type"] = keptAwake.type;
    json["seconds"] = keptAwake.seconds;
    return json;
}

Json toJson(const NightEvent& event, Epoch epoch) {
    auto json = Json::object();
    json["date"] = secondsSince(epoch, event.date);
    json["kind"] = rawValue(event.kind);
    json["label"] = event.label;
    json["symbol"] = event.symbol;
    json["raw"] = event.raw;
    json["duration"] = event.duration;
    if (event.charge) {
        json["charge"] = *event.charge;
    }
    if (event.scheduledBy) {
        json["scheduledBy"] = *event.scheduledBy;
    }
    if (event.culprit) {
        json["culprit"] = *event.culprit;
    }
    return json;
}

namespace {

// Each value encoded with `form`: the epoch, for the types that hold dates.
template <class T, class... Form> Json jsonList(const std::vector<T>& values, Form... form) {
    auto list = Json::array();
    for (const auto& value : values) {
        list.push_back(toJson(value, form...));
    }
    return list;
}

} // namespace

Json toJson(const Night& night, Epoch epoch) {
    auto json = Json::object();
    json["id"] = night.id;
    json["start"] = secondsSince(epoch, night.start);
    json["end"] = secondsSince(epoch, night.end);
    json["segments"] = jsonList(night.segments, epoch);
    json["events"] = jsonList(night.events, epoch);
    json["battery"] = jsonList(night.battery, epoch);
    json["hasBattery"] = night.hasBattery;
    json["pluggedIn"] = night.pluggedIn;
    json["keptAwake"] = jsonList(night.keptAwake);
    json["isDemo"] = night.isDemo;
    json["inProgress"] = night.inProgress;
    return json;
}

namespace {

Instant asDate(const Json& value) { return fromReferenceSeconds(json::asDouble(value)); }

template <class Decode>
auto listOf(const Json& object, const char* key, Decode decode) -> std::vector<decltype(decode(object))> {
    const auto& list = json::member(object, key);
    if (!list.is_array()) {
        throw json::DecodeError(std::string(key) + " is not a list");
    }
    std::vector<decltype(decode(object))> values;
    values.reserve(list.size());
    for (const auto& element : list) {
        values.push_back(decode(element));
    }
    return values;
}

Segment decodeSegment(const Json& object) {
    return Segment{
        .start = asDate(json::member(object, "start")),
        .end = asDate(json::member(object, "end")),
        .state = json::required(powerStateFromRawValue(json::asString(json::member(object, "state"))),
                                "unknown state"),
    };
}

BatteryPoint decodeBatteryPoint(const Json& object) {
    return BatteryPoint{
        .date = asDate(json::member(object, "date")),
        .charge = json::asInteger<int>(json::member(object, "charge")),
    };
}

KeptAwake decodeKeptAwake(const Json& object) {
    return KeptAwake{
        .process = json::asString(json::member(object, "process")),
        .detail = json::asString(json::member(object, "detail")),
        .type = json::asString(json::member(object, "type")),
        .seconds = json::asDouble(json::member(object, "seconds")),
    };
}

NightEvent decodeEvent(const Json& object) {
    return NightEvent{
        .date = asDate(json::member(object, "date")),
        .kind = json::required(nightEventKindFromRawValue(json::asString(json::member(object, "kind"))),
                               "unknown event kind"),
        .label = json::asString(json::member(object, "label")),
        .symbol = json::asString(json::member(object, "symbol")),
        .raw = json::asString(json::member(object, "raw")),
        .duration = json::asDouble(json::member(object, "duration")),
        .charge = json::optionalValue(object, "charge", json::asInteger<int>),
        .scheduledBy = json::optionalValue(object, "scheduledBy", json::asString),
        .culprit = json::optionalValue(object, "culprit", json::asString),
    };
}

} // namespace

template <> std::optional<Night> fromJson<Night>(const Json& object) {
    return json::guarded([&] {
        return Night{
            .id = json::asString(json::member(object, "id")),
            .start = asDate(json::member(object, "start")),
            .end = asDate(json::member(object, "end")),
            .segments = listOf(object, "segments", decodeSegment),
            .events = listOf(object, "events", decodeEvent),
            .battery = listOf(object, "battery", decodeBatteryPoint),
            .hasBattery = json::asBool(json::member(object, "hasBattery")),
            .pluggedIn = json::asBool(json::member(object, "pluggedIn")),
            .keptAwake = listOf(object, "keptAwake", decodeKeptAwake),
            .isDemo = json::asBool(json::member(object, "isDemo")),
            .inProgress = json::asBool(json::member(object, "inProgress")),
        };
    });
}

} // namespace vitrek
