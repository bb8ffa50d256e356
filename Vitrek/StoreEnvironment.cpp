#include "StoreEnvironment.h"

#include "demo/DemoData.h"
#include "linux/LinuxReader.h"
#include "linux/PowerLogSource.h"
#include "powerlog/PowerLogParser.h"
#include "shell/Preferences.h"

#include <QDateTime>

namespace vitrek {

namespace {

// The purchase date the Settings screen stores counts from the start of that local day.
std::optional<Instant> storedBoughtAt() {
    const auto date = Preferences::shared().boughtAt();
    if (!date) {
        return std::nullopt;
    }
    return fromUnixSeconds(static_cast<double>(date->startOfDay().toMSecsSinceEpoch()) / 1000.0);
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
    environment.isDemo = [] { return DemoData::isActive(); };
    environment.demoFill = [](Store& store) { DemoData::fill(store); };
    return environment;
}

} // namespace vitrek
