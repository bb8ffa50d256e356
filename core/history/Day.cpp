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

namespace {

// A stored figure outside what the program can produce is damage, never something to show.
template <class T> T within(T value, T lowest, T highest, const char* what) {
    if (!(value >= lowest && value <= highest)) {
        throw json::DecodeError(what);
    }
    return value;
}

int percent(const Json& value) { return within(json::asInteger<int>(value), 0, 100, "not a percentage"); }
double strain(const Json& value) { return within(json::asDouble(value), 0.0, 21.0, "strain outside 0…21"); }
// A day lasts at most 25 hours, on the night clocks go back.
double stress(const Json& value) { return within(json::asDouble(value), 0.0, 90'000.0, "stress outside a day"); }
double ageGap(const Json& value) { return within(json::asDouble(value), -100.0, 100.0, "age gap out of range"); }

} // namespace

template <>
std::optional<Day> fromJson<Day>(const Json& object) {
    return json::guarded([&] {
        return Day{
            .id = json::asString(json::member(object, "id")),
            .recovery = percent(json::member(object, "recovery")),
            .strain = json::optionalValue(object, "strain", strain),
            .rest = json::optionalValue(object, "rest", percent),
            .stress = json::optionalValue(object, "stress", stress),
            .ageGap = json::optionalValue(object, "ageGap", ageGap),
        };
    });
}

} // namespace vitrek
