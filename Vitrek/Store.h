#pragma once

#include "StoreEnvironment.h"
#include "files/WriterLock.h"
#include "history/History.h"
#include "powerlog/Night.h"
#include "powerlog/NightSource.h"
#include "readings/CPUTicks.h"
#include "readings/Reading.h"
#include "scores/Factor.h"
#include "scores/MacAge.h"
#include "scores/Sample.h"
#include "scores/Stress.h"
#include "scores/Vital.h"
#include "time/Instant.h"

#include <QObject>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QTimer;

namespace vitrek {

class PowerRecorder;

// The program's one state object and its once-a-minute check-up. Lives on the main thread; every figure the
// screens show is a property here whose change signal fires only when the value really changed. Only the
// power-log reading of `loadNight` runs elsewhere.
class Store : public QObject {
    Q_OBJECT
    Q_PROPERTY(std::optional<vitrek::Reading> reading READ reading NOTIFY readingChanged)
    Q_PROPERTY(std::vector<vitrek::Factor> factors READ factors NOTIFY factorsChanged)
    Q_PROPERTY(int recovery READ recovery NOTIFY recoveryChanged)
    Q_PROPERTY(std::optional<double> strain READ strain NOTIFY strainChanged)
    Q_PROPERTY(double heavy READ heavy NOTIFY heavyChanged)
    Q_PROPERTY(std::optional<vitrek::Night> night READ night NOTIFY nightChanged)
    Q_PROPERTY(vitrek::History history READ history NOTIFY historyChanged)
    Q_PROPERTY(std::string tip READ tip NOTIFY tipChanged)
    Q_PROPERTY(bool loadingNight READ loadingNight NOTIFY loadingNightChanged)
    // Why the power log could not be read (with the fix), for the screens to show; empty when it could.
    Q_PROPERTY(std::string powerLogProblem READ powerLogProblem NOTIFY powerLogProblemChanged)
    // Where the last night load found its nights: the journal, Vitrek's own record or both.
    Q_PROPERTY(vitrek::NightSourceKind nightSource READ nightSource NOTIFY nightSourceChanged)
    // When Vitrek's own record of the nights begins; absent when it took no part in the last load.
    Q_PROPERTY(std::optional<vitrek::Instant> recordedSince READ recordedSince NOTIFY recordedSinceChanged)
    // Whether this process keeps Vitrek's own record of the nights (logind answered).
    Q_PROPERTY(bool recording READ recording NOTIFY recordingChanged)
    // Why this session's check-ups are not reaching the data folder; empty while saving works.
    Q_PROPERTY(std::string storageProblem READ storageProblem NOTIFY storageProblemChanged)
    Q_PROPERTY(std::optional<vitrek::MacAge> age READ age NOTIFY ageChanged)
    Q_PROPERTY(std::vector<vitrek::Sample> samples READ samples NOTIFY samplesChanged)
    Q_PROPERTY(std::vector<vitrek::Vital> vitals READ vitals NOTIFY vitalsChanged)
    Q_PROPERTY(std::optional<double> stressNow READ stressNow NOTIFY stressNowChanged)
    Q_PROPERTY(int streak READ streak NOTIFY streakChanged)
    Q_PROPERTY(std::optional<vitrek::Instant> measuredSince READ measuredSince NOTIFY measuredSinceChanged)

public:
    // Takes the processor counters now, so the first check-up's load reaches back to this moment.
    explicit Store(StoreEnvironment environment = StoreEnvironment::system(), QObject* parent = nullptr);
    ~Store() override;

    // The process's one Store, created on first use (on the main thread).
    static Store& shared();

    const std::optional<Reading>& reading() const { return m_reading; }
    const std::vector<Factor>& factors() const { return m_factors; }
    int recovery() const { return m_recovery; }
    std::optional<double> strain() const { return m_strain; }
    double heavy() const { return m_heavy; }
    const std::optional<Night>& night() const { return m_night; }
    const std::string& powerLogProblem() const { return m_powerLogProblem; }
    NightSourceKind nightSource() const { return m_nightSource; }
    std::optional<Instant> recordedSince() const { return m_recordedSince; }
    bool recording() const { return m_recording; }
    const std::string& storageProblem() const { return m_storageProblem; }
    // Whether another process holds the data folder's writer lock (after `start`), and which one.
    bool writerElsewhere() const { return m_writer && m_writer->state() == WriterLock::State::elsewhere; }
    std::optional<long> writerHolder() const { return m_writer ? m_writer->holder() : std::nullopt; }
    const History& history() const { return m_history; }
    const std::string& tip() const { return m_tip; }
    bool loadingNight() const { return m_loadingNight; }
    const std::optional<MacAge>& age() const { return m_age; }
    const std::vector<Sample>& samples() const { return m_samples; }
    const std::vector<Vital>& vitals() const { return m_vitals; }
    std::optional<double> stressNow() const { return m_stressNow; }
    int streak() const { return m_streak; }
    std::optional<Instant> measuredSince() const { return m_measuredSince; }

