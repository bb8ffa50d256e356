#include "cli/ReportCommand.h"

#include "Store.h"
#include "cli/CommandOptions.h"
#include "cli/JsonWriter.h"
#include "json/JsonFields.h"
#include "linux/LinuxReader.h"
#include "linux/MappedFile.h"
#include "metrics/Metrics.h"
#include "powerlog/NightSource.h"
#include "scores/Coach.h"
#include "scores/Fmt.h"
#include "scores/Grade.h"
#include "scores/Recovery.h"
#include "scores/Rounding.h"
#include "scores/Strain.h"
#include "scores/VFmt.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <utility>

namespace vitrek::cli {

namespace {

template <class T> void writeOptional(JsonWriter& json, std::string_view key, const std::optional<T>& value) {
    json.key(key);
    if (value) {
        json.value(*value);
    } else {
        json.null();
    }
}

std::optional<int> restOf(const Store& store) {
    return store.night() ? std::optional<int>(store.night()->score()) : std::nullopt;
}

std::optional<int> wakesOf(const Store& store) {
    return store.night() ? std::optional<int>(store.night()->wakeCount()) : std::nullopt;
}

std::string signedYears(double years) { return printfText(years < 0 ? "−%.1f" : "+%.1f", std::fabs(years)); }

// Firmware may put a new battery's full charge a little above its design; the live reader caps it at 1.
constexpr double kHighestFirmwareHealth = 1.2;

[[noreturn]] void unphysical(const char* field, const std::string& value, const std::string& range) {
    throw json::DecodeError(std::string(field) + " " + value + " is not " + range);
}

// A figure no machine reports means the reading was made up or damaged, and would be scored as if it were
// real.
void requirePhysical(Reading& reading) {
    if (reading.battery) {
        auto& battery = *reading.battery;
        if (battery.health) {
            if (!(*battery.health >= 0 && *battery.health <= kHighestFirmwareHealth)) {
                unphysical("battery.health", printfText("%g", *battery.health), "between 0 and 1");
            }
            battery.health = std::min(*battery.health, 1.0);
        }
        if (battery.cycles && *battery.cycles < 0) {
            unphysical("battery.cycles", std::to_string(*battery.cycles), "0 or more");
        }
        if (battery.percent < 0 || battery.percent > 100) {
            unphysical("battery.percent", std::to_string(battery.percent), "between 0 and 100");
        }
    }
    if (reading.totalBytes < 0) {
        unphysical("totalBytes", std::to_string(reading.totalBytes), "0 or more");
    }
    if (reading.freeBytes < 0 || reading.freeBytes > reading.totalBytes) {
        unphysical("freeBytes", std::to_string(reading.freeBytes),
                   "between 0 and totalBytes (" + std::to_string(reading.totalBytes) + ")");
    }
    if (reading.swapBytes < 0) {
        unphysical("swapBytes", std::to_string(reading.swapBytes), "0 or more");
    }
    for (const auto& [field, date] :
         {std::pair{"date", reading.date}, std::pair{"bootedAt", reading.bootedAt}}) {
        if (!isPlausibleDate(date)) {
            unphysical(field, printfText("%g", unixSeconds(date)), kPlausibleYears);
        }
    }
    if (reading.bootedAt > reading.date) {
        throw json::DecodeError("bootedAt is after date");
    }
}

} // namespace

std::optional<Reading> readingFromReportJson(std::string_view text, std::string& error) {
    const auto parsed = json::parse(text);
    const Json* document = &parsed;
    if (!parsed.is_object()) {
        error = "not a JSON object";
        return std::nullopt;
    }
    try {
        using namespace json;
        Reading reading;
        reading.date = fromUnixSeconds(asDouble(member(*document, "date")));
        reading.model = asString(member(*document, "model"));
        if (const auto* battery = optionalMember(*document, "battery")) {
            BatteryInfo info;
            if (const auto* health = optionalMember(*battery, "health")) {
                info.health = asDouble(*health);
            }
            if (const auto* cycles = optionalMember(*battery, "cycles")) {
                info.cycles = asInteger<int>(*cycles);
            }
            info.percent = asInteger<int>(member(*battery, "percent"));
            info.onAC = asBool(member(*battery, "onAC"));
            reading.battery = info;
        }
        reading.freeBytes = asInteger<std::int64_t>(member(*document, "freeBytes"));
        reading.totalBytes = asInteger<std::int64_t>(member(*document, "totalBytes"));
        const auto pressure = pressureFromRawValue(asInteger<int>(member(*document, "pressure")));
        if (!pressure) {
            throw DecodeError("pressure is not 1, 2 or 4");
        }
        reading.pressure = *pressure;
        // null or missing: the machine had no sensor that could be read.
        if (const auto* heat = optionalMember(*document, "heat")) {
            reading.heat = heatFromRawValue(asInteger<int>(*heat));
            if (!reading.heat) {
                throw DecodeError("heat is not 0 to 3 or null");
            }
        }
        reading.swapBytes = asInteger<std::int64_t>(member(*document, "swapBytes"));
        reading.bootedAt = fromUnixSeconds(asDouble(member(*document, "bootedAt")));
        requirePhysical(reading);
        return reading;
    } catch (const std::exception& decodeError) {
        error = decodeError.what();
        return std::nullopt;
    }
}

void writeReportJson(std::ostream& out, const Store& store) {
    JsonWriter json(out);
    json.beginObject();
    json.key("reading");
    if (store.reading()) {
        json.tree(toJson(*store.reading(), Epoch::unixTime));
    } else {
        json.null();
    }
    writeOptional(json, "rest", restOf(store));
    writeOptional(json, "wakes", wakesOf(store));
    json.key("factors").beginArray();
    for (const auto& factor : store.factors()) {
        json.beginObject();
        json.key("kind").value(rawValue(factor.kind));
        json.key("title").value(factor.title);
        json.key("value").value(factor.value);
        json.key("detail").value(factor.detail);
        json.key("score").value(factor.score);
        json.key("weight").value(factor.weight);
        json.endObject();
    }
    json.endArray();
    json.key("recovery").value(store.recovery());
    json.key("band").value(rawValue(Recovery::band(store.recovery())));
    json.key("word").value(Recovery::word(store.recovery()));
    json.key("tip").value(store.tip());
    json.key("vitals").beginArray();
    for (const auto& vital : store.vitals()) {
        json.beginObject();
        json.key("kind").value(rawValue(vital.kind));
        json.key("title").value(vital.title);
        json.key("symbol").value(vital.symbol);
        json.key("value").value(vital.value);
        json.key("range").value(vital.range);
        writeOptional(json, "inRange", vital.inRange);
        json.endObject();
    }
    json.endArray();
    writeOptional(json, "strain", store.strain());
    json.key("heavy").value(store.heavy());
    writeOptional(json, "stressNow", store.stressNow());
    json.key("streak").value(store.streak());
    json.key("age");
    if (const auto& age = store.age()) {
        json.beginObject();
        json.key("realYears").value(age->realYears);
        json.key("vitrekYears").value(age->vitrekYears());
        json.key("difference").value(age->difference());
        json.key("pace").value(age->pace());
        json.key("source").value(rawValue(age->source));
        json.key("since").value(unixSeconds(age->since));
        json.key("factors").beginArray();
        for (const auto& factor : age->factors) {
            json.beginObject().key("title").value(factor.title).key("detail").value(factor.detail);
            json.key("years").value(factor.years).endObject();
        }
        json.endArray();
        json.endObject();
    } else {
        json.null();
    }
    json.endObject();
    json.flush();
    out << '\n';
}

std::string reportText(const Store& store, const Calendar& calendar) {
    std::ostringstream text;
    if (!store.reading()) {
        return "No reading.\n";
    }
    const auto& reading = *store.reading();
    text << "Check-up of " << (reading.model.empty() ? "this machine" : reading.model) << ", "
         << Fmt::dayTime(reading.date, calendar) << "\n\n";

    text << "  Recovery  " << Fmt::percent(store.recovery()) << "  " << Recovery::word(store.recovery())
         << "\n";
    if (store.strain()) {
        text << "  Strain    " << printfText("%.1f", *store.strain()) << " of 21  "
             << Strain::word(*store.strain());
    } else {
        text << "  Strain    –  (fewer than two samples today)";
    }
    text << ", " << Fmt::duration(store.heavy()) << " under high stress\n";
    if (const auto& night = store.night()) {
        text << "  Rest      " << night->score() << "  " << night->scoreWord() << ", " << night->wakeCount()
             << (night->wakeCount() == 1 ? " wake-up" : " wake-ups") << " (night of " << night->id << ")\n";
    } else {
        text << "  Rest      –  (no night in the power log)\n";
    }

    text << "\nFactors\n";
    for (const auto& factor : store.factors()) {
        text << "  " << factor.title << ": " << factor.value;
        if (!factor.detail.empty()) {
            text << " — " << factor.detail;
        }
        text << " (" << Fmt::percent(static_cast<int>(roundHalfAway(factor.score * 100))) << ", weight "
             << printfText("%g", factor.weight) << ")\n";
    }
    text << "\nTip: " << store.tip() << "\n";

    text << "\nVitals\n";
    for (const auto& vital : store.vitals()) {
        text << "  " << vital.title << ": " << vital.value << " (healthy: " << vital.range << ")"
             << (!vital.measured() ? "  ← no sensor could be read"
                 : vital.within()  ? ""
                                   : "  ← outside its healthy range")
             << "\n";
    }

    text << "\nAge\n";
    if (const auto& age = store.age()) {
        text << "  " << VFmt::age(age->vitrekYears()) << " (real " << VFmt::age(age->realYears) << ", "
             << VFmt::ageDifference(age->difference()) << "), ageing " << printfText("%.1f", age->pace())
             << "× the calendar\n";
        for (const auto& factor : age->factors) {
            text << "  " << signedYears(factor.years) << " y  " << factor.title << ": " << factor.detail
                 << "\n";
        }
    } else {
        text << "  –  (no purchase date, set-up date or model year)\n";
    }

    text << "\nStress now: "
         << (store.stressNow() ? Fmt::percent(static_cast<int>(roundHalfAway(*store.stressNow() * 100)))
                               : "–")
         << ", high stress today: " << Fmt::duration(store.heavy()) << "\n";
    text << "Streak: " << store.streak() << (store.streak() == 1 ? " day" : " days") << "\n";
    return std::move(text).str();
}

std::unique_ptr<Store> checkUp(const CommandOptions& options, CommandContext& context, std::string_view command) {
    const auto calendar = optionCalendar(options, command, context.err);
    if (!calendar) {
        return nullptr;
    }

    auto environment = StoreEnvironment::system();
    std::optional<Reading> reading;
    if (options.readingPath) {
        std::string error;
        const auto file = MappedFile::open(*options.readingPath, error, kMaxReadingBytes + 1);
        if (!file) {
            context.err << "vitrek: " << error << "\n";
            return nullptr;
        }
        if (file->text().size() > kMaxReadingBytes) {
            context.err << "vitrek: " << command << ": " << *options.readingPath << " is over "
                        << mebibytes(kMaxReadingBytes) << ", the most a reading may hold\n";
            return nullptr;
        }
        reading = readingFromReportJson(file->text(), error);
        if (!reading) {
            context.err << "vitrek: " << command << ": " << *options.readingPath << " is not a reading: " << error
                        << "\n";
            return nullptr;
        }
    }
    const Instant now = options.now.value_or(reading ? reading->date : context.now());
    if (!reading) {
        reading = environment.reader->read(now);
    }
    reading->date = now;

    const auto log = loadPowerLog(options, context, now, *calendar, command);
    if (!log) {
        return nullptr;
    }
    const auto night = Store::lastNight(NightSource::build(*log, NightWindow{}, now, *calendar));

    if (options.readingPath) {
        // A stored reading may come from another machine: this one's purchase and set-up dates would not
        // apply, so its age counts from the model's year alone, the same everywhere.
        environment.boughtAt = [] { return std::optional<Instant>(); };
        environment.setUpDate = [] { return std::optional<Instant>(); };
    }
    environment.now = [now] { return now; };
    environment.calendar = [calendar = *calendar] { return calendar; };
    // This machine's check-up, even in a process whose environment asks for the demo one.
    environment.isDemo = [] { return false; };
    auto store = std::make_unique<Store>(environment);
    auto history = store->files().peekHistory(now, *calendar);
    if (history.problem) {
        context.err << "vitrek: " << history.problem->text() << "\n";
    }
    store->setHistory(std::move(history.history));
    store->apply(*reading, store->files().samples(now, *calendar), night, false);
    return store;
}

int report(const CommandOptions& options, CommandContext& context) {
    const auto store = checkUp(options, context, "report");
    if (!store) {
        return kUsageError;
    }

    if (options.json) {
        writeReportJson(context.out, *store);
    } else {
        context.out << reportText(*store, store->environment().calendar());
    }
    return 0;
}

int metrics(const CommandOptions& options, CommandContext& context) {
    const auto store = checkUp(options, context, "metrics");
    if (!store) {
        return kUsageError;
    }
    context.out << metricsText(*store, MetricsLabels{metricsUser(), VITREK_VERSION});
    return 0;
}

} // namespace vitrek::cli
