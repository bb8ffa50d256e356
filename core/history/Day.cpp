#include "history/Day.h"

#include "json/JsonFields.h"

namespace vitrek {

Json toJson(const Day& day) {
    Json json;
    json["id"] = day.id;
    json["recovery"] = day.recovery;
    if (day.strain) {
        json["strain"] = *day.strain;
    }
    if (day.rest) {
        json["rest"] = *day.rest;
    }
    if (day.stress) {
        json["stress"] = *day.stress;
    }
    if (day.ageGap) {
        json["ageGap"] = *day.ageGap;
    }
    return json;
}

template <>
std::optional<Day> fromJson<Day>(const Json& object) {
    return json::guarded([&] {
        return Day{
            .id = json::asString(json::member(object, "id")),
            .recovery = json::asInteger<int>(json::member(object, "recovery")),
            .strain = json::optionalValue(object, "strain", json::asDouble),
            .rest = json::optionalValue(object, "rest", json::asInteger<int>),
            .stress = json::optionalValue(object, "stress", json::asDouble),
            .ageGap = json::optionalValue(object, "ageGap", json::asDouble),
        };
    });
}

} // namespace vitrek
