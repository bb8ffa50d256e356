#pragma once

#include "files/VitrekFiles.h"
#include "linux/WakeupSources.h"
#include "powerlog/PowerRecord.h"
#include "readings/Reading.h"
#include "time/Calendar.h"
#include "time/Instant.h"

#include <QObject>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vitrek {

class LogindWatcher;
class ScreenSaverWatcher;

// Keeps Vitrek's own record of the machine's nights in the data folder, from what every user may read:
// logind's sleep and wake signals (holding a delay lock so the moment of sleep is written before the
// machine goes down), the lid, the idle hint and the inhibitors, the screen saver, the kernel's wakeup
// sources, the battery and the boot time. Signals drive it; the one-minute check-up only adds a line now
// and then, so gaps show when nobody recorded, and the inhibitors during the night window.
class PowerRecorder : public QObject {
    Q_OBJECT
public:
    // The machine's readings the records carry; tests hand in fakes.
    struct Machine {
        std::function<Instant()> now;
        std::function<Calendar()> calendar;
        // Seconds the kernel has spent suspended since it booted (the boot clock minus the monotonic one).
        std::function<double()> suspended;
        std::function<std::optional<BatteryInfo>()> battery;
        std::function<bool()> batteryCritical;
        std::function<std::vector<WakeupSource>()> wakeupSources;
        std::function<std::optional<Instant>()> bootTime;
        std::int64_t pid = 0;
    };

    // Starts recording when logind answers; `screenSaver` may be null. Both watchers must outlive this.
    PowerRecorder(VitrekFiles files, LogindWatcher& logind, ScreenSaverWatcher* screenSaver, Machine machine,
                  QObject* parent = nullptr);
    ~PowerRecorder() override;

    // The running machine's readings, with sysfs and procfs read below `root`.
    static Machine systemMachine(const std::string& root = "/");

    // Whether this process keeps the record (logind answered).
    bool isRecording() const { return m_recording; }
    // Why it does not, as one sentence; empty while it records.
    const std::string& problem() const { return m_problem; }

    // Called by each check-up: a line to show the recording goes on, and the inhibitors in the night window.
    void checkUp(Instant now);

signals:
    // After each line written: what failed, or nothing when it was written.
    void wrote(const std::optional<vitrek::FileProblem>& problem);

private:
    void aboutToSleep();
    void wokeUp();
    void screenChanged(bool active);
    void write(PowerRecord record);
    PowerRecord stamped(PowerRecordKind kind, Instant date) const;
    void snapshotInhibitors(Instant date);
    bool inNightWindow(Instant date) const;

    VitrekFiles m_files;
    LogindWatcher& m_logind;
    ScreenSaverWatcher* m_screenSaver;
    Machine m_machine;
    bool m_recording = false;
    std::string m_problem;
    std::optional<Instant> m_lastWritten;
    std::optional<std::vector<HeldInhibitor>> m_lastInhibitors;
    std::optional<bool> m_lastScreenOn;
    std::vector<WakeupSource> m_sourcesAtSleep;
    std::optional<double> m_suspendedAtSleep;
};

} // namespace vitrek
