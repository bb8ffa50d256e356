#include "StoreEnvironment.h"

#include "linux/LinuxReader.h"
#include "linux/PowerLogSource.h"
#include "powerlog/PowerLogParser.h"

#include <QDate>
#include <QDateTime>
#include <QSettings>
#include <QVariant>

namespace vitrek {

namespace {

// The purchase date the Settings screen stores; a bare date counts from the start of that local day.
std::optional<Instant> storedBoughtAt() {
    const QVariant value = QSettings{"Vitrek", "Vitrek"}.value("boughtAt");
    QDateTime when;
    switch (value.typeId()) {
    case QMetaType::QDateTime:
        when = value.toDateTime();
        break;
    case QMetaType::QDate:
        when = value.toDate().startOfDay();
        break;
    default:
        return std::nullopt;
    }
    if (!when.isValid()) {
        return std::nullopt;
    }
    return fromUnixSeconds(static_cast<double>(when.toMSecsSinceEpoch()) / 1000.0);
}

} // namespace

StoreEnvironment StoreEnvironment::system() {
    auto reader = std::make_shared<const LinuxReader>("/");
    StoreEnvironment environment;
    environment.reader = reader;
    environment.cpuTicks = [] { return CPUTicks::now(); };
    environment.heat = [reader] { return reader->heat(); };
    environment.loadPowerLog = [] { return PowerLogParser::readSystemLog(); };
    environment.now = [] { return Instant{std::chrono::system_clock::now()}; };
    environment.calendar = [] { return Calendar::current(); };
    environment.boughtAt = [] { return storedBoughtAt(); };
    environment.setUpDate = [reader] { return reader->setUpDate(); };
    environment.isDemo = [] { return false; };
    return environment;
}

} // namespace vitrek