    // The age gap a week before the reading; absent without a reading.
    std::optional<double> lastWeekGap() const;
    // The usual daily high-stress time for the reading's day; absent without a reading.
    std::optional<Stress::Typical> typicalStress() const;

    const StoreEnvironment& environment() const { return m_env; }
    const VitrekFiles& files() const { return m_env.files; }
    std::optional<Instant> demoSetUp() const { return m_demoSetUp; }
    // The set-up date the age uses in demo mode, set by the demo filler.
    void setDemoSetUp(std::optional<Instant> date);
    // Publishes a History without saving it: for a check-up that must not write, which has no `start`.
    void setHistory(History history);
    // Whether a night load is under way; the demo filler sets it to false, having no night to load.
    void setLoadingNight(bool loading);

    // Loads the History, prunes old sample files, starts Vitrek's own record of the nights, publishes a
    // first check-up, starts the night load and schedules the check-ups (two early ones, then one per
    // period). Call once.
    void start();
    // One scheduled check-up at `now`: records a sample of the load since the previous one, reloads the
    // night when it is old or has just ended, reads the machine and applies.
    void tick(Instant now);
    // Publishes every figure for one reading, today's samples and a night; with `record`, also records
    // today's Day and saves the History. Needs no event loop.
    void apply(const Reading& reading, std::vector<Sample> samples, std::optional<Night> night, bool record);
    // Reads the power log in the background and applies the chosen night on this thread when done;
    // returns at once. Overlapping loads each apply their result; the last to finish wins.
    void loadNight();
    // Recomputes the age from the latest reading, the purchase or set-up date and the History; without a
    // reading it does nothing.
    void updateAge();
    // A manual refresh: reads the machine now, applies with the current night and reloads the night. It
    // records no sample and leaves the processor counters alone. In demo mode it fills the demo machine
    // again rather than showing this one's readings.
    void refresh();

    // Last night: the newest night that is finished and not empty; absent when there is none.
    static std::optional<Night> lastNight(const std::vector<Night>& nights);

signals:
    void readingChanged();
    void factorsChanged();
    void recoveryChanged();
    void strainChanged();
    void heavyChanged();
    void nightChanged();
    void historyChanged();
    void tipChanged();
    void loadingNightChanged();
    void powerLogProblemChanged();
    void nightSourceChanged();
    void recordedSinceChanged();
    void recordingChanged();
    void ageChanged();
    void samplesChanged();
    void vitalsChanged();
    void stressNowChanged();
    void streakChanged();
    void measuredSinceChanged();
    void storageProblemChanged();
    // Each kind of trouble with the data folder, once until it works again: for the terminal modes.
    void storageTrouble(const std::string& text);

private:
    template <typename T> void publish(T& field, T value, void (Store::*changed)());

    void setNight(std::optional<Night> night);
    void setAge(std::optional<MacAge> age);
    struct NightLoad {
        std::optional<Night> night;
        std::string problem;
        NightSourceKind source = NightSourceKind::none;
        std::optional<Instant> recordedSince;
    };
    void finishNightLoad(NightLoad loaded);
    // Whether this morning's night window closed after `loaded` and by `now`: the night is then finished and
    // worth loading at once rather than within the hour.
    bool nightEndedSince(Instant loaded, Instant now) const;

    enum class Trouble { folder, samples, history, nights };
    // Records the outcome of a write of that kind: a new problem is told once, a success clears it.
    void noteWrite(Trouble kind, const std::optional<FileProblem>& problem);
    bool mayWrite();
    // Writes the samples kept while the disk failed, oldest first, stopping at the first failure.
    void flushSamples(const Calendar& calendar);
    // The day's samples: read from its file once, then kept and appended to, with the ones still waiting
    // to be written.
    std::vector<Sample> samplesOf(Instant date, const Calendar& calendar);

    StoreEnvironment m_env;

    std::optional<Reading> m_reading;
    std::vector<Factor> m_factors;
    int m_recovery = 0;
    std::optional<double> m_strain;
    double m_heavy = 0;
    std::optional<Night> m_night;
    History m_history;
    std::string m_tip;
    bool m_loadingNight = true;
    std::string m_powerLogProblem;
    NightSourceKind m_nightSource = NightSourceKind::none;
    std::optional<Instant> m_recordedSince;
    bool m_recording = false;
    std::optional<MacAge> m_age;
    std::vector<Sample> m_samples;
    std::vector<Vital> m_vitals;
    std::optional<double> m_stressNow;
    int m_streak = 0;
    std::optional<Instant> m_measuredSince;
    std::string m_storageProblem;
    std::map<Trouble, std::string> m_troubles;
    std::vector<Sample> m_unsaved; // check-ups the disk refused, kept for when it works again
    std::string m_samplesDay;      // the day whose samples m_daySamples holds; empty before the first read
    std::vector<Sample> m_daySamples;
    std::unique_ptr<WriterLock> m_writer;

    std::optional<Instant> m_demoSetUp;
    CPUTicks m_ticks;
    QTimer* m_timer = nullptr; // owned as a child
    PowerRecorder* m_recorder = nullptr; // owned by a child
    std::optional<Instant> m_nightAt;
};

} // namespace vitrek
