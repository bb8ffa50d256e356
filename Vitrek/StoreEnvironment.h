#pragma once

#include "files/VitrekFiles.h"
#include "powerlog/NightLog.h"
#include "readings/CPUTicks.h"
#include "readings/Heat.h"
#include "readings/Reader.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class QObject;

namespace vitrek {

class PowerRecorder;
class Store;

// Everything the Store asks the outside world, so tests can hand it fakes and a fake clock. `reader` is
// required; the Store fills functions left empty with neutral values rather than the machine's: counters
// of zero, the system clock, the user's calendar, the reader's heat, an empty power log, and no purchase
// date, set-up date, demo or night recording.
struct StoreEnvironment {
    std::shared_ptr<const Reader> reader;
    std::function<CPUTicks()> cpuTicks;
    std::function<std::optional<Heat>()> heat;
    VitrekFiles files;
    // Runs on a background thread: it must not touch the Store. The problem, if any, is shown as a hint.
    std::function<NightLog()> loadPowerLog;
    std::function<Instant()> now;
    std::function<Calendar()> calendar;
    // The user's purchase date, absent when not set.
    std::function<std::optional<Instant>()> boughtAt;
    std::function<std::optional<Instant>()> setUpDate;
    std::function<bool()> isDemo;
    // Fills the Store with generated data in demo mode; empty until there is a demo.
    std::function<void(Store&)> demoFill;
    // Starts Vitrek's own record of the nights in `files`, owned by `parent`; called once by `start` outside
    // demo mode. Empty: no record is kept.
    std::function<PowerRecorder*(QObject* parent, const VitrekFiles& files)> startRecording;

    std::chrono::milliseconds firstCheckUp{10'000};
    std::chrono::milliseconds secondCheckUp{30'000};
    std::chrono::milliseconds period{60'000};
    // Seconds after the start of a night load before a check-up starts the next one.
    double nightReloadAfter = 3600;

    // The running machine: its reader, counters, clock, calendar, data folder, nights (the journal and
    // Vitrek's own record, which it keeps) and settings.
    static StoreEnvironment system();
};

} // namespace vitrek
