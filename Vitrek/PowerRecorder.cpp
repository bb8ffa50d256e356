#include "PowerRecorder.h"

#include "linux/LinuxReader.h"
#include "linux/LogindWatcher.h"
#include "linux/PowerLogSource.h"
#include "linux/ScreenSaverWatcher.h"
#include "powerlog/NightBuilder.h"
#include "powerlog/RecordedPowerLog.h"

#include <time.h>
#include <unistd.h>

#include <cmath>
#include <iostream>
#include <memory>

namespace vitrek {

namespace {

double clockSeconds(clockid_t clock) {
    timespec now{};
    ::clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// A check-up writes a line when the last one is at least this old, so the gap it leaves stays well under
// the limit the reader allows.
constexpr double kAliveAfter = RecordedPowerLog::kAliveEvery - 30;

} // namespace

PowerRecorder::Machine PowerRecorder::systemMachine(const std::string& root) {
    auto reader = std::make_shared<const LinuxReader>(root);
    Machine machine;
    machine.now = [] { return Instant{std::chrono::system_clock::now()}; };
    machine.calendar = [] { return Calendar::current(); };
    machine.suspended = [] { return clockSeconds(CLOCK_BOOTTIME) - clockSeconds(CLOCK_MONOTONIC); };
    machine.battery = [reader] { return reader->battery(); };
    machine.batteryCritical = [reader] { return reader->batteryCritical(); };
    machine.wakeupSources = [root] { return WakeupSources::read(root); };
    machine.bootTime = [reader] { return reader->bootTime(); };
    machine.pid = ::getpid();
    return machine;
}

PowerRecorder::PowerRecorder(VitrekFiles files, LogindWatcher& logind, ScreenSaverWatcher* screenSaver,
                             Machine machine, QObject* parent)
    : QObject(parent), m_files(std::move(files)), m_logind(logind), m_screenSaver(screenSaver),
      m_machine(std::move(machine)) {
    if (!m_logind.isAvailable()) {
        m_problem = "logind does not answer on the system bus, so Vitrek cannot keep its own record of the "
                    "nights.";
        return;
    }
    m_recording = true;
    const Instant now = m_machine.now();
    const Calendar calendar = m_machine.calendar();
    m_files.prunePowerRecords(PowerLogParser::kRecordDays, now, calendar);

    // The boot is written once per boot, however often Vitrek starts during it.
    if (const auto booted = m_machine.bootTime()) {
        bool known = false;
        for (const auto& record : m_files.powerRecords()) {
            known = known || (record.kind == PowerRecordKind::boot &&
                              std::abs(secondsBetween(record.date, *booted)) < 2);
        }
        if (!known) {
            write(stamped(PowerRecordKind::boot, *booted));
        }
    }
    PowerRecord start = stamped(PowerRecordKind::start, now);
    start.pid = m_machine.pid;
    if (m_screenSaver && m_screenSaver->isAvailable()) {
        if (const auto active = m_screenSaver->active()) {
            start.screenOn = !*active;
            m_lastScreenOn = start.screenOn;
        }
    }
    write(std::move(start));
    if (inNightWindow(now)) {
        snapshotInhibitors(now);
    }

    connect(&m_logind, &LogindWatcher::aboutToSleep, this, &PowerRecorder::aboutToSleep);
    connect(&m_logind, &LogindWatcher::wokeUp, this, &PowerRecorder::wokeUp);
    if (m_screenSaver) {
        connect(m_screenSaver, &ScreenSaverWatcher::activeChanged, this, &PowerRecorder::screenChanged);
    }
}

PowerRecorder::~PowerRecorder() = default;

void PowerRecorder::checkUp(Instant now) {
    if (!m_recording) {
        return;
    }
    if (inNightWindow(now)) {
        snapshotInhibitors(now);
    }
    if (!m_lastWritten || secondsBetween(*m_lastWritten, now) >= kAliveAfter) {
        write(powerRecord(now, PowerRecordKind::alive));
    }
}

void PowerRecorder::aboutToSleep() {
    // Everything here runs while logind waits on our delay lock, so it is written before the machine sleeps.
    const Instant now = m_machine.now();
    snapshotInhibitors(now);
    m_sourcesAtSleep = m_machine.wakeupSources();
    m_suspendedAtSleep = m_machine.suspended();
    PowerRecord sleep = stamped(PowerRecordKind::sleep, now);
    sleep.lidClosed = m_logind.lidClosed();
    sleep.idle = m_logind.idleHint();
    sleep.batteryCritical = m_machine.batteryCritical();
    write(std::move(sleep));
    m_logind.releaseDelay();
}

void PowerRecorder::wokeUp() {
    const Instant now = m_machine.now();
    PowerRecord wake = stamped(PowerRecordKind::wake, now);
    if (m_suspendedAtSleep) {
        wake.slept = std::max(0.0, m_machine.suspended() - *m_suspendedAtSleep);
    }
    if (const auto moved = WakeupSources::moved(m_sourcesAtSleep, m_machine.wakeupSources()); !moved.empty()) {
        wake.source = moved.front().name;
    }
    wake.lidClosed = m_logind.lidClosed();
    write(std::move(wake));
    m_suspendedAtSleep.reset();
    m_sourcesAtSleep.clear();
    // The screen's state after every wake, so a wake with the screen lit is not taken for a dark one.
    if (m_screenSaver && m_screenSaver->isAvailable()) {
        if (const auto active = m_screenSaver->active()) {
            PowerRecord screen = stamped(PowerRecordKind::screen, now);
            screen.screenOn = !*active;
            m_lastScreenOn = screen.screenOn;
            write(std::move(screen));
        }
    }
}

void PowerRecorder::screenChanged(bool active) {
    if (m_lastScreenOn == !active) {
        return;
    }
    PowerRecord screen = stamped(PowerRecordKind::screen, m_machine.now());
    screen.screenOn = !active;
    m_lastScreenOn = screen.screenOn;
    write(std::move(screen));
}

void PowerRecorder::snapshotInhibitors(Instant date) {
    std::vector<HeldInhibitor> held;
    for (const auto& inhibitor : m_logind.inhibitors()) {
        // Our own delay lock keeps nobody awake.
        if (static_cast<std::int64_t>(inhibitor.pid) == m_machine.pid) {
            continue;
        }
        held.push_back(HeldInhibitor{inhibitor.who, inhibitor.why, inhibitor.what, inhibitor.mode, inhibitor.pid});
    }
    if (m_lastInhibitors == held) {
        return;
    }
    PowerRecord record = powerRecord(date, PowerRecordKind::inhibitors);
    record.inhibitors = held;
    m_lastInhibitors = std::move(held);
    write(std::move(record));
}

PowerRecord PowerRecorder::stamped(PowerRecordKind kind, Instant date) const {
    PowerRecord record = powerRecord(date, kind);
    if (kind == PowerRecordKind::sleep || kind == PowerRecordKind::wake) {
        if (const auto battery = m_machine.battery()) {
            record.charge = battery->percent;
            record.onBattery = !battery->onAC;
        }
    }
    return record;
}

void PowerRecorder::write(PowerRecord record) {
    if (record.kind != PowerRecordKind::boot) {
        m_lastWritten = record.date;
    }
    emit wrote(m_files.appendPowerRecord(record, m_machine.calendar()));
}

bool PowerRecorder::inNightWindow(Instant date) const {
    const Calendar calendar = m_machine.calendar();
    const NightWindow window;
    for (const int days : {0, 1}) {
        const auto morning = calendar.addingDays(date, days);
        if (!morning) {
            continue;
        }
        if (const auto bounds = window.bounds(*morning, calendar);
            bounds && bounds->first <= date && date < bounds->second) {
            return true;
        }
    }
    return false;
}

} // namespace vitrek
