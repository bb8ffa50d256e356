#include "StoreEnvironment.h"

#include "PowerRecorder.h"

#include "demo/DemoData.h"
#include "linux/LinuxReader.h"
#include "linux/LogindWatcher.h"
#include "linux/ScreenSaverWatcher.h"
#include "linux/PowerLogSource.h"
#include "powerlog/PowerLogParser.h"
#include "shell/Preferences.h"

#include <QDBusConnection>
#include <QDateTime>
#include <cstdlib>
#include <iostream>

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
    environment.loadPowerLog = [files = environment.files] {
        return PowerLogParser::readSystemLog(files, Instant{std::chrono::system_clock::now()});
    };
    environment.now = [] { return Instant{std::chrono::system_clock::now()}; };
    environment.calendar = [] { return Calendar::current(); };
    environment.boughtAt = [] { return storedBoughtAt(); };
    environment.setUpDate = [reader] { return reader->setUpDate(); };
    environment.isDemo = [] { return DemoData::isActive(); };
    // A shorter interval lets tests watch many check-ups (and crashes between them) in a few seconds.
    if (const char* every = std::getenv("VITREK_CHECKUP_MS")) {
        const long milliseconds = std::strtol(every, nullptr, 10);
        if (milliseconds >= 10 && milliseconds <= 60'000) {
            environment.firstCheckUp = environment.secondCheckUp = environment.period =
                std::chrono::milliseconds(milliseconds);
        }
    }
    environment.demoFill = [](Store& store) { DemoData::fill(store); };
    environment.startRecording = [](QObject* parent, const VitrekFiles& files) {
        auto* watchers = new QObject(parent);
        auto* logind = new LogindWatcher(QDBusConnection::systemBus(), watchers);
        auto* screenSaver = new ScreenSaverWatcher(QDBusConnection::sessionBus(), watchers);
        // VITREK_SYS_ROOT points the recorder's reads (wakeup sources, battery, boot time) at a recorded tree.
        const char* root = std::getenv("VITREK_SYS_ROOT");
        auto* recorder = new PowerRecorder(files, *logind, screenSaver,
                                           PowerRecorder::systemMachine(root && *root ? root : "/"), watchers);
        if (!recorder->isRecording()) {
            // Said once per start; the journal, where readable, still gives the nights.
            std::cerr << "vitrek: " << recorder->problem() << "\n";
        }
        return recorder;
    };
    return environment;
}

} // namespace vitrek
