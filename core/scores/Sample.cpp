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

template <>
std::optional<Sample> fromJson<Sample>(const Json& object) {
    return json::guarded([&] {
        return Sample{
            .date = fromReferenceSeconds(json::asDouble(json::member(object, "date"))),
            .load = json::asDouble(json::member(object, "load")),
            .heat = json::required(heatFromRawValue(json::asInteger<int>(json::member(object, "heat"))),
                                   "unknown heat"),
        };
    });
}

} // namespace vitrek
