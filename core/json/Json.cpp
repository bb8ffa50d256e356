#include "json/Json.h"

#include "history/History.h"
#include "json/JsonFields.h"
#include "powerlog/Night.h"
#include "powerlog/PowerRecord.h"
#include "readings/Reading.h"
#include "scores/Sample.h"

namespace vitrek {

std::string compactText(const Json& json) {
    // Replace invalid UTF-8 in strings rather than throw while dumping.
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

template <class T>
std::optional<T> fromJsonText(std::string_view text) {
    const auto parsed = json::parse(text);
    if (parsed.is_discarded()) {
        return std::nullopt;
    }
    return fromJson<T>(parsed);
}

template std::optional<BatteryInfo> fromJsonText<BatteryInfo>(std::string_view);
template std::optional<Reading> fromJsonText<Reading>(std::string_view);
template std::optional<Sample> fromJsonText<Sample>(std::string_view);
template std::optional<Day> fromJsonText<Day>(std::string_view);
template std::optional<History> fromJsonText<History>(std::string_view);
template std::optional<Night> fromJsonText<Night>(std::string_view);
template std::optional<PowerRecord> fromJsonText<PowerRecord>(std::string_view);

} // namespace vitrek
