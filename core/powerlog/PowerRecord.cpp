#include "powerlog/PowerRecord.h"

#include "json/JsonFields.h"

#include <array>
#include <cmath>
#include <utility>

namespace vitrek {

namespace {

constexpr std::array<std::pair<PowerRecordKind, std::string_view>, 7> kKinds{{
    {PowerRecordKind::start, "start"},
    {PowerRecordKind::alive, "alive"},
    {PowerRecordKind::boot, "boot"},
    {PowerRecordKind::sleep, "sleep"},
    {PowerRecordKind::wake, "wake"},
    {PowerRecordKind::screen, "screen"},
    {PowerRecordKind::inhibitors, "inhibitors"},
}};

template <class T> void put(Json& json, const char* key, const std::optional<T>& value) {
    if (value) {
        json[key] = *value;
    }
}

} // namespace

std::string_view rawValue(PowerRecordKind kind) {
    for (const auto& [each, raw] : kKinds) {
        if (each == kind) {
            return raw;
        }
    }
    return "alive";
}

std::optional<PowerRecordKind> powerRecordKindFromRawValue(std::string_view rawValue) {
    for (const auto& [kind, raw] : kKinds) {
        if (raw == rawValue) {
            return kind;
        }
    }
    return std::nullopt;
}

Json toJson(const PowerRecord& record) {
    Json json = Json::object();
    json["time"] = unixSeconds(record.date);
    json["kind"] = std::string(rawValue(record.kind));
    put(json, "charge", record.charge);
    put(json, "onBattery", record.onBattery);
    put(json, "lidClosed", record.lidClosed);
    put(json, "idle", record.idle);
    if (record.batteryCritical) {
        json["batteryCritical"] = true;
    }
    put(json, "slept", record.slept);
    if (!record.source.empty()) {
        json["source"] = record.source;
    }
    put(json, "screenOn", record.screenOn);
    if (record.kind == PowerRecordKind::inhibitors) {
        Json held = Json::array();
        for (const auto& inhibitor : record.inhibitors) {
            held.push_back(Json{{"who", inhibitor.who},
                                {"why", inhibitor.why},
                                {"what", inhibitor.what},
                                {"mode", inhibitor.mode},
                                {"pid", inhibitor.pid}});
        }
        json["held"] = std::move(held);
    }
    put(json, "pid", record.pid);
    return json;
}

template <>
std::optional<PowerRecord> fromJson<PowerRecord>(const Json& object) {
    return json::guarded([&] {
        PowerRecord record;
        const double time = json::asDouble(json::member(object, "time"));
        if (!std::isfinite(time)) {
            throw json::DecodeError("time is not finite");
        }
        record.date = fromUnixSeconds(time);
        record.kind = json::required(powerRecordKindFromRawValue(json::asString(json::member(object, "kind"))),
                                     "unknown kind");
        record.charge = json::optionalValue(object, "charge", json::asInteger<int>);
        record.onBattery = json::optionalValue(object, "onBattery", json::asBool);
        record.lidClosed = json::optionalValue(object, "lidClosed", json::asBool);
        record.idle = json::optionalValue(object, "idle", json::asBool);
        record.batteryCritical = json::optionalValue(object, "batteryCritical", json::asBool).value_or(false);
        record.slept = json::optionalValue(object, "slept", json::asDouble);
        record.source = json::optionalValue(object, "source", json::asString).value_or("");
        record.screenOn = json::optionalValue(object, "screenOn", json::asBool);
        record.pid = json::optionalValue(object, "pid", json::asInteger<std::int64_t>);
        if (const auto* held = json::optionalMember(object, "held")) {
            if (!held->is_array()) {
                throw json::DecodeError("held is not a list");
            }
            for (const auto& entry : *held) {
                record.inhibitors.push_back(HeldInhibitor{
                    json::asString(json::member(entry, "who")),
                    json::asString(json::member(entry, "why")),
                    json::asString(json::member(entry, "what")),
                    json::asString(json::member(entry, "mode")),
                    json::asInteger<std::uint32_t>(json::member(entry, "pid")),
                });
            }
        }
        return record;
    });
}

} // namespace vitrek
