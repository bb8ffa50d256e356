#include "scores/Sample.h"

#include "json/JsonFields.h"

namespace vitrek {

Json toJson(const Sample& sample) {
    auto json = Json::object();
    json["date"] = referenceSeconds(sample.date);
    json["load"] = sample.load;
    json["heat"] = rawValue(sample.heat);
    return json;
}

std::optional<double> loadIfPossible(double load) {
    if (!(load >= 0 && load <= 1)) {
        return std::nullopt;
    }
    return load;
}

template <>
std::optional<Sample> fromJson<Sample>(const Json& object) {
    return json::guarded([&] {
        return Sample{
            .date = fromReferenceSeconds(json::asDouble(json::member(object, "date"))),
            .load = json::required(loadIfPossible(json::asDouble(json::member(object, "load"))), "load outside 0…1"),
            .heat = json::required(heatFromRawValue(json::asInteger<int>(json::member(object, "heat"))),
                                   "unknown heat"),
        };
    });
}

} // namespace vitrek
