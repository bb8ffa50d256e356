#include "cli/NightsCommand.h"

#include "cli/JsonWriter.h"
#include "powerlog/NightSource.h"
#include "powerlog/PowerLogParser.h"
#include "scores/Fmt.h"

#include <nlohmann/json.hpp>

#include <iostream>
#include <sstream>

namespace vitrek::cli {

namespace {

void writeOptional(JsonWriter& json, std::string_view key, std::optional<int> value) {
    json.key(key);
    if (value) {
        json.value(*value);
    } else {
        json.null();
    }
}

// The night's own members, as the core encodes them, around the figures derived from them.
void writeNight(JsonWriter& json, const Night& night) {
    const Json encoded = toJson(night, Epoch::unixTime);
    const int score = night.score();
    json.beginObject();
    for (const char* member : {"id", "start", "end", "inProgress", "isDemo", "hasBattery", "pluggedIn"}) {
        json.key(member).tree(encoded.at(member));
    }
    json.key("score").value(score);
    json.key("word").value(RestScore::word(score));
    json.key("counts").beginObject();
    json.key("darkWake").value(night.darkWakeCount());
    json.key("screenOn").value(night.screenOnCount());
    json.key("up").value(night.upCount());
    json.key("wake").value(night.wakeCount());
    json.endObject();
    json.key("time").beginObject();
    json.key("asleep").value(night.asleep());
    json.key("dark").value(night.darkTime());
    json.key("awake").value(night.awakeTime());
    json.key("screenOn").value(night.screenTime());
    json.endObject();
    writeOptional(json, "lost", night.lost());
    writeOptional(json, "startCharge", night.startCharge());
    writeOptional(json, "endCharge", night.endCharge());
    for (const char* member : {"segments", "events", "battery", "keptAwake"}) {
        json.key(member).tree(encoded.at(member));
    }
    json.key("story").beginArray();
    for (const auto& item : Story::items(night)) {
        json.beginObject();
        json.key("id").value(item.id());
        json.key("label").value(item.first().label);
        json.key("count").value(item.events.size());
        json.key("totalDuration").value(item.totalDuration());
        json.endObject();
    }
    json.endArray();
    json.endObject();
}

std::string plural(int count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string batteryLine(const Night& night) {
    if (!night.hasBattery) {
        return "no battery";
    }
    std::string line;
    if (night.startCharge() && night.endCharge()) {
        line = "battery " + Fmt::percent(*night.startCharge()) + " → " + Fmt::percent(*night.endCharge());
        if (const auto lost = night.lost(); lost && *lost > 0) {
            line += " (" + Fmt::drop(*lost) + ")";
        }
    } else {
        line = "battery not reported";
    }
    if (night.pluggedIn) {
        line += ", plugged in";
    }
    return line;
}

// The detail after a story line: who scheduled the wake, or who kept the machine up.
std::string attribution(const NightEvent& event) {
    std::string text;
    if (event.scheduledBy) {
        constexpr std::string_view wokenBy = "Woken by: ";
        text += event.scheduledBy->starts_with(wokenBy)
                    ? "woken by " + event.scheduledBy->substr(wokenBy.size())
                    : "scheduled by " + *event.scheduledBy;
    }
    if (event.culprit) {
        text += (text.empty() ? "" : "; ") + std::string("kept awake by ") + *event.culprit;
    }
    return text;
}

} // namespace

void writeNightsJson(std::ostream& out, std::string_view source, const PowerLog& log,
                     const std::vector<Night>& nights) {
    JsonWriter json(out);
    json.beginObject();
    json.key("source").value(source);
    json.key("log").beginObject();
    json.key("events").value(log.events.size());
    json.key("requests").value(log.requests.size());
    json.key("releases").value(log.releases.size());
    json.key("display").value(log.display.size());
    json.key("firstDate");
    if (log.firstDate) {
        json.value(unixSeconds(*log.firstDate));
    } else {
        json.null();
    }
    json.key("skippedLines").value(log.skippedLines);
    json.endObject();
    json.key("nights").beginArray();
    for (const auto& night : nights) {
        writeNight(json, night);
    }
    json.endArray();
    json.endObject();
    json.flush();
    out << '\n';
}

std::string nightsText(const std::vector<Night>& nights, const Calendar& calendar) {
    if (nights.empty()) {
        return "No nights: the power log says nothing about any night from 23:00 to 07:00.\n";
    }
    std::ostringstream text;
    for (const auto& night : nights) {
        if (&night != &nights.front()) {
            text << '\n';
        }
        const int score = night.score();
        text << "Night of " << night.id << "  " << Fmt::time(night.start, calendar) << "–"
             << Fmt::time(night.end, calendar) << (night.inProgress ? " (in progress)" : "") << "\n";
        text << "  Rest " << score << ", " << RestScore::word(score) << "\n";
        text << "  " << plural(night.wakeCount(), "wake-up", "wake-ups") << " ("
             << plural(night.darkWakeCount(), "dark wake", "dark wakes") << ", " << night.upCount()
             << " up), " << batteryLine(night) << "\n";
        text << "  Asleep " << Fmt::duration(night.asleep()) << ", dark wake "
             << Fmt::duration(night.darkTime()) << ", awake " << Fmt::duration(night.awakeTime())
             << ", screen on " << Fmt::duration(night.screenTime()) << "\n";
        for (const auto& item : Story::items(night)) {
            const auto& first = item.first();
            text << "  " << Fmt::time(first.date, calendar) << "  " << first.label;
            if (item.isGroup()) {
                text << " ×" << item.events.size() << ", " << Fmt::duration(item.totalDuration())
                     << " in all";
            } else {
                text << ", " << Fmt::duration(first.duration);
            }
            if (const auto detail = attribution(first); !detail.empty()) {
                text << " — " << detail;
            }
            text << "\n";
        }
        if (!night.keptAwake.empty()) {
            text << "  Kept awake by:";
            for (const auto& entry : night.keptAwake) {
                text << (&entry == &night.keptAwake.front() ? " " : ", ") << entry.process << " "
                     << Fmt::duration(entry.seconds);
            }
            text << "\n";
        }
    }
    return std::move(text).str();
}

int nights(const CommandOptions& options, CommandContext& context) {
    const auto calendar = optionCalendar(options, "nights", context.err);
    if (!calendar) {
        return kUsageError;
    }
    const Instant now = options.now.value_or(context.now());
    const auto log = loadPowerLog(options, context, now, *calendar, "nights");
    if (!log) {
        return kUsageError;
    }
    const auto nights = NightSource::build(*log, NightWindow{}, now, *calendar);
    if (options.json) {
        writeNightsJson(context.out, sourceName(options, *log), log->log, nights);
    } else {
        context.out << nightsText(nights, *calendar);
    }
    return 0;
}

} // namespace vitrek::cli
