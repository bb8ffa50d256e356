#include "readings/Reading.h"

#include "json/JsonFields.h"

#include <algorithm>

namespace vitrek {

double Reading::freeShare() const {
    if (totalBytes < 1) {
        return 1.0;
    }
    return static_cast<double>(freeBytes) / static_cast<double>(totalBytes);
}

double Reading::uptime() const { return std::max(secondsBetween(bootedAt, date), 0.0); }

Json toJson(const BatteryInfo& battery) {
    auto json = Json::object();
    if (battery.health) {
        json["health"] = *battery.health;
    }
    if (battery.cycles) {
        json["cycles"] = *battery.cycles;
    }
    json["percent"] = battery.percent;
    json["onAC"] = battery.onAC;
    return json;
}

Json toJson(const Reading& reading, Epoch epoch) {
    auto json = Json::object();
    json["date"] = secondsSince(epoch, reading.date);
    json["model"] = reading.model;
    if (reading.battery) {
        json["battery"] = toJson(*reading.battery);
    }
    json["freeBytes"] = reading.freeBytes;
    json["totalBytes"] = reading.totalBytes;
    json["pressure"] = rawValue(reading.pressure);
    json["swapBytes"] = reading.swapBytes;
    // Present as null, so that every reading lists the same keys.
    json["heat"] = reading.heat ? Json(rawValue(*reading.heat)) : Json();
    json["bootedAt"] = secondsSince(epoch, reading.bootedAt);
    return json;
}

namespace {

BatteryInfo decodeBattery(const Json& object) {
    return BatteryInfo{
        .health = json::optionalValue(object, "health", json::asDouble),
        .cycles = json::optionalValue(object, "cycles", json::asInteger<int>),
        .percent = json::asInteger<int>(json::member(object, "percent")),
        .onAC = json::asBool(json::member(object, "onAC")),
    };
}

Heat decodeHeat(const Json& value) {
    return json::required(heatFromRawValue(json::asInteger<int>(value)), "unknown heat");
}

} // namespace

template <>
std::optional<BatteryInfo> fromJson<BatteryInfo>(const Json& json) {
    return json::guarded([&] { return decodeBattery(json); });
}

template <>
std::optional<Reading> fromJson<Reading>(const Json& object) {
    return json::guarded([&] {
        return Reading{
            .date = fromReferenceSeconds(json::asDouble(json::member(object, "date"))),
            .model = json::asString(json::member(object, "model")),
            .battery = json::optionalValue(object, "battery", decodeBattery),
            .freeBytes = json::asInteger<std::int64_t>(json::member(object, "freeBytes")),
            .totalBytes = json::asInteger<std::int64_t>(json::member(object, "totalBytes")),
            .pressure = json::required(pressureFromRawValue(json::asInteger<int>(json::member(object, "pressure"))),
                                "unknown pressure"),
            .swapBytes = json::asInteger<std::int64_t>(json::member(object, "swapBytes")),
            .heat = json::optionalValue(object, "heat", decodeHeat),
            .bootedAt = fromReferenceSeconds(json::asDouble(json::member(object, "bootedAt"))),
        };
    });
}

} // namespace vitrek
